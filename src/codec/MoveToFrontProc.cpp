// Move-to-front decoding, the variant in which a symbol reaches the front only on its second
// consecutive use.
#include "codec/MoveToFrontProc.h"

#include <cstring>

#include "codec/CodecDetail.h"
#include "foundation/Bytes.h"

namespace codec {
namespace detail {

void MtfDecode(uint8_t* dst, const uint8_t* src, size_t n) {
    uint8_t table[256];
    for (int v = 0; v < 256; ++v) table[v] = static_cast<uint8_t>(v);
    unsigned prev = 1;
    for (size_t j = 0; j < n; ++j) {
        const unsigned k = src[j];
        const uint8_t sym = table[k];
        if (k == 1) {
            // Deliberate: index 1 right after index 0 leaves the table as it is.
            if (prev != 0) {
                table[1] = table[0];
                table[0] = sym;
            }
        } else if (k >= 2) {
            memmove(table + 2, table + 1, k - 1);
            table[1] = sym;
        }
        dst[j] = sym;
        prev = k;
    }
}

}  // namespace detail
}  // namespace codec

CMoveToFrontProc::CMoveToFrontProc() {}

CMoveToFrontProc::~CMoveToFrontProc() {}

unsigned long CMoveToFrontProc::Decode(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = bytes::ReadU32LE(s);
    if (!codec::detail::DecodedSizeOk(n)) return 0;
    if (dst == nullptr) return n;
    return DecodeCore(static_cast<unsigned char*>(dst), s + 4, n);
}

unsigned long CMoveToFrontProc::DecodeCore(unsigned char* dst, unsigned char* src,
                                           unsigned long n) {
    DecodeSub(dst, src, n);
    return n;
}

void CMoveToFrontProc::DecodeSub(unsigned char* dst, unsigned char* src, unsigned long n) {
    codec::detail::MtfDecode(dst, src, n);
}
