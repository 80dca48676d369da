// LZMA block decoding on the LZMA SDK decoder (LzmaDec.c, compiled from the installed SDK
// sources) and our x86 branch converter. The stream may or may not end with an end marker;
// decoding stops at the output limit like a one-call decoder does.
#include "codec/LzmaProc.h"

#include <cstdint>
#include <cstdlib>

#include "codec/CodecDetail.h"
#include "foundation/Bytes.h"

// Last: the SDK's Types.h defines short macros (True, False, RINOK) of its own.
#include <lzma/LzmaDec.h>

namespace {

constexpr unsigned int kHeaderSize = 14;
constexpr unsigned int kPropsOffset = 1;
constexpr unsigned int kSizeOffset = 6;

// The SDK's allocator interface over the caller's allocation functions.
struct CallerAllocator {
    ISzAlloc base;
    void* (*alloc)(size_t);
    void (*release)(void*);
};

void* AllocThunk(void* self, size_t size) {
    return static_cast<CallerAllocator*>(self)->alloc(size);
}

void FreeThunk(void* self, void* address) {
    if (address != nullptr) static_cast<CallerAllocator*>(self)->release(address);
}

bool IsE8OrE9(uint8_t b) {
    return (b & 0xFE) == 0xE8;
}

// The top byte of a 32-bit operand that a near call or jump across the image can have.
bool IsNearTopByte(uint8_t b) {
    return b == 0x00 || b == 0xFF;
}

// Turns the absolute 32-bit operands of E8 (call) and E9 (jmp) instructions back into relative
// ones, the image starting at position 0 with a zero state. A run of E8/E9 bytes within the three
// bytes before an opcode (kept as a 3-bit mask) decides whether the opcode is taken as one. The
// last 4 bytes are never an opcode.
void X86Decode(uint8_t* data, size_t size) {
    static const uint8_t kMaskAllowed[8] = {1, 1, 1, 0, 1, 0, 0, 0};
    static const uint8_t kMaskBit[8] = {0, 1, 2, 2, 3, 3, 3, 3};
    if (size < 5) return;
    const uint32_t ip = 5;  // operands are relative to the end of the 5-byte instruction
    const size_t limit = size - 4;
    size_t pos = 0;
    size_t prevPos = SIZE_MAX;  // position of the last E8/E9 seen (wraps to "far away")
    uint32_t prevMask = 0;
    for (;;) {
        while (pos < limit && !IsE8OrE9(data[pos])) ++pos;
        if (pos >= limit) break;
        uint8_t* p = data + pos;
        const size_t gap = pos - prevPos;
        if (gap > 3) {
            prevMask = 0;
        } else {
            prevMask = (prevMask << (gap - 1)) & 7;
            if (prevMask != 0) {
                const uint8_t b = p[4 - kMaskBit[prevMask]];
                if (!kMaskAllowed[prevMask] || IsNearTopByte(b)) {
                    prevPos = pos;
                    prevMask = ((prevMask << 1) & 7) | 1;
                    ++pos;
                    continue;
                }
            }
        }
        prevPos = pos;
        if (!IsNearTopByte(p[4])) {
            prevMask = ((prevMask << 1) & 7) | 1;
            ++pos;
            continue;
        }
        uint32_t src = static_cast<uint32_t>(p[4]) << 24 | static_cast<uint32_t>(p[3]) << 16 |
                       static_cast<uint32_t>(p[2]) << 8 | p[1];
        uint32_t dest;
        for (;;) {
            const uint32_t at = ip + static_cast<uint32_t>(pos);
            dest = src - at;
            if (prevMask == 0) break;
            const unsigned index = kMaskBit[prevMask] * 8u;
            if (!IsNearTopByte(static_cast<uint8_t>(dest >> (24 - index)))) break;
            src = dest ^ ((1u << (32 - index)) - 1);
        }
        p[4] = static_cast<uint8_t>(~(((dest >> 24) & 1) - 1));
        p[3] = static_cast<uint8_t>(dest >> 16);
        p[2] = static_cast<uint8_t>(dest >> 8);
        p[1] = static_cast<uint8_t>(dest);
        pos += 5;
    }
}

}  // namespace

