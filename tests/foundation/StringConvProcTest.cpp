// CStringConvProc: the code tables against the system's code page 932 converter (glibc iconv
// "CP932"), the capacity and terminator rules of the string forms, and the deliberate quirks.
#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "SearchProc.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Converts with glibc iconv; false when the input is not converted whole.
bool Iconv(const char* to, const char* from, const Bytes& in, Bytes* out) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    Bytes input = in;
    out->assign(input.size() * 4 + 16, 0);
    char* ip = reinterpret_cast<char*>(input.data());
    char* op = reinterpret_cast<char*>(out->data());
    size_t il = input.size();
    size_t ol = out->size();
    const bool ok = iconv(cd, &ip, &il, &op, &ol) != static_cast<size_t>(-1) && il == 0;
    iconv_close(cd);
    out->resize(out->size() - ol);
    return ok;
}

Bytes SjisBytes(unsigned code) {
    if (code < 0x100) return {static_cast<unsigned char>(code)};
    return {static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code)};
}

// UTF-8 of a BMP unit as a number, most significant byte first.
unsigned long Utf8Number(unsigned unit) {
    if (unit < 0x80) return unit;
    if (unit < 0x800) return ((0xC0 | (unit >> 6)) << 8) | (0x80 | (unit & 0x3F));
    return ((0xE0 | (unit >> 12)) << 16) | ((0x80 | ((unit >> 6) & 0x3F)) << 8) |
           (0x80 | (unit & 0x3F));
}

bool IsTableLead(unsigned b) {
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xEF) || (b >= 0xFA && b <= 0xFC);
}

// A caller buffer filled with a marker, to see exactly which bytes a call wrote.
constexpr unsigned char kMarker = 0xCC;

Bytes Z(std::string s) {
    return Bytes(s.begin(), s.end());
}
Bytes WithNul(const Bytes& b) {
    Bytes r = b;
    r.push_back(0);
    return r;
}

std::string Hex(const Bytes& b) {
    std::string s;
    char buf[4];
    for (unsigned char c : b) {
        std::snprintf(buf, sizeof(buf), "%02X ", c);
        s += buf;
    }
    return s;
}

class StringConvProcTest : public ::testing::Test {
protected:
    CStringConvProc conv;
};

TEST_F(StringConvProcTest, CodeTableHoldsEveryCodeSortedByShiftJis) {
    ASSERT_EQ(sizeof(g_stConvTbl) / sizeof(g_stConvTbl[0]), 7787u);
    EXPECT_EQ(g_stConvTbl[0].wSjis, 0xA1);
    EXPECT_EQ(g_stConvTbl[62].wSjis, 0xDF);
    EXPECT_EQ(g_stConvTbl[63].wSjis, 0x8140);
    EXPECT_EQ(g_stConvTbl[7786].wSjis, 0xFC4B);
    for (unsigned long i = 0; i < kConvTblRows; ++i) {
        SCOPED_TRACE(i);
        if (i > 0) {
            EXPECT_LT(g_stConvTbl[i - 1].wSjis, g_stConvTbl[i].wSjis);
        }
        EXPECT_EQ(g_stConvTbl[i].dwUtf8, Utf8Number(g_stConvTbl[i].wUtf16));
    }
}

// Every half-width katakana and every two-byte code with a table lead byte: in the table exactly
// when iconv decodes it, with iconv's unit, in both single-character forms.
TEST_F(StringConvProcTest, ShiftJisCodesMatchSystemDecoder) {
    std::vector<unsigned> codes;
    for (unsigned b = 0; b < 0x100; ++b) codes.push_back(b);
    for (unsigned lead = 0x80; lead < 0x100; ++lead)
        for (unsigned trail = 0; trail < 0x100; ++trail) codes.push_back(lead << 8 | trail);
    codes.push_back(0xFFFF);
    unsigned found = 0;
    for (unsigned code : codes) {
        const bool inRange = code < 0x100 ? (code >= 0xA1 && code <= 0xDF) : IsTableLead(code >> 8);
        Bytes utf16;
        const bool decodes =
            inRange && Iconv("UTF-16LE", "CP932", SjisBytes(code), &utf16) && utf16.size() == 2;
        const unsigned unit = decodes ? (utf16[0] | utf16[1] << 8) : 0;
        if (decodes) ++found;
        if (!decodes && conv.SjisToUtf16(code) == 0 && conv.SjisToUtf8(code) == 0) continue;
        SCOPED_TRACE(code);
        EXPECT_EQ(conv.SjisToUtf16(code), unit);
        EXPECT_EQ(conv.SjisToUtf8(code), decodes ? Utf8Number(unit) : 0);
    }
    EXPECT_EQ(found, 7787u);
}

