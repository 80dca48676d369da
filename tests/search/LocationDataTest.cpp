// Location records and block arrays: CopyData's rules, array bounds and element moves.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SearchProc.h"
#include "search/ArrayData.h"

namespace {

CPoiData PositionedPoi() {
    CPoiData p;
    p.dwGenre1 = 1;
    p.dwGenre2 = 2;
    p.dwGenre3 = 3;
    p.dwGenre4 = 4;
    memcpy(p.szName, "A\0B\0\0", 5);
    p.dwTelNo = 312345678;
    p.lLon = 503161560;
    p.lLat = 128452320;
    p.lArrLon = 7;
    p.lArrLat = 8;
    p.dwAttr = 101;
    return p;
}

TEST(LocationData, FlushZeroesEveryField) {
    CLocationData r;
    memset(static_cast<void*>(&r), 0xAB, sizeof(r));
    r.FlushData();
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&r);
    for (size_t i = 0; i < offsetof(CLocationData, bDisable) + 1; ++i) {
        ASSERT_EQ(0, p[i]) << "byte " << i;
    }
}

TEST(LocationData, CopyDataRules) {
    struct Case {
        const char* what;
        uint32_t lon, lat;
        uint8_t disable;
        bool usable;
    };
    const Case cases[] = {
        {"positioned", 503161560, 128452320, 0, true},
        {"no longitude", 0, 128452320, 0, false},
        {"no latitude", 503161560, 0, 0, false},
        {"disabled", 503161560, 128452320, 1, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CPoiData poi = PositionedPoi();
        poi.lLon = c.lon;
        poi.lLat = c.lat;
        poi.bDisable = c.disable;
        CLocationData dst;
        memset(dst.szName, 'x', sizeof(dst.szName));
        dst.dwID = 11;
        dst.dwRsv = 12;
        dst.dwWork = 13;
        dst.dwTelAux = 14;
        dst.dwRefID = 15;
        dst.dwDistance = 16;
        dst.dwArrAttr = 17;
        EXPECT_EQ(c.usable, poi.CopyData(&dst));
        if (c.usable) {
            EXPECT_EQ(0, memcmp(dst.szName, "A\0B\0\0", 5));
            EXPECT_EQ('x', dst.szName[5]) << "only the string list is copied";
        } else {
            EXPECT_EQ(std::string(8, '\0'), std::string(dst.szName, 8));
            EXPECT_EQ('x', dst.szName[8]);
        }
        // Copied in either case.
        EXPECT_EQ(1u, dst.dwGenre1);
        EXPECT_EQ(4u, dst.dwGenre4);
        EXPECT_EQ(312345678u, dst.dwTelNo);
        EXPECT_EQ(c.lon, dst.lLon);
        EXPECT_EQ(c.lat, dst.lLat);
        EXPECT_EQ(7u, dst.lArrLon);
        EXPECT_EQ(8u, dst.lArrLat);
        EXPECT_EQ(c.disable, dst.bDisable);
        EXPECT_EQ(101u, dst.dwAttr);
        // Left as they were.
        EXPECT_EQ(11u, dst.dwID);
        EXPECT_EQ(12u, dst.dwRsv);
        EXPECT_EQ(13u, dst.dwWork);
        EXPECT_EQ(14u, dst.dwTelAux);
        EXPECT_EQ(15u, dst.dwRefID);
        EXPECT_EQ(16u, dst.dwDistance);
        EXPECT_EQ(17u, dst.dwArrAttr);
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
    CLocationData extra = Numbered(99);
    EXPECT_FALSE(a->Add(&extra)) << "the 65,537th Add fails";
    EXPECT_EQ(65536u, a->dwCount);
    EXPECT_EQ(65536u, a->dwCapacity);
    CLocationData out;
    ASSERT_TRUE(a->GetAt(&out, 65535));
    EXPECT_EQ(65535u, out.dwID);
    EXPECT_FALSE(a->GetAt(&out, 65536));
    EXPECT_FALSE(a->SetAt(65536, &extra)) << "no slot past the last block";
    delete a;
}

TEST(ArrayData, BoundsAndMoves) {
    CArrayData<CLocationData> a;
    CLocationData out;
    EXPECT_FALSE(a.GetAt(&out, 0)) << "empty";
    CLocationData r = Numbered(0);
    EXPECT_FALSE(a.SetAt(0, &r)) << "nothing allocated yet";
    for (uint32_t i = 0; i < 5; ++i) {
        r = Numbered(i);
        ASSERT_TRUE(a.Add(&r));
    }
    EXPECT_EQ(256u, a.dwCapacity);

    // One past the end is writable and leaves the count alone; GetAt there fails.
    r = Numbered(77);
    EXPECT_TRUE(a.SetAt(5, &r));
    EXPECT_EQ(5u, a.dwCount);
    EXPECT_FALSE(a.GetAt(&out, 5));
    EXPECT_FALSE(a.SetAt(6, &r));

    EXPECT_TRUE(a.Swap(0, 4));
    ASSERT_TRUE(a.GetAt(&out, 0));
    EXPECT_EQ(4u, out.dwID);
    ASSERT_TRUE(a.GetAt(&out, 4));
    EXPECT_EQ(0u, out.dwID);
    EXPECT_FALSE(a.Swap(0, 5));

    // Delete from the middle moves the rest down; the old last slot keeps its contents.
    EXPECT_TRUE(a.DeleteAt(1));
    EXPECT_EQ(4u, a.dwCount);
    const uint32_t expected[] = {4, 2, 3, 0};
    for (uint32_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(a.GetAt(&out, i));
        EXPECT_EQ(expected[i], out.dwID) << i;
    }
    EXPECT_EQ(0u, a.m_pBlock[0][4].dwID) << "slot 4 keeps what it held";
    EXPECT_TRUE(a.DeleteAt(3)) << "the last element only decrements the count";
    EXPECT_EQ(3u, a.dwCount);
    EXPECT_FALSE(a.DeleteAt(3));

    // Growing over a block boundary keeps earlier elements in place.
    CLocationData* first = &a.m_pBlock[0][0];
    for (uint32_t i = 0; i < 300; ++i) {
        r = Numbered(1000 + i);
        ASSERT_TRUE(a.Add(&r));
    }
    EXPECT_EQ(512u, a.dwCapacity);
    EXPECT_EQ(first, &a.m_pBlock[0][0]);
    ASSERT_TRUE(a.GetAt(&out, 3 + 299));
    EXPECT_EQ(1299u, out.dwID);
}

TEST(ArrayData, IconRowsAreReturnedInPlace) {
    CArrayData<CIconID::STRUCT_ICONID> a;
    EXPECT_EQ(nullptr, a.GetAt(0ul));
    CIconID::STRUCT_ICONID row{1, 2, 3, 0x1234};
    ASSERT_TRUE(a.Add(&row));
    CIconID::STRUCT_ICONID* p = a.GetAt(0ul);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(0x1234, p->wIconID);
    EXPECT_EQ(nullptr, a.GetAt(1ul));

    CArrayData<CAddressData> addresses;
    CAddressData item;
    EXPECT_EQ(0x3fffffffu, item.dwChildStart);
    ASSERT_TRUE(addresses.Add(&item));
    EXPECT_EQ(0x3fffffffu, addresses.m_pBlock[0][1].dwChildStart) << "constructed block";

    CArrayData<CHomePhoneOffsetData> hits;
    CHomePhoneOffsetData hit{5, 6};
    ASSERT_TRUE(hits.Add(&hit));
    EXPECT_EQ(0u, hits.m_pBlock[0][255].dwEntry) << "zero-filled block";
}

}  // namespace
