// CSearchKanaProc: POIs by the reading typed so far. Walks the character tree "K%03d.idx" of
// the pack folder "KANAMA" (12-byte nodes) to the run of base records of the reading, and says
// which keys may be pressed next. The folder is opened and closed within every search.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

// One thread at a time per object; objects are independent. Reads the settings globals.
class SP_EXPORT CSearchKanaProc : public CSearchBaseDataProc {
public:
    CSearchKanaProc();
    virtual ~CSearchKanaProc();

    // Searches the half-width reading (NUL-terminated). 0 on failure; otherwise 2 when the
    // reading is complete (flag bit 15 of the node) or empty, 3 when it is only a prefix.
    // *count receives the number of POIs of the reading's run.
    unsigned long SearchProc(unsigned long* count, unsigned char* reading);
    // 1 when key `key` may be pressed next: 0-44 the kana 0xB1-0xDD, 45 0xA6, 46 the
    // prolonged sound 0xB0, 47 the semi-voiced mark, 48 the voiced mark; 0 above 48.
    unsigned char GetKeyState(unsigned long key);
    // Matches of the current run under the genre filter (255 = any).
    unsigned long GetRefinedTotal(unsigned long g1, unsigned long g2, unsigned long g3,
                                  unsigned long g4);
    // Records of the matches listStart .. listStart+listCount-1 of the current run.
    bool GetList(CLocationData* out, unsigned long listStart, unsigned long listCount,
                 unsigned long g1, unsigned long g2, unsigned long g3, unsigned long g4);
    // The tree walk: sets the key states of the characters that may follow the reading and
    // the first id and count word of the reading's node.
    bool LoadIndex(bool* keyStates, unsigned long* firstId, unsigned long* countWord,
                   unsigned char* reading);
    // Clears the key states, the first id and the count word.
    void FlushBuf();

protected:
    // Opens "KANAMA" (fails with the database disabled; database, then SD) and selects the
    // packed file made from `format` and the first character; nothing stays open on failure.
    SP_LOCAL bool OpenKanaFile(const char* format, unsigned long first);

    bool m_blKeyState[49];   // 1 = the key may be pressed next
    uint32_t m_dwFirstID;    // first id of the current reading's run
    uint32_t m_dwCountWord;  // its count, bit 15 the completion flag
};
