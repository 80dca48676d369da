// CVersionProc: the engine's version texts and the version of every data set. A data file's
// version is its first 9 bytes; a data set reports a version only when all of its files carry
// the same one (files after the first that are missing count as matching).
#pragma once

#include "foundation/CommonProc.h"
#include "foundation/Export.h"

// Stateless; any number of objects on any threads. Reads the settings globals.
class SP_EXPORT CVersionProc : public CCommonProc {
public:
    CVersionProc();
    virtual ~CVersionProc();

    // Version buffers: 10 bytes (9 version bytes and a terminator); the engine version 14.
    // The UTF-8 forms need kUtf8Size bytes (9 half-width kana take 3 bytes each).
    static constexpr unsigned long kVersionSize = 10;
    static constexpr unsigned long kUtf8Size = 28;

    // "1.5.0015.0100" in 14 cleared bytes; 1.
    unsigned long GetSearchProcEngineVersion(unsigned char* out);
    unsigned long GetEngineVersion(unsigned char* out);
    // The 9 bytes "1.0.006.0" (the engine entry of the data-set table) after clearing out[0]; 1.
    unsigned long GetSearchProcEngineVersion0(unsigned char* out);
    // GetEngineVersion in UTF-8; 1, or 0 when either step fails.
    unsigned long GetEngineVersionUni(char* out);

    // Clears 10 bytes, then runs the operation of data-set `kind` (0-26): its file count, or 0
    // for a failure or an unknown kind.
    unsigned long GetVersion(unsigned char* out, unsigned long kind);
    // GetVersion(kind) in UTF-8: its result, or 0 when either step fails.
    unsigned long GetVersionUni(char* out, unsigned long kind);

    // One operation per data set (kind in brackets): the number of files checked, 0 when the
    // first file is missing or a file differs. On success out holds the set's version.
    unsigned long GetAddressVersion(unsigned char* out);         // 0
    unsigned long GetZipcodeVersion(unsigned char* out);         // 1
    unsigned long GetCompanyZipcodeVersion(unsigned char* out);  // 2
    unsigned long GetConvAddrVersion(unsigned char* out);        // 3
    unsigned long GetBaseVersion(unsigned char* out);            // 4
    unsigned long GetArrivalVersion(unsigned char* out);         // 5
    unsigned long GetAlliedParkingVersion(unsigned char* out);   // 6
    unsigned long GetKanaVersion(unsigned char* out);            // 7
    unsigned long GetTelephoneVersion(unsigned char* out);       // 8
    unsigned long GetHomePhoneVersion(unsigned char* out);       // 9
    unsigned long GetGenreVersion(unsigned char* out);           // 10
    unsigned long GetGenreDataVersion(unsigned char* out);       // 11
    unsigned long GetIntersectionVersion(unsigned char* out);    // 12
    unsigned long GetRefineVersion(unsigned char* out);          // 13
    unsigned long GetVicinityVersion(unsigned char* out);        // 14
    unsigned long GetSapaInfoVersion(unsigned char* out);        // 15
    unsigned long GetSignpostVersion(unsigned char* out);        // 16
    unsigned long GetGuidanceVersion(unsigned char* out);        // 17
    unsigned long GetAdjacentPrefVersion(unsigned char* out);    // 18
    unsigned long GetPhoneRepLocVersion(unsigned char* out);     // 19
    unsigned long GetSAPAIllustVersion(unsigned char* out);      // 20
    unsigned long GetVoiceListVersion(unsigned char* out);       // 21
    unsigned long GetStringDBVersion(unsigned char* out);        // 22
    unsigned long GetPOIAdditionalVersion(unsigned char* out);   // 23
    unsigned long GetStationListVersion(unsigned char* out);     // 24
    unsigned long GetBaseQuickVersion(unsigned char* out);       // 26

    // The version of the file at `path` into out (10 bytes cleared first); 1 when anything
    // could be read. With a null out only asks whether the file exists, which is always 1.
    unsigned long GetVersionSub(unsigned char* out, char* path);
    // root '/' relPath, in a 256-byte path.
    unsigned long GetVersion(unsigned char* out, char* root, char* relPath);
    // Under the database path, then under the SD path when SD is enabled.
    unsigned long GetVersion(unsigned char* out, char* relPath);
    // Reads relPath's version into out and compares it with `ref` (9 bytes): 1 when equal or
    // when the file cannot be read (out then takes ref); without a reference 1 when read.
    unsigned long CheckVersion(unsigned char* out, unsigned char* ref, char* relPath);
};
