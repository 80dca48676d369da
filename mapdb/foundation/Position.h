// Positions as the data sets store them: milliseconds of arc narrowed to the 24-bit offsets
// ((u + 43,200,000) x 10 and (v + 7,200,000) x 10 ms when read back). A position outside the
// stored range is an Error naming the record.
#pragma once

#include <cstdint>
#include <string>

namespace mapdb {

uint32_t StoredLon(uint32_t ms, const std::string& what);
uint32_t StoredLat(uint32_t ms, const std::string& what);

}  // namespace mapdb
