// One function per search: the two-call pattern of the library (search, then list a window of
// the hits), with the records turned into UTF-8 rows and JSON.
#include "Queries.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "ByteWriter.h"
#include "SearchProc.h"
#include "TextTools.h"

namespace navdb {

using json = nlohmann::json;

namespace {

constexpr uint32_t kNone = 0x7fffffff;

double Degrees(uint32_t ms) {
    return std::round(ms / 3600000.0 * 1e7) / 1e7;
}

std::string DegreesText(uint32_t ms) {
    char text[32];
    snprintf(text, sizeof text, "%.6f", ms / 3600000.0);
    return text;
}

// Shift_JIS of at most `max` bytes (stopping at a NUL) to UTF-8.
std::string Utf8(const char* sjis, size_t max) {
    return mapdb::SjisToUtf8(std::string(sjis, strnlen(sjis, max)));
}

// The NUL-terminated texts of a record's text area, up to the empty one.
std::vector<std::string> Texts(const CLocationData& r) {
    std::vector<std::string> texts;
    for (size_t at = 0; at < sizeof r.szName && r.szName[at] != 0;) {
        const size_t n = strnlen(r.szName + at, sizeof r.szName - at);
        texts.push_back(Utf8(r.szName + at, n));
        at += n + 1;
    }
    return texts;
}

// A stored number key as typed: a leading 0, and the folded mobile prefixes 010-040 back to
// 070, 080, 090 and 050.
std::string Telephone(uint32_t key) {
    if (key == 0) return "";
    std::string digits = std::to_string(key);
    if (digits.size() == 10 && digits[0] >= '1' && digits[0] <= '4')
        digits[0] = "7895"[digits[0] - '1'];
    return "0" + digits;
}

std::string Hex(uint32_t id) {
    char text[16];
    snprintf(text, sizeof text, "0x%08X", id);
    return text;
}

std::string Join(const std::vector<uint32_t>& v) {
    std::string s;
    for (uint32_t x : v) s += (s.empty() ? "" : ",") + std::to_string(x);
    return s;
}

struct PoiColumns {
    bool distance = false;
};

json PoiJson(const CLocationData& r, const PoiColumns& c) {
    const std::vector<std::string> texts = Texts(r);
    json j = {{"id", r.dwID},
              {"name", texts.empty() ? "" : texts[0]},
              {"texts", texts},
              {"genre", {r.dwGenre1, r.dwGenre2, r.dwGenre3, r.dwGenre4}},
              {"tel", Telephone(r.dwTelNo)},
              {"lat", Degrees(r.lLat)},
              {"lon", Degrees(r.lLon)},
              {"attr", r.dwAttr}};
    if (r.lArrLat != 0 || r.lArrLon != 0)
        j["arrival"] = {{"lat", Degrees(r.lArrLat)}, {"lon", Degrees(r.lArrLon)}};
    if (c.distance) j["distance"] = r.dwDistance, j["direction"] = r.dwDirection;
    return j;
}

Table PoiTable(const std::vector<CLocationData>& records, const PoiColumns& c, json* list) {
    Table t{"", {"id", "name", "genre", "tel", "lat", "lon"}, {}};
    if (c.distance) t.columns.push_back("m");
    for (const CLocationData& r : records) {
        if (r.dwID == 0 || r.dwID == kNone) continue;
        list->push_back(PoiJson(r, c));
        const json& j = list->back();
        t.rows.push_back({Hex(r.dwID), j["name"],
                          Join({r.dwGenre1, r.dwGenre2, r.dwGenre3, r.dwGenre4}), j["tel"],
                          DegreesText(r.lLat), DegreesText(r.lLon)});
        if (c.distance) t.rows.back().push_back(std::to_string(r.dwDistance));
    }
    return t;
}

// The full-width UTF-8 form of one half-width kana byte.
std::string FullWidth(unsigned char half) {
    CStringConvProc conv;
    const unsigned short full = conv.HanToZen(half);
    if (full == 0) return mapdb::SjisToUtf8(std::string(1, static_cast<char>(half)));
    const char sjis[2] = {static_cast<char>(full >> 8), static_cast<char>(full & 0xFF)};
    return mapdb::SjisToUtf8(std::string(sjis, 2));
}

std::string HalfKana(const std::string& reading) {
    try {
        return mapdb::ReadingToHalfKana(reading);
    } catch (const mapdb::Error& e) {
        throw BadInput(std::string("reading is not kana: ") + e.what());
    }
}

uint32_t Genre(const std::vector<uint32_t>& g, size_t i) {
    return i < g.size() ? g[i] : 255;
}

}  // namespace

void OpenDatabase(const std::string& db) {
    struct stat st;
    if (stat(db.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        throw BadInput("no database folder " + db);
    if (db.size() >= 255) throw BadInput("database path longer than 254 bytes");
    std::string root = db;
    while (root.size() > 1 && root.back() == '/') root.pop_back();
    CCommonProc::SetPath(root.c_str());
    CCommonProc::EnableDB(true);
    CCommonProc::EnableSD(false);
}

uint32_t ParseNumber(const std::string& text, const std::string& what) {
    char* end = nullptr;
    errno = 0;
    // Decimal, or hexadecimal after "0x" (a leading 0 is not octal).
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned long long v = strtoull(text.c_str() + (hex ? 2 : 0), &end, hex ? 16 : 10);
    if (text.empty() || !isxdigit(static_cast<unsigned char>(text[hex ? 2 : 0])) || *end != 0 ||
        errno != 0 || v > 0xFFFFFFFFull) {
        throw BadInput(what + " \"" + text + "\" is not a number");
    }
    return static_cast<uint32_t>(v);
}

std::vector<uint32_t> ParseCodes(const std::string& text, size_t max, const std::string& what) {
    std::vector<uint32_t> codes;
    size_t at = 0;
    while (!text.empty() && at <= text.size()) {
        const size_t comma = std::min(text.find(',', at), text.size());
        codes.push_back(ParseNumber(text.substr(at, comma - at), what));
        if (codes.back() > 255) throw BadInput(what + " codes are 0-255");
        at = comma + 1;
    }
    if (codes.size() > max) throw BadInput(what + ": at most " + std::to_string(max) + " codes");
    return codes;
}

Report KanaQuery(const std::string& reading, const std::vector<uint32_t>& genre,
                 const Window& window) {
    std::string half = HalfKana(reading);
    if (half.size() > 512) throw BadInput("reading longer than 512 kana");
    CSearchKanaProc kana;
    unsigned long count = 0;
    const unsigned long rc = kana.SearchProc(&count, reinterpret_cast<unsigned char*>(half.data()));
    Report out;
    if (rc == 0) count = 0;
    const unsigned long g[4] = {Genre(genre, 0), Genre(genre, 1), Genre(genre, 2), Genre(genre, 3)};
    const bool filtered = !genre.empty();
    const unsigned long total =
        filtered && count > 0 ? kana.GetRefinedTotal(g[0], g[1], g[2], g[3]) : count;
    std::vector<std::string> next;
    for (unsigned long k = 0; rc != 0 && k < 49; ++k) {
        if (kana.GetKeyState(k) == 0) continue;
        const unsigned char half = k < 45    ? 0xB1 + k
                                   : k == 45 ? 0xA6
                                   : k == 46 ? 0xB0
                                   : k == 47 ? 0xDF
                                             : 0xDE;
        next.push_back(FullWidth(half));
    }
    std::vector<CLocationData> records(window.Size(total));
    if (!records.empty())
        kana.GetList(records.data(), window.start, records.size(), g[0], g[1], g[2], g[3]);
    json list = json::array();
    out.tables.push_back(PoiTable(records, {}, &list));
    out.found = total > 0;
    std::string keys;
    for (const std::string& k : next) keys += k;
    out.json = {{"reading", reading},
                {"count", total},
                {"complete", rc == 2 && count > 0},
                {"next", next},
                {"pois", list}};
    out.fields = {{"reading", reading},
                  {"count", std::to_string(total)},
                  {"complete", rc == 2 && count > 0 ? "yes" : "no"},
                  {"next keys", keys}};
    if (filtered) out.json["genre"] = genre, out.fields.push_back({"genre", Join(genre)});
    return out;
}

Report GenreQuery(const std::vector<uint32_t>& levels, const Window& window) {
    for (size_t i = 0; i < levels.size(); ++i) {
        if ((i < 4 && levels[i] > 62) || levels[i] > 254) {
            throw BadInput("genre level " + std::to_string(i + 1) + " is " +
                           std::to_string(levels[i]) + " (levels 1-4 are 0-62, level 5 0-254)");
        }
    }
    // Missing levels: "all" (255), and at level 4, which has no "all", 63.
    const uint32_t fill[5] = {255, 255, 255, 63, 255};
    auto keyWith = [&](size_t depth, uint32_t extra) {
        std::array<unsigned long, 5> k;
        for (size_t i = 0; i < 5; ++i)
            k[i] = i < levels.size() ? levels[i] : i == depth ? extra : fill[i];
        return k;
    };
    CSearchGenreProc search;
    Report out;
    unsigned long count = 0;
    json list = json::array();
    if (!levels.empty()) {
        const auto k = keyWith(5, 0);  // the given levels, the rest "all"
        if (search.SearchProc(&count, k[0], k[1], k[2], k[3], k[4]) != 1) count = 0;
        std::vector<CLocationData> records(window.Size(count));
        if (!records.empty()) search.GetList(records.data(), window.start, records.size());
        out.tables.push_back(PoiTable(records, {}, &list));
    }
    // The codes of the next level that hold POIs.
    Table sub{"next level", {"code", "count"}, {}};
    json subJson = json::array();
    const size_t depth = levels.size();
    for (uint32_t code = 0; depth < 5 && code < (depth < 4 ? 63u : 255u); ++code) {
        const auto k = keyWith(depth, code);
        unsigned long n = 0;
        if (search.SearchProc(&n, k[0], k[1], k[2], k[3], k[4]) != 1 || n == 0) continue;
        sub.rows.push_back({std::to_string(code), std::to_string(n)});
        subJson.push_back({{"code", code}, {"count", n}});
    }
    if (depth < 5) out.tables.push_back(sub);
    out.found = count > 0 || (levels.empty() && !subJson.empty());
    out.json = {{"levels", levels}, {"count", count}, {"pois", list}, {"next", subJson}};
    out.fields = {{"levels", levels.empty() ? "(top)" : Join(levels)},
                  {"count", std::to_string(count)}};
    return out;
}

Report NearQuery(double lat, double lon, double radiusMetres, const std::vector<uint32_t>& genre,
                 const Window& window) {
    uint32_t latMs, lonMs;
    if (!std::isfinite(lat) || lat <= 0 || lat >= 90 || !std::isfinite(lon) || lon <= 0 ||
        lon >= 360) {
        throw BadInput("position must be decimal degrees north and east");
    }
    latMs = static_cast<uint32_t>(std::llround(lat * 3600000.0));
    lonMs = static_cast<uint32_t>(std::llround(lon * 3600000.0));
    if (!(radiusMetres > 0) || radiusMetres > 50000)
        throw BadInput("radius must be 1 to 50000 metres");
    if (genre.empty() || genre[0] > 31) throw BadInput("genre class must be 0-31");
    CVicinityProc search;
    unsigned long count = 0;
    const int radius = static_cast<int>(std::lround(radiusMetres / 10.0));
    if (search.SearchProc(&count, latMs, lonMs, radius < 1 ? 1 : radius, genre[0], Genre(genre, 1),
                          Genre(genre, 2)) != 1) {
        count = 0;
    }
    std::vector<CLocationData> records(window.Size(count));
    if (!records.empty()) search.GetList(records.data(), window.start, records.size());
    Report out;
    json list = json::array();
    out.tables.push_back(PoiTable(records, {true}, &list));
    unsigned long mask = 0;
    std::vector<uint32_t> classes;
    if (search.IsGenreEnabled(&mask, latMs, lonMs, 255, 255, 255) == 1) {
        for (uint32_t c = 0; c < 32; ++c) {
            if (mask >> c & 1) classes.push_back(c);
        }
    }
    out.found = count > 0;
    out.json = {{"count", count}, {"pois", list}, {"classes_within_20km", classes}};
    out.fields = {{"count", std::to_string(count)}, {"classes within 20 km", Join(classes)}};
    return out;
}

Report PhoneQuery(const std::string& number, const std::string& reading, const Window& window) {
    std::string digits;
    for (char c : number) {
        if (c == '-' || c == ' ') continue;
        if (c < '0' || c > '9') throw BadInput("number \"" + number + "\" is not digits");
        digits += c;
    }
    if (digits.empty() || digits.size() > 12) throw BadInput("number must have 1 to 12 digits");
    unsigned char buf[13] = {};
    memcpy(buf, digits.data(), digits.size());
    CSearchPhoneProc phone;
    unsigned long kind = 0, count = 0;
    if (!phone.SearchPhoneProc(&kind, &count, buf)) {
        throw BadInput(
            "the database cannot answer telephone searches (TELEPHONE or HOMEPHONE missing)");
    }
    static const char* const kKinds[] = {"none", "poi", "company", "household", "area"};
    Report out;
    out.json = {{"number", digits}, {"kind", kKinds[kind < 5 ? kind : 0]}, {"count", count}};
    out.fields = {{"number", digits},
                  {"answered by", kKinds[kind < 5 ? kind : 0]},
                  {"count", std::to_string(count)}};
    out.found = count > 0;
    unsigned long listed = count;
    if (kind == 3) {
        listed = 0;
        if (reading.empty())
            out.fields.push_back({"records", "shown for a name reading (--reading)"});
        if (!reading.empty()) {
            std::string half = HalfKana(reading);
            unsigned long matched = 0;
            if (phone.CheckKanaProc(&matched, reinterpret_cast<unsigned char*>(half.data())))
                listed = matched;
            out.json["matched"] = listed;
            out.fields.push_back({"matching the reading", std::to_string(listed)});
        }
    }
    // The area point is one record whatever the window.
    std::vector<CLocationData> records(kind == 4 ? 1 : window.Size(listed));
    if (!records.empty()) phone.GetList(records.data(), window.start, records.size());
    json list = json::array();
    if (kind == 4 && !records.empty()) {
        list.push_back({{"lat", Degrees(records[0].lLat)}, {"lon", Degrees(records[0].lLon)}});
        out.tables.push_back({"area point",
                              {"lat", "lon"},
                              {{DegreesText(records[0].lLat), DegreesText(records[0].lLon)}}});
    } else {
        // Directory records carry no POI id: list them by position.
        Table t{"", {"name", "tel", "lat", "lon"}, {}};
        for (const CLocationData& r : records) {
            if (r.szName[0] == 0 && r.lLat == 0) continue;
            json j = PoiJson(r, {});
            t.rows.push_back({j["name"], j["tel"], DegreesText(r.lLat), DegreesText(r.lLon)});
            list.push_back(j);
        }
        out.tables.push_back(t);
    }
    out.json["records"] = list;
    return out;
}

Report AddressQuery(const std::string& path, const std::vector<uint32_t>& genre,
                    const Window& window) {
    std::vector<uint32_t> steps;
    size_t at = 0;
    while (!path.empty() && at <= path.size()) {
        const size_t slash = std::min(path.find('/', at), path.size());
        steps.push_back(ParseNumber(path.substr(at, slash - at), "path position"));
        at = slash + 1;
    }
    CSearchAddressProc address;
    unsigned long count = 0;
    if (address.InitProc(&count) == 0 || count == 0)
        throw BadInput("the database has no address data");
    bool leaf = false;
    for (size_t i = 0; i < steps.size(); ++i) {
        if (leaf)
            throw BadInput("path goes below a complete address at step " + std::to_string(i + 1));
        if (steps[i] >= count) {
            throw BadInput("position " + std::to_string(steps[i]) + " at step " +
                           std::to_string(i + 1) + " is beyond the list of " +
                           std::to_string(count));
        }
        const unsigned long rc = address.SearchNextProc(&count, steps[i]);
        if (rc == 0x3fffffff) {
            leaf = true;
        } else if (rc == 0) {
            throw BadInput("step " + std::to_string(i + 1) + " cannot be read");
        }
    }
    Report out;
    std::vector<char> text(16384);
    address.GetCurrentAddressUni(text.data());
    unsigned long lng = 0, lat = 0;
    address.GetCurrentCoordinate(&lng, &lat);
    out.json = {{"path", steps},
                {"address", std::string(text.data())},
                {"level", address.GetCurrentLevel()},
                {"complete", leaf}};
    out.fields = {{"address", text.data()},
                  {"level", std::to_string(address.GetCurrentLevel())},
                  {"complete", leaf ? "yes" : "no"}};
    if (!steps.empty()) {
        out.json["lat"] = Degrees(lat), out.json["lon"] = Degrees(lng);
        out.fields.push_back({"position", DegreesText(lat) + " " + DegreesText(lng)});
    }
    json items = json::array();
    if (!leaf) {
        Table t{"list", {"pos", "name", "kana", "lat", "lon", "enabled", "below"}, {}};
        const size_t n = window.Size(count);
        std::vector<CLocationData> page(500);
        std::vector<CAddressData> items500(500);
        for (size_t done = 0; done < n; done += 500) {
            const size_t start = window.start + done, take = std::min<size_t>(500, n - done);
            for (auto& r : page) r.FlushData();
            address.GetList(page.data(), start, take, Genre(genre, 0), Genre(genre, 1),
                            Genre(genre, 2));
            // The same items as address records: how many items lie below each.
            const unsigned long got = address.GetData(items500.data(), start, take);
            for (size_t k = 0; k < take; ++k) {
                const CLocationData& r = page[k];
                const bool leafItem = k >= got || items500[k].dwChildStart == 0x3fffffff;
                const uint32_t below = leafItem ? 0 : items500[k].dwChildCount;
                const unsigned char kana = r.dwWork & 0xFF;
                const std::string name = Utf8(r.szName, sizeof r.szName);
                items.push_back({{"position", start + k},
                                 {"name", name},
                                 {"kana", kana ? FullWidth(kana) : ""},
                                 {"lat", Degrees(r.lLat)},
                                 {"lon", Degrees(r.lLon)},
                                 {"enabled", r.dwEnable != 0},
                                 {"below", below}});
                t.rows.push_back({std::to_string(start + k), name, kana ? FullWidth(kana) : "",
                                  DegreesText(r.lLat), DegreesText(r.lLon),
                                  r.dwEnable ? "yes" : "no", std::to_string(below)});
            }
        }
        out.tables.push_back(t);
    }
    out.json["count"] = leaf ? 0 : count;
    out.json["items"] = items;
    out.found = leaf || count > 0;
    return out;
}

Report ZipQuery(const std::string& code) {
    std::string digits;
    for (char c : code) {
        if (c == '-') continue;
        if (c < '0' || c > '9') throw BadInput("postal code \"" + code + "\" is not digits");
        digits += c;
    }
    if (digits.size() != 3 && digits.size() != 7) throw BadInput("a postal code has 3 or 7 digits");
    CSearchZipcodeProc zip;
    CLocationData r;
    r.FlushData();
    Report out;
    out.found = zip.GetData(&r, reinterpret_cast<unsigned char*>(digits.data())) == 1;
    out.json = {{"code", digits}, {"found", out.found}};
    out.fields = {{"code", digits}};
    if (out.found) {
        CLocationData probe;
        probe.FlushData();
        const bool ordinary = zip.LoadData(&probe, r.dwTelAux) == 1;
        out.json["table"] = ordinary ? "ordinary" : "company";
        out.json["lat"] = Degrees(r.lLat), out.json["lon"] = Degrees(r.lLon);
        out.fields.push_back({"table", ordinary ? "ordinary" : "company"});
        out.fields.push_back({"position", DegreesText(r.lLat) + " " + DegreesText(r.lLon)});
    }
    return out;
}

Report ConvAddrQuery(const std::vector<uint32_t>& codes) {
    if (codes.size() < 2 || codes.size() > 3) throw BadInput("an area code has two or three parts");
    CConvAddressProc conv;
    const uint32_t c3 = codes.size() == 3 ? codes[2] : 0;
    unsigned long p0 = 0, p1 = 0, p2 = 0;
    Report out;
    out.found = conv.LoadData(&p0, &p1, &p2, codes[0], codes[1], c3) == 1 &&
                conv.ConvAddressProc(codes[0], codes[1], c3) == 1;
    out.json = {{"codes", codes}, {"found", out.found}};
    out.fields = {{"codes", Join(codes)}};
    if (out.found) {
        std::vector<uint32_t> path = {static_cast<uint32_t>(p0), static_cast<uint32_t>(p1)};
        if (p2 != 65535) path.push_back(static_cast<uint32_t>(p2));
        std::vector<char> text(16384);
        conv.GetCurrentAddressUni(text.data());
        unsigned long lng = 0, lat = 0;
        conv.GetCurrentCoordinate(&lng, &lat);
        out.json["path"] = path, out.json["address"] = std::string(text.data());
        out.json["lat"] = Degrees(lat), out.json["lon"] = Degrees(lng);
        out.fields.push_back({"path", Join(path)});
        out.fields.push_back({"address", text.data()});
        out.fields.push_back({"position", DegreesText(lat) + " " + DegreesText(lng)});
    }
    return out;
}

Report ParkingQuery(uint32_t poiId, const Window& window) {
    CSearchAlliedParkingProc parking;
    unsigned long count = 0;
    if (parking.SearchProc(&count, poiId) != 1)
        throw BadInput("the database has no allied parking data");
    std::vector<CLocationData> records(window.Size(count));
    if (!records.empty()) parking.GetList(records.data(), window.start, records.size());
    Report out;
    json list = json::array();
    out.tables.push_back(PoiTable(records, {}, &list));
    out.found = count > 0;
    out.json = {{"facility", poiId}, {"count", count}, {"pois", list}};
    out.fields = {{"facility", Hex(poiId)}, {"count", std::to_string(count)}};
    return out;
}

Report ArrivalQuery(uint32_t poiId) {
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    if (arrival.SearchProc(&count, poiId) == 0) count = 0;
    std::vector<CLocationData> records(count);
    if (count > 0) arrival.GetList(records.data(), 0, count);
    Report out;
    Table t{"", {"name", "lat", "lon", "attr"}, {}};
    json list = json::array();
    for (const CLocationData& r : records) {
        const std::string name = Utf8(r.szName, sizeof r.szName);
        list.push_back({{"name", name},
                        {"lat", Degrees(r.lArrLat)},
                        {"lon", Degrees(r.lArrLon)},
                        {"attr", r.dwArrAttr}});
        t.rows.push_back(
            {name, DegreesText(r.lArrLat), DegreesText(r.lArrLon), std::to_string(r.dwArrAttr)});
    }
    out.tables.push_back(t);
    out.found = count > 0;
    out.json = {{"poi", poiId}, {"count", count}, {"points", list}};
    out.fields = {{"poi", Hex(poiId)}, {"count", std::to_string(count)}};
    return out;
}

Report SapaQuery(const std::string& id) {
    if (id.size() != 10) throw BadInput("an SA/PA id has ten characters");
    SAPAInfo sapa;
    CSAPAData d;
    memset(&d, 0, sizeof d);
    Report out;
    out.found = sapa.GetSAPAData(&d, id.c_str()) == 1;
    out.json = {{"id", id}, {"found", out.found}};
    out.fields = {{"id", id}};
    if (!out.found) return out;
    std::vector<uint32_t> values(d.dwValue, d.dwValue + 5), facilities;
    for (size_t i = 0; i < sizeof d.blFacility; ++i) {
        if (d.blFacility[i]) facilities.push_back(static_cast<uint32_t>(i));
    }
    const std::string name = Utf8(d.szName, sizeof d.szName),
                      text = Utf8(d.szText, sizeof d.szText);
    out.json.update({{"name", name},
                     {"text", text},
                     {"kind", d.byKind},
                     {"values", values},
                     {"flags", d.dwFlag},
                     {"value6", d.dwValue6},
                     {"facilities", facilities}});
    out.fields.insert(out.fields.end(), {{"name", name},
                                         {"text", text},
                                         {"kind", std::to_string(d.byKind)},
                                         {"values", Join(values)},
                                         {"flags", Hex(d.dwFlag)},
                                         {"value6", std::to_string(d.dwValue6)},
                                         {"facilities", Join(facilities)}});
    return out;
}

Report IntroQuery(uint32_t poiId) {
    CSearchIntroProc intro;
    std::vector<char> open(4 * CSearchIntroProc::kTextSize),
        closed(4 * CSearchIntroProc::kTextSize);
    if (intro.SearchProc(poiId) != 0) {
        intro.GetOpenTimeUni(open.data());
        intro.GetCloseDayUni(closed.data());
    }
    CSearchAddFunctionProc functions;
    unsigned long attr = kNone;
    functions.GetData(&attr, poiId);
    Report out;
    const std::string o = open.data(), c = closed.data();
    out.found = !o.empty() || !c.empty() || attr != kNone;
    out.json = {{"poi", poiId}, {"open", o}, {"closed", c}};
    out.fields = {{"poi", Hex(poiId)}, {"open", o}, {"closed", c}};
    if (attr != kNone)
        out.json["functions"] = attr, out.fields.push_back({"functions", std::to_string(attr)});
    return out;
}

Report PrefQuery(uint32_t id, bool deviceId) {
    CSearchVicinityPrefDataProc pref;
    PREF_DATA d;
    memset(&d, 0, sizeof d);
    Report out;
    out.found = (deviceId ? pref.GetListByVelaID(&d, id) : pref.GetListByiPCID(&d, id)) == 1;
    out.json = {{"id", id}, {"found", out.found}};
    out.fields = {{deviceId ? "device id" : "id", std::to_string(id)}};
    if (!out.found) return out;
    Table t{"", {"id", "name"}, {}};
    json list = json::array();
    for (size_t k = 0; k < 4; ++k) {
        if (d.dwID[k] == 255) continue;
        const std::string name(d.szName[k], strnlen(d.szName[k], sizeof d.szName[k]));
        list.push_back({{"id", d.dwID[k]}, {"name", name}});
        t.rows.push_back({std::to_string(d.dwID[k]), name});
    }
    out.json["prefectures"] = list;
    out.tables.push_back(t);
    return out;
}

}  // namespace navdb
