// Base POI data: look-up by id across containers and files, the container cache, genre-filtered
// ranges, the bookmarked paging in both directions, arrival points, damaged files, fallback.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "TextTools.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using testsupport::kTokyoLat;
using testsupport::kTokyoLon;

constexpr unsigned long kFile = 177;
constexpr unsigned long kRecords = 1203;  // three containers, the last one short
constexpr unsigned long kAny = 255;

unsigned long Id(unsigned long f, unsigned long r) { return f << 24 | r; }

struct Genres {
    uint32_t g[4];
};

Genres GenresOf(unsigned long i) {
    return {{static_cast<uint32_t>(i % 3 + 1), static_cast<uint32_t>(i % 5),
             i % 7 == 0 ? 255u : static_cast<uint32_t>(i % 7), static_cast<uint32_t>(i % 2)}};
}

// Readings that sort in input order: "ア" followed by three digits written in kana.
std::string ReadingOf(unsigned long i) {
    static const char* digits[] = {"ア", "イ", "ウ", "エ", "オ", "カ", "キ", "ク", "ケ", "コ",
                                   "サ", "シ", "ス", "セ", "ソ"};
    return std::string("ア") + digits[i / 100] + digits[(i / 10) % 10] + digits[i % 10];
}

mapdb::PoiSource Source(unsigned long i) {
    Genres g = GenresOf(i);
    mapdb::PoiSource p = testsupport::MakePoi("POI" + std::to_string(i), ReadingOf(i), g.g[0],
                                              g.g[1], g.g[2], g.g[3]);
    p.texts.push_back("ﾎﾟｲ");
    p.tel = 300000000 + static_cast<uint32_t>(i);
    p.lonMs = kTokyoLon + static_cast<uint32_t>(i) * 10;
    p.latMs = kTokyoLat + static_cast<uint32_t>(i) * 20;
    p.attr = static_cast<uint8_t>(i);
    return p;
}

// Exposes the page bookmark.
class Probe : public CSearchBaseDataProc {
public:
    uint32_t MarkMatch() const { return m_dwMarkMatch; }
    uint32_t MarkRecord() const { return m_dwMarkRecord; }
};

class BaseDataTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tmp_ = new mapdb::TempDir;
        std::vector<mapdb::PoiSource> pois;
        for (unsigned long i = 0; i < kRecords; ++i) pois.push_back(Source(i));
        pois.push_back(testsupport::MakePoi("wo", "ヲ"));
        pois.push_back(testsupport::MakePoi("n2", "ンン"));
        pois.push_back(testsupport::MakePoi("n1", "ン"));
        mapdb::BaseResult base = mapdb::WriteBase(tmp_->path(), pois);
        ids_ = new std::vector<uint32_t>(base.ids);
        std::vector<mapdb::ArrivalSource> arrivals;
        for (unsigned long r : {0ul, 1ul, 3ul}) {
            arrivals.push_back({static_cast<uint32_t>(Id(kFile, r)),
                                {{"gate", kTokyoLon + 10 * static_cast<uint32_t>(r + 1),
                                  kTokyoLat, static_cast<uint8_t>(9 + r)}}});
        }
        mapdb::WriteArrival(tmp_->path(), arrivals);
    }
    static void TearDownTestSuite() {
        delete tmp_;
        delete ids_;
    }
    void SetUp() override { settings_.Use(tmp_->path()); }

    // Brute-force list of the records of the file that match, straight from the sources.
    static std::vector<unsigned long> Expected(unsigned long first, unsigned long count,
                                               unsigned long g1, unsigned long g2,
                                               unsigned long g3, unsigned long g4) {
        std::vector<unsigned long> out;
        for (unsigned long r = first; r < first + count; ++r) {
            Genres c = GenresOf(r);
            bool ok = (g1 == kAny || c.g[0] == g1) &&
                      (g2 == kAny || (c.g[1] == g2 && (g3 == kAny || (c.g[2] == g3 &&
                                                                      (g4 == kAny || c.g[3] == g4)))));
            if (ok) out.push_back(r);
        }
        return out;
    }

    static std::vector<unsigned long> Listed(const CLocationData* out, unsigned long n) {
        std::vector<unsigned long> ids;
        for (unsigned long i = 0; i < n && out[i].dwID != 0; ++i) ids.push_back(out[i].dwID & 0xFFFFFF);
        return ids;
    }

    static mapdb::TempDir* tmp_;
    static std::vector<uint32_t>* ids_;
    testsupport::ScopedSettings settings_;
};
mapdb::TempDir* BaseDataTest::tmp_ = nullptr;
std::vector<uint32_t>* BaseDataTest::ids_ = nullptr;

