// Writers of the base POI data ("BASE/B%03d.IDX", ".CNT", ".DAT": one file per first reading
// character, records in reading order, 500 per LZMA container) and of the arrival points
// ("ARRIVAL/ARV.IDX", "ARRIVAL/ARV.DAT").
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

struct PoiSource {
    std::vector<std::string> texts;  // UTF-8; the first is the name
    std::string reading;             // UTF-8 kana: hiragana, katakana or half-width katakana
    std::array<uint32_t, 4> genre{{255, 255, 255, 255}};  // 0-62, 255 = none
    uint32_t tel = 0;                // national number without its leading zero
    uint32_t lonMs = 0;              // milliseconds of arc
    uint32_t latMs = 0;
    uint8_t attr = 0;                // eight attribute flags
};

struct BaseResult {
    std::vector<uint32_t> ids;  // POI id of each source POI, in input order
    // The normalised half-width reading of each source POI, in input order (what the reading
    // indexes are built from).
    std::vector<std::string> readings;
};

// Writes root/BASE/B%03d.{IDX,CNT,DAT}. Throws Error on a reading that does not start with a
// kana of the base files, a text that does not fit, a genre code above 62 (other than 255) or
// a coordinate outside the stored range.
BaseResult WriteBase(const std::string& root, const std::vector<PoiSource>& pois,
                     const std::string& version = kDefaultVersion);

struct ArrivalPoint {
    std::string name;  // UTF-8, at most 79 bytes in Shift_JIS; may be empty
    uint32_t lonMs = 0;
    uint32_t latMs = 0;
    uint8_t attr = 0;
};

struct ArrivalSource {
    uint32_t poiId;
    std::vector<ArrivalPoint> points;  // numbered 1, 2, ... in this order (at most 255)
};

// Writes root/ARRIVAL/ARV.IDX and ARV.DAT.
void WriteArrival(const std::string& root, const std::vector<ArrivalSource>& sources,
                  const std::string& version = kDefaultVersion);

}  // namespace mapdb
