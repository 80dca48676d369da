// CCommonProc: settings globals with their static defaults, and the data-set fallback.
#include "foundation/CommonProc.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "foundation/ReadAt.h"

// Static initial values; no start-up code sets them.
char g_tcharPath[256] = "";
char g_tcharSDPath[256] = "";
bool g_blEnableDB = true;
bool g_blEnableSD = false;

namespace {

// Clears the whole buffer, then copies the path with its terminator; a path of 256 bytes or
// more is cut to 255 so the buffer always stays terminated.
void StorePath(char* dst, const char* path) {
    memset(dst, 0, 256);
    if (path == nullptr) return;
    size_t n = strnlen(path, 255);
    memcpy(dst, path, n);
}

int OpenUnder(const char* root, const char* relPath) {
    char path[513] = {};
    int n = snprintf(path, sizeof(path), "%s/%s", root, relPath);
    if (n < 0 || n >= static_cast<int>(sizeof(path))) return -1;
    return open(path, O_RDONLY);
}

}  // namespace

CCommonProc::CCommonProc() : m_blCancel(false) {}
CCommonProc::~CCommonProc() {}

void CCommonProc::SetPath(const char* path) {
    StorePath(g_tcharPath, path);
}
void CCommonProc::SetSDPath(const char* path) {
    StorePath(g_tcharSDPath, path);
}
void CCommonProc::EnableDB(bool enable) {
    g_blEnableDB = enable;
}
void CCommonProc::EnableSD(bool enable) {
    g_blEnableSD = enable;
}
bool CCommonProc::IsDBEnabled() {
    return g_blEnableDB;
}
bool CCommonProc::IsSDEnabled() {
    return g_blEnableSD;
}

void CCommonProc::CancelProc() {
    m_blCancel = true;
}

unsigned long CCommonProc::OpenDataFolder(const char* folder, const char* base) {
    char* f = const_cast<char*>(folder);
    char* b = const_cast<char*>(base);
    if (IsDBEnabled() && OpenPackFolder(g_tcharPath, f, b)) return 1;
    // No close in between: a database index too short to hold an entry leaves its files open,
    // so the SD attempt is refused as well. Deliberate; it follows the pack folder's rule.
    if (IsSDEnabled() && OpenPackFolder(g_tcharSDPath, f, b)) return 1;
    ClosePackFolder();
    return 0;
}

int CCommonProc::OpenDataFile(const char* relPath, const char* sdRelPath) {
    if (relPath == nullptr) return -1;
    if (IsDBEnabled()) {
        int fd = OpenUnder(g_tcharPath, relPath);
        if (fd >= 0) return fd;
    }
    if (!IsSDEnabled()) return -1;
    return OpenUnder(g_tcharSDPath, sdRelPath != nullptr ? sdRelPath : relPath);
}

unsigned long CCommonProc::LoadDataFile(const char* relPath, unsigned char** out,
                                        unsigned long offset, unsigned long size) {
    io::FileCloser file(OpenDataFile(relPath));
    if (file.fd() < 0) return 0;
    int fd = file.fd();
    return LoadFile(&fd, out, offset, size);
}
