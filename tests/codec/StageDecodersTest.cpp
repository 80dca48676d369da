// The single stages: LZSS tokens, Huffman tree rule and bit order, inverse block sort,
// move-to-front variant and range coder models, on worked examples and hand-made streams.
#include <gtest/gtest.h>

#include <cstring>

#include "BlockEncoders.h"
#include "CodecSamples.h"
#include "SearchProc.h"

namespace {

using codectest::Bytes;

Bytes WithSize(uint32_t n, const Bytes& rest, int words = 0, uint32_t second = 0) {
    mapdb::ByteWriter w;
    w.U32(n);
    if (words > 0) w.U32(second);
    w.Raw(rest);
    return w.Take();
}

TEST(LzssDecoder, DecodesTokenExamples) {
    Bytes sixteen;
    for (uint8_t v = 0x20; v < 0x30; ++v) sixteen.push_back(v);
    Bytes distance16 = sixteen;
    distance16.insert(distance16.end(), {0x10, 0x11, 4});
    Bytes distance16Out = sixteen;
    distance16Out.insert(distance16Out.end(), sixteen.begin(), sixteen.begin() + 4);
    struct Case {
        const char* name;
        uint32_t escape;
        Bytes tokens;
        Bytes expected;
    };
    const Case cases[] = {
        {"escape twice is a literal escape", 0x10, {0x10, 0x10}, {0x10}},
        {"zero-length match yields nothing", 0x10, {0x10, 0x05, 0, 0x41}, {0x41}},
        {"d above the escape is shifted down", 0x10, distance16, distance16Out},
        {"d below the escape is the distance", 0x80, {1, 2, 3, 0x80, 2, 2}, {1, 2, 3, 2, 3}},
        {"overlapping match repeats forward", 0x00, {7, 8, 0, 2, 5}, {7, 8, 8, 8, 8, 8, 8}},
        {"escape 255 leaves distance 254", 0xFF, Bytes(254, 9), Bytes(254, 9)},
        {"escape value above 255 never matches", 0x141, {0x41, 0x41}, {0x41, 0x41}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes block = WithSize(c.expected.size(), c.tokens, 1, c.escape);
        CLzssProc lzss;
        EXPECT_EQ(c.expected.size(), lzss.Decode(nullptr, block.data()));
        Bytes out(c.expected.size() + 1, 0xEE);
        EXPECT_EQ(c.expected.size(), lzss.Decode(out.data(), block.data()));
        EXPECT_EQ(c.expected, Bytes(out.begin(), out.end() - 1));
        EXPECT_EQ(0xEE, out.back()) << "wrote past N";
        Bytes swapped(c.expected.size() + 1, 0xEE);
        EXPECT_EQ(c.expected.size(), lzss.LZSS_Decode(block.data(), swapped.data()));
        EXPECT_EQ(out, swapped);
    }
}

TEST(LzssDecoder, RejectsMatchesBeforeTheStartAndClipsAtN) {
    CLzssProc lzss;
    unsigned char src[] = {0x41, 0x00, 5, 3};  // distance 5 after one byte
    unsigned char dst[8] = {};
    EXPECT_EQ(0u, lzss.DecodeCore(dst, src, 4, 0));
    // A match running past N writes only up to N.
    unsigned char runs[] = {0x41, 0x00, 2, 200};
    unsigned char out[4] = {0, 0, 0, 0xEE};
    EXPECT_EQ(3u, lzss.DecodeCore(out, runs, 3, 0));
    EXPECT_EQ(0x41, out[2]);
    EXPECT_EQ(0xEE, out[3]);
}

// Equal frequencies give the complete tree: the first bit read picks the top half, so each
// byte decodes to the symbol with its bits reversed.
TEST(HuffmanDecoder, EqualFrequenciesGiveBitReversedBytes) {
    const Bytes stream = {0x00, 0x01, 0x80, 0xF0, 0xFF, 0x35};
    const Bytes expected = {0x00, 0x80, 0x01, 0x0F, 0xFF, 0xAC};
    for (uint32_t f : {0u, 1u, 1000u}) {
        SCOPED_TRACE(f);
        mapdb::ByteWriter w;
        w.U32(expected.size());
        for (int k = 0; k < 256; ++k) w.U32(f);
        w.Raw(stream);
        Bytes block = w.Take();
        CHuffmanProc huf;
        EXPECT_EQ(expected.size(), huf.Decode(nullptr, block.data()));
        Bytes out(expected.size() + 1, 0);
        EXPECT_EQ(expected.size(), huf.Decode(out.data(), block.data()));
        EXPECT_EQ(expected, Bytes(out.begin(), out.end() - 1));
        Bytes swapped(expected.size() + 1, 0);
        EXPECT_EQ(expected.size(), huf.Huffman_Decode(block.data(), swapped.data()));
        EXPECT_EQ(out, swapped);
    }
}

TEST(HuffmanDecoder, SkewedTreeAndEmptyBlock) {
    // Frequencies 1 for 'a', 2 for 'b', 0 elsewhere: every zero leaf merges first (in index
    // order), so 'a' and 'b' meet the zero subtree near the root: the root's bit-1 child is 'b'.
    unsigned long freq[256] = {};
    freq[static_cast<unsigned char>('a')] = 1;
    freq[static_cast<unsigned char>('b')] = 2;
    CHuffmanProc huf;
    unsigned char src[] = {0xFF};
    unsigned char out[8] = {};
    EXPECT_EQ(3u, huf.DecodeCore(out, src, 3, freq));
    EXPECT_EQ(0, memcmp(out, "bbb", 3));
    unsigned char none[1] = {0};
    EXPECT_EQ(0u, huf.DecodeCore(out, none, 0, freq));
    // All-zero frequencies still build a tree and decode.
    unsigned long zero[256] = {};
    EXPECT_EQ(1u, huf.DecodeCore(out, src, 1, zero));
    EXPECT_EQ(0xFF, out[0]);
}

TEST(BlockSortDecoder, RestoresWorkedExamples) {
    struct Case {
        std::string last;
        uint32_t primary;
        std::string expected;  // empty with result 0: rejected
    };
    const Case cases[] = {
        {"nnbaaa", 3, "banana"},
        {"rdarcaaaabb", 2, "abracadabra"},
        {"x", 0, "x"},
        {"bbaa", 0, "abab"},  // equal rotations: either row restores the text
        {"bbaa", 1, "abab"},
        {"nnbaaa", 6, ""},  // primary index outside the block
        {"x", 1, ""},
        {"", 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.last + " @" + std::to_string(c.primary));
        Bytes block = WithSize(c.last.size(), Bytes(c.last.begin(), c.last.end()), 1, c.primary);
        CBlockSortingLSProc bs;
        EXPECT_EQ(c.last.size(), bs.Decode(nullptr, block.data()));
        std::string out(c.last.size() + 1, '\0');
        EXPECT_EQ(c.expected.size(), bs.Decode(&out[0], block.data()));
        EXPECT_EQ(c.expected, out.substr(0, c.expected.size()));
    }
}

TEST(MoveToFrontDecoder, SymbolReachesFrontOnSecondConsecutiveUse) {
    struct Case {
        Bytes indexes;
        Bytes expected;
    };
    const Case cases[] = {
        {{2, 2, 2}, {2, 1, 2}},
        {{1, 1}, {1, 0}},
        {{0, 1, 1, 0}, {0, 1, 1, 1}},  // 1 after 0 leaves the table; the next 1 swaps
        {{1, 0}, {1, 1}},              // the first index counts as following a non-zero one
        {{5, 1, 0}, {5, 5, 5}},
        {{255, 2, 1}, {255, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.indexes));
        Bytes block = WithSize(c.indexes.size(), c.indexes);
        CMoveToFrontProc mtf;
        EXPECT_EQ(c.indexes.size(), mtf.Decode(nullptr, block.data()));
        Bytes out(c.indexes.size() + 1, 0);
        EXPECT_EQ(c.indexes.size(), mtf.Decode(out.data(), block.data()));
        EXPECT_EQ(c.expected, Bytes(out.begin(), out.end() - 1));
        EXPECT_EQ(c.indexes, mapdb::MoveToFrontForward(c.expected));
    }
}

class ExposedRangeCoder : public CRangeCoderProc {
public:
    uint8_t Category(unsigned v) const { return m_byCategory[v]; }
    FREQUENCY* Second(int k) const { return m_pSecondFreq[k]; }
    FREQUENCY* First(int c) const { return m_pFirstFreq[c]; }
};

TEST(RangeDecoder, CategoriesAndModels) {
    ExposedRangeCoder rc;
    ASSERT_EQ(1u, rc.InitRangeCoder());
    const struct {
        unsigned value, category;
    } cases[] = {{0, 0},  {1, 1},  {2, 2},  {3, 3},  {4, 3},   {5, 4},   {8, 4},   {9, 5},
                 {16, 5}, {17, 6}, {64, 7}, {65, 8}, {128, 8}, {129, 9}, {255, 9}, {256, 9}};
    for (const auto& c : cases) EXPECT_EQ(c.category, rc.Category(c.value)) << c.value;
    for (int c = 0; c < 100; ++c) ASSERT_EQ(10u, rc.First(c)->dwNum);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(nullptr, rc.Second(k));
    for (int k = 3; k < 10; ++k) EXPECT_EQ(2u << (k - 3), rc.Second(k)->dwNum);
    rc.FlushBuf();
    EXPECT_EQ(nullptr, rc.First(0));
    EXPECT_EQ(nullptr, rc.Second(9));
}

TEST(RangeDecoder, RescalesWhenTheTotalReaches32768) {
    CRangeCoderProc rc;
    FREQUENCY* m = rc.CreateFrequencyBuf(10);
    ASSERT_NE(nullptr, m);
    for (int k = 0; k < 32757; ++k) rc.UpdateFrequency(m, 3);
    EXPECT_EQ(32767, m->pwCum[10]);
    EXPECT_EQ(32758, m->pwFreq[3]);
    rc.UpdateFrequency(m, 3);  // total 32768: halved
    EXPECT_EQ((32759 >> 1) | 1, m->pwFreq[3]);
    for (int i = 0; i < 10; ++i) {
        if (i != 3) {
            EXPECT_EQ(1, m->pwFreq[i]) << i;
        }
        EXPECT_EQ(m->pwCum[i] + m->pwFreq[i], m->pwCum[i + 1]) << i;
    }
    EXPECT_EQ(0, m->pwCum[0]);
    EXPECT_EQ(16379 + 9, m->pwCum[10]);
    EXPECT_EQ(3, rc.SearchCode(m, 3));
    EXPECT_EQ(3, rc.SearchCode(m, 16381));
    EXPECT_EQ(4, rc.SearchCode(m, 16382));
    EXPECT_EQ(0, rc.SearchCode(m, 20000));  // beyond the total
    delete[] m->pwFreq;
    delete[] m->pwCum;
    delete m;
}

TEST(RangeDecoder, DecodesHandMadeStreams) {
    // Only the end value: category 9 (r = 0xFFFFFFFF / 10) then offset 127 of 128, worked out
    // by hand: code 0xFFCCCCAE, one byte read on renormalisation.
    Bytes endOnly = {0, 0, 0, 0, 0xFF, 0xCC, 0xCC, 0xAE, 0x00};
    CRangeCoderProc rc;
    EXPECT_EQ(0u, rc.Decode(nullptr, endOnly.data()));
    unsigned char out[4] = {0xEE};
    EXPECT_EQ(0u, rc.DecodeCore(out, endOnly.data() + 4));
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_EQ(Bytes(endOnly.begin() + 4, endOnly.end()), mapdb::RangeCoderForward({}));
    // A stream holding more values than its stated length fails instead of overrunning.
    Bytes longer = mapdb::EncodeRangeCoderBlock(Bytes(100, 7));
    bytes::PutU32LE(longer.data(), 99);
    Bytes buf(100, 0xEE);
    EXPECT_EQ(0u, rc.Decode(buf.data(), longer.data()));
    EXPECT_EQ(0xEE, buf[99]);
}

}  // namespace
