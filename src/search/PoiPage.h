// A page of POI ids turned into location records through the base POI data: the id slots
// start empty, the caller's records zeroed, and the look-ups run in order until the first
// empty slot. Shared by the searches that list ids (genre, kana refinement, vicinity).
// Internal; not exported.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/Alloc.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

namespace poi_page {

constexpr unsigned long kEmpty = 0x7fffffff;  // an id slot that holds no POI

// `count` id slots, all empty, with the caller's `count` records zeroed. ok() is false when
// the slots cannot be allocated (then the records are left as they were).
class IdPage {
public:
    IdPage(CLocationData* out, unsigned long count)
        : ids_(alloc::NewArray<unsigned long>(count)), count_(count) {
        if (!ids_) return;
        for (unsigned long i = 0; i < count; ++i) {
            ids_[i] = kEmpty;
            out[i].FlushData();
        }
    }
    bool ok() const { return ids_ != nullptr; }
    unsigned long* ids() { return ids_.get(); }
    unsigned long count() const { return count_; }

private:
    std::unique_ptr<unsigned long[]> ids_;
    unsigned long count_;
};

// Looks ids[0 .. n-1] up into out[0 .. n-1], in order; with `stopAtEmpty` the first empty
// slot ends the page. `each(i, found)` runs after every look-up and says whether to go on.
// False when it said stop.
template <typename Each>
bool Fill(CSearchBaseDataProc* base, CLocationData* out, const unsigned long* ids, unsigned long n,
          bool stopAtEmpty, Each each) {
    unsigned long used = n;
    if (stopAtEmpty) {
        for (used = 0; used < n && ids[used] != kEmpty;) ++used;
    }
    base->PrefetchContainers(ids, used);
    for (unsigned long i = 0; i < n; ++i) {
        if (stopAtEmpty && ids[i] == kEmpty) break;
        if (!each(i, base->SearchProc(&out[i], ids[i]))) return false;
    }
    return true;
}

}  // namespace poi_page
