// CStringConvProc against the system's code page 932 converter (glibc iconv "CP932") as the
// model, hand-worked values for the capacity, terminator and deliberate quirk rules.
#include <gtest/gtest.h>
#include <iconv.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "SearchProc.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

// Converts with glibc iconv; false when the input is not converted whole (or the conversion
// is unknown: iconv then fails on the invalid descriptor).
bool Iconv(const char* to, const char* from, Bytes in, Bytes* out) {
    iconv_t cd = iconv_open(to, from);
    out->assign(in.size() * 4 + 16, 0);
    char *ip = reinterpret_cast<char*>(in.data()), *op = reinterpret_cast<char*>(out->data());
    size_t il = in.size(), ol = out->size();
    const bool ok = iconv(cd, &ip, &il, &op, &ol) != static_cast<size_t>(-1) && il == 0;
    iconv_close(cd);
    out->resize(out->size() - ol);
    return ok;
}

Bytes Sjis(unsigned code) {
    return code < 0x100 ? Bytes{uint8_t(code)} : Bytes{uint8_t(code >> 8), uint8_t(code)};
}

// The table holds half-width katakana and the codes of lead bytes 81-9F, E0-EF and FA-FC.
bool InTable(unsigned code) {
    const unsigned b = code >> 8;
    if (b == 0) return code >= 0xA1 && code <= 0xDF;
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xEF) || (b >= 0xFA && b <= 0xFC);
}

CStringConvProc conv;

// Every one- and two-byte code: in the table exactly when iconv decodes it, with its units.
// Every unit: the code iconv's encoder writes when that code is in the table and decodes back
// (iconv also writes one-way best fits), else 0. Units with several codes get iconv's choice.
// Katakana letters map to the hiragana 0x60 units lower, and back.
TEST(StringConv, EveryCodeAndUnitMatchesTheSystemConverter) {
    unsigned codes = 0, units = 0, pairs = 0;
    for (unsigned v = 0; v < 0x10000; ++v) {
        SCOPED_TRACE(v);
        Bytes u16, u8, sjis, back;
        const bool decodes = InTable(v) && Iconv("UTF-16LE", "CP932", Sjis(v), &u16) &&
                             u16.size() == 2 && Iconv("UTF-8", "CP932", Sjis(v), &u8);
        unsigned long utf8 = 0;
        for (unsigned char c : u8) utf8 = utf8 << 8 | c;
        codes += decodes;
        ASSERT_EQ(conv.SjisToUtf16(v), decodes ? (u16[0] | u16[1] << 8) : 0);
        ASSERT_EQ(conv.SjisToUtf8(v), decodes ? utf8 : 0);
        const Bytes unit = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
        unsigned code = 0;
        if (v != 0 && Iconv("CP932", "UTF-16LE", unit, &sjis) &&
            Iconv("UTF-16LE", "CP932", sjis, &back) && back == unit)
            code = sjis.size() == 1 ? sjis[0] : (sjis[0] << 8 | sjis[1]);
        const unsigned expected = InTable(code) ? code : 0;
        units += expected != 0;
        ASSERT_EQ(conv.Utf16ToSjis(v), expected);
        if (v >> 8 != 0x83) continue;  // the hiragana codes (0x82xx) were checked above
        const unsigned kata = conv.SjisToUtf16(v), hira = conv.KataToHira(v);
        ASSERT_EQ(hira != 0, kata >= 0x30A1 && kata <= 0x30F3);
        pairs += hira != 0;
        ASSERT_TRUE(!hira || (conv.SjisToUtf16(hira) == kata - 0x60 && conv.HiraToKata(hira) == v));
    }
    EXPECT_EQ(pairs, kKanaTblRows);
    EXPECT_EQ(codes, kConvTblRows);
    EXPECT_EQ(units, 7389u);  // 398 codes are second or third codes of a unit
}