// Every unit: what iconv's encoder writes when that code is in the table (ASCII and the
// user-defined area are not), 0 otherwise. Units with several codes get the encoder's choice.
TEST_F(StringConvProcTest, Utf16UnitsMatchSystemEncoder) {
    unsigned found = 0;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        Bytes sjis;
        const Bytes in = {static_cast<unsigned char>(unit), static_cast<unsigned char>(unit >> 8)};
        unsigned expected = 0;
        if (unit != 0 && Iconv("CP932", "UTF-16LE", in, &sjis)) {
            const unsigned code = sjis.size() == 1 ? sjis[0] : (sjis[0] << 8 | sjis[1]);
            // Only codes that decode back to the unit: iconv also writes one-way best fits.
            Bytes back;
            const bool roundTrips = Iconv("UTF-16LE", "CP932", sjis, &back) && back == in;
            const bool inTable =
                sjis.size() == 1 ? (code >= 0xA1 && code <= 0xDF) : IsTableLead(code >> 8);
            if (roundTrips && inTable) expected = code;
        }
        if (expected != 0) ++found;
        if (expected == 0 && conv.Utf16ToSjis(unit) == 0) continue;
        SCOPED_TRACE(unit);
        EXPECT_EQ(conv.Utf16ToSjis(unit), expected);
    }
    EXPECT_EQ(found, 7389u);  // 7787 codes, 398 of them second or third codes of a unit
}

TEST_F(StringConvProcTest, DuplicateUnitsGiveTheEncodersChoice) {
    struct Case {
        unsigned short unit, sjis;
    };
    const Case cases[] = {
        {0x2252, 0x81E0},  // JIS X 0208 before NEC row 13 (0x8790)
        {0x2235, 0x81E6},  // JIS X 0208 before NEC row 13 and IBM (0x879A, 0xFA5B)
        {0xFFE2, 0x81CA},  // JIS X 0208 before NEC-selected and IBM (0xEEF9, 0xFA54)
        {0x2160, 0x8754},  // NEC row 13 before IBM (0xFA4A)
        {0x2170, 0xFA40},  // IBM before NEC-selected IBM (0xEEEF)
        {0x7E8A, 0xFA5C},  // IBM before NEC-selected IBM (0xED40)
        {0x9ED1, 0xFC4B},  // the last code, only one
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.unit);
        EXPECT_EQ(conv.Utf16ToSjis(c.unit), c.sjis);
    }
}

TEST_F(StringConvProcTest, SortConvTblUtf16OrdersACopyOfTheTable) {
    std::vector<ST_CONVTBL> rows(g_stConvTbl, g_stConvTbl + kConvTblRows);
    conv.SortConvTblUtf16(rows.data(), 0, static_cast<long>(kConvTblRows) - 1);
    for (size_t i = 1; i < rows.size(); ++i) ASSERT_LE(rows[i - 1].wUtf16, rows[i].wUtf16) << i;
    std::sort(rows.begin(), rows.end(),
              [](const ST_CONVTBL& a, const ST_CONVTBL& b) { return a.wSjis < b.wSjis; });
    EXPECT_EQ(0, std::memcmp(rows.data(), g_stConvTbl, sizeof(g_stConvTbl)));

    // A sub-range only: rows outside it stay where they were.
    ST_CONVTBL few[] = {{1, 9, 0}, {2, 5, 0}, {3, 7, 0}, {4, 1, 0}, {5, 0, 0}};
    conv.SortConvTblUtf16(few, 1, 3);
    const unsigned short order[] = {1, 4, 2, 3, 5};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(few[i].wSjis, order[i]) << i;
    conv.SortConvTblUtf16(nullptr, 0, 4);  // no crash
}

