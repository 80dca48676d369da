// End-to-end checks of the navdb tool: a database built from the source folder in data/ answers
// every search through --json, and malformed sources are refused without leaving anything.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "TempDir.h"

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

struct Outcome {
    int code;
    std::string out, err;
};

std::string Slurp(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A POI record of a source with its position and any further fields.
std::string Poi(const std::string& id, const std::string& reading, double lat,
                std::string more = "") {
    return R"({"id": ")" + id + R"(", "name": "甲", "reading": ")" + reading + R"(", "lat": )" +
           std::to_string(lat) + R"(, "lon": 139.1)" + more + "}";
}

#ifndef NAVDB_BINARY
#define NAVDB_BINARY ""  // the tool is not built (SEARCHPROC_TOOLS off): the tests skip
#endif

Outcome RunNavdb(const mapdb::TempDir& scratch, const std::string& args) {
    const std::string out = scratch / "stdout", err = scratch / "stderr";
    const int status =
        std::system((std::string(NAVDB_BINARY) + " " + args + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(out), Slurp(err)};
}

// Folder entries of `dir` whose name starts with `prefix`.
size_t Entries(const std::string& dir, const std::string& prefix) {
    size_t n = 0;
    for (const auto& e : fs::directory_iterator(dir))
        n += e.path().filename().string().rfind(prefix, 0) == 0;
    return n;
}

class NavdbTool : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (std::string(NAVDB_BINARY).empty()) GTEST_SKIP() << "navdb is not built";
        const Outcome r = RunNavdb(
            scratch_, "build --quiet " + std::string(TESTS_SOURCE_DIR) + "/navdb/data " + db_);
        ASSERT_EQ(0, r.code) << r.err;
    }
    void SetUp() override {
        if (std::string(NAVDB_BINARY).empty()) GTEST_SKIP() << "navdb is not built";
    }
    // Runs a query on the suite's database and parses its JSON.
    static json Query(const std::string& args, int expectCode = 0) {
        const Outcome r = RunNavdb(scratch_, args + " --json --db " + db_);
        EXPECT_EQ(expectCode, r.code) << args << "\n" << r.err;
        return r.code == 2 ? json() : json::parse(r.out);
    }
    static inline mapdb::TempDir scratch_;
    static inline std::string db_ = scratch_ / "db";
};

// Every field of `want` is in `got` with the same value (positions within 1e-5 degrees);
// arrays must have the same length.
void ExpectSubset(const json& want, const json& got, const std::string& at = "") {
    if (want.is_object()) {
        for (const auto& [k, v] : want.items()) {
            ASSERT_TRUE(got.contains(k)) << at << "/" << k;
            ExpectSubset(v, got[k], at + "/" + k);
        }
    } else if (want.is_array()) {
        ASSERT_EQ(want.size(), got.size()) << at << ": " << got;
        for (size_t i = 0; i < want.size(); ++i)
            ExpectSubset(want[i], got[i], at + "/" + std::to_string(i));
    } else if (want.is_number_float()) {
        EXPECT_NEAR(want.get<double>(), got.get<double>(), 1e-5) << at;
    } else {
        EXPECT_EQ(want, got) << at;
    }
}