TEST_F(BaseDataTest, WriterNumbersPoisByFileAndReading) {
    for (unsigned long i = 0; i < kRecords; ++i) ASSERT_EQ(Id(kFile, i), (*ids_)[i]);
    EXPECT_EQ(Id(166, 0), (*ids_)[kRecords]);
    EXPECT_EQ(Id(221, 1), (*ids_)[kRecords + 1]) << "ンン sorts after ン";
    EXPECT_EQ(Id(221, 0), (*ids_)[kRecords + 2]);
}

TEST_F(BaseDataTest, LooksUpRecordsAcrossContainerBoundaries) {
    CSearchBaseDataProc base;
    for (unsigned long r : {0ul, 1ul, 498ul, 499ul, 500ul, 501ul, 999ul, 1000ul, 1202ul, 7ul}) {
        SCOPED_TRACE(r);
        CLocationData out;
        ASSERT_TRUE(base.SearchProc(&out, Id(kFile, r)));
        EXPECT_EQ(Id(kFile, r), out.dwID);
        EXPECT_EQ("POI" + std::to_string(r), std::string(out.szName));
        EXPECT_EQ(std::string("\xCE\xDF\xB2"), std::string(out.szName + strlen(out.szName) + 1));
        Genres g = GenresOf(r);
        EXPECT_EQ(g.g[0], out.dwGenre1);
        EXPECT_EQ(g.g[1], out.dwGenre2);
        EXPECT_EQ(g.g[2], out.dwGenre3);
        EXPECT_EQ(g.g[3], out.dwGenre4);
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
}

TEST_F(BaseDataTest, AcceptsOnlyTheFileNumbersOfTheKana) {
    CSearchBaseDataProc base;
    struct Case {
        unsigned long f;
        bool ok;
    };
    for (Case c : {Case{165, false}, Case{166, true}, Case{176, false}, Case{177, true},
                   Case{221, true}, Case{222, false}, Case{0, false}, Case{255, false}}) {
        SCOPED_TRACE(c.f);
        CLocationData out;
        EXPECT_EQ(c.ok, base.SearchProc(&out, Id(c.f, 0)));
        EXPECT_EQ(c.ok ? 1u : 0u, base.GetRefinedTotal(Id(c.f, 0), 1, kAny, kAny, kAny, kAny));
        CLocationData list[1];
        EXPECT_EQ(c.ok, base.GetList(list, Id(c.f, 0), 1, 0, 1, kAny, kAny, kAny, kAny));
    }
}

TEST_F(BaseDataTest, ServesTheSameContainerFromMemory) {
    mapdb::TempDir copy;
    std::string dir = copy / "BASE";
    mapdb::MakeDirs(dir);
    for (const char* ext : {"IDX", "CNT", "DAT"}) {
        mapdb::WriteFile(dir + "/B177." + ext, mapdb::ReadFile(*tmp_ / ("BASE/B177." + std::string(ext))));
    }
    settings_.Use(copy.path());
    CSearchBaseDataProc base;
    CLocationData out;
    ASSERT_TRUE(base.SearchProc(&out, Id(kFile, 10)));
    const mapdb::Bytes dat = mapdb::ReadFile(dir + "/B177.DAT");
    remove((dir + "/B177.DAT").c_str());
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 499))) << "same container: no read";
    EXPECT_FALSE(base.SearchProc(&out, Id(kFile, 500))) << "another container needs the file";
    mapdb::WriteFile(dir + "/B177.DAT", dat);
    // Deliberate: the failed container stays remembered, so it is not retried at once.
    EXPECT_FALSE(base.SearchProc(&out, Id(kFile, 501)));
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 0)));
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 501)));
    base.FlushBuf();
    EXPECT_TRUE(base.SearchProc(&out, Id(kFile, 502))) << "reloaded after FlushBuf";
}

