// Household and company telephone search: number keys, the lower-bound search against a count
// model, runs across a container boundary, reading matches, list windows, missing and damaged
// files, and the writer's refusals.
#include <gmock/gmock.h>

#include <random>
#include <tuple>

#include "HomePhoneWriter.h"
#include "support/Poi.h"

namespace {

using namespace testsupport;
using mapdb::Bytes;
using mapdb::HomePhoneEntry;
using Proc = CSearchHomePhoneProc;

// Numbers are read 12 bytes at a time: a zero-padded buffer.
std::vector<unsigned char> Num(std::string s) {
    return Z(s.append(16 - s.size(), '\0'));
}
std::string Half(const std::string& kana) {
    return mapdb::ReadingToHalfKana(kana);
}
HomePhoneEntry E(std::string number, std::string reading = "", std::string text = "",
                 uint8_t attr = 0, uint32_t lon = kTokyoLon) {
    return {number, reading, text, lon, kTokyoLat, attr};
}

// Selectors 61-79 (not 70) hold random runs of keys S*10000 + 2, 4, ... 12 (model_[S]).
std::map<unsigned, std::vector<uint32_t>> model_;

struct HomePhoneTest : SuiteDb<HomePhoneTest> {
    static void Write(const std::string& root) {
        std::vector<HomePhoneEntry> homes = {E("0312345678", "やまだ", "Yamada"),
                                             E("0312345678", "こーひー", "Coffee")};
        for (int i = 0; i < 1008; ++i) {  // entries 995-1004 share a key across containers
            const char* number = i < 995 ? "0521000000" : i < 1005 ? "0522000000" : "0523000000";
            homes.push_back(E(number, i < 995 ? "あ" : "やまだ", "y" + std::to_string(i - 995)));
        }
        std::mt19937 rng(7);
        for (unsigned s = 61; s < 80; ++s) {
            for (size_t n = 1 + rng() % 40; s != 70 && n > 0; --n) {
                model_[s].push_back(s * 10000 + 2 + 2 * (rng() % 6));
                homes.push_back(E("0" + std::to_string(model_[s].back())));
            }
        }
        mapdb::WriteHomePhone(
            root, homes,
            {E("09012345678", "", "Mobile", 0x05), E("0120123456", "", "Free"),
             E("0312345678", "", "C0"), E("0312345678", "", "C1"), E("0312345678", "", "C2")});
    }
    // Runs one search, whose status must be `ok`; returns the count.
    template <bool (CSearchHomePhoneProc::*kSearch)(unsigned long*, unsigned char*)>
    unsigned long Run(std::vector<unsigned char> arg, bool ok) {
        unsigned long n = 99;
        EXPECT_EQ(ok, (proc_.*kSearch)(&n, arg.data()));
        return n;
    }
    auto Home(std::string s, bool ok = true) { return Run<&Proc::SearchHomeProc>(Num(s), ok); }
    auto Company(std::string s, bool k = true) { return Run<&Proc::SearchCompanyProc>(Num(s), k); }
    auto Check(std::string s, bool ok = true) { return Run<&Proc::CheckProc>(Z(s), ok); }
    Proc proc_;
};

// Keys worked by hand: 090 folds to 030 (key 3,012,345,678), typed 030 and numbers without
// the leading 0 are refused, 0120 lives in selector 12 (CP012, damaged below).
TEST_F(HomePhoneTest, CompanyNumbersListEveryEntry) {
    const std::pair<const char*, unsigned long> cases[] = {{"09012345678", 1}, {"03012345678", 0},
                                                           {"312345678", 0},   {"0120123456", 1},
                                                           {"0312345678", 3},  {"0312345679", 0}};
    for (const auto& [number, hits] : cases) EXPECT_EQ(hits, Company(number)) << number;
    ASSERT_EQ(1u, Company("09012345678"));
    CLocationData r;
    ASSERT_TRUE(proc_.GetList(&r, 0, 1));
    EXPECT_STREQ("Mobile", r.szName);  // flags 0 and 2 give 101
    EXPECT_EQ(std::make_tuple(3012345678u, 101u, kTokyoLon, kTokyoLat),
              std::make_tuple(r.dwTelNo, r.dwAttr, r.lLon, r.lLat));
}

TEST_F(HomePhoneTest, LowerBoundCountsEveryRunOfEqualKeys) {
    for (const auto& [s, keys] : model_) {
        for (uint32_t key = s * 10000 + 1; key <= s * 10000 + 13; ++key) {
            EXPECT_EQ(std::count(keys.begin(), keys.end(), key),
                      long(Home("0" + std::to_string(key))))
                << key;
        }
    }
    EXPECT_EQ(995u, Home("0521000000"));  // from the index start
    EXPECT_EQ(3u, Home("0523000000"));    // to the index end
    EXPECT_EQ(10u, Home("0522000000"));
    EXPECT_EQ(10u, Check(Half("やまた")));  // both containers, in index order
    std::vector<CLocationData> out(10);
    ASSERT_TRUE(proc_.GetList(out.data(), 0, 10));
    for (int i = 0; i < 10; ++i) EXPECT_EQ("y" + std::to_string(i), out[i].szName);
}

TEST_F(HomePhoneTest, HouseholdsNeedTheirReading) {
    EXPECT_EQ(2u, Home("0312345678"));
    CLocationData r;
    EXPECT_FALSE(proc_.GetList(&r, 0, 1));  // a count, no records
    // Voiced mark left out, "-" for the stored 0xB0, another name, 130 bytes (fails).
    const std::tuple<std::string, unsigned long, const char*> cases[] = {
        {Half("やまた"), 1, "Yamada"},
        {"\xBA-\xCB-", 1, "Coffee"},
        {Half("すずき"), 0, ""},
        {std::string(130, '\xB1'), 0, ""}};
    for (const auto& [reading, n, name] : cases) {
        ASSERT_EQ(n, Check(reading, reading.size() <= 129)) << name;
        EXPECT_EQ(n == 1, proc_.GetList(&r, 0, 1));
        EXPECT_STREQ(n == 1 ? name : "", n == 1 ? r.szName : "");
    }
}

TEST_F(HomePhoneTest, ListWindowsAndMissingFiles) {
    ASSERT_EQ(3u, Company("0312345678"));
    std::vector<CLocationData> out(4);
    out[2].dwTelNo = 7;
    EXPECT_TRUE(proc_.GetList(out.data(), 1, 4));
    EXPECT_STREQ("C1", out[0].szName);
    EXPECT_STREQ("C2", out[1].szName);
    EXPECT_EQ(7u, out[2].dwTelNo);  // past the end: untouched
    EXPECT_EQ(0u, Company("0312345679"));
    EXPECT_FALSE(proc_.GetList(out.data(), 0, 1));
    EXPECT_EQ(0u, Home("0991234567"));  // no H099 index: success, no hits
    settings_.Use(dir_ / "nothing");
    EXPECT_EQ(0u, Home("0312345678", false));
    EXPECT_EQ(0u, Company("0312345678", false));
}

// The suite's CP012 and H052 files in a new database, `name` damaged.
void Damage(const std::string& root, const std::string& name, void (*damage)(Bytes*)) {
    CPackFolderIO io;
    std::map<std::string, Bytes> files;
    std::string dir = HomePhoneTest::dir_.path(), folder = "HOMEPHONE";
    ASSERT_TRUE(io.OpenPackFolder(dir.data(), folder.data(), folder.data()));
    for (std::string f :
         {"CP012.idx", "CP012.cnt", "CP012.dat", "H052.idx", "H052.cnt", "H052.dat"}) {
        unsigned char* p = nullptr;
        const unsigned long n = io.LoadPackFile(f.data(), &p, 0, 0);
        files[f].assign(p, p + n);
        delete[] p;
    }
    damage(&files[name]);
    WritePack(root, "HOMEPHONE", files);
}

TEST_F(HomePhoneTest, DamagedFilesGiveTheirResults) {
    using Hurt = void (*)(Bytes*);
    const std::tuple<const char*, Hurt, bool> cases[] = {
        {"CP012.idx", [](Bytes* b) { b->resize(21); }, false},               // cut inside its entry
        {"CP012.idx", [](Bytes* b) { (*b)[20] = (*b)[21] = 0xFF; }, false},  // past the container
        {"CP012.idx", [](Bytes* b) { (*b)[20] = 3; }, false},   // record runs past the container
        {"CP012.cnt", [](Bytes* b) { b->resize(16); }, false},  // no container offsets
        {"CP012.dat", [](Bytes* b) { b->resize(16 + 16); }, true},     // block cut
        {"CP012.dat", [](Bytes* b) { (*b)[16 + 13] = 0xFF; }, true}};  // absurd decoded size
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto& [file, damage, ok] = cases[i];
        mapdb::TempDir d;
        Damage(d.path(), file, damage);
        settings_.Use(d.path());
        EXPECT_EQ(0u, Company("0120123456", ok)) << "case " << i;
    }
    // A table that lost its second entry: container 0 runs to the end of the data file, and
    // the hits in container 1 fail.
    mapdb::TempDir d;
    Damage(d.path(), "H052.cnt", [](Bytes* b) { b->resize(19); });
    settings_.Use(d.path());
    EXPECT_EQ(10u, Home("0522000000"));
    EXPECT_EQ(5u, Check(Half("やまだ"), false));
}

TEST(HomePhoneWriterTest, RefusesWhatTheReaderCannotFind) {
    std::string longReading;
    for (int i = 0; i < 130; ++i) longReading += "ア";
    const std::pair<HomePhoneEntry, const char*> cases[] = {
        {E("0301234567"), "number"},
        {E("03-1234"), "number"},
        {E("0312345678901"), "number"},
        {E("06123456789"), "32-bit"},
        {E("0", "", "x\ny"), "text"},
        {E("031", longReading), "reading"},
        {E("031", "", std::string(383, 'x')), "text"},
        {E("031", "", "", 0, 1), "longitude"}};
    for (const auto& [entry, field] : cases) {
        mapdb::TempDir d;
        try {
            mapdb::WriteHomePhone(d.path(), {}, {E("031"), entry});
            ADD_FAILURE() << field;
        } catch (const mapdb::Error& err) {
            EXPECT_THAT(err.what(), testing::AllOf(testing::HasSubstr("company 1: "),
                                                   testing::HasSubstr(field)));
        }
    }
}

}  // namespace
