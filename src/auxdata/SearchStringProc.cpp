// Guidance strings: the binary search over the 14-byte index entries (two entries read per
// probe, so that the next entry's offset gives the string's length), the tagged data file, and
// the copying forms that convert and cut a string for a caller's buffer.
#include "auxdata/SearchStringProc.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "foundation/Bytes.h"
#include "foundation/FileIO.h"
#include "foundation/IndexSearch.h"
#include "foundation/ReadAt.h"
#include "foundation/Sjis.h"
#include "foundation/StringConvProc.h"
#include "foundation/TableFile.h"

namespace {

constexpr uint64_t kEntrySize = 14;  // u16 attribute, u32 number, u32 extra, u32 offset
constexpr uint64_t kTagOffset = 12;
constexpr unsigned char kEncodingUtf8 = 1, kEncodingSjis = 2;
// The full-width vertical bar that joins the parts of a name: U+FF5C as UTF-8 and Shift_JIS.
constexpr unsigned long kBarUtf8 = 0xEFBD9C;
const unsigned char kBarSjis[] = {0x81, 0x62};

void PairName(char* name, size_t size, unsigned char selector, const char* extension) {
    snprintf(name, size, "%s/%s%02X.%s", "STRINGDB", "GDESTR", selector, extension);
}

int OpenPairFile(unsigned char selector, const char* extension) {
    char name[32];
    PairName(name, sizeof(name), selector, extension);
    return CFileIO::CreateFile(g_tcharPath, name);
}

// A found string in the caller-friendly form: bytes, length and the file's encoding.
struct Found {
    std::vector<unsigned char> text;  // the string and a zero byte
    unsigned char encoding = 0;
    unsigned long extra = 0;
};

bool Look(CSearchStringProc* proc, unsigned char selector, unsigned long number, Found* found) {
    unsigned char* buf = nullptr;
    const unsigned long n =
        proc->SearchProc(&buf, &found->encoding, &found->extra, selector, number);
    if (buf == nullptr) return false;
    if (n != 0) found->text.assign(buf, buf + n);
    delete[] buf;
    found->text.push_back(0);
    return n != 0;
}

size_t Utf8FitPrefix(const unsigned char* s, size_t n, size_t max) {
    if (n <= max) return n;
    while (max > 0 && (s[max] & 0xC0) == 0x80) --max;  // not inside a character
    return max;
}

// Where the first bar starts in a UTF-8 text, or n.
size_t FirstUtf8Bar(const unsigned char* s, size_t n) {
    for (size_t i = 0; i + 3 <= n; ++i) {
        if ((static_cast<unsigned long>(s[i]) << 16 | s[i + 1] << 8 | s[i + 2]) == kBarUtf8)
            return i;
    }
    return n;
}

// The string as UTF-8 (Shift_JIS files converted through the code table).
std::vector<unsigned char> AsUtf8(Found& f) {
    if (f.encoding != kEncodingSjis) return f.text;
    std::vector<unsigned char> out(f.text.size() * 3 + 1);
    CStringConvProc conv;
    const unsigned long n = conv.SjisToUtf8(out.data(), f.text.data(), out.size());
    out.resize(n == 0 ? 1 : n);
    out.back() = 0;
    return out;
}

// Writes s[0, n) cut to fit `size` bytes with the terminator; the bytes written.
unsigned long PutUtf8(char* out, const unsigned char* s, size_t n, size_t size) {
    const size_t k = Utf8FitPrefix(s, n, size - 1);
    memcpy(out, s, k);
    out[k] = 0;
    return static_cast<unsigned long>(k);
}

unsigned long CopyUtf8(char* out, Found& f, unsigned char flag) {
    const std::vector<unsigned char> u = AsUtf8(f);
    size_t n = strlen(reinterpret_cast<const char*>(u.data()));
    if (flag != 0) n = FirstUtf8Bar(u.data(), n);
    return PutUtf8(out, u.data(), n, CSearchStringProc::kUtf8Size);
}

}  // namespace

CSearchStringProc::CSearchStringProc() {}
CSearchStringProc::~CSearchStringProc() {}

unsigned long CSearchStringProc::SearchProc(unsigned char** out, unsigned char* encoding,
                                            unsigned long* extra, unsigned char selector,
                                            unsigned long number) {
    if (number == 0 || out == nullptr || *out != nullptr) return 0;
    const unsigned long target = number - 1;  // the files count from 0, callers from 1
    io::FileCloser index(OpenPairFile(selector, "IDX"));
    if (index.fd() < 0) return 0;
    const int64_t size = io::FileSize(index.fd());
    if (size < static_cast<int64_t>(table::kHeaderSize)) return 0;
    const uint64_t body = static_cast<uint64_t>(size) - table::kHeaderSize;
    if (body % kEntrySize != 0) return 0;
    const uint64_t n = body / kEntrySize;

    // Each probe reads its entry and the next one; the last entry comes back alone.
    unsigned char entries[2 * kEntrySize];
    bool withNext = false;
    const index_search::Result r = index_search::Find(n, [&](uint64_t i) {
        const long got =
            io::ReadAt(index.fd(), entries, sizeof(entries), table::EntryOffset(i, kEntrySize));
        if (got < static_cast<long>(kEntrySize)) return index_search::Probe::kUnreadable;
        withNext = got == static_cast<long>(sizeof(entries));
        const unsigned long stored = bytes::ReadU32LE(entries + 2);
        return stored == target  ? index_search::Probe::kFound
               : target > stored ? index_search::Probe::kKeyGreater
                                 : index_search::Probe::kKeyLess;
    });
    if (!r.found) return 0;
    if (extra != nullptr) *extra = bytes::ReadU32LE(entries + 6);
    const uint32_t offset = bytes::ReadU32LE(entries + 10);
    // The last entry's string runs to the end of the file (length 0).
    unsigned long length =
        withNext ? static_cast<unsigned long>(bytes::ReadU32LE(entries + kEntrySize + 10) - offset)
                 : 0;
    const unsigned long tag = GetString(out, selector, offset, &length);
    if (tag == 0) return 0;
    if (encoding != nullptr) *encoding = static_cast<unsigned char>(tag);
    return length;
}

