// The outline-font engine of libFontEngine.so: four calls that start an engine over an in-memory
// font list, measure a character and render it as a 4-level grey image, and stop the engine.
// Rendering is done with FreeType; every record here is this engine's own.
#pragma once

#include <cstdint>
#include <mutex>

#define FA_EXPORT __attribute__((visibility("default")))

// Engine results: 0 on success, one of these otherwise.
enum : int32_t {
    FA_OK = 0,
    FA_ERR_ARGUMENT = 0x0001,    // a null record, grey levels or image, or a missing work buffer
    FA_ERR_STATE = 0x0002,       // started twice, or used/stopped before FaInitialize
    FA_ERR_FONT = 0x0003,        // no font in the list, or its data is not a font FreeType reads
    FA_ERR_SIZE = 0x0004,        // pixel width or height 0 or above FA_MAX_PIXELS
    FA_ERR_GLYPH = 0x0005,       // the character could not be loaded or rendered
    FA_ERR_IMAGE_SIZE = 0x0006,  // the glyph image would not fit the grey-scale buffer
    FA_ERR_MEMORY = 0x0007,      // the engine's own state could not be allocated
};

constexpr uint32_t FA_MAX_PIXELS = 1024;

// Rendering options of one font element; all zero selects the defaults (the only ones there are).
struct FA_FONT_ELEMENT {
    uint32_t dwReserved[26];
};
static_assert(sizeof(FA_FONT_ELEMENT) == 104, "element record is 104 bytes");

// One font: its file image in memory (kept alive by the caller while the engine runs) and its
// elements.
struct FA_FONT {
    const void* pData;
    uint32_t dwDataSize;
    uint32_t dwElements;
    FA_FONT_ELEMENT* pElements;
};

// The fonts an engine renders with; this engine uses the first one.
struct FA_FONT_LIST {
    uint32_t dwFonts;
    FA_FONT* pFonts;
};

// The work area of one engine, filled by the caller before FaInitialize. The decode and
// grey-scale buffers belong to the caller; the grey-scale size bounds every glyph image.
// pState is the engine's own: null before FaInitialize and after FaFinalize.
struct FA_ENGINE {
    FA_FONT_LIST* pFontList;
    uint8_t* pDecodeBuffer;
    uint32_t dwDecodeSize;
    uint8_t* pGscaleBuffer;
    uint32_t dwGscaleSize;
    void* pState;
};

// An optional glyph cache handed to FaInitialize: buffer, size in bytes and two tuning values.
// This engine checks and records it; FreeType keeps its own glyph state.
struct FA_CACHE_DESC {
    uint8_t* pBuffer;
    uint32_t dwSize;
    int32_t lParam1;
    int32_t lParam2;
};

// One character to measure or render.
struct FA_GLYPH_REQUEST {
    uint32_t dwCode;             // UTF-16 code unit; a code the font lacks renders its .notdef
    uint32_t dwParam1;           // font parameter 1 (passed through, not interpreted)
    uint32_t dwStyle;            // style word (passed through)
    uint32_t dwWidth;            // pixel width of the em
    uint32_t dwHeight;           // pixel height of the em = rows of every glyph image
    uint32_t dwParam[8];         // font parameter 4 and reserved words (passed through)
    uint32_t dwFlags;            // bit 0: grey levels (always set by callers); others ignored
    const uint8_t* pGreyLevels;  // three ascending coverage thresholds (0-255)
};

// Measurements of one character. The glyph image is the character's cell: dwBitmapWidth
// columns, starting at the pen position, and lRegionHeight + 1 rows, from the top of the em;
// the pen advances by lRegionWidth + 1 columns. Both region values are inclusive last
// indexes, so an empty advance reads -1.
struct FA_GLYPH_INFO {
    uint32_t dwBitmapWidth;  // columns of the image: the advance or the ink's right edge
    int32_t lBearingX;       // column of the first ink pixel from the pen (may be negative)
    int32_t lRegionWidth;    // advance - 1
    int32_t lRegionHeight;   // rows - 1
    int32_t lBaseline;       // row of the baseline in the image
};

extern "C" {

// Starts `engine` over its font list; `cache` may be null. FA_ERR_FONT when the first font
// cannot be opened.
FA_EXPORT int32_t FaInitialize(FA_ENGINE* engine, const FA_CACHE_DESC* cache);

// Measures one character (see FA_GLYPH_INFO).
FA_EXPORT int32_t FaGetRegionSize(FA_ENGINE* engine, const FA_GLYPH_REQUEST* request,
                                  FA_GLYPH_INFO* info);

// Measures and renders one character into `image`: rows of ceil(dwBitmapWidth / 2) bytes, one
// 4-bit cell a pixel (high nibble first) holding its grey level 0-3: coverage below level 1
// gives 0, below level 2 gives 1, below level 3 gives 2, otherwise 3. At most the engine's
// grey-scale size is written; a larger image fails with FA_ERR_IMAGE_SIZE before writing.
FA_EXPORT int32_t FaGetGlyphImage(FA_ENGINE* engine, const FA_GLYPH_REQUEST* request,
                                  FA_GLYPH_INFO* info, uint8_t* image);

// Stops `engine` and releases everything FaInitialize took; the caller's buffers stay.
FA_EXPORT int32_t FaFinalize(FA_ENGINE* engine);

}  // extern "C"

// The process-wide lock of the engine calls. Every renderer brackets each engine call with
// SetMutex and ResetMutex of the one instance, so renderers on different threads take turns;
// each engine owns its FreeType state, so the lock only serialises, it guards no shared data.
// GetInstance creates the instance on first use (thread-safe) and it lives as long as the
// process.
class FA_EXPORT CFontAvenueWrapper {
public:
    static CFontAvenueWrapper* GetInstance();
    void SetMutex();
    void ResetMutex();

    CFontAvenueWrapper(const CFontAvenueWrapper&) = delete;
    CFontAvenueWrapper& operator=(const CFontAvenueWrapper&) = delete;

private:
    CFontAvenueWrapper();
    ~CFontAvenueWrapper();
    std::mutex m_mutex;
};
