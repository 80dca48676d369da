// End-to-end checks of the navdb tool: a database built from the source folder in data/ answers
// every search through --json, and malformed sources are refused without leaving anything.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

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
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

#ifndef NAVDB_BINARY
#define NAVDB_BINARY ""  // the tool is not built (SEARCHPROC_TOOLS off): the tests skip
#endif

Outcome RunNavdb(const mapdb::TempDir& scratch, const std::string& args) {
    const std::string out = scratch / "stdout", err = scratch / "stderr";
    const int status = std::system((std::string(NAVDB_BINARY) + " " + args + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(out), Slurp(err)};
}

// Folder entries of `dir` whose name starts with `prefix`.
size_t Entries(const std::string& dir, const std::string& prefix) {
    size_t n = 0;
    for (const auto& e : fs::directory_iterator(dir)) n += e.path().filename().string().rfind(prefix, 0) == 0;
    return n;
}

class NavdbTool : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (std::string(NAVDB_BINARY).empty()) GTEST_SKIP() << "navdb is not built";
        const Outcome r = RunNavdb(scratch_, "build --quiet " + std::string(TESTS_SOURCE_DIR) + "/navdb/data " + db_);
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
    static std::vector<std::string> Names(const json& list) {
        std::vector<std::string> names;
        for (const json& p : list) names.push_back(p["name"]);
        return names;
    }
    static inline mapdb::TempDir scratch_;
    static inline std::string db_ = scratch_ / "db";
};

