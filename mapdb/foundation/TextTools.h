// Text for the writers: UTF-8 source text to the Shift_JIS the data holds, and kana readings to
// the half-width katakana bytes the reading indexes use. Unconvertible text is an Error.
#pragma once

#include <cstdint>
#include <string>

namespace mapdb {

// UTF-8 to Shift_JIS through the library's code table; ASCII stays as it is.
std::string Utf8ToSjis(const std::string& utf8);
// Shift_JIS back to UTF-8 (for tools and test messages); unknown codes become U+203B.
std::string SjisToUtf8(const std::string& sjis);
// A reading in hiragana, full-width or half-width katakana (UTF-8) to half-width katakana
// bytes; voiced kana become base + 0xDE, semi-voiced base + 0xDF; "ー" and "-" become 0xB0.
std::string ReadingToHalfKana(const std::string& utf8);
// The reading key: half-width reading without voiced marks, hyphens as 0xB0.
std::string NormalisedReading(const std::string& halfKana);

// Decodes one UTF-8 code point at `i` (advancing it); throws on malformed input.
uint32_t NextCodePoint(const std::string& utf8, size_t* i);

}  // namespace mapdb
