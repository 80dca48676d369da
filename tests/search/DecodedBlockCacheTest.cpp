// The process-wide memo of decoded containers is invisible: every POI record and status is the
// same with the memo on (warmed with the intact containers) and off, on intact data and on
// containers damaged byte by byte after they were decoded once; the memo stays within its
// capacity, and concurrent readers get the records a single reader gets. A page's containers
// decoded ahead on two threads land in the memo within half its capacity and change nothing.
#include <cstring>
#include <thread>
#include <vector>

#include "codec/DecodedBlockCache.h"
#include "foundation/Bytes.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
namespace memo = codec::block_cache;

constexpr uint32_t kPois = 3000;  // six full containers of base file 177
constexpr size_t kContainers = 6;
const char* const kDigits[] = {"カ", "キ", "ク", "ケ", "コ"};

struct Lookup {
    bool found;
    CLocationData record;
};

struct DecodedBlockCacheTest : SuiteDb<DecodedBlockCacheTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::PoiSource> pois;
        for (uint32_t i = 0; i < kPois; ++i) {
            std::string reading = "ア";
            for (uint32_t n = i; n != 0; n /= 5) reading += kDigits[n % 5];
            pois.push_back(MakePoi("施設" + std::to_string(i), reading));
        }
        ids_ = mapdb::WriteBase(root, pois).ids;
    }
    void TearDown() override { memo::SetCapacity(memo::kDefaultCapacity); }

    // Every 7th POI and both sides of each container boundary, each through a fresh object
    // (which holds no container of its own yet).
    static std::vector<Lookup> LookAll() {
        std::vector<Lookup> out;
        for (uint32_t i = 0; i < kPois; ++i) {
            if (i % 7 != 0 && i % 500 != 0 && i % 500 != 499) continue;
            Lookup l{};
            l.found = CSearchBaseDataProc().SearchProc(&l.record, (177u << 24) | i);
            out.push_back(l);
        }
        return out;
    }
    static void ExpectSame(const std::vector<Lookup>& a, const std::vector<Lookup>& b) {
        ASSERT_EQ(a.size(), b.size());
        for (size_t k = 0; k < a.size(); ++k) {
            EXPECT_EQ(a[k].found, b[k].found) << k;
            EXPECT_EQ(0, memcmp(&a[k].record, &b[k].record, sizeof(CLocationData))) << k;
        }
    }
    static inline std::vector<uint32_t> ids_;
};

TEST_F(DecodedBlockCacheTest, IntactContainersAreDecodedOnceAndReadTheSame) {
    memo::SetCapacity(0);
    const std::vector<Lookup> plain = LookAll();
    memo::SetCapacity(memo::kDefaultCapacity);
    const std::vector<Lookup> first = LookAll(), again = LookAll();
    ExpectSame(plain, first);
    ExpectSame(plain, again);
    for (const Lookup& l : plain) EXPECT_TRUE(l.found);
    const memo::Stats s = memo::GetStats();
    EXPECT_EQ(kContainers, s.entries);
    EXPECT_EQ(kContainers, s.misses);
    EXPECT_EQ(2 * plain.size() - kContainers, s.hits);
}

TEST_F(DecodedBlockCacheTest, DamagedContainersReadAsWithoutTheMemo) {
    const std::string dat = dir_ / "BASE/B177.DAT";
    const mapdb::Bytes intact = mapdb::ReadFile(dat);
    const mapdb::Bytes cnt = mapdb::ReadFile(dir_ / "BASE/B177.CNT");
    const uint32_t start = bytes::ReadU24LE(&cnt[16 + 3]), end = bytes::ReadU24LE(&cnt[16 + 6]);
    ASSERT_LT(start + 40, end);
    // Byte positions in container 1 and what they are XORed with: the header bytes, the start
    // of the stream, its middle and its last byte.
    const struct {
        uint32_t at;
        uint8_t with;
    } cases[] = {{0, 0xFF},
                 {0, 0x01},
                 {1, 0x80},
                 {4, 0xFF},
                 {5, 0x01},
                 {8, 0xFF},
                 {12, 0x10},
                 {13, 0xFF},
                 {20, 0x5A},
                 {(end - start) / 2, 0x01},
                 {(end - start) / 2, 0xFF},
                 {end - start - 1, 0xFF}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.at) + " ^ " + std::to_string(c.with));
        memo::SetCapacity(memo::kDefaultCapacity);
        LookAll();  // the intact containers are in the memo
        mapdb::Bytes damaged = intact;
        damaged[start + c.at] ^= c.with;
        mapdb::WriteFile(dat, damaged);
        const std::vector<Lookup> cached = LookAll();
        memo::SetCapacity(0);
        const std::vector<Lookup> plain = LookAll();
        mapdb::WriteFile(dat, intact);
        ExpectSame(plain, cached);
    }
}

