// SA/PA information (every field and flag bit, full-length texts, the last record read to the
// end, the SD file name, damaged files) and allied parking (every facility of a table against a
// model, first and last runs, list windows, damaged files); the writers' refusals.
#include <gmock/gmock.h>

#include "SapaWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
using Ids = std::vector<unsigned long>;

// Facility boolean of each raw flag bit, -1 where the bit has none (worked out by hand).
constexpr int kBoolOfBit[32] = {0,  -1, -1, 1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, -1, 12,
                                13, 14, 15, 16, 17, 18, -1, 19, 20, -1, -1, -1, -1, -1, 21, 22};

// Ids "SA00000000" .. "SA00000031"; the first name fills all 32 bytes, the last text 47.
mapdb::SapaSource Sapa(uint32_t bit) {
    const std::string n = std::to_string(100 + bit).substr(1);
    mapdb::SapaSource s;
    s.id = "SA000000" + n, s.kind = uint8_t(bit + 1), s.values = {{bit, 0xFFFF, 2, 3, 4}};
    s.flags = 1u << bit, s.value6 = 0xABCDEF - bit;
    s.name = bit ? "PA" + n : std::string(12, 'N') + "東名高速道路海老名SA";
    s.text = bit == 31 ? std::string(47, 'T') : "上り線 " + n;
    return s;
}

// Five car parks in the base data; the same ids in every folder.
std::vector<uint32_t> WriteParks(const std::string& root) {
    std::vector<mapdb::PoiSource> pois;
    for (int i = 0; i < 5; ++i) pois.push_back(MakePoi("駐車場" + std::to_string(i), "ちゅうしゃ"));
    return mapdb::WriteBase(root, pois).ids;
}

struct SapaTest : SuiteDb<SapaTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::SapaSource> all;
        for (uint32_t bit = 32; bit-- > 0;) all.push_back(Sapa(bit));  // written out of order
        mapdb::WriteSapaInfo(root, all);
        parks_ = WriteParks(root);
        std::vector<mapdb::ParkingPair> pairs;
        for (uint32_t f = 0; f < 40; ++f)  // facility 0xB1000000 + 4f has f % 4 car parks
            for (uint32_t k = f % 4; k-- > 0;)
                pairs.push_back({0xB1000000 + 4 * f, parks_[(f + k) % 5]});
        mapdb::WriteParking(root, pairs);
    }
    static inline std::vector<uint32_t> parks_;
};

TEST_F(SapaTest, EveryRecordFieldAndFlagBit) {
    for (uint32_t bit = 0; bit < 32; ++bit) {
        SCOPED_TRACE(bit);
        const mapdb::SapaSource s = Sapa(bit);
        CSAPAData d = {};
        ASSERT_EQ(1, SAPAInfo().GetSAPAData(&d, s.id.c_str()));  // 0 and 31: first and last
        EXPECT_EQ(mapdb::Utf8ToSjis(s.name), std::string(d.szName, strnlen(d.szName, 32)));
        EXPECT_EQ(mapdb::Utf8ToSjis(s.text), d.szText);
        EXPECT_EQ((std::vector<uint32_t>{bit + 1, bit, 0xFFFF, 2, 3, 4, 1u << bit, 0xABCDEF - bit}),
                  (std::vector<uint32_t>{d.byKind, d.dwValue[0], d.dwValue[1], d.dwValue[2],
                                         d.dwValue[3], d.dwValue[4], d.dwFlag, d.dwValue6}));
        for (int b = 0; b < 23; ++b) EXPECT_EQ(kBoolOfBit[bit] == b, d.blFacility[b]) << b;
    }
    CSAPAData d = {};
    const std::pair<const char*, int> ids[] = {
        {"SA00000032", 0}, {"SA0000000", 0}, {"", 0}, {"RA00000000", 0}, {"SA00000031X", 1}};
    for (const auto& [id, want] : ids) EXPECT_EQ(want, SAPAInfo().GetSAPAData(&d, id)) << id;
    EXPECT_EQ(0,
              SAPAInfo().GetSAPAData(nullptr, "SA00000007") + SAPAInfo().GetSAPAData(&d, nullptr));
    d.dwValue[1] = 0xABCD0000;  // the 16-bit values leave the high halves as they were
    EXPECT_EQ(0xABCDFFFFu, (SAPAInfo().GetSAPAData(&d, "SA00000007"), d.dwValue[1]));
}

TEST_F(SapaTest, SdFileNameAndDamagedFiles) {
    mapdb::TempDir sd, ok, bad;
    mapdb::WriteSapaInfo(sd.path(), {Sapa(5)}, true), mapdb::WriteSapaInfo(ok.path(), {Sapa(5)});
    const std::string z(18, 0), S = sd.path(), O = ok.path(), B = bad.path();
    // Bad records: a name of 33 bytes, a text of 48, one cut before its LF; a cut index entry.
    const std::string recs = std::string(16, 0) + z + std::string(33, 'N') + ",T\r\n" + z + "N," +
                             std::string(48, 'T') + "\r\n" + z + "N,T\r";
    const mapdb::Bytes idx = mapdb::ReadFile(ok / "SAPAINFO/SAPAID.IDX");
    mapdb::MakeDirs(B + "/SAPAINFO"),
        mapdb::WriteFile(B + "/SAPAINFO/SAPA.DAT", {recs.begin(), recs.end()});
    mapdb::WriteFile(B + "/SAPAINFO/SAPAID.IDX", {idx.begin(), idx.begin() + 31});
    // The data file's SD name is the only one read on the SD card.
    const std::tuple<std::string, std::string, bool, int> looks[] = {
        {"", S, true, 1}, {"", S, false, 0}, {"", O, true, 0}, {B, "", false, 0}};
    CSAPAData d = {};
    for (const auto& [db, sdRoot, sdOn, want] : looks) {
        settings_.Use(db, sdRoot, true, sdOn);
        EXPECT_EQ(want, SAPAInfo().GetSAPAData(&d, "SA00000005")) << db << sdRoot << sdOn;
    }
    // Record "PA05" (34 bytes) whole, empty, cut before "," or LF; the bad ones; the file's end.
    const std::tuple<std::string, unsigned long, unsigned long, unsigned long> reads[] = {
        {O, 16, 0xffffff, 1}, {O, 16, 0, 0},         {O, 16, 22, 0},
        {O, 16, 33, 0},       {O, 16, 34, 1},        {B, 16, 55, 0},
        {B, 71, 70, 0},       {B, 141, 0xffffff, 0}, {B, 163, 0xffffff, 0}};
    for (const auto& [root, offset, length, want] : reads) {
        settings_.Use(root);
        EXPECT_EQ(want, SAPAInfo().GetInfoData(&d, offset, length)) << root << " " << offset;
    }
}

