// CArrayData<T>: the result list of the searches. Up to 256 blocks of 256 elements, allocated
// on demand and never moved or freed before destruction, so at most 65,536 elements.
// Instantiated (in ArrayData.cpp) for CLocationData, CHomePhoneOffsetData, CAddressData and
// CIconID::STRUCT_ICONID; headers of those types include this one.
// One thread at a time per array.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/LocationData.h"

template <typename T>
class SP_EXPORT CArrayData {
public:
    CArrayData();
    virtual ~CArrayData();

    // Appends a copy; fails past 65,536 elements or when a block cannot be allocated.
    bool Add(T* item);
    // Copies element i out; fails unless i < dwCount.
    bool GetAt(T* out, unsigned long i);
    // Element i in place, null unless i < dwCount (the icon-id form).
    T* GetAt(unsigned long i);
    // Overwrites element i; i == dwCount is accepted when that slot is allocated (deliberate:
    // the icon-id Add stores through it) and leaves dwCount unchanged.
    bool SetAt(unsigned long i, T* item);
    // Moves the elements after i down by one; the last slot keeps its old contents.
    bool DeleteAt(unsigned long i);
    bool Swap(unsigned long i, unsigned long j);
    // Number of elements in use.
    unsigned long GetCount();
    // Empties the list; blocks stay allocated for reuse.
    void RemoveAll();

    T* m_pBlock[256];
    uint32_t dwCount;
    uint32_t dwCapacity;

private:
    T* Slot(unsigned long i) { return &m_pBlock[i >> 8][i & 0xFF]; }
};
