// Writers of the stored guidance pictures: "GUIDANCE/<KIND>.IDX" and "<KIND>.IMG" per picture
// kind, and the SA/PA map pictures "SAPAINFO/SAPA.IDX" and "SAPA.IMG". An index is a 16-byte
// header, then 14-byte records sorted by key: the picture number as six digits ("%06d"), the u32
// offset of the picture's block behind the image file's 16-byte header, the u32 block size. A
// block is the LZMA block of the raw picture: u16 width, u16 height, RGB565 pixels top row first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

// The kinds of "GUIDANCE", numbered as the library's picture kinds.
enum class GuidanceKind : uint32_t {
    kInic = 0,
    kBranch = 4,
    kGrade = 8,
    kEtc = 9,
    kEtc2 = 10,
    kRealcross = 11,
    kProperJct = 12,
    kExit = 13,
    kEntrance = 15,
};

// The stem of a kind's file names ("BRANCH" for BRANCH.IDX and BRANCH.IMG).
const char* GuidanceKindWord(GuidanceKind kind);

// A picture in RGB565, rows top to bottom.
struct Rgb565Picture {
    uint16_t width = 0;
    uint16_t height = 0;
    std::vector<uint16_t> pixels;  // width * height
};

// One stored picture: its number and either a PNG file or an in-memory picture.
struct PictureSource {
    uint32_t number = 0;    // 0 to 999999
    std::string png;        // a PNG file (grey, RGB or with alpha, which is dropped), or empty
    Rgb565Picture picture;  // used when png is empty
};

// Reads a PNG file into RGB565 (the high bits of each 8-bit channel). Throws Error naming the
// file when it cannot be read or is larger than 65535 pixels either way.
Rgb565Picture ReadPngRgb565(const std::string& path);

// Write root/GUIDANCE/<KIND>.IDX and .IMG, or root/SAPAINFO/SAPA.IDX and .IMG; both files start
// with VersionHeader(version). Throws Error naming the picture and the field for a number above
// 999999 or given twice, an empty picture or one whose pixel count is not width x height, a
// picture larger than its reader holds (54000 bytes of pixels for ETC and ETC2, 326400 for the
// other kinds, 375000 for SA/PA maps), an unreadable PNG, and an image file past 4 GiB.
void WriteGuidancePictures(const std::string& root, GuidanceKind kind,
                           const std::vector<PictureSource>& pictures,
                           const std::string& version = kDefaultVersion);
void WriteSapaMapPictures(const std::string& root, const std::vector<PictureSource>& pictures,
                          const std::string& version = kDefaultVersion);

}  // namespace mapdb
