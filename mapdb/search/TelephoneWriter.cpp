// Genre icon data, telephone index and area point writers.
#include "TelephoneWriter.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "PackWriter.h"
#include "PhoneNumber.h"
#include "Position.h"
#include "TextTools.h"
#include "foundation/Bytes.h"
#include "search/PhoneKey.h"

namespace mapdb {

namespace {

constexpr size_t kGenreName = 72;  // name field, NUL-terminated
constexpr size_t kGenreRecord = 80;

std::string PackName(const char* prefix, uint32_t selector, const char* ext) {
    char name[16];
    snprintf(name, sizeof(name), "%s%03u.%s", prefix, selector, ext);
    return name;
}

}  // namespace

void WriteGenreData(const std::string& root, const std::vector<GenreDataRecord>& records,
                    const std::string& version) {
    ByteWriter out;
    out.Raw(VersionHeader(version));
    for (size_t i = 0; i < records.size(); ++i) {
        const GenreDataRecord& r = records[i];
        const std::string name = Utf8ToSjis(r.name);
        if (name.size() >= kGenreName || name.find('\0') != std::string::npos) {
            throw Error("genre record " + std::to_string(i) + ": name \"" + r.name +
                        "\" is longer than 71 bytes or holds a NUL");
        }
        out.Fixed(name, kGenreName);
        out.U8(r.code1), out.U8(r.code2), out.U8(r.code3);
        out.Zeros(3);
        out.U16(r.iconId);
    }
    static_assert(kGenreName + 3 + 3 + 2 == kGenreRecord, "genre records are 80 bytes");
    MakeDirs(root + "/GENRE");
    WriteFile(root + "/GENRE/GENREDATA.DAT", out.bytes());
}

void WriteTelephone(const std::string& root, const std::vector<TelephoneEntry>& entries,
                    const std::string& version) {
    struct Row {
        uint32_t key;
        uint32_t id;
    };
    std::map<uint32_t, std::vector<Row>> files;
    for (size_t i = 0; i < entries.size(); ++i) {
        const uint32_t key = CheckedPhoneKey(entries[i].number, phone_key::Directory,
                                             "telephone record " + std::to_string(i));
        files[phone_key::Selector(key)].push_back({key, entries[i].poiId});
    }
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (auto& [selector, rows] : files) {
        std::stable_sort(rows.begin(), rows.end(),
                         [](const Row& a, const Row& b) { return a.key < b.key; });
        ByteWriter idx;
        idx.Raw(VersionHeader(version));
        for (const Row& r : rows) idx.U32(r.key), idx.U32(r.id);
        pack.Add(PackName("T", selector, "idx"), idx.Take());
    }
    pack.Write(root, "TELEPHONE");
}

void WritePhonePoint(const std::string& root, const std::vector<AreaPoint>& points,
                     const std::string& version) {
    struct Row {
        uint32_t key;
        uint32_t u, v;
    };
    std::map<uint32_t, std::map<uint32_t, Row>> files;
    for (size_t i = 0; i < points.size(); ++i) {
        const AreaPoint& p = points[i];
        const std::string what = "area point " + std::to_string(i);
        const uint32_t key =
            phone_key::AreaPrefix(CheckedPhoneKey(p.prefix, phone_key::Area, what));
        const Row row{key, StoredLon(p.lonMs, what), StoredLat(p.latMs, what)};
        if (!files[phone_key::Selector(key)].emplace(key, row).second) {
            throw Error(what + " (prefix \"" + p.prefix + "\"): prefix key " + std::to_string(key) +
                        " is listed twice");
        }
    }
    PackWriter pack;
    pack.SetDatHeader(VersionHeader(version));
    for (const auto& [selector, rows] : files) {
        ByteWriter dat;
        dat.Raw(VersionHeader(version));
        for (const auto& [key, r] : rows) dat.U24(r.key), dat.U24(r.u), dat.U24(r.v);
        pack.Add(PackName("PP", selector, "dat"), dat.Take());
    }
    pack.Write(root, "PHONEPOINT");
}

}  // namespace mapdb
