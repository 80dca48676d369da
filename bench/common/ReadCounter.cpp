// The counting pread. It lives in the same object file as ReadCount(), so only programs that
// ask for the count link it in.
#include "common/ReadCounter.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <atomic>

namespace {
std::atomic<unsigned long> g_reads{0};
}  // namespace

extern "C" ssize_t pread(int fd, void* buf, size_t n, off_t offset) {
    using Fn = ssize_t (*)(int, void*, size_t, off_t);
    static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "pread"));
    g_reads.fetch_add(1, std::memory_order_relaxed);
    return real(fd, buf, n, offset);
}

namespace benchdb {

unsigned long ReadCount() { return g_reads.load(std::memory_order_relaxed); }

}  // namespace benchdb
