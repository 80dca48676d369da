// Damaged data sets for every reader: a small valid database with every data set is written
// once; each input picks a data set (or several files of any sets at once, or the SD copy
// behind an empty database folder, or the guidance pictures, or the picture settings file),
// damages its files (truncation, flipped bytes, appended bytes) and runs the searches over
// them. Anything but a clean return is a finding.
// Run: build-fuzz/fuzz/readers_fuzz -max_total_time=60
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "faults/FullDatabase.h"
#include "faults/Sweep.h"
#include "platform/SettingsDir.h"

namespace {

using fulldb::kLat;
using fulldb::kLon;

struct Database {
    mapdb::TempDir dir, empty, settings;
    std::vector<uint32_t> ids;
    std::vector<std::string> files;  // every data file, relative to dir (not the font)

    Database() {
        ids = fulldb::Write(dir.path());
        for (const auto& e : std::filesystem::recursive_directory_iterator(dir.path())) {
            const std::string rel = std::filesystem::relative(e.path(), dir.path()).string();
            if (e.is_regular_file() && rel.rfind("FONTAVENUE", 0) != 0) files.push_back(rel);
        }
        std::sort(files.begin(), files.end());
        CCommonProc::SetPath(dir.path().c_str());
        platform::SetSettingsDir(settings.path().c_str());
    }
};

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
                           "STRINGDB/GDESTR02.IDX", "STRINGDB/GDESTR02.DAT",
                           "BASE/B177.IDX",         "ADDRESS/A.DAT"};
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

// A picture index or image file damaged; keys from the written numbers or the input, and the
// readers also called with offsets and sizes straight from the input.
void Pictures(FuzzedDataProvider& in) {
    static const char* kinds[] = {"INIC",      "BRANCH",    "GRADE", "ETC",     "ETC2",
                                  "REALCROSS", "PROPERJCT", "EXIT",  "ENTRANCE"};
    const char* kind = kinds[in.ConsumeIntegralInRange(0, 8)];
    const bool sapa = in.ConsumeBool();
    const std::string file = sapa ? std::string("SAPAINFO/SAPA") : std::string("GUIDANCE/") + kind;
    DamagedFiles damaged({file + (in.ConsumeBool() ? ".IDX" : ".IMG")}, in);
    if (sapa) {
        std::vector<unsigned char> out(375066);
        unsigned short w = 0, h = 0;
        CImageData().GetImageSAPAMap(out.data(), &w, &h,
                                     in.ConsumeBool() ? 123450 + in.ConsumeIntegralInRange(0, 10)
                                                      : in.ConsumeIntegral<uint32_t>());
        return;
    }
    char key[16];
    snprintf(key, sizeof(key), "%06u",
             in.ConsumeBool() ? 10 * in.ConsumeIntegralInRange(0u, 30u)
                              : in.ConsumeIntegral<uint32_t>() % 1000000);
    sweep::Lines lines;
    switch (in.ConsumeIntegralInRange(0, 3)) {
        case 0:
            sweep::Look<CSearchLExitImageProc>(lines, key, "EXIT", false);
            break;
        case 1:
            sweep::Look<CSearchLBranchImageProc>(lines, key, "BRANCH", true);
            break;
        case 2:
            sweep::Look<CSearchLEntranceImageProc>(lines, key, "ENTRANCE", false);
            break;
        default:
            sweep::Look<CSearchLInicImageProc>(lines, key, "INIC", false);
            break;
    }
    unsigned long offset = in.ConsumeIntegralInRange<uint32_t>(0, 70000);
    unsigned long size = in.ConsumeIntegralInRange<uint32_t>(0, 70000);
    std::vector<unsigned char> out(326466);
    unsigned short w = 0, h = 0;
    std::string name = std::string(kind) + ".IMG";
    if (in.ConsumeBool())
        CImageFileIO().ReadLBranchBMP(name.data(), &offset, &size, &w, &h, out.data());
    else
        CImageFileIO().ReadLEtcBMP(name.data(), &offset, &size, &w, &h, out.data());
}

// The picture settings file from the input, read by Init, then names merged with it.
void Settings(FuzzedDataProvider& in) {
    mapdb::WriteFile(Db().settings / "DatabaseEngine.ini",
                     in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(0, 420)));
    CImageProc proc;
    proc.Init();
    unsigned short w = in.ConsumeIntegralInRange<unsigned short>(0, 480);
    unsigned short h = in.ConsumeIntegralInRange<unsigned short>(0, 240);
    std::vector<uint16_t> px(480 * 240, in.ConsumeIntegral<uint16_t>());
    std::string a = in.ConsumeRandomLengthString(40), b = in.ConsumeRandomLengthString(40);
    auto* pixels = reinterpret_cast<unsigned char*>(px.data());
    auto* name1 = reinterpret_cast<unsigned char*>(&a[0]);
    auto* name2 = reinterpret_cast<unsigned char*>(&b[0]);
    switch (in.ConsumeIntegralInRange(0, 2)) {
        case 0:
            proc.MergeImage(&w, &h, pixels, name1, name2);
            break;
        case 1:
            proc.MergeEntranceImage(&w, &h, pixels, name1, name2);
            break;
        default:
            proc.MergeSignDataImage(&w, &h, pixels, name1, name2, in.ConsumeIntegralInRange(0, 9),
                                    in.ConsumeIntegralInRange(0, 4),
                                    in.ConsumeIntegralInRange(0, 9), in.ConsumeBool());
    }
}

// Two to four files of any data sets damaged at once, then two whole searches of any class.
void Several(FuzzedDataProvider& in) {
    const auto& files = Db().files;
    std::vector<std::string> picked;
    for (int n = in.ConsumeIntegralInRange(2, 4); n > 0; --n) {
        const std::string& f = files[in.ConsumeIntegralInRange<size_t>(0, files.size() - 1)];
        if (std::find(picked.begin(), picked.end(), f) == picked.end()) picked.push_back(f);
    }
    DamagedFiles damaged(picked, in);
    const auto& ops = sweep::Ops();
    for (int n = 0; n < 2; ++n)
        ops[in.ConsumeIntegralInRange<size_t>(0, ops.size() - 1)].run(Db().ids);
}

// The database folder empty and the damaged database as the SD copy behind it.
void SdFallback(FuzzedDataProvider& in) {
    const auto& files = Db().files;
    DamagedFiles damaged({files[in.ConsumeIntegralInRange<size_t>(0, files.size() - 1)]}, in);
    CCommonProc::SetPath(Db().empty.path().c_str());
    CCommonProc::SetSDPath(Db().dir.path().c_str());
    CCommonProc::EnableSD(true);
    const auto& ops = sweep::Ops();
    ops[in.ConsumeIntegralInRange<size_t>(0, ops.size() - 1)].run(Db().ids);
    CCommonProc::EnableSD(false);
    CCommonProc::SetSDPath("");
    CCommonProc::SetPath(Db().dir.path().c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Db();
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange(0, 12)) {
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
        case 8:
            StringsAndVersions(in);
            break;
        case 9:
            Pictures(in);
            break;
        case 10:
            Settings(in);
            break;
        case 11:
            Several(in);
            break;
        default:
            SdFallback(in);
            break;
    }
    return 0;
}
