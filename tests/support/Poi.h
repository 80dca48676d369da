// Test support: small POI sets for the base data writer, and record and text helpers.
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
constexpr unsigned long kAny = 255;

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
inline std::string NameOf(const CLocationData& r) {
    return std::string(r.szName);
}

// A NUL-terminated copy of `s` for the interfaces that take unsigned char*.
inline std::vector<unsigned char> Z(const std::string& s) {
    std::vector<unsigned char> out(s.begin(), s.end());
    out.push_back(0);
    return out;
}

// The ids of the filled records (dwID not 0), in order.
inline std::vector<unsigned long> Listed(const std::vector<CLocationData>& out) {
    std::vector<unsigned long> ids;
    for (const CLocationData& r : out) {
        if (r.dwID != 0) ids.push_back(r.dwID);
    }
    return ids;
}

}  // namespace testsupport
