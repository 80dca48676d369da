// The stored pictures end to end: the probe sequence of the closed-range index search worked by
// hand, every position of written indexes of every kind, cut indexes, the SD copy, seven-digit
// numbers, the writer's refusals, a PNG through the database to the host's bitmap pixel for
// pixel, and pictures smaller than the buffer or damaged, with their exact results.
#include <gmock/gmock.h>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include <filesystem>

#include "BlockEncoders.h"
#include "GuidanceWriter.h"
#include "TempDir.h"
#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "support/Settings.h"

namespace {

using mapdb::GuidanceKind;

std::string Key(uint32_t number) {
    char key[16];
    snprintf(key, sizeof(key), "%06u", number);
    return key;
}
mapdb::PictureSource Tiny(uint32_t number) {
    return {number, "", {1, 1, {uint16_t(number)}}};
}

// Entries hold 10 * i; each case lists the entries probed for the key, in order.
TEST(PictureIndexSearch, ProbesExactlyTheseEntries) {
    // clang-format off
    struct Case { uint64_t n; int key; bool found; std::vector<uint64_t> probes; };
    const Case cases[] = {
        {1, 0, true, {0}},         {1, -5, false, {0}},       {1, 5, false, {0}},
        {2, -5, false, {0, 0}},    {2, 15, false, {0, 1}},    {2, 10, true, {0, 1}},
        {3, -5, false, {1, 0}},    {3, 25, false, {1, 2}},    {4, 35, false, {1, 2, 3}},
        {6, -5, false, {2, 0, 0}}, {7, -5, false, {3, 1, 0}}, {0, 0, false, {}}};
    // clang-format on
    for (const Case& c : cases) {
        std::vector<uint64_t> probes;
        const auto r = index_search::FindClosed(c.n, [&](uint64_t i) {
            probes.push_back(i);
            return index_search::FromCompare(c.key - 10 * static_cast<int>(i));
        });
        EXPECT_EQ(c.found, r.found) << c.n << " " << c.key;
        EXPECT_EQ(c.probes, probes) << c.n << " " << c.key;
    }
}

// "0:offset:size" on a miss (both start at 7); on a hit "1:offset", then, when `file` is given,
// ":first pixel" of the picture read from it.
template <class Index>
std::string Look(const char* key, const char* file = nullptr) {
    unsigned long offset = 7, size = 7;
    if (!Index().SearchProc(const_cast<char*>(key), &offset, &size))
        return "0:" + std::to_string(offset) + ":" + std::to_string(size);
    if (file == nullptr) return "1:" + std::to_string(offset);
    unsigned short w = 0, h = 0;
    std::vector<unsigned char> out(54066);
    std::string name = std::string(file) + ".IMG", hit = "1:" + std::to_string(offset) + ":";
    CImageFileIO().ReadLEtcBMP(name.data(), &offset, &size, &w, &h, out.data());
    return hit + std::to_string(out[66] | out[67] << 8);
}

// clang-format off
const std::pair<GuidanceKind, std::string (*)(const char*, const char*)> kKinds[] = {
    {GuidanceKind::kInic, Look<CSearchLInicImageProc>}, {GuidanceKind::kBranch, Look<CSearchLBranchImageProc>},
    {GuidanceKind::kGrade, Look<CSearchLGradeImageProc>}, {GuidanceKind::kEtc, Look<CSearchLEtcImageProc>},
    {GuidanceKind::kEtc2, Look<CSearchLEtc2ImageProc>}, {GuidanceKind::kExit, Look<CSearchLExitImageProc>},
    {GuidanceKind::kRealcross, Look<CSearchLRealcrossImageProc>},
    {GuidanceKind::kProperJct, Look<CSearchLProperJCTImageProc>},
    {GuidanceKind::kEntrance, Look<CSearchLEntranceImageProc>}};
// clang-format on

struct PictureStoreTest : testsupport::SettingsTest {
    mapdb::TempDir db;
    void SetUp() override { settings_.Use(db.path()); }
};

// Kind k holds k + 1 pictures numbered 10, 20, ...; each is found and read, the first at offset
// 16 (stored 0); 0 and the numbers between and above them are not, outputs untouched.
TEST_F(PictureStoreTest, FindsEveryPositionOfEveryKind) {
    for (uint32_t k = 0; k < std::size(kKinds); ++k) {
        const auto& [kind, look] = kKinds[k];
        const char* word = mapdb::GuidanceKindWord(kind);
        std::vector<mapdb::PictureSource> pictures;
        for (uint32_t i = k + 1; i >= 1; --i) pictures.push_back(Tiny(10 * i));
        mapdb::WriteGuidancePictures(db.path(), kind, pictures);
        EXPECT_EQ("1:16:10", look("000010", word)) << word;
        for (uint32_t i = 0; i <= k + 1; ++i) {  // 0 and every picture, each with a gap above
            const std::string want = i == 0 ? "0:7:7" : ":" + std::to_string(10 * i);
            EXPECT_THAT(look(Key(10 * i).c_str(), word), testing::EndsWith(want)) << word << i;
            EXPECT_EQ("0:7:7", look(Key(10 * i + 5).c_str(), word)) << word << i;
        }
        EXPECT_EQ("0:7:7", look(nullptr, word));
    }
}

// An index of 16 + 14 * 2 + k bytes searches its two whole records; 16 bytes or fewer, none.
TEST_F(PictureStoreTest, CutIndexSearchesItsWholeRecords) {
    for (const auto& [cut, found] : std::vector<std::pair<size_t, std::string>>{
             {44, "110"}, {45, "110"}, {57, "110"}, {58, "111"}, {16, "000"}, {10, "000"}}) {
        mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kExit, {Tiny(1), Tiny(2), Tiny(3)});
        std::filesystem::resize_file(db / "GUIDANCE/EXIT.IDX", cut);
        std::string got;
        for (const char* key : {"000001", "000002", "000003"})
            got += Look<CSearchLExitImageProc>(key)[0];
        EXPECT_EQ(found, got) << cut;
    }
}