TEST(StringConv, HalfWidthAndKanaTablesMatchTheSystemConverter) {
    const std::string full =
        "ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノ"
        "ハヒフヘホマミムメモヤユヨラリルレロワン゛゜";
    Bytes sjis;
    ASSERT_TRUE(Iconv("CP932", "UTF-8", Bytes(full.begin(), full.end()), &sjis) &&
                sjis.size() == 2 * kHanZenTblRows);
    for (unsigned b = 0xA6; b <= 0xDF; ++b)
        EXPECT_EQ(conv.HanToZen(b), sjis[2 * (b - 0xA6)] << 8 | sjis[2 * (b - 0xA6) + 1]) << b;
    for (unsigned short code : {0x41, 0xA5, 0xE0, 0x8341}) EXPECT_EQ(conv.HanToZen(code), 0);
    EXPECT_TRUE(conv.HiraToKata(0x829E) == 0 && conv.HiraToKata(0x82F2) == 0);
}

// Name, source, capacity, the bytes written (terminator included), as byte strings. Each runs
// into a marked buffer: nothing past the result is touched, and a byte after the source's
// terminator is never text. A null source or destination writes nothing.
using StringCase = std::tuple<const char*, std::string, unsigned long, std::string>;
template <typename Fn>
void CheckStrings(const std::vector<StringCase>& cases, Fn convert) {
    for (auto [name, text, capacity, expected] : cases) {
        Bytes src(text.begin(), text.end()), dst(32, 0xCC);
        src.insert(src.end(), {0, 0x41});
        EXPECT_TRUE(!convert(nullptr, src.data(), capacity) && !convert(dst.data(), nullptr, 9));
        EXPECT_EQ(convert(dst.data(), src.data(), capacity), expected.size()) << name;
        EXPECT_EQ(std::string(dst.begin(), dst.begin() + expected.size()), expected) << name;
        EXPECT_EQ(dst[expected.size()], 0xCC) << name;
    }
}

// A bad trail byte or a lead byte before the terminator gives the reference mark; a code the
// table lacks is copied; only 0xA6 to 0xDF widen, a trail byte too; a pair in the kana range
// that the kana table lacks is replaced.
TEST(StringConv, StringFormsKeepCapacityTerminatorAndQuirks) {
    using namespace std::string_literals;
    CheckStrings(
        {{"ascii, kana, high", "Ab\x82\xA0\x80\xA0\xFD", 0, "Ab\xE3\x81\x82\x80\xA0\xFD\0"s},
         {"bad trail, lead at the end", "\x81 A\x82", 0, "\xE2\x80\xBB\x41\xE2\x80\xBB\0"s},
         {"capacity cuts", "AB", 2, "A\0"s},
         {"character not split", "A\x82\xA0", 4, "A\0"s}},
        [](auto d, auto s, auto n) { return conv.SjisToUtf8(d, s, n); });
    CheckStrings({{"units, gap, lead", "A\x82\xA0\xB1\x85@\x82", 0, "A\0B0q\xFF@\x85\x82\0\0\0"s},
                  {"capacity odd", "AB", 5, "A\0\0\0"s},
                  {"capacity below terminator", "A", 1, ""}},
                 [](auto d, auto s, auto n) { return conv.SjisToUtf16(d, s, n); });
    // UTF-16 sources end in one 0 byte here, the other comes from CheckStrings.
    CheckStrings({{"one and two bytes, missing units", "A\0B0q\xFF\xE9\0\x01\xAC\0"s, 0,
                   "A\x82\xA0\xB1\xE9\xAC\x01\0"s},
                  {"character not split", "B0D0\0"s, 4, "\x82\xA0\0"s}},
                 [](auto d, auto s, auto n) { return conv.Utf16ToSjis(d, s, n); });
    CheckStrings({{"reading", "\xA5\xB1\xDE\xDF\x41\x82\xB1", 0,
                   "\xA5\x83\x41\x81J\x81K\x41\x82\x83\x41\0"s},
                  {"character not split", "A\xA6", 3, "A\0"s}},
                 [](auto d, auto s, auto n) { return conv.HanToZen(d, s, n); });
    CheckStrings({{"empty writes one byte", "", 0, "\0"s},
                  {"mixed", "A\x83J\x82\xA0", 0, "A\x82\xA9\x82\xA0"},
                  {"vu copied", "\x83\x94", 0, "\x83\x94"},
                  {"trail past range", "\x88\x9F", 0, "\x88\x9F"},
                  {"kanji and half-width replaced", "\x89@\xB1\x41", 0, "\x81\xA6\x81\xA6"}},
                 [](auto d, auto s, unsigned long) { return conv.KataToHira(d, s); });
    CheckStrings({{"hiragana, kanji, copied", "\x82\x9F\x82\xF1\x88\x9F\x82\x9E\x81\xA0\x82\xF2", 0,
                   "\x83@\x83\x93\x81\xA6\x82\x9E\x81\xA0\x82\xF2"}},
                 [](auto d, auto s, unsigned long) { return conv.HiraToKata(d, s); });
}

