/* Fault injection for tests: a preloadable library (or one linked into a test program) that
 * wraps the calls the library reads files with and, on descriptors of chosen files only, makes
 * them misbehave the way a worn or pulled SD card does.
 *
 * Plan, from the environment variable FAULT_SHIM of the test harness or from
 * fault_shim_configure(): "mode:period[:marker]".
 *   mode    eintr    every period-th read fails with EINTR (must be invisible: reads retry)
 *           short    every period-th read returns about half the bytes asked, at least one
 *           eio      every period-th read or fstat or lseek fails with EIO
 *           vanish   every period-th open succeeds, then its file reads as empty while fstat
 *                    still reports the old size (cut between the size check and the read)
 *           enoent   every period-th open fails with ENOENT (gone before the open)
 *           off      nothing
 *   period  1 or more
 *   marker  only files whose path contains it are touched (default "/searchproc-", the test
 *           databases' temporary folders); opened read-only, so writers are never touched.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum Mode { kOff, kEintr, kShort, kEio, kVanish, kEnoent };
enum Track { kNone = 0, kTracked = 1, kEmpty = 2 };
#define kMaxFd 4096

static _Atomic int g_mode = kOff;
static _Atomic unsigned long g_period = 1;
static char g_marker[128] = "/searchproc-";
static _Atomic unsigned long g_reads, g_opens, g_injected;
static _Atomic unsigned char g_fds[kMaxFd];

static void* Next(const char* name) {
    void* f = dlsym(RTLD_NEXT, name);
    if (f == NULL) {
        fprintf(stderr, "fault shim: no %s\n", name);
        abort();
    }
    return f;
}
#define REAL(name)                        \
    static __typeof__(name)* real_##name; \
    if (real_##name == NULL) real_##name = (__typeof__(name)*)Next(#name)

EXPORT int fault_shim_configure(const char* plan) {
    static const char* names[] = {"off", "eintr", "short", "eio", "vanish", "enoent"};
    if (plan == NULL || *plan == 0) plan = "off";
    const char* colon = strchr(plan, ':');
    size_t len = colon ? (size_t)(colon - plan) : strlen(plan);
    int mode = -1;
    for (int i = 0; i < 6; ++i)
        if (strlen(names[i]) == len && strncmp(plan, names[i], len) == 0) mode = i;
    unsigned long period = 1;
    strcpy(g_marker, "/searchproc-");
    if (colon) {
        char* end = NULL;
        period = strtoul(colon + 1, &end, 10);
        if (end && *end == ':') {
            strncpy(g_marker, end + 1, sizeof(g_marker) - 1);
            g_marker[sizeof(g_marker) - 1] = 0;
        }
    }
    if (mode < 0 || period == 0 || (mode == kEintr && period < 2)) {
        fprintf(stderr, "fault shim: bad plan \"%s\"\n", plan);
        return -1;
    }
    g_period = period;
    g_reads = 0, g_opens = 0, g_injected = 0;
    g_mode = mode;
    return 0;
}

/* Faults injected since the last plan. */
EXPORT unsigned long fault_shim_injected(void) { return g_injected; }

static int g_fromEnvironment;

__attribute__((constructor)) static void FromEnvironment(void) {
    const char* plan = getenv("FAULT_SHIM");
    if (plan == NULL) return;
    if (fault_shim_configure(plan) != 0) abort();
    g_fromEnvironment = 1;
}

/* A plan from the environment reports its count, so that a run that injected nothing shows. */
__attribute__((destructor)) static void Report(void) {
    if (g_fromEnvironment) fprintf(stderr, "fault shim: %lu faults injected\n", (unsigned long)g_injected);
}

static int Tracked(int fd) { return fd >= 0 && fd < kMaxFd ? g_fds[fd] : kNone; }

/* Counts one call of the kind and says whether this one is the period-th. */
static int Due(_Atomic unsigned long* counter) {
    unsigned long n = atomic_fetch_add(counter, 1) + 1;
    if (n % g_period != 0) return 0;
    atomic_fetch_add(&g_injected, 1);
    return 1;
}

/* Decides the fate of an open of `path` that returned `fd` (or is about to be made). Returns
 * -1 when the open must fail with ENOENT. */
static int BeforeOpen(const char* path, int flags) {
    if (g_mode == kOff || path == NULL || (flags & O_ACCMODE) != O_RDONLY) return 0;
    if (strstr(path, g_marker) == NULL) return 0;
    if (g_mode == kEnoent && Due(&g_opens)) return -1;
    return 1;
}

