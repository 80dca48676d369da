// Readings are half-width katakana bytes (0xA6-0xDF). Before they are matched, the voiced and
// semi-voiced marks are dropped and the ASCII hyphen becomes the prolonged-sound mark; the
// reading search, and the writer that orders the base data, normalise the same way.
#pragma once

#include <cstddef>

namespace reading {

constexpr unsigned char kVoiced = 0xDE;
constexpr unsigned char kSemiVoiced = 0xDF;
constexpr unsigned char kProlonged = 0xB0;

// Normalises the NUL-terminated `in` into `out` (at most `cap` bytes, then a terminator;
// `out` holds cap + 1 bytes). Returns the key length.
inline size_t Normalise(const unsigned char* in, unsigned char* out, size_t cap) {
    size_t n = 0;
    for (; *in != 0 && n < cap; ++in) {
        if (*in == kVoiced || *in == kSemiVoiced) continue;
        out[n++] = *in == '-' ? kProlonged : *in;
    }
    out[n] = 0;
    return n;
}

}  // namespace reading
