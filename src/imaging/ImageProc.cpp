// Names drawn into guidance pictures: the settings record with its defaults and raw file, the
// brightness probe, exit/entrance line placement and sign name alignment. Anchors are read from
// the raw record, so an unusual slot or sign type reads the bytes the record holds there; only
// a position outside the record or a probe outside the picture is refused.
#include "imaging/ImageProc.h"

#include <cstddef>
#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"
#include "imaging/AUIFontDataCtrl.h"
#include "platform/Log.h"
#include "platform/SettingsDir.h"

IMAGE_GUIDANCE_SETTINGS g_tagImageGuidanceSettings;
uint32_t g_dwEnableSettings = 0;

namespace {

char kSettingsFile[] = "DatabaseEngine.ini";
char kFontFile[] = "FONTAVENUE/OLF/VELA_ARIB_RGUD_V5-10.BIN";
constexpr size_t kLineBytes = 14;      // an exit or entrance line
constexpr size_t kUtf16Bytes = 64;
constexpr uint32_t kMaxChars = 20;
constexpr size_t kExitAnchors = offsetof(IMAGE_EXIT_SETTINGS, stAnchor);
constexpr size_t kSignAnchors = offsetof(IMAGE_SIGN_SETTINGS, stAnchor);

struct MidColors {
    uint16_t inside1, inside2, outside1, outside2;
};
constexpr MidColors kExitMid = {725, 1402, 10602, 21132};
constexpr MidColors kEntranceMid = {3407, 1719, 12968, 23339};
constexpr uint16_t kHighlightMid1 = 829, kHighlightMid2 = 1438;
constexpr uint16_t kOtherMid1 = 21309, kOtherMid2 = 44446;

const uint8_t* RecordBytes() {
    return reinterpret_cast<const uint8_t*>(&g_tagImageGuidanceSettings);
}

// The anchor stored at byte `offset` of the record; false outside it.
bool AnchorAt(uint64_t offset, IMAGE_POINT* p) {
    if (offset + sizeof(IMAGE_POINT) > sizeof(IMAGE_GUIDANCE_SETTINGS)) return false;
    p->wX = bytes::ReadU16LE(RecordBytes() + offset);
    p->wY = bytes::ReadU16LE(RecordBytes() + offset + 2);
    return true;
}

size_t ExitBlock(bool entrance) {
    return entrance ? offsetof(IMAGE_GUIDANCE_SETTINGS, stEntrance)
                    : offsetof(IMAGE_GUIDANCE_SETTINGS, stExit);
}
const IMAGE_EXIT_SETTINGS& ExitSettings(bool entrance) {
    return entrance ? g_tagImageGuidanceSettings.stEntrance : g_tagImageGuidanceSettings.stExit;
}

// Anchor `line` (0 one line, 1 lower, 2 upper) of an exit or entrance slot.
bool ExitAnchor(bool entrance, unsigned short slot, int line, IMAGE_POINT* p) {
    return AnchorAt(ExitBlock(entrance) + kExitAnchors + 12 * uint64_t{slot} + 4 * line, p);
}

void SetStyle(IMAGE_TEXT_STYLE* s, uint32_t glyph) {
    s->dwStyle = 1015, s->dwGlyphWidth = glyph, s->dwGlyphHeight = glyph, s->dwFontFlags = 1;
    s->byStyle = 1, s->byGreyLevel[0] = 64, s->byGreyLevel[1] = 128, s->byGreyLevel[2] = 192;
}

void SetExitDefaults(IMAGE_EXIT_SETTINGS* x, uint32_t lowerBound) {
    SetStyle(&x->stStyle, 22);
    x->dwUnused[0] = 7, x->dwUnused[1] = 14, x->dwUnused[2] = 14, x->dwUnused[3] = 140;
    x->dwLowerBound = lowerBound, x->dwUpperBound = 100;
    x->wColorInside = 0x07FF, x->wColorOutside = 0x7BCF;
    for (int slot = 0; slot < 2; ++slot) {
        const uint16_t cx = slot == 0 ? 147 : 317;
        x->stAnchor[slot][0] = {cx, 47}, x->stAnchor[slot][1] = {cx, 61};
        x->stAnchor[slot][2] = {cx, 33};
    }
}

// A renderer started with a block's font: parameter 1, flags (bits 20-23 only), glyph size,
// parameter 4 and grey levels. Logs and gives false when it cannot start.
bool StartRenderer(AUIFontDataCtrl* font, const IMAGE_TEXT_STYLE& s) {
    const NDB_OLFA_FONT_CASH_INFO cache = {0, 0, 0};
    const long started = font->init(kFontFile, &cache);
    if (started == 0) {
        platform::Log(4, "FONT", "lAUIDataCtrl.init = %d", static_cast<int>(started));
        return false;
    }
    NDB_OLFA_FONT_PARAM param;
    param.dwParam1 = s.dwFontParam1;
    param.dwFlags = s.dwFontFlags & 0xF00000;  // deliberate: the default flags pass 0
    param.dwWidth = s.dwGlyphWidth;
    param.dwHeight = s.dwGlyphHeight;
    param.dwParam4 = s.dwFontParam4;
    memcpy(param.byGreyLevel, s.byGreyLevel, sizeof(param.byGreyLevel));
    const long set = font->setFontParam(&param);
    if (set == 0) {
        platform::Log(4, "FONT", "lAUIDataCtrl.setFontParam = %d", static_cast<int>(set));
        return false;
    }
    return true;
}

// A Shift_JIS line as the renderer draws it: UTF-16 in a zeroed 64-byte buffer, its characters
// counted up to the first zero (at most 20), and measured.
struct Line {
    uint16_t text[kUtf16Bytes / 2 + 1];
    uint32_t count;
    tagRECT rect;

