// CSearchVicinityPrefDataProc: a prefecture and the three the data lists with it, with their
// names in UTF-8, from the plain table "VICINITYPREF/VP.DAT" (47 rows of 36 bytes, row r for
// the iPC prefecture id r + 1). The file is opened and closed within every call. One thread at
// a time per object.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Four prefectures: ids in the device scheme (0-46), names in UTF-8, NUL-terminated.
struct SP_EXPORT PREF_DATA {
    uint32_t dwID[4];
    char szName[4][15];
};
static_assert(offsetof(PREF_DATA, szName) == 16 && sizeof(PREF_DATA) == 76,
              "PREF_DATA: four ids, then four 15-byte names");

class SP_EXPORT CSearchVicinityPrefDataProc : public CCommonProc {
public:
    CSearchVicinityPrefDataProc();
    virtual ~CSearchVicinityPrefDataProc();

    // By device prefecture id (0-46): the first row whose own prefecture is `id`. 1 on success;
    // 0 for an id above 46, an id in no row, or a file missing or shorter than one row.
    unsigned long GetListByVelaID(PREF_DATA* out, unsigned long id);
    // By iPC prefecture id (1-47): row id - 1. 1 on success; 0 for an id outside 1-47 or a file
    // missing, shorter than one row or without that row.
    unsigned long GetListByiPCID(PREF_DATA* out, unsigned long id);
};
