// Household and company telephone search: the element of its hit list.
#pragma once

#include <cstdint>

#include "foundation/Export.h"

// One hit: the index entry number and the record offset taken from that entry.
struct SP_EXPORT CHomePhoneOffsetData {
    uint32_t dwEntry;
    uint32_t dwOffset;
};
static_assert(sizeof(CHomePhoneOffsetData) == 8, "two words");
