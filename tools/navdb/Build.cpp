// Writing every data set of a source into a database folder, with progress and the
// all-or-nothing replacement of the target.
#include "Build.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "FontWriter.h"
#include "GenreWriter.h"
#include "KanaWriter.h"
#include "PhoneNumber.h"
#include "Source.h"
#include "VicinityWriter.h"

namespace navdb {

namespace fs = std::filesystem;

std::string DefaultRelease() {
    const std::time_t now = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&now, &tm);
    char text[16];
    std::strftime(text, sizeof text, "R%Y%m%d", &tm);
    return text;
}

namespace {

// A failure while writing, already naming the source file that led to it.
struct WriteError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

class Progress {
public:
    explicit Progress(bool quiet) : quiet_(quiet) {}
    // Runs one writer; `file` names the source file in errors, `records` feeds the rate.
    void Step(const char* dataSet, const char* file, size_t records,
              const std::function<void()>& write) {
        const auto start = std::chrono::steady_clock::now();
        if (!quiet_) fprintf(stderr, "%-12s %9zu records ...", dataSet, records), fflush(stderr);
        try {
            write();
        } catch (const mapdb::Error& e) {
            if (!quiet_) fprintf(stderr, "\n");
            throw WriteError(std::string(file) + ": " + e.what());
        }
        const double s = Seconds(start);
        if (!quiet_) fprintf(stderr, " %7.2f s %10.0f records/s\n", s, s > 0 ? records / s : 0.0);
    }

private:
    bool quiet_;
};

using Key = std::array<uint32_t, 5>;

// The genre index keys of a POI: its first level alone, then each deeper level as given, with
// the unused lower levels as "all" (255; 63 at level 4, which has no "all"), and its level 5
// when it has one.
std::set<Key> GenreKeys(const PoiRecord& p) {
    const auto& g = p.poi.genre;
    std::set<Key> keys;
    if (g[0] == 255) return keys;
    Key k = {{g[0], 255, 255, 63, 255}};
    keys.insert(k);
    for (int level = 1; level < 4 && g[level] != 255; ++level) {
        k[level] = g[level];
        keys.insert(k);
    }
    if (p.genre5 != 255) {
        k[4] = p.genre5;
        keys.insert(k);
    }
    return keys;
}

// The area point of every geographic number prefix: the mean position of the POIs under it.
std::vector<mapdb::AreaPoint> AreaPoints(const std::vector<PoiRecord>& pois) {
    struct Sum {
        std::string number;
        uint64_t lon = 0, lat = 0, n = 0;
    };
    std::map<uint32_t, Sum> byPrefix;
    for (const PoiRecord& p : pois) {
        if (p.tel.empty()) continue;
        const phone_key::Key key =
            phone_key::Area(reinterpret_cast<const unsigned char*>(p.tel.c_str()));
        if (!key.accepted) continue;
        Sum& s = byPrefix[phone_key::AreaPrefix(key.value)];
        if (s.n == 0) s.number = p.tel;
        s.lon += p.poi.lonMs, s.lat += p.poi.latMs, ++s.n;
    }
    std::vector<mapdb::AreaPoint> points;
    for (const auto& [prefix, s] : byPrefix) {
        const uint32_t lon = static_cast<uint32_t>((s.lon / s.n + 5) / 10 * 10);
        const uint32_t lat = static_cast<uint32_t>((s.lat / s.n + 5) / 10 * 10);
        points.push_back({s.number, lon, lat});
    }
    return points;
}

void WriteAll(const Source& s, const std::string& root, const std::string& v, Progress& progress) {
    std::vector<uint32_t> ids;
    if (s.hasPois) {
        std::vector<mapdb::PoiSource> pois;
        pois.reserve(s.pois.size());
        for (const PoiRecord& p : s.pois) pois.push_back(p.poi);
        const size_t n = pois.size();
        mapdb::BaseResult base;
        progress.Step("BASE", "pois.json", n, [&] { base = mapdb::WriteBase(root, pois, v); });
        ids = base.ids;
        progress.Step("KANAMA", "pois.json", n, [&] { mapdb::WriteKana(root, pois, base, v); });
        std::vector<mapdb::ArrivalSource> arrivals;
        for (size_t i = 0; i < n; ++i) {
            if (!s.pois[i].arrivals.empty()) arrivals.push_back({ids[i], s.pois[i].arrivals});
        }
        progress.Step("ARRIVAL", "pois.json", arrivals.size(),
                      [&] { mapdb::WriteArrival(root, arrivals, v); });
        std::vector<mapdb::GenrePoi> genre;
        for (size_t i = 0; i < n; ++i) {
            for (const Key& k : GenreKeys(s.pois[i])) genre.push_back({ids[i], k});
        }
        progress.Step("GENRE", "pois.json", genre.size(),
                      [&] { mapdb::WriteGenre(root, genre, v); });
        progress.Step("VICINITY", "pois.json", n,
                      [&] { mapdb::WriteVicinity(root, mapdb::VicinityFromBase(pois, ids), v); });
        std::vector<mapdb::TelephoneEntry> tel;
        for (size_t i = 0; i < n; ++i) {
            if (!s.pois[i].tel.empty()) tel.push_back({s.pois[i].tel, ids[i]});
        }
        progress.Step("TELEPHONE", "pois.json", tel.size(),
                      [&] { mapdb::WriteTelephone(root, tel, v); });
        const std::vector<mapdb::AreaPoint> points = AreaPoints(s.pois);
        progress.Step("PHONEPOINT", "pois.json", points.size(),
                      [&] { mapdb::WritePhonePoint(root, points, v); });
    }
    if (s.hasGenres) {
        progress.Step("GENREDATA", "genres.json", s.genres.size(),
                      [&] { mapdb::WriteGenreData(root, s.genres, v); });
    }
    if (s.hasAddresses) {
        progress.Step("ADDRESS", "addresses.json", s.prefectures.size(),
                      [&] { mapdb::WriteAddress(root, s.prefectures, v); });
    }
    if (s.hasRefine) {
        progress.Step("REFINE", "refine.json", s.refine.size(),
                      [&] { mapdb::WriteRefine(root, s.refine, v); });
    }
    if (s.hasAreaCodes) {
        progress.Step("CONVADDR", "areacodes.json", s.areaCodes.size(),
                      [&] { mapdb::WriteConvAddr(root, s.areaCodes, v); });
    }
    if (s.hasZipcodes) {
        progress.Step("ZIPCODE", "zipcodes.json", s.zipOrdinary.size() + s.zipCompany.size(),
                      [&] { mapdb::WriteZipcode(root, s.zipOrdinary, s.zipCompany, v); });
    }
    if (s.hasPrefectures) {
        progress.Step("VICINITYPREF", "prefectures.json", s.prefectureRows.size(),
                      [&] { mapdb::WriteVicinityPref(root, s.prefectureRows, v); });
    }
    if (s.hasDirectory) {
        progress.Step("HOMEPHONE", "households.json/companies.json",
                      s.households.size() + s.companies.size(),
                      [&] { mapdb::WriteHomePhone(root, s.households, s.companies, v); });
    }
    if (s.hasSapa) {
        progress.Step("SAPAINFO", "sapa.json", s.sapa.size(),
                      [&] { mapdb::WriteSapaInfo(root, s.sapa, false, v); });
    }
    if (s.hasParking) {
        std::vector<mapdb::ParkingPair> pairs;
        for (const ParkingRecord& p : s.parking) {
            for (size_t park : p.parks) pairs.push_back({ids[p.facility], ids[park]});
        }
        progress.Step("PARKING", "parking.json", pairs.size(),
                      [&] { mapdb::WriteParking(root, pairs, v); });
    }
    if (s.hasFacilities) {
        std::vector<mapdb::IntroSource> intros;
        std::vector<mapdb::AddFunctionSource> functions;
        for (const FacilityRecord& f : s.facilities) {
            if (f.hasIntro) intros.push_back({ids[f.poi], f.open, f.closed});
            if (f.hasFunctions) functions.push_back({ids[f.poi], f.functions});
        }
        progress.Step("ADDINFO", "facilities.json", s.facilities.size(),
                      [&] { mapdb::WriteAddInfo(root, intros, functions, v); });
    }
    // With any guidance picture, every kind gets its (possibly empty) files: the guidance
    // version is checked from the BRANCH files on.
    for (mapdb::GuidanceKind kind : kPictureKinds) {
        const auto it = std::find_if(s.pictureKinds.begin(), s.pictureKinds.end(),
                                     [&](const PictureKind& k) { return k.kind == kind; });
        if (it == s.pictureKinds.end() && s.pictureKinds.empty()) continue;
        static const std::vector<mapdb::PictureSource> kNone;
        const auto& pictures = it == s.pictureKinds.end() ? kNone : it->pictures;
        progress.Step(mapdb::GuidanceKindWord(kind), "pictures.json", pictures.size(),
                      [&] { mapdb::WriteGuidancePictures(root, kind, pictures, v); });
    }
    if (!s.sapaMaps.empty()) {
        progress.Step("SAPA maps", "pictures.json", s.sapaMaps.size(),
                      [&] { mapdb::WriteSapaMapPictures(root, s.sapaMaps, v); });
    }
    if (s.hasSigns) {
        progress.Step("SIGNPOST", "signs.json", s.signs.size(), [&] {
            mapdb::WriteSignposts(root, s.signs, s.signPictures, s.signArrows, v);
        });
    }
    // Selectors 1-3 carry the string data's version: written empty when the source has none.
    std::vector<StringSet> sets = s.stringSets;
    for (uint8_t selector = 1; s.hasStrings && selector <= 3; ++selector) {
        if (std::none_of(sets.begin(), sets.end(),
                         [&](const StringSet& set) { return set.selector == selector; })) {
            sets.push_back({selector, mapdb::StringEncoding::kUtf8, {}});
        }
    }
    for (const StringSet& set : sets) {
        progress.Step("STRINGDB", "strings.json", set.strings.size(), [&] {
            mapdb::WriteStringDb(root, set.selector, set.strings, set.encoding, v);
        });
    }
    if (!s.font.empty()) {
        progress.Step("FONT", "pictures.json", 1, [&] { mapdb::WriteFont(root, s.font); });
    }
    // Sets that hold nothing but their version, so that every kind reports the release.
    progress.Step("VERSION", "-", 0, [&] { mapdb::WriteVersionOnlySets(root, v); });
}

bool ValidRelease(const std::string& r) {
    if (r.empty() || r.size() > 9) return false;
    for (char c : r) {
        if (c < 0x21 || c > 0x7E) return false;
    }
    return true;
}

// A fresh, unused name beside `path` (path + suffix + six random characters), created as a
// folder so that no one else takes it.
std::string MakeBeside(const std::string& path, const char* suffix) {
    std::string pattern = path + suffix + "XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw WriteError("cannot create a folder beside " + path + ": " + strerror(errno));
    }
    return pattern;
}

}  // namespace

