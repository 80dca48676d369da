// Random mutations of valid blocks fed to every entry point with a destination of exactly the
// size the two-call protocol gives: each call must fail or decode wrongly, never crash, write
// past the size, leak or hang. Run it under the sanitizer build.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>

#include "BlockEncoders.h"
#include "CodecSamples.h"
#include "SearchProc.h"

namespace {

using codectest::Bytes;

constexpr unsigned long kMaxN = 16384;       // larger claimed sizes are skipped, not allocated
constexpr size_t kPadded = size_t{1} << 20;  // sizeless forms read a block followed by zeros
constexpr int kMutations = 2500;

using DecodeFn = std::function<unsigned long(CMarlinDataProc&, void*, void*, unsigned long)>;

struct Entry {
    const char* name;
    std::function<Bytes(const Bytes&)> encode;
    DecodeFn decode;
    bool sized;  // the interface gives the source size: the block is passed as an exact copy
};

std::vector<Entry> Entries() {
    auto lzma = [](const Bytes& b) { return mapdb::EncodeLzmaBlock(b, false); };
    auto lzmaX86 = [](const Bytes& b) { return mapdb::EncodeLzmaBlock(b, true); };
    return {
        {"Decode(lzma)", lzma,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long n) { return p.Decode(d, s, n); },
         true},
        {"Decode(lzma x86)", lzmaX86,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long n) { return p.Decode(d, s, n); },
         true},
        {"Decode", mapdb::EncodeBwtLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) { return p.Decode(d, s); }, false},
        {"DecodeBwtLzss", mapdb::EncodeBwtLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) { return p.DecodeBwtLzss(d, s); },
         false},
        {"DecodeBwtMtfLzss", mapdb::EncodeBwtMtfLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) {
             return p.DecodeBwtMtfLzss(d, s);
         },
         false},
        {"DecodeBwtMtfRc", mapdb::EncodeBwtMtfRcBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) { return p.DecodeBwtMtfRc(d, s); },
         false},
        {"DecodeBwtLzssHuf", mapdb::EncodeBwtLzssHufBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) {
             return p.DecodeBwtLzssHuf(d, s);
         },
         false},
        {"LZSS_Decode", mapdb::EncodeLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) { return p.LZSS_Decode(s, d); },
         false},
        {"Huffman_Decode", [](const Bytes& b) { return mapdb::EncodeHuffmanBlock(b); },
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) { return p.Huffman_Decode(s, d); },
         false},
        {"CBlockSortingLSProc::Decode", mapdb::EncodeBlockSortBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) {
             return p.CBlockSortingLSProc::Decode(d, s);
         },
         false},
        {"CMoveToFrontProc::Decode", mapdb::EncodeMoveToFrontBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) {
             return p.CMoveToFrontProc::Decode(d, s);
         },
         false},
        {"CRangeCoderProc::Decode", mapdb::EncodeRangeCoderBlock,
         [](CMarlinDataProc& p, void* d, void* s, unsigned long) {
             return p.CRangeCoderProc::Decode(d, s);
         },
         false},
    };
}

Bytes Mutate(const Bytes& valid, bool sized, std::mt19937& rng) {
    Bytes b = valid;
    switch (rng() % 5) {
        case 0:  // a few bit flips
            for (int k = 1 + rng() % 4; k > 0; --k) b[rng() % b.size()] ^= 1u << (rng() % 8);
            break;
        case 1:  // random bytes
            for (int k = 1 + rng() % 3; k > 0; --k)
                b[rng() % b.size()] = static_cast<uint8_t>(rng());
            break;
        case 2:  // a damaged header field
            b[rng() % std::min<size_t>(b.size(), 16)] = static_cast<uint8_t>(rng());
            break;
        case 3:  // a plausible but wrong decoded size
            bytes::PutU32LE(b.data() + (sized ? 6 : 0), rng() % (2 * kMaxN));
            break;
        default:  // truncation (the sized form) or a damaged tail
            if (sized) {
                b.resize(rng() % b.size());
            } else {
                b[b.size() - 1 - rng() % std::min<size_t>(b.size(), 8)] ^= 0xFF;
            }
            break;
    }
    return b;
}

TEST(DamagedBlocks, NoEntryPointCrashesOrOverruns) {
    const std::vector<Bytes> inputs = {codectest::Records(1500), codectest::ShiftJisText(800),
                                       codectest::RandomBytes(300, 9)};
    std::vector<unsigned char> padded(kPadded, 0);
    std::mt19937 rng(20240601);
    for (const Entry& e : Entries()) {
        SCOPED_TRACE(e.name);
        std::vector<Bytes> valid;
        for (const Bytes& in : inputs) valid.push_back(e.encode(in));
        CMarlinDataProc proc;
        int decoded = 0, skipped = 0;
        for (int m = 0; m < kMutations; ++m) {
            const Bytes block = Mutate(valid[m % valid.size()], e.sized, rng);
            std::unique_ptr<unsigned char[]> exact(new unsigned char[block.size() + 1]);
            std::copy(block.begin(), block.end(), exact.get());
            void* src = exact.get();
            if (!e.sized) {
                std::copy(block.begin(), block.end(), padded.begin());
                src = padded.data();
            }
            const unsigned long n = e.decode(proc, nullptr, src, block.size());
            if (n > kMaxN) {
                ++skipped;
            } else {
                std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
                const unsigned long got = e.decode(proc, out.get(), src, block.size());
                EXPECT_LE(got, n) << "mutation " << m;
                EXPECT_EQ(0, out[n]) << "mutation " << m << " wrote the terminator";
                decoded += got != 0;
            }
            if (!e.sized) std::fill(padded.begin(), padded.begin() + block.size(), 0);
        }
        EXPECT_LT(skipped, kMutations / 2);
        RecordProperty(e.name, decoded);
    }
}

TEST(DamagedBlocks, PlainLzmaEntryPointsStayWithinTheirSizes) {
    const Bytes valid = mapdb::EncodeLzmaBlock(codectest::Records(3000), true);
    std::mt19937 rng(77);
    for (int m = 0; m < kMutations; ++m) {
        const Bytes block = Mutate(valid, true, rng);
        std::unique_ptr<unsigned char[]> in(new unsigned char[block.size() + 1]);
        std::copy(block.begin(), block.end(), in.get());
        const unsigned int limit = rng() % 4000;
        std::unique_ptr<unsigned char[]> out(new unsigned char[limit + 1]());
        unsigned int size = 0, processed = 0;
        LzmaRamGetUncompressedSize(in.get(), block.size(), &size);
        const int status =
            LzmaRamDecompress(in.get(), block.size(), out.get(), limit, &processed, malloc, free);
        EXPECT_TRUE(status == 0 || status == 1) << m;
        EXPECT_LE(processed, limit) << m;
        EXPECT_EQ(0, out[limit]) << m;
    }
}

}  // namespace
