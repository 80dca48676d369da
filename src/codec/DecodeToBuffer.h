// The two-call protocol of the block decoder as the data-set readers use it: ask for the
// decoded size, allocate that plus one zeroed byte (so a record at the very end reads a zero
// after it), decode. A block decoded before with the same bytes is taken from the process-wide
// memo instead (same buffer, same length, same refusals). Internal; not exported.
#pragma once

#include <climits>
#include <cstdint>
#include <cstring>

#include "codec/DecodedBlockCache.h"
#include "codec/MarlinDataProc.h"
#include "foundation/Alloc.h"

namespace codec {

// A new[] buffer, owned by the caller, holding the decoded block and the spare zero, with *len
// set to the decoded length; null when the block does not decode, decodes to nothing or claims
// more than maxSize bytes (the decoder has a cap of its own).
inline unsigned char* DecodeToNewBuffer(CMarlinDataProc* decoder, unsigned char* block,
                                        unsigned long size, unsigned long* len,
                                        unsigned long maxSize = ULONG_MAX) {
    unsigned long bufferSize = 0, cached = 0;
    if (unsigned char* hit = block_cache::Find(block, size, &bufferSize, &cached)) {
        if (bufferSize - 1 > maxSize) {  // the size the decoder would have announced
            delete[] hit;
            return nullptr;
        }
        *len = cached;
        return hit;
    }
    const unsigned long n = decoder->Decode(nullptr, block, size);
    if (n == 0 || n > maxSize) return nullptr;
    unsigned char* out = alloc::NewArray<unsigned char>(static_cast<uint64_t>(n) + 1);
    if (out == nullptr) return nullptr;
    memset(out, 0, n + 1);
    const unsigned long decoded = decoder->Decode(out, block, size);
    if (decoded == 0 || decoded > n) {
        delete[] out;
        return nullptr;
    }
    block_cache::Store(block, size, out, n + 1, decoded);
    *len = decoded;
    return out;
}

}  // namespace codec