int Build(const BuildOptions& o) {
    if (!ValidRelease(o.release)) {
        fprintf(stderr, "navdb: --release \"%s\" must be 1 to 9 printable ASCII characters\n",
                o.release.c_str());
        return 2;
    }
    std::error_code ec;
    std::string db = o.db;
    while (db.size() > 1 && db.back() == '/') db.pop_back();
    const bool exists = fs::exists(db, ec);
    if (exists && !o.force) {
        fprintf(stderr, "navdb: %s already exists (--force replaces it)\n", db.c_str());
        return 2;
    }
    if (exists && !fs::is_directory(db, ec)) {
        fprintf(stderr, "navdb: %s exists and is not a folder\n", db.c_str());
        return 2;
    }
    // Replacing the database must never remove the source: refuse a target that is the
    // source folder or holds it.
    const fs::path src = fs::weakly_canonical(o.source, ec), target = fs::weakly_canonical(db, ec);
    const std::string srcText = src.string() + "/", targetText = target.string() + "/";
    if (srcText.compare(0, targetText.size(), targetText) == 0) {
        fprintf(stderr, "navdb: %s holds the source folder %s\n", db.c_str(), o.source.c_str());
        return 2;
    }
    std::string tmp;
    try {
        const auto start = std::chrono::steady_clock::now();
        const Source source = LoadSource(o.source);
        if (!o.quiet)
            fprintf(stderr, "source read (%zu POIs) in %.2f s\n", source.pois.size(),
                    Seconds(start));
        tmp = MakeBeside(db, ".tmp-");
        Progress progress(o.quiet);
        WriteAll(source, tmp, o.release, progress);
        if (exists) {
            // Move the old database aside first, so that a failing rename leaves it in place.
            const std::string old = MakeBeside(db, ".old-");
            fs::remove(old);
            fs::rename(db, old);
            try {
                fs::rename(tmp, db);
            } catch (const fs::filesystem_error&) {
                fs::rename(old, db, ec);
                throw;
            }
            fs::remove_all(old, ec);
        } else {
            fs::rename(tmp, db);
        }
        if (!o.quiet) fprintf(stderr, "built %s in %.2f s\n", db.c_str(), Seconds(start));
        return 0;
    } catch (const std::exception& e) {
        if (!tmp.empty()) fs::remove_all(tmp, ec);
        fprintf(stderr, "navdb: %s\n", e.what());
        return 2;
    }
}

}  // namespace navdb
