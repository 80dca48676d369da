// Kana reading search: typing character by character against a brute-force model of the
// readings, the key states, voiced marks, hyphens and unknown characters, the result codes,
// listing through the base data, and damaged trees.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"
#include "KanaWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "TextTools.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

constexpr unsigned long kAny = 255;

// Readings that share prefixes, with voiced, semi-voiced and prolonged sounds.
const char* const kReadings[] = {
    "カ",     "カキ", "かき",   "カギ", "カキクケ",     "カク", "カクテル", "カーテン",
    "かーど", "キ",   "キツネ", "パン", "ハンバーガー", "ハナ", "ヲ",       "アイ",
    "アイス", "アオ", "アー",   "ンー", "カキクケコサ", "タ",   "ダイ",     "ポ",
};
constexpr size_t kCount = sizeof(kReadings) / sizeof(*kReadings);

std::string Key(const std::string& typed) {
    std::string out;
    for (unsigned char c : typed) {
        if (c == 0xDE || c == 0xDF) continue;
        out += c == '-' ? '\xB0' : static_cast<char>(c);
    }
    return out;
}

class KanaTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tmp_ = new mapdb::TempDir;
        pois_ = new std::vector<mapdb::PoiSource>;
        for (size_t i = 0; i < kCount; ++i) {
            pois_->push_back(testsupport::MakePoi("K" + std::to_string(i), kReadings[i], 1 + i % 3,
                                                  i % 2, 5, 7));
        }
        base_ = new mapdb::BaseResult(mapdb::WriteBase(tmp_->path(), *pois_));
        mapdb::WriteKana(tmp_->path(), *pois_, *base_);
    }
    static void TearDownTestSuite() {
        delete tmp_;
        delete pois_;
        delete base_;
    }
    void SetUp() override { settings_.Use(tmp_->path()); }

    // The brute-force model of a search: the path the walk ends on (unknown characters
    // skipped), the POIs under it, and what may follow.
    struct Model {
        std::string path;
        std::vector<unsigned long> ids;  // ascending
        bool complete = false;
        std::set<unsigned char> next;
    };
    static Model Expect(const std::string& typed) {
        const std::string key = Key(typed);
        auto startsWith = [](const std::string& s, const std::string& p) {
            return s.compare(0, p.size(), p) == 0;
        };
        Model m;
        m.path = key.substr(0, 1);
        for (size_t k = 1; k < key.size(); ++k) {
            for (const std::string& r : base_->readings) {
                if (startsWith(r, m.path + key[k])) {
                    m.path += key[k];
                    break;
                }
            }
        }
        for (size_t i = 0; i < kCount; ++i) {
            const std::string& r = base_->readings[i];
            if (!startsWith(r, m.path)) continue;
            m.ids.push_back(base_->ids[i]);
            if (r == m.path) m.complete = true;
            if (r.size() > m.path.size())
                m.next.insert(static_cast<unsigned char>(r[m.path.size()]));
        }
        std::sort(m.ids.begin(), m.ids.end());
        return m;
    }

    static unsigned long KeyIndex(unsigned char c) {
        return c == 0xA6 ? 45 : c == 0xB0 ? 46 : static_cast<unsigned long>(c - 0xB1);
    }

    static mapdb::TempDir* tmp_;
    static std::vector<mapdb::PoiSource>* pois_;
    static mapdb::BaseResult* base_;
    testsupport::ScopedSettings settings_;
};
mapdb::TempDir* KanaTest::tmp_ = nullptr;
std::vector<mapdb::PoiSource>* KanaTest::pois_ = nullptr;
mapdb::BaseResult* KanaTest::base_ = nullptr;

