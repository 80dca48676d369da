// The single stages on worked examples and hand-made streams: LZSS tokens, the Huffman tree rule
// and bit order, inverse block sort, the move-to-front variant and the range coder's models.
#include <gtest/gtest.h>

#include <cstring>

#include "CodecSamples.h"

namespace {

using codectest::Bytes;

Bytes Block(std::initializer_list<uint32_t> words, const Bytes& rest) {
    mapdb::ByteWriter w;
    for (uint32_t v : words) w.U32(v);
    w.Raw(rest);
    return w.Take();
}

// Decodes a block of n bytes into a marked buffer of n + 1; checks the result and the marker.
template <typename Fn>
Bytes Into(Fn decode, Bytes block, size_t n, unsigned long expected) {
    Bytes out(n + 1, 0xEE);
    EXPECT_EQ(expected, decode(out.data(), block.data()));
    EXPECT_EQ(0xEE, out[n]) << "wrote past N";
    return Bytes(out.begin(), out.begin() + (expected ? n : 0));
}

TEST(Stages, LzssTokens) {
    Bytes sixteen, d16, d16Out;
    for (uint8_t v = 0x20; v < 0x30; ++v) sixteen.push_back(v);
    d16 = d16Out = sixteen;
    d16.insert(d16.end(), {0x10, 0x11, 4});
    d16Out.insert(d16Out.end(), sixteen.begin(), sixteen.begin() + 4);
    struct Case {
        const char* name;
        uint32_t escape;
        Bytes tokens, expected;
        unsigned long n;
    };
    const Case cases[] = {
        {"escape twice is a literal", 0x10, {0x10, 0x10}, {0x10}, 1},
        {"zero-length match", 0x10, {0x10, 0x05, 0, 0x41}, {0x41}, 1},
        {"d above the escape shifted down", 0x10, d16, d16Out, 20},
        {"d below the escape", 0x80, {1, 2, 3, 0x80, 2, 2}, {1, 2, 3, 2, 3}, 5},
        {"overlap repeats forward", 0x00, {7, 8, 0, 2, 5}, {7, 8, 8, 8, 8, 8, 8}, 7},
        {"escape above 255 never matches", 0x141, {0x41, 0x41}, {0x41, 0x41}, 2},
        {"match clipped at N", 0x00, {0x41, 0x00, 2, 200}, {0x41, 0x41, 0x41}, 3},
        {"match before the start", 0x00, {0x41, 0x00, 5, 3}, {}, 4},
    };
    CLzssProc lzss;
    for (const Case& c : cases) {
        const Bytes block = Block({static_cast<uint32_t>(c.n), c.escape}, c.tokens);
        const auto got = Into([&](auto d, auto s) { return lzss.Decode(d, s); }, block, c.n,
                              c.expected.empty() ? 0 : c.n);
        EXPECT_EQ(c.expected, got) << c.name;
    }
}

TEST(Stages, HuffmanTreeRuleAndBitOrder) {
    // Equal frequencies give the complete tree: each byte decodes to itself bit-reversed.
    const Bytes stream = {0x00, 0x01, 0x80, 0xF0, 0x35}, reversed = {0x00, 0x80, 0x01, 0x0F, 0xAC};
    CHuffmanProc huf;
    for (uint32_t f : {0u, 1000u}) {
        Bytes block = Block({5}, Bytes(1024, 0));
        for (int k = 0; k < 256; ++k) bytes::PutU32LE(block.data() + 4 + 4 * k, f);
        block.insert(block.end(), stream.begin(), stream.end());
        EXPECT_EQ(reversed, Into([&](auto d, auto s) { return huf.Decode(d, s); }, block, 5, 5));
    }
    // 'a' 1, 'b' 2, zero elsewhere: the zero leaves merge first in index order, so 'b' is the
    // root's bit-1 child.
    unsigned long freq[256] = {};
    freq['a'] = 1;
    freq['b'] = 2;
    unsigned char src[] = {0xFF}, out[4] = {};
    EXPECT_EQ(3u, huf.DecodeCore(out, src, 3, freq));
    EXPECT_EQ(0, memcmp(out, "bbb", 3));
    EXPECT_EQ(0u, huf.DecodeCore(out, src, 0, freq));
}

TEST(Stages, InverseBlockSortAndMoveToFront) {
    const std::tuple<std::string, uint32_t, std::string> sorts[] = {
        {"nnbaaa", 3, "banana"},
        {"rdarcaaaabb", 2, "abracadabra"},
        {"bbaa", 0, "abab"},
        {"bbaa", 1, "abab"},
        {"nnbaaa", 6, ""},  // primary index outside the block
        {"", 0, ""}};
    CBlockSortingLSProc bs;
    for (const auto& [last, primary, text] : sorts) {
        const Bytes block =
            Block({uint32_t(last.size()), primary}, Bytes(last.begin(), last.end()));
        const Bytes got =
            Into([&](auto d, auto s) { return bs.Decode(d, s); }, block, last.size(), text.size());
        EXPECT_EQ(text, std::string(got.begin(), got.end())) << last << primary;
    }
    const std::pair<Bytes, Bytes> mtf[] = {
        {{2, 2, 2}, {2, 1, 2}},
        {{1, 1}, {1, 0}},
        {{0, 1, 1, 0}, {0, 1, 1, 1}},  // 1 right after 0 leaves the table; the next 1 swaps
        {{1, 0}, {1, 1}},
        {{255, 2, 1}, {255, 1, 1}}};
    CMoveToFrontProc proc;
    for (const auto& [indexes, symbols] : mtf) {
        const Bytes block = Block({uint32_t(indexes.size())}, indexes);
        EXPECT_EQ(symbols, Into([&](auto d, auto s) { return proc.Decode(d, s); }, block,
                                indexes.size(), indexes.size()));
    }
}

TEST(Stages, RangeCoderRescaleAndHandMadeStreams) {
    CRangeCoderProc rc;
    FREQUENCY* m = rc.CreateFrequencyBuf(10);
    ASSERT_NE(nullptr, m);
    for (int k = 0; k < 32758; ++k) rc.UpdateFrequency(m, 3);  // the total reaches 32768
    EXPECT_EQ((32759 >> 1) | 1, m->pwFreq[3]);
    EXPECT_EQ(16379 + 9, m->pwCum[10]);
    const std::pair<unsigned short, int> search[] = {{0, 0},     {3, 3},     {16381, 3},
                                                     {16382, 4}, {16387, 9}, {20000, 0}};
    for (auto [target, symbol] : search) EXPECT_EQ(symbol, rc.SearchCode(m, target)) << target;
    delete[] m->pwFreq;
    delete[] m->pwCum;
    delete m;
    // Only the end value, worked out by hand: category 9 (r = 0xFFFFFFFF / 10), offset 127.
    Bytes endOnly = {0, 0, 0, 0, 0xFF, 0xCC, 0xCC, 0xAE, 0x00};
    unsigned char out[4] = {0xEE};
    EXPECT_EQ(0u, rc.DecodeCore(out, endOnly.data() + 4));
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_EQ(Bytes(endOnly.begin() + 4, endOnly.end()), mapdb::RangeCoderForward({}));
    // More values than the stated length: a failure, not an overrun.
    Bytes longer = mapdb::EncodeRangeCoderBlock(Bytes(100, 7));
    bytes::PutU32LE(longer.data(), 99);
    Into([&](auto d, auto s) { return rc.Decode(d, s); }, longer, 99, 0);
}

}  // namespace
