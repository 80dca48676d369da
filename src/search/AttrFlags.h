// The eight attribute flags of a stored record as the records carry them: flag i that is set
// adds 10^i, so the flags read as a decimal number of 0s and 1s (0x81 gives 10000001).
// Internal; not exported.
#pragma once

#include <cstdint>

namespace attr_flags {

inline uint32_t Decimal(unsigned flags) {
    uint32_t sum = 0;
    uint32_t digit = 1;
    for (int bit = 0; bit < 8; ++bit, digit *= 10) {
        if (flags & (1u << bit)) sum += digit;
    }
    return sum;
}

}  // namespace attr_flags
