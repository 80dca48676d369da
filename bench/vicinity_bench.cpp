// Vicinity search on a generated Japan-scale database: 1, 5 and 20 km searches in a dense city
// centre, the widening search in a city and in the countryside, and a page of 20 records.
// Run: build/bench/vicinity_bench [--pois=N] [benchmark flags]; medians of 9 repetitions.
#include <benchmark/benchmark.h>

#include "SearchProc.h"
#include "TempDir.h"
#include "VicinityWriter.h"
#include "common/JapanDb.h"

namespace {

benchdb::Options g_options;
constexpr unsigned long kAny = 255;
constexpr unsigned long kClass = 0;  // classes are the base genre codes 0-15 of the generator

struct Fixture {
    mapdb::TempDir dir;
    benchdb::Db db;
    Fixture() : db(benchdb::BuildBase(dir.path(), g_options)) {
        mapdb::WriteVicinity(dir.path(), mapdb::VicinityFromBase(db.pois, db.base.ids));
        CCommonProc::SetPath(dir.path().c_str());
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

const benchdb::City& Tokyo() {
    return benchdb::Cities()[0];
}

void BM_RadiusSearchTokyo(benchmark::State& state) {
    Shared();
    CVicinityProc v;
    const int radius = static_cast<int>(state.range(0));
    unsigned long count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            v.SearchProc(&count, Tokyo().latMs, Tokyo().lonMs, radius, kClass, kAny, kAny));
    }
    state.counters["hits"] = static_cast<double>(count);
}
BENCHMARK(BM_RadiusSearchTokyo)
    ->Arg(100)
    ->Arg(500)
    ->Arg(2000)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void BM_WideningSearch(benchmark::State& state) {
    Shared();
    CVicinityProc v;
    // 0: Tokyo; 1: countryside between the cities, where every radius is tried.
    const uint32_t lat = state.range(0) == 0 ? Tokyo().latMs : 37 * 3600000u;
    const uint32_t lon = state.range(0) == 0 ? Tokyo().lonMs : 140 * 3600000u + 1800000u;
    unsigned long count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(v.SearchProc(&count, lat, lon, kClass, kAny, kAny));
    }
    state.counters["hits"] = static_cast<double>(count);
}
BENCHMARK(BM_WideningSearch)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void BM_GenreCheckTokyo(benchmark::State& state) {
    Shared();
    CVicinityProc v;
    unsigned long mask = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            v.IsGenreEnabled(&mask, Tokyo().latMs, Tokyo().lonMs, kAny, kAny, kAny));
    }
    state.counters["mask"] = static_cast<double>(mask);
}
BENCHMARK(BM_GenreCheckTokyo)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void BM_ListPageOf20(benchmark::State& state) {
    Shared();
    CVicinityProc v;
    unsigned long count = 0;
    v.SearchProc(&count, Tokyo().latMs, Tokyo().lonMs, 500, kClass, kAny, kAny);
    CLocationData out[20];
    unsigned long page = 0;
    for (auto _ : state) {
        const unsigned long start = (page++ * 20) % (count > 20 ? count - 20 : 1);
        benchmark::DoNotOptimize(v.GetList(out, start, 20));
    }
}
BENCHMARK(BM_ListPageOf20)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) { return benchdb::RunMain(argc, argv, &g_options); }
