// Road names: not provided; every search answers 0.
#include "auxdata/SearchRoadNameProc.h"

CSearchRoadNameProc::CSearchRoadNameProc() {}
CSearchRoadNameProc::~CSearchRoadNameProc() {}

unsigned long CSearchRoadNameProc::SearchProc(char*, unsigned long*, unsigned char,
                                              unsigned short, unsigned long, unsigned char) {
    return 0;
}

unsigned long CSearchRoadNameProc::SearchProc(unsigned char**, unsigned long*, unsigned char,
                                              unsigned short, unsigned long) {
    return 0;
}
