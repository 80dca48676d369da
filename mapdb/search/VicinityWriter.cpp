// Vicinity data set writer: POIs grouped by genre class and primary mesh, keyed by cell.
#include "VicinityWriter.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>

#include "PackWriter.h"
#include "search/MeshGeometry.h"

namespace mapdb {

MeshCell MeshCellOf(uint32_t latMs, uint32_t lonMs) {
    const uint32_t lat = latMs / 10;
    const uint32_t lon = lonMs / 10;
    if (lon < mesh::kWestEdge) {
        throw Error("longitude " + std::to_string(lonMs) + " ms lies west of 100 degrees east");
    }
    const uint32_t latIndex = lat / mesh::kHeight;
    const uint32_t lonIndex = (lon - mesh::kWestEdge) / mesh::kWidth;
    if (latIndex > 99 || lonIndex > 99) {
        throw Error("position " + std::to_string(latMs) + "/" + std::to_string(lonMs) +
                    " ms has no four-digit mesh code");
    }
    return {latIndex * 100 + lonIndex, mesh::NestedIndex(lat % mesh::kHeight, mesh::kCellHeight),
            mesh::NestedIndex((lon - mesh::kWestEdge) % mesh::kWidth, mesh::kCellWidth)};
}

void WriteVicinity(const std::string& root, const std::vector<VicinityPoi>& pois,
                   const std::string& version) {
    struct Entry {
        uint32_t key;
        uint32_t genre2;
        uint32_t genre3;
        uint32_t id;
    };
    std::map<std::pair<uint32_t, uint32_t>, std::vector<Entry>> files;  // (class, mesh)
    for (const VicinityPoi& p : pois) {
        if (p.genre1 > 31) {
            throw Error("POI " + std::to_string(p.id) + ": genre class " +
                        std::to_string(p.genre1) + " is above 31");
        }
        if (p.genre2 > 255 || p.genre3 > 255) {
            throw Error("POI " + std::to_string(p.id) + ": level-2/3 codes must fit a byte");
        }
        const MeshCell c = MeshCellOf(p.latMs, p.lonMs);
        files[{p.genre1, c.mesh}].push_back(
            {c.y * static_cast<uint32_t>(mesh::kRowFactor) + c.x, p.genre2, p.genre3, p.id});
    }
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (auto& [which, entries] : files) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& a, const Entry& b) { return a.key < b.key; });
        ByteWriter w;
        w.Raw(VersionHeader(version));
        for (const Entry& e : entries) {
            w.U32(e.key);
            w.U8(e.genre2);
            w.U8(e.genre3);
            w.U32(e.id);
        }
        char name[16];
        snprintf(name, sizeof(name), "V%02u%04u.dat", which.first, which.second);
        pack.Add(name, w.Take());
    }
    pack.Write(root, "VICINITY");
}

std::vector<VicinityPoi> VicinityFromBase(const std::vector<PoiSource>& pois,
                                          const std::vector<uint32_t>& ids) {
    if (ids.size() != pois.size()) throw Error("one POI id is needed per base POI");
    std::vector<VicinityPoi> out;
    out.reserve(pois.size());
    for (size_t i = 0; i < pois.size(); ++i) {
        const PoiSource& p = pois[i];
        if (p.genre[0] == 255) continue;
        out.push_back({ids[i], p.lonMs, p.latMs, p.genre[0] % 32, p.genre[1], p.genre[2]});
    }
    return out;
}

}  // namespace mapdb
