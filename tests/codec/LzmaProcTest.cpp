// LZMA block form: vectors made by the xz command, header rules, the plain-C entry points, output
// limits, the caller's allocator and blocks too short for their header.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "CodecSamples.h"

namespace {

using codectest::Bytes;

Bytes Header(uint8_t filter, uint8_t lclppb, uint32_t size) {
    Bytes h(14, 0);
    h[0] = filter;
    h[1] = lclppb;
    bytes::PutU32LE(h.data() + 2, 65536);
    bytes::PutU32LE(h.data() + 6, size);
    return h;
}

// Decodes through the object with the two-call protocol; the buffer is exactly N + 1.
Bytes DecodeBlock(Bytes in, unsigned long* result) {
    CMarlinDataProc proc;
    Bytes out(proc.Decode(nullptr, in.data(), in.size()) + 1, 0);
    *result = proc.Decode(out.data(), in.data(), in.size());
    out.resize(*result);
    return out;
}

Bytes Lzma(const Bytes& data, bool x86, bool endMarker) {
    mapdb::LzmaBlockOptions o;
    o.x86 = x86;
    o.endMarker = endMarker;
    return mapdb::EncodeLzmaBlock(data, o);
}

TEST(LzmaProc, DecodesVectorsMadeByXzAndBranchOpcodesAtTheEnd) {
    const Bytes expected = codectest::ReadFixture("xz_input.bin");
    ASSERT_EQ(3483u, expected.size());
    const std::pair<const char*, Bytes> cases[] = {
        {"xz_lzma1.raw", Header(0, (2 * 5 + 0) * 9 + 3, expected.size())},
        {"xz_x86_lzma1.raw", Header(1, (0 * 5 + 2) * 9 + 1, expected.size())}};
    for (auto [file, block] : cases) {
        const Bytes stream = codectest::ReadFixture(file);
        ASSERT_FALSE(stream.empty());
        block.insert(block.end(), stream.begin(), stream.end());
        unsigned long got = 0;
        EXPECT_EQ(expected, DecodeBlock(block, &got)) << file;
    }
    // Branch opcodes in the last five bytes are held back by the filter until the stream ends.
    Bytes code = codectest::Records(3000);
    for (size_t i = 7; i + 5 < code.size(); i += 41)
        code[i] = 0xE8, code[i + 4] = i & 64 ? 0 : 0xFF;
    for (size_t tail = 1; tail <= 5; ++tail) code[code.size() - tail] = 0xE8;
    for (int variant = 0; variant < 4; ++variant) {
        unsigned long got = 0;
        EXPECT_EQ(code, DecodeBlock(Lzma(code, variant & 1, variant & 2), &got)) << variant;
    }
}

// Headers of every short length, as exact heap copies: the sanitizer build reports any read
// past the block. The high size bytes only fail the size query.
TEST(LzmaProc, HeaderRulesAndBlocksShorterThanTheHeader) {
    const Bytes good = Lzma(codectest::Records(500), false, false);
    for (size_t len = 0; len <= 14; ++len) {
        unsigned char* in = new unsigned char[len];
        memcpy(in, good.data(), len);
        unsigned int size = 77, processed = 99;
        unsigned char out[501];
        EXPECT_EQ(len < 14 ? 1 : 0, LzmaRamGetUncompressedSize(in, len, &size)) << len;
        EXPECT_EQ(len < 14 ? 77u : 500u, size);
        EXPECT_EQ(1, LzmaRamDecompress(in, len, out, 500, &processed, malloc, free));
        CLzmaProc proc;
        EXPECT_EQ(len < 14 ? 0u : 500u, proc.Decode(nullptr, in, len));
        EXPECT_EQ(0u, proc.Decode(out, in, len));
        delete[] in;
    }
    struct Case {
        size_t at;
        uint8_t value;
        int status;  // of the plain-C decoder, which takes the limit and ignores the size field
    };
    for (Case c :
         {Case{0, 2, 1}, Case{0, 255, 1}, Case{1, 225, 1}, Case{10, 1, 0}, Case{13, 1, 0}}) {
        Bytes block = good;
        block[c.at] = c.value;
        Bytes out(501);
        unsigned int processed = 99;
        EXPECT_EQ(c.status, LzmaRamDecompress(block.data(), block.size(), out.data(), 500,
                                              &processed, malloc, free))
            << c.at;
        EXPECT_EQ(c.status ? 0u : 500u, processed);
        CMarlinDataProc proc;
        EXPECT_EQ(c.at >= 10 ? 0u : 500u, proc.Decode(nullptr, block.data(), block.size()));
        EXPECT_EQ(0u, proc.Decode(out.data(), block.data(), block.size())) << c.at;
    }
}

TEST(LzmaProc, OutputLimitStreamEndAndTruncation) {
    const Bytes data = codectest::Records(5000);
    struct Case {
        bool marker;
        unsigned int limit;
        int status;
        unsigned int produced;
    };
    const Case cases[] = {{false, 1000, 0, 1000}, {true, 1000, 0, 1000}, {false, 5000, 0, 5000},
                          {true, 5000, 0, 5000},  {true, 6000, 0, 5000},  // the marker ends it
                          {false, 6000, 1, 0},    {false, 0, 0, 0}};
    for (const Case& c : cases) {
        for (bool x86 : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.marker << " " << c.limit << " " << x86);
            const Bytes block = Lzma(data, x86, c.marker);
            unsigned char* out = static_cast<unsigned char*>(malloc(c.limit + 1));
            unsigned int processed = 99;
            EXPECT_EQ(c.status, LzmaRamDecompress(block.data(), block.size(), out, c.limit,
                                                  &processed, malloc, free));
            EXPECT_EQ(c.produced, processed);
            EXPECT_TRUE(c.status || memcmp(out, data.data(), c.produced) == 0);
            free(out);
        }
    }
    const Bytes good = Lzma(data, false, false);
    for (size_t cut : {size_t{15}, size_t{19}, size_t{40}, good.size() - 3}) {
        unsigned long got = 1;
        DecodeBlock(Bytes(good.begin(), good.begin() + cut), &got);
        EXPECT_EQ(0u, got) << cut;
    }
}

int g_allocations = 0;
TEST(LzmaProc, UsesTheCallersAllocator) {
    const Bytes data = codectest::Records(3000);
    const Bytes block = Lzma(data, true, false);
    Bytes out(data.size());
    unsigned int processed = 0;
    auto failing = [](size_t) -> void* { return ++g_allocations, nullptr; };
    auto counting = [](size_t n) -> void* { return ++g_allocations, malloc(n); };
    EXPECT_EQ(2, LzmaRamDecompress(block.data(), block.size(), out.data(), out.size(), &processed,
                                   failing, free));
    EXPECT_EQ(0u, processed);
    const int failed = g_allocations;
    EXPECT_EQ(0, LzmaRamDecompress(block.data(), block.size(), out.data(), out.size(), &processed,
                                   counting, free));
    EXPECT_TRUE(failed > 0 && g_allocations > failed);
    EXPECT_EQ(data, out);
}

}  // namespace
