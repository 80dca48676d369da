// Damaged data sets for every reader: a small valid database is written once; each input picks
// a data set, damages its files (truncation, flipped bytes, appended bytes) and runs that
// data set's searches over them. Anything but a clean return is a finding.
// Run: build-fuzz/fuzz/readers_fuzz -max_total_time=60
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "AddInfoWriter.h"
#include "AddressWriter.h"
#include "BaseWriter.h"
#include "ByteWriter.h"
#include "GenreWriter.h"
#include "HomePhoneWriter.h"
#include "KanaWriter.h"
#include "SapaWriter.h"
#include "SearchProc.h"
#include "StringWriter.h"
#include "TelephoneWriter.h"
#include "TempDir.h"
#include "VicinityWriter.h"
#include "ZipcodeWriter.h"

namespace {

constexpr uint32_t kLon = 503161560;  // Tokyo station, milliseconds of arc
constexpr uint32_t kLat = 128452320;

struct Database {
    mapdb::TempDir dir;
    std::vector<uint32_t> ids;

    void WriteDirectories(const std::vector<mapdb::PoiSource>& pois);

    Database() {
        static const char* kana[] = {"ア", "イ", "ウ", "カ", "ガ", "キ", "サ", "ー", "ン"};
        std::vector<mapdb::PoiSource> pois;
        for (uint32_t i = 0; i < 1100; ++i) {
            mapdb::PoiSource p;
            p.reading = std::string(i % 2 ? "ア" : "カ") + kana[i % 9] + kana[(i / 9) % 9];
            p.texts = {"施設" + std::to_string(i), "x"};
            p.genre = {{i % 4, i % 3, i % 5 == 0 ? 255u : i % 5, i % 2}};
            p.tel = 312340000 + i;
            p.lonMs = kLon + (i % 40) * 3000;
            p.latMs = kLat + (i / 40) * 3000;
            p.attr = static_cast<uint8_t>(i);
            pois.push_back(p);
        }
        mapdb::BaseResult base = mapdb::WriteBase(dir.path(), pois);
        ids = base.ids;
        std::vector<mapdb::ArrivalSource> arrivals;
        for (size_t i = 0; i < pois.size(); i += 3) {
            arrivals.push_back({ids[i], {{"入口", kLon, kLat, 1}, {"", kLon + 10, kLat, 2}}});
        }
        mapdb::WriteArrival(dir.path(), arrivals);
        std::vector<mapdb::GenrePoi> genres;
        for (uint32_t i = 0; i < pois.size(); ++i) {
            genres.push_back({ids[i], {{i % 4, i % 3, i % 5, i % 2, i % 7}}});
        }
        mapdb::WriteGenre(dir.path(), genres);
        mapdb::WriteKana(dir.path(), pois, base);
        mapdb::WriteVicinity(dir.path(), mapdb::VicinityFromBase(pois, ids));
        WriteDirectories(pois);
        CCommonProc::SetPath(dir.path().c_str());
    }
};

void Database::WriteDirectories(const std::vector<mapdb::PoiSource>& pois) {
    const std::string root = dir.path();
    std::vector<mapdb::TelephoneEntry> tel;
    std::vector<mapdb::HomePhoneEntry> homes;
    std::vector<mapdb::ParkingPair> parking;
    std::vector<mapdb::IntroSource> intros;
    std::vector<mapdb::AddFunctionSource> attributes;
    for (uint32_t i = 0; i < pois.size(); ++i) {
        const std::string number = "0" + std::to_string(pois[i].tel - i % 3);
        tel.push_back({number, ids[i]});
        homes.push_back({number, i % 2 ? "あい" : "か", "家" + std::to_string(i), kLon, kLat, 1});
        parking.push_back({ids[i - i % 4], ids[i]});
        intros.push_back({ids[i], "9:00~18:00", i % 5 ? "" : "月"});
        attributes.push_back({ids[i], static_cast<uint8_t>(i)});
    }
    mapdb::WriteTelephone(root, tel);
    mapdb::WritePhonePoint(root, {{"031234", kLon, kLat}, {"031235", kLon, kLat}});
    mapdb::WriteGenreData(root, {{"a", 0, 0, 0, 1}, {"b", 1, 1, 1, 2}, {"c", 2, 2, 2, 3}});
    mapdb::WriteHomePhone(root, homes, homes);
    mapdb::WriteParking(root, parking);
    mapdb::WriteAddInfo(root, intros, attributes);
    mapdb::AddressItem pref{"東京都", "とうきょうと", kLon, kLat, 13, {}};
    for (uint32_t c = 0; c < 700; ++c) {
        mapdb::AddressItem city{"市" + std::to_string(c), "し", kLon, kLat + c, 0, {}};
        for (uint32_t b = 0; b < c % 4; ++b)
            city.children.push_back({std::to_string(b + 1), "", kLon, kLat, 0, {}});
        pref.children.push_back(city);
    }
    mapdb::WriteAddress(root, {pref, {"大阪府", "おおさかふ", kLon, kLat, 27, {}}});
    std::vector<mapdb::ZipcodeSource> zips;
    for (uint32_t z = 0; z < 500; ++z)
        zips.push_back({std::to_string(1000000 + z * 37), kLon, kLat});
    mapdb::WriteZipcode(root, zips, {{"1500001", kLon, kLat}});
    std::vector<mapdb::GuidanceString> strings;
    for (uint32_t n = 1; n <= 300; n += 1 + n % 3) {
        strings.push_back({n, "出口" + std::to_string(n) + (n % 2 ? "｜東京｜千葉" : ""), n, 0});
    }
    mapdb::WriteStringDb(root, 1, strings, mapdb::StringEncoding::kUtf8);
    mapdb::WriteStringDb(root, 2, strings, mapdb::StringEncoding::kShiftJis);
    mapdb::WriteVersionOnlySets(root);
}

Database& Db() {
    static Database db;
    return db;
}

// Damages a file image as the input says: an optional cut, up to 16 flipped bytes, an optional
// tail of input bytes.
mapdb::Bytes Damage(mapdb::Bytes b, FuzzedDataProvider& in) {
    if (in.ConsumeBool()) b.resize(in.ConsumeIntegralInRange<size_t>(0, b.size()));
    for (int edits = in.ConsumeIntegralInRange(0, 16); edits > 0 && !b.empty(); --edits) {
        b[in.ConsumeIntegralInRange<size_t>(0, b.size() - 1)] ^= in.ConsumeIntegral<uint8_t>();
    }
    if (in.ConsumeBool()) {
        std::vector<uint8_t> tail = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(0, 64));
        b.insert(b.end(), tail.begin(), tail.end());
    }
    return b;
}

