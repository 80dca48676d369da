// Base POI data against the sources it was written from: look-up across containers and files,
// the container cache, genre-filtered ranges, bookmarked paging both ways, arrival points,
// fallback and damaged or missing files; and what the writers refuse.
#include "support/Poi.h"

namespace {

using namespace testsupport;
constexpr unsigned long kFile = 177, kRecords = 1203;  // three containers, the last one short

unsigned long Id(unsigned long r, unsigned long f = kFile) {
    return f << 24 | r;
}
std::array<uint32_t, 4> GenresOf(unsigned long i) {
    return {{static_cast<uint32_t>(i % 3 + 1), static_cast<uint32_t>(i % 5),
             i % 7 == 0 ? 255u : static_cast<uint32_t>(i % 7), static_cast<uint32_t>(i % 2)}};
}

struct BaseDataTest : SuiteDb<BaseDataTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::PoiSource> pois;
        const char* digits[] = {"ア", "イ", "ウ", "エ", "オ", "カ", "キ",
                                "ク", "ケ", "コ", "サ", "シ", "ス"};
        for (uint32_t i = 0; i < kRecords; ++i) {
            // Readings that sort in input order: "ア" and three digits written in kana.
            pois.push_back(
                MakePoi("POI" + std::to_string(i),
                        std::string("ア") + digits[i / 100] + digits[i / 10 % 10] + digits[i % 10],
                        GenresOf(i)));
            mapdb::PoiSource& p = pois.back();
            p.texts.push_back("ﾎﾟｲ"), p.tel = 300000000 + i, p.attr = static_cast<uint8_t>(i);
            p.lonMs = kTokyoLon + i * 10, p.latMs = kTokyoLat + i * 20;
        }
        for (const char* r : {"ヲ", "ンン", "ン"}) pois.push_back(MakePoi(r, r));
        ids_ = mapdb::WriteBase(root, pois).ids;
        std::vector<mapdb::ArrivalSource> arrivals;
        for (uint32_t r : {0u, 1u, 3u})
            arrivals.push_back(
                {uint32_t(Id(r)), {{"gate", kTokyoLon + 10 * (r + 1), kTokyoLat, uint8_t(9 + r)}}});
        mapdb::WriteArrival(root, arrivals);
    }

    // Brute force: the records of [first, first + count) that pass the filter; of those, `size`
    // from position `from`.
    static std::vector<unsigned long> Expected(unsigned long first, unsigned long count,
                                               const unsigned long* g, unsigned long from = 0,
                                               unsigned long size = ~0ul) {
        std::vector<unsigned long> out;
        for (unsigned long r = first; r < first + count; ++r) {
            const auto c = GenresOf(r);
            if ((g[0] == kAny || c[0] == g[0]) &&
                (g[1] == kAny ||
                 (c[1] == g[1] &&
                  (g[2] == kAny || (c[2] == g[2] && (g[3] == kAny || c[3] == g[3]))))))
                out.push_back(Id(r));
        }
        out.erase(out.begin(), out.begin() + std::min<size_t>(out.size(), from));
        out.resize(std::min<size_t>(out.size(), size));
        return out;
    }
    static std::vector<unsigned long> Page(CSearchBaseDataProc& base, unsigned long first,
                                           unsigned long n, unsigned long from, unsigned long size,
                                           const unsigned long* g, bool ok = true) {
        std::vector<CLocationData> out(std::max(size, 1ul));
        EXPECT_EQ(ok, base.GetList(out.data(), Id(first), n, from, size, g[0], g[1], g[2], g[3]));
        return Listed(out);
    }
    static inline std::vector<uint32_t> ids_;
};
const unsigned long kAll[] = {kAny, kAny, kAny, kAny};