TEST_F(SapaTest, AlliedParkingOfEveryFacility) {
    CSearchAlliedParkingProc parking;
    unsigned long count = 99;
    for (uint32_t id = 0xB1000000 - 2; id < 0xB1000000 + 4 * 40 + 2; ++id) {
        ASSERT_EQ(1u, parking.SearchProc(&count, id)) << id;
        const uint32_t f = (id - 0xB1000000) / 4,
                       n = id % 4 || id < 0xB1000000 || f >= 40 ? 0 : f % 4;
        ASSERT_EQ(n, count) << id;  // facilities 1 and 39 hold the first and last pairs
        std::vector<CLocationData> out(n + 1);
        EXPECT_EQ(n ? 1u : 0u, parking.GetList(out.data(), 0, n + 1)) << id;
        Ids want;
        for (uint32_t k = 0; k < n; ++k) {
            const uint32_t p = (f + n - 1 - k) % 5;
            want.push_back(parks_[p]);
            EXPECT_EQ(mapdb::Utf8ToSjis("駐車場" + std::to_string(p)), out[k].szName) << id;
        }
        EXPECT_EQ(want, Listed(out)) << id;
    }
    ASSERT_EQ(1u, parking.SearchProc(&count, 0xB1000000 + 4 * 3));  // parks 0, 4, 3
    CLocationData out[2];
    out[1].dwID = 7;
    const unsigned long p0 = parks_[0], p3 = parks_[3], p4 = parks_[4];
    const unsigned long windows[][5] = {
        {2, 2, 1, p3, 0}, {0, 2, 1, p0, p4}, {1, 0, 1, p0, p4}, {3, 1, 0, 0, p4}, {9, 2, 0, 0, 0}};
    for (const auto& w : windows) {
        EXPECT_EQ(w[2], parking.GetList(out, w[0], w[1])) << w[0] << "+" << w[1];
        EXPECT_EQ((std::vector<unsigned long>{w[3], w[4]}),
                  (std::vector<unsigned long>{out[0].dwID, out[1].dwID}));
    }
}

TEST_F(SapaTest, DamagedParkingFiles) {
    mapdb::TempDir none, tiny, odd, bad;
    mapdb::WriteParking(bad.path(), {{5, parks_[2]}, {5, 0xB1FFFFFF}, {5, parks_[1]}});
    mapdb::MakeDirs(tiny / "PARKING"), mapdb::WriteFile(tiny / "PARKING/TK.DAT", mapdb::Bytes(15));
    mapdb::ByteWriter w;  // a whole pair, then a facility id without its car park
    w.Zeros(16), w.U32(5), w.U32(parks_[4]), w.U32(5);
    mapdb::MakeDirs(odd / "PARKING"), mapdb::WriteFile(odd / "PARKING/TK.DAT", w.bytes());
    // {status, count, GetList} and the ids listed; the list stops at the unknown car park.
    const std::pair<std::string, Ids> cases[] = {{none.path(), {0, 0, 0}},
                                                 {tiny.path(), {1, 0, 0}},
                                                 {odd.path(), {1, 1, 1, parks_[4]}},
                                                 {bad.path(), {1, 3, 0, parks_[2]}}};
    for (const auto& [db, want] : cases) {
        WriteParks(db), settings_.Use(db, dir_.path());  // the SD copy is not enabled
        CSearchAlliedParkingProc parking;
        unsigned long count = 99;
        std::vector<CLocationData> out(3);
        Ids got = {parking.SearchProc(&count, 5), count, parking.GetList(out.data(), 0, 3)};
        for (unsigned long id : Listed(out)) got.push_back(id);
        EXPECT_EQ(want, got) << db;
    }
}

TEST(SapaWriter, RefusesWhatTheReadersCannotHold) {
    mapdb::TempDir t;
    mapdb::SapaSource name = Sapa(3), text = name, wide = name;
    name.name = std::string(33, 'N'), text.text = "A\r\nB", wide.values[4] = 0x10000;
    const std::pair<std::vector<mapdb::SapaSource>, std::string> cases[] = {
        {{name}, "name"}, {{text}, "text"}, {{wide}, "value 5"}, {{wide, Sapa(3)}, "id"}};
    for (const auto& [records, field] : cases)
        EXPECT_THAT([&] { mapdb::WriteSapaInfo(t.path(), records); },
                    testing::ThrowsMessage<mapdb::Error>(testing::HasSubstr("): " + field)));
    for (const std::vector<mapdb::ParkingPair>& pairs :
         {std::vector<mapdb::ParkingPair>{{1, 2}, {1, 2}}, {{1, 2}, {0x80000001, 2}}})
        EXPECT_THROW(mapdb::WriteParking(t.path(), pairs), mapdb::Error);
}

}  // namespace
