// The font renderer on a database holding a real font: one read of the font file per process,
// its log lines word for word, string measuring and drawing into a picture. The font image is
// process-wide: every test starts with it loaded, and the test of the single read empties it.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "FontWriter.h"
#include "TempDir.h"
#include "platform/Log.h"
#include "support/Settings.h"

namespace {

const NDB_OLFA_FONT_CASH_INFO kNoCache = {0, 0, 0}, kCache = {64, 1, 2};
using Lines = std::vector<std::string>;
Lines g_lines;

struct FontDataCtrl : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        mapdb::WriteFont(db_.path(), "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf");
    }
    void SetUp() override {
        settings_.Use(db_.path());
        platform::SetLogSink([](int priority, const char* tag, const char* line) {
            g_lines.push_back(std::to_string(priority) + tag + " " + line);
        });
        ASSERT_EQ(1, r.init("any", &kNoCache));
        g_lines.clear();
    }
    void TearDown() override { platform::SetLogSink(nullptr); }
    static inline mapdb::TempDir db_;
    AUIFontDataCtrl r;
};

TEST_F(FontDataCtrl, FontFileIsReadOncePerProcess) {
    r.unInit();
    delete[] gpNDBFontData;  // as if no renderer had run yet
    gpNDBFontData = nullptr;
    mapdb::TempDir none, empty;
    mapdb::MakeDirs(empty / "FONTAVENUE/OLF");
    mapdb::WriteFile(empty / font_file::kRelativePath, {});
    EXPECT_THROW(mapdb::WriteFont(none.path(), none / "no.ttf"), mapdb::Error);
    EXPECT_THROW(mapdb::WriteFont(none.path(), empty / font_file::kRelativePath), mapdb::Error);
    const Lines failed = {
        "4OLF AUIFontDataCtrl:loadFonts() Error ReadFileAndMemcpy!\n",
        "4OLF AUIFontDataCtrl:initialDriver() Error FaInitialize( Ret:0x00000003 )\n",
        "4OLF AUIFontDataCtrl:init() Error initialDriver()!\n"};
    Lines missing = failed;
    missing.insert(missing.begin(), "4OLF Screen:setIconData() Can't open data file( " +
                                        none.path() + "/" + font_file::kRelativePath + " )\n");
    const Lines loaded = {},
                again = {"4OLF AUIFontDataCtrl:loadFonts() gpNDBFontData is not NULL!\n"};
    // The font disappears after the first successful load: later renderers never look for it.
    const struct {
        std::string root;
        const NDB_OLFA_FONT_CASH_INFO* cache;
        long want;
        const Lines& lines;
    } steps[] = {{none.path(), &kNoCache, 0, missing},
                 {empty.path(), &kNoCache, 0, failed},
                 {db_.path(), &kCache, 1, loaded},
                 {none.path(), &kNoCache, 1, again},
                 {none.path(), &kCache, 1, again}};
    for (const auto& s : steps) {
        SCOPED_TRACE(s.root);
        settings_.Use(s.root);
        g_lines.clear();
        AUIFontDataCtrl renderer;
        EXPECT_EQ(s.want, renderer.init("any", s.cache));
        EXPECT_EQ(s.lines, g_lines);
        EXPECT_EQ(s.want == 1, gpNDBFontData != nullptr);
        NDB_OLFA_FONT_DATA_INFO info;
        EXPECT_EQ(s.want, renderer.getFontSize(0x3042, &info));
    }
}

TEST_F(FontDataCtrl, BadArgumentsAndEngineErrorsLogTheirLines) {
    NDB_OLFA_FONT_DATA_INFO info;
    std::vector<unsigned short> glyph(8192);
    NDB_OLFA_FONT_PARAM p = {0, 0, 0, 0, 0, {64, 128, 192}};
    const std::string nullData =
        "AUIFontDataCtrl:getFontData() Error npFontInfo or npFontData is NULL!\n";
    EXPECT_EQ(0, r.setFontParam(nullptr));
    EXPECT_EQ(0, r.getFontData(0x3042, nullptr, glyph.data()));
    EXPECT_EQ(0, r.getFontData(0x3042, &info, nullptr));
    EXPECT_EQ(1, r.setFontParam(&p));  // a 0-pixel font cannot be measured
    EXPECT_EQ(0, r.getFontData(0x3042, &info, glyph.data()));
    p.dwWidth = p.dwHeight = 200;  // measured, but too large to render
    EXPECT_EQ(1, r.setFontParam(&p));
    EXPECT_EQ(0, r.getFontData(0x3042, &info, glyph.data()));
    EXPECT_EQ(1, r.finalizeDriver());
    EXPECT_EQ(0, r.unInit());
    EXPECT_EQ(0, r.init(nullptr, &kNoCache));
    const Lines want = {
        "4OLF AUIFontDataCtrl:setFontParam() Error npFontParam is NULL!\n",
        "4OLF " + nullData,
        "4OLF " + nullData,
        "4OLF AUIFontDataCtrl:getFontData() Error FaGetRegionSize( Ret:0x00000004) !\n",
        "4OLF AUIFontDataCtrl:getFontData() Error FaGetGlyphImage( Ret:0x00000006)!\n",
        "4OLF AUIFontDataCtrl:finalizeDriver() Error FaFinalize( Ret:2 )\n",
        "4OLF AUIFontDataCtrl:loadFonts() Error npFontFilePath is NULL!\n",
        "4OLF AUIFontDataCtrl:init() Error loadFonts()!\n"};
    EXPECT_EQ(want, g_lines);
}

TEST_F(FontDataCtrl, StringRectMeasuresAtMostTwentyCharacters) {
    const struct {
        std::u16string text;
        uint32_t px;
        int32_t right, bottom;
    } cases[] = {
        {std::u16string(25, u'あ'), 24, 480, 24},
        {std::u16string(25, u'あ'), 22, 440, 22},
        {u"", 24, 0, 0},
        {std::u16string(u"あいう\0えお", 6), 24, 72, 24},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.right);
        NDB_OLFA_FONT_PARAM p = {0, 0, c.px, c.px, 0, {64, 128, 192}};
        ASSERT_EQ(1, r.setFontParam(&p));
        tagRECT rect = {-1, -1, -1, -1};
        EXPECT_EQ(1, r.getStringRect(reinterpret_cast<unsigned short*>(&c.text[0]), rect));
        EXPECT_EQ((std::vector<int32_t>{0, 0, c.right, c.bottom}),
                  (std::vector<int32_t>{rect.left, rect.top, rect.right, rect.bottom}));
    }
}

TEST_F(FontDataCtrl, DrawingTouchesOnlyGlyphBoxesWithTheThreeColours) {
    unsigned short w = 80, h = 32;
    const std::vector<uint16_t> blank(w * h, 0x0841);
    std::vector<uint16_t> pic = blank;
    VELADRAWIMAGESTRINGS s = {{u'あ', u'A'}, 0, 5, 4, 0xFFFF, {0x1111, 0x2222}};
    unsigned char* image = reinterpret_cast<unsigned char*>(pic.data());
    EXPECT_EQ(1, r.drawStringOnImage(&w, &h, image, &s));
    EXPECT_EQ(blank, pic);  // a count of 0 draws nothing
    s.dwCount = 2;
    ASSERT_EQ(1, r.drawStringOnImage(&w, &h, image, &s));
    std::vector<unsigned short> glyph(8192);
    NDB_OLFA_FONT_DATA_INFO a, b;
    ASSERT_EQ(1, r.getFontData(u'あ', &a, glyph.data()));
    ASSERT_EQ(1, r.getFontData(u'A', &b, glyph.data()));
    const uint32_t bx = 5 + a.dwAdvance;
    std::set<uint16_t> seen;
    for (uint32_t i = 0, x = 0, y = 0; i < pic.size(); x = ++i % w, y = i / w) {
        if (pic[i] == blank[i]) continue;
        SCOPED_TRACE(testing::Message() << x << "," << y);
        EXPECT_TRUE(y >= 4 && y < 4 + a.dwHeight);
        EXPECT_TRUE((x >= 5 && x < 5 + a.dwWidth) || (x >= bx && x < bx + b.dwWidth));
        seen.insert(pic[i]);
    }
    EXPECT_EQ((std::set<uint16_t>{0x1111, 0x2222, 0xFFFF}), seen);
}

}  // namespace