// Replaces the files with damaged copies for one run and puts the originals back afterwards.
class DamagedFiles {
public:
    DamagedFiles(const std::vector<std::string>& rels, FuzzedDataProvider& in) {
        for (const std::string& rel : rels) {
            const std::string path = Db().dir / rel;
            originals_.push_back({path, mapdb::ReadFile(path)});
            mapdb::WriteFile(path, Damage(originals_.back().second, in));
        }
    }
    ~DamagedFiles() {
        for (const auto& [path, bytes] : originals_) mapdb::WriteFile(path, bytes);
    }

private:
    std::vector<std::pair<std::string, mapdb::Bytes>> originals_;
};

unsigned long Id(FuzzedDataProvider& in) {
    const auto& ids = Db().ids;
    if (in.ConsumeBool()) return in.ConsumeIntegral<uint32_t>();
    return ids[in.ConsumeIntegralInRange<size_t>(0, ids.size() - 1)];
}

void Base(FuzzedDataProvider& in) {
    const char* ext[] = {"IDX", "CNT", "DAT"};
    std::string rel = std::string("BASE/B") + (in.ConsumeBool() ? "177" : "182") + "." +
                      ext[in.ConsumeIntegralInRange(0, 2)];
    DamagedFiles files({rel}, in);
    CSearchBaseDataProc base;
    CLocationData out[12];
    for (int i = 0; i < 4; ++i) {
        out[0].FlushData();
        base.SearchProc(&out[0], Id(in));
    }
    const unsigned long first = Id(in) & 0xFF000000;
    const unsigned long count = in.ConsumeIntegralInRange(0, 1200);
    base.GetRefinedTotal(first, count, 255, in.ConsumeIntegralInRange(0, 3), 255, 255);
    for (int page = 0; page < 4; ++page) {
        base.GetList(out, first, count, in.ConsumeIntegralInRange(0, 1200),
                     in.ConsumeIntegralInRange(0, 12), in.ConsumeIntegralInRange(0, 3), 255, 255,
                     255);
    }
}

void Arrival(FuzzedDataProvider& in) {
    DamagedFiles files({in.ConsumeBool() ? "ARRIVAL/ARV.IDX" : "ARRIVAL/ARV.DAT"}, in);
    CSearchArrivalProc arrival;
    unsigned long count = 0;
    arrival.SearchProc(&count, Id(in));
    CLocationData out[4];
    arrival.GetList(out, in.ConsumeIntegralInRange(0, 3), in.ConsumeIntegralInRange(0, 4));
    for (CLocationData& r : out) r.dwID = static_cast<uint32_t>(Id(in));
    arrival.GetData(out, 4);
}

