// CSearchBaseDataProc: the base data of every POI ("BASE/B%03d.IDX", ".CNT", ".DAT"; one file
// per first reading character, records in reading order, 500 per compressed container).
// Turns POI ids into location records and lists genre-filtered ranges page by page. Holds one
// decoded container and a page bookmark between calls. One thread at a time per object.
#pragma once

#include <cstdint>
#include <memory>

#include "codec/MarlinDataProc.h"
#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "search/LocationData.h"
#include "search/SearchArrivalProc.h"

class SP_EXPORT CSearchBaseDataProc : public CCommonProc, public CMarlinDataProc {
public:
    CSearchBaseDataProc();
    virtual ~CSearchBaseDataProc();

    // Fills `out` (zeroed by the caller) with POI `id`, including its arrival point.
    bool SearchProc(CLocationData* out, unsigned long id);
    // Number of records of the range (firstId, count) that pass the genre filter (255 = any).
    // Resets the page bookmark.
    unsigned long GetRefinedTotal(unsigned long firstId, unsigned long count, unsigned long g1,
                                  unsigned long g2, unsigned long g3, unsigned long g4);
    // Fills out[0 .. listCount-1] with the matches listStart, listStart+1, ... of the range.
    bool GetList(CLocationData* out, unsigned long firstId, unsigned long count,
                 unsigned long listStart, unsigned long listCount, unsigned long g1,
                 unsigned long g2, unsigned long g3, unsigned long g4);

    // Index entry `rec` of file `fileNo`: genre codes into poi, data offset into *offset.
    bool LoadIndex(unsigned long* offset, CPoiData* poi, unsigned long fileNo, unsigned long rec);
    // The paged index scan behind GetList: record numbers, data offsets and genre codes of the
    // matches listStart .. listStart+listCount-1, steered by the page bookmark.
    bool LoadIndex(unsigned long* recs, unsigned long* offsets, CPoiData* poi, unsigned long fileNo,
                   unsigned long rangeStart, unsigned long rangeCount, unsigned long listStart,
                   unsigned long listCount, unsigned long g1, unsigned long g2, unsigned long g3,
                   unsigned long g4);
    // Start and size in the ".DAT" of the container holding record `rec`.
    bool LoadContainerOffset(unsigned long* start, unsigned long* size, unsigned long fileNo,
                             unsigned long rec);
    // Replaces the loaded container with the block of `size` bytes at `start`, decoded.
    bool LoadData(unsigned long fileNo, unsigned long start, unsigned long size);
    // Decodes the record at `offset` of the loaded container into poi.
    bool GetData(CPoiData* poi, unsigned long offset);
    // The single Shift_JIS byte `ch` as UTF-8 into out (at least 4 bytes).
    bool ConvInitial(unsigned char* out, unsigned long ch);
    // Releases the decoded container.
    void FlushBuf();
    // Decodes the containers that ids[0 .. n-1] lie in (other than the loaded one) on two
    // threads into the process-wide memo of decoded blocks, so that the look-ups that follow
    // find them there. Changes nothing else: every look-up still reads and checks its data.
    SP_LOCAL void PrefetchContainers(const unsigned long* ids, unsigned long n);

protected:
    CSearchArrivalProc m_Arrival;
    unsigned char* m_pContainer;     // decoded container, null when none
    unsigned long m_dwContainerLen;  // its decoded length
    uint32_t m_dwLoadedFile;         // file and container number of the loaded container,
    uint32_t m_dwLoadedContainer;    // 0x7fffffff when none
    // Page bookmark: the listing it belongs to and the match found at m_dwMarkRecord.
    uint32_t m_dwMarkStart;
    uint32_t m_dwMarkGenre1;
    uint32_t m_dwMarkGenre2;
    uint32_t m_dwMarkGenre3;
    uint32_t m_dwMarkGenre4;
    uint32_t m_dwMarkMatch;
    uint32_t m_dwMarkRecord;

private:
    SP_LOCAL void ResetBookmark();
    // The compressed block of `size` bytes at `start` of the ".DAT" of fileNo; null when the
    // file does not hold it or it cannot be read.
    SP_LOCAL std::unique_ptr<unsigned char[]> ReadBlock(unsigned long fileNo, unsigned long start,
                                                        unsigned long size);
    // Loads the container of (fileNo, rec) unless it is the one remembered as loaded.
    SP_LOCAL bool EnsureContainer(unsigned long fileNo, unsigned long rec);
};

namespace container_prefetch {
// Bench and test hook: turns PrefetchContainers on (the default) or off for the process.
SP_LOCAL void SetEnabled(bool on);
}  // namespace container_prefetch
