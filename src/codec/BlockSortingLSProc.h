// CBlockSortingLSProc: the inverse block-sorting transform. A block is n (4 bytes), the primary
// index (the row of the original text among its sorted rotations, 4 bytes) and the last column
// of the sorted rotations (n bytes). Decode takes no source size: the caller vouches for a whole
// block of 8 + n bytes; n over 64 MiB fails. The internal form (n given, primary checked against
// n) reads exactly n source bytes.
#pragma once

#include "foundation/Export.h"

// One thread at a time per object; objects hold no state and are independent.
class SP_EXPORT CBlockSortingLSProc {
public:
    CBlockSortingLSProc();
    virtual ~CBlockSortingLSProc();

    // With dst null returns n; otherwise restores n bytes into dst and returns n (0 on failure).
    unsigned long Decode(void* dst, void* src);
    // Restores the n bytes of text from its last column src; returns n, or 0 when memory runs
    // out or the primary index lies outside the block.
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n,
                             unsigned long primary);
    unsigned long DecodeSub(unsigned char* dst, unsigned char* src, unsigned long n,
                            unsigned long primary);
};
