// CLzmaProc and the two plain-C entry points: the LZMA block form used by every data-set reader,
// a 14-byte header (filter byte, 5 LZMA property bytes, 64-bit decoded size) and a raw LZMA1
// stream, optionally x86 branch-converted. Decoding is done by the LZMA SDK decoder.
#pragma once

#include <cstddef>

#include "foundation/Export.h"

extern "C" {

// Reads the decoded size from bytes 6..9 of a block. 0 on success; 1 (size left untouched)
// when the block is 13 bytes or shorter or any of bytes 10..13 is non-zero.
SP_EXPORT int LzmaRamGetUncompressedSize(const unsigned char* in, unsigned int inSize,
                                         unsigned int* outSize);

// Decodes a whole block into out, producing at most outSize bytes, and sets *outProcessed.
// 0 on success, 1 on a bad header or a damaged stream, 2 when allocFunc fails. All decoder
// memory is taken from allocFunc and returned to freeFunc. Never reads past inSize.
SP_EXPORT int LzmaRamDecompress(const unsigned char* in, unsigned int inSize, unsigned char* out,
                                unsigned int outSize, unsigned int* outProcessed,
                                void* (*allocFunc)(size_t size), void (*freeFunc)(void* ptr));
}

// One thread at a time per object; objects hold no state and are independent.
class SP_EXPORT CLzmaProc {
public:
    CLzmaProc();
    virtual ~CLzmaProc();

    // With dst null returns the decoded size of the header; otherwise decodes into dst (which
    // must hold that many bytes) and returns the bytes produced, 0 on failure.
    unsigned long Decode(void* dst, void* src, unsigned long srcSize);
    // Runs LzmaRamDecompress with malloc/free and an output limit of dstSize; returns the bytes
    // produced whatever the status.
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src, unsigned long srcSize,
                             unsigned long dstSize);
};
