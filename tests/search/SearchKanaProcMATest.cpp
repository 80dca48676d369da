// Kana search with refinement, against brute force over one suite database: genre totals under
// every filter shape, the distance sort with its cut in file order and ties by id, the shared
// list count, the next-level genre masks, flags and texts, and missing or cut offset files.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "KanaWriter.h"
#include "PackWriter.h"
#include "TempDir.h"
#include "TextTools.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using mapdb::Bytes;
using testsupport::kAny;
using testsupport::Listed;
constexpr unsigned long kPois = 90;
const char* const kSyllables[] = {"ア", "イ", "カ", "サ", "ガ"};

struct Poi {
    mapdb::PoiSource src;
    unsigned long id = 0;
    std::string key;  // normalised reading
};

// Small codes that repeat often, and now and then a code of 32 or more.
uint32_t Genre(unsigned long i, int level) {
    if (i % 17 == static_cast<unsigned long>(level) + 1)
        return 32 + static_cast<uint32_t>(level) * 10;
    const uint32_t small[] = {static_cast<uint32_t>(i % 3), static_cast<uint32_t>(i % 4),
                              static_cast<uint32_t>((i / 2) % 3), static_cast<uint32_t>(i % 5)};
    const bool none[] = {i % 11 == 0, i % 13 == 0, false, i % 2 == 1};
    return none[level] ? 255 : small[level];
}

class KanaMATest : public testsupport::SettingsTest {
protected:
    static void SetUpTestSuite() {
        tmp_ = new mapdb::TempDir;
        pois_ = new std::vector<Poi>(kPois);
        std::vector<mapdb::PoiSource> sources;
        for (unsigned long i = 0; i < kPois; ++i) {
            // Readings of 1 to 3 syllables, starting with ア or カ; the order differs from i.
            std::string reading = std::string(i % 3 == 0 ? "カ" : "ア") + kSyllables[(i * 7) % 5];
            if (i % 4) reading += kSyllables[(i * 3) % 5];
            mapdb::PoiSource p =
                testsupport::MakePoi(i % 2 ? "駅前店" : "本店", reading, Genre(i, 0), Genre(i, 1),
                                     Genre(i, 2), Genre(i, 3));
            p.texts.push_back(i % 5 == 0 ? "東京" : "横浜");
            // A small grid: several POIs share a position, hence a distance.
            p.lonMs = testsupport::kTokyoLon + static_cast<uint32_t>(i % 7) * 10000;
            p.latMs = testsupport::kTokyoLat + static_cast<uint32_t>(i % 4) * 10000;
            p.attr = static_cast<uint8_t>(i);
            sources.push_back(p);
            (*pois_)[i].src = p;
        }
        mapdb::BaseResult base = mapdb::WriteBase(tmp_->path(), sources);
        mapdb::WriteKana(tmp_->path(), sources, base);
        for (unsigned long i = 0; i < kPois; ++i) {
            (*pois_)[i].id = base.ids[i];
            (*pois_)[i].key = base.readings[i];
        }
    }
    static void TearDownTestSuite() {
        delete tmp_;
        delete pois_;
    }
    void SetUp() override { settings_.Use(tmp_->path()); }

    // The POIs under a reading prefix, in file (id) order.
    static std::vector<const Poi*> Run(const std::string& prefix) {
        std::vector<const Poi*> out;
        for (const Poi& p : *pois_) {
            if (p.key.compare(0, prefix.size(), prefix) == 0) out.push_back(&p);
        }
        std::sort(out.begin(), out.end(), [](const Poi* a, const Poi* b) { return a->id < b->id; });
        return out;
    }
    static std::vector<unsigned long> Ids(const std::vector<const Poi*>& pois, size_t n = ~0ul) {
        std::vector<unsigned long> ids;
        for (size_t i = 0; i < pois.size() && i < n; ++i) ids.push_back(pois[i]->id);
        return ids;
    }
    static void Search(CSearchKanaProcMA* search, const char* reading) {
        unsigned long count = 0;
        ASSERT_NE(0u, search->SearchProc(&count, testsupport::Z(reading).data()));
    }

    static inline mapdb::TempDir* tmp_ = nullptr;
    static inline std::vector<Poi>* pois_ = nullptr;
};

