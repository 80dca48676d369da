// CCommonProc: the process-wide settings (database and SD paths, enable switches), the
// per-object cancel flag, and the database-then-SD fallback every reader opens its data through.
// The settings globals are unguarded: set them before searching, never while a search runs.
// One thread at a time per object; objects are independent.
#pragma once

#include "foundation/Export.h"
#include "foundation/PackFolderIO.h"

extern SP_EXPORT char g_tcharPath[256];    // database root, no trailing '/'
extern SP_EXPORT char g_tcharSDPath[256];  // SD-card root, the fallback
extern SP_EXPORT bool g_blEnableDB;        // master switch for data access
extern SP_EXPORT bool g_blEnableSD;        // the SD path may be tried when the database fails

class SP_EXPORT CCommonProc : public CPackFolderIO {
public:
    CCommonProc();
    virtual ~CCommonProc();

    static void SetPath(const char* path);
    static void SetSDPath(const char* path);
    static void EnableDB(bool enable);
    static void EnableSD(bool enable);
    static bool IsDBEnabled();
    static bool IsSDEnabled();

    // Sets this object's cancel flag. Reserved for the host: searches clear it when they
    // start and never read it.
    void CancelProc();

    // The data-set fallback, for pack folders and plain files alike (helpers of the library's
    // readers, not part of the interface: kept out of the shared library's symbol table): the
    // database path is tried when the database is enabled, then, on failure, the SD path when SD is
    // enabled. Entry points that must fail outright with the database disabled check IsDBEnabled
    // before calling; with the database enabled both rules are the same.

    // Opens the pack folder `folder` (base name `base`, or the folder name when null); 1 on
    // success. On failure nothing is left open.
    SP_LOCAL unsigned long OpenDataFolder(const char* folder, const char* base = nullptr);
    // Opens the plain file `relPath` (relative to the root, e.g. "BASE/B177.IDX") read-only;
    // `sdRelPath`, when given, is the name looked for under the SD path instead. -1 when
    // neither opens.
    SP_LOCAL static int OpenDataFile(const char* relPath, const char* sdRelPath = nullptr);
    // Loads a plain file through the same fallback (CFileIO::LoadFile rules for the buffer).
    SP_LOCAL static unsigned long LoadDataFile(const char* relPath, unsigned char** out,
                                               unsigned long offset, unsigned long size);

protected:
    bool m_blCancel;  // 0 after construction and at the start of every search
};
