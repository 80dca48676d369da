// Address, refinement and area-code writers.
#include "AddressWriter.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <tuple>

#include "BlockEncoders.h"
#include "ContainerWriter.h"
#include "PackWriter.h"
#include "Position.h"
#include "TextTools.h"

namespace mapdb {

namespace {

constexpr uint32_t kLeaf = 0x3fffffff;
constexpr size_t kPerBlock = 500;
constexpr size_t kPrefectures = 47;
constexpr uint32_t kDeepestLevel = 7;
// The reader keeps 382 bytes of a name and may append 8 (代表地点) to a city's.
constexpr size_t kMaxName = 374;

std::string Sjis(const AddressItem& item, const std::string& what) {
    std::string s;
    try {
        s = Utf8ToSjis(item.name);
    } catch (const Error& e) {
        throw Error(what + ": name: " + e.what());
    }
    if (s.empty() || s.size() > kMaxName || s.find('\n') != std::string::npos ||
        s.find('\0') != std::string::npos) {
        throw Error(what + ": name empty, longer than " + std::to_string(kMaxName) +
                    " bytes in Shift_JIS, or holding a line feed or NUL");
    }
    return s;
}

uint8_t Kana(const AddressItem& item, const std::string& what) {
    try {
        const std::string half = ReadingToHalfKana(item.reading);
        return half.empty() ? 0 : static_cast<uint8_t>(half[0]);
    } catch (const Error& e) {
        throw Error(what + ": reading: " + e.what());
    }
}

// Child start, child count, kana character (levels 0-2), name, 0x0A, position.
void Record(ByteWriter* w, const AddressItem& item, uint32_t level, uint32_t childStart,
            const std::string& what) {
    w->U32(childStart);
    w->U32(static_cast<uint32_t>(item.children.size()));
    if (level <= 2) w->U8(Kana(item, what));
    w->Str(Sjis(item, what));
    w->U8(0x0A);
    w->U24(StoredLon(item.lonMs, what + ": longitude"));
    w->U24(StoredLat(item.latMs, what + ": latitude"));
}

struct Node {
    const AddressItem* item;
    std::string path;
};

// The levels 1-7 of one prefecture, breadth first: a level's items are the children of the
// previous level's items in order, so child start is a running count.
void WritePrefecture(const std::string& root, const AddressItem& pref, const std::string& version) {
    char base[16];
    snprintf(base, sizeof(base), "A%02u", static_cast<unsigned>(pref.code));
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    std::vector<Node> parents = {{&pref, pref.name}};
    for (uint32_t level = 1;; ++level) {
        std::vector<Node> items;
        for (const Node& parent : parents) {
            if (!parent.item->children.empty() && level > kDeepestLevel) {
                throw Error("ADDRESS " + parent.path + ": children: an item of level 7 has none");
            }
            for (const AddressItem& child : parent.item->children) {
                items.push_back({&child, parent.path + "/" + child.name});
            }
        }
        if (items.empty()) break;
        ContainerWriter files(version);
        uint64_t next = 0;  // index of the next child list in the level below
        for (size_t k = 0; k < items.size(); ++k) {
            const AddressItem& item = *items[k].item;
            const std::string what = "ADDRESS " + items[k].path;
            uint32_t childStart = kLeaf;
            if (!item.children.empty()) {
                childStart = static_cast<uint32_t>(next);
                next += item.children.size();
                if (next >= kLeaf) throw Error(what + ": children: the level below is full");
            }
            Record(&files.container(), item, level, childStart, what);
            if ((k + 1) % kPerBlock == 0 || k + 1 == items.size()) files.CloseContainer(what);
        }
        // The table's end entry is the data file's size: taken first.
        char name[32];
        snprintf(name, sizeof(name), "%s-%u.cnt", base, static_cast<unsigned>(level));
        pack.Add(name, files.TakeCnt());
        snprintf(name, sizeof(name), "%s-%u.dat", base, static_cast<unsigned>(level));
        pack.Add(name, files.TakeDat());
        parents = std::move(items);
    }
    pack.Write(root, std::string("ADDRESS/") + base, base);
}

std::string RefineName(uint32_t number, const RefineSet& s) {
    char name[32];
    snprintf(name, sizeof(name), "R%02u%02u%03u%03u", static_cast<unsigned>(number),
             static_cast<unsigned>(s.genre1), static_cast<unsigned>(s.genre2),
             static_cast<unsigned>(s.genre3));
    return name;
}

}  // namespace

void WriteAddress(const std::string& root, const std::vector<AddressItem>& prefectures,
                  const std::string& version) {
    if (prefectures.size() > kPrefectures) {
        throw Error("ADDRESS: " + std::to_string(prefectures.size()) +
                    " prefectures; the list holds at most 47");
    }
    ByteWriter list;
    std::set<uint32_t> codes;
    for (const AddressItem& pref : prefectures) {
        const std::string what = "ADDRESS " + pref.name;
        if (pref.code < 1 || pref.code > 99 || !codes.insert(pref.code).second) {
            throw Error(what + ": code " + std::to_string(pref.code) +
                        " outside 1-99 or used twice");
        }
        // At level 0 the child start is the prefecture code.
        Record(&list, pref, 0, pref.children.empty() ? kLeaf : pref.code, what);
    }
    ByteWriter file;
    file.Raw(VersionHeader(version));
    file.Raw(EncodeLzmaBlock(list.Take()));
    PackWriter top;
    top.SetDatHeader(VersionHeader(version));
    top.Add("A.dat", file.Take());
    top.Write(root, "ADDRESS/A", "A");
    for (const AddressItem& pref : prefectures) {
        if (!pref.children.empty()) WritePrefecture(root, pref, version);
    }
    // The files the version check of the data set reads: A and A00-A46, .DAT and .IDX, each
    // holding only the version header.
    WriteFile(root + "/ADDRESS/A.DAT", VersionHeader(version));
    WriteFile(root + "/ADDRESS/A.IDX", VersionHeader(version));
    for (unsigned n = 0; n < kPrefectures; ++n) {
        char name[32];
        snprintf(name, sizeof(name), "/ADDRESS/A%02u", n);
        WriteFile(root + name + ".DAT", VersionHeader(version));
        WriteFile(root + name + ".IDX", VersionHeader(version));
    }
}

void WriteRefine(const std::string& root, const std::vector<RefineSet>& sets,
                 const std::string& version) {
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (const RefineSet& s : sets) {
        const std::string genre = "REFINE genre " + std::to_string(s.genre1) + "/" +
                                  std::to_string(s.genre2) + "/" + std::to_string(s.genre3);
        if (s.genre1 > 99 || s.genre2 > 999 || s.genre3 > 999) {
            throw Error(genre + ": a genre code wider than its 2 or 3 digits");
        }
        std::set<uint32_t> withData;
        for (uint32_t p : s.prefectures) {
            if (p > 99)
                throw Error(genre + ": prefecture position " + std::to_string(p) + " above 99");
            withData.insert(p);
            pack.Add(RefineName(p, s), VersionHeader(version));
        }
        for (const auto& [code, flags] : s.cities) {
            if (code > 99)
                throw Error(genre + ": prefecture code " + std::to_string(code) + " above 99");
            if (withData.count(code) == 0) {
                throw Error(genre + ": prefecture code " + std::to_string(code) +
                            ": its city bitmap would mark prefecture position " +
                            std::to_string(code) + ", which has no data");
            }
            ByteWriter w;
            w.Raw(VersionHeader(version));
            Bytes bits((flags.size() + 7) / 8, 0);
            for (size_t p = 0; p < flags.size(); ++p) {
                if (flags[p]) bits[p / 8] |= static_cast<uint8_t>(0x80 >> (p % 8));
            }
            w.Raw(bits);
            pack.Add(RefineName(code, s), w.Take());
        }
    }
    pack.Write(root, "REFINE");
}

void WriteConvAddr(const std::string& root, const std::vector<ConvAddrEntry>& entries,
                   const std::string& version) {
    std::vector<ConvAddrEntry> sorted = entries;
    auto key = [](const ConvAddrEntry& e) { return std::make_tuple(e.code1, e.code2, e.code3); };
    std::stable_sort(
        sorted.begin(), sorted.end(),
        [&](const ConvAddrEntry& a, const ConvAddrEntry& b) { return key(a) < key(b); });
    ByteWriter w;
    w.Raw(VersionHeader(version));
    for (size_t i = 0; i < sorted.size(); ++i) {
        const ConvAddrEntry& e = sorted[i];
        const std::string what = "CONVADDR " + std::to_string(e.code1) + "/" +
                                 std::to_string(e.code2) + "/" + std::to_string(e.code3);
        if (i > 0 && key(sorted[i - 1]) == key(e)) throw Error(what + ": codes given twice");
        auto field = [&](uint32_t v, uint32_t max, const char* name) {
            if (v > max)
                throw Error(what + ": " + name + " " + std::to_string(v) + " above " +
                            std::to_string(max));
            return v;
        };
        w.U8(field(e.code1, 0xFF, "code 1"));
        w.U16(field(e.code2, 0xFFFF, "code 2"));
        w.U16(field(e.code3, 0xFFFF, "code 3"));
        w.U8(field(e.pos0, 0xFF, "level-0 position"));
        w.U8(field(e.pos1, 0xFF, "level-1 position"));
        w.U16(field(e.pos2, 0xFFFF, "level-2 position"));
    }
    MakeDirs(root + "/CONVADDR");
    WriteFile(root + "/CONVADDR/CA.DAT", w.Take());
}

}  // namespace mapdb
