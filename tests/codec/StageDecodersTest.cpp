// The single stages on worked examples and hand-made streams: LZSS tokens, the Huffman tree rule
// and bit order, inverse block sort, the move-to-front variant and the range coder's models.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "BlockEncoders.h"
#include "SearchProc.h"
#include "codec/CodecDetail.h"

namespace {

using mapdb::Bytes;

// Decodes the block of 32-bit header words and a body into a marked buffer of n + 1 bytes;
// checks the result and the marker and returns the n bytes (none on failure).
template <typename Proc>
Bytes Into(Proc& proc, std::initializer_list<uint32_t> words, const Bytes& body, size_t n,
           unsigned long expected) {
    mapdb::ByteWriter w;
    for (uint32_t v : words) w.U32(v);
    w.Raw(body);
    Bytes block = w.Take(), out(n + 1, 0xEE);
    EXPECT_EQ(expected, proc.Decode(out.data(), block.data()));
    EXPECT_EQ(0xEE, out[n]) << "wrote past N";
    return Bytes(out.begin(), out.begin() + (expected ? n : 0));
}

TEST(Stages, LzssTokens) {
    const std::tuple<const char*, uint32_t, Bytes, Bytes, uint32_t> cases[] = {
        // name, escape, tokens, output, N
        {"escape twice is a literal", 0x10, {0x10, 0x10}, {0x10}, 1},
        {"zero-length match", 0x10, {0x10, 0x05, 0, 0x41}, {0x41}, 1},
        {"d above the escape shifted down", 0x01, {7, 8, 9, 0x01, 4, 3}, {7, 8, 9, 7, 8, 9}, 6},
        {"d below the escape", 0x80, {1, 2, 3, 0x80, 2, 2}, {1, 2, 3, 2, 3}, 5},
        {"overlap repeats forward", 0x00, {7, 8, 0, 2, 5}, {7, 8, 8, 8, 8, 8, 8}, 7},
        {"escape above 255 never matches", 0x141, {0x41, 0x41}, {0x41, 0x41}, 2},
        {"match clipped at N", 0x00, {0x41, 0x00, 2, 200}, {0x41, 0x41, 0x41}, 3},
        {"match before the start", 0x00, {0x41, 0x00, 5, 3}, {}, 4}};
    CLzssProc lzss;
    for (const auto& [name, escape, tokens, expected, n] : cases)
        EXPECT_EQ(expected, Into(lzss, {n, escape}, tokens, n, expected.empty() ? 0 : n)) << name;
}

// The bounded form: a token cut by the source's end fails, even with its bytes in memory, and
// nothing is written at or past N.
TEST(Stages, LzssTokenCutByTheSourceEnd) {
    const uint8_t esc = 0x10;
    const std::tuple<Bytes, Bytes> cases[] = {{{0x41, esc, esc}, {0x41, esc}},     // escaped escape
                                              {{0x41, esc, 1, 1}, {0x41, 0x41}}};  // match
    for (const auto& [src, whole] : cases) {
        uint8_t out[2] = {};
        EXPECT_EQ(2u, codec::detail::LzssDecode(out, src.data(), src.size(), 2, esc));
        EXPECT_EQ(whole, Bytes(out, out + 2));
        for (size_t cut = 1; cut < src.size(); ++cut)
            EXPECT_EQ(0u, codec::detail::LzssDecode(out, src.data(), cut, 2, esc)) << cut;
    }
    // N = 0 still reads one token and writes nothing.
    const uint8_t literal[] = {0x41};
    uint8_t out[1] = {0xEE};
    EXPECT_EQ(0u, codec::detail::LzssDecode(out, literal, 1, 0, esc));
    EXPECT_EQ(0xEE, out[0]);
}

TEST(Stages, HuffmanTreeRuleAndBitOrder) {
    // Equal frequencies give the complete tree: each byte decodes to itself bit-reversed.
    CHuffmanProc huf;
    for (uint32_t f : {0u, 1000u}) {
        Bytes body(1024, 0);
        for (int k = 0; k < 256; ++k) bytes::PutU32LE(body.data() + 4 * k, f);
        body.insert(body.end(), {0x00, 0x01, 0x80, 0xF0, 0x35});
        EXPECT_EQ(Bytes({0x00, 0x80, 0x01, 0x0F, 0xAC}), Into(huf, {5}, body, 5, 5)) << f;
    }
    // 'a' 1, 'b' 2, zero elsewhere: the zero leaves merge first in index order, so 'b' is the
    // root's bit-1 child.
    unsigned long freq[256] = {};
    freq['a'] = 1, freq['b'] = 2;
    unsigned char src[] = {0xFF}, out[4] = {};
    EXPECT_TRUE(huf.DecodeCore(out, src, 3, freq) == 3 && memcmp(out, "bbb", 3) == 0);
}

TEST(Stages, InverseBlockSortAndMoveToFront) {
    // Last column, primary index (6 is outside the block), text.
    const std::tuple<std::string, uint32_t, std::string> sorts[] = {
        {"nnbaaa", 3, "banana"}, {"rdarcaaaabb", 2, "abracadabra"},
        {"bbaa", 0, "abab"},     {"bbaa", 1, "abab"},
        {"nnbaaa", 6, ""},       {"", 0, ""}};
    CBlockSortingLSProc bs;
    for (const auto& [last, primary, text] : sorts) {
        const Bytes got = Into(bs, {uint32_t(last.size()), primary},
                               Bytes(last.begin(), last.end()), last.size(), text.size());
        EXPECT_EQ(text, std::string(got.begin(), got.end())) << last << primary;
    }
    // Indexes, symbols: 1 right after 0 leaves the table; the next 1 swaps.
    const std::pair<Bytes, Bytes> mtf[] = {{{2, 2, 2}, {2, 1, 2}},
                                           {{1, 1}, {1, 0}},
                                           {{0, 1, 1, 0}, {0, 1, 1, 1}},
                                           {{255, 2, 1}, {255, 1, 1}}};
    CMoveToFrontProc proc;
    for (const auto& [in, out] : mtf)
        EXPECT_EQ(out, Into(proc, {uint32_t(in.size())}, in, in.size(), in.size()));
}

TEST(Stages, RangeCoderRescaleAndHandMadeStreams) {
    CRangeCoderProc rc;
    FREQUENCY* m = rc.CreateFrequencyBuf(10);
    ASSERT_NE(nullptr, m);
    for (int k = 0; k < 32758; ++k) rc.UpdateFrequency(m, 3);  // the total reaches 32768
    EXPECT_TRUE(m->pwFreq[3] == ((32759 >> 1) | 1) && m->pwCum[10] == 16379 + 9);
    const std::pair<unsigned short, int> search[] = {{0, 0},     {3, 3},     {16381, 3},
                                                     {16382, 4}, {16387, 9}, {20000, 0}};
    for (auto [target, symbol] : search) EXPECT_EQ(symbol, rc.SearchCode(m, target)) << target;
    delete[] m->pwFreq;
    delete[] m->pwCum;
    delete m;
    // Only the end value, worked out by hand: category 9 (r = 0xFFFFFFFF / 10), offset 127.
    Bytes endOnly = {0xFF, 0xCC, 0xCC, 0xAE, 0x00};
    unsigned char out[4] = {0xEE};
    EXPECT_TRUE(rc.DecodeCore(out, endOnly.data()) == 0 && out[0] == 0xEE);
    // More values than the stated length: a failure, not an overrun.
    const Bytes longer = mapdb::EncodeRangeCoderBlock(Bytes(100, 7));
    Into(rc, {99}, Bytes(longer.begin() + 4, longer.end()), 99, 0);
}

}  // namespace
