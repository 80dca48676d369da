// The genre filter shared by the searches: 255 in a filter level means "any", and the first
// wildcard ends the comparison (deeper levels are then not looked at).
#pragma once

namespace genre {

constexpr unsigned long kAny = 255;

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
