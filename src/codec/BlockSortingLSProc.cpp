// Inverse block sort: rebuilds the text from the last column of its sorted rotations.
#include "codec/BlockSortingLSProc.h"

#include <cstdint>
#include <cstring>

#include "codec/CodecDetail.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"

namespace codec {
namespace detail {

unsigned long BlockSortDecode(uint8_t* dst, const uint8_t* src, unsigned long n,
                              unsigned long primary) {
    // A primary index outside the block would follow links that were never written.
    if (primary >= n || !DecodedSizeOk(n)) return 0;
    uint32_t* next = alloc::NewArray<uint32_t>(static_cast<uint64_t>(n) + 1);
    if (next == nullptr) return 0;
    size_t count[256];
    memset(count, 0, sizeof(count));
    for (size_t i = 0; i < n; ++i) ++count[src[i]];
    for (int v = 1; v < 256; ++v) count[v] += count[v - 1];
    // From the end, so that equal bytes keep their input order.
    for (size_t i = n; i-- > 0;) next[--count[src[i]]] = static_cast<uint32_t>(i);
    uint32_t i = next[primary];
    for (size_t k = 0; k < n; ++k) {
        dst[k] = src[i];
        i = next[i];
    }
    delete[] next;
    return n;
}

}  // namespace detail
}  // namespace codec

CBlockSortingLSProc::CBlockSortingLSProc() {}

CBlockSortingLSProc::~CBlockSortingLSProc() {}

unsigned long CBlockSortingLSProc::Decode(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = bytes::ReadU32LE(s);
    if (!codec::detail::DecodedSizeOk(n)) return 0;
    if (dst == nullptr) return n;
    return DecodeCore(static_cast<unsigned char*>(dst), s + 8, n, bytes::ReadU32LE(s + 4));
}

unsigned long CBlockSortingLSProc::DecodeCore(unsigned char* dst, unsigned char* src,
                                              unsigned long n, unsigned long primary) {
    return DecodeSub(dst, src, n, primary);
}

unsigned long CBlockSortingLSProc::DecodeSub(unsigned char* dst, unsigned char* src,
                                             unsigned long n, unsigned long primary) {
    return codec::detail::BlockSortDecode(dst, src, n, primary);
}
