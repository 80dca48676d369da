// Postal codes (number and text forms, ordinary before company codes, every probe position
// against a model) and adjacent prefectures (both id schemes and their bounds); the SD copy,
// damaged tables and the writers' refusals.
#include <gmock/gmock.h>

#include "ZipcodeWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
using testing::HasSubstr;
using testing::ThrowsMessage;

std::string Text(uint32_t code) {
    return std::to_string(code + 10000000).substr(1);
}
uint32_t Lon(uint32_t code, bool company) {
    return kTokyoLon + (code % 997 + company * 1000) * 10;
}
mapdb::VicinityPrefRow Row(uint32_t r) {  // rows are not ordered by device id
    const uint32_t own = (r + 5) % 47;
    return {{{own, r == 0 ? "北海道" : "P" + std::to_string(own)}, {(own + 1) % 47, "隣県"}}};
}

struct ZipTest : SuiteDb<ZipTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::ZipcodeSource> z, cz;
        for (uint32_t i = 0; i < 300; ++i) model_[10000 + i * 33001] = 0;
        for (uint32_t c : {1000000u, 1000005u, 9999999u}) model_[c] = 0;
        for (auto& [c, lon] : model_) z.push_back({Text(c), lon = Lon(c, false), kTokyoLat});
        for (uint32_t c : {1000001u, 1000005u, 9980000u}) {
            cz.push_back({Text(c).insert(3, "-"), Lon(c, true), kTokyoLat});
            model_.emplace(c, Lon(c, true));  // an ordinary code shadows a company one
        }
        std::vector<mapdb::VicinityPrefRow> rows;
        for (uint32_t r = 0; r < 47; ++r) rows.push_back(Row(r));
        mapdb::WriteZipcode(root, z, cz), mapdb::WriteVicinityPref(root, rows);
    }
    static inline std::map<uint32_t, uint32_t> model_;  // code -> longitude of the hit
};

// {status, dwTelAux, lLon} of a look-up; no other field of the record may change.
template <class Key>
std::vector<uint32_t> Look(Key key) {
    CLocationData r;
    r.dwID = 77;
    const int status = CSearchZipcodeProc().GetData(&r, key);
    EXPECT_EQ(77u, r.dwID);
    return {static_cast<uint32_t>(status), r.dwTelAux, r.lLon};
}
std::vector<uint32_t> Want(uint32_t code) {
    const auto hit = ZipTest::model_.find(code);
    if (hit == ZipTest::model_.end()) return {0, 0, 0};
    return {1, code, hit->second};
}

TEST_F(ZipTest, EveryStoredCodeAndItsNeighboursAgainstTheModel) {
    for (const auto& entry : model_) {
        for (uint32_t code = entry.first - 1; code <= entry.first + 1; ++code) {
            EXPECT_EQ(Want(code), Look(code)) << code;
            // The seven-character text is the same look-up (no stored code begins with 000).
            if (code > 9999999) continue;
            EXPECT_EQ(Want(code), Look(Z(Text(code)).data())) << code;
        }
    }
}

TEST_F(ZipTest, ThreeDigitCodesAndTextForms) {
    // "100-0005" is read as far as the hyphen: the three-digit code 100.
    for (const char* text : {"100", "100-0005"}) EXPECT_EQ(Want(1000000), Look(Z(text).data()));
    EXPECT_EQ(Want(9980000), Look(Z("998").data()));
    EXPECT_EQ(Want(1000005), Look(Z("10000051").data()));
    for (const char* text : {"101", "1000", "10000", "100000", "10", "", "000"})
        EXPECT_EQ(Want(0), Look(Z(text).data())) << text;
    for (unsigned long code : {100ul, 998ul, 101ul, 0ul}) EXPECT_EQ(Want(code * 10000), Look(code));
    EXPECT_EQ(0, CSearchZipcodeProc().GetData(nullptr, 1000000ul));
}

TEST_F(ZipTest, PrefecturesByBothSchemes) {
    for (unsigned long id = 0; id <= 48; ++id) {
        PREF_DATA vela = {}, ipc = {};
        EXPECT_EQ(id <= 46, CSearchVicinityPrefDataProc().GetListByVelaID(&vela, id)) << id;
        EXPECT_EQ(id >= 1 && id <= 47, CSearchVicinityPrefDataProc().GetListByiPCID(&ipc, id));
        EXPECT_EQ(id >= 1 && id <= 47 ? Row(id - 1)[0].name : "", ipc.szName[0]) << id;
        const mapdb::VicinityPrefRow want = Row((id + 42) % 47);  // the row device id `id` owns
        for (int k = 0; k < 4 && id <= 46; ++k) {
            EXPECT_EQ(want[k].id, vela.dwID[k]) << id;
            EXPECT_EQ(want[k].name, vela.szName[k]) << id;
        }
    }
}

