// The stored picture format shared by the picture readers and their writer: index records of a
// six-character key, the u32 block offset behind the image file's 16-byte header and the u32
// block size; the readers' fixed pixel capacities; the RGB565 packing of 8-bit colours; and the
// file open every picture file goes through. Internal; not exported.
#pragma once

#include <cstdint>
#include <cstdio>

#include "foundation/CommonProc.h"
#include "foundation/FileIO.h"

namespace picture {

constexpr uint64_t kHeaderSize = 16;  // of index and image files alike; never read
constexpr uint64_t kKeySize = 6;
constexpr uint64_t kRecordSize = 14;  // key, u32 offset, u32 size
constexpr uint64_t kOffsetAt = 6;
constexpr uint64_t kSizeAt = 10;

// Pixel bytes each reader copies out of a decoded picture (behind its u16 width and height);
// a stored picture must fit them.
constexpr unsigned long kBranchPixelBytes = 326400;  // 480 x 340
constexpr unsigned long kEtcPixelBytes = 54000;      // 27000 pixels
constexpr unsigned long kSapaPixelBytes = 375000;    // 187500 pixels

// Red in bits 15-11, green 10-5, blue 4-0, each the high bits of its 8-bit channel.
inline uint16_t PackRgb565(unsigned red, unsigned green, unsigned blue) {
    return static_cast<uint16_t>(((red & 0xF8) << 8) | ((green & 0xFC) << 3) |
                                 ((blue & 0xFF) >> 3));
}

// Opens folder/name ("/GUIDANCE" and "BRANCH.IDX") under the database path, else, when the SD
// card is enabled, under the SD path; -1 when neither opens. Deliberately no test of the
// database switch: picture files are opened whatever it says.
inline int Open(const char* folder, const char* name) {
    char path[256] = {};
    snprintf(path, sizeof(path), "%s/%s", folder, name);  // a longer name is cut and not found
    int fd = CFileIO::CreateFile(g_tcharPath, path);
    if (fd == -1 && CCommonProc::IsSDEnabled()) fd = CFileIO::CreateFile(g_tcharSDPath, path);
    return fd;
}

}  // namespace picture
