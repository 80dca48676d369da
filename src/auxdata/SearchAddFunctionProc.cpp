// Additional facility attributes: the signed-difference search of "AF.dat" and the attribute
// byte as a decimal number of its bits.
#include "auxdata/SearchAddFunctionProc.h"

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"
#include "search/AttrFlags.h"

namespace {

char kFolder[] = "ADDINFO";
char kFileName[] = "AF.dat";
constexpr uint64_t kRecordSize = 5;  // u32 facility id, u8 attribute bits

}  // namespace

CSearchAddFunctionProc::CSearchAddFunctionProc() : m_byState(0), m_dwAttr(0) {}

CSearchAddFunctionProc::~CSearchAddFunctionProc() {}

unsigned long CSearchAddFunctionProc::GetData(unsigned long* out, unsigned long id) {
    m_blCancel = false;
    m_byState = 0;
    if (!IsDBEnabled() || !OpenDataFolder(kFolder)) return 0;
    if (!OpenPackFile(kFileName)) {
        ClosePackFolder();
        return 0;
    }
    const uint64_t n = table::EntryCount(GetPackFileSize(), kRecordSize);
    if (n == 0) {
        ClosePackFolder();
        return 0;
    }
    const uint32_t key = static_cast<uint32_t>(id);
    unsigned char record[kRecordSize];
    const index_search::Result r = index_search::Find(n, [&](uint64_t i) {
        if (ReadPackEntries(i, 1, kRecordSize, record) != kRecordSize) {
            return index_search::Probe::kUnreadable;
        }
        // Deliberately a signed 32-bit difference, as in the introduction index: the data keeps
        // its ids less than 2^31 apart.
        const int32_t diff = static_cast<int32_t>(key - bytes::ReadU32LE(record));
        return index_search::FromCompare(diff < 0 ? -1 : diff > 0 ? 1 : 0);
    });
    if (r.found) {
        m_dwAttr = attr_flags::Decimal(record[4]);
        if (out != nullptr) *out = m_dwAttr;
    }
    ClosePackFolder();
    return 1;
}
