// Kana search with refinement, against brute force over one suite database: totals and lists
// under every filter shape with flags and texts, the distance sort with its cut in file order
// and ties by id, the shared list count, the next-level genre masks, and missing or cut offset
// files.
#include "support/Poi.h"

namespace {

using namespace testsupport;
const char* const kSyllables[] = {"ア", "イ", "カ", "サ", "ガ"};

// Small codes that repeat often, and now and then a code of 32 or more.
uint32_t Genre(unsigned long i, int level) {
    if (i % 17 == static_cast<unsigned long>(level) + 1) return 32 + level * 10u;
    const uint32_t small[] = {uint32_t(i % 3), uint32_t(i % 4), uint32_t(i / 2 % 3),
                              uint32_t(i % 5)};
    const bool none[] = {i % 11 == 0, i % 13 == 0, false, i % 2 == 1};
    return none[level] ? 255 : small[level];
}

struct KanaMATest : SuiteDb<KanaMATest> {
    struct Poi {
        mapdb::PoiSource src;
        unsigned long id;
        std::string key;
    };  // key: normalised
    static void Write(const std::string& root) {
        std::vector<mapdb::PoiSource> src;
        for (unsigned long i = 0; i < 90; ++i) {
            // Readings of 1 to 3 syllables, starting with ア or カ; the order differs from i.
            std::string reading = std::string(i % 3 ? "ア" : "カ") + kSyllables[i * 7 % 5];
            if (i % 4) reading += kSyllables[i * 3 % 5];
            src.push_back(MakePoi(i % 2 ? "駅前店" : "本店", reading,
                                  {{Genre(i, 0), Genre(i, 1), Genre(i, 2), Genre(i, 3)}}));
            // A small grid: several POIs share a position, hence a distance.
            auto& p = src.back();
            p.texts.push_back(i % 5 ? "横浜" : "東京"), p.attr = static_cast<uint8_t>(i);
            p.lonMs = kTokyoLon + uint32_t(i % 7) * 10000,
            p.latMs = kTokyoLat + uint32_t(i % 4) * 10000;
        }
        mapdb::BaseResult base = mapdb::WriteBase(root, src);
        mapdb::WriteKana(root, src, base);
        for (size_t i = 0; i < src.size(); ++i)
            pois_.push_back({src[i], base.ids[i], base.readings[i]});
    }

