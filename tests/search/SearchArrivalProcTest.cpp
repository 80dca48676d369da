// Arrival points: numbering, name and coordinate rules, list windows, damaged files, fallback.
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

mapdb::ArrivalPoint Point(const std::string& name, uint32_t dLon, uint8_t attr) {
    mapdb::ArrivalPoint p;
    p.name = name;
    p.lonMs = kTokyoLon + dLon;
    p.latMs = kTokyoLat;
    p.attr = attr;
    return p;
}

class ArrivalTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::vector<mapdb::ArrivalSource> sources = {
            {0xB1000002, {Point("正面入口", 10, 1), Point("", 20, 2), Point("駐車場", 30, 3)}},
            {0xB1000001, {Point("北口", 40, 4)}},
            {0xDD000000, {Point("X", 50, 5)}},
        };
        for (uint32_t i = 0; i < 40; ++i) {
            sources.push_back({0xC0000000 + i * 3, {Point("P" + std::to_string(i), i * 10, 0)}});
        }
        mapdb::WriteArrival(tmp_.path(), sources);
        settings_.Use(tmp_.path());
    }

    mapdb::TempDir tmp_;
    testsupport::ScopedSettings settings_;
};

TEST_F(ArrivalTest, CollectsPointsInNumberOrder) {
    CSearchArrivalProc arrival;
    unsigned long count = 99;
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB1000002));
    ASSERT_EQ(3u, count);
    CLocationData out[4];
    ASSERT_EQ(1u, arrival.GetList(out, 0, 3));
    EXPECT_EQ(mapdb::Utf8ToSjis("正面入口"), std::string(out[0].szName));
    EXPECT_EQ("", std::string(out[1].szName)) << "an empty name stays empty";
    EXPECT_EQ(mapdb::Utf8ToSjis("駐車場"), std::string(out[2].szName));
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(kTokyoLon + 10u * (i + 1), out[i].lArrLon);
        EXPECT_EQ(kTokyoLat, out[i].lArrLat);
        EXPECT_EQ(out[i].lArrLon, out[i].lLon) << "a fresh record takes the point as its own";
        EXPECT_EQ(static_cast<uint32_t>(i + 1), out[i].dwArrAttr);
    }
    // Every probe position of a 46-entry index.
    for (uint32_t i = 0; i < 40; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(1u, arrival.SearchProc(&count, 0xC0000000 + i * 3));
        EXPECT_EQ(1u, count);
        ASSERT_EQ(1u, arrival.SearchProc(&count, 0xC0000000 + i * 3 + 1));
        EXPECT_EQ(0u, count) << "no arrival point: success with count 0";
    }
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xDD000000));
    EXPECT_EQ(1u, count);
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xFFFFFFFF));
    EXPECT_EQ(0u, count);
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0));
    EXPECT_EQ(0u, count);
}

TEST_F(ArrivalTest, ListWindows) {
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB1000002));
    struct Case {
        unsigned long start, count, result;
    };
    const Case cases[] = {{0, 0, 0}, {0, 3, 1}, {2, 1, 1}, {3, 1, 0}, {2, 2, 0}, {9, 1, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.start) + "+" + std::to_string(c.count));
        CLocationData out[4];
        EXPECT_EQ(c.result, arrival.GetList(out, c.start, c.count));
    }
}

TEST_F(ArrivalTest, GetDataKeepsNamesAndPositionsAndStopsAtFirstMiss) {
    CSearchArrivalProc arrival;
    CLocationData records[4];
    records[0].dwID = 0xB1000002;
    strcpy(records[0].szName, "own name");
    records[0].lLon = 1;
    records[0].lLat = 2;
    records[1].dwID = 0xB1000001;
    records[2].dwID = 0xB1000003;  // no arrival point
    records[3].dwID = 0xB1000001;
    EXPECT_EQ(1u, arrival.GetData(records, 4));
    EXPECT_EQ("own name", std::string(records[0].szName));
    EXPECT_EQ(1u, records[0].lLon) << "a positioned record keeps its position";
    EXPECT_EQ(kTokyoLon + 10, records[0].lArrLon);
    EXPECT_EQ(1u, records[0].dwArrAttr);
    EXPECT_EQ(mapdb::Utf8ToSjis("北口"), std::string(records[1].szName));
    EXPECT_EQ(kTokyoLon + 40, records[1].lLon);
    EXPECT_EQ(0u, records[2].lArrLon);
    EXPECT_EQ(0u, records[3].lArrLon) << "stopped at the first POI without a point";
}

TEST_F(ArrivalTest, NumberingGapEndsTheList) {
    // Points 1, 2 and 4 of one POI: the search stops at the gap.
    mapdb::ByteWriter dat;
    dat.Raw(mapdb::VersionHeader());
    mapdb::ByteWriter idx;
    idx.Raw(mapdb::VersionHeader());
    for (uint32_t number : {1u, 2u, 4u}) {
        idx.U32(0xB2000000);
        idx.U8(number);
        idx.U24(static_cast<uint32_t>(dat.size()));
        dat.Str("n");
        dat.U8(0x0A);
        dat.U24(1);
        dat.U24(2);
        dat.U8(number);
    }
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.IDX", idx.bytes());
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.DAT", dat.bytes());
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB2000000));
    EXPECT_EQ(2u, count);
    int offset = 0;
    EXPECT_EQ(1u, arrival.LoadIndex(&offset, 0xB2000000, 4));
    EXPECT_EQ(16 + 2 * 9, offset);
    EXPECT_EQ(1u, arrival.LoadIndex(&offset, 0xB2000000, 3));
    EXPECT_EQ(-1, offset);
}

TEST_F(ArrivalTest, DamagedAndMissingFiles) {
    CSearchArrivalProc arrival;
    unsigned long count = 99;
    int offset = 0;

    // A record cut short leaves the record untouched but still counts.
    mapdb::Bytes dat = mapdb::ReadFile(tmp_ / "ARRIVAL/ARV.DAT");
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.DAT", mapdb::Bytes(dat.begin(), dat.begin() + 20));
    ASSERT_EQ(1u, arrival.SearchProc(&count, 0xB1000002));
    EXPECT_EQ(3u, count);
    CLocationData out;
    ASSERT_EQ(1u, arrival.GetList(&out, 0, 1));
    EXPECT_EQ(0u, out.lArrLon);

    // An index shorter than one entry, or none at all: failure.
    mapdb::WriteFile(tmp_ / "ARRIVAL/ARV.IDX", mapdb::Bytes(23, 0));
    count = 99;
    EXPECT_EQ(0u, arrival.SearchProc(&count, 0xB1000002));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(0u, arrival.LoadIndex(&offset, 0xB1000002, 1));
    remove((tmp_ / "ARRIVAL/ARV.IDX").c_str());
    EXPECT_EQ(0u, arrival.LoadIndex(&offset, 0xB1000002, 1));
    remove((tmp_ / "ARRIVAL/ARV.DAT").c_str());
    EXPECT_EQ(0u, arrival.LoadData(&out, 16));
}

TEST_F(ArrivalTest, OpensUnderTheSdPathWhenTheDatabaseFails) {
    mapdb::TempDir empty;
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    struct Case {
        std::string db;
        bool enableDB, enableSD;
        unsigned long result;
    };
    const Case cases[] = {
        {empty.path(), true, false, 0},
        {empty.path(), true, true, 1},
        {tmp_.path(), false, false, 0},
        {tmp_.path(), false, true, 1},  // database switched off: the SD copy is used
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.db + (c.enableDB ? " db" : "") + (c.enableSD ? " sd" : ""));
        settings_.Use(c.db, tmp_.path(), c.enableDB, c.enableSD);
        count = 0;
        EXPECT_EQ(c.result, arrival.SearchProc(&count, 0xB1000002));
        EXPECT_EQ(c.result ? 3u : 0u, count);
    }
}

TEST(ArrivalWriter, RefusesWhatCannotBeStored) {
    mapdb::TempDir tmp;
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {Point(std::string(80, 'n'), 0, 0)}}}),
                 mapdb::Error);
    mapdb::ArrivalPoint west = Point("w", 0, 0);
    west.lonMs = 431999990;  // just west of 120 degrees east
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {west}}}), mapdb::Error);
    EXPECT_THROW(mapdb::WriteArrival(tmp.path(), {{1, {Point("a", 0, 0)}}, {1, {Point("b", 0, 0)}}}),
                 mapdb::Error);
}

}  // namespace
