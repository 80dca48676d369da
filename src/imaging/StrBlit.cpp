// The glyph blitters. Pixel positions are computed modulo 2^32, as on the 32-bit units the
// placement rules were made for: a glyph starting left of column 0 (an x that went below zero)
// lands at the end of the row above. Writes that would fall outside the picture's
// width * height pixels are dropped instead of corrupting memory.
#include "imaging/StrBlit.h"

#include <cstring>

namespace {

// Writes `colour` at pixel (x + col, y + row) when that lies inside the picture's buffer.
inline void Put(unsigned char* image, unsigned long width, unsigned long height, uint32_t x,
                uint32_t y, uint32_t col, uint32_t row, uint16_t colour) {
    const uint32_t w = static_cast<uint32_t>(width);
    const uint32_t pixel = x + col + w * (y + row);
    if (uint64_t{pixel} >= uint64_t{w} * static_cast<uint32_t>(height)) return;
    std::memcpy(image + size_t{pixel} * 2, &colour, 2);
}

}  // namespace

void CStrBlit::StrBlit4GScale(unsigned char* image, unsigned long imageWidth,
                              unsigned long imageHeight, unsigned char* glyph,
                              unsigned long glyphWidth, unsigned long glyphRows, unsigned long x,
                              unsigned long y, unsigned short colour, NDB_STRING_MIDCOLOR mid) {
    if (glyphRows == 0 || image == nullptr || glyph == nullptr) return;
    const uint16_t byLevel[4] = {0, mid.wMidColor1, mid.wMidColor2, colour};
    const unsigned long rowBytes = (glyphWidth + 1) / 2;
    for (unsigned long r = 0; r < glyphRows; ++r) {
        const unsigned char* row = glyph + r * rowBytes;
        for (unsigned long c = 0; c < glyphWidth; ++c) {
            const unsigned v = (c % 2 == 0) ? row[c / 2] >> 4 : row[c / 2] & 0x0F;
            if (v == 0 || v > 3) continue;
            Put(image, imageWidth, imageHeight, static_cast<uint32_t>(x), static_cast<uint32_t>(y),
                static_cast<uint32_t>(c), static_cast<uint32_t>(r), byLevel[v]);
        }
    }
}

void CStrBlit::StrBlit(unsigned char* image, unsigned long imageWidth, unsigned long imageHeight,
                       unsigned char* glyph, unsigned long glyphWidth, unsigned long glyphRows,
                       unsigned long x, unsigned long y, unsigned short colour) {
    if (glyphRows == 0 || image == nullptr || glyph == nullptr) return;
    const unsigned long rowBytes = (glyphWidth + 3) / 4;
    for (unsigned long r = 0; r < glyphRows; ++r) {
        const unsigned char* row = glyph + r * rowBytes;
        for (unsigned long c = 0; c < glyphWidth; ++c) {
            if (((row[c / 4] >> (6 - 2 * (c % 4))) & 3) == 0) continue;
            Put(image, imageWidth, imageHeight, static_cast<uint32_t>(x), static_cast<uint32_t>(y),
                static_cast<uint32_t>(c), static_cast<uint32_t>(r), colour);
        }
    }
}