TEST_F(KanaMATest, TotalsUnderEveryFilterShape) {
    const unsigned long filters[][4] = {
        {kAny, kAny, kAny, kAny}, {1, kAny, kAny, kAny}, {1, 2, kAny, kAny},
        {1, 2, 0, kAny},          {2, 1, 1, 0},          {kAny, 3, kAny, kAny},
        {kAny, kAny, 2, 4},       {0, kAny, 1, kAny},    {9, kAny, kAny, kAny},
        {255, 255, 255, 0},       {32, kAny, kAny, kAny}};
    CSearchKanaProcMA search;
    for (const char* reading : {"\xB1", "\xB1\xB6", "\xB6\xB6\xDE", "\xB6\xB2\xB6\xDE"}) {
        Search(&search, reading);
        const std::vector<const Poi*> run = Run(mapdb::NormalisedReading(reading));
        ASSERT_FALSE(run.empty());
        for (const auto& f : filters) {
            SCOPED_TRACE(testing::Message() << mapdb::SjisToUtf8(reading) << " " << f[0] << ","
                                            << f[1] << "," << f[2] << "," << f[3]);
            std::vector<const Poi*> byGenre, sortable;
            for (const Poi* p : run) {
                const auto& c = p->src.genre;
                auto level = [&](int k) { return f[k] == kAny || c[k] == f[k]; };
                // The first wildcard ends the comparison; the sortable list has three levels.
                if (level(0) &&
                    (f[1] == kAny || (level(1) && (f[2] == kAny || (level(2) && level(3))))))
                    byGenre.push_back(p);
                if (f[0] == kAny || (level(0) && (f[1] == kAny || (level(1) && level(2)))))
                    sortable.push_back(p);
            }
            EXPECT_EQ(byGenre.size(), search.GetRefinedTotal(f[0], f[1], f[2], f[3]));
            std::vector<CLocationData> out(byGenre.size() + 1);
            EXPECT_TRUE(search.GetList(out.data(), 0, out.size()));
            EXPECT_EQ(Ids(byGenre), Listed(out));
            EXPECT_EQ(sortable.size(), search.GetRefinedSortTotal(f[0], f[1], f[2]));
            out.assign(sortable.size() + 1, CLocationData());
            EXPECT_TRUE(search.GetSortList(out.data(), 0, out.size()));
            EXPECT_EQ(Ids(sortable), Listed(out));
            for (size_t i = 0; i <= sortable.size(); ++i) {
                int lat = 1, lon = 1;
                const bool in = i < sortable.size();
                EXPECT_EQ(in, search.GetOffsetDataLatLng(&lat, &lon, i));
                EXPECT_EQ(in ? sortable[i]->src.latMs : 0u, static_cast<uint32_t>(lat));
                EXPECT_EQ(in ? sortable[i]->src.lonMs : 0u, static_cast<uint32_t>(lon));
            }
        }
    }
}

TEST_F(KanaMATest, DistanceSortCutsInFileOrderAndBreaksTiesById) {
    const int lat = static_cast<int>(testsupport::kTokyoLat + 15000);
    const int lon = static_cast<int>(testsupport::kTokyoLon + 25000);
    const std::vector<const Poi*> run = Run("\xB1");
    ASSERT_GT(run.size(), 30u);
    for (unsigned long keep : {0ul, 1ul, 2ul, 7ul, 20ul, 1000ul}) {
        SCOPED_TRACE(testing::Message() << "keep " << keep);
        CSearchKanaProcMA search;
        Search(&search, "\xB1");
        ASSERT_EQ(run.size(), search.GetRefinedSortTotal(kAny, kAny, kAny));
        search.DistanceSortList(keep, lat, lon);
        std::vector<std::pair<unsigned long, unsigned long>> expected;  // (distance, id)
        for (size_t i = 0; i < run.size() && i < keep; ++i) {
            unsigned long d = 0, dir = 0;
            CDistanceProc().CalcDistanceForm(&d, &dir, lat, lon,
                                             static_cast<int>(run[i]->src.latMs),
                                             static_cast<int>(run[i]->src.lonMs));
            expected.push_back({d, run[i]->id});
        }
        std::sort(expected.begin(), expected.end());
        std::vector<unsigned long> ids;
        for (const auto& e : expected) ids.push_back(e.second);
        std::vector<CLocationData> out(run.size());
        EXPECT_TRUE(search.GetSortList(out.data(), 0, out.size()));
        EXPECT_EQ(ids, Listed(out));
        const bool tie = std::adjacent_find(expected.begin(), expected.end(), [](auto& a, auto& b) {
                             return a.first == b.first;
                         }) != expected.end();
        EXPECT_TRUE(keep < 1000 || tie) << "ties exist, so the id order is really checked";
    }
}

