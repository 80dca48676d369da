// Plain table files through the database/SD fallback.
#include "foundation/TableFile.h"

#include <unistd.h>

#include "foundation/CommonProc.h"
#include "foundation/ReadAt.h"

TableFile::TableFile(const char* relPath, size_t entrySize, const char* sdRelPath)
    : fd_(CCommonProc::OpenDataFile(relPath, sdRelPath)), entrySize_(entrySize) {
    if (fd_ < 0) return;
    const int64_t size = io::FileSize(fd_);
    if (size > 0) count_ = table::EntryCount(static_cast<uint64_t>(size), entrySize_);
    window_ = EntryWindow(entrySize_, count_);
}

TableFile::~TableFile() {
    if (fd_ >= 0) close(fd_);
}

bool TableFile::Read(uint64_t k, unsigned char* entry) const {
    if (fd_ < 0) return false;
    return window_.Get(k, entry, [this](uint64_t first, uint64_t n, unsigned char* out) {
        return io::ReadAt(fd_, out, static_cast<size_t>(n * entrySize_),
                          table::EntryOffset(first, entrySize_));
    });
}

long TableFile::ReadRange(uint64_t k, uint64_t n, unsigned char* entries) const {
    if (fd_ < 0 || k >= count_ || n == 0) return 0;
    if (n > count_ - k) n = count_ - k;
    const long got = io::ReadAt(fd_, entries, static_cast<size_t>(n * entrySize_),
                                table::EntryOffset(k, entrySize_));
    return got < 0 ? -1 : static_cast<long>(static_cast<uint64_t>(got) / entrySize_);
}