    bool Measure(CStringConvProc* conv, AUIFontDataCtrl* font, unsigned char* sjis) {
        memset(text, 0, sizeof(text));
        conv->SjisToUtf16(reinterpret_cast<unsigned char*>(text), sjis, kUtf16Bytes);
        count = 0;
        while (count < kMaxChars && text[count] != 0) ++count;
        memset(&rect, 0, sizeof(rect));
        return font->getStringRect(text, rect) != 0;
    }

    void Draw(AUIFontDataCtrl* font, unsigned short* width, unsigned short* height,
              unsigned char* pixels, uint32_t x, uint32_t y, uint16_t colour, uint16_t mid1,
              uint16_t mid2) {
        VELADRAWIMAGESTRINGS s;
        memset(&s, 0, sizeof(s));
        memcpy(s.wText, text, sizeof(s.wText) - sizeof(uint16_t));
        s.dwCount = count, s.dwX = x, s.dwY = y, s.wColor = colour;
        s.stMidColor.wMidColor1 = mid1, s.stMidColor.wMidColor2 = mid2;
        font->drawStringOnImage(width, height, pixels, &s);
    }
};

}  // namespace

CImageProc::CImageProc() {}
CImageProc::~CImageProc() {}

unsigned long CImageProc::Init0() {
    IMAGE_GUIDANCE_SETTINGS& g = g_tagImageGuidanceSettings;
    memset(&g, 0, sizeof(g));
    SetStyle(&g.stSign.stStyle, 24);
    g.stSign.dwGap = 10, g.stSign.dwUnused = 240;
    g.stSign.wHighlightColor = 0x07FF, g.stSign.wTextColor = 0xFFFF;
    const IMAGE_POINT three[3] = {{200, 16}, {380, 138}, {20, 138}};
    const IMAGE_POINT two[4][2] = {{{380, 50}, {20, 138}},
                                   {{20, 50}, {380, 138}},
                                   {{380, 50}, {20, 50}},
                                   {{380, 50}, {20, 50}}};
    for (int type = 0; type < 3; ++type) memcpy(&g.stSign.stAnchor[3 * type], three, sizeof(three));
    for (int type = 3; type < 7; ++type)
        memcpy(&g.stSign.stAnchor[3 * type], two[type - 3], sizeof(two[0]));
    SetExitDefaults(&g.stExit, 15);
    SetExitDefaults(&g.stEntrance, 9);
    return 1;
}

unsigned long CImageProc::Init() {
    io::FileCloser settings(CreateFile(platform::SettingsDir(), kSettingsFile));
    if (settings.fd() < 0) return 0;
    int fd = settings.fd();
    unsigned char* raw = nullptr;
    const unsigned long n = LoadFile(&fd, &raw, 0, 0);
    if (raw == nullptr || n == 0) return 0;
    // A shorter file leaves the rest of the record as it is (zero); a longer one is cut.
    memcpy(&g_tagImageGuidanceSettings, raw,
           n < sizeof(g_tagImageGuidanceSettings) ? n : sizeof(g_tagImageGuidanceSettings));
    delete[] raw;
    return 1;
}

void CImageProc::SettingsOnFirstUse() {
    if (g_dwEnableSettings == 1) return;
    if (Init() == 0) Init0();
    g_dwEnableSettings = 1;
}

unsigned long CImageProc::MergeImage(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* name1,
                                     unsigned char* name2) {
    return MergeNames(width, height, pixels, name1, name2, false);
}

