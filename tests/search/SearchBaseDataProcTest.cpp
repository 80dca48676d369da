// Base POI data against the sources it was written from: look-up across containers and files,
// the container cache, genre-filtered ranges, bookmarked paging both ways, arrival points,
// fallback and damaged or missing files; and what the writers refuse.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "GenreWriter.h"
#include "KanaWriter.h"
#include "TempDir.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using testsupport::kAny;
using testsupport::kTokyoLat;
using testsupport::kTokyoLon;
constexpr unsigned long kFile = 177;
constexpr unsigned long kRecords = 1203;  // three containers, the last one short

unsigned long Id(unsigned long f, unsigned long r) {
    return f << 24 | r;
}

std::array<uint32_t, 4> GenresOf(unsigned long i) {
    return {{static_cast<uint32_t>(i % 3 + 1), static_cast<uint32_t>(i % 5),
             i % 7 == 0 ? 255u : static_cast<uint32_t>(i % 7), static_cast<uint32_t>(i % 2)}};
}

class Probe : public CSearchBaseDataProc {  // exposes the page bookmark
public:
    uint32_t MarkMatch() const { return m_dwMarkMatch; }
    uint32_t MarkRecord() const { return m_dwMarkRecord; }
};

class BaseDataTest : public testsupport::SettingsTest {
protected:
    static void SetUpTestSuite() {
        tmp_ = new mapdb::TempDir;
        std::vector<mapdb::PoiSource> pois;
        const char* digits[] = {"ア", "イ", "ウ", "エ", "オ", "カ", "キ", "ク",
                                "ケ", "コ", "サ", "シ", "ス", "セ", "ソ"};
        for (unsigned long i = 0; i < kRecords; ++i) {
            // Readings that sort in input order: "ア" and three digits written in kana.
            const auto g = GenresOf(i);
            mapdb::PoiSource p = testsupport::MakePoi(
                "POI" + std::to_string(i),
                std::string("ア") + digits[i / 100] + digits[i / 10 % 10] + digits[i % 10], g[0],
                g[1], g[2], g[3]);
            p.texts.push_back("ﾎﾟｲ");
            p.tel = 300000000 + static_cast<uint32_t>(i);
            p.lonMs = kTokyoLon + static_cast<uint32_t>(i) * 10;
            p.latMs = kTokyoLat + static_cast<uint32_t>(i) * 20;
            p.attr = static_cast<uint8_t>(i);
            pois.push_back(p);
        }
        for (const char* r : {"ヲ", "ンン", "ン"}) pois.push_back(testsupport::MakePoi(r, r));
        ids_ = new std::vector<uint32_t>(mapdb::WriteBase(tmp_->path(), pois).ids);
        std::vector<mapdb::ArrivalSource> arrivals;
        for (uint32_t r : {0u, 1u, 3u}) {
            arrivals.push_back({static_cast<uint32_t>(Id(kFile, r)),
                                {{"gate", kTokyoLon + 10 * (r + 1), kTokyoLat, uint8_t(9 + r)}}});
        }
        mapdb::WriteArrival(tmp_->path(), arrivals);
    }
    static void TearDownTestSuite() {
        delete tmp_;
        delete ids_;
    }
    void SetUp() override { settings_.Use(tmp_->path()); }

    // Brute force: the records of [first, first + count) that pass the filter.
    static std::vector<unsigned long> Expected(unsigned long first, unsigned long count,
                                               const unsigned long* g) {
        std::vector<unsigned long> out;
        for (unsigned long r = first; r < first + count; ++r) {
            const auto c = GenresOf(r);
            if ((g[0] == kAny || c[0] == g[0]) &&
                (g[1] == kAny ||
                 (c[1] == g[1] &&
                  (g[2] == kAny || (c[2] == g[2] && (g[3] == kAny || c[3] == g[3]))))))
                out.push_back(Id(kFile, r));
        }
        return out;
    }
    // A copy of file 177 with its three parts replaced (an empty part is left out).
    static void PutCopy(const mapdb::TempDir& dir, const mapdb::Bytes* parts) {
        mapdb::MakeDirs(dir / "BASE");
        const char* ext[] = {"IDX", "CNT", "DAT"};
        for (int k = 0; k < 3; ++k) {
            if (!parts[k].empty())
                mapdb::WriteFile(dir / ("BASE/B177." + std::string(ext[k])), parts[k]);
        }
    }

