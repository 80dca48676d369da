// CSearchRoadNumberProc: road number look-ups, which this system does not provide: every search
// returns 0 at once and touches nothing (deliberate; hosts treat 0 as "no road number").
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Stateless.
class SP_EXPORT CSearchRoadNumberProc : public CCommonProc {
public:
    CSearchRoadNumberProc();
    virtual ~CSearchRoadNumberProc();

    unsigned long SearchProc(char*, char*, unsigned char, unsigned long, unsigned char,
                             unsigned char);
    unsigned long SearchProc(unsigned char**, unsigned char, unsigned long);
    unsigned long GetRoadNum(unsigned char**, unsigned char, unsigned long, unsigned long*);
};
