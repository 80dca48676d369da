// The telephone facade on a generated Japan-scale database: every POI's number in the POI index
// (some numbers shared by two POIs of one chain), a tenth as many company entries, half as many
// households, and the area point of every POI number's prefix. One search per answer kind:
// a POI number, a company number, a household number and an unknown number of a known area.
// Counts read calls per search.
// Run: build/bench/phone_bench [--pois=N] [benchmark flags]
#include <benchmark/benchmark.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "HomePhoneWriter.h"
#include "SearchProc.h"
#include "TelephoneWriter.h"
#include "TempDir.h"
#include "common/HeapCounter.h"
#include "common/JapanDb.h"
#include "common/ReadCounter.h"
#include "search/PhoneKey.h"

namespace {

benchdb::Options g_options;

bool Accepted(const std::string& number) {
    return phone_key::Directory(reinterpret_cast<const unsigned char*>(number.c_str())).accepted;
}

struct Fixture {
    mapdb::TempDir dir;
    benchdb::Db db;
    std::vector<std::string> numbers[5];  // searched per answer kind 1-4 (0 unused)

    Fixture() : db(benchdb::BuildBase(dir.path(), g_options)) {
        std::mt19937 rng(g_options.seed);
        std::vector<mapdb::GenreDataRecord> genres;
        for (uint8_t a = 0; a < 10; ++a)
            for (uint8_t b = 0; b < 10; ++b)
                for (uint8_t c : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255})
                    genres.push_back({"ジャンル", a, b, c, static_cast<uint16_t>(a * 10 + b)});
        mapdb::WriteGenreData(dir.path(), genres);

        std::vector<mapdb::TelephoneEntry> tel;
        std::set<uint32_t> poiKeys;
        std::vector<mapdb::AreaPoint> areas;
        std::set<uint32_t> areaKeys;
        for (size_t i = 0; i < db.pois.size(); ++i) {
            const std::string number = "0" + std::to_string(db.pois[i].tel);
            if (!Accepted(number)) continue;
            tel.push_back({number, db.base.ids[i]});
            // Every 50th POI shares the number of the one before (a chain listed twice).
            const std::string before = i > 0 ? "0" + std::to_string(db.pois[i - 1].tel) : "";
            if (i % 50 == 1 && Accepted(before)) tel.push_back({before, db.base.ids[i]});
            const uint32_t key =
                phone_key::Directory(reinterpret_cast<const unsigned char*>(number.c_str())).value;
            poiKeys.insert(key);
            const uint32_t prefix = phone_key::AreaPrefix(key);
            const auto area =
                phone_key::Area(reinterpret_cast<const unsigned char*>(number.c_str()));
            if (area.accepted && areaKeys.insert(prefix).second)
                areas.push_back({"0" + std::to_string(prefix), db.pois[i].lonMs, db.pois[i].latMs});
            if (numbers[1].size() < 256 && i % 97 == 1) numbers[1].push_back(number);
        }
        mapdb::WriteTelephone(dir.path(), tel);
        mapdb::WritePhonePoint(dir.path(), areas);

        std::uniform_int_distribution<uint32_t> local(0, 99999999);
        auto mobile = [&](const char* prefix) {
            std::string digits = std::to_string(local(rng));
            return prefix + std::string(8 - digits.size(), '0') + digits;
        };
        std::vector<mapdb::HomePhoneEntry> companies, households;
        for (size_t i = 0; i < db.pois.size() / 10; ++i) {
            const std::string number = mobile("050");
            for (size_t k = 0; k <= i % 3; ++k)
                companies.push_back({number, "", "会社" + std::to_string(i), db.pois[i].lonMs,
                                     db.pois[i].latMs, 0});
            if (numbers[2].size() < 256) numbers[2].push_back(number);
        }
        for (size_t i = 0; i < db.pois.size() / 2; ++i) {
            const std::string number = mobile("090");
            households.push_back({number, db.pois[i].reading, "世帯" + std::to_string(i),
                                  db.pois[i].lonMs, db.pois[i].latMs, 0});
            if (numbers[3].size() < 256) numbers[3].push_back(number);
        }
        mapdb::WriteHomePhone(dir.path(), households, companies);

        // Unknown numbers of known areas: a POI number's prefix with other last digits.
        for (size_t i = 0; numbers[4].size() < 256 && i < db.pois.size(); i += 13) {
            std::string number = "0" + std::to_string(db.pois[i].tel);
            const auto area =
                phone_key::Area(reinterpret_cast<const unsigned char*>(number.c_str()));
            if (!area.accepted) continue;
            number.replace(number.size() - 3, 3, "999");
            const uint32_t key =
                phone_key::Directory(reinterpret_cast<const unsigned char*>(number.c_str())).value;
            if (poiKeys.count(key) == 0) numbers[4].push_back(number);
        }
        CCommonProc::SetPath(dir.path().c_str());
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

void BM_PhoneSearch(benchmark::State& state) {
    Fixture& f = Shared();
    const unsigned long wanted = static_cast<unsigned long>(state.range(0));
    const std::vector<std::string>& numbers = f.numbers[wanted];
    benchdb::ResetHeapPeak();
    const size_t heap = benchdb::HeapLive();
    const unsigned long long bytes = benchdb::ReadBytes();
    CSearchPhoneProc search;
    size_t k = 0;
    unsigned long wrongKind = 0;
    const unsigned long reads = benchdb::ReadCount();
    for (auto _ : state) {
        std::string number = numbers[k++ % numbers.size()];
        unsigned long kind = 0;
        unsigned long count = 0;
        benchmark::DoNotOptimize(
            search.SearchPhoneProc(&kind, &count, reinterpret_cast<unsigned char*>(&number[0])));
        wrongKind += kind != wanted;
    }
    if (wrongKind != 0) state.SkipWithError("a search answered from another directory");
    state.counters["reads/op"] = benchmark::Counter(
        static_cast<double>(benchdb::ReadCount() - reads), benchmark::Counter::kAvgIterations);
    state.counters["bytes/op"] = benchmark::Counter(
        static_cast<double>(benchdb::ReadBytes() - bytes), benchmark::Counter::kAvgIterations);
    state.counters["heap_peak_B"] = static_cast<double>(benchdb::HeapPeak() - heap);
}
BENCHMARK(BM_PhoneSearch)
    ->ArgName("kind")
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->Arg(4)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    return benchdb::RunMain(argc, argv, &g_options);
}
