// A bounded, process-wide memo of decoded LZMA blocks. Decoding is a pure function of the
// block's bytes, so a block whose bytes equal (byte for byte) those of one decoded before gets
// that decode's buffer back without decoding again. Readers still read every block from its
// file as before; only the decode is skipped. Blocks that fail to decode are never kept, so
// damaged data takes exactly the uncached path. Internal; not exported.
// Thread safety: every function may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"

namespace codec {
namespace block_cache {

// Bytes the memo may hold at most (compressed copies and decoded buffers together).
constexpr size_t kDefaultCapacity = 4u << 20;

// On a hit: a new[] buffer of `bufferSize` bytes equal to the one stored, *bufferSize and
// *decoded set as stored. Null on a miss (or when the copy cannot be allocated).
SP_LOCAL unsigned char* Find(const unsigned char* block, unsigned long size,
                             unsigned long* bufferSize, unsigned long* decoded);
// True when the decode of `block` is held (nothing is copied; not counted as a hit or miss).
SP_LOCAL bool Contains(const unsigned char* block, unsigned long size);
// Keeps a copy of `buffer` (bufferSize bytes, `decoded` of them the decoded block) as the decode
// of `block`, evicting the least recently used entries to stay within the capacity. Entries
// larger than a quarter of the capacity are not kept.
SP_LOCAL void Store(const unsigned char* block, unsigned long size, const unsigned char* buffer,
                    unsigned long bufferSize, unsigned long decoded);

// Test hooks: sets the capacity (0 turns the memo off), emptying it; reports what is held.
SP_LOCAL void SetCapacity(size_t bytes);
SP_LOCAL size_t Capacity();
struct Stats {
    size_t entries, bytes, hits, misses;
};
SP_LOCAL Stats GetStats();

}  // namespace block_cache
}  // namespace codec
