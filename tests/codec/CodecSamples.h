// Inputs and entry points shared by the codec tests: the kinds of data the block forms carry
// (empty, single bytes, runs, random bytes, records, sizes around powers of two) and every
// decoding entry point with the encoder that makes its blocks.
#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "BlockEncoders.h"
#include "SearchProc.h"

namespace codectest {

using mapdb::Bytes;

inline Bytes RandomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// 32-byte POI-like records: id, coordinates, genre codes and a short name.
inline Bytes Records(size_t n) {
    mapdb::ByteWriter w;
    for (uint32_t i = 0; w.size() < n; ++i) {
        w.U32(0xB1000000u + i);
        w.U32(3000000 + i * 37);
        w.U8(i % 7);
        w.U8(12);
        w.U16(i % 300);
        w.Fixed("POI" + std::to_string(i % 97), 20);
    }
    Bytes b = w.Take();
    b.resize(n);
    return b;
}

inline std::vector<Bytes> Samples() {
    std::vector<Bytes> s = {{},
                            {0x41},
                            {0xFF, 0x00},
                            Bytes(70000, 0),
                            RandomBytes(3000, 1),
                            RandomBytes(65536, 2),
                            Records(20000)};
    for (size_t n : {255u, 256u, 4097u, 32768u}) s.push_back(Records(n));
    return s;
}

inline Bytes ReadFixture(const std::string& name) {
    std::ifstream f(std::string(TESTS_SOURCE_DIR) + "/codec/data/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

using DecodeFn = std::function<unsigned long(CMarlinDataProc&, void*, void*, unsigned long)>;
struct Form {
    const char* name;
    std::function<Bytes(const Bytes&)> encode;
    DecodeFn decode;
    bool sized;  // the interface takes the source size (the LZMA form)
};

#define CODEC_FORM(call)                                        \
    [](CMarlinDataProc& p, void* d, void* s, unsigned long n) { \
        (void)n;                                                \
        return p.call;                                          \
    }
inline std::vector<Form> Forms() {
    auto huf = [](const Bytes& b) { return mapdb::EncodeHuffmanBlock(b); };
    auto x86 = [](const Bytes& b) { return mapdb::EncodeLzmaBlock(b, true); };
    return {{"lzma", [](const Bytes& b) { return mapdb::EncodeLzmaBlock(b); },
             CODEC_FORM(Decode(d, s, n)), true},
            {"lzma x86", x86, CODEC_FORM(Decode(d, s, n)), true},
            {"Decode", mapdb::EncodeBwtLzssBlock, CODEC_FORM(Decode(d, s)), false},
            {"BwtLzss", mapdb::EncodeBwtLzssBlock, CODEC_FORM(DecodeBwtLzss(d, s)), false},
            {"BwtMtfLzss", mapdb::EncodeBwtMtfLzssBlock, CODEC_FORM(DecodeBwtMtfLzss(d, s)), false},
            {"BwtMtfRc", mapdb::EncodeBwtMtfRcBlock, CODEC_FORM(DecodeBwtMtfRc(d, s)), false},
            {"BwtLzssHuf", mapdb::EncodeBwtLzssHufBlock, CODEC_FORM(DecodeBwtLzssHuf(d, s)), false},
            {"Lzss", mapdb::EncodeLzssBlock, CODEC_FORM(LZSS_Decode(s, d)), false},
            {"Huffman", huf, CODEC_FORM(Huffman_Decode(s, d)), false},
            {"BlockSort", mapdb::EncodeBlockSortBlock,
             CODEC_FORM(CBlockSortingLSProc::Decode(d, s)), false},
            {"MoveToFront", mapdb::EncodeMoveToFrontBlock,
             CODEC_FORM(CMoveToFrontProc::Decode(d, s)), false},
            {"RangeCoder", mapdb::EncodeRangeCoderBlock, CODEC_FORM(CRangeCoderProc::Decode(d, s)),
             false}};
}
#undef CODEC_FORM

}  // namespace codectest
