// CSearchGenreProc: POIs by five-level genre key, from the pack folder "GENRE": a sorted index
// "G%03d.idx" (12-byte entries) per level-1 key that yields a run of POI ids in "G%03d.ofs".
// The folder is opened and closed within every call; only the run is kept between calls.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

// One thread at a time per object; objects are independent. Reads the settings globals.
class SP_EXPORT CSearchGenreProc : public CSearchBaseDataProc {
public:
    CSearchGenreProc();
    virtual ~CSearchGenreProc();

    // Looks the key up (255 = all; key4 = 255 forces key5 = 255). 1 when an index entry
    // matches, else 0. *count always receives the stored run count, so after a miss it
    // repeats the previous search's count.
    unsigned long SearchProc(unsigned long* count, unsigned long key1, unsigned long key2,
                             unsigned long key3, unsigned long key4, unsigned long key5);
    // Records of run positions start .. start+count-1 (each dwRsv = the effective level 5);
    // records past the run stay cleared. 1 on success.
    unsigned long GetList(CLocationData* out, unsigned long start, unsigned long count);
    // POI ids of run positions start .. start+count-1 into ids; 0x7fffffff past the run.
    unsigned long GetID(unsigned long* ids, unsigned long start, unsigned long count);

    // Binary search of the index of key1 for the whole key; 1 with the entry's run.
    unsigned long LoadIndex(unsigned long* runStart, unsigned long* runCount, unsigned long key1,
                            unsigned long key2, unsigned long key3, unsigned long key4,
                            unsigned long key5);
    // Reads run positions start .. start+count-1 of the offset file of key1 into ids.
    unsigned long LoadOffset(unsigned long* ids, unsigned long key1, unsigned long runStart,
                             unsigned long runCount, unsigned long start, unsigned long count);

protected:
    uint32_t m_dwRunStart;  // first id of the run, in 4-byte units after the file header
    uint32_t m_dwRunCount;
    uint32_t m_dwKey1;  // last searched levels 1, 4 and (effective) 5
    uint32_t m_dwKey4;
    uint32_t m_dwKey5;

private:
    // Opens "GENRE" (database, then SD) and selects the packed file `prefix`+key1; on failure
    // nothing stays open.
    SP_LOCAL bool OpenGenreFile(const char* ext, unsigned long key1);
};
