// Writer of the household and company telephone directories: the pack folder "HOMEPHONE" with,
// per file selector, "H%03d" (households) and "CP%03d" (companies) ".idx" (key and record
// offset, sorted by key), ".cnt" (3-byte offsets of the containers and of their end) and ".dat"
// (LZMA containers of 1000 index entries' records: reading, text, position, flags).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

struct HomePhoneEntry {
    std::string number;   // as typed, e.g. "0312345678" or "09012345678" (at most 12 digits)
    std::string reading;  // UTF-8 kana (hiragana, katakana or half-width katakana); may be empty
    std::string text;     // UTF-8 display text
    uint32_t lonMs = 0;   // milliseconds of arc
    uint32_t latMs = 0;
    uint8_t attr = 0;  // eight attribute flags
};

// Writes root/HOMEPHONE/HOMEPHONE.IDX and .DAT. Entries under one key keep their input order.
// Throws Error, naming the directory, the entry's index and the field, on a number the reader
// could never find (not digits, longer than 12, refused or wrapping past 32 bits as a key), a
// reading longer than 129 bytes in half-width kana or a text longer than 382 bytes in Shift_JIS
// (or either holding a line feed or NUL), a position outside the stored range, and a
// container or record offset that its field cannot hold.
void WriteHomePhone(const std::string& root, const std::vector<HomePhoneEntry>& households,
                    const std::vector<HomePhoneEntry>& companies,
                    const std::string& version = kDefaultVersion);

}  // namespace mapdb
