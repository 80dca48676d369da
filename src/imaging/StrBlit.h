// CStrBlit: writes one rendered glyph into an RGB565 picture (width pixels a row, no padding),
// the pixel of column c and row r being the u16 at byte 2 * (c + width * r).
// There is no clipping to the picture: the caller keeps glyphs inside it. Stateless.
#pragma once

#include <cstdint>

#include "foundation/Export.h"

// The two edge colours (RGB565) of anti-aliased text: level 1 and level 2 of a grey glyph.
struct NDB_STRING_MIDCOLOR {
    uint16_t wMidColor1;
    uint16_t wMidColor2;
};
static_assert(sizeof(NDB_STRING_MIDCOLOR) == 4, "two RGB565 colours");

class SP_EXPORT CStrBlit {
public:
    // A 4-level grey glyph: two pixels a byte, high nibble first, ceil(glyphWidth / 2) bytes a
    // row. Level 3 writes `colour`, 1 and 2 the mid colours; 0 and values above 3 leave the
    // pixel. `imageHeight` only bounds the writes to the picture's buffer.
    static void StrBlit4GScale(unsigned char* image, unsigned long imageWidth,
                               unsigned long imageHeight, unsigned char* glyph,
                               unsigned long glyphWidth, unsigned long glyphRows, unsigned long x,
                               unsigned long y, unsigned short colour, NDB_STRING_MIDCOLOR mid);
    // A 2-bit glyph: four pixels a byte, highest bits first, ceil(glyphWidth / 4) bytes a row;
    // any non-zero value writes `colour`.
    static void StrBlit(unsigned char* image, unsigned long imageWidth, unsigned long imageHeight,
                        unsigned char* glyph, unsigned long glyphWidth, unsigned long glyphRows,
                        unsigned long x, unsigned long y, unsigned short colour);
};
