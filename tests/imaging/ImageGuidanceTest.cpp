// Guidance picture assembly on a database written by mapdb: the buffer size of every kind,
// every served kind read by its six-digit key, exit and entrance names from the string
// database (found, missing, and a renderer that cannot start), and golden pictures of complete
// exit, entrance and sign-post pictures compared with a small tolerance.
// SEARCHPROC_UPDATE_GOLDEN=1 rewrites the golden files after an intended change of drawing.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include "FontWriter.h"
#include "GuidanceWriter.h"
#include "SignWriter.h"
#include "StringWriter.h"
#include "TempDir.h"
#include "foundation/Bytes.h"
#include "platform/Log.h"
#include "support/Settings.h"

namespace {

const std::string kFont = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";
std::vector<std::string> g_lines;

mapdb::Rgb565Picture Gradient(uint16_t w, uint16_t h, uint16_t seed) {
    mapdb::Rgb565Picture p{w, h, {}};
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            p.pixels.push_back(
                static_cast<uint16_t>((x * 31 / w) << 11 | (y * 63 / h) << 5 | seed));
    return p;
}

struct Picture {
    unsigned long result = 0;
    unsigned short w = 0, h = 0;
    std::vector<uint16_t> px;
};

struct ImageGuidance : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        const std::string& root = db_.path();
        mapdb::WriteFont(root, kFont);
        for (auto kind :
             {mapdb::GuidanceKind::kInic, mapdb::GuidanceKind::kBranch, mapdb::GuidanceKind::kGrade,
              mapdb::GuidanceKind::kEtc, mapdb::GuidanceKind::kEtc2,
              mapdb::GuidanceKind::kRealcross, mapdb::GuidanceKind::kProperJct,
              mapdb::GuidanceKind::kExit, mapdb::GuidanceKind::kEntrance}) {
            const bool etc =
                kind == mapdb::GuidanceKind::kEtc || kind == mapdb::GuidanceKind::kEtc2;
            const uint16_t seed = static_cast<uint16_t>(kind);
            mapdb::WriteGuidancePictures(
                root, kind,
                {{7, "", Gradient(8, 4, 1)},
                 {100007, "", Gradient(8, 4, 2)},
                 {42, "", etc ? Gradient(180, 150, seed) : Gradient(480, 240, seed)}});
        }
        mapdb::WriteStringDb(root, 1, {{1, "東京", 0, 0}, {2, "首都高速湾岸線", 0, 0}},
                             mapdb::StringEncoding::kUtf8);
        mapdb::WriteSignposts(root, {{3, 2, {"新宿", "渋谷", "池袋"}}},
                              {{2, {}, "", Gradient(400, 200, 3)}}, {});
    }
    void SetUp() override {
        settings_.Use(db_.path());
        g_lines.clear();
        platform::SetLogSink([](int, const char* tag, const char* line) {
            g_lines.push_back(std::string(tag) + " " + line);
        });
    }
    void TearDown() override { platform::SetLogSink(nullptr); }

    Picture Get(unsigned long kind, unsigned long number, uint32_t id1 = 0, uint32_t id2 = 0,
                unsigned long direction = 0) {
        Picture p;
        const unsigned long size =
            guidance_.GetImage(nullptr, &p.w, &p.h, kind, number, direction, {1, id1}, {1, id2}, 0);
        std::vector<unsigned char> out(size);
        p.result = guidance_.GetImage(out.data(), &p.w, &p.h, kind, number, direction, {1, id1},
                                      {1, id2}, 0);
        for (size_t i = 66; p.result && i + 1 < size_t{p.w} * p.h * 2 + 66; i += 2) {
            p.px.push_back(bytes::ReadU16LE(&out[i]));
        }
        return p;
    }

    static inline mapdb::TempDir db_;
    CImageGuidance guidance_;
};

