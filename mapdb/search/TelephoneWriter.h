// Writers of the telephone search's data: the icon ids of the genres ("GENRE/GENREDATA.DAT", a
// plain file beside the GENRE pack files), the POI telephone index (pack folder "TELEPHONE",
// "T%03d.idx") and the area points of number prefixes (pack folder "PHONEPOINT", "PP%03d.dat").
// Numbers are keyed with the library's own phone_key functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

// One genre record: its name (UTF-8, at most 71 bytes in Shift_JIS), codes 1-3 and icon id.
struct GenreDataRecord {
    std::string name;
    uint8_t code1 = 0, code2 = 0, code3 = 0;
    uint16_t iconId = 0;
};

// Writes root/GENRE/GENREDATA.DAT: the version header, then one 80-byte record per input
// record, in input order. Leaves the GENRE pack files alone. Throws Error on a name that does
// not fit.
void WriteGenreData(const std::string& root, const std::vector<GenreDataRecord>& records,
                    const std::string& version = kDefaultVersion);

// A POI listed under a telephone number typed as digits ("0312345678", "09012345678").
struct TelephoneEntry {
    std::string number;
    uint32_t poiId = 0;
};

// Writes the pack folder root/TELEPHONE: per file selector "T%03d.idx", 8-byte entries (key,
// POI id) sorted by key, input order kept within a key. Throws Error, naming the record, on a
// number no search can find: refused by the key rules, not digits, longer than 12 bytes, or
// too long for its key to hold.
void WriteTelephone(const std::string& root, const std::vector<TelephoneEntry>& entries,
                    const std::string& version = kDefaultVersion);

// The point shown for a number prefix typed as digits ("031234"), in milliseconds of arc.
struct AreaPoint {
    std::string prefix;
    uint32_t lonMs = 0, latMs = 0;
};

// Writes the pack folder root/PHONEPOINT: per selector of the prefix key "PP%03d.dat", 9-byte
// entries (24-bit prefix key, 24-bit longitude and latitude offsets) sorted by prefix key.
// Throws Error, naming the record, on a prefix refused by the area key rules, two prefixes
// with one key, or a position outside the stored range.
void WritePhonePoint(const std::string& root, const std::vector<AreaPoint>& points,
                     const std::string& version = kDefaultVersion);

}  // namespace mapdb
