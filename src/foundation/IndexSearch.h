// The binary search over fixed-size index entries that the data sets share: lo = 0, hi = n, one
// entry read per probe, the next probe halfway to the bound on the side of the key, and the key
// absent when the next probe equals the current one or an entry cannot be read. Where a data
// set's probe rule differs, the rule is a parameter, not a second copy; the picture indexes,
// whose loop tests its bounds after each probe, use the closed-range form FindClosed.
// Internal; not exported.
#pragma once

#include <cstdint>

namespace index_search {

// Outcome of one probe: how the key compares with the entry read, or that it could not be read.
enum class Probe { kKeyLess, kFound, kKeyGreater, kUnreadable };

// The common probe rule: start at n / 2, then halfway to the bound on the key's side.
struct HalfwayRule {
    static uint64_t First(uint64_t n) { return n / 2; }
    static uint64_t Up(uint64_t mid, uint64_t hi) { return (mid + hi) / 2; }
    static uint64_t Down(uint64_t mid, uint64_t lo) { return (mid + lo) / 2; }
};

struct Result {
    bool found;
    uint64_t index;  // the entry found, or the last one probed
};

// Searches n entries; `probe(i)` reads entry i and compares the key with it. An empty index is
// not probed.
template <typename ProbeFn, typename Rule = HalfwayRule>
Result Find(uint64_t n, ProbeFn probe) {
    if (n == 0) return {false, 0};
    uint64_t lo = 0;
    uint64_t hi = n;
    uint64_t mid = Rule::First(n);
    for (;;) {
        const Probe p = probe(mid);
        if (p == Probe::kFound) return {true, mid};
        if (p == Probe::kUnreadable) return {false, mid};
        uint64_t next;
        if (p == Probe::kKeyGreater) {
            next = Rule::Up(mid, hi);
            if (next == mid) return {false, mid};
            lo = mid;
        } else {
            next = Rule::Down(mid, lo);
            if (next == mid) return {false, mid};
            hi = mid;
        }
        mid = next;
    }
}

// The closed-range form: signed bounds lo = 0, hi = n - 1, mid = (lo + hi) / 2 rounded toward
// zero, the bounds moved past mid, and the key absent after a miss probed with lo >= hi. Testing
// after the probe means a key below entry 0 probes entry 0 twice (hi = -1, mid = 0 again); the
// picture indexes search this way and their readers must read exactly these entries.
template <typename ProbeFn>
Result FindClosed(uint64_t n, ProbeFn probe) {
    if (n == 0) return {false, 0};
    int64_t lo = 0;
    int64_t hi = static_cast<int64_t>(n - 1);  // counts come from file sizes, far below 2^63
    for (;;) {
        const int64_t mid = (lo + hi) / 2;  // lo >= 0 and hi >= -1: never negative
        const Probe p = probe(static_cast<uint64_t>(mid));
        if (p == Probe::kFound) return {true, static_cast<uint64_t>(mid)};
        if (p == Probe::kUnreadable || lo >= hi) return {false, static_cast<uint64_t>(mid)};
        if (p == Probe::kKeyGreater) {
            lo = mid + 1;
        } else {
            hi = mid - 1;
        }
    }
}

// Turns a three-way comparison of key and entry into a probe outcome.
inline Probe FromCompare(int keyMinusEntry) {
    return keyMinusEntry == 0  ? Probe::kFound
           : keyMinusEntry < 0 ? Probe::kKeyLess
                               : Probe::kKeyGreater;
}

}  // namespace index_search
