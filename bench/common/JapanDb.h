// A deterministic Japan-scale POI set for benchmarks: plausible readings, genres, telephone
// numbers and positions clustered around real city centres. The same options always give the
// same POIs, so benchmark runs compare like with like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "BaseWriter.h"

namespace benchdb {

struct Options {
    size_t pois = 200000;
    uint32_t seed = 20261122;
};

// A city centre the POIs cluster around (milliseconds of arc) and its weight.
struct City {
    const char* name;
    uint32_t lonMs;
    uint32_t latMs;
    unsigned weight;
};
const std::vector<City>& Cities();

struct Db {
    std::vector<mapdb::PoiSource> pois;
    mapdb::BaseResult base;  // POI ids and normalised readings, in the order of `pois`
};

// Generates the POI sources only.
std::vector<mapdb::PoiSource> GeneratePois(const Options& options);
// Generates the POIs and writes the base and arrival data sets under root.
Db BuildBase(const std::string& root, const Options& options);

// Removes a "--pois=N" argument (benchmark binaries take it to scale the database; the
// default is 200,000) and returns the options.
Options ParseOptions(int* argc, char** argv);

// The main() of suites on the generated database: takes --pois=N into *options, then runs the
// benchmarks selected by the usual benchmark flags.
int RunMain(int argc, char** argv, Options* options);

}  // namespace benchdb