    // The POIs under a reading prefix, in file (id) order.
    static std::vector<const Poi*> Run(const std::string& prefix) {
        std::vector<const Poi*> out;
        for (const Poi& p : pois_)
            if (p.key.compare(0, prefix.size(), prefix) == 0) out.push_back(&p);
        std::sort(out.begin(), out.end(), [](const Poi* a, const Poi* b) { return a->id < b->id; });
        return out;
    }
    static std::vector<unsigned long> Ids(const std::vector<const Poi*>& pois, size_t n = ~0ul) {
        std::vector<unsigned long> ids;
        for (size_t i = 0; i < pois.size() && i < n; ++i) ids.push_back(pois[i]->id);
        return ids;
    }
    static void Search(CSearchKanaProcMA* s, const char* r) {
        unsigned long n = 0;
        ASSERT_NE(0u, s->SearchProc(&n, Z(r).data()));
    }
    static inline std::vector<Poi> pois_;
};

TEST_F(KanaMATest, TotalsAndListsUnderEveryFilterShape) {
    // Texts: none, "駅前", "東京" and half of a character.
    const std::string texts[] = {"", mapdb::Utf8ToSjis("駅前"), mapdb::Utf8ToSjis("東京"),
                                 mapdb::Utf8ToSjis("前店").substr(1, 2)};
    const unsigned long A = kAny,
                        filters[][7] = {// four levels, flags, text 1, text 2
                                        {A, A, A, A, 0, 0, 0},       {1, 2, A, A, 0, 0, 0},
                                        {1, 2, 0, A, 0, 0, 0},       {2, 1, 1, 0, 0, 0, 0},
                                        {A, 3, A, A, 0, 0, 0},       {0, A, 1, A, 0, 0, 0},
                                        {255, 255, 255, 0, 0, 0, 0}, {32, A, A, A, 0, 0, 0},
                                        {A, A, A, A, 5, 0, 0},       {1, A, A, A, 2, 0, 0},
                                        {A, A, A, A, 0, 1, 2},       {2, A, A, A, 1, 0, 2},
                                        {A, A, A, A, 0, 3, 0}};
    CSearchKanaProcMA search;
    for (const char* reading : {"\xB1", "\xB6\xB6\xDE", "\xB6\xB2\xB6\xDE"}) {
        Search(&search, reading);
        const std::vector<const Poi*> run = Run(mapdb::NormalisedReading(reading));
        ASSERT_FALSE(run.empty());
        for (const auto& f : filters) {
            SCOPED_TRACE(testing::Message()
                         << mapdb::SjisToUtf8(reading) << " filter " << &f - filters);
            auto has = [&](const Poi* p, unsigned long t) {  // the half character never matches
                const std::string u = t < 3 ? mapdb::SjisToUtf8(texts[t]) : "\x01";
                return (p->src.texts[0] + '\n' + p->src.texts[1]).find(u) != std::string::npos;
            };
            std::vector<const Poi*> byGenre, sorted;
            for (const Poi* p : run) {
                auto level = [&](int k) { return f[k] == kAny || p->src.genre[k] == f[k]; };
                // The first wildcard ends the comparison; the sort list (sorted) has three levels.
                if (level(0) &&
                    (f[1] == kAny || (level(1) && (f[2] == kAny || (level(2) && level(3))))) &&
                    (p->src.attr & f[4]) == f[4] && has(p, f[5]) && has(p, f[6]))
                    byGenre.push_back(p);
                if (f[0] == kAny || (level(0) && (f[1] == kAny || (level(1) && level(2)))))
                    sorted.push_back(p);
            }
            std::vector<unsigned char> t1 = Z(texts[f[5]]), t2 = Z(texts[f[6]]);
            EXPECT_EQ(byGenre.size(),
                      f[4] || f[5] || f[6]
                          ? search.GetRefinedTotal(f[0], f[1], f[2], f[3], f[4],
                                                   f[5] ? t1.data() : nullptr, t2.data())
                          : search.GetRefinedTotal(f[0], f[1], f[2], f[3]));
            std::vector<CLocationData> out(byGenre.size() + 1);
            EXPECT_TRUE(search.GetList(out.data(), 0, out.size()));
            EXPECT_EQ(Ids(byGenre), Listed(out));
            EXPECT_EQ(sorted.size(), search.GetRefinedSortTotal(f[0], f[1], f[2]));
            out.assign(sorted.size() + 1, CLocationData());
            EXPECT_TRUE(search.GetSortList(out.data(), 0, out.size()));
            EXPECT_EQ(Ids(sorted), Listed(out));
            int lat = 1, lon = 1;  // the position of the last sorted entry, none after it
            EXPECT_EQ(!sorted.empty(), search.GetOffsetDataLatLng(&lat, &lon, sorted.size() - 1));
            EXPECT_EQ(sorted.empty() ? 0 : int(sorted.back()->src.latMs), lat);
            EXPECT_FALSE(search.GetOffsetDataLatLng(&lat, &lon, sorted.size()));
        }
    }
}

TEST_F(KanaMATest, DistanceSortCutsInFileOrderAndBreaksTiesById) {
    const int lat = static_cast<int>(kTokyoLat + 15000), lon = static_cast<int>(kTokyoLon + 25000);
    const std::vector<const Poi*> run = Run("\xB1");
    auto key = [&](const Poi* p) {  // (distance, id)
        unsigned long d = 0, dir = 0;
        CDistanceProc().CalcDistanceForm(&d, &dir, lat, lon, int(p->src.latMs), int(p->src.lonMs));
        return std::make_pair(d, p->id);
    };
    for (unsigned long keep : {0ul, 2ul, 20ul, 1000ul}) {
        CSearchKanaProcMA search;
        Search(&search, "\xB1");
        ASSERT_EQ(run.size(), search.GetRefinedSortTotal(kAny, kAny, kAny));
        search.DistanceSortList(keep, lat, lon);
        // The first `keep` of the run in file order, then by (distance, id).
        std::vector<const Poi*> cut(run.begin(), run.begin() + std::min<size_t>(run.size(), keep));
        std::sort(cut.begin(), cut.end(), [&](auto a, auto b) { return key(a) < key(b); });
        std::vector<CLocationData> out(run.size());
        EXPECT_TRUE(search.GetSortList(out.data(), 0, out.size()));
        EXPECT_EQ(Ids(cut), Listed(out)) << "keep " << keep;
    }
}

TEST_F(KanaMATest, GenreMasksOfTheNextLevel) {
    CSearchKanaProcMA search;
    Search(&search, "\xB1");
    const long A = kAny, cases[][4] = {// filter; which level's code sets the bit, -1: none
                                       {A, A, A, 0}, {A, 1, 1, 0}, {1, A, A, 1},  {2, A, 0, 1},
                                       {1, 2, A, 2}, {0, 3, A, 2}, {1, 2, 0, -1}, {7, A, A, 1}};
    size_t wide = 0;
    for (const auto& c : cases) {
        unsigned long expected = 0x80000000;  // bits are only added
        for (const Poi* p : Run("\xB1")) {
            const auto& g = p->src.genre;
            const long k = c[3];
            if (k < 0 || (k >= 1 && g[0] != unsigned(c[0])) || (k >= 2 && g[1] != unsigned(c[1])))
                continue;
            if (g[k] < 32) expected |= 1ul << g[k];
            wide += g[k] >= 32 && g[k] != 255;
        }
        unsigned long mask = 0x80000000;
        EXPECT_TRUE(search.IsGenreEnabled(&mask, c[0], c[1], c[2]));
        EXPECT_EQ(expected, mask) << c[0] << "," << c[1] << "," << c[2];
    }
    EXPECT_GE(wide, 3u) << "codes of 32 and more are met at every level";
    EXPECT_FALSE(search.IsGenreEnabled(nullptr, kAny, kAny, kAny));
}

TEST_F(KanaMATest, MissingAndCutOffsetFiles) {
    const std::vector<const Poi*> run = Run("\xB1");
    // A tree of one node whose run is longer than the offset files; three entries of the run.
    const mapdb::Bytes tree = Tree({{0xB1, 0x7fffffff, 0, uint32_t(run[0]->id), 500}});
    mapdb::ByteWriter ofs, ofs2;
    ofs.Zeros(16), ofs2.Zeros(16);
    for (int i = 0; i < 3; ++i) {
        ofs.U32(uint32_t(run[i]->id)), ofs.U32(0);
        ofs2.U32(uint32_t(run[i]->id)), ofs2.U24(0), ofs2.U24(0x10000), ofs2.U24(0x10000);
    }
    const mapdb::Bytes cut(ofs.bytes().begin(), ofs.bytes().end() - 3);  // the third entry cut
    struct Case {
        std::map<std::string, mapdb::Bytes> files;
        unsigned long total, sortTotal;
    } cases[] = {{{}, 0, 0},  // then an entry less a byte
                 {{{"K177.ofs", mapdb::Bytes(23)}, {"K2177.ofs", mapdb::Bytes(28)}}, 0, 0},
                 {{{"K177.ofs", ofs.bytes()}, {"K2177.ofs", ofs2.bytes()}}, 3, 3},
                 {{{"K177.ofs", cut}, {"K2177.ofs", ofs2.bytes()}}, 2, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        mapdb::TempDir dir;
        std::map<std::string, mapdb::Bytes> files = c.files;
        files["K177.idx"] = tree;
        WritePack(dir.path(), "KANAMA", files);
        settings_.Use(dir.path(), dir_.path(), true, true);
        CSearchKanaProcMA search;
        Search(&search, "\xB1");
        EXPECT_EQ(c.total, search.GetRefinedTotal(kAny, kAny, kAny, kAny));
        std::vector<CLocationData> out(4);
        EXPECT_TRUE(search.GetList(out.data(), 0, 4));
        EXPECT_EQ(Ids(run, c.total), Listed(out));
        unsigned long mask = 0;
        EXPECT_EQ(c.sortTotal, search.GetRefinedSortTotal(kAny, kAny, kAny));
        EXPECT_EQ(c.sortTotal != 0, search.IsGenreEnabled(&mask, kAny, kAny, kAny));
        EXPECT_EQ(c.sortTotal ? 1u : 0u, mask);
    }
}

}  // namespace
