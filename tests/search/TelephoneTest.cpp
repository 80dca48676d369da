// Telephone search and icon ids: keys of every prefix class, the index search against brute
// force, completion, icon order, the duplicate merge, area points, the icon table against a
// sorted model, the writers' refusals, missing and damaged files.
#include <random>

#include "HomePhoneWriter.h"
#include "TelephoneWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
using Ids = std::vector<unsigned long>;
constexpr uint32_t kFar = 1000000;  // 1000 arc-seconds

struct Tel : CSearchTelephoneProc {
    using CSearchTelephoneProc::m_Results;
    Ids Held() {
        Ids ids;
        for (unsigned long i = 0; i < m_Results.GetCount(); ++i)
            ids.push_back(m_Results.GetAt(i)->dwID);
        return ids;
    }
};
struct Icons : CIconID {
    using CIconID::m_Table;
};

struct TelephoneTest : SuiteDb<TelephoneTest> {
    static void Write(const std::string& root) {
        // {name, reading, genre code 2, longitude and latitude offsets}; codes 2-4 (2,3,4) give
        // icon 20, (5,6,7) icon 10.
        // clang-format off
        const std::vector<std::tuple<const char*, const char*, uint32_t, uint32_t, uint32_t>> pois = {
            {"Chain", "アア", 2, 0, 0}, {"Chain", "アイ", 2, kFar, 10000} /* merges into 0 */,
            {"Chain", "アウ", 5, 0, 0}, {"Chain", "アエ", 2, 3 * kFar, kFar}, {"Other", "アオ", 2, 3 * kFar, kFar},
            {"Mobile", "カ", 2, 0, 0}, {"Free", "キ", 2, 0, 0}, {"Free", "ク", 2, 0, 0}, {"Free", "ケ", 2, 0, 0}};
        // clang-format on
        std::vector<mapdb::PoiSource> src;
        for (const auto& [name, reading, g2, dLon, dLat] : pois) {
            src.push_back(MakePoi(name, reading, {1, g2, g2 + 1, g2 + 2}));
            src.back().lonMs += dLon, src.back().latMs += dLat;
        }
        ids_ = mapdb::WriteBase(root, src).ids;
        std::vector<mapdb::TelephoneEntry> tel;
        for (int i : {3, 1, 4, 0, 2}) tel.push_back({"0312345678", ids_[i]});
        for (int i : {8, 6, 7}) tel.push_back({"0120123456", ids_[i]});
        for (int i : {6, 7}) tel.push_back({"0800123456", ids_[i]});
        tel.push_back({"09012345678", ids_[5]}), tel.push_back({"0012345678", ids_[5]});
        for (const char* n : {"0450000010", "0450000020", "0450000020", "0450000020", "0450000030"})
            tel.push_back({n, 7});
        std::mt19937 rng(5);
        for (uint32_t i = 0; i < 300; ++i) {
            keys47_.push_back(470000000 + rng() % 120);
            tel.push_back({"0" + std::to_string(keys47_.back()), i});
        }
        mapdb::WriteTelephone(root, tel);
        std::vector<mapdb::AreaPoint> points;
        for (uint32_t k = 0; k < 10; ++k)
            points.push_back({"03123" + std::to_string(k), kTokyoLon + 10 * k, kTokyoLat});
        mapdb::WritePhonePoint(root, points);
        mapdb::WriteGenreData(root, {{"a", 2, 3, 4, 20}, {"b", 5, 6, 7, 10}, {"c", 9, 9, 9, 10}});
        mapdb::WriteHomePhone(root, {{"0622223333", "やまだ", "Home", kTokyoLon, kTokyoLat, 0}},
                              {{"0312345678", "", "Co", kTokyoLon, kTokyoLat, 0},
                               {"0611112222", "", "Co0", kTokyoLon, kTokyoLat, 0},
                               {"0611112222", "", "Co1", kTokyoLon, kTokyoLat, 0}});
    }
    static unsigned long Count(CSearchTelephoneProc& t, const char* number, bool area = false) {
        unsigned long n = 99;
        std::vector<unsigned char> z = Z(number);
        z.resize(std::max<size_t>(z.size(), 12));  // the search looks at 12 bytes
        EXPECT_TRUE(area ? t.SearchAreaProc(&n, z.data()) : t.SearchProc(&n, z.data())) << number;
        return n;
    }
    static inline std::vector<uint32_t> ids_, keys47_;
};

