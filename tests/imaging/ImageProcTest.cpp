// Names drawn into guidance pictures with a real font: the settings record (defaults, a short
// raw file), the brightness weighting at its bounds, exit names centred on their slot in one or
// two lines, sign names aligned by type and highlighted in the arrow's direction, and the log
// line of a renderer that cannot start. Pictures are checked by where text pixels land and
// which colours they take.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "FontWriter.h"
#include "TempDir.h"
#include "TextTools.h"
#include "platform/Log.h"
#include "platform/SettingsDir.h"
#include "support/Settings.h"

namespace {

struct Picture {
    unsigned short w, h;
    std::vector<uint16_t> px;
    Picture(unsigned short width, unsigned short height, uint16_t fill)
        : w(width), h(height), px(size_t{width} * height, fill) {}
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(px.data()); }

    // Bounding box and colours of the pixels that differ from `fill`.
    struct Ink {
        int left = 1 << 20, right = -1, top = 1 << 20, bottom = -1;
        std::set<uint16_t> colours;
    };
    Ink InkOver(uint16_t fill) const {
        Ink ink;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const uint16_t p = px[size_t(y) * w + x];
                if (p == fill) continue;
                ink.left = std::min(ink.left, x), ink.right = std::max(ink.right, x);
                ink.top = std::min(ink.top, y), ink.bottom = std::max(ink.bottom, y);
                ink.colours.insert(p);
            }
        }
        return ink;
    }
};

std::vector<unsigned char> Sjis(const std::string& utf8) {
    const std::string s = mapdb::Utf8ToSjis(utf8);
    return std::vector<unsigned char>(s.c_str(), s.c_str() + s.size() + 1);
}

uint32_t RecordAt(size_t offset, size_t size) {
    const auto* b = reinterpret_cast<const uint8_t*>(&g_tagImageGuidanceSettings) + offset;
    return size == 1 ? b[0] : size == 2 ? bytes::ReadU16LE(b) : bytes::ReadU32LE(b);
}

std::vector<std::string> g_lines;

struct ImageProc : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        mapdb::WriteFont(db_.path(), "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf");
    }
    void SetUp() override {
        settings_.Use(db_.path());
        platform::SetSettingsDir(settingsDir_.path().c_str());
        g_dwEnableSettings = 0;
        memset(&g_tagImageGuidanceSettings, 0, sizeof(g_tagImageGuidanceSettings));
    }
    void TearDown() override {
        g_dwEnableSettings = 0;  // later suites load the defaults again
        platform::SetSettingsDir(nullptr);
        platform::SetLogSink(nullptr);
    }
    static inline mapdb::TempDir db_;
    mapdb::TempDir settingsDir_;
    CImageProc proc;
};

TEST_F(ImageProc, DefaultsOnFirstUseAndAnExitNameCentredOnItsSlot) {
    Picture pic(480, 240, 0x0000);
    std::vector<unsigned char> name = Sjis("東京");
    unsigned char empty[] = "";
    ASSERT_EQ(1u, proc.MergeImage(&pic.w, &pic.h, pic.bytes(), empty, name.data()));
    EXPECT_EQ(1u, g_dwEnableSettings);
    const struct {
        size_t offset, size;
        uint32_t value;
    } fields[] = {{4, 4, 1015},      {12, 4, 24},      {48, 4, 1},        {53, 1, 64},
                  {55, 1, 192},      {64, 4, 10},      {72, 2, 0x07FF},   {74, 2, 0xFFFF},
                  {76, 2, 200},      {78, 2, 16},      {76 + 36, 2, 380}, {76 + 52, 2, 380},
                  {76 + 54, 2, 138}, {172, 4, 22},     {240, 4, 15},      {244, 4, 100},
                  {248, 2, 0x07FF},  {250, 2, 0x7BCF}, {264, 2, 317},     {266, 2, 47},
                  {274, 2, 33},      {356, 4, 9},      {340, 4, 7},       {380, 2, 317}};
    for (const auto& f : fields) {
        EXPECT_EQ(f.value, RecordAt(f.offset, f.size)) << "byte " << f.offset;
    }
    // Black under the anchor: below the lower bound, so the second colour and its mid colours.
    const Picture::Ink ink = pic.InkOver(0x0000);
    EXPECT_NEAR(317, (ink.left + ink.right) / 2, 2);
    EXPECT_GE(ink.top, 47);
    EXPECT_LE(ink.bottom, 47 + 22);
    EXPECT_GT(ink.left, 240);
    for (uint16_t c : ink.colours) EXPECT_TRUE(c == 0x7BCF || c == 10602 || c == 21132) << c;
}

TEST_F(ImageProc, TwoLinesAboveAndBelowTheAnchor) {
    Picture pic(480, 240, 0x001F);  // blue: average 29, between the bounds
    std::vector<unsigned char> name = Sjis("首都高速湾岸線出口");
    ASSERT_EQ(1u, proc.MergeImage(&pic.w, &pic.h, pic.bytes(), name.data(), nullptr));
    const Picture::Ink ink = pic.InkOver(0x001F);
    EXPECT_NEAR(147, (ink.left + ink.right) / 2, 3);
    EXPECT_GE(ink.top, 33);
    EXPECT_LT(ink.top, 40);     // the upper line starts at y = 33
    EXPECT_GT(ink.bottom, 61);  // the lower line at y = 61
    for (uint16_t c : ink.colours) EXPECT_TRUE(c == 0x07FF || c == 725 || c == 1402) << c;
}

