// CSearchSignData: sign-post pictures assembled from the plain files of "/SIGNPOST" (database
// path, SD path as fallback): a base picture per sign type (SIGNPICT), an arrow layer per type
// and direction (SIGNARROW, magenta 0xF81F transparent) and up to three names per sign
// (SIGNDATA), drawn in with CImageProc. The files are read whole within every call.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "imaging/ImageConvProc.h"
#include "imaging/ImageProc.h"
#include "imaging/ParseStringsProc.h"
#include "imaging/SearchImageProc.h"

// A sign type's base picture: size, RGB565 pixels (rows top-down) and its point pairs (kept,
// not used for composition). Owns its buffers.
class SP_EXPORT CSignPict {
public:
    CSignPict();
    virtual ~CSignPict();
    void Flush();

    uint16_t m_wWidth;
    uint16_t m_wHeight;
    unsigned char* m_pbyPixels;  // m_wWidth * m_wHeight * 2 bytes
    uint8_t m_byPointCount;
    uint16_t* m_pwPoints;  // m_byPointCount (x, y) pairs
};

// An arrow layer of a sign type and direction, the size of its base picture. Owns its buffer.
class SP_EXPORT CSignArrow {
public:
    CSignArrow();
    virtual ~CSignArrow();
    // Zeroes the size and frees the pixels.
    void Flush();

    uint16_t m_wWidth;
    uint16_t m_wHeight;
    unsigned char* m_pbyPixels;
};

// One thread at a time per object; objects are independent apart from the settings record and
// the font engine (see CImageProc).
class SP_EXPORT CSearchSignData : public CSearchImageProc,
                                  public CImageConvProc,
                                  public CParseStringsProc {
public:
    CSearchSignData();
    virtual ~CSearchSignData();

    // The bytes `out` must hold: the largest sign picture as a bitmap.
    static constexpr unsigned long kBitmapSize = 240066;

    // Sign `signNumber` as an RGB565 bitmap in `out` (kBitmapSize bytes), its names drawn in and
    // the one in `direction` (1-3) highlighted. 1, or 0 for sign 0, an unknown sign, missing
    // files, an empty read, a missing base picture or a record that does not fit its slots.
    unsigned long SearchSignData(unsigned char* out, unsigned short* width, unsigned short* height,
                                 unsigned long signNumber, unsigned char direction);
    // The base picture of sign type 1-7; 1 or 0.
    unsigned long GetSignPict(CSignPict* pict, unsigned char signType);
    // The arrow of sign type 1-7 and direction 1-3; 1 or 0.
    unsigned long GetSignArrow(CSignArrow* arrow, unsigned char signType, unsigned char direction);

protected:
    CImageProc m_ImageProc;
};