TEST_F(BaseDataTest, RangeEndsAndTheKanaFlag) {
    CSearchBaseDataProc base;
    const unsigned long first = Id(kFile, 1000);
    const unsigned long total = Expected(1000, 203, kAny, kAny, kAny, kAny).size();
    EXPECT_EQ(total, base.GetRefinedTotal(first, 203, kAny, kAny, kAny, kAny));
    EXPECT_EQ(0u, base.GetRefinedTotal(first, 204, kAny, kAny, kAny, kAny));
    EXPECT_EQ(total, base.GetRefinedTotal(first, 0x8000 | 203, kAny, kAny, kAny, kAny));
    EXPECT_EQ(0u, base.GetRefinedTotal(first, 0, kAny, kAny, kAny, kAny));

    std::vector<CLocationData> out(203);
    EXPECT_TRUE(base.GetList(out.data(), first, 203, 0, 203, kAny, kAny, kAny, kAny));
    EXPECT_EQ(Expected(1000, 203, kAny, kAny, kAny, kAny), Listed(out.data(), 203));
    EXPECT_FALSE(base.GetList(out.data(), first, 204, 0, 203, kAny, kAny, kAny, kAny));
    EXPECT_TRUE(base.GetList(out.data(), first, 0x8000 | 203, 0, 203, kAny, kAny, kAny, kAny));
    EXPECT_TRUE(base.GetList(out.data(), first, 203, 0, 0, kAny, kAny, kAny, kAny))
        << "an empty page is answered without work";
}

TEST_F(BaseDataTest, FiltersWithWildcardsAtEveryLevel) {
    const unsigned long filters[][4] = {
        {kAny, kAny, kAny, kAny}, {2, kAny, kAny, kAny}, {2, 3, kAny, kAny},
        {2, 3, 5, kAny},          {2, 3, 5, 1},          {kAny, 1, kAny, kAny},
        {1, kAny, 4, 0},  // a wildcard ends the comparison: levels 3 and 4 are ignored
        {3, 4, kAny, 1},  {1, 2, 3, 4},  // nothing matches
    };
    CSearchBaseDataProc base;
    for (const auto& g : filters) {
        SCOPED_TRACE(testing::Message() << g[0] << "," << g[1] << "," << g[2] << "," << g[3]);
        std::vector<unsigned long> expected = Expected(0, kRecords, g[0], g[1], g[2], g[3]);
        EXPECT_EQ(expected.size(),
                  base.GetRefinedTotal(Id(kFile, 0), kRecords, g[0], g[1], g[2], g[3]));
        std::vector<CLocationData> out(kRecords);
        ASSERT_TRUE(base.GetList(out.data(), Id(kFile, 0), kRecords, 0, kRecords, g[0], g[1],
                                 g[2], g[3]));
        EXPECT_EQ(expected, Listed(out.data(), kRecords));
    }
}

