// CMarlinDataProc: the composite block decoder that data-set readers embed, one entry point per
// chain of codec stages. A block carries no codec identifier: the caller picks the entry point.
// Every entry point answers a null destination with the decoded size (the two-call protocol).
#pragma once

#include "codec/LzmaProc.h"
#include "foundation/Export.h"

// One thread at a time per object; objects are independent.
class SP_EXPORT CMarlinDataProc : public CLzmaProc {
public:
    CMarlinDataProc();
    virtual ~CMarlinDataProc();

    // LZMA block form: null dst returns the decoded size, else the bytes produced (0 on failure).
    unsigned long Decode(void* dst, void* src, unsigned long srcSize);
};