// Half-width table against the full-width forms written out here, converted by iconv.
TEST_F(StringConvProcTest, HalfWidthTableMatchesFullWidthKatakana) {
    const std::string full =
        "ヲァィゥェォャュョッーアイウエオカキクケコサシスセソ"
        "タチツテトナニヌネノハヒフヘホマミムメモヤユヨラリルレロワン゛゜";
    Bytes sjis;
    ASSERT_TRUE(Iconv("CP932", "UTF-8", Z(full), &sjis));
    ASSERT_EQ(sjis.size(), 2 * kHanZenTblRows);
    for (unsigned b = 0xA6; b <= 0xDF; ++b) {
        SCOPED_TRACE(b);
        const unsigned k = 2 * (b - 0xA6);
        EXPECT_EQ(g_stHanZenTbl[b - 0xA6].wFrom, b);
        EXPECT_EQ(conv.HanToZen(b), sjis[k] << 8 | sjis[k + 1]);
    }
    for (unsigned short code : {0x00, 0x41, 0xA1, 0xA5, 0xE0, 0xFF, 0x8341, 0xFFFF}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(conv.HanToZen(code), 0);
    }
}

// Katakana and hiragana of each row are the same letter (units 0x60 apart).
TEST_F(StringConvProcTest, KanaTablePairsEveryLetterBothWays) {
    EXPECT_EQ(g_stKanaTbl[0].wFrom, 0x8340);
    EXPECT_EQ(g_stKanaTbl[0].wTo, 0x829F);
    EXPECT_EQ(g_stKanaTbl[82].wFrom, 0x8393);
    EXPECT_EQ(g_stKanaTbl[82].wTo, 0x82F1);
    for (unsigned long i = 0; i < kKanaTblRows; ++i) {
        const ST_CODEPAIR& row = g_stKanaTbl[i];
        SCOPED_TRACE(row.wFrom);
        Bytes kata, hira;
        ASSERT_TRUE(Iconv("UTF-16LE", "CP932", SjisBytes(row.wFrom), &kata));
        ASSERT_TRUE(Iconv("UTF-16LE", "CP932", SjisBytes(row.wTo), &hira));
        EXPECT_EQ((kata[0] | kata[1] << 8) - 0x60, hira[0] | hira[1] << 8);
        EXPECT_EQ(conv.KataToHira(row.wFrom), row.wTo);
        EXPECT_EQ(conv.HiraToKata(row.wTo), row.wFrom);
    }
    const unsigned short absent[] = {0x833F, 0x837F, 0x8394, 0x8396, 0x829E, 0x82F2, 0x8140, 0};
    for (unsigned short code : absent) {
        SCOPED_TRACE(code);
        EXPECT_EQ(conv.KataToHira(code), 0);
        EXPECT_EQ(conv.HiraToKata(code), 0);
    }
}

TEST_F(StringConvProcTest, SingleCodeBoundaries) {
    EXPECT_EQ(conv.SjisToUtf8(0x82A0), 14909826u);  // hiragana A, E3 81 82
    EXPECT_EQ(conv.SjisToUtf8(0xB1), 0xEFBDB1u);    // half-width A, U+FF71
    EXPECT_EQ(conv.SjisToUtf8(0xA1), 0xEFBDA1u);    // first row
    EXPECT_EQ(conv.SjisToUtf8(0x8198), 0xC2A7u);    // two-byte UTF-8
    EXPECT_EQ(conv.SjisToUtf16(0xFC4B), 0x9ED1);    // last row
    EXPECT_EQ(conv.SjisToUtf16(0x8140), 0x3000);
    const unsigned short absent[] = {0x00, 0x41, 0x7F, 0xA0, 0xE0, 0x8100, 0x817F, 0xF040, 0xFC4C};
    for (unsigned short code : absent) {
        SCOPED_TRACE(code);
        EXPECT_EQ(conv.SjisToUtf8(code), 0u);
        EXPECT_EQ(conv.SjisToUtf16(code), 0);
    }
    for (unsigned short unit : {0x0000, 0x0041, 0x007F, 0x00A5, 0xE000, 0xFFFF}) {
        SCOPED_TRACE(unit);
        EXPECT_EQ(conv.Utf16ToSjis(unit), 0);
    }
}

