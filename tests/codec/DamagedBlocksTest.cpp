// Random mutations of valid blocks fed to every entry point with a destination of exactly the
// size the two-call protocol gives: each call fails or decodes wrongly, never crashes, writes
// past the size, leaks or hangs. Run it under the sanitizer build.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "CodecSamples.h"

namespace {

using codectest::Bytes;

constexpr unsigned long kMaxN = 16384;  // larger claimed sizes are skipped, not allocated
constexpr int kMutations = 2500;

Bytes Mutate(const Bytes& valid, bool sized, std::mt19937& rng) {
    Bytes b = valid;
    switch (rng() % 5) {
        case 0:  // bit flips
            for (int k = 1 + rng() % 4; k > 0; --k) b[rng() % b.size()] ^= 1u << (rng() % 8);
            break;
        case 1:  // a damaged header field
            b[rng() % std::min<size_t>(b.size(), 16)] = static_cast<uint8_t>(rng());
            break;
        case 2:  // a plausible but wrong decoded size
            bytes::PutU32LE(b.data() + (sized ? 6 : 0), rng() % (2 * kMaxN));
            break;
        case 3:  // truncation (only a sized form can be told its block is shorter)
            if (sized) b.resize(rng() % b.size());
            break;
        default:  // a damaged tail
            b[b.size() - 1 - rng() % std::min<size_t>(b.size(), 8)] ^= 0xFF;
            break;
    }
    return b;
}

TEST(DamagedBlocks, NoEntryPointCrashesOrOverruns) {
    const Bytes inputs[] = {codectest::Records(1500), codectest::RandomBytes(300, 9)};
    Bytes padded(size_t{1} << 20, 0);  // sizeless forms read a block followed by zeros
    std::mt19937 rng(20240601);
    for (const codectest::Form& f : codectest::Forms()) {
        SCOPED_TRACE(f.name);
        const Bytes valid[] = {f.encode(inputs[0]), f.encode(inputs[1])};
        CMarlinDataProc proc;
        int skipped = 0;
        for (int m = 0; m < kMutations; ++m) {
            const Bytes block = Mutate(valid[m % 2], f.sized, rng);
            std::unique_ptr<unsigned char[]> exact(new unsigned char[block.size() + 1]);
            std::copy(block.begin(), block.end(), f.sized ? exact.get() : padded.data());
            void* src = f.sized ? exact.get() : padded.data();
            const unsigned long n = f.decode(proc, nullptr, src, block.size());
            if (n > kMaxN) {
                ++skipped;
            } else {
                std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
                EXPECT_LE(f.decode(proc, out.get(), src, block.size()), n) << m;
                EXPECT_EQ(0, out[n]) << "mutation " << m << " wrote the terminator";
            }
            if (!f.sized) std::fill(padded.begin(), padded.begin() + block.size(), 0);
        }
        EXPECT_LT(skipped, kMutations / 2);
    }
}

}  // namespace
