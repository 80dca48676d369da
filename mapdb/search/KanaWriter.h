// Writer of the reading data set: the pack folder "KANAMA" with, per first character of the
// normalised reading, the character tree "K%03d.idx" and the offset files "K%03d.ofs"
// (id, genre codes, attribute flags) and "K2%03d.ofs" (id, three genre bytes, position).
#pragma once

#include <string>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"

namespace mapdb {

// Writes root/KANAMA/KANAMA.IDX and .DAT for the POIs whose base data `base` is (WriteBase of
// the same `pois`). Readings are converted to half-width katakana and normalised as the base
// writer does; each node of a tree designates the contiguous run of base records (and offset
// entries) whose reading begins with the node's path: first id = the run's first POI id,
// count = its length. Bit 15 of the count is set when the path is the whole reading of at
// least one POI. Entry r of both offset files describes record r of the base file.
//
// A node's count has 15 bits. A run of more than 32,767 POIs (a first character shared by a
// nation's worth of readings) is stored saturated: its count is 32,767, so searching that
// prefix offers the first 32,767 POIs of the run. The other POIs stay reachable through the
// longer prefixes of their readings (each counted exactly unless it too exceeds the limit) and
// through every other search. Each saturated prefix is logged as a warning
// (priority 5, tag "mapdb") and returned, in UTF-8, in tree order per base file.
// Throws Error on a reading that cannot be converted and on base data that does not match the
// readings.
std::vector<std::string> WriteKana(const std::string& root, const std::vector<PoiSource>& pois,
                                   const BaseResult& base,
                                   const std::string& version = kDefaultVersion);

}  // namespace mapdb