TEST_F(KanaTest, TypingCharacterByCharacterFollowsTheReadings) {
    // Half-width, as a keyboard types them.
    const char* const typed[] = {
        "\xB6\xB7\xB8\xB9\xBA\xBB",              // ｶｷｸｹｺｻ: down one branch to its end
        "\xB6\xDE\xB7\xDE",                      // ｶﾞｷﾞ: voiced marks are dropped
        "\xCA\xDF\xDD",                          // ﾊﾟﾝ
        "\xB6-\xC3\xDD",                         // ｶ-ﾃﾝ: the hyphen is the prolonged sound
        "\xB6\xC7\xB7",                          // ｶﾇｷ: ﾇ never follows ｶ and is skipped
        "\xB6\xB7\xB8\xB9\xBA\xBB\xBC\xBD\xBE",  // longer than any reading
        "\xB1\xB2\xBD\xB6",                      // ｱｲｽｶ
        "\xA6",                                  // ｦ
        "\xDD\xB0",                              // ﾝｰ
        "\xC0\xDE\xB2",                          // ﾀﾞｲ
        "\xCE\xDF\xB1",                          // ﾎﾟｱ
    };
    CSearchKanaProc search;
    for (const char* t : typed) {
        const std::string full = t;
        for (size_t len = 1; len <= full.size(); ++len) {
            const std::string prefix = full.substr(0, len);
            SCOPED_TRACE(mapdb::SjisToUtf8(prefix));
            const Model m = Expect(prefix);
            unsigned long count = 9999;
            std::vector<unsigned char> reading(prefix.begin(), prefix.end());
            reading.push_back(0);
            ASSERT_EQ(m.complete ? 2u : 3u, search.SearchProc(&count, reading.data()));
            EXPECT_EQ(m.ids.size(), count);
            const unsigned char last = static_cast<unsigned char>(prefix.back());
            const bool voiced =
                last == 0xB3 || (last >= 0xB6 && last <= 0xC4) || (last >= 0xCA && last <= 0xCE);
            const bool semiVoiced = last >= 0xCA && last <= 0xCE;
            for (unsigned long k = 0; k < 47; ++k) {
                const bool expected =
                    std::any_of(m.next.begin(), m.next.end(),
                                [&](unsigned char c) { return KeyIndex(c) == k; });
                EXPECT_EQ(expected ? 1 : 0, search.GetKeyState(k)) << "key " << k;
            }
            EXPECT_EQ(semiVoiced ? 1 : 0, search.GetKeyState(47));
            EXPECT_EQ(voiced ? 1 : 0, search.GetKeyState(48));
            EXPECT_EQ(m.ids.size(), search.GetRefinedTotal(kAny, kAny, kAny, kAny));
            std::vector<CLocationData> out(m.ids.size() + 1);
            ASSERT_TRUE(search.GetList(out.data(), 0, out.size(), kAny, kAny, kAny, kAny));
            for (size_t i = 0; i < m.ids.size(); ++i) EXPECT_EQ(m.ids[i], out[i].dwID) << i;
            EXPECT_EQ(0u, out[m.ids.size()].dwID);
        }
    }
}

TEST_F(KanaTest, EmptyReadingAndMarksAfterTheLastCharacter) {
    CSearchKanaProc search;
    unsigned long count = 77;
    unsigned char empty[] = {0};
    EXPECT_EQ(2u, search.SearchProc(&count, empty));
    EXPECT_EQ(0u, count);
    for (unsigned long k = 0; k < 52; ++k) EXPECT_EQ(k < 45 ? 1 : 0, search.GetKeyState(k)) << k;

    struct Case {
        unsigned char last;
        bool semiVoiced, voiced;
    };
    for (const Case& c : {Case{0xB6, false, true}, Case{0xCA, true, true}, Case{0xB1, false, false},
                          Case{0xB3, false, true}, Case{0xC4, false, true},
                          Case{0xC5, false, false}, Case{0xCE, true, true}}) {
        SCOPED_TRACE(static_cast<int>(c.last));
        unsigned char reading[] = {0xB6, c.last, 0};
        ASSERT_NE(0u, search.SearchProc(&count, reading));
        EXPECT_EQ(c.semiVoiced ? 1 : 0, search.GetKeyState(47));
        EXPECT_EQ(c.voiced ? 1 : 0, search.GetKeyState(48));
    }
}

