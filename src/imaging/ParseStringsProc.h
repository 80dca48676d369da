// CParseStringsProc: splits a Shift_JIS guidance name into at most two drawable lines.
//
// The rule, for a line limit of 14 bytes (mode 1, exit and entrance pictures) or 12 bytes
// (mode 0, sign posts), never breaking inside a double-byte character:
//  1. Leading and trailing spaces (ASCII or full-width) are dropped; an empty name gives no line.
//  2. "｜" joins the parts of a multi-part name: the first "｜" always breaks, and is dropped.
//  3. A name that fits the limit stays one line.
//  4. Otherwise the break goes at a separator (space, full-width space, "・" or "／", which is
//     dropped) when both lines then fit; of several, the one giving the most even lines.
//  5. Otherwise at the character boundary nearest the middle at which both lines fit,
//     preferring (by up to one double-byte character of balance) a change of script between
//     kanji, hiragana, katakana and Latin letters, and avoiding a second line that starts with
//     a long-vowel mark, a small kana or closing punctuation, and a break inside a run of ASCII
//     letters and digits (a road number such as "R16").
//  6. A name longer than two lines fills the first line and cuts the second at the limit.
#pragma once

#include "foundation/Export.h"

// Stateless; any number of objects on any threads.
class SP_EXPORT CParseStringsProc {
public:
    CParseStringsProc();
    virtual ~CParseStringsProc();

    // Splits the zero-terminated `text`. *first and *second must be null on entry; each line
    // found is a new zero-terminated array (the caller frees it with delete[]), and a pointer
    // stays null when there is no such line. Mode 1 limits lines to 14 bytes, any other mode to
    // 12. The number of lines (0-2); 0 also for null arguments or a failed allocation.
    unsigned long SplitText(unsigned char** first, unsigned char** second, unsigned char* text,
                            unsigned char mode);
};
