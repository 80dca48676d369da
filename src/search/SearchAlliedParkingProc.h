// CSearchAlliedParkingProc: the allied car parks of a facility, from the plain file
// "PARKING/TK.DAT" (8-byte pairs of facility and parking POI id, sorted by facility id); the
// car parks are listed as full records through the base data. The file is opened and closed
// within every call. One thread at a time per object.
#pragma once

#include "foundation/Export.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

class SP_EXPORT CSearchAlliedParkingProc : public CSearchBaseDataProc {
public:
    CSearchAlliedParkingProc();
    virtual ~CSearchAlliedParkingProc();

    // Collects the parking ids of facility `poiId` in file order; *count = their number.
    // 0 (count 0) when the file cannot be opened or read; 1 otherwise, also for no car park.
    unsigned long SearchProc(unsigned long* count, unsigned long poiId);
    // Clears out[0 .. count-1], then fills the records of collected car parks start ..
    // start+count-1 (fewer when the list ends) from the base data. 0 when start is not inside
    // the list or a base-data look-up fails (the records before it stay filled); else 1.
    unsigned long GetList(CLocationData* out, unsigned long start, unsigned long count);

protected:
    CArrayData<CLocationData> m_List;  // one record per car park, its id in dwRefID
    CArrayData<CLocationData>* m_pList;
};
