// The glyph blitters on a 6 x 4 picture: where each nibble or bit pair lands, which values leave
// the picture alone, row byte counts of odd widths, and positions that wrap or run off the end.
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "imaging/StrBlit.h"

namespace {

constexpr uint16_t kBack = 0xAAAA, kInk = 0xF800, kMid1 = 0x0011, kMid2 = 0x0022;

TEST(StrBlit, GlyphPixelsLandOnTheirTargets) {
    const struct {
        const char* name;
        bool twoBit;
        std::vector<uint8_t> glyph;
        unsigned long glyphWidth, rows, x, y;
        std::map<int, uint16_t> changed;  // pixel index -> value
    } cases[] = {
        {"0x31: ink then mid 1", false, {0x31}, 2, 1, 1, 1, {{7, kInk}, {8, kMid1}}},
        {"0, 7 and 15 leave the pixel", false, {0x70, 0xF0}, 2, 2, 0, 0, {}},
        {"no rows", false, {0x33}, 2, 0, 0, 0, {}},
        {"odd width: 2 bytes a row, padding unused",
         false,
         {0x33, 0x33, 0x12, 0x03},
         3,
         2,
         2,
         1,
         {{8, kInk}, {9, kInk}, {10, kInk}, {14, kMid1}, {15, kMid2}}},
        {"2-bit: any value is ink, 2 bytes for 5 columns",
         true,
         {0xC6, 0x7F, 0x00, 0x40},
         5,
         2,
         1,
         2,
         {{13, kInk}, {15, kInk}, {16, kInk}, {17, kInk}, {23, kInk}}},
        {"2-bit: 1 byte for 4 columns", true, {0x03, 0xC0}, 4, 2, 0, 0, {{3, kInk}, {6, kInk}}},
        {"past the right edge: the next row", false, {0x33}, 2, 1, 5, 0, {{5, kInk}, {6, kInk}}},
        {"left of column 0: the row above, nothing before the picture",
         false,
         {0x33, 0x33},
         2,
         2,
         0xFFFFFFFFul,
         0,
         {{0, kInk}, {5, kInk}, {6, kInk}}},
        {"past the last pixel: dropped", true, {0xF0, 0xF0}, 4, 2, 4, 3, {{22, kInk}, {23, kInk}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint16_t> want(24, kBack), pic = want;  // exact size: strays show in ASan
        for (const auto& [at, v] : c.changed) want[at] = v;
        std::vector<uint8_t> glyph = c.glyph;
        unsigned char* image = reinterpret_cast<unsigned char*>(pic.data());
        if (c.twoBit)
            CStrBlit::StrBlit(image, 6, 4, glyph.data(), c.glyphWidth, c.rows, c.x, c.y, kInk);
        else
            CStrBlit::StrBlit4GScale(image, 6, 4, glyph.data(), c.glyphWidth, c.rows, c.x, c.y,
                                     kInk, NDB_STRING_MIDCOLOR{kMid1, kMid2});
        EXPECT_EQ(want, pic);
    }
}

}  // namespace
