// Arrival points: numbering up to the first gap, name and coordinate rules, every probe
// position of the index, list windows, damaged and missing files, the SD fallback.
#include "support/Poi.h"

namespace {

using namespace testsupport;

mapdb::ArrivalPoint Point(const std::string& name, uint32_t dLon, uint8_t attr) {
    return {name, kTokyoLon + dLon, kTokyoLat, attr};
}

struct ArrivalTest : SettingsTest {
    void SetUp() override {
        std::vector<mapdb::ArrivalSource> sources = {
            {0xB1000002, {Point("正面入口", 10, 1), Point("", 20, 2), Point("駐車場", 30, 3)}},
            {0xB1000001, {Point("北口", 40, 4)}},
            {0xDD000000, {Point("X", 50, 5)}},
        };
        for (uint32_t i = 0; i < 40; ++i)
            sources.push_back({0xC0000000 + i * 3, {Point("P" + std::to_string(i), i * 10, 0)}});
        mapdb::WriteArrival(tmp_.path(), sources), settings_.Use(tmp_.path());
    }
    mapdb::TempDir tmp_;
};

TEST_F(ArrivalTest, CollectsPointsInNumberOrderAndFindsEveryIndexPosition) {
    CSearchArrivalProc arrival;
    unsigned long count = 99;
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB1000002));
    ASSERT_EQ(3u, count);
    CLocationData out[3];
    ASSERT_EQ(1u, arrival.GetList(out, 0, 3));
    const std::string names[] = {mapdb::Utf8ToSjis("正面入口"), "", mapdb::Utf8ToSjis("駐車場")};
    for (uint32_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(names[i], out[i].szName);
        // A fresh record takes the point as its own.
        const uint32_t lon = kTokyoLon + 10 * (i + 1);
        EXPECT_EQ(
            (std::vector<uint32_t>{lon, kTokyoLat, lon, i + 1}),
            (std::vector<uint32_t>{out[i].lArrLon, out[i].lArrLat, out[i].lLon, out[i].dwArrAttr}));
    }
    // Every position of a 45-entry index, the gaps between and the ends: no point is still a
    // success.
    std::vector<unsigned long> ids = {0xDD000000ul, 0xFFFFFFFFul, 0ul, 0xB1000001ul};
    for (unsigned long id = 0xC0000000; id < 0xC0000000 + 40 * 3; ++id) ids.push_back(id);
    for (unsigned long id : ids) {
        ASSERT_EQ(1u, arrival.SearchProc(&count, id));
        const bool stored = id >> 24 == 0xC0 ? id % 3 == 0 : id == 0xDD000000 || id == 0xB1000001;
        EXPECT_EQ(stored ? 1u : 0u, count) << id;
    }
    // Windows of the list of three.
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB1000002));
    const unsigned long windows[][3] = {{0, 0, 0}, {0, 3, 1}, {2, 1, 1},
                                        {3, 1, 0}, {2, 2, 0}, {9, 1, 0}};
    for (const auto& w : windows)
        EXPECT_EQ(w[2], arrival.GetList(out, w[0], w[1])) << w[0] << "+" << w[1];
}

TEST_F(ArrivalTest, NumberingGapEndsTheList) {
    // Points 1, 2 and 4 of one POI: the search stops at the gap.
    mapdb::ByteWriter dat, idx;
    dat.Raw(mapdb::VersionHeader()), idx.Raw(mapdb::VersionHeader());
    for (uint32_t number : {1u, 2u, 4u}) {
        idx.U32(0xB2000000), idx.U8(number), idx.U24(static_cast<uint32_t>(dat.size()));
        dat.Str("n"), dat.U8(0x0A), dat.U24(1), dat.U24(2), dat.U8(number);
    }
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.IDX", idx.bytes());
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.DAT", dat.bytes());
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB2000000));
    EXPECT_EQ(2u, count);
    int offset = 0, offset3 = 0;
    EXPECT_EQ(1u, arrival.LoadIndex(&offset, 0xB2000000, 4));
    EXPECT_EQ(1u, arrival.LoadIndex(&offset3, 0xB2000000, 3));
    EXPECT_EQ((std::vector<int>{16 + 2 * 9, -1}), (std::vector<int>{offset, offset3}));
}

TEST_F(ArrivalTest, DamagedMissingAndFallback) {
    mapdb::TempDir empty, cutDat, cutIdx, cutHeader;
    const mapdb::Bytes idx = mapdb::ReadFile(tmp_ / "ARRIVAL/ARV.IDX"),
                       dat = mapdb::ReadFile(tmp_ / "ARRIVAL/ARV.DAT");
    const std::tuple<const mapdb::TempDir*, mapdb::Bytes, mapdb::Bytes> files[] = {
        {&cutDat, idx, {dat.begin(), dat.begin() + 20}},
        {&cutIdx, mapdb::Bytes(23, 0), dat},
        {&cutHeader, mapdb::Bytes(10, 0), dat}};
    for (const auto& [d, index, data] : files) {
        mapdb::MakeDirs(*d / "ARRIVAL");
        mapdb::WriteFile(*d / "ARRIVAL/ARV.IDX", index),
            mapdb::WriteFile(*d / "ARRIVAL/ARV.DAT", data);
    }
    // arrLon: of the first point
    struct Case {
        const char* what;
        std::string db;
        bool enableDB, enableSD;
        unsigned long result, count, arrLon;
    } cases[] = {
        {"data cut: the point counts but fills nothing", cutDat.path(), true, false, 1, 3, 0},
        {"index shorter than one entry", cutIdx.path(), true, false, 0, 0, 0},
        {"index shorter than its header", cutHeader.path(), true, false, 0, 0, 0},
        {"no files", empty.path(), true, false, 0, 0, 0},
        {"SD copy", empty.path(), true, true, 1, 3, kTokyoLon + 10},
        {"database off", tmp_.path(), false, false, 0, 0, 0},
        {"database off: the SD copy is used", tmp_.path(), false, true, 1, 3, kTokyoLon + 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        settings_.Use(c.db, tmp_.path(), c.enableDB, c.enableSD);
        CSearchArrivalProc arrival;
        unsigned long count = 99;
        EXPECT_EQ(c.result, arrival.SearchProc(&count, 0xB1000002));
        EXPECT_EQ(c.count, count);
        CLocationData out;
        EXPECT_EQ(c.result, arrival.GetList(&out, 0, 1));
        EXPECT_EQ(c.arrLon, out.lArrLon);
        int offset = 0;
        EXPECT_EQ(c.result, arrival.LoadIndex(&offset, 0xB1000002, 1));
    }
}

}  // namespace
