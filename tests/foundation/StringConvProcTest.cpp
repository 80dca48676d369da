// CStringConvProc against the system's code page 932 converter (glibc iconv "CP932") as the
// model, hand-worked values for the capacity, terminator and deliberate quirk rules.
#include <gtest/gtest.h>
#include <iconv.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "SearchProc.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

// Converts with glibc iconv; false when the input is not converted whole.
bool Iconv(const char* to, const char* from, Bytes in, Bytes* out) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    out->assign(in.size() * 4 + 16, 0);
    char* ip = reinterpret_cast<char*>(in.data());
    char* op = reinterpret_cast<char*>(out->data());
    size_t il = in.size(), ol = out->size();
    const bool ok = iconv(cd, &ip, &il, &op, &ol) != static_cast<size_t>(-1) && il == 0;
    iconv_close(cd);
    out->resize(out->size() - ol);
    return ok;
}

Bytes Sjis(unsigned code) {
    if (code < 0x100) return {static_cast<unsigned char>(code)};
    return {static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code)};
}

unsigned long Utf8Number(const Bytes& b) {
    unsigned long v = 0;
    for (unsigned char c : b) v = v << 8 | c;
    return v;
}

bool InTable(unsigned code) {
    if (code < 0x100) return code >= 0xA1 && code <= 0xDF;
    const unsigned b = code >> 8;
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xEF) || (b >= 0xFA && b <= 0xFC);
}

CStringConvProc conv;

// Every one- and two-byte code: in the table exactly when iconv decodes it, with its units.
TEST(StringConv, EveryCodeMatchesTheSystemDecoder) {
    unsigned found = 0;
    for (unsigned code = 0; code < 0x10000; ++code) {
        Bytes u16, u8;
        const bool decodes = InTable(code) && Iconv("UTF-16LE", "CP932", Sjis(code), &u16) &&
                             u16.size() == 2 && Iconv("UTF-8", "CP932", Sjis(code), &u8);
        found += decodes;
        SCOPED_TRACE(code);
        ASSERT_EQ(conv.SjisToUtf16(code), decodes ? (u16[0] | u16[1] << 8) : 0);
        ASSERT_EQ(conv.SjisToUtf8(code), decodes ? Utf8Number(u8) : 0);
    }
    EXPECT_EQ(found, kConvTblRows);
}

// Every unit: the code iconv's encoder writes when that code is in the table and decodes back
// (iconv also writes one-way best fits), else 0. Units with several codes get iconv's choice.
TEST(StringConv, EveryUnitMatchesTheSystemEncoder) {
    unsigned found = 0;
    for (unsigned unit = 1; unit < 0x10000; ++unit) {
        const Bytes in = {static_cast<unsigned char>(unit), static_cast<unsigned char>(unit >> 8)};
        Bytes sjis, back;
        unsigned expected = 0;
        if (Iconv("CP932", "UTF-16LE", in, &sjis) && Iconv("UTF-16LE", "CP932", sjis, &back) &&
            back == in) {
            const unsigned code = sjis.size() == 1 ? sjis[0] : (sjis[0] << 8 | sjis[1]);
            if (InTable(code)) expected = code;
        }
        found += expected != 0;
        SCOPED_TRACE(unit);
        ASSERT_EQ(conv.Utf16ToSjis(unit), expected);
    }
    EXPECT_EQ(found, 7389u);  // 398 codes are second or third codes of a unit
}

TEST(StringConv, HalfWidthAndKanaTablesMatchTheSystemConverter) {
    const std::string full =
        "ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノ"
        "ハヒフヘホマミムメモヤユヨラリルレロワン゛゜";
    Bytes sjis;
    ASSERT_TRUE(Iconv("CP932", "UTF-8", Bytes(full.begin(), full.end()), &sjis));
    ASSERT_EQ(sjis.size(), 2 * kHanZenTblRows);
    for (unsigned b = 0xA6; b <= 0xDF; ++b)
        EXPECT_EQ(conv.HanToZen(b), sjis[2 * (b - 0xA6)] << 8 | sjis[2 * (b - 0xA6) + 1]) << b;
    for (unsigned short code : {0x41, 0xA5, 0xE0, 0x8341}) EXPECT_EQ(conv.HanToZen(code), 0);
    // Katakana and hiragana of a letter are 0x60 units apart; the two directions are inverse.
    unsigned pairs = 0;
    for (unsigned kata = 0x8300; kata < 0x8400; ++kata) {
        const unsigned short hira = conv.KataToHira(kata);
        Bytes k, h;
        const bool letter = Iconv("UTF-16LE", "CP932", Sjis(kata), &k) && k.size() == 2 &&
                            (k[0] | k[1] << 8) >= 0x30A1 && (k[0] | k[1] << 8) <= 0x30F3;
        SCOPED_TRACE(kata);
        ASSERT_EQ(hira != 0, letter);
        if (!letter) continue;
        ++pairs;
        ASSERT_TRUE(Iconv("UTF-16LE", "CP932", Sjis(hira), &h));
        EXPECT_EQ((k[0] | k[1] << 8) - 0x60, h[0] | h[1] << 8);
        EXPECT_EQ(conv.HiraToKata(hira), kata);
    }
    EXPECT_EQ(pairs, kKanaTblRows);
    EXPECT_EQ(conv.HiraToKata(0x829E), 0);
    EXPECT_EQ(conv.HiraToKata(0x82F2), 0);
}

