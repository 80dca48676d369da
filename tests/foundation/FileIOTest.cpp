// CFileIO: joining and splitting at their bounds, the loaders' offset, size and buffer rules,
// paths of the longest length, read errors and descriptors never left open.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "ByteWriter.h"
#include "SearchProc.h"
#include "TempDir.h"

namespace {

char* C(const std::string& s) {
    return const_cast<char*>(s.c_str());
}

int LowestFreeDescriptor() {
    const int fd = open("/dev/null", O_RDONLY);
    close(fd);
    return fd;
}

TEST(FileIO, MergeAndSplitAtTheirBounds) {
    struct Case {
        const char* dir;
        const char* name;
        unsigned long result;
        std::string joined;  // all 10 bytes of the output
    };
    const Case cases[] = {
        {"abcd", "efghi", 1, std::string("abcd/efghi", 10)},  // fills 10, no terminator
        {"abcd", "efghij", 0, std::string(10, '\0')},         // one too long: cleared
        {"", "name", 1, std::string("/name\0\0\0\0\0", 10)},
        {"dir/", "n", 1, std::string("dir//n\0\0\0\0", 10)},
    };
    for (const Case& c : cases) {
        char out[12];
        memset(out, 'Z', sizeof(out));
        EXPECT_EQ(c.result, CFileIO::MergeFilename(out, C(c.dir), C(c.name), 10)) << c.name;
        EXPECT_EQ(c.joined, std::string(out, 11).substr(0, 10)) << c.name;
        EXPECT_EQ('Z', out[10]) << "wrote past size";
    }
    char out[2] = {'Z'};
    EXPECT_EQ(0u, CFileIO::MergeFilename(out, C("a"), C("b"), 0));
    EXPECT_EQ('Z', out[0]);
    const char* split[][3] = {{"file", "", "file"}, {"/a/b/c", "/a/b/", "c"}, {"dir/", "dir/", ""}};
    for (auto& s : split) {
        char dir[513] = {}, name[513] = {};
        EXPECT_EQ(0u, CFileIO::GetDirectryFileName(dir, name, s[0]));
        EXPECT_STREQ(s[1], dir);
        EXPECT_STREQ(s[2], name);
    }
}

TEST(FileIO, LoadRulesOnADescriptor) {
    mapdb::TempDir tmp;
    mapdb::WriteFile(tmp / "ten", {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'});
    int fd = open((tmp / "ten").c_str(), O_RDONLY);
    struct Case {
        unsigned long offset, size, result;
        std::string data;
    };
    const Case cases[] = {{0, 0, 10, "0123456789"},
                          {9, 0, 1, "9"},
                          {10, 0, 0, ""},
                          {3, 4, 4, "3456"},
                          {8, 5, 2, "89"}};  // not clipped: short read
    for (const Case& c : cases) {
        unsigned char* buf = nullptr;
        EXPECT_EQ(c.result, CFileIO::LoadFile(&fd, &buf, c.offset, c.size)) << c.offset;
        if (c.result == 0) {
            EXPECT_EQ(nullptr, buf);
            continue;
        }
        EXPECT_EQ(c.data + '\0', std::string(reinterpret_cast<char*>(buf), c.result + 1));
        delete[] buf;
    }
    unsigned char* buf = nullptr;
    EXPECT_EQ(5u, CFileIO::LoadFileEx(&fd, &buf, 6, 0)) << "one more than read";
    EXPECT_EQ(std::string("6789\0\0", 6), std::string(reinterpret_cast<char*>(buf), 6));
    unsigned char* const held = buf;
    EXPECT_EQ(0u, CFileIO::LoadFile(&fd, &buf, 0, 0)) << "occupied output refused";
    EXPECT_EQ(0u, CFileIO::LoadFileEx(&fd, &buf, 0, 0));
    EXPECT_EQ(held, buf);
    delete[] buf;
    close(fd);
    // A read error is a failure, never a short file: a directory reads with EISDIR.
    fd = open(tmp.path().c_str(), O_RDONLY);
    buf = nullptr;
    const unsigned long n = CFileIO::LoadFile(&fd, &buf, 0, 4);
    EXPECT_TRUE(n == 0 || n == ~0ul) << n;
    delete[] buf;
    close(fd);
}

TEST(FileIO, PathFormsTakeTheLongestPathAndCloseWhatTheyOpen) {
    mapdb::TempDir tmp;
    // A joined path of exactly 512 bytes: directory parts of at most 255 bytes each.
    std::string dir = tmp.path();
    while (dir.size() < 512 - 1 - 100 - 220) dir += "/" + std::string(200, 'd');
    dir += "/" + std::string(512 - 1 - 100 - dir.size() - 1, 'e');
    mapdb::MakeDirs(dir);
    const std::string name(100, 'n');
    ASSERT_EQ(512u, dir.size() + 1 + name.size());
    mapdb::WriteFile(dir + "/" + name, {'x', 'y'});
    mapdb::WriteFile(tmp / "empty", {});
    mapdb::MakeDirs(dir + "x");  // one byte more: the join fails, the file is never opened
    mapdb::WriteFile(dir + "x/" + name, {'x', 'y'});
    const int before = LowestFreeDescriptor();
    for (int i = 0; i < 20; ++i) {
        unsigned char* buf = nullptr;
        EXPECT_EQ(2u, CFileIO::LoadFile(C(dir), C(name), &buf));
        EXPECT_STREQ("xy", reinterpret_cast<char*>(buf));
        delete[] buf;
        buf = nullptr;
        EXPECT_EQ(1u, CFileIO::LoadFile(C(dir + "/" + name), &buf, 1, 0));
        delete[] buf;
        buf = nullptr;
        EXPECT_EQ(0u, CFileIO::LoadFile(C(tmp.path()), C("empty"), &buf));
        EXPECT_EQ(0u, CFileIO::LoadFile(C(dir + "x"), C(name), &buf)) << "513 bytes";
        EXPECT_EQ(nullptr, buf);
        const int fd = CFileIO::CreateFile(C(dir), C(name));
        EXPECT_GE(fd, 0);
        close(fd);
    }
    EXPECT_EQ(before, LowestFreeDescriptor());
    EXPECT_EQ(-1, CFileIO::CreateFile(C(tmp.path()), C("absent")));
    // The write open never creates the file, but makes its folder.
    EXPECT_EQ(-1, CFileIO::CreateWriteFile(C(tmp / "new"), C("out")));
    struct stat st;
    EXPECT_EQ(0, stat((tmp / "new").c_str(), &st));
    // Deliberately 1 whatever the scan finds.
    EXPECT_EQ(1u, CFileIO::IsFileExist(C(tmp / "no/such/x")));
    EXPECT_EQ(1u, CFileIO::IsFileExist(C(tmp.path()), C("absent")));
}

}  // namespace
