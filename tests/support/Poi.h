// Test support for the search tests: the writers and helpers they share, small POIs, record and
// text helpers, and a fixture whose database is written once per suite.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "BaseWriter.h"
#include "ByteWriter.h"
#include "GenreWriter.h"
#include "KanaWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "TextTools.h"
#include "VicinityWriter.h"
#include "support/Settings.h"

namespace testsupport {

// Tokyo station in milliseconds of arc (multiples of 10, so they survive the 1/100 s storage).
constexpr uint32_t kTokyoLon = 503161560, kTokyoLat = 128452320;
constexpr unsigned long kAny = 255;

inline mapdb::PoiSource MakePoi(const std::string& name, const std::string& reading,
                                std::array<uint32_t, 4> genre = {{1, 2, 3, 4}}) {
    mapdb::PoiSource p;
    p.texts = {name}, p.reading = reading, p.genre = genre, p.tel = 312345678;
    p.lonMs = kTokyoLon, p.latMs = kTokyoLat;
    return p;
}

// A NUL-terminated copy of `s` for the interfaces that take unsigned char*.
inline std::vector<unsigned char> Z(const std::string& s) {
    return std::vector<unsigned char>(s.c_str(), s.c_str() + s.size() + 1);
}

// The ids of the filled records (dwID not 0), in order.
inline std::vector<unsigned long> Listed(const std::vector<CLocationData>& out) {
    std::vector<unsigned long> ids;
    for (const CLocationData& r : out)
        if (r.dwID != 0) ids.push_back(r.dwID);
    return ids;
}

// A "name" folder holding the given packed files.
inline void WritePack(const std::string& root, const char* name,
                      const std::map<std::string, mapdb::Bytes>& files) {
    mapdb::PackWriter pack;
    for (const auto& [file, data] : files) pack.Add(file, data);
    pack.Write(root, name);
}

// A hand-made kana tree: 12-byte nodes {character, first child, children, first id, count}
// after a 16-byte header.
inline mapdb::Bytes Tree(const std::vector<std::array<uint32_t, 5>>& nodes) {
    mapdb::ByteWriter w;
    w.Zeros(16);
    for (const auto& n : nodes) w.U8(n[0]), w.U32(n[1]), w.U8(n[2]), w.U32(n[3]), w.U16(n[4]);
    return w.Take();
}

// A fixture whose database Derived::Write(folder) writes once for the suite; every test starts
// pointed at it.
template <class Derived>
struct SuiteDb : SettingsTest {
    static void SetUpTestSuite() { Derived::Write(dir_.path()); }
    void SetUp() override { settings_.Use(dir_.path()); }
    static inline mapdb::TempDir dir_;
};

}  // namespace testsupport