TEST_F(KanaMATest, ListsShareOneCount) {
    const std::vector<unsigned long> all = Ids(Run("\xB1"));
    CSearchKanaProcMA search;
    Search(&search, "\xB1");
    const unsigned long sortable = search.GetRefinedSortTotal(kAny, kAny, kAny);
    const unsigned long fewer = search.GetRefinedTotal(1, kAny, kAny, kAny);
    ASSERT_LT(fewer, sortable);
    // The sortable list is read with the id list's count.
    std::vector<CLocationData> out(sortable);
    EXPECT_TRUE(search.GetSortList(out.data(), 0, sortable));
    EXPECT_EQ(std::vector<unsigned long>(all.begin(), all.begin() + fewer), Listed(out));
    // A larger id list than the sortable one: the sortable list ends at its own size.
    const unsigned long small = search.GetRefinedSortTotal(1, kAny, kAny);
    const unsigned long more = search.GetRefinedTotal(kAny, kAny, kAny, kAny);
    ASSERT_LT(small + 1, more);
    std::vector<unsigned long> ids(more, 0x7fffffff);
    EXPECT_TRUE(search.LoadOffset2(ids.data(), 0, more));
    EXPECT_EQ(0x7fffffffu, ids[small]);
    // The cut applies to the shared count, which the id list then shows.
    search.DistanceSortList(small + 1, 0, 0);
    std::vector<CLocationData> rest(more);
    EXPECT_TRUE(search.GetList(rest.data(), 0, more));
    EXPECT_EQ(std::vector<unsigned long>(all.begin(), all.begin() + small + 1), Listed(rest));
    EXPECT_TRUE(search.GetSortList(rest.data(), small, 3));
    EXPECT_EQ(0u, rest[0].dwID);
    // Id windows stop at their count; no output records, no listing.
    std::vector<unsigned long> window(4, 0x55), window2(4, 0x55);
    EXPECT_TRUE(search.LoadOffset(window.data(), 1, 2));
    EXPECT_TRUE(search.LoadOffset2(window2.data(), 1, 2));
    EXPECT_EQ((std::vector<unsigned long>{all[1], all[2], 0x55, 0x55}), window);
    EXPECT_NE(0x55u, window2[1]);
    EXPECT_EQ(0x55u, window2[2]) << "two ids, then untouched";
    EXPECT_FALSE(search.GetList(nullptr, 0, 1));
    EXPECT_FALSE(search.GetSortList(nullptr, 0, 1));
}

TEST_F(KanaMATest, GenreMasksOfTheNextLevel) {
    CSearchKanaProcMA search;
    Search(&search, "\xB1");
    const std::vector<const Poi*> run = Run("\xB1");
    struct Case {
        unsigned long g1, g2, g3;
        int level;  // which code sets the bit; -1: none
    } cases[] = {{kAny, kAny, kAny, 0}, {kAny, 1, 1, 0}, {1, kAny, kAny, 1}, {2, kAny, 0, 1},
                 {1, 2, kAny, 2},       {0, 3, kAny, 2}, {1, 2, 0, -1},      {7, kAny, kAny, 1},
                 {2, kAny, kAny, 1},    {1, 1, kAny, 2}};
    size_t wide = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.g1 << "," << c.g2 << "," << c.g3);
        unsigned long expected = 0x80000000;  // bits are only added
        for (const Poi* p : run) {
            const auto& g = p->src.genre;
            if (c.level < 0 || (c.level >= 1 && g[0] != c.g1) || (c.level >= 2 && g[1] != c.g2))
                continue;
            if (g[c.level] < 32) expected |= 1ul << g[c.level];
            wide += g[c.level] >= 32 && g[c.level] != 255;
        }
        unsigned long mask = 0x80000000;
        EXPECT_TRUE(search.IsGenreEnabled(&mask, c.g1, c.g2, c.g3));
        EXPECT_EQ(expected, mask);
    }
    EXPECT_GE(wide, 3u) << "codes of 32 and more are met at every level";
}