unsigned long CImageProc::MergeEntranceImage(unsigned short* width, unsigned short* height,
                                             unsigned char* pixels, unsigned char* name1,
                                             unsigned char* name2) {
    return MergeNames(width, height, pixels, name1, name2, true);
}

unsigned long CImageProc::MergeNames(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* name1,
                                     unsigned char* name2, bool entrance) {
    SettingsOnFirstUse();
    unsigned char* names[2] = {name1, name2};
    for (unsigned short slot = 0; slot < 2; ++slot) {
        if (names[slot] == nullptr || names[slot][0] == 0) continue;
        if (MergeName(width, height, pixels, names[slot], slot, entrance) == 0) return 0;
    }
    return 1;
}

unsigned long CImageProc::MergeExitDataImage(unsigned short* width, unsigned short* height,
                                             unsigned char* pixels, unsigned char* name,
                                             unsigned short slot) {
    return MergeName(width, height, pixels, name, slot, false);
}

unsigned long CImageProc::MergeEntranceDataImage(unsigned short* width, unsigned short* height,
                                                 unsigned char* pixels, unsigned char* name,
                                                 unsigned short slot) {
    return MergeName(width, height, pixels, name, slot, true);
}

// Two lines: the name's first line is drawn on top (the upper line), its second below.
unsigned long CImageProc::MergeName(unsigned short* width, unsigned short* height,
                                    unsigned char* pixels, unsigned char* name, unsigned short slot,
                                    bool entrance) {
    unsigned char* first = nullptr;
    unsigned char* second = nullptr;
    SplitText(&first, &second, name, 1);
    unsigned char lower[kLineBytes + 1] = {}, upper[kLineBytes + 1] = {}, one[kLineBytes + 1] = {};
    const bool two = first != nullptr && second != nullptr;
    if (two) {
        strncpy(reinterpret_cast<char*>(lower), reinterpret_cast<char*>(second), kLineBytes);
        strncpy(reinterpret_cast<char*>(upper), reinterpret_cast<char*>(first), kLineBytes);
    } else if (first != nullptr) {
        strncpy(reinterpret_cast<char*>(one), reinterpret_cast<char*>(first), kLineBytes);
    }
    delete[] first;
    delete[] second;
    return MergeLines(width, height, pixels, two ? lower : one, upper, two, slot, entrance);
}

unsigned long CImageProc::MergeExitDataImageProc(unsigned short* width, unsigned short* height,
                                                 unsigned char* pixels, unsigned char* line1,
                                                 unsigned char* line2, bool twoLines,
                                                 unsigned short slot) {
    return MergeLines(width, height, pixels, line1, line2, twoLines, slot, false);
}

unsigned long CImageProc::MergeEntranceDataImageProc(unsigned short* width, unsigned short* height,
                                                     unsigned char* pixels, unsigned char* line1,
                                                     unsigned char* line2, bool twoLines,
                                                     unsigned short slot) {
    return MergeLines(width, height, pixels, line1, line2, twoLines, slot, true);
}

unsigned long CImageProc::MergeLines(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* line1,
                                     unsigned char* line2, bool twoLines, unsigned short slot,
                                     bool entrance) {
    if (width == nullptr || height == nullptr || pixels == nullptr || line1 == nullptr ||
        (twoLines && line2 == nullptr)) {
        return 0;
    }
    const IMAGE_EXIT_SETTINGS& block = ExitSettings(entrance);
    AUIFontDataCtrl font;
    if (!StartRenderer(&font, block.stStyle)) return 0;
    Line lines[2];
    if (!lines[0].Measure(this, &font, line1)) return 0;
    if (twoLines && !lines[1].Measure(this, &font, line2)) return 0;
    IMAGE_POINT at[2];
    if (!ExitAnchor(entrance, slot, twoLines ? 1 : 0, &at[0]) ||
        (twoLines && !ExitAnchor(entrance, slot, 2, &at[1]))) {
        return 0;
    }
    const bool inside = Brightness(width, height, pixels, slot, entrance) == 1;
    const MidColors& mid = entrance ? kEntranceMid : kExitMid;
    const uint16_t colour = inside ? block.wColorInside : block.wColorOutside;
    const uint16_t mid1 = inside ? mid.inside1 : mid.outside1;
    const uint16_t mid2 = inside ? mid.inside2 : mid.outside2;
    // Every line is centred on its anchor; y is used as given.
    for (int k = 0; k < (twoLines ? 2 : 1); ++k) {
        const uint32_t x = at[k].wX - static_cast<uint32_t>(lines[k].rect.right / 2);
        lines[k].Draw(&font, width, height, pixels, x, at[k].wY, colour, mid1, mid2);
    }
    return 1;
}

