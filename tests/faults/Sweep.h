// Every search class run once over the full test database, each call's successful result
// reduced to one line ("what: fingerprint"). The fault driver compares sweeps under injected
// faults with the clean one; the thread driver compares sweeps run concurrently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "SearchProc.h"
#include "faults/FullDatabase.h"

namespace sweep {

using Lines = std::vector<std::string>;

inline std::string Hash(const void* data, size_t size) {
    uint64_t h = 1469598103934665603ull;  // FNV-1a
    const auto* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i) h = (h ^ p[i]) * 1099511628211ull;
    char text[20];
    snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(h));
    return text;
}

// A result record: its id and a fingerprint of every field.
inline std::string Rec(const CLocationData& r) {
    const auto* first = reinterpret_cast<const unsigned char*>(&r.dwID);
    const auto* last = reinterpret_cast<const unsigned char*>(&r.bDisable) + 1;
    return std::to_string(r.dwID) + "#" + Hash(first, static_cast<size_t>(last - first));
}

// The found records of a list, one line each: those with a POI id (a record left without one
// marks a POI that could not be read), or with `anyField` those with any field set.
inline void Listed(Lines& out, const std::string& what, const CLocationData* list, size_t n,
                   bool anyField = false) {
    const CLocationData blank;
    for (size_t i = 0; i < n; ++i) {
        if (anyField ? Rec(list[i]) != Rec(blank) : list[i].dwID != 0)
            out.push_back(what + ": " + Rec(list[i]));
    }
}

inline Lines Base(const std::vector<uint32_t>& ids) {
    Lines out;
    CSearchBaseDataProc base;
    for (size_t i = 0; i < ids.size(); i += 27) {
        CLocationData r;
        if (base.SearchProc(&r, ids[i])) out.push_back("base: " + Rec(r));
    }
    return out;
}

inline Lines Arrival(const std::vector<uint32_t>& ids) {
    Lines out;
    CSearchArrivalProc arrival;
    for (size_t i = 0; i < ids.size(); i += 61) {
        unsigned long count = 0;
        if (!arrival.SearchProc(&count, ids[i])) continue;
        CLocationData list[4];
        if (count > 0 && arrival.GetList(list, 0, count < 4 ? count : 4))
            Listed(out, "arrival", list, 4, true);
    }
    return out;
}

inline Lines Genre(const std::vector<uint32_t>&) {
    Lines out;
    CSearchGenreProc genre;
    const unsigned long keys[][5] = {
        {1, 2, 255, 255, 255}, {0, 255, 255, 255, 255}, {3, 0, 3, 1, 2}};
    for (const auto& k : keys) {
        unsigned long count = 0;
        if (!genre.SearchProc(&count, k[0], k[1], k[2], k[3], k[4])) continue;
        for (unsigned long start = 0; start < count && start < 60; start += 20) {
            CLocationData list[20];
            if (genre.GetList(list, start, 20)) Listed(out, "genre", list, 20);
        }
    }
    return out;
}

inline Lines Kana(const std::vector<uint32_t>&) {
    Lines out;
    for (const char* reading : {"\xB1", "\xB6\xB2", "\xB1\xB3\xB6"}) {
        CSearchKanaProcMA kana;
        unsigned long count = 0;
        std::string r = reading;
        if (!kana.SearchProc(&count, reinterpret_cast<unsigned char*>(&r[0]))) continue;
        if (!kana.GetRefinedTotal(255, 255, 255, 255)) continue;
        CLocationData list[16];
        if (kana.GetList(list, 0, 16)) Listed(out, "kana", list, 16);
        if (!kana.GetRefinedSortTotal(255, 255, 255)) continue;
        kana.DistanceSortList(40, static_cast<int>(fulldb::kLat / 10 * 256 / 100),
                              static_cast<int>(fulldb::kLon / 10 * 256 / 100));
        CLocationData sorted[16];
        if (kana.GetSortList(sorted, 0, 16)) Listed(out, "kana sorted", sorted, 16);
    }
    return out;
}

