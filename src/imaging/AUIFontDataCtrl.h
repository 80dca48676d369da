// AUIFontDataCtrl: the font renderer of guidance pictures. It loads the font file once per
// process (gpNDBFontData), drives the font engine one UTF-16 character at a time, measures
// strings and blits glyphs into RGB565 pictures with CStrBlit. Errors are logged with tag "OLF".
#pragma once

#include <FontEngine.h>

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"
#include "imaging/StrBlit.h"

// The whole font file in memory: loaded by the first renderer and kept for the process's life.
// Filled without a lock.
extern SP_EXPORT char* gpNDBFontData;

namespace font_file {
// The font file under the database root (only the database path is used, never the SD path).
constexpr const char kRelativePath[] = "FONTAVENUE/OLF/VELA_ARIB_RGUD_V5-10.BIN";
}  // namespace font_file

struct NDB_OLFA_FONT_PARAM {
    uint32_t dwParam1;
    uint32_t dwFlags;
    uint32_t dwWidth;   // glyph width in pixels
    uint32_t dwHeight;  // glyph height in pixels
    uint32_t dwParam4;
    uint8_t byGreyLevel[3];
};
static_assert(sizeof(NDB_OLFA_FONT_PARAM) == 24, "font parameters");

struct NDB_OLFA_FONT_CASH_INFO {
    int32_t lCacheSize;  // KiB; 0 or less: no cache
    int32_t lParam1;     // handed to the engine's cache descriptor unchanged
    int32_t lParam2;
};
static_assert(sizeof(NDB_OLFA_FONT_CASH_INFO) == 12, "cache sizes");

struct NDB_OLFA_FONT_DATA_INFO {
    uint32_t dwWidth;    // glyph bitmap width in pixels, as the engine reports it
    uint32_t dwValue1;   // engine value (first ink column)
    uint32_t dwAdvance;  // horizontal advance: region width + 1
    uint32_t dwHeight;   // glyph rows: region height + 1
    uint32_t dwValue2;   // engine value (baseline row)
};
static_assert(sizeof(NDB_OLFA_FONT_DATA_INFO) == 20, "five words a glyph");

// One string to draw: UTF-16, zero-terminated, at most 20 characters used.
struct VELADRAWIMAGESTRINGS {
    uint16_t wText[22];
    uint32_t dwCount;
    uint32_t dwX;
    uint32_t dwY;
    uint16_t wColor;
    NDB_STRING_MIDCOLOR stMidColor;
};
static_assert(sizeof(VELADRAWIMAGESTRINGS) == 64 && offsetof(VELADRAWIMAGESTRINGS, dwCount) == 44 &&
                  offsetof(VELADRAWIMAGESTRINGS, wColor) == 56 &&
                  offsetof(VELADRAWIMAGESTRINGS, stMidColor) == 58,
              "string record layout");

struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};
static_assert(sizeof(tagRECT) == 16, "rectangle");

// One thread at a time per renderer; renderers are independent apart from gpNDBFontData and the
// engine lock (CFontAvenueWrapper), which every engine call takes except FaInitialize with a
// cache.
class SP_EXPORT AUIFontDataCtrl {
public:
    AUIFontDataCtrl();
    virtual ~AUIFontDataCtrl();

    // Default parameters (24 x 24 px, grey levels 64/128/192), loadFonts, initialDriver. 1 or 0.
    long init(const char* fontPath, const NDB_OLFA_FONT_CASH_INFO* cache);
    // Builds the one-font list over gpNDBFontData, reading the font file if not done yet.
    // `fontPath` is only tested for null. A failed read still returns 1 (the engine start
    // reports it).
    long loadFonts(const char* fontPath);
    // Reads the file `path` whole into a new array at *out; the byte count, or -1.
    long ReadFileAndMemcpy(const char* path, char** out);
    // Allocates the engine buffers and starts the engine; 1 at once when already started.
    long initialDriver(const NDB_OLFA_FONT_CASH_INFO* cache);
    // Takes parameter 1, width, height, parameter 4, flags (| 1) and grey levels. 1 or 0.
    long setFontParam(const NDB_OLFA_FONT_PARAM* param);
    // Renders `code` into `glyph` (4-bit grey cells; room for 16384 bytes) and fills `info`.
    long getFontData(unsigned short code, NDB_OLFA_FONT_DATA_INFO* info, unsigned short* glyph);
    // Measures `code` only.
    long getFontSize(unsigned short code, NDB_OLFA_FONT_DATA_INFO* info);
    // rect = (0, 0, sum of advances, rows of the last character) of the first 20 characters.
    long getStringRect(unsigned short* text, tagRECT& rect);
    // Draws s->dwCount characters from (s->dwX, s->dwY) into the RGB565 picture `image`.
    long drawStringOnImage(unsigned short* width, unsigned short* height, unsigned char* image,
                           VELADRAWIMAGESTRINGS* s);
    // Stops the engine and frees the font list and the buffers.
    long finalizeDriver();
    long unInit();

private:
    // The current parameters as the engine request takes them. dwWords[0] is font parameter 4,
    // dwWords[7] the blit mode, which nothing changes from 0.
    struct Params {
        uint32_t dwParam1;
        uint32_t dwStyle;
        uint32_t dwWidth;
        uint32_t dwHeight;
        uint32_t dwWords[8];
        uint32_t dwFlags;
        uint8_t byGreyLevel[3];
    };

    SP_LOCAL FA_GLYPH_REQUEST Request(unsigned short code) const;
    SP_LOCAL void FreeFonts();
    SP_LOCAL void FreeBuffers();

    FA_ENGINE m_stEngine;
    FA_CACHE_DESC m_stCacheDesc;
    FA_FONT_LIST* m_pFontList;
    uint8_t* m_pDecodeBuffer;
    uint8_t* m_pGscaleBuffer;
    uint8_t* m_pCacheBuffer;
    Params m_stParams;
    CFontAvenueWrapper* m_pWrapper;
};
