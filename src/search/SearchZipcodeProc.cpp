// Postal codes: the shared halfway binary search over 9-byte records (3-byte code, 3-byte
// longitude and latitude offsets), ordinary table first, company table second.
#include "search/SearchZipcodeProc.h"

#include <cstdlib>
#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"

namespace {

constexpr size_t kRecordSize = 9;
constexpr unsigned long kThreeDigitLimit = 1000;  // codes below are the first three digits
constexpr unsigned long kThreeDigitScale = 10000;
constexpr size_t kTextDigits = 7;

// One look-up in the table `relPath`; fills `out` only on a hit.
unsigned long LookUp(const char* relPath, CLocationData* out, unsigned long code) {
    if (out == nullptr) return 0;
    TableFile table(relPath, kRecordSize);
    if (!table.ok() || table.count() == 0) return 0;
    unsigned char record[kRecordSize];
    // The first probe, count / 2, is the record at (file size - 16) / 18.
    const index_search::Result r = index_search::Find(table.count(), [&](uint64_t i) {
        if (!table.Read(i, record)) return index_search::Probe::kUnreadable;
        const unsigned long stored = bytes::ReadU24LE(record);
        if (code == stored) return index_search::Probe::kFound;
        return code < stored ? index_search::Probe::kKeyLess : index_search::Probe::kKeyGreater;
    });
    if (!r.found) return 0;
    out->dwTelAux = bytes::ReadU24LE(record);
    out->lLon = bytes::WidenLongitude(bytes::ReadU24LE(record + 3));
    out->lLat = bytes::WidenLatitude(bytes::ReadU24LE(record + 6));
    return 1;
}

}  // namespace

CSearchZipcodeProc::CSearchZipcodeProc() {}
CSearchZipcodeProc::~CSearchZipcodeProc() {}

unsigned long CSearchZipcodeProc::LoadData(CLocationData* out, unsigned long code) {
    return LookUp("ZIPCODE/Z.DAT", out, code);
}

unsigned long CSearchZipcodeProc::LoadCompanyData(CLocationData* out, unsigned long code) {
    return LookUp("ZIPCODE/CZ.DAT", out, code);
}

int CSearchZipcodeProc::GetData(CLocationData* out, unsigned long code) {
    m_blCancel = false;
    if (code < kThreeDigitLimit) code *= kThreeDigitScale;
    if (LoadData(out, code) == 1) return 1;
    return LoadCompanyData(out, code) == 1 ? 1 : 0;
}

int CSearchZipcodeProc::GetData(CLocationData* out, unsigned char* text) {
    if (text == nullptr) return 0;
    char digits[kTextDigits + 1] = {};
    const size_t length = strnlen(reinterpret_cast<const char*>(text), kTextDigits);
    if (length != 3 && length != kTextDigits) return 0;
    if (memcmp(text, "000", 3) == 0) return 0;
    memcpy(digits, text, length);
    // strtoul as it stands: leading blanks and a sign are taken, the number ends at the first
    // non-digit, so "100-0005" (its first seven characters) is read as the three-digit 100.
    return GetData(out, strtoul(digits, nullptr, 10));
}
