// CPackFolderIO: opening a pack folder, selecting a packed file by binary search, clipped reads.
#include "foundation/PackFolderIO.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/EntryWindow.h"
#include "foundation/IndexSearch.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"

namespace {

constexpr unsigned long kEntrySize = 20;
constexpr uint64_t kIndexHeader = 0;  // the index is a bare array of entries
constexpr size_t kNameSize = 12;
constexpr size_t kPathSize = 256;

// Builds root/folder/name.ext; false when it does not fit, so that a cut name is never opened.
bool PackPath(char (&path)[kPathSize], const char* root, const char* folder, const char* name,
              const char* ext) {
    memset(path, 0, sizeof(path));
    const int n = snprintf(path, sizeof(path), "%s/%s/%s.%s", root, folder, name, ext);
    return n >= 0 && n < static_cast<int>(sizeof(path));
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

    char path[kPathSize];
    int idx = PackPath(path, root, folder, name, "IDX") ? open(path, O_RDONLY) : -1;
    if (idx < 0) {
        m_iIdxFile = 0;
        return 0;
    }
    int dat = PackPath(path, root, folder, name, "DAT") ? open(path, O_RDONLY) : -1;
    if (dat < 0) {
        close(idx);
        m_iIdxFile = 0;
        m_iDatFile = 0;
        return 0;
    }
    m_iIdxFile = idx;
    m_iDatFile = dat;

    const int64_t idxSize = io::FileSize(m_iIdxFile);
    if (idxSize >= 0) {
        m_dwEntryCount = static_cast<uint32_t>(
            table::EntryCount(static_cast<uint64_t>(idxSize), kEntrySize, kIndexHeader));
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

    // Probes read through a window of entries: an index of up to 204 entries comes in one read.
    BasicEntryWindow<4096> window(kEntrySize, m_dwEntryCount);
    const int fd = m_iIdxFile;
    unsigned char entry[kEntrySize];
    const index_search::Result r = index_search::Find(m_dwEntryCount, [&](uint64_t i) {
        const bool read =
            window.Get(i, entry, [fd](uint64_t first, uint64_t n, unsigned char* out) {
                return io::ReadAt(fd, out, static_cast<size_t>(n * kEntrySize),
                                  table::EntryOffset(first, kEntrySize, kIndexHeader));
            });
        if (!read) return index_search::Probe::kUnreadable;
        memset(m_szPackName, 0, sizeof(m_szPackName));
        memcpy(m_szPackName, entry, kNameSize);
        const int cmp = strcmp(m_szPackName, name);  // entry minus key
        return index_search::FromCompare(cmp < 0 ? 1 : cmp > 0 ? -1 : 0);
    });
    if (r.found) {
        m_lPackOffset = bytes::ReadI32LE(entry + 12);
        m_lPackSize = bytes::ReadI32LE(entry + 16);
        return 1;
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
    // A negative offset from a damaged index lies before the file: nothing can be read there.
    if (m_lPackOffset < 0) return false;
    unsigned long rest = static_cast<unsigned long>(m_lPackSize) - offset;
    if (*size == 0 || *size > rest) *size = rest;
    // Both terms are below 2^31, so the sum fits even a 32-bit unsigned long.
    *at = static_cast<unsigned long>(m_lPackOffset) + offset;
    return true;
}

unsigned long CPackFolderIO::ReadableSize(unsigned long offset) const {
    unsigned long size = 0;
    unsigned long at;
    if (!ClipRead(offset, &size, &at)) return 0;
    const int64_t datSize = io::FileSize(m_iDatFile);
    if (datSize < 0 || static_cast<uint64_t>(datSize) <= at) return 0;
    const uint64_t inFile = static_cast<uint64_t>(datSize) - at;
    return inFile < size ? static_cast<unsigned long>(inFile) : size;
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
    const long n = io::ReadAt(m_iDatFile, dst, size, at);
    return n < 0 ? 0 : static_cast<unsigned long>(n);
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
