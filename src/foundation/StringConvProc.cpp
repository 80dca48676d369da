// CStringConvProc: Shift_JIS, UTF-8 and UTF-16 conversion over the code tables of
// ConvTables.cpp, kana conversion and UTF-16 comparison. Every table lookup is one binary
// search (FindRow).
#include "foundation/StringConvProc.h"

#include <cstring>
#include <utility>

#include "foundation/Alloc.h"
#include "foundation/Bytes.h"

namespace conv_detail {
// Defined in the generated ConvTables.cpp: g_stConvTbl re-sorted by wUtf16, one row per unit.
extern const ST_CONVTBL g_stConvTblByUtf16[];
extern const unsigned long g_dwConvTblByUtf16Rows;
}  // namespace conv_detail

namespace {

constexpr uint32_t kRefMarkUtf8 = 0xE280BB;  // U+203B, for a double-byte code not in the table
constexpr uint16_t kMissingKana = 0x81A6;    // written for a pair that is not in the kana table
constexpr unsigned char kMissingHalfWidth = '*';

// Binary search of a column sorted ascending: lo = 0, hi = count, mid = hi / 2; the next probe
// lies halfway towards the bound on the key's side, and the key is absent when that probe is
// the current one.
template <typename Row, uint16_t Row::*Column>
const Row* FindRow(const Row* rows, unsigned long count, uint16_t key) {
    if (count == 0) return nullptr;
    unsigned long lo = 0;
    unsigned long hi = count;
    unsigned long mid = hi / 2;
    for (;;) {
        const uint16_t value = rows[mid].*Column;
        if (value == key) return &rows[mid];
        unsigned long next;
        if (value < key) {
            next = (mid + hi) / 2;
            if (next == mid) return nullptr;
            lo = mid;
        } else {
            next = (mid + lo) / 2;
            if (next == mid) return nullptr;
            hi = mid;
        }
        mid = next;
    }
}

const ST_CONVTBL* FindSjis(uint16_t code) {
    return FindRow<ST_CONVTBL, &ST_CONVTBL::wSjis>(g_stConvTbl, kConvTblRows, code);
}
const ST_CONVTBL* FindUtf16(uint16_t unit) {
    return FindRow<ST_CONVTBL, &ST_CONVTBL::wUtf16>(conv_detail::g_stConvTblByUtf16,
                                                    conv_detail::g_dwConvTblByUtf16Rows, unit);
}
const ST_CODEPAIR* FindHalfWidth(uint16_t code) {
    return FindRow<ST_CODEPAIR, &ST_CODEPAIR::wFrom>(g_stHanZenTbl, kHanZenTblRows, code);
}

bool IsLeadByte(unsigned char b) {
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xEF) || (b >= 0xFA && b <= 0xFC);
}
bool IsHalfWidthKatakana(unsigned char b) {
    return b >= 0xA1 && b <= 0xDF;
}

// Splits a UTF-8 number (most significant byte first) into its 1 to 3 bytes.
unsigned long PutUtf8Number(unsigned char* p, uint32_t value) {
    unsigned long n = value > 0xFFFF ? 3 : (value > 0xFF ? 2 : 1);
    for (unsigned long k = 0; k < n; ++k)
        p[k] = static_cast<unsigned char>(value >> (8 * (n - 1 - k)));
    return n;
}

// A Shift_JIS code as 1 byte (below 0x100) or 2 bytes, high byte first.
unsigned long PutSjis(unsigned char* p, uint16_t code) {
    if (code < 0x100) {
        p[0] = static_cast<unsigned char>(code);
        return 1;
    }
    p[0] = static_cast<unsigned char>(code >> 8);
    p[1] = static_cast<unsigned char>(code);
    return 2;
}

// Output of the string forms. A capacity of 0 means no limit; otherwise a piece is written only
// when the terminator still fits after it, and the first piece that does not fit ends the output.
class CappedOutput {
public:
    CappedOutput(unsigned char* dst, unsigned long capacity, unsigned long terminator)
        : m_pDst(dst), m_dwCapacity(capacity), m_dwTerminator(terminator) {}

    bool TerminatorFits() const { return m_dwCapacity == 0 || m_dwCapacity >= m_dwTerminator; }

    bool Put(const unsigned char* piece, unsigned long n) {
        if (m_dwCapacity != 0 && m_dwCount + n + m_dwTerminator > m_dwCapacity) return false;
        std::memcpy(m_pDst + m_dwCount, piece, n);
        m_dwCount += n;
        return true;
    }

