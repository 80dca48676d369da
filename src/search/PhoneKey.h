// Telephone numbers as typed (digit strings beginning with "0", at most 12 bytes are looked at)
// turned into the 32-bit keys and file selectors of the telephone, household, company and area
// files. Shared by the readers and by mapdb's writers. Internal; not exported.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace phone_key {

constexpr size_t kDigits = 12;

struct Key {
    bool accepted;   // false: the number can be in no file (0 hits, no error)
    uint32_t value;  // the digits after the leading zero as a decimal number (mod 2^32)
};

// The first 12 bytes of the caller's buffer, NUL-terminated. Nothing after a zero byte can
// change a key (the decimal reading and every prefix test end there), so the copy ends there
// too and a shorter NUL-terminated buffer is never read past.
inline void FirstDigits(const unsigned char* number, char out[kDigits + 1]) {
    memset(out, 0, kDigits + 1);
    if (number == nullptr) return;
    for (size_t i = 0; i < kDigits && number[i] != 0; ++i) out[i] = static_cast<char>(number[i]);
}

inline bool StartsWith(const char* digits, const char* prefix) {
    return strncmp(digits, prefix, strlen(prefix)) == 0;
}

// Reads the buffer as a decimal number up to its first non-digit, in 32-bit arithmetic.
inline uint32_t Decimal(const char* digits) {
    uint32_t v = 0;
    for (; *digits >= '0' && *digits <= '9'; ++digits)
        v = v * 10 + static_cast<uint32_t>(*digits - '0');
    return v;
}

// The key of the POI telephone, household and company directories: numbers not beginning with
// "0", and the typed prefixes 010-040, are refused; 070/080/090/050 are folded to 010-040 so
// that 11-digit mobile numbers fit into 32 bits.
inline Key Directory(const unsigned char* number) {
    char digits[kDigits + 1];
    FirstDigits(number, digits);
    if (digits[0] != '0') return {false, 0};
    for (const char* typed : {"010", "020", "030", "040"}) {
        if (StartsWith(digits, typed)) return {false, 0};
    }
    static const char* const kFolded[][2] = {
        {"070", "010"}, {"080", "020"}, {"090", "030"}, {"050", "040"}};
    for (const auto& fold : kFolded) {
        if (StartsWith(digits, fold[0])) memcpy(digits, fold[1], 3);
    }
    return {true, Decimal(digits)};
}

// The key of the area-point search: no folding, and every number without a geographic area
// (00, mobile and IP prefixes, 0120, 0800, 0570) is refused.
inline Key Area(const unsigned char* number) {
    char digits[kDigits + 1];
    FirstDigits(number, digits);
    if (digits[0] != '0') return {false, 0};
    for (const char* prefix :
         {"00", "010", "020", "030", "040", "050", "070", "080", "090", "0120", "0800", "0570"}) {
        if (StartsWith(digits, prefix)) return {false, 0};
    }
    return {true, Decimal(digits)};
}

// The file number of a key: its first two digits (the key itself when it is 100 or less).
inline uint32_t Selector(uint32_t key) {
    while (key > 100) key /= 10;
    return key;
}

// The area prefix of a key: its first five digits (the key itself when it is 100,000 or less).
inline uint32_t AreaPrefix(uint32_t key) {
    while (key > 100000) key /= 10;
    return key;
}

}  // namespace phone_key
