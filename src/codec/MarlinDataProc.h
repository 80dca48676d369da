// CMarlinDataProc: the composite block decoder that data-set readers embed, one entry point per
// chain of codec stages. A block carries no codec identifier: the caller picks the entry point.
// Every entry point answers a null destination with the decoded size N (the two-call protocol);
// the destination must then hold N + 1 bytes. A block claiming more than 64 MiB fails (0), size
// query included.
//
// The block-sorting chains take no source size: the caller vouches that src holds a whole block
// (it loaded the whole compressed file). Inside, every stage is bounded by the buffers the chain
// allocates: the LZSS stages run in their bounded internal form (a source limit of three bytes
// per output byte, or the intermediate buffer's size), and each nested size is checked against
// the buffer it is decoded into. Only the LZMA form takes, and never reads past, a source size.
#pragma once

#include "codec/BlockSortingLSProc.h"
#include "codec/HuffmanProc.h"
#include "codec/LzmaProc.h"
#include "codec/LzssProc.h"
#include "codec/MoveToFrontProc.h"
#include "codec/RangeCoderProc.h"
#include "foundation/Export.h"

// One thread at a time per object (the range decoder's models are object state); objects are
// independent.
class SP_EXPORT CMarlinDataProc : public CBlockSortingLSProc,
                                  public CMoveToFrontProc,
                                  public CLzssProc,
                                  public CHuffmanProc,
                                  public CRangeCoderProc,
                                  public CLzmaProc {
public:
    CMarlinDataProc();
    virtual ~CMarlinDataProc();

    // Same as DecodeBwtLzss.
    unsigned long Decode(void* dst, void* src);
    // LZMA block form: null dst returns the decoded size, else the bytes produced (0 on failure).
    unsigned long Decode(void* dst, void* src, unsigned long srcSize);

    // N, primary index, LZSS escape, LZSS tokens: LZSS, then inverse block sort.
    unsigned long DecodeBwtLzss(void* dst, void* src);
    // As DecodeBwtLzss with move-to-front decoding between the two stages.
    unsigned long DecodeBwtMtfLzss(void* dst, void* src);
    // N, primary index, range-coded stream: range decoder, move-to-front, inverse block sort.
    unsigned long DecodeBwtMtfRc(void* dst, void* src);
    // N, then a Huffman block holding an LZSS block holding a block-sorting block.
    unsigned long DecodeBwtLzssHuf(void* dst, void* src);
};
