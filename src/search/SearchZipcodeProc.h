// CSearchZipcodeProc: postal code to coordinate, from the plain tables "ZIPCODE/Z.DAT"
// (ordinary codes) and "ZIPCODE/CZ.DAT" (company codes), 9-byte records sorted by code.
// Files are opened and closed within every call. One thread at a time per object.
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "search/LocationData.h"

class SP_EXPORT CSearchZipcodeProc : public CCommonProc {
public:
    CSearchZipcodeProc();
    virtual ~CSearchZipcodeProc();

    // Looks the code up among the ordinary codes, then the company codes. A code below 1000 is
    // a three-digit code, searched as code * 10000. On a hit the record receives the code
    // (dwTelAux) and the coordinate (lLon, lLat) and nothing else; 1 on a hit, 0 otherwise.
    int GetData(CLocationData* out, unsigned long code);
    // The same for a text of 3 or 7 characters (only the first 7 are read); other lengths and
    // texts beginning with "000" give 0.
    int GetData(CLocationData* out, unsigned char* text);

    // The look-up in one table: 1 on a hit, 0 on a miss, a missing or empty file or a read
    // error. The record is touched only on a hit.
    unsigned long LoadData(CLocationData* out, unsigned long code);
    unsigned long LoadCompanyData(CLocationData* out, unsigned long code);
};
