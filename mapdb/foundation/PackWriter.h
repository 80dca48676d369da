// Pack folder writer: packed files by name become folder/base.IDX (20-byte entries: 12-byte
// name, offset, size; sorted in strcmp order) and folder/base.DAT (contents back to back).
#pragma once

#include <map>
#include <string>

#include "ByteWriter.h"

namespace mapdb {

class PackWriter {
public:
    // Adds or replaces a packed file. Names are 1 to 12 bytes without NUL.
    void Add(const std::string& name, Bytes data);
    bool Has(const std::string& name) const { return files_.count(name) != 0; }
    size_t size() const { return files_.size(); }

    // Bytes written at the start of the .DAT before the first packed file (for example a
    // VersionHeader); packed offsets account for them.
    void SetDatHeader(Bytes header) { datHeader_ = std::move(header); }

    // Writes root/folder/base.IDX and .DAT (base defaults to the folder name), creating the
    // folder.
    void Write(const std::string& root, const std::string& folder,
               const std::string& base = "") const;

private:
    std::map<std::string, Bytes> files_;
    Bytes datHeader_;  // std::string order is strcmp order for these names
};

}  // namespace mapdb
