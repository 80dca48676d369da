// Kana reading search: typing character by character against a brute-force model of the
// readings (key states, voiced marks, hyphens, unknown characters, result codes, listing
// through the base data), genre totals, hand-made and damaged trees, missing data.
#include "support/Poi.h"

namespace {

using namespace testsupport;

// Readings that share prefixes, with voiced, semi-voiced and prolonged sounds.
const char* const kReadings[] = {
    "カ",     "カキ", "かき",   "カギ", "カキクケ",     "カク", "カクテル", "カーテン",
    "かーど", "キ",   "キツネ", "パン", "ハンバーガー", "ハナ", "ヲ",       "アイ",
    "アイス", "アオ", "アー",   "ンー", "カキクケコサ", "タ",   "ダイ",     "ポ",
};
constexpr size_t kCount = sizeof(kReadings) / sizeof(*kReadings);

struct KanaTest : SuiteDb<KanaTest> {
    static void Write(const std::string& root) {
        for (uint32_t i = 0; i < kCount; ++i)
            pois_.push_back(
                MakePoi("K" + std::to_string(i), kReadings[i], {1 + i % 3, i % 2, 5, 7}));
        base_ = mapdb::WriteBase(root, pois_);
        mapdb::WriteKana(root, pois_, base_);
    }

