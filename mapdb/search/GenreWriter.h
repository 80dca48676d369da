// Writer of the genre data set: the pack folder "GENRE" with, per level-1 key, the index
// "G%03d.idx" (12-byte entries sorted by the widened five-level key) and "G%03d.ofs" (the runs
// of POI ids, one run per index entry, in index order).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

// One POI under one five-level genre key. A POI may be listed under several keys (for
// example its exact key and the key with level 5 = 255 for "all of level 4").
struct GenrePoi {
    uint32_t id;                  // POI id as the base data numbers it
    std::array<uint32_t, 5> key;  // levels 1-3: 0-62 or 255 (all); level 4: 0-63; level 5: 0-255
};

// Writes root/GENRE/GENRE.IDX and .DAT. Every distinct key becomes one index entry whose run
// holds its ids in ascending order: reading order within a base file, so that a page of a
// run shows names in kana order and neighbours share base-data containers. Throws Error on a level
// that cannot be stored (level 1-3 of 63 or above 63 other than 255, level 4 above 63 - the index
// has no "all" for level 4 -, level 5 above 255).
void WriteGenre(const std::string& root, const std::vector<GenrePoi>& pois,
                const std::string& version = kDefaultVersion);

}  // namespace mapdb
