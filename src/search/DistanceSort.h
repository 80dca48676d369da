// The order of hits by distance from a point: distance ascending, equal distances by POI id
// ascending, both unsigned. One quicksort serves the kana refinement's list and the vicinity
// hits: the pivot one past the middle, Hoare partition into [lo, i-1] and [i, hi], and spans
// of at most `insertionSpan` (0: none) insertion-sorted from the back. The two parts are
// disjoint, so sorting the smaller one by recursion and looping on the larger gives the same
// order with a stack depth of log n. Internal; not exported.
#pragma once

#include <cstdint>

namespace distance_sort {

inline bool Before(uint32_t d1, uint32_t id1, uint32_t d2, uint32_t id2) {
    return d1 < d2 || (d1 == d2 && id1 < id2);
}

// Seq provides Elem, Load(i) (a copy), At(i) (a reference), Store(i, e), Swap(i, j), and
// Before(a, b) on its elements.

// A plain array of T, ordered by the members Dist and Id.
template <typename T, uint32_t T::*Dist, uint32_t T::*Id>
struct ArraySeq {
    using Elem = T;
    T* v;
    Elem Load(long i) const { return v[i]; }
    const Elem& At(long i) const { return v[i]; }
    void Store(long i, const Elem& e) { v[i] = e; }
    void Swap(long i, long j) {
        const T t = v[i];
        v[i] = v[j];
        v[j] = t;
    }
    static bool Before(const T& a, const T& b) {
        return distance_sort::Before(a.*Dist, a.*Id, b.*Dist, b.*Id);
    }
};

// Each element, taken out from hi - 1 down to lo, lets the following elements that are
// ordered before it move down one place.
template <typename Seq>
void InsertionSort(Seq& s, long lo, long hi) {
    for (long j = hi - 1; j >= lo; --j) {
        typename Seq::Elem e = s.Load(j);
        long k = j + 1;
        for (; k <= hi && s.Before(s.At(k), e); ++k) s.Store(k - 1, s.Load(k));
        s.Store(k - 1, e);
    }
}

template <typename Seq>
void QuickSort(Seq& s, long lo, long hi, long insertionSpan) {
    while (lo < hi) {
        if (hi - lo <= insertionSpan) {
            InsertionSort(s, lo, hi);
            return;
        }
        const typename Seq::Elem pivot = s.Load(lo + 1 + (hi - lo) / 2);
        long i = lo;
        long j = hi;
        for (;;) {
            // The pivot lies in the span, so neither scan can leave it; the bounds only guard
            // against an order that is not one.
            while (i < hi && s.Before(s.At(i), pivot)) ++i;
            while (j > lo && s.Before(pivot, s.At(j))) --j;
            if (j <= i) break;
            s.Swap(i, j);
            ++i;
            --j;
        }
        if (i <= lo) i = lo + 1;  // keeps progress should the order not be one
        if (i - lo < hi - i + 1) {
            QuickSort(s, lo, i - 1, insertionSpan);
            lo = i;
        } else {
            QuickSort(s, i, hi, insertionSpan);
            hi = i - 1;
        }
    }
}

}  // namespace distance_sort