TEST_F(TelephoneTest, PrefixClassesInBothSearches) {
    // {number, POI hits, area points}: 03-1234 has an area point, numbers without a geographic
    // area have none, typed 010-040 and numbers not beginning with 0 have nothing.
    // clang-format off
    const std::vector<std::tuple<const char*, unsigned long, unsigned long>> cases = {
        {"0312345678", 4, 1}, {"09012345678", 1, 0}, {"0120123456", 3, 0}, {"0800123456", 2, 0},
        {"0570123456", 0, 0}, {"0012345678", 1, 0}, {"0101234567", 0, 0}, {"0201234567", 0, 0},
        {"0301234567", 0, 0}, {"0401234567", 0, 0}, {"05031234567", 0, 0}, {"07031234567", 0, 0},
        {"08031234567", 0, 0}, {"0612345678", 0, 0}, {"0319995678", 0, 0}, {"0312295678", 0, 0},
        {"312345678", 0, 0}, {"", 0, 0}};
    // clang-format on
    Tel t;
    for (const auto& [number, hits, area] : cases) {
        EXPECT_EQ(Count(t, number), hits) << number;
        EXPECT_EQ(Count(t, number, true), area) << number;
    }
    CLocationData p;
    for (uint32_t k = 0; k < 10; ++k) {
        ASSERT_EQ(Count(t, ("03123" + std::to_string(k) + "5678").c_str(), true), 1u) << k;
        EXPECT_TRUE(t.GetAreaData(&p));
        EXPECT_EQ(std::make_tuple(p.lLon, p.lLat, p.dwID),
                  std::make_tuple(kTokyoLon + 10 * k, kTokyoLat, 0u));
    }
}

TEST_F(TelephoneTest, MergeCompletionAndIconOrder) {
    Tel t;
    ASSERT_EQ(Count(t, "0312345678"), 4u);
    EXPECT_EQ(t.Held(), (Ids{ids_[0], ids_[2], ids_[3], ids_[4]}));
    ASSERT_EQ(Count(t, "0120123456"), 3u);  // index order, not completed, not merged
    EXPECT_EQ(t.Held(), (Ids{0, 0, 0}));
    std::vector<CLocationData> out(4);
    EXPECT_TRUE(t.GetList(out.data(), 0, 4));
    EXPECT_EQ(Listed(out), (Ids{ids_[8], ids_[6], ids_[7]}));
    ASSERT_EQ(Count(t, "09012345678"), 1u);
    out.assign(2, CLocationData());
    EXPECT_TRUE(t.GetList(out.data(), 0, 2));
    EXPECT_EQ(Listed(out), (Ids{ids_[5]}));
    EXPECT_STREQ(out[0].szName, "Mobile");
    EXPECT_EQ(out[0].dwRefID, ids_[5]);
    t.FlushBuf();
    // {codes 2-4, id}: icon 20 twice (the id decides), icon 10 twice (codes decide), no icon.
    for (const auto& r : std::vector<std::array<uint32_t, 4>>{
             {2, 3, 4, 5}, {9, 9, 9, 1}, {5, 6, 7, 9}, {2, 3, 4, 2}, {8, 8, 8, 7}}) {
        CLocationData d;
        d.dwGenre2 = r[0], d.dwGenre3 = r[1], d.dwGenre4 = r[2], d.dwID = r[3];
        t.m_Results.Add(&d);
    }
    t.DataSortIconID(5);
    EXPECT_EQ(t.Held(), (Ids{7, 9, 1, 2, 5}));
    t.DataSortPOIID(5);
    EXPECT_EQ(t.Held(), (Ids{1, 2, 5, 7, 9}));
}

