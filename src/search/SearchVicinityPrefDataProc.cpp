// Adjacent prefectures: rows of four 9-byte groups (device id byte, four UTF-16LE characters).
// The device-id look-up scans every row, so rows need not be ordered by device id.
#include "search/SearchVicinityPrefDataProc.h"

#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/TableFile.h"

namespace {

constexpr const char* kPath = "VICINITYPREF/VP.DAT";
constexpr size_t kRowSize = 36;
constexpr size_t kGroupSize = 9;
constexpr size_t kNameUnits = 4;
constexpr unsigned long kRows = 47;       // one per prefecture
constexpr unsigned long kMaxVelaID = 46;  // device scheme 0-46
constexpr unsigned long kMaxIpcID = 47;   // iPC scheme 1-47

// Fills `out` from one row: each group's id byte and its name converted to UTF-8.
void FillRow(CStringConvProc* conv, PREF_DATA* out, const unsigned char* row) {
    for (size_t k = 0; k < 4; ++k) {
        const unsigned char* group = row + k * kGroupSize;
        out->dwID[k] = group[0];
        unsigned short name[kNameUnits + 1] = {};
        for (size_t c = 0; c < kNameUnits; ++c) name[c] = bytes::ReadU16LE(group + 1 + 2 * c);
        unsigned char* utf8 = nullptr;
        // Four UTF-16 units give at most 12 bytes of UTF-8: the 15-byte field always holds them.
        const unsigned long n = conv->UTF16ToUTF8(&utf8, name);
        if (utf8 != nullptr) memcpy(out->szName[k], utf8, n);
        out->szName[k][n] = 0;
        delete[] utf8;
    }
}

}  // namespace

CSearchVicinityPrefDataProc::CSearchVicinityPrefDataProc() {}
CSearchVicinityPrefDataProc::~CSearchVicinityPrefDataProc() {}

unsigned long CSearchVicinityPrefDataProc::GetListByVelaID(PREF_DATA* out, unsigned long id) {
    m_blCancel = false;
    if (out == nullptr || id > kMaxVelaID) return 0;
    TableFile table(kPath, kRowSize);
    if (table.count() == 0) return 0;  // missing, or shorter than header and one row
    // All rows in one read; rows past the 47th are not looked at.
    unsigned char rows[kRows * kRowSize];
    const long got = table.ReadRange(0, kRows, rows);
    for (long r = 0; r < got; ++r) {
        const unsigned char* row = rows + r * kRowSize;
        if (row[0] != id) continue;
        FillRow(this, out, row);
        return 1;
    }
    return 0;
}

unsigned long CSearchVicinityPrefDataProc::GetListByiPCID(PREF_DATA* out, unsigned long id) {
    m_blCancel = false;
    if (out == nullptr || id < 1 || id > kMaxIpcID) return 0;
    TableFile table(kPath, kRowSize);
    unsigned char row[kRowSize];
    if (!table.Read(id - 1, row)) return 0;  // missing file, or no such row
    FillRow(this, out, row);
    return 1;
}
