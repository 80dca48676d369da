// A fresh temporary folder, removed with everything in it when the object goes away.
// Tests build their databases in one.
#pragma once

#include <string>

namespace mapdb {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + rel
    std::string operator/(const std::string& rel) const { return path_ + "/" + rel; }

private:
    std::string path_;
};

}  // namespace mapdb