extern "C" int LzmaRamGetUncompressedSize(const unsigned char* in, unsigned int inSize,
                                          unsigned int* outSize) {
    if (in == nullptr || inSize < kHeaderSize) return 1;
    if (bytes::ReadU32LE(in + kSizeOffset + 4) != 0) return 1;
    if (outSize != nullptr) *outSize = bytes::ReadU32LE(in + kSizeOffset);
    return 0;
}

extern "C" int LzmaRamDecompress(const unsigned char* in, unsigned int inSize, unsigned char* out,
                                 unsigned int outSize, unsigned int* outProcessed,
                                 void* (*allocFunc)(size_t size), void (*freeFunc)(void* ptr)) {
    if (in == nullptr || inSize < kHeaderSize) return 1;
    unsigned int scratch = 0;
    unsigned int* processed = outProcessed != nullptr ? outProcessed : &scratch;
    *processed = 0;
    const unsigned char filter = in[0];
    if (filter > 1) return 1;
    if (allocFunc == nullptr || freeFunc == nullptr || (out == nullptr && outSize != 0)) return 1;

    // Properties first, so that bad ones report 1 even when memory is short; then the
    // probability model, 1846 + (768 << (lc + lp)) 16-bit counters, from the caller.
    CLzmaProps props;
    if (LzmaProps_Decode(&props, in + kPropsOffset, LZMA_PROPS_SIZE) != SZ_OK) return 1;
    CallerAllocator caller = {{AllocThunk, FreeThunk}, allocFunc, freeFunc};
    CLzmaDec dec;
    LzmaDec_Construct(&dec);
    if (LzmaDec_AllocateProbs(&dec, in + kPropsOffset, LZMA_PROPS_SIZE, &caller.base) != SZ_OK)
        return 2;

    // A one-call decoder refers back into everything it has produced, whatever the header's
    // dictionary size says: the whole output is the dictionary.
    dec.prop.dicSize = UINT32_MAX;
    dec.dic = out;
    dec.dicBufSize = outSize;
    LzmaDec_Init(&dec);
    SizeT consumed = inSize - kHeaderSize;
    ELzmaStatus status;
    const SRes res =
        LzmaDec_DecodeToDic(&dec, outSize, in + kHeaderSize, &consumed, LZMA_FINISH_ANY, &status);
    const SizeT produced = dec.dicPos;
    LzmaDec_FreeProbs(&dec, &caller.base);
    // Input running out before the output is full or the end marker is damage too.
    if (res != SZ_OK || status == LZMA_STATUS_NEEDS_MORE_INPUT) return 1;

    *processed = static_cast<unsigned int>(produced);
    if (filter == 1) X86Decode(out, produced);
    return 0;
}

CLzmaProc::CLzmaProc() {}

CLzmaProc::~CLzmaProc() {}

unsigned long CLzmaProc::Decode(void* dst, void* src, unsigned long srcSize) {
    if (src == nullptr || srcSize < kHeaderSize) return 0;
    const unsigned int inSize =
        srcSize > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(srcSize);
    // Deliberately unchecked status: a rejected header leaves the size at 0, which decodes
    // nothing.
    unsigned int size = 0;
    LzmaRamGetUncompressedSize(static_cast<const unsigned char*>(src), inSize, &size);
    // A claimed size over the cap is damage: refused before the decoder's dictionary (as large
    // as the output) or the caller's buffer is allocated.
    if (!codec::detail::DecodedSizeOk(size)) return 0;
    if (dst == nullptr) return size;
    return DecodeCore(static_cast<unsigned char*>(dst), static_cast<unsigned char*>(src), srcSize,
                      size);
}

unsigned long CLzmaProc::DecodeCore(unsigned char* dst, unsigned char* src, unsigned long srcSize,
                                    unsigned long dstSize) {
    const unsigned int inSize =
        srcSize > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(srcSize);
    const unsigned int outSize =
        dstSize > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(dstSize);
    unsigned int produced = 0;
    LzmaRamDecompress(src, inSize, dst, outSize, &produced, malloc, free);
    return produced;
}
