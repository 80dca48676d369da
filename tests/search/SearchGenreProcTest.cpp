// Genre search: every run against brute force, the wildcard rules of the levels and the count
// repeated on a miss, windows of the run, the index probe sequence on sorted and unsorted
// indexes, damaged and missing files.
#include <random>

#include "support/Poi.h"

namespace {

using Key = std::array<uint32_t, 5>;
using namespace testsupport;
constexpr unsigned long kNone = 0x7fffffff;

// The entries for POI i: its exact key, "all of level 5" and "all of levels 2 and 3".
std::vector<Key> KeysOf(unsigned long i) {
    const Key k = {{uint32_t(1 + i % 2), uint32_t(i % 3), uint32_t(i % 4), uint32_t(i % 5),
                    i % 7 ? uint32_t(i % 2) : 200}};
    return {k, {{k[0], k[1], k[2], k[3], 255}}, {{k[0], 255, 255, 0, 255}}};
}

// An index with the given keys in the given order; entry i holds the run (i, count).
mapdb::Bytes IndexImage(const std::vector<Key>& keys, uint32_t count = 1) {
    mapdb::ByteWriter w;
    w.Zeros(16);
    for (size_t i = 0; i < keys.size(); ++i) {
        w.U24(keys[i][0] << 18 | keys[i][1] << 12 | keys[i][2] << 6 | keys[i][3]);
        w.U8(keys[i][4]), w.U32(static_cast<uint32_t>(i)), w.U32(count);
    }
    return w.Take();
}

// The probe sequence: mid starts at n / 2; on the side of the key the next probe is halfway
// to the bound; absent when the next probe repeats.
long ModelSearch(const std::vector<Key>& keys, const Key& key) {
    unsigned long lo = 0, hi = keys.size(), mid = keys.size() / 2;
    while (!keys.empty() && key != keys[mid]) {
        const unsigned long next = key > keys[mid] ? (mid + hi) / 2 : (mid + lo) / 2;
        if (next == mid) return -1;
        (key > keys[mid] ? lo : hi) = mid;
        mid = next;
    }
    return keys.empty() ? -1 : static_cast<long>(mid);
}

struct GenreTest : SuiteDb<GenreTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::PoiSource> pois;
        const char* digits[] = {"ア", "イ", "ウ", "エ", "オ"};
        for (unsigned long i = 0; i < 60; ++i) {
            // Readings that do not sort in input order, so POI ids do not follow it either.
            std::string r = i % 2 ? "カ" : "サ";
            for (unsigned long d = 60 - i; d > 0; d /= 5) r += digits[d % 5];
            pois.push_back(testsupport::MakePoi("G" + std::to_string(i), r));
        }
        ids_ = mapdb::WriteBase(root, pois).ids;
        std::vector<mapdb::GenrePoi> entries;
        for (unsigned long i = 0; i < 60; ++i)
            for (const Key& k : KeysOf(i)) entries.push_back({ids_[i], k}), all_.insert(k);
        mapdb::WriteGenre(root, entries);
    }

    // Brute force: the ids listed under `key`, ascending.
    static std::vector<unsigned long> Run(const Key& key) {
        std::vector<unsigned long> out;
        for (unsigned long i = 0; i < 60; ++i)
            for (const Key& k : KeysOf(i))
                if (k == key) out.push_back(ids_[i]);
        std::sort(out.begin(), out.end());
        return out;
    }
    static unsigned long Search(CSearchGenreProc& s, const Key& k, unsigned long* n = nullptr) {
        unsigned long unused = 0;
        return s.SearchProc(n ? n : &unused, k[0], k[1], k[2], k[3], k[4]);
    }
    static inline std::vector<uint32_t> ids_;
    static inline std::set<Key> all_;
};