TEST_F(ImageProc, BrightnessWeightingAndBounds) {
    proc.Init0();
    const struct {
        uint16_t pixel;
        unsigned long exit, entrance;  // exit bounds 15..100, entrance 9..100
    } cases[] = {{0x001F, 1, 1}, {0xF800, 0, 0}, {0x07E0, 0, 0}, {0xFFFF, 1, 1}, {0x0000, 0, 0},
                 {0x0011, 0, 1}, {0x0012, 1, 1}, {0x000A, 0, 0}, {0x000B, 0, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pixel);
        Picture pic(480, 240, c.pixel);
        EXPECT_EQ(c.exit, proc.CheckTargetDirection(&pic.w, &pic.h, pic.bytes(), 0));
        EXPECT_EQ(c.entrance, proc.CheckEntranceTargetDirection(&pic.w, &pic.h, pic.bytes(), 1));
    }
    Picture tiny(100, 40, 0x001F);  // slot 1's anchor (317, 47) lies outside: refused
    EXPECT_EQ(0u, proc.CheckTargetDirection(&tiny.w, &tiny.h, tiny.bytes(), 1));
}

TEST_F(ImageProc, SignNamesAlignedByTypeAndHighlightedInTheArrowsDirection) {
    std::vector<unsigned char> name = Sjis("新宿");
    // Every name slot of every type, against the default anchors: types 1-3 centre their first
    // name and end the second at its anchor; type 5 ends its second, types 4, 6 and 7 their
    // first; every other name starts at its anchor.
    for (unsigned long type = 1; type <= 7; ++type) {
        for (unsigned long index = 0; index < (type <= 3 ? 3u : 2u); ++index) {
            SCOPED_TRACE(testing::Message() << "type " << type << " name " << index);
            const unsigned long direction = type % 3 + 1;
            Picture pic(400, 200, 0x0000);
            ASSERT_EQ(1u, proc.MergeSignDataImage(&pic.w, &pic.h, pic.bytes(), name.data(), nullptr,
                                                  type, index, direction, false));
            const int x = g_tagImageGuidanceSettings.stSign.stAnchor[(type - 1) * 3 + index].wX;
            const bool centred = type <= 3 && index == 0;
            const bool ending = (index == 1 && (type <= 3 || type == 5)) ||
                                (index == 0 && (type == 4 || type == 6 || type == 7));
            const Picture::Ink ink = pic.InkOver(0x0000);
            const int at = centred ? (ink.left + ink.right) / 2 : ending ? ink.right : ink.left;
            EXPECT_NEAR(x, at, 3);
            const std::set<uint16_t> allowed = index == direction - 1
                                                   ? std::set<uint16_t>{0x07FF, 829, 1438}
                                                   : std::set<uint16_t>{0xFFFF, 21309, 44446};
            for (uint16_t colour : ink.colours) EXPECT_TRUE(allowed.count(colour)) << colour;
        }
    }
    // A second text sits above the first, separated by the gap.
    Picture pic(400, 200, 0x0000);
    ASSERT_EQ(1u, proc.MergeSignDataImage(&pic.w, &pic.h, pic.bytes(), name.data(), name.data(), 4,
                                          1, 1, true));
    const Picture::Ink ink = pic.InkOver(0x0000);
    EXPECT_LT(ink.top, 138 - 10);
    EXPECT_GE(ink.left, 20);
}

TEST_F(ImageProc, ShortSettingsFileAndARendererThatCannotStart) {
    mapdb::WriteFile(settingsDir_ / "DatabaseEngine.ini", {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0});
    Picture pic(480, 240, 0);
    std::vector<unsigned char> name = Sjis("東京");
    proc.MergeImage(&pic.w, &pic.h, pic.bytes(), name.data(), nullptr);
    EXPECT_EQ(1u, g_dwEnableSettings);
    EXPECT_EQ(1u, RecordAt(0, 4));
    EXPECT_EQ(2u, RecordAt(4, 4));
    EXPECT_EQ(3u, RecordAt(8, 4));
    for (size_t at = 12; at < sizeof(g_tagImageGuidanceSettings); at += 4) {
        EXPECT_EQ(0u, RecordAt(at, 4)) << "byte " << at;  // defaults are not applied underneath
    }

    g_lines.clear();
    platform::SetLogSink([](int priority, const char* tag, const char* line) {
        g_lines.push_back(std::to_string(priority) + tag + " " + line);
    });
    mapdb::TempDir noFont;
    settings_.Use(noFont.path());
    delete[] gpNDBFontData;  // as if no renderer had run yet
    gpNDBFontData = nullptr;
    g_dwEnableSettings = 0;
    EXPECT_EQ(0u, proc.MergeImage(&pic.w, &pic.h, pic.bytes(), name.data(), nullptr));
    EXPECT_EQ(1u, std::count(g_lines.begin(), g_lines.end(), "4FONT lAUIDataCtrl.init = 0"));
}

}  // namespace
