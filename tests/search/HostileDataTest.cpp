// Damaged and crafted files on the SD card: records that run past their container or file,
// containers larger than their offsets can reach, blocks the data file does not hold, counts
// no allocation can hold, read errors, and the distance order on adversarial lists.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "BlockEncoders.h"
#include "ByteWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "search/DistanceSort.h"
#include "support/Settings.h"

// Array allocations of this test program are watched: the largest single request made while
// a hostile file is read shows whether a size from the file was trusted.
namespace {
size_t g_largestArray = 0;  // the suite runs on one thread
void Note(size_t n) {
    if (n > g_largestArray) g_largestArray = n;
}
}  // namespace
void* operator new[](size_t n) {
    Note(n);
    void* p = malloc(n != 0 ? n : 1);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void* operator new[](size_t n, const std::nothrow_t&) noexcept {
    Note(n);
    return malloc(n != 0 ? n : 1);
}
void operator delete[](void* p) noexcept {
    free(p);
}
void operator delete[](void* p, size_t) noexcept {
    free(p);
}

namespace {

using mapdb::Bytes;
using mapdb::ByteWriter;

constexpr unsigned long kFile = 177;
constexpr uint32_t kLonOffset = 1234567;  // stored 3-byte coordinates
constexpr uint32_t kLatOffset = 765432;

// A base record: text, LF, then the first `fields` of its 11 field bytes (flags 0x81).
Bytes Record(const std::string& text, size_t fields) {
    ByteWriter w;
    w.Str(text);
    w.U8(0x0A);
    w.U32(312345678);
    w.U24(kLonOffset);
    w.U24(kLatOffset);
    w.U8(0x81);
    Bytes b = w.Take();
    b.resize(text.size() + 1 + fields);
    return b;
}

// Writes BASE/B177.* with one container holding `container`; the index gives each record
// offset of `offsets`, the container table says the block spans `blockSize` bytes (0: its
// real size).
void WriteBase(const std::string& root, const Bytes& container,
               const std::vector<uint32_t>& offsets, uint32_t blockSize = 0) {
    mapdb::MakeDirs(root + "/BASE");
    const Bytes block = mapdb::EncodeLzmaBlock(container);
    ByteWriter idx;
    idx.Raw(mapdb::VersionHeader());
    for (uint32_t off : offsets) {
        idx.U24(0xFFFFFF);  // all four genre codes "none"
        idx.U16(off);
    }
    ByteWriter cnt;
    cnt.Raw(mapdb::VersionHeader());
    cnt.U24(0);
    cnt.U24(blockSize != 0 ? blockSize : static_cast<uint32_t>(block.size()));
    const std::string stem = root + "/BASE/B" + std::to_string(kFile);
    mapdb::WriteFile(stem + ".IDX", idx.Take());
    mapdb::WriteFile(stem + ".CNT", cnt.Take());
    mapdb::WriteFile(stem + ".DAT", block);
}

class HostileTest : public ::testing::Test {
protected:
    void SetUp() override { settings_.Use(dir_.path()); }
    // Looks record `rec` of the base file up with a fresh object.
    static bool Look(unsigned long rec, CLocationData* r) {
        CSearchBaseDataProc base;
        r->FlushData();
        return base.SearchProc(r, kFile << 24 | rec);
    }
    mapdb::TempDir dir_;
    testsupport::ScopedSettings settings_;
};

// A record at the very end of its container reads one spare zero byte, and no further; a
// container may reach the longest record at the last 16-bit offset, no more; a block the data
// file does not hold is refused before its claimed size is allocated.
TEST_F(HostileTest, RecordsAndContainersAtTheirBounds) {
    constexpr size_t kReach = 0xFFFF + 383 + 1 + 11;
    const struct {
        size_t fields, size;  // of the second record; the container padded to size (0: not)
        bool found;
        uint32_t attr;
    } cases[] = {
        {11, 0, true, 10000001},      {10, 0, true, 0},          {9, 0, false, 0}, {0, 0, false, 0},
        {11, kReach, true, 10000001}, {11, kReach + 1, false, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.fields << " " << c.size);
        const Bytes head = Record("A", 11), tail = Record("TAIL", c.fields);
        Bytes container = head;
        container.insert(container.end(), tail.begin(), tail.end());
        if (c.size != 0) container.resize(c.size, 0);
        WriteBase(dir_.path(), container, {0, static_cast<uint32_t>(head.size())});
        CLocationData r;
        ASSERT_EQ(c.found, Look(1, &r));
        if (!c.found) continue;
        EXPECT_STREQ("TAIL", r.szName);
        EXPECT_EQ(312345678u, r.dwTelNo);
        EXPECT_EQ((kLatOffset + 7200000) * 10, r.lLat);
        EXPECT_EQ(c.attr, r.dwAttr);
    }
    WriteBase(dir_.path(), Record("A", 11), {0}, 0xFFFFFF);
    CLocationData r;
    g_largestArray = 0;
    EXPECT_FALSE(Look(0, &r));
    EXPECT_LT(g_largestArray, size_t{1} << 20);
}

// Page sizes come from the host: one no allocation can hold fails instead of throwing.
TEST_F(HostileTest, ImpossiblePageSizesFail) {
    WriteBase(dir_.path(), Record("A", 11), {0});
    const unsigned long huge = ~0UL >> 1;  // more ids than any address space holds, 32 or 64 bits
    CLocationData r;
    CSearchBaseDataProc base;
    EXPECT_FALSE(base.GetList(&r, kFile << 24, 1, 0, huge, 255, 255, 255, 255));
    CSearchGenreProc genre;
    EXPECT_EQ(0u, genre.GetList(&r, 0, huge));
    CSearchKanaProcMA kana;
    EXPECT_FALSE(kana.GetList(&r, 0, huge));
}

// A read error is a failure, not an end of file (a folder in place of a file reads EISDIR).
TEST_F(HostileTest, ReadErrorsFail) {
    WriteBase(dir_.path(), Record("A", 11), {0});
    const std::string idx = dir_ / ("BASE/B" + std::to_string(kFile) + ".IDX");
    ASSERT_EQ(0, remove(idx.c_str()));
    ASSERT_EQ(0, mkdir(idx.c_str(), 0755));
    struct stat st;
    ASSERT_EQ(0, stat(idx.c_str(), &st));
    if (st.st_size < 64) GTEST_SKIP() << "folders here are too small to look like an index";
    CSearchBaseDataProc base;
    CLocationData r;
    EXPECT_FALSE(base.GetList(&r, kFile << 24, 2, 0, 1, 255, 255, 255, 255));
    EXPECT_EQ(0u, base.GetRefinedTotal(kFile << 24, 2, 255, 255, 255, 255));

    mapdb::WriteArrival(dir_.path(), {{kFile << 24, {{"P", 503161560, 128452320, 7}}}});
    const std::string dat = dir_ / "ARRIVAL/ARV.DAT";
    ASSERT_EQ(0, remove(dat.c_str()));
    ASSERT_EQ(0, mkdir(dat.c_str(), 0755));
    CSearchArrivalProc arrival;
    unsigned long count = 99;
    EXPECT_EQ(0u, arrival.SearchProc(&count, kFile << 24));
}

// An arrival record cut at the end of its file reads one spare zero byte as its attribute.
TEST_F(HostileTest, ArrivalRecordAtFileEndReadsOneSpareZeroByte) {
    for (size_t cut : {0, 1, 2}) {
        SCOPED_TRACE(cut);
        mapdb::WriteArrival(dir_.path(), {{kFile << 24, {{"P", 503161560, 128452320, 7}}}});
        const std::string dat = dir_ / "ARRIVAL/ARV.DAT";
        Bytes b = mapdb::ReadFile(dat);
        b.resize(b.size() - cut);
        mapdb::WriteFile(dat, b);
        CSearchArrivalProc arrival;
        unsigned long count = 0;
        ASSERT_EQ(1u, arrival.SearchProc(&count, kFile << 24));
        ASSERT_EQ(1u, count);
        CLocationData r;
        ASSERT_EQ(1u, arrival.GetList(&r, 0, 1));
        EXPECT_EQ(cut == 2 ? 0u : 503161560u, r.lArrLon);
        EXPECT_EQ(cut == 0 ? 7u : 0u, r.dwArrAttr);
    }
}

// The distance order on lists full of ties and runs, against a reference sort: every span
// size around the insertion-sort threshold, and a long list whose stack depth stays small.
TEST(DistanceOrderTest, MatchesAReferenceSortOnTiesAndRuns) {
    struct Item {
        uint32_t dist, id;
    };
    using Seq = distance_sort::ArraySeq<Item, &Item::dist, &Item::id>;
    std::mt19937 rng(7);
    for (long n : {2L, 3L, 10L, 11L, 12L, 13L, 40L, 200000L}) {
        for (int shape = 0; shape < 3; ++shape) {
            std::vector<Item> v(n);
            for (long i = 0; i < n; ++i) {
                const uint32_t r = static_cast<uint32_t>(rng());
                v[i] = shape == 0   ? Item{r % 5, r % 3}                     // ties
                       : shape == 1 ? Item{static_cast<uint32_t>(n - i), 0}  // descending
                                    : Item{0xFFFFFFFFu, r};                  // top distance
            }
            std::vector<Item> want = v;
            std::stable_sort(want.begin(), want.end(), Seq::Before);
            for (long span : {0L, 10L}) {
                std::vector<Item> got = v;
                Seq s{got.data()};
                distance_sort::QuickSort(s, 0, n - 1, span);
                for (long i = 0; i < n; ++i) {
                    ASSERT_TRUE(got[i].dist == want[i].dist && got[i].id == want[i].id)
                        << "n " << n << " shape " << shape << " span " << span << " at " << i;
                }
            }
        }
    }
}

}  // namespace
