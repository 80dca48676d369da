// CSearchAddFunctionProc: a facility's eight additional yes/no attributes from "AF.dat" in the
// pack folder "ADDINFO" (5-byte records after a 16-byte header: id, attribute byte), handed out
// as a decimal number whose digits are the bits (0x81 gives 10000001). The folder is opened and
// closed within every call.
#pragma once

#include <cstdint>

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// One thread at a time per object; objects are independent. Reads the settings globals.
class SP_EXPORT CSearchAddFunctionProc : public CCommonProc {
public:
    CSearchAddFunctionProc();
    virtual ~CSearchAddFunctionProc();

    // Looks `id` up; when found writes the attribute number into *out and keeps it. 0 when the
    // folder or "AF.dat" cannot be opened or holds no record, else 1 (an unknown facility
    // leaves *out unchanged).
    unsigned long GetData(unsigned long* out, unsigned long id);

protected:
    uint8_t m_byState;  // cleared at every call
    uint32_t m_dwAttr;  // the last attribute number found
};
