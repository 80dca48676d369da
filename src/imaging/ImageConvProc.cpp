// Bitmap helpers: the pitch rule, the RGB565 bitmap writer, the vertical flip, the pixel
// extractor and the 24-bit converter. Sizes are worked in 64 bits and refused when a header
// field or an allocation could not hold them.
#include "imaging/ImageConvProc.h"

#include <cstdint>
#include <cstring>

#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "imaging/PictureFormat.h"

namespace {

// Bitmap header layout: the file header, then the information header.
constexpr size_t kFileSizeAt = 2, kPixelOffsetAt = 10, kInfoSizeAt = 14, kWidthAt = 18,
                 kHeightAt = 22, kBitsAt = 28, kCompressionAt = 30, kImageSizeAt = 34,
                 kColoursUsedAt = 46, kImportantAt = 50, kMasksAt = 54;
constexpr size_t kHeadersSize = 54;  // file and information headers
constexpr size_t kPixelsAt = 66;     // behind the three masks
constexpr uint16_t kFileType = 0x4D42;
constexpr uint32_t kBitFields = 3;

// Largest bitmap the helpers build: its size must fit the u32 size field, and one byte more
// must fit an allocation.
constexpr uint64_t kMaxBitmap = SIZE_MAX - 1 < UINT32_MAX ? SIZE_MAX - 1 : UINT32_MAX;

// A zeroed new[] buffer of n + 1 bytes (the spare zero every returned buffer carries).
unsigned char* NewZeroed(uint64_t n) {
    unsigned char* p = alloc::NewArray<unsigned char>(n + 1);
    if (p != nullptr) memset(p, 0, static_cast<size_t>(n + 1));
    return p;
}

void PutMasks(unsigned char* bmp) {
    bytes::PutU32LE(bmp + kMasksAt, 0xF800);
    bytes::PutU32LE(bmp + kMasksAt + 4, 0x07E0);
    bytes::PutU32LE(bmp + kMasksAt + 8, 0x001F);
}

}  // namespace

CImageConvProc::CImageConvProc() {}
CImageConvProc::~CImageConvProc() {}

unsigned long CImageConvProc::CalcPitch(unsigned short bitsPerPixel, unsigned long width) {
    if (bitsPerPixel == 0) return 0;  // no pixel size: no row
    unsigned long bytes;
    if (bitsPerPixel < 8) {
        const unsigned long perByte = 8 / bitsPerPixel;
        bytes = (width - 1 + perByte) / perByte;
    } else {
        bytes = width * (bitsPerPixel / 8);
    }
    return (bytes & 3) == 0 ? bytes : (bytes & ~3UL) + 4;
}

unsigned long CImageConvProc::MakeBitmapRGB565WithHeader(unsigned char* out, unsigned short width,
                                                         unsigned short height,
                                                         unsigned char* pixels,
                                                         unsigned char topDown) {
    if (out == nullptr || pixels == nullptr) return 0;
    const int32_t stored = topDown == 1 ? -static_cast<int32_t>(height) : height;
    const uint64_t fileSize = (static_cast<uint64_t>(width) * height + 33) * 2;
    if (fileSize > SIZE_MAX) return 0;  // only a 32-bit host: no buffer can hold it
    const uint64_t imageSize = fileSize - kPixelsAt;
    memset(out, 0, static_cast<size_t>(fileSize));
    bytes::PutU16LE(out, kFileType);
    bytes::PutU32LE(out + kFileSizeAt, static_cast<uint32_t>(fileSize));
    bytes::PutU32LE(out + kPixelOffsetAt, kPixelsAt);
    bytes::PutU32LE(out + kInfoSizeAt, 40);
    bytes::PutU32LE(out + kWidthAt, width);
    bytes::PutU32LE(out + kHeightAt, static_cast<uint32_t>(stored));
    // Planes stay 0 (not 1) on purpose: the hosts accept it and compare bitmaps byte for byte.
    bytes::PutU16LE(out + kBitsAt, 16);
    bytes::PutU32LE(out + kCompressionAt, kBitFields);
    bytes::PutU32LE(out + kImageSizeAt, static_cast<uint32_t>(imageSize));
    PutMasks(out);
    // Rows packed without the four-byte padding of the pitch rule, deliberately.
    memcpy(out + kPixelsAt, pixels, static_cast<size_t>(imageSize));
    return 1;
}

