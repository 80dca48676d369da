// CPackFolderIO: the binary search at every index position, the cached selection, clipped reads
// and damaged, hostile or oversized index entries and paths.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"

namespace {

char* C(const std::string& s) {
    return const_cast<char*>(s.c_str());
}

// Exposes the reads into a caller's buffer.
class Pack : public CPackFolderIO {
public:
    using CPackFolderIO::ReadableSize;
    using CPackFolderIO::ReadPackFile;
    ~Pack() { ClosePackFolder(); }
    std::string Load(unsigned long offset, unsigned long size, unsigned long* result) {
        unsigned char* buf = nullptr;
        *result = LoadPackFile(&buf, offset, size);
        std::string s = buf && *result ? std::string(reinterpret_cast<char*>(buf), *result) : "";
        delete[] buf;
        return s;
    }
};

void WritePack(const std::string& root, const std::vector<std::string>& names) {
    mapdb::PackWriter w;
    for (const std::string& n : names) w.Add(n, mapdb::Bytes(n.begin(), n.end()));
    w.Write(root, "PK");
}

TEST(PackFolderIO, FindsEveryPositionOfIndexesOfOneToFiveEntries) {
    const std::vector<std::string> all = {"B", "D", "F", "H", "ABCDEFGHIJKL"};
    for (size_t n = 1; n <= all.size(); ++n) {
        mapdb::TempDir tmp;
        std::vector<std::string> names(all.begin(), all.begin() + n);
        WritePack(tmp.path(), names);
        Pack pack;
        ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
        unsigned long got;
        for (const std::string& name : names) {
            ASSERT_EQ(1u, pack.OpenPackFile(C(name))) << n << name;
            EXPECT_EQ(name, pack.Load(0, 0, &got));
        }
        for (const char* name : {"A", "C", "E", "G", "I", "Z", "", "ABCDEFGHIJKLM"}) {
            EXPECT_EQ(0u, pack.OpenPackFile(C(name))) << n << name;
            EXPECT_EQ(0u, pack.GetPackFileSize());
            EXPECT_EQ("", pack.Load(0, 0, &got)) << "no file selected after a miss";
        }
        EXPECT_EQ(1u, pack.ClosePackFolder());
        EXPECT_EQ(0u, pack.ClosePackFolder());
    }
}

TEST(PackFolderIO, ReadsAreClippedToTheSelectedFileAndTheCacheAnswersRepeats) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A", "B012345", "C"});
    Pack pack;
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    ASSERT_EQ(1u, pack.OpenPackFile(C("B012345")));
    struct Case {
        unsigned long offset, size, result;
        std::string data;
    };
    const Case cases[] = {{0, 0, 7, "B012345"}, {3, 0, 4, "2345"}, {3, 2, 2, "23"},
                          {5, 100, 2, "45"},    {7, 0, 0, ""},     {8, 1, 0, ""}};
    for (const Case& c : cases) {
        unsigned long got;
        EXPECT_EQ(c.data, pack.Load(c.offset, c.size, &got)) << c.offset << "," << c.size;
        EXPECT_EQ(c.result, got);
        unsigned char direct[16];
        memset(direct, '#', sizeof(direct));
        EXPECT_EQ(c.result, pack.ReadPackFile(direct, c.offset, c.size));
        EXPECT_EQ(c.data + '#', std::string(reinterpret_cast<char*>(direct), c.result + 1));
        EXPECT_EQ(c.offset < 7 ? 7 - c.offset : 0, pack.ReadableSize(c.offset));
    }
    // Empty the index behind the open descriptor: only the cached selection still finds it,
    // also for the file at offset 0.
    ASSERT_EQ(1u, pack.OpenPackFile(C("A")));
    mapdb::WriteFile(tmp / "PK/PK.IDX", {});
    EXPECT_EQ(1u, pack.OpenPackFile(C("A")));
    EXPECT_EQ(1u, pack.GetPackFileSize());
    EXPECT_EQ(0u, pack.OpenPackFile(C("C")));
    EXPECT_EQ(0u, pack.OpenPackFile(C("A"))) << "a miss ends the cached selection";
}

