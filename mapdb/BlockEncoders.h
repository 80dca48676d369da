// Encoders of every compressed block form the library decodes (the writer half of src/codec):
// the LZMA block used by the data-set writers, and the block-sorting chains with their stages.
// Every encoder returns a whole block; errors are thrown as mapdb::Error.
#pragma once

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

}  // namespace mapdb
