// Versions: a database written by mapdb with one release code reports it for every kind with
// the kind's file count; a differing file, a missing first file, the address set's own rules,
// the SD fallback and the engine texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "AddInfoWriter.h"
#include "AddressWriter.h"
#include "GuidanceWriter.h"
#include "HomePhoneWriter.h"
#include "SapaWriter.h"
#include "SignWriter.h"
#include "StringWriter.h"
#include "TelephoneWriter.h"
#include "ZipcodeWriter.h"
#include "support/Poi.h"

namespace {

using testsupport::MakePoi;
const std::string kRelease = "R20261125";

std::string Version(unsigned long kind, unsigned long* count) {
    CVersionProc proc;
    unsigned char out[CVersionProc::kVersionSize];
    memset(out, 0xEE, sizeof(out));
    *count = proc.GetVersion(out, kind);
    EXPECT_EQ(0, out[9]) << "kind " << kind;
    return std::string(reinterpret_cast<char*>(out));
}

void Stamp(const std::string& path, const std::string& text) {
    mapdb::WriteFile(path, mapdb::VersionHeader(text));
}

class Versions : public testsupport::SettingsTest {
protected:
    void SetUp() override {
        const std::string& r = kRelease;
        const std::vector<mapdb::PoiSource> pois = {MakePoi("東京駅", "トウキョウエキ")};
        const mapdb::BaseResult base = mapdb::WriteBase(db_.path(), pois, r);
        mapdb::WriteArrival(db_.path(), {}, r);
        mapdb::WriteKana(db_.path(), pois, base, r);
        mapdb::WriteGenre(db_.path(), {}, r);
        mapdb::WriteGenreData(db_.path(), {}, r);
        mapdb::WriteVicinity(db_.path(), {}, r);
        mapdb::WriteTelephone(db_.path(), {}, r);
        mapdb::WritePhonePoint(db_.path(), {}, r);
        mapdb::WriteHomePhone(db_.path(), {}, {}, r);
        mapdb::AddressItem tokyo;
        tokyo.name = "東京都", tokyo.code = 13;
        tokyo.lonMs = testsupport::kTokyoLon, tokyo.latMs = testsupport::kTokyoLat;
        mapdb::WriteAddress(db_.path(), {tokyo}, r);
        mapdb::WriteRefine(db_.path(), {}, r);
        mapdb::WriteConvAddr(db_.path(), {}, r);
        mapdb::WriteZipcode(db_.path(), {}, {}, r);
        mapdb::WriteVicinityPref(db_.path(), {}, r);
        mapdb::WriteSapaInfo(db_.path(), {}, false, r);
        mapdb::WriteParking(db_.path(), {}, r);
        mapdb::WriteAddInfo(db_.path(), {}, {}, r);
        for (uint8_t selector = 1; selector <= 3; ++selector) {
            mapdb::WriteStringDb(db_.path(), selector, {{1, "出口", 0, 0}},
                                 mapdb::StringEncoding::kUtf8, r);
        }
        mapdb::WriteVersionOnlySets(db_.path(), r);
        const mapdb::PictureSource picture{1, "", {2, 1, {0xF800, 0x001F}}};
        for (mapdb::GuidanceKind kind :
             {mapdb::GuidanceKind::kInic, mapdb::GuidanceKind::kBranch, mapdb::GuidanceKind::kGrade,
              mapdb::GuidanceKind::kEtc, mapdb::GuidanceKind::kEtc2,
              mapdb::GuidanceKind::kRealcross, mapdb::GuidanceKind::kProperJct,
              mapdb::GuidanceKind::kExit, mapdb::GuidanceKind::kEntrance}) {
            mapdb::WriteGuidancePictures(db_.path(), kind, {picture}, r);
        }
        mapdb::WriteSapaMapPictures(db_.path(), {picture}, r);
        mapdb::WriteSignposts(db_.path(), {{1, 4, {"出口"}}}, {{4, {}, "", picture.picture}}, {},
                              r);
        settings_.Use(db_.path());
    }
    std::string File(const std::string& rel) const { return db_.path() + "/" + rel; }

