// Reading the source folder: each file is a JSON array of records; every field is checked here
// so that a refusal can name file, record and field before any writer runs.
#include "Source.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "PhoneNumber.h"
#include "TextTools.h"
#include "foundation/Bytes.h"

namespace navdb {

using json = nlohmann::json;

const mapdb::GuidanceKind kPictureKinds[9] = {
    mapdb::GuidanceKind::kInic,      mapdb::GuidanceKind::kBranch, mapdb::GuidanceKind::kGrade,
    mapdb::GuidanceKind::kEtc,       mapdb::GuidanceKind::kEtc2,   mapdb::GuidanceKind::kRealcross,
    mapdb::GuidanceKind::kProperJct, mapdb::GuidanceKind::kExit,   mapdb::GuidanceKind::kEntrance};

bool DegreesToMs(double degrees, uint32_t* ms) {
    if (!std::isfinite(degrees) || degrees <= 0 || degrees >= 360) return false;
    *ms = static_cast<uint32_t>(std::llround(degrees * 360000.0)) * 10;
    return true;
}

namespace {

std::string Quoted(const std::string& s) {
    return "\"" + s + "\"";
}

// One record of a source file, with the checked reads of its fields.
class Rec {
public:
    Rec(std::string where, const json& j) : where_(std::move(where)), j_(j) {
        if (!j_.is_object()) Fail("", "a record must be a JSON object");
    }
    const std::string& where() const { return where_; }
    // Adds the record's name to the place named in errors: (id "x").
    void Label(const std::string& kind, const std::string& value) {
        where_ += " (" + kind + " " + Quoted(value) + ")";
    }
    [[noreturn]] void Fail(const std::string& field, const std::string& why) const {
        throw SourceError(where_ + (field.empty() ? "" : ": field " + Quoted(field)) + ": " + why);
    }
    // Refuses fields outside `known` (a misspelt field would otherwise be silently ignored).
    void Only(std::initializer_list<const char*> known) const {
        for (const auto& item : j_.items()) {
            bool ok = false;
            for (const char* k : known) ok = ok || item.key() == k;
            if (!ok) Fail(item.key(), "unknown field");
        }
    }
    const json* Get(const char* field, bool required) const {
        auto it = j_.find(field);
        if (it == j_.end() || it->is_null()) {
            if (required) Fail(field, "missing");
            return nullptr;
        }
        return &*it;
    }
    std::string Text(const char* field, bool required = true, bool sjis = true) const {
        const json* v = Get(field, required);
        if (v == nullptr) return "";
        if (!v->is_string()) Fail(field, "must be a string");
        std::string s = v->get<std::string>();
        if (sjis) SjisOf(field, s);
        return s;
    }
    std::string SjisOf(const std::string& field, const std::string& utf8) const {
        try {
            return mapdb::Utf8ToSjis(utf8);
        } catch (const mapdb::Error& e) {
            Fail(field, e.what());
        }
    }
    uint32_t Int(const char* field, uint32_t max, uint32_t fallback, bool required = false) const {
        const json* v = Get(field, required);
        return v == nullptr ? fallback : IntOf(field, *v, max);
    }
    uint32_t IntOf(const std::string& field, const json& v, uint32_t max) const {
        if (!v.is_number_integer() || v.get<int64_t>() < 0 || v.get<int64_t>() > max) {
            Fail(field, "must be a whole number from 0 to " + std::to_string(max));
        }
        return static_cast<uint32_t>(v.get<int64_t>());
    }
    const json& Array(const char* field, bool required = true) const {
        static const json empty = json::array();
        const json* v = Get(field, required);
        if (v == nullptr) return empty;
        if (!v->is_array()) Fail(field, "must be an array");
        return *v;
    }
    // Latitude and longitude in decimal degrees, checked against the stored range.
    void Position(uint32_t* latMs, uint32_t* lonMs) const {
        uint32_t unused;
        Angle("lat", latMs);
        if (!bytes::NarrowLatitude(*latMs, &unused))
            Fail("lat", "outside 20 to 66.6 degrees north");
        Angle("lon", lonMs);
        if (!bytes::NarrowLongitude(*lonMs, &unused))
            Fail("lon", "outside 120 to 166.6 degrees east");
    }
    // A kana reading: hiragana or katakana, converted to katakana for the writers.
    std::string Reading(const char* field, bool required) const {
        std::string r = Text(field, required, false);
        if (r.empty()) {
            if (required) Fail(field, "empty");
            return r;
        }
        try {
            mapdb::ReadingToHalfKana(r);
        } catch (const mapdb::Error& e) {
            Fail(field, std::string("not kana: ") + e.what());
        }
        return r;
    }
    std::string Phone(const char* field, mapdb::PhoneKeyRule rule, bool required,
                      uint32_t* key) const {
        std::string tel = Text(field, required, false);
        if (tel.empty()) return tel;
        try {
            *key = mapdb::CheckedPhoneKey(tel, rule, "number");
        } catch (const mapdb::Error& e) {
            Fail(field, e.what());
        }
        return tel;
    }

private:
    void Angle(const char* field, uint32_t* ms) const {
        const json* v = Get(field, true);
        if (!v->is_number() || !DegreesToMs(v->get<double>(), ms)) {
            Fail(field, "must be decimal degrees");
        }
    }

