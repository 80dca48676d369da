// The generated source: POIs around a dozen city centres and in the countryside, with readings
// from common syllables, four genre levels, telephone numbers and an arrival point for some.
#include "Generate.h"

#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

namespace navdb {

namespace {

struct City {
    const char* name;
    double lat, lon;
    unsigned weight;
    int area;  // first digit of the area code
};

const City kCities[] = {{"東京", 35.681, 139.767, 30, 3},   {"大阪", 34.702, 135.495, 15, 6},
                        {"名古屋", 35.170, 136.881, 10, 5}, {"札幌", 43.068, 141.350, 6, 1},
                        {"福岡", 33.589, 130.420, 6, 9},    {"仙台", 38.260, 140.882, 4, 2},
                        {"広島", 34.397, 132.475, 4, 8},    {"京都", 34.985, 135.758, 5, 7},
                        {"神戸", 34.690, 135.195, 4, 7},    {"那覇", 26.212, 127.681, 2, 9},
                        {"新潟", 37.912, 139.061, 2, 2},    {"鹿児島", 31.584, 130.558, 2, 9}};

const char* const kSyllables[] = {
    "あ", "い", "う", "え", "お", "か", "き", "く", "け", "こ", "さ", "し", "す", "せ", "そ",
    "た", "ち", "つ", "て", "と", "な", "に", "ぬ", "ね", "の", "は", "ひ", "ふ", "へ", "ほ",
    "ま", "み", "む", "め", "も", "や", "ゆ", "よ", "ら", "り", "る", "れ", "ろ", "わ", "ん",
    "が", "ぎ", "ぐ", "げ", "ご", "ざ", "じ", "だ", "ば", "び", "ぶ", "ぱ", "ぴ", "ー"};
constexpr size_t kFirstSyllables = 44;  // "ん" and the voiced ones do not begin a reading here

const char* const kKinds[] = {"駅", "銀行", "病院", "郵便局", "学校", "公園", "ホテル", "コンビニ"};

}  // namespace

int GenerateSource(size_t n, const std::string& dir) {
    if (mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST) {
        fprintf(stderr, "navdb: cannot create %s: %s\n", dir.c_str(), strerror(errno));
        return 2;
    }
    std::mt19937 rng(20261125);
    std::vector<unsigned> weights;
    for (const City& c : kCities) weights.push_back(c.weight);
    weights.push_back(10);  // the countryside
    std::discrete_distribution<size_t> pickCity(weights.begin(), weights.end());
    std::normal_distribution<double> spread(0.0, 1.0);
    std::uniform_int_distribution<size_t> first(0, kFirstSyllables - 1);
    std::uniform_int_distribution<size_t> any(0, sizeof kSyllables / sizeof *kSyllables - 1);
    std::uniform_int_distribution<int> length(2, 8), genre1(0, 15), genre(0, 9), digit(1, 9);
    std::uniform_int_distribution<int> local(0, 9999999);
    std::uniform_real_distribution<double> lat(31.5, 43.0), lon(130.0, 142.0);

    nlohmann::json pois = nlohmann::json::array();
    for (size_t i = 0; i < n; ++i) {
        std::string reading = kSyllables[first(rng)];
        for (int k = length(rng); k > 1; --k) reading += kSyllables[any(rng)];
        const size_t c = pickCity(rng);
        const bool city = c < sizeof kCities / sizeof *kCities;
        const double la = city ? kCities[c].lat + spread(rng) * 0.045 : lat(rng);
        const double lo = city ? kCities[c].lon + spread(rng) * 0.055 : lon(rng);
        char tel[16];
        snprintf(tel, sizeof tel, "0%d%d%07d", city ? kCities[c].area : 4, digit(rng), local(rng));
        nlohmann::json p = {
            {"id", "p" + std::to_string(i)},
            {"name", std::string(city ? kCities[c].name : "") + "施設" + std::to_string(i) +
                         kKinds[i % (sizeof kKinds / sizeof *kKinds)]},
            {"reading", reading},
            {"genre", {genre1(rng), genre(rng), genre(rng), genre(rng)}},
            {"tel", tel},
            {"lat", std::round(la * 1e6) / 1e6},
            {"lon", std::round(lo * 1e6) / 1e6}};
        if (i % 7 == 0) p["arrivals"] = {{{"name", "入口"}, {"lat", p["lat"]}, {"lon", p["lon"]}}};
        pois.push_back(std::move(p));
    }
    // Households and companies: one for every tenth POI, in the directories' own number range.
    nlohmann::json households = nlohmann::json::array(), companies = nlohmann::json::array();
    for (size_t i = 0; i < n / 10; ++i) {
        const nlohmann::json& p = pois[i * 10];
        char tel[16];
        snprintf(tel, sizeof tel, "06%d%07zu", 1 + static_cast<int>(i % 2) * 5, i / 2 % 10000000);
        nlohmann::json entry = {{"tel", tel},
                                {"reading", p["reading"]},
                                {"text", p["name"]},
                                {"lat", p["lat"]},
                                {"lon", p["lon"]}};
        (i % 2 ? companies : households).push_back(std::move(entry));
    }
    nlohmann::json genres = nlohmann::json::array();
    for (int g = 0; g < 16; ++g)
        genres.push_back(
            {{"code", {g, 0, 0}}, {"name", "分類" + std::to_string(g)}, {"icon", 100 + g}});
    for (const auto& [file, data] :
         {std::pair{"pois.json", &pois}, std::pair{"genres.json", &genres},
          std::pair{"households.json", &households}, std::pair{"companies.json", &companies}}) {
        std::ofstream out(dir + "/" + file, std::ios::binary);
        out << data->dump() << "\n";
        if (!out) {
            fprintf(stderr, "navdb: cannot write %s/%s\n", dir.c_str(), file);
            return 2;
        }
    }
    return 0;
}

}  // namespace navdb