struct StringCase {
    const char* name;
    Bytes src;
    unsigned long capacity;
    Bytes expected;  // everything written, terminator included
};

// Runs a string form into a marked buffer: checks the bytes written, the result (their count)
// and that nothing past them was touched.
template <typename Fn>
void CheckStringCases(const std::vector<StringCase>& cases, Fn convert) {
    for (const StringCase& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes src = WithNul(c.src);
        src.push_back(0x41);  // a byte after the terminator must never be read as text
        Bytes dst(64, kMarker);
        const unsigned long n = convert(dst.data(), src.data(), c.capacity);
        EXPECT_EQ(n, c.expected.size());
        EXPECT_EQ(Hex(Bytes(dst.begin(), dst.begin() + c.expected.size())), Hex(c.expected));
        EXPECT_TRUE(std::all_of(dst.begin() + c.expected.size(), dst.end(),
                                [](unsigned char b) { return b == kMarker; }));
    }
}

TEST_F(StringConvProcTest, SjisToUtf8StringConvertsByByteClassWithinCapacity) {
    const std::vector<StringCase> cases = {
        {"empty", {}, 0, {0}},
        {"ascii", Z("Ab1"), 0, Z(std::string("Ab1\0", 4))},
        {"hiragana", {0x82, 0xA0}, 0, {0xE3, 0x81, 0x82, 0}},
        {"half-width single byte", {0xB1}, 0, {0xEF, 0xBD, 0xB1, 0}},
        {"two-byte utf-8", {0x81, 0x98}, 0, {0xC2, 0xA7, 0}},
        {"missing trail gives reference mark", {0x81, 0x20, 0x41}, 0, {0xE2, 0x80, 0xBB, 0x41, 0}},
        {"unassigned row gives reference mark", {0x85, 0x40}, 0, {0xE2, 0x80, 0xBB, 0}},
        {"lead byte before terminator", {0x41, 0x82}, 0, {0x41, 0xE2, 0x80, 0xBB, 0}},
        {"non-lead high bytes copied",
         {0x80, 0xA0, 0xF0, 0x40, 0xFD},
         0,
         {0x80, 0xA0, 0xF0, 0x40, 0xFD, 0}},
        {"capacity fits exactly", Z("AB"), 3, {0x41, 0x42, 0}},
        {"capacity cuts last byte", Z("AB"), 2, {0x41, 0}},
        {"capacity one", Z("AB"), 1, {0}},
        {"three bytes need four", {0x82, 0xA0}, 4, {0xE3, 0x81, 0x82, 0}},
        {"character not split", {0x82, 0xA0}, 3, {0}},
        {"character not split after ascii", {0x41, 0x82, 0xA0}, 4, {0x41, 0}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long cap) {
        return conv.SjisToUtf8(d, s, cap);
    });
}

TEST_F(StringConvProcTest, SjisToUtf16StringWritesLittleEndianUnits) {
    const std::vector<StringCase> cases = {
        {"empty", {}, 0, {0, 0}},
        {"ascii copied as units", Z("A~"), 0, {0x41, 0, 0x7E, 0, 0, 0}},
        {"hiragana", {0x82, 0xA0}, 0, {0x42, 0x30, 0, 0}},
        {"half-width", {0xB1}, 0, {0x71, 0xFF, 0, 0}},
        {"missing code copied unchanged", {0x85, 0x40}, 0, {0x40, 0x85, 0, 0}},
        {"lead byte before terminator", {0x82}, 0, {0x82, 0, 0, 0}},
        {"capacity fits exactly", Z("AB"), 6, {0x41, 0, 0x42, 0, 0, 0}},
        {"capacity odd", Z("AB"), 5, {0x41, 0, 0, 0}},
        {"capacity only terminator", Z("AB"), 2, {0, 0}},
        {"capacity below terminator", Z("AB"), 1, {}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long cap) {
        return conv.SjisToUtf16(d, s, cap);
    });
}

