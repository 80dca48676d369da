// CArrayData<T> and its four explicit instantiations.
#include "search/ArrayData.h"

#include "search/IconID.h"
#include "search/SearchAddressProc.h"
#include "search/SearchHomePhoneProc.h"

#include <cstring>
#include <new>

namespace {

constexpr unsigned long kBlockSize = 256;
constexpr unsigned long kMaxBlocks = 256;

// How a fresh block is prepared, per element type.
void PrepareBlock(CLocationData* block) {
    for (unsigned long i = 0; i < kBlockSize; ++i) block[i].FlushData();
}
void PrepareBlock(CHomePhoneOffsetData* block) {
    memset(static_cast<void*>(block), 0, sizeof(CHomePhoneOffsetData) * kBlockSize);
}
void PrepareBlock(CAddressData*) {}            // constructed by its own constructor
void PrepareBlock(CIconID::STRUCT_ICONID*) {}  // left uninitialised

}  // namespace

template <typename T>
CArrayData<T>::CArrayData() : dwCount(0), dwCapacity(0) {
    for (auto& b : m_pBlock) b = nullptr;
}

template <typename T>
CArrayData<T>::~CArrayData() {
    for (auto& b : m_pBlock) {
        delete[] b;  // destroys the 256 elements, last to first
        b = nullptr;
    }
}

template <typename T>
bool CArrayData<T>::Add(T* item) {
    if (item == nullptr) return false;
    if (dwCount < dwCapacity) {
        *Slot(dwCount) = *item;
        ++dwCount;
        return true;
    }
    unsigned long b = dwCount / kBlockSize;
    if (b >= kMaxBlocks || m_pBlock[b] != nullptr) return false;
    T* block = new (std::nothrow) T[kBlockSize];
    if (block == nullptr) return false;
    PrepareBlock(block);
    m_pBlock[b] = block;
    dwCapacity += kBlockSize;
    *Slot(dwCount) = *item;
    ++dwCount;
    return true;
}

template <typename T>
bool CArrayData<T>::GetAt(T* out, unsigned long i) {
    if (out == nullptr || dwCapacity == 0 || i >= dwCount) return false;
    *out = *Slot(i);
    return true;
}

template <typename T>
T* CArrayData<T>::GetAt(unsigned long i) {
    if (dwCapacity == 0 || i >= dwCount) return nullptr;
    return Slot(i);
}

template <typename T>
bool CArrayData<T>::SetAt(unsigned long i, T* item) {
    if (item == nullptr || i > dwCount || i >= dwCapacity) return false;
    *Slot(i) = *item;
    return true;
}

template <typename T>
bool CArrayData<T>::DeleteAt(unsigned long i) {
    if (i >= dwCount) return false;
    for (unsigned long k = i + 1; k < dwCount; ++k) *Slot(k - 1) = *Slot(k);
    --dwCount;
    return true;
}

template <typename T>
bool CArrayData<T>::Swap(unsigned long i, unsigned long j) {
    if (i >= dwCount || j >= dwCount) return false;
    T tmp;
    if (!GetAt(&tmp, i)) return false;
    T other;
    if (!GetAt(&other, j)) return false;
    if (!SetAt(i, &other)) return false;
    return SetAt(j, &tmp);
}

template <typename T>
unsigned long CArrayData<T>::GetCount() {
    return dwCount;
}

template <typename T>
void CArrayData<T>::RemoveAll() {
    dwCount = 0;
}

template class CArrayData<CLocationData>;
template class CArrayData<CHomePhoneOffsetData>;
template class CArrayData<CAddressData>;
template class CArrayData<CIconID::STRUCT_ICONID>;
