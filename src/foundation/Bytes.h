// Little-endian reads and writes of 16, 24 and 32 bits, and the widening of the 3-byte
// coordinate offsets stored in data files. Readers use Read*, the writer in mapdb uses Put*,
// so that every field's width and byte order is written down here once.
#pragma once

#include <cstdint>

namespace bytes {

inline uint16_t ReadU16LE(const unsigned char* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t ReadU24LE(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16);
}
inline uint32_t ReadU32LE(const unsigned char* p) {
    return ReadU24LE(p) | (static_cast<uint32_t>(p[3]) << 24);
}
inline int32_t ReadI32LE(const unsigned char* p) {
    return static_cast<int32_t>(ReadU32LE(p));
}

inline void PutU16LE(unsigned char* p, uint16_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}
inline void PutU24LE(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
}
inline void PutU32LE(unsigned char* p, uint32_t v) {
    PutU24LE(p, v);
    p[3] = static_cast<unsigned char>(v >> 24);
}

// Files store positions as 3-byte offsets from 120 degrees east and 20 degrees north in
// 1/100 arc-second; the interfaces use milliseconds of arc.
constexpr uint32_t kLonOrigin = 43200000;  // 120 degrees in 1/100 arc-second
constexpr uint32_t kLatOrigin = 7200000;   // 20 degrees in 1/100 arc-second

inline uint32_t WidenLongitude(uint32_t u) {
    return (u + kLonOrigin) * 10;
}
inline uint32_t WidenLatitude(uint32_t v) {
    return (v + kLatOrigin) * 10;
}

// The inverse, for writers: milliseconds of arc to a 3-byte offset (the last digit is
// dropped). False when the position lies outside what three bytes can hold.
inline bool NarrowLongitude(uint32_t ms, uint32_t* u) {
    if (ms < kLonOrigin * 10 || ms / 10 - kLonOrigin > 0xFFFFFF) return false;
    *u = ms / 10 - kLonOrigin;
    return true;
}
inline bool NarrowLatitude(uint32_t ms, uint32_t* v) {
    if (ms < kLatOrigin * 10 || ms / 10 - kLatOrigin > 0xFFFFFF) return false;
    *v = ms / 10 - kLatOrigin;
    return true;
}

}  // namespace bytes
