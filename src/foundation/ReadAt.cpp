// Positioned reads with retry, file sizes and scoped descriptors.
#include "foundation/ReadAt.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>

namespace io {

long ReadAt(int fd, void* buf, size_t size, uint64_t offset) {
    constexpr uint64_t kMaxOffset = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
    constexpr size_t kMaxResult = static_cast<size_t>(std::numeric_limits<long>::max());
    if (offset > kMaxOffset || size > kMaxResult) return -1;
    unsigned char* p = static_cast<unsigned char*>(buf);
    size_t done = 0;
    while (done < size) {
        const uint64_t at = offset + done;
        if (at > kMaxOffset) break;  // nothing lies beyond what off_t can address
        const ssize_t n = pread(fd, p + done, size - done, static_cast<off_t>(at));
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<long>(done);
}

int64_t FileSize(int fd) {
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_size < 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

FileCloser::~FileCloser() {
    if (fd_ >= 0) close(fd_);
}

}  // namespace io
