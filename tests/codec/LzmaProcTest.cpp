// LZMA block form: header rules, the plain-C entry points, output limits, vectors made by the
// xz command, and the x86 conversion checked against a conversion written here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "BlockEncoders.h"
#include "CodecSamples.h"
#include "SearchProc.h"

namespace {

using codectest::Bytes;

// x86 branch conversion in decoding direction over a whole buffer (start position 0): the
// relative targets of E8/E9 instructions that the encoder made absolute are made relative again.
void X86Decode(Bytes& buf) {
    static const bool kAllowed[8] = {true, true, true, false, true, false, false, false};
    static const uint32_t kBitNumber[8] = {0, 1, 2, 2, 3, 3, 3, 3};
    auto msByte = [](uint8_t b) { return b == 0 || b == 0xFF; };
    if (buf.size() < 5) return;
    uint32_t prevMask = 0;
    uint32_t prevPos = static_cast<uint32_t>(-5);
    size_t pos = 0;
    while (pos <= buf.size() - 5) {
        uint8_t b = buf[pos];
        if (b != 0xE8 && b != 0xE9) {
            ++pos;
            continue;
        }
        uint32_t offset = static_cast<uint32_t>(pos) - prevPos;
        prevPos = static_cast<uint32_t>(pos);
        if (offset > 5) {
            prevMask = 0;
        } else {
            for (uint32_t i = 0; i < offset; ++i) prevMask = (prevMask & 0x77) << 1;
        }
        b = buf[pos + 4];
        if (msByte(b) && kAllowed[(prevMask >> 1) & 7] && (prevMask >> 1) < 0x10) {
            uint32_t src = (uint32_t(b) << 24) | (uint32_t(buf[pos + 3]) << 16) |
                           (uint32_t(buf[pos + 2]) << 8) | buf[pos + 1];
            uint32_t dest;
            for (;;) {
                dest = src - static_cast<uint32_t>(pos + 5);
                if (prevMask == 0) break;
                uint32_t index = kBitNumber[prevMask >> 1] * 8;
                if (!msByte(static_cast<uint8_t>(dest >> (24 - index)))) break;
                src = dest ^ ((1u << (32 - index)) - 1);
            }
            buf[pos + 4] = static_cast<uint8_t>(~(((dest >> 24) & 1) - 1));
            buf[pos + 3] = static_cast<uint8_t>(dest >> 16);
            buf[pos + 2] = static_cast<uint8_t>(dest >> 8);
            buf[pos + 1] = static_cast<uint8_t>(dest);
            pos += 5;
            prevMask = 0;
        } else {
            ++pos;
            prevMask |= 1;
            if (msByte(b)) prevMask |= 0x10;
        }
    }
}

Bytes Header(uint8_t filter, uint8_t lclppb, uint32_t dict, uint32_t size) {
    Bytes h(14, 0);
    h[0] = filter;
    h[1] = lclppb;
    bytes::PutU32LE(h.data() + 2, dict);
    bytes::PutU32LE(h.data() + 6, size);
    return h;
}

Bytes Concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Decodes through the object with the caller's two-call protocol; the buffer is exactly N + 1.
Bytes DecodeBlock(const Bytes& block, unsigned long* result = nullptr) {
    CMarlinDataProc proc;
    Bytes in = block;
    unsigned long n = proc.Decode(nullptr, in.data(), in.size());
    Bytes out(n + 1, 0);
    unsigned long got = proc.Decode(out.data(), in.data(), in.size());
    if (result != nullptr) *result = got;
    out.resize(got);
    return out;
}

Bytes Lzma(const Bytes& data, bool x86, bool endMarker) {
    mapdb::LzmaBlockOptions o;
    o.x86 = x86;
    o.endMarker = endMarker;
    return mapdb::EncodeLzmaBlock(data, o);
}

TEST(LzmaProc, DecodesVectorsMadeByXz) {
    const Bytes expected = codectest::ReadFixture("xz_input.bin");
    ASSERT_EQ(3483u, expected.size());
    struct Case {
        const char* file;
        uint8_t filter;
        uint8_t lclppb;
    };
    const Case cases[] = {
        {"xz_lzma1.raw", 0, (2 * 5 + 0) * 9 + 3},
        {"xz_x86_lzma1.raw", 1, (0 * 5 + 2) * 9 + 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Bytes stream = codectest::ReadFixture(c.file);
        ASSERT_FALSE(stream.empty());
        Bytes block = Concat(Header(c.filter, c.lclppb, 65536, expected.size()), stream);
        unsigned long got = 0;
        EXPECT_EQ(expected, DecodeBlock(block, &got));
        EXPECT_EQ(expected.size(), got);
    }
}

TEST(LzmaProc, X86FilterEqualsPlainOutputAfterConversion) {
    // The xz stream with the x86 filter, read as filter 0, gives the converted bytes.
    const Bytes expected = codectest::ReadFixture("xz_input.bin");
    Bytes stream = codectest::ReadFixture("xz_x86_lzma1.raw");
    Bytes plain =
        DecodeBlock(Concat(Header(0, (0 * 5 + 2) * 9 + 1, 65536, expected.size()), stream));
    Bytes filtered =
        DecodeBlock(Concat(Header(1, (0 * 5 + 2) * 9 + 1, 65536, expected.size()), stream));
    ASSERT_EQ(expected.size(), plain.size());
    EXPECT_NE(expected, plain);
    X86Decode(plain);
    EXPECT_EQ(filtered, plain);
    EXPECT_EQ(expected, filtered);

    // Our encoder's x86 blocks, with and without end marker, including a branch opcode in the
    // last four bytes (left unconverted) and one whose operand ends exactly at the end.
    Bytes code = codectest::Records(3000);
    for (size_t i = 7; i + 5 < code.size(); i += 41) {
        code[i] = 0xE8;
        code[i + 4] = (i & 64) ? 0x00 : 0xFF;
    }
    for (size_t tail : {1u, 2u, 3u, 4u, 5u}) code[code.size() - tail] = 0xE8;
    for (bool marker : {false, true}) {
        SCOPED_TRACE(marker ? "end marker" : "no end marker");
        Bytes block = Lzma(code, true, marker);
        Bytes unfiltered = block;
        unfiltered[0] = 0;
        Bytes raw = DecodeBlock(unfiltered);
        X86Decode(raw);
        EXPECT_EQ(DecodeBlock(block), raw);
        EXPECT_EQ(code, raw);
    }
}

TEST(LzmaProc, RoundTripsEverySample) {
    for (const auto& s : codectest::RoundTripSamples()) {
        for (int variant = 0; variant < 4; ++variant) {
            const bool x86 = variant & 1, marker = variant & 2;
            SCOPED_TRACE(s.name + (x86 ? " x86" : "") + (marker ? " marker" : ""));
            Bytes block = Lzma(s.data, x86, marker);
            unsigned long got = 0;
            EXPECT_EQ(s.data, DecodeBlock(block, &got));
            EXPECT_EQ(s.data.size(), got);
        }
    }
}

TEST(LzmaProc, SizeQueryReadsOnlyTheHeader) {
    struct Case {
        const char* name;
        Bytes block;
        int status;
        unsigned int size;  // expected from the size query (untouched value 77 when rejected)
    };
    Bytes good = Header(0, 0x5D, 4096, 123456);
    Bytes high = good;
    high[13] = 1;
    Bytes high10 = good;
    high10[10] = 0x80;
    const Case cases[] = {
        {"header only", good, 0, 123456},
        {"byte 13 set", high, 1, 77},
        {"byte 10 set", high10, 1, 77},
        {"13 bytes", Bytes(good.begin(), good.begin() + 13), 1, 77},
        {"empty", Bytes(), 1, 77},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // An exact-size heap copy: ASan reports any read past the header.
        unsigned char* in = new unsigned char[c.block.size() + 1];
        if (!c.block.empty()) memcpy(in, c.block.data(), c.block.size());
        unsigned int size = 77;
        EXPECT_EQ(c.status, LzmaRamGetUncompressedSize(in, c.block.size(), &size));
        EXPECT_EQ(c.size, size);
        CLzmaProc proc;
        EXPECT_EQ(c.status == 0 ? c.size : 0u, proc.Decode(nullptr, in, c.block.size()));
        delete[] in;
    }
}

TEST(LzmaProc, RejectsBadHeaders) {
    const Bytes data = codectest::Records(500);
    const Bytes good = Lzma(data, false, false);
    struct Case {
        const char* name;
        size_t at;
        uint8_t value;
    };
    const Case cases[] = {
        {"filter byte 2", 0, 2},
        {"filter byte 255", 0, 255},
        {"properties byte 225", 1, 225},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes block = good;
        block[c.at] = c.value;
        Bytes out(data.size() + 1);
        unsigned int processed = 99;
        EXPECT_EQ(1, LzmaRamDecompress(block.data(), block.size(), out.data(), data.size(),
                                       &processed, malloc, free));
        EXPECT_EQ(0u, processed);
        CMarlinDataProc proc;
        EXPECT_EQ(0u, proc.Decode(out.data(), block.data(), block.size()));
    }
    // The high size bytes only make the size query fail: the object then decodes nothing,
    // while the plain-C decoder, given the limit, does not look at them.
    for (size_t at : {10u, 13u}) {
        SCOPED_TRACE(at);
        Bytes block = good;
        block[at] = 1;
        Bytes out(data.size() + 1);
        unsigned int processed = 0;
        EXPECT_EQ(0, LzmaRamDecompress(block.data(), block.size(), out.data(), data.size(),
                                       &processed, malloc, free));
        EXPECT_EQ(data.size(), processed);
        CMarlinDataProc proc;
        EXPECT_EQ(0u, proc.Decode(nullptr, block.data(), block.size()));
        EXPECT_EQ(0u, proc.Decode(out.data(), block.data(), block.size()));
    }
    // Short blocks: status 1 with the processed count untouched, and 0 from the object.
    for (size_t len : {0u, 1u, 13u}) {
        SCOPED_TRACE(len);
        unsigned int processed = 99;
        unsigned char out[4];
        EXPECT_EQ(1, LzmaRamDecompress(good.data(), len, out, 4, &processed, malloc, free));
        EXPECT_EQ(99u, processed);
        CMarlinDataProc proc;
        EXPECT_EQ(0u, proc.Decode(out, const_cast<uint8_t*>(good.data()), len));
        EXPECT_EQ(0u, proc.Decode(nullptr, const_cast<uint8_t*>(good.data()), len));
    }
}

TEST(LzmaProc, OutputLimitAndStreamEnd) {
    const Bytes data = codectest::Records(5000);
    struct Case {
        const char* name;
        bool marker;
        unsigned int limit;
        int status;
        unsigned int produced;
    };
    const Case cases[] = {
        {"limit below the stream, no marker", false, 1000, 0, 1000},
        {"limit below the stream, marker", true, 1000, 0, 1000},
        {"exact, no marker", false, 5000, 0, 5000},
        {"exact, marker", true, 5000, 0, 5000},
        {"marker before the limit", true, 6000, 0, 5000},  // the end marker ends the output
        {"stream ends before the limit", false, 6000, 1, 0},
        {"zero limit", false, 0, 0, 0},
    };
    for (const Case& c : cases) {
        for (bool x86 : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (x86 ? " x86" : ""));
            Bytes block = Lzma(data, x86, c.marker);
            // The destination is exactly the limit: ASan reports a byte written past it.
            unsigned char* out = static_cast<unsigned char*>(malloc(c.limit + 1));
            unsigned int processed = 99;
            EXPECT_EQ(c.status, LzmaRamDecompress(block.data(), block.size(), out, c.limit,
                                                  &processed, malloc, free));
            EXPECT_EQ(c.produced, processed);
            if (c.status == 0 && !x86) {
                EXPECT_EQ(0, memcmp(out, data.data(), c.produced));
            }
            free(out);
        }
    }
}

int g_allocations = 0;
void* FailingAlloc(size_t) {
    ++g_allocations;
    return nullptr;
}
void* CountingAlloc(size_t n) {
    ++g_allocations;
    return malloc(n);
}

TEST(LzmaProc, UsesTheCallersAllocator) {
    const Bytes data = codectest::Records(3000);
    const Bytes block = Lzma(data, true, false);
    Bytes out(data.size());
    unsigned int processed = 0;
    g_allocations = 0;
    EXPECT_EQ(2, LzmaRamDecompress(block.data(), block.size(), out.data(), out.size(), &processed,
                                   FailingAlloc, free));
    EXPECT_GT(g_allocations, 0);
    EXPECT_EQ(0u, processed);
    g_allocations = 0;
    EXPECT_EQ(0, LzmaRamDecompress(block.data(), block.size(), out.data(), out.size(), &processed,
                                   CountingAlloc, free));
    EXPECT_GT(g_allocations, 0);
    EXPECT_EQ(data, out);
}

TEST(LzmaProc, DamagedStreamsFailWithoutOverrun) {
    const Bytes data = codectest::ShiftJisText(4000);
    const Bytes good = Lzma(data, false, false);
    for (size_t cut : {14u, 15u, 18u, 19u, 40u}) {
        SCOPED_TRACE("truncated to " + std::to_string(cut));
        Bytes block(good.begin(), good.begin() + cut);
        unsigned long got = 1;
        DecodeBlock(block, &got);
        EXPECT_EQ(0u, got);
    }
    // A stream truncated near its end: the missing bytes make it fail, never read beyond.
    Bytes block(good.begin(), good.end() - 3);
    unsigned long got = 1;
    DecodeBlock(block, &got);
    EXPECT_EQ(0u, got);
}

}  // namespace