TEST_F(GenreTest, FindsEveryRunAndTheWildcardRules) {
    CSearchGenreProc search;
    for (const Key& key : all_) {
        SCOPED_TRACE(testing::PrintToString(key));
        const std::vector<unsigned long> run = Run(key);
        unsigned long count = 12345;
        ASSERT_EQ(1u, Search(search, key, &count));
        ASSERT_EQ(run.size(), count);
        std::vector<CLocationData> out(run.size() + 2);
        ASSERT_EQ(1u, search.GetList(out.data(), 0, out.size()));
        EXPECT_EQ(run, Listed(out));
        EXPECT_EQ(key[4], out[run.size() - 1].dwRsv);
        EXPECT_EQ(0u, out[run.size()].dwRsv);
        // Windows at and past the end of the run: empty slots hold 0x7fffffff.
        const unsigned long n = run.size(), windows[][2] = {{n - 1, 3}, {n, 2}, {n + 1, 1}, {1, 1}};
        for (const auto& w : windows) {
            std::vector<unsigned long> ids(4, 7), expect(4, 7);
            for (unsigned long k = 0; k < w[1]; ++k)
                expect[k] = w[0] + k < n ? run[w[0] + k] : kNone;
            EXPECT_EQ(1u, search.GetID(ids.data(), w[0], w[1]));
            EXPECT_EQ(expect, ids) << w[0] << "+" << w[1];
            out.assign(4, CLocationData());
            search.GetList(out.data(), w[0], w[1]);
            EXPECT_EQ(std::vector<unsigned long>(run.begin() + std::min(n, w[0]),
                                                 run.begin() + std::min(n, w[0] + w[1])),
                      Listed(out));
        }
    }
    // In turn on one search: a miss repeats the count of the last hit (0 before any).
    const Key hit = {{1, 255, 255, 0, 255}};
    // No such file; a level-5 value not stored; stored 63 in levels 2-3 matches 255 but not 63;
    // level 4 of 255 matches nothing; level 5 of 255 is stored.
    const unsigned long h = Run(hit).size();
    const struct {
        Key key;
        unsigned long found, count;
    } cases[] = {{{{9, 0, 0, 0, 0}}, 0, 0},
                 {{{1, 0, 0, 0, 99}}, 0, 0},
                 {hit, 1, h},
                 {{{1, 63, 63, 0, 255}}, 0, h},
                 {{{1, 255, 255, 255, 7}}, 0, h},
                 {{{1, 0, 0, 255, 255}}, 0, h},
                 {{{1, 0, 0, 0, 255}}, 1, Run({{1, 0, 0, 0, 255}}).size()}};
    CSearchGenreProc rules;
    for (const auto& c : cases) {
        unsigned long count = 0;
        EXPECT_EQ(c.found, Search(rules, c.key, &count)) << &c - cases;
        EXPECT_EQ(c.count, count) << &c - cases;
    }
    CLocationData out;  // the misses replaced the keys but not the run
    ASSERT_EQ(1u, rules.GetList(&out, 0, 1));
    EXPECT_EQ(Run({{1, 0, 0, 0, 255}})[0], out.dwID);
}

TEST_F(GenreTest, FollowsTheProbeSequenceOnSortedAndUnsortedIndexes) {
    // Sorted indexes must find every key and no gap; on an unsorted (damaged) one, what is
    // found depends on the probes alone.
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    std::mt19937 rng(5);
    for (int round = 0; round < 50; ++round) {
        const unsigned long n = 1 + round % 7;
        std::vector<Key> keys;
        for (unsigned long i = 0; i < n; ++i) keys.push_back({{1, 0, 0, 0, 10 * (uint32_t)i + 10}});
        if (round >= 7) std::shuffle(keys.begin(), keys.end(), rng);
        WritePack(dir.path(), "GENRE", {{"G001.idx", IndexImage(keys)}});
        CSearchGenreProc search;
        for (uint32_t level5 = 5; level5 <= 10 * n + 5; level5 += 5) {
            SCOPED_TRACE(testing::Message() << "round " << round << " level 5 " << level5);
            const long at = ModelSearch(keys, {{1, 0, 0, 0, level5}});
            EXPECT_TRUE(round >= 7 || (level5 % 10 == 0) == (at >= 0)) << "sorted: every key";
            unsigned long start = kNone, count = 0;
            ASSERT_EQ(at >= 0 ? 1u : 0u, search.LoadIndex(&start, &count, 1, 0, 0, 0, level5));
            EXPECT_EQ(at >= 0 ? static_cast<unsigned long>(at) : kNone, start);
        }
    }
}