    std::string where_;
    const json& j_;
};

// The records of `folder`/`file` or false when the file does not exist.
bool ReadArray(const std::string& folder, const std::string& file, json* out) {
    const std::string path = folder + "/" + file;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) throw SourceError(file + ": cannot be read");
    try {
        *out = json::parse(in);
    } catch (const json::parse_error& e) {
        throw SourceError(file + ": not valid JSON: " + e.what());
    }
    if (!out->is_array()) throw SourceError(file + ": must hold a JSON array of records");
    return true;
}

std::string Where(const std::string& file, size_t i) {
    return file + ": record " + std::to_string(i);
}

void LoadPois(const json& all, Source* s) {
    const std::string file = "pois.json";
    std::map<std::string, size_t> seen;
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where(file, i), all[i]);
        PoiRecord p;
        p.key = r.Text("id", true, false);
        r.Label("id", p.key);
        r.Only({"id", "name", "texts", "reading", "genre", "genre5", "tel", "lat", "lon", "attr",
                "arrivals"});
        if (p.key.empty()) r.Fail("id", "empty");
        if (!seen.emplace(p.key, i).second) {
            r.Fail("id", "already used by record " + std::to_string(seen[p.key]));
        }
        const std::string name = r.Text("name");
        if (name.empty()) r.Fail("name", "empty");
        p.poi.texts = {name};
        size_t textBytes = r.SjisOf("name", name).size() + 2;
        for (const json& t : r.Array("texts", false)) {
            if (!t.is_string()) r.Fail("texts", "must hold strings");
            p.poi.texts.push_back(t.get<std::string>());
            textBytes += r.SjisOf("texts", p.poi.texts.back()).size() + 1;
        }
        for (const std::string& t : p.poi.texts) {
            if (t.find('\n') != std::string::npos)
                r.Fail("texts", "a text may not hold a line feed");
        }
        if (textBytes >= 384) r.Fail("texts", "name and texts exceed 383 bytes in Shift_JIS");
        p.poi.reading = r.Reading("reading", true);
        const std::string key = mapdb::NormalisedReading(mapdb::ReadingToHalfKana(p.poi.reading));
        const unsigned first = static_cast<unsigned char>(key[0]);
        if (first != 0xA6 && (first < 0xB1 || first > 0xDD)) {
            r.Fail("reading", "must begin with a kana from ア to ン or ヲ");
        }
        const json& genre = r.Array("genre", false);
        if (genre.size() > 4) r.Fail("genre", "at most four levels");
        for (size_t g = 0; g < genre.size(); ++g) p.poi.genre[g] = r.IntOf("genre", genre[g], 62);
        p.genre5 = r.Int("genre5", 254, 255);
        if (p.genre5 != 255 && genre.empty()) r.Fail("genre5", "needs a genre");
        p.tel = r.Phone("tel", phone_key::Directory, false, &p.poi.tel);
        r.Position(&p.poi.latMs, &p.poi.lonMs);
        p.poi.attr = static_cast<uint8_t>(r.Int("attr", 255, 0));
        const json& arrivals = r.Array("arrivals", false);
        if (arrivals.size() > 255) r.Fail("arrivals", "at most 255 arrival points");
        for (size_t a = 0; a < arrivals.size(); ++a) {
            Rec ar(r.where() + ": arrival " + std::to_string(a), arrivals[a]);
            ar.Only({"name", "lat", "lon", "attr"});
            mapdb::ArrivalPoint pt;
            pt.name = ar.Text("name", false);
            if (ar.SjisOf("name", pt.name).size() > 79) ar.Fail("name", "longer than 79 bytes");
            ar.Position(&pt.latMs, &pt.lonMs);
            pt.attr = static_cast<uint8_t>(ar.Int("attr", 255, 0));
            p.arrivals.push_back(pt);
        }
        s->pois.push_back(std::move(p));
    }
}