TEST_F(ImageGuidance, SizesAndEveryServedKindByItsKey) {
    const unsigned long sizes[17] = {326466, 0,      0,      0,      326466, 0,
                                     0,      0,      326466, 54066,  54066,  326466,
                                     326466, 326466, 240066, 326466, 0};
    for (unsigned long kind = 0; kind < 17; ++kind) {
        SCOPED_TRACE(kind);
        unsigned short w, h;
        EXPECT_EQ(sizes[kind], guidance_.GetImage(nullptr, &w, &h, kind, 42, 0, {}, {}, 0));
        if (sizes[kind] == 0 || kind == 14) continue;
        const Picture p = Get(kind, 42);
        ASSERT_EQ(1u, p.result);
        const mapdb::Rgb565Picture stored =
            kind == 9 || kind == 10 ? Gradient(180, 150, kind) : Gradient(480, 240, kind);
        EXPECT_EQ(stored.width, p.w);
        EXPECT_EQ(stored.pixels, p.px);
        EXPECT_EQ(0u, Get(kind, 43).result);
        EXPECT_EQ(8, Get(kind, 1000071).w);  // only six digits of the key count: 100007
    }
}

TEST_F(ImageGuidance, ExitAndEntranceNamesFoundMissingOrNotDrawable) {
    for (const auto& [kind, merge] : {std::pair<unsigned long, std::string>{13, "MergeExitImage"},
                                      {15, "MergeEntranceImage"}}) {
        SCOPED_TRACE(kind);
        const std::string error =
            "DatabaseEngine <LS>IMAGE    ERR: CImageGuidance::GetImage: " + merge + " - FALSE";
        g_lines.clear();
        const Picture bare = Get(kind, 42, 98, 99);  // neither name exists: the bare picture
        EXPECT_EQ(1u, bare.result);
        EXPECT_EQ(Gradient(480, 240, kind).pixels, bare.px);
        const Picture named = Get(kind, 42, 1, 2);
        EXPECT_EQ(1u, named.result);
        EXPECT_NE(bare.px, named.px);
        EXPECT_EQ(0, std::count(g_lines.begin(), g_lines.end(), error));

        const std::string font = db_ / font_file::kRelativePath;
        std::remove(font.c_str());
        delete[] gpNDBFontData;  // as if no renderer had run yet
        gpNDBFontData = nullptr;
        const Picture failed = Get(kind, 42, 1, 2);
        mapdb::WriteFont(db_.path(), kFont);
        EXPECT_EQ(1u, failed.result);
        EXPECT_EQ(bare.px, failed.px);
        EXPECT_EQ(1, std::count(g_lines.begin(), g_lines.end(), error));
    }
}

TEST_F(ImageGuidance, CompletePicturesMatchTheirGoldenFiles) {
    const struct {
        const char* file;
        unsigned long kind, number, direction;
    } cases[] = {{"exit.png", 13, 42, 0}, {"entrance.png", 15, 42, 0}, {"sign.png", 14, 3, 2}};
    const bool update = getenv("SEARCHPROC_UPDATE_GOLDEN") != nullptr;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const Picture p = Get(c.kind, c.number, 1, 2, c.direction);
        ASSERT_EQ(1u, p.result);
        const std::string path = std::string(TESTS_SOURCE_DIR) + "/imaging/golden/" + c.file;
        if (update) {
            std::vector<unsigned char> rgb;
            for (uint16_t v : p.px) {
                rgb.push_back(static_cast<unsigned char>((v >> 11) << 3));
                rgb.push_back(static_cast<unsigned char>(((v >> 5) & 0x3F) << 2));
                rgb.push_back(static_cast<unsigned char>((v & 0x1F) << 3));
            }
            ASSERT_TRUE(stbi_write_png(path.c_str(), p.w, p.h, 3, rgb.data(), p.w * 3));
        }
        const mapdb::Rgb565Picture golden = mapdb::ReadPngRgb565(path);
        ASSERT_EQ(golden.pixels.size(), p.px.size());
        size_t differing = 0;
        for (size_t i = 0; i < p.px.size(); ++i) differing += golden.pixels[i] != p.px[i];
        EXPECT_LE(differing, p.px.size() / 200);  // a font update may move a few edge pixels
        EXPECT_GT(std::count(p.px.begin(), p.px.end(), 0x7BCF) +
                      std::count(p.px.begin(), p.px.end(), 0x07FF) +
                      std::count(p.px.begin(), p.px.end(), 0xFFFF),
                  20);  // text is drawn at all
    }
}

}  // namespace
