// Reads that fail the way a worn or pulled SD card makes them fail, injected under every search
// class by the fault shim linked into this program: interrupted and short reads are retried and
// change nothing; read errors, files cut to nothing after their size was taken and files gone
// before their open give failures or shorter lists, never a record that is not in the database.
// A database folder that vanishes entirely leaves the SD copy to answer.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "TempDir.h"
#include "faults/Sweep.h"
#include "support/Settings.h"

extern "C" int fault_shim_configure(const char* plan);
extern "C" unsigned long fault_shim_injected(void);

namespace {

struct Faults : testsupport::SettingsTest {
    static void SetUpTestSuite() {
        ids_ = fulldb::Write(db_.path());
        testsupport::ScopedSettings keep;
        keep.Use(db_.path());
        clean_ = Sweep();
    }
    void SetUp() override { settings_.Use(db_.path()); }
    void TearDown() override { fault_shim_configure("off"); }

    static std::map<std::string, sweep::Lines> Sweep() {
        std::map<std::string, sweep::Lines> all;
        for (const sweep::Op& op : sweep::Ops()) all[op.name] = op.run(ids_);
        return all;
    }
    // Runs every search under `plan`; the faults it injected.
    static std::map<std::string, sweep::Lines> Under(const std::string& plan,
                                                     unsigned long* injected) {
        EXPECT_EQ(0, fault_shim_configure(plan.c_str())) << plan;
        auto all = Sweep();
        *injected = fault_shim_injected();
        fault_shim_configure("off");
        return all;
    }

    static inline mapdb::TempDir db_;
    static inline std::vector<uint32_t> ids_;
    static inline std::map<std::string, sweep::Lines> clean_;
};

TEST_F(Faults, CleanSweepCoversEverySearch) {
    for (const sweep::Op& op : sweep::Ops()) EXPECT_FALSE(clean_[op.name].empty()) << op.name;
}

TEST_F(Faults, InterruptedAndShortReadsChangeNothing) {
    for (const char* plan : {"eintr:2", "eintr:3", "eintr:7", "short:1", "short:2", "short:5"}) {
        unsigned long injected = 0;
        const auto got = Under(plan, &injected);
        EXPECT_GT(injected, 0u) << plan;
        for (const sweep::Op& op : sweep::Ops())
            EXPECT_EQ(clean_[op.name], got.at(op.name)) << plan << " " << op.name;
    }
}

// Every line under faults is one of the clean sweep's: a failed call leaves none, a list may
// lose records but never gains one.
TEST_F(Faults, HardFaultsGiveFailuresOrShortLists) {
    for (const char* plan : {"eio:1", "eio:2", "eio:3", "eio:7", "eio:31", "vanish:1", "vanish:2",
                             "vanish:3", "enoent:1", "enoent:2", "enoent:5"}) {
        unsigned long injected = 0;
        const auto got = Under(plan, &injected);
        EXPECT_GT(injected, 0u) << plan;
        size_t lines = 0, cleanLines = 0;
        for (const sweep::Op& op : sweep::Ops()) {
            const std::multiset<std::string> clean(clean_[op.name].begin(), clean_[op.name].end());
            for (const std::string& line : got.at(op.name))
                EXPECT_TRUE(clean.count(line)) << plan << " " << op.name << " gave " << line;
            lines += got.at(op.name).size(), cleanLines += clean.size();
        }
        EXPECT_LT(lines, cleanLines) << plan << ": the faults reached no result";
    }
}

// The whole database folder gone (every open under it fails) with the SD copy enabled: the
// searches that fall back to the SD card answer as before; the guidance strings are read from
// the database path only.
TEST_F(Faults, SdCopyAnswersWhenTheDatabaseVanishes) {
    mapdb::TempDir sd;
    const std::string card = sd / "card";
    std::filesystem::create_directory_symlink(db_.path(), card);
    settings_.Use(db_.path(), card, true, true);
    unsigned long injected = 0;
    const auto got = Under("enoent:1:" + db_.path() + "/", &injected);
    EXPECT_GT(injected, 0u);
    for (const sweep::Op& op : sweep::Ops()) {
        if (std::string(op.name) == "strings")
            EXPECT_TRUE(got.at(op.name).empty());
        else
            EXPECT_EQ(clean_[op.name], got.at(op.name)) << op.name;
    }
}

}  // namespace