void LoadGenres(const json& all, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("genres.json", i), all[i]);
        mapdb::GenreDataRecord g;
        g.name = r.Text("name");
        r.Label("name", g.name);
        r.Only({"code", "name", "icon"});
        if (r.SjisOf("name", g.name).size() > 71) r.Fail("name", "longer than 71 bytes");
        const json& code = r.Array("code");
        if (code.size() != 3) r.Fail("code", "must be three codes");
        g.code1 = static_cast<uint8_t>(r.IntOf("code", code[0], 255));
        g.code2 = static_cast<uint8_t>(r.IntOf("code", code[1], 255));
        g.code3 = static_cast<uint8_t>(r.IntOf("code", code[2], 255));
        g.iconId = static_cast<uint16_t>(r.Int("icon", 65535, 0, true));
        s->genres.push_back(g);
    }
}

// Address items nest by their children, at most eight levels (0-7).
mapdb::AddressItem LoadAddress(const json& j, const std::string& where, unsigned level) {
    Rec r(where, j);
    mapdb::AddressItem item;
    item.name = r.Text("name");
    r.Label("name", item.name);
    r.Only({"name", "reading", "lat", "lon", "code", "children"});
    if (item.name.empty()) r.Fail("name", "empty");
    item.reading = r.Reading("reading", false);
    r.Position(&item.latMs, &item.lonMs);
    if (level == 0) {
        item.code = r.Int("code", 99, 0, true);
        if (item.code == 0) r.Fail("code", "must be a prefecture code from 1 to 99");
    } else if (r.Get("code", false) != nullptr) {
        r.Fail("code", "only prefectures have a code");
    }
    const json& children = r.Array("children", false);
    if (!children.empty() && level == 7) r.Fail("children", "an item of level 7 has no children");
    for (size_t c = 0; c < children.size(); ++c) {
        item.children.push_back(
            LoadAddress(children[c], r.where() + ": child " + std::to_string(c), level + 1));
    }
    return item;
}

void LoadAddresses(const json& all, Source* s) {
    if (all.size() > 47) throw SourceError("addresses.json: more than 47 prefectures");
    std::map<uint32_t, size_t> codes;
    for (size_t i = 0; i < all.size(); ++i) {
        s->prefectures.push_back(LoadAddress(all[i], Where("addresses.json", i), 0));
        if (!codes.emplace(s->prefectures.back().code, i).second) {
            Rec(Where("addresses.json", i), all[i])
                .Fail("code", "already used by record " +
                                  std::to_string(codes[s->prefectures.back().code]));
        }
    }
}

