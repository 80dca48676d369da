// "navdb build": source folder to database folder. The database is written into a temporary
// folder beside the target and renamed into place only when every data set was written.
#pragma once

#include <string>

namespace navdb {

struct BuildOptions {
    std::string source;
    std::string db;
    std::string release;  // version stamp of every data file, 1-9 printable ASCII characters
    bool force = false;   // replace an existing database
    bool quiet = false;   // no progress on stderr
};

// The default release stamp: "R" and today's date (R20261125).
std::string DefaultRelease();

// Builds; returns the exit code (0 built, 2 refused) after printing any refusal on stderr.
int Build(const BuildOptions& options);

}  // namespace navdb
