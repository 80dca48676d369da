// Internal decoding cores shared by the codec classes and the composite decoder, with the
// bounds the public signatures cannot carry. Not exported.
#pragma once

#include <cstddef>
#include <cstdint>

namespace codec {
namespace detail {

// The largest decoded size a block header may claim. The data sets' blocks decode to a few
// hundred kilobytes at most; a header claiming more than 64 MiB is damaged, and its block fails
// to decode before anything is allocated (also for a size query, so no caller allocates it).
constexpr unsigned long kMaxDecodedSize = 64ul << 20;

inline bool DecodedSizeOk(unsigned long n) {
    return n <= kMaxDecodedSize;
}

// Every intermediate buffer of the block-sorting chains is this much larger than the block's
// decoded size; the chains' internal stages may use the spare room.
constexpr unsigned long kWorkSlack = 1297;

// LZSS: decodes n bytes into dst from at most srcLimit source bytes. Writes nothing at or after
// dst[n]; returns n, or 0 when the stream runs past srcLimit or a match reaches before dst.
unsigned long LzssDecode(uint8_t* dst, const uint8_t* src, size_t srcLimit, unsigned long n,
                         unsigned long escape);

// Source bytes an LZSS stream of n output bytes may use at most (three per output byte, as in
// a stream of one-byte matches, plus the one token read for n = 0); a bound for sources whose
// size the interface does not give.
inline size_t LzssSourceBudget(unsigned long n) {
    return 3 * static_cast<size_t>(n) + 3;
}

// Move-to-front decoding of n bytes (the variant described in MoveToFrontProc.h).
void MtfDecode(uint8_t* dst, const uint8_t* src, size_t n);

// Inverse block sort of n bytes; 0 when memory runs out or primary >= n.
unsigned long BlockSortDecode(uint8_t* dst, const uint8_t* src, unsigned long n,
                              unsigned long primary);

// Huffman: builds the tree from freq[256] and decodes n symbols; 0 when n is 0 or memory runs
// out.
unsigned long HuffmanDecode(uint8_t* dst, const uint8_t* src, unsigned long n,
                            const uint32_t* freq);

}  // namespace detail
}  // namespace codec
