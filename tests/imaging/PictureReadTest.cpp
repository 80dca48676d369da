// Picture reading: a PNG written here through the database to the host's bitmap, pixel for
// pixel; a picture smaller than the reader's buffer; damaged blocks and indexes with their exact
// results; the size answer of the SA/PA entry point.
#include <gtest/gtest.h>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include "BlockEncoders.h"
#include "GuidanceWriter.h"
#include "TempDir.h"
#include "foundation/Bytes.h"
#include "support/Settings.h"

namespace {

struct PictureReadTest : testsupport::SettingsTest {
    mapdb::TempDir db;
    void SetUp() override { settings_.Use(db.path()); }
};

// Six colours and their RGB565 values, worked by hand.
const unsigned char kRgb[6][3] = {{255, 0, 0},     {0, 255, 0}, {0, 0, 255},
                                  {255, 255, 255}, {8, 4, 8},   {200, 100, 50}};
const uint16_t k565[6] = {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x0821, 0xCB26};
size_t Colour(size_t x, size_t y) {
    return (x * 7 + y * 3 + x / 5) % 6;
}

// A typical 480 x 240 picture in a PNG, stored as a junction picture and as an SA/PA map, comes
// back top row first with every pixel as its hand-worked RGB565 value.
TEST_F(PictureReadTest, PngRoundTripsPixelForPixel) {
    const int w = 480, h = 240;
    std::vector<unsigned char> rgb;
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x)
            rgb.insert(rgb.end(), kRgb[Colour(x, y)], kRgb[Colour(x, y)] + 3);
    const std::string png = db / "picture.png";
    ASSERT_NE(0, stbi_write_png(png.c_str(), w, h, 3, rgb.data(), w * 3));
    mapdb::WriteGuidancePictures(db.path(), mapdb::GuidanceKind::kBranch, {{31, png, {}}});
    mapdb::WriteSapaMapPictures(db.path(), {{32, png, {}}});

    std::vector<unsigned char> branch(326466), sapa(375066);
    unsigned short bw = 0, bh = 0, sw = 0, sh = 0;
    unsigned long offset = 0, size = 0;
    char key[] = "000031", file[] = "BRANCH.IMG";
    ASSERT_EQ(1u, CSearchLBranchImageProc().SearchProc(key, &offset, &size));
    ASSERT_EQ(1u, CImageFileIO().ReadLBranchBMP(file, &offset, &size, &bw, &bh, branch.data()));
    ASSERT_EQ(1u, CImageData().GetImageSAPAMap(sapa.data(), &sw, &sh, 32));
    for (const auto* out : {&branch, &sapa}) {
        EXPECT_EQ(uint32_t(-h), bytes::ReadU32LE(out->data() + 22));
        size_t wrong = 0;
        for (size_t y = 0; y < h; ++y)
            for (size_t x = 0; x < w; ++x)
                wrong += bytes::ReadU16LE(out->data() + 66 + 2 * (y * w + x)) != k565[Colour(x, y)];
        EXPECT_EQ(0u, wrong);
    }
    EXPECT_EQ(std::vector<int>({w, h, w, h}), std::vector<int>({bw, bh, sw, sh}));
}

// A raw picture block: u16 width, u16 height, then `extra` bytes (pixels and beyond).
mapdb::Bytes Raw(uint16_t w, uint16_t h, size_t extra, uint8_t fill = 0x11) {
    mapdb::Bytes b = {uint8_t(w), uint8_t(w >> 8), uint8_t(h), uint8_t(h >> 8)};
    b.resize(4 + extra, fill);
    return b;
}

// ETC.IDX with one record for "000001" pointing at `block` in ETC.IMG (offset and size as
// given, defaults: the block itself).
void WriteEtc(const std::string& root, const mapdb::Bytes& block, int64_t offset = -1,
              int64_t size = -1) {
    mapdb::ByteWriter idx, img;
    idx.Zeros(16), idx.Str("000001");
    idx.U32(offset < 0 ? 0 : uint32_t(offset)),
        idx.U32(size < 0 ? uint32_t(block.size()) : uint32_t(size));
    img.Zeros(16), img.Raw(block);
    mapdb::MakeDirs(root + "/GUIDANCE");
    mapdb::WriteFile(root + "/GUIDANCE/ETC.IDX", idx.bytes());
    mapdb::WriteFile(root + "/GUIDANCE/ETC.IMG", img.bytes());
}

// "result width height file-size-field first-pixel out[78]" of the small reader; width and
// height start at 7 and the output at 0xAA, so untouched values show.
std::string ReadEtc() {
    unsigned long offset = 0, size = 0;
    char key[] = "000001", file[] = "ETC.IMG";
    if (!CSearchLEtcImageProc().SearchProc(key, &offset, &size)) return "miss";
    unsigned short w = 7, h = 7;
    std::vector<unsigned char> out(54066, 0xAA);
    const unsigned long r = CImageFileIO().ReadLEtcBMP(file, &offset, &size, &w, &h, out.data());
    char s[64];
    snprintf(s, sizeof(s), "%lu %u %u %u %04x %02x", r, w, h, bytes::ReadU32LE(&out[2]),
             bytes::ReadU16LE(&out[66]), out[78]);
    return s;
}

TEST_F(PictureReadTest, SmallPicturesAndDamagedBlocks) {
    const mapdb::Bytes small = mapdb::EncodeLzmaBlock(Raw(3, 2, 12 + 20));  // + bytes past it
    mapdb::Bytes garbage(40, 0x5A);
    garbage[0] = 0, bytes::PutU32LE(&garbage[6], 0);  // claims 0 decoded bytes
    struct Case {
        std::string what;
        mapdb::Bytes block;
        int64_t offset, size;
        std::string want;
    };
    const Case cases[] = {
        {"3 x 2 in the 27000-pixel reader", small, -1, -1, "1 3 2 78 1111 aa"},
        {"size past the end of the file", small, -1, 1 << 30, "1 3 2 78 1111 aa"},
        {"full buffer: 54013 decoded bytes", mapdb::EncodeLzmaBlock(Raw(100, 270, 54009)), -1, -1,
         "1 100 270 54066 1111 11"},
        {"54014 decoded bytes overrun the buffer", mapdb::EncodeLzmaBlock(Raw(1, 1, 54010)), -1, -1,
         "0 7 7 2863311530 aaaa aa"},
        {"200 x 200 claimed, 8 pixels given", mapdb::EncodeLzmaBlock(Raw(200, 200, 8)), -1, -1,
         "0 200 200 2863311530 aaaa aa"},
        {"no LZMA stream: a 0 x 0 picture", garbage, -1, -1, "1 0 0 66 aaaa aa"},
        {"offset at the end of the file", small, int64_t(small.size()), -1,
         "0 7 7 2863311530 aaaa aa"},
        {"size 0 reads to the end", small, -1, 0, "1 3 2 78 1111 aa"}};
    for (const Case& c : cases) {
        WriteEtc(db.path(), c.block, c.offset, c.size);
        EXPECT_EQ(c.want, ReadEtc()) << c.what;
    }
    unsigned short w = 0, h = 0;
    settings_.Use(db / "none");
    EXPECT_EQ(375066u, CImageData().GetImageSAPAMap(nullptr, &w, &h, 1));
}

}  // namespace
