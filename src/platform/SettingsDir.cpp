// The settings folder: a build-time default that tests may replace.
#include "platform/SettingsDir.h"

#include <cstdio>

#ifndef SEARCHPROC_SETTINGS_DIR
#define SEARCHPROC_SETTINGS_DIR "/system/etc"
#endif

namespace platform {
namespace {
char g_dir[256] = SEARCHPROC_SETTINGS_DIR;
}  // namespace

char* SettingsDir() {
    return g_dir;
}

void SetSettingsDir(const char* dir) {
    snprintf(g_dir, sizeof(g_dir), "%s", dir != nullptr ? dir : SEARCHPROC_SETTINGS_DIR);
}

}  // namespace platform
