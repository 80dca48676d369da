// Picture index lookups: the probe sequence of the closed-range search worked by hand, every
// position of written indexes of every kind, keys outside and between the stored ones, cut
// index files, the SD copy, seven-digit numbers, and the writer's refusals.
#include <gmock/gmock.h>

#include <filesystem>

#include "GuidanceWriter.h"
#include "TempDir.h"
#include "foundation/IndexSearch.h"
#include "support/Settings.h"

namespace {

using mapdb::GuidanceKind;
using testing::HasSubstr, testing::ThrowsMessage;

mapdb::PictureSource Tiny(uint32_t number) {
    return {number, "", {1, 1, {static_cast<uint16_t>(number)}}};
}

// Entries hold 10 * i; each case lists the entries probed for the key, in order.
TEST(PictureIndexSearch, ProbesExactlyTheseEntries) {
    struct Case {
        uint64_t n;
        int key;
        bool found;
        std::vector<uint64_t> probes;
    };
    const Case cases[] = {
        {1, 0, true, {0}},      {1, -5, false, {0}},       {1, 5, false, {0}},
        {2, -5, false, {0, 0}}, {2, 15, false, {0, 1}},    {2, 10, true, {0, 1}},
        {3, -5, false, {1, 0}}, {3, 25, false, {1, 2}},    {4, 35, false, {1, 2, 3}},
        {4, 5, false, {1, 0}},  {6, -5, false, {2, 0, 0}}, {7, -5, false, {3, 1, 0}},
        {5, 20, true, {2}},     {0, 0, false, {}}};
    for (const Case& c : cases) {
        SCOPED_TRACE("n=" + std::to_string(c.n) + " key=" + std::to_string(c.key));
        std::vector<uint64_t> probes;
        const auto r = index_search::FindClosed(c.n, [&](uint64_t i) {
            probes.push_back(i);
            return index_search::FromCompare(c.key - 10 * static_cast<int>(i));
        });
        EXPECT_EQ(c.found, r.found);
        EXPECT_EQ(c.probes, probes);
    }
}

template <class Index>
std::string Look(const char* key) {
    unsigned long offset = 7, size = 7;
    const unsigned long hit = Index().SearchProc(const_cast<char*>(key), &offset, &size);
    return std::to_string(hit) + ":" + std::to_string(offset) + ":" + std::to_string(size);
}
// "hit:width:pixel" of the picture a lookup finds, read with the small reader.
template <class Index>
std::string Picture(const char* key, GuidanceKind kind) {
    unsigned long offset = 0, size = 0;
    if (!Index().SearchProc(const_cast<char*>(key), &offset, &size)) return "miss";
    unsigned short w = 0, h = 0;
    std::vector<unsigned char> out(54066);
    char name[32];
    snprintf(name, sizeof(name), "%s.IMG", mapdb::GuidanceKindWord(kind));
    const unsigned long ok = CImageFileIO().ReadLEtcBMP(name, &offset, &size, &w, &h, out.data());
    return std::to_string(ok) + ":" + std::to_string(w) + ":" +
           std::to_string(out[66] | out[67] << 8);
}

struct KindCase {
    GuidanceKind kind;
    std::string (*look)(const char*);
    std::string (*picture)(const char*, GuidanceKind);
};
#define KIND(k, C) \
    { GuidanceKind::k, Look<C>, Picture<C> }
const KindCase kKinds[] = {
    KIND(kInic, CSearchLInicImageProc),           KIND(kBranch, CSearchLBranchImageProc),
    KIND(kGrade, CSearchLGradeImageProc),         KIND(kEtc, CSearchLEtcImageProc),
    KIND(kEtc2, CSearchLEtc2ImageProc),           KIND(kRealcross, CSearchLRealcrossImageProc),
    KIND(kProperJct, CSearchLProperJCTImageProc), KIND(kExit, CSearchLExitImageProc),
    KIND(kEntrance, CSearchLEntranceImageProc)};

struct PictureIndexTest : testsupport::SettingsTest {
    mapdb::TempDir db;
};

// Kind k holds k + 1 pictures numbered 10, 20, ...; each is found where it is stored, the first
// at offset 16 (stored 0), and numbers outside or between them are not, outputs untouched.
TEST_F(PictureIndexTest, FindsEveryPositionOfEveryKind) {
    settings_.Use(db.path());
    for (size_t k = 0; k < std::size(kKinds); ++k) {
        std::vector<mapdb::PictureSource> pictures;
        for (uint32_t i = k + 1; i >= 1; --i) pictures.push_back(Tiny(10 * i));
        mapdb::WriteGuidancePictures(db.path(), kKinds[k].kind, pictures);
    }
    for (size_t k = 0; k < std::size(kKinds); ++k) {
        SCOPED_TRACE(mapdb::GuidanceKindWord(kKinds[k].kind));
        EXPECT_THAT(kKinds[k].look("000010"), testing::StartsWith("1:16:"));
        for (uint32_t i = 1; i <= k + 1; ++i) {
            char key[8];
            snprintf(key, sizeof(key), "%06u", 10 * i);
            EXPECT_EQ("1:1:" + std::to_string(10 * i), kKinds[k].picture(key, kKinds[k].kind))
                << key;
            snprintf(key, sizeof(key), "%06u", 10 * i + 5);
            EXPECT_EQ("0:7:7", kKinds[k].look(key)) << key;
        }
        EXPECT_EQ("0:7:7", kKinds[k].look("000000"));
        EXPECT_EQ("0:7:7", kKinds[k].look("999999"));
        EXPECT_EQ("0:7:7", kKinds[k].look(nullptr));
    }
}

// An index of 16 + 14 * 2 + k bytes searches its two whole records only; 16 bytes or fewer are
// an empty index.
TEST_F(PictureIndexTest, CutIndexSearchesItsWholeRecords) {
    settings_.Use(db.path());
    const std::string idx = db / "GUIDANCE/EXIT.IDX";
    for (const auto& [cut, found] : std::vector<std::pair<size_t, std::string>>{
             {44, "110"}, {45, "110"}, {57, "110"}, {58, "111"}, {16, "000"}, {10, "000"}}) {
        mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kExit, {Tiny(1), Tiny(2), Tiny(3)});
        std::filesystem::resize_file(idx, cut);
        std::string got;
        for (const char* key : {"000001", "000002", "000003"})
            got += Look<CSearchLExitImageProc>(key)[0];
        EXPECT_EQ(found, got) << cut;
    }
}

