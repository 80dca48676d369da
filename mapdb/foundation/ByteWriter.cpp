// Little-endian buffer building, folder creation and whole-file writes for the writers.
#include "ByteWriter.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace mapdb {

uint32_t ByteWriter::Checked(uint32_t v, uint32_t max, const char* bits) {
    if (v > max) {
        throw Error("value " + std::to_string(v) + " does not fit in " + bits + " bits");
    }
    return v;
}

void ByteWriter::Fixed(const std::string& s, size_t width) {
    if (s.size() > width) {
        throw Error("text \"" + s + "\" is longer than its " + std::to_string(width) +
                    "-byte field");
    }
    Str(s);
    Zeros(width - s.size());
}

Bytes VersionHeader(const std::string& version) {
    if (version.size() > 9) throw Error("version \"" + version + "\" is longer than 9 bytes");
    ByteWriter w;
    w.Fixed(version, 16);
    return w.Take();
}

void MakeDirs(const std::string& dir) {
    if (dir.empty()) return;
    std::string partial;
    size_t pos = 0;
    while (pos != std::string::npos) {
        pos = dir.find('/', pos + 1);
        partial = dir.substr(0, pos);
        if (partial.empty()) continue;
        if (mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST) {
            throw Error("cannot create folder " + partial + ": " + strerror(errno));
        }
    }
}

void WriteFile(const std::string& path, const Bytes& data) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) throw Error("cannot write " + path);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!out) throw Error("short write to " + path);
}

Bytes ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Error("cannot read " + path);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace mapdb