    // Writes the terminator; the result counts it.
    unsigned long Finish() {
        std::memset(m_pDst + m_dwCount, 0, m_dwTerminator);
        return m_dwCount + m_dwTerminator;
    }

private:
    unsigned char* m_pDst;
    unsigned long m_dwCapacity;
    unsigned long m_dwTerminator;
    unsigned long m_dwCount = 0;
};

unsigned long PutUtf16LE(unsigned char* p, uint16_t unit) {
    bytes::PutU16LE(p, unit);
    return 2;
}

// The kana walk of KataToHira and HiraToKata: a byte above minLead followed by a byte in
// trailLo..trailHi is a pair looked up in column From and replaced by column To.
template <uint16_t ST_CODEPAIR::*From, uint16_t ST_CODEPAIR::*To>
unsigned long ConvertKana(unsigned char* dst, const unsigned char* src, unsigned char minLead,
                          unsigned char trailLo, unsigned char trailHi) {
    unsigned long i = 0;
    unsigned long n = 0;
    unsigned char b;
    do {
        b = src[i];
        if (b > minLead && src[i + 1] >= trailLo && src[i + 1] <= trailHi) {
            const uint16_t pair = static_cast<uint16_t>((b << 8) | src[i + 1]);
            const ST_CODEPAIR* row = FindRow<ST_CODEPAIR, From>(g_stKanaTbl, kKanaTblRows, pair);
            // Deliberate: any other pair in this byte range (a kanji, for example) becomes 0x81A6.
            n += PutSjis(dst + n, row != nullptr ? row->*To : kMissingKana);
            i += 2;
        } else {
            dst[n++] = b;
            i += 1;
        }
        // An empty source still has its first byte (the 0) processed, but is not read past.
    } while (b != 0 && src[i] != 0);
    return n;
}

unsigned long UnitLength(const unsigned short* s) {
    unsigned long n = 0;
    while (s[n] != 0) ++n;
    return n;
}

// A unit read little-endian through a 2-byte scratch buffer.
unsigned short ReadUnitLE(const unsigned short* p) {
    unsigned char scratch[2];
    std::memcpy(scratch, p, sizeof(scratch));
    return bytes::ReadU16LE(scratch);
}

}  // namespace

CStringConvProc::CStringConvProc() = default;
CStringConvProc::~CStringConvProc() = default;

unsigned long CStringConvProc::SjisToUtf8(unsigned short code) {
    const ST_CONVTBL* row = FindSjis(code);
    return row != nullptr ? row->dwUtf8 : 0;
}

unsigned short CStringConvProc::SjisToUtf16(unsigned short code) {
    const ST_CONVTBL* row = FindSjis(code);
    return row != nullptr ? row->wUtf16 : 0;
}

unsigned short CStringConvProc::Utf16ToSjis(unsigned short unit) {
    // Searches the table generated in UTF-16 order instead of sorting a copy on every call; a
    // unit with several codes gives the one the code page 932 encoder writes.
    const ST_CONVTBL* row = FindUtf16(unit);
    return row != nullptr ? row->wSjis : 0;
}

unsigned short CStringConvProc::HanToZen(unsigned short code) {
    const ST_CODEPAIR* row = FindHalfWidth(code);
    return row != nullptr ? row->wTo : 0;
}

unsigned short CStringConvProc::KataToHira(unsigned short code) {
    const ST_CODEPAIR* row =
        FindRow<ST_CODEPAIR, &ST_CODEPAIR::wFrom>(g_stKanaTbl, kKanaTblRows, code);
    return row != nullptr ? row->wTo : 0;
}

unsigned short CStringConvProc::HiraToKata(unsigned short code) {
    const ST_CODEPAIR* row =
        FindRow<ST_CODEPAIR, &ST_CODEPAIR::wTo>(g_stKanaTbl, kKanaTblRows, code);
    return row != nullptr ? row->wFrom : 0;
}

unsigned long CStringConvProc::SjisToUtf8(unsigned char* dst, unsigned char* src,
                                          unsigned long capacity) {
    if (dst == nullptr || src == nullptr) return 0;
    CappedOutput out(dst, capacity, 1);
    unsigned long i = 0;
    while (src[i] != 0) {
        const unsigned char b = src[i];
        unsigned char piece[3];
        unsigned long n;
        if (IsLeadByte(b)) {
            const unsigned char trail = src[i + 1];
            const ST_CONVTBL* row = FindSjis(static_cast<uint16_t>((b << 8) | trail));
            n = PutUtf8Number(piece, row != nullptr ? row->dwUtf8 : kRefMarkUtf8);
            i += trail != 0 ? 2 : 1;  // a lead byte cut off by the terminator is not read past
        } else if (IsHalfWidthKatakana(b)) {
            const ST_CONVTBL* row = FindSjis(b);
            n = row != nullptr ? PutUtf8Number(piece, row->dwUtf8) : 1;
            if (row == nullptr) piece[0] = kMissingHalfWidth;
            i += 1;
        } else {
            piece[0] = b;
            n = 1;
            i += 1;
        }
        if (!out.Put(piece, n)) break;
    }
    return out.Finish();
}

