// CMarlinDataProc: dispatch of every block form to its chain of decoding stages.
#include "codec/MarlinDataProc.h"

CMarlinDataProc::CMarlinDataProc() {}

CMarlinDataProc::~CMarlinDataProc() {}

unsigned long CMarlinDataProc::Decode(void* dst, void* src, unsigned long srcSize) {
    return CLzmaProc::Decode(dst, src, srcSize);
}
