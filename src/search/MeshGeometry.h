// Mesh geometry of the vicinity data, shared by its reader and its writer. Positions in
// 1/100 arc-second. A primary mesh is 40' of latitude by 1 degree of longitude, its code two
// latitude digits (40' steps from the equator) and two longitude digits (degrees east of 100).
// Inside it a cell's row y and column x (0-7999) have as decimal digits the indices of the
// nested 8 x 8, 10 x 10, 10 x 10 and 10 x 10 subdivisions; a record's key is y * 10000 + x.
// Internal; not exported.
#pragma once

#include <cstdint>

namespace mesh {

constexpr uint32_t kHeight = 240000;      // 40' of latitude
constexpr uint32_t kWidth = 360000;       // 1 degree of longitude
constexpr uint32_t kWestEdge = 36000000;  // 100 degrees east: longitude digits 00
constexpr uint32_t kCellHeight = 30;      // 0.3"
constexpr uint32_t kCellWidth = 45;       // 0.45"
constexpr long long kCells = 8000;        // rows and columns of a primary mesh
constexpr int kNorthStep = 100;           // mesh code step to the northern neighbour
constexpr int kEastStep = 1;              // and to the eastern one
constexpr long long kRowFactor = 10000;   // key = row * kRowFactor + column
// The centre of a cell from its south-west corner (half a cell, rounded down).
constexpr uint32_t kCentreLat = kCellHeight / 2;
constexpr uint32_t kCentreLng = kCellWidth / 2;

// Row or column of the cell holding `offset` (from the mesh's south or west edge): the
// digits of the four nested subdivisions, the first 1000 cells wide.
inline uint32_t NestedIndex(uint32_t offset, uint32_t cell) {
    uint32_t v = 0;
    uint32_t span = cell * 1000;
    for (int level = 0; level < 4; ++level) {
        v = v * 10 + offset / span;
        offset %= span;
        span /= 10;
    }
    return v;
}

// Offset of a row or column's south or west edge from the mesh's edge: NestedIndex undone.
inline uint32_t NestedOffset(uint32_t index, uint32_t cell) {
    uint32_t offset = 0;
    uint32_t span = cell;
    for (int level = 0; level < 4; ++level, index /= 10, span *= 10) offset += (index % 10) * span;
    return offset;
}

}  // namespace mesh
