// CSearchStringProc: guidance strings by file selector and number from "STRINGDB" under the
// database path only (no SD copy is consulted): GDESTR<selector as two hex digits>.IDX, 14-byte
// entries sorted by number after a 16-byte header, and .DAT, whose bytes 12-15 tag the whole
// file "UTF8" or "SJIS". Files are opened and closed within every call.
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Stateless; any number of objects on any threads. Reads g_tcharPath.
class SP_EXPORT CSearchStringProc : public CCommonProc {
public:
    CSearchStringProc();
    virtual ~CSearchStringProc();

    // Caller buffers of the copying forms: Shift_JIS names for guidance pictures, UTF-8 texts
    // for the host (each output of the three-part form has the UTF-8 size).
    static constexpr unsigned long kSjisSize = 32;
    static constexpr unsigned long kUtf8Size = 256;

    // String `number` (counted from 1) of the pair `selector`. *out must be null; it receives
    // an array-new buffer with the string and a zero byte (the caller frees it with delete[]);
    // *encoding is 1 for a UTF-8 file, 2 for Shift_JIS; *extra (when given) the entry's extra
    // value. The string's length in bytes, 0 when not found or on failure.
    unsigned long SearchProc(unsigned char** out, unsigned char* encoding, unsigned long* extra,
                             unsigned char selector, unsigned long number);
    // Reads *length bytes (0: to the end) at `offset` of the .DAT of `selector` into a new
    // buffer *out (must be null on entry) and sets *length to the bytes read. 1 for a file
    // tagged "UTF8", 2 for "SJIS", 0 on failure.
    unsigned long GetString(unsigned char** out, unsigned char selector, unsigned long offset,
                            unsigned long* length);

    // The copying forms. A name may hold several parts joined by full-width vertical bars
    // (U+FF5C); a non-zero `flag` keeps only the first part, 0 the whole string. Texts longer
    // than the buffer are cut at a character boundary and always terminated. The result is
    // the number of bytes written before the terminator, 0 when the string does not exist.
    // Shift_JIS into kSjisSize bytes (UTF-8 files are converted), as guidance pictures use it.
    unsigned long SearchProc(unsigned char* out, unsigned char selector, unsigned long number,
                             unsigned char flag);
    // UTF-8 into kUtf8Size bytes (Shift_JIS files are converted).
    unsigned long SearchProc(char* out, unsigned char selector, unsigned long number,
                             unsigned char flag);
    unsigned long SearchProc(char* out, unsigned long* extra, unsigned char selector,
                             unsigned long number, unsigned char flag);
    // The first three parts in UTF-8, one per output of kUtf8Size bytes (missing parts empty,
    // the third keeps any further bars). The three flag bytes are reserved: pass 0. The
    // result is the number of parts the string has, at most 3; 0 when it does not exist.
    unsigned long SearchProc(char* out1, char* out2, char* out3, unsigned char selector,
                             unsigned long number, unsigned char, unsigned char, unsigned char);
};