TEST_F(BaseDataTest, LooksUpRecordsAcrossContainersAndFiles) {
    for (unsigned long i = 0; i < kRecords; ++i) ASSERT_EQ(Id(i), ids_[i]);
    EXPECT_EQ(Id(0, 166), ids_[kRecords]);
    EXPECT_EQ(Id(1, 221), ids_[kRecords + 1]) << "ンン sorts after ン";
    CSearchBaseDataProc base;
    CLocationData out;
    for (unsigned long r : {0ul, 1ul, 498ul, 499ul, 500ul, 501ul, 999ul, 1000ul, 1202ul, 7ul}) {
        ASSERT_TRUE(base.SearchProc(&out, Id(r)));
        uint32_t attr = 0, digit = 1;  // the flag bits written as decimal digits
        for (int bit = 0; bit < 8; ++bit, digit *= 10) attr += (r >> bit & 1) ? digit : 0;
        const auto g = GenresOf(r);
        EXPECT_EQ((std::vector<unsigned long>{Id(r), g[0], g[1], g[2], g[3], 300000000 + r,
                                              kTokyoLon + r * 10, kTokyoLat + r * 20, attr, 0}),
                  (std::vector<unsigned long>{out.dwID, out.dwGenre1, out.dwGenre2, out.dwGenre3,
                                              out.dwGenre4, out.dwTelNo, out.lLon, out.lLat,
                                              out.dwAttr, out.lArrLon}));
        EXPECT_EQ("POI" + std::to_string(r) + '\0' + "\xCE\xDF\xB2",
                  std::string(out.szName, 4 + std::to_string(r).size() + 3));
    }
    EXPECT_FALSE(base.SearchProc(&out, Id(kRecords)) || base.SearchProc(nullptr, Id(0)));
    // Only the file numbers of the kana exist.
    for (unsigned long f : {165ul, 166ul, 176ul, 177ul, 221ul, 222ul}) {
        const bool ok = f == 166 || f == 177 || f == 221;
        EXPECT_EQ(ok, base.SearchProc(&out, Id(0, f))) << f;
        EXPECT_EQ(ok ? 1u : 0u, base.GetRefinedTotal(Id(0, f), 1, kAny, kAny, kAny, kAny)) << f;
    }
    unsigned char initial[8] = {};
    ASSERT_TRUE(base.ConvInitial(initial, 0xB1));
    EXPECT_STREQ("\xEF\xBD\xB1", reinterpret_cast<char*>(initial));
}

TEST_F(BaseDataTest, RangesFiltersAndBookmarkedPagesMatchOneListing) {
    CSearchBaseDataProc base;
    const std::vector<unsigned long> tail = Expected(1000, 203, kAll);
    const unsigned long ranges[][2] = {{203, 203}, {204, 0}, {0x8000 | 203, 203}};  // count, total
    for (const auto& r : ranges) {
        EXPECT_EQ(r[1], base.GetRefinedTotal(Id(1000), r[0], kAny, kAny, kAny, kAny)) << r[0];
        EXPECT_EQ(r[1] ? tail : std::vector<unsigned long>(),
                  Page(base, 1000, r[0], 0, 203, kAll, r[1] != 0));
    }
    EXPECT_TRUE(Page(base, 1000, 204, 0, 0, kAll).empty()) << "an empty page succeeds";
    // Levels 3 and 4 after a wildcard are ignored; nothing matches the last.
    const unsigned long A = kAny, filters[][4] = {{A, A, A, A}, {2, 3, A, A}, {2, 3, 5, 1},
                                                  {A, 1, A, A}, {1, A, 4, 0}, {1, 2, 3, 4}};
    const unsigned long page = 10, first = 5, count = kRecords - first;
    for (const auto& g : filters) {
        SCOPED_TRACE(testing::Message() << g[0] << "," << g[1] << "," << g[2] << "," << g[3]);
        const std::vector<unsigned long> all = Expected(first, count, g);
        CSearchBaseDataProc paged;
        ASSERT_EQ(all.size(), paged.GetRefinedTotal(Id(first), count, g[0], g[1], g[2], g[3]));
        EXPECT_EQ(all, Page(paged, first, count, 0, count, g));
        // Pages forward, backward and jumping, interleaved with another range and another
        // filter: each listing's bookmark never steers the other.
        const unsigned long* next = filters[(&g - filters + 1) % std::size(filters)];
        struct Listing {
            unsigned long start, n;
            const unsigned long* g;
        } const listings[] = {
            {first, count, g}, {600, 300, g}, {first, count, next}, {first, count, g}};
        const unsigned long pages = (all.size() + page - 1) / page;
        std::vector<unsigned long> order = {2, 1, 3, 0};
        for (unsigned long p = 0; p < pages; ++p) order.push_back(p);
        for (unsigned long p = pages; p-- > 0;) order.push_back(p);
        for (unsigned long p : order)
            for (const Listing& l : listings)
                EXPECT_EQ(Expected(l.start, l.n, l.g, p * page, page),
                          Page(paged, l.start, l.n, p * page, page, l.g))
                    << "from " << l.start << " filter " << l.g[0] << "," << l.g[1] << " page " << p;
    }
}

TEST_F(BaseDataTest, ListsFewerMatchesThanAskedAndAddsArrivalPoints) {
    CSearchBaseDataProc base;
    std::vector<CLocationData> out(8);
    memset(static_cast<void*>(out.data()), 0x55, sizeof(CLocationData) * out.size());
    ASSERT_TRUE(base.GetList(out.data(), Id(0), 6, 0, 8, kAny, kAny, kAny, kAny));
    EXPECT_EQ(Expected(0, 6, kAll), Listed(out));
    EXPECT_EQ(0, out[7].szName[0]) << "unfilled records are zeroed";
    // Arrival points stop at the first record without one; the POI's own name is kept.
    for (int i = 0; i < 4; ++i) EXPECT_EQ(i < 2 ? kTokyoLon + 10 * (i + 1) : 0, out[i].lArrLon);
    EXPECT_EQ(9u, out[0].dwArrAttr);
    EXPECT_STREQ("POI1", out[1].szName);
}

