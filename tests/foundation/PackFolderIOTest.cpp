// CPackFolderIO: the binary search at every index position, the cached selection, clipped reads
// and the damaged-index rules.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"

namespace {

char* C(const std::string& s) { return const_cast<char*>(s.c_str()); }

std::string Read(CPackFolderIO& pack, unsigned long offset, unsigned long size,
                 unsigned long* result) {
    unsigned char* buf = nullptr;
    *result = pack.LoadPackFile(&buf, offset, size);
    std::string s = buf && *result ? std::string(reinterpret_cast<char*>(buf), *result) : "";
    delete[] buf;
    return s;
}

// Writes a pack folder "PK" whose files are named `names`, each holding "<name>-data".
void WritePack(const std::string& root, const std::vector<std::string>& names) {
    mapdb::PackWriter w;
    for (const std::string& n : names) {
        std::string body = n + "-data";
        w.Add(n, mapdb::Bytes(body.begin(), body.end()));
    }
    w.Write(root, "PK");
}

TEST(PackFolderIO, FindsEveryPositionOfSmallIndexes) {
    const std::vector<std::string> all = {"B", "D", "F", "H", "J"};
    const std::vector<std::string> absent = {"A", "C", "E", "G", "I", "K", ""};
    for (size_t n = 1; n <= all.size(); ++n) {
        mapdb::TempDir tmp;
        std::vector<std::string> names(all.begin(), all.begin() + n);
        WritePack(tmp.path(), names);
        CPackFolderIO pack;
        ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
        for (const std::string& name : names) {
            SCOPED_TRACE(std::to_string(n) + " entries, " + name);
            ASSERT_EQ(1u, pack.OpenPackFile(C(name)));
            EXPECT_EQ(name.size() + 5, pack.GetPackFileSize());
            unsigned long got;
            EXPECT_EQ(name + "-data", Read(pack, 0, 0, &got));
        }
        for (const std::string& name : absent) {
            SCOPED_TRACE(std::to_string(n) + " entries, absent '" + name + "'");
            EXPECT_EQ(0u, pack.OpenPackFile(C(name)));
            EXPECT_EQ(0u, pack.GetPackFileSize());
            unsigned long got;
            Read(pack, 0, 0, &got);
            EXPECT_EQ(0u, got) << "no file selected after a miss";
        }
        EXPECT_EQ(1u, pack.ClosePackFolder());
        EXPECT_EQ(0u, pack.ClosePackFolder());
    }
}

TEST(PackFolderIO, MatchesTwelveCharacterNamesAndUsesTheBaseName) {
    mapdb::TempDir tmp;
    mapdb::PackWriter w;
    w.Add("ABCDEFGHIJKL", {'x'});
    w.Add("ABCDEFGHIJK", {'y', 'y'});
    w.Write(tmp.path(), "FOLDER", "OTHER");
    CPackFolderIO pack;
    EXPECT_EQ(0u, pack.OpenPackFolder(C(tmp.path()), C("FOLDER"), nullptr));
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("FOLDER"), C("OTHER")));
    EXPECT_EQ(1u, pack.OpenPackFile(C("ABCDEFGHIJKL")));
    EXPECT_EQ(1u, pack.GetPackFileSize());
    EXPECT_EQ(1u, pack.OpenPackFile(C("ABCDEFGHIJK")));
    EXPECT_EQ(2u, pack.GetPackFileSize());
    EXPECT_EQ(0u, pack.OpenPackFile(C("ABCDEFGHIJKLM")));
    pack.ClosePackFolder();
}

// Exposes the read into a caller's buffer.
class Reader : public CPackFolderIO {
public:
    using CPackFolderIO::ReadPackFile;
};

TEST(PackFolderIO, ReadsAreClippedToTheSelectedFile) {
    mapdb::TempDir tmp;
    mapdb::PackWriter w;
    w.Add("A", {'a', 'a'});
    w.Add("B", {'0', '1', '2', '3', '4', '5'});
    w.Add("C", {'c'});
    w.Write(tmp.path(), "PK");
    Reader pack;
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    unsigned long got = 99;
    EXPECT_EQ("", Read(pack, 0, 0, &got)) << "nothing selected yet";
    unsigned char direct[16];
    EXPECT_EQ(0u, pack.ReadPackFile(direct, 0, 0));
    EXPECT_EQ(0u, got);
    ASSERT_EQ(1u, pack.OpenPackFile(C("B")));
    struct Case {
        unsigned long offset, size, result;
        std::string data;
    };
    const Case cases[] = {
        {0, 0, 6, "012345"}, {2, 0, 4, "2345"}, {2, 2, 2, "23"}, {4, 100, 2, "45"},
        {5, 1, 1, "5"},      {6, 0, 0, ""},     {7, 1, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.offset) + "," + std::to_string(c.size));
        EXPECT_EQ(c.data, Read(pack, c.offset, c.size, &got));
        EXPECT_EQ(c.result, got);
        memset(direct, '#', sizeof(direct));
        EXPECT_EQ(c.result, pack.ReadPackFile(direct, c.offset, c.size));
        EXPECT_EQ(c.data, std::string(reinterpret_cast<char*>(direct), c.result));
        EXPECT_EQ('#', direct[c.result]) << "nothing past the clipped size";
    }
    unsigned char* buf = nullptr;
    EXPECT_EQ(1u, pack.LoadPackFile(C("C"), &buf, 0, 0));
    ASSERT_NE(nullptr, buf);
    EXPECT_EQ('c', buf[0]);
    EXPECT_EQ(0, buf[1]);
    delete[] buf;
    buf = nullptr;
    EXPECT_EQ(0u, pack.LoadPackFile(C("Z"), &buf, 0, 0));
    EXPECT_EQ(nullptr, buf);
    pack.ClosePackFolder();
    EXPECT_EQ(0u, pack.LoadPackFile(&buf, 0, 0)) << "closed folder";
}

