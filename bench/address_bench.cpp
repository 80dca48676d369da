// The address walk on a generated Japan-scale hierarchy: 47 prefectures, about 2,000
// municipalities, about 160,000 towns with their blocks, lot numbers and a few chains down to
// level 7. Times each step of a walk at every level (choose, list a page, back) and the address
// text, with the read calls per operation. The --pois flag of the other suites is accepted and
// ignored.
// Run: build/bench/address_bench [benchmark flags]
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "AddressWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "common/HeapCounter.h"
#include "common/JapanDb.h"
#include "common/ReadCounter.h"

namespace {

benchdb::Options g_options;
constexpr unsigned long kLeaf = 0x3fffffff;
constexpr int kDeepest = 7;

const char* const kKana[] = {"あ", "か", "さ", "た", "な", "は", "ま", "や", "ら", "わ",
                             "い", "き", "し", "ち", "に", "ひ", "み", "ゆ", "り", "を"};

mapdb::AddressItem Item(std::string name, const std::string& reading, uint32_t lon, uint32_t lat) {
    mapdb::AddressItem item;
    item.name = std::move(name), item.reading = reading, item.lonMs = lon, item.latMs = lat;
    return item;
}

// Municipality m of prefecture p: its towns, blocks (chome), lot numbers and house numbers.
// The first town of every municipality reaches level 7; the first municipality of every
// prefecture is a large one whose town list spans two blocks.
void Towns(mapdb::AddressItem* muni, unsigned m, std::mt19937* rng) {
    const unsigned towns = m == 0 ? 700 : 10 + (*rng)() % 140;
    for (unsigned t = 0; t < towns; ++t) {
        const uint32_t lon = muni->lonMs + 10 * (t % 997), lat = muni->latMs + 10 * (t / 7);
        mapdb::AddressItem town =
            Item("町" + std::to_string(t), std::string(kKana[t % 20]) + "まち", lon, lat);
        const unsigned chome = t == 0 ? 3 : (*rng)() % 5;
        for (unsigned c = 1; c <= chome; ++c) {
            mapdb::AddressItem block = Item(std::to_string(c) + "丁目", "", lon + c * 10, lat);
            const unsigned lots = t % 5 == 0 ? 8 + (*rng)() % 12 : 0;
            for (unsigned l = 1; l <= lots; ++l) {
                mapdb::AddressItem lot = Item(std::to_string(l), "", lon + l * 10, lat + c * 10);
                if (l == 1) {
                    for (unsigned h = 1; h <= 5; ++h) {
                        lot.children.push_back(Item(std::to_string(h), "", lon + h, lat + l * 10));
                    }
                    if (t == 0) {  // levels 6 and 7
                        mapdb::AddressItem building = Item("A棟", "", lon, lat);
                        for (unsigned r = 101; r <= 103; ++r) {
                            building.children.push_back(
                                Item(std::to_string(r) + "号室", "", lon, lat));
                        }
                        lot.children[0].children = {building, Item("B棟", "", lon, lat)};
                    }
                }
                block.children.push_back(std::move(lot));
            }
            town.children.push_back(std::move(block));
        }
        muni->children.push_back(std::move(town));
    }
}

struct Fixture {
    mapdb::TempDir dir;
    std::vector<mapdb::AddressItem> prefectures;
    size_t items = 0;
    Fixture() {
        std::mt19937 rng(g_options.seed);
        const auto& cities = benchdb::Cities();
        for (unsigned p = 0; p < 47; ++p) {
            const benchdb::City& c = cities[p % cities.size()];
            mapdb::AddressItem pref = Item("県" + std::to_string(p + 1),
                                           std::string(kKana[p % 20]) + "けん", c.lonMs, c.latMs);
            pref.code = p + 1;
            const unsigned munis = 25 + (p * 37) % 30 + (p == 0 ? 150 : 0);
            for (unsigned m = 0; m < munis; ++m) {
                mapdb::AddressItem muni =
                    Item("市" + std::to_string(m), std::string(kKana[(m * 7) % 20]) + "し",
                         c.lonMs + 1000 * m, c.latMs + 1000 * (m % 13));
                Towns(&muni, m, &rng);
                pref.children.push_back(std::move(muni));
            }
            prefectures.push_back(std::move(pref));
        }
        std::vector<const mapdb::AddressItem*> stack;
        for (const auto& p : prefectures) stack.push_back(&p);
        while (!stack.empty()) {
            const mapdb::AddressItem* item = stack.back();
            stack.pop_back();
            ++items;
            for (const auto& child : item->children) stack.push_back(&child);
        }
        mapdb::WriteAddress(dir.path(), prefectures);
        CCommonProc::SetPath(dir.path().c_str());
        CCommonProc::EnableDB(true);
    }
    // The list of `level`: the first item's children all the way down, in prefecture 13.
    const std::vector<mapdb::AddressItem>& List(int level) const {
        const std::vector<mapdb::AddressItem>* list = &prefectures;
        for (int l = 0; l < level; ++l) list = &(*list)[l == 0 ? 12 : 0].children;
        return *list;
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

// The heap high-water mark of the search object, made after `Mark()` was taken.
size_t Mark() {
    benchdb::ResetHeapPeak();
    return benchdb::HeapLive();
}
void ReportHeap(benchmark::State& state, size_t mark) {
    state.counters["heap_peak_B"] = static_cast<double>(benchdb::HeapPeak() - mark);
}

// Leaves the object at the list of `level` (prefecture 13, then always the first item).
bool GoTo(CSearchAddressProc* s, int level) {
    unsigned long n = 0;
    if (s->InitProc(&n) == 0) return false;
    for (int l = 0; l < level; ++l) {
        const unsigned long r = s->SearchNextProc(&n, l == 0 ? 12 : 0);
        if (r == 0 || r == kLeaf) return false;
    }
    return true;
}

void Report(benchmark::State& state, unsigned long reads) {
    state.counters["reads/op"] = benchmark::Counter(
        static_cast<double>(benchdb::ReadCount() - reads), benchmark::Counter::kAvgIterations);
}

// Choose an item of the level's list (cycling through it); the back step is not timed.
void BM_Choose(benchmark::State& state) {
    Fixture& f = Shared();
    const int level = static_cast<int>(state.range(0));
    const unsigned long size = f.List(level).size();
    const size_t mark = Mark();
    CSearchAddressProc s;
    if (!GoTo(&s, level)) return state.SkipWithError("walk failed");
    unsigned long k = 0, reads = 0, n = 0, pos = 0;
    for (auto _ : state) {
        const unsigned long before = benchdb::ReadCount();
        benchmark::DoNotOptimize(s.SearchNextProc(&n, (k++ * 7919) % size));
        reads += benchdb::ReadCount() - before;
        state.PauseTiming();
        if (s.BackToPrevProc(&n, &pos) == 0) state.SkipWithError("back failed");
        state.ResumeTiming();
    }
    state.counters["reads/op"] =
        benchmark::Counter(static_cast<double>(reads), benchmark::Counter::kAvgIterations);
    state.counters["items"] = static_cast<double>(f.items);
    ReportHeap(state, mark);
}

// Back from the level's list to the one above (the choice that returns is not timed).
void BM_Back(benchmark::State& state) {
    Shared();
    const int level = static_cast<int>(state.range(0));
    const size_t mark = Mark();
    CSearchAddressProc s;
    if (!GoTo(&s, level)) return state.SkipWithError("walk failed");
    unsigned long reads = 0, n = 0, pos = 0;
    for (auto _ : state) {
        const unsigned long before = benchdb::ReadCount();
        benchmark::DoNotOptimize(s.BackToPrevProc(&n, &pos));
        reads += benchdb::ReadCount() - before;
        state.PauseTiming();
        if (s.SearchNextProc(&n, pos) == 0) state.SkipWithError("choice failed");
        state.ResumeTiming();
    }
    state.counters["reads/op"] =
        benchmark::Counter(static_cast<double>(reads), benchmark::Counter::kAvgIterations);
    ReportHeap(state, mark);
}

// A page of 20 items at a start that jumps through the list (a new block when it is long).
void BM_ListPage(benchmark::State& state) {
    Fixture& f = Shared();
    const int level = static_cast<int>(state.range(0));
    const unsigned long size = f.List(level).size();
    const size_t mark = Mark();
    CSearchAddressProc s;
    if (!GoTo(&s, level)) return state.SkipWithError("walk failed");
    std::vector<CLocationData> page(20);
    unsigned long k = 0;
    const unsigned long reads = benchdb::ReadCount();
    for (auto _ : state) {
        const unsigned long start = (k++ * 263) % size;
        benchmark::DoNotOptimize(s.GetList(page.data(), start, 20, 255, 0, 0));
    }
    Report(state, reads);
    state.counters["list"] = static_cast<double>(size);
    ReportHeap(state, mark);
}

void BM_CurrentAddress(benchmark::State& state) {
    Shared();
    const size_t mark = Mark();
    CSearchAddressProc s;
    if (!GoTo(&s, kDeepest)) return state.SkipWithError("walk failed");
    unsigned long n = 0;
    if (s.SearchNextProc(&n, 0) != kLeaf) return state.SkipWithError("no leaf at level 7");
    unsigned char text[4096];
    const unsigned long reads = benchdb::ReadCount();
    for (auto _ : state) benchmark::DoNotOptimize(s.GetCurrentAddress(text));
    Report(state, reads);
    ReportHeap(state, mark);
}

BENCHMARK(BM_Choose)
    ->ArgName("level")
    ->DenseRange(0, 6)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ListPage)
    ->ArgName("level")
    ->DenseRange(0, 7)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Back)
    ->ArgName("level")
    ->DenseRange(1, 7)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_CurrentAddress)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
    return benchdb::RunMain(argc, argv, &g_options);
}
