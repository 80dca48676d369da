// Guidance strings: every number of indexes of every size found with its text, length, extra
// value and encoding; absent numbers, damaged index sizes and tags; no SD fallback; the copying
// forms that convert, cut and split; the road look-ups that always answer 0.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StringWriter.h"
#include "TempDir.h"
#include "TextTools.h"
#include "support/Settings.h"

namespace {

using mapdb::StringEncoding;

struct Hit {
    unsigned long length;
    std::string text;
    unsigned char encoding;
    unsigned long extra;
};

Hit Search(unsigned char selector, unsigned long number) {
    CSearchStringProc proc;
    unsigned char* out = nullptr;
    unsigned char encoding = 0;
    unsigned long extra = 0;
    Hit h{proc.SearchProc(&out, &encoding, &extra, selector, number), "", encoding, extra};
    if (out != nullptr) h.text = reinterpret_cast<char*>(out);
    delete[] out;
    return h;
}

class StringDb : public testsupport::SettingsTest {
protected:
    void SetUp() override { settings_.Use(db_.path()); }
    std::string File(const char* name) const { return db_.path() + "/STRINGDB/" + name; }
    mapdb::TempDir db_;
};

TEST_F(StringDb, FindsEveryNumberOfEverySizeAndNothingBetween) {
    for (unsigned n = 1; n <= 17; ++n) {
        std::vector<mapdb::GuidanceString> strings;
        for (unsigned k = 0; k < n; ++k) {  // numbers 2, 4, ...; texts of growing length
            strings.push_back({2 * k + 2, "名" + std::string(k + 1, 'a'), 1000 + k, 0});
        }
        const StringEncoding enc = n % 2 ? StringEncoding::kUtf8 : StringEncoding::kShiftJis;
        mapdb::WriteStringDb(db_.path(), 0x1A, strings, enc);
        for (unsigned long number = 0; number <= 2 * n + 2; ++number) {
            SCOPED_TRACE(std::to_string(n) + " strings, number " + std::to_string(number));
            const Hit h = Search(0x1A, number);
            if (number % 2 || number == 0 || number > 2 * n) {
                EXPECT_EQ(0u, h.length);
                continue;
            }
            const mapdb::GuidanceString& s = strings[number / 2 - 1];
            const std::string stored = n % 2 ? s.text : mapdb::Utf8ToSjis(s.text);
            EXPECT_EQ(stored.size(), h.length);
            EXPECT_EQ(stored, h.text);
            EXPECT_EQ(n % 2 ? 1 : 2, h.encoding);
            EXPECT_EQ(s.extra, h.extra);
        }
    }
}

TEST_F(StringDb, DamagedFilesAndTheDatabasePathOnly) {
    mapdb::WriteStringDb(db_.path(), 1, {{1, "A", 0, 0}, {2, "BC", 0, 0}}, StringEncoding::kUtf8);
    const mapdb::Bytes idx = mapdb::ReadFile(File("GDESTR01.IDX"));
    const mapdb::Bytes dat = mapdb::ReadFile(File("GDESTR01.DAT"));
    EXPECT_EQ(2u, Search(1, 2).length);
    const struct {
        size_t idxSize;
        const char* tag;
        unsigned long length;
    } cases[] = {{16, "UTF8", 0},      {16 + 13, "UTF8", 0}, {16 + 14 + 1, "UTF8", 0},
                 {16 + 28, "SJIS", 2}, {16 + 28, "ABCD", 0}, {16 + 14, "UTF8", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.idxSize) + " " + c.tag);
        mapdb::Bytes i = idx, d = dat;
        i.resize(c.idxSize);
        std::copy(c.tag, c.tag + 4, d.begin() + 12);
        mapdb::WriteFile(File("GDESTR01.IDX"), i), mapdb::WriteFile(File("GDESTR01.DAT"), d);
        EXPECT_EQ(c.length, Search(1, 2).length);
    }
    mapdb::WriteFile(File("GDESTR01.IDX"), idx), mapdb::WriteFile(File("GDESTR01.DAT"), dat);
    settings_.Use("", db_.path(), true, true);  // the SD copy is never read
    EXPECT_EQ(0u, Search(1, 2).length);
}

TEST_F(StringDb, CopyingFormsConvertCutAndSplit) {
    const std::string longName = "東京湾アクアライン連絡道路の出口です";  // 36 bytes in Shift_JIS
    mapdb::WriteStringDb(db_.path(), 1,
                         {{1, "木更津｜千葉｜館山｜鴨川", 7, 0}, {2, longName, 0, 0}},
                         StringEncoding::kUtf8);
    mapdb::WriteStringDb(db_.path(), 2, {{1, "川崎｜横浜", 0, 0}}, StringEncoding::kShiftJis);
    CSearchStringProc proc;
    unsigned char sjis[CSearchStringProc::kSjisSize];
    EXPECT_EQ(30u, proc.SearchProc(sjis, 1, 2, 0));  // cut before the character at 30-31
    EXPECT_EQ(mapdb::Utf8ToSjis(longName).substr(0, 30), reinterpret_cast<char*>(sjis));
    EXPECT_EQ(6u, proc.SearchProc(sjis, 1, 1, 1));
    EXPECT_EQ(mapdb::Utf8ToSjis("木更津"), reinterpret_cast<char*>(sjis));
    EXPECT_EQ(0u, proc.SearchProc(sjis, 1, 3, 0));

    char utf8[CSearchStringProc::kUtf8Size];
    unsigned long extra = 0;
    EXPECT_NE(0u, proc.SearchProc(utf8, &extra, 1, 1, 0));
    EXPECT_STREQ("木更津｜千葉｜館山｜鴨川", utf8);
    EXPECT_EQ(7u, extra);
    EXPECT_NE(0u, proc.SearchProc(utf8, 2, 1, 1));
    EXPECT_STREQ("川崎", utf8);

    char a[CSearchStringProc::kUtf8Size], b[CSearchStringProc::kUtf8Size],
        c[CSearchStringProc::kUtf8Size];
    EXPECT_EQ(3u, proc.SearchProc(a, b, c, 1, 1, 0, 0, 0));
    EXPECT_EQ("木更津/千葉/館山｜鴨川", std::string(a) + "/" + b + "/" + c);
    EXPECT_EQ(2u, proc.SearchProc(a, b, c, 2, 1, 0, 0, 0));
    EXPECT_EQ("川崎/横浜/", std::string(a) + "/" + b + "/" + c);

    unsigned char* p = nullptr;
    unsigned long n = 0;
    CSearchRoadNumberProc numbers;
    CSearchRoadNameProc names;
    EXPECT_EQ(0u, numbers.SearchProc(utf8, utf8, 1, 1, 0, 0) + numbers.SearchProc(&p, 1, 1) +
                      numbers.GetRoadNum(&p, 1, 1, &n) + names.SearchProc(utf8, &n, 1, 1, 1, 0) +
                      names.SearchProc(&p, &n, 1, 1, 1));
    EXPECT_EQ(nullptr, p);
}

}  // namespace
