// CImageConvProc: the bitmap helpers of guidance pictures. Every picture reaches the host as an
// in-memory RGB565 bitmap: a 14-byte file header, a 40-byte information header, the three colour
// masks and the pixels from byte 66, rows never padded. Helpers that return a new buffer through
// `out` need *out null on entry and allocate with array new; the caller frees with array delete.
// No state: any thread may use any object.
#pragma once

#include "foundation/Export.h"

class SP_EXPORT CImageConvProc {
public:
    CImageConvProc();
    virtual ~CImageConvProc();

    // Bytes of one bitmap row of `width` pixels, rounded up to a multiple of four.
    unsigned long CalcPitch(unsigned short bitsPerPixel, unsigned long width);
    // Writes the RGB565 bitmap of width x height pixels into out (height stored negative when
    // topDown is 1); 1, or 0 when out or pixels is null.
    unsigned long MakeBitmapRGB565WithHeader(unsigned char* out, unsigned short width,
                                             unsigned short height, unsigned char* pixels,
                                             unsigned char topDown);
    // A new bitmap with the rows of bmp (pixels at byte 54, no masks) in reverse order; its
    // size, 0 on failure.
    unsigned long BitmapRotateFlipVertical(unsigned char** out, unsigned char* bmp);
    // A new buffer with the pixel bytes of bmp; their count, 0 on failure.
    unsigned long ExtractPixelDataRGB565(unsigned char** out, unsigned char* bmp);
    // The RGB565 bitmap of a bottom-up 24-bit bitmap; its size, 0 on failure.
    unsigned long BitmapRGB888to565(unsigned char** out, unsigned char* bmp);
};
