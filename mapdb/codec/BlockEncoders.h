// Encoders of every compressed block form the library decodes (the writer half of src/codec):
// the LZMA block used by the data-set writers, and the block-sorting chains with their stages.
// Every encoder returns a whole block; errors are thrown as mapdb::Error.
#pragma once

#include <array>
#include <cstdint>

#include "ByteWriter.h"

namespace mapdb {

struct LzmaBlockOptions {
    bool x86 = false;        // x86 branch conversion before compression (filter byte 1)
    bool endMarker = false;  // also end the stream with an end marker (the size is in the header)
    uint32_t preset = 6;     // liblzma preset level 0..9
};

// LZMA block: filter byte, 5 property bytes, 64-bit decoded size, raw LZMA1 stream.
Bytes EncodeLzmaBlock(const Bytes& data, bool x86 = false);
Bytes EncodeLzmaBlock(const Bytes& data, const LzmaBlockOptions& options);

// Stages of the block-sorting chains, each the exact mirror of its decoder.

struct BlockSorted {
    Bytes lastColumn;      // last column of the sorted rotations
    uint32_t primary = 0;  // row of the text itself among the sorted rotations
};
// Forward block sort (all rotations of the text sorted bytewise).
BlockSorted BlockSortForward(const Bytes& data);
// Move-to-front coding in the decoder's variant: a symbol goes to the second place on use and
// to the front only when used twice in a row.
Bytes MoveToFrontForward(const Bytes& data);

struct LzssTokens {
    uint8_t escape = 0;  // least frequent byte value (the smallest on ties)
    Bytes tokens;
};
// Escape-byte LZSS with greedy longest matches of 4..255 bytes at distances 1..254. Matches
// never overlap their source (length <= distance), so any copy order decodes them alike.
LzssTokens LzssForward(const Bytes& data);

// Adaptive range coder stream: 4-byte big-endian start, code bytes; ends with the value 256.
Bytes RangeCoderForward(const Bytes& data);

// Whole blocks of the single stages, as their class's Decode reads them.
Bytes EncodeBlockSortBlock(const Bytes& data);    // n, primary, last column
Bytes EncodeMoveToFrontBlock(const Bytes& data);  // n, indexes
Bytes EncodeLzssBlock(const Bytes& data);         // N, escape, tokens
Bytes EncodeRangeCoderBlock(const Bytes& data);   // n, range-coded stream
// N, 256 frequencies (the byte counts of data, or the given ones), bit stream LSB first.
Bytes EncodeHuffmanBlock(const Bytes& data);
Bytes EncodeHuffmanBlock(const Bytes& data, const std::array<uint32_t, 256>& freq);

// The chains of the composite decoder.
Bytes EncodeBwtLzssBlock(const Bytes& data);     // for Decode / DecodeBwtLzss
Bytes EncodeBwtMtfLzssBlock(const Bytes& data);  // for DecodeBwtMtfLzss
Bytes EncodeBwtMtfRcBlock(const Bytes& data);    // for DecodeBwtMtfRc
// For DecodeBwtLzssHuf. Throws when the LZSS stream would outgrow the decoder's intermediate
// buffer (N + 1297 bytes), which only nearly incompressible inputs above 300 KiB can do.
Bytes EncodeBwtLzssHufBlock(const Bytes& data);

}  // namespace mapdb
