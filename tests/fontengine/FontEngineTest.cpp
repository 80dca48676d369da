// The engine on a real font: cell metrics, grey-level images checked against the engine's own
// single-threshold images, and the error codes of bad fonts, sizes and call orders.
#include <FontEngine.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "ByteWriter.h"

namespace {

const char kFont[] = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";

// An engine over one font with the renderer's buffer sizes.
struct Engine {
    explicit Engine(std::vector<uint8_t> data) : bytes(std::move(data)) {
        font.pData = bytes.data(), font.dwDataSize = static_cast<uint32_t>(bytes.size());
        font.dwElements = 1, font.pElements = &element;
        list.dwFonts = 1, list.pFonts = &font;
        e.pFontList = &list;
        e.pDecodeBuffer = decode.data(), e.dwDecodeSize = 8192;
        e.pGscaleBuffer = gscale.data(), e.dwGscaleSize = 16384;
    }
    ~Engine() {
        if (e.pState != nullptr) FaFinalize(&e);
    }
    std::vector<uint8_t> bytes, decode = std::vector<uint8_t>(8192),
                                gscale = std::vector<uint8_t>(16384);
    FA_FONT_ELEMENT element = {};
    FA_FONT font = {};
    FA_FONT_LIST list = {};
    FA_ENGINE e = {};
};

FA_GLYPH_REQUEST Req(uint32_t code, uint32_t px, const uint8_t* levels) {
    FA_GLYPH_REQUEST r = {};
    r.dwCode = code, r.dwStyle = 1015, r.dwWidth = px, r.dwHeight = px, r.dwFlags = 1;
    r.pGreyLevels = levels;
    return r;
}

// The image of `code` as one level (0-15) per pixel, from the packed nibbles.
std::vector<int> Pixels(Engine& eng, uint32_t code, std::array<uint8_t, 3> levels,
                        FA_GLYPH_INFO* info, uint32_t px = 24) {
    std::vector<uint8_t> image(16384, 0xEE);
    const FA_GLYPH_REQUEST r = Req(code, px, levels.data());
    EXPECT_EQ(FA_OK, FaGetGlyphImage(&eng.e, &r, info, image.data()));
    const uint32_t w = info->dwBitmapWidth, rowBytes = (w + 1) / 2;
    std::vector<int> out;
    for (int32_t y = 0; y <= info->lRegionHeight; ++y)
        for (uint32_t x = 0; x < rowBytes * 2; ++x) {
            const uint8_t b = image[y * rowBytes + x / 2];
            out.push_back(x % 2 == 0 ? b >> 4 : b & 15);
        }
    return out;
}

struct Started : ::testing::Test {
    void SetUp() override { ASSERT_EQ(FA_OK, FaInitialize(&eng.e, nullptr)); }
    Engine eng{mapdb::ReadFile(kFont)};
};

TEST_F(Started, CellsOfFullAndHalfWidthCharacters) {
    const struct {
        uint16_t code;
        bool fullWidth;
    } cases[] = {{0x3042, true}, {0x6F22, true}, {0x30A2, true},
                 {'A', false},   {'1', false},   {' ', false}};
    const uint8_t levels[3] = {64, 128, 192};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        FA_GLYPH_INFO info, drawn;
        const FA_GLYPH_REQUEST r = Req(c.code, 24, levels);
        ASSERT_EQ(FA_OK, FaGetRegionSize(&eng.e, &r, &info));
        EXPECT_EQ(23, info.lRegionHeight);  // every cell is the em tall
        if (c.fullWidth) {
            EXPECT_EQ(23, info.lRegionWidth);
        } else {
            EXPECT_LT(3, info.lRegionWidth + 1);
            EXPECT_GT(23, info.lRegionWidth);
        }
        EXPECT_GE(info.dwBitmapWidth, static_cast<uint32_t>(info.lRegionWidth + 1));
        EXPECT_TRUE(info.lBaseline > 12 && info.lBaseline < 24) << info.lBaseline;
        std::vector<uint8_t> image(16384);
        ASSERT_EQ(FA_OK, FaGetGlyphImage(&eng.e, &r, &drawn, image.data()));
        EXPECT_EQ(0, memcmp(&info, &drawn, sizeof(info)));  // measuring agrees with drawing
    }
}

