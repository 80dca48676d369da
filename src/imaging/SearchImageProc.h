// The picture index family: one lookup class per kind of stored guidance picture (and one for
// the SA/PA map pictures) that finds a picture's compressed block by its six-character number.
// Every lookup opens the kind's ".IDX" file, probes it one 14-byte record at a time and closes
// it; nothing is kept between calls. Objects hold no state: any thread may use any object.
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Base of the nine guidance picture kinds; no data or operations of its own.
class SP_EXPORT CSearchImageProc : public CCommonProc {
public:
    CSearchImageProc();
    virtual ~CSearchImageProc();
};

// Every kind offers the same two calls. `name` is the picture number as "%06d"; only its first
// six characters count. On a hit the block's absolute position in the image file (the stored
// offset + 16) and its size are written and 1 is returned; otherwise 0, outputs untouched.
// SearchProc forwards to LoadIndex.

class SP_EXPORT CSearchLBranchImageProc : public CSearchImageProc {
public:
    CSearchLBranchImageProc();
    virtual ~CSearchLBranchImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLEtcImageProc : public CSearchImageProc {
public:
    CSearchLEtcImageProc();
    virtual ~CSearchLEtcImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLEtc2ImageProc : public CSearchImageProc {
public:
    CSearchLEtc2ImageProc();
    virtual ~CSearchLEtc2ImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLGradeImageProc : public CSearchImageProc {
public:
    CSearchLGradeImageProc();
    virtual ~CSearchLGradeImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLInicImageProc : public CSearchImageProc {
public:
    CSearchLInicImageProc();
    virtual ~CSearchLInicImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLProperJCTImageProc : public CSearchImageProc {
public:
    CSearchLProperJCTImageProc();
    virtual ~CSearchLProperJCTImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLRealcrossImageProc : public CSearchImageProc {
public:
    CSearchLRealcrossImageProc();
    virtual ~CSearchLRealcrossImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLExitImageProc : public CSearchImageProc {
public:
    CSearchLExitImageProc();
    virtual ~CSearchLExitImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

class SP_EXPORT CSearchLEntranceImageProc : public CSearchImageProc {
public:
    CSearchLEntranceImageProc();
    virtual ~CSearchLEntranceImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};

// The SA/PA map pictures ("/SAPAINFO/SAPA.IDX"); derives from CCommonProc directly.
class SP_EXPORT CSearchSAPAMapImageProc : public CCommonProc {
public:
    CSearchSAPAMapImageProc();
    virtual ~CSearchSAPAMapImageProc();
    unsigned long LoadIndex(char* name, unsigned long* offset, unsigned long* size);
    unsigned long SearchProc(char* name, unsigned long* offset, unsigned long* size);
};