    static inline mapdb::TempDir* tmp_ = nullptr;
    static inline std::vector<uint32_t>* ids_ = nullptr;
};

TEST_F(BaseDataTest, LooksUpRecordsAcrossContainersAndFiles) {
    for (unsigned long i = 0; i < kRecords; ++i) ASSERT_EQ(Id(kFile, i), (*ids_)[i]);
    EXPECT_EQ(Id(166, 0), (*ids_)[kRecords]);
    EXPECT_EQ(Id(221, 1), (*ids_)[kRecords + 1]) << "ンン sorts after ン";
    CSearchBaseDataProc base;
    for (unsigned long r : {0ul, 1ul, 498ul, 499ul, 500ul, 501ul, 999ul, 1000ul, 1202ul, 7ul}) {
        SCOPED_TRACE(r);
        CLocationData out;
        ASSERT_TRUE(base.SearchProc(&out, Id(kFile, r)));
        EXPECT_EQ(Id(kFile, r), out.dwID);
        EXPECT_EQ("POI" + std::to_string(r), testsupport::NameOf(out));
        EXPECT_EQ(std::string("\xCE\xDF\xB2"), std::string(out.szName + strlen(out.szName) + 1));
        const auto g = GenresOf(r);
        EXPECT_EQ(
            g, (std::array<uint32_t, 4>{{out.dwGenre1, out.dwGenre2, out.dwGenre3, out.dwGenre4}}));
        EXPECT_EQ(300000000u + r, out.dwTelNo);
        EXPECT_EQ(kTokyoLon + r * 10, out.lLon);
        EXPECT_EQ(kTokyoLat + r * 20, out.lLat);
        uint32_t attr = 0, digit = 1;
        for (int bit = 0; bit < 8; ++bit, digit *= 10) attr += (r >> bit & 1) ? digit : 0;
        EXPECT_EQ(attr, out.dwAttr);
        EXPECT_EQ(0u, out.lArrLon) << "a single look-up adds no arrival point";
    }
    CLocationData out;
    EXPECT_FALSE(base.SearchProc(&out, Id(kFile, kRecords)));
    // Only the file numbers of the kana exist.
    struct Case {
        unsigned long f;
        bool ok;
    } files[] = {{165, false}, {166, true}, {176, false}, {177, true}, {221, true}, {222, false}};
    for (const Case& c : files) {
        SCOPED_TRACE(c.f);
        EXPECT_EQ(c.ok, base.SearchProc(&out, Id(c.f, 0)));
        EXPECT_EQ(c.ok ? 1u : 0u, base.GetRefinedTotal(Id(c.f, 0), 1, kAny, kAny, kAny, kAny));
        EXPECT_EQ(c.ok, base.GetList(&out, Id(c.f, 0), 1, 0, 1, kAny, kAny, kAny, kAny));
    }
    unsigned char initial[8] = {};
    ASSERT_TRUE(base.ConvInitial(initial, 0xB1));
    EXPECT_STREQ("\xEF\xBD\xB1", reinterpret_cast<char*>(initial));
}

TEST_F(BaseDataTest, ServesTheSameContainerFromMemory) {
    mapdb::TempDir copy;
    const std::string dat = copy / "BASE/B177.DAT";
    const mapdb::Bytes parts[] = {mapdb::ReadFile(*tmp_ / "BASE/B177.IDX"),
                                  mapdb::ReadFile(*tmp_ / "BASE/B177.CNT"),
                                  mapdb::ReadFile(*tmp_ / "BASE/B177.DAT")};
    PutCopy(copy, parts);
    settings_.Use(copy.path());
    CSearchBaseDataProc base;
    CLocationData out;
    ASSERT_TRUE(base.SearchProc(&out, Id(kFile, 10)));
    remove(dat.c_str());
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 499))) << "same container: no read";
    EXPECT_FALSE(base.SearchProc(&out, Id(kFile, 500))) << "another container needs the file";
    mapdb::WriteFile(dat, parts[2]);
    // Deliberate: the failed container stays remembered, so it is not retried at once.
    EXPECT_FALSE(base.SearchProc(&out, Id(kFile, 501)));
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 0)));
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 501)));
    base.FlushBuf();
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 502))) << "reloaded after FlushBuf";
}

