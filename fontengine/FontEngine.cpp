// The engine calls on FreeType: each started engine owns one FreeType library and one face over
// the caller's font image; a glyph is rendered in 8-bit coverage and laid into its cell.
#include "FontEngine.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstring>
#include <new>

namespace {

struct EngineState {
    FT_Library library = nullptr;
    FT_Face face = nullptr;
};

// A rendered character placed in its cell.
struct Cell {
    FA_GLYPH_INFO info;
    const FT_Bitmap* bitmap;
    int top;  // cell row of the bitmap's first row
};

EngineState* StateOf(FA_ENGINE* engine) {
    return engine != nullptr ? static_cast<EngineState*>(engine->pState) : nullptr;
}

void Release(EngineState* s) {
    if (s->face != nullptr) FT_Done_Face(s->face);
    if (s->library != nullptr) FT_Done_FreeType(s->library);
    delete s;
}

// Loads, renders and places the character of `request`.
int32_t Render(FA_ENGINE* engine, const FA_GLYPH_REQUEST* request, Cell* cell) {
    EngineState* s = StateOf(engine);
    if (request == nullptr) return FA_ERR_ARGUMENT;
    if (s == nullptr) return FA_ERR_STATE;
    const uint32_t w = request->dwWidth, h = request->dwHeight;
    if (w == 0 || h == 0 || w > FA_MAX_PIXELS || h > FA_MAX_PIXELS) return FA_ERR_SIZE;
    if (FT_Set_Pixel_Sizes(s->face, w, h) != 0) return FA_ERR_SIZE;
    const FT_UInt index = FT_Get_Char_Index(s->face, request->dwCode);
    if (FT_Load_Glyph(s->face, index, FT_LOAD_RENDER | FT_LOAD_NO_BITMAP) != 0) return FA_ERR_GLYPH;
    const FT_GlyphSlot g = s->face->glyph;
    if (g->bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || g->bitmap.pitch < 0) return FA_ERR_GLYPH;

    // The baseline splits the em in the font's ascender to descender ratio.
    const long asc = s->face->ascender, span = long{s->face->ascender} - s->face->descender;
    const int baseline =
        span > 0 ? static_cast<int>((asc * h + span / 2) / span) : static_cast<int>(h - h / 8);
    const long advance = (g->advance.x + 32) >> 6;
    const long inkRight = long{g->bitmap_left} + static_cast<long>(g->bitmap.width);
    const long width = std::max(std::max(advance, inkRight), 0L);
    if (width > long{FA_MAX_PIXELS} * 4) return FA_ERR_GLYPH;

    cell->info.dwBitmapWidth = static_cast<uint32_t>(width);
    cell->info.lBearingX = g->bitmap_left;
    cell->info.lRegionWidth = static_cast<int32_t>(advance - 1);
    cell->info.lRegionHeight = static_cast<int32_t>(h - 1);
    cell->info.lBaseline = baseline;
    cell->bitmap = &g->bitmap;
    cell->top = baseline - g->bitmap_top;
    return FA_OK;
}

uint8_t Level(uint8_t coverage, const uint8_t* levels) {
    if (coverage < levels[0]) return 0;
    if (coverage < levels[1]) return 1;
    return coverage < levels[2] ? 2 : 3;
}

}  // namespace