inline Lines Vicinity(const std::vector<uint32_t>&) {
    Lines out;
    for (unsigned long genre1 : {1ul, 2ul}) {
        CVicinityProc vicinity;
        unsigned long count = 0;
        const unsigned long lat = fulldb::kLat + 30000, lon = fulldb::kLon + 30000;
        const int found = genre1 == 1
                              ? vicinity.SearchProc(&count, lat, lon, 3000, genre1, 255, 255)
                              : vicinity.SearchProc(&count, lat, lon, genre1, 255, 255);
        CLocationData list[16];
        if (found > 0 && vicinity.GetList(list, 0, 16)) Listed(out, "vicinity", list, 16);
    }
    return out;
}

inline Lines Phone(const std::vector<uint32_t>&) {
    Lines out;
    for (const char* number : {"0312340005", "0312340700", "031234", "0312349999"}) {
        CSearchPhoneProc phone;
        unsigned long kind = 0, count = 0;
        unsigned char digits[16] = {};
        snprintf(reinterpret_cast<char*>(digits), sizeof(digits), "%s", number);
        if (!phone.SearchPhoneProc(&kind, &count, digits) || kind == 0) continue;  // 0: none
        out.push_back(std::string("phone ") + number + ": kind " + std::to_string(kind));
        CLocationData list[4];
        if (phone.GetList(list, 0, 4)) Listed(out, "phone", list, 4);
    }
    return out;
}

inline Lines Address(const std::vector<uint32_t>&) {
    Lines out;
    CSearchAddressProc address;
    unsigned long count = 0;
    if (!address.InitProc(&count)) return out;
    CLocationData list[8];
    if (address.GetList(list, 0, 8, 255, 255, 255)) Listed(out, "prefectures", list, 8);
    if (!address.SearchNextProc(&count, 0)) return out;
    for (unsigned long start : {0ul, 300ul, 696ul}) {
        CLocationData cities[8];
        if (address.GetList(cities, start, 8, 255, 255, 255)) Listed(out, "cities", cities, 8);
    }
    if (address.SearchNextProc(&count, 3)) {
        unsigned char text[4096] = {};
        if (address.GetCurrentAddress(text))
            out.push_back("address: " + std::string(reinterpret_cast<char*>(text)));
    }
    return out;
}

inline Lines Details(const std::vector<uint32_t>& ids) {
    Lines out;
    CSearchZipcodeProc zip;
    for (unsigned long code : {1000000ul, 1000037ul, 1018463ul, 1500001ul, 1000001ul}) {
        CLocationData r;
        if (zip.GetData(&r, code) > 0) out.push_back("zip: " + Rec(r));
    }
    for (size_t i = 0; i < ids.size(); i += 97) {
        CSearchIntroProc intro;
        unsigned char text[2 * 768 + 2] = {};
        // An unknown facility, and a short read of its texts, give 1 with empty texts.
        if (intro.SearchProc(ids[i]) && intro.GetOpenTime(text) && text[0] != 0)
            out.push_back("intro: " + std::string(reinterpret_cast<char*>(text)));
        CSearchAddFunctionProc attributes;
        unsigned long value = 0;
        if (attributes.GetData(&value, ids[i])) out.push_back("attr: " + std::to_string(value));
        CSearchAlliedParkingProc parking;
        unsigned long count = 0;
        CLocationData list[4];
        if (parking.SearchProc(&count, ids[i]) && parking.GetList(list, 0, 4))
            Listed(out, "parking", list, 4);
    }
    return out;
}

inline Lines Strings(const std::vector<uint32_t>&) {
    Lines out;
    CSearchStringProc strings;
    for (unsigned char selector : {1, 2}) {
        for (unsigned long number : {1ul, 2ul, 5ul, 150ul, 298ul, 299ul}) {
            unsigned char sjis[CSearchStringProc::kSjisSize] = {};
            if (strings.SearchProc(sjis, selector, number, 0))
                out.push_back("string: " + Hash(sjis, sizeof(sjis)));
        }
    }
    return out;
}

inline Lines Versions(const std::vector<uint32_t>&) {
    Lines out;
    CVersionProc versions;
    for (unsigned long kind = 0; kind < 24; ++kind) {
        char version[CVersionProc::kUtf8Size] = {};
        // A read error of a version file counts as read, with the version left empty.
        if (versions.GetVersionUni(version, kind) && version[0] != 0)
            out.push_back("version " + std::to_string(kind) + ": " + version);
    }
    return out;
}

