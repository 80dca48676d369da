// Location records and block arrays: what CopyData copies and when the text goes, array bounds,
// the 65,536-element limit and element moves.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SearchProc.h"
#include "search/ArrayData.h"

namespace {

TEST(LocationData, CopyDataHandsOutTheTextOnlyForAnEnabledPositionedRecord) {
    struct Case {
        const char* what;
        uint32_t lon, lat;
        uint8_t disable;
        bool usable;
    } cases[] = {{"positioned", 503161560, 128452320, 0, true},
                 {"no longitude", 0, 128452320, 0, false},
                 {"no latitude", 503161560, 0, 0, false},
                 {"disabled", 503161560, 128452320, 1, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CPoiData poi;
        poi.dwGenre1 = 1;
        poi.dwGenre4 = 4;
        memcpy(poi.szName, "A\0B\0\0", 5);
        poi.dwTelNo = 312345678;
        poi.lLon = c.lon;
        poi.lLat = c.lat;
        poi.lArrLon = 7;
        poi.lArrLat = 8;
        poi.dwAttr = 101;
        poi.bDisable = c.disable;
        CLocationData dst;
        memset(static_cast<void*>(&dst), 'x', sizeof(dst));
        EXPECT_EQ(c.usable, poi.CopyData(&dst));
        // Only the string list goes, or an empty name of eight zero bytes.
        EXPECT_EQ(c.usable ? std::string("A\0B\0\0xxx", 8) : std::string(8, '\0'),
                  std::string(dst.szName, 8));
        EXPECT_EQ('x', dst.szName[8]);
        const uint32_t copied[] = {dst.dwGenre1, dst.dwGenre4, dst.dwTelNo, dst.lLon,
                                   dst.lLat,     dst.lArrLon,  dst.lArrLat, dst.dwAttr};
        const uint32_t want[] = {1, 4, 312345678, c.lon, c.lat, 7, 8, 101};
        EXPECT_EQ(0, memcmp(want, copied, sizeof(want)));
        EXPECT_EQ(c.disable, dst.bDisable);
        for (uint32_t kept : {dst.dwID, dst.dwRsv, dst.dwWork, dst.dwTelAux, dst.dwRefID,
                              dst.dwDistance, dst.dwArrAttr}) {
            EXPECT_EQ(0x78787878u, kept) << "left as it was";
        }
    }
}

CLocationData Numbered(uint32_t i) {
    CLocationData r;
    r.dwID = i;
    return r;
}

TEST(ArrayData, HoldsExactly65536Elements) {
    auto* a = new CArrayData<CLocationData>;
    for (uint32_t i = 0; i < 65536; ++i) {
        CLocationData r = Numbered(i);
        ASSERT_TRUE(a->Add(&r)) << i;
    }
    CLocationData extra = Numbered(99), out;
    EXPECT_FALSE(a->Add(&extra)) << "the 65,537th Add fails";
    EXPECT_EQ(65536u, a->dwCount);
    ASSERT_TRUE(a->GetAt(&out, 65535));
    EXPECT_EQ(65535u, out.dwID);
    EXPECT_FALSE(a->GetAt(&out, 65536));
    EXPECT_FALSE(a->SetAt(65536, &extra)) << "no slot past the last block";
    delete a;
}

TEST(ArrayData, BoundsAndMoves) {
    CArrayData<CLocationData> a;
    CLocationData out, r = Numbered(0);
    EXPECT_FALSE(a.GetAt(&out, 0)) << "empty";
    EXPECT_FALSE(a.SetAt(0, &r)) << "nothing allocated yet";
    for (uint32_t i = 0; i < 5; ++i) {
        r = Numbered(i);
        ASSERT_TRUE(a.Add(&r));
    }
    auto ids = [&a]() {
        std::vector<uint32_t> v;
        for (unsigned long i = 0; i < a.dwCount; ++i) v.push_back(a.GetAt(i)->dwID);
        return v;
    };
    // One past the end is writable and leaves the count alone; GetAt there fails.
    r = Numbered(77);
    EXPECT_TRUE(a.SetAt(5, &r));
    EXPECT_FALSE(a.GetAt(&out, 5));
    EXPECT_FALSE(a.SetAt(6, &r));
    EXPECT_TRUE(a.Swap(0, 4));
    EXPECT_FALSE(a.Swap(0, 5));
    EXPECT_EQ((std::vector<uint32_t>{4, 1, 2, 3, 0}), ids());
    // Delete moves the rest down; the old last slot keeps its contents.
    EXPECT_TRUE(a.DeleteAt(1));
    EXPECT_EQ((std::vector<uint32_t>{4, 2, 3, 0}), ids());
    EXPECT_EQ(0u, a.m_pBlock[0][4].dwID);
    EXPECT_TRUE(a.DeleteAt(3));
    EXPECT_FALSE(a.DeleteAt(3));
    EXPECT_EQ((std::vector<uint32_t>{4, 2, 3}), ids());
}

}  // namespace