// Both files only under the SD path: read when the SD card is enabled. The database switch
// is not consulted for pictures.
TEST_F(PictureIndexTest, SdCopyAndSwitches) {
    mapdb::TempDir sd;
    mapdb::WriteSapaMapPictures(sd.path(), {Tiny(42)});
    mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kEtc, {Tiny(43)});
    struct Case {
        bool dbOn, sdOn;
        unsigned long sapa, etc;
    };
    for (const Case& c : {Case{true, true, 1, 1}, Case{true, false, 0, 1}, Case{false, false, 0, 1},
                          Case{false, true, 1, 1}}) {
        settings_.Use(db.path(), sd.path(), c.dbOn, c.sdOn);
        unsigned short w = 0, h = 0;
        std::vector<unsigned char> out(375066);
        EXPECT_EQ(c.sapa, CImageData().GetImageSAPAMap(out.data(), &w, &h, 42)) << c.dbOn << c.sdOn;
        EXPECT_EQ(c.etc, Look<CSearchLEtcImageProc>("000043")[0] - '0') << c.dbOn << c.sdOn;
    }
}

// Only six characters of a key count: "1234567" finds 123456, as does the number 1234567.
TEST_F(PictureIndexTest, SevenDigitNumbersUseTheirFirstSixDigits) {
    settings_.Use(db.path());
    mapdb::WriteSapaMapPictures(db.path(), {Tiny(123455), Tiny(123456), Tiny(123457)});
    EXPECT_EQ("1:", Look<CSearchSAPAMapImageProc>("1234567").substr(0, 2));
    unsigned short w = 0, h = 0;
    std::vector<unsigned char> out(375066);
    ASSERT_EQ(1u, CImageData().GetImageSAPAMap(out.data(), &w, &h, 1234567));
    EXPECT_EQ(123456 & 0xFFFF, out[66] | out[67] << 8);
    EXPECT_EQ(0u, CImageData().GetImageSAPAMap(out.data(), &w, &h, 7));
}

TEST_F(PictureIndexTest, WriterRefusesBadPictures) {
    mapdb::PictureSource wide{8, "", {480, 341, std::vector<uint16_t>(480 * 341)}};
    mapdb::PictureSource full{8, "", {480, 340, std::vector<uint16_t>(480 * 340)}};
    mapdb::PictureSource etc{8, "", {200, 136, std::vector<uint16_t>(200 * 136)}};
    mapdb::PictureSource cut{8, "", {2, 2, {1, 2, 3}}};
    mapdb::PictureSource empty{8, "", {0, 5, {}}};
    mapdb::PictureSource png{8, db / "none.png", {}};
    struct Case {
        GuidanceKind kind;
        std::vector<mapdb::PictureSource> pictures;
        std::string what;
    };
    const Case cases[] = {
        {GuidanceKind::kBranch, {Tiny(1), Tiny(1000000)}, "picture 1 (number 1000000): number"},
        {GuidanceKind::kBranch, {Tiny(5), Tiny(5)}, "picture 1 (number 5): number: given twice"},
        {GuidanceKind::kBranch, {Tiny(1), wide}, "picture 1 (number 000008): size"},
        {GuidanceKind::kEtc, {etc}, "ETC.IMG picture 0 (number 000008): size"},
        {GuidanceKind::kEtc2, {cut}, "picture 0 (number 000008): pixels"},
        {GuidanceKind::kGrade, {empty}, "picture 0 (number 000008): size"},
        {GuidanceKind::kExit, {png}, "picture 0 (number 000008): png"}};
    for (const Case& c : cases) {
        EXPECT_THAT([&] { mapdb::WriteGuidancePictures(db.path(), c.kind, c.pictures); },
                    ThrowsMessage<mapdb::Error>(HasSubstr(c.what)));
    }
    EXPECT_NO_THROW(mapdb::WriteGuidancePictures(db.path(), GuidanceKind::kBranch, {full}));
    EXPECT_NO_THROW(mapdb::WriteSapaMapPictures(db.path(), {wide}));
}

}  // namespace