TEST_F(BaseDataTest, PagingForwardAndBackwardEqualsOneListing) {
    const unsigned long filters[][4] = {{kAny, kAny, kAny, kAny}, {2, kAny, kAny, kAny},
                                        {1, 1, kAny, kAny}};
    const unsigned long page = 10;
    for (const auto& g : filters) {
        SCOPED_TRACE(testing::Message() << g[0] << "," << g[1]);
        const std::vector<unsigned long> all = Expected(5, kRecords - 5, g[0], g[1], g[2], g[3]);
        Probe base;
        const unsigned long total =
            base.GetRefinedTotal(Id(kFile, 5), kRecords - 5, g[0], g[1], g[2], g[3]);
        ASSERT_EQ(all.size(), total);
        const unsigned long pages = (total + page - 1) / page;
        auto check = [&](unsigned long p) {
            SCOPED_TRACE(p);
            CLocationData out[page];
            ASSERT_TRUE(base.GetList(out, Id(kFile, 5), kRecords - 5, p * page, page, g[0], g[1],
                                     g[2], g[3]));
            std::vector<unsigned long> want(all.begin() + p * page,
                                            all.begin() + std::min(total, (p + 1) * page));
            EXPECT_EQ(want, Listed(out, page));
            // The bookmark sits at the page's first match: the next page starts there.
            EXPECT_EQ(p * page, base.MarkMatch());
            EXPECT_EQ(all[p * page], base.MarkRecord());
        };
        for (unsigned long p = 0; p < pages; ++p) check(p);
        for (unsigned long p = pages; p-- > 0;) check(p);
        for (unsigned long p : {3ul, 4ul, 2ul, 7ul, 0ul}) check(p);
    }
}

TEST_F(BaseDataTest, ListsFewerMatchesThanAskedAndAddsArrivalPoints) {
    CSearchBaseDataProc base;
    CLocationData out[8];
    memset(static_cast<void*>(out), 0x55, sizeof(out));
    ASSERT_TRUE(base.GetList(out, Id(kFile, 0), 6, 0, 8, kAny, kAny, kAny, kAny));
    EXPECT_EQ((std::vector<unsigned long>{0, 1, 2, 3, 4, 5}), Listed(out, 8));
    EXPECT_EQ(0u, out[6].dwID) << "unfilled records are zeroed";
    EXPECT_EQ(0, out[7].szName[0]);
    EXPECT_EQ(kTokyoLon + 10, out[0].lArrLon);
    EXPECT_EQ(9u, out[0].dwArrAttr);
    EXPECT_EQ(kTokyoLon + 20, out[1].lArrLon);
    EXPECT_EQ("POI1", std::string(out[1].szName)) << "the POI's own name is kept";
    EXPECT_EQ(0u, out[2].lArrLon);
    EXPECT_EQ(0u, out[3].lArrLon) << "arrival points stop at the first POI without one";
}

TEST_F(BaseDataTest, FallsBackToTheSdCopyOnlyWithTheDatabaseEnabled) {
    mapdb::TempDir empty;
    struct Case {
        bool enableDB, enableSD, ok;
    };
    for (Case c : {Case{true, false, false}, Case{true, true, true}, Case{false, true, false}}) {
        SCOPED_TRACE(testing::Message() << c.enableDB << c.enableSD);
        settings_.Use(empty.path(), tmp_->path(), c.enableDB, c.enableSD);
        CSearchBaseDataProc base;
        CLocationData out;
        EXPECT_EQ(c.ok, base.SearchProc(&out, Id(kFile, 42)));
        EXPECT_EQ(c.ok ? 1u : 0u, base.GetRefinedTotal(Id(kFile, 42), 1, kAny, kAny, kAny, kAny));
    }
}