// Runs a string form into a marked buffer: the bytes written (terminator included) are the
// result, and nothing past them is touched. A byte after the source's terminator is never text.
struct StringCase {
    const char* name;
    Bytes src;
    unsigned long capacity;
    Bytes expected;
};
template <typename Fn>
void CheckStrings(const std::vector<StringCase>& cases, Fn convert) {
    for (const StringCase& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes src = c.src;
        src.insert(src.end(), {0, 0x41});
        Bytes dst(32, 0xCC);
        EXPECT_EQ(convert(dst.data(), src.data(), c.capacity), c.expected.size());
        EXPECT_EQ(Bytes(dst.begin(), dst.begin() + c.expected.size()), c.expected);
        EXPECT_EQ(dst[c.expected.size()], 0xCC);
    }
}

TEST(StringConv, StringFormsKeepCapacityTerminatorAndQuirks) {
    using C = CStringConvProc;
    CheckStrings({{"ascii", {'A', 'b'}, 0, {'A', 'b', 0}},
                  {"hiragana", {0x82, 0xA0}, 0, {0xE3, 0x81, 0x82, 0}},
                  {"bad trail: reference mark", {0x81, 0x20, 0x41}, 0, {0xE2, 0x80, 0xBB, 0x41, 0}},
                  {"lead before terminator", {0x41, 0x82}, 0, {0x41, 0xE2, 0x80, 0xBB, 0}},
                  {"non-lead high bytes", {0x80, 0xA0, 0xFD}, 0, {0x80, 0xA0, 0xFD, 0}},
                  {"capacity cuts", {'A', 'B'}, 2, {'A', 0}},
                  {"character not split", {0x41, 0x82, 0xA0}, 4, {0x41, 0}}},
                 [](auto d, auto s, auto n) { return conv.SjisToUtf8(d, s, n); });
    CheckStrings({{"units", {'A', 0x82, 0xA0, 0xB1}, 0, {0x41, 0, 0x42, 0x30, 0x71, 0xFF, 0, 0}},
                  {"missing code copied", {0x85, 0x40}, 0, {0x40, 0x85, 0, 0}},
                  {"lead before terminator", {0x82}, 0, {0x82, 0, 0, 0}},
                  {"capacity odd", {'A', 'B'}, 5, {0x41, 0, 0, 0}},
                  {"capacity below terminator", {'A'}, 1, {}}},
                 [](auto d, auto s, auto n) { return conv.SjisToUtf16(d, s, n); });
    // UTF-16 sources end in one 0 byte here, the other comes from CheckStrings.
    CheckStrings({{"one and two bytes",
                   {0x41, 0, 0x42, 0x30, 0x71, 0xFF, 0},
                   0,
                   {0x41, 0x82, 0xA0, 0xB1, 0}},
                  {"missing small unit", {0xE9, 0, 0}, 0, {0xE9, 0}},
                  {"missing unit high byte first", {0x01, 0xAC, 0}, 0, {0xAC, 0x01, 0}},
                  {"character not split", {0x42, 0x30, 0x44, 0x30, 0}, 4, {0x82, 0xA0, 0}}},
                 [](auto d, auto s, auto n) { return conv.Utf16ToSjis(d, s, n); });
    CheckStrings({{"reading", {0xB1, 0xDE, 0x41}, 0, {0x83, 0x41, 0x81, 0x4A, 0x41, 0}},
                  {"trail byte widened too", {0x82, 0xB1}, 0, {0x82, 0x83, 0x41, 0}},
                  {"character not split", {0x41, 0xA6}, 3, {0x41, 0}}},
                 [](auto d, auto s, auto n) { return conv.HanToZen(d, s, n); });
    CheckStrings({{"empty writes one byte", {}, 0, {0}},
                  {"mixed", {0x41, 0x83, 0x4A, 0x82, 0xA0}, 0, {0x41, 0x82, 0xA9, 0x82, 0xA0}},
                  {"kanji replaced", {0x89, 0x40}, 0, {0x81, 0xA6}},
                  {"half-width replaced", {0xB1, 0x41}, 0, {0x81, 0xA6}},
                  {"vu copied", {0x83, 0x94}, 0, {0x83, 0x94}},
                  {"trail past range", {0x88, 0x9F}, 0, {0x88, 0x9F}}},
                 [](auto d, auto s, unsigned long) { return conv.KataToHira(d, s); });
    CheckStrings(
        {{"hiragana", {0x82, 0x9F, 0x82, 0xF1}, 0, {0x83, 0x40, 0x83, 0x93}},
         {"kanji replaced", {0x88, 0x9F}, 0, {0x81, 0xA6}},
         {"copied", {0x82, 0x9E, 0x81, 0xA0, 0x82, 0xF2}, 0, {0x82, 0x9E, 0x81, 0xA0, 0x82, 0xF2}}},
        [](auto d, auto s, unsigned long) { return conv.HiraToKata(d, s); });
    unsigned char b[4] = {0x41, 0};
    using Form = unsigned long (C::*)(unsigned char*, unsigned char*, unsigned long);
    const Form forms[] = {&C::SjisToUtf8, &C::SjisToUtf16, &C::Utf16ToSjis, &C::HanToZen};
    for (Form fn : forms) {
        EXPECT_EQ((conv.*fn)(nullptr, b, 0), 0u);
        EXPECT_EQ((conv.*fn)(b, nullptr, 0), 0u);
    }
}

