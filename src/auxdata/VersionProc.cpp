// Data and engine versions: every data set is a list of files read in order; the first file
// read gives the reference version and every further one must match it. Files marked "exists"
// are only asked for, and CFileIO::IsFileExist always says yes, so they always pass.
#include "auxdata/VersionProc.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "foundation/FileIO.h"
#include "foundation/StringConvProc.h"

namespace {

constexpr size_t kVersionBytes = 9;
constexpr size_t kPathSize = 256;
const char kEngineVersion[] = "1.5.0015.0100";
const char kEngineVersion0[] = "1.0.006.0.130711";  // the data-set entry returns 9 bytes of it

enum class Role { kRead, kExists };

// The files of one data set, relative to the data root, in the order they are checked.
class FileList {
public:
    __attribute__((format(printf, 3, 4))) void Add(Role role, const char* format, ...) {
        if (n_ == kMaxFiles) return;
        va_list args;
        va_start(args, format);
        vsnprintf(files_[n_].path, sizeof(files_[n_].path), format, args);
        va_end(args);
        files_[n_++].role = role;
    }
    // name.IDX (exists) then name.DAT, the pattern of the pack folders.
    void AddPack(const char* folder, const char* base) {
        Add(Role::kExists, "%s/%s.IDX", folder, base);
        Add(Role::kRead, "%s/%s.DAT", folder, base);
    }

    // Reads the first file of role kRead as the reference into out, checks every other file
    // against it, and leaves the reference in out: the number of files, or 0.
    unsigned long Check(CVersionProc* proc, unsigned char* out) {
        if (out == nullptr) return 0;
        unsigned char ref[kVersionBytes];
        bool haveRef = false;
        for (size_t i = 0; i < n_; ++i) {
            char* path = files_[i].path;
            if (files_[i].role == Role::kExists) {
                proc->GetVersion(nullptr, path);
            } else if (!haveRef) {
                if (proc->GetVersion(out, path) != 1) return 0;
                memcpy(ref, out, kVersionBytes);
                haveRef = true;
            } else if (proc->CheckVersion(out, ref, path) == 0) {
                return 0;
            }
        }
        if (!haveRef) return 0;
        memcpy(out, ref, kVersionBytes);
        return n_;
    }

private:
    static constexpr size_t kMaxFiles = 135;  // the base data set: 45 numbers, three files each
    struct File {
        char path[48];
        Role role;
    };
    File files_[kMaxFiles];
    size_t n_ = 0;
};

unsigned long OneFile(CVersionProc* proc, unsigned char* out, const char* folder,
                      const char* name) {
    FileList list;
    list.Add(Role::kRead, "%s/%s", folder, name);
    return list.Check(proc, out);
}

unsigned long Pack(CVersionProc* proc, unsigned char* out, const char* folder, const char* base) {
    FileList list;
    list.AddPack(folder, base);
    return list.Check(proc, out);
}

// UTF-8 of a Shift_JIS version text; false when the conversion fails.
bool ToUtf8(char* out, unsigned char* sjis) {
    CStringConvProc conv;
    return conv.SjisToUtf8(reinterpret_cast<unsigned char*>(out), sjis, CVersionProc::kUtf8Size) !=
           0;
}

}  // namespace

CVersionProc::CVersionProc() {}
CVersionProc::~CVersionProc() {}

unsigned long CVersionProc::GetSearchProcEngineVersion(unsigned char* out) {
    if (out == nullptr) return 0;
    memset(out, 0, sizeof(kEngineVersion));
    memcpy(out, kEngineVersion, sizeof(kEngineVersion) - 1);
    return 1;
}

unsigned long CVersionProc::GetEngineVersion(unsigned char* out) {
    return GetSearchProcEngineVersion(out);
}

unsigned long CVersionProc::GetSearchProcEngineVersion0(unsigned char* out) {
    if (out == nullptr) return 0;
    out[0] = 0;
    memcpy(out, kEngineVersion0, kVersionBytes);
    return 1;
}

unsigned long CVersionProc::GetEngineVersionUni(char* out) {
    unsigned char sjis[sizeof(kEngineVersion)];
    if (out == nullptr || GetEngineVersion(sjis) == 0) return 0;
    return ToUtf8(out, sjis) ? 1 : 0;
}

