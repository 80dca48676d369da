// Fixed-entry table files: a 16-byte header that readers skip, then entries of one size, entry k
// at 16 + size * k, as many as whole entries fit in the file. The layout functions serve plain
// files and packed files alike; TableFile reads a plain one opened through the database/SD
// fallback and closes it when it goes. Internal; not exported.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/EntryWindow.h"

namespace table {

constexpr uint64_t kHeaderSize = 16;

// Entries of `entrySize` bytes in a table of `fileSize` bytes (0 when not even the header fits).
// `headerSize` is 0 for headerless arrays such as a pack folder's index.
inline uint64_t EntryCount(uint64_t fileSize, uint64_t entrySize,
                           uint64_t headerSize = kHeaderSize) {
    return fileSize < headerSize || entrySize == 0 ? 0 : (fileSize - headerSize) / entrySize;
}

// Byte offset of entry k. 64-bit: no entry index of a 32-bit count can overflow it.
inline uint64_t EntryOffset(uint64_t k, uint64_t entrySize, uint64_t headerSize = kHeaderSize) {
    return headerSize + k * entrySize;
}

}  // namespace table

class TableFile {
public:
    // Opens `relPath` (relative to the data root, e.g. "ARRIVAL/ARV.IDX") through the
    // database/SD fallback; `sdRelPath`, when given, is the name used under the SD path.
    TableFile(const char* relPath, size_t entrySize, const char* sdRelPath = nullptr);
    ~TableFile();
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    bool ok() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // Whole entries in the file; 0 when it is not open or shorter than its header.
    uint64_t count() const { return count_; }
    // Reads entry k into `entry` (entrySize bytes); false when k >= count() or the read fails.
    // Small entries come through a window of the entries around k, so that the last steps of
    // a binary search and short scans cost no further read.
    bool Read(uint64_t k, unsigned char* entry) const;
    // Reads up to n entries from k into `entries`; the number of whole entries read, never
    // beyond count(). -1 on a read error.
    long ReadRange(uint64_t k, uint64_t n, unsigned char* entries) const;

private:
    int fd_;
    size_t entrySize_;
    uint64_t count_ = 0;
    mutable EntryWindow window_{0, 0};
};
