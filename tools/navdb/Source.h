// The source data of a database: one JSON file per kind in a folder, read and checked into the
// writers' inputs. Every refusal names the file, the record and the field; nothing is written
// from here.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "AddInfoWriter.h"
#include "AddressWriter.h"
#include "BaseWriter.h"
#include "GuidanceWriter.h"
#include "HomePhoneWriter.h"
#include "SapaWriter.h"
#include "SignWriter.h"
#include "StringWriter.h"
#include "TelephoneWriter.h"
#include "ZipcodeWriter.h"

namespace navdb {

// Source data that cannot become a database; what() names file, record and field.
struct SourceError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct PoiRecord {
    std::string key;        // the source id, unique in pois.json
    mapdb::PoiSource poi;   // reading, texts, genre codes, position, attributes
    std::string tel;        // typed digits; empty = none
    uint32_t genre5 = 255;  // level 5 of the genre index; 255 = none
    std::vector<mapdb::ArrivalPoint> arrivals;
};

// Car parks of a facility, as positions in Source::pois.
struct ParkingRecord {
    size_t facility;
    std::vector<size_t> parks;
};

// Facility details of one POI (position in Source::pois).
struct FacilityRecord {
    size_t poi;
    bool hasIntro = false;
    std::string open, closed;
    bool hasFunctions = false;
    uint8_t functions = 0;
};

// The pictures of one guidance kind (PNG paths resolved against the source folder).
struct PictureKind {
    mapdb::GuidanceKind kind;
    std::vector<mapdb::PictureSource> pictures;
};

// The strings of one selector of the guidance string database.
struct StringSet {
    uint8_t selector = 0;
    mapdb::StringEncoding encoding = mapdb::StringEncoding::kUtf8;
    std::vector<mapdb::GuidanceString> strings;
};

// The picture kinds of "GUIDANCE", in the order their files are written.
extern const mapdb::GuidanceKind kPictureKinds[9];

// The font copied into a database with pictures or signs.
constexpr char kDefaultFont[] = "/usr/share/fonts/opentype/ipaexfont-gothic/ipaexg.ttf";

// What a source folder holds; a data set whose file is missing stays absent (has* false).
struct Source {
    bool hasPois = false;
    std::vector<PoiRecord> pois;
    bool hasGenres = false;
    std::vector<mapdb::GenreDataRecord> genres;
    bool hasAddresses = false;
    std::vector<mapdb::AddressItem> prefectures;
    bool hasRefine = false;
    std::vector<mapdb::RefineSet> refine;
    bool hasAreaCodes = false;
    std::vector<mapdb::ConvAddrEntry> areaCodes;
    bool hasZipcodes = false;
    std::vector<mapdb::ZipcodeSource> zipOrdinary, zipCompany;
    bool hasPrefectures = false;
    std::vector<mapdb::VicinityPrefRow> prefectureRows;
    bool hasDirectory = false;  // households.json or companies.json
    std::vector<mapdb::HomePhoneEntry> households, companies;
    bool hasSapa = false;
    std::vector<mapdb::SapaSource> sapa;
    bool hasParking = false;
    std::vector<ParkingRecord> parking;
    bool hasFacilities = false;
    std::vector<FacilityRecord> facilities;
    bool hasPictures = false;               // pictures.json
    std::vector<PictureKind> pictureKinds;  // in the order of their first picture
    std::vector<mapdb::PictureSource> sapaMaps;
    bool hasSigns = false;
    std::vector<mapdb::SignSource> signs;
    std::vector<mapdb::SignPictureSource> signPictures;
    std::vector<mapdb::SignArrowSource> signArrows;
    bool hasStrings = false;
    std::vector<StringSet> stringSets;
    std::string font;  // the font file to copy; empty = no font
};

// Reads and checks every known file of `folder`. Throws SourceError.
Source LoadSource(const std::string& folder);

// Decimal degrees to milliseconds of arc, rounded to the nearest multiple of 10 (the stored
// resolution); false for a value that is not a finite positive angle below 360 degrees.
bool DegreesToMs(double degrees, uint32_t* ms);

}  // namespace navdb
