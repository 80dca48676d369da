// Writers of the postal code tables "ZIPCODE/Z.DAT" and "ZIPCODE/CZ.DAT" (9-byte records:
// code, longitude and latitude offsets, sorted by code) and of the adjacent-prefecture table
// "VICINITYPREF/VP.DAT" (one 36-byte row per iPC prefecture id, 1 first).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

struct ZipcodeSource {
    std::string code;    // "100-0005" or "1000005"
    uint32_t lonMs = 0;  // milliseconds of arc
    uint32_t latMs = 0;
};

// The seven-digit number of "NNN-NNNN" or "NNNNNNN"; Error for any other form and for codes
// beginning with 000 (no text look-up can reach them). `what` names the record.
uint32_t ZipcodeNumber(const std::string& code, const std::string& what);

// Writes root/ZIPCODE/Z.DAT from `ordinary` and root/ZIPCODE/CZ.DAT from `company`, each sorted
// by code. Throws Error naming the record and field for a bad code, a code given twice in one
// table, or a position outside the stored range. A code may be in both tables: the ordinary
// one is found first.
void WriteZipcode(const std::string& root, const std::vector<ZipcodeSource>& ordinary,
                  const std::vector<ZipcodeSource>& company,
                  const std::string& version = kDefaultVersion);

// One prefecture of a row: its device id (0-46) and UTF-8 name of at most four characters,
// each in the Basic Multilingual Plane. Id 255 with an empty name marks an unused place.
struct PrefectureRef {
    uint32_t id = 255;
    std::string name;
};
// A row: the prefecture itself, then up to three the data lists with it.
using VicinityPrefRow = std::array<PrefectureRef, 4>;

// Writes root/VICINITYPREF/VP.DAT; rows[r] is the row of iPC id r + 1 (at most 47 rows).
// Throws Error naming the row and place for an id out of range, an unused own place, a device
// id that owns two rows, an empty, malformed or too long name, or a name beside id 255.
void WriteVicinityPref(const std::string& root, const std::vector<VicinityPrefRow>& rows,
                       const std::string& version = kDefaultVersion);

}  // namespace mapdb