    // The model of a search: the path the walk ends on (marks dropped, '-' the prolonged
    // sound, unknown characters skipped), the POIs under it, and the characters that follow.
    struct Model {
        std::string path;
        std::vector<unsigned long> ids, genre21;
        bool complete = false;
        std::set<unsigned long> keys;
    };  // ids ascending
    static Model Expect(const std::string& typed) {
        std::string key;
        for (unsigned char c : typed)
            if (c != 0xDE && c != 0xDF) key += c == '-' ? '\xB0' : static_cast<char>(c);
        auto startsWith = [](const std::string& s, const std::string& p) {
            return s.compare(0, p.size(), p) == 0;
        };
        Model m;
        m.path = key.substr(0, 1);
        for (size_t k = 1; k < key.size(); ++k)
            if (std::any_of(base_.readings.begin(), base_.readings.end(),
                            [&](const std::string& r) { return startsWith(r, m.path + key[k]); }))
                m.path += key[k];
        for (size_t i = 0; i < kCount; ++i) {
            const std::string& r = base_.readings[i];
            if (!startsWith(r, m.path)) continue;
            m.ids.push_back(base_.ids[i]);
            if (pois_[i].genre[0] == 2 && pois_[i].genre[1] == 1) m.genre21.push_back(base_.ids[i]);
            m.complete |= r == m.path;
            if (r.size() > m.path.size()) {
                const unsigned char c = static_cast<unsigned char>(r[m.path.size()]);
                m.keys.insert(c == 0xA6 ? 45 : c == 0xB0 ? 46 : c - 0xB1ul);
            }
        }
        std::sort(m.ids.begin(), m.ids.end()), std::sort(m.genre21.begin(), m.genre21.end());
        return m;
    }
    static std::set<unsigned long> KeysSet(CSearchKanaProc& search) {
        std::set<unsigned long> keys;
        for (unsigned long k = 0; k < 47; ++k)
            if (search.GetKeyState(k)) keys.insert(k);
        return keys;
    }
    static inline std::vector<mapdb::PoiSource> pois_;
    static inline mapdb::BaseResult base_;
};

TEST_F(KanaTest, TypingCharacterByCharacterFollowsTheReadings) {
    // Down one branch to its end; voiced marks dropped; the hyphen as the prolonged sound; ﾇ never
    // follows ｶ and is skipped; longer than any reading; ...; marks after ｳ, ﾄ, ﾅ, ｱ. Typed in
    // half-width kana, converted to the one-byte codes the search takes.
    const char* const typed[] = {"ｶｷｸｹｺｻ", "ｶﾞｷﾞ", "ﾊﾟﾝ", "ｶ-ﾃﾝ", "ｶﾇｷ", "ｶｷｸｹｺｻｼｽｾ", "ｱｲｽｶ", "ｦ",
                                 "ﾝｰ",     "ﾀﾞｲ",  "ﾎﾟｱ", "ｶｳ",   "ｶﾄ",  "ｶﾅ",        "ｶｱ"};
    CSearchKanaProc search;
    for (const char* utf8 : typed) {
        const std::string full = mapdb::Utf8ToSjis(utf8);
        for (size_t len = 1; len <= full.size(); ++len) {
            const std::string prefix = full.substr(0, len);
            SCOPED_TRACE(mapdb::SjisToUtf8(prefix));
            const Model m = Expect(prefix);
            unsigned long count = 9999;
            ASSERT_EQ(m.complete ? 2u : 3u, search.SearchProc(&count, Z(prefix).data()));
            EXPECT_EQ(m.ids.size(), count);
            EXPECT_EQ(m.keys, KeysSet(search));
            const unsigned char last = static_cast<unsigned char>(prefix.back());
            const bool semi = last >= 0xCA && last <= 0xCE;
            const bool voiced = semi || last == 0xB3 || (last >= 0xB6 && last <= 0xC4);
            EXPECT_EQ(semi, search.GetKeyState(47));
            EXPECT_EQ(voiced, search.GetKeyState(48));
            for (unsigned long g1 : {kAny, 2ul}) {  // and the POIs of genre (2, 1)
                const unsigned long g2 = g1 == kAny ? kAny : 1;
                const std::vector<unsigned long>& want = g1 == kAny ? m.ids : m.genre21;
                EXPECT_EQ(want.size(), search.GetRefinedTotal(g1, g2, kAny, kAny));
                std::vector<CLocationData> out(want.size() + 1);
                ASSERT_TRUE(search.GetList(out.data(), 0, out.size(), g1, g2, kAny, kAny));
                EXPECT_EQ(want, Listed(out));
            }
        }
    }
    unsigned long count = 77;
    EXPECT_EQ(2u, search.SearchProc(&count, Z("").data())) << "the empty reading";
    EXPECT_EQ(0u, count);
    for (unsigned long k = 0; k < 52; ++k) EXPECT_EQ(k < 45, search.GetKeyState(k)) << k;
}

TEST_F(KanaTest, ResultCodesOfHandMadeAndDamagedTrees) {
    constexpr uint32_t kLeaf = 0x7fffffff;
    const uint32_t first = base_.ids[0] & 0xFF000000;  // any valid file number
    // ｶ -> ｷ(0x8005) | ｸ(0x0005) ; ｷ -> ｹ
    const std::vector<std::array<uint32_t, 5>> good = {{0xB6, 1, 2, first, 9},
                                                       {0xB7, 3, 1, first + 1, 0x8005},
                                                       {0xB8, kLeaf, 0, first + 2, 0x0005},
                                                       {0xB9, kLeaf, 0, first + 3, 0x8001}};
    mapdb::Bytes cutChild = Tree(good), cutNode = Tree(good);
    cutChild.resize(16 + 12 * 2 + 1);  // node 2 keeps only its character byte
    cutNode.resize(16 + 12 * 3 + 5);   // node 3 is cut short
    const mapdb::Bytes cycle = Tree({{0xB6, 0, 1, first, 3}});
    const mapdb::Bytes twins =
        Tree({{0xB6, 1, 2, first, 3}, {0xB7, kLeaf, 0, first, 1}, {0xB7, kLeaf, 0, first + 1, 2}});
    struct Case {
        const char* what;
        mapdb::Bytes tree;
        std::string reading;
        unsigned long result, count;
        std::set<unsigned long> keys;
    } cases[] = {
        {"flag set: code 2", Tree(good), "\xB6\xB7", 2, 5, {8}},
        {"flag clear: code 3", Tree(good), "\xB6\xB8", 3, 5, {}},
        {"leaf reached early", Tree(good), "\xB6\xB7\xB9\xB9\xB9", 2, 1, {}},
        {"file of 27 bytes", mapdb::Bytes(27), "\xB6", 0, 77, {}},
        {"child link past the file", Tree({{0xB6, 40, 3, first, 4}}), "\xB6\xB7", 3, 4, {}},
        {"children cut after the first byte of the second", cutChild, "\xB6", 3, 9, {6, 7}},
        {"matched child cut short: no keys", cutNode, "\xB6\xB7\xB9", 2, 5, {}},
        {"cycle back to the root", cycle, std::string(8, '\xB6'), 3, 3, {5}},
        {"a long reading over a cycle ends", cycle, std::string(2000, '\xB6'), 3, 3, {5}},
        {"several matching children: the last wins", twins, "\xB6\xB7", 3, 2, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mapdb::TempDir dir;
        WritePack(dir.path(), "KANAMA", {{"K182.idx", c.tree}});
        settings_.Use(dir.path(), dir_.path(), true, true);
        CSearchKanaProc search;
        unsigned long count = 77;
        ASSERT_EQ(c.result, search.SearchProc(&count, Z(c.reading).data()));
        EXPECT_EQ(c.count, count);
        EXPECT_EQ(c.keys, KeysSet(search));
    }
}

}  // namespace