void LoadRefine(const json& all, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("refine.json", i), all[i]);
        r.Only({"genre", "prefectures", "cities"});
        mapdb::RefineSet set;
        const json& genre = r.Array("genre");
        if (genre.size() != 3) r.Fail("genre", "must be three codes");
        set.genre1 = r.IntOf("genre", genre[0], 99);
        set.genre2 = r.IntOf("genre", genre[1], 999);
        set.genre3 = r.IntOf("genre", genre[2], 999);
        for (const json& p : r.Array("prefectures", false))
            set.prefectures.push_back(r.IntOf("prefectures", p, 99));
        const json* cities = r.Get("cities", false);
        if (cities != nullptr) {
            if (!cities->is_object()) r.Fail("cities", "must map prefecture codes to flag arrays");
            for (const auto& item : cities->items()) {
                char* end = nullptr;
                const unsigned long code = strtoul(item.key().c_str(), &end, 10);
                if (item.key().empty() || *end != 0 || code > 99)
                    r.Fail("cities",
                           "key " + Quoted(item.key()) + " is not a prefecture code 0-99");
                if (!item.value().is_array()) r.Fail("cities", "flags must be an array");
                std::vector<bool>& flags = set.cities[static_cast<uint32_t>(code)];
                for (const json& f : item.value()) {
                    if (!f.is_boolean() && !f.is_number_integer())
                        r.Fail("cities", "flags are true/false or 1/0");
                    flags.push_back(f.is_boolean() ? f.get<bool>() : f.get<int64_t>() != 0);
                }
            }
        }
        s->refine.push_back(std::move(set));
    }
}

void LoadAreaCodes(const json& all, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("areacodes.json", i), all[i]);
        r.Only({"code", "path"});
        mapdb::ConvAddrEntry e;
        const json& code = r.Array("code");
        if (code.size() < 2 || code.size() > 3) r.Fail("code", "must be two or three codes");
        e.code1 = r.IntOf("code", code[0], 255);
        e.code2 = r.IntOf("code", code[1], 65535);
        e.code3 = code.size() == 3 ? r.IntOf("code", code[2], 65535) : 0;
        const json& path = r.Array("path");
        if (path.size() < 2 || path.size() > 3)
            r.Fail("path", "must be two or three list positions");
        e.pos0 = r.IntOf("path", path[0], 255);
        e.pos1 = r.IntOf("path", path[1], 255);
        e.pos2 = path.size() == 3 ? r.IntOf("path", path[2], 65534) : 65535;
        s->areaCodes.push_back(e);
    }
}

void LoadZipcodes(const json& all, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("zipcodes.json", i), all[i]);
        mapdb::ZipcodeSource z;
        z.code = r.Text("code", true, false);
        r.Label("code", z.code);
        r.Only({"code", "lat", "lon", "company"});
        try {
            mapdb::ZipcodeNumber(z.code, "code");
        } catch (const mapdb::Error& e) {
            r.Fail("code", e.what());
        }
        r.Position(&z.latMs, &z.lonMs);
        const json* company = r.Get("company", false);
        if (company != nullptr && !company->is_boolean())
            r.Fail("company", "must be true or false");
        (company != nullptr && company->get<bool>() ? s->zipCompany : s->zipOrdinary).push_back(z);
    }
}

void LoadPrefectures(const json& all, Source* s) {
    if (all.size() > 47) throw SourceError("prefectures.json: more than 47 rows");
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("prefectures.json", i), all[i]);
        mapdb::VicinityPrefRow row;
        row[0].id = r.Int("id", 46, 0, true);
        row[0].name = r.Text("name");
        r.Label("name", row[0].name);
        r.Only({"id", "name", "neighbours"});
        const json& n = r.Array("neighbours", false);
        if (n.size() > 3) r.Fail("neighbours", "at most three");
        for (size_t k = 0; k < n.size(); ++k) {
            Rec nr(r.where() + ": neighbour " + std::to_string(k), n[k]);
            nr.Only({"id", "name"});
            row[k + 1].id = nr.Int("id", 46, 0, true);
            row[k + 1].name = nr.Text("name");
        }
        s->prefectureRows.push_back(row);
    }
}

