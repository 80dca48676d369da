// Fixed-size entries read through a window of the entries around the one asked for: the last
// steps of a binary search and short scans then cost no further read. An entry counts as read
// only when all its bytes came back, as with a read of that entry alone. Internal; not exported.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

template <size_t kBytes>
class BasicEntryWindow {
public:
    // `count` entries of `entrySize` bytes; entries larger than a quarter of the window are
    // read one at a time.
    BasicEntryWindow(uint64_t entrySize, uint64_t count)
        : entrySize_(entrySize), count_(count), span_(entrySize == 0 ? 0 : kBytes / entrySize) {}

    uint64_t entrySize() const { return entrySize_; }

    // Entry k into `entry`; false when k >= count or its bytes cannot all be read.
    // `read(first, n, buffer)` reads entries first .. first + n - 1 and returns the bytes it
    // read, or a negative value on an error.
    template <typename Read>
    bool Get(uint64_t k, unsigned char* entry, Read read) {
        if (k >= count_) return false;
        if (span_ < 4) return read(k, 1, entry) == static_cast<long>(entrySize_);
        if (k < first_ || k - first_ >= held_) {
            const uint64_t n = std::min(span_, count_);
            first_ = k > span_ / 2 ? k - span_ / 2 : 0;  // centred on k, inside the table
            if (first_ > count_ - n) first_ = count_ - n;
            const long got = read(first_, n, bytes_);
            held_ = got < 0 ? 0 : static_cast<uint64_t>(got) / entrySize_;
            if (k - first_ >= held_) return false;
        }
        memcpy(entry, bytes_ + (k - first_) * entrySize_, entrySize_);
        return true;
    }

private:
    uint64_t entrySize_;
    uint64_t count_;
    uint64_t span_;
    uint64_t first_ = 0;  // entries first_ .. first_ + held_ - 1 are in bytes_
    uint64_t held_ = 0;
    unsigned char bytes_[kBytes];
};

// The window of table files and packed tables.
class EntryWindow : public BasicEntryWindow<2048> {
public:
    using BasicEntryWindow<2048>::BasicEntryWindow;
};
