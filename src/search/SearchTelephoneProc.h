// CSearchTelephoneProc: POIs of the base data by their full telephone number
// ("TELEPHONE/T%03d.idx": 8-byte entries of key and POI id, sorted by key), and, for numbers no
// POI carries, the point of the number's area ("PHONEPOINT/PP%03d.dat": 9-byte entries of a
// 24-bit prefix key and a position). Results are completed through the base data, ordered by
// icon, merged where they are one facility listed twice, then ordered by POI id.
// One thread at a time per object.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

class SP_EXPORT CSearchTelephoneProc : public CSearchBaseDataProc {
public:
    CSearchTelephoneProc();
    virtual ~CSearchTelephoneProc();

    // POI search; *count = number of results. A number that no file can hold gives true, 0.
    bool SearchProc(unsigned long* count, unsigned char* number);
    // Area point search; *count = 1 when the number's prefix is known, else 0.
    bool SearchAreaProc(unsigned long* count, unsigned char* number);
    // Copies results start .. start+count-1 (fewer when the list ends), each completed through
    // the base data; stops at the first lookup that fails. Always true.
    bool GetList(CLocationData* out, unsigned long start, unsigned long count);
    // Copies the area point when there is one. Always true.
    bool GetAreaData(CLocationData* out);

    // Byte position of the first index entry whose key is not less than `key`, or -1.
    long GetSearchPoint(unsigned long key);
    // Appends a result (only dwRefID set) for every entry with `key` from `position` on.
    bool SearchData(CArrayData<CLocationData>* results, unsigned long key, long position);
    // The POI id of index entry `entry` of the open index into *id.
    bool GetID(unsigned long* id, unsigned long entry, unsigned long reserved);
    // Comb sorts of the first n results: by POI id; by icon id, genre codes 2-4, POI id.
    void DataSortPOIID(int n);
    void DataSortIconID(int n);
    // Empties the result list and sets the count to 0.
    void FlushBuf();

protected:
    CArrayData<CLocationData> m_Results;
    uint32_t m_dwCount;
};