TEST_F(TelephoneTest, SearchPointAndRunsAgainstBruteForce) {
    Tel t;
    ASSERT_TRUE(t.OpenDataFolder("TELEPHONE"));
    char t45[] = "T045.idx", t47[] = "T047.idx";
    ASSERT_TRUE(t.OpenPackFile(t45));
    // {key, position, hits}, worked by hand over the keys 10, 20, 20, 20, 30.
    // clang-format off
    for (const auto& c : std::vector<std::array<long, 3>>{{450000005, 16, 0}, {450000010, 16, 1},
             {450000020, 16, 3}, {450000025, 48, 0}, {450000030, 48, 1}, {450000031, 48, 0}}) {
        // clang-format on
        CArrayData<CLocationData> hits;
        EXPECT_EQ(t.GetSearchPoint(c[0]), c[1]) << c[0];
        EXPECT_TRUE(t.SearchData(&hits, c[0], c[1]));
        EXPECT_EQ(hits.GetCount(), static_cast<unsigned long>(c[2])) << c[0];
    }
    ASSERT_TRUE(t.OpenPackFile(t47));
    for (uint32_t key = 469999999; key <= 470000121; ++key) {
        CArrayData<CLocationData> hits;
        const long pos = t.GetSearchPoint(key);
        if (pos != -1) t.SearchData(&hits, key, pos);
        EXPECT_EQ(hits.GetCount(),
                  static_cast<unsigned long>(std::count(keys47_.begin(), keys47_.end(), key)));
    }
}

TEST_F(TelephoneTest, IconTableAgainstSortedModel) {
    mapdb::TempDir dir;
    std::mt19937 rng(11);
    std::vector<mapdb::GenreDataRecord> recs;
    for (int i = 0; i < 3000; ++i)
        recs.push_back(
            {"g", uint8_t(rng() % 4 * 60), uint8_t(rng() % 3), uint8_t(rng() % 3), uint16_t(i)});
    mapdb::WriteGenreData(dir.path(), recs);
    Icons icons;
    char* path = const_cast<char*>(dir.path().c_str());
    ASSERT_TRUE(icons.LoadIconIDData(path, nullptr));
    ASSERT_EQ(icons.m_Table.GetCount(), recs.size());
    using Codes = std::tuple<uint8_t, uint8_t, uint8_t>;
    std::map<Codes, std::set<unsigned long>> icon;  // brute force: the icons of each code triple
    for (const auto& r : recs) icon[{r.code1, r.code2, r.code3}].insert(r.iconId);
    std::set<unsigned long> seen;
    size_t i = 0;  // rows run through the triples in order, each row once
    for (const auto& [codes, ids] : icon)
        for (size_t k = 0; k < ids.size(); ++k, ++i) {
            const CIconID::STRUCT_ICONID* r = icons.m_Table.GetAt(i);
            ASSERT_EQ(Codes(r->byGenre1, r->byGenre2, r->byGenre3), codes) << i;
            ASSERT_TRUE(ids.count(r->wIconID) && seen.insert(r->wIconID).second) << i;
        }
    for (int c1 = 0; c1 < 256; c1 += 30)
        for (uint8_t c2 = 0; c2 < 4; ++c2)
            for (uint8_t c3 = 0; c3 < 4; ++c3) {
                const auto found = icon.find({uint8_t(c1), c2, c3});
                const unsigned long got = icons.GetGUIIconID(uint8_t(c1), c2, c3);
                EXPECT_TRUE(found == icon.end() ? got == 0 : found->second.count(got) == 1) << c1;
            }
    settings_.Use("/nonexistent", dir.path(), true, true);  // database copy missing: SD copy
    EXPECT_TRUE(icons.LoadIconIDData());
    EXPECT_EQ(icons.m_Table.GetCount(), recs.size());
    mapdb::WriteGenreData(dir.path(), {});  // header only: an empty table, no sort
    EXPECT_TRUE(icons.LoadIconIDData(path, nullptr));
    EXPECT_EQ(icons.GetGUIIconID(0, 0, 0), 0u);
    settings_.Use(dir.path(), "", false);
    EXPECT_FALSE(icons.LoadIconIDData(path, nullptr));
}

TEST_F(TelephoneTest, WritersRefuseWhatCannotBeFound) {
    mapdb::TempDir d;
    for (const char* n : {"0101234567", "03-1234567", "0312345678901", "09912345678", "", "3123"})
        EXPECT_THROW(mapdb::WriteTelephone(d.path(), {{"0312345678", 1}, {n, 2}}), mapdb::Error)
            << n;
    const mapdb::AreaPoint tokyo{"031234", kTokyoLon, kTokyoLat}, far{"031234", 0, kTokyoLat};
    mapdb::AreaPoint mobile = tokyo, same = tokyo;
    mobile.prefix = "090", same.prefix = "0312345";  // same: the prefix key of "031234"
    for (const auto& points :
         std::vector<std::vector<mapdb::AreaPoint>>{{mobile}, {tokyo, same}, {far}})
        EXPECT_THROW(mapdb::WritePhonePoint(d.path(), points), mapdb::Error) << points[0].prefix;
    EXPECT_THROW(mapdb::WriteGenreData(d.path(), {{std::string(72, 'x'), 1, 2, 3, 4}}),
                 mapdb::Error);
}

