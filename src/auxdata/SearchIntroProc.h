// CSearchIntroProc: a facility's opening hours and closing days from the pack folder "ADDINFO":
// "I.idx" (7-byte records after a 16-byte header: id, 3-byte offset into "I.dat") and "I.dat"
// (two Shift_JIS lines per facility, each ended by a line feed). The folder is opened and
// closed within every search; only the two texts are kept between calls.
#pragma once

#include <cstdint>

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// One thread at a time per object; objects are independent. Reads the settings globals.
class SP_EXPORT CSearchIntroProc : public CCommonProc {
public:
    CSearchIntroProc();
    virtual ~CSearchIntroProc();

    // Clears both texts, finds the facility and loads its texts. 0 when the index cannot be
    // searched (no data set, no "I.idx", no record in it); an unknown facility gives 1 with
    // empty texts; otherwise the result of LoadData.
    unsigned long SearchProc(unsigned long id);
    // Searches "I.idx" for `id`. 1 when the index was searched: found gives the record's offset
    // and size in "I.dat" with the pack folder left open for LoadData; not found gives offset -1
    // with the folder closed. 0 when the folder or "I.idx" cannot be opened or holds no record.
    unsigned long LoadIndex(int* offset, int* size, unsigned long id);
    // Reads `size` bytes at `offset` of "I.dat" and, when all of them come back, takes the
    // first line as the opening hours and the second as the closing days (each only while that
    // text is empty); closes the pack folder. 1 once "I.dat" was opened.
    unsigned long LoadData(int offset, int size);

    // The texts in Shift_JIS with each single-byte '~' written as the wave dash 0x81 0x60
    // (trail bytes of double-byte characters are left alone). `out` holds at least twice the
    // text length plus two bytes. 1, or 0 for a null `out`.
    unsigned long GetOpenTime(unsigned char* out);
    unsigned long GetCloseDay(unsigned char* out);
    // The same texts (wave dashes included) in UTF-8; the converter's byte count including
    // the terminator, or 0 (with an empty string written) when the conversion fails.
    unsigned long GetOpenTimeUni(char* out);
    unsigned long GetCloseDayUni(char* out);

    static constexpr unsigned long kTextSize = 768;

protected:
    uint8_t m_byState;                      // cleared at every search
    unsigned char m_szOpenTime[kTextSize];  // opening hours, Shift_JIS, zero-terminated
    unsigned char m_szCloseDay[kTextSize];  // closing days, likewise
};
