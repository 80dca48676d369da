// Genre search on a generated Japan-scale database: a search followed by its first page of
// 20 records. Counts read calls per operation and the share of time spent decoding base-data
// containers (the counting pread of bench/common, and the block decoder intercepted here).
// Run: build/bench/genre_bench [--pois=N] [benchmark flags]
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <vector>

#include "GenreWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "common/JapanDb.h"
#include "common/ReadCounter.h"

namespace {

std::atomic<long long> g_decodeNs{0};

long long NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

// The block decoder, timed: the link redirects the library's calls of the LZMA entry point
// here (-Wl,--wrap), and this forwards to the real one.
extern "C" unsigned long __real__ZN15CMarlinDataProc6DecodeEPvS0_m(CMarlinDataProc*, void*, void*,
                                                                  unsigned long);
extern "C" unsigned long __wrap__ZN15CMarlinDataProc6DecodeEPvS0_m(CMarlinDataProc* self,
                                                                  void* dst, void* src,
                                                                  unsigned long srcSize) {
    const long long start = NowNs();
    const unsigned long n = __real__ZN15CMarlinDataProc6DecodeEPvS0_m(self, dst, src, srcSize);
    g_decodeNs.fetch_add(NowNs() - start, std::memory_order_relaxed);
    return n;
}

namespace {

benchdb::Options g_options;
using Key = std::array<uint32_t, 5>;

// Genre keys from the POIs' four codes plus a fifth level (id mod 4); every POI is listed
// under its exact key, under "all of level 5" and under "all of levels 2 and 3".
struct Fixture {
    mapdb::TempDir dir;
    benchdb::Db db;
    // Searched round robin: [0] narrow keys (exact keys, a few dozen POIs spread over the
    // whole reading range), [1] broad keys (all of levels 2 and 3, thousands of POIs).
    std::vector<Key> keys[2];
    Fixture() : db(benchdb::BuildBase(dir.path(), g_options)) {
        std::vector<mapdb::GenrePoi> entries;
        std::map<Key, size_t> sizes;
        for (size_t i = 0; i < db.pois.size(); ++i) {
            const auto& g = db.pois[i].genre;
            const uint32_t id = db.base.ids[i];
            const Key exact = {{g[0], g[1], g[2], g[3] == 255 ? 63 : g[3], id % 4}};
            Key all5 = exact;
            all5[4] = 255;
            const Key all23 = {{g[0], 255, 255, 0, 255}};
            for (const Key& k : {exact, all5, all23}) {
                entries.push_back({id, k});
                ++sizes[k];
            }
        }
        mapdb::WriteGenre(dir.path(), entries);
        CCommonProc::SetPath(dir.path().c_str());
        // The largest runs of each kind, so that pages are full on small databases too.
        std::vector<std::pair<size_t, Key>> bySize;
        for (const auto& [k, n] : sizes) bySize.push_back({n, k});
        std::sort(bySize.begin(), bySize.end(), [](const auto& a, const auto& b) {
            return a.first > b.first || (a.first == b.first && a.second < b.second);
        });
        for (const auto& [n, k] : bySize) {
            const size_t kind = k[1] == 255 ? 1 : k[4] != 255 ? 0 : 2;
            if (kind < 2 && keys[kind].size() < 64) keys[kind].push_back(k);
        }
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

void BM_SearchAndFirstPage(benchmark::State& state) {
    Fixture& f = Shared();
    const std::vector<Key>& keys = f.keys[state.range(0)];
    CSearchGenreProc search;
    CLocationData out[20];
    size_t k = 0;
    const unsigned long reads = benchdb::ReadCount();
    const long long decode = g_decodeNs.load();
    const long long start = NowNs();
    for (auto _ : state) {
        const Key& key = keys[k++ % keys.size()];
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
        benchmark::DoNotOptimize(search.GetList(out, 0, 20));
    }
    const double total = static_cast<double>(NowNs() - start);
    state.counters["reads/op"] = benchmark::Counter(static_cast<double>(benchdb::ReadCount() - reads),
                                                    benchmark::Counter::kAvgIterations);
    state.counters["decode_share"] = static_cast<double>(g_decodeNs.load() - decode) / total;
}
BENCHMARK(BM_SearchAndFirstPage)->ArgName("broad")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_SearchOnly(benchmark::State& state) {
    Fixture& f = Shared();
    const std::vector<Key>& keys = f.keys[0];
    CSearchGenreProc search;
    size_t k = 0;
    const unsigned long reads = benchdb::ReadCount();
    for (auto _ : state) {
        const Key& key = keys[k++ % keys.size()];
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
    }
    state.counters["reads/op"] = benchmark::Counter(static_cast<double>(benchdb::ReadCount() - reads),
                                                    benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_SearchOnly);

}  // namespace

int main(int argc, char** argv) {
    return benchdb::RunMain(argc, argv, &g_options);
}