unsigned long CSearchStringProc::GetString(unsigned char** out, unsigned char selector,
                                           unsigned long offset, unsigned long* length) {
    if (out == nullptr || length == nullptr || *out != nullptr) return 0;
    io::FileCloser data(OpenPairFile(selector, "DAT"));
    if (data.fd() < 0) return 0;
    int fd = data.fd();
    unsigned char tag[4];
    if (!io::ReadExactly(fd, tag, sizeof(tag), kTagOffset)) return 0;
    unsigned long encoding;
    if (memcmp(tag, "UTF8", 4) == 0) {
        encoding = kEncodingUtf8;
    } else if (memcmp(tag, "SJIS", 4) == 0) {
        encoding = kEncodingSjis;
    } else {
        return 0;
    }
    // Never more than the file holds past the offset: a damaged length reads what is there.
    unsigned long want = *length;
    const int64_t size = io::FileSize(fd);
    if (size > 0 && static_cast<uint64_t>(size) > offset) {
        const uint64_t rest = static_cast<uint64_t>(size) - offset;
        if (want == 0 || want > rest) want = rest > ~0UL ? 0 : static_cast<unsigned long>(rest);
    }
    const unsigned long got = CFileIO::LoadFile(&fd, out, offset, want);
    if (got == static_cast<unsigned long>(-1)) {  // a read error, not a length
        delete[] * out;
        *out = nullptr;
        return 0;
    }
    *length = got;
    return encoding;
}

unsigned long CSearchStringProc::SearchProc(unsigned char* out, unsigned char selector,
                                            unsigned long number, unsigned char flag) {
    Found f;
    if (out == nullptr || !Look(this, selector, number, &f)) return 0;
    std::vector<unsigned char> s = f.text;
    if (f.encoding != kEncodingSjis) {
        CStringConvProc conv;
        std::vector<unsigned short> units(f.text.size() + 1);
        conv.UTF8ToUTF16Sub(units.data(), f.text.data(), f.text.size() - 1);
        s.assign(units.size() * 2 + 1, 0);
        conv.Utf16ToSjis(s.data(), reinterpret_cast<unsigned char*>(units.data()), s.size());
    }
    size_t n = strlen(reinterpret_cast<const char*>(s.data()));
    if (flag != 0) {
        for (size_t i = 0; i < n; i += sjis::IsLeadByte(s[i]) ? 2 : 1) {
            if (i + 1 < n && s[i] == kBarSjis[0] && s[i + 1] == kBarSjis[1]) {
                n = i;
                break;
            }
        }
    }
    n = sjis::FitPrefix(s.data(), n, kSjisSize - 1);
    memcpy(out, s.data(), n);
    out[n] = 0;
    return static_cast<unsigned long>(n);
}

unsigned long CSearchStringProc::SearchProc(char* out, unsigned char selector, unsigned long number,
                                            unsigned char flag) {
    return SearchProc(out, nullptr, selector, number, flag);
}

unsigned long CSearchStringProc::SearchProc(char* out, unsigned long* extra, unsigned char selector,
                                            unsigned long number, unsigned char flag) {
    Found f;
    if (out == nullptr || !Look(this, selector, number, &f)) return 0;
    if (extra != nullptr) *extra = f.extra;
    return CopyUtf8(out, f, flag);
}

unsigned long CSearchStringProc::SearchProc(char* out1, char* out2, char* out3,
                                            unsigned char selector, unsigned long number,
                                            unsigned char, unsigned char, unsigned char) {
    Found f;
    if (out1 == nullptr || out2 == nullptr || out3 == nullptr ||
        !Look(this, selector, number, &f)) {
        return 0;
    }
    const std::vector<unsigned char> u = AsUtf8(f);
    const size_t n = strlen(reinterpret_cast<const char*>(u.data()));
    char* outs[3] = {out1, out2, out3};
    unsigned long parts = 0;
    size_t pos = 0;
    bool more = true;
    for (int k = 0; k < 3; ++k) {
        outs[k][0] = 0;
        if (!more) continue;
        const unsigned char* part = u.data() + pos;
        const size_t rest = n - pos;
        const size_t end = k < 2 ? FirstUtf8Bar(part, rest) : rest;
        PutUtf8(outs[k], part, end, kUtf8Size);
        ++parts;
        more = end != rest;
        pos += end + 3;
    }
    return parts;
}