TEST_F(NavdbTool, EverySearchAnswersFromTheBuiltDatabase) {
    const json station = Query("kana とうきょうえき");
    ASSERT_EQ(2u, station["pois"].size());
    const std::string tokyo = std::to_string(station["pois"][0]["id"].get<uint32_t>());
    const std::string parks = R"([{"name": "東京駅駐車場"}, {"name": "八重洲駐車場"}])";
    const struct {
        std::string args;
        int code;
        std::string want;  // fields of the JSON answer
    } cases[] = {
        // Readings in hiragana or katakana; next keys, the completion flag, a genre filter.
        {"kana とうきょう", 0,
         R"({"count": 3, "complete": false, "next": ["エ", "タ", "゛"], "pois": [
            {"texts": ["東京駅", "丸の内"], "lat": 35.681236, "arrival": {"lat": 35.6825}},
            {"name": "東京駅駐車場"}, {"name": "東京タワー", "tel": "0334335111", "genre": [1, 2, 5, 255]}]})"},
        {"kana トウキョウエキ", 0, R"({"complete": true})"},
        {"kana とうきょう --genre 1", 0,
         R"({"pois": [{"name": "東京駅"}, {"name": "東京タワー"}]})"},
        {"kana とうきょう --start 1 --limit 1", 0,
         R"({"count": 3, "pois": [{"name": "東京駅駐車場"}]})"},
        {"kana ぬ", 1, R"({"count": 0})"},
        // Genre keys level by level; level 5 only where the source gave one.
        {"genre", 0, R"({"next": [{"code": 1, "count": 3}, {"code": 2, "count": 2}]})"},
        {"genre 1 2", 0,
         R"({"pois": [{"name": "大阪駅"}, {"name": "東京駅"}, {"name": "東京タワー"}],
            "next": [{"code": 3, "count": 2}, {"code": 5, "count": 1}]})"},
        {"genre 1 2 3 4 7", 0, R"({"pois": [{"name": "東京駅"}]})"},
        {"genre 1 2 3 4 8", 1, R"({"count": 0})"},
        {"genre 63", 2, ""},
        // Around Tokyo station: class 1 within 3 km, classes 1 and 2 within 20 km.
        {"near 35.681 139.767 3000 1", 0,
         R"({"pois": [{"name": "東京駅", "distance": 25}], "classes_within_20km": [1, 2]})"},
        {"near 35.681 139.767 50 2", 1, R"({"count": 0})"},
        {"near 35.681 139.767 3000 32", 2, ""},
        // The phone cascade: POI (a mobile number keeps its typed form), company, household by
        // reading, and the mean position of the POIs under an unknown number's prefix.
        {"phone 090-1234-5678", 0, R"({"kind": "poi", "records": [{"tel": "09012345678"}]})"},
        {"phone 0322223333", 0,
         R"({"kind": "company", "records": [{"name": "株式会社サンプル"}]})"},
        {"phone 0311112222 --reading ヤマダ", 0,
         R"({"kind": "household", "records": [{"name": "山田太郎"}]})"},
        {"phone 0311112222 --reading やまもと", 0, R"({"matched": 0, "records": []})"},
        {"phone 0332129999", 0,
         R"({"kind": "area", "records": [{"lat": 35.680118, "lon": 139.7685625}]})"},
        {"phone 0120000000", 1, R"({"kind": "none"})"},
        {"phone 03-abc", 2, ""},
        // The address tree level by level, a numbered leaf, and positions off the list.
        {"address", 0,
         R"({"items": [{"name": "東京都", "below": 2}, {"name": "大阪府", "below": 0}]})"},
        {"address --path 0/0", 0,
         R"({"address": "東京都千代田区", "items": [{"name": "丸の内", "kana": "マ"}]})"},
        {"address --path 0/0/0/1", 0,
         R"({"complete": true, "address": "東京都千代田区丸の内2", "lat": 35.68})"},
        {"address --path 0 --genre 1,2,3", 0,
         R"({"items": [{"enabled": true}, {"enabled": false}]})"},
        {"address --genre 1,2,3", 0, R"({"items": [{"enabled": true}, {"enabled": false}]})"},
        {"address --path 0/2", 2, ""},
        {"address --path 0/0/0/1/0", 2, ""},
        {"zip 100-0005", 0, R"({"table": "ordinary", "lat": 35.6812})"},
        {"zip 1008799", 0, R"({"table": "company"})"},
        {"zip 1000006", 1, R"({"found": false})"},
        {"convaddr 13 101 5", 0, R"({"path": [0, 0, 0], "address": "東京都千代田区丸の内"})"},
        {"convaddr 13 102", 1, R"({"found": false})"},
        {"parking " + tokyo, 0, R"({"pois": )" + parks + "}"},
        {"arrival " + tokyo, 0,
         R"({"points": [{"name": "丸の内北口", "attr": 1}, {"name": "八重洲口", "attr": 0}]})"},
        {"intro " + tokyo, 0, R"({"open": "5:00～24:00", "closed": "なし", "functions": 110})"},
        {"intro 12345", 1, R"({"open": ""})"},
        {"sapa SA00000001", 0,
         R"({"name": "海老名SA", "values": [10, 20, 30, 40, 50], "facilities": [0, 1]})"},
        {"sapa SA00000002", 1, R"({"found": false})"},
        {"pref 2", 0, R"({"prefectures": [{"name": "青森"}, {"name": "岩手"}, {"name": "秋田"}]})"},
        {"pref 0 --device", 0, R"({"prefectures": [{"id": 0, "name": "北海道"}]})"},
        {"pref 4", 1, R"({"found": false})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const json got = Query(c.args, c.code);
        if (!c.want.empty()) ExpectSubset(json::parse(c.want), got);
    }
    EXPECT_EQ(2, RunNavdb(scratch_, "kana あ --db " + scratch_ / "missing").code);
}

