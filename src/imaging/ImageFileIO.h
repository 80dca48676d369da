// CImageFileIO: reads one stored guidance picture (a compressed block located through the
// picture index) and hands it over as an RGB565 bitmap in the caller's buffer. Each reader has a
// fixed capacity: the caller's buffer must hold it plus 66 bytes (326466 for ReadLBranchBMP,
// 54066 for ReadLEtcBMP, 375066 for ReadSAPAMapBMP). The image file is opened and closed within
// the call. One thread at a time per object (the block decoder's state); objects are independent.
#pragma once

#include "codec/MarlinDataProc.h"
#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "imaging/ImageConvProc.h"

class SP_EXPORT CImageFileIO : public CImageConvProc, public CMarlinDataProc, public CCommonProc {
public:
    CImageFileIO();
    virtual ~CImageFileIO();

    // Read the block at *offset (absolute) of *size bytes from the image file `fileName` in
    // "/GUIDANCE" (the first two) or "/SAPAINFO", decode it and write the bitmap into out, the
    // picture's width and height through the pointers. 1 on success, 0 on failure.
    unsigned long ReadLBranchBMP(char* fileName, unsigned long* offset, unsigned long* size,
                                 unsigned short* width, unsigned short* height, unsigned char* out);
    unsigned long ReadLEtcBMP(char* fileName, unsigned long* offset, unsigned long* size,
                              unsigned short* width, unsigned short* height, unsigned char* out);
    unsigned long ReadSAPAMapBMP(char* fileName, unsigned long* offset, unsigned long* size,
                                 unsigned short* width, unsigned short* height, unsigned char* out);
};
