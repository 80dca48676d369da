// CSearchKanaProcMA: the kana reading search listing through the offset files of the first
// character ("K%03d.ofs": id, genre codes, flags; "K2%03d.ofs": id, three genre bytes,
// position), filtered by genre into an id list or a list sorted by distance from a point.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"
#include "geo/DistanceProc.h"
#include "search/LocationData.h"
#include "search/SearchKanaProc.h"

// Element of the sortable list.
struct SP_EXPORT CPOIIndexData {
    uint32_t dwID;  // POI id, 0x7fffffff = empty
    uint32_t lLat;  // milliseconds of arc
    uint32_t lLon;
    uint32_t dwDistance;  // ordering key from DistanceSortList
};
static_assert(sizeof(CPOIIndexData) == 16 && offsetof(CPOIIndexData, dwDistance) == 12,
              "CPOIIndexData is four words");

// One thread at a time per object; objects are independent. Reads the settings globals.
class SP_EXPORT CSearchKanaProcMA : public CSearchKanaProc {
public:
    CSearchKanaProcMA();
    virtual ~CSearchKanaProcMA();

    // Remembers the reading's first byte (it selects the offset files), then searches as
    // CSearchKanaProc does.
    unsigned long SearchProc(unsigned long* count, unsigned char* reading);
    // Keeps the ids of the run's offset entries that pass the genre filter (255 = any) as the
    // id list; their number, 0 when the files are missing.
    unsigned long GetRefinedTotal(unsigned long g1, unsigned long g2, unsigned long g3,
                                  unsigned long g4);
    // As above, further narrowed: `flags` are attribute flag bits the entry's flag byte must
    // all have (0: no condition), and `text1` and `text2` (Shift_JIS, null or empty: no
    // condition) must each occur, whole characters, in one of the strings of the POI's text
    // (name first) as the base data holds it. POIs the base data cannot give do not count
    // when a text is given.
    unsigned long GetRefinedTotal(unsigned long g1, unsigned long g2, unsigned long g3,
                                  unsigned long g4, unsigned long flags, unsigned char* text1,
                                  unsigned char* text2);
    // Keeps the run's position entries that pass the three-level filter as the sortable list.
    unsigned long GetRefinedSortTotal(unsigned long g1, unsigned long g2, unsigned long g3);
    // Cuts the sortable list to its first `keep` entries (file order), then sorts them by
    // distance from (lat, lon), equal distances by POI id.
    void DistanceSortList(unsigned long keep, int lat, int lon);
    // Records of ids start .. start+count-1 of the id list, respectively the sortable list.
    bool GetList(CLocationData* out, unsigned long start, unsigned long count);
    bool GetSortList(CLocationData* out, unsigned long start, unsigned long count);
    // Copies ids start .. start+count-1 of the id list (LoadOffset) or the sortable list
    // (LoadOffset2), stopping at the end of the list; always true.
    bool LoadOffset(unsigned long* ids, unsigned long start, unsigned long count);
    bool LoadOffset2(unsigned long* ids, unsigned long start, unsigned long count);
    // Position of sortable entry i; false and zeros beyond the list.
    bool GetOffsetDataLatLng(int* lat, int* lon, unsigned long i);
    // Adds to *mask bit k for every genre code k of the next level that has entries in the
    // run under the given levels (255 = not chosen).
    bool IsGenreEnabled(unsigned long* mask, unsigned long g1, unsigned long g2, unsigned long g3);
    // Quicksort of list[lo..hi] by distance, then id.
    void SortDistanceSub(CPOIIndexData* list, long lo, long hi);

protected:
    CDistanceProc m_Distance;
    uint32_t m_dwListCount;      // entries of the list built last (shared by both lists)
    uint32_t* m_pIdList;         // from GetRefinedTotal
    uint32_t m_dwIdListSize;     // its allocated entries
    CPOIIndexData* m_pSortList;  // from GetRefinedSortTotal
    uint32_t m_dwSortListSize;   // its allocated entries
    unsigned char m_byFirst;     // first byte of the last reading

private:
    // Opens the offset file (`format`) of the remembered first byte and reads the run's
    // entries into a new buffer (*out, array delete); the number of whole entries read, or
    // -1 when the file is missing or shorter than one entry.
    SP_LOCAL long ReadRun(const char* format, unsigned long entrySize, unsigned char** out);
    SP_LOCAL bool ListRecords(CLocationData* out, unsigned long start, unsigned long count,
                              bool sorted);
    SP_LOCAL void ReleaseIdList();
};
