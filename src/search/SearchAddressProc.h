// Address hierarchy search: the address item record, a location record with four more fields.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/LocationData.h"

class SP_EXPORT CAddressData : public CLocationData {
public:
    // Clears everything; child start becomes 0x3fffffff (no children).
    CAddressData();
    ~CAddressData();

    uint32_t dwBlockStart;  // first record of the 500-record block the item came from
    uint32_t dwChildCount;  // items in its child list
    uint32_t dwChildStart;  // first child in the next level; 0x3fffffff for a leaf
    uint32_t dwListPos;     // position in the list it was chosen from
};
static_assert(sizeof(CAddressData) == 484, "121 words");
