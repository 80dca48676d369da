// Facility introduction texts and attribute numbers: every facility of a written data set and
// its missing neighbours, the wave-dash rewrite beside double-byte characters, the SD copy,
// damaged folders with their exact results, and the writer's refusals.
#include <gmock/gmock.h>

#include <bitset>

#include "AddInfoWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
using testing::HasSubstr, testing::ThrowsMessage;

// "status|opening hours|closing days" as SearchProc, GetOpenTime and GetCloseDay give them.
std::string Intro(unsigned long id) {
    CSearchIntroProc p;
    unsigned char open[1600] = {1}, close[1600] = {1};
    const unsigned long status = p.SearchProc(id);
    p.GetOpenTime(open), p.GetCloseDay(close);
    return std::to_string(status) + "|" + reinterpret_cast<char*>(open) + "|" +
           reinterpret_cast<char*>(close);
}
// "status:number" of GetData; the output starts at 42, which an unknown facility leaves.
std::string Attr(unsigned long id) {
    unsigned long out = 42;
    const unsigned long status = CSearchAddFunctionProc().GetData(&out, id);
    return std::to_string(status) + ":" + std::to_string(out);
}
uint32_t Filler(uint32_t i) {
    return 1000 + i * i * 7919;
}  // uneven gaps

struct AddInfoTest : SuiteDb<AddInfoTest> {
    static void Write(const std::string& root) {
        std::vector<mapdb::IntroSource> in = {
            {0x7FFF0000, "24h", "無休"}, {7, "ミ~", "~~"}, {5, "9:00~18:00", ""}, {9, "", "日曜"}};
        std::vector<mapdb::AddFunctionSource> af = {{0x7FFF0000, 0xFF}, {5, 0x81}, {9, 0}};
        for (uint32_t i = 0; i < 60; ++i) {
            in.push_back({Filler(i), "T" + std::to_string(i), i % 2 ? "" : "C"});
            af.push_back({Filler(i), static_cast<uint8_t>(i)});
        }
        mapdb::WriteAddInfo(root, in, af);
    }
};

// First and last facility (the last record runs to the end of I.dat), wave dashes beside a
// double-byte character whose trail byte is 0x7E, ids around and between the stored ones.
TEST_F(AddInfoTest, TextsAndAttributesOfFirstLastAndMissingFacilities) {
    const std::string dash = "\x81\x60", mi = "\x83\x7E";
    const std::vector<std::tuple<unsigned long, std::string, std::string>> cases = {
        {5, "1|9:00" + dash + "18:00|", "1:10000001"},
        {7, "1|" + mi + dash + "|" + dash + dash, "1:42"},
        {9, "1||" + mapdb::Utf8ToSjis("日曜"), "1:0"},
        {0x7FFF0000, "1|24h|" + mapdb::Utf8ToSjis("無休"), "1:11111111"},
        {0, "1||", "1:42"},
        {6, "1||", "1:42"},
        {0x7FFF0001, "1||", "1:42"}};
    for (const auto& [id, intro, attr] : cases) {
        EXPECT_EQ(intro, Intro(id)) << id;
        EXPECT_EQ(attr, Attr(id)) << id;
    }
    CSearchIntroProc p;
    char open[32], close[32] = {1};  // the wave dash is U+FF5E; the counts include the NUL
    EXPECT_EQ(1u, p.SearchProc(5));
    EXPECT_EQ(14u, p.GetOpenTimeUni(open) + p.GetCloseDayUni(close));
    EXPECT_EQ(std::string("9:00\xEF\xBD\x9E") + "18:00|", std::string(open) + "|" + close);
}

TEST_F(AddInfoTest, EveryFacilityAndItsMissingNeighbours) {
    for (uint32_t i = 0; i < 60; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ("1|T" + std::to_string(i) + (i % 2 ? "|" : "|C"), Intro(Filler(i)));
        EXPECT_EQ("1:" + std::to_string(std::stoul(std::bitset<8>(i).to_string())),
                  Attr(Filler(i)));
        EXPECT_EQ("1||", Intro(Filler(i) + 1));
        EXPECT_EQ("1:42", Attr(Filler(i) - 1));
    }
}

