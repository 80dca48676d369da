// Plain table files through the database/SD fallback.
#include "foundation/TableFile.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "foundation/CommonProc.h"
#include "foundation/ReadAt.h"

TableFile::TableFile(const char* relPath, size_t entrySize, const char* sdRelPath)
    : fd_(CCommonProc::OpenDataFile(relPath, sdRelPath)), entrySize_(entrySize) {
    if (fd_ < 0) return;
    const int64_t size = io::FileSize(fd_);
    if (size > 0) count_ = table::EntryCount(static_cast<uint64_t>(size), entrySize_);
}

TableFile::~TableFile() {
    if (fd_ >= 0) close(fd_);
}

bool TableFile::Read(uint64_t k, unsigned char* entry) const {
    if (fd_ < 0 || k >= count_) return false;
    const uint64_t span = entrySize_ == 0 ? 0 : kWindowBytes / entrySize_;
    if (span < 4) return io::ReadExactly(fd_, entry, entrySize_, table::EntryOffset(k, entrySize_));
    if (k < windowFirst_ || k - windowFirst_ >= windowCount_) {
        // The window centred on k, kept inside the table.
        const uint64_t n = std::min(span, count_);
        uint64_t first = k > span / 2 ? k - span / 2 : 0;
        if (first > count_ - n) first = count_ - n;
        const long got = io::ReadAt(fd_, window_, static_cast<size_t>(n * entrySize_),
                                    table::EntryOffset(first, entrySize_));
        windowFirst_ = first;
        // Only whole entries count: one cut short by the end of the file is not read.
        windowCount_ = got < 0 ? 0 : static_cast<uint64_t>(got) / entrySize_;
        if (k - windowFirst_ >= windowCount_) return false;
    }
    memcpy(entry, window_ + (k - windowFirst_) * entrySize_, entrySize_);
    return true;
}

long TableFile::ReadRange(uint64_t k, uint64_t n, unsigned char* entries) const {
    if (fd_ < 0 || k >= count_ || n == 0) return 0;
    if (n > count_ - k) n = count_ - k;
    const long got = io::ReadAt(fd_, entries, static_cast<size_t>(n * entrySize_),
                                table::EntryOffset(k, entrySize_));
    return got < 0 ? -1 : static_cast<long>(static_cast<uint64_t>(got) / entrySize_);
}