TEST(StringConv, Utf8AndUtf16SubFormsWithoutValidation) {
    const std::vector<std::pair<Bytes, Units>> cases = {
        {{'A', 0, 'z'}, {0x41, 0, 0x7A}},  // a 0 byte inside len is a unit
        {{0xC3, 0xA9, 0xE3, 0x81, 0x82}, {0xE9, 0x3042}},
        {{0xF0, 0x9F, 0x98, 0x80}, {0x07D8, 0}},  // 4-byte lead read as 3, continuation as 3
        {{0x80, 0x41, 0x42}, {0x42}},
        {{0xE3, 0x81}, {0x3040}},  // sequence cut by len
    };
    for (const auto& [utf8, units] : cases) {
        Bytes src = utf8;
        src.push_back(0x41);
        Units dst(8, 0xCCCC);
        EXPECT_EQ(conv.UTF8ToUTF16Sub(nullptr, src.data(), utf8.size()), units.size());
        EXPECT_EQ(conv.UTF8ToUTF16Sub(dst.data(), src.data(), utf8.size()), units.size());
        EXPECT_EQ(Units(dst.begin(), dst.begin() + units.size()), units);
        EXPECT_TRUE(dst[units.size()] == 0 && dst[units.size() + 1] == 0xCCCC);
    }
    Units wide = {0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD83D, 0x41};
    Bytes out(20, 0xCC);
    const Bytes expect = {0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80,
                          0xEF, 0xBF, 0xBF, 0xED, 0xA0, 0xBD, 0,    0xCC};
    EXPECT_EQ(conv.UTF16ToUTF8Sub(nullptr, wide.data(), 6), 14u);
    EXPECT_EQ(conv.UTF16ToUTF8Sub(out.data(), wide.data(), 6), 14u);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 16), expect);
}