TEST_F(BaseDataTest, DamagedFilesGiveFailureNotACrash) {
    mapdb::TempDir copy;
    std::string dir = copy / "BASE";
    mapdb::MakeDirs(dir);
    const mapdb::Bytes idx = mapdb::ReadFile(*tmp_ / "BASE/B177.IDX");
    const mapdb::Bytes cnt = mapdb::ReadFile(*tmp_ / "BASE/B177.CNT");
    const mapdb::Bytes dat = mapdb::ReadFile(*tmp_ / "BASE/B177.DAT");
    settings_.Use(copy.path());
    auto put = [&](const mapdb::Bytes& i, const mapdb::Bytes& c, const mapdb::Bytes& d) {
        mapdb::WriteFile(dir + "/B177.IDX", i);
        mapdb::WriteFile(dir + "/B177.CNT", c);
        mapdb::WriteFile(dir + "/B177.DAT", d);
    };
    CLocationData out;

    // A container table holding only the start of container 0.
    put(idx, mapdb::Bytes(cnt.begin(), cnt.begin() + 19), dat);
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 0)));
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 600)));

    // An index cut inside entry 1: entry 0 stays readable.
    put(mapdb::Bytes(idx.begin(), idx.begin() + 16 + 7), cnt, dat);
    EXPECT_TRUE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 0)));
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 1)));
    EXPECT_EQ(0u, CSearchBaseDataProc().GetRefinedTotal(Id(kFile, 0), 2, kAny, kAny, kAny, kAny));

    // An index entry pointing past the end of its container.
    mapdb::Bytes badOffset = idx;
    badOffset[16 + 5 * 3 + 3] = 0xFF;
    badOffset[16 + 5 * 3 + 4] = 0xFF;
    put(badOffset, cnt, dat);
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 3)));
    CLocationData list[5];
    EXPECT_FALSE(CSearchBaseDataProc().GetList(list, Id(kFile, 0), 5, 0, 5, kAny, kAny, kAny, kAny));
    EXPECT_EQ((std::vector<unsigned long>{0, 1, 2}), Listed(list, 5)) << "filled before the failure";

    // Container offsets out of order, past the file, and a corrupted block.
    mapdb::Bytes reversed = cnt;
    std::swap(reversed[16], reversed[19]);
    std::swap(reversed[17], reversed[20]);
    std::swap(reversed[18], reversed[21]);
    put(idx, reversed, dat);
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 0)));
    put(idx, cnt, mapdb::Bytes(dat.begin(), dat.begin() + 100));
    EXPECT_FALSE(CSearchBaseDataProc().SearchProc(&out, Id(kFile, 0)));
    for (size_t at : {16ul, 17ul, 22ul, 25ul, 40ul, 200ul}) {
        SCOPED_TRACE(at);
        mapdb::Bytes broken = dat;
        broken[at] ^= 0xA5;
        put(idx, cnt, broken);
        CSearchBaseDataProc base;
        base.SearchProc(&out, Id(kFile, 0));  // fails or decodes wrongly; must not crash
        base.SearchProc(&out, Id(kFile, 499));
    }
}

TEST_F(BaseDataTest, ConvertsInitialsToUtf8) {
    CSearchBaseDataProc base;
    unsigned char out[8] = {};
    ASSERT_TRUE(base.ConvInitial(out, 0xB1));
    EXPECT_EQ(std::string("\xEF\xBD\xB1"), std::string(reinterpret_cast<char*>(out)));
}

TEST(BaseWriter, RefusesWhatCannotBeStored) {
    mapdb::TempDir tmp;
    auto refuses = [&](mapdb::PoiSource p) {
        EXPECT_THROW(mapdb::WriteBase(tmp.path(), {p}), mapdb::Error);
    };
    refuses(testsupport::MakePoi("x", "abc"));      // not kana
    refuses(testsupport::MakePoi("x", "ーア"));     // prolonged sound mark first
    refuses(testsupport::MakePoi("x", "ア", 64));   // genre code too wide
    refuses(testsupport::MakePoi(std::string(400, 'x'), "ア"));
    mapdb::PoiSource west = testsupport::MakePoi("x", "ア");
    west.lonMs = 431999999;
    refuses(west);
    mapdb::PoiSource north = testsupport::MakePoi("x", "ア");
    north.latMs = (0x1000000u + 7200000u) * 10;
    refuses(north);
    // Voiced readings file under their plain kana.
    mapdb::BaseResult r = mapdb::WriteBase(tmp.path(), {testsupport::MakePoi("x", "ガス"),
                                                        testsupport::MakePoi("y", "ヴ")});
    EXPECT_EQ(Id(0xB6, 0), r.ids[0]);
    EXPECT_EQ(Id(0xB3, 0), r.ids[1]);
    EXPECT_EQ(std::string("\xB6\xBD"), r.readings[0]);
}

}  // namespace
