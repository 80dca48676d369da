// The counting operator new and delete. They live in the same object file as HeapLive(), so
// only programs that ask for the counts link them in.
#include "common/HeapCounter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<size_t> g_live{0};
std::atomic<size_t> g_peak{0};

void* Take(size_t n) {
    void* p = malloc(n == 0 ? 1 : n);
    if (p == nullptr) return nullptr;
    const size_t live =
        g_live.fetch_add(malloc_usable_size(p), std::memory_order_relaxed) + malloc_usable_size(p);
    size_t peak = g_peak.load(std::memory_order_relaxed);
    while (live > peak && !g_peak.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
    return p;
}

void Give(void* p) {
    if (p == nullptr) return;
    g_live.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
    free(p);
}

}  // namespace

void* operator new(size_t n) {
    if (void* p = Take(n)) return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) {
    if (void* p = Take(n)) return p;
    throw std::bad_alloc();
}
void* operator new(size_t n, const std::nothrow_t&) noexcept {
    return Take(n);
}
void* operator new[](size_t n, const std::nothrow_t&) noexcept {
    return Take(n);
}
void operator delete(void* p) noexcept {
    Give(p);
}
void operator delete[](void* p) noexcept {
    Give(p);
}
void operator delete(void* p, size_t) noexcept {
    Give(p);
}
void operator delete[](void* p, size_t) noexcept {
    Give(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    Give(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    Give(p);
}

namespace benchdb {

size_t HeapLive() {
    return g_live.load(std::memory_order_relaxed);
}
size_t HeapPeak() {
    return g_peak.load(std::memory_order_relaxed);
}
void ResetHeapPeak() {
    g_peak.store(HeapLive(), std::memory_order_relaxed);
}

}  // namespace benchdb
