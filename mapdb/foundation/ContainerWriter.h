// The three files of a data set kept in compressed containers of consecutive records: the index
// (".idx", entries written by the caller, each holding its record's offset inside its container),
// the container table (".cnt", 3-byte offsets of the containers in the data file, then an end
// entry) and the data file (".dat", one LZMA block per container). Each starts with the version
// header.
#pragma once

#include <string>

#include "ByteWriter.h"

namespace mapdb {

class ContainerWriter {
public:
    explicit ContainerWriter(const std::string& version);

    ByteWriter& idx() { return idx_; }
    // The container being filled.
    ByteWriter& container() { return container_; }
    // Where the next record of the container starts. Throws Error naming `what` past 16 bits,
    // the width of the index's record offsets.
    uint32_t RecordOffset(const std::string& what) const;
    // Compresses the container into the data file and starts the next one. Throws Error naming
    // `what` when the data file outgrows the table's 24-bit offsets.
    void CloseContainer(const std::string& what);
    // The three files, the table with its end entry (call once, after the last container).
    Bytes TakeIdx() { return idx_.Take(); }
    Bytes TakeCnt();
    Bytes TakeDat() { return dat_.Take(); }

private:
    ByteWriter idx_;
    ByteWriter cnt_;
    ByteWriter dat_;
    ByteWriter container_;
};

}  // namespace mapdb
