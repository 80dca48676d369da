// CFileIO: path joining, splitting, existence and the loaders' size, offset and buffer rules.
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

std::string Str(const char* p) { return p; }

TEST(FileIO, MergeFilenameBoundaries) {
    struct Case {
        const char* dir;
        const char* name;
        unsigned long size;
        unsigned long result;
        std::string joined;  // expected bytes of the output, size bytes long when it succeeds
    };
    const Case cases[] = {
        {"abcd", "efghi", 10, 1, std::string("abcd/efghi", 10)},  // fills all 10, no terminator
        {"abcd", "efghij", 10, 0, std::string(10, '\0')},         // one too long: all cleared
        {"abcd", "e", 10, 1, std::string("abcd/e\0\0\0\0", 10)},
        {"", "name", 10, 1, std::string("/name\0\0\0\0\0", 10)},  // empty dir: leading '/'
        {"dir/", "n", 10, 1, std::string("dir//n\0\0\0\0", 10)},  // no normalisation
        {"abcdefghijkl", "x", 10, 0, std::string(10, '\0')},      // dir alone exceeds size
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.dir) + " + " + c.name);
        char out[16];
        memset(out, 'Z', sizeof(out));
        EXPECT_EQ(c.result, CFileIO::MergeFilename(out, const_cast<char*>(c.dir),
                                                   const_cast<char*>(c.name), c.size));
        EXPECT_EQ(c.joined, std::string(out, c.size));
        EXPECT_EQ('Z', out[c.size]) << "wrote past size";
    }
    char out[4] = {'Z', 'Z', 'Z', 'Z'};
    EXPECT_EQ(0u, CFileIO::MergeFilename(out, const_cast<char*>("a"), const_cast<char*>("b"), 0));
    EXPECT_EQ('Z', out[0]) << "size 0 must not touch the output";
}

TEST(FileIO, GetDirectryFileNameSplitsAtLastSlash) {
    struct Case {
        const char* path;
        const char* dir;
        const char* name;
    };
    const Case cases[] = {
        {"file.dat", "", "file.dat"},
        {"/a/b/c", "/a/b/", "c"},
        {"a/b/c", "a/b/", "c"},
        {"dir/", "dir/", ""},
        {"/", "/", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        char dir[513] = {};
        char name[513] = {};
        EXPECT_EQ(0u, CFileIO::GetDirectryFileName(dir, name, c.path));
        EXPECT_STREQ(c.dir, dir);
        EXPECT_STREQ(c.name, name);
    }
}

TEST(FileIO, OpenHelpersAndTheAlwaysTrueExistenceCheck) {
    mapdb::TempDir tmp;
    mapdb::WriteFile(tmp / "present.bin", {1, 2, 3});
    char* root = const_cast<char*>(tmp.path().c_str());

    int fd = CFileIO::CreateFile(root, const_cast<char*>("present.bin"));
    EXPECT_GE(fd, 0);
    if (fd >= 0) close(fd);
    EXPECT_EQ(-1, CFileIO::CreateFile(root, const_cast<char*>("absent.bin")));

    // The write open never creates: a missing file fails, but its folder is made.
    std::string sub = tmp / "newdir";
    EXPECT_EQ(-1, CFileIO::CreateWriteFile(const_cast<char*>(sub.c_str()),
                                           const_cast<char*>("out.bin")));
    struct stat st;
    EXPECT_EQ(0, stat(sub.c_str(), &st));
    EXPECT_FALSE(stat((sub + "/out.bin").c_str(), &st) == 0);
    fd = CFileIO::CreateWriteFile(root, const_cast<char*>("present.bin"));
    EXPECT_GE(fd, 0);
    if (fd >= 0) close(fd);

    // Deliberately 1 whether or not the file or its folder exists.
    for (const std::string& p : {tmp / "present.bin", tmp / "absent.bin",
                                 tmp / "no/such/dir/x", std::string("bare-name")}) {
        SCOPED_TRACE(p);
        EXPECT_EQ(1u, CFileIO::IsFileExist(const_cast<char*>(p.c_str())));
    }
    EXPECT_EQ(1u, CFileIO::IsFileExist(root, const_cast<char*>("absent.bin")));
}

class LoadFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        content_ = "0123456789";
        mapdb::WriteFile(tmp_ / "ten.bin", mapdb::Bytes(content_.begin(), content_.end()));
        mapdb::WriteFile(tmp_ / "empty.bin", {});
        fd_ = open((tmp_ / "ten.bin").c_str(), O_RDONLY);
        ASSERT_GE(fd_, 0);
    }
    void TearDown() override { close(fd_); }

    mapdb::TempDir tmp_;
    std::string content_;
    int fd_ = -1;
};

