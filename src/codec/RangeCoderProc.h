// CRangeCoderProc: the adaptive order-2 range decoder. Every value 0..256 is sent as a category
// (0..9) under a model chosen by the two previous categories, then, for categories 3..9, as an
// offset under that category's model; the value 256 ends the stream. The stream starts with a
// 4-byte big-endian code value. No source size is taken: the caller vouches for a whole stream;
// output is bounded by the length in the block header (over 64 MiB fails).
#pragma once

#include <cstdint>

#include "foundation/Export.h"

// One adaptive frequency model: n symbols, their counts and the running sums of the counts
// (cum[0] = 0, cum[n] = total).
struct FREQUENCY {
    uint32_t dwNum;
    uint16_t* pwFreq;
    uint16_t* pwCum;
};

// One thread at a time per object; the models are the object's own and live from
// InitRangeCoder to FlushBuf.
class SP_EXPORT CRangeCoderProc {
public:
    CRangeCoderProc();
    virtual ~CRangeCoderProc();

    // Reads the 4-byte length at src: returned for a null dst; otherwise decodes the stream
    // after it into dst (at most that length) and returns the bytes decoded, 0 on failure.
    unsigned long Decode(void* dst, void* src);
    // Creates the models, decodes the stream src into dst up to the end value and frees the
    // models; returns the bytes decoded, 0 when a model cannot be created. dst must hold every
    // value before the end value.
    unsigned long DecodeCore(unsigned char* dst, unsigned char* src);
    unsigned long DecodeSub(unsigned char* dst, unsigned char* src);

    // Builds the value-to-category table and creates all 107 models; 1 on success, 0 when an
    // allocation fails (what was created stays until FlushBuf).
    unsigned long InitRangeCoder();
    // Resets every model to all counts 1.
    void InitFrequencyData();
    void InitFrequencyTable(FREQUENCY* model);
    // Counts one use of `symbol`, halving every count (never below 1) once the total reaches
    // 32768.
    void UpdateFrequency(FREQUENCY* model, int symbol);
    // The symbol whose interval [cum[i], cum[i+1]) holds target; 0 when none does.
    int SearchCode(FREQUENCY* model, unsigned short target);
    // A model of n symbols with its arrays, or null when memory runs out.
    FREQUENCY* CreateFrequencyBuf(int n);
    // Frees every model and clears the slots.
    void FlushBuf();

protected:
    // Decodes into dst, failing once more than `limit` values would be stored.
    SP_LOCAL unsigned long DecodeBounded(unsigned char* dst, unsigned long limit,
                                         unsigned char* src);

    FREQUENCY* m_pFirstFreq[100];  // by 10 x (category two back) + (previous category)
    FREQUENCY* m_pSecondFreq[10];  // by category; categories 3..9 only
    uint8_t m_byCategory[257];     // value -> category, for encoding
};
