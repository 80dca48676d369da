// Genre codes: 255 means "none" in data and "any" in filters; 6-bit fields store it as 63. The
// filter shared by the searches lets the first wildcard end the comparison (deeper levels are
// then not looked at). Readers and the writers in mapdb use these definitions alike.
#pragma once

#include <cstdint>

namespace genre {

constexpr unsigned long kAny = 255;      // "none" in data, "any" in a filter
constexpr uint32_t kStoredNone = 63;     // how a 6-bit field holds 255
constexpr int kPackedLevels = 4;         // a 24-bit field holds four 6-bit codes, level 1 highest

// The 6-bit field of one code: 255 becomes 63, other codes are kept (the caller checks range).
inline uint32_t Pack6(uint32_t code) { return code == kAny ? kStoredNone : code; }
// A 6-bit field read back: 63 becomes 255.
inline uint32_t Unpack6(uint32_t field) {
    return (field & 0x3F) == kStoredNone ? static_cast<uint32_t>(kAny) : field & 0x3F;
}
// Code of `level` (0 = level 1) from a 24-bit field of four codes.
inline uint32_t UnpackLevel(uint32_t packed24, int level) {
    return Unpack6(packed24 >> (18 - 6 * level));
}
// Four codes into a 24-bit field.
inline uint32_t Pack24(const uint32_t codes[kPackedLevels]) {
    uint32_t packed = 0;
    for (int level = 0; level < kPackedLevels; ++level) {
        packed |= (Pack6(codes[level]) & 0x3F) << (18 - 6 * level);
    }
    return packed;
}

// A record with codes c1..c4 matches g1..g4: g1 must match, then level by level until the
// first wildcard.
inline bool Matches(unsigned long c1, unsigned long c2, unsigned long c3, unsigned long c4,
                    unsigned long g1, unsigned long g2, unsigned long g3, unsigned long g4) {
    if (g1 != kAny && c1 != g1) return false;
    if (g2 == kAny) return true;
    if (c2 != g2) return false;
    if (g3 == kAny) return true;
    if (c3 != g3) return false;
    return g4 == kAny || c4 == g4;
}

// Below a wildcard every level becomes a wildcard.
inline void Normalise(unsigned long* g2, unsigned long* g3, unsigned long* g4) {
    if (*g2 == kAny) {
        *g3 = kAny;
        *g4 = kAny;
    } else if (*g3 == kAny) {
        *g4 = kAny;
    }
}

}  // namespace genre