TEST_F(BaseDataTest, RangeEndsAndTheKanaFlag) {
    CSearchBaseDataProc base;
    const unsigned long first = Id(kFile, 1000), any[] = {kAny, kAny, kAny, kAny};
    const std::vector<unsigned long> all = Expected(1000, 203, any);
    struct Case {
        unsigned long count, total;
        bool listed;
    } cases[] = {
        {203, all.size(), true}, {204, 0, false}, {0x8000 | 203, all.size(), true}, {0, 0, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.count);
        EXPECT_EQ(c.total, base.GetRefinedTotal(first, c.count, kAny, kAny, kAny, kAny));
        std::vector<CLocationData> out(203);
        EXPECT_EQ(c.listed,
                  base.GetList(out.data(), first, c.count, 0, 203, kAny, kAny, kAny, kAny));
        EXPECT_EQ(c.total ? all : std::vector<unsigned long>(), testsupport::Listed(out));
    }
    CLocationData out;
    EXPECT_TRUE(base.GetList(&out, first, 204, 0, 0, kAny, kAny, kAny, kAny)) << "empty page";
}

TEST_F(BaseDataTest, FiltersAndPagesForwardAndBackwardLikeOneListing) {
    const unsigned long filters[][4] = {
        {kAny, kAny, kAny, kAny}, {2, kAny, kAny, kAny}, {2, 3, kAny, kAny},
        {2, 3, 5, kAny},          {2, 3, 5, 1},          {kAny, 1, kAny, kAny},
        {1, 1, kAny, kAny},       {1, kAny, 4, 0},  // levels 3 and 4 after a wildcard: ignored
        {3, 4, kAny, 1},          {1, 2, 3, 4},     // nothing matches
    };
    const unsigned long page = 10, first = 5, count = kRecords - first;
    for (const auto& g : filters) {
        SCOPED_TRACE(testing::Message() << g[0] << "," << g[1] << "," << g[2] << "," << g[3]);
        const std::vector<unsigned long> all = Expected(first, count, g);
        Probe base;
        ASSERT_EQ(all.size(),
                  base.GetRefinedTotal(Id(kFile, first), count, g[0], g[1], g[2], g[3]));
        std::vector<CLocationData> whole(count);
        ASSERT_TRUE(
            base.GetList(whole.data(), Id(kFile, first), count, 0, count, g[0], g[1], g[2], g[3]));
        EXPECT_EQ(all, testsupport::Listed(whole));
        const unsigned long pages = (all.size() + page - 1) / page;
        std::vector<unsigned long> order;
        for (unsigned long p = 0; p < pages; ++p) order.push_back(p);
        for (unsigned long p = pages; p-- > 0;) order.push_back(p);
        if (pages > 7) order.insert(order.end(), {3, 4, 2, 7, 0});
        for (unsigned long p : order) {
            SCOPED_TRACE(p);
            std::vector<CLocationData> out(page);
            ASSERT_TRUE(base.GetList(out.data(), Id(kFile, first), count, p * page, page, g[0],
                                     g[1], g[2], g[3]));
            EXPECT_EQ(
                std::vector<unsigned long>(all.begin() + p * page,
                                           all.begin() + std::min(all.size(), (p + 1) * page)),
                testsupport::Listed(out));
            // The bookmark sits at the page's first match: the next page starts there.
            EXPECT_EQ(p * page, base.MarkMatch());
            EXPECT_EQ(all[p * page], Id(kFile, base.MarkRecord()));
        }
        // Pages of this listing in turn with another range or another filter: one bookmark
        // never steers the other listing.
        const unsigned long* next = filters[(&g - filters + 1) % std::size(filters)];
        struct Listing {
            unsigned long start, n;
            const unsigned long* g;
        } const listings[] = {{first, count, g}, {600, 300, g}, {first, count, next}};
        for (unsigned long p : {2ul, 1ul, 3ul, 0ul}) {
            for (const Listing& l : {listings[1], listings[0], listings[2], listings[0]}) {
                const std::vector<unsigned long> want = Expected(l.start, l.n, l.g);
                std::vector<CLocationData> out(page);
                ASSERT_TRUE(base.GetList(out.data(), Id(kFile, l.start), l.n, p * page, page,
                                         l.g[0], l.g[1], l.g[2], l.g[3]));
                EXPECT_EQ(std::vector<unsigned long>(
                              want.begin() + std::min(want.size(), p * page),
                              want.begin() + std::min(want.size(), (p + 1) * page)),
                          testsupport::Listed(out))
                    << "from " << l.start << " filter " << l.g[0] << "," << l.g[1] << " page " << p;
            }
        }
    }
}

