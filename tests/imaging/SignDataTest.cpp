// Sign posts built from a database written by mapdb with a real font: base pictures and arrows
// by type and direction, the magenta transparency, names per sign type with the arrowed one
// highlighted, the last sign read to the end of its file, unknown and damaged signs.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "FontWriter.h"
#include "SignWriter.h"
#include "TempDir.h"
#include "foundation/Bytes.h"
#include "support/Settings.h"

namespace {

constexpr uint16_t kBase = 0x0841, kSolid = 0xF81E, kClear = 0xF81F;
const std::set<uint16_t> kHighlight = {0x07FF, 829, 1438}, kOther = {0xFFFF, 21309, 44446};

mapdb::Rgb565Picture Filled(uint16_t w, uint16_t h, uint16_t colour) {
    return {w, h, std::vector<uint16_t>(size_t{w} * h, colour)};
}

struct Sign {
    unsigned long result;
    unsigned short w = 0, h = 0;
    std::vector<uint16_t> px;
    uint16_t At(int x, int y) const { return px[size_t(y) * w + x]; }
    // Colours found in columns [x0, x1) other than the base and the arrow.
    std::set<uint16_t> Ink(int x0, int x1) const {
        std::set<uint16_t> ink;
        for (int y = 0; y < h; ++y)
            for (int x = x0; x < x1; ++x)
                if (At(x, y) != kBase && At(x, y) != kSolid) ink.insert(At(x, y));
        return ink;
    }
};

struct SignData : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        mapdb::WriteFont(db_.path(), "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf");
        mapdb::Rgb565Picture arrow = Filled(400, 200, kClear);
        for (int x = 0; x < 10; ++x) arrow.pixels[199 * 400 + x] = kSolid;  // bottom-left corner
        mapdb::WriteSignposts(db_.path(),
                              {{1, 2, {"新宿", "渋谷", "池袋"}},
                               {2, 4, {"横浜", "川崎", "品川"}},  // type 4 draws two names
                               {5, 2, {"", "上野"}}},
                              {{2, {{1, 2}, {3, 4}}, "", Filled(400, 200, kBase)},
                               {4, {}, "", Filled(400, 200, kBase)}},
                              {{2, 1, "", arrow}, {2, 3, "", arrow}});
    }
    void SetUp() override { settings_.Use(db_.path()); }
    Sign Search(unsigned long number, unsigned char direction) {
        Sign s;
        std::vector<unsigned char> out(CSearchSignData::kBitmapSize);
        s.result = proc_.SearchSignData(out.data(), &s.w, &s.h, number, direction);
        for (size_t i = 66; s.result && i + 1 < size_t{s.w} * s.h * 2 + 66; i += 2) {
            s.px.push_back(bytes::ReadU16LE(&out[i]));
        }
        return s;
    }
    static inline mapdb::TempDir db_;
    CSearchSignData proc_;
};

TEST_F(SignData, PicturesArrowsAndHighlightedNames) {
    CSignPict pict;
    ASSERT_EQ(1u, proc_.GetSignPict(&pict, 2));
    EXPECT_EQ(400, pict.m_wWidth);
    EXPECT_EQ(2, pict.m_byPointCount);
    EXPECT_EQ(4, pict.m_pwPoints[3]);
    CSignArrow arrow;
    EXPECT_EQ(1u, proc_.GetSignArrow(&arrow, 2, 3));
    for (auto [type, dir] : {std::pair{3, 1}, {2, 2}, {0, 1}, {8, 1}, {2, 4}}) {
        EXPECT_EQ(0u, proc_.GetSignArrow(&arrow, type, dir)) << type << "/" << dir;
        if (dir == 1) {
            EXPECT_EQ(0u, proc_.GetSignPict(&pict, type)) << type;
        }
    }

    const Sign s = Search(1, 3);  // type 2: centred at 200, right-aligned to 380, from 20
    ASSERT_EQ(1u, s.result);
    EXPECT_EQ(400, s.w);
    EXPECT_EQ(kSolid, s.At(0, 199));  // the arrow's solid pixels, its magenta leaves the base
    EXPECT_EQ(kBase, s.At(10, 199));
    EXPECT_EQ(kHighlight, s.Ink(0, 120));  // index 2, the arrowed direction
    EXPECT_EQ(kOther, s.Ink(260, 400));    // index 1
    const Sign d2 = Search(1, 2);          // no arrow for direction 2: the bare base
    EXPECT_EQ(kBase, d2.At(0, 199));
    EXPECT_EQ(kHighlight, d2.Ink(260, 400));
    EXPECT_EQ(kOther, d2.Ink(0, 120));
    // Type 4: the third name (anchor 0, 0 of the table) is not drawn.
    const Sign t4 = Search(2, 1);
    ASSERT_EQ(1u, t4.result);
    EXPECT_TRUE(t4.Ink(0, 16).empty());
    EXPECT_FALSE(t4.Ink(20, 120).empty());
    // The last sign reads to the end of SIGNDATA.DAT; its empty first name is skipped.
    EXPECT_EQ(1u, Search(5, 1).result);
    EXPECT_TRUE(Search(5, 1).Ink(120, 260).empty());
}

TEST_F(SignData, UnknownAndDamagedSigns) {
    for (unsigned long number : {0ul, 3ul, 4ul, 6ul, ~0ul}) {
        EXPECT_EQ(0u, Search(number, 1).result) << number;
    }
    const std::string dat = db_ / "SIGNPOST/SIGNDATA.DAT";
    const mapdb::Bytes original = mapdb::ReadFile(dat);
    mapdb::Bytes damaged = original;
    damaged[17] = 4;  // sign 1 claims four names
    mapdb::WriteFile(dat, damaged);
    EXPECT_EQ(0u, Search(1, 1).result);
    damaged = original;
    damaged.resize(18);  // sign 1 cut inside its first name
    mapdb::WriteFile(dat, damaged);
    EXPECT_EQ(0u, Search(1, 1).result);
    mapdb::WriteFile(dat, original);
    EXPECT_EQ(1u, Search(1, 1).result);

    mapdb::TempDir other;
    EXPECT_THROW(mapdb::WriteSignposts(other.path(), {{1, 8, {}}}, {}, {}), mapdb::Error);
    EXPECT_THROW(
        mapdb::WriteSignposts(other.path(),
                              {{1, 2, {std::string(21, 'a') + "東京東京東京東京東京"}}}, {}, {}),
        mapdb::Error);
    EXPECT_THROW(mapdb::WriteSignposts(other.path(), {}, {{2, {}, "", Filled(4, 4, 0)}},
                                       {{2, 1, "", Filled(4, 5, 0)}}),
                 mapdb::Error);
}

}  // namespace
