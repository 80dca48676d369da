// A small database with every data set the library reads (POIs, arrivals, genres, kana,
// vicinity, telephone and home phone, address, zip codes, parking, extra information, guidance
// strings, version-only sets, guidance and SA/PA map pictures, the font), shared by the fault,
// thread and fuzz drivers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "AddInfoWriter.h"
#include "AddressWriter.h"
#include "BaseWriter.h"
#include "ByteWriter.h"
#include "FontWriter.h"
#include "GenreWriter.h"
#include "GuidanceWriter.h"
#include "HomePhoneWriter.h"
#include "KanaWriter.h"
#include "SapaWriter.h"
#include "StringWriter.h"
#include "TelephoneWriter.h"
#include "VicinityWriter.h"
#include "ZipcodeWriter.h"

namespace fulldb {

constexpr uint32_t kLon = 503161560;  // Tokyo station, milliseconds of arc
constexpr uint32_t kLat = 128452320;
constexpr uint32_t kPois = 1100;
constexpr const char* kFontFile = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";

// A w x h picture whose pixels depend on the number, so that a wrong block shows.
inline mapdb::PictureSource Picture(uint32_t number, uint16_t w, uint16_t h) {
    mapdb::PictureSource p;
    p.number = number;
    p.picture.width = w, p.picture.height = h;
    for (uint32_t i = 0; i < uint32_t{w} * h; ++i)
        p.picture.pixels.push_back(static_cast<uint16_t>(number * 31 + i * 7 + (i / w) * 3));
    return p;
}

inline std::vector<mapdb::PoiSource> Pois() {
    static const char* kana[] = {"ア", "イ", "ウ", "カ", "ガ", "キ", "サ", "ー", "ン"};
    std::vector<mapdb::PoiSource> pois;
    for (uint32_t i = 0; i < kPois; ++i) {
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
    return pois;
}

// Writes the database under root; returns the POI ids in source order.
inline std::vector<uint32_t> Write(const std::string& root, bool withFont = true) {
    const std::vector<mapdb::PoiSource> pois = Pois();
    const mapdb::BaseResult base = mapdb::WriteBase(root, pois);
    const std::vector<uint32_t>& ids = base.ids;
    std::vector<mapdb::ArrivalSource> arrivals;
    for (size_t i = 0; i < pois.size(); i += 3)
        arrivals.push_back({ids[i], {{"入口", kLon, kLat, 1}, {"", kLon + 10, kLat, 2}}});
    mapdb::WriteArrival(root, arrivals);
    std::vector<mapdb::GenrePoi> genres;
    for (uint32_t i = 0; i < pois.size(); ++i)
        genres.push_back({ids[i], {{i % 4, i % 3, i % 5, i % 2, i % 7}}});
    mapdb::WriteGenre(root, genres);
    mapdb::WriteKana(root, pois, base);
    mapdb::WriteVicinity(root, mapdb::VicinityFromBase(pois, ids));

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
    for (uint32_t n = 1; n <= 300; n += 1 + n % 3)
        strings.push_back({n, "出口" + std::to_string(n) + (n % 2 ? "｜東京｜千葉" : ""), n, 0});
    mapdb::WriteStringDb(root, 1, strings, mapdb::StringEncoding::kUtf8);
    mapdb::WriteStringDb(root, 2, strings, mapdb::StringEncoding::kShiftJis);
    mapdb::WriteVersionOnlySets(root);

    // Pictures: a few per kind, the branch kind wide enough for its bigger reader.
    std::vector<mapdb::PictureSource> small, wide, maps;
    for (uint32_t n = 10; n <= 90; n += 10) small.push_back(Picture(n, 40, 30));
    for (uint32_t n = 100; n <= 300; n += 100) wide.push_back(Picture(n, 200, 120));
    for (uint32_t n = 123450; n <= 123460; n += 5) maps.push_back(Picture(n, 60, 50));
    for (mapdb::GuidanceKind kind :
         {mapdb::GuidanceKind::kInic, mapdb::GuidanceKind::kGrade, mapdb::GuidanceKind::kEtc,
          mapdb::GuidanceKind::kEtc2, mapdb::GuidanceKind::kRealcross,
          mapdb::GuidanceKind::kProperJct, mapdb::GuidanceKind::kExit,
          mapdb::GuidanceKind::kEntrance})
        mapdb::WriteGuidancePictures(root, kind, small);
    mapdb::WriteGuidancePictures(root, mapdb::GuidanceKind::kBranch, wide);
    mapdb::WriteSapaMapPictures(root, maps);
    if (withFont) mapdb::WriteFont(root, kFontFile);
    return ids;
}

}  // namespace fulldb