// Every high byte before '@': a lead byte (81-9F, E0-EF, FA-FC) takes the '@' as its trail,
// any other byte leaves it to be written as itself.
TEST(StringConv, LeadBytesTakeTheNextByte) {
    for (unsigned b = 0x80; b < 0x100; ++b) {
        const bool lead = InTable(b << 8);
        unsigned char src[] = {static_cast<unsigned char>(b), '@', 0}, dst[16] = {};
        const unsigned long n8 = conv.SjisToUtf8(dst, src, sizeof(dst));
        ASSERT_GE(n8, 2u);
        EXPECT_EQ(dst[n8 - 2] == '@', !lead) << std::hex << b;
        const unsigned long n16 = conv.SjisToUtf16(dst, src, sizeof(dst));
        ASSERT_GE(n16, 4u);
        EXPECT_EQ(dst[n16 - 4] == '@' && dst[n16 - 3] == 0, !lead) << std::hex << b;
    }
}

TEST(StringConv, Utf8AndUtf16SubFormsWithoutValidation) {
    // Bytes (some past len), len, units: a sequence that starts before len is read whole.
    const std::tuple<Bytes, unsigned long, Units> cases[] = {
        {{'A', 0, 'z', 'A'}, 3, {0x41, 0, 0x7A}},  // a 0 byte inside len is a unit
        {{0xC3, 0xA9, 0xE3, 0x81, 0x82, 'A'}, 5, {0xE9, 0x3042}},
        {{0xF0, 0x9F, 0x98, 0x80, 'A', 'B'}, 4, {0x07D8, 0x42}},  // 4-byte lead read as 3
        {{0x80, 0x41, 0x42, 'A'}, 3, {0x42}},
        {{'a', 0xE3, 0x81, 0x82}, 2, {0x61, 0x3042}},
        {{0xE3, 0, 'A'}, 1, {0x3000}}};  // a NUL ends the sequence
    for (auto [utf8, len, units] : cases) {
        Units dst(8, 0xCCCC);
        EXPECT_EQ(conv.UTF8ToUTF16Sub(nullptr, utf8.data(), len), units.size());
        EXPECT_EQ(conv.UTF8ToUTF16Sub(dst.data(), utf8.data(), len), units.size());
        units.insert(units.end(), {0, 0xCCCC});
        EXPECT_EQ(Units(dst.begin(), dst.begin() + units.size()), units);
    }
    Units wide = {0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD83D, 0x41};
    std::string out(20, '\xCC');
    EXPECT_EQ(conv.UTF16ToUTF8Sub(nullptr, wide.data(), 6), 14u);
    EXPECT_EQ(conv.UTF16ToUTF8Sub(reinterpret_cast<unsigned char*>(&out[0]), wide.data(), 6), 14u);
    EXPECT_EQ(out.substr(0, 16),
              std::string("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xED\xA0\xBD\0\xCC", 16));
}

