// Road numbers: not provided; every search answers 0.
#include "auxdata/SearchRoadNumberProc.h"

CSearchRoadNumberProc::CSearchRoadNumberProc() {}
CSearchRoadNumberProc::~CSearchRoadNumberProc() {}

unsigned long CSearchRoadNumberProc::SearchProc(char*, char*, unsigned char, unsigned long,
                                                unsigned char, unsigned char) {
    return 0;
}

unsigned long CSearchRoadNumberProc::SearchProc(unsigned char**, unsigned char, unsigned long) {
    return 0;
}

unsigned long CSearchRoadNumberProc::GetRoadNum(unsigned char**, unsigned char, unsigned long,
                                                unsigned long*) {
    return 0;
}
