// The folder of the guidance settings file: "/system/etc" on a device (a build-time default,
// SEARCHPROC_SETTINGS_DIR), redirected by tests through SetSettingsDir. The library reads no
// environment variables. Internal; not exported.
#pragma once

#include "foundation/Export.h"

namespace platform {

// The settings folder, without a trailing '/'.
SP_LOCAL char* SettingsDir();
// Replaces the folder (null restores the default); for tests, while no picture is being made.
SP_LOCAL void SetSettingsDir(const char* dir);

}  // namespace platform