unsigned long CStringConvProc::SjisToUtf16(unsigned char* dst, unsigned char* src,
                                           unsigned long capacity) {
    if (dst == nullptr || src == nullptr) return 0;
    CappedOutput out(dst, capacity, 2);
    if (!out.TerminatorFits()) return 0;
    unsigned long i = 0;
    while (src[i] != 0) {
        const unsigned char b = src[i];
        uint16_t code = b;
        if (IsLeadByte(b) && src[i + 1] != 0) {
            code = static_cast<uint16_t>((b << 8) | src[i + 1]);
            i += 2;
        } else {
            i += 1;
        }
        // A code that is not in the table (ASCII among them) is copied as its own value.
        const ST_CONVTBL* row =
            (code >= 0x100 || IsHalfWidthKatakana(b)) ? FindSjis(code) : nullptr;
        unsigned char piece[2];
        if (!out.Put(piece, PutUtf16LE(piece, row != nullptr ? row->wUtf16 : code))) break;
    }
    return out.Finish();
}

unsigned long CStringConvProc::Utf16ToSjis(unsigned char* dst, unsigned char* src,
                                           unsigned long capacity) {
    if (dst == nullptr || src == nullptr) return 0;
    CappedOutput out(dst, capacity, 1);
    for (unsigned long i = 0;; i += 2) {
        const uint16_t unit = bytes::ReadU16LE(src + i);
        if (unit == 0) break;
        // A unit that is not in the table (ASCII among them) is copied as its own value.
        const ST_CONVTBL* row = FindUtf16(unit);
        unsigned char piece[2];
        if (!out.Put(piece, PutSjis(piece, row != nullptr ? row->wSjis : unit))) break;
    }
    return out.Finish();
}

unsigned long CStringConvProc::HanToZen(unsigned char* dst, unsigned char* src,
                                        unsigned long capacity) {
    if (dst == nullptr || src == nullptr) return 0;
    CappedOutput out(dst, capacity, 1);
    for (unsigned long i = 0; src[i] != 0; ++i) {
        const unsigned char b = src[i];
        unsigned char piece[2] = {b, 0};
        unsigned long n = 1;
        // Deliberate: lead bytes are not tracked, so a trail byte in 0xA6-0xDF converts too.
        if (b >= 0xA6 && b <= 0xDF) {
            const ST_CODEPAIR* row = FindHalfWidth(b);
            if (row != nullptr) {
                n = PutSjis(piece, row->wTo);
            } else {
                piece[0] = kMissingHalfWidth;
            }
        }
        if (!out.Put(piece, n)) break;
    }
    return out.Finish();
}

unsigned long CStringConvProc::KataToHira(unsigned char* dst, unsigned char* src) {
    if (dst == nullptr || src == nullptr) return 0;
    return ConvertKana<&ST_CODEPAIR::wFrom, &ST_CODEPAIR::wTo>(dst, src, 0x82, 0x40, 0x93);
}

unsigned long CStringConvProc::HiraToKata(unsigned char* dst, unsigned char* src) {
    if (dst == nullptr || src == nullptr) return 0;
    return ConvertKana<&ST_CODEPAIR::wTo, &ST_CODEPAIR::wFrom>(dst, src, 0x81, 0x9F, 0xF1);
}

unsigned long CStringConvProc::UTF8ToUTF16Sub(unsigned short* dst, unsigned char* src,
                                              unsigned long len) {
    if (src == nullptr) return 0;
    // A sequence that starts before len is decoded whole: its continuation bytes are read even
    // at or after len. A NUL ends it, so nothing past a string's terminator is read.
    unsigned long n = 0;
    for (unsigned long i = 0; i < len;) {
        const unsigned b = src[i];
        unsigned unit;
        if (b < 0x80) {
            unit = b;
            i += 1;
        } else if ((b & 0xE0) == 0xC0) {
            unit = ((b & 0x1F) << 6) | (src[i + 1] & 0x3F);
            i += 2;
        } else {
            // Deliberately unvalidated: every other byte starts a 3-byte sequence.
            const unsigned second = src[i + 1];
            const unsigned third = second != 0 ? src[i + 2] : 0;
            unit = (b << 12) | ((second & 0x3F) << 6) | (third & 0x3F);
            i += 3;
        }
        if (dst != nullptr) dst[n] = static_cast<unsigned short>(unit);
        ++n;
    }
    if (dst != nullptr) dst[n] = 0;
    return n;
}

