// Stored guidance pictures from index look-up to the host's RGB565 bitmap: one suite per picture
// kind (the nine junction, exit and entrance kinds and the SA/PA maps), each over 48 pictures of
// a typical illustration (480 x 240; 180 x 150 for the small ETC and ETC2 kinds: sky gradient,
// road wedge with lane dashes, fields, a guidance arrow). Numbers are drawn in a fixed order.
// Run: build/bench/imaging_bench [benchmark flags]; medians of 9 repetitions.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "GuidanceWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "common/HeapCounter.h"
#include "common/ReadCounter.h"
#include "imaging/PictureFormat.h"

namespace {

using mapdb::GuidanceKind;

constexpr uint32_t kPictures = 48;
constexpr unsigned long kSapaKind = 99;  // the SA/PA maps, beside the guidance kinds

uint16_t Rgb(unsigned r, unsigned g, unsigned b) {
    return picture::PackRgb565(r, g, b);
}

// A guidance-like illustration; `variant` moves the road and the arrow.
mapdb::Rgb565Picture Illustration(uint16_t w, uint16_t h, uint32_t variant) {
    mapdb::Rgb565Picture p{w, h, std::vector<uint16_t>(size_t(w) * h)};
    const int horizon = h / 3, centre = w / 2 + int(variant % 7) * 6 - 18;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            uint16_t c;
            const int half = (y - horizon) * w / (2 * (h - horizon)) + 4;  // road half-width
            if (y < horizon) {
                c = Rgb(90 + y * 100 / horizon, 150 + y * 60 / horizon, 235);
            } else if (x > centre - half && x < centre + half) {
                const bool dash = std::abs(x - centre) < 2 + y / 60 && (y / 12) % 2 == 0;
                c = dash ? Rgb(255, 255, 255) : Rgb(96, 96, 104);
            } else {
                c = ((x / 40 + y / 30) % 2) ? Rgb(70, 140, 60) : Rgb(90, 160, 70);
            }
            // The guidance arrow: a shaft up the right lane, then a turn.
            const int ax = centre + half / 3, ay = h - h / 5;
            if ((std::abs(x - ax) < 8 && y > h / 2 && y < ay) ||
                (std::abs(y - h / 2) < 8 && x >= ax && x < ax + 60 + int(variant % 5) * 8))
                c = Rgb(250, 200, 40);
            p.pixels[size_t(y) * w + x] = c;
        }
    }
    return p;
}

struct Kind {
    unsigned long id;
    const char* name;
    const char* file;
    unsigned long (*look)(char*, unsigned long*, unsigned long*);
    bool small;
};

template <class C>
unsigned long Look(char* key, unsigned long* offset, unsigned long* size) {
    C c;
    return c.SearchProc(key, offset, size);
}

const Kind kKinds[] = {{0, "INIC", "INIC.IMG", Look<CSearchLInicImageProc>, false},
                       {4, "BRANCH", "BRANCH.IMG", Look<CSearchLBranchImageProc>, false},
                       {8, "GRADE", "GRADE.IMG", Look<CSearchLGradeImageProc>, false},
                       {9, "ETC", "ETC.IMG", Look<CSearchLEtcImageProc>, true},
                       {10, "ETC2", "ETC2.IMG", Look<CSearchLEtc2ImageProc>, true},
                       {11, "REALCROSS", "REALCROSS.IMG", Look<CSearchLRealcrossImageProc>, false},
                       {12, "PROPERJCT", "PROPERJCT.IMG", Look<CSearchLProperJCTImageProc>, false},
                       {13, "EXIT", "EXIT.IMG", Look<CSearchLExitImageProc>, false},
                       {15, "ENTRANCE", "ENTRANCE.IMG", Look<CSearchLEntranceImageProc>, false}};

struct Fixture {
    mapdb::TempDir dir;
    Fixture() {
        for (const Kind& k : kKinds) {
            std::vector<mapdb::PictureSource> pictures;
            for (uint32_t i = 0; i < kPictures; ++i) {
                pictures.push_back(
                    {1000 + 37 * i, "",
                     k.small ? Illustration(180, 150, i) : Illustration(480, 240, i)});
            }
            mapdb::WriteGuidancePictures(dir.path(), static_cast<GuidanceKind>(k.id), pictures);
        }
        std::vector<mapdb::PictureSource> maps;
        for (uint32_t i = 0; i < kPictures; ++i)
            maps.push_back({1000 + 37 * i, "", Illustration(480, 240, i)});
        mapdb::WriteSapaMapPictures(dir.path(), maps);
        CCommonProc::SetPath(dir.path().c_str());
    }
};

Fixture& Shared() {
    static Fixture f;
    return f;
}

// Arg: the picture kind (99: SA/PA map). Look-up, block read, decode and bitmap per iteration.
void BM_PictureToBitmap(benchmark::State& state) {
    Shared();
    const unsigned long id = static_cast<unsigned long>(state.range(0));
    std::vector<unsigned char> out(375066);
    const unsigned long reads = benchdb::ReadCount();
    const unsigned long long bytes = benchdb::ReadBytes();
    benchdb::ResetHeapPeak();
    const size_t heap = benchdb::HeapLive();
    CImageFileIO reader;
    CImageData maps;
    unsigned long wrong = 0;
    uint32_t i = 0;
    for (auto _ : state) {
        const unsigned long number = 1000 + 37 * (i++ * 29 % kPictures);
        unsigned short w = 0, h = 0;
        unsigned long ok = 0;
        if (id == kSapaKind) {
            ok = maps.GetImageSAPAMap(out.data(), &w, &h, number);
        } else {
            const Kind* k = nullptr;
            for (const Kind& c : kKinds)
                if (c.id == id) k = &c;
            char key[16], file[32];
            snprintf(key, sizeof(key), "%06d", static_cast<int>(number));
            snprintf(file, sizeof(file), "%s", k->file);
            unsigned long offset = 0, size = 0;
            if (k->look(key, &offset, &size)) {
                ok = k->small ? reader.ReadLEtcBMP(file, &offset, &size, &w, &h, out.data())
                              : reader.ReadLBranchBMP(file, &offset, &size, &w, &h, out.data());
            }
        }
        benchmark::DoNotOptimize(out.data());
        wrong += ok != 1 || w == 0;
    }
    if (wrong != 0) state.SkipWithError("a picture was not read");
    const auto avg = benchmark::Counter::kAvgIterations;
    state.counters["reads/op"] =
        benchmark::Counter(static_cast<double>(benchdb::ReadCount() - reads), avg);
    state.counters["bytes/op"] =
        benchmark::Counter(static_cast<double>(benchdb::ReadBytes() - bytes), avg);
    state.counters["heap_peak_B"] = static_cast<double>(benchdb::HeapPeak() - heap);
}
BENCHMARK(BM_PictureToBitmap)
    ->ArgName("kind")
    ->Arg(0)
    ->Arg(4)
    ->Arg(8)
    ->Arg(9)
    ->Arg(10)
    ->Arg(11)
    ->Arg(12)
    ->Arg(13)
    ->Arg(15)
    ->Arg(99)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace
