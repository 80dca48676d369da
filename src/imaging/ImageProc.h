// CImageProc: writes direction names into RGB565 guidance pictures already in memory: exit and
// entrance names (one per slot, split into one or two lines and centred on the slot's anchors,
// coloured by the brightness under the anchor) and sign-post names (aligned by sign type,
// highlighted in the arrow's direction). Positions, sizes, colours and thresholds come from
// the process-wide settings record, filled once from the raw settings file or the defaults.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "foundation/FileIO.h"
#include "foundation/StringConvProc.h"
#include "imaging/ParseStringsProc.h"

struct IMAGE_POINT {
    uint16_t wX;
    uint16_t wY;
};

// The font part that opens every text-style block (64 bytes).
struct IMAGE_TEXT_STYLE {
    uint32_t dwFontParam1;
    uint32_t dwStyle;  // not read
    uint16_t wStyle;   // not read
    uint16_t wPad;
    uint32_t dwGlyphWidth;
    uint32_t dwGlyphHeight;
    uint32_t dwFontParam4;
    uint32_t dwZero[6];
    uint32_t dwFontFlags;  // only bits 20-23 are passed on
    uint8_t byStyle;       // not read
    uint8_t byGreyLevel[3];
    uint8_t byUnused[8];
};
static_assert(sizeof(IMAGE_TEXT_STYLE) == 64, "text style block");

// Block S: sign-post names (160 bytes).
struct IMAGE_SIGN_SETTINGS {
    IMAGE_TEXT_STYLE stStyle;
    uint32_t dwGap;  // between the two names of a two-name slot
    uint32_t dwUnused;
    uint16_t wHighlightColor;  // the name in the arrow's direction
    uint16_t wTextColor;       // the other names
    IMAGE_POINT stAnchor[21];  // (sign type - 1) * 3 + name index
};
static_assert(sizeof(IMAGE_SIGN_SETTINGS) == 160, "sign block");

// Blocks X and E: exit and entrance names (116 bytes each).
struct IMAGE_EXIT_SETTINGS {
    IMAGE_TEXT_STYLE stStyle;
    uint32_t dwUnused[4];
    uint32_t dwLowerBound;  // brightness bounds, both exclusive
    uint32_t dwUpperBound;
    uint16_t wColorInside;  // text colour when the brightness lies between the bounds
    uint16_t wColorOutside;
    IMAGE_POINT stAnchor[2][3];  // per slot: one line, lower line, upper line
};
static_assert(sizeof(IMAGE_EXIT_SETTINGS) == 116, "exit block");

struct IMAGE_GUIDANCE_SETTINGS {
    IMAGE_SIGN_SETTINGS stSign;
    IMAGE_EXIT_SETTINGS stExit;
    IMAGE_EXIT_SETTINGS stEntrance;
};
static_assert(sizeof(IMAGE_GUIDANCE_SETTINGS) == 392, "settings record");

// Filled on the first merge of the process (without a lock; concurrent first calls fill it
// with the same bytes) and never reset.
extern SP_EXPORT IMAGE_GUIDANCE_SETTINGS g_tagImageGuidanceSettings;
extern SP_EXPORT uint32_t g_dwEnableSettings;  // 1 once the record is filled

// One thread at a time per object; objects are independent apart from the settings record and
// the font engine (serialised by the font renderer).
class SP_EXPORT CImageProc : public CFileIO, public CStringConvProc, public CParseStringsProc {
public:
    CImageProc();
    virtual ~CImageProc();

    // The built-in settings; 1.
    unsigned long Init0();
    // Copies the raw settings file ("DatabaseEngine.ini" in the settings folder) over the
    // record (at most its 392 bytes); 1, or 0 when the file is missing or empty.
    unsigned long Init();

    // Exit (entrance) picture: name1 in slot 0, name2 in slot 1, Shift_JIS; absent or empty
    // names are skipped. 1, or 0 as soon as a name cannot be drawn.
    unsigned long MergeImage(unsigned short* width, unsigned short* height, unsigned char* pixels,
                             unsigned char* name1, unsigned char* name2);
    unsigned long MergeEntranceImage(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* name1,
                                     unsigned char* name2);
    // One name split into lines (14 bytes each) and drawn in `slot`.
    unsigned long MergeExitDataImage(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* name,
                                     unsigned short slot);
    unsigned long MergeEntranceDataImage(unsigned short* width, unsigned short* height,
                                         unsigned char* pixels, unsigned char* name,
                                         unsigned short slot);
    // Measures, places, colours and draws the lower (or only) line and, with twoLines, the
    // upper line. 0 when the renderer cannot start or a line cannot be measured.
    unsigned long MergeExitDataImageProc(unsigned short* width, unsigned short* height,
                                         unsigned char* pixels, unsigned char* line1,
                                         unsigned char* line2, bool twoLines, unsigned short slot);
    unsigned long MergeEntranceDataImageProc(unsigned short* width, unsigned short* height,
                                             unsigned char* pixels, unsigned char* line1,
                                             unsigned char* line2, bool twoLines,
                                             unsigned short slot);
    // 1 when the average brightness of the nine pixels at the slot's one-line anchor (rows
    // y-2..y, columns x-1..x+1) lies between the block's bounds.
    unsigned long CheckTargetDirection(unsigned short* width, unsigned short* height,
                                       unsigned char* pixels, unsigned short slot);
    unsigned long CheckEntranceTargetDirection(unsigned short* width, unsigned short* height,
                                               unsigned char* pixels, unsigned short slot);
    // One sign name (text2, when asked for, above it) at the anchor of the sign type and name
    // index; the name at index direction - 1 takes the highlight colour.
    unsigned long MergeSignDataImage(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* text1,
                                     unsigned char* text2, unsigned long signType,
                                     unsigned long index, unsigned long direction, bool withText2);

private:
    SP_LOCAL void SettingsOnFirstUse();
    SP_LOCAL unsigned long MergeNames(unsigned short* width, unsigned short* height,
                                      unsigned char* pixels, unsigned char* name1,
                                      unsigned char* name2, bool entrance);
    SP_LOCAL unsigned long MergeName(unsigned short* width, unsigned short* height,
                                     unsigned char* pixels, unsigned char* name,
                                     unsigned short slot, bool entrance);
    SP_LOCAL unsigned long MergeLines(unsigned short* width, unsigned short* height,
                                      unsigned char* pixels, unsigned char* line1,
                                      unsigned char* line2, bool twoLines, unsigned short slot,
                                      bool entrance);
    SP_LOCAL unsigned long Brightness(unsigned short* width, unsigned short* height,
                                      unsigned char* pixels, unsigned short slot, bool entrance);
};