TEST_F(LoadFileTest, OffsetAndSizeRules) {
    struct Case {
        unsigned long offset;
        unsigned long size;
        unsigned long result;
        std::string data;
    };
    const Case cases[] = {
        {0, 0, 10, "0123456789"},  // size 0: to the end
        {9, 0, 1, "9"},            // one byte before the end
        {10, 0, 0, ""},            // offset equal to the file size fails
        {11, 5, 0, ""},
        {3, 4, 4, "3456"},
        {8, 5, 2, "89"},  // past the end: not clipped, the read comes back short
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.offset) + "," + std::to_string(c.size));
        unsigned char* buf = nullptr;
        EXPECT_EQ(c.result, CFileIO::LoadFile(&fd_, &buf, c.offset, c.size));
        if (c.result == 0) {
            EXPECT_EQ(nullptr, buf);
            continue;
        }
        ASSERT_NE(nullptr, buf);
        EXPECT_EQ(c.data, std::string(reinterpret_cast<char*>(buf), c.result));
        EXPECT_EQ(0, buf[c.result]) << "the spare byte terminates the data";
        delete[] buf;
    }
}

TEST_F(LoadFileTest, RefusesNonNullOutputWithoutTouchingIt) {
    unsigned char sentinel = 0;
    unsigned char* buf = &sentinel;
    EXPECT_EQ(0u, CFileIO::LoadFile(&fd_, &buf, 0, 0));
    EXPECT_EQ(&sentinel, buf);
    EXPECT_EQ(0u, CFileIO::LoadFileEx(&fd_, &buf, 0, 0));
    EXPECT_EQ(&sentinel, buf);
}

TEST_F(LoadFileTest, ExVariantCountsOneMoreAndKeepsTwoSpareBytes) {
    unsigned char* buf = nullptr;
    EXPECT_EQ(5u, CFileIO::LoadFileEx(&fd_, &buf, 6, 0));
    ASSERT_NE(nullptr, buf);
    EXPECT_EQ("6789", std::string(reinterpret_cast<char*>(buf)));
    EXPECT_EQ(0, buf[4]);
    EXPECT_EQ(0, buf[5]);
    delete[] buf;
    buf = nullptr;
    EXPECT_EQ(0u, CFileIO::LoadFileEx(&fd_, &buf, 10, 0));
    EXPECT_EQ(nullptr, buf);
}

TEST_F(LoadFileTest, PathFormsOpenAndClose) {
    char* root = const_cast<char*>(tmp_.path().c_str());
    std::string full = tmp_ / "ten.bin";
    unsigned char* buf = nullptr;
    EXPECT_EQ(10u, CFileIO::LoadFile(const_cast<char*>(full.c_str()), &buf));
    delete[] buf;
    buf = nullptr;
    EXPECT_EQ(3u, CFileIO::LoadFile(const_cast<char*>(full.c_str()), &buf, 7, 0));
    EXPECT_EQ("789", Str(reinterpret_cast<char*>(buf)));
    delete[] buf;
    buf = nullptr;
    EXPECT_EQ(2u, CFileIO::LoadFile(root, const_cast<char*>("ten.bin"), &buf, 1, 2));
    EXPECT_EQ("12", Str(reinterpret_cast<char*>(buf)));
    delete[] buf;
    buf = nullptr;
    EXPECT_EQ(10u, CFileIO::LoadFile(root, const_cast<char*>("ten.bin"), &buf));
    delete[] buf;
    buf = nullptr;
    // An empty file fails: its size 0 is not greater than offset 0.
    EXPECT_EQ(0u, CFileIO::LoadFile(root, const_cast<char*>("empty.bin"), &buf));
    EXPECT_EQ(0u, CFileIO::LoadFile(root, const_cast<char*>("absent.bin"), &buf));
    EXPECT_EQ(nullptr, buf);

    // The path forms close what they open: many loads leave the descriptor count unchanged.
    int before = open("/dev/null", O_RDONLY);
    close(before);
    for (int i = 0; i < 50; ++i) {
        buf = nullptr;
        CFileIO::LoadFile(const_cast<char*>(full.c_str()), &buf);
        delete[] buf;
        CFileIO::LoadFile(root, const_cast<char*>("empty.bin"), &buf);
    }
    int after = open("/dev/null", O_RDONLY);
    close(after);
    EXPECT_EQ(before, after);
}

}  // namespace
