// CFileIO: plain file access. Joined paths are built in 513-byte zeroed buffers (512 usable).
#include "foundation/FileIO.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "foundation/Alloc.h"
#include "foundation/ReadAt.h"

namespace {

constexpr unsigned long kPathMax = 512;

// Shared body of LoadFile and LoadFileEx: `spare` extra zero bytes are allocated.
// Returns the raw read result (-1 on a read error, the buffer then stays with the caller).
bool LoadCommon(int* fd, unsigned char** out, unsigned long offset, unsigned long size,
                unsigned long spare, long* got) {
    *got = 0;
    if (fd == nullptr || out == nullptr) return false;
    const int64_t fileSize = io::FileSize(*fd);
    if (fileSize < 0) return false;
    if (static_cast<uint64_t>(fileSize) <= offset) return false;
    if (size == 0) {
        // The rest of the file; on a 32-bit unsigned long it may not be expressible.
        const uint64_t rest = static_cast<uint64_t>(fileSize) - offset;
        if (rest > ~0UL) return false;
        size = static_cast<unsigned long>(rest);
    }
    if (*out != nullptr) return false;  // the caller must hand in a null pointer
    if (size > ~0UL - spare) return false;
    unsigned char* buf = alloc::NewArray<unsigned char>(static_cast<uint64_t>(size) + spare);
    if (buf == nullptr) return false;
    memset(buf, 0, size + spare);
    // A read error is -1, never a short read: the caller compares with what it asked for.
    const long n = io::ReadAt(*fd, buf, size, offset);
    if (n == 0) {
        delete[] buf;
        *out = nullptr;
        return false;
    }
    *out = buf;
    *got = n;
    return true;
}

}  // namespace

CFileIO::CFileIO() {}
CFileIO::~CFileIO() {}

unsigned long CFileIO::MergeFilename(char* out, char* dir, char* name, unsigned long size) {
    if (size == 0 || out == nullptr || dir == nullptr || name == nullptr) return 0;
    memset(out, 0, size);
    unsigned long a = strnlen(dir, size);
    unsigned long b = strnlen(name, size);
    if (a + 1 + b > size) return 0;
    memcpy(out, dir, a);
    out[a] = '/';
    memcpy(out + a + 1, name, b);  // no terminator when the result fills `size` exactly
    return 1;
}

int CFileIO::CreateFile(char* dir, char* name) {
    char path[kPathMax + 1] = {};
    MergeFilename(path, dir, name, kPathMax);  // a failed join leaves "", whose open fails
    return open(path, O_RDONLY);
}

int CFileIO::CreateWriteFile(char* dir, char* name) {
    if (dir != nullptr) mkdir(dir, 0777);
    char path[kPathMax + 1] = {};
    MergeFilename(path, dir, name, kPathMax);
    // Deliberately without O_CREAT: only an existing file can be opened for writing.
    return open(path, O_WRONLY);
}

unsigned long CFileIO::GetDirectryFileName(char* dir, char* name, const char* path) {
    if (dir == nullptr || name == nullptr || path == nullptr) return 0;
    size_t len = strlen(path);
    size_t p = len;
    while (p > 0 && path[p - 1] != '/') --p;
    if (p > 0) {
        memcpy(dir, path, p);  // the '/' included
        memcpy(name, path + p, len - p);
    } else {
        memcpy(name, path, len);
    }
    return 0;
}

unsigned long CFileIO::IsFileExist(char* path) {
    if (path == nullptr || strlen(path) > kPathMax) return 1;
    char dir[kPathMax + 1] = {};
    char name[kPathMax + 1] = {};
    GetDirectryFileName(dir, name, path);
    DIR* d = opendir(dir);
    if (d == nullptr) return 1;
    while (struct dirent* e = readdir(d)) {
        if (strcmp(e->d_name, name) == 0) break;
    }
    closedir(d);
    // Deliberately 1 whatever the scan found: callers rely on the following load to fail.
    return 1;
}

unsigned long CFileIO::IsFileExist(char* dir, char* name) {
    char path[kPathMax + 1] = {};
    MergeFilename(path, dir, name, kPathMax);
    return IsFileExist(path);
}

unsigned long CFileIO::LoadFile(int* fd, unsigned char** out, unsigned long offset,
                                unsigned long size) {
    long got;
    if (!LoadCommon(fd, out, offset, size, 1, &got)) return 0;
    return static_cast<unsigned long>(got);  // a read error reads as -1 unsigned
}

unsigned long CFileIO::LoadFileEx(int* fd, unsigned char** out, unsigned long offset,
                                  unsigned long size) {
    long got;
    if (!LoadCommon(fd, out, offset, size, 2, &got)) return 0;
    return static_cast<unsigned long>(got) + 1;  // deliberately one more than was read
}

unsigned long CFileIO::LoadFile(char* path, unsigned char** out, unsigned long offset,
                                unsigned long size) {
    if (path == nullptr) return 0;
    io::FileCloser file(open(path, O_RDONLY));
    if (file.fd() < 0) return 0;
    int fd = file.fd();
    return LoadFile(&fd, out, offset, size);
}

unsigned long CFileIO::LoadFile(char* dir, char* name, unsigned char** out, unsigned long offset,
                                unsigned long size) {
    char path[kPathMax + 1] = {};
    MergeFilename(path, dir, name, kPathMax);
    return LoadFile(path, out, offset, size);
}

unsigned long CFileIO::LoadFile(char* dir, char* name, unsigned char** out) {
    return LoadFile(dir, name, out, 0, 0);
}

unsigned long CFileIO::LoadFile(char* path, unsigned char** out) {
    return LoadFile(path, out, 0, 0);
}