void LoadDirectory(const json& all, const std::string& file,
                   std::vector<mapdb::HomePhoneEntry>* out) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where(file, i), all[i]);
        mapdb::HomePhoneEntry e;
        uint32_t key = 0;
        e.number = r.Phone("tel", phone_key::Directory, true, &key);
        r.Label("tel", e.number);
        r.Only({"tel", "reading", "text", "lat", "lon", "attr"});
        e.reading = r.Reading("reading", false);
        e.text = r.Text("text");
        r.Position(&e.latMs, &e.lonMs);
        e.attr = static_cast<uint8_t>(r.Int("attr", 255, 0));
        out->push_back(std::move(e));
    }
}

void LoadSapa(const json& all, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("sapa.json", i), all[i]);
        mapdb::SapaSource a;
        a.id = r.Text("id", true, false);
        r.Label("id", a.id);
        r.Only({"id", "kind", "values", "flags", "value6", "name", "text"});
        if (a.id.size() != 10) r.Fail("id", "must be ten characters");
        a.kind = static_cast<uint8_t>(r.Int("kind", 255, 0));
        const json& values = r.Array("values", false);
        if (values.size() > 5) r.Fail("values", "at most five values");
        for (size_t v = 0; v < values.size(); ++v)
            a.values[v] = r.IntOf("values", values[v], 65535);
        a.flags = r.Int("flags", 0xFFFFFFFFu, 0);
        a.value6 = r.Int("value6", 0xFFFFFF, 0);
        a.name = r.Text("name");
        a.text = r.Text("text", false);
        s->sapa.push_back(std::move(a));
    }
}

size_t PoiByKey(const Rec& r, const char* field, const json& v,
                const std::map<std::string, size_t>& keys) {
    if (!v.is_string()) r.Fail(field, "must be the id of a POI of pois.json");
    auto it = keys.find(v.get<std::string>());
    if (it == keys.end()) r.Fail(field, "no POI " + Quoted(v.get<std::string>()) + " in pois.json");
    return it->second;
}

void LoadParking(const json& all, const std::map<std::string, size_t>& keys, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("parking.json", i), all[i]);
        ParkingRecord p;
        p.facility = PoiByKey(r, "facility", *r.Get("facility", true), keys);
        r.Label("facility", s->pois[p.facility].key);
        r.Only({"facility", "parking"});
        for (const json& k : r.Array("parking")) p.parks.push_back(PoiByKey(r, "parking", k, keys));
        s->parking.push_back(std::move(p));
    }
}

void LoadFacilities(const json& all, const std::map<std::string, size_t>& keys, Source* s) {
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where("facilities.json", i), all[i]);
        FacilityRecord f;
        f.poi = PoiByKey(r, "poi", *r.Get("poi", true), keys);
        r.Label("poi", s->pois[f.poi].key);
        r.Only({"poi", "open", "closed", "functions"});
        f.open = r.Text("open", false);
        f.closed = r.Text("closed", false);
        f.hasIntro = r.Get("open", false) != nullptr || r.Get("closed", false) != nullptr;
        f.hasFunctions = r.Get("functions", false) != nullptr;
        f.functions = static_cast<uint8_t>(r.Int("functions", 255, 0));
        for (const char* field : {"open", "closed"}) {
            const std::string& t = field[0] == 'o' ? f.open : f.closed;
            if (t.find('\n') != std::string::npos) r.Fail(field, "may not hold a line feed");
            if (r.SjisOf(field, t).size() >= 768) r.Fail(field, "768 bytes or longer");
        }
        s->facilities.push_back(std::move(f));
    }
}

// A PNG named by `field` of a record, relative to the source folder (or absolute), read now so
// that an unreadable picture is refused with its record.
mapdb::Rgb565Picture Png(const Rec& r, const char* field, const std::string& folder) {
    const std::string name = r.Text(field, true, false);
    if (name.empty()) r.Fail(field, "empty");
    try {
        return mapdb::ReadPngRgb565(name[0] == '/' ? name : folder + "/" + name);
    } catch (const mapdb::Error& e) {
        r.Fail(field, e.what());
    }
}