TEST_F(DecodedBlockCacheTest, StaysWithinItsCapacityAndServesConcurrentReaders) {
    memo::SetCapacity(0);
    const std::vector<Lookup> plain = LookAll();
    // Room for four to five containers: reading all six in turn evicts the oldest.
    memo::SetCapacity(memo::kDefaultCapacity);
    LookAll();
    const size_t capacity = memo::GetStats().bytes * 3 / 4;
    memo::SetCapacity(capacity);
    for (int round = 0; round < 2; ++round) {
        ExpectSame(plain, LookAll());
        const memo::Stats s = memo::GetStats();
        EXPECT_LE(s.bytes, capacity);
        EXPECT_LT(s.entries, kContainers);
        EXPECT_GE(s.entries, 3u);
    }
    memo::SetCapacity(memo::kDefaultCapacity);
    std::vector<Lookup> results[4];
    std::vector<std::thread> threads;
    for (auto& r : results) threads.emplace_back([&r] { r = LookAll(); });
    for (auto& t : threads) t.join();
    for (const auto& r : results) ExpectSame(plain, r);
    EXPECT_EQ(kContainers, memo::GetStats().entries);
}

TEST_F(DecodedBlockCacheTest, PageContainersDecodedAheadChangeNothing) {
    memo::SetCapacity(0);
    const std::vector<Lookup> plain = LookAll();
    // Two ids in each container, an id of no base file and the empty slot.
    std::vector<unsigned long> page = {0x7fffffff, 5u << 24};
    for (uint32_t i = 0; i < kPois; i += 250) page.push_back((177u << 24) | i);
    const bool twoCpus = std::thread::hardware_concurrency() >= 2;

    memo::SetCapacity(memo::kDefaultCapacity);
    CSearchBaseDataProc().PrefetchContainers(page.data(), page.size());
    const memo::Stats s = memo::GetStats();
    EXPECT_EQ(twoCpus ? kContainers : 0u, s.entries);
    EXPECT_EQ(0u, s.hits);
    ExpectSame(plain, LookAll());
    if (twoCpus) {
        EXPECT_EQ(kContainers, memo::GetStats().misses) << "all found decoded";
    }

    // A page whose first container is decoded already is taken as warm.
    memo::SetCapacity(memo::kDefaultCapacity);
    CLocationData first;
    ASSERT_TRUE(CSearchBaseDataProc().SearchProc(&first, page[2]));
    CSearchBaseDataProc().PrefetchContainers(page.data(), page.size());
    EXPECT_EQ(1u, memo::GetStats().entries);

    // Turned off, or a memo with room for about four containers: at most half of it is filled.
    container_prefetch::SetEnabled(false);
    memo::SetCapacity(memo::kDefaultCapacity);
    CSearchBaseDataProc().PrefetchContainers(page.data(), page.size());
    container_prefetch::SetEnabled(true);
    EXPECT_EQ(0u, memo::GetStats().entries);
    LookAll();
    const size_t capacity = memo::GetStats().bytes * 2 / 3;
    memo::SetCapacity(capacity);
    CSearchBaseDataProc().PrefetchContainers(page.data(), page.size());
    EXPECT_LE(memo::GetStats().bytes, capacity / 2 + 3 * 65);
    EXPECT_LE(memo::GetStats().entries, 3u);
    EXPECT_GE(memo::GetStats().entries, twoCpus ? 2u : 0u);
    ExpectSame(plain, LookAll());

    // A damaged container is left out, and reads as it does without the memo.
    const std::string dat = dir_ / "BASE/B177.DAT";
    const mapdb::Bytes intact = mapdb::ReadFile(dat);
    const mapdb::Bytes cnt = mapdb::ReadFile(dir_ / "BASE/B177.CNT");
    mapdb::Bytes damaged = intact;
    damaged[bytes::ReadU24LE(&cnt[16 + 3]) + 13] ^= 0xFF;
    mapdb::WriteFile(dat, damaged);
    memo::SetCapacity(0);
    const std::vector<Lookup> broken = LookAll();
    memo::SetCapacity(memo::kDefaultCapacity);
    CSearchBaseDataProc().PrefetchContainers(page.data(), page.size());
    EXPECT_EQ(twoCpus ? kContainers - 1 : 0u, memo::GetStats().entries);
    ExpectSame(broken, LookAll());
    mapdb::WriteFile(dat, intact);
}

}  // namespace