// The whole table as one string, against iconv, and back through the allocating forms.
TEST(StringConv, WholeTableStringsMatchTheSystemConverter) {
    Bytes sjis, utf8, utf16;
    for (const ST_CONVTBL& row : g_stConvTbl)
        for (uint8_t c : Sjis(row.wSjis)) sjis.push_back(c);
    ASSERT_TRUE(Iconv("UTF-8", "CP932", sjis, &utf8) && Iconv("UTF-16LE", "CP932", sjis, &utf16));
    for (Bytes* b : {&sjis, &utf8, &utf16, &utf16}) b->push_back(0);  // terminators
    Bytes out(utf8.size() + utf16.size(), 0);
    EXPECT_EQ(conv.SjisToUtf8(out.data(), sjis.data(), utf8.size()), utf8.size());
    EXPECT_TRUE(std::equal(utf8.begin(), utf8.end(), out.begin()));
    EXPECT_EQ(conv.SjisToUtf16(out.data(), sjis.data(), 0), utf16.size());
    EXPECT_TRUE(std::equal(utf16.begin(), utf16.end(), out.begin()));

    unsigned short *wide = nullptr, *none = nullptr;
    unsigned char* narrow = nullptr;
    ASSERT_EQ(conv.UTF8ToUTF16(&wide, utf8.data()), kConvTblRows);
    EXPECT_EQ(0, memcmp(wide, utf16.data(), utf16.size()));
    ASSERT_EQ(conv.UTF16ToUTF8(&narrow, wide), utf8.size() - 1);
    EXPECT_EQ(0, memcmp(narrow, utf8.data(), utf8.size()));
    unsigned short* keep = wide;
    EXPECT_TRUE(conv.UTF8ToUTF16(&keep, utf8.data()) == 0 && keep == wide) << "occupied output";
    delete[] wide;
    delete[] narrow;
    EXPECT_TRUE(conv.UTF8ToUTF16(&none, &sjis.back()) == 0 && none == nullptr) << "empty string";
}

TEST(StringConv, WideStrCmpAndWordReads) {
    // Nothing after a terminator decides: "A\0C" against "ABC" is the terminator against B.
    using namespace std::string_literals;
    const std::tuple<std::u16string, std::u16string, int> cases[] = {
        {u"", u"", 0},        {u"A\u3042", u"A\u3042", 0}, {u"A", u"B", -1},
        {u"A", u"AB", -0x42}, {u"\uFFFF", u"\1", 0xFFFE},  {u"A\0C"s, u"ABC", -0x42}};
    auto u = [](std::u16string& s) { return reinterpret_cast<unsigned short*>(&s[0]); };
    for (auto [a, b, expected] : cases) EXPECT_EQ(conv.WideStrCmp(u(a), u(b)), expected);
    unsigned char p[2] = {0x12, 0xF4};
    EXPECT_TRUE(conv.ConvToWORD(p) == 0x12F4 && conv.LConvToWORD(p) == 0xF412);
}

TEST(StringConv, SortIsCorrectAndItsDepthLogarithmic) {
    std::vector<ST_CONVTBL> rows(g_stConvTbl, g_stConvTbl + kConvTblRows);
    conv.SortConvTblUtf16(rows.data(), 0, static_cast<long>(kConvTblRows) - 1);
    for (size_t i = 1; i < rows.size(); ++i) ASSERT_LE(rows[i - 1].wUtf16, rows[i].wUtf16) << i;
    ST_CONVTBL few[] = {{1, 9, 0}, {3, 5, 0}, {4, 7, 0}, {2, 1, 0}, {5, 0, 0}};
    conv.SortConvTblUtf16(few, 1, 3);  // rows outside the range stay
    for (int i = 0; i < 5; ++i) EXPECT_EQ(few[i].wSjis, i + 1);

    // Rows ordered so that every middle pivot is its range's largest: each partition peels off
    // one row. The sort runs on a 64 KiB stack, which only a depth of the order of log2(n) fits.
    constexpr long kRows = 6000;
    auto sort = [](void* rows) -> void* {
        return conv.SortConvTblUtf16(static_cast<ST_CONVTBL*>(rows), 0, kRows - 1), nullptr;
    };
    std::vector<long> at(kRows);
    std::iota(at.begin(), at.end(), 0);
    std::vector<ST_CONVTBL> bad(kRows);
    for (long r = kRows - 1; r >= 0; --r) {
        bad[at[r / 2]].wUtf16 = static_cast<uint16_t>(r);
        std::swap(at[r / 2], at[r]);
    }
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 64 * 1024);
    pthread_t t;
    ASSERT_EQ(0, pthread_create(&t, &attr, sort, bad.data()));
    pthread_join(t, nullptr);
    pthread_attr_destroy(&attr);
    for (long k = 0; k < kRows; ++k) ASSERT_EQ(bad[k].wUtf16, k);
}

}  // namespace
