// Escape-byte LZSS decoding: matches copy from the output already produced.
#include "codec/LzssProc.h"

#include "codec/CodecDetail.h"
#include "foundation/Bytes.h"

namespace codec {
namespace detail {

unsigned long LzssDecode(uint8_t* dst, const uint8_t* src, size_t srcLimit, unsigned long n,
                         unsigned long escape) {
    size_t o = 0;
    size_t i = 0;
    // One token is read even for n = 0.
    do {
        if (i >= srcLimit) return 0;
        const uint8_t b = src[i];
        if (b != escape) {
            if (o < n) dst[o] = b;
            ++o;
            ++i;
            continue;
        }
        if (i + 1 >= srcLimit) return 0;
        const uint8_t d = src[i + 1];
        if (d == escape) {
            if (o < n) dst[o] = b;
            ++o;
            i += 2;
            continue;
        }
        if (i + 2 >= srcLimit) return 0;
        const size_t len = src[i + 2];
        const size_t dist = d < escape ? d : d - 1u;
        i += 3;
        if (len != 0 && dist > o) return 0;
        // Forward byte by byte, so that an overlapping match (dist < len) repeats its pattern.
        // Bytes past n are never part of the result and are not written.
        const size_t end = o + len < n ? o + len : (o < n ? n : o);
        for (size_t k = o; k < end; ++k) dst[k] = dst[k - dist];
        o += len;
    } while (o < n);
    return n;
}

}  // namespace detail
}  // namespace codec

CLzssProc::CLzssProc() {}

CLzssProc::~CLzssProc() {}

unsigned long CLzssProc::Decode(void* dst, void* src) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    const unsigned long n = bytes::ReadU32LE(s);
    if (!codec::detail::DecodedSizeOk(n)) return 0;
    if (dst == nullptr) return n;
    return DecodeCore(static_cast<unsigned char*>(dst), static_cast<unsigned char*>(src) + 8, n,
                      bytes::ReadU32LE(s + 4));
}

unsigned long CLzssProc::LZSS_Decode(void* src, void* dst) {
    return Decode(dst, src);
}

unsigned long CLzssProc::DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n,
                                    unsigned long escape) {
    return codec::detail::LzssDecode(dst, src, codec::detail::LzssSourceBudget(n), n, escape);
}
