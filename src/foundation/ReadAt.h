// The one positioned read of the library: retried on EINTR and continued over short reads, so
// that fewer bytes than asked come back only at the end of the file. Offsets are 64-bit
// whatever the width of unsigned long. Internal; not exported.
#pragma once

#include <cstddef>
#include <cstdint>

namespace io {

// Reads up to `size` bytes at `offset` of `fd` into `buf`. Returns the bytes read (fewer than
// `size` only at the end of the file) or -1 on a read error or an offset no file can have.
long ReadAt(int fd, void* buf, size_t size, uint64_t offset);

// True when exactly `size` bytes were read.
inline bool ReadExactly(int fd, void* buf, size_t size, uint64_t offset) {
    return ReadAt(fd, buf, size, offset) == static_cast<long>(size);
}

// Size of the open file, or -1 when it cannot be queried.
int64_t FileSize(int fd);

// Closes a descriptor on every way out of a scope (-1: nothing to close).
class FileCloser {
public:
    explicit FileCloser(int fd) : fd_(fd) {}
    ~FileCloser();
    FileCloser(const FileCloser&) = delete;
    FileCloser& operator=(const FileCloser&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

}  // namespace io