TEST(PackFolderIO, SecondSelectionOfTheSameNameIsAnsweredFromTheCache) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A", "B", "C"});
    CPackFolderIO pack;
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    ASSERT_EQ(1u, pack.OpenPackFile(C("B")));
    // Empty the index behind the open descriptor: only a cached answer can still find "B".
    mapdb::WriteFile(tmp / "PK/PK.IDX", {});
    EXPECT_EQ(1u, pack.OpenPackFile(C("B")));
    EXPECT_EQ(6u, pack.GetPackFileSize());
    EXPECT_EQ(0u, pack.OpenPackFile(C("A")));
    EXPECT_EQ(0u, pack.OpenPackFile(C("B"))) << "a miss ends the cached selection";
    pack.ClosePackFolder();
}

TEST(PackFolderIO, DamagedAndMissingFiles) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A", "B"});
    mapdb::Bytes idx = mapdb::ReadFile(tmp / "PK/PK.IDX");
    ASSERT_EQ(40u, idx.size());

    // 39 bytes: one whole entry, the trailing bytes are ignored.
    mapdb::WriteFile(tmp / "PK/PK.IDX", mapdb::Bytes(idx.begin(), idx.begin() + 39));
    CPackFolderIO one;
    ASSERT_EQ(1u, one.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(1u, one.OpenPackFile(C("A")));
    EXPECT_EQ(0u, one.OpenPackFile(C("B")));
    one.ClosePackFolder();

    // 19 bytes: no entry. The files stay open, so a second open is refused until closed.
    mapdb::WriteFile(tmp / "PK/PK.IDX", mapdb::Bytes(idx.begin(), idx.begin() + 19));
    CPackFolderIO none;
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(1u, none.ClosePackFolder()) << "the empty index left the files open";
    mapdb::WriteFile(tmp / "PK/PK.IDX", idx);
    EXPECT_EQ(1u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr)) << "already open";
    none.ClosePackFolder();

    // A missing .DAT (or .IDX) leaves the object closed.
    CPackFolderIO missing;
    EXPECT_EQ(0u, missing.OpenPackFolder(C(tmp.path()), C("NOPE"), nullptr));
    EXPECT_EQ(0u, missing.ClosePackFolder());
    remove((tmp / "PK/PK.DAT").c_str());
    EXPECT_EQ(0u, missing.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, missing.ClosePackFolder());
}

TEST(PackFolderIO, HostileIndexEntriesFailCleanly) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A"});
    mapdb::ByteWriter idx;
    idx.Str("NEG");
    idx.Zeros(9);
    idx.I32(-5);  // negative offset
    idx.I32(3);
    idx.Str("NOTERMINATOR");  // 12 bytes, no terminator
    idx.I32(1 << 30);         // offset far past the .DAT
    idx.I32(4);
    idx.Str("ZZ");
    idx.Zeros(10);
    idx.I32(0);
    idx.I32(-1);  // negative size
    mapdb::WriteFile(tmp / "PK/PK.IDX", idx.bytes());
    CPackFolderIO pack;
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    unsigned char* buf = nullptr;
    ASSERT_EQ(1u, pack.OpenPackFile(C("NEG")));
    EXPECT_EQ(0u, pack.LoadPackFile(&buf, 0, 0));
    ASSERT_EQ(1u, pack.OpenPackFile(C("NOTERMINATOR")));
    EXPECT_EQ(0u, pack.LoadPackFile(&buf, 0, 0));
    EXPECT_EQ(nullptr, buf);
    EXPECT_EQ(1u, pack.OpenPackFile(C("ZZ")));
    EXPECT_EQ(0u, pack.GetPackFileSize()) << "negative size reads as nothing selected";
    EXPECT_EQ(0u, pack.LoadPackFile(&buf, 0, 0));
    pack.ClosePackFolder();
}

TEST(PackWriter, RefusesBadNamesAndSortsInByteOrder) {
    mapdb::PackWriter w;
    EXPECT_THROW(w.Add("", {}), mapdb::Error);
    EXPECT_THROW(w.Add("ABCDEFGHIJKLM", {}), mapdb::Error);
    mapdb::TempDir tmp;
    w.Add("b", {1});
    w.Add("B", {2});
    w.Add("\xB1", {3});  // bytes above 0x7F sort last, as strcmp orders them
    w.Add("a", {4});
    w.Write(tmp.path(), "PK");
    mapdb::Bytes idx = mapdb::ReadFile(tmp / "PK/PK.IDX");
    ASSERT_EQ(80u, idx.size());
    std::string order;
    for (size_t i = 0; i < 4; ++i) order += static_cast<char>(idx[i * 20]);
    EXPECT_EQ(std::string("Bab\xB1"), order);
}

}  // namespace