    mapdb::TempDir db_;
};

TEST_F(Versions, EveryKindReportsTheReleaseWithItsFileCount) {
    const struct {
        unsigned long kind, count;
    } kinds[] = {{0, 96}, {1, 2},  {2, 1},  {3, 1},  {4, 135}, {5, 1},  {6, 1},  {7, 2},  {8, 2},
                 {9, 2},  {10, 2}, {11, 1}, {12, 1}, {13, 2},  {14, 2}, {15, 2}, {16, 6}, {17, 16},
                 {18, 1}, {19, 2}, {20, 2}, {21, 2}, {22, 6},  {23, 2}, {24, 4}, {26, 1}};
    for (const auto& k : kinds) {
        SCOPED_TRACE(k.kind);
        unsigned long count;
        EXPECT_EQ(kRelease, Version(k.kind, &count));
        EXPECT_EQ(k.count, count);
    }
    unsigned long count;
    EXPECT_EQ("1.0.006.0", Version(25, &count));
    EXPECT_EQ(1u, count);
    EXPECT_EQ("", Version(27, &count));
    EXPECT_EQ(0u, count);
    char utf8[CVersionProc::kUtf8Size];
    CVersionProc proc;
    EXPECT_EQ(1u, proc.GetVersionUni(utf8, 25UL));
    EXPECT_STREQ("1.0.006.0", utf8);
    EXPECT_EQ(135u, proc.GetVersionUni(utf8, 4UL));
    EXPECT_EQ(kRelease, utf8);
    EXPECT_EQ(0u, proc.GetVersionUni(utf8, 30UL));
}

TEST_F(Versions, DifferingMissingAndShortFiles) {
    unsigned long count;
    // A later base file with another version fails the set; a missing one counts as matching.
    Stamp(File("BASE/B200.CNT"), "R20260101");
    EXPECT_EQ(0u, (Version(4, &count), count));
    std::remove(File("BASE/B200.CNT").c_str());
    std::remove(File("BASE/B177.CNT").c_str());
    EXPECT_EQ(135u, (Version(4, &count), count));
    // The first file is the reference: without it there is no version.
    std::remove(File("BASE/B177.IDX").c_str());
    EXPECT_EQ(0u, (Version(4, &count), count));
    EXPECT_EQ(0u, (Version(26, &count), count));
    // The company codes must agree with the ordinary ones.
    Stamp(File("ZIPCODE/CZ.DAT"), "OTHER");
    EXPECT_EQ(0u, (Version(1, &count), count));
    EXPECT_EQ("OTHER", Version(2, &count));
    // The address set ignores a numbered file's version but needs every one of them.
    Stamp(File("ADDRESS/A30.DAT"), "OTHER");
    EXPECT_EQ(kRelease, Version(0, &count));
    EXPECT_EQ(96u, count);
    std::remove(File("ADDRESS/A46.DAT").c_str());
    EXPECT_EQ(0u, (Version(0, &count), count));
    // A file shorter than a version gives what it holds; an empty one gives nothing.
    mapdb::WriteFile(File("INTERSECTION/INTERSECTION.DAT"), {'A', 'B', 'C'});
    EXPECT_EQ("ABC", Version(12, &count));
    EXPECT_EQ(1u, count);
    mapdb::WriteFile(File("INTERSECTION/INTERSECTION.DAT"), {});
    EXPECT_EQ(0u, (Version(12, &count), count));
}

TEST_F(Versions, SdPathWhenTheDatabasePathFails) {
    unsigned long count;
    settings_.Use("", db_.path(), true, true);
    EXPECT_EQ(kRelease, Version(7, &count));
    EXPECT_EQ(2u, count);
    settings_.Use("", db_.path(), true, false);
    EXPECT_EQ(0u, (Version(7, &count), count));
}

TEST_F(Versions, CheckVersionAndEngineTexts) {
    CVersionProc proc;
    unsigned char out[16], ref[10] = "REFERENCE";
    char missing[] = "NOPE/NOPE.DAT", kana[] = "KANAMA/KANAMA.DAT";
    EXPECT_EQ(1u, proc.CheckVersion(out, ref, missing));
    EXPECT_EQ(0, memcmp(out, "REFERENCE", 9));
    EXPECT_EQ(0u, proc.CheckVersion(out, nullptr, missing));
    EXPECT_EQ(0u, proc.CheckVersion(out, ref, kana));
    EXPECT_EQ(1u, proc.CheckVersion(out, nullptr, kana));
    // The root-and-path form joins them with '/'; either one missing is a failure.
    std::string root = db_.path();
    memset(out, 0xEE, sizeof(out));
    EXPECT_EQ(1u, proc.GetVersion(out, root.data(), kana));
    EXPECT_EQ(kRelease, std::string(reinterpret_cast<char*>(out)));
    memset(out, 0xEE, sizeof(out));
    EXPECT_EQ(0u, proc.GetVersion(out, nullptr, kana));
    EXPECT_EQ(0u, proc.GetVersion(out, root.data(), nullptr));
    EXPECT_EQ(0xEE, out[0]);

    memset(out, 0xEE, sizeof(out));
    EXPECT_EQ(1u, proc.GetEngineVersion(out));
    EXPECT_EQ(0, memcmp(out, "1.5.0015.0100\0", 14));
    EXPECT_EQ(0xEE, out[14]);
    char utf8[CVersionProc::kUtf8Size];
    EXPECT_EQ(1u, proc.GetEngineVersionUni(utf8));
    EXPECT_STREQ("1.5.0015.0100", utf8);
}

}  // namespace
