// Writers of the SA/PA information ("SAPAINFO/SAPAID.IDX": 16-byte entries of a ten-character
// id and the record start as six digits, sorted by id; "SAPAINFO/SAPA.DAT": records of 18 fixed
// bytes, name, ",", second text, CR LF) and of the allied parking pairs ("PARKING/TK.DAT").
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

struct SapaSource {
    std::string id;  // exactly ten bytes, compared as raw bytes
    uint8_t kind = 0;
    std::array<uint32_t, 5> values{};  // 16 bits each
    uint32_t flags = 0;                // raw facility flags
    uint32_t value6 = 0;               // 24 bits
    std::string name;                  // UTF-8; at most 32 bytes in Shift_JIS, no ","
    std::string text;                  // UTF-8; at most 47 bytes in Shift_JIS, no CR LF
};

// Writes root/SAPAINFO/SAPAID.IDX and the data file, records in id order. The data file is
// SAPA.DAT, or SAPAID.DAT (the name the SD card copy carries) when `sdName` is set. Throws Error
// naming the record and field for an id that is not ten bytes or is given twice, a value too
// wide for its field, a name or text that does not fit or holds its terminator, or a record
// start beyond six digits.
void WriteSapaInfo(const std::string& root, const std::vector<SapaSource>& records,
                   bool sdName = false, const std::string& version = kDefaultVersion);

struct ParkingPair {
    uint32_t facility;  // POI id of the facility
    uint32_t parking;   // POI id of one of its car parks
};

// Writes root/PARKING/TK.DAT, pairs sorted by facility id, each facility's car parks in the
// given order. Throws Error naming the pair for one given twice, and for facility ids spanning
// 2^31 or more (the reader orders them by their signed 32-bit difference).
void WriteParking(const std::string& root, const std::vector<ParkingPair>& pairs,
                  const std::string& version = kDefaultVersion);

}  // namespace mapdb
