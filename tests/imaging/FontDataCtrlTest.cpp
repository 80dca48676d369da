// The font renderer on a database holding a real font: one read of the font file per process,
// its log lines word for word, string measuring and drawing into a picture. The font image is
// process-wide, so the first test empties it and the tests run in this order.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "FontWriter.h"
#include "TempDir.h"
#include "platform/Log.h"
#include "support/Settings.h"

namespace {

const char kFont[] = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";
const NDB_OLFA_FONT_CASH_INFO kNoCache = {0, 0, 0};

std::vector<std::string> g_lines;
void Capture(int priority, const char* tag, const char* line) {
    if (priority == 4 && std::string(tag) == "OLF") g_lines.push_back(line);
}

struct FontDataCtrl : testsupport::SettingsTest {
    static void SetUpTestSuite() { mapdb::WriteFont(db_.path(), kFont); }
    void SetUp() override {
        settings_.Use(db_.path());
        g_lines.clear();
        platform::SetLogSink(Capture);
    }
    void TearDown() override { platform::SetLogSink(nullptr); }
    static inline mapdb::TempDir db_;
};

TEST_F(FontDataCtrl, UnreadableFontFailsTheEngineStart) {
    delete[] gpNDBFontData;
    gpNDBFontData = nullptr;
    mapdb::TempDir none, empty;
    mapdb::MakeDirs(empty / "FONTAVENUE/OLF");
    mapdb::WriteFile(empty / font_file::kRelativePath, {});
    const std::vector<std::string> tail = {
        "AUIFontDataCtrl:loadFonts() Error ReadFileAndMemcpy!\n",
        "AUIFontDataCtrl:initialDriver() Error FaInitialize( Ret:0x00000003 )\n",
        "AUIFontDataCtrl:init() Error initialDriver()!\n"};
    std::vector<std::string> missing = tail;
    missing.insert(missing.begin(), "Screen:setIconData() Can't open data file( " + none.path() +
                                        "/FONTAVENUE/OLF/VELA_ARIB_RGUD_V5-10.BIN )\n");
    for (const auto& [dir, want] : {std::make_pair(none.path(), missing), {empty.path(), tail}}) {
        SCOPED_TRACE(dir);
        settings_.Use(dir);
        g_lines.clear();
        AUIFontDataCtrl r;
        EXPECT_EQ(0, r.init("any", &kNoCache));
        EXPECT_EQ(want, g_lines);
        EXPECT_EQ(nullptr, gpNDBFontData);
    }
}

TEST_F(FontDataCtrl, SecondRendererDoesNotReadTheFontAgain) {
    AUIFontDataCtrl first;
    ASSERT_EQ(1, first.init("any", &kNoCache));
    EXPECT_TRUE(g_lines.empty());
    ASSERT_NE(nullptr, gpNDBFontData);
    mapdb::TempDir none;  // the font file is gone for the second renderer
    settings_.Use(none.path());
    const NDB_OLFA_FONT_CASH_INFO cache = {64, 1, 2};
    for (const NDB_OLFA_FONT_CASH_INFO* c : {&kNoCache, &cache}) {
        g_lines.clear();
        AUIFontDataCtrl second;
        EXPECT_EQ(1, second.init("any", c));
        EXPECT_EQ(
            std::vector<std::string>{"AUIFontDataCtrl:loadFonts() gpNDBFontData is not NULL!\n"},
            g_lines);
        NDB_OLFA_FONT_DATA_INFO info;
        EXPECT_EQ(1, second.getFontSize(0x3042, &info));
        EXPECT_EQ(1, second.unInit());
    }
}

TEST_F(FontDataCtrl, BadArgumentsAndEngineErrorsLogTheirLines) {
    NDB_OLFA_FONT_DATA_INFO info;
    std::vector<unsigned short> glyph(8192);
    const auto sized = [](AUIFontDataCtrl& r, uint32_t px) {
        NDB_OLFA_FONT_PARAM p = {0, 0, px, px, 0, {64, 128, 192}};
        return r.setFontParam(&p);
    };
    const struct {
        std::function<long(AUIFontDataCtrl&)> call;
        long want;
        std::string line;
    } cases[] = {
        {[](AUIFontDataCtrl& r) { return r.setFontParam(nullptr); }, 0,
         "AUIFontDataCtrl:setFontParam() Error npFontParam is NULL!\n"},
        {[&](AUIFontDataCtrl& r) { return r.getFontData(0x3042, nullptr, glyph.data()); }, 0,
         "AUIFontDataCtrl:getFontData() Error npFontInfo or npFontData is NULL!\n"},
        {[&](AUIFontDataCtrl& r) { return r.getFontData(0x3042, &info, nullptr); }, 0,
         "AUIFontDataCtrl:getFontData() Error npFontInfo or npFontData is NULL!\n"},
        {[&](AUIFontDataCtrl& r) {
             return sized(r, 0) + r.getFontData(0x3042, &info, glyph.data());
         },
         1, "AUIFontDataCtrl:getFontData() Error FaGetRegionSize( Ret:0x00000004) !\n"},
        {[&](AUIFontDataCtrl& r) {
             return sized(r, 200) + r.getFontData(0x3042, &info, glyph.data());
         },
         1, "AUIFontDataCtrl:getFontData() Error FaGetGlyphImage( Ret:0x00000006)!\n"},
        {[](AUIFontDataCtrl& r) { return r.finalizeDriver() + r.unInit(); }, 1,
         "AUIFontDataCtrl:finalizeDriver() Error FaFinalize( Ret:2 )\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        AUIFontDataCtrl r;
        ASSERT_EQ(1, r.init("any", &kNoCache));
        g_lines.clear();
        EXPECT_EQ(c.want, c.call(r));
        EXPECT_EQ(c.line, g_lines.empty() ? "" : g_lines[0]);
    }
    AUIFontDataCtrl r;
    EXPECT_EQ(0, r.init(nullptr, &kNoCache));
    EXPECT_EQ(
        (std::vector<std::string>{"AUIFontDataCtrl:loadFonts() Error npFontFilePath is NULL!\n",
                                  "AUIFontDataCtrl:init() Error loadFonts()!\n"}),
        std::vector<std::string>(g_lines.end() - 2, g_lines.end()));
}

TEST_F(FontDataCtrl, StringRectMeasuresAtMostTwentyCharacters) {
    AUIFontDataCtrl r;
    ASSERT_EQ(1, r.init("any", &kNoCache));
    // 25 different characters: the width is the sum of the first 20 advances.
    std::u16string mixed = u"あいうえおABCDEabcde12345漢字かなカ";
    uint32_t first20 = 0;
    for (size_t i = 0; i < 20; ++i) {
        NDB_OLFA_FONT_DATA_INFO info;
        ASSERT_EQ(1, r.getFontSize(mixed[i], &info));
        first20 += info.dwAdvance;
    }
    const struct {
        std::u16string text;
        uint32_t px;
        int32_t right, bottom;
    } cases[] = {{std::u16string(25, u'あ'), 24, 480, 24},
                 {std::u16string(25, u'あ'), 22, 440, 22},
                 {u"", 24, 0, 0},
                 {std::u16string(u"あいう\0えお", 6), 24, 72, 24},
                 {mixed, 24, static_cast<int32_t>(first20), 24}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.right);
        NDB_OLFA_FONT_PARAM p = {0, 0, c.px, c.px, 0, {64, 128, 192}};
        ASSERT_EQ(1, r.setFontParam(&p));
        std::u16string text = c.text;
        tagRECT rect = {-1, -1, -1, -1};
        EXPECT_EQ(1, r.getStringRect(reinterpret_cast<unsigned short*>(&text[0]), rect));
        EXPECT_EQ(0, rect.left + rect.top);
        EXPECT_EQ(c.right, rect.right);
        EXPECT_EQ(c.bottom, rect.bottom);
    }
}

TEST_F(FontDataCtrl, DrawingTouchesOnlyGlyphBoxesWithTheThreeColours) {
    AUIFontDataCtrl r;
    ASSERT_EQ(1, r.init("any", &kNoCache));
    unsigned short w = 80, h = 32;
    std::vector<uint16_t> pic(w * h, 0x0841);
    VELADRAWIMAGESTRINGS s = {};
    s.wText[0] = u'あ', s.wText[1] = u'A';
    s.dwCount = 0, s.dwX = 5, s.dwY = 4, s.wColor = 0xFFFF, s.stMidColor = {0x1111, 0x2222};
    unsigned char* image = reinterpret_cast<unsigned char*>(pic.data());
    EXPECT_EQ(1, r.drawStringOnImage(&w, &h, image, &s));
    EXPECT_EQ(std::vector<uint16_t>(w * h, 0x0841), pic);  // a count of 0 draws nothing

    s.dwCount = 2;
    ASSERT_EQ(1, r.drawStringOnImage(&w, &h, image, &s));
    std::vector<unsigned short> glyph(8192);
    NDB_OLFA_FONT_DATA_INFO a, b;
    ASSERT_EQ(1, r.getFontData(u'あ', &a, glyph.data()));
    ASSERT_EQ(1, r.getFontData(u'A', &b, glyph.data()));
    const uint32_t bx = 5 + a.dwAdvance;
    std::set<uint16_t> seen;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const uint16_t v = pic[y * w + x];
            if (v == 0x0841) continue;
            SCOPED_TRACE(testing::Message() << x << "," << y);
            EXPECT_TRUE(y >= 4 && y < 4 + a.dwHeight);
            EXPECT_TRUE((x >= 5 && x < 5 + a.dwWidth) || (x >= bx && x < bx + b.dwWidth));
            seen.insert(v);
        }
    EXPECT_EQ((std::set<uint16_t>{0x1111, 0x2222, 0xFFFF}), seen);
}

}  // namespace