void LoadPictures(const json& all, const std::string& folder, Source* s) {
    const std::string file = "pictures.json";
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where(file, i), all[i]);
        if (r.Get("font", false) != nullptr) {
            r.Only({"font"});
            if (!s->font.empty()) r.Fail("font", "a second font entry");
            const std::string font = r.Text("font", true, false);
            if (font.empty()) r.Fail("font", "empty");
            s->font = font[0] == '/' ? font : folder + "/" + font;
            struct stat st;
            if (stat(s->font.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size == 0)
                r.Fail("font", "no font file " + Quoted(s->font));
            continue;
        }
        const std::string word = r.Text("kind", true, false);
        r.Label("kind", word);
        r.Only({"kind", "number", "png"});
        mapdb::PictureSource p;
        p.number = r.Int("number", 999999, 0, true);
        r.Label("number", std::to_string(p.number));
        const mapdb::GuidanceKind* kind = nullptr;
        for (const mapdb::GuidanceKind& k : kPictureKinds) {
            if (word == mapdb::GuidanceKindWord(k)) kind = &k;
        }
        if (kind == nullptr && word != "SAPA") {
            r.Fail("kind",
                   "not a picture kind (INIC, BRANCH, GRADE, ETC, ETC2, REALCROSS, PROPERJCT, "
                   "EXIT, ENTRANCE, SAPA)");
        }
        p.picture = Png(r, "png", folder);
        if (kind == nullptr) {
            s->sapaMaps.push_back(std::move(p));
            continue;
        }
        auto it = std::find_if(s->pictureKinds.begin(), s->pictureKinds.end(),
                               [&](const PictureKind& pk) { return pk.kind == *kind; });
        if (it == s->pictureKinds.end()) it = s->pictureKinds.insert(it, {*kind, {}});
        it->pictures.push_back(std::move(p));
    }
}

void LoadSigns(const json& all, const std::string& folder, Source* s) {
    const std::string file = "signs.json";
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where(file, i), all[i]);
        const std::string what = r.Text("record", true, false);
        r.Label("record", what);
        if (what == "sign") {
            r.Only({"record", "number", "type", "names"});
            mapdb::SignSource sign;
            sign.number = r.Int("number", 0xFFFFFFFFu, 0, true);
            sign.type = static_cast<uint8_t>(r.Int("type", 7, 0, true));
            for (const json& n : r.Array("names", false)) {
                if (!n.is_string()) r.Fail("names", "must hold strings");
                sign.names.push_back(n.get<std::string>());
                r.SjisOf("names", sign.names.back());
            }
            s->signs.push_back(std::move(sign));
        } else if (what == "picture") {
            r.Only({"record", "type", "points", "png"});
            mapdb::SignPictureSource pict;
            pict.type = static_cast<uint8_t>(r.Int("type", 7, 0, true));
            for (const json& pt : r.Array("points", false)) {
                if (!pt.is_array() || pt.size() != 2) r.Fail("points", "each point is [x, y]");
                pict.points.push_back({static_cast<uint16_t>(r.IntOf("points", pt[0], 65535)),
                                       static_cast<uint16_t>(r.IntOf("points", pt[1], 65535))});
            }
            pict.picture = Png(r, "png", folder);
            s->signPictures.push_back(std::move(pict));
        } else if (what == "arrow") {
            r.Only({"record", "type", "direction", "png"});
            mapdb::SignArrowSource arrow;
            arrow.type = static_cast<uint8_t>(r.Int("type", 7, 0, true));
            arrow.direction = static_cast<uint8_t>(r.Int("direction", 3, 0, true));
            arrow.picture = Png(r, "png", folder);
            s->signArrows.push_back(std::move(arrow));
        } else {
            r.Fail("record", "must be \"sign\", \"picture\" or \"arrow\"");
        }
    }
}

