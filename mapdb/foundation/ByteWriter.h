// Byte-level building blocks of every data-set writer: an append-only little-endian buffer,
// whole-file writes and folder creation. Writer errors are thrown as mapdb::Error with a
// message that names the offending input.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/Bytes.h"

namespace mapdb {

using Bytes = std::vector<uint8_t>;

struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ByteWriter {
public:
    void U8(uint32_t v) { buf_.push_back(static_cast<uint8_t>(Checked(v, 0xFF, "8"))); }
    void U16(uint32_t v) { Put(Checked(v, 0xFFFF, "16"), 2, bytes::PutU16LE); }
    void U24(uint32_t v) { Put(Checked(v, 0xFFFFFF, "24"), 3, bytes::PutU24LE); }
    void U32(uint32_t v) { Put(v, 4, bytes::PutU32LE); }
    void I32(int32_t v) { U32(static_cast<uint32_t>(v)); }
    void Raw(const void* p, size_t n) {
        const uint8_t* b = static_cast<const uint8_t*>(p);
        buf_.insert(buf_.end(), b, b + n);
    }
    void Raw(const Bytes& b) { buf_.insert(buf_.end(), b.begin(), b.end()); }
    void Str(const std::string& s) { Raw(s.data(), s.size()); }
    // Writes `s` into exactly `width` bytes, padded with zeros; longer strings are an error.
    void Fixed(const std::string& s, size_t width);
    void Zeros(size_t n) { buf_.insert(buf_.end(), n, 0); }

    size_t size() const { return buf_.size(); }
    const Bytes& bytes() const { return buf_; }
    Bytes Take() { return std::move(buf_); }

private:
    template <typename F>
    void Put(uint32_t v, size_t n, F put) {
        size_t at = buf_.size();
        buf_.resize(at + n);
        put(buf_.data() + at, v);
    }
    static uint32_t Checked(uint32_t v, uint32_t max, const char* bits);

    Bytes buf_;
};

// The 16-byte header that opens data files: the data set's 9-byte version text, zero-padded.
// Version checks compare the first 9 bytes of every file of a data set.
constexpr const char* kDefaultVersion = "MAPDB0001";
Bytes VersionHeader(const std::string& version = kDefaultVersion);

// Creates `dir` and its missing parents.
void MakeDirs(const std::string& dir);
// Writes `data` to `path`, replacing the file; the folder must exist.
void WriteFile(const std::string& path, const Bytes& data);
// Reads a whole file (for tests and tools).
Bytes ReadFile(const std::string& path);

}  // namespace mapdb