TEST_F(GenreTest, DamagedAndMissingFilesFailCleanly) {
    const unsigned long id0 = ids_[0], id1 = ids_[1], id2 = ids_[2];
    mapdb::ByteWriter ofs, badIds;
    ofs.Zeros(16), badIds.Zeros(16);
    for (unsigned long id : {id0, id1, id2}) ofs.U32(static_cast<uint32_t>(id));
    badIds.U32(0x01000005), badIds.U32(static_cast<uint32_t>(id0));  // file 1: not a base file
    const mapdb::Bytes ofs3 = ofs.Take(), run3 = IndexImage({{{1, 0, 0, 0, 10}}}, 3);
    const Key key = {{1, 0, 0, 0, 10}};
    // Index, offset file (empty: none), base data reachable; search and list results; GetID of 3
    // from position 0 into ids pre-filled with 55. Rows: whole; no base data; index of the header
    // only; index cut; offsets of a header and less than an id; offsets of exactly one id, and
    // cut after one id; run past the file; an id of file 1; no offset file.
    const struct {
        mapdb::Bytes idx, ofs;
        bool baseData;
        unsigned long search, list;
        std::vector<unsigned long> ids;
    } cases[] = {{run3, ofs3, true, 1, 1, {id0, id1, id2}},
                 {run3, ofs3, false, 1, 0, {id0, id1, id2}},
                 {mapdb::Bytes(16), ofs3, true, 0, 0, {}},
                 {{run3.begin(), run3.begin() + 27}, ofs3, true, 0, 0, {}},
                 {run3, mapdb::Bytes(19), true, 1, 0, {55, 55, 55}},
                 {run3, {ofs3.begin(), ofs3.begin() + 20}, true, 1, 1, {id0, 55, 55}},
                 {run3, {ofs3.begin(), ofs3.begin() + 22}, true, 1, 1, {id0, 55, 55}},
                 {IndexImage({key}, 1000), ofs3, true, 1, 1, {id0, id1, id2}},
                 {IndexImage({key}, 2), badIds.Take(), true, 1, 0, {0x01000005, id0, kNone}},
                 {IndexImage({key}, 2), {}, true, 1, 0, {55, 55, 55}}};
    mapdb::TempDir empty;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        mapdb::TempDir dir;
        std::map<std::string, mapdb::Bytes> files = {{"G001.idx", c.idx}};
        if (!c.ofs.empty()) files["G001.ofs"] = c.ofs;
        WritePack(dir.path(), "GENRE", files);
        // The base data stays in the suite's database, reached through the SD fallback.
        settings_.Use(dir.path(), c.baseData ? dir_.path() : empty.path(), true, true);
        CSearchGenreProc search;
        ASSERT_EQ(c.search, Search(search, key));
        if (!c.search) continue;
        std::vector<CLocationData> out(3);
        EXPECT_EQ(c.list, search.GetList(out.data(), 0, 3));
        std::vector<unsigned long> ids(3, 55);
        search.GetID(ids.data(), 0, 3);
        EXPECT_EQ(c.ids, ids);
    }
    for (int sw : {3, 1, 2}) {  // the folder only in the SD copy; bit 0: database, bit 1: SD
        settings_.Use(empty.path(), dir_.path(), sw & 1, sw & 2);
        CSearchGenreProc search;
        EXPECT_EQ(sw == 3 ? 1u : 0u, Search(search, {{1, 255, 255, 0, 255}})) << sw;
    }
}

}  // namespace
