// Writer of the sign-post data set "SIGNPOST", six plain files:
//  SIGNDATA.IDX  12-byte header, then u32 start offsets into SIGNDATA.DAT per sign number n at
//                byte 4 * (n + 3); SIGNDATA.DAT: records u8 type, u8 name count, per name u8
//                length and Shift_JIS text;
//  SIGNPICT.IDX  12-byte header, then u32 offsets per sign type 1-7 at 4 * (type + 3);
//                SIGNPICT.DAT: u8 point count, (u16, u16) points, u16 width, u16 height, pixels;
//  SIGNARROW.IDX 16-byte header, then 6-byte records u8 type, u8 direction, u32 offset;
//                SIGNARROW.DAT: u16 width, u16 height, pixels (0xF81F transparent).
// Every file starts with the version; data files keep a 16-byte header before their records.
// A sign number or type without a record points at the end of its data file, so it reads
// nothing and is not found.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ByteWriter.h"
#include "GuidanceWriter.h"

namespace mapdb {

struct SignSource {
    uint32_t number = 0;             // 1 and up
    uint8_t type = 0;                // 1-7
    std::vector<std::string> names;  // UTF-8, at most 3, each at most 40 bytes in Shift_JIS
};

// The base picture of a sign type, from a PNG file or in memory.
struct SignPictureSource {
    uint8_t type = 0;  // 1-7
    std::vector<std::pair<uint16_t, uint16_t>> points;
    std::string png;
    Rgb565Picture picture;
};

// The arrow layer of a sign type and direction (1-3), the size of the type's base picture.
struct SignArrowSource {
    uint8_t type = 0;
    uint8_t direction = 0;
    std::string png;
    Rgb565Picture picture;
};

// Writes root/SIGNPOST. Throws Error naming the record and field for a sign number of 0 or
// given twice, a type outside 1-7, more than 3 names or a name over 40 bytes in Shift_JIS, a
// type or arrow given twice, a direction outside 1-3, more than 255 points, a picture that is
// empty, not width x height pixels or larger than a sign bitmap holds (240000 bytes of pixels),
// an arrow whose size differs from its type's picture, and a data file past 4 GiB.
void WriteSignposts(const std::string& root, const std::vector<SignSource>& signs,
                    const std::vector<SignPictureSource>& pictures,
                    const std::vector<SignArrowSource>& arrows,
                    const std::string& version = kDefaultVersion);

}  // namespace mapdb
