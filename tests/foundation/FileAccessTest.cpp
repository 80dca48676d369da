// CCommonProc: static defaults, bounded path setters, the cancel flag and the database/SD
// fallback for pack folders and plain files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "support/Settings.h"

namespace {

// The settings as they were before any test code ran (the library's static initial values).
struct InitialSettings {
    std::string path = g_tcharPath;
    std::string sdPath = g_tcharSDPath;
    bool db = g_blEnableDB;
    bool sd = g_blEnableSD;
    bool pathAllZero = std::all_of(g_tcharPath, g_tcharPath + 256, [](char c) { return !c; });
};
const InitialSettings kInitial;

// Exposes the fallback helpers and the cancel flag to the tests.
class Probe : public CCommonProc {
public:
    using CCommonProc::LoadDataFile;
    using CCommonProc::OpenDataFile;
    using CCommonProc::OpenDataFolder;
    bool Cancelled() const { return m_blCancel; }
};

TEST(CommonProc, DefaultsSettersAndTheCancelFlag) {
    EXPECT_TRUE(kInitial.db && !kInitial.sd && kInitial.pathAllZero && kInitial.sdPath.empty());
    testsupport::ScopedSettings keep;
    CCommonProc::SetSDPath("/sd");
    const std::string sdBefore(g_tcharSDPath, 256);
    for (size_t len : {400u, 255u, 6u}) {  // each path clears every byte of the one before
        CCommonProc::SetPath(std::string(len, 'x').c_str());
        EXPECT_EQ(std::min<size_t>(len, 255), strlen(g_tcharPath)) << "cut, still terminated";
        EXPECT_TRUE(std::all_of(g_tcharPath + strlen(g_tcharPath), g_tcharPath + 256,
                                [](char c) { return !c; }));
        EXPECT_EQ(sdBefore, std::string(g_tcharSDPath, 256)) << "the neighbour is untouched";
    }
    CCommonProc::EnableDB(false);
    CCommonProc::EnableSD(true);
    EXPECT_TRUE(!g_blEnableDB && !CCommonProc::IsDBEnabled() && CCommonProc::IsSDEnabled());
    Probe a, b;
    a.CancelProc();
    EXPECT_TRUE(a.Cancelled());
    EXPECT_FALSE(b.Cancelled());
}

// Every combination of switches and of where the data lies.
TEST(CommonProc, FallbackFromDatabaseToSdFollowsBothSwitches) {
    mapdb::TempDir dbRoot, sdRoot, emptyRoot;
    for (const auto* root : {&dbRoot, &sdRoot}) {
        mapdb::PackWriter w;
        std::string tag = root == &dbRoot ? "db" : "sd";
        w.Add("WHO", mapdb::Bytes(tag.begin(), tag.end()));
        w.Write(root->path(), "SET");
        mapdb::MakeDirs(root->path() + "/PLAIN");
        mapdb::WriteFile(root->path() + "/PLAIN/F.DAT", mapdb::Bytes(tag.begin(), tag.end()));
    }
    struct Case {
        bool dataInDb, dataInSd, enableDB, enableSD;
        const char* expected;  // "" = fails
    };
    const Case cases[] = {
        {true, true, true, false, "db"}, {true, true, true, true, "db"},
        {false, true, true, false, ""},  {false, true, true, true, "sd"},
        {false, false, true, true, ""},  {true, false, false, false, ""},
        {true, true, false, true, "sd"},  // database switched off: straight to the SD copy
        {true, false, false, true, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.dataInDb << c.dataInSd << c.enableDB << c.enableSD);
        testsupport::ScopedSettings keep;
        keep.Use(c.dataInDb ? dbRoot.path() : emptyRoot.path(),
                 c.dataInSd ? sdRoot.path() : emptyRoot.path(), c.enableDB, c.enableSD);
        Probe p;
        std::string expected = c.expected;
        if (p.OpenDataFolder("SET")) {
            unsigned char* buf = nullptr;
            ASSERT_EQ(2u, p.LoadPackFile(const_cast<char*>("WHO"), &buf, 0, 0));
            EXPECT_EQ(expected, std::string(reinterpret_cast<char*>(buf)));
            delete[] buf;
            EXPECT_EQ(1u, p.ClosePackFolder());
        } else {
            EXPECT_EQ("", expected);
            EXPECT_EQ(0u, p.ClosePackFolder()) << "a failed open leaves nothing open";
        }
        unsigned char* buf = nullptr;
        unsigned long n = Probe::LoadDataFile("PLAIN/F.DAT", &buf, 0, 0);
        EXPECT_EQ(expected, n ? std::string(reinterpret_cast<char*>(buf)) : "");
        delete[] buf;
    }
}

TEST(CommonProc, SdCopyMayCarryItsOwnNameAndTheLongestPathOpens) {
    mapdb::TempDir dbRoot, sdRoot;
    mapdb::MakeDirs(sdRoot / "S");
    mapdb::WriteFile(sdRoot / "S/SDNAME.DAT", {'s'});
    // root + '/' + a relative path of exactly 512 bytes, components of at most 255.
    std::string rel;
    while (dbRoot.path().size() + 1 + rel.size() < 300) rel += std::string(200, 'd') + "/";
    mapdb::MakeDirs(dbRoot / rel);
    rel += std::string(512 - dbRoot.path().size() - 1 - rel.size(), 'f');
    mapdb::WriteFile(dbRoot / rel, {'x'});
    mapdb::WriteFile(dbRoot / rel + "g", {'x'});
    testsupport::ScopedSettings keep;
    keep.Use(dbRoot.path(), sdRoot.path(), true, true);
    EXPECT_EQ(-1, Probe::OpenDataFile("S/DBNAME.DAT"));
    for (const char* sdName : {"S/SDNAME.DAT", static_cast<const char*>(nullptr)}) {
        const int fd = Probe::OpenDataFile(sdName ? "S/DBNAME.DAT" : rel.c_str(), sdName);
        EXPECT_GE(fd, 0) << (sdName ? sdName : "512 bytes");
        close(fd);
    }
    EXPECT_EQ(-1, Probe::OpenDataFile((rel + "g").c_str())) << "513 bytes";
}

TEST(CommonProc, EmptyDatabaseIndexBlocksTheSdCopy) {
    // The empty index keeps the database files open, which refuses the SD open as well.
    mapdb::TempDir dbRoot, sdRoot;
    mapdb::MakeDirs(dbRoot / "SET");
    mapdb::WriteFile(dbRoot / "SET/SET.IDX", mapdb::Bytes(19, 0));
    mapdb::WriteFile(dbRoot / "SET/SET.DAT", {});
    mapdb::PackWriter w;
    w.Add("WHO", {'s'});
    w.Write(sdRoot.path(), "SET");
    testsupport::ScopedSettings keep;
    keep.Use(dbRoot.path(), sdRoot.path(), true, true);
    Probe p;
    EXPECT_EQ(0u, p.OpenDataFolder("SET"));
    EXPECT_EQ(0u, p.ClosePackFolder()) << "released on the way out";
    keep.Use("/nonexistent", sdRoot.path(), true, true);
    EXPECT_EQ(1u, p.OpenDataFolder("SET"));
    p.ClosePackFolder();
}

}  // namespace