unsigned long CStringConvProc::UTF16ToUTF8Sub(unsigned char* dst, unsigned short* src,
                                              unsigned long len) {
    if (src == nullptr) return 0;
    unsigned long n = 0;
    for (unsigned long i = 0; i < len; ++i) {
        const unsigned unit = src[i];
        unsigned char piece[3];
        unsigned long k;
        if (unit < 0x80) {
            piece[0] = static_cast<unsigned char>(unit);
            k = 1;
        } else if (unit < 0x800) {
            piece[0] = static_cast<unsigned char>(0xC0 | (unit >> 6));
            piece[1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            k = 2;
        } else {
            // Surrogates are not paired: each unit becomes its own 3-byte sequence.
            piece[0] = static_cast<unsigned char>(0xE0 | (unit >> 12));
            piece[1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
            piece[2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            k = 3;
        }
        if (dst != nullptr) std::memcpy(dst + n, piece, k);
        n += k;
    }
    if (dst != nullptr) dst[n] = 0;
    return n;
}

unsigned long CStringConvProc::UTF8ToUTF16(unsigned short** out, unsigned char* src) {
    if (out == nullptr || *out != nullptr || src == nullptr) return 0;
    const unsigned long len = std::strlen(reinterpret_cast<const char*>(src));
    const unsigned long units = UTF8ToUTF16Sub(nullptr, src, len);
    if (units == 0) return 0;
    unsigned short* buffer = alloc::NewArray<unsigned short>(uint64_t{units} + 1);
    if (buffer == nullptr) return 0;
    buffer[units] = 0;
    UTF8ToUTF16Sub(buffer, src, len);
    *out = buffer;
    return units;
}

unsigned long CStringConvProc::UTF16ToUTF8(unsigned char** out, unsigned short* src) {
    if (out == nullptr || *out != nullptr || src == nullptr) return 0;
    const unsigned long len = UnitLength(src);
    const unsigned long size = UTF16ToUTF8Sub(nullptr, src, len);
    if (size == 0) return 0;
    unsigned char* buffer = alloc::NewArray<unsigned char>(uint64_t{size} + 1);
    if (buffer == nullptr) return 0;
    buffer[size] = 0;
    UTF16ToUTF8Sub(buffer, src, len);
    *out = buffer;
    return size;
}

int CStringConvProc::WideStrCmp(unsigned short* a, unsigned short* b) {
    if (a == nullptr || b == nullptr) return 0;
    const unsigned long la = UnitLength(a);
    const unsigned long lb = UnitLength(b);
    const unsigned long m = la > lb ? la : lb;
    if (m == 0) return 0;
    // Runs to the longer length; the shorter string's terminator always differs from the
    // longer string's unit there, so nothing beyond a terminator decides the result.
    int diff = 0;
    for (unsigned long i = 0; i < m; ++i) {
        diff = static_cast<int>(ReadUnitLE(a + i)) - static_cast<int>(ReadUnitLE(b + i));
        if (diff != 0) break;
    }
    return diff;
}

unsigned short CStringConvProc::ConvToWORD(unsigned char* p) {
    if (p == nullptr) return 0;
    return static_cast<unsigned short>((p[0] << 8) | p[1]);
}

unsigned short CStringConvProc::LConvToWORD(unsigned char* p) {
    if (p == nullptr) return 0;
    return bytes::ReadU16LE(p);
}

void CStringConvProc::SortConvTblUtf16(ST_CONVTBL* rows, long left, long right) {
    if (rows == nullptr) return;
    // Recursion on the smaller part, a loop on the larger: the depth stays below log2 of the
    // row count whatever the order of the rows. The parts are disjoint, so the order in which
    // they are sorted does not change the result.
    while (left < right) {
        const uint16_t pivot = rows[left + (right - left) / 2].wUtf16;
        long i = left;
        long j = right;
        while (i <= j) {
            while (rows[i].wUtf16 < pivot) ++i;
            while (rows[j].wUtf16 > pivot) --j;
            if (i <= j) {
                std::swap(rows[i], rows[j]);
                ++i;
                --j;
            }
        }
        if (j - left < right - i) {
            SortConvTblUtf16(rows, left, j);
            left = i;
        } else {
            SortConvTblUtf16(rows, i, right);
            right = j;
        }
    }
}
