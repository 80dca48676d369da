// Array allocation that never throws and never trusts a count: `new (std::nothrow) T[n]` still
// throws std::bad_array_new_length for counts no allocation can hold, so those are refused
// first. Internal; not exported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace alloc {

// The largest element count NewArray accepts for T (no byte size above PTRDIFF_MAX).
template <typename T>
constexpr uint64_t MaxCount() {
    return static_cast<uint64_t>(PTRDIFF_MAX) / sizeof(T);
}

// A default-initialised array of n elements, or null when n is too large or memory runs out.
template <typename T>
T* NewArray(uint64_t n) {
    if (n > MaxCount<T>()) return nullptr;
    return new (std::nothrow) T[static_cast<size_t>(n)];
}

}  // namespace alloc