TEST_F(NavdbTool, EverySearchAnswersFromTheBuiltDatabase) {
    const json station = Query("kana とうきょうえき");
    ASSERT_EQ(2u, station["pois"].size());
    const std::string tokyo = std::to_string(station["pois"][0]["id"].get<uint32_t>());
    using Check = std::function<void(const json&)>;
    struct Case {
        std::string args;
        int code;
        Check check;
    };
    const Case cases[] = {
        // Readings in hiragana and katakana find one run; next keys and the completion flag.
        {"kana とうきょう", 0, [](const json& j) {
             EXPECT_EQ(3, j["count"]);
             EXPECT_FALSE(j["complete"].get<bool>());
             EXPECT_EQ((std::vector<std::string>{"エ", "タ", "゛"}), j["next"]);
             EXPECT_EQ((std::vector<std::string>{"東京駅", "丸の内"}), j["pois"][0]["texts"]);
             EXPECT_NEAR(35.681236, j["pois"][0]["lat"].get<double>(), 3e-6);
             EXPECT_NEAR(35.6825, j["pois"][0]["arrival"]["lat"].get<double>(), 3e-6);
         }},
        {"kana トウキョウエキ", 0, [](const json& j) { EXPECT_TRUE(j["complete"].get<bool>()); }},
        {"kana とうきょう --genre 1", 0, [](const json& j) {
             EXPECT_EQ((std::vector<std::string>{"東京駅", "東京タワー"}), Names(j["pois"]));
         }},
        {"kana ぬ", 1, [](const json& j) { EXPECT_EQ(0, j["count"]); }},
        // Genre keys level by level; level 5 only where the source gave one.
        {"genre", 0, [](const json& j) { EXPECT_EQ(json::parse(R"([{"code":1,"count":3},{"code":2,"count":2}])"), j["next"]); }},
        {"genre 1 2", 0, [](const json& j) {
             EXPECT_EQ((std::vector<std::string>{"大阪駅", "東京駅", "東京タワー"}), Names(j["pois"]));
             EXPECT_EQ(json::parse(R"([{"code":3,"count":2},{"code":5,"count":1}])"), j["next"]);
         }},
        {"genre 1 2 3 4 7", 0, [](const json& j) { EXPECT_EQ(std::vector<std::string>{"東京駅"}, Names(j["pois"])); }},
        {"genre 1 2 3 4 8", 1, [](const json& j) { EXPECT_EQ(0, j["count"]); }},
        {"genre 63", 2, nullptr},
        // Around Tokyo station: class 1 within 3 km, classes 1 and 2 within 20 km.
        {"near 35.681 139.767 3000 1", 0, [](const json& j) {
             EXPECT_EQ(std::vector<std::string>{"東京駅"}, Names(j["pois"]));
             EXPECT_LT(j["pois"][0]["distance"].get<int>(), 100);
             EXPECT_EQ((std::vector<int>{1, 2}), j["classes_within_20km"]);
         }},
        {"near 35.681 139.767 50 2", 1, nullptr},
        {"near 35.681 139.767 3000 32", 2, nullptr},
        // The phone cascade: POI (a mobile number keeps its typed form), company, household by
        // reading, and the mean position of the POIs under an unknown number's prefix.
        {"phone 090-1234-5678", 0, [](const json& j) {
             EXPECT_EQ("poi", j["kind"]);
             EXPECT_EQ("09012345678", j["records"][0]["tel"]);
         }},
        {"phone 0322223333", 0, [](const json& j) {
             EXPECT_EQ("company", j["kind"]);
             EXPECT_EQ("株式会社サンプル", j["records"][0]["name"]);
         }},
        {"phone 0311112222 --reading ヤマダ", 0, [](const json& j) {
             EXPECT_EQ("household", j["kind"]);
             EXPECT_EQ("山田太郎", j["records"][0]["name"]);
         }},
        {"phone 0311112222 --reading やまもと", 0, [](const json& j) { EXPECT_EQ(0, j["matched"]); }},
        {"phone 0332129999", 0, [](const json& j) {
             EXPECT_EQ("area", j["kind"]);
             EXPECT_NEAR((35.681236 + 35.679) / 2, j["records"][0]["lat"].get<double>(), 1e-5);
         }},
        {"phone 0120000000", 1, nullptr},
        {"phone 03-abc", 2, nullptr},
        // The address tree level by level, a numbered leaf, and positions off the list.
        {"address", 0, [](const json& j) { EXPECT_EQ((std::vector<std::string>{"東京都", "大阪府"}), Names(j["items"])); }},
        {"address --path 0/0", 0, [](const json& j) {
             EXPECT_EQ("東京都千代田区", j["address"]);
             EXPECT_EQ("マ", j["items"][0]["kana"]);
         }},
        {"address --path 0/0/0/1", 0, [](const json& j) {
             EXPECT_TRUE(j["complete"].get<bool>());
             EXPECT_EQ("東京都千代田区丸の内2", j["address"]);
             EXPECT_NEAR(35.68, j["lat"].get<double>(), 1e-6);
         }},
        {"address --path 0/2", 2, nullptr},
        {"address --path 0/0/0/1/0", 2, nullptr},
        {"zip 100-0005", 0, [](const json& j) { EXPECT_EQ("ordinary", j["table"]); }},
        {"zip 1008799", 0, [](const json& j) { EXPECT_EQ("company", j["table"]); }},
        {"zip 1000006", 1, nullptr},
        {"convaddr 13 101 5", 0, [](const json& j) {
             EXPECT_EQ((std::vector<int>{0, 0, 0}), j["path"]);
             EXPECT_EQ("東京都千代田区丸の内", j["address"]);
         }},
        {"convaddr 13 102", 1, nullptr},
        {"parking " + tokyo, 0, [](const json& j) {
             EXPECT_EQ((std::vector<std::string>{"東京駅駐車場", "八重洲駐車場"}), Names(j["pois"]));
         }},
        {"arrival " + tokyo, 0, [](const json& j) {
             EXPECT_EQ((std::vector<std::string>{"丸の内北口", "八重洲口"}), Names(j["points"]));
             EXPECT_EQ(1, j["points"][0]["attr"]);
         }},
        {"intro " + tokyo, 0, [](const json& j) {
             EXPECT_EQ("5:00～24:00", j["open"]);
             EXPECT_EQ("なし", j["closed"]);
             EXPECT_EQ(110, j["functions"]);  // bits 1 and 2
         }},
        {"intro 12345", 1, nullptr},
        {"sapa SA00000001", 0, [](const json& j) {
             EXPECT_EQ("海老名SA", j["name"]);
             EXPECT_EQ((std::vector<int>{10, 20, 30, 40, 50}), j["values"]);
         }},
        {"sapa SA00000002", 1, nullptr},
        {"pref 2", 0, [](const json& j) { EXPECT_EQ((std::vector<std::string>{"青森", "岩手", "秋田"}), Names(j["prefectures"])); }},
        {"pref 0 --device", 0, [](const json& j) { EXPECT_EQ(std::vector<std::string>{"北海道"}, Names(j["prefectures"])); }},
        {"pref 4", 1, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const json j = Query(c.args, c.code);
        if (c.check) c.check(j);
    }
    EXPECT_EQ(2, RunNavdb(scratch_, "kana あ --db " + scratch_ / "missing").code);
}

TEST_F(NavdbTool, RefusalsNameTheRecordAndLeaveNothing) {
    const std::string good = R"({"id": "a", "name": "甲", "reading": "こう", "lat": 35.1, "lon": 139.1})";
    struct Case {
        std::string file, content, message;
    };
    const Case cases[] = {
        {"pois.json", "[" + good + ",", "pois.json: not valid JSON"},
        {"pois.json", "[" + good + R"(, {"id": "b", "name": "乙", "reading": "otsu", "lat": 35, "lon": 139}])",
         "pois.json: record 1 (id \"b\"): field \"reading\": not kana"},
        {"pois.json", "[" + good + R"(, {"id": "b", "name": "乙", "reading": "おつ", "lat": 10.5, "lon": 139}])",
         "pois.json: record 1 (id \"b\"): field \"lat\""},
        {"pois.json", "[" + good + "," + good + "]", "pois.json: record 1 (id \"a\"): field \"id\": already used by record 0"},
        {"pois.json", R"([{"id": "a", "name": "甲", "reading": "こう", "lat": 35, "lon": 139, "genre": [70]}])",
         "pois.json: record 0 (id \"a\"): field \"genre\""},
        {"parking.json", R"([{"facility": "zz", "parking": []}])", "parking.json: record 0: field \"facility\": no POI"},
        // Found only by the writer, after other data sets were written.
        {"zipcodes.json", R"([{"code": "1000005", "lat": 35, "lon": 139}, {"code": "100-0005", "lat": 35, "lon": 139}])",
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
    std::ofstream(dir / "small/pois.json")
        << R"([{"id": "a", "name": "甲", "reading": "こう", "lat": 35.1, "lon": 139.1}])";
    ASSERT_EQ(0, RunNavdb(dir, "build --force --quiet --release R0001 " + dir / "small" + " " + db).code);
    EXPECT_EQ(1, RunNavdb(dir, "kana とうきょう --db " + db).code);
    EXPECT_EQ("R0001", Slurp(db + "/BASE/B186.IDX").substr(0, 5));
    EXPECT_EQ(1u, Entries(dir.path(), "db"));  // no temporary or old folder left
}

}  // namespace