TEST_F(KanaTest, GenreTotalsAndListsOfTheRun) {
    CSearchKanaProc search;
    unsigned char reading[] = {0xB6, 0};  // ｶ
    unsigned long count = 0;
    ASSERT_EQ(2u, search.SearchProc(&count, reading));
    const Model m = Expect("\xB6");
    struct Filter {
        unsigned long g1, g2;
    };
    for (const Filter& f : {Filter{kAny, kAny}, Filter{1, kAny}, Filter{2, 1}, Filter{3, 0},
                            Filter{kAny, 1}, Filter{9, kAny}}) {
        SCOPED_TRACE(testing::Message() << f.g1 << "/" << f.g2);
        std::vector<unsigned long> expected;
        for (size_t i = 0; i < kCount; ++i) {
            const auto& g = (*pois_)[i].genre;
            if (std::find(m.ids.begin(), m.ids.end(), base_->ids[i]) == m.ids.end()) continue;
            if ((f.g1 == kAny || g[0] == f.g1) && (f.g2 == kAny || g[1] == f.g2)) {
                expected.push_back(base_->ids[i]);
            }
        }
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(expected.size(), search.GetRefinedTotal(f.g1, f.g2, kAny, kAny));
        std::vector<CLocationData> out(3);
        for (size_t start = 0; start < expected.size() + 2; start += 3) {
            ASSERT_TRUE(search.GetList(out.data(), start, 3, f.g1, f.g2, kAny, kAny));
            for (size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(start + i < expected.size() ? expected[start + i] : 0u, out[i].dwID);
            }
        }
    }
}

// Hand-made trees: 12-byte nodes after a 16-byte header.
struct NodeSpec {
    unsigned char ch;
    uint32_t firstChild;
    unsigned char children;
    uint32_t firstId;
    uint16_t count;
};
mapdb::Bytes Tree(const std::vector<NodeSpec>& nodes) {
    mapdb::ByteWriter w;
    w.Zeros(16);
    for (const NodeSpec& n : nodes) {
        w.U8(n.ch);
        w.U32(n.firstChild);
        w.U8(n.children);
        w.U32(n.firstId);
        w.U16(n.count);
    }
    return w.Take();
}

