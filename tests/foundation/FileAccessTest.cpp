// Files, pack folders and the database/SD fallback: joining and splitting paths at their bounds,
// the loaders' offset, size and buffer rules, paths of the longest length, the pack index search
// at every position, the cached selection, clipped reads of damaged, hostile or oversized index
// entries, the static settings and the fallback for pack folders and plain files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "foundation/TableFile.h"
#include "support/Settings.h"

namespace {

using mapdb::Bytes;

char* C(const std::string& s) {
    return const_cast<char*>(s.c_str());
}

// The n bytes of a loaded buffer (none when null), which it frees.
std::string Take(unsigned char** buf, unsigned long n) {
    std::string s = *buf ? std::string(reinterpret_cast<char*>(*buf), n) : "";
    delete[] std::exchange(*buf, nullptr);
    return s;
}

// Exposes the protected helpers.
class Probe : public CCommonProc {
public:
    using CCommonProc::LoadDataFile, CCommonProc::OpenDataFile, CCommonProc::OpenDataFolder;
    using CPackFolderIO::ReadableSize, CPackFolderIO::ReadPackFile;
    ~Probe() { ClosePackFolder(); }
    bool Cancelled() const { return m_blCancel; }
    std::string Load(unsigned long offset, unsigned long size) {
        unsigned char* buf = nullptr;
        return Take(&buf, LoadPackFile(&buf, offset, size));
    }
};

// A pack folder root/folder whose files hold their own names (the first `content` if given).
void WritePack(const std::string& root, const std::vector<std::string>& names,
               const std::string& folder = "PK", const std::string& content = "") {
    mapdb::PackWriter w;
    for (const std::string& n : names) w.Add(n, Bytes(n.begin(), n.end()));
    if (!content.empty()) w.Add(names[0], Bytes(content.begin(), content.end()));
    w.Write(root, folder);
}

// Makes the folders of a path of exactly `length` bytes below root (components of at most 200
// bytes) and returns it relative to root.
std::string DeepPath(const std::string& root, size_t length) {
    std::string rel;
    while (root.size() + 1 + rel.size() + 200 < length) rel += std::string(200, 'd') + "/";
    mapdb::MakeDirs(root + "/" + rel);
    return rel + std::string(length - root.size() - 1 - rel.size(), 'f');
}

TEST(FileIO, MergeAndSplitAtTheirBounds) {
    // Directory, name, result, all 10 bytes of the output.
    const std::tuple<const char*, const char*, unsigned long, std::string> cases[] = {
        {"abcd", "efghi", 1, std::string("abcd/efghi", 10)},  // fills 10, no terminator
        {"abcd", "efghij", 0, std::string(10, '\0')},         // one too long: cleared
        {"", "name", 1, std::string("/name\0\0\0\0\0", 10)},
        {"dir/", "n", 1, std::string("dir//n\0\0\0\0", 10)}};
    for (auto [dir, name, result, joined] : cases) {
        std::string out(12, 'Z');
        EXPECT_EQ(result, CFileIO::MergeFilename(&out[0], C(dir), C(name), 10)) << name;
        EXPECT_EQ(joined + "ZZ", out) << name << ": nothing past size";
    }
    char z = 'Z';
    EXPECT_TRUE(CFileIO::MergeFilename(&z, C("a"), C("b"), 0) == 0 && z == 'Z');
    const char* split[][3] = {{"file", "", "file"}, {"/a/b/c", "/a/b/", "c"}, {"dir/", "dir/", ""}};
    for (auto [path, dir, name] : split) {
        char d[513] = {}, n[513] = {};
        EXPECT_EQ(0u, CFileIO::GetDirectryFileName(d, n, path));
        EXPECT_TRUE(std::string(d) == dir && std::string(n) == name) << path;
    }
}

// Loads from a descriptor: a size past the end is not clipped but read short, an occupied
// output is refused, a read error (a directory reads with EISDIR) is a failure, never a short
// file. The path forms take a joined path of exactly 512 bytes and refuse 513 without opening,
// and close every descriptor they open.
TEST(FileIO, LoadRulesAndTheLongestPath) {
    mapdb::TempDir tmp;
    mapdb::WriteFile(tmp / "ten", {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'});
    int fd = open((tmp / "ten").c_str(), O_RDONLY);
    // Offset, size, data (the result is its length, the buffer one byte longer and zeroed).
    const std::tuple<unsigned long, unsigned long, std::string> cases[] = {
        {0, 0, "0123456789"}, {9, 0, "9"}, {10, 0, ""}, {3, 4, "3456"}, {8, 5, "89"}};
    unsigned char* buf = nullptr;
    for (auto [offset, size, data] : cases) {
        const unsigned long n = CFileIO::LoadFile(&fd, &buf, offset, size);
        EXPECT_EQ(data.empty() ? "" : data + '\0', Take(&buf, n + 1)) << offset;
    }
    EXPECT_EQ(5u, CFileIO::LoadFileEx(&fd, &buf, 6, 0)) << "one more than read";
    EXPECT_TRUE(CFileIO::LoadFile(&fd, &buf, 0, 0) == 0 &&
                CFileIO::LoadFileEx(&fd, &buf, 0, 0) == 0);
    EXPECT_EQ(std::string("6789\0\0", 6), Take(&buf, 6)) << "kept";
    close(fd);
    fd = open(tmp.path().c_str(), O_RDONLY);
    const unsigned long n = CFileIO::LoadFile(&fd, &buf, 0, 4);
    EXPECT_TRUE(n == 0 || n == ~0ul) << n;
    Take(&buf, 0);
    close(fd);  // the lowest free descriptor again: the first one a leak would keep

    const std::string path = tmp / DeepPath(tmp.path(), 512);  // and path + "g", 513 bytes
    const std::string dir = path.substr(0, path.rfind('/')), name = path.substr(dir.size() + 1);
    for (const std::string& p : {path, path + "g"}) mapdb::WriteFile(p, {'x', 'y'});
    mapdb::WriteFile(tmp / "empty", {});
    EXPECT_EQ("xy", Take(&buf, CFileIO::LoadFile(C(dir), C(name), &buf)));
    EXPECT_EQ("y", Take(&buf, CFileIO::LoadFile(C(path), &buf, 1, 0)));
    EXPECT_EQ(0u, CFileIO::LoadFile(C(tmp.path()), C("empty"), &buf));
    EXPECT_EQ(0u, CFileIO::LoadFile(C(dir), C(name + "g"), &buf));
    EXPECT_EQ(nullptr, buf);
    EXPECT_EQ(0, close(CFileIO::CreateFile(C(dir), C(name))));
    EXPECT_EQ(0, close(CFileIO::CreateWriteFile(C(dir), C(name))));
    EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << "a descriptor left open";
    EXPECT_EQ(-1, CFileIO::CreateFile(C(tmp.path()), C("absent")));
    // The write open never creates the file, but makes its folder.
    EXPECT_TRUE(CFileIO::CreateWriteFile(C(tmp / "new"), C("out")) == -1 &&
                access((tmp / "new").c_str(), F_OK) == 0);
    // Deliberately 1 whatever the scan finds.
    EXPECT_TRUE(CFileIO::IsFileExist(C(tmp / "no/such/x")) == 1 &&
                CFileIO::IsFileExist(C(tmp.path()), C("absent")) == 1);
}

// Every position of indexes of one to five entries and misses between them.
TEST(PackFolderIO, FindsEveryPositionClipsReadsAndCachesTheSelection) {
    const std::vector<std::string> all = {"ABCDEFGHIJKL", "B", "D012345", "F", "H"};
    for (size_t n = 1; n <= all.size(); ++n) {
        mapdb::TempDir tmp;
        std::vector<std::string> names(all.begin(), all.begin() + n);
        WritePack(tmp.path(), names);
        Probe pack;
        ASSERT_EQ(1u, pack.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
        for (const std::string& name : names)
            EXPECT_TRUE(pack.OpenPackFile(C(name)) == 1 && pack.Load(0, 0) == name) << n << name;
        // A miss, with no file selected after it.
        for (const char* name : {"A", "C", "E", "G", "I", "Z", "", "ABCDEFGHIJKLM"})
            EXPECT_TRUE(!pack.OpenPackFile(C(name)) && !pack.GetPackFileSize() &&
                        pack.Load(0, 0).empty())
                << n << name;
        // Reads clipped to the selected file (offset, size, result), into a new buffer and
        // into the caller's; then the index emptied behind the open descriptor: only the cached
        // selection still finds its file, also the file at offset 0.
        if (n == all.size()) {
            ASSERT_EQ(1u, pack.OpenPackFile(C("D012345")));
            const std::tuple<unsigned long, unsigned long, unsigned long> reads[] = {
                {0, 0, 7}, {3, 0, 4}, {3, 2, 2}, {5, 100, 2}, {7, 0, 0}, {8, 1, 0}};
            for (auto [offset, size, result] : reads) {
                const std::string data = all[2].substr(std::min(offset, 7ul), result);
                EXPECT_EQ(data, pack.Load(offset, size)) << offset << "," << size;
                Bytes direct(16, '#');
                EXPECT_EQ(result, pack.ReadPackFile(direct.data(), offset, size));
                EXPECT_EQ(data + '#', std::string(direct.begin(), direct.begin() + result + 1));
                EXPECT_EQ(offset < 7 ? 7 - offset : 0, pack.ReadableSize(offset));
            }
            ASSERT_EQ(1u, pack.OpenPackFile(C("ABCDEFGHIJKL")));
            mapdb::WriteFile(tmp / "PK/PK.IDX", {});
            EXPECT_TRUE(pack.OpenPackFile(C("ABCDEFGHIJKL")) == 1 && pack.GetPackFileSize() == 12);
            EXPECT_EQ(0u, pack.OpenPackFile(C("B")));
            EXPECT_EQ(0u, pack.OpenPackFile(C("ABCDEFGHIJKL"))) << "a miss ends the cache";
        }
        EXPECT_TRUE(pack.ClosePackFolder() == 1 && pack.ClosePackFolder() == 0);
    }
}

// Short, missing or hostile index files: entries pointing before, past or partly past the data
// file read nothing from outside it, and the readable size is what the data file really holds.
TEST(PackFolderIO, DamagedIndexesTheBaseNameAndAPathThatDoesNotFit) {
    mapdb::TempDir tmp;
    WritePack(tmp.path(), {"A", "B"});
    const Bytes idx = mapdb::ReadFile(tmp / "PK/PK.IDX");
    mapdb::WriteFile(tmp / "PK/PK.IDX", Bytes(idx.begin(), idx.begin() + 39));
    Probe none;  // 39 bytes: one entry, the trailing bytes ignored
    ASSERT_EQ(1u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_TRUE(none.OpenPackFile(C("A")) == 1 && none.OpenPackFile(C("B")) == 0);
    EXPECT_EQ(1u, none.ClosePackFolder());
    // 19 bytes: no entry, yet the files stay open until closed.
    mapdb::WriteFile(tmp / "PK/PK.IDX", Bytes(idx.begin(), idx.begin() + 19));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("PK"), nullptr));
    EXPECT_EQ(1u, none.ClosePackFolder());
    WritePack(tmp.path(), {"A"}, "FOLDER");  // a .DAT of one byte
    rename((tmp / "FOLDER/FOLDER.DAT").c_str(), (tmp / "FOLDER/OTHER.DAT").c_str());
    mapdb::ByteWriter hostile;
    // Name, offset, size, the size reported, the size readable; BIG claims 2 GiB of one byte.
    const std::tuple<const char*, int32_t, int32_t, unsigned long, unsigned long> cases[] = {
        {"BIG", 0, 0x7FFFFFFF, 0x7FFFFFFF, 1},
        {"FAR", 1 << 30, 4, 4, 0},
        {"NEG", -5, 3, 0, 0},
        {"NEGSIZE", 0, -1, 0, 0}};
    for (auto [name, offset, size, reported, readable] : cases)
        hostile.Fixed(name, 12), hostile.I32(offset), hostile.I32(size);
    mapdb::WriteFile(tmp / "FOLDER/OTHER.IDX", hostile.bytes());
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("FOLDER"), nullptr)) << "no FOLDER.DAT";
    EXPECT_EQ(0u, none.ClosePackFolder()) << "nothing left open";
    ASSERT_EQ(1u, none.OpenPackFolder(C(tmp.path()), C("FOLDER"), C("OTHER")));
    unsigned char buf[4] = {};
    for (auto [name, offset, size, reported, readable] : cases)
        EXPECT_EQ((std::array<unsigned long, 5>{1, reported, readable, readable, 0}),
                  (std::array<unsigned long, 5>{none.OpenPackFile(C(name)), none.GetPackFileSize(),
                                                none.ReadableSize(), none.ReadPackFile(buf, 0, 4),
                                                none.ReadableSize(1)}))
            << name;
    EXPECT_EQ('A', buf[0]);
    EXPECT_EQ(1u, none.ClosePackFolder());
    // root/FOLDER/<base> is 255 bytes, so root/FOLDER/<base>.IDX cut to the 256-byte buffer
    // would be a file that exists, holding an index.
    const std::string base(255 - tmp.path().size() - 8, 'b');
    mapdb::WriteFile(tmp / "FOLDER/" + base, mapdb::ReadFile(tmp / "FOLDER/OTHER.IDX"));
    EXPECT_EQ(0u, none.OpenPackFolder(C(tmp.path()), C("FOLDER"), C(base)));
    EXPECT_EQ(0u, none.ClosePackFolder());
}

TEST(CommonProc, BoundedPathSettersAndTheCancelFlag) {
    testsupport::ScopedSettings keep;
    CCommonProc::SetSDPath("/sd");
    const std::string sdBefore(g_tcharSDPath, 256);
    for (size_t len : {400u, 255u, 6u}) {  // each path clears every byte of the one before
        CCommonProc::SetPath(std::string(len, 'x').c_str());
        const size_t kept = std::min<size_t>(len, 255);  // cut, terminated and zero-filled
        EXPECT_EQ(std::string(kept, 'x') + std::string(256 - kept, 0),
                  std::string(g_tcharPath, 256));
        EXPECT_EQ(sdBefore, std::string(g_tcharSDPath, 256)) << "the neighbour is untouched";
    }
    Probe a, b;
    a.CancelProc();
    EXPECT_TRUE(a.Cancelled() && !b.Cancelled());
}

// Every combination of switches and of where the data lies, through one object as a reader
// holds it. An empty database index keeps the database files open, which refuses the SD open
// of that folder as well. An SD copy may carry its own name; a path of 512 bytes opens, 513 not.
TEST(CommonProc, FallbackFromDatabaseToSdFollowsBothSwitches) {
    mapdb::TempDir empty, db, sd, broken;
    for (auto [root, tag] : {std::pair(&db, "db"), std::pair(&sd, "sd")}) {
        WritePack(root->path(), {"WHO"}, "SET", tag);
        mapdb::WriteFile(*root / "SET/F.DAT", Bytes(tag, tag + 2));
    }
    WritePack(broken.path(), {}, "SET");  // an empty index
    // Database root, SD root, switches, the pack folder's answer, the plain file's ("" fails).
    const std::tuple<const mapdb::TempDir*, const mapdb::TempDir*, bool, bool, std::string,
                     std::string>
        cases[] = {{&db, &sd, true, false, "db", "db"},  {&db, &sd, true, true, "db", "db"},
                   {&empty, &sd, true, false, "", ""},   {&empty, &sd, true, true, "sd", "sd"},
                   {&empty, &empty, true, true, "", ""}, {&db, &empty, false, false, "", ""},
                   {&db, &sd, false, true, "sd", "sd"},  {&db, &empty, false, true, "", ""},
                   {&broken, &sd, true, true, "", "sd"}, {&empty, &sd, true, true, "sd", "sd"}};
    Probe p;
    unsigned char* buf = nullptr;
    for (auto [dbRoot, sdRoot, enableDB, enableSD, folder, file] : cases) {
        testsupport::ScopedSettings keep;
        keep.Use(dbRoot->path(), sdRoot->path(), enableDB, enableSD);
        const bool open = p.OpenDataFolder("SET");
        EXPECT_EQ(folder, open ? Take(&buf, p.LoadPackFile(C("WHO"), &buf, 0, 0)) : "") << file;
        EXPECT_EQ(open ? 1u : 0u, p.ClosePackFolder()) << "a failed open leaves nothing open";
        EXPECT_EQ(file, Take(&buf, Probe::LoadDataFile("SET/F.DAT", &buf, 0, 0))) << folder;
    }
    mapdb::WriteFile(sd / "SET/SDNAME.DAT", {'s'});
    const std::string rel = DeepPath(db.path(), 512);
    for (const std::string& f : {rel, rel + "g"}) mapdb::WriteFile(db / f, {'x'});
    testsupport::ScopedSettings keep;
    keep.Use(db.path(), sd.path(), true, true);
    EXPECT_EQ(-1, Probe::OpenDataFile("SET/DBNAME.DAT"));
    EXPECT_EQ(0, close(Probe::OpenDataFile("SET/DBNAME.DAT", "SET/SDNAME.DAT")));
    EXPECT_EQ(0, close(Probe::OpenDataFile(rel.c_str()))) << "512 bytes";
    EXPECT_EQ(-1, Probe::OpenDataFile((rel + "g").c_str())) << "513 bytes";
}

// Table entries read in any order come back as the file holds them, whole entries only: sizes
// below and above the read window, tables shorter than it, and a tail cut inside an entry.
TEST(TableFile, EntriesInAnyOrderAndACutTail) {
    testsupport::ScopedSettings keep;
    mapdb::TempDir dir;
    keep.Use(dir.path());
    for (size_t size : {3u, 9u, 600u}) {
        for (uint64_t count : {0u, 1u, 5u, 1000u}) {
            for (size_t cut : {size_t{0}, size - 1}) {
                SCOPED_TRACE(std::to_string(size) + " x " + std::to_string(count) + " + " +
                             std::to_string(cut));
                Bytes file(16, 0xEE);
                for (uint64_t k = 0; k < count + (cut != 0); ++k) {
                    for (size_t j = 0; j < size; ++j)
                        file.push_back(static_cast<uint8_t>(k * 7 + j));
                }
                file.resize(16 + count * size + cut);
                mapdb::WriteFile(dir.path() + "/T.DAT", file);
                TableFile table("T.DAT", size);
                ASSERT_EQ(count, table.count());
                std::vector<uint64_t> order;
                for (uint64_t k = count + 2; k-- > 0;) order.push_back(k);  // backwards
                for (uint64_t k = 0, x = 1; k < 200; ++k) {
                    order.push_back((x = x * 48271 % 2147483647) % (count + 2));
                }
                std::vector<uint8_t> entry(size);
                for (uint64_t k : order) {
                    ASSERT_EQ(k < count, table.Read(k, entry.data())) << k;
                    if (k < count) {
                        ASSERT_EQ(0, memcmp(&file[16 + k * size], entry.data(), size)) << k;
                    }
                }
            }
        }
    }
}

}  // namespace