// SA/PA maps only under the SD path are read when the SD card is enabled; the database switch
// is not consulted for pictures. Only six characters of a key count: "1234567" and the number
// 1234567 find 123456.
TEST_F(PictureStoreTest, SdCopySwitchesAndSevenDigitNumbers) {
    mapdb::TempDir sd;
    mapdb::WriteSapaMapPictures(sd.path(), {Tiny(123455), Tiny(123456), Tiny(123457)});
    mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kEtc, {Tiny(43)});
    // clang-format off
    for (const auto& [dbOn, sdOn, sapa] : {std::tuple{true, true, "1"}, {true, false, "0"},
                                           {false, false, "0"}, {false, true, "1"}}) {
        // clang-format on
        settings_.Use(db.path(), sd.path(), dbOn, sdOn);
        std::vector<unsigned char> out(375066);
        unsigned short w = 0, h = 0;
        const unsigned long got = CImageData().GetImageSAPAMap(out.data(), &w, &h, 1234567);
        EXPECT_EQ(sapa, Look<CSearchSAPAMapImageProc>("1234567").substr(0, 1)) << dbOn << sdOn;
        EXPECT_EQ(sapa == std::string("1") ? 123456 & 0xFFFF : 0, got * (out[66] | out[67] << 8));
        EXPECT_EQ("1:16:43", Look<CSearchLEtcImageProc>("000043", "ETC")) << dbOn << sdOn;
    }
}

