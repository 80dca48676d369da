// Writer of the facility details folder "ADDINFO" (a pack folder): "I.idx" (16-byte header,
// then 7-byte records sorted by id: u32 id, u24 offset into "I.dat"), "I.dat" (per facility the
// opening-hours line and the closing-days line in Shift_JIS, each ended by a line feed) and
// "AF.dat" (16-byte header, then 5-byte records sorted by id: u32 id, u8 attribute bits).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

// The two texts of one facility, UTF-8; either may be empty.
struct IntroSource {
    uint32_t id = 0;
    std::string openTime;
    std::string closeDay;
};

// The additional attributes of one facility: bit i is attribute i.
struct AddFunctionSource {
    uint32_t id = 0;
    uint8_t bits = 0;
};

// Writes root/ADDINFO/ADDINFO.IDX and .DAT holding "I.idx", "I.dat" and "AF.dat"; each table is
// sorted by id. Throws Error naming the record and field for an id given twice in one table,
// ids 2^31 or more apart in one table (the readers compare ids by signed difference), a text
// that does not convert to Shift_JIS, holds a line feed or NUL, or is 768 bytes or longer in
// Shift_JIS, and for an "I.dat" that outgrows the 3-byte offsets.
void WriteAddInfo(const std::string& root, const std::vector<IntroSource>& intros,
                  const std::vector<AddFunctionSource>& functions,
                  const std::string& version = kDefaultVersion);

}  // namespace mapdb
