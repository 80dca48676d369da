// Writers of the address data sets: "ADDRESS" (the prefecture list "A/A.dat" as one LZMA block,
// and per prefecture and level the pack folder "A%02d" with "A%02d-%d.dat", LZMA blocks of 500
// records, and "A%02d-%d.cnt", the blocks' 3-byte offsets with an end entry), "REFINE" (the
// existence files and city bitmaps of a genre refinement) and "CONVADDR" ("CA.DAT", area codes).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

// One item of the address tree. Levels run from 0 (prefectures) to 7; each item's children are
// listed in the given order (the caller sorts them, by reading for the kana rows to be useful).
struct AddressItem {
    std::string name;     // UTF-8; a number ("12") makes a numbered item
    std::string reading;  // UTF-8 kana; its first letter gives the kana row (levels 0-2), may
                          // be empty (no row)
    uint32_t lonMs = 0;   // milliseconds of arc
    uint32_t latMs = 0;
    uint32_t code = 0;  // prefecture code 1-99 (level 0 only): names the prefecture's files
    std::vector<AddressItem> children;
};

// Writes root/ADDRESS, with the version files "A.DAT", "A.IDX" and "A00"-"A46" ".DAT"/".IDX"
// beside the pack folders. Items of one level of a prefecture are stored breadth first, so a child
// list starts wherever its parent's siblings' lists end (usually inside a block). Throws Error
// naming the item (its path of names) and the field: more than 47 prefectures, a prefecture
// code outside 1-99 or used twice, an empty name, a name longer than 374 bytes in Shift_JIS
// or holding a line feed or NUL, a reading that is not kana, a position outside the stored
// range, children below level 7, and a level file that outgrows its offsets.
void WriteAddress(const std::string& root, const std::vector<AddressItem>& prefectures,
                  const std::string& version = kDefaultVersion);

// The refinement data of one genre (genre1 0-99, genre2 and genre3 0-999).
struct RefineSet {
    uint32_t genre1 = 0;
    uint32_t genre2 = 0;
    uint32_t genre3 = 0;
    // Prefecture list positions (0-99) that have data: each gets an existence file.
    std::vector<uint32_t> prefectures;
    // Prefecture code (0-99) -> one flag per city list position.
    std::map<uint32_t, std::vector<bool>> cities;
};

// Writes root/REFINE/REFINE.IDX and .DAT with the files "R%02d%02d%03d%03d" (number, genre1,
// genre2, genre3). A prefecture position and a prefecture code share the name space: a city
// bitmap of code k also answers "position k has data". Throws Error naming the genre and the
// number for a value outside its field's digits, and when a bitmap must exist under the name
// of a position that has no data.
void WriteRefine(const std::string& root, const std::vector<RefineSet>& sets,
                 const std::string& version = kDefaultVersion);

// One area code and the list positions to choose for it at levels 0, 1 and 2.
struct ConvAddrEntry {
    uint32_t code1 = 0;     // 0-255
    uint32_t code2 = 0;     // 0-65535
    uint32_t code3 = 0;     // 0-65535; 0 = the whole of code 2
    uint32_t pos0 = 0;      // 0-255
    uint32_t pos1 = 0;      // 0-255
    uint32_t pos2 = 65535;  // 0-65535; 65535 = none
};

// Writes root/CONVADDR/CA.DAT, 9-byte entries sorted by the codes. Throws Error naming the
// entry (its codes) and the field for a value its field cannot hold or a code given twice.
void WriteConvAddr(const std::string& root, const std::vector<ConvAddrEntry>& entries,
                   const std::string& version = kDefaultVersion);

}  // namespace mapdb
