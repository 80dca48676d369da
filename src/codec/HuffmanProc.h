// CHuffmanProc: the static Huffman decoder. A block is N (4 bytes), 256 32-bit symbol
// frequencies and a bit stream read least significant bit first; the tree is rebuilt from the
// frequencies on every call. Decode takes no source size: the caller vouches for a whole block
// (no internal form bounds the bit stream, whose length depends on the tree); N over 64 MiB fails.
#pragma once

#include "foundation/Export.h"

// One thread at a time per object; objects hold no state and are independent.
class SP_EXPORT CHuffmanProc {
public:
    CHuffmanProc();
    virtual ~CHuffmanProc();

    // With dst null returns N; otherwise decodes N symbols into dst and returns N (0 on failure).
    unsigned long Decode(void* dst, void* src);
    // Decode with the arguments in the other order.
    unsigned long Huffman_Decode(void* src, void* dst);
    // Builds the tree from freq[256] and decodes n symbols from the bit stream src; returns n,
    // or 0 when n is 0 or memory runs out.
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n,
                             unsigned long* freq);
};
