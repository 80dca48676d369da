// Bitmap helpers against hand-worked bitmaps: the pitch rule, the RGB565 header byte by byte,
// the vertical flip and the 24-bit conversion with and without row padding, pixel extraction.
#include <gtest/gtest.h>

#include <vector>

#include "SearchProc.h"
#include "foundation/Bytes.h"

namespace {

using Buffer = std::vector<unsigned char>;

uint32_t Field(const unsigned char* p, size_t at, size_t size) {
    return size == 2 ? bytes::ReadU16LE(p + at) : bytes::ReadU32LE(p + at);
}

// A bottom-up bitmap without masks: headers, then `pixels` (rows with their padding) at 54.
Buffer Bitmap(int32_t width, int32_t height, uint16_t bits, const Buffer& pixels) {
    Buffer b(54 + pixels.size(), 0);
    b[0] = 'B', b[1] = 'M';
    bytes::PutU32LE(&b[2], static_cast<uint32_t>(54 + pixels.size()));
    bytes::PutU32LE(&b[10], 54), bytes::PutU32LE(&b[14], 40);
    bytes::PutU32LE(&b[18], width), bytes::PutU32LE(&b[22], height);
    bytes::PutU16LE(&b[26], 1), bytes::PutU16LE(&b[28], bits);
    bytes::PutU32LE(&b[38], 2835), bytes::PutU32LE(&b[46], 9);  // resolution, colours used
    for (size_t i = 0; i < pixels.size(); ++i) b[54 + i] = pixels[i];
    return b;
}

TEST(ImageConv, PitchRoundsRowsUpToFourBytes) {
    const unsigned long cases[][3] = {{24, 3, 12}, {24, 5, 16}, {1, 9, 4},  {16, 2, 4}, {4, 9, 8},
                                      {8, 5, 8},   {32, 1, 4},  {1, 33, 8}, {24, 0, 0}, {0, 7, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(c[2], CImageConvProc().CalcPitch(static_cast<unsigned short>(c[0]), c[1]))
            << c[0] << " bits, width " << c[1];
    }
}

// Width 3, height 2: 78 bytes, rows unpadded, planes 0, height negative only for flag 1.
TEST(ImageConv, Rgb565HeaderByteByByte) {
    const Buffer pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (unsigned char flag : {0, 1, 2}) {
        Buffer out(80, 0xAA);
        ASSERT_EQ(1u, CImageConvProc().MakeBitmapRGB565WithHeader(
                          out.data(), 3, 2, const_cast<unsigned char*>(pixels.data()), flag));
        const uint32_t fields[][3] = {
            {0, 2, 19778},   {2, 4, 78},      {6, 4, 0},
            {10, 4, 66},     {14, 4, 40},     {18, 4, 3},
            {26, 2, 0},      {28, 2, 16},     {30, 4, 3},
            {34, 4, 12},     {38, 4, 0},      {42, 4, 0},
            {46, 4, 0},      {50, 4, 0},      {54, 4, 0xF800},
            {58, 4, 0x07E0}, {62, 4, 0x001F}, {22, 4, flag == 1 ? 0xFFFFFFFEu : 2u}};
        for (const auto& f : fields) EXPECT_EQ(f[2], Field(out.data(), f[0], f[1])) << f[0];
        EXPECT_EQ(pixels, Buffer(out.begin() + 66, out.begin() + 78));
        EXPECT_EQ(0xAA, out[78]);
    }
    unsigned char px[4] = {};
    EXPECT_EQ(0u, CImageConvProc().MakeBitmapRGB565WithHeader(nullptr, 1, 1, px, 1));
    EXPECT_EQ(0u, CImageConvProc().MakeBitmapRGB565WithHeader(px, 1, 1, nullptr, 1));
}

// Rows of 6 bytes padded to 8 and rows of 4 bytes unpadded; one row is copied once.
TEST(ImageConv, FlipReversesRowsAndKeepsHeaders) {
    struct Case {
        int32_t width, height;
        uint16_t bits;
        Buffer rows, flipped;
    };
    const Case cases[] = {
        {2,
         3,
         24,
         {1, 1, 1, 1, 1, 1, 9, 9, 2, 2, 2, 2, 2, 2, 8, 8, 3, 3, 3, 3, 3, 3, 7, 7},
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

// Blue, green, red bytes to RGB565; padding bytes (0xEE) skipped after each padded row.
TEST(ImageConv, Converts24BitWithAndWithoutRowPadding) {
    struct Case {
        int32_t width, height;
        Buffer rows;
        std::vector<uint16_t> pixels;
    };
    const Case cases[] = {
        {3,
         2,
         {0,   0,   255, 0, 255, 0, 255, 0, 0, 0xEE, 0xEE, 0xEE,
          255, 255, 255, 8, 4,   8, 7,   3, 7, 0xEE, 0xEE, 0xEE},
         {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x0821, 0x0000}},
        {4, 1, {0, 0, 255, 0, 0, 255, 16, 32, 64, 1, 2, 3}, {0xF800, 0xF800, 0x4102, 0x0000}}};
    for (const Case& c : cases) {
        Buffer in = Bitmap(c.width, c.height, 24, c.rows);
        unsigned char* out = nullptr;
        const unsigned long size = 66 + 2 * c.pixels.size();
        ASSERT_EQ(size, CImageConvProc().BitmapRGB888to565(&out, in.data()));
        const uint32_t fields[][3] = {{2, 4, static_cast<uint32_t>(size)},
                                      {10, 4, 66},
                                      {14, 4, 40},
                                      {22, 4, static_cast<uint32_t>(c.height)},
                                      {26, 2, 1},
                                      {28, 2, 16},
                                      {30, 4, 3},
                                      {34, 4, static_cast<uint32_t>(size - 66)},
                                      {38, 4, 2835},
                                      {46, 4, 0},
                                      {54, 4, 0xF800},
                                      {58, 4, 0x07E0},
                                      {62, 4, 0x001F}};
        for (const auto& f : fields) EXPECT_EQ(f[2], Field(out, f[0], f[1])) << f[0];
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
