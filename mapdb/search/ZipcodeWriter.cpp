// Postal code and adjacent-prefecture writers.
#include "ZipcodeWriter.h"

#include <algorithm>
#include <set>

#include "Position.h"
#include "TextTools.h"

namespace mapdb {

namespace {

constexpr size_t kPrefRows = 47;
constexpr uint32_t kMaxPrefID = 46;
constexpr uint32_t kUnused = 255;
constexpr size_t kNameUnits = 4;

bool AllDigits(const std::string& s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

Bytes ZipTable(const std::vector<ZipcodeSource>& records, const char* file,
               const std::string& version) {
    struct Record {
        uint32_t code, lon, lat;
    };
    std::vector<Record> sorted;
    std::set<uint32_t> seen;
    for (size_t i = 0; i < records.size(); ++i) {
        const ZipcodeSource& z = records[i];
        const std::string what =
            std::string(file) + " record " + std::to_string(i) + " (\"" + z.code + "\")";
        const uint32_t code = ZipcodeNumber(z.code, what);
        if (!seen.insert(code).second) throw Error(what + ": code: given twice");
        sorted.push_back({code, StoredLon(z.lonMs, what), StoredLat(z.latMs, what)});
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const Record& a, const Record& b) { return a.code < b.code; });
    ByteWriter w;
    w.Raw(VersionHeader(version));
    for (const Record& r : sorted) w.U24(r.code), w.U24(r.lon), w.U24(r.lat);
    return w.Take();
}

// The name as UTF-16 units; Error for malformed UTF-8, U+0000, more than four characters or one
// outside the Basic Multilingual Plane.
std::vector<uint16_t> NameUnits(const std::string& name, const std::string& what) {
    std::vector<uint16_t> units;
    for (size_t i = 0; i < name.size();) {
        uint32_t cp;
        try {
            cp = NextCodePoint(name, &i);
        } catch (const Error& e) {
            throw Error(what + ": name: " + e.what());
        }
        if (cp == 0 || cp > 0xFFFF) {
            throw Error(what + ": name: \"" + name + "\" holds U+0000 or a character above U+FFFF");
        }
        units.push_back(static_cast<uint16_t>(cp));
    }
    if (units.size() > kNameUnits) {
        throw Error(what + ": name: \"" + name + "\" is longer than four characters");
    }
    return units;
}

}  // namespace

uint32_t ZipcodeNumber(const std::string& code, const std::string& what) {
    std::string digits = code;
    if (code.size() == 8 && code[3] == '-') digits = code.substr(0, 3) + code.substr(4);
    if (digits.size() != 7 || !AllDigits(digits)) {
        throw Error(what + ": code: \"" + code + "\" is neither NNN-NNNN nor NNNNNNN");
    }
    if (digits.compare(0, 3, "000") == 0) {
        throw Error(what + ": code: \"" + code + "\" begins with 000");
    }
    return static_cast<uint32_t>(std::stoul(digits));
}

void WriteZipcode(const std::string& root, const std::vector<ZipcodeSource>& ordinary,
                  const std::vector<ZipcodeSource>& company, const std::string& version) {
    const Bytes z = ZipTable(ordinary, "Z.DAT", version);
    const Bytes cz = ZipTable(company, "CZ.DAT", version);
    MakeDirs(root + "/ZIPCODE");
    WriteFile(root + "/ZIPCODE/Z.DAT", z);
    WriteFile(root + "/ZIPCODE/CZ.DAT", cz);
}

void WriteVicinityPref(const std::string& root, const std::vector<VicinityPrefRow>& rows,
                       const std::string& version) {
    if (rows.size() > kPrefRows) {
        throw Error("VP.DAT: " + std::to_string(rows.size()) + " rows, at most 47 prefectures");
    }
    ByteWriter w;
    w.Raw(VersionHeader(version));
    std::set<uint32_t> owners;
    for (size_t r = 0; r < rows.size(); ++r) {
        for (size_t k = 0; k < 4; ++k) {
            const PrefectureRef& p = rows[r][k];
            const std::string what = "VP.DAT row " + std::to_string(r) + " (iPC id " +
                                     std::to_string(r + 1) + ") place " + std::to_string(k);
            if (p.id == kUnused && k > 0) {
                if (!p.name.empty()) throw Error(what + ": name: given for an unused place");
            } else if (p.id > kMaxPrefID) {
                throw Error(what + ": id: " + std::to_string(p.id) + " is above 46");
            } else if (p.name.empty()) {
                throw Error(what + ": name: empty");
            }
            if (k == 0 && !owners.insert(p.id).second) {
                throw Error(what + ": id: prefecture " + std::to_string(p.id) +
                            " already owns a row");
            }
            const std::vector<uint16_t> units = NameUnits(p.name, what);
            w.U8(p.id);
            for (size_t c = 0; c < kNameUnits; ++c) w.U16(c < units.size() ? units[c] : 0);
        }
    }
    MakeDirs(root + "/VICINITYPREF");
    WriteFile(root + "/VICINITYPREF/VP.DAT", w.Take());
}

}  // namespace mapdb