// A picture found through its index and read: its size and pixels.
template <class Index>
void Look(Lines& out, const char* key, const char* file, bool wide) {
    unsigned long offset = 0, size = 0;
    if (!Index().SearchProc(const_cast<char*>(key), &offset, &size)) return;
    std::vector<unsigned char> pixels(wide ? 326466 : 54066);
    unsigned short w = 0, h = 0;
    std::string name = std::string(file) + ".IMG";
    CImageFileIO io;
    const unsigned long got =
        wide ? io.ReadLBranchBMP(name.data(), &offset, &size, &w, &h, pixels.data())
             : io.ReadLEtcBMP(name.data(), &offset, &size, &w, &h, pixels.data());
    if (got)
        out.push_back(std::string(file) + " " + key + ": " + std::to_string(w) + "x" +
                      std::to_string(h) + " " + Hash(pixels.data(), pixels.size()));
}

inline Lines Pictures(const std::vector<uint32_t>&) {
    Lines out;
    for (const char* key : {"000010", "000050", "000090", "000055"}) {
        Look<CSearchLInicImageProc>(out, key, "INIC", false);
        Look<CSearchLGradeImageProc>(out, key, "GRADE", false);
        Look<CSearchLEtcImageProc>(out, key, "ETC", false);
        Look<CSearchLEtc2ImageProc>(out, key, "ETC2", false);
        Look<CSearchLRealcrossImageProc>(out, key, "REALCROSS", false);
        Look<CSearchLProperJCTImageProc>(out, key, "PROPERJCT", false);
        Look<CSearchLExitImageProc>(out, key, "EXIT", false);
        Look<CSearchLEntranceImageProc>(out, key, "ENTRANCE", false);
    }
    for (const char* key : {"000100", "000300"})
        Look<CSearchLBranchImageProc>(out, key, "BRANCH", true);
    for (unsigned long number : {123450ul, 123455ul, 123460ul, 123451ul}) {
        std::vector<unsigned char> pixels(375066);
        unsigned short w = 0, h = 0;
        if (CImageData().GetImageSAPAMap(pixels.data(), &w, &h, number))
            out.push_back("sapa " + std::to_string(number) + ": " +
                          Hash(pixels.data(), pixels.size()));
    }
    return out;
}

// Names drawn with the font into a plain picture.
inline Lines Merges(const std::vector<uint32_t>&) {
    Lines out;
    CImageProc proc;
    const std::string one = "\x93\x8c\x8b\x9e",
                      two = "\x90\x56\x8f\x68\x92\x86\x89\x9b";  // 東京, 新宿中央
    for (int slot = 0; slot < 2; ++slot) {
        std::vector<uint16_t> px(480 * 240, 0x0000);
        unsigned short w = 480, h = 240;
        std::string a = one, b = two;
        auto* bytes = reinterpret_cast<unsigned char*>(px.data());
        const unsigned long got =
            slot == 0
                ? proc.MergeImage(&w, &h, bytes, reinterpret_cast<unsigned char*>(&a[0]),
                                  reinterpret_cast<unsigned char*>(&b[0]))
                : proc.MergeSignDataImage(&w, &h, bytes, reinterpret_cast<unsigned char*>(&a[0]),
                                          nullptr, 2, 1, 3, false);
        if (got) out.push_back("merge " + std::to_string(slot) + ": " + Hash(bytes, px.size() * 2));
    }
    return out;
}

struct Op {
    const char* name;
    Lines (*run)(const std::vector<uint32_t>&);
};

inline const std::vector<Op>& Ops() {
    static const std::vector<Op> ops = {
        {"base", Base},         {"arrival", Arrival},   {"genre", Genre},
        {"kana", Kana},         {"vicinity", Vicinity}, {"phone", Phone},
        {"address", Address},   {"details", Details},   {"strings", Strings},
        {"versions", Versions}, {"pictures", Pictures}, {"merges", Merges}};
    return ops;
}

}  // namespace sweep