TEST(PackFolderIO, ShortOrMissingFilesAndTheBaseName) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A", "B"});
    const mapdb::Bytes idx = mapdb::ReadFile(tmp / "PK/PK.IDX");
    mapdb::WriteFile(tmp / "PK/PK.IDX", mapdb::Bytes(idx.begin(), idx.begin() + 39));
    Pack one;  // 39 bytes: one entry, the trailing bytes ignored
    ASSERT_EQ(1u, one.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(1u, one.OpenPackFile(C("A")));
    EXPECT_EQ(0u, one.OpenPackFile(C("B")));
    // 19 bytes: no entry, yet the files stay open until closed.
    mapdb::WriteFile(tmp / "PK/PK.IDX", mapdb::Bytes(idx.begin(), idx.begin() + 19));
    Pack none;
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(1u, none.ClosePackFolder());
    mapdb::PackWriter w;
    w.Add("X", {'x'});
    w.Write(tmp.path(), "FOLDER", "OTHER");
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("FOLDER"), nullptr));
    EXPECT_EQ(1u, none.OpenPackFolder(C(tmp.path()), C("FOLDER"), C("OTHER")));
    remove((tmp / "PK/PK.DAT").c_str());
    Pack missing;
    EXPECT_EQ(0u, missing.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, missing.ClosePackFolder()) << "nothing left open";
}

// Entries pointing before, past or partly past the data file: nothing is read from outside it
// and the readable size is what the data file really holds.
TEST(PackFolderIO, HostileEntriesAreClippedToTheDataFile) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A"});  // a .DAT of one byte
    mapdb::ByteWriter idx;
    auto entry = [&](const char* name, int32_t offset, int32_t size) {
        idx.Str(name);
        idx.Zeros(12 - strlen(name));
        idx.I32(offset);
        idx.I32(size);
    };
    entry("BIG", 0, 0x7FFFFFFF);  // claims 2 GiB of a one-byte file
    entry("FAR", 1 << 30, 4);
    entry("NEG", -5, 3);
    entry("NEGSIZE", 0, -1);
    mapdb::WriteFile(tmp / "PK/PK.IDX", idx.bytes());
    Pack pack;
    ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    struct Case {
        const char* name;
        unsigned long readable, size;
    };
    const Case cases[] = {{"BIG", 1, 0x7FFFFFFF}, {"FAR", 0, 4}, {"NEG", 0, 0}, {"NEGSIZE", 0, 0}};
    unsigned char buf[4] = {};
    for (const Case& c : cases) {
        ASSERT_EQ(1u, pack.OpenPackFile(C(c.name)));
        EXPECT_EQ(c.size, pack.GetPackFileSize()) << c.name;
        EXPECT_EQ(c.readable, pack.ReadableSize()) << c.name;
        EXPECT_EQ(c.readable, pack.ReadPackFile(buf, 0, 4)) << c.name;
        EXPECT_EQ(0u, pack.ReadableSize(1)) << c.name;
    }
    EXPECT_EQ('A', buf[0]);
}

TEST(PackFolderIO, APathThatDoesNotFitIsNeverOpenedCut) {
    mapdb::TempDir tmp;
    // root/PK/<base> is 255 bytes, so root/PK/<base>.IDX cut to the 256-byte buffer would be a
    // file that exists, holding a valid index.
    const std::string base(255 - tmp.path().size() - 4, 'b');
    mapdb::PackWriter w;
    w.Add("A", {'a'});
    w.Write(tmp.path(), "PK");
    mapdb::WriteFile(tmp / "PK/" + base, mapdb::ReadFile(tmp / "PK/PK.IDX"));
    Pack pack;
    EXPECT_EQ(0u, pack.OpenPackFolder(C(tmp.path()), C("PK"), C(base)));
    EXPECT_EQ(0u, pack.ClosePackFolder());
}

}  // namespace
