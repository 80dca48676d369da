// The database check. Files are read as hostile input: every offset and size is checked against
// the real file before anything is read, and blocks are decoded with the library's decoder.
#include "Verify.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "Queries.h"
#include "SearchProc.h"
#include "codec/DecodeToBuffer.h"
#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"

namespace navdb {

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

constexpr uint64_t kHeader = 16;                // version header of every stamped file
constexpr size_t kStamp = 9;                    // the version bytes at its start
constexpr uint64_t kIndexMax = 64u << 20;       // index files are read whole up to this size
constexpr unsigned long kBlockMax = 16u << 20;  // no stored block decodes to more

// A byte range of an open file: a whole file, or a file packed inside a pack folder's data.
struct Slice {
    std::string name;  // as reported: "GENRE/GENRE.DAT:G001.idx"
    int fd = -1;
    uint64_t at = 0, size = 0;
    // `n` bytes at `offset` of the slice; false when they are not all there.
    bool Read(uint64_t offset, uint64_t n, std::vector<unsigned char>* out) const {
        if (offset > size || n > size - offset) return false;
        out->resize(n);
        return n == 0 || io::ReadExactly(fd, out->data(), n, at + offset);
    }
};

class Checker {
public:
    explicit Checker(std::string root) : root_(std::move(root)) {}
    ~Checker() { CloseAll(); }

    void Run();
    const std::vector<std::pair<std::string, std::string>>& findings() const { return findings_; }
    size_t files() const { return opened_.size(); }
    const std::string& release() const { return release_; }

private:
    void Find(const std::string& file, const std::string& what) {
        findings_.push_back({file, what});
    }
    // The whole plain file `rel` (relative to the root) as a slice; fd -1 when it cannot be opened.
    Slice Open(const std::string& rel) {
        Slice s;
        s.name = rel;
        auto it = fds_.find(rel);
        if (it == fds_.end()) {
            const int fd = open((root_ + "/" + rel).c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0) return s;
            it = fds_.emplace(rel, fd).first;
            opened_.insert(rel);
        }
        s.fd = it->second;
        const int64_t size = io::FileSize(s.fd);
        s.size = size < 0 ? 0 : static_cast<uint64_t>(size);
        return s;
    }
    void Stamp(const Slice& s);
    void PackFolder(const std::string& idxRel);
    void Containers(const Slice& cnt, const Slice& dat);
    void Pictures(const Slice& idx, const Slice& img);
    void Strings(const Slice& idx, const Slice& dat);
    void Signs();
    void Kinds();
    bool ReadIndex(const Slice& s, std::vector<unsigned char>* bytes) {
        if (s.size > kIndexMax) {
            Find(s.name, "index larger than " + std::to_string(kIndexMax >> 20) + " MiB");
            return false;
        }
        if (!s.Read(0, s.size, bytes)) {
            Find(s.name, "cannot be read");
            return false;
        }
        return true;
    }

    std::string root_;
    // Files stay open while one file and its partners are checked (a slice refers to them).
    void CloseAll() {
        for (const auto& [path, fd] : fds_) close(fd);
        fds_.clear();
    }

