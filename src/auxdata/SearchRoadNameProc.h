// CSearchRoadNameProc: road name look-ups, which this system does not provide: every search
// returns 0 at once and touches nothing (deliberate; hosts treat 0 as "no road name").
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Stateless.
class SP_EXPORT CSearchRoadNameProc : public CCommonProc {
public:
    CSearchRoadNameProc();
    virtual ~CSearchRoadNameProc();

    unsigned long SearchProc(char*, unsigned long*, unsigned char, unsigned short, unsigned long,
                             unsigned char);
    unsigned long SearchProc(unsigned char**, unsigned long*, unsigned char, unsigned short,
                             unsigned long);
};