TEST_F(StringConvProcTest, Utf16ToSjisStringWritesOneOrTwoBytes) {
    // Sources are UTF-16LE byte pairs; CheckStringCases adds one 0 byte, the case the other.
    const std::vector<StringCase> cases = {
        {"empty", {0}, 0, {0}},
        {"ascii", {0x41, 0, 0x7E, 0, 0}, 0, {0x41, 0x7E, 0}},
        {"hiragana", {0x42, 0x30, 0}, 0, {0x82, 0xA0, 0}},
        {"half-width", {0x71, 0xFF, 0}, 0, {0xB1, 0}},
        {"encoder's choice", {0x70, 0x21, 0}, 0, {0xFA, 0x40, 0}},
        {"missing small unit copied", {0xE9, 0x00, 0}, 0, {0xE9, 0}},
        {"missing unit copied high byte first", {0x01, 0xAC, 0}, 0, {0xAC, 0x01, 0}},
        {"capacity fits exactly", {0x42, 0x30, 0x44, 0x30, 0}, 5, {0x82, 0xA0, 0x82, 0xA2, 0}},
        {"character not split", {0x42, 0x30, 0x44, 0x30, 0}, 4, {0x82, 0xA0, 0}},
        {"capacity one", {0x42, 0x30, 0}, 1, {0}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long cap) {
        return conv.Utf16ToSjis(d, s, cap);
    });
}

TEST_F(StringConvProcTest, HanToZenStringWidensEveryByteInRange) {
    const std::vector<StringCase> cases = {
        {"empty", {}, 0, {0}},
        {"reading", {0xB1, 0xB2, 0xDE}, 0, {0x83, 0x41, 0x83, 0x43, 0x81, 0x4A, 0}},
        {"outside 0xA6-0xDF copied", {0x41, 0xA5, 0xE0}, 0, {0x41, 0xA5, 0xE0, 0}},
        // Deliberate: the trail byte 0xB1 of hiragana KO is widened as well.
        {"trail byte converted", {0x82, 0xB1}, 0, {0x82, 0x83, 0x41, 0}},
        {"capacity fits exactly", {0xA6}, 3, {0x83, 0x92, 0}},
        {"character not split", {0x41, 0xA6}, 3, {0x41, 0}},
        {"capacity one", {0xA6}, 1, {0}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long cap) {
        return conv.HanToZen(d, s, cap);
    });
}

// Kana walks write no terminator: the capacity field is unused.
TEST_F(StringConvProcTest, KataToHiraStringConvertsPairsAfterHighBytes) {
    const std::vector<StringCase> cases = {
        {"empty source writes its first byte", {}, 0, {0}},
        {"katakana", {0x83, 0x41, 0x83, 0x93}, 0, {0x82, 0xA0, 0x82, 0xF1}},
        {"ascii", Z("ab"), 0, Z("ab")},
        {"mixed", {0x41, 0x83, 0x4A, 0x42}, 0, {0x41, 0x82, 0xA9, 0x42}},
        {"hiragana unchanged", {0x82, 0xA0}, 0, {0x82, 0xA0}},
        // Deliberate: a kanji (0x8940) or any pair outside the table becomes 0x81A6.
        {"kanji replaced", {0x89, 0x40}, 0, {0x81, 0xA6}},
        {"gap in katakana row replaced", {0x83, 0x7F}, 0, {0x81, 0xA6}},
        {"katakana vu past trail range copied", {0x83, 0x94}, 0, {0x83, 0x94}},
        {"half-width before ascii replaced", {0xB1, 0x41}, 0, {0x81, 0xA6}},
        {"trail outside 0x40-0x93 copied", {0x88, 0x9F}, 0, {0x88, 0x9F}},
        {"high byte before terminator", {0x83}, 0, {0x83}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long) {
        return conv.KataToHira(d, s);
    });
}