    std::map<std::string, int> fds_;
    std::set<std::string> opened_;
    std::vector<std::pair<std::string, std::string>> findings_;
    std::map<std::string, std::string> stamps_;  // file -> its 9 version bytes
    std::string release_;
    CMarlinDataProc decoder_;
};

// A stamp or packed name for a report: up to its first NUL, other bytes outside ASCII as "?".
std::string Printable(const std::string& s) {
    std::string out;
    for (char c : s.substr(0, s.find('\0'))) out += (c >= 0x20 && c < 0x7F) ? c : '?';
    return out;
}

// Pack folders: their .IDX lists the packed files (12-byte name, u32 offset, u32 size, in
// strcmp order) and carries no version of its own.
bool IsPackIndex(const std::string& rel) {
    static const std::set<std::string> kPacks = {"ADDINFO",   "GENRE",      "HOMEPHONE",
                                                 "KANAMA",    "PHONEPOINT", "REFINE",
                                                 "TELEPHONE", "VICINITY",   "VOLIST"};
    const fs::path p(rel);
    const std::string folder = p.parent_path().string(), stem = p.stem().string();
    if (p.extension() != ".IDX") return false;
    if (kPacks.count(folder) && stem == folder) return true;
    return folder == "ADDRESS/" + stem && stem[0] == 'A';
}

void Checker::Stamp(const Slice& s) {
    std::vector<unsigned char> v;
    if (!s.Read(0, kStamp, &v)) {
        Find(s.name, "shorter than its version stamp");
        return;
    }
    stamps_[s.name] = std::string(v.begin(), v.end());
}

void Checker::Containers(const Slice& cnt, const Slice& dat) {
    std::vector<unsigned char> table;
    if (!ReadIndex(cnt, &table)) return;
    if (table.size() < kHeader + 3 || (table.size() - kHeader) % 3 != 0) {
        Find(cnt.name, "container table is not a header and 3-byte offsets");
        return;
    }
    uint64_t prev = 0;
    std::vector<unsigned char> block;
    for (size_t at = kHeader; at + 3 <= table.size(); at += 3) {
        const uint64_t offset = bytes::ReadU24LE(&table[at]);
        const std::string entry = "container " + std::to_string((at - kHeader) / 3);
        if (offset > dat.size || (at > kHeader && offset < prev)) {
            Find(cnt.name, entry + ": offset " + std::to_string(offset) +
                               (offset > dat.size ? " past the end of " + dat.name
                                                  : " before the one ahead of it"));
            return;
        }
        if (at > kHeader) {
            if (offset == prev || !dat.Read(prev, offset - prev, &block)) {
                Find(dat.name, "container at " + std::to_string(prev) + " is empty or unreadable");
            } else {
                unsigned long len = 0;
                std::unique_ptr<unsigned char[]> out(codec::DecodeToNewBuffer(
                    &decoder_, block.data(), static_cast<unsigned long>(block.size()), &len,
                    kBlockMax));
                if (!out)
                    Find(dat.name, "container at " + std::to_string(prev) + " does not decode");
            }
        }
        prev = offset;
    }
    if (prev != dat.size)
        Find(cnt.name, "end entry " + std::to_string(prev) + " is not the size of " + dat.name);
}

void Checker::Pictures(const Slice& idx, const Slice& img) {
    std::vector<unsigned char> index, block;
    if (!ReadIndex(idx, &index)) return;
    if (index.size() < kHeader || (index.size() - kHeader) % 14 != 0) {
        Find(idx.name, "not a header and 14-byte picture records");
        return;
    }
    std::string prev;
    for (size_t at = kHeader; at + 14 <= index.size(); at += 14) {
        const std::string key(reinterpret_cast<const char*>(&index[at]), 6);
        const std::string where = "picture " + Printable(key);
        if (!std::all_of(key.begin(), key.end(), [](char c) { return c >= '0' && c <= '9'; }))
            Find(idx.name, where + ": key is not six digits");
        if (at > kHeader && key <= prev) Find(idx.name, where + ": key out of order");
        prev = key;
        const uint64_t offset = kHeader + bytes::ReadU32LE(&index[at + 6]);
        const uint64_t size = bytes::ReadU32LE(&index[at + 10]);
        if (!img.Read(offset, size, &block)) {
            Find(idx.name, where + ": block leaves " + img.name);
            continue;
        }
        unsigned long len = 0;
        std::unique_ptr<unsigned char[]> out(codec::DecodeToNewBuffer(
            &decoder_, block.data(), static_cast<unsigned long>(block.size()), &len, kBlockMax));
        if (!out || len < 4 ||
            len !=
                4 + uint64_t{bytes::ReadU16LE(out.get())} * bytes::ReadU16LE(out.get() + 2) * 2) {
            Find(img.name, where + ": block does not decode to its width x height pixels");
        }
    }
}

void Checker::Strings(const Slice& idx, const Slice& dat) {
    std::vector<unsigned char> index, tag;
    if (!ReadIndex(idx, &index)) return;
    if (index.size() < kHeader || (index.size() - kHeader) % 14 != 0) {
        Find(idx.name, "not a header and 14-byte string entries");
        return;
    }
    if (!dat.Read(12, 4, &tag) || (memcmp(tag.data(), "UTF8", 4) && memcmp(tag.data(), "SJIS", 4)))
        Find(dat.name, "not tagged UTF8 or SJIS");
    uint32_t prev = 0;
    for (size_t at = kHeader; at + 14 <= index.size(); at += 14) {
        const uint32_t number = bytes::ReadU32LE(&index[at + 2]);
        const uint64_t offset = bytes::ReadU32LE(&index[at + 10]);
        const std::string where = "string " + std::to_string(number + 1);
        if (at > kHeader && number <= prev) Find(idx.name, where + ": number out of order");
        if (offset < kHeader || offset > dat.size)
            Find(idx.name, where + ": offset leaves " + dat.name);
        prev = number;
    }
}

void Checker::Signs() {
    const std::string dir = "SIGNPOST/";
    for (const char* stem : {"SIGNDATA", "SIGNPICT", "SIGNARROW"}) {
        const Slice idx = Open(dir + stem + ".IDX"), dat = Open(dir + stem + ".DAT");
        if (idx.fd < 0 || dat.fd < 0) {
            Find(dir + stem + (idx.fd < 0 ? ".IDX" : ".DAT"), "missing");
            continue;
        }
        std::vector<unsigned char> index;
        if (!ReadIndex(idx, &index)) continue;
        const bool arrows = std::string(stem) == "SIGNARROW";
        const size_t first = arrows ? 16 : 12, step = arrows ? 6 : 4, at = arrows ? 2 : 0;
        if (index.size() < first || (index.size() - first) % step != 0) {
            Find(idx.name, "not a header and " + std::to_string(step) + "-byte entries");
            continue;
        }
        for (size_t e = first; e + step <= index.size(); e += step) {
            const uint64_t offset = bytes::ReadU32LE(&index[e + at]);
            if (offset < kHeader || offset > dat.size)
                Find(idx.name, "entry " + std::to_string((e - first) / step) + ": offset " +
                                   std::to_string(offset) + " leaves " + dat.name);
        }
    }
}

void Checker::PackFolder(const std::string& idxRel) {
    const Slice idx = Open(idxRel);
    const std::string datRel = idxRel.substr(0, idxRel.size() - 4) + ".DAT";
    const Slice dat = Open(datRel);
    if (dat.fd < 0) {
        Find(datRel, "missing (its index is there)");
        return;
    }
    Stamp(dat);
    std::vector<unsigned char> index;
    if (!ReadIndex(idx, &index)) return;
    if (index.size() % 20 != 0) {
        Find(idxRel, "not 20-byte entries");
        return;
    }
    std::map<std::string, Slice> packed;
    std::string prev;
    for (size_t at = 0; at < index.size(); at += 20) {
        const std::string name(reinterpret_cast<const char*>(&index[at]),
                               strnlen(reinterpret_cast<const char*>(&index[at]), 12));
        const uint64_t offset = bytes::ReadU32LE(&index[at + 12]);
        const uint64_t size = bytes::ReadU32LE(&index[at + 16]);
        if (at > 0 && name <= prev) Find(idxRel, Printable(name) + ": name out of order");
        prev = name;
        if (offset < kHeader || offset > dat.size || size > dat.size - offset) {
            Find(idxRel, Printable(name) + ": leaves " + datRel);
            continue;
        }
        packed[name] = {datRel + ":" + name, dat.fd, dat.at + offset, size};
    }
    for (const auto& [name, s] : packed) {
        // The introduction texts are stored bare; every other packed file is stamped.
        if (!(idxRel == "ADDINFO/ADDINFO.IDX" && name == "I.dat")) Stamp(s);
        const size_t dot = name.rfind('.');
        if (dot == std::string::npos || name.compare(dot, 4, ".cnt") != 0) continue;
        auto data = packed.find(name.substr(0, dot) + ".dat");
        if (data == packed.end()) {
            Find(s.name, "container table without its data file");
        } else {
            Containers(s, data->second);
        }
    }
}

void Checker::Kinds() {
    CVersionProc versions;
    static const char* const kFirst[27] = {"ADDRESS/A",
                                           "ZIPCODE/Z.DAT",
                                           "ZIPCODE/CZ.DAT",
                                           "CONVADDR/CA.DAT",
                                           "BASE/B177.IDX",
                                           "ARRIVAL/ARV.DAT",
                                           "PARKING/TK.DAT",
                                           "KANAMA/KANAMA.DAT",
                                           "TELEPHONE/TELEPHONE.DAT",
                                           "HOMEPHONE/HOMEPHONE.DAT",
                                           "GENRE/GENRE.DAT",
                                           "GENRE/GENREDATA.DAT",
                                           "INTERSECTION/INTERSECTION.DAT",
                                           "REFINE/REFINE.DAT",
                                           "VICINITY/VICINITY.DAT",
                                           "SAPAINFO/SAPAID.IDX",
                                           "SIGNPOST/SIGNDATA.IDX",
                                           "GUIDANCE/BRANCH.IDX",
                                           "VICINITYPREF/VP.DAT",
                                           "PHONEPOINT/PHONEPOINT.DAT",
                                           "SAPAINFO/SAPA.IMG",
                                           "VOLIST/VOLIST.DAT",
                                           "STRINGDB/GDESTR01.IDX",
                                           "ADDINFO/ADDINFO.DAT",
                                           "CHANNEL/AM.BIN",
                                           nullptr,
                                           nullptr};
    for (unsigned long kind = 0; kind < 27; ++kind) {
        if (kFirst[kind] == nullptr || !fs::exists(root_ + "/" + kFirst[kind])) continue;
        unsigned char v[CVersionProc::kVersionSize] = {};
        if (versions.GetVersion(v, kind) == 0) {
            Find(kFirst[kind], "the library reports no version for data kind " +
                                   std::to_string(kind) +
                                   ": a file of the set is missing, unreadable or stamped "
                                   "differently");
        }
    }
}

void Checker::Run() {
    std::vector<std::string> files;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(root_, ec), end; !ec && it != end; it.increment(ec)) {
        if (it.depth() > 4) it.disable_recursion_pending();
        if (it->is_regular_file(ec)) files.push_back(fs::relative(it->path(), root_, ec).string());
    }
    std::sort(files.begin(), files.end());
    const std::set<std::string> present(files.begin(), files.end());
    auto sibling = [&](const std::string& rel, const char* ext) {
        return rel.substr(0, rel.size() - 4) + ext;
    };
    for (const std::string& rel : files) {
        CloseAll();
        if (rel.rfind("FONTAVENUE/", 0) == 0) continue;  // the font file, not stamped
        if (IsPackIndex(rel)) {
            PackFolder(rel);
            continue;
        }
        if (rel.size() > 4 && rel.compare(rel.size() - 4, 4, ".DAT") == 0 &&
            IsPackIndex(sibling(rel, ".IDX")) && present.count(sibling(rel, ".IDX"))) {
            continue;  // stamped with its folder
        }
        const Slice s = Open(rel);
        if (s.fd < 0) {
            Find(rel, "cannot be opened");
            continue;
        }
        Stamp(s);
        const std::string ext = rel.size() > 4 ? rel.substr(rel.size() - 4) : "";
        const bool guidance = rel.rfind("GUIDANCE/", 0) == 0 || rel == "SAPAINFO/SAPA.IDX";
        if (ext == ".IDX" && guidance) {
            const Slice img = Open(sibling(rel, ".IMG"));
            if (img.fd < 0)
                Find(sibling(rel, ".IMG"), "missing (its index is there)");
            else
                Pictures(s, img);
        } else if (ext == ".IDX" && rel.rfind("STRINGDB/", 0) == 0) {
            const Slice dat = Open(sibling(rel, ".DAT"));
            if (dat.fd < 0)
                Find(sibling(rel, ".DAT"), "missing (its index is there)");
            else
                Strings(s, dat);
        } else if (ext == ".CNT") {
            const Slice dat = Open(sibling(rel, ".DAT"));
            if (!present.count(sibling(rel, ".IDX"))) Find(sibling(rel, ".IDX"), "missing");
            if (dat.fd < 0)
                Find(sibling(rel, ".DAT"), "missing (its container table is there)");
            else
                Containers(s, dat);
        }
    }
    CloseAll();
    if (fs::exists(root_ + "/SIGNPOST", ec)) Signs();
    Kinds();
    // The release is the stamp most files carry; every other stamp is reported.
    std::map<std::string, size_t> counts;
    for (const auto& [file, stamp] : stamps_) ++counts[stamp];
    size_t best = 0;
    for (const auto& [stamp, n] : counts) {
        if (n > best) best = n, release_ = stamp;
    }
    for (const auto& [file, stamp] : stamps_) {
        if (stamp != release_)
            Find(file, "version \"" + Printable(stamp) + "\" where the database has \"" +
                           Printable(release_) + "\"");
    }
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
}

}  // namespace

Report Verify(const std::string& db) {
    OpenDatabase(db);
    Checker checker(g_tcharPath);
    checker.Run();
    Report out;
    out.found = checker.findings().empty();
    Table t{"findings", {"file", "problem"}, {}};
    json list = json::array();
    for (const auto& [file, what] : checker.findings()) {
        t.rows.push_back({file, what});
        list.push_back({{"file", file}, {"problem", what}});
    }
    out.json = {{"database", db},
                {"release", Printable(checker.release())},
                {"files", checker.files()},
                {"clean", out.found},
                {"findings", list}};
    out.fields = {{"database", db},
                  {"release", Printable(checker.release())},
                  {"files read", std::to_string(checker.files())},
                  {"findings", std::to_string(list.size())}};
    out.tables.push_back(t);
    return out;
}

}  // namespace navdb