TEST_F(BaseDataTest, FallbackAndDamagedOrMissingFiles) {
    const mapdb::Bytes idx = mapdb::ReadFile(dir_ / "BASE/B177.IDX"),
                       cnt = mapdb::ReadFile(dir_ / "BASE/B177.CNT"),
                       dat = mapdb::ReadFile(dir_ / "BASE/B177.DAT");
    mapdb::Bytes badOffset = idx, reversed = cnt;
    badOffset[16 + 5 * 3 + 3] = badOffset[16 + 5 * 3 + 4] = 0xFF;  // record 3 past its container
    for (int k = 0; k < 3; ++k) std::swap(reversed[16 + k], reversed[19 + k]);
    // Records 0 and 1 found, the total of records 0-4, how many are filled before a failure (all
    // five: listed).
    struct Case {
        mapdb::Bytes parts[3];
        bool rec0, rec1;
        unsigned long total, filled;
    } cases[] = {
        {{idx, cnt, dat}, true, true, 5, 5},
        {{idx, cnt, {}}, false, false, 5, 0},                               // no data file
        {{{}, cnt, dat}, false, false, 0, 0},                               // no index
        {{idx, {}, dat}, false, false, 5, 0},                               // no container table
        {{idx, {cnt.begin(), cnt.begin() + 19}, dat}, false, false, 5, 0},  // one container start
        {{{idx.begin(), idx.begin() + 23}, cnt, dat}, true, false, 0, 0},   // index cut in entry 1
        {{badOffset, cnt, dat}, true, true, 5, 3},
        {{idx, reversed, dat}, false, false, 5, 0},
        {{idx, cnt, {dat.begin(), dat.begin() + 100}}, false, false, 5, 0},
    };
    mapdb::TempDir empty;
    for (int sw = 0; sw < 4; ++sw) {  // the database, then the SD copy; off and disabled
        settings_.Use(sw ? empty.path() : dir_.path(), dir_.path(), sw != 3, sw != 2);
        CSearchBaseDataProc base;
        CLocationData out;
        EXPECT_EQ(sw < 2, base.SearchProc(&out, Id(42))) << sw;
        EXPECT_EQ(sw < 2, base.GetList(&out, Id(42), 1, 0, 1, kAny, kAny, kAny, kAny)) << sw;
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        mapdb::TempDir copy;
        mapdb::MakeDirs(copy / "BASE");
        const char* names[] = {"BASE/B177.IDX", "BASE/B177.CNT", "BASE/B177.DAT"};
        for (int k = 0; k < 3; ++k)
            if (!c.parts[k].empty()) mapdb::WriteFile(copy / names[k], c.parts[k]);
        settings_.Use(copy.path());
        CLocationData out;
        CSearchBaseDataProc base;
        EXPECT_EQ(c.rec0, CSearchBaseDataProc().SearchProc(&out, Id(0)));
        EXPECT_EQ(c.rec1, CSearchBaseDataProc().SearchProc(&out, Id(1)));
        unsigned long start = 0, size = 0;  // the first container straight from the data file
        EXPECT_TRUE(!base.LoadContainerOffset(&start, &size, kFile, 0) ||
                    (c.parts[2] == dat) == static_cast<bool>(base.LoadData(kFile, start, size)));
        EXPECT_EQ(c.total, base.GetRefinedTotal(Id(0), 5, kAny, kAny, kAny, kAny));
        EXPECT_EQ(Expected(0, c.filled, kAll), Page(base, 0, 5, 0, 5, kAll, c.filled == 5));
    }
}

TEST(Writers, RefuseWhatCannotBeStored) {
    mapdb::TempDir tmp;
    mapdb::PoiSource west = MakePoi("x", "ア");
    west.lonMs = 431999999;
    EXPECT_THROW(mapdb::WriteBase(tmp.path(), {MakePoi("x", "ーア")}), mapdb::Error);
    EXPECT_THROW(mapdb::WriteBase(tmp.path(), {west}), mapdb::Error);
    // Voiced readings file under their plain kana.
    const mapdb::BaseResult r =
        mapdb::WriteBase(tmp.path(), {MakePoi("x", "ガス"), MakePoi("y", "ヴ")});
    EXPECT_EQ((std::vector<uint32_t>{0xB6000000, 0xB3000000}), r.ids);
    EXPECT_EQ(std::string("\xB6\xBD"), r.readings[0]);
    EXPECT_THROW(mapdb::WriteKana(tmp.path(), {MakePoi("x", "キ"), MakePoi("y", "ヴ")}, r),
                 mapdb::Error)
        << "not the base data";
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {{"w", 431999990, kTokyoLat, 0}}}}),
                 mapdb::Error);
    EXPECT_THROW(mapdb::WriteGenre(tmp.path(), {{0xB1000000, {{1, 0, 0, 255, 0}}}}), mapdb::Error);
}

}  // namespace
