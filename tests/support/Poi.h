// Test support: small POI sets for the base data writer, and record text helpers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "SearchProc.h"

namespace testsupport {

// Tokyo station in milliseconds of arc (multiples of 10, so they survive the 1/100 s storage).
constexpr uint32_t kTokyoLon = 503161560;
constexpr uint32_t kTokyoLat = 128452320;

inline mapdb::PoiSource MakePoi(const std::string& name, const std::string& reading,
                                uint32_t g1 = 1, uint32_t g2 = 2, uint32_t g3 = 3,
                                uint32_t g4 = 4) {
    mapdb::PoiSource p;
    p.texts = {name};
    p.reading = reading;
    p.genre = {{g1, g2, g3, g4}};
    p.tel = 312345678;
    p.lonMs = kTokyoLon;
    p.latMs = kTokyoLat;
    return p;
}

// The first string of a record's text area.
inline std::string NameOf(const CLocationData& r) { return std::string(r.szName); }

}  // namespace testsupport
