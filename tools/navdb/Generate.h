// "navdb gen-source N DIR": a deterministic source folder of N POIs spread over Japan, for
// measuring builds and trying the searches on a database of realistic size.
#pragma once

#include <cstddef>
#include <string>

namespace navdb {

// Writes DIR/pois.json, genres.json, households.json and companies.json; returns the exit code.
int GenerateSource(size_t pois, const std::string& dir);

}  // namespace navdb