static int AfterOpen(int fd, int track) {
    if (fd >= 0 && fd < kMaxFd) {
        int state = kNone;
        if (track > 0) state = (g_mode == kVanish && Due(&g_opens)) ? kEmpty : kTracked;
        g_fds[fd] = (unsigned char)state;
    }
    return fd;
}

static mode_t ModeArg(int flags, va_list ap) {
    return (flags & (O_CREAT | O_TMPFILE)) ? (mode_t)va_arg(ap, int) : 0;
}

#define OPEN_WRAPPER(name)                                                       \
    EXPORT int name(const char* path, int flags, ...) {                          \
        REAL(name);                              \
        va_list ap;                                                              \
        va_start(ap, flags);                                                     \
        mode_t mode = ModeArg(flags, ap);                                        \
        va_end(ap);                                                              \
        int track = BeforeOpen(path, flags);                                     \
        if (track < 0) {                                                         \
            errno = ENOENT;                                                      \
            return -1;                                                           \
        }                                                                        \
        return AfterOpen(real_##name(path, flags, mode), track);                 \
    }
#define OPENAT_WRAPPER(name)                                                     \
    EXPORT int name(int dir, const char* path, int flags, ...) {                 \
        REAL(name);                         \
        va_list ap;                                                              \
        va_start(ap, flags);                                                     \
        mode_t mode = ModeArg(flags, ap);                                        \
        va_end(ap);                                                              \
        int track = BeforeOpen(path, flags);                                     \
        if (track < 0) {                                                         \
            errno = ENOENT;                                                      \
            return -1;                                                           \
        }                                                                        \
        return AfterOpen(real_##name(dir, path, flags, mode), track);            \
    }
OPEN_WRAPPER(open)
OPEN_WRAPPER(open64)
OPENAT_WRAPPER(openat)
OPENAT_WRAPPER(openat64)

EXPORT int close(int fd) {
    REAL(close);
    if (fd >= 0 && fd < kMaxFd) g_fds[fd] = kNone;
    return real_close(fd);
}

/* The size a read on `fd` may return, or -1 with errno set when it must fail. */
static long ReadFate(int fd, size_t* count) {
    int state = Tracked(fd);
    if (state == kNone || g_mode == kOff) return 1;
    if (state == kEmpty) {
        *count = 0;
        return 1;
    }
    switch (g_mode) {
        case kEintr:
            if (Due(&g_reads)) return errno = EINTR, -1;
            break;
        case kEio:
            if (Due(&g_reads)) return errno = EIO, -1;
            break;
        case kShort:
            if (*count > 1 && Due(&g_reads)) *count = *count / 2;
            break;
        default:
            break;
    }
    return 1;
}

EXPORT ssize_t read(int fd, void* buf, size_t count) {
    REAL(read);
    if (ReadFate(fd, &count) < 0) return -1;
    return count == 0 ? 0 : real_read(fd, buf, count);
}

#define PREAD_WRAPPER(name, off)                                                 \
    EXPORT ssize_t name(int fd, void* buf, size_t count, off offset) {           \
        REAL(name);                        \
        if (ReadFate(fd, &count) < 0) return -1;                                 \
        return count == 0 ? 0 : real_##name(fd, buf, count, offset);             \
    }
PREAD_WRAPPER(pread, off_t)
PREAD_WRAPPER(pread64, off64_t)

/* fstat and lseek fail only in the eio mode. */
static int MetaFails(int fd) {
    return Tracked(fd) == kTracked && g_mode == kEio && Due(&g_reads);
}

#define FSTAT_WRAPPER(name, st)                                                  \
    EXPORT int name(int fd, struct st* buf) {                                    \
        REAL(name);                                    \
        if (MetaFails(fd)) return errno = EIO, -1;                               \
        return real_##name(fd, buf);                                             \
    }
FSTAT_WRAPPER(fstat, stat)
FSTAT_WRAPPER(fstat64, stat64)

#define LSEEK_WRAPPER(name, off)                                                 \
    EXPORT off name(int fd, off offset, int whence) {                            \
        REAL(name);                                      \
        if (MetaFails(fd)) return errno = EIO, (off)-1;                          \
        return real_##name(fd, offset, whence);                                  \
    }
LSEEK_WRAPPER(lseek, off_t)
LSEEK_WRAPPER(lseek64, off64_t)
