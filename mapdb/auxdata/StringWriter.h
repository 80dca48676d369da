// Writer of the guidance string database "STRINGDB": per selector the pair GDESTR<XX>.IDX
// (16-byte header, then 14-byte entries sorted by number: u16 attribute, u32 number counted
// from 0, u32 extra value, u32 offset into the .DAT) and GDESTR<XX>.DAT (16-byte header whose
// bytes 12-15 tag the file "UTF8" or "SJIS", then the strings back to back, unterminated).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

struct GuidanceString {
    uint32_t number = 0;  // as callers ask for it, counted from 1
    std::string text;     // UTF-8; parts of a multi-part name are joined by "｜" (U+FF5C)
    uint32_t extra = 0;   // handed to callers that ask for it
    uint16_t attribute = 0;
};

enum class StringEncoding { kUtf8, kShiftJis };

// Writes root/STRINGDB/GDESTR<selector in two upper-case hex digits>.IDX and .DAT, the strings
// stored in `encoding`. Throws Error naming the string and field for number 0 or a number
// given twice, an empty text or one holding NUL (neither could be found), a text without a
// Shift_JIS form in a Shift_JIS file, and a data file past 4 GiB.
void WriteStringDb(const std::string& root, uint8_t selector,
                   const std::vector<GuidanceString>& strings, StringEncoding encoding,
                   const std::string& version = kDefaultVersion);

// The data sets whose contents the library does not read but whose versions it reports
// ("INTERSECTION", "VOLIST", "CHANNEL"): each file holds only the version header, so that a
// database reports one version for every kind.
void WriteVersionOnlySets(const std::string& root, const std::string& version = kDefaultVersion);

}  // namespace mapdb