TEST_F(BaseDataTest, ListsFewerMatchesThanAskedAndAddsArrivalPoints) {
    CSearchBaseDataProc base;
    std::vector<CLocationData> out(8);
    memset(static_cast<void*>(out.data()), 0x55, sizeof(CLocationData) * out.size());
    ASSERT_TRUE(base.GetList(out.data(), Id(kFile, 0), 6, 0, 8, kAny, kAny, kAny, kAny));
    EXPECT_EQ((std::vector<unsigned long>{Id(kFile, 0), Id(kFile, 1), Id(kFile, 2), Id(kFile, 3),
                                          Id(kFile, 4), Id(kFile, 5)}),
              testsupport::Listed(out));
    EXPECT_EQ(0, out[7].szName[0]) << "unfilled records are zeroed";
    const uint32_t arrLon[] = {kTokyoLon + 10, kTokyoLon + 20, 0, 0};  // stops at the first gap
    for (int i = 0; i < 4; ++i) EXPECT_EQ(arrLon[i], out[i].lArrLon) << i;
    EXPECT_EQ(9u, out[0].dwArrAttr);
    EXPECT_EQ("POI1", testsupport::NameOf(out[1])) << "the POI's own name is kept";
}

TEST_F(BaseDataTest, FallbackAndDamagedOrMissingFiles) {
    const mapdb::Bytes idx = mapdb::ReadFile(*tmp_ / "BASE/B177.IDX");
    const mapdb::Bytes cnt = mapdb::ReadFile(*tmp_ / "BASE/B177.CNT");
    const mapdb::Bytes dat = mapdb::ReadFile(*tmp_ / "BASE/B177.DAT");
    mapdb::Bytes badOffset = idx, reversed = cnt;
    badOffset[16 + 5 * 3 + 3] = badOffset[16 + 5 * 3 + 4] = 0xFF;  // record 3 past its container
    for (int k = 0; k < 3; ++k) std::swap(reversed[16 + k], reversed[19 + k]);
    const mapdb::Bytes oneStart(cnt.begin(), cnt.begin() + 19),
        cutIdx(idx.begin(), idx.begin() + 23);
    struct Case {
        const char* what;
        mapdb::Bytes parts[3];
        bool rec0, rec1;
        unsigned long total;                // of records 0-4
        bool listed;                        // records 0-4 listed
        std::vector<unsigned long> filled;  // before the failure
    } cases[] = {
        {"intact", {idx, cnt, dat}, true, true, 5, true, {0, 1, 2, 3, 4}},
        {"no data file", {idx, cnt, {}}, false, false, 5, false, {}},
        {"no index", {{}, cnt, dat}, false, false, 0, false, {}},
        {"no container table", {idx, {}, dat}, false, false, 5, false, {}},
        {"one container start", {idx, oneStart, dat}, false, false, 5, false, {}},
        {"index cut inside entry 1", {cutIdx, cnt, dat}, true, false, 0, false, {}},
        {"entry past its container", {badOffset, cnt, dat}, true, true, 5, false, {0, 1, 2}},
        {"containers out of order", {idx, reversed, dat}, false, false, 5, false, {}},
        {"data file cut", {idx, cnt, {dat.begin(), dat.begin() + 100}}, false, false, 5, false, {}},
    };
    mapdb::TempDir empty;
    for (int sw = 0; sw < 4; ++sw) {  // the database, then the SD copy; off and disabled
        SCOPED_TRACE(sw);
        settings_.Use(sw ? empty.path() : tmp_->path(), tmp_->path(), sw != 3, sw != 2);
        CLocationData out;
        EXPECT_EQ(sw < 2, CSearchBaseDataProc().SearchProc(&out, Id(kFile, 42)));
        EXPECT_EQ(sw < 2 ? 1u : 0u,
                  CSearchBaseDataProc().GetRefinedTotal(Id(kFile, 42), 1, kAny, kAny, kAny, kAny));
        EXPECT_EQ(sw < 2, CSearchBaseDataProc().GetList(&out, Id(kFile, 42), 1, 0, 1, kAny, kAny,
                                                        kAny, kAny));
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mapdb::TempDir copy;
        PutCopy(copy, c.parts);
        settings_.Use(copy.path());
        CLocationData out;
        EXPECT_EQ(c.rec0, CSearchBaseDataProc().SearchProc(&out, Id(kFile, 0)));
        EXPECT_EQ(c.rec1, CSearchBaseDataProc().SearchProc(&out, Id(kFile, 1)));
        unsigned long start = 0, size = 0;  // the first container straight from the data file
        if (CSearchBaseDataProc().LoadContainerOffset(&start, &size, kFile, 0)) {
            EXPECT_EQ(c.parts[2] == dat, CSearchBaseDataProc().LoadData(kFile, start, size));
        }
        EXPECT_EQ(c.total,
                  CSearchBaseDataProc().GetRefinedTotal(Id(kFile, 0), 5, kAny, kAny, kAny, kAny));
        std::vector<CLocationData> list(5);
        EXPECT_EQ(c.listed, CSearchBaseDataProc().GetList(list.data(), Id(kFile, 0), 5, 0, 5, kAny,
                                                          kAny, kAny, kAny));
        std::vector<unsigned long> filled;
        for (unsigned long r : c.filled) filled.push_back(Id(kFile, r));
        EXPECT_EQ(filled, testsupport::Listed(list));
    }
}