TEST_F(KanaTest, ResultCodesAndDamagedTrees) {
    constexpr uint32_t kLeaf = 0x7fffffff;
    const uint32_t first = base_->ids[0] & 0xFF000000;  // any valid file number
    // ｶ -> ｷ(0x8005) | ｸ(0x0005) ; ｷ -> ｹ
    const std::vector<NodeSpec> good = {{0xB6, 1, 2, first, 9},
                                        {0xB7, 3, 1, first + 1, 0x8005},
                                        {0xB8, kLeaf, 0, first + 2, 0x0005},
                                        {0xB9, kLeaf, 0, first + 3, 0x8001}};
    mapdb::Bytes cutChild = Tree(good);
    cutChild.resize(16 + 12 * 2 + 1);  // node 2 keeps only its character byte
    mapdb::Bytes cutNode = Tree(good);
    cutNode.resize(16 + 12 * 3 + 5);  // node 3 is cut short
    struct Case {
        const char* what;
        mapdb::Bytes tree;
        const char* reading;
        unsigned long result, count;
        std::vector<unsigned long> keys;  // key states set
    };
    const std::vector<Case> cases = {
        {"flag set: code 2", Tree(good), "\xB6\xB7", 2, 5, {8}},
        {"flag clear: code 3", Tree(good), "\xB6\xB8", 3, 5, {}},
        {"leaf reached early", Tree(good), "\xB6\xB7\xB9\xB9\xB9", 2, 1, {}},
        {"file of 27 bytes", mapdb::Bytes(27), "\xB6", 0, 77, {}},
        {"child link past the file", Tree({{0xB6, 40, 3, first, 4}}), "\xB6\xB7", 3, 4, {}},
        {"children cut after the first byte of the second", cutChild, "\xB6", 3, 9, {6, 7}},
        {"matched child cut short: no keys", cutNode, "\xB6\xB7\xB9", 2, 5, {}},
        {"cycle back to the root",
         Tree({{0xB6, 0, 1, first, 3}}),
         "\xB6\xB6\xB6\xB6\xB6\xB6\xB6\xB6",
         3,
         3,
         {5}},
        {"several matching children: the last wins",
         Tree({{0xB6, 1, 2, first, 3}, {0xB7, kLeaf, 0, first, 1}, {0xB7, kLeaf, 0, first + 1, 2}}),
         "\xB6\xB7",
         3,
         2,
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mapdb::TempDir dir;
        mapdb::PackWriter pack;
        pack.Add("K182.idx", c.tree);
        pack.Write(dir.path(), "KANAMA");
        settings_.Use(dir.path(), tmp_->path(), true, true);
        CSearchKanaProc search;
        unsigned long count = 77;
        std::string r = c.reading;
        std::vector<unsigned char> reading(r.begin(), r.end());
        reading.push_back(0);
        ASSERT_EQ(c.result, search.SearchProc(&count, reading.data()));
        EXPECT_EQ(c.count, count);
        // Voiced marks aside (they depend only on the last byte), exactly these keys are set.
        for (unsigned long k = 0; k < 47; ++k) {
            const bool set = std::find(c.keys.begin(), c.keys.end(), k) != c.keys.end();
            EXPECT_EQ(set ? 1 : 0, search.GetKeyState(k)) << k;
        }
    }
    // A very long reading over a cyclic tree ends (one level per character).
    mapdb::TempDir dir;
    mapdb::PackWriter pack;
    pack.Add("K182.idx", Tree({{0xB6, 0, 1, first, 3}}));
    pack.Write(dir.path(), "KANAMA");
    settings_.Use(dir.path());
    std::vector<unsigned char> longReading(2000, 0xB6);
    longReading.push_back(0);
    CSearchKanaProc search;
    unsigned long count = 0;
    EXPECT_EQ(3u, search.SearchProc(&count, longReading.data()));
}

TEST_F(KanaTest, RunsPastTheBaseDataGiveNothing) {
    const uint32_t first = base_->ids[0] & 0xFF000000;
    mapdb::TempDir dir;
    mapdb::PackWriter pack;
    pack.Add("K182.idx", Tree({{0xB6, 0x7fffffff, 0, first + 2, 30000}}));
    pack.Write(dir.path(), "KANAMA");
    settings_.Use(dir.path(), tmp_->path(), true, true);
    CSearchKanaProc search;
    unsigned long count = 0;
    unsigned char reading[] = {0xB6, 0};
    ASSERT_EQ(3u, search.SearchProc(&count, reading));
    EXPECT_EQ(30000u, count);
    EXPECT_EQ(0u, search.GetRefinedTotal(kAny, kAny, kAny, kAny));
    CLocationData out[2];
    EXPECT_FALSE(search.GetList(out, 0, 2, kAny, kAny, kAny, kAny));
}

TEST_F(KanaTest, MissingDataAndSwitches) {
    CSearchKanaProc search;
    unsigned long count = 5;
    unsigned char n[] = {0xDD, 0};  // ﾝ: only "ンー", so a prefix
    unsigned char wo[] = {0xA6, 0};
    ASSERT_EQ(2u, search.SearchProc(&count, wo));
    mapdb::TempDir empty;
    settings_.Use(empty.path(), tmp_->path(), false, true);
    count = 5;
    EXPECT_EQ(0u, search.SearchProc(&count, wo)) << "database switched off";
    EXPECT_EQ(5u, count);
    EXPECT_EQ(0, search.GetKeyState(0));
    settings_.Use(empty.path(), tmp_->path(), true, true);
    EXPECT_EQ(2u, search.SearchProc(&count, wo)) << "SD copy";
    settings_.Use(tmp_->path());
    unsigned char unknownFirst[] = {0xB5, 0};  // ｵ: no tree
    EXPECT_EQ(0u, search.SearchProc(&count, unknownFirst));
    EXPECT_EQ(3u, search.SearchProc(&count, n));
    EXPECT_EQ(1u, count);
}

TEST(KanaWriterTest, RefusesReadingsItCannotConvert) {
    mapdb::TempDir dir;
    std::vector<mapdb::PoiSource> pois = {testsupport::MakePoi("a", "カ")};
    mapdb::BaseResult base = mapdb::WriteBase(dir.path(), pois);
    pois[0].reading = "漢字";
    EXPECT_THROW(mapdb::WriteKana(dir.path(), pois, base), mapdb::Error);
    pois[0].reading = "キ";
    EXPECT_THROW(mapdb::WriteKana(dir.path(), pois, base), mapdb::Error) << "not the base data";
}

}  // namespace
