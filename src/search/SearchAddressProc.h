// CSearchAddressProc: an address chosen level by level, prefecture (level 0) down to house
// number (level 7), from "ADDRESS": the prefecture list "A/A.dat" (one compressed block) and per
// prefecture and level "A%02d/A%02d-%d.dat" with its block table ".cnt" (blocks of 500 records).
// Only one block is decoded at a time; every call opens the pack folder and closes it again.
// One thread at a time per object; objects are independent.
#pragma once

#include <cstdint>

#include "codec/MarlinDataProc.h"
#include "foundation/CommonProc.h"
#include "foundation/Export.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"

class SP_EXPORT CAddressData : public CLocationData {
public:
    // Clears everything; child start becomes 0x3fffffff (no children).
    CAddressData();
    ~CAddressData();

    // Reads one decoded record of a level-`level` file from `data`: child start, child count,
    // the kana character (levels 0-2), the name up to 0x0A and the position. A childless city
    // of level 1 ("...市") is named as its representative point ("...市代表地点"). Returns the
    // record's length.
    unsigned long SetData(unsigned char* data, unsigned long level);
    // The same with at most `size` bytes available (the library's readers): 0 when the record
    // runs past them.
    SP_LOCAL unsigned long SetDataWithin(unsigned char* data, unsigned long level,
                                         unsigned long size);

    uint32_t dwBlockStart;  // first record of the 500-record block the item came from
    uint32_t dwChildCount;  // items in its child list
    uint32_t dwChildStart;  // first child in the next level; 0x3fffffff for a leaf
    uint32_t dwListPos;     // position in the list it was chosen from
};
static_assert(sizeof(CAddressData) == 484, "121 words");

class SP_EXPORT CSearchAddressProc : public CCommonProc, public CMarlinDataProc {
public:
    CSearchAddressProc();
    virtual ~CSearchAddressProc();

    // Allocates the 500-record cache and loads the prefecture list; its count. 0 when the
    // cache cannot be allocated or the list cannot be read.
    int InitProc(unsigned long* count);
    // Back to level 0 with the prefecture list (at most 47 items); its count, 0 on failure. The
    // path is left as it is (InitProc starts a new one).
    int SearchPrefProc();
    // Chooses the item at `position` and goes down: the new list's count (also in *count),
    // 0x3fffffff for a leaf (the address is complete; *count untouched), 0 on failure. An
    // item with children in a level-7 list joins the path, and the call fails (no level 8).
    unsigned long SearchNextProc(unsigned long* count, unsigned long position);
    // As SearchNextProc for the first item whose name starts with the decimal text of `number`
    // (the first five bytes compared); 0 when none does.
    unsigned long SearchNumberProc(unsigned long* count, long number);
    // One level up (from levels 1-7 only): the reloaded list's count, and in *position the list
    // position of the item left.
    unsigned long BackToPrevProc(unsigned long* count, unsigned long* position);
    // Fills `count` location records (cleared first) with list items from `start`: name, kana
    // character, position and the enabled flag, which a genre refinement (genre1 != 255) may
    // clear at levels 0 and 1. 1, or 0 when the working array cannot be allocated.
    unsigned long GetList(CLocationData* out, unsigned long start, unsigned long count,
                          unsigned long genre1, unsigned long genre2, unsigned long genre3);
    // Copies up to `count` (at most 500) list items from `start`; how many were copied.
    unsigned long GetData(CAddressData* out, unsigned long start, unsigned long count);
    // The chosen path as one Shift_JIS text ended by two NULs, a "-" between a name ending in
    // a digit and one starting with one. 1, or 0 (empty text) when nothing is chosen. The text
    // needs at most 383 bytes per chosen item plus 2.
    unsigned long GetCurrentAddress(unsigned char* text);
    // The same text in UTF-8 (each Shift_JIS character becomes at most 3 bytes).
    unsigned long GetCurrentAddressUni(char* text);
    // Position of the last chosen item in milliseconds of arc; 0 and zeros when none.
    unsigned long GetCurrentCoordinate(unsigned long* lng, unsigned long* lat);
    // The same in 1/256 arc-second (divided by 3.90625, truncated).
    unsigned long GetCurrentCoordinate256(unsigned long* lng, unsigned long* lat);
    unsigned long GetCurrentLevel();
    // List position of the first item of kana row 0-9 (あ..わ); 0x3fffffff when the row is
    // empty, 0 for a row above 9.
    unsigned long GetKanaIndex(unsigned long row);
    unsigned long GetNextID(unsigned long id);
    unsigned long GetListID(unsigned long id);
    // 1 when the name of the list item at `position` is a plain decimal number.
    unsigned long IsAddressNumbered(unsigned long position);
    // 1 below level 3; deeper, 1 unless the first item is numbered.
    unsigned long IsListEnabled();
    // 0 below level 3; deeper, whether the last item is numbered.
    unsigned long IsNumberEnabled();
    // Frees the cache and the path; counts and positions back to zero.
    void FlushBuf();

    // Counts the list of `count` items from file index `start` of the level file and fills the
    // kana index; the count, 0 on failure.
    unsigned long LoadData(unsigned long prefecture, unsigned long level, unsigned long start,
                           unsigned long count);
    // Offset and length of block `block` of the level file (level 0: offset 16, length 0 =
    // to the end of the file). The pack folder must be open.
    unsigned long LoadContainerOffset(unsigned long* offset, unsigned long* size,
                                      unsigned long prefecture, unsigned long level,
                                      unsigned long block);
    // Fills the cache with the block holding list position `position`; records cached.
    unsigned long GetDataSub(unsigned long position);
    // Goes down into `item`'s child list; its count, 0 on failure (also at level 7 and deeper).
    unsigned long SearchNextProcSub(CAddressData* item);

protected:
    uint32_t m_dwKanaIndex[10];  // list position of each kana row's first item
    uint32_t m_dwListStart;      // file index of the current list's first item
    CAddressData* m_pCache;      // 500 records of one block
    uint32_t m_dwFirstBlockLen;  // list items in the first block: 500 - list start mod 500
    uint32_t m_dwCacheStart;     // list positions held in the cache, end exclusive
    uint32_t m_dwCacheEnd;
    uint32_t m_dwListCount;           // items in the current list
    CArrayData<CAddressData> m_Path;  // the items chosen so far, one per level
    uint32_t m_dwPrefecture;          // code of the chosen prefecture
    uint32_t m_dwLevel;               // current level, 0 = prefecture list

    // Chooses list item `position`: appends it to the path; 0x3fffffff for a leaf (level
    // raised), 1 for an item with children (its list not loaded), 0 on failure.
    SP_LOCAL unsigned long Choose(unsigned long position, CAddressData* item);

private:
    // Decodes block `block` of the level file into a new[] buffer (the pack folder is open).
    SP_LOCAL unsigned char* LoadBlock(unsigned long prefecture, unsigned long level,
                                      unsigned long block, unsigned long* len);
    // Opens the pack folder of the level's file.
    SP_LOCAL bool OpenLevelFolder(unsigned long prefecture, unsigned long level);
    SP_LOCAL void Refine(CLocationData* out, unsigned long start, unsigned long n,
                         unsigned long genre1, unsigned long genre2, unsigned long genre3);
};