void LoadStrings(const json& all, Source* s) {
    const std::string file = "strings.json";
    std::map<uint32_t, size_t> selectors;
    for (size_t i = 0; i < all.size(); ++i) {
        Rec r(Where(file, i), all[i]);
        StringSet set;
        set.selector = static_cast<uint8_t>(r.Int("selector", 255, 0, true));
        r.Label("selector", std::to_string(set.selector));
        r.Only({"selector", "encoding", "strings"});
        if (!selectors.emplace(set.selector, i).second)
            r.Fail("selector", "already used by record " + std::to_string(selectors[set.selector]));
        const std::string encoding = r.Text("encoding", false, false);
        if (encoding == "SJIS") {
            set.encoding = mapdb::StringEncoding::kShiftJis;
        } else if (!encoding.empty() && encoding != "UTF8") {
            r.Fail("encoding", "must be \"UTF8\" or \"SJIS\"");
        }
        const json& strings = r.Array("strings");
        for (size_t k = 0; k < strings.size(); ++k) {
            Rec sr(r.where() + ": string " + std::to_string(k), strings[k]);
            sr.Only({"number", "text", "extra", "attribute"});
            mapdb::GuidanceString g;
            g.number = sr.Int("number", 0xFFFFFFFFu, 0, true);
            g.text = sr.Text("text", true, set.encoding == mapdb::StringEncoding::kShiftJis);
            g.extra = sr.Int("extra", 0xFFFFFFFFu, 0);
            g.attribute = static_cast<uint16_t>(sr.Int("attribute", 65535, 0));
            set.strings.push_back(std::move(g));
        }
        s->stringSets.push_back(std::move(set));
    }
}

}  // namespace

Source LoadSource(const std::string& folder) {
    struct stat st;
    if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        throw SourceError(folder + ": no such source folder");
    }
    Source s;
    json j;
    if ((s.hasPois = ReadArray(folder, "pois.json", &j))) LoadPois(j, &s);
    if ((s.hasGenres = ReadArray(folder, "genres.json", &j))) LoadGenres(j, &s);
    if ((s.hasAddresses = ReadArray(folder, "addresses.json", &j))) LoadAddresses(j, &s);
    if ((s.hasRefine = ReadArray(folder, "refine.json", &j))) LoadRefine(j, &s);
    if ((s.hasAreaCodes = ReadArray(folder, "areacodes.json", &j))) LoadAreaCodes(j, &s);
    if ((s.hasZipcodes = ReadArray(folder, "zipcodes.json", &j))) LoadZipcodes(j, &s);
    if ((s.hasPrefectures = ReadArray(folder, "prefectures.json", &j))) LoadPrefectures(j, &s);
    if (ReadArray(folder, "households.json", &j)) {
        s.hasDirectory = true;
        LoadDirectory(j, "households.json", &s.households);
    }
    if (ReadArray(folder, "companies.json", &j)) {
        s.hasDirectory = true;
        LoadDirectory(j, "companies.json", &s.companies);
    }
    if ((s.hasSapa = ReadArray(folder, "sapa.json", &j))) LoadSapa(j, &s);
    std::map<std::string, size_t> keys;
    for (size_t i = 0; i < s.pois.size(); ++i) keys[s.pois[i].key] = i;
    if ((s.hasParking = ReadArray(folder, "parking.json", &j))) LoadParking(j, keys, &s);
    if ((s.hasFacilities = ReadArray(folder, "facilities.json", &j))) LoadFacilities(j, keys, &s);
    if ((s.hasPictures = ReadArray(folder, "pictures.json", &j))) LoadPictures(j, folder, &s);
    if ((s.hasSigns = ReadArray(folder, "signs.json", &j))) LoadSigns(j, folder, &s);
    if ((s.hasStrings = ReadArray(folder, "strings.json", &j))) LoadStrings(j, &s);
    if (s.font.empty() && (s.hasPictures || s.hasSigns)) s.font = kDefaultFont;
    if (!s.hasPois && !s.hasGenres && !s.hasAddresses && !s.hasRefine && !s.hasAreaCodes &&
        !s.hasZipcodes && !s.hasPrefectures && !s.hasDirectory && !s.hasSapa && !s.hasPictures &&
        !s.hasSigns && !s.hasStrings) {
        throw SourceError(folder + ": holds no source file (pois.json, addresses.json, ...)");
    }
    return s;
}

}  // namespace navdb
