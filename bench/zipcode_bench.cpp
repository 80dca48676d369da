// Postal code look-ups on a country-sized table pair: 120,000 ordinary and 20,000 company
// codes, drawn at random without overlap. One look-up per answer kind: an ordinary code, a
// company code (after the ordinary table misses) and a code in neither. Counts read calls.
// Run: build/bench/zipcode_bench [benchmark flags]; medians of 9 repetitions.
#include <benchmark/benchmark.h>

#include <random>
#include <set>
#include <vector>

#include "SearchProc.h"
#include "TempDir.h"
#include "ZipcodeWriter.h"
#include "common/ReadCounter.h"

namespace {

constexpr size_t kOrdinary = 120000, kCompany = 20000, kMissing = 10000;

struct Fixture {
    mapdb::TempDir dir;
    std::vector<unsigned long> codes[3];  // ordinary, company, in neither table

    Fixture() {
        std::mt19937 rng(20261125);
        std::uniform_int_distribution<uint32_t> code(10000, 9999999);
        std::uniform_int_distribution<uint32_t> lon(123 * 3600000u, 146 * 3600000u);
        std::uniform_int_distribution<uint32_t> lat(24 * 3600000u, 45 * 3600000u);
        std::set<uint32_t> used;
        std::vector<mapdb::ZipcodeSource> tables[2];
        for (size_t kind = 0; kind < 3; ++kind) {
            const size_t n = kind == 0 ? kOrdinary : kind == 1 ? kCompany : kMissing;
            while (codes[kind].size() < n) {
                const uint32_t c = code(rng);
                if (!used.insert(c).second) continue;
                codes[kind].push_back(c);
                if (kind < 2)
                    tables[kind].push_back({std::to_string(c + 10000000).substr(1),
                                            lon(rng) / 10 * 10, lat(rng) / 10 * 10});
            }
        }
        mapdb::WriteZipcode(dir.path(), tables[0], tables[1]);
        CCommonProc::SetPath(dir.path().c_str());
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

// Arg: 0 ordinary hit, 1 company hit, 2 miss.
void BM_ZipcodeLookUp(benchmark::State& state) {
    const std::vector<unsigned long>& codes = Shared().codes[state.range(0)];
    const int wanted = state.range(0) < 2 ? 1 : 0;
    CSearchZipcodeProc zip;
    CLocationData out;
    size_t k = 0;
    unsigned long wrong = 0;
    const unsigned long reads = benchdb::ReadCount();
    for (auto _ : state) wrong += zip.GetData(&out, codes[k++ % codes.size()]) != wanted;
    if (wrong != 0) state.SkipWithError("a look-up gave the wrong answer");
    state.counters["reads/op"] = benchmark::Counter(
        static_cast<double>(benchdb::ReadCount() - reads), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_ZipcodeLookUp)
    ->ArgName("kind")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace
