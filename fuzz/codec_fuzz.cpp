// Arbitrary blocks for the composite decoder: the LZMA form gets an exact-size copy (its source
// size is known), the sizeless chains a copy followed by zeros; every destination has exactly
// the size the two-call protocol gives.
// Run: build-fuzz/fuzz/codec_fuzz -max_total_time=60
#include <cstdint>
#include <cstring>
#include <vector>

#include "SearchProc.h"

namespace {

constexpr unsigned long kMaxN = 1 << 16;       // larger claimed sizes are not allocated
constexpr size_t kPadded = size_t{1} << 20;    // sizeless forms read a block followed by zeros

template <typename Decode>
void Run(const std::vector<uint8_t>& src, Decode decode) {
    CMarlinDataProc codec;
    std::vector<uint8_t> copy(src);
    const unsigned long n = decode(codec, nullptr, copy.data(), copy.size());
    if (n == 0 || n > kMaxN) return;
    std::vector<uint8_t> dst(n + 1);
    decode(codec, dst.data(), copy.data(), copy.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t form = data[0] % 6;
    std::vector<uint8_t> block(data + 1, data + size);
    if (form == 0) {
        Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long n) {
            return c.Decode(d, s, n);
        });
        return 0;
    }
    if (block.size() > kPadded) return 0;
    block.resize(kPadded, 0);
    switch (form) {
        case 1:
            Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                return c.Decode(d, s);
            });
            break;
        case 2:
            Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                return c.DecodeBwtMtfLzss(d, s);
            });
            break;
        case 3:
            Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                return c.DecodeBwtMtfRc(d, s);
            });
            break;
        case 4:
            Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                return c.DecodeBwtLzssHuf(d, s);
            });
            break;
        default:
            Run(block, [](CMarlinDataProc& c, void* d, void* s, unsigned long) {
                return c.DecodeBwtLzss(d, s);
            });
            break;
    }
    return 0;
}
