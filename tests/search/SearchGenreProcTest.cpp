// Genre search: the exact binary search over small and unsorted indexes, the widening of
// levels 1-3 only, the repeated count on a miss, windows of the run, damaged files, fallback.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"
#include "GenreWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using Key = std::array<uint32_t, 5>;
constexpr unsigned long kNone = 0x7fffffff;
constexpr unsigned long kPois = 60;
const char* const kDigits[] = {"ア", "イ", "ウ", "エ", "オ"};

// Level 5 of POI i; the exact key of POI i is (1 + i % 2, i % 3, i % 4, i % 5, Level5(i)).
uint32_t Level5(unsigned long i) {
    return static_cast<uint32_t>(i % 7 == 0 ? 200 : i % 2);
}

Key ExactKey(unsigned long i) {
    return {{static_cast<uint32_t>(1 + i % 2), static_cast<uint32_t>(i % 3),
             static_cast<uint32_t>(i % 4), static_cast<uint32_t>(i % 5), Level5(i)}};
}

// The entries the test database holds for POI i: its exact key, "all of level 5" and
// "all of levels 2 and 3" (63 stored, level 4 = 0).
std::vector<Key> KeysOf(unsigned long i) {
    Key exact = ExactKey(i);
    Key all5 = exact;
    all5[4] = 255;
    Key all23 = {{exact[0], 255, 255, 0, 255}};
    return {exact, all5, all23};
}

class GenreTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tmp_ = new mapdb::TempDir;
        std::vector<mapdb::PoiSource> pois;
        for (unsigned long i = 0; i < kPois; ++i) {
            // Readings that do not sort in input order, so POI ids do not follow it either.
            std::string r = i % 2 ? "カ" : "サ";
            for (unsigned long d = kPois - i; d > 0; d /= 5) r += kDigits[d % 5];
            pois.push_back(testsupport::MakePoi("G" + std::to_string(i), r));
        }
        ids_ = new std::vector<uint32_t>(mapdb::WriteBase(tmp_->path(), pois).ids);
        std::vector<mapdb::GenrePoi> entries;
        for (unsigned long i = 0; i < kPois; ++i) {
            for (const Key& k : KeysOf(i)) entries.push_back({(*ids_)[i], k});
        }
        mapdb::WriteGenre(tmp_->path(), entries);
    }
    static void TearDownTestSuite() {
        delete tmp_;
        delete ids_;
    }
    void SetUp() override { settings_.Use(tmp_->path()); }

    // Brute force: the ids listed under `key`, in ascending order.
    static std::vector<unsigned long> Run(const Key& key) {
        std::vector<unsigned long> out;
        for (unsigned long i = 0; i < kPois; ++i) {
            for (const Key& k : KeysOf(i)) {
                if (k == key) out.push_back((*ids_)[i]);
            }
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    static mapdb::TempDir* tmp_;
    static std::vector<uint32_t>* ids_;
    testsupport::ScopedSettings settings_;
};
mapdb::TempDir* GenreTest::tmp_ = nullptr;
std::vector<uint32_t>* GenreTest::ids_ = nullptr;

// A "GENRE" folder holding the given packed files.
void WritePack(const std::string& root, const std::map<std::string, mapdb::Bytes>& files) {
    mapdb::PackWriter pack;
    for (const auto& [name, data] : files) pack.Add(name, data);
    pack.Write(root, "GENRE");
}

// An index image with the given entries in the given order (level 1 = 1, runs of one id
// each, numbered by position).
mapdb::Bytes IndexImage(const std::vector<Key>& keys, unsigned long headerSize = 16) {
    mapdb::ByteWriter w;
    w.Zeros(headerSize);
    for (size_t i = 0; i < keys.size(); ++i) {
        w.U24(keys[i][0] << 18 | keys[i][1] << 12 | keys[i][2] << 6 | keys[i][3]);
        w.U8(keys[i][4]);
        w.U32(static_cast<uint32_t>(i));
        w.U32(1);
    }
    return w.Take();
}

// The probe sequence of the genre index, as documented: mid starts at n / 2; on the side of
// the key the next probe is halfway to the bound; absent when the next probe repeats.
long ModelSearch(const std::vector<Key>& keys, const Key& key) {
    unsigned long lo = 0, hi = keys.size(), mid = keys.size() / 2;
    if (keys.empty()) return -1;
    for (;;) {
        Key stored = keys[mid];
        if (key == stored) return static_cast<long>(mid);
        unsigned long next = key > stored ? (mid + hi) / 2 : (mid + lo) / 2;
        if (next == mid) return -1;
        (key > stored ? lo : hi) = mid;
        mid = next;
    }
}

TEST_F(GenreTest, FindsEveryRunWithItsCountAndRecords) {
    std::map<Key, bool> keys;
    for (unsigned long i = 0; i < kPois; ++i) {
        for (const Key& k : KeysOf(i)) keys[k] = true;
    }
    CSearchGenreProc search;
    for (const auto& [key, unused] : keys) {
        SCOPED_TRACE(testing::Message()
                     << key[0] << "," << key[1] << "," << key[2] << "," << key[3] << "," << key[4]);
        const std::vector<unsigned long> run = Run(key);
        unsigned long count = 12345;
        ASSERT_EQ(1u, search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
        ASSERT_EQ(run.size(), count);
        std::vector<CLocationData> out(run.size() + 2);
        ASSERT_EQ(1u, search.GetList(out.data(), 0, out.size()));
        for (size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(i < run.size() ? run[i] : 0u, out[i].dwID) << i;
            EXPECT_EQ(i < run.size() ? key[4] : 0u, out[i].dwRsv) << i;
        }
    }
}

TEST_F(GenreTest, WildcardRulesOfTheLevels) {
    struct Case {
        const char* what;
        Key key;
        unsigned long found;
    };
    const Case cases[] = {
        {"stored 63 in levels 2-3 matches 255", {{1, 255, 255, 0, 255}}, 1},
        {"stored 63 in levels 2-3 does not match 63", {{1, 63, 63, 0, 255}}, 0},
        {"level 4 of 255 forces level 5 to 255 and matches nothing", {{1, 255, 255, 255, 7}}, 0},
        {"level 4 of 255 even with an exact level 5", {{1, 0, 0, 255, 255}}, 0},
        {"level 5 of 255 is a stored value", {{1, 0, 0, 0, 255}}, 1},
        {"a level-5 value that is not stored", {{1, 0, 0, 0, 99}}, 0},
        {"level 1 selects a file that does not exist", {{9, 0, 0, 0, 0}}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CSearchGenreProc search;
        unsigned long count = 0;
        EXPECT_EQ(c.found,
                  search.SearchProc(&count, c.key[0], c.key[1], c.key[2], c.key[3], c.key[4]));
        EXPECT_EQ(c.found ? Run(c.key).size() : 0u, count);
    }
    // The effective level 5 reaches the records even where the host asked for another.
    CSearchGenreProc search;
    unsigned long count = 0;
    ASSERT_EQ(1u, search.SearchProc(&count, 2, 255, 255, 0, 255));
    CLocationData out[1];
    ASSERT_EQ(1u, search.GetList(out, 0, 1));
    EXPECT_EQ(255u, out[0].dwRsv);
}

TEST_F(GenreTest, CountRepeatsPreviousOnMiss) {
    CSearchGenreProc search;
    unsigned long count = 999;
    EXPECT_EQ(0u, search.SearchProc(&count, 1, 0, 0, 0, 99));
    EXPECT_EQ(0u, count) << "nothing found yet";
    const Key hit = {{1, 255, 255, 0, 255}};
    ASSERT_EQ(1u, search.SearchProc(&count, hit[0], hit[1], hit[2], hit[3], hit[4]));
    const unsigned long found = count;
    ASSERT_EQ(Run(hit).size(), found);
    count = 0;
    EXPECT_EQ(0u, search.SearchProc(&count, 1, 0, 0, 0, 99));
    EXPECT_EQ(found, count);
    // The miss replaced the keys but not the run: the list is still the previous run.
    std::vector<CLocationData> out(2);
    ASSERT_EQ(1u, search.GetList(out.data(), 0, 2));
    EXPECT_EQ(Run(hit)[0], out[0].dwID);
    EXPECT_EQ(99u, out[0].dwRsv);
}

TEST_F(GenreTest, WindowsOfTheRun) {
    const Key key = {{2, 255, 255, 0, 255}};
    const std::vector<unsigned long> run = Run(key);
    ASSERT_GT(run.size(), 10u);
    CSearchGenreProc search;
    unsigned long count = 0;
    ASSERT_EQ(1u, search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
    const unsigned long n = run.size();
    struct Window {
        unsigned long start, count;
    };
    const Window windows[] = {{0, 0}, {0, 1}, {3, 5}, {n - 2, 5}, {n - 1, 1}, {n, 3}, {n + 7, 2}};
    for (const Window& w : windows) {
        SCOPED_TRACE(testing::Message() << "start " << w.start << " count " << w.count);
        std::vector<CLocationData> out(w.count + 1);
        out[w.count].dwID = 77;  // beyond the window: untouched
        EXPECT_EQ(1u, search.GetList(out.data(), w.start, w.count));
        std::vector<unsigned long> ids(w.count + 1, 55);
        EXPECT_EQ(1u, search.GetID(ids.data(), w.start, w.count));
        for (unsigned long i = 0; i < w.count; ++i) {
            const bool inRun = w.start + i < n;
            EXPECT_EQ(inRun ? run[w.start + i] : 0u, out[i].dwID) << i;
            EXPECT_EQ(inRun ? run[w.start + i] : kNone, ids[i]) << i;
            if (!inRun) {
                EXPECT_EQ(0, out[i].szName[0]);
            }
        }
        EXPECT_EQ(77u, out[w.count].dwID);
        EXPECT_EQ(55u, ids[w.count]);
    }
}

TEST_F(GenreTest, FindsEveryPositionOfSmallIndexes) {
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    for (unsigned long n = 1; n <= 5; ++n) {
        SCOPED_TRACE(testing::Message() << n << " entries");
        // Keys 1,0,0,0,10 .. spaced by 10 in level 5, so that every gap can be probed.
        std::vector<Key> keys;
        for (unsigned long i = 0; i < n; ++i) keys.push_back({{1, 0, 0, 0, 10 * (uint32_t)i + 10}});
        mapdb::ByteWriter ofs;
        ofs.Zeros(16);
        for (unsigned long i = 0; i < n; ++i) ofs.U32(static_cast<uint32_t>(0xB1000000 | i));
        WritePack(dir.path(), {{"G001.idx", IndexImage(keys)}, {"G001.ofs", ofs.Take()}});
        CSearchGenreProc search;
        for (uint32_t level5 = 5; level5 <= 10 * n + 5; level5 += 5) {
            SCOPED_TRACE(testing::Message() << "level 5 = " << level5);
            unsigned long start = 0, count = 0;
            const bool present = level5 % 10 == 0;
            ASSERT_EQ(present ? 1u : 0u, search.LoadIndex(&start, &count, 1, 0, 0, 0, level5));
            if (present) {
                EXPECT_EQ(level5 / 10 - 1, start);
                EXPECT_EQ(1u, count);
            }
        }
    }
}

TEST_F(GenreTest, FollowsTheExactProbeSequenceOnUnsortedIndexes) {
    // On an unsorted (damaged) index, which keys are found depends on the probes alone.
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    std::mt19937 rng(5);
    for (int round = 0; round < 40; ++round) {
        const unsigned long n = 1 + round % 7;
        std::vector<Key> keys;
        for (unsigned long i = 0; i < n; ++i) keys.push_back({{1, 0, 0, 0, (uint32_t)(i * 3)}});
        std::shuffle(keys.begin(), keys.end(), rng);
        WritePack(dir.path(), {{"G001.idx", IndexImage(keys)}});
        CSearchGenreProc search;
        for (const Key& k : keys) {
            SCOPED_TRACE(testing::Message() << "round " << round << " level 5 " << k[4]);
            unsigned long start = kNone, count = 0;
            const long at = ModelSearch(keys, k);
            ASSERT_EQ(at >= 0 ? 1u : 0u, search.LoadIndex(&start, &count, 1, 0, 0, 0, k[4]));
            if (at >= 0) {
                EXPECT_EQ(static_cast<unsigned long>(at), start);
            }
        }
    }
}

TEST_F(GenreTest, DamagedAndMissingFilesFailCleanly) {
    const Key key = {{1, 0, 0, 0, 10}};
    mapdb::ByteWriter ofs;
    ofs.Zeros(16);
    for (uint32_t id : {(*ids_)[0], (*ids_)[1], (*ids_)[2]}) ofs.U32(id);
    const mapdb::Bytes ofs3 = ofs.Take();
    mapdb::Bytes ofsCut(ofs3.begin(), ofs3.begin() + 16 + 4 + 2);  // one id and a half
    auto truncatedEntry = IndexImage({key});
    truncatedEntry.resize(16 + 11);
    mapdb::ByteWriter badIds;
    badIds.Zeros(16);
    badIds.U32(0x01000005);  // file number 1: not a base file
    badIds.U32((*ids_)[0]);

    struct Case {
        const char* what;
        std::map<std::string, mapdb::Bytes> files;
        unsigned long search, list;
        std::vector<unsigned long> ids;  // GetID of 3 from position 0, pre-filled with 55
    };
    auto withRun = [&](uint32_t count) {
        mapdb::ByteWriter w;
        w.Zeros(16);
        w.U24(1 << 18);
        w.U8(10);
        w.U32(0);
        w.U32(count);
        return w.Take();
    };
    const std::vector<Case> cases = {
        {"index of exactly the header",
         {{"G001.idx", mapdb::Bytes(16)}, {"G001.ofs", ofs3}},
         0,
         0,
         {kNone, kNone, kNone}},
        {"index entry cut short",
         {{"G001.idx", truncatedEntry}, {"G001.ofs", ofs3}},
         0,
         0,
         {kNone, kNone, kNone}},
        {"offset file of 19 bytes",
         {{"G001.idx", withRun(3)}, {"G001.ofs", mapdb::Bytes(19)}},
         1,
         0,
         {55, 55, 55}},
        {"offset file ends inside the second id",
         {{"G001.idx", withRun(3)}, {"G001.ofs", ofsCut}},
         1,
         1,
         {(*ids_)[0], 55, 55}},
        {"run longer than the offset file",
         {{"G001.idx", withRun(1000)}, {"G001.ofs", ofs3}},
         1,
         1,
         {(*ids_)[0], (*ids_)[1], (*ids_)[2]}},
        {"id outside the base data",
         {{"G001.idx", withRun(2)}, {"G001.ofs", badIds.Take()}},
         1,
         0,
         {0x01000005, (*ids_)[0], kNone}},
        {"no offset file", {{"G001.idx", withRun(2)}}, 1, 0, {55, 55, 55}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mapdb::TempDir dir;
        WritePack(dir.path(), c.files);
        // The base data stays in the suite's database, reached through the SD fallback.
        settings_.Use(dir.path(), tmp_->path(), true, true);
        CSearchGenreProc search;
        unsigned long count = 0;
        ASSERT_EQ(c.search, search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
        if (!c.search) continue;
        std::vector<CLocationData> out(3);
        EXPECT_EQ(c.list, search.GetList(out.data(), 0, 3));
        std::vector<unsigned long> ids(3, 55);
        search.GetID(ids.data(), 0, 3);
        EXPECT_EQ(c.ids, ids);
    }
}

TEST_F(GenreTest, FallsBackToTheSdCopyOnlyWithTheDatabaseEnabled) {
    mapdb::TempDir empty;
    const Key key = {{1, 255, 255, 0, 255}};
    struct Case {
        bool enableDB, enableSD;
        unsigned long found;
    };
    for (const Case& c : {Case{true, true, 1}, Case{true, false, 0}, Case{false, true, 0}}) {
        SCOPED_TRACE(testing::Message() << "db " << c.enableDB << " sd " << c.enableSD);
        settings_.Use(empty.path(), tmp_->path(), c.enableDB, c.enableSD);
        CSearchGenreProc search;
        unsigned long count = 0;
        EXPECT_EQ(c.found, search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
        CLocationData out[2];
        EXPECT_EQ(c.found, search.GetList(out, 0, 2));
    }
}

TEST(GenreWriterTest, RefusesLevelsItCannotStore) {
    mapdb::TempDir dir;
    const Key bad[] = {{{63, 0, 0, 0, 0}},
                       {{1, 70, 0, 0, 0}},
                       {{1, 0, 0, 255, 0}},
                       {{1, 0, 0, 64, 0}},
                       {{1, 0, 0, 0, 256}}};
    for (const Key& k : bad) {
        EXPECT_THROW(mapdb::WriteGenre(dir.path(), {{0xB1000000, k}}), mapdb::Error);
    }
}

}  // namespace
