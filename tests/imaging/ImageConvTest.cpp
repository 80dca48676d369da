// Bitmap helpers against hand-worked bitmaps: the pitch rule, the RGB565 header byte by byte,
// the vertical flip and the 24-bit conversion with and without row padding, pixel extraction.
#include <gtest/gtest.h>

#include <vector>

#include "SearchProc.h"
#include "foundation/Bytes.h"

namespace {

using Buffer = std::vector<unsigned char>;

// Checks {offset, width, value} fields of a bitmap.
void ExpectFields(const unsigned char* p, std::vector<std::array<uint32_t, 3>> fields) {
    for (const auto& [at, size, value] : fields)
        EXPECT_EQ(value, size == 2 ? bytes::ReadU16LE(p + at) : bytes::ReadU32LE(p + at)) << at;
}

// A bottom-up bitmap without masks: planes 1, resolution 2835, 9 colours, `rows` from byte 54.
Buffer Bitmap(int32_t width, int32_t height, uint16_t bits, const Buffer& rows) {
    Buffer b(54 + rows.size(), 0);
    b[0] = 'B', b[1] = 'M', b[10] = 54, b[14] = 40, b[26] = 1, b[46] = 9;
    bytes::PutU32LE(&b[2], static_cast<uint32_t>(b.size())), bytes::PutU32LE(&b[38], 2835);
    bytes::PutU32LE(&b[18], width), bytes::PutU32LE(&b[22], height), bytes::PutU16LE(&b[28], bits);
    for (size_t i = 0; i < rows.size(); ++i) b[54 + i] = rows[i];
    return b;
}

TEST(ImageConv, PitchRoundsRowsUpToFourBytes) {
    const unsigned long cases[][3] = {{24, 3, 12}, {24, 5, 16}, {1, 9, 4},  {16, 2, 4}, {4, 9, 8},
                                      {8, 5, 8},   {32, 1, 4},  {1, 33, 8}, {24, 0, 0}, {0, 7, 0}};
    for (const auto& [bits, width, pitch] : cases)
        EXPECT_EQ(pitch, CImageConvProc().CalcPitch(bits, width)) << bits << " bits x " << width;
}

// Width 3, height 2: 78 bytes, rows unpadded, planes 0, height negative only for flag 1.
TEST(ImageConv, Rgb565HeaderByteByByte) {
    Buffer pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (unsigned char flag : {0, 1, 2}) {
        Buffer out(80, 0xAA);
        ASSERT_EQ(1u, CImageConvProc().MakeBitmapRGB565WithHeader(out.data(), 3, 2, pixels.data(), flag));
        // clang-format off
        ExpectFields(out.data(), {{0, 2, 19778}, {2, 4, 78}, {6, 4, 0}, {10, 4, 66}, {14, 4, 40},
            {18, 4, 3}, {22, 4, flag == 1 ? 0xFFFFFFFEu : 2u}, {26, 2, 0}, {28, 2, 16}, {30, 4, 3},
            {34, 4, 12}, {38, 4, 0}, {42, 4, 0}, {46, 4, 0}, {50, 4, 0}, {54, 4, 0xF800},
            {58, 4, 0x07E0}, {62, 4, 0x001F}});
        // clang-format on
        EXPECT_EQ(pixels, Buffer(out.begin() + 66, out.begin() + 78));
        EXPECT_EQ(0xAA, out[78]);
    }
    EXPECT_EQ(0u, CImageConvProc().MakeBitmapRGB565WithHeader(nullptr, 1, 1, pixels.data(), 1));
    EXPECT_EQ(0u, CImageConvProc().MakeBitmapRGB565WithHeader(pixels.data(), 1, 1, nullptr, 1));
}

// Rows of 6 bytes padded to 8, rows of 4 bytes unpadded; one row is copied once.
TEST(ImageConv, FlipReversesRowsAndKeepsHeaders) {
    struct Case { int32_t width, height; uint16_t bits; Buffer rows, flipped; };
    const Case cases[] = {
        {2, 3, 24, {1, 1, 1, 1, 1, 1, 9, 9, 2, 2, 2, 2, 2, 2, 8, 8, 3, 3, 3, 3, 3, 3, 7, 7},
         {3, 3, 3, 3, 3, 3, 7, 7, 2, 2, 2, 2, 2, 2, 8, 8, 1, 1, 1, 1, 1, 1, 9, 9}},
        {2, 2, 16, {1, 2, 3, 4, 5, 6, 7, 8}, {5, 6, 7, 8, 1, 2, 3, 4}},
        {1, 1, 32, {1, 2, 3, 4}, {1, 2, 3, 4}}};
    for (const Case& c : cases) {
        Buffer in = Bitmap(c.width, c.height, c.bits, c.rows);
        unsigned char* out = nullptr;
        ASSERT_EQ(in.size(), CImageConvProc().BitmapRotateFlipVertical(&out, in.data()));
        EXPECT_EQ(Buffer(in.begin(), in.begin() + 54), Buffer(out, out + 54));
        EXPECT_EQ(c.flipped, Buffer(out + 54, out + in.size()));
        EXPECT_EQ(0u, CImageConvProc().BitmapRotateFlipVertical(&out, in.data()));  // out taken
        delete[] out;
    }
}

// Blue, green, red bytes to RGB565; the padding bytes (0xEE) after each 9-byte row skipped.
TEST(ImageConv, Converts24BitWithAndWithoutRowPadding) {
    struct Case { int32_t width, height; Buffer rows; std::vector<uint16_t> pixels; };
    const Case cases[] = {
        {3, 2, {0, 0, 255, 0, 255, 0, 255, 0, 0, 0xEE, 0xEE, 0xEE,
                255, 255, 255, 8, 4, 8, 7, 3, 7, 0xEE, 0xEE, 0xEE},
         {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x0821, 0x0000}},
        {4, 1, {0, 0, 255, 0, 0, 255, 16, 32, 64, 1, 2, 3}, {0xF800, 0xF800, 0x4102, 0x0000}}};
    for (const Case& c : cases) {
        Buffer in = Bitmap(c.width, c.height, 24, c.rows);
        unsigned char* out = nullptr;
        const uint32_t size = 66 + 2 * c.pixels.size();
        ASSERT_EQ(size, CImageConvProc().BitmapRGB888to565(&out, in.data()));
        // clang-format off
        ExpectFields(out, {{2, 4, size}, {10, 4, 66}, {14, 4, 40}, {22, 4, uint32_t(c.height)},
            {26, 2, 1}, {28, 2, 16}, {30, 4, 3}, {34, 4, size - 66}, {38, 4, 2835}, {46, 4, 0},
            {54, 4, 0xF800}, {58, 4, 0x07E0}, {62, 4, 0x001F}});
        // clang-format on
        for (size_t k = 0; k < c.pixels.size(); ++k)
            EXPECT_EQ(c.pixels[k], bytes::ReadU16LE(out + 66 + 2 * k)) << k;
        unsigned char* pixels = nullptr;
        ASSERT_EQ(size - 66, CImageConvProc().ExtractPixelDataRGB565(&pixels, out));
        EXPECT_EQ(Buffer(out + 66, out + size), Buffer(pixels, pixels + size - 66));
        EXPECT_EQ(0u, CImageConvProc().ExtractPixelDataRGB565(&pixels, out));
        EXPECT_EQ(0u, CImageConvProc().BitmapRGB888to565(&pixels, in.data()));
        delete[] pixels;
        delete[] out;
    }
}

}  // namespace
