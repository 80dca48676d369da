// A deterministic Japan-scale POI set for benchmarks: plausible readings, genres, telephone
// numbers and positions clustered around real city centres. The same options always give the
// same POIs, so benchmark runs compare like with like.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "GenreWriter.h"
#include "TelephoneWriter.h"
#include "VicinityWriter.h"
#include "ZipcodeWriter.h"

namespace benchdb {

struct Options {
    size_t pois = 200000;
    uint32_t seed = 20261122;
    bool poisGiven = false;  // --pois=N was on the command line
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

// Every POI data set of one national database, with what was written (so that a peer database
// can be loaded with the same rows) and keys to search for.
struct Japan {
    Db db;
    std::vector<mapdb::ArrivalSource> arrivals;
    // Every POI under its exact five-level key (level 5 = id mod 4), under "all of level 5" and
    // under "all of levels 2 and 3".
    std::vector<mapdb::GenrePoi> genres;
    std::vector<std::array<uint32_t, 5>> narrowGenres;  // exact keys: a few hundred POIs each
    std::vector<std::array<uint32_t, 5>> broadGenres;   // levels 2 and 3 open: many thousands
    std::vector<mapdb::TelephoneEntry> telephones;      // every accepted POI number
    std::vector<mapdb::VicinityPoi> vicinity;
    std::vector<mapdb::ZipcodeSource> zipcodes, companyZipcodes;
};

// Writes base, arrival, reading, genre, vicinity, telephone, area point and postal code data
// for options.pois POIs under root.
Japan BuildJapan(const std::string& root, const Options& options);

// Removes a "--pois=N" argument (benchmark binaries take it to scale the database; the
// default is 200,000) and returns the options.
Options ParseOptions(int* argc, char** argv);

// The main() of suites on the generated database: takes --pois=N into *options, then runs the
// benchmarks selected by the usual benchmark flags.
int RunMain(int argc, char** argv, Options* options);

}  // namespace benchdb
