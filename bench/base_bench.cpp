// Base POI data on a generated Japan-scale database: look-ups by id within the cached
// container and across random containers, and a page of 20 records.
// Run: build/bench/base_bench [--pois=N] [benchmark flags]
#include <benchmark/benchmark.h>

#include <memory>
#include <random>

#include "SearchProc.h"
#include "TempDir.h"
#include "common/JapanDb.h"

namespace {

benchdb::Options g_options;

struct Fixture {
    mapdb::TempDir dir;
    benchdb::Db db;
    Fixture() : db(benchdb::BuildBase(dir.path(), g_options)) {
        CCommonProc::SetPath(dir.path().c_str());
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

void BM_LookupSameContainer(benchmark::State& state) {
    Fixture& f = Shared();
    CSearchBaseDataProc base;
    const unsigned long first = f.db.base.ids[0] & 0xFF000000;  // record 0 of some file
    CLocationData out;
    base.SearchProc(&out, first);
    unsigned long r = 0;
    for (auto _ : state) {
        out.FlushData();
        benchmark::DoNotOptimize(base.SearchProc(&out, first | (r++ % 400)));
    }
}
BENCHMARK(BM_LookupSameContainer);

void BM_LookupRandomContainer(benchmark::State& state) {
    Fixture& f = Shared();
    CSearchBaseDataProc base;
    std::mt19937 rng(7);
    std::uniform_int_distribution<size_t> pick(0, f.db.base.ids.size() - 1);
    CLocationData out;
    for (auto _ : state) {
        out.FlushData();
        benchmark::DoNotOptimize(base.SearchProc(&out, f.db.base.ids[pick(rng)]));
    }
}
BENCHMARK(BM_LookupRandomContainer);

void BM_ListPageOf20(benchmark::State& state) {
    Fixture& f = Shared();
    CSearchBaseDataProc base;
    const unsigned long first = f.db.base.ids[0] & 0xFF000000;
    const unsigned long total = base.GetRefinedTotal(first, 2000, 255, 255, 255, 255);
    CLocationData out[20];
    unsigned long page = 0;
    for (auto _ : state) {
        const unsigned long start = (page++ * 20) % (total > 20 ? total - 20 : 1);
        benchmark::DoNotOptimize(base.GetList(out, first, 2000, start, 20, 255, 255, 255, 255));
    }
}
BENCHMARK(BM_ListPageOf20);

}  // namespace

int main(int argc, char** argv) { return benchdb::RunMain(argc, argv, &g_options); }
