// Reading data set writer: the character trees are built breadth first from the records of
// each base file, which are in reading order, so that every node's POIs are one run and every
// node's children are consecutive nodes.
#include "KanaWriter.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "PackWriter.h"
#include "Position.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "platform/Log.h"
#include "search/GenreFilter.h"

namespace mapdb {

namespace {

constexpr uint32_t kNoChild = 0x7fffffff;
constexpr uint32_t kMaxRun = 0x7FFF;
constexpr uint32_t kCompleteFlag = 0x8000;

struct Node {
    uint8_t ch;
    uint32_t firstChild = kNoChild;
    uint32_t childCount = 0;
    uint32_t firstRecord;
    uint32_t count;
    bool complete = false;
    // Records [lo, hi) of the file share this node's path of `depth` + 1 characters.
    size_t lo, hi, depth;
};

// A base file's records: the normalised reading and source index of record r at [r].
struct FileRecords {
    std::vector<std::string> keys;
    std::vector<size_t> sources;
};

// Builds the tree of one base file; the prefixes whose run count saturated are added to
// *saturated (UTF-8).
Bytes TreeImage(unsigned fileNo, const FileRecords& file, const std::string& version,
                std::vector<std::string>* saturated) {
    const std::vector<std::string>& keys = file.keys;
    std::vector<Node> nodes;
    nodes.push_back(Node{});
    nodes[0].ch = static_cast<uint8_t>(fileNo);
    nodes[0].lo = 0;
    nodes[0].hi = keys.size();
    nodes[0].depth = 0;
    for (size_t k = 0; k < nodes.size(); ++k) {
        const size_t lo = nodes[k].lo, hi = nodes[k].hi, depth = nodes[k].depth;
        nodes[k].firstRecord = static_cast<uint32_t>(lo);
        nodes[k].count = static_cast<uint32_t>(std::min<size_t>(hi - lo, kMaxRun));
        if (hi - lo > kMaxRun) {
            const std::string prefix = SjisToUtf8(keys[lo].substr(0, depth + 1));
            platform::Log(5, "mapdb",
                          "kana index: %zu POIs have readings beginning with \"%s\"; its count "
                          "is stored as %u\n",
                          hi - lo, prefix.c_str(), static_cast<unsigned>(kMaxRun));
            saturated->push_back(prefix);
        }
        size_t r = lo;
        // Shorter readings sort first: those that end at this node make it complete.
        while (r < hi && keys[r].size() == depth + 1) {
            nodes[k].complete = true;
            ++r;
        }
        while (r < hi) {
            const char c = keys[r][depth + 1];
            size_t end = r;
            while (end < hi && keys[end][depth + 1] == c) ++end;
            if (nodes[k].childCount == 0) nodes[k].firstChild = static_cast<uint32_t>(nodes.size());
            ++nodes[k].childCount;
            Node child;
            child.ch = static_cast<uint8_t>(c);
            child.lo = r;
            child.hi = end;
            child.depth = depth + 1;
            nodes.push_back(child);
            r = end;
        }
    }
    if (nodes.size() >= kNoChild) throw Error("character tree too large");
    ByteWriter w;
    w.Raw(VersionHeader(version));
    for (const Node& n : nodes) {
        w.U8(n.ch);
        w.U32(n.firstChild);
        w.U8(n.childCount);  // distinct bytes below 0xDE: always below 256
        w.U32(fileNo << 24 | n.firstRecord);
        w.U16(n.count | (n.complete ? kCompleteFlag : 0));
    }
    return w.Take();
}

uint32_t PackedGenres(const PoiSource& poi) {
    return genre::Pack24(poi.genre.data());
}

}  // namespace

std::vector<std::string> WriteKana(const std::string& root, const std::vector<PoiSource>& pois,
                                   const BaseResult& base, const std::string& version) {
    std::vector<std::string> saturated;
    if (base.ids.size() != pois.size() || base.readings.size() != pois.size()) {
        throw Error("kana index: base data written for " + std::to_string(base.ids.size()) +
                    " POIs, given " + std::to_string(pois.size()));
    }
    std::map<unsigned, FileRecords> files;
    for (size_t i = 0; i < pois.size(); ++i) {
        const std::string what = "POI " + std::to_string(i);
        std::string key;
        try {
            key = NormalisedReading(ReadingToHalfKana(pois[i].reading));
        } catch (const Error& e) {
            throw Error(what + ": " + e.what());
        }
        if (key.empty()) throw Error(what + ": empty reading");
        const uint32_t id = base.ids[i];
        const unsigned fileNo = id >> 24;
        const size_t record = id & 0xFFFFFF;
        if (key != base.readings[i] || fileNo != static_cast<unsigned char>(key[0])) {
            throw Error(what + ": reading \"" + pois[i].reading +
                        "\" does not match its base record");
        }
        FileRecords& file = files[fileNo];
        if (file.keys.size() <= record) {
            file.keys.resize(record + 1);
            file.sources.resize(record + 1, pois.size());
        }
        if (file.sources[record] != pois.size()) throw Error(what + ": POI id used twice");
        file.keys[record] = key;
        file.sources[record] = i;
    }

    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (const auto& [fileNo, file] : files) {
        for (size_t r = 0; r < file.keys.size(); ++r) {
            if (file.sources[r] == pois.size()) {
                throw Error("base file " + std::to_string(fileNo) + ": record " +
                            std::to_string(r) + " has no POI");
            }
            if (r > 0 && file.keys[r] < file.keys[r - 1]) {
                throw Error("base file " + std::to_string(fileNo) + " is not in reading order");
            }
        }
        ByteWriter ofs;
        ByteWriter ofs2;
        ofs.Raw(VersionHeader(version));
        ofs2.Raw(VersionHeader(version));
        for (size_t r = 0; r < file.keys.size(); ++r) {
            const PoiSource& poi = pois[file.sources[r]];
            const std::string what = "POI " + std::to_string(file.sources[r]);
            const uint32_t id = static_cast<uint32_t>(fileNo << 24 | r);
            const uint32_t u = StoredLon(poi.lonMs, what);
            const uint32_t v = StoredLat(poi.latMs, what);
            for (uint32_t g : poi.genre) {
                if (g > 62 && g != 255) throw Error(what + ": genre code " + std::to_string(g));
            }
            ofs.U32(id);
            ofs.U24(PackedGenres(poi));
            ofs.U8(poi.attr);
            ofs2.U32(id);
            ofs2.U8(poi.genre[0]);
            ofs2.U8(poi.genre[1]);
            ofs2.U8(poi.genre[2]);
            ofs2.U24(u);
            ofs2.U24(v);
        }
        char name[16];
        snprintf(name, sizeof(name), "K%03u.idx", fileNo);
        pack.Add(name, TreeImage(fileNo, file, version, &saturated));
        snprintf(name, sizeof(name), "K%03u.ofs", fileNo);
        pack.Add(name, ofs.Take());
        snprintf(name, sizeof(name), "K2%03u.ofs", fileNo);
        pack.Add(name, ofs2.Take());
    }
    pack.Write(root, "KANAMA");
    return saturated;
}

}  // namespace mapdb