TEST_F(PictureStoreTest, WriterRefusesBadPictures) {
    const auto picture = [](uint16_t w, uint16_t h, size_t n) {
        return mapdb::PictureSource{8, "", {w, h, std::vector<uint16_t>(n)}};
    };
    // clang-format off
    const std::tuple<GuidanceKind, std::vector<mapdb::PictureSource>, std::string> refused[] = {
        {GuidanceKind::kBranch, {Tiny(1), Tiny(1000000)}, "picture 1 (number 1000000): number"},
        {GuidanceKind::kBranch, {Tiny(5), Tiny(5)}, "picture 1 (number 5): number: given twice"},
        {GuidanceKind::kBranch, {Tiny(1), picture(480, 341, 480 * 341)}, "picture 1 (number 000008): size"},
        {GuidanceKind::kEtc, {picture(200, 136, 200 * 136)}, "ETC.IMG picture 0 (number 000008): size"},
        {GuidanceKind::kEtc2, {Tiny(1), picture(2, 2, 3)}, "picture 1 (number 000008): pixels"},
        {GuidanceKind::kGrade, {picture(0, 5, 0)}, "picture 0 (number 000008): size"},
        {GuidanceKind::kExit, {{8, db / "none.png", {}}}, "picture 0 (number 000008): png: cannot read"}};
    // clang-format on
    for (const auto& [kind, pictures, what] : refused) {
        EXPECT_THAT([&] { mapdb::WriteGuidancePictures(db.path(), kind, pictures); },
                    testing::ThrowsMessage<mapdb::Error>(testing::HasSubstr(what)));
    }
    EXPECT_NO_THROW(mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kBranch,
                                                 {picture(480, 340, 480 * 340)}));
    EXPECT_NO_THROW(mapdb::WriteSapaMapPictures(db.path(), {picture(480, 341, 480 * 341)}));
}

// A 480 x 240 PNG of six colours, stored as a junction picture and as an SA/PA map, comes back
// top row first with every pixel as its hand-worked RGB565 value.
TEST_F(PictureStoreTest, PngRoundTripsPixelForPixel) {
    const unsigned char rgb[6][3] = {{255, 0, 0},     {0, 255, 0}, {0, 0, 255},
                                     {255, 255, 255}, {8, 4, 8},   {200, 100, 50}};
    const uint16_t rgb565[6] = {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x0821, 0xCB26};
    const auto colour = [](size_t x, size_t y) { return (x * 7 + y * 3 + x / 5) % 6; };
    const size_t w = 480, h = 240;
    std::vector<unsigned char> png;
    for (size_t p = 0; p < w * h; ++p)
        png.insert(png.end(), rgb[colour(p % w, p / w)], rgb[colour(p % w, p / w)] + 3);
    ASSERT_NE(0, stbi_write_png((db / "p.png").c_str(), w, h, 3, png.data(), w * 3));
    mapdb::WriteGuidancePictures(db.path(), mapdb::GuidanceKind::kBranch, {{31, db / "p.png", {}}});
    mapdb::WriteSapaMapPictures(db.path(), {{32, db / "p.png", {}}});

    std::vector<unsigned char> branch(326466), sapa(375066);
    unsigned short size[4] = {};
    unsigned long offset = 0, length = 0;
    char key[] = "000031", file[] = "BRANCH.IMG";
    ASSERT_EQ(1u, CSearchLBranchImageProc().SearchProc(key, &offset, &length));
    ASSERT_EQ(1u, CImageFileIO().ReadLBranchBMP(file, &offset, &length, &size[0], &size[1],
                                                branch.data()));
    ASSERT_EQ(1u, CImageData().GetImageSAPAMap(sapa.data(), &size[2], &size[3], 32));
    EXPECT_EQ(std::vector<unsigned short>({480, 240, 480, 240}),
              std::vector<unsigned short>(size, size + 4));
    for (const auto* out : {&branch, &sapa}) {
        EXPECT_EQ(uint32_t(-240), bytes::ReadU32LE(out->data() + 22));
        size_t wrong = 0;
        for (size_t p = 0; p < w * h; ++p)
            wrong += bytes::ReadU16LE(out->data() + 66 + 2 * p) != rgb565[colour(p % w, p / w)];
        EXPECT_EQ(0u, wrong);
    }
}

