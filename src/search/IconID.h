// CIconID: maps a POI's genre codes 1-3 to the icon the host draws for it. The table comes from
// "GENRE/GENREDATA.DAT" (a 16-byte header, then 80-byte genre records: codes at bytes 72-74, the
// icon id at 78-79), is sorted once by the three codes and looked up by binary search.
// One thread at a time per object.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"
#include "search/ArrayData.h"

class SP_EXPORT CIconID {
public:
    // One row of the table: three genre codes and the icon id (6 bytes with padding).
    struct STRUCT_ICONID {
        uint8_t byGenre1;
        uint8_t byGenre2;
        uint8_t byGenre3;
        uint16_t wIconID;
    };

    CIconID();
    virtual ~CIconID();

    // (Re)builds the table from dbPath's GENREDATA.DAT, else (SD enabled) sdPath's; false when
    // the database is disabled or neither file opens.
    bool LoadIconIDData(char* dbPath, char* sdPath);
    // The same with the database and SD paths of the settings.
    bool LoadIconIDData();
    // Icon id of the row with these codes; 0 when there is none.
    unsigned long GetGUIIconID(unsigned char code1, unsigned char code2, unsigned char code3);
    // Empties the table and releases its blocks.
    void ClearIconIDData();
    // -1, 0 or 1 by (code 1, code 2, code 3), unsigned.
    int IDComp(STRUCT_ICONID* a, STRUCT_ICONID* b);
    // Quicksort of rows lo .. hi (the pivot is the upper middle row).
    void QSort(int lo, int hi);

protected:
    CArrayData<STRUCT_ICONID> m_Table;
};
static_assert(sizeof(CIconID::STRUCT_ICONID) == 6, "icon rows are 6 bytes");
static_assert(offsetof(CIconID::STRUCT_ICONID, wIconID) == 4, "icon id follows one pad byte");
