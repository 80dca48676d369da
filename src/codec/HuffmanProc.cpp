// Static Huffman decoding: the tree is rebuilt from the 256 transmitted frequencies by 255
// linear-scan merges (ties keep the earlier node), then bits are read least significant first.
#include "codec/HuffmanProc.h"

#include <cstdint>

#include "codec/CodecDetail.h"
#include "codec/HuffmanTree.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"

namespace {

using codec::huffman::kLeaves;
using codec::huffman::kNodes;
using codec::huffman::kRoot;
using codec::huffman::Node;
constexpr size_t kFreqTableOffset = 4;
constexpr size_t kStreamOffset = kFreqTableOffset + 4 * kLeaves;

}  // namespace

namespace codec {
namespace detail {

unsigned long HuffmanDecode(uint8_t* dst, const uint8_t* src, unsigned long n,
                            const uint32_t* freq) {
    Node* nodes = alloc::NewArray<Node>(kNodes);
    if (nodes == nullptr) return 0;
    if (!codec::huffman::BuildTree(nodes, freq) || n == 0) {
        delete[] nodes;
        return 0;
    }
    // A source byte is loaded when its first bit is needed, so that a stream ending on a byte
    // boundary is not read beyond.
    size_t next = 0;
    unsigned cur = 0;
    int bitsLeft = 0;
    for (unsigned long j = 0; j < n; ++j) {
        int node = kRoot;
        while (nodes[node].left >= 0) {
            if (bitsLeft == 0) {
                cur = src[next++];
                bitsLeft = 8;
            }
            const unsigned bit = cur & 1;
            cur >>= 1;
            --bitsLeft;
            node = bit ? nodes[node].right : nodes[node].left;
        }
        dst[j] = static_cast<uint8_t>(node);
    }
    delete[] nodes;
    return n;
}

}  // namespace detail
}  // namespace codec

CHuffmanProc::CHuffmanProc() {}

CHuffmanProc::~CHuffmanProc() {}

unsigned long CHuffmanProc::Decode(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = bytes::ReadU32LE(s);
    if (!codec::detail::DecodedSizeOk(n)) return 0;
    if (dst == nullptr) return n;
    unsigned long freq[kLeaves];
    for (int k = 0; k < kLeaves; ++k) freq[k] = bytes::ReadU32LE(s + kFreqTableOffset + 4 * k);
    return DecodeCore(static_cast<unsigned char*>(dst), s + kStreamOffset, n, freq);
}

unsigned long CHuffmanProc::Huffman_Decode(void* src, void* dst) {
    return Decode(dst, src);
}

unsigned long CHuffmanProc::DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n,
                                       unsigned long* freq) {
    uint32_t f[kLeaves];
    for (int k = 0; k < kLeaves; ++k) f[k] = static_cast<uint32_t>(freq[k]);
    return codec::detail::HuffmanDecode(dst, src, n, f);
}
