// CLzssProc: the escape-byte LZSS decoder. A block is N (4 bytes), the escape value E (4 bytes)
// and tokens: a byte other than E is a literal, E E is a literal E, and E d len copies len bytes
// from the output already produced, d distances above E being shifted down by one. Decode and
// DecodeCore take no source size: the caller vouches for a whole block; the bounded internal form
// reads at most three source bytes per output byte (plus one token). N over 64 MiB fails.
#pragma once

#include "foundation/Export.h"

// One thread at a time per object; objects hold no state and are independent.
class SP_EXPORT CLzssProc {
public:
    CLzssProc();
    virtual ~CLzssProc();

    // With dst null returns N; otherwise decodes N bytes into dst and returns N (0 on failure).
    unsigned long Decode(void* dst, void* src);
    // Decode with the arguments in the other order.
    unsigned long LZSS_Decode(void* src, void* dst);
    // Decodes the token stream src into n bytes of dst; returns n, or 0 on a match that reaches
    // before the start of dst. Nothing is written at or after dst[n].
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src, unsigned long n,
                             unsigned long escape);
};
