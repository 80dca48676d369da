// Every block form through its encoder and decoder: round trips of the kinds of data the forms
// carry (empty, single bytes, runs, random bytes, records, sizes around powers of two), the size
// query and its cap, the chain rules for inconsistent blocks, random damage to valid blocks, and
// the LZMA form's own rules: vectors made by the xz command, header rules, the plain-C entry
// points, output limits, the caller's allocator and blocks too short for their header. Damaged
// blocks go to every entry point with a destination of exactly the size the two-call protocol
// gives: each call fails or decodes wrongly, never crashes, writes past the size, leaks or hangs
// (the sanitizer build checks the reads).
#include <gtest/gtest.h>
#include <lzma.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "BlockEncoders.h"
#include "SearchProc.h"

// Last: the SDK's Types.h defines short macros of its own.
#include <lzma/LzmaEnc.h>

namespace {

using mapdb::Bytes;

Bytes RandomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// 32-byte POI-like records: id, coordinates, genre codes and a short name.
Bytes Records(size_t n) {
    mapdb::ByteWriter w;
    for (uint32_t i = 0; w.size() < n; ++i)
        w.U32(0xB1000000u + i), w.U32(3000000 + i * 37), w.U32(i % 7 | 12 << 8 | i % 300 << 16),
            w.Fixed("POI" + std::to_string(i % 97), 20);
    Bytes b = w.Take();
    b.resize(n);
    return b;
}

Bytes ReadFixture(const std::string& name) {
    std::ifstream f(std::string(TESTS_SOURCE_DIR) + "/codec/data/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

// A heap copy of the block and `spare` bytes, so that the sanitizer build reports reads past it.
std::unique_ptr<unsigned char[]> Heap(const Bytes& b, size_t spare = 0) {
    std::unique_ptr<unsigned char[]> p(new unsigned char[b.size() + spare]);
    std::copy(b.begin(), b.end(), p.get());
    return p;
}

struct Form {
    const char* name;
    std::function<Bytes(const Bytes&)> encode;
    std::function<unsigned long(CMarlinDataProc&, void*, void*, unsigned long)> decode;
    bool sized;  // the interface takes the source size (the LZMA form)
};

constexpr unsigned long kMaxN = 16384;  // larger claimed sizes of damaged blocks are skipped
constexpr int kDamaged = 2500;

Bytes Damage(Bytes b, bool sized, std::mt19937& rng) {
    const uint32_t kind = rng() % 5;
    if (kind == 0)  // bit flips
        for (int k = 1 + rng() % 4; k > 0; --k) b[rng() % b.size()] ^= 1u << (rng() % 8);
    else if (kind == 1)  // a damaged header field
        b[rng() % std::min<size_t>(b.size(), 16)] = static_cast<uint8_t>(rng());
    else if (kind == 2)  // a plausible but wrong decoded size
        bytes::PutU32LE(b.data() + (sized ? 6 : 0), rng() % (2 * kMaxN));
    else if (kind == 3 && sized)  // truncation: only a sized form is told its block's length
        b.resize(rng() % b.size());
    else  // a damaged tail
        b[b.size() - 1 - rng() % std::min<size_t>(b.size(), 8)] ^= 0xFF;
    return b;
}

#define CODEC_FORM(call) \
    [](CMarlinDataProc& p, void* d, void* s, [[maybe_unused]] unsigned long n) { return call; }
// The sizeless forms get a spare byte: their LZSS stage reads one token even for an empty block.
// The size query reads only the length; a length over the 64 MiB cap fails the block, size query
// included, so that no caller allocates it.
TEST(BlockForms, RoundTripsTheSizeCapAndDamagedBlocks) {
    using namespace mapdb;
    auto lzma = [](const Bytes& b) { return EncodeLzmaBlock(b); };
    auto x86 = [](const Bytes& b) { return EncodeLzmaBlock(b, true); };
    auto huf = [](const Bytes& b) { return EncodeHuffmanBlock(b); };
    const Form forms[] = {
        {"lzma", lzma, CODEC_FORM(p.Decode(d, s, n)), true},
        {"lzma x86", x86, CODEC_FORM(p.Decode(d, s, n)), true},
        {"Decode", EncodeBwtLzssBlock, CODEC_FORM(p.Decode(d, s)), false},
        {"BwtLzss", EncodeBwtLzssBlock, CODEC_FORM(p.DecodeBwtLzss(d, s)), false},
        {"BwtMtfLzss", EncodeBwtMtfLzssBlock, CODEC_FORM(p.DecodeBwtMtfLzss(d, s)), false},
        {"BwtMtfRc", EncodeBwtMtfRcBlock, CODEC_FORM(p.DecodeBwtMtfRc(d, s)), false},
        {"BwtLzssHuf", EncodeBwtLzssHufBlock, CODEC_FORM(p.DecodeBwtLzssHuf(d, s)), false},
        {"Lzss", EncodeLzssBlock, CODEC_FORM(p.LZSS_Decode(s, d)), false},
        {"Huffman", huf, CODEC_FORM(p.Huffman_Decode(s, d)), false},
        {"BlockSort", EncodeBlockSortBlock, CODEC_FORM(p.CBlockSortingLSProc::Decode(d, s)), false},
        {"MoveToFront", EncodeMoveToFrontBlock, CODEC_FORM(p.CMoveToFrontProc::Decode(d, s)),
         false},
        {"RangeCoder", EncodeRangeCoderBlock, CODEC_FORM(p.CRangeCoderProc::Decode(d, s)), false}};
#undef CODEC_FORM
    std::vector<Bytes> samples = {{0x41},          {0xFF, 0x00},         {},
                                  Bytes(70000, 0), RandomBytes(3000, 1), RandomBytes(65536, 2)};
    for (size_t n : {255u, 256u, 4097u, 20000u, 32768u}) samples.push_back(Records(n));
    Bytes padded(size_t{1} << 20, 0);  // sizeless forms read a damaged block followed by zeros
    std::mt19937 rng(20240601);
    CMarlinDataProc proc;  // one object for all, as a reader holds it
    for (const Form& f : forms) {
        SCOPED_TRACE(f.name);
        for (const Bytes& data : samples) {
            const Bytes block = f.encode(data);
            auto in = Heap(block, f.sized ? 0 : 1);
            const unsigned long n = f.decode(proc, nullptr, in.get(), block.size());
            ASSERT_EQ(data.size(), n);
            std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
            ASSERT_EQ(data.size(), f.decode(proc, out.get(), in.get(), block.size()));
            EXPECT_TRUE(std::equal(data.begin(), data.end(), out.get()));
            EXPECT_EQ(0, out[n]) << "the terminator byte was overwritten";
        }
        for (uint32_t n : {0x04000000u, 0x04000001u, 0xFFFFFFFFu}) {
            Bytes header = f.sized ? f.encode({1, 2, 3}) : Bytes(4);
            bytes::PutU32LE(header.data() + (f.sized ? 6 : 0), n);
            auto in = Heap(header);
            unsigned char out[4] = {};
            const unsigned long expected = n <= (64u << 20) ? n : 0;
            EXPECT_EQ(expected, f.decode(proc, nullptr, in.get(), header.size())) << n;
            EXPECT_TRUE(expected || f.decode(proc, out, in.get(), header.size()) == 0) << n;
        }
        const Bytes valid[] = {f.encode(Records(1500)), f.encode(RandomBytes(300, 9))};
        int skipped = 0;
        for (int m = 0; m < kDamaged; ++m) {
            const Bytes block = Damage(valid[m % 2], f.sized, rng);
            auto exact = Heap(block, 1);
            std::copy(block.begin(), block.end(), padded.begin());
            void* src = f.sized ? exact.get() : padded.data();
            const unsigned long n = f.decode(proc, nullptr, src, block.size());
            if (n <= kMaxN) {
                std::unique_ptr<unsigned char[]> out(new unsigned char[n + 1]());
                EXPECT_LE(f.decode(proc, out.get(), src, block.size()), n) << m;
                EXPECT_EQ(0, out[n]) << "damaged block " << m << " wrote the terminator";
            }
            skipped += n > kMaxN;
            std::fill(padded.begin(), padded.begin() + block.size(), 0);
        }
        EXPECT_LT(skipped, kDamaged / 2);
    }
}

TEST(BlockForms, InconsistentChainsFailCleanly) {
    using namespace mapdb;
    using P = CMarlinDataProc;
    const Bytes data = Records(2000), zeroN = {0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0x41};
    // Name, block, where value replaces a 32-bit field, value, entry point.
    const std::tuple<const char*, Bytes, size_t, uint32_t, unsigned long (P::*)(void*, void*)>
        cases[] = {
            {"N 0", zeroN, 0, 0, &P::DecodeBwtLzss},
            {"N 0, MTF", zeroN, 0, 0, &P::DecodeBwtMtfLzss},
            {"primary index at N", EncodeBwtLzssBlock(data), 4, 2000, &P::DecodeBwtLzss},
            {"range stream longer than N", EncodeBwtMtfRcBlock(data), 0, 1999, &P::DecodeBwtMtfRc},
            {"inner block larger than N", EncodeBwtLzssHufBlock(data), 0, 1999,
             &P::DecodeBwtLzssHuf},
            {"Huffman size beyond the buffer", EncodeBwtLzssHufBlock(data), 4, 2000 + 1297 + 1,
             &P::DecodeBwtLzssHuf}};
    for (auto [name, block, at, value, decode] : cases) {
        bytes::PutU32LE(block.data() + at, value);
        P proc;
        Bytes out((proc.*decode)(nullptr, block.data()) + 1);
        EXPECT_EQ(0u, (proc.*decode)(out.data(), block.data())) << name;
    }
    // The LZSS stream of incompressible data outgrows the chain's spare room.
    EXPECT_THROW(EncodeBwtLzssHufBlock(RandomBytes(600000, 5)), Error);
}

// Decodes an exact heap copy through the object with the two-call protocol into a buffer of
// exactly N + 1 bytes; returns the bytes the decoder reports.
Bytes Decoded(const Bytes& block) {
    CMarlinDataProc proc;
    auto in = Heap(block);
    Bytes out(proc.Decode(nullptr, in.get(), block.size()) + 1, 0);
    out.resize(proc.Decode(out.data(), in.get(), block.size()));
    return out;
}

TEST(LzmaProc, DecodesVectorsMadeByXzAndBranchOpcodesAtTheEnd) {
    const Bytes expected = ReadFixture("xz_input.bin");
    // Filter byte, (pb * 5 + lp) * 9 + lc, 64 KiB dictionary, 64-bit size 3483, raw stream.
    for (auto [file, filter, props] : {std::tuple("xz_lzma1.raw", 0, (2 * 5 + 0) * 9 + 3),
                                       std::tuple("xz_x86_lzma1.raw", 1, (0 * 5 + 2) * 9 + 1)}) {
        Bytes block = {uint8_t(filter), uint8_t(props), 0, 0, 1, 0, 0x9B, 0x0D, 0, 0, 0, 0, 0, 0};
        const Bytes stream = ReadFixture(file);
        block.insert(block.end(), stream.begin(), stream.end());
        EXPECT_EQ(expected, Decoded(block)) << file;
    }
    // Branch opcodes in the last five bytes are held back by the filter until the stream ends.
    Bytes code = Records(3000);
    for (size_t i = 7; i + 5 < code.size(); i += 41)
        code[i] = 0xE8, code[i + 4] = i & 64 ? 0 : 0xFF;
    for (size_t tail = 1; tail <= 5; ++tail) code[code.size() - tail] = 0xE8;
    for (int v = 0; v < 4; ++v)
        EXPECT_EQ(code, Decoded(mapdb::EncodeLzmaBlock(code, {v % 2 == 1, v >= 2}))) << v;
}

// liblzma's raw LZMA1 decoder of known size, and its own x86 filter when the filter byte says so.
Bytes LiblzmaDecoded(const Bytes& block) {
    lzma_filter decoded = {LZMA_FILTER_LZMA1EXT, nullptr};
    if (lzma_properties_decode(&decoded, nullptr, block.data() + 1, 5) != LZMA_OK) return {};
    auto* lz = static_cast<lzma_options_lzma*>(decoded.options);
    const uint32_t n = bytes::ReadU32LE(block.data() + 6);
    lz->ext_flags = LZMA_LZMA1EXT_ALLOW_EOPM;
    lzma_set_ext_size(*lz, n);
    lzma_options_bcj bcj = {};
    const lzma_filter chain[3] = {
        {LZMA_FILTER_X86, &bcj}, {LZMA_FILTER_LZMA1EXT, lz}, {LZMA_VLI_UNKNOWN, nullptr}};
    Bytes out(n);
    size_t inPos = 14, outPos = 0;
    const lzma_ret ret =
        lzma_raw_buffer_decode(chain + (block[0] == 1 ? 0 : 1), nullptr, block.data(), &inPos,
                               block.size(), out.data(), &outPos, n);
    free(lz);
    out.resize(ret == LZMA_OK ? outPos : 0);
    return out;
}

void* SdkAlloc(void*, size_t size) {
    return malloc(size);
}
void SdkFree(void*, void* address) {
    free(address);
}

// An LZMA block with any lc (0-8), lp (0-4) and pb (0-4), made by the LZMA SDK encoder.
Bytes SdkBlock(const Bytes& data, uint8_t filter, int lc, int lp, int pb) {
    CLzmaEncProps props;
    LzmaEncProps_Init(&props);
    props.level = 1, props.dictSize = 1 << 16, props.lc = lc, props.lp = lp, props.pb = pb;
    Bytes block(14 + data.size() * 2 + 1024);
    block[0] = filter;
    bytes::PutU32LE(block.data() + 6, static_cast<uint32_t>(data.size()));
    SizeT outLen = block.size() - 14, propsLen = 5;
    ISzAlloc alloc = {SdkAlloc, SdkFree};
    EXPECT_EQ(SZ_OK, LzmaEncode(block.data() + 14, &outLen, data.data(), data.size(), &props,
                                block.data() + 1, &propsLen, 0, nullptr, &alloc, &alloc));
    block.resize(14 + outLen);
    return block;
}

size_t g_lastRequest = 0;

// Every lc (0-8) and lp (0-4): the block decodes to its input and asks the caller for exactly the
// probability model. Filter byte 1 gives what liblzma's x86 filter makes of the same bytes (data
// rich in E8/E9 and 00/FF operand bytes, so that every rule of the converter is exercised).
TEST(LzmaProc, EveryPropertyByteAndTheX86ConverterAgainstLiblzma) {
    std::mt19937 rng(11);
    const uint8_t alphabet[] = {0xE8, 0xE9, 0x00, 0xFF, 0x0F, 0x80};
    Bytes code(3000);
    for (auto& b : code) b = rng() % 3 ? alphabet[rng() % 6] : uint8_t(rng());
    Bytes liblzmaX86 = mapdb::EncodeLzmaBlock(code);
    liblzmaX86[0] = 1;
    liblzmaX86 = LiblzmaDecoded(liblzmaX86);
    ASSERT_EQ(code.size(), liblzmaX86.size());
    ASSERT_NE(code, liblzmaX86);
    auto recording = [](size_t n) -> void* { return g_lastRequest = n, malloc(n); };
    for (int lc = 0; lc <= 8; ++lc)
        for (int lp = 0; lp <= 4; ++lp)
            for (uint8_t filter : {0, 1}) {
                const int pb = (lc + lp) % 5;
                const Bytes block = SdkBlock(code, filter, lc, lp, pb);
                ASSERT_EQ((pb * 5 + lp) * 9 + lc, block[1]);
                Bytes out(code.size());
                unsigned processed = 0;
                EXPECT_EQ(0, LzmaRamDecompress(block.data(), block.size(), out.data(), out.size(),
                                               &processed, recording, free));
                EXPECT_EQ(filter ? liblzmaX86 : code, out) << lc << " " << lp << " " << filter;
                EXPECT_EQ((1846u + (768u << (lc + lp))) * 2, g_lastRequest);
            }
    for (int round = 0; round < 20; ++round) {
        Bytes raw(64 + round * 97);
        for (auto& b : raw) b = rng() % 3 ? alphabet[rng() % 6] : uint8_t(rng());
        Bytes block = mapdb::EncodeLzmaBlock(raw);
        block[0] = 1;
        EXPECT_EQ(LiblzmaDecoded(block), Decoded(block)) << round;
    }
}

int g_allocations = 0;

// Headers of every short length, as exact heap copies: the sanitizer build reports any read
// past the block. The high size bytes only fail the size query; truncated streams fail. Every
// allocation goes through the caller's functions; one that fails ends the decode.
TEST(LzmaProc, HeaderRulesOutputLimitsAndTheCallersAllocator) {
    const Bytes data = Records(5000), good = mapdb::EncodeLzmaBlock(data);
    Bytes out(5001);
    unsigned int size = 77, processed = 99;
    for (size_t len = 0; len <= 14; ++len) {
        auto in = Heap(Bytes(good.begin(), good.begin() + len));
        EXPECT_EQ(len < 14 ? 1 : 0, LzmaRamGetUncompressedSize(in.get(), len, &size)) << len;
        EXPECT_EQ(len < 14 ? 77u : 5000u, size);
        EXPECT_EQ(1, LzmaRamDecompress(in.get(), len, out.data(), 5000, &processed, malloc, free));
        CLzmaProc proc;
        EXPECT_EQ(len < 14 ? 0u : 5000u, proc.Decode(nullptr, in.get(), len));
        EXPECT_EQ(0u, proc.Decode(out.data(), in.get(), len));
    }
    // Byte, value, status of the plain-C decoder, which takes the limit and ignores the size.
    const std::tuple<size_t, uint8_t, int> damaged[] = {
        {0, 2, 1}, {0, 255, 1}, {1, 225, 1}, {10, 1, 0}, {13, 1, 0}};
    for (auto [at, value, status] : damaged) {
        Bytes block = good;
        block[at] = value;
        EXPECT_EQ(status, LzmaRamDecompress(block.data(), block.size(), out.data(), 5000,
                                            &processed, malloc, free))
            << at;
        EXPECT_EQ(status ? 0u : 5000u, processed);
        CMarlinDataProc proc;
        EXPECT_EQ(at >= 10 ? 0u : 5000u, proc.Decode(nullptr, block.data(), block.size()));
        EXPECT_EQ(0u, proc.Decode(out.data(), block.data(), block.size())) << at;
    }
    for (size_t cut : {size_t{15}, size_t{19}, size_t{40}, good.size() - 3})
        EXPECT_TRUE(Decoded(Bytes(good.begin(), good.begin() + cut)).empty()) << cut;
    // End marker, limit, status, bytes produced; the marker ends a stream before the limit.
    const std::tuple<bool, unsigned, int, unsigned> limits[] = {
        {false, 1000, 0, 1000}, {false, 5000, 0, 5000}, {true, 5000, 0, 5000},
        {true, 6000, 0, 5000},  {false, 6000, 1, 0},    {false, 0, 0, 0}};
    auto counting = [](size_t n) -> void* { return ++g_allocations, malloc(n); };
    for (auto [marker, limit, status, produced] : limits)
        for (bool x86 : {false, true}) {
            const Bytes block = mapdb::EncodeLzmaBlock(data, {x86, marker});
            Bytes exact(limit + 1);
            processed = 99;
            EXPECT_EQ(status, LzmaRamDecompress(block.data(), block.size(), exact.data(), limit,
                                                &processed, counting, free))
                << marker << " " << limit << " " << x86;
            EXPECT_EQ(produced, processed);
            EXPECT_TRUE(status || memcmp(exact.data(), data.data(), produced) == 0);
        }
    EXPECT_GE(g_allocations, 12);
    auto failing = [](size_t) -> void* { return nullptr; };
    for (unsigned limit : {0u, 5000u})
        EXPECT_EQ(2, LzmaRamDecompress(good.data(), good.size(), out.data(), limit, &processed,
                                       failing, free));
    EXPECT_EQ(0u, processed);
}

}  // namespace