unsigned long CImageConvProc::BitmapRotateFlipVertical(unsigned char** out, unsigned char* bmp) {
    if (out == nullptr || bmp == nullptr) return 0;
    const int32_t width = bytes::ReadI32LE(bmp + kWidthAt);
    const int32_t rows = bytes::ReadI32LE(bmp + kHeightAt);
    if (*out != nullptr) return 0;
    // Only bottom-up bitmaps of a non-negative width have a row count to reverse.
    if (width < 0 || rows < 0) return 0;
    const uint64_t pitch =
        CalcPitch(bytes::ReadU16LE(bmp + kBitsAt), static_cast<unsigned long>(width));
    const uint64_t total = static_cast<uint64_t>(rows) * pitch + kHeadersSize;
    if (total > kMaxBitmap) return 0;
    unsigned char* flipped = NewZeroed(total);
    if (flipped == nullptr) return 0;
    // Both headers unchanged; the pixels are taken to start at byte 54 in input and output.
    memcpy(flipped, bmp, kHeadersSize);
    for (uint64_t r = 0; r < static_cast<uint64_t>(rows); ++r) {
        memcpy(flipped + kHeadersSize + (rows - 1 - r) * pitch, bmp + kHeadersSize + r * pitch,
               static_cast<size_t>(pitch));
    }
    *out = flipped;
    return static_cast<unsigned long>(total);
}

unsigned long CImageConvProc::ExtractPixelDataRGB565(unsigned char** out, unsigned char* bmp) {
    if (out == nullptr || bmp == nullptr) return 0;
    const uint32_t fileSize = bytes::ReadU32LE(bmp + kFileSizeAt);
    const uint32_t pixelOffset = bytes::ReadU32LE(bmp + kPixelOffsetAt);
    if (*out != nullptr) return 0;
    if (pixelOffset > fileSize) return 0;  // no pixels behind the headers
    const uint64_t n = fileSize - pixelOffset;
    unsigned char* pixels = NewZeroed(n);
    if (pixels == nullptr) return 0;
    memcpy(pixels, bmp + pixelOffset, static_cast<size_t>(n));
    *out = pixels;
    return static_cast<unsigned long>(n);
}

unsigned long CImageConvProc::BitmapRGB888to565(unsigned char** out, unsigned char* bmp) {
    if (out == nullptr || bmp == nullptr) return 0;
    unsigned char headers[kHeadersSize];
    memcpy(headers, bmp, kHeadersSize);
    const int32_t width = bytes::ReadI32LE(headers + kWidthAt);
    const int32_t height = bytes::ReadI32LE(headers + kHeightAt);
    const unsigned short bits = bytes::ReadU16LE(headers + kBitsAt);
    // Top-down (negative height) input is not converted: only bottom-up pictures come here.
    if (width < 0 || height < 0) return 0;
    const uint64_t rowBytes = static_cast<uint64_t>(width) * (bits / 8);
    const uint64_t pitch = CalcPitch(bits, static_cast<unsigned long>(width));
    const uint64_t pixelCount = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    const uint64_t fileSize = (pixelCount + 33) * 2;
    if (fileSize > kMaxBitmap) return 0;

    bytes::PutU16LE(headers + kBitsAt, 16);
    bytes::PutU32LE(headers + kInfoSizeAt, 40);
    bytes::PutU32LE(headers + kCompressionAt, kBitFields);
    bytes::PutU32LE(headers + kImageSizeAt, static_cast<uint32_t>(fileSize - kPixelsAt));
    bytes::PutU32LE(headers + kColoursUsedAt, 0);
    bytes::PutU32LE(headers + kImportantAt, 0);
    bytes::PutU32LE(headers + kFileSizeAt, static_cast<uint32_t>(fileSize));
    bytes::PutU32LE(headers + kPixelOffsetAt, kPixelsAt);
    // Everything else (reserved words, planes, resolutions, the height) is the input's.

    if (*out != nullptr) return 0;
    unsigned char* converted = NewZeroed(fileSize);
    if (converted == nullptr) return 0;
    memcpy(converted, headers, kHeadersSize);
    PutMasks(converted);

    // Pixels are read as blue, green, red from byte 54; rows keep their order.
    const unsigned char* src = bmp + kHeadersSize;
    unsigned char* dst = converted + kPixelsAt;
    auto convert = [&](uint64_t count) {
        for (uint64_t k = 0; k < count; ++k, src += 3, dst += 2)
            bytes::PutU16LE(dst, picture::PackRgb565(src[2], src[1], src[0]));
    };
    if (rowBytes % 4 == 0) {
        convert(pixelCount);  // rows without padding: one run
    } else {
        for (int32_t r = 0; r < height; ++r) {
            convert(static_cast<uint64_t>(width));
            src += pitch - rowBytes;
        }
    }
    *out = converted;
    return static_cast<unsigned long>(fileSize);
}
