// SAPAInfo: the facility information of an expressway service or parking area by its ten-character
// id, from the plain files "SAPAINFO/SAPAID.IDX" (16-byte entries: id, six-digit record start,
// sorted by id) and "SAPAINFO/SAPA.DAT" (named "SAPAID.DAT" on the SD card). Files are opened and
// closed within every call. One thread at a time per object.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"
#include "search/SearchBaseDataProc.h"

// The record GetSAPAData fills. The caller clears it first: the 16-bit values land in the low
// half of their words only, and the texts are not terminated by the reader.
class CSAPAData {
public:
    uint32_t dwFlag;         // raw facility flags, record bytes 11-14
    char szName[32];         // Shift_JIS, not terminated when all 32 bytes are used
    char szText[48];         // second text, Shift_JIS
    uint32_t dwValue[5];     // low halves: record bytes 1-2, 3-4, 5-6, 7-8, 9-10
    uint8_t byKind;          // record byte 0
    uint32_t dwValue6;       // record bytes 15-17
    uint8_t blFacility[23];  // flag bits 0, 3-13, 15-21, 23-24, 30, 31 in this order
};

static_assert(offsetof(CSAPAData, szName) == 4, "CSAPAData layout");
static_assert(offsetof(CSAPAData, szText) == 36, "CSAPAData layout");
static_assert(offsetof(CSAPAData, dwValue) == 84, "CSAPAData layout");
static_assert(offsetof(CSAPAData, byKind) == 104, "CSAPAData layout");
static_assert(offsetof(CSAPAData, dwValue6) == 108, "CSAPAData layout");
static_assert(offsetof(CSAPAData, blFacility) == 112, "CSAPAData layout");
static_assert(sizeof(CSAPAData) == 136, "CSAPAData layout");

class SP_EXPORT SAPAInfo : public CSearchBaseDataProc {
public:
    SAPAInfo();
    virtual ~SAPAInfo();

    // Looks the id (its first ten characters) up and fills `out`; 1 on success, 0 when no file
    // opens, the id is not in the index or the record cannot be read or parsed.
    int GetSAPAData(CSAPAData* out, const char* id);
    // Parses the record of `length` bytes at `offset` of the data file (0xffffff: up to the end
    // of the file). 0 when nothing can be read or the name (over 32 bytes) or second text (48
    // bytes or more) is too long; `out` keeps what was written before the failure.
    unsigned long GetInfoData(CSAPAData* out, unsigned long offset, unsigned long length);
};
