// Test support: saves the library's process-wide settings and restores them when the test ends,
// so that tests pointing the library at their own folders do not leak into each other.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SearchProc.h"

namespace testsupport {

class ScopedSettings {
public:
    ScopedSettings() : db_(g_blEnableDB), sd_(g_blEnableSD) {
        memcpy(path_, g_tcharPath, sizeof(path_)), memcpy(sdPath_, g_tcharSDPath, sizeof(sdPath_));
    }
    ~ScopedSettings() {
        memcpy(g_tcharPath, path_, sizeof(path_)), memcpy(g_tcharSDPath, sdPath_, sizeof(sdPath_));
        g_blEnableDB = db_, g_blEnableSD = sd_;
    }
    // Points the database path at `db` and the SD path at `sd`, with the given switches.
    void Use(const std::string& db, const std::string& sd = "", bool on = true, bool sdOn = false) {
        CCommonProc::SetPath(db.c_str()), CCommonProc::SetSDPath(sd.c_str());
        CCommonProc::EnableDB(on), CCommonProc::EnableSD(sdOn);
    }

private:
    char path_[256], sdPath_[256];
    bool db_, sd_;
};

// A fixture that restores the settings after every test.
struct SettingsTest : ::testing::Test {
    ScopedSettings settings_;
};

}  // namespace testsupport