TEST_F(StringConvProcTest, HiraToKataStringConvertsPairsAfterHighBytes) {
    const std::vector<StringCase> cases = {
        {"empty source writes its first byte", {}, 0, {0}},
        {"hiragana", {0x82, 0x9F, 0x82, 0xF1}, 0, {0x83, 0x40, 0x83, 0x93}},
        {"katakana unchanged", {0x83, 0x41}, 0, {0x83, 0x41}},
        {"trail below 0x9F copied", {0x82, 0x9E}, 0, {0x82, 0x9E}},
        {"lead 0x81 copied", {0x81, 0xA0}, 0, {0x81, 0xA0}},
        // Deliberate: a kanji (0x889F) in the byte range becomes 0x81A6.
        {"kanji replaced", {0x88, 0x9F}, 0, {0x81, 0xA6}},
        {"greek alpha replaced", {0x83, 0x9F}, 0, {0x81, 0xA6}},
        {"trail past 0xF1 copied", {0x82, 0xF2}, 0, {0x82, 0xF2}},
    };
    CheckStringCases(cases, [this](unsigned char* d, unsigned char* s, unsigned long) {
        return conv.HiraToKata(d, s);
    });
}

TEST_F(StringConvProcTest, StringFormsRejectNullPointers) {
    unsigned char buf[8] = {0x41, 0, 0, 0};
    unsigned short wide[4] = {0x41, 0};
    unsigned char* p = nullptr;
    unsigned short* w = nullptr;
    EXPECT_EQ(conv.SjisToUtf8(nullptr, buf, 0), 0u);
    EXPECT_EQ(conv.SjisToUtf8(buf, nullptr, 0), 0u);
    EXPECT_EQ(conv.SjisToUtf16(nullptr, buf, 0), 0u);
    EXPECT_EQ(conv.SjisToUtf16(buf, nullptr, 0), 0u);
    EXPECT_EQ(conv.Utf16ToSjis(nullptr, buf, 0), 0u);
    EXPECT_EQ(conv.Utf16ToSjis(buf, nullptr, 0), 0u);
    EXPECT_EQ(conv.HanToZen(nullptr, buf, 0), 0u);
    EXPECT_EQ(conv.HanToZen(buf, nullptr, 0), 0u);
    EXPECT_EQ(conv.KataToHira(nullptr, buf), 0u);
    EXPECT_EQ(conv.KataToHira(buf, nullptr), 0u);
    EXPECT_EQ(conv.HiraToKata(nullptr, buf), 0u);
    EXPECT_EQ(conv.HiraToKata(buf, nullptr), 0u);
    EXPECT_EQ(conv.UTF8ToUTF16Sub(wide, nullptr, 4), 0u);
    EXPECT_EQ(conv.UTF16ToUTF8Sub(buf, nullptr, 4), 0u);
    EXPECT_EQ(conv.UTF8ToUTF16(nullptr, buf), 0u);
    EXPECT_EQ(conv.UTF8ToUTF16(&w, nullptr), 0u);
    EXPECT_EQ(conv.UTF16ToUTF8(nullptr, wide), 0u);
    EXPECT_EQ(conv.UTF16ToUTF8(&p, nullptr), 0u);
    EXPECT_EQ(conv.WideStrCmp(nullptr, wide), 0);
    EXPECT_EQ(conv.WideStrCmp(wide, nullptr), 0);
    EXPECT_EQ(conv.ConvToWORD(nullptr), 0);
    EXPECT_EQ(conv.LConvToWORD(nullptr), 0);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(w, nullptr);
}