TEST_F(Started, GreyLevelsAreTheSumOfThreeThresholds) {
    for (uint16_t code : {0x3042, 0x9F8D, 0x67}) {
        SCOPED_TRACE(code);
        FA_GLYPH_INFO info;
        const std::vector<int> grey = Pixels(eng, code, {64, 128, 192}, &info);
        std::vector<int> sum(grey.size(), 0);
        for (uint8_t t : {64, 128, 192}) {
            const std::vector<int> mono = Pixels(eng, code, {t, t, t}, &info);
            for (size_t i = 0; i < mono.size(); ++i) {
                ASSERT_TRUE(mono[i] == 0 || mono[i] == 3) << i;
                sum[i] += mono[i] / 3;
            }
        }
        EXPECT_EQ(sum, grey);
        int level[4] = {};
        for (int v : grey) ++level[v];  // out of range would overrun the 4 counters
        EXPECT_GT(level[3], 20);
        EXPECT_GT(level[1] + level[2], 0);
        // Levels of 0 pass every pixel of the cell, and only the padding nibble stays 0.
        const std::vector<int> all = Pixels(eng, code, {0, 0, 0}, &info);
        const uint32_t w = info.dwBitmapWidth, stride = (w + 1) / 2 * 2;
        for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(i % stride < w ? 3 : 0, all[i]) << i;
    }
}

TEST(FontEngine, ErrorsOfFontsSizesAndCallOrder) {
    const uint8_t levels[3] = {64, 128, 192};
    FA_GLYPH_INFO info;
    std::vector<uint8_t> image(16384);

    Engine garbage(std::vector<uint8_t>(4096, 0x5A));
    EXPECT_EQ(FA_ERR_FONT, FaInitialize(&garbage.e, nullptr));
    const FA_GLYPH_REQUEST a = Req(0x3042, 24, levels);
    EXPECT_EQ(FA_ERR_STATE, FaGetRegionSize(&garbage.e, &a, &info));
    EXPECT_EQ(FA_ERR_STATE, FaFinalize(&garbage.e));

    Engine empty({});
    EXPECT_EQ(FA_ERR_FONT, FaInitialize(&empty.e, nullptr));

    Engine good(mapdb::ReadFile(kFont));
    good.e.pGscaleBuffer = nullptr;
    EXPECT_EQ(FA_ERR_ARGUMENT, FaInitialize(&good.e, nullptr));
    good.e.pGscaleBuffer = good.gscale.data();
    FA_CACHE_DESC noBuffer = {nullptr, 1024, 0, 0};
    EXPECT_EQ(FA_ERR_ARGUMENT, FaInitialize(&good.e, &noBuffer));
    FA_CACHE_DESC cache = {good.decode.data(), 1024, 3, 4};
    ASSERT_EQ(FA_OK, FaInitialize(&good.e, &cache));
    EXPECT_EQ(FA_ERR_STATE, FaInitialize(&good.e, nullptr));

    const struct {
        uint32_t px;
        bool image;
        int32_t want;
    } sizes[] = {{0, false, FA_ERR_SIZE}, {1025, false, FA_ERR_SIZE},     {1, true, FA_OK},
                 {180, true, FA_OK},      {181, true, FA_ERR_IMAGE_SIZE}, {400, false, FA_OK}};
    for (const auto& s : sizes) {
        SCOPED_TRACE(s.px);
        const FA_GLYPH_REQUEST r = Req(0x3042, s.px, levels);
        EXPECT_EQ(s.want, s.image ? FaGetGlyphImage(&good.e, &r, &info, image.data())
                                  : FaGetRegionSize(&good.e, &r, &info));
    }
    const FA_GLYPH_REQUEST noLevels = Req(0x3042, 24, nullptr);
    EXPECT_EQ(FA_ERR_ARGUMENT, FaGetGlyphImage(&good.e, &noLevels, &info, image.data()));
    EXPECT_EQ(FA_OK, FaFinalize(&good.e));
    EXPECT_EQ(FA_ERR_STATE, FaFinalize(&good.e));
}

}  // namespace