// The whole table as one string, against iconv, and back through the allocating forms.
TEST(StringConv, WholeTableStringsMatchTheSystemConverter) {
    Bytes sjis;
    for (const ST_CONVTBL& row : g_stConvTbl) {
        const Bytes b = Sjis(row.wSjis);
        sjis.insert(sjis.end(), b.begin(), b.end());
    }
    Bytes utf8, utf16, back;
    ASSERT_TRUE(Iconv("UTF-8", "CP932", sjis, &utf8));
    ASSERT_TRUE(Iconv("UTF-16LE", "CP932", sjis, &utf16));
    ASSERT_TRUE(Iconv("CP932", "UTF-16LE", utf16, &back));
    sjis.push_back(0);
    utf8.push_back(0);
    utf16.insert(utf16.end(), {0, 0});
    back.push_back(0);
    Bytes out(utf8.size() + utf16.size(), 0);
    EXPECT_EQ(conv.SjisToUtf8(out.data(), sjis.data(), utf8.size()), utf8.size());
    EXPECT_TRUE(std::equal(utf8.begin(), utf8.end(), out.begin()));
    EXPECT_EQ(conv.SjisToUtf16(out.data(), sjis.data(), 0), utf16.size());
    EXPECT_TRUE(std::equal(utf16.begin(), utf16.end(), out.begin()));
    EXPECT_EQ(conv.Utf16ToSjis(out.data(), utf16.data(), 0), back.size());
    EXPECT_TRUE(std::equal(back.begin(), back.end(), out.begin()));

    unsigned short* wide = nullptr;
    unsigned char* narrow = nullptr;
    ASSERT_EQ(conv.UTF8ToUTF16(&wide, utf8.data()), kConvTblRows);
    EXPECT_EQ(0, memcmp(wide, utf16.data(), utf16.size()));
    ASSERT_EQ(conv.UTF16ToUTF8(&narrow, wide), utf8.size() - 1);
    EXPECT_EQ(0, memcmp(narrow, utf8.data(), utf8.size()));
    unsigned short* keep = wide;
    EXPECT_EQ(conv.UTF8ToUTF16(&keep, utf8.data()), 0u) << "occupied output refused";
    EXPECT_EQ(keep, wide);
    delete[] wide;
    delete[] narrow;
    unsigned char empty[1] = {0};
    unsigned short* none = nullptr;
    EXPECT_EQ(conv.UTF8ToUTF16(&none, empty), 0u);
    EXPECT_EQ(none, nullptr);
}

TEST(StringConv, WideStrCmpAndWordReads) {
    struct Case {
        Units a, b;
        int expected;
    };
    const Case cases[] = {{{0}, {0}, 0},
                          {{0x41, 0x3042, 0}, {0x41, 0x3042, 0}, 0},
                          {{0x41, 0}, {0x42, 0}, -1},
                          {{0x41, 0}, {0x41, 0x42, 0}, -0x42},
                          {{0xFFFF, 0}, {1, 0}, 0xFFFE},
                          {{0x41, 0, 0x43, 0}, {0x41, 0x42, 0x43, 0}, -0x42}};
    for (Case c : cases) EXPECT_EQ(conv.WideStrCmp(c.a.data(), c.b.data()), c.expected);
    unsigned char p[2] = {0x12, 0xF4};
    EXPECT_EQ(conv.ConvToWORD(p), 0x12F4);
    EXPECT_EQ(conv.LConvToWORD(p), 0xF412);
}

// Rows ordered so that every middle pivot is its range's largest: each partition peels off one
// row. The sort runs on a 64 KiB stack, which only a depth of the order of log2(n) fits.
void* SortAdversarial(void* arg) {
    auto* rows = static_cast<std::vector<ST_CONVTBL>*>(arg);
    conv.SortConvTblUtf16(rows->data(), 0, static_cast<long>(rows->size()) - 1);
    return nullptr;
}

TEST(StringConv, SortIsCorrectAndItsDepthLogarithmic) {
    std::vector<ST_CONVTBL> rows(g_stConvTbl, g_stConvTbl + kConvTblRows);
    conv.SortConvTblUtf16(rows.data(), 0, static_cast<long>(kConvTblRows) - 1);
    for (size_t i = 1; i < rows.size(); ++i) ASSERT_LE(rows[i - 1].wUtf16, rows[i].wUtf16) << i;
    ST_CONVTBL few[] = {{1, 9, 0}, {2, 5, 0}, {3, 7, 0}, {4, 1, 0}, {5, 0, 0}};
    conv.SortConvTblUtf16(few, 1, 3);  // rows outside the range stay
    const unsigned short order[] = {1, 4, 2, 3, 5};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(few[i].wSjis, order[i]);

    const long n = 6000;
    std::vector<long> at(n);
    for (long k = 0; k < n; ++k) at[k] = k;
    std::vector<ST_CONVTBL> bad(n);
    for (long r = n - 1, v = n - 1; r >= 0; --r, --v) {
        bad[at[r / 2]].wUtf16 = static_cast<uint16_t>(v);
        std::swap(at[r / 2], at[r]);
    }
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 64 * 1024);
    pthread_t t;
    ASSERT_EQ(0, pthread_create(&t, &attr, SortAdversarial, &bad));
    pthread_join(t, nullptr);
    pthread_attr_destroy(&attr);
    for (long k = 0; k < n; ++k) ASSERT_EQ(bad[k].wUtf16, k);
}

}  // namespace
