// CSearchArrivalProc: the arrival points of a POI (where a route should end), from the plain
// files "ARRIVAL/ARV.IDX" (sorted by POI id and point number) and "ARRIVAL/ARV.DAT".
// Files are opened and closed within every call. One thread at a time per object.
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"

class SP_EXPORT CSearchArrivalProc : public CCommonProc {
public:
    CSearchArrivalProc();
    virtual ~CSearchArrivalProc();

    // Collects every arrival point of the POI, numbered 1, 2, ... until the first gap.
    // 0 when the files are missing; otherwise 1, with *count set to the number found.
    unsigned long SearchProc(unsigned long* count, unsigned long poiId);
    // Copies collected points start .. start+count-1. 0 when count is 0, nothing is left to
    // copy or the list runs out before count points; 1 otherwise.
    unsigned long GetList(CLocationData* out, unsigned long start, unsigned long count);
    // Puts the first arrival point of each record's POI (dwID) into the record; stops at the
    // first POI without one.
    unsigned long GetData(CLocationData* records, unsigned long n);

    // Finds point `number` of the POI: 1 with *offset set to its record offset, or to -1 when
    // there is none (or a short read); 0 when the index cannot be opened or is empty.
    unsigned long LoadIndex(int* offset, unsigned long poiId, unsigned long number);
    // Reads the record at `offset` into `record`: name when the record has none, arrival
    // coordinates (and the record's own when it has none), attribute byte.
    unsigned long LoadData(CLocationData* record, int offset);

protected:
    CArrayData<CLocationData> m_List;
    CArrayData<CLocationData>* m_pList;
};
