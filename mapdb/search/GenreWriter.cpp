// Genre data set writer.
#include "GenreWriter.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "PackWriter.h"
#include "search/GenreFilter.h"

namespace mapdb {

namespace {

// Validates a key and returns it in the order the reader compares it (levels 1-3 with "all"
// as 255, which sorts after every code).
std::array<uint32_t, 5> CheckedKey(const GenrePoi& poi, size_t i) {
    const std::string what =
        "genre entry " + std::to_string(i) + " (POI id " + std::to_string(poi.id) + ")";
    for (int level = 0; level < 3; ++level) {
        const uint32_t v = poi.key[level];
        if (v != 255 && v > 62) {
            throw Error(what + ": level " + std::to_string(level + 1) + " value " +
                        std::to_string(v) + " is neither 0-62 nor 255 (all)");
        }
    }
    if (poi.key[3] > 63) {
        throw Error(what + ": level 4 value " + std::to_string(poi.key[3]) +
                    " above 63 (level 4 has no stored \"all\")");
    }
    if (poi.key[4] > 255) {
        throw Error(what + ": level 5 value " + std::to_string(poi.key[4]) + " above 255");
    }
    return poi.key;
}

}  // namespace

void WriteGenre(const std::string& root, const std::vector<GenrePoi>& pois,
                const std::string& version) {
    // level 1 -> (widened key -> ids); std::map orders the keys as the reader compares them.
    std::map<uint32_t, std::map<std::array<uint32_t, 5>, std::vector<uint32_t>>> files;
    for (size_t i = 0; i < pois.size(); ++i) {
        const std::array<uint32_t, 5> key = CheckedKey(pois[i], i);
        files[key[0]][key].push_back(pois[i].id);
    }

    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (auto& [key1, entries] : files) {
        ByteWriter idx;
        ByteWriter ofs;
        idx.Raw(VersionHeader(version));
        ofs.Raw(VersionHeader(version));
        uint64_t position = 0;
        for (auto& [key, ids] : entries) {
            std::stable_sort(ids.begin(), ids.end());
            if (position + ids.size() > 0xFFFFFFFFu) throw Error("genre offset file too large");
            idx.U24(genre::Pack6(key[0]) << 18 | genre::Pack6(key[1]) << 12 |
                    genre::Pack6(key[2]) << 6 | key[3]);
            idx.U8(key[4]);
            idx.U32(static_cast<uint32_t>(position));
            idx.U32(static_cast<uint32_t>(ids.size()));
            for (uint32_t id : ids) ofs.U32(id);
            position += ids.size();
        }
        char name[16];
        snprintf(name, sizeof(name), "G%03u", key1);
        pack.Add(std::string(name) + ".idx", idx.Take());
        pack.Add(std::string(name) + ".ofs", ofs.Take());
    }
    pack.Write(root, "GENRE");
}

}  // namespace mapdb
