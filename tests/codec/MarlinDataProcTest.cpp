// Every block form through its encoder and the composite decoder: round trips over the sample
// inputs, the size query, and the chain rules for empty and inconsistent blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "BlockEncoders.h"
#include "CodecSamples.h"
#include "SearchProc.h"

namespace {

using codectest::Bytes;

struct Form {
    const char* name;
    std::function<Bytes(const Bytes&)> encode;
    std::function<unsigned long(CMarlinDataProc&, void*, void*)> decode;
};

std::vector<Form> Forms() {
    return {
        {"Decode", mapdb::EncodeBwtLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.Decode(d, s); }},
        {"DecodeBwtLzss", mapdb::EncodeBwtLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtLzss(d, s); }},
        {"DecodeBwtMtfLzss", mapdb::EncodeBwtMtfLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtMtfLzss(d, s); }},
        {"DecodeBwtMtfRc", mapdb::EncodeBwtMtfRcBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtMtfRc(d, s); }},
        {"DecodeBwtLzssHuf", mapdb::EncodeBwtLzssHufBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtLzssHuf(d, s); }},
        {"CLzssProc", mapdb::EncodeLzssBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.CLzssProc::Decode(d, s); }},
        {"CHuffmanProc", [](const Bytes& b) { return mapdb::EncodeHuffmanBlock(b); },
         [](CMarlinDataProc& p, void* d, void* s) { return p.CHuffmanProc::Decode(d, s); }},
        {"CBlockSortingLSProc", mapdb::EncodeBlockSortBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.CBlockSortingLSProc::Decode(d, s); }},
        {"CMoveToFrontProc", mapdb::EncodeMoveToFrontBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.CMoveToFrontProc::Decode(d, s); }},
        {"CRangeCoderProc", mapdb::EncodeRangeCoderBlock,
         [](CMarlinDataProc& p, void* d, void* s) { return p.CRangeCoderProc::Decode(d, s); }},
    };
}

// An exact-size heap copy, so that ASan reports reads past the block.
struct HeapBlock {
    explicit HeapBlock(const Bytes& b) : data(new unsigned char[b.size() + 1]), size(b.size()) {
        std::copy(b.begin(), b.end(), data.get());
    }
    std::unique_ptr<unsigned char[]> data;
    size_t size;
};

TEST(MarlinDataProc, EveryFormRoundTripsEverySample) {
    CMarlinDataProc proc;  // one object for all, as a reader would hold it
    for (const Form& f : Forms()) {
        for (const auto& s : codectest::RoundTripSamples()) {
            SCOPED_TRACE(std::string(f.name) + " " + s.name);
            const Bytes block = f.encode(s.data);
            HeapBlock in(block);
            const unsigned long n = f.decode(proc, nullptr, in.data.get());
            ASSERT_EQ(s.data.size(), n);
            std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
            const unsigned long got = f.decode(proc, out.get(), in.data.get());
            if (s.data.empty() && std::string(f.name) != "CMoveToFrontProc" &&
                std::string(f.name) != "CRangeCoderProc" && std::string(f.name) != "CLzssProc") {
                // Empty blocks of the block-sorting forms and of the Huffman form report 0,
                // which the caller reads as nothing decoded.
                EXPECT_EQ(0u, got);
                continue;
            }
            ASSERT_EQ(s.data.size(), got);
            EXPECT_TRUE(std::equal(s.data.begin(), s.data.end(), out.get()));
            EXPECT_EQ(0, out[n]) << "the terminator byte was overwritten";
        }
    }
}

TEST(MarlinDataProc, SizeQueryReadsOnlyTheLength) {
    for (const Form& f : Forms()) {
        SCOPED_TRACE(f.name);
        unsigned char* four = new unsigned char[4];
        bytes::PutU32LE(four, 0x03B2C3D4u);
        CMarlinDataProc proc;
        EXPECT_EQ(0x03B2C3D4u, f.decode(proc, nullptr, four));
        delete[] four;
    }
}

TEST(MarlinDataProc, DecodeIsDecodeBwtLzss) {
    for (const auto& s : codectest::RoundTripSamples()) {
        SCOPED_TRACE(s.name);
        Bytes block = mapdb::EncodeBwtLzssBlock(s.data);
        CMarlinDataProc proc;
        Bytes a(s.data.size() + 1, 0x55), b(s.data.size() + 1, 0x55);
        EXPECT_EQ(proc.DecodeBwtLzss(a.data(), block.data()), proc.Decode(b.data(), block.data()));
        EXPECT_EQ(a, b);
    }
}

TEST(MarlinDataProc, InconsistentChainsFailCleanly) {
    const Bytes data = codectest::Records(2000);
    struct Case {
        const char* name;
        Bytes block;
        std::function<unsigned long(CMarlinDataProc&, void*, void*)> decode;
    };
    auto lzss = [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtLzss(d, s); };
    auto mtf = [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtMtfLzss(d, s); };
    auto rc = [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtMtfRc(d, s); };
    auto huf = [](CMarlinDataProc& p, void* d, void* s) { return p.DecodeBwtLzssHuf(d, s); };
    std::vector<Case> cases;
    // N = 0: the LZSS stage produces nothing.
    cases.push_back({"BWT+LZSS, N 0", {0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0x41}, lzss});
    cases.push_back({"BWT+MTF+LZSS, N 0", {0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0x41}, mtf});
    Bytes b = mapdb::EncodeBwtLzssBlock(data);
    bytes::PutU32LE(b.data() + 4, 2000);  // primary index = N
    cases.push_back({"primary index at N", b, lzss});
    b = mapdb::EncodeBwtMtfRcBlock(data);
    bytes::PutU32LE(b.data(), 1999);  // the range stream holds one value more than N
    cases.push_back({"range stream longer than N", b, rc});
    b = mapdb::EncodeBwtLzssHufBlock(data);
    bytes::PutU32LE(b.data(), 1999);  // the inner block-sorting block is larger than N
    cases.push_back({"inner block larger than N", b, huf});
    b = mapdb::EncodeBwtLzssHufBlock(data);
    bytes::PutU32LE(b.data() + 4, 2000 + 1297 + 1);  // Huffman output beyond the buffer
    cases.push_back({"Huffman size beyond the buffer", b, huf});
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        CMarlinDataProc proc;
        const unsigned long n = c.decode(proc, nullptr, c.block.data());
        std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
        EXPECT_EQ(0u, c.decode(proc, out.get(), c.block.data()));
    }
}

TEST(MarlinDataProc, HuffmanChainRefusesBlocksTooLargeForTheBuffer) {
    // Random bytes have no matches; the escape byte's doublings grow the LZSS stream by about
    // N / 256, beyond the 1297 spare bytes for inputs of a few hundred KiB.
    EXPECT_THROW(mapdb::EncodeBwtLzssHufBlock(codectest::RandomBytes(600000, 5)), mapdb::Error);
}

}  // namespace
