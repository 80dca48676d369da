// Facility introduction: the signed-difference search of "I.idx", the two text lines of a
// record in "I.dat", and the tilde to wave-dash rewrite that respects double-byte characters.
#include "auxdata/SearchIntroProc.h"

#include <cstring>

#include "auxdata/FacilityTable.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/Sjis.h"
#include "foundation/TableFile.h"

namespace {

char kIndexName[] = "I.idx";
char kDataName[] = "I.dat";
constexpr uint64_t kRecordSize = 7;  // u32 facility id, u24 offset in "I.dat"
constexpr unsigned char kLineFeed = 0x0A;
constexpr unsigned long kOutSize = 2 * CSearchIntroProc::kTextSize + 2;

// Copies the line [begin, end) into an empty text, cut to leave room for the terminator (data
// producers keep lines shorter than the text).
void TakeLine(unsigned char* text, const unsigned char* begin, const unsigned char* end) {
    if (text[0] != 0 || begin == end) return;
    size_t n = static_cast<size_t>(end - begin);
    if (n > CSearchIntroProc::kTextSize - 1) n = CSearchIntroProc::kTextSize - 1;
    memcpy(text, begin, n);
    text[n] = 0;
}

// Writes `text` with each single-byte '~' as 0x81 0x60. The walk copies the terminator; a lead
// byte takes the next byte as its trail even when that is 0 (the rest of the text is zeros),
// and the walk never leaves the text.
void WaveDashes(unsigned char* out, const unsigned char* text) {
    bool trail = false;
    for (unsigned long i = 0; i < CSearchIntroProc::kTextSize; ++i) {
        const unsigned char b = text[i];
        if (trail) {
            *out++ = b;
            trail = false;
        } else if (b == 0) {
            *out = 0;
            return;
        } else if (b == '~') {
            *out++ = 0x81;
            *out++ = 0x60;
        } else {
            *out++ = b;
            trail = sjis::IsLeadByte(b);
        }
    }
    *out = 0;
}

// A text's wave-dash form converted to UTF-8 into out; the converted length, or 0 with an empty
// string when the conversion fails.
unsigned long Utf8Form(CStringConvProc* conv, char* out, const unsigned char* text) {
    if (out == nullptr) return 0;
    unsigned char sjis[kOutSize];
    WaveDashes(sjis, text);
    const unsigned long n = conv->SjisToUtf8(reinterpret_cast<unsigned char*>(out), sjis, 0);
    if (n == 0) out[0] = 0;
    return n;
}

}  // namespace

CSearchIntroProc::CSearchIntroProc() : m_byState(0) {
    memset(m_szOpenTime, 0, sizeof(m_szOpenTime));
    memset(m_szCloseDay, 0, sizeof(m_szCloseDay));
}

CSearchIntroProc::~CSearchIntroProc() {}

unsigned long CSearchIntroProc::SearchProc(unsigned long id) {
    m_blCancel = false;
    m_byState = 0;
    memset(m_szOpenTime, 0, sizeof(m_szOpenTime));
    memset(m_szCloseDay, 0, sizeof(m_szCloseDay));
    int offset = -1;
    int size = 0;
    if (!LoadIndex(&offset, &size, id)) return 0;
    // An unknown facility: the index was searched and closed; the texts stay empty.
    if (offset < 0) return 1;
    return LoadData(offset, size);
}

unsigned long CSearchIntroProc::LoadIndex(int* offset, int* size, unsigned long id) {
    if (offset == nullptr || size == nullptr) return 0;
    // An empty index closes the folder as well: the data set is read-only, so every later
    // search of this object fails the same way, and no descriptor is left behind.
    const uint64_t n = facility_table::Open(this, kIndexName, kRecordSize);
    if (n == 0) return 0;
    unsigned char record[kRecordSize];
    const index_search::Result r =
        facility_table::Find(n, id, record, [&](uint64_t i, unsigned char* rec) {
            return ReadPackEntries(i, 1, kRecordSize, rec) == kRecordSize;
        });
    if (!r.found) {
        ClosePackFolder();
        *offset = -1;
        return 1;
    }
    const uint32_t start = bytes::ReadU24LE(record + 4);
    uint32_t end;
    if (ReadPackEntries(r.index + 1, 1, kRecordSize, record) == kRecordSize) {
        end = bytes::ReadU24LE(record + 4);
    } else {
        // The last record runs to the end of "I.dat" (none when it cannot be opened: then
        // LoadData fails on it anyway).
        end = start;
        if (OpenPackFile(kDataName)) {
            const unsigned long dataSize = GetPackFileSize();
            if (dataSize > start) end = static_cast<uint32_t>(dataSize);
        }
    }
    // Both ends lie in [0, 2^31) (offsets are 3 bytes, a packed size is below 2^31), so the
    // difference fits an int either way round.
    *offset = static_cast<int>(start);
    *size = static_cast<int>(end) - static_cast<int>(start);
    return 1;
}

unsigned long CSearchIntroProc::LoadData(int offset, int size) {
    if (!OpenPackFile(kDataName)) {
        ClosePackFolder();
        return 0;
    }
    // A negative or empty record, or one the file cannot hold in full, is a short read: both
    // texts stay empty. Checking first keeps the buffer no larger than the file.
    if (offset >= 0 && size > 0 &&
        ReadableSize(static_cast<unsigned long>(offset)) >= static_cast<unsigned long>(size)) {
        unsigned char* buf = alloc::NewArray<unsigned char>(static_cast<uint64_t>(size));
        if (buf != nullptr &&
            ReadPackFile(buf, static_cast<unsigned long>(offset),
                         static_cast<unsigned long>(size)) == static_cast<unsigned long>(size)) {
            const unsigned char* end = buf + size;
            const unsigned char* first = static_cast<const unsigned char*>(
                memchr(buf, kLineFeed, static_cast<size_t>(size)));
            const unsigned char* firstEnd = first != nullptr ? first : end;
            TakeLine(m_szOpenTime, buf, firstEnd);
            if (firstEnd != end) {
                const unsigned char* second = firstEnd + 1;
                const unsigned char* secondEnd = static_cast<const unsigned char*>(
                    memchr(second, kLineFeed, static_cast<size_t>(end - second)));
                TakeLine(m_szCloseDay, second, secondEnd != nullptr ? secondEnd : end);
            }
        }
        delete[] buf;
    }
    ClosePackFolder();
    return 1;
}

unsigned long CSearchIntroProc::GetOpenTime(unsigned char* out) {
    if (out == nullptr) return 0;
    WaveDashes(out, m_szOpenTime);
    return 1;
}

unsigned long CSearchIntroProc::GetCloseDay(unsigned char* out) {
    if (out == nullptr) return 0;
    WaveDashes(out, m_szCloseDay);
    return 1;
}

unsigned long CSearchIntroProc::GetOpenTimeUni(char* out) {
    return Utf8Form(this, out, m_szOpenTime);
}

unsigned long CSearchIntroProc::GetCloseDayUni(char* out) {
    return Utf8Form(this, out, m_szCloseDay);
}
