// CImageData: the SA/PA map picture entry point, the picture index lookup and the reader in one
// call, with the two-call sizing of the caller's buffer. One thread at a time per object.
#pragma once

#include "foundation/Export.h"
#include "imaging/ImageFileIO.h"
#include "imaging/SearchImageProc.h"

class SP_EXPORT CImageData {
public:
    CImageData();
    ~CImageData();

    // With out null: 375066, the buffer size to allocate (no file is touched). Otherwise looks
    // up imageNumber ("%06d") in "/SAPAINFO/SAPA.IDX" and writes the picture's RGB565 bitmap
    // into out: 1, or 0 when the number is not indexed or the picture cannot be read.
    unsigned long GetImageSAPAMap(unsigned char* out, unsigned short* width, unsigned short* height,
                                  unsigned long imageNumber);

private:
    CSearchSAPAMapImageProc m_SearchSAPAMapImageProc;
    CImageFileIO m_ImageFileIO;
};
