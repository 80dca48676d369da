// Kana reading search on a generated Japan-scale database: one keystroke (SearchProc) for
// readings of 1 to 6 characters, and a genre total with its first page of 20 from the
// offset files. Counts read calls per operation (through the counting pread of bench/common).
// Run: build/bench/kana_bench [--pois=N] [benchmark flags]
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "KanaWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "common/JapanDb.h"
#include "common/ReadCounter.h"

namespace {

benchdb::Options g_options;

struct Fixture {
    mapdb::TempDir dir;
    benchdb::Db db;
    // Prefixes of real readings by length (index 1-6).
    std::vector<std::vector<std::string>> prefixes = std::vector<std::vector<std::string>>(7);
    Fixture() : db(benchdb::BuildBase(dir.path(), g_options)) {
        mapdb::WriteKana(dir.path(), db.pois, db.base);
        CCommonProc::SetPath(dir.path().c_str());
        for (size_t i = 0; i < db.base.readings.size() && prefixes[6].size() < 256; i += 97) {
            const std::string& r = db.base.readings[i];
            if (r.size() < 6) continue;
            for (size_t len = 1; len <= 6; ++len) prefixes[len].push_back(r.substr(0, len));
        }
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

void BM_Keystroke(benchmark::State& state) {
    Fixture& f = Shared();
    const auto& readings = f.prefixes[static_cast<size_t>(state.range(0))];
    CSearchKanaProc search;
    size_t k = 0;
    const unsigned long before = benchdb::ReadCount();
    for (auto _ : state) {
        const std::string& r = readings[k++ % readings.size()];
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(
            &count, reinterpret_cast<unsigned char*>(const_cast<char*>(r.c_str()))));
    }
    state.counters["reads/op"] = benchmark::Counter(static_cast<double>(benchdb::ReadCount() - before),
                                                    benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_Keystroke)->DenseRange(1, 6);

// A two-character reading, its genre total over the offset file and its first page of 20.
void BM_RefinedTotalAndPage(benchmark::State& state) {
    Fixture& f = Shared();
    const auto& readings = f.prefixes[2];
    CSearchKanaProcMA search;
    CLocationData out[20];
    size_t k = 0;
    const unsigned long before = benchdb::ReadCount();
    for (auto _ : state) {
        const std::string& r = readings[k++ % readings.size()];
        unsigned long count = 0;
        search.SearchProc(&count, reinterpret_cast<unsigned char*>(const_cast<char*>(r.c_str())));
        benchmark::DoNotOptimize(search.GetRefinedTotal(255, 255, 255, 255));
        benchmark::DoNotOptimize(search.GetList(out, 0, 20));
    }
    state.counters["reads/op"] = benchmark::Counter(static_cast<double>(benchdb::ReadCount() - before),
                                                    benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_RefinedTotalAndPage)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) { return benchdb::RunMain(argc, argv, &g_options); }