unsigned long CImageProc::CheckTargetDirection(unsigned short* width, unsigned short* height,
                                               unsigned char* pixels, unsigned short slot) {
    return Brightness(width, height, pixels, slot, false);
}

unsigned long CImageProc::CheckEntranceTargetDirection(unsigned short* width,
                                                       unsigned short* height,
                                                       unsigned char* pixels, unsigned short slot) {
    return Brightness(width, height, pixels, slot, true);
}

// Red and green count only as present or absent and the sum wraps at 16 bits: deliberate, the
// colours of existing data depend on this exact weighting.
unsigned long CImageProc::Brightness(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned short slot, bool entrance) {
    IMAGE_POINT at;
    if (width == nullptr || height == nullptr || pixels == nullptr ||
        !ExitAnchor(entrance, slot, 0, &at)) {
        return 0;
    }
    const int64_t w = *width;
    const int64_t pixelCount = w * *height;
    uint32_t sum = 0;
    for (int64_t r = at.wY - 2; r <= at.wY; ++r) {
        for (int64_t c = at.wX - 1; c <= at.wX + 1; ++c) {
            const int64_t index = r * w + c;
            if (index < 0 || index >= pixelCount) return 0;  // the probe would leave the picture
            const uint32_t p = bytes::ReadU16LE(pixels + 2 * index);
            const uint32_t b = (p & 0x1F) * 255 / 31;
            const uint32_t g = (p & 0x07E0) >= 6 ? 4 : 0;
            const uint32_t red = (p & 0xF800) >= 12 ? 8 : 0;
            sum = (sum + (b * 114 + g * 587 + red * 299) / 1000) & 0xFFFF;
        }
    }
    const uint32_t average = sum / 9;
    const IMAGE_EXIT_SETTINGS& block = ExitSettings(entrance);
    return block.dwLowerBound < average && average < block.dwUpperBound ? 1 : 0;
}

unsigned long CImageProc::MergeSignDataImage(unsigned short* width, unsigned short* height,
                                             unsigned char* pixels, unsigned char* text1,
                                             unsigned char* text2, unsigned long signType,
                                             unsigned long index, unsigned long direction,
                                             bool withText2) {
    if (width == nullptr || height == nullptr || pixels == nullptr || text1 == nullptr ||
        (withText2 && text2 == nullptr)) {
        return 0;
    }
    SettingsOnFirstUse();
    const IMAGE_SIGN_SETTINGS& block = g_tagImageGuidanceSettings.stSign;
    AUIFontDataCtrl font;
    if (!StartRenderer(&font, block.stStyle)) return 0;
    Line lines[2];
    if (!lines[0].Measure(this, &font, text1)) return 0;
    // Entry (type - 1) * 3 + index of the table, in 64-bit arithmetic: any type or index reads
    // the record bytes at that place, or fails outside the record.
    const int64_t entry = (static_cast<int64_t>(signType) - 1) * 3 + static_cast<int64_t>(index);
    const int64_t offset = static_cast<int64_t>(kSignAnchors) + 4 * entry;
    IMAGE_POINT at;
    if (signType > 0xFFFF || index > 0xFFFF || offset < 0 ||
        !AnchorAt(static_cast<uint64_t>(offset), &at)) {
        return 0;
    }
    uint32_t x = at.wX, y = at.wY, x2 = x, y2 = 0;
    const uint32_t w1 = static_cast<uint32_t>(lines[0].rect.right);
    uint32_t w2 = 0;
    if (withText2) {
        if (!lines[1].Measure(this, &font, text2)) return 0;
        w2 = static_cast<uint32_t>(lines[1].rect.right);
        y2 = y - static_cast<uint32_t>(lines[1].rect.bottom) - block.dwGap;
    }
    const bool right = ((signType >= 1 && signType <= 3) && index == 1) ||
                       (signType == 5 && index == 1) ||
                       ((signType == 4 || signType == 6 || signType == 7) && index == 0);
    if (signType >= 1 && signType <= 3 && index == 0) {
        x -= w1 / 2;  // centred; a second text deliberately starts at the anchor
    } else if (right) {
        x -= w1, x2 -= w2;
    }
    const bool highlight = index == direction - 1;
    const uint16_t colour = highlight ? block.wHighlightColor : block.wTextColor;
    const uint16_t mid1 = highlight ? kHighlightMid1 : kOtherMid1;
    const uint16_t mid2 = highlight ? kHighlightMid2 : kOtherMid2;
    lines[0].Draw(&font, width, height, pixels, x, y, colour, mid1, mid2);
    if (withText2) lines[1].Draw(&font, width, height, pixels, x2, y2, colour, mid1, mid2);
    return 1;
}
