// SA/PA information (every field and flag bit, full-length texts, the last record read to the
// end, the SD file name, damaged files) and allied parking (every facility of a table against a
// model, first and last runs, list windows, damaged files); the writers' refusals.
#include <gmock/gmock.h>

#include "SapaWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;

// Facility boolean of each raw flag bit, -1 where the bit has none (worked out by hand).
constexpr int kBoolOfBit[32] = {0,  -1, -1, 1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, -1, 12,
                                13, 14, 15, 16, 17, 18, -1, 19, 20, -1, -1, -1, -1, -1, 21, 22};

mapdb::SapaSource Sapa(uint32_t bit) {  // ids "SA00000000" .. "SA00000031"
    const std::string n = std::to_string(100 + bit).substr(1);
    return {"SA000000" + n,
            uint8_t(bit + 1),
            {{bit, 0xFFFF, 2, 3, 4}},
            1u << bit,
            0xABCDEF - bit,
            bit == 0 ? std::string(12, 'N') + "東名高速道路海老名SA" : "PA" + n,
            bit == 31 ? std::string(47, 'T') : "上り線 " + n};
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
}

TEST_F(SapaTest, SdFileNameAndDamagedFiles) {
    mapdb::TempDir sd, plain, damaged;
    mapdb::WriteSapaInfo(sd.path(), {Sapa(5)}, true), mapdb::WriteSapaInfo(plain.path(), {Sapa(5)});
    // A name of 33 bytes, a text of 48, a record cut before its LF, a start at the end of the file.
    const std::string recs[] = {std::string(33, 'N') + ",T\r\n",
                                "N," + std::string(48, 'T') + "\r\n", "N,T\r"};
    mapdb::ByteWriter ix, dat;
    ix.Zeros(16), dat.Zeros(16);
    for (int i = 0; i < 4; ++i) {
        ix.Str("SA0000000" + std::to_string(i)),
            ix.Str(std::to_string(1000000 + dat.size()).substr(1));
        if (i < 3) dat.Zeros(18), dat.Str(recs[i]);
    }
    mapdb::MakeDirs(damaged / "SAPAINFO"),
        mapdb::WriteFile(damaged / "SAPAINFO/SAPA.DAT", dat.bytes());
    mapdb::WriteFile(damaged / "SAPAINFO/SAPAID.IDX", ix.bytes());
    const std::tuple<std::string, std::string, bool, const char*, int> cases[] = {
        {"", sd.path(), true, "SA00000005", 1},       {"", sd.path(), false, "SA00000005", 0},
        {"", plain.path(), true, "SA00000005", 0},    {damaged.path(), "", false, "SA00000000", 0},
        {damaged.path(), "", false, "SA00000001", 0}, {damaged.path(), "", false, "SA00000002", 0},
        {damaged.path(), "", false, "SA00000003", 0}};
    for (const auto& [db, sdPath, sdOn, id, want] : cases) {
        settings_.Use(db, sdPath, true, sdOn);
        CSAPAData d = {};
        EXPECT_EQ(want, SAPAInfo().GetSAPAData(&d, id)) << db << sdPath << id;
    }
    mapdb::WriteFile(damaged / "SAPAINFO/SAPAID.IDX",
                     {ix.bytes().begin(), ix.bytes().begin() + 31});
    CSAPAData d = {};
    EXPECT_EQ(0, SAPAInfo().GetSAPAData(&d, "SA00000000"));  // index cut inside its only entry
    settings_.Use(plain.path());  // record "PA05": whole, empty, cut before "," or LF, exact
    const unsigned long reads[][3] = {
        {16, 0xffffff, 1}, {16, 0, 0}, {16, 22, 0}, {16, 33, 0}, {16, 34, 1}};
    for (const auto& r : reads) EXPECT_EQ(r[2], SAPAInfo().GetInfoData(&d, r[0], r[1])) << r[1];
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
        for (uint32_t k = 0; k < n; ++k) {
            const uint32_t p = (f + n - 1 - k) % 5;
            EXPECT_EQ(parks_[p], out[k].dwID) << id;
            EXPECT_EQ(mapdb::Utf8ToSjis("駐車場" + std::to_string(p)), out[k].szName) << id;
        }
        EXPECT_EQ(0u, out[n].dwID);
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
    using Ids = std::vector<unsigned long>;
    const std::tuple<std::string, unsigned long, unsigned long, unsigned long, Ids> cases[] = {
        {none.path(), 0, 0, 0, {}},
        {tiny.path(), 1, 0, 0, {}},
        {odd.path(), 1, 1, 1, {parks_[4]}},
        {bad.path(), 1, 3, 0, {parks_[2]}}};  // the list stops at the unknown car park
    for (const auto& [db, status, n, listed, ids] : cases) {
        WriteParks(db), settings_.Use(db, dir_.path());  // the SD copy is not enabled
        CSearchAlliedParkingProc parking;
        unsigned long count = 99;
        std::vector<CLocationData> out(3);
        EXPECT_EQ(status, parking.SearchProc(&count, 5)) << db;
        EXPECT_EQ(n, count) << db;
        EXPECT_EQ(listed, parking.GetList(out.data(), 0, 3)) << db;
        EXPECT_EQ(ids, Listed(out)) << db;
    }
}

TEST(SapaWriter, RefusesWhatTheReadersCannotHold) {
    mapdb::TempDir t;
    mapdb::SapaSource ok = Sapa(3), longName = ok, comma = ok, longText = ok, crlf = ok,
                      shortId = ok;
    longName.name = std::string(33, 'N'), comma.name = "A,B", longText.text = std::string(48, 'T');
    crlf.text = "A\r\nB", shortId.id = "SA1";
    mapdb::SapaSource wide = ok, wide6 = ok;
    wide.values[4] = 0x10000, wide6.value6 = 0x1000000;
    const std::pair<std::vector<mapdb::SapaSource>, const char*> cases[] = {
        {{longName}, "name"}, {{comma}, "name"}, {{longText}, "text"}, {{crlf}, "text"},
        {{shortId}, "id"},    {{ok, ok}, "id"},  {{wide}, "value 5"},  {{wide6}, "value 6"}};
    for (const auto& [records, field] : cases)
        EXPECT_THAT(
            [&] { mapdb::WriteSapaInfo(t.path(), records); },
            testing::ThrowsMessage<mapdb::Error>(testing::HasSubstr(std::string("): ") + field)));
    for (const std::vector<mapdb::ParkingPair>& pairs :
         {std::vector<mapdb::ParkingPair>{{1, 2}, {1, 2}}, {{1, 2}, {0x80000001, 2}}})
        EXPECT_THROW(mapdb::WriteParking(t.path(), pairs), mapdb::Error);
}

}  // namespace
