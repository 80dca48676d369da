// CPackFolderIO: opening a pack folder, selecting a packed file by binary search, clipped reads.
#include "foundation/PackFolderIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "foundation/Bytes.h"

namespace {

constexpr unsigned long kEntrySize = 20;
constexpr size_t kNameSize = 12;

// Reads index entry `index` into `entry`; false when fewer than 20 bytes come back.
bool ReadIndexEntry(int fd, uint32_t index, unsigned char* entry) {
    off_t at = static_cast<off_t>(index) * static_cast<off_t>(kEntrySize);
    ssize_t n = pread(fd, entry, kEntrySize, at);
    return n == static_cast<ssize_t>(kEntrySize);
}

}  // namespace

CPackFolderIO::CPackFolderIO()
    : m_iDatFile(0), m_iIdxFile(0), m_dwEntryCount(0), m_lPackOffset(-1), m_lPackSize(-1) {
    memset(m_szPackName, 0, sizeof(m_szPackName));
}

// Owners close explicitly on every path out of an operation; the destructor leaves files as
// they are.
CPackFolderIO::~CPackFolderIO() {}

unsigned long CPackFolderIO::OpenPackFolder(char* root, char* folder, char* base) {
    if (m_iDatFile != 0 || m_iIdxFile != 0) return 0;
    if (root == nullptr || folder == nullptr) return 0;
    const char* name = base != nullptr ? base : folder;

    char path[256] = {};
    snprintf(path, sizeof(path), "%s/%s/%s.IDX", root, folder, name);
    int idx = open(path, O_RDONLY);
    if (idx < 0) {
        m_iIdxFile = 0;
        return 0;
    }
    memset(path, 0, sizeof(path));
    snprintf(path, sizeof(path), "%s/%s/%s.DAT", root, folder, name);
    int dat = open(path, O_RDONLY);
    if (dat < 0) {
        close(idx);
        m_iIdxFile = 0;
        m_iDatFile = 0;
        return 0;
    }
    m_iIdxFile = idx;
    m_iDatFile = dat;

    struct stat st;
    if (fstat(m_iIdxFile, &st) == 0) {
        m_dwEntryCount = static_cast<uint32_t>(static_cast<uint64_t>(st.st_size) / kEntrySize);
    } else {
        m_dwEntryCount /= kEntrySize;
    }
    // Deliberately leaves both files open on an empty index: the caller's ClosePackFolder
    // releases them, and until then the object refuses another OpenPackFolder.
    if (m_dwEntryCount == 0) return 0;

    memset(m_szPackName, 0, sizeof(m_szPackName));
    m_lPackOffset = -1;
    m_lPackSize = -1;
    return 1;
}

unsigned long CPackFolderIO::OpenPackFile(char* name) {
    if (m_iDatFile == 0 || m_iIdxFile == 0 || name == nullptr) return 0;
    if (strcmp(name, m_szPackName) == 0 && m_lPackOffset >= 0 && m_lPackSize >= 0) return 1;

    uint32_t lo = 0;
    uint32_t hi = m_dwEntryCount;
    uint32_t mid = hi / 2;
    unsigned char entry[kEntrySize];
    for (;;) {
        if (!ReadIndexEntry(m_iIdxFile, mid, entry)) break;
        memset(m_szPackName, 0, sizeof(m_szPackName));
        memcpy(m_szPackName, entry, kNameSize);
        int cmp = strcmp(m_szPackName, name);
        if (cmp == 0) {
            m_lPackOffset = bytes::ReadI32LE(entry + 12);
            m_lPackSize = bytes::ReadI32LE(entry + 16);
            return 1;
        }
        uint32_t next;
        if (cmp < 0) {
            next = static_cast<uint32_t>((static_cast<uint64_t>(mid) + hi) / 2);
            if (next == mid) break;
            lo = mid;
        } else {
            next = static_cast<uint32_t>((static_cast<uint64_t>(mid) + lo) / 2);
            if (next == mid) break;
            hi = mid;
        }
        mid = next;
    }
    // Not found: the name of the last compared entry stays, the -1 values keep the cache off.
    m_lPackOffset = -1;
    m_lPackSize = -1;
    return 0;
}

unsigned long CPackFolderIO::GetPackFileSize() {
    if (m_lPackOffset < 0 || m_lPackSize < 0) return 0;
    return static_cast<unsigned long>(m_lPackSize);
}

bool CPackFolderIO::ClipRead(unsigned long offset, unsigned long* size, unsigned long* at) const {
    if (m_iDatFile == 0 || m_iIdxFile == 0) return false;
    if (m_lPackSize < 0 || offset >= static_cast<unsigned long>(m_lPackSize)) return false;
    unsigned long rest = static_cast<unsigned long>(m_lPackSize) - offset;
    if (*size == 0 || *size > rest) *size = rest;
    // A negative offset from a damaged index wraps to a huge position, which reads refuse.
    *at = static_cast<unsigned long>(static_cast<long>(m_lPackOffset)) + offset;
    return true;
}

unsigned long CPackFolderIO::LoadPackFile(unsigned char** out, unsigned long offset,
                                          unsigned long size) {
    unsigned long at;
    if (!ClipRead(offset, &size, &at)) return 0;
    return LoadFile(&m_iDatFile, out, at, size);
}

unsigned long CPackFolderIO::ReadPackFile(unsigned char* dst, unsigned long offset,
                                          unsigned long size) {
    unsigned long at;
    if (dst == nullptr || !ClipRead(offset, &size, &at)) return 0;
    if (at > static_cast<unsigned long>(INT64_MAX)) return 0;
    unsigned long done = 0;
    while (done < size) {
        ssize_t n = pread(m_iDatFile, dst + done, size - done, static_cast<off_t>(at + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<unsigned long>(n);
    }
    return done;
}

unsigned long CPackFolderIO::LoadPackFile(char* name, unsigned char** out, unsigned long offset,
                                          unsigned long size) {
    if (!OpenPackFile(name)) return 0;
    return LoadPackFile(out, offset, size);
}

unsigned long CPackFolderIO::ClosePackFolder() {
    if (m_iDatFile == 0 && m_iIdxFile == 0) return 0;
    if (m_iDatFile != 0) close(m_iDatFile);
    if (m_iIdxFile != 0) close(m_iIdxFile);
    m_iDatFile = 0;
    m_iIdxFile = 0;
    memset(m_szPackName, 0, sizeof(m_szPackName));
    m_lPackOffset = -1;
    m_lPackSize = -1;
    return 1;
}
