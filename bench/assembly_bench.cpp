// Complete guidance pictures through the host's entry point (CImageGuidance::GetImage, the size
// call and the picture call): junction pictures as stored, exit and entrance pictures with two
// names drawn by the font renderer, and sign posts with three names and an arrow. Counters:
// renderers started and font file reads per process (the font is read once).
// Run: build/bench/assembly_bench [benchmark flags]; medians of 9 repetitions.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "FontWriter.h"
#include "GuidanceWriter.h"
#include "SearchProc.h"
#include "SignWriter.h"
#include "StringWriter.h"
#include "TempDir.h"
#include "platform/Log.h"

namespace {

unsigned long g_reused = 0;  // renderers that found the font already loaded

mapdb::Rgb565Picture Scene(uint16_t w, uint16_t h, uint16_t seed) {
    mapdb::Rgb565Picture p{w, h, {}};
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            p.pixels.push_back(static_cast<uint16_t>(((x / 16 + y / 12 + seed) % 3) * 0x2104 +
                                                     (y < h / 3 ? 0x001F : 0x0400)));
    return p;
}

const std::string& Database() {
    static mapdb::TempDir db;
    static bool written = false;
    if (!written) {
        mapdb::WriteFont(db.path(), "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf");
        for (auto kind : {mapdb::GuidanceKind::kBranch, mapdb::GuidanceKind::kExit,
                          mapdb::GuidanceKind::kEntrance}) {
            std::vector<mapdb::PictureSource> pictures;
            for (uint32_t n = 1; n <= 16; ++n) pictures.push_back({n, "", Scene(480, 240, n)});
            mapdb::WriteGuidancePictures(db.path(), kind, pictures);
        }
        mapdb::WriteStringDb(db.path(), 1,
                             {{1, "東京", 0, 0}, {2, "首都高速湾岸線出口", 0, 0}, {3, "横浜", 0, 0}},
                             mapdb::StringEncoding::kShiftJis);
        mapdb::Rgb565Picture arrow = Scene(400, 200, 1);
        for (uint16_t& p : arrow.pixels) p = p % 5 ? 0xF81F : 0xF800;
        mapdb::WriteSignposts(db.path(), {{1, 2, {"新宿", "渋谷駅西口", "池袋"}}},
                              {{2, {}, "", Scene(400, 200, 2)}}, {{2, 1, "", arrow}});
        CCommonProc::SetPath(db.path().c_str());
        platform::SetLogSink([](int, const char*, const char* line) {
            if (strstr(line, "gpNDBFontData is not NULL") != nullptr) ++g_reused;
        });
        written = true;
    }
    return db.path();
}

void BM_GuidancePicture(benchmark::State& state) {
    Database();
    const unsigned long kind = static_cast<unsigned long>(state.range(0));
    CImageGuidance guidance;
    unsigned short w = 0, h = 0;
    std::vector<unsigned char> out(guidance.GetImage(nullptr, &w, &h, kind, 1, 0, {}, {}, 0));
    const unsigned long reusedBefore = g_reused;
    uint32_t number = 0, wrong = 0, calls = 0;
    for (auto _ : state) {
        number = number % 16 + 1;
        const unsigned long size =
            guidance.GetImage(nullptr, &w, &h, kind, kind == 14 ? 1 : number, 1, {1, 1}, {1, 2}, 0);
        wrong += size != out.size();
        wrong += guidance.GetImage(out.data(), &w, &h, kind, kind == 14 ? 1 : number, 1, {1, 1},
                                   {1, 2}, 0) != 1;
        benchmark::DoNotOptimize(out.data());
        ++calls;
    }
    if (wrong != 0) state.SkipWithError("a picture was not assembled");
    // Every merge starts one renderer; all but the process's first find the font loaded.
    state.counters["renderers_per_picture"] =
        static_cast<double>(g_reused - reusedBefore) / (calls ? calls : 1);
    state.counters["font_loaded"] = gpNDBFontData != nullptr;
}
BENCHMARK(BM_GuidancePicture)
    ->ArgName("kind")
    ->Arg(4)
    ->Arg(13)
    ->Arg(15)
    ->Arg(14)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace
