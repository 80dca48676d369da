// Temporary folders for tests and benchmarks.
#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "ByteWriter.h"

namespace mapdb {

TempDir::TempDir() {
    std::error_code ec;
    std::string base = std::filesystem::temp_directory_path(ec).string();
    if (ec || base.empty()) base = "/tmp";
    std::string templ = base + "/searchproc-XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) throw Error("cannot create a temporary folder");
    path_ = templ;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

}  // namespace mapdb
