// Every block form through its encoder and decoder: round trips, the size query and its cap,
// and the chain rules for inconsistent blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "CodecSamples.h"

namespace {

using codectest::Bytes;

// A heap copy of the block and `spare` bytes, so that the sanitizer build reports reads past it.
// The sizeless forms get one: their LZSS stage reads one token even for an empty block.
std::unique_ptr<unsigned char[]> Heap(const Bytes& b, size_t spare = 0) {
    std::unique_ptr<unsigned char[]> p(new unsigned char[b.size() + spare]);
    std::copy(b.begin(), b.end(), p.get());
    return p;
}

TEST(BlockForms, EveryFormRoundTripsEverySample) {
    CMarlinDataProc proc;  // one object for all, as a reader holds it
    for (const codectest::Form& f : codectest::Forms()) {
        for (const Bytes& data : codectest::Samples()) {
            SCOPED_TRACE(std::string(f.name) + " " + std::to_string(data.size()));
            const Bytes block = f.encode(data);
            auto in = Heap(block, f.sized ? 0 : 1);
            const unsigned long n = f.decode(proc, nullptr, in.get(), block.size());
            ASSERT_EQ(data.size(), n);
            std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
            ASSERT_EQ(data.size(), f.decode(proc, out.get(), in.get(), block.size()));
            EXPECT_TRUE(std::equal(data.begin(), data.end(), out.get()));
            EXPECT_EQ(0, out[n]) << "the terminator byte was overwritten";
        }
    }
}

// The size query reads only the length; a length over the 64 MiB cap fails the block, size query
// included, so that no caller allocates it.
TEST(BlockForms, SizeQueryAndTheDecodedSizeCap) {
    for (const codectest::Form& f : codectest::Forms()) {
        for (uint32_t n : {0x04000000u, 0x04000001u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(f.name) + " " + std::to_string(n));
            Bytes header = f.sized ? f.encode({1, 2, 3}) : Bytes(4);
            bytes::PutU32LE(header.data() + (f.sized ? 6 : 0), n);
            auto in = Heap(header);
            CMarlinDataProc proc;
            const unsigned long expected = n <= (64u << 20) ? n : 0;
            EXPECT_EQ(expected, f.decode(proc, nullptr, in.get(), header.size()));
            if (expected == 0) {
                unsigned char out[4] = {};
                EXPECT_EQ(0u, f.decode(proc, out, in.get(), header.size()));
            }
        }
    }
}

TEST(BlockForms, InconsistentChainsFailCleanly) {
    const Bytes data = codectest::Records(2000);
    using mapdb::EncodeBwtLzssHufBlock;
    struct Case {
        const char* name;
        Bytes block;
        size_t at;
        uint32_t value;
        unsigned long (CMarlinDataProc::*decode)(void*, void*);
    };
    const Bytes zeroN = {0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0x41};
    const Case cases[] = {
        {"N 0", zeroN, 0, 0, &CMarlinDataProc::DecodeBwtLzss},
        {"N 0, MTF", zeroN, 0, 0, &CMarlinDataProc::DecodeBwtMtfLzss},
        {"primary index at N", mapdb::EncodeBwtLzssBlock(data), 4, 2000,
         &CMarlinDataProc::DecodeBwtLzss},
        {"range stream longer than N", mapdb::EncodeBwtMtfRcBlock(data), 0, 1999,
         &CMarlinDataProc::DecodeBwtMtfRc},
        {"inner block larger than N", EncodeBwtLzssHufBlock(data), 0, 1999,
         &CMarlinDataProc::DecodeBwtLzssHuf},
        {"Huffman size beyond the buffer", EncodeBwtLzssHufBlock(data), 4, 2000 + 1297 + 1,
         &CMarlinDataProc::DecodeBwtLzssHuf},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes block = c.block;
        bytes::PutU32LE(block.data() + c.at, c.value);
        CMarlinDataProc proc;
        const unsigned long n = (proc.*c.decode)(nullptr, block.data());
        std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
        EXPECT_EQ(0u, (proc.*c.decode)(out.get(), block.data()));
    }
    // The LZSS stream of incompressible data outgrows the chain's spare room.
    EXPECT_THROW(EncodeBwtLzssHufBlock(codectest::RandomBytes(600000, 5)), mapdb::Error);
}

}  // namespace
