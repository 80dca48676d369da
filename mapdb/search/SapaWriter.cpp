// SA/PA information and allied parking writers.
#include "SapaWriter.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <utility>

#include "TextTools.h"

namespace mapdb {

namespace {

constexpr size_t kIdSize = 10;
constexpr size_t kNameMax = 32;
constexpr size_t kTextMax = 47;  // the reader refuses 48 bytes before CR LF
constexpr uint32_t kMaxStart = 999999;

std::string Sjis(const std::string& utf8, const std::string& what, const char* field) {
    try {
        return Utf8ToSjis(utf8);
    } catch (const Error& e) {
        throw Error(what + ": " + field + ": " + e.what());
    }
}

Bytes Record(const SapaSource& s, const std::string& what) {
    ByteWriter w;
    w.U8(s.kind);
    for (size_t i = 0; i < s.values.size(); ++i) {
        if (s.values[i] > 0xFFFF) {
            throw Error(what + ": value " + std::to_string(i + 1) + ": " +
                        std::to_string(s.values[i]) + " exceeds 16 bits");
        }
        w.U16(s.values[i]);
    }
    w.U32(s.flags);
    if (s.value6 > 0xFFFFFF) {
        throw Error(what + ": value 6: " + std::to_string(s.value6) + " exceeds 24 bits");
    }
    w.U24(s.value6);
    const std::string name = Sjis(s.name, what, "name");
    if (name.size() > kNameMax) throw Error(what + ": name: longer than 32 Shift_JIS bytes");
    if (name.find(',') != std::string::npos) throw Error(what + ": name: holds \",\"");
    const std::string text = Sjis(s.text, what, "text");
    if (text.size() > kTextMax) throw Error(what + ": text: longer than 47 Shift_JIS bytes");
    if (text.find("\r\n") != std::string::npos) throw Error(what + ": text: holds CR LF");
    w.Str(name), w.U8(','), w.Str(text), w.Str("\r\n");
    return w.Take();
}

}  // namespace

void WriteSapaInfo(const std::string& root, const std::vector<SapaSource>& records, bool sdName,
                   const std::string& version) {
    std::vector<std::pair<std::string, size_t>> order;
    std::set<std::string> seen;
    for (size_t i = 0; i < records.size(); ++i) {
        const std::string what =
            "SAPAINFO record " + std::to_string(i) + " (\"" + records[i].id + "\")";
        if (records[i].id.size() != kIdSize) throw Error(what + ": id: not ten bytes");
        if (!seen.insert(records[i].id).second) throw Error(what + ": id: given twice");
        order.emplace_back(records[i].id, i);
    }
    std::sort(order.begin(), order.end());  // std::string orders as unsigned bytes, like memcmp

    ByteWriter index, data;
    index.Raw(VersionHeader(version)), data.Raw(VersionHeader(version));
    for (const auto& [id, i] : order) {
        const std::string what = "SAPAINFO record " + std::to_string(i) + " (\"" + id + "\")";
        if (data.size() > kMaxStart) throw Error(what + ": start: beyond six digits");
        char digits[8];
        snprintf(digits, sizeof(digits), "%06u", static_cast<unsigned>(data.size()));
        index.Str(id), index.Str(digits);
        data.Raw(Record(records[i], what));
    }
    MakeDirs(root + "/SAPAINFO");
    WriteFile(root + "/SAPAINFO/SAPAID.IDX", index.bytes());
    WriteFile(root + (sdName ? "/SAPAINFO/SAPAID.DAT" : "/SAPAINFO/SAPA.DAT"), data.bytes());
}

void WriteParking(const std::string& root, const std::vector<ParkingPair>& pairs,
                  const std::string& version) {
    std::set<std::pair<uint32_t, uint32_t>> seen;
    for (size_t i = 0; i < pairs.size(); ++i) {
        if (!seen.emplace(pairs[i].facility, pairs[i].parking).second) {
            throw Error("PARKING pair " + std::to_string(i) +
                        ": parking: given twice for facility " + std::to_string(pairs[i].facility));
        }
    }
    std::vector<ParkingPair> sorted = pairs;
    std::stable_sort(sorted.begin(), sorted.end(), [](const ParkingPair& a, const ParkingPair& b) {
        return a.facility < b.facility;
    });
    if (!sorted.empty() && sorted.back().facility - sorted.front().facility >= 0x80000000u) {
        throw Error("PARKING pair with facility " + std::to_string(sorted.back().facility) +
                    ": facility: ids span 2^31 or more from " +
                    std::to_string(sorted.front().facility));
    }
    ByteWriter w;
    w.Raw(VersionHeader(version));
    for (const ParkingPair& p : sorted) w.U32(p.facility), w.U32(p.parking);
    MakeDirs(root + "/PARKING");
    WriteFile(root + "/PARKING/TK.DAT", w.bytes());
}

}  // namespace mapdb
