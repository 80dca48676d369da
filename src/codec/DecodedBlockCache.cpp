// The decoded-block memo: entries keyed by a hash of the compressed bytes and confirmed by
// comparing them whole, in least-recently-used order, under one mutex. A hit hands out a copy
// made outside the lock from a shared entry.
#include "codec/DecodedBlockCache.h"

#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "foundation/Alloc.h"

namespace codec {
namespace block_cache {

namespace {

struct Entry {
    uint64_t hash;
    std::vector<unsigned char> block;   // the compressed bytes, compared whole on a hit
    std::vector<unsigned char> buffer;  // the decode's buffer as the reader received it
    unsigned long decoded;
    size_t Cost() const { return block.size() + buffer.size() + 64; }
};
using EntryPtr = std::shared_ptr<const Entry>;

// 64-bit FNV-1a over 8-byte words, then the tail bytes: fast enough beside a decode, and a
// collision only costs a comparison.
uint64_t Hash(const unsigned char* p, unsigned long n) {
    uint64_t h = 1469598103934665603ull ^ n;
    unsigned long i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        memcpy(&w, p + i, 8);
        h = (h ^ w) * 1099511628211ull;
        h ^= h >> 29;
    }
    for (; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

class Memo {
public:
    EntryPtr Find(const unsigned char* block, unsigned long size) {
        const uint64_t h = Hash(block, size);
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = index_.find(h);
        if (it == index_.end() || !Same(**it->second, block, size)) {
            ++misses_;
            return nullptr;
        }
        order_.splice(order_.begin(), order_, it->second);  // most recent first
        ++hits_;
        return *it->second;
    }

    bool Contains(const unsigned char* block, unsigned long size) {
        const uint64_t h = Hash(block, size);
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = index_.find(h);
        return it != index_.end() && Same(**it->second, block, size);
    }

    void Store(const unsigned char* block, unsigned long size, const unsigned char* buffer,
               unsigned long bufferSize, unsigned long decoded) {
        const uint64_t h = Hash(block, size);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (capacity_ == 0 || size + bufferSize + 64 > capacity_ / 4 || index_.count(h) != 0)
                return;
        }
        auto e = std::make_shared<Entry>();
        e->hash = h;
        e->block.assign(block, block + size);
        e->buffer.assign(buffer, buffer + bufferSize);
        e->decoded = decoded;
        std::lock_guard<std::mutex> lock(mutex_);
        if (capacity_ == 0 || e->Cost() > capacity_ / 4 || index_.count(h) != 0) return;
        bytes_ += e->Cost();
        order_.push_front(std::move(e));
        index_[h] = order_.begin();
        while (bytes_ > capacity_) {
            bytes_ -= order_.back()->Cost();
            index_.erase(order_.back()->hash);
            order_.pop_back();
        }
    }

    void SetCapacity(size_t bytes) {
        std::lock_guard<std::mutex> lock(mutex_);
        capacity_ = bytes;
        order_.clear();
        index_.clear();
        bytes_ = hits_ = misses_ = 0;
    }

    size_t Capacity() {
        std::lock_guard<std::mutex> lock(mutex_);
        return capacity_;
    }

    Stats GetStats() {
        std::lock_guard<std::mutex> lock(mutex_);
        return Stats{order_.size(), bytes_, hits_, misses_};
    }

private:
    static bool Same(const Entry& e, const unsigned char* block, unsigned long size) {
        return e.block.size() == size && memcmp(e.block.data(), block, size) == 0;
    }

    std::mutex mutex_;
    size_t capacity_ = kDefaultCapacity;
    size_t bytes_ = 0, hits_ = 0, misses_ = 0;
    std::list<EntryPtr> order_;
    std::unordered_map<uint64_t, std::list<EntryPtr>::iterator> index_;
};

Memo& TheMemo() {
    static Memo* memo = new Memo;  // never destroyed: readers may run during exit
    return *memo;
}

}  // namespace

unsigned char* Find(const unsigned char* block, unsigned long size, unsigned long* bufferSize,
                    unsigned long* decoded) {
    const EntryPtr e = TheMemo().Find(block, size);
    if (!e) return nullptr;
    unsigned char* out = alloc::NewArray<unsigned char>(e->buffer.size());
    if (out == nullptr) return nullptr;
    memcpy(out, e->buffer.data(), e->buffer.size());
    *bufferSize = static_cast<unsigned long>(e->buffer.size());
    *decoded = e->decoded;
    return out;
}

void Store(const unsigned char* block, unsigned long size, const unsigned char* buffer,
           unsigned long bufferSize, unsigned long decoded) {
    TheMemo().Store(block, size, buffer, bufferSize, decoded);
}

void SetCapacity(size_t bytes) {
    TheMemo().SetCapacity(bytes);
}

bool Contains(const unsigned char* block, unsigned long size) {
    return TheMemo().Contains(block, size);
}

size_t Capacity() {
    return TheMemo().Capacity();
}

Stats GetStats() {
    return TheMemo().GetStats();
}

}  // namespace block_cache
}  // namespace codec
