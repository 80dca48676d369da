// Writer of the vicinity data set: the pack folder "VICINITY" with one file "V%02d%04d.dat"
// per genre class (0-31) and primary mesh, a 16-byte header and 10-byte records (key
// y * 10000 + x of the POI's cell, level-2 code, level-3 code, POI id) sorted by key.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"

namespace mapdb {

struct VicinityPoi {
    uint32_t id = 0;     // POI id of the base data
    uint32_t lonMs = 0;  // milliseconds of arc
    uint32_t latMs = 0;
    uint32_t genre1 = 0;    // genre class 0-31: selects the file
    uint32_t genre2 = 255;  // level-2 and level-3 codes, 0-255 (255: none)
    uint32_t genre3 = 255;
};

// Where a position falls: primary mesh code (two latitude digits, two longitude digits) and
// the cell's row and column inside it (0-7999, decimal digits = nested sub-mesh indices).
struct MeshCell {
    uint32_t mesh;
    uint32_t y;
    uint32_t x;
};
// Throws Error for a position outside the four-digit mesh codes (west of 100 degrees east,
// or a latitude or longitude index above 99).
MeshCell MeshCellOf(uint32_t latMs, uint32_t lonMs);

// Writes root/VICINITY/VICINITY.IDX and .DAT. Throws Error on a genre class above 31, a level
// code above 255 or a position MeshCellOf refuses. POIs of the same cell keep their input
// order.
void WriteVicinity(const std::string& root, const std::vector<VicinityPoi>& pois,
                   const std::string& version = kDefaultVersion);

// Vicinity entries from base POIs: the class is the first base genre code modulo 32, levels
// 2 and 3 are the second and third base codes as they stand (255 stays "none"). POIs without
// a first genre code (255) are left out. ids[i] is the POI id of pois[i].
std::vector<VicinityPoi> VicinityFromBase(const std::vector<PoiSource>& pois,
                                          const std::vector<uint32_t>& ids);

}  // namespace mapdb