unsigned long CVersionProc::GetVersion(unsigned char* out, unsigned long kind) {
    if (out == nullptr) return 0;
    memset(out, 0, kVersionSize);
    switch (kind) {
        case 0:
            return GetAddressVersion(out);
        case 1:
            return GetZipcodeVersion(out);
        case 2:
            return GetCompanyZipcodeVersion(out);
        case 3:
            return GetConvAddrVersion(out);
        case 4:
            return GetBaseVersion(out);
        case 5:
            return GetArrivalVersion(out);
        case 6:
            return GetAlliedParkingVersion(out);
        case 7:
            return GetKanaVersion(out);
        case 8:
            return GetTelephoneVersion(out);
        case 9:
            return GetHomePhoneVersion(out);
        case 10:
            return GetGenreVersion(out);
        case 11:
            return GetGenreDataVersion(out);
        case 12:
            return GetIntersectionVersion(out);
        case 13:
            return GetRefineVersion(out);
        case 14:
            return GetVicinityVersion(out);
        case 15:
            return GetSapaInfoVersion(out);
        case 16:
            return GetSignpostVersion(out);
        case 17:
            return GetGuidanceVersion(out);
        case 18:
            return GetAdjacentPrefVersion(out);
        case 19:
            return GetPhoneRepLocVersion(out);
        case 20:
            return GetSAPAIllustVersion(out);
        case 21:
            return GetVoiceListVersion(out);
        case 22:
            return GetStringDBVersion(out);
        case 23:
            return GetPOIAdditionalVersion(out);
        case 24:
            return GetStationListVersion(out);
        case 25:
            return GetSearchProcEngineVersion0(out);
        case 26:
            return GetBaseQuickVersion(out);
        default:
            return 0;
    }
}

unsigned long CVersionProc::GetVersionUni(char* out, unsigned long kind) {
    unsigned char sjis[kVersionSize];
    if (out == nullptr) return 0;
    const unsigned long result = GetVersion(sjis, kind);
    if (result == 0) return 0;
    return ToUtf8(out, sjis) ? result : 0;
}

// The 47 numbered files must be readable; their versions are read but deliberately not
// compared with the reference.
unsigned long CVersionProc::GetAddressVersion(unsigned char* out) {
    if (out == nullptr) return 0;
    char rel[32];
    char path[kPathSize + 32];
    snprintf(rel, sizeof(rel), "%s/%s.DAT", "ADDRESS", "A");
    if (GetVersion(out, rel) != 1) return 0;
    unsigned char ref[kVersionBytes];
    memcpy(ref, out, kVersionBytes);
    snprintf(path, sizeof(path), "%s/%s/%s.IDX", g_tcharPath, "ADDRESS", "A");
    GetVersionSub(nullptr, path);
    for (int n = 0; n < 47; ++n) {
        snprintf(rel, sizeof(rel), "%s/%s%02d.DAT", "ADDRESS", "A", n);
        if (GetVersion(out, rel) != 1) return 0;
        snprintf(path, sizeof(path), "%s/%s/%s%02d.IDX", g_tcharPath, "ADDRESS", "A", n);
        GetVersionSub(nullptr, path);
    }
    memcpy(out, ref, kVersionBytes);
    return 96;
}

// The ordinary codes' file, then the company codes' set, which must agree with it.
unsigned long CVersionProc::GetZipcodeVersion(unsigned char* out) {
    if (OneFile(this, out, "ZIPCODE", "Z.DAT") == 0) return 0;
    unsigned char company[kVersionSize] = {};
    if (GetCompanyZipcodeVersion(company) == 0) return 0;
    return memcmp(out, company, kVersionBytes) == 0 ? 2 : 0;
}

unsigned long CVersionProc::GetCompanyZipcodeVersion(unsigned char* out) {
    return OneFile(this, out, "ZIPCODE", "CZ.DAT");
}

unsigned long CVersionProc::GetConvAddrVersion(unsigned char* out) {
    return OneFile(this, out, "CONVADDR", "CA.DAT");
}

unsigned long CVersionProc::GetBaseVersion(unsigned char* out) {
    FileList list;
    for (int n = 177; n <= 221; ++n) {
        list.Add(Role::kRead, "%s/%s%03d.IDX", "BASE", "B", n);
        list.Add(Role::kRead, "%s/%s%03d.CNT", "BASE", "B", n);
        list.Add(Role::kRead, "%s/%s%03d.DAT", "BASE", "B", n);
    }
    return list.Check(this, out);
}

unsigned long CVersionProc::GetArrivalVersion(unsigned char* out) {
    return OneFile(this, out, "ARRIVAL", "ARV.DAT");
}

unsigned long CVersionProc::GetAlliedParkingVersion(unsigned char* out) {
    return OneFile(this, out, "PARKING", "TK.DAT");
}

unsigned long CVersionProc::GetKanaVersion(unsigned char* out) {
    return Pack(this, out, "KANAMA", "KANAMA");
}

unsigned long CVersionProc::GetTelephoneVersion(unsigned char* out) {
    return Pack(this, out, "TELEPHONE", "TELEPHONE");
}

unsigned long CVersionProc::GetHomePhoneVersion(unsigned char* out) {
    return Pack(this, out, "HOMEPHONE", "HOMEPHONE");
}

unsigned long CVersionProc::GetGenreVersion(unsigned char* out) {
    return Pack(this, out, "GENRE", "GENRE");
}

unsigned long CVersionProc::GetGenreDataVersion(unsigned char* out) {
    return OneFile(this, out, "GENRE", "GENREDATA.DAT");
}

unsigned long CVersionProc::GetIntersectionVersion(unsigned char* out) {
    return OneFile(this, out, "INTERSECTION", "INTERSECTION.DAT");
}

unsigned long CVersionProc::GetRefineVersion(unsigned char* out) {
    return Pack(this, out, "REFINE", "REFINE");
}

