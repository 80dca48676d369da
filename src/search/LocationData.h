// CLocationData, the result record of every search, and CPoiData, the working record the base
// POI data decodes into. Both are 22 fixed-width fields in the same order, copied flat.
// Plain data: one thread at a time per record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Export.h"
#include "foundation/StringConvProc.h"

class SP_EXPORT CLocationData : public CStringConvProc {
public:
    CLocationData();
    ~CLocationData();

    // Sets every field to zero: all words, the whole text area and the flag.
    void FlushData();

    uint32_t dwID;         // POI id: file number << 24 | record number
    uint32_t dwGenre1;     // genre codes; 255 = none
    uint32_t dwRsv;        // the genre search's effective level-5 key
    uint32_t dwGenre2;
    uint32_t dwGenre3;
    uint32_t dwGenre4;
    char szName[384];      // Shift_JIS strings, each NUL-terminated, ended by an empty one
    uint32_t dwWork;       // address search: kana character in the low byte
    uint32_t dwTelNo;      // national number without its leading zero; 0 when unknown
    uint32_t dwTelAux;     // zip code search: the postal code
    uint32_t lLon;         // milliseconds of arc, east
    uint32_t lLat;         // milliseconds of arc, north
    uint32_t lArrLon;      // arrival point; 0 when none
    uint32_t lArrLat;
    uint32_t dwRefID;      // POI id found by the telephone index
    uint32_t dwExtra;      // spare word, always zero
    uint32_t dwDistance;   // vicinity and allied parking: distance in metres
    uint32_t dwDirection;  // vicinity and allied parking: direction in degrees
    uint32_t dwEnable;     // address lists: the enabled flag
    uint32_t dwAttr;       // attribute flag i set adds 10^i
    uint32_t dwArrAttr;    // arrival point attribute byte
    uint8_t bDisable;      // non-zero: text and position must not be handed out
};

class SP_EXPORT CPoiData : public CStringConvProc {
public:
    CPoiData();
    ~CPoiData();

    void FlushData();
    // Copies the visible part into dst (genres, text, telephone, coordinates, flag,
    // attributes). The text goes only when the record is enabled and positioned; the result
    // says whether it did, although every other field is copied in either case.
    bool CopyData(CLocationData* dst);

    uint32_t dwID;
    uint32_t dwGenre1;
    uint32_t dwRsv;
    uint32_t dwGenre2;
    uint32_t dwGenre3;
    uint32_t dwGenre4;
    char szName[384];
    uint32_t dwWork;
    uint32_t dwTelNo;
    uint32_t dwTelAux;
    uint32_t lLon;
    uint32_t lLat;
    uint32_t lArrLon;
    uint32_t lArrLat;
    uint32_t dwRefID;
    uint32_t dwExtra;
    uint32_t dwDistance;
    uint32_t dwDirection;
    uint32_t dwEnable;
    uint32_t dwAttr;
    uint32_t dwArrAttr;
    uint8_t bDisable;
};

// The layout is part of the interface: the same on 32-bit and 64-bit hosts.
#define SP_CHECK_LOCATION_LAYOUT(T)                                                        \
    static_assert(sizeof(T) == 468, #T " is 468 bytes");                                  \
    static_assert(offsetof(T, dwID) == 0 && offsetof(T, dwGenre1) == 4 &&                 \
                      offsetof(T, dwRsv) == 8 && offsetof(T, dwGenre2) == 12 &&           \
                      offsetof(T, dwGenre3) == 16 && offsetof(T, dwGenre4) == 20 &&       \
                      offsetof(T, szName) == 24 && offsetof(T, dwWork) == 408 &&          \
                      offsetof(T, dwTelNo) == 412 && offsetof(T, dwTelAux) == 416 &&      \
                      offsetof(T, lLon) == 420 && offsetof(T, lLat) == 424 &&             \
                      offsetof(T, lArrLon) == 428 && offsetof(T, lArrLat) == 432 &&       \
                      offsetof(T, dwRefID) == 436 && offsetof(T, dwExtra) == 440 &&       \
                      offsetof(T, dwDistance) == 444 && offsetof(T, dwDirection) == 448 && \
                      offsetof(T, dwEnable) == 452 && offsetof(T, dwAttr) == 456 &&       \
                      offsetof(T, dwArrAttr) == 460 && offsetof(T, bDisable) == 464,      \
                  #T " field offsets")
SP_CHECK_LOCATION_LAYOUT(CLocationData);
SP_CHECK_LOCATION_LAYOUT(CPoiData);
#undef SP_CHECK_LOCATION_LAYOUT
