// The engine on a real font: cell metrics, grey images checked against the engine's own
// single-threshold images, and the error codes of bad fonts, sizes and call orders.
#include <FontEngine.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "ByteWriter.h"

namespace {

// An engine over one font with the renderer's buffer sizes.
struct Engine {
    explicit Engine(std::vector<uint8_t> data) : bytes(std::move(data)) {
        font = {bytes.data(), static_cast<uint32_t>(bytes.size()), 1, &element};
        e = {&list, decode.data(), 8192, gscale.data(), 16384, nullptr};
    }
    ~Engine() { FaFinalize(&e); }
    std::vector<uint8_t> bytes, decode = std::vector<uint8_t>(8192),
                                gscale = std::vector<uint8_t>(16384), image = gscale;
    FA_FONT_ELEMENT element = {};
    FA_FONT font;
    FA_FONT_LIST list = {1, &font};
    FA_ENGINE e;
    FA_GLYPH_INFO info = {};
    // Renders `code` at `px` pixels; appends the image to `out` one level a pixel (padding too).
    int32_t Draw(uint16_t code, uint32_t px, std::array<uint8_t, 3> grey, std::vector<int>* out) {
        FA_GLYPH_REQUEST r = {code, 0, 1015, px, px, {}, 1, grey.data()};
        const int32_t ret = FaGetGlyphImage(&e, &r, &info, image.data());
        const size_t bytes = (info.dwBitmapWidth + 1) / 2 * size_t(info.lRegionHeight + 1);
        for (size_t i = 0; ret == FA_OK && out != nullptr && i < bytes; ++i)
            out->insert(out->end(), {image[i] >> 4, image[i] & 15});
        return ret;
    }
};
const char kFont[] = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";

TEST(FontEngine, CellsAndGreyLevelsOfRealGlyphs) {
    Engine eng(mapdb::ReadFile(kFont));
    ASSERT_EQ(FA_OK, FaInitialize(&eng.e, nullptr));
    for (uint16_t code : {u'あ', u'龍', u'A', u'g', u' '}) {
        SCOPED_TRACE(code);
        FA_GLYPH_INFO measured;
        const FA_GLYPH_REQUEST r = {code, 0, 1015, 24, 24, {}, 1, nullptr};
        ASSERT_EQ(FA_OK, FaGetRegionSize(&eng.e, &r, &measured));
        const int32_t advance = measured.lRegionWidth + 1;
        EXPECT_EQ(23, measured.lRegionHeight);  // every cell is the em tall
        EXPECT_TRUE(code > 0x3000 ? advance == 24 : advance > 3 && advance < 24) << advance;
        EXPECT_GE(measured.dwBitmapWidth, static_cast<uint32_t>(advance));

        // Each level is the number of thresholds the coverage reaches.
        std::vector<int> grey, sum, mono, all;
        ASSERT_EQ(FA_OK, eng.Draw(code, 24, {64, 128, 192}, &grey));
        EXPECT_EQ(0, memcmp(&measured, &eng.info, sizeof(measured)));  // measuring agrees
        sum.assign(grey.size(), 0);
        for (uint8_t t : {64, 128, 192}) {
            mono.clear();
            ASSERT_EQ(FA_OK, eng.Draw(code, 24, {t, t, t}, &mono));
            for (size_t i = 0; i < mono.size(); ++i)
                sum[i] += mono[i] == 3 ? 1 : mono[i] * 9;  // not 0/3: spoilt
        }
        EXPECT_EQ(sum, grey);
        int level[4] = {};
        for (int v : grey) ++level[v < 4 ? v : 0];
        EXPECT_EQ(code == u' ', level[1] + level[2] + level[3] == 0);
        // Levels of 0 pass every pixel of the cell; only the padding nibble stays 0.
        ASSERT_EQ(FA_OK, eng.Draw(code, 24, {0, 0, 0}, &all));
        const uint32_t w = eng.info.dwBitmapWidth, stride = (w + 1) / 2 * 2;
        for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(i % stride < w ? 3 : 0, all[i]) << i;
    }
}

TEST(FontEngine, ErrorsOfFontsSizesAndCallOrder) {
    Engine garbage(std::vector<uint8_t>(4096, 0x5A)), empty({}), good(mapdb::ReadFile(kFont));
    EXPECT_EQ(FA_ERR_FONT, FaInitialize(&garbage.e, nullptr));
    EXPECT_EQ(FA_ERR_STATE, garbage.Draw(u'あ', 24, {64, 128, 192}, nullptr));
    EXPECT_EQ(FA_ERR_STATE, FaFinalize(&garbage.e));
    EXPECT_EQ(FA_ERR_FONT, FaInitialize(&empty.e, nullptr));
    FA_CACHE_DESC noBuffer = {nullptr, 1024, 0, 0}, cache = {good.decode.data(), 1024, 3, 4};
    EXPECT_EQ(FA_ERR_ARGUMENT, FaInitialize(&good.e, &noBuffer));
    ASSERT_EQ(FA_OK, FaInitialize(&good.e, &cache));
    EXPECT_EQ(FA_ERR_STATE, FaInitialize(&good.e, nullptr));
    // The grey-scale buffer (16384 bytes) holds a 180-pixel cell (90 x 180), not a 181-pixel one.
    const std::pair<uint32_t, int32_t> sizes[] = {
        {0, FA_ERR_SIZE}, {1025, FA_ERR_SIZE}, {1, FA_OK}, {180, FA_OK}, {181, FA_ERR_IMAGE_SIZE}};
    for (const auto& [px, want] : sizes) EXPECT_EQ(want, good.Draw(u'あ', px, {1, 2, 3}, nullptr));
    const FA_GLYPH_REQUEST noLevels = {u'あ', 0, 0, 24, 24, {}, 1, nullptr};
    EXPECT_EQ(FA_ERR_ARGUMENT, FaGetGlyphImage(&good.e, &noLevels, &good.info, good.image.data()));
    EXPECT_EQ(FA_OK, FaFinalize(&good.e));
    EXPECT_EQ(FA_ERR_STATE, FaFinalize(&good.e));
}

}  // namespace