extern "C" {

int32_t FaInitialize(FA_ENGINE* engine, const FA_CACHE_DESC* cache) {
    if (engine == nullptr || engine->pDecodeBuffer == nullptr || engine->pGscaleBuffer == nullptr)
        return FA_ERR_ARGUMENT;
    if (cache != nullptr && (cache->pBuffer == nullptr || cache->dwSize == 0))
        return FA_ERR_ARGUMENT;
    if (engine->pState != nullptr) return FA_ERR_STATE;
    const FA_FONT_LIST* list = engine->pFontList;
    if (list == nullptr || list->dwFonts == 0 || list->pFonts == nullptr ||
        list->pFonts[0].pData == nullptr || list->pFonts[0].dwDataSize == 0)
        return FA_ERR_FONT;

    EngineState* s = new (std::nothrow) EngineState;
    if (s == nullptr) return FA_ERR_MEMORY;
    if (FT_Init_FreeType(&s->library) != 0) {
        Release(s);
        return FA_ERR_MEMORY;
    }
    const FA_FONT& font = list->pFonts[0];
    if (FT_New_Memory_Face(s->library, static_cast<const FT_Byte*>(font.pData),
                           static_cast<FT_Long>(font.dwDataSize), 0, &s->face) != 0 ||
        FT_Select_Charmap(s->face, FT_ENCODING_UNICODE) != 0) {
        Release(s);
        return FA_ERR_FONT;
    }
    engine->pState = s;
    return FA_OK;
}

int32_t FaGetRegionSize(FA_ENGINE* engine, const FA_GLYPH_REQUEST* request, FA_GLYPH_INFO* info) {
    if (info == nullptr) return FA_ERR_ARGUMENT;
    Cell cell;
    const int32_t ret = Render(engine, request, &cell);
    if (ret == FA_OK) *info = cell.info;
    return ret;
}

int32_t FaGetGlyphImage(FA_ENGINE* engine, const FA_GLYPH_REQUEST* request, FA_GLYPH_INFO* info,
                        uint8_t* image) {
    if (info == nullptr || image == nullptr || request == nullptr ||
        request->pGreyLevels == nullptr)
        return FA_ERR_ARGUMENT;
    Cell cell;
    const int32_t ret = Render(engine, request, &cell);
    if (ret != FA_OK) return ret;

    const uint32_t cols = cell.info.dwBitmapWidth, rows = request->dwHeight;
    const uint32_t rowBytes = (cols + 1) / 2;
    if (uint64_t{rowBytes} * rows > engine->dwGscaleSize) return FA_ERR_IMAGE_SIZE;

    // Every cell pixel goes through the thresholds, ink or not, so the levels alone decide
    // what the background reads.
    const FT_Bitmap& bm = *cell.bitmap;
    const uint8_t* levels = request->pGreyLevels;
    for (uint32_t r = 0; r < rows; ++r) {
        uint8_t* out = image + size_t{r} * rowBytes;
        std::memset(out, 0, rowBytes);
        const int64_t br = int64_t{r} - cell.top;
        const bool inkRow = br >= 0 && br < static_cast<int64_t>(bm.rows);
        for (uint32_t c = 0; c < cols; ++c) {
            const int64_t bc = int64_t{c} - cell.info.lBearingX;
            uint8_t coverage = 0;
            if (inkRow && bc >= 0 && bc < static_cast<int64_t>(bm.width))
                coverage = bm.buffer[br * bm.pitch + bc];
            const uint8_t v = Level(coverage, levels);
            out[c / 2] |= (c % 2 == 0) ? static_cast<uint8_t>(v << 4) : v;
        }
    }
    *info = cell.info;
    return FA_OK;
}

int32_t FaFinalize(FA_ENGINE* engine) {
    EngineState* s = StateOf(engine);
    if (s == nullptr) return FA_ERR_STATE;
    Release(s);
    engine->pState = nullptr;
    return FA_OK;
}

}  // extern "C"

CFontAvenueWrapper::CFontAvenueWrapper() = default;
CFontAvenueWrapper::~CFontAvenueWrapper() = default;

CFontAvenueWrapper* CFontAvenueWrapper::GetInstance() {
    // Created once and never destroyed, so renderers in static destructors still find it.
    static CFontAvenueWrapper* const instance = new CFontAvenueWrapper;
    return instance;
}

void CFontAvenueWrapper::SetMutex() {
    m_mutex.lock();
}
void CFontAvenueWrapper::ResetMutex() {
    m_mutex.unlock();
}