void Genre(FuzzedDataProvider& in) {
    DamagedFiles files({in.ConsumeBool() ? "GENRE/GENRE.IDX" : "GENRE/GENRE.DAT"}, in);
    CSearchGenreProc genre;
    unsigned long count = 0;
    unsigned long key[5];
    for (unsigned long& k : key) k = in.ConsumeBool() ? 255 : in.ConsumeIntegralInRange(0, 7);
    genre.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]);
    CLocationData out[10];
    genre.GetList(out, in.ConsumeIntegralInRange<unsigned long>(0, 400), 10);
    unsigned long ids[10];
    genre.GetID(ids, in.ConsumeIntegralInRange<unsigned long>(0, 400), 10);
}

void Kana(FuzzedDataProvider& in) {
    DamagedFiles files({in.ConsumeBool() ? "KANAMA/KANAMA.IDX" : "KANAMA/KANAMA.DAT"}, in);
    std::string reading = in.ConsumeRandomLengthString(12);
    if (reading.empty() || in.ConsumeBool()) reading = "\xB1\xB2\xB3";
    CSearchKanaProcMA kana;
    unsigned long count = 0;
    kana.SearchProc(&count, reinterpret_cast<unsigned char*>(&reading[0]));
    CLocationData out[8];
    kana.GetRefinedTotal(255, 255, 255, 255);
    kana.GetList(out, in.ConsumeIntegralInRange(0, 50), 8);
    kana.GetRefinedSortTotal(255, in.ConsumeBool() ? 255 : 1, 255);
    kana.DistanceSortList(in.ConsumeIntegralInRange(0, 100),
                          static_cast<int>(kLat / 10 * 256 / 100),
                          static_cast<int>(kLon / 10 * 256 / 100));
    kana.GetSortList(out, in.ConsumeIntegralInRange(0, 50), 8);
    unsigned long mask = 0;
    kana.IsGenreEnabled(&mask, 255, 255, 255);
}

void Vicinity(FuzzedDataProvider& in) {
    DamagedFiles files({in.ConsumeBool() ? "VICINITY/VICINITY.IDX" : "VICINITY/VICINITY.DAT"}, in);
    CVicinityProc vicinity;
    unsigned long count = 0;
    const unsigned long lat = kLat + in.ConsumeIntegralInRange<uint32_t>(0, 200000);
    const unsigned long lon = kLon + in.ConsumeIntegralInRange<uint32_t>(0, 200000);
    if (in.ConsumeBool()) {
        vicinity.SearchProc(&count, lat, lon, in.ConsumeIntegralInRange(0, 6000),
                            in.ConsumeIntegralInRange(0, 3), 255, 255);
    } else {
        vicinity.SearchProc(&count, lat, lon, in.ConsumeIntegralInRange(0, 3), 255, 255);
    }
    CLocationData out[6];
    vicinity.GetList(out, in.ConsumeIntegralInRange(0, 50), 6);
    unsigned long mask = 0;
    vicinity.IsGenreEnabled(&mask, lat, lon, in.ConsumeBool() ? 255 : 1, 255, 255);
}

// A typed number: one of the database's, or input digits.
std::vector<unsigned char> Number(FuzzedDataProvider& in) {
    std::string digits = in.ConsumeBool()
                             ? "0" + std::to_string(312340000 + in.ConsumeIntegralInRange(0, 1100))
                             : in.ConsumeRandomLengthString(14);
    digits.resize(16, '\0');
    return std::vector<unsigned char>(digits.begin(), digits.end());
}

void Phone(FuzzedDataProvider& in) {
    const char* files[] = {"TELEPHONE/TELEPHONE.DAT",   "TELEPHONE/TELEPHONE.IDX",
                           "HOMEPHONE/HOMEPHONE.DAT",   "HOMEPHONE/HOMEPHONE.IDX",
                           "PHONEPOINT/PHONEPOINT.DAT", "GENRE/GENREDATA.DAT"};
    DamagedFiles damaged({files[in.ConsumeIntegralInRange(0, 5)]}, in);
    CSearchPhoneProc phone;
    unsigned long kind = 0;
    unsigned long count = 0;
    std::vector<unsigned char> number = Number(in);
    phone.SearchPhoneProc(&kind, &count, number.data());
    std::string reading = in.ConsumeRandomLengthString(140);
    phone.CheckKanaProc(&count, reinterpret_cast<unsigned char*>(&reading[0]));
    CLocationData out[4];
    phone.GetList(out, in.ConsumeIntegralInRange(0, 4), 4);
    number = Number(in);
    phone.SearchCompanyProc(&count, number.data());
    phone.CSearchHomePhoneProc::GetList(out, in.ConsumeIntegralInRange(0, 4), 4);
}