TEST_F(KanaMATest, TotalNarrowedByFlagsAndTexts) {
    CSearchKanaProcMA search;
    Search(&search, "\xB1");
    const std::string station = mapdb::Utf8ToSjis("駅前"), tokyo = mapdb::Utf8ToSjis("東京");
    const std::string split = mapdb::Utf8ToSjis("前店").substr(1, 2);  // across a character
    struct Case {
        unsigned long g1, flags;
        const std::string* t1;
        const std::string* t2;
    } cases[] = {{kAny, 0, nullptr, nullptr}, {kAny, 5, nullptr, nullptr},
                 {1, 2, nullptr, nullptr},    {kAny, 0, &station, nullptr},
                 {kAny, 0, &station, &tokyo}, {2, 1, nullptr, &tokyo},
                 {kAny, 0, &split, nullptr}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.g1 << " flags " << c.flags << " " << (c.t1 != nullptr)
                                        << (c.t2 != nullptr));
        auto has = [](const Poi* p, const std::string* t) {
            return t == nullptr ||
                   std::any_of(p->src.texts.begin(), p->src.texts.end(), [&](const std::string& s) {
                       return s.find(mapdb::SjisToUtf8(*t)) != std::string::npos;
                   });
        };
        std::vector<unsigned long> expected;
        for (const Poi* p : Run("\xB1")) {
            if ((c.g1 == kAny || p->src.genre[0] == c.g1) && (p->src.attr & c.flags) == c.flags &&
                has(p, c.t1) && has(p, c.t2) && c.t1 != &split) {
                expected.push_back(p->id);
            }
        }
        std::vector<unsigned char> t1 = testsupport::Z(c.t1 ? *c.t1 : "");
        std::vector<unsigned char> t2 = testsupport::Z(c.t2 ? *c.t2 : "");
        EXPECT_EQ(expected.size(), search.GetRefinedTotal(c.g1, kAny, kAny, kAny, c.flags,
                                                          c.t1 ? t1.data() : nullptr, t2.data()));
        std::vector<CLocationData> out(expected.size() + 1);
        EXPECT_TRUE(search.GetList(out.data(), 0, out.size()));
        EXPECT_EQ(expected, Listed(out));
    }
}

TEST_F(KanaMATest, MissingAndCutOffsetFiles) {
    const std::vector<const Poi*> run = Run("\xB1");
    // A tree of one node whose run is longer than the offset files.
    mapdb::ByteWriter tree, three, three2;
    tree.Zeros(16);
    tree.U8(0xB1);
    tree.U32(0x7fffffff);
    tree.U8(0);
    tree.U32(static_cast<uint32_t>(run[0]->id));
    tree.U16(500);
    three.Zeros(16);
    three2.Zeros(16);
    for (int i = 0; i < 3; ++i) {  // three entries of the real run
        three.U32(static_cast<uint32_t>(run[i]->id));
        three.U32(0);
        three2.U32(static_cast<uint32_t>(run[i]->id));
        three2.U24(0);
        three2.U24(0x10000);
        three2.U24(0x10000);
    }
    mapdb::Bytes shortOfs = three.bytes();
    shortOfs.resize(shortOfs.size() - 3);  // the third entry cut
    struct Case {
        const char* what;
        std::vector<std::pair<std::string, mapdb::Bytes>> files;
        unsigned long total, sortTotal;
    } cases[] = {
        {"no offset files", {}, 0, 0},
        {"one entry less a byte", {{"K177.ofs", Bytes(23)}, {"K2177.ofs", Bytes(28)}}, 0, 0},
        {"run past the files", {{"K177.ofs", three.bytes()}, {"K2177.ofs", three2.bytes()}}, 3, 3},
        {"last entry cut", {{"K177.ofs", shortOfs}, {"K2177.ofs", three2.bytes()}}, 2, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mapdb::TempDir dir;
        mapdb::PackWriter pack;
        pack.Add("K177.idx", tree.bytes());
        for (const auto& [name, data] : c.files) pack.Add(name, data);
        pack.Write(dir.path(), "KANAMA");
        settings_.Use(dir.path(), tmp_->path(), true, true);
        CSearchKanaProcMA search;
        Search(&search, "\xB1");
        EXPECT_EQ(c.total, search.GetRefinedTotal(kAny, kAny, kAny, kAny));
        std::vector<CLocationData> out(4);
        EXPECT_TRUE(search.GetList(out.data(), 0, 4));
        EXPECT_EQ(Ids(run, c.total), Listed(out));
        EXPECT_EQ(c.sortTotal, search.GetRefinedSortTotal(kAny, kAny, kAny));
        unsigned long mask = 0;
        EXPECT_EQ(c.sortTotal != 0, search.IsGenreEnabled(&mask, kAny, kAny, kAny));
        EXPECT_EQ(c.sortTotal ? 1u : 0u, mask);
    }
}

}  // namespace