TEST_F(StringConvProcTest, Utf8ToUtf16SubDecodesWithoutValidation) {
    struct Case {
        const char* name;
        Bytes src;
        unsigned long len;
        std::vector<unsigned short> units;
    };
    const std::vector<Case> cases = {
        {"empty", {}, 0, {}},
        {"ascii", Z("Az"), 2, {0x41, 0x7A}},
        {"two bytes", {0xC3, 0xA9}, 2, {0xE9}},
        {"three bytes", {0xE3, 0x81, 0x82}, 3, {0x3042}},
        {"len stops early", Z("AB"), 1, {0x41}},
        {"zero byte inside len is a unit", {0x41, 0x00, 0x42}, 3, {0x41, 0x00, 0x42}},
        // Deliberate: a 4-byte lead is read as 3 bytes, truncated to 16 bits, and the stray
        // continuation byte starts a 3-byte sequence of its own.
        {"four-byte lead", {0xF0, 0x9F, 0x98, 0x80}, 4, {0x07D8, 0x0000}},
        {"lone continuation", {0x80, 0x41, 0x42}, 3, {0x0042}},
        {"sequence cut by len", {0xE3, 0x81, 0x82}, 2, {0x3040}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes src = c.src;
        src.push_back(0x41);  // past len: not converted
        EXPECT_EQ(conv.UTF8ToUTF16Sub(nullptr, src.data(), c.len), c.units.size());
        std::vector<unsigned short> dst(16, 0xCCCC);
        EXPECT_EQ(conv.UTF8ToUTF16Sub(dst.data(), src.data(), c.len), c.units.size());
        const size_t n = c.units.size();
        EXPECT_EQ(std::vector<unsigned short>(dst.begin(), dst.begin() + n), c.units);
        EXPECT_EQ(dst[n], 0);
        EXPECT_EQ(dst[n + 1], 0xCCCC);
    }
}

TEST_F(StringConvProcTest, Utf16ToUtf8SubEncodesOneToThreeBytes) {
    struct Case {
        std::vector<unsigned short> src;
        Bytes expected;
    };
    const std::vector<Case> cases = {
        {{}, {}},
        {{0x41, 0x7F}, {0x41, 0x7F}},
        {{0x80}, {0xC2, 0x80}},
        {{0x7FF}, {0xDF, 0xBF}},
        {{0x800}, {0xE0, 0xA0, 0x80}},
        {{0x3042}, {0xE3, 0x81, 0x82}},
        {{0xFFFF}, {0xEF, 0xBF, 0xBF}},
        {{0xD83D, 0xDE00}, {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}},  // surrogates one by one
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Hex(c.expected));
        std::vector<unsigned short> src = c.src;
        src.push_back(0x41);  // past len: not converted
        const unsigned long len = c.src.size();
        EXPECT_EQ(conv.UTF16ToUTF8Sub(nullptr, src.data(), len), c.expected.size());
        Bytes dst(16, kMarker);
        EXPECT_EQ(conv.UTF16ToUTF8Sub(dst.data(), src.data(), len), c.expected.size());
        EXPECT_EQ(Hex(Bytes(dst.begin(), dst.begin() + c.expected.size())), Hex(c.expected));
        EXPECT_EQ(dst[c.expected.size()], 0);
        EXPECT_EQ(dst[c.expected.size() + 1], kMarker);
    }
}

TEST_F(StringConvProcTest, AllocatingFormsRoundTripEveryTableCharacter) {
    std::vector<unsigned short> units;
    for (const ST_CONVTBL& row : g_stConvTbl) units.push_back(row.wUtf16);
    units.push_back(0x41);
    units.push_back(0);
    Bytes utf8;
    ASSERT_TRUE(Iconv("UTF-8", "UTF-16LE",
                      Bytes(reinterpret_cast<unsigned char*>(units.data()),
                            reinterpret_cast<unsigned char*>(units.data() + units.size() - 1)),
                      &utf8));
    utf8.push_back(0);

    unsigned short* wide = nullptr;
    ASSERT_EQ(conv.UTF8ToUTF16(&wide, utf8.data()), units.size() - 1);
    EXPECT_TRUE(std::equal(units.begin(), units.end(), wide));  // terminator included
    unsigned char* narrow = nullptr;
    ASSERT_EQ(conv.UTF16ToUTF8(&narrow, wide), utf8.size() - 1);
    EXPECT_EQ(0, std::memcmp(narrow, utf8.data(), utf8.size()));

    // An occupied output pointer is refused and left alone.
    unsigned short* again = wide;
    EXPECT_EQ(conv.UTF8ToUTF16(&again, utf8.data()), 0u);
    EXPECT_EQ(again, wide);
    unsigned char* againNarrow = narrow;
    EXPECT_EQ(conv.UTF16ToUTF8(&againNarrow, wide), 0u);
    EXPECT_EQ(againNarrow, narrow);
    delete[] wide;
    delete[] narrow;

    // Empty sources allocate nothing.
    unsigned char emptyNarrow[1] = {0};
    unsigned short emptyWide[1] = {0};
    unsigned short* w = nullptr;
    unsigned char* p = nullptr;
    EXPECT_EQ(conv.UTF8ToUTF16(&w, emptyNarrow), 0u);
    EXPECT_EQ(conv.UTF16ToUTF8(&p, emptyWide), 0u);
    EXPECT_EQ(w, nullptr);
    EXPECT_EQ(p, nullptr);
}