TEST_F(NavdbTool, RefusalsNameTheRecordAndLeaveNothing) {
    const std::string good = Poi("a", "こう", 35.1);
    const struct Case {
        std::string file, content, message;
    } cases[] = {
        {"pois.json", "[" + good + ",", "pois.json: not valid JSON"},
        {"pois.json", "[" + good + "," + Poi("b", "otsu", 35) + "]",
         "pois.json: record 1 (id \"b\"): field \"reading\": not kana"},
        {"pois.json", "[" + good + "," + Poi("b", "おつ", 10.5) + "]",
         "pois.json: record 1 (id \"b\"): field \"lat\": outside"},
        {"pois.json", "[" + good + "," + good + "]",
         "pois.json: record 1 (id \"a\"): field \"id\": already used by record 0"},
        {"pois.json", "[" + Poi("c", "こう", 35, R"(, "genre": [70])") + "]",
         "pois.json: record 0 (id \"c\"): field \"genre\""},
        {"pois.json", "[" + Poi("c", "こう", 35, R"(, "nmae": "x")") + "]",
         "pois.json: record 0 (id \"c\"): field \"nmae\": unknown field"},
        {"parking.json", R"([{"facility": "zz", "parking": []}])",
         "parking.json: record 0: field \"facility\": no POI"},
        // Found only by the writer, after other data sets were written.
        {"zipcodes.json", R"([{"code": "1000005", "lat": 35, "lon": 139}, {"code": "100-0005",
         "lat": 35, "lon": 139}])",
         "zipcodes.json: "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.content);
        mapdb::TempDir dir;
        fs::create_directory(dir / "src");
        std::ofstream(dir / "src/pois.json") << "[" << good << "]";
        std::ofstream(dir / ("src/" + c.file)) << c.content;
        const Outcome r = RunNavdb(dir, "build " + dir / "src" + " " + dir / "db");
        EXPECT_EQ(2, r.code);
        EXPECT_NE(std::string::npos, r.err.find(c.message)) << r.err;
        EXPECT_EQ(0u, Entries(dir.path(), "db"));
    }
}

TEST_F(NavdbTool, ReplacesADatabaseOnlyWhenForcedAndOnlyOnSuccess) {
    mapdb::TempDir dir;
    const std::string src = std::string(TESTS_SOURCE_DIR) + "/navdb/data", db = dir / "db";
    ASSERT_EQ(0, RunNavdb(dir, "build --quiet " + src + " " + db).code);
    EXPECT_EQ(2, RunNavdb(dir, "build --quiet " + src + " " + db).code);
    fs::create_directory(dir / "bad");
    std::ofstream(dir / "bad/pois.json") << "[{}]";
    EXPECT_EQ(2, RunNavdb(dir, "build --force " + dir / "bad" + " " + db).code);
    EXPECT_EQ(0, RunNavdb(dir, "kana とうきょう --db " + db).code);  // the old database stands
    EXPECT_EQ(2, RunNavdb(dir, "build --release TOO-LONG-10 " + src + " " + dir / "db2").code);
    fs::create_directory(dir / "small");
    std::ofstream(dir / "small/pois.json") << "[" << Poi("a", "こう", 35.1) << "]";
    EXPECT_EQ(2, RunNavdb(dir, "build --force " + dir / "small" + " " + dir / "small").code);
    ASSERT_EQ(
        0, RunNavdb(dir, "build --force --quiet --release R0001 " + dir / "small" + " " + db).code);
    EXPECT_EQ(1, RunNavdb(dir, "kana とうきょう --db " + db).code);
    EXPECT_EQ("R0001", Slurp(db + "/BASE/B186.IDX").substr(0, 5));
    EXPECT_EQ(1u, Entries(dir.path(), "db"));  // no temporary or old folder left
}

}  // namespace
