// CSearchHomePhoneProc: places by telephone number in the household ("H") and company ("CP")
// directories of "HOMEPHONE": "%s%03d.idx" (6-byte entries of key and record offset, sorted by
// key; entry i in container i / 1000), "%s%03d.cnt" (3-byte container offsets) and "%s%03d.dat"
// (compressed containers of reading, text, position and flags). A company number lists every
// entry; a household number gives only a count until CheckProc matches the name reading.
// One thread at a time per object.
#pragma once

#include <cstdint>

#include "codec/MarlinDataProc.h"
#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"

// One hit: the index entry number and the record offset taken from that entry.
struct SP_EXPORT CHomePhoneOffsetData {
    uint32_t dwEntry;
    uint32_t dwOffset;
};
static_assert(sizeof(CHomePhoneOffsetData) == 8, "two words");

class SP_EXPORT CSearchHomePhoneProc : public CCommonProc, public CMarlinDataProc {
public:
    CSearchHomePhoneProc();
    virtual ~CSearchHomePhoneProc();

    // Household index search; *count = number of index hits (no records yet).
    bool SearchHomeProc(unsigned long* count, unsigned char* number);
    // Records of the household hits whose reading equals `reading`; *count = their number.
    bool CheckProc(unsigned long* count, unsigned char* reading);
    // Company search: a record for every hit; *count = their number.
    bool SearchCompanyProc(unsigned long* count, unsigned char* number);
    // Copies records start .. start+count-1 (fewer when the list ends); false when none exist.
    bool GetList(CLocationData* out, unsigned long start, unsigned long count);

    // kind 2: company files ("CP"); any other kind: household files ("H").
    bool LoadIndex(CArrayData<CHomePhoneOffsetData>* hits, unsigned long kind);
    bool LoadContainerOffset(unsigned long* start, unsigned long* size, unsigned long kind,
                             unsigned long entry);
    bool LoadData(unsigned long kind, unsigned long start, unsigned long size);
    // Appends the record at `offset` of the loaded container (company form).
    bool GetData(CArrayData<CLocationData>* results, unsigned long offset);
    // Appends it only when its reading equals `reading` (household form).
    bool GetData(CArrayData<CLocationData>* results, unsigned long offset, unsigned char* reading);
    // Releases the decoded container.
    void FlushBuf();

protected:
    unsigned char* m_pContainer;     // decoded container, null when none
    unsigned long m_dwContainerLen;  // its decoded length
    CArrayData<CHomePhoneOffsetData> m_Hits;
    CArrayData<CLocationData> m_Results;
    uint32_t m_dwKey;       // key of the last number
    uint32_t m_dwSelector;  // its file selector
};