TEST_F(ZipTest, SdCopyAndDamagedTables) {
    const mapdb::Bytes z = mapdb::ReadFile(dir_ / "ZIPCODE/Z.DAT"),
                       vp = mapdb::ReadFile(dir_ / "VICINITYPREF/VP.DAT");
    mapdb::TempDir empty, odd, tiny;
    mapdb::ByteWriter two;  // codes 0001234 (which no writer makes) and 1000000, odd tail
    two.Zeros(16), two.U24(1234), two.Zeros(6), two.U24(1000000), two.Zeros(6 + 5);
    const auto put = [&](const mapdb::TempDir& d, const mapdb::Bytes& zip, size_t prefSize) {
        mapdb::MakeDirs(d / "ZIPCODE"), mapdb::MakeDirs(d / "VICINITYPREF");
        mapdb::WriteFile(d / "ZIPCODE/Z.DAT", zip);
        mapdb::WriteFile(d / "ZIPCODE/CZ.DAT", mapdb::ReadFile(dir_ / "ZIPCODE/CZ.DAT"));
        mapdb::WriteFile(d / "VICINITYPREF/VP.DAT", {vp.begin(), vp.begin() + prefSize});
    };
    put(odd, two.bytes(), 16 + 72 + 35), put(tiny, {z.begin(), z.begin() + 24}, 51);
    // Zip 1234, text 0001234, 1000005 (company table intact); iPC 1 and 3, device 5 (row 0).
    const std::tuple<const char*, std::string, bool, std::vector<int>> cases[] = {
        {"no files", empty.path(), false, {0, 0, 0, 0, 0, 0}},
        {"SD copy", empty.path(), true, {0, 0, 1, 1, 1, 1}},
        {"two records, odd tail; two rows and a part", odd.path(), false, {1, 0, 1, 1, 0, 1}},
        {"shorter than one record or row", tiny.path(), false, {0, 0, 1, 0, 0, 0}}};
    for (const auto& [what, db, sd, want] : cases) {
        settings_.Use(db, dir_.path(), true, sd);
        CSearchVicinityPrefDataProc pref;
        PREF_DATA p;
        EXPECT_EQ(want, (std::vector<int>{int(Look(1234ul)[0]), int(Look(Z("0001234").data())[0]),
                                          int(Look(1000005ul)[0]), int(pref.GetListByiPCID(&p, 1)),
                                          int(pref.GetListByiPCID(&p, 3)),
                                          int(pref.GetListByVelaID(&p, 5))}))
            << what;
    }
}

TEST(ZipcodeWriter, RefusesBadRecordsNamingTheField) {
    const auto zip = [](const char* code, uint32_t lon) {
        return std::vector<mapdb::ZipcodeSource>{{"1000009", kTokyoLon, kTokyoLat},
                                                 {code, lon, kTokyoLat}};
    };
    const std::pair<std::vector<mapdb::ZipcodeSource>, const char*> zips[] = {
        {zip("100-00051", kTokyoLon), "CZ.DAT record 1 (\"100-00051\"): code: \"100-00051\" is"},
        {zip("10O0005", kTokyoLon), "(\"10O0005\"): code: \"10O0005\" is neither"},
        {zip("0001234", kTokyoLon), "code: \"0001234\" begins with 000"},
        {zip("100-0009", kTokyoLon), "record 1 (\"100-0009\"): code: given twice"},
        {zip("1000005", 1), "record 1 (\"1000005\"): longitude 1 ms"}};
    const std::pair<std::vector<mapdb::VicinityPrefRow>, const char*> prefs[] = {
        {{Row(0), {{{47, "X"}}}}, "row 1 (iPC id 2) place 0: id: 47"},
        {{Row(0), Row(0)}, "row 1 (iPC id 2) place 0: id: prefecture 5 already owns"},
        {{{{{1, "北海道本島"}}}}, "place 0: name: \"北海道本島\" is longer"},
        {{{{{1, "A"}, {255, "B"}}}}, "place 1: name: given for an unused place"},
        {{{{{1, "A"}, {3, ""}}}}, "place 1: name: empty"},
        {std::vector<mapdb::VicinityPrefRow>(48, Row(0)), "48 rows"}};
    mapdb::TempDir dir;
    for (const auto& [records, message] : zips)
        EXPECT_THAT([&] { mapdb::WriteZipcode(dir.path(), {}, records); },
                    ThrowsMessage<mapdb::Error>(HasSubstr(message)));
    for (const auto& [rows, message] : prefs)
        EXPECT_THAT([&] { mapdb::WriteVicinityPref(dir.path(), rows); },
                    ThrowsMessage<mapdb::Error>(HasSubstr(message)));
}

}  // namespace
