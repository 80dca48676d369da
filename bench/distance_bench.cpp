// Cost per call of the distance functions. The unsigned CalcDistance is the inner loop of the
// vicinity search (one call per candidate around a fixed centre); the floating form is the
// key of the distance sort.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "SearchProc.h"

namespace {

struct Point {
    unsigned long lat, lon;
};

// Candidates within 0.2 degree (some beyond 0.25 on the diagonal mix in the far mode) of a
// centre in Tokyo, in 1/100 arc-second.
std::vector<Point> Candidates() {
    std::mt19937 rng(42);
    std::uniform_int_distribution<long> off(-72000, 72000);
    std::vector<Point> points(4096);
    for (Point& p : points) {
        p.lat = static_cast<unsigned long>(12852000 + off(rng));
        p.lon = static_cast<unsigned long>(50328000 + off(rng) * 2);
    }
    return points;
}

void BM_CalcDistance(benchmark::State& state) {
    const std::vector<Point> points = Candidates();
    CDistanceProc proc;
    size_t i = 0;
    for (auto _ : state) {
        const Point& p = points[i++ & 4095];
        unsigned long dist, dir;
        benchmark::DoNotOptimize(
            proc.CalcDistance(&dist, &dir, 12852000UL, 50328000UL, p.lat, p.lon));
        benchmark::DoNotOptimize(dist);
        benchmark::DoNotOptimize(dir);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CalcDistance);

void BM_CalcDistanceForm(benchmark::State& state) {
    const std::vector<Point> points = Candidates();
    CDistanceProc proc;
    size_t i = 0;
    for (auto _ : state) {
        const Point& p = points[i++ & 4095];
        unsigned long dist, dir;
        benchmark::DoNotOptimize(proc.CalcDistanceForm(&dist, &dir, 32901120, 128839680,
                                                       static_cast<int>(p.lat * 256 / 100),
                                                       static_cast<int>(p.lon * 256 / 100)));
        benchmark::DoNotOptimize(dist);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CalcDistanceForm);

}  // namespace
