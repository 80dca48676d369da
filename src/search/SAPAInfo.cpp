// SA/PA information: the index search over 16-byte entries with the common halfway rule, and
// the parse of one record (18 fixed bytes, name up to ",", second text up to CR LF).
#include "search/SAPAInfo.h"

#include <cstdlib>
#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"

namespace {

constexpr const char* kIndexPath = "SAPAINFO/SAPAID.IDX";
constexpr const char* kDataPath = "SAPAINFO/SAPA.DAT";
// Deliberately another name for the same data on the SD card; units with SD-only data rely on it.
constexpr const char* kSdDataPath = "SAPAINFO/SAPAID.DAT";
constexpr size_t kEntrySize = 16;
constexpr size_t kIdSize = 10;
constexpr size_t kStartDigits = 6;
constexpr unsigned long kToEnd = 0xffffff;
constexpr size_t kFixed = 18;  // kind, five values, flags, value 6
constexpr size_t kNameMax = sizeof(CSAPAData::szName);
constexpr size_t kTextMax = sizeof(CSAPAData::szText);
// The parse never looks past a 32-byte name, ",", 47 bytes of text and CR LF.
constexpr size_t kMaxRecord = kFixed + kNameMax + 1 + (kTextMax - 1) + 2;

// The raw flag bit behind each facility boolean, in field order.
constexpr uint8_t kFacilityBits[23] = {0,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                                       15, 16, 17, 18, 19, 20, 21, 23, 24, 30, 31};

// The record start written as six ASCII digits, read as atoi would.
unsigned long StartOf(const unsigned char* entry) {
    char digits[kStartDigits + 1] = {};
    memcpy(digits, entry + kIdSize, kStartDigits);
    return static_cast<unsigned long>(atoi(digits));
}

}  // namespace

SAPAInfo::SAPAInfo() {}
SAPAInfo::~SAPAInfo() {}

int SAPAInfo::GetSAPAData(CSAPAData* out, const char* id) {
    if (out == nullptr || id == nullptr) return 0;
    // The id compared as ten raw bytes; a shorter string compares with zeros after its end.
    unsigned char key[kIdSize] = {};
    memcpy(key, id, strnlen(id, kIdSize));

    unsigned long start = 0;
    unsigned long length = kToEnd;
    {
        TableFile index(kIndexPath, kEntrySize);
        if (!index.ok()) return 0;
        unsigned char entry[kEntrySize];
        const index_search::Result r = index_search::Find(index.count(), [&](uint64_t i) {
            if (!index.Read(i, entry)) return index_search::Probe::kUnreadable;
            return index_search::FromCompare(memcmp(key, entry, kIdSize));
        });
        if (!r.found) return 0;
        start = StartOf(entry);
        if (r.index + 1 < index.count()) {
            if (!index.Read(r.index + 1, entry)) return 0;
            length = StartOf(entry) - start;  // unsigned: a disordered index gives a huge length
        }
    }
    return static_cast<int>(GetInfoData(out, start, length));
}

unsigned long SAPAInfo::GetInfoData(CSAPAData* out, unsigned long offset, unsigned long length) {
    if (out == nullptr) return 0;
    io::FileCloser file(OpenDataFile(kDataPath, kSdDataPath));
    if (file.fd() < 0) return 0;
    const int64_t fileSize = io::FileSize(file.fd());
    if (fileSize < 0 || static_cast<uint64_t>(fileSize) <= offset) return 0;
    // A record is read only as far as the parse can reach, so no length from the index sizes
    // anything; the spare zeros stand in for fixed fields a short record lacks.
    const uint64_t avail = static_cast<uint64_t>(fileSize) - offset;
    uint64_t want = length == kToEnd || length > avail ? avail : length;
    if (want > kMaxRecord) want = kMaxRecord;
    unsigned char buf[kMaxRecord + kFixed] = {};
    const long got = want == 0 ? 0 : io::ReadAt(file.fd(), buf, static_cast<size_t>(want), offset);
    if (got <= 0) return 0;
    const unsigned char* p = buf;
    const unsigned char* end = p + got;

    out->byKind = p[0];
    // Deliberately the low half only: the caller clears the record, and a host that does not
    // sees its own high halves kept.
    for (int i = 0; i < 5; ++i)
        out->dwValue[i] = (out->dwValue[i] & 0xFFFF0000u) | bytes::ReadU16LE(p + 1 + 2 * i);
    out->dwFlag = bytes::ReadU32LE(p + 11);
    out->dwValue6 = bytes::ReadU24LE(p + 15);
    for (size_t i = 0; i < sizeof(kFacilityBits); ++i)
        out->blFacility[i] = static_cast<uint8_t>((out->dwFlag >> kFacilityBits[i]) & 1);

    // Name: up to ",", at most 32 bytes (a full field has no terminator).
    const unsigned char* s = p + kFixed;
    size_t n = 0;
    for (; s < end && *s != ','; ++s) {
        if (n == kNameMax) return 0;
        out->szName[n++] = static_cast<char>(*s);
    }
    if (s >= end) return 0;  // the record ends inside the name
    ++s;
    // Second text: up to CR LF; 48 bytes before it are too many.
    n = 0;
    for (; s + 1 < end && !(s[0] == '\r' && s[1] == '\n'); ++s) {
        out->szText[n++] = static_cast<char>(*s);
        if (n == kTextMax) return 0;
    }
    return s + 1 < end ? 1 : 0;
}
