// CConvAddressProc: a three-part area code turned into a chosen address path (prefecture, city
// and, where known, the district) through the sorted table "CONVADDR/CA.DAT" (9-byte entries of
// the three codes and the list positions to choose at levels 0, 1 and 2). The host then reads the
// address, coordinate and level with the address search's own calls.
// One thread at a time per object; objects are independent.
#pragma once

#include "foundation/Export.h"
#include "search/SearchAddressProc.h"

class SP_EXPORT CConvAddressProc : public CSearchAddressProc {
public:
    CConvAddressProc();
    virtual ~CConvAddressProc();

    // Sets the path for the area code (falling back to the whole of code 2 when code 3 is not
    // in the table); 1 when it is set, 0 otherwise.
    unsigned long ConvAddressProc(unsigned long code1, unsigned long code2, unsigned long code3);
    // The table look-up: zeroes the three positions, and on a hit stores the entry's and
    // returns 1.
    unsigned long LoadData(unsigned long* pos0, unsigned long* pos1, unsigned long* pos2,
                           unsigned long code1, unsigned long code2, unsigned long code3);
    // Chooses list item `position` without loading its children: 1 (item on the path, level
    // unchanged), 0x3fffffff for a leaf (level raised), 1 for 65535 (nothing chosen), 0 on
    // failure.
    unsigned long SearchNextProcLight(unsigned long position);
};