TEST_F(TelephoneTest, MissingAndDamagedFiles) {
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    Tel t;
    unsigned char number[12] = "0312345678";
    EXPECT_FALSE(t.SearchProc(nullptr, number));
    EXPECT_FALSE(t.SearchAreaProc(nullptr, number));
    // `count` entries for 03-1234-5678 of `size` bytes, then `extra` stray bytes.
    auto image = [](int count, size_t size, int extra) {
        mapdb::ByteWriter w;
        w.Zeros(16);
        for (int i = 0; i < count; ++i)
            size == 8 ? (w.U32(312345678), w.U32(i)) : (w.U24(31234), w.U24(i), w.U24(i));
        w.Zeros(extra);
        return w.Take();
    };
    // {whole entries, stray bytes, hits, area points}: odd sizes keep their whole entries, a cut
    // entry is lost; three ids that no base data completes are alike and merge into one.
    for (const auto& [count, extra, hits, area] :
         std::vector<std::array<int, 4>>{{1, 5, 1, 1}, {0, 7, 0, 0}, {3, 4, 1, 1}}) {
        WritePack(dir.path(), "TELEPHONE", {{"T031.idx", image(count, 8, extra)}});
        WritePack(dir.path(), "PHONEPOINT", {{"PP031.dat", image(count, 9, extra)}});
        EXPECT_EQ(Count(t, "0312345678"), static_cast<unsigned long>(hits)) << count;
        EXPECT_EQ(Count(t, "0312345678", true), static_cast<unsigned long>(area)) << count;
    }
}

// The facade answers from the most specific directory that knows the number (a POI number that
// is also a company's is a POI), lists from it, and stops at the first missing folder.
TEST_F(TelephoneTest, FacadeCascadeAndListing) {
    // {number, kind, count, first listed name (empty: nothing listed), listed longitude}
    const std::vector<std::tuple<const char*, unsigned long, unsigned long, std::string, uint32_t>>
        cases = {{"0312345678", 1, 4, "Chain", kTokyoLon},
                 {"0611112222", 2, 2, "Co0", kTokyoLon},
                 {"0622223333", 3, 1, "", 0},
                 {"0312349999", 4, 1, "", kTokyoLon + 40},
                 {"0699999999", 0, 0, "", 0}};
    for (const auto& [number, kind, count, name, lon] : cases) {
        CSearchPhoneProc p;
        unsigned long k = 99, n = 99;
        ASSERT_TRUE(p.SearchPhoneProc(&k, &n, Z(number).data())) << number;
        EXPECT_EQ(kind, k) << number;
        EXPECT_EQ(count, n) << number;
        CLocationData out;
        out.FlushData();
        EXPECT_EQ(kind != 0 && kind != 3, p.GetList(&out, 0, 1)) << number;
        EXPECT_EQ(name, out.szName) << number;
        EXPECT_EQ(lon, out.lLon) << number;
        if (kind != 3) continue;
        EXPECT_TRUE(p.CheckKanaProc(&n, Z(mapdb::ReadingToHalfKana("やまだ")).data()));
        EXPECT_EQ(1u, n);
        EXPECT_TRUE(p.GetList(&out, 0, 1));
        EXPECT_STREQ("Home", out.szName);
    }
    mapdb::TempDir dir;
    settings_.Use(dir.path());
    mapdb::WriteTelephone(dir.path(), {{"0312345678", 1}});
    for (const char* number : {"0312345678", "0611112222"}) {
        CSearchPhoneProc p;
        unsigned long k = 99, n = 99;
        EXPECT_EQ(number[3] == '2', p.SearchPhoneProc(&k, &n, Z(number).data())) << number;
        EXPECT_EQ(number[3] == '2' ? 1u : 99u, k) << number;
    }
}

}  // namespace
