// Deterministic Japan-scale POI generator.
#include "common/JapanDb.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "KanaWriter.h"
#include "search/PhoneKey.h"

namespace benchdb {

namespace {

uint32_t Deg(double d) {
    return static_cast<uint32_t>(d * 3600000.0) / 10 * 10;
}

// Syllables of plausible readings (hiragana; the writer converts them).
const char* const kSyllables[] = {
    "あ", "い", "う", "え", "お", "か", "き", "く", "け", "こ", "さ", "し", "す", "せ", "そ",
    "た", "ち", "つ", "て", "と", "な", "に", "ぬ", "ね", "の", "は", "ひ", "ふ", "へ", "ほ",
    "ま", "み", "む", "め", "も", "や", "ゆ", "よ", "ら", "り", "る", "れ", "ろ", "わ", "ん",
    "が", "ぎ", "ぐ", "げ", "ご", "ざ", "じ", "だ", "ば", "び", "ぶ", "ぱ", "ぴ", "ー"};
constexpr size_t kPlainSyllables = 44;  // the first 44 may start a reading ("ん" may not)

const char* const kKinds[] = {"駅",     "銀行",   "病院",     "郵便局",     "学校",
                              "公園",   "ホテル", "コンビニ", "レストラン", "ガソリンスタンド",
                              "駐車場", "寺"};

}  // namespace

const std::vector<City>& Cities() {
    static const std::vector<City> cities = {
        {"Tokyo", Deg(139.767), Deg(35.681), 30},    {"Osaka", Deg(135.495), Deg(34.702), 15},
        {"Nagoya", Deg(136.881), Deg(35.170), 10},   {"Sapporo", Deg(141.350), Deg(43.068), 6},
        {"Fukuoka", Deg(130.420), Deg(33.589), 6},   {"Sendai", Deg(140.882), Deg(38.260), 4},
        {"Hiroshima", Deg(132.475), Deg(34.397), 4}, {"Kyoto", Deg(135.758), Deg(34.985), 5},
        {"Kobe", Deg(135.195), Deg(34.690), 4},      {"Naha", Deg(127.681), Deg(26.212), 2},
        {"Niigata", Deg(139.061), Deg(37.912), 2},   {"Kagoshima", Deg(130.558), Deg(31.584), 2},
    };
    return cities;
}

std::vector<mapdb::PoiSource> GeneratePois(const Options& options) {
    std::mt19937 rng(options.seed);
    const auto& cities = Cities();
    std::vector<unsigned> weights;
    for (const City& c : cities) weights.push_back(c.weight);
    weights.push_back(10);  // the countryside: anywhere between the cities
    std::discrete_distribution<size_t> pickCity(weights.begin(), weights.end());
    std::normal_distribution<double> spread(0.0, 1.0);
    std::uniform_int_distribution<size_t> plain(0, kPlainSyllables - 1);
    std::uniform_int_distribution<size_t> any(0, sizeof(kSyllables) / sizeof(*kSyllables) - 1);
    std::uniform_int_distribution<int> length(2, 8);
    std::uniform_int_distribution<int> genre1(0, 15);
    std::uniform_int_distribution<int> genre(0, 9);
    std::uniform_int_distribution<uint32_t> localNumber(0, 99999999);

    std::vector<mapdb::PoiSource> pois;
    pois.reserve(options.pois);
    for (size_t i = 0; i < options.pois; ++i) {
        mapdb::PoiSource p;
        // Reading: a first syllable that has a base file, then a few more.
        p.reading = kSyllables[plain(rng)];
        for (int k = length(rng); k > 1; --k) p.reading += kSyllables[any(rng)];
        const size_t kind = i % (sizeof(kKinds) / sizeof(*kKinds));
        p.texts = {"施設" + std::to_string(i) + kKinds[kind], p.reading};
        p.genre = {{static_cast<uint32_t>(genre1(rng)), static_cast<uint32_t>(genre(rng)),
                    static_cast<uint32_t>(genre(rng)),
                    i % 4 == 0 ? 255u : static_cast<uint32_t>(genre(rng))}};
        const size_t c = pickCity(rng);
        if (c < cities.size()) {
            // Dense centre: a few kilometres of standard deviation.
            p.lonMs = static_cast<uint32_t>(cities[c].lonMs + spread(rng) * 200000.0) / 10 * 10;
            p.latMs = static_cast<uint32_t>(cities[c].latMs + spread(rng) * 160000.0) / 10 * 10;
            p.tel = static_cast<uint32_t>(100000000u * (1 + c % 9)) + localNumber(rng);
        } else {
            std::uniform_real_distribution<double> lon(130.0, 142.0), lat(31.5, 43.0);
            p.lonMs = Deg(lon(rng));
            p.latMs = Deg(lat(rng));
            p.tel = 200000000u + localNumber(rng);
        }
        p.attr = static_cast<uint8_t>(i * 37);
        pois.push_back(std::move(p));
    }
    return pois;
}

namespace {

std::vector<mapdb::ArrivalSource> Arrivals(const Db& db) {
    std::vector<mapdb::ArrivalSource> arrivals;
    for (size_t i = 0; i < db.pois.size(); i += 7) {
        arrivals.push_back(
            {db.base.ids[i], {{"入口", db.pois[i].lonMs + 100, db.pois[i].latMs + 100, 1}}});
    }
    return arrivals;
}

}  // namespace

Db BuildBase(const std::string& root, const Options& options) {
    Db db;
    db.pois = GeneratePois(options);
    db.base = mapdb::WriteBase(root, db.pois);
    mapdb::WriteArrival(root, Arrivals(db));
    return db;
}

Japan BuildJapan(const std::string& root, const Options& options) {
    Japan j;
    j.db.pois = GeneratePois(options);
    j.db.base = mapdb::WriteBase(root, j.db.pois);
    j.arrivals = Arrivals(j.db);
    mapdb::WriteArrival(root, j.arrivals);
    // At this scale every first character (and no longer prefix) exceeds a node's count.
    mapdb::WriteKana(root, j.db.pois, j.db.base);

    using Key = std::array<uint32_t, 5>;
    std::map<Key, size_t> sizes;
    j.genres.reserve(j.db.pois.size() * 3);
    for (size_t i = 0; i < j.db.pois.size(); ++i) {
        const auto& g = j.db.pois[i].genre;
        const uint32_t id = j.db.base.ids[i];
        const Key exact = {{g[0], g[1], g[2], g[3] == 255 ? 63 : g[3], id % 4}};
        Key all5 = exact;
        all5[4] = 255;
        const Key all23 = {{g[0], 255, 255, 0, 255}};
        for (const Key& k : {exact, all5, all23}) {
            j.genres.push_back({id, k});
            ++sizes[k];
        }
    }
    mapdb::WriteGenre(root, j.genres);
    // Searched keys: every broad key, and the 64 largest exact keys (a few dozen to a few
    // hundred POIs spread over the whole reading range).
    std::vector<std::pair<size_t, Key>> exact;
    for (const auto& [k, n] : sizes) {
        if (k[1] == 255) j.broadGenres.push_back(k);
        if (k[1] != 255 && k[4] != 255) exact.push_back({n, k});
    }
    std::sort(exact.begin(), exact.end(), [](const auto& a, const auto& b) {
        return a.first > b.first || (a.first == b.first && a.second < b.second);
    });
    for (size_t i = 0; i < exact.size() && i < 64; ++i) j.narrowGenres.push_back(exact[i].second);

    j.vicinity = mapdb::VicinityFromBase(j.db.pois, j.db.base.ids);
    mapdb::WriteVicinity(root, j.vicinity);

    std::vector<mapdb::AreaPoint> areas;
    std::set<uint32_t> areaKeys;
    for (size_t i = 0; i < j.db.pois.size(); ++i) {
        const std::string number = "0" + std::to_string(j.db.pois[i].tel);
        const auto* digits = reinterpret_cast<const unsigned char*>(number.c_str());
        if (!phone_key::Directory(digits).accepted) continue;
        j.telephones.push_back({number, j.db.base.ids[i]});
        const auto area = phone_key::Area(digits);
        if (area.accepted &&
            areaKeys.insert(phone_key::AreaPrefix(phone_key::Directory(digits).value)).second) {
            areas.push_back(
                {"0" + std::to_string(phone_key::AreaPrefix(phone_key::Directory(digits).value)),
                 j.db.pois[i].lonMs, j.db.pois[i].latMs});
        }
    }
    mapdb::WriteTelephone(root, j.telephones);
    mapdb::WritePhonePoint(root, areas);

    // Postal codes: about as many as the country has, ordinary and company, without overlap.
    std::mt19937 rng(options.seed);
    std::uniform_int_distribution<uint32_t> code(10000, 9999999);
    std::uniform_int_distribution<uint32_t> lon(123 * 3600000u, 146 * 3600000u);
    std::uniform_int_distribution<uint32_t> lat(24 * 3600000u, 45 * 3600000u);
    std::set<uint32_t> used;
    while (j.zipcodes.size() + j.companyZipcodes.size() < 140000) {
        const uint32_t c = code(rng);
        if (!used.insert(c).second) continue;
        auto& table = used.size() % 7 == 0 ? j.companyZipcodes : j.zipcodes;
        table.push_back(
            {std::to_string(c + 10000000).substr(1), lon(rng) / 10 * 10, lat(rng) / 10 * 10});
    }
    mapdb::WriteZipcode(root, j.zipcodes, j.companyZipcodes);
    return j;
}

Options ParseOptions(int* argc, char** argv) {
    Options options;
    int out = 1;
    for (int i = 1; i < *argc; ++i) {
        if (strncmp(argv[i], "--pois=", 7) == 0) {
            options.pois = strtoul(argv[i] + 7, nullptr, 10);
            options.poisGiven = true;
        } else {
            argv[out++] = argv[i];
        }
    }
    *argc = out;
    return options;
}

int RunMain(int argc, char** argv, Options* options) {
    *options = ParseOptions(&argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace benchdb
