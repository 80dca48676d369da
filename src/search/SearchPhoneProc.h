// CSearchPhoneProc: the one telephone search of the host. Tries the POI index, the company
// directory, the household directory and the area points in that order, and lists from the one
// that answered. Each base keeps its own files and buffers. One thread at a time per object.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/LocationData.h"
#include "search/SearchHomePhoneProc.h"
#include "search/SearchTelephoneProc.h"

class SP_EXPORT CSearchPhoneProc : public CSearchTelephoneProc, public CSearchHomePhoneProc {
public:
    CSearchPhoneProc();
    virtual ~CSearchPhoneProc();

    // Runs the cascade. *kind: 0 none, 1 POI, 2 company, 3 household, 4 area point; *count the
    // count of the step that answered. False when a step fails (kind then left unwritten).
    bool SearchPhoneProc(unsigned long* kind, unsigned long* count, unsigned char* number);
    // The household records whose name reading equals `reading`.
    bool CheckKanaProc(unsigned long* count, unsigned char* reading);
    // Lists from the directory that answered (kind 4: the one area point, start and count
    // ignored); false for kind 0.
    bool GetList(CLocationData* out, unsigned long start, unsigned long count);

protected:
    uint32_t m_dwKind;
};