TEST_F(AddInfoTest, SdCopyOnlyWhenEnabledAndNothingWithTheDatabaseOff) {
    settings_.Use(dir_ / "none", dir_.path(), true, true);
    EXPECT_EQ("1|24h|" + mapdb::Utf8ToSjis("無休"), Intro(0x7FFF0000));
    EXPECT_EQ("1:10000001", Attr(5));
    for (bool db : {true, false}) {
        settings_.Use(db ? dir_ / "none" : dir_.path(), dir_.path(), db, !db);
        EXPECT_EQ("0||", Intro(5));
        EXPECT_EQ("0:42", Attr(5));
    }
}

// A table behind a 16-byte header: u32 id and a value of 3 bytes (I.idx) or 1 (AF.dat).
mapdb::Bytes Table(std::vector<std::pair<uint32_t, uint32_t>> rows, int width) {
    mapdb::ByteWriter w;
    w.Zeros(16);
    for (auto [id, v] : rows) w.U32(id), width == 3 ? w.U24(v) : w.U8(v);
    return w.Take();
}

TEST_F(AddInfoTest, DamagedFoldersGiveTheirResults) {
    const mapdb::Bytes ab = {'a', '\n', 'b', '\n'};
    const std::tuple<const char*, std::map<std::string, mapdb::Bytes>, std::string> cases[] = {
        {"header-only tables", {{"I.idx", Table({}, 3)}, {"AF.dat", Table({}, 1)}}, "0||"},
        {"no I.dat", {{"I.idx", Table({{1, 0}}, 3)}, {"AF.dat", mapdb::Bytes(20, 1)}}, "0||"},
        {"offset past I.dat", {{"I.idx", Table({{1, 9}}, 3)}, {"I.dat", ab}}, "1||"},
        {"record past I.dat", {{"I.idx", Table({{1, 0}, {2, 50}}, 3)}, {"I.dat", ab}}, "1||"},
        {"offsets descending", {{"I.idx", Table({{1, 2}, {2, 0}}, 3)}, {"I.dat", ab}}, "1||"},
        {"no line feed", {{"I.idx", Table({{1, 2}}, 3)}, {"I.dat", {'x', '\n', 'y'}}}, "1|y|"},
        {"line longer than the text, ending in a lead byte",
         {{"I.idx", Table({{1, 0}}, 3)}, {"I.dat", mapdb::Bytes(800, 0x81)}},
         "1|" + std::string(767, '\x81') + "|"}};
    for (const auto& [damage, files, intro] : cases) {
        SCOPED_TRACE(damage);
        mapdb::TempDir dir;
        WritePack(dir.path(), "ADDINFO", files);
        settings_.Use(dir.path());
        EXPECT_EQ(intro, Intro(1));
        EXPECT_EQ("0:42", Attr(1));  // no AF.dat, or one without a whole record
    }
}

TEST(AddInfoWriter, RefusesWhatTheReadersCannotServe) {
    const std::vector<std::pair<std::vector<mapdb::IntroSource>, const char*>> cases = {
        {{{3, "a", ""}, {3, "b", ""}}, "I.idx record 1: id: 3 given twice"},
        {{{1, "a\nb", ""}}, "I.idx record 0 (id 1): openTime"},
        {{{1, "", std::string(768, 'x')}}, "I.idx record 0 (id 1): closeDay"},
        {{{1, "\xF0\x9F\x98\x80", ""}}, "I.idx record 0 (id 1): openTime"},
        {{{0, "", ""}, {0x80000000u, "", ""}}, "I.idx record 1: id: 2147483648"},
        {{}, "AF.dat record 1: id: 4 given twice"}};
    mapdb::TempDir dir;
    for (const auto& [in, msg] : cases) {
        // AF.dat holds an id twice only in the last case, where I.idx is empty.
        const std::vector<mapdb::AddFunctionSource> af = {{4, 1}, {in.empty() ? 4u : 5u, 2}};
        EXPECT_THAT([&] { mapdb::WriteAddInfo(dir.path(), in, af); },
                    ThrowsMessage<mapdb::Error>(HasSubstr(msg)));
    }
}

}  // namespace
