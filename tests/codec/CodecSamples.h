// Inputs shared by the codec tests: the kinds of data the block forms must carry (empty, single
// bytes, runs, random bytes, Shift_JIS text, fixed-size records, sizes around powers of two).
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "ByteWriter.h"

namespace codectest {

using mapdb::Bytes;

struct Sample {
    std::string name;
    Bytes data;
};

inline Bytes RandomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = static_cast<uint8_t>(rng());
    return b;
}

// Shift_JIS place names ("東京都千代田区", "大阪府", "北海道札幌市") with ASCII between them.
inline Bytes ShiftJisText(size_t n) {
    static const uint8_t kWords[][14] = {
        {0x93, 0x8c, 0x8b, 0x9e, 0x93, 0x73, 0x90, 0xe7, 0x91, 0xe3, 0x93, 0x63, 0x8b, 0xe6},
        {0x91, 0xe5, 0x8d, 0xe3, 0x95, 0x7b, 0x20, 0x31, 0x2d, 0x32, 0x2d, 0x33, 0x0a, 0x00},
        {0x96, 0x6b, 0x8a, 0x43, 0x93, 0xb9, 0x8e, 0x44, 0x96, 0x79, 0x8e, 0x73, 0x2c, 0x20},
    };
    Bytes b;
    std::mt19937 rng(11);
    while (b.size() < n) {
        const uint8_t* w = kWords[rng() % 3];
        b.insert(b.end(), w, w + 14);
    }
    b.resize(n);
    return b;
}

// 32-byte POI-like records: id, coordinates, genre codes and a short name.
inline Bytes Records(size_t n) {
    mapdb::ByteWriter w;
    for (uint32_t i = 0; w.size() < n; ++i) {
        w.U32(0xB1000000u + i);
        w.U32(3000000 + i * 37);
        w.U32(12000000 + (i * 101) % 5000);
        w.U8(i % 7);
        w.U8(12);
        w.U16(i % 300);
        w.Fixed("POI" + std::to_string(i % 97), 16);
    }
    Bytes b = w.Take();
    b.resize(n);
    return b;
}

inline std::vector<Sample> RoundTripSamples() {
    std::vector<Sample> s = {
        {"empty", {}},
        {"one_byte", {0x41}},
        {"one_zero", {0x00}},
        {"two_bytes", {0xFF, 0x00}},
        {"run_1000", Bytes(1000, 0x61)},
        {"run_70000", Bytes(70000, 0x00)},
        {"alternating", {}},
        {"random_3000", RandomBytes(3000, 1)},
        {"random_65536", RandomBytes(65536, 2)},
        {"shift_jis", ShiftJisText(5000)},
        {"records", Records(20000)},
    };
    for (int i = 0; i < 4000; ++i) s[6].data.push_back(i % 2 ? 0xAB : 0x10);
    for (size_t n : {255u, 256u, 257u, 4095u, 4096u, 4097u, 32767u, 32768u, 32769u}) {
        s.push_back({"records_" + std::to_string(n), Records(n)});
    }
    return s;
}

inline Bytes ReadFixture(const std::string& name) {
    std::ifstream f(std::string(TESTS_SOURCE_DIR) + "/codec/data/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

}  // namespace codectest