unsigned long CVersionProc::GetVicinityVersion(unsigned char* out) {
    return Pack(this, out, "VICINITY", "VICINITY");
}

unsigned long CVersionProc::GetSapaInfoVersion(unsigned char* out) {
    FileList list;
    list.Add(Role::kRead, "%s/%sID.IDX", "SAPAINFO", "SAPA");
    list.Add(Role::kRead, "%s/%s.DAT", "SAPAINFO", "SAPA");
    return list.Check(this, out);
}

unsigned long CVersionProc::GetSignpostVersion(unsigned char* out) {
    FileList list;
    for (const char* name : {"SIGNDATA", "SIGNARROW", "SIGNPICT"}) {
        list.Add(Role::kRead, "%s/%s.IDX", "SIGNPOST", name);
        list.Add(Role::kRead, "%s/%s.DAT", "SIGNPOST", name);
    }
    return list.Check(this, out);
}

unsigned long CVersionProc::GetGuidanceVersion(unsigned char* out) {
    FileList list;
    for (const char* name :
         {"BRANCH", "GRADE", "INIC", "ETC", "ETC2", "EXIT", "REALCROSS", "PROPERJCT"}) {
        list.Add(Role::kRead, "%s/%s.IDX", "GUIDANCE", name);
        list.Add(Role::kRead, "%s/%s.IMG", "GUIDANCE", name);
    }
    return list.Check(this, out);
}

unsigned long CVersionProc::GetAdjacentPrefVersion(unsigned char* out) {
    return OneFile(this, out, "VICINITYPREF", "VP.DAT");
}

unsigned long CVersionProc::GetPhoneRepLocVersion(unsigned char* out) {
    return Pack(this, out, "PHONEPOINT", "PHONEPOINT");
}

unsigned long CVersionProc::GetSAPAIllustVersion(unsigned char* out) {
    FileList list;
    list.Add(Role::kExists, "%s/%s.IDX", "SAPAINFO", "SAPA");
    list.Add(Role::kRead, "%s/%s.IMG", "SAPAINFO", "SAPA");
    return list.Check(this, out);
}

unsigned long CVersionProc::GetVoiceListVersion(unsigned char* out) {
    return Pack(this, out, "VOLIST", "VOLIST");
}

unsigned long CVersionProc::GetStringDBVersion(unsigned char* out) {
    FileList list;
    for (int n = 1; n <= 3; ++n) {
        list.Add(Role::kRead, "%s/%s%02d.IDX", "STRINGDB", "GDESTR", n);
        list.Add(Role::kRead, "%s/%s%02d.DAT", "STRINGDB", "GDESTR", n);
    }
    return list.Check(this, out);
}

unsigned long CVersionProc::GetPOIAdditionalVersion(unsigned char* out) {
    return Pack(this, out, "ADDINFO", "ADDINFO");
}

unsigned long CVersionProc::GetStationListVersion(unsigned char* out) {
    FileList list;
    for (const char* name : {"AM", "FM", "TV", "REMOCONCHLIST"}) {
        list.Add(Role::kRead, "%s/%s.BIN", "CHANNEL", name);
    }
    return list.Check(this, out);
}

unsigned long CVersionProc::GetBaseQuickVersion(unsigned char* out) {
    FileList list;
    list.Add(Role::kRead, "%s/%s%03d.IDX", "BASE", "B", 177);
    return list.Check(this, out);
}

unsigned long CVersionProc::GetVersionSub(unsigned char* out, char* path) {
    if (out == nullptr) return CFileIO::IsFileExist(path);
    memset(out, 0, kVersionSize);
    unsigned char* head = nullptr;
    if (path == nullptr || CFileIO::LoadFile(path, &head, 0, 16) == 0) return 0;
    // The loader's buffer holds the 16 bytes asked for (zeroed past a short file's end).
    memcpy(out, head, kVersionBytes);
    delete[] head;
    return 1;
}

unsigned long CVersionProc::GetVersion(unsigned char* out, char* root, char* relPath) {
    if (root == nullptr || relPath == nullptr) return 0;
    char path[kPathSize + 1] = {};
    const size_t rootLen = strnlen(root, kPathSize);
    memcpy(path, root, rootLen);
    if (rootLen < kPathSize) {
        path[rootLen] = '/';
        strncpy(path + rootLen + 1, relPath, kPathSize - rootLen - 1);
    }
    return GetVersionSub(out, path);
}

unsigned long CVersionProc::GetVersion(unsigned char* out, char* relPath) {
    const unsigned long result = GetVersion(out, g_tcharPath, relPath);
    if (result != 1 && IsSDEnabled()) return GetVersion(out, g_tcharSDPath, relPath);
    return result;
}

unsigned long CVersionProc::CheckVersion(unsigned char* out, unsigned char* ref, char* relPath) {
    if (GetVersion(out, relPath) != 1) {
        if (ref == nullptr || out == nullptr) return 0;
        memcpy(out, ref, kVersionBytes);  // a missing file counts as matching
        return 1;
    }
    if (ref == nullptr) return 1;
    if (out == nullptr) return 1;
    return memcmp(out, ref, kVersionBytes) == 0 ? 1 : 0;
}
