// LZMA block decoding on liblzma's raw LZMA1 decoder and x86 BCJ filter. The stream may or may
// not end with an end marker; decoding stops at the output limit like a one-call decoder would.
#include "codec/LzmaProc.h"

#include <lzma.h>

#ifndef LZMA_FILTER_LZMA1EXT
#error "liblzma 5.4 or later is needed (LZMA1 streams of known size)"
#endif

#include <cstdint>
#include <cstdlib>

#include "codec/CodecDetail.h"
#include "foundation/Bytes.h"

namespace {

constexpr unsigned int kHeaderSize = 14;
constexpr unsigned int kPropsOffset = 1;
constexpr unsigned int kPropsSize = 5;
constexpr unsigned int kSizeOffset = 6;
constexpr unsigned int kRangeInitBytes = 5;  // a stream shorter than this cannot start

enum class Outcome { kDone, kFailed, kNoMemory };

struct CallerAllocator {
    void* (*alloc)(size_t);
    void (*release)(void*);
};

void* AllocThunk(void* opaque, size_t nmemb, size_t size) {
    if (size != 0 && nmemb > SIZE_MAX / size) return nullptr;
    return static_cast<CallerAllocator*>(opaque)->alloc(nmemb * size);
}

void FreeThunk(void* opaque, void* ptr) {
    if (ptr != nullptr) static_cast<CallerAllocator*>(opaque)->release(ptr);
}

Outcome FromRet(lzma_ret ret) {
    return ret == LZMA_MEM_ERROR ? Outcome::kNoMemory : Outcome::kFailed;
}

// Runs one decoder chain over the whole stream into out[0, outSize). The chain is done when
// the stream ends (end marker or known size reached) or when the output is full.
Outcome RunChain(const lzma_filter* filters, const lzma_allocator* allocator, const uint8_t* in,
                 size_t inSize, uint8_t* out, size_t outSize, size_t* produced) {
    lzma_stream strm = LZMA_STREAM_INIT;
    strm.allocator = allocator;
    lzma_ret ret = lzma_raw_decoder(&strm, filters);
    if (ret != LZMA_OK) {
        lzma_end(&strm);
        return FromRet(ret);
    }
    strm.next_in = in;
    strm.avail_in = inSize;
    strm.next_out = out;
    strm.avail_out = outSize;
    Outcome outcome;
    for (;;) {
        ret = lzma_code(&strm, LZMA_FINISH);
        if (ret == LZMA_STREAM_END || (ret == LZMA_OK && strm.avail_out == 0)) {
            outcome = Outcome::kDone;
            break;
        }
        if (ret != LZMA_OK) {
            outcome = FromRet(ret);
            break;
        }
    }
    *produced = static_cast<size_t>(strm.total_out);
    lzma_end(&strm);
    return outcome;
}

// Decodes the stream with the output limit as the only stop condition besides an end marker.
//
// First pass: LZMA1 told the expected size (the limit), end marker allowed right after it. This
// ends the stream exactly at the limit, which also makes the x86 filter release the last bytes
// it holds back. When that pass fails (an end marker before the limit, a stream longer than the
// limit, damage), a second pass without a size decides: it succeeds when an end marker comes
// first or when the output fills up, and fails otherwise.
Outcome DecodeStream(bool x86, const lzma_options_lzma& props, const lzma_allocator* allocator,
                     const uint8_t* in, size_t inSize, uint8_t* out, size_t outSize,
                     size_t* produced) {
    lzma_options_bcj bcj = {};
    bcj.start_offset = 0;
    lzma_options_lzma lz = props;
    // A one-call decoder may refer back to anything it has produced, whatever the header's
    // dictionary size says; a dictionary as large as the output gives the same reach.
    lz.dict_size =
        outSize < LZMA_DICT_SIZE_MIN ? LZMA_DICT_SIZE_MIN : static_cast<uint32_t>(outSize);

    lzma_filter filters[3];
    size_t k = 0;
    if (x86) filters[k++] = {LZMA_FILTER_X86, &bcj};
    size_t lzmaAt = k;
    filters[k++] = {LZMA_FILTER_LZMA1EXT, &lz};
    filters[k] = {LZMA_VLI_UNKNOWN, nullptr};

    lz.ext_flags = LZMA_LZMA1EXT_ALLOW_EOPM;
    lzma_set_ext_size(lz, static_cast<uint64_t>(outSize));
    Outcome first = RunChain(filters, allocator, in, inSize, out, outSize, produced);
    if (first != Outcome::kFailed) return first;

    filters[lzmaAt].id = LZMA_FILTER_LZMA1;
    lz.ext_flags = 0;
    lz.ext_size_low = 0;
    lz.ext_size_high = 0;
    return RunChain(filters, allocator, in, inSize, out, outSize, produced);
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

    // The property bytes are checked without the caller's allocator, so that bad properties
    // report 1 even when memory is short.
    lzma_filter decoded = {LZMA_FILTER_LZMA1, nullptr};
    if (lzma_properties_decode(&decoded, nullptr, in + kPropsOffset, kPropsSize) != LZMA_OK) {
        free(decoded.options);
        return 1;
    }
    const lzma_options_lzma props = *static_cast<lzma_options_lzma*>(decoded.options);
    free(decoded.options);

    const uint8_t* stream = in + kHeaderSize;
    const size_t streamSize = inSize - kHeaderSize;
    if (outSize == 0) {
        // Nothing to produce; a stream still needs its range coder start to count as valid.
        return streamSize >= kRangeInitBytes ? 0 : 1;
    }

    CallerAllocator caller = {allocFunc, freeFunc};
    const lzma_allocator allocator = {AllocThunk, FreeThunk, &caller};
    size_t produced = 0;
    switch (
        DecodeStream(filter == 1, props, &allocator, stream, streamSize, out, outSize, &produced)) {
        case Outcome::kDone:
            *processed = static_cast<unsigned int>(produced);
            return 0;
        case Outcome::kNoMemory:
            return 2;
        case Outcome::kFailed:
            break;
    }
    return 1;
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
