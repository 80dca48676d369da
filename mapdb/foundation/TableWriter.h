// The common table file: a 16-byte header (not interpreted by the readers) followed by
// fixed-size little-endian records.
#pragma once

#include <string>
#include <vector>

#include "ByteWriter.h"

namespace mapdb {

class TableWriter {
public:
    // `recordSize` bytes per record; `header` is the 16-byte header (zero-filled when shorter).
    explicit TableWriter(size_t recordSize, Bytes header = {});

    // Appends one record; it must be exactly recordSize bytes.
    void Add(const Bytes& record);
    size_t count() const { return count_; }
    // The file image: header then records.
    Bytes Image() const;
    void Write(const std::string& path) const { WriteFile(path, Image()); }

private:
    size_t recordSize_;
    size_t count_ = 0;
    Bytes image_;
};

}  // namespace mapdb
