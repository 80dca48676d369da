// The counting pread. It lives in the same object file as ReadCount(), so only programs that
// ask for the count link it in.
#include "common/ReadCounter.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <atomic>

namespace {
std::atomic<unsigned long> g_reads{0};
std::atomic<unsigned long long> g_bytes{0};

using ReadFn = ssize_t (*)(int, void*, size_t, off_t);

// Counts one read call and its bytes, then forwards to the C library's function.
ssize_t Counted(ReadFn real, int fd, void* buf, size_t n, off_t offset) {
    g_reads.fetch_add(1, std::memory_order_relaxed);
    const ssize_t got = real(fd, buf, n, offset);
    if (got > 0) g_bytes.fetch_add(static_cast<unsigned long long>(got), std::memory_order_relaxed);
    return got;
}

}  // namespace

extern "C" ssize_t pread(int fd, void* buf, size_t n, off_t offset) {
    static const ReadFn real = reinterpret_cast<ReadFn>(dlsym(RTLD_NEXT, "pread"));
    return Counted(real, fd, buf, n, offset);
}

// The same for pread64, which programs built with 64-bit file offsets call (SQLite does).
extern "C" ssize_t pread64(int fd, void* buf, size_t n, off_t offset) {
    static const ReadFn real = reinterpret_cast<ReadFn>(dlsym(RTLD_NEXT, "pread64"));
    return Counted(real, fd, buf, n, offset);
}

namespace benchdb {

unsigned long ReadCount() {
    return g_reads.load(std::memory_order_relaxed);
}
unsigned long long ReadBytes() {
    return g_bytes.load(std::memory_order_relaxed);
}

}  // namespace benchdb