// Whole strings of every code against iconv: the string forms agree with the system converter.
TEST_F(StringConvProcTest, StringFormsMatchSystemConverterOnWholeTable) {
    Bytes sjis;
    for (const ST_CONVTBL& row : g_stConvTbl) {
        const Bytes b = SjisBytes(row.wSjis);
        sjis.insert(sjis.end(), b.begin(), b.end());
    }
    sjis.push_back(0x41);
    Bytes utf8, utf16;
    ASSERT_TRUE(Iconv("UTF-8", "CP932", sjis, &utf8));
    ASSERT_TRUE(Iconv("UTF-16LE", "CP932", sjis, &utf16));
    Bytes src = WithNul(sjis);

    Bytes out(utf8.size() + 1, kMarker);
    EXPECT_EQ(conv.SjisToUtf8(out.data(), src.data(), out.size()), out.size());
    EXPECT_EQ(out, WithNul(utf8));

    out.assign(utf16.size() + 2, kMarker);
    EXPECT_EQ(conv.SjisToUtf16(out.data(), src.data(), out.size()), out.size());
    Bytes expected16 = WithNul(WithNul(utf16));
    EXPECT_EQ(out, expected16);

    // Back again: duplicates come out as the encoder's choice, as iconv writes them.
    Bytes back;
    ASSERT_TRUE(Iconv("CP932", "UTF-16LE", utf16, &back));
    out.assign(back.size() + 1, kMarker);
    EXPECT_EQ(conv.Utf16ToSjis(out.data(), expected16.data(), 0), out.size());
    EXPECT_EQ(out, WithNul(back));
}

TEST_F(StringConvProcTest, WideStrCmpReturnsFirstUnitDifference) {
    struct Case {
        const char* name;
        std::vector<unsigned short> a, b;
        int expected;
    };
    const std::vector<Case> cases = {
        {"both empty", {0}, {0}, 0},
        {"same", {0x41, 0x3042, 0}, {0x41, 0x3042, 0}, 0},
        {"A and B", {0x41, 0}, {0x42, 0}, -1},
        {"B and A", {0x42, 0}, {0x41, 0}, 1},
        {"empty and A", {0}, {0x41, 0}, -0x41},
        {"prefix", {0x41, 0}, {0x41, 0x42, 0}, -0x42},
        {"longer", {0x41, 0x42, 0}, {0x41, 0}, 0x42},
        {"units are unsigned", {0xFFFF, 0}, {0x0001, 0}, 0xFFFE},
        // The shorter string's terminator is compared with the longer string's unit, so what
        // lies after that terminator never decides.
        {"past the terminator", {0x41, 0, 0x43, 0x44, 0}, {0x41, 0x42, 0x43, 0x44, 0}, -0x42},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<unsigned short> a = c.a, b = c.b;
        EXPECT_EQ(conv.WideStrCmp(a.data(), b.data()), c.expected);
        EXPECT_EQ(conv.WideStrCmp(a.data(), a.data()), 0);
    }
}

TEST_F(StringConvProcTest, WordReadsInBothByteOrders) {
    struct Case {
        unsigned char p[2];
        unsigned short big, little;
    };
    const Case cases[] = {
        {{0x12, 0x34}, 0x1234, 0x3412},
        {{0xFF, 0x00}, 0xFF00, 0x00FF},
        {{0x00, 0xFF}, 0x00FF, 0xFF00},
        {{0xFF, 0xFF}, 0xFFFF, 0xFFFF},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.big);
        unsigned char p[2] = {c.p[0], c.p[1]};
        EXPECT_EQ(conv.ConvToWORD(p), c.big);
        EXPECT_EQ(conv.LConvToWORD(p), c.little);
    }
}

}  // namespace
