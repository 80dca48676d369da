// Location records and block arrays: what CopyData copies and when the text goes, array bounds,
// the 65,536-element limit and element moves.
#include "search/ArrayData.h"
#include "support/Poi.h"

namespace {

TEST(LocationData, CopyDataHandsOutTheTextOnlyForAnEnabledPositionedRecord) {
    const struct {
        uint32_t lon, lat;
        uint8_t disable;
        bool usable;
    } cases[] = {{503161560, 128452320, 0, true},
                 {0, 128452320, 0, false},  // positioned; no longitude
                 {503161560, 0, 0, false},
                 {503161560, 128452320, 1, false}};  // no latitude; disabled
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        CPoiData poi;
        poi.dwGenre1 = 1, poi.dwGenre4 = 4, poi.dwTelNo = 312345678, poi.lLon = c.lon,
        poi.lLat = c.lat;
        poi.lArrLon = 7, poi.lArrLat = 8, poi.dwAttr = 101, poi.bDisable = c.disable;
        memcpy(poi.szName, "A\0B\0\0", 5);
        CLocationData d;
        memset(static_cast<void*>(&d), 'x', sizeof(d));
        EXPECT_EQ(c.usable, poi.CopyData(&d));
        // Only the string list goes, or an empty name of eight zero bytes.
        EXPECT_EQ(c.usable ? std::string("A\0B\0\0xxxx", 9) : std::string(8, '\0') + 'x',
                  std::string(d.szName, 9));
        EXPECT_EQ((std::vector<uint32_t>{1, 4, 312345678, c.lon, c.lat, 7, 8, 101, c.disable}),
                  (std::vector<uint32_t>{d.dwGenre1, d.dwGenre4, d.dwTelNo, d.lLon, d.lLat,
                                         d.lArrLon, d.lArrLat, d.dwAttr, d.bDisable}));
        EXPECT_EQ(std::vector<uint32_t>(7, 0x78787878u),
                  (std::vector<uint32_t>{d.dwID, d.dwRsv, d.dwWork, d.dwTelAux, d.dwRefID,
                                         d.dwDistance, d.dwArrAttr}))
            << "left as it was";
    }
    // A text area that no empty string ends goes whole, and nothing after it.
    CPoiData poi;
    poi.lLon = 1, poi.lLat = 1;
    memset(poi.szName, 'A', sizeof(poi.szName) - 1);
    poi.szName[sizeof(poi.szName) - 1] = 0;
    CLocationData d;
    memset(static_cast<void*>(&d), 'x', sizeof(d));
    ASSERT_TRUE(poi.CopyData(&d));
    EXPECT_EQ(std::string(poi.szName, sizeof(poi.szName)), std::string(d.szName, sizeof(d.szName)));
    EXPECT_EQ(0x78787878u, d.dwWork);
}

TEST(ArrayData, HoldsExactly65536ElementsAndMovesThem) {
    auto* big = new CArrayData<CLocationData>;
    CLocationData r, out;
    for (r.dwID = 0; r.dwID < 65536; ++r.dwID) ASSERT_TRUE(big->Add(&r)) << r.dwID;
    EXPECT_FALSE(big->Add(&r)) << "the 65,537th Add fails";
    EXPECT_EQ(65536u, big->dwCount);
    EXPECT_TRUE(big->GetAt(&out, 65535) && out.dwID == 65535u);
    EXPECT_FALSE(big->GetAt(&out, 65536) || big->SetAt(65536, &r)) << "no slot past the last block";
    delete big;
    CArrayData<CLocationData> a;
    EXPECT_FALSE(a.GetAt(&out, 0) || a.SetAt(0, &r)) << "empty, nothing allocated yet";
    for (r.dwID = 0; r.dwID < 5; ++r.dwID) ASSERT_TRUE(a.Add(&r));
    auto ids = [&a]() {
        std::vector<uint32_t> v;
        for (unsigned long i = 0; i < a.dwCount; ++i) v.push_back(a.GetAt(i)->dwID);
        return v;
    };
    // One past the end is writable and leaves the count alone; GetAt there fails.
    EXPECT_TRUE(a.SetAt(5, &r) && !a.GetAt(&out, 5) && !a.SetAt(6, &r));
    EXPECT_TRUE(a.Swap(0, 4) && !a.Swap(0, 5));
    EXPECT_EQ((std::vector<uint32_t>{4, 1, 2, 3, 0}), ids());
    // Delete moves the rest down; the old last slot keeps its contents.
    EXPECT_TRUE(a.DeleteAt(1));
    EXPECT_EQ((std::vector<uint32_t>{4, 2, 3, 0}), ids());
    EXPECT_EQ(0u, a.m_pBlock[0][4].dwID);
    EXPECT_TRUE(a.DeleteAt(3) && !a.DeleteAt(3));
    EXPECT_EQ((std::vector<uint32_t>{4, 2, 3}), ids());
}

}  // namespace
