// Empties a CArrayData and gives its blocks back (count and capacity 0), which the array's own
// operations never do before destruction. Internal; not exported.
#pragma once

#include <new>

#include "search/ArrayData.h"

template <typename T>
void ReleaseAll(CArrayData<T>* array) {
    array->~CArrayData<T>();
    new (array) CArrayData<T>();
}
