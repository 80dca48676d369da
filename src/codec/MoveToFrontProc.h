// CMoveToFrontProc: the move-to-front decoder of the block-sorting chains, in a deliberate
// variant: a symbol moves to the second place on use and reaches the front only when used twice
// in a row. A block is n (4 bytes) and n index bytes; the caller vouches for a whole block (no
// source size is taken). n over 64 MiB fails.
#pragma once

#include "foundation/Export.h"

// One thread at a time per object; objects hold no state and are independent.
class SP_EXPORT CMoveToFrontProc {
public:
    CMoveToFrontProc();
    virtual ~CMoveToFrontProc();

    // With dst null returns n; otherwise decodes n bytes into dst and returns n.
    unsigned long Decode(void* dst, void* src);
    // Decodes n index bytes of src into n symbols of dst; returns n.
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n);
    void DecodeSub(unsigned char* dst, unsigned char* src, unsigned long n);
};
