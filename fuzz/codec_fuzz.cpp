// Arbitrary blocks for every decoder entry point: the composite decoder's forms, each stage
// class's own block entry points and cores, CLzmaProc and the two C functions. Sized forms get
// an exact-size copy (their source size is known), the sizeless ones a copy followed by zeros;
// every destination has exactly the size the two-call protocol (or the core's count) gives.
// Run: build-fuzz/fuzz/codec_fuzz -max_total_time=60
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "SearchProc.h"

namespace {

constexpr unsigned long kMaxN = 1 << 16;     // larger claimed sizes are not allocated
constexpr size_t kPadded = size_t{1} << 20;  // sizeless forms read a block followed by zeros

// The two-call protocol on decoder object D: size query, then the decode into n + 1 bytes.
template <typename D, typename Decode>
void Run(uint8_t* src, size_t size, Decode decode) {
    D codec;
    const unsigned long n = decode(codec, nullptr, src, size);
    if (n == 0 || n > kMaxN) return;
    std::vector<uint8_t> dst(n + 1);
    decode(codec, dst.data(), src, size);
}

// The source of a sizeless form: the block followed by zeros up to kPadded bytes. One heap
// buffer serves every run (a fresh megabyte per run would cost more than most decodes); it is
// cleared whole after use, whatever a decoder left in it.
class Padded {
public:
    explicit Padded(const std::vector<uint8_t>& block) : buffer_(Buffer()) {
        if (!block.empty()) memcpy(buffer_, block.data(), block.size());
    }
    ~Padded() { memset(buffer_, 0, kPadded); }
    Padded(const Padded&) = delete;
    Padded& operator=(const Padded&) = delete;
    uint8_t* data() { return buffer_; }

private:
    static uint8_t* Buffer() {
        static uint8_t* buffer = new uint8_t[kPadded]();
        return buffer;
    }
    uint8_t* buffer_;
};

uint32_t Take32(std::vector<uint8_t>* block) {
    uint32_t v = 0;
    for (int k = 0; k < 4 && !block->empty(); ++k) {
        v = v << 8 | block->front();
        block->erase(block->begin());
    }
    return v;
}

// The cores with their counts (and escape, primary or frequencies) taken from the input; the
// source is the rest, padded where the core reads without a size.
void Cores(std::vector<uint8_t> block) {
    const uint32_t pick = Take32(&block);
    const unsigned long n = Take32(&block) % (kMaxN + 1);
    const uint32_t arg = Take32(&block);
    std::vector<uint8_t> dst(n + 1);
    switch (pick % 7) {
        case 0: {
            Padded src(block);
            CLzssProc().DecodeCore(dst.data(), src.data(), n, arg & 0xFF);
            break;
        }
        case 1: {
            unsigned long freq[256];
            for (unsigned long& f : freq) f = Take32(&block) & 0xFFFF;
            Padded src(block);
            CHuffmanProc().DecodeCore(dst.data(), src.data(), n, freq);
            break;
        }
        case 2:
        case 3: {
            block.resize(n + 1, 0);  // the core reads n bytes
            CMoveToFrontProc mtf;
            if (pick % 7 == 2) {
                mtf.DecodeCore(dst.data(), block.data(), n);
            } else {
                mtf.DecodeSub(dst.data(), block.data(), n);
            }
            break;
        }
        case 4:
        case 5: {
            block.resize(n + 1, 0);
            CBlockSortingLSProc bwt;
            if (pick % 7 == 4) {
                bwt.DecodeCore(dst.data(), block.data(), n, arg);
            } else {
                bwt.DecodeSub(dst.data(), block.data(), n, arg);
            }
            break;
        }
        default: {
            // The LZMA core with any output limit, and the C functions with malloc and free.
            CLzmaProc().DecodeCore(dst.data(), block.data(), block.size(), n);
            unsigned int size = 0;
            if (LzmaRamGetUncompressedSize(block.data(), static_cast<unsigned int>(block.size()),
                                           &size) == 0) {
                unsigned int got = 0;
                LzmaRamDecompress(block.data(), static_cast<unsigned int>(block.size()), dst.data(),
                                  static_cast<unsigned int>(n), &got, malloc, free);
            }
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t form = data[0] % 16;
    std::vector<uint8_t> block(data + 1, data + size);
    if (form == 0) {
        Run<CMarlinDataProc>(block.data(), block.size(),
                             [](CMarlinDataProc& c, void* d, void* s, unsigned long n) {
                                 return c.Decode(d, s, n);
                             });
        return 0;
    }
    if (form == 13) {
        Run<CLzmaProc>(
            block.data(), block.size(),
            [](CLzmaProc& c, void* d, void* s, unsigned long n) { return c.Decode(d, s, n); });
        return 0;
    }
    if (form >= 14) {
        Cores(block);
        return 0;
    }
    if (block.size() > kPadded) return 0;
    Padded src(block);
    uint8_t* const padded = src.data();
    switch (form) {
        case 1:
            Run<CMarlinDataProc>(
                padded, kPadded,
                [](CMarlinDataProc& c, void* d, void* s, unsigned long) { return c.Decode(d, s); });
            break;
        case 2:
            Run<CMarlinDataProc>(padded, kPadded,
                                 [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                                     return c.DecodeBwtMtfLzss(d, s);
                                 });
            break;
        case 3:
            Run<CMarlinDataProc>(padded, kPadded,
                                 [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                                     return c.DecodeBwtMtfRc(d, s);
                                 });
            break;
        case 4:
            Run<CMarlinDataProc>(padded, kPadded,
                                 [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                                     return c.DecodeBwtLzssHuf(d, s);
                                 });
            break;
        case 5:
            Run<CMarlinDataProc>(padded, kPadded,
                                 [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                                     return c.DecodeBwtLzss(d, s);
                                 });
            break;
        // Each stage class's own block entry points.
        case 6:
            Run<CLzssProc>(padded, kPadded, [](CLzssProc& c, void* d, void* s, unsigned long) {
                return c.Decode(d, s);
            });
            break;
        case 7:
            Run<CLzssProc>(padded, kPadded, [](CLzssProc& c, void* d, void* s, unsigned long) {
                return c.LZSS_Decode(s, d);
            });
            break;
        case 8:
            Run<CHuffmanProc>(
                padded, kPadded,
                [](CHuffmanProc& c, void* d, void* s, unsigned long) { return c.Decode(d, s); });
            break;
        case 9:
            Run<CHuffmanProc>(padded, kPadded,
                              [](CHuffmanProc& c, void* d, void* s, unsigned long) {
                                  return c.Huffman_Decode(s, d);
                              });
            break;
        case 10:
            Run<CMoveToFrontProc>(padded, kPadded,
                                  [](CMoveToFrontProc& c, void* d, void* s, unsigned long) {
                                      return c.Decode(d, s);
                                  });
            break;
        case 11:
            Run<CRangeCoderProc>(
                padded, kPadded,
                [](CRangeCoderProc& c, void* d, void* s, unsigned long) { return c.Decode(d, s); });
            break;
        default:
            Run<CBlockSortingLSProc>(padded, kPadded,
                                     [](CBlockSortingLSProc& c, void* d, void* s, unsigned long) {
                                         return c.Decode(d, s);
                                     });
            break;
    }
    return 0;
}