// Decoded pictures: u16 width, u16 height, then `extra` bytes of 0x11.
mapdb::Bytes Raw(uint16_t w, uint16_t h, size_t extra) {
    mapdb::Bytes b = {uint8_t(w), uint8_t(w >> 8), uint8_t(h), uint8_t(h >> 8)};
    b.resize(4 + extra, 0x11);
    return mapdb::EncodeLzmaBlock(b);
}

// ETC.IDX with one record "000001" {offset, size} into ETC.IMG holding `block`; read back as
// "result width height file-size-field first-pixel out[78]". Width and height start at 7 and
// the output at 0xAA, so untouched values show.
std::string ReadEtc(const std::string& root, const mapdb::Bytes& block, uint32_t offset,
                    uint32_t size) {
    mapdb::ByteWriter idx, img;
    idx.Zeros(16), idx.Str("000001"), idx.U32(offset), idx.U32(size), img.Zeros(16), img.Raw(block);
    mapdb::MakeDirs(root + "/GUIDANCE");
    mapdb::WriteFile(root + "/GUIDANCE/ETC.IDX", idx.bytes());
    mapdb::WriteFile(root + "/GUIDANCE/ETC.IMG", img.bytes());
    unsigned long o = 0, s = 0;
    char key[] = "000001", file[] = "ETC.IMG";
    if (!CSearchLEtcImageProc().SearchProc(key, &o, &s)) return "miss";
    unsigned short w = 7, h = 7;
    std::vector<unsigned char> out(54066, 0xAA);
    const unsigned long r = CImageFileIO().ReadLEtcBMP(file, &o, &s, &w, &h, out.data());
    char text[64];
    snprintf(text, sizeof(text), "%lu %u %u %u %04x %02x", r, w, h, bytes::ReadU32LE(&out[2]),
             bytes::ReadU16LE(&out[66]), out[78]);
    return text;
}

TEST_F(PictureStoreTest, SmallPicturesAndDamagedBlocks) {
    const mapdb::Bytes small = Raw(3, 2, 12 + 20);  // 20 bytes behind the picture
    mapdb::Bytes garbage(40, 0x5A);
    garbage[0] = 0, bytes::PutU32LE(&garbage[6], 0);  // claims 0 decoded bytes
    const uint32_t whole = small.size();
    // clang-format off
    const std::tuple<std::string, mapdb::Bytes, uint32_t, uint32_t, std::string> cases[] = {
        {"3 x 2 in the 27000-pixel reader", small, 0, whole, "1 3 2 78 1111 aa"},
        {"size past the end of the file", small, 0, 1u << 30, "1 3 2 78 1111 aa"},
        {"size 0 reads to the end", small, 0, 0, "1 3 2 78 1111 aa"},
        {"offset at the end of the file", small, whole, whole, "0 7 7 2863311530 aaaa aa"},
        {"54013 decoded bytes fill the buffer", Raw(100, 270, 54009), 0, 0, "1 100 270 54066 1111 11"},
        {"54014 decoded bytes overrun it", Raw(1, 1, 54010), 0, 0, "0 7 7 2863311530 aaaa aa"},
        {"200 x 200 claimed, 8 pixels given", Raw(200, 200, 8), 0, 0, "0 200 200 2863311530 aaaa aa"},
        {"no LZMA stream: a 0 x 0 picture", garbage, 0, 40, "1 0 0 66 aaaa aa"}};
    // clang-format on
    for (const auto& [what, block, offset, size, want] : cases)
        EXPECT_EQ(want, ReadEtc(db.path(), block, offset, size)) << what;
    unsigned short w = 0, h = 0;
    settings_.Use(db / "none");
    EXPECT_EQ(375066u, CImageData().GetImageSAPAMap(nullptr, &w, &h, 1));
}

}  // namespace
