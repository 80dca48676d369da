// SA/PA map pictures: the buffer size on a null output, else look-up and read.
#include "imaging/ImageData.h"

#include <cstdio>

#include "imaging/PictureFormat.h"

CImageData::CImageData() {}
CImageData::~CImageData() {}

unsigned long CImageData::GetImageSAPAMap(unsigned char* out, unsigned short* width,
                                          unsigned short* height, unsigned long imageNumber) {
    if (out == nullptr) return picture::kSapaPixelBytes + 66;
    // "%06d" of the number as an int: 1234567 gives seven characters, of which the lookup
    // compares the first six.
    char key[16] = {};
    snprintf(key, sizeof(key), "%06d", static_cast<int>(imageNumber));
    unsigned long offset = 0;
    unsigned long size = 0;
    if (!m_SearchSAPAMapImageProc.SearchProc(key, &offset, &size)) return 0;
    char fileName[256] = {};
    snprintf(fileName, sizeof(fileName), "%s%s", "SAPA", ".IMG");
    return m_ImageFileIO.ReadSAPAMapBMP(fileName, &offset, &size, width, height, out);
}
