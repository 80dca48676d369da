// Additional facility attributes: the signed-difference search of "AF.dat" and the attribute
// byte as a decimal number of its bits.
#include "auxdata/SearchAddFunctionProc.h"

#include "auxdata/FacilityTable.h"
#include "foundation/Bytes.h"
#include "foundation/TableFile.h"
#include "search/AttrFlags.h"

namespace {

char kFileName[] = "AF.dat";
constexpr uint64_t kRecordSize = 5;  // u32 facility id, u8 attribute bits

}  // namespace

CSearchAddFunctionProc::CSearchAddFunctionProc() : m_byState(0), m_dwAttr(0) {}

CSearchAddFunctionProc::~CSearchAddFunctionProc() {}

unsigned long CSearchAddFunctionProc::GetData(unsigned long* out, unsigned long id) {
    m_blCancel = false;
    m_byState = 0;
    const uint64_t n = facility_table::Open(this, kFileName, kRecordSize);
    if (n == 0) return 0;
    unsigned char record[kRecordSize];
    const index_search::Result r =
        facility_table::Find(n, id, record, [&](uint64_t i, unsigned char* rec) {
            return ReadPackEntries(i, 1, kRecordSize, rec) == kRecordSize;
        });
    if (r.found) {
        m_dwAttr = attr_flags::Decimal(record[4]);
        if (out != nullptr) *out = m_dwAttr;
    }
    ClosePackFolder();
    return 1;
}
