// CIconID: maps a POI's first three genre codes to the icon the host draws for it.
// Its row type is kept in a CArrayData; the lookup itself is built with the telephone search.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"

class SP_EXPORT CIconID {
public:
    // One row of the table: three genre codes and the icon id (6 bytes with padding).
    struct STRUCT_ICONID {
        uint8_t byGenre1;
        uint8_t byGenre2;
        uint8_t byGenre3;
        uint16_t wIconID;
    };
};
static_assert(sizeof(CIconID::STRUCT_ICONID) == 6, "icon rows are 6 bytes");
static_assert(offsetof(CIconID::STRUCT_ICONID, wIconID) == 4, "icon id follows one pad byte");