void Address(FuzzedDataProvider& in) {
    const char* files[] = {"ADDRESS/A/A.DAT", "ADDRESS/A13/A13.DAT", "ADDRESS/A13/A13.IDX"};
    DamagedFiles damaged({files[in.ConsumeIntegralInRange(0, 2)]}, in);
    CSearchAddressProc address;
    unsigned long count = 0;
    address.InitProc(&count);
    CLocationData out[8];
    for (int step = 0; step < 6; ++step) {
        switch (in.ConsumeIntegralInRange(0, 3)) {
            case 0:
                address.SearchNextProc(&count, in.ConsumeIntegralInRange(0, 720));
                break;
            case 1:
                address.SearchNumberProc(&count, in.ConsumeIntegralInRange(0, 5));
                break;
            case 2: {
                unsigned long position = 0;
                address.BackToPrevProc(&count, &position);
                break;
            }
            default:
                address.GetList(out, in.ConsumeIntegralInRange(0, 720), 8, 255, 255, 255);
        }
    }
    unsigned char text[4096];
    address.GetCurrentAddress(text);
}

void Details(FuzzedDataProvider& in) {
    const char* files[] = {"ZIPCODE/Z.DAT", "ADDINFO/ADDINFO.DAT", "ADDINFO/ADDINFO.IDX",
                           "PARKING/TK.DAT"};
    DamagedFiles damaged({files[in.ConsumeIntegralInRange(0, 3)]}, in);
    CSearchZipcodeProc zip;
    CLocationData out[4];
    zip.GetData(&out[0], in.ConsumeIntegralInRange<unsigned long>(0, 1100000));
    CSearchIntroProc intro;
    intro.SearchProc(Id(in));
    unsigned char text[2 * 768 + 2];
    intro.GetOpenTime(text);
    CSearchAddFunctionProc attributes;
    unsigned long value = 0;
    attributes.GetData(&value, Id(in));
    CSearchAlliedParkingProc parking;
    unsigned long count = 0;
    parking.SearchProc(&count, Id(in));
    parking.GetList(out, in.ConsumeIntegralInRange(0, 4), 4);
}

void StringsAndVersions(FuzzedDataProvider& in) {
    const char* files[] = {"STRINGDB/GDESTR01.IDX", "STRINGDB/GDESTR01.DAT",
                           "STRINGDB/GDESTR02.IDX", "STRINGDB/GDESTR02.DAT", "BASE/B177.IDX",
                           "ADDRESS/A.DAT"};
    DamagedFiles damaged({files[in.ConsumeIntegralInRange(0, 5)]}, in);
    CSearchStringProc strings;
    const unsigned char selector = in.ConsumeIntegralInRange(1, 2);
    unsigned char* text = nullptr;
    unsigned char encoding = 0;
    unsigned long extra = 0;
    strings.SearchProc(&text, &encoding, &extra, selector, in.ConsumeIntegralInRange(0, 310));
    delete[] text;
    text = nullptr;
    unsigned long length = in.ConsumeIntegralInRange(0, 100000);
    strings.GetString(&text, selector, in.ConsumeIntegralInRange(0, 5000), &length);
    delete[] text;
    unsigned char sjis[CSearchStringProc::kSjisSize];
    char a[CSearchStringProc::kUtf8Size], b[CSearchStringProc::kUtf8Size],
        c[CSearchStringProc::kUtf8Size];
    const unsigned long number = in.ConsumeIntegralInRange(0, 310);
    strings.SearchProc(sjis, selector, number, in.ConsumeIntegral<uint8_t>());
    strings.SearchProc(a, &extra, selector, number, in.ConsumeIntegral<uint8_t>());
    strings.SearchProc(a, b, c, selector, number, 0, 0, 0);
    CVersionProc versions;
    char version[CVersionProc::kUtf8Size];
    versions.GetVersionUni(version, in.ConsumeIntegralInRange<unsigned long>(0, 28));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Db();
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange(0, 8)) {
        case 0:
            Base(in);
            break;
        case 1:
            Arrival(in);
            break;
        case 2:
            Genre(in);
            break;
        case 3:
            Kana(in);
            break;
        case 4:
            Vicinity(in);
            break;
        case 5:
            Phone(in);
            break;
        case 6:
            Address(in);
            break;
        case 7:
            Details(in);
            break;
        default:
            StringsAndVersions(in);
            break;
    }
    return 0;
}
