// Location and POI records: zeroing and the visible-part copy.
#include "search/LocationData.h"

#include <cstring>

namespace {

constexpr size_t kTextSize = sizeof(CLocationData::szName);

// Zeroes the fields from dwID through bDisable; the records hold nothing else.
template <typename T>
void ZeroFields(T* r) {
    memset(reinterpret_cast<unsigned char*>(r) + offsetof(T, dwID), 0,
           offsetof(T, bDisable) + 1 - offsetof(T, dwID));
}

// Length of a string list up to and including the two NULs that end it (the whole area when
// no end is found).
size_t StringListLength(const char* text) {
    for (size_t i = 0; i + 1 < kTextSize; ++i) {
        if (text[i] == 0 && text[i + 1] == 0) return i + 2;
    }
    return kTextSize;
}

}  // namespace

CLocationData::CLocationData() { FlushData(); }
CLocationData::~CLocationData() {}
void CLocationData::FlushData() { ZeroFields(this); }

CPoiData::CPoiData() { FlushData(); }
CPoiData::~CPoiData() {}
void CPoiData::FlushData() { ZeroFields(this); }

bool CPoiData::CopyData(CLocationData* dst) {
    if (dst == nullptr) return false;
    dst->dwGenre1 = dwGenre1;
    dst->dwGenre2 = dwGenre2;
    dst->dwGenre3 = dwGenre3;
    dst->dwGenre4 = dwGenre4;
    const bool usable = bDisable == 0 && lLon != 0 && lLat != 0;
    if (usable) {
        memcpy(dst->szName, szName, StringListLength(szName));
    } else {
        memset(dst->szName, 0, 8);  // an empty name
    }
    dst->dwTelNo = dwTelNo;
    dst->lLon = lLon;
    dst->lLat = lLat;
    dst->lArrLon = lArrLon;
    dst->lArrLat = lArrLat;
    dst->bDisable = bDisable;
    dst->dwAttr = dwAttr;
    return usable;
}
