// Shift_JIS character boundaries for the readers that walk stored texts: a lead byte
// (0x81-0x9F, 0xE0-0xFC) takes the next byte as its trail. Internal; not exported.
#pragma once

#include <cstddef>

namespace sjis {

inline bool IsLeadByte(unsigned char b) {
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
}

// The longest prefix of s[0, n) of at most `max` bytes that ends on a character boundary.
inline size_t FitPrefix(const unsigned char* s, size_t n, size_t max) {
    size_t i = 0;
    while (i < n) {
        const size_t step = IsLeadByte(s[i]) && i + 1 < n ? 2 : 1;
        if (i + step > max) break;
        i += step;
    }
    return i;
}

}  // namespace sjis