TEST(Writers, RefuseWhatCannotBeStored) {
    mapdb::TempDir tmp;
    auto poi = [](const std::string& name, const char* reading, uint32_t g1, uint32_t lon,
                  uint32_t lat) {
        mapdb::PoiSource p = testsupport::MakePoi(name, reading, g1);
        p.lonMs = lon;
        p.latMs = lat;
        return p;
    };
    const mapdb::PoiSource bad[] = {
        poi("x", "abc", 1, kTokyoLon, kTokyoLat),   // not kana
        poi("x", "ーア", 1, kTokyoLon, kTokyoLat),  // prolonged sound mark first
        poi("x", "ア", 64, kTokyoLon, kTokyoLat),
        poi(std::string(400, 'x'), "ア", 1, kTokyoLon, kTokyoLat),
        poi("x", "ア", 1, 431999999, kTokyoLat),
        poi("x", "ア", 1, kTokyoLon, (0x1000000u + 7200000u) * 10),
    };
    for (const mapdb::PoiSource& p : bad)
        EXPECT_THROW(mapdb::WriteBase(tmp.path(), {p}), mapdb::Error);
    // Voiced readings file under their plain kana.
    const mapdb::BaseResult r = mapdb::WriteBase(
        tmp.path(), {testsupport::MakePoi("x", "ガス"), testsupport::MakePoi("y", "ヴ")});
    EXPECT_EQ((std::vector<uint32_t>{0xB6000000, 0xB3000000}), r.ids);
    EXPECT_EQ(std::string("\xB6\xBD"), r.readings[0]);
    std::vector<mapdb::PoiSource> kana = {testsupport::MakePoi("x", "漢字"),
                                          testsupport::MakePoi("y", "ヴ")};
    EXPECT_THROW(mapdb::WriteKana(tmp.path(), kana, r), mapdb::Error) << "not kana";
    kana[0].reading = "キ";
    EXPECT_THROW(mapdb::WriteKana(tmp.path(), kana, r), mapdb::Error) << "not the base data";
    const mapdb::ArrivalPoint west{"w", 431999990, kTokyoLat, 0},
        named{std::string(80, 'n'), kTokyoLon, kTokyoLat, 0};
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {named}}}), mapdb::Error);
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {west}}}), mapdb::Error);
    const mapdb::ArrivalPoint ok{"a", kTokyoLon, kTokyoLat, 0};
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {ok}}, {1, {ok}}}), mapdb::Error);
    for (const auto& k : {std::array<uint32_t, 5>{{63, 0, 0, 0, 0}},
                          {{1, 70, 0, 0, 0}},
                          {{1, 0, 0, 255, 0}},
                          {{1, 0, 0, 64, 0}},
                          {{1, 0, 0, 0, 256}}}) {
        EXPECT_THROW(mapdb::WriteGenre(tmp.path(), {{0xB1000000, k}}), mapdb::Error);
    }
}

}  // namespace
