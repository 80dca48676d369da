// End-to-end checks of the navdb tool: a database built from the source folder in data/ answers
// every search through --json, and malformed sources are refused without leaving anything.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <tuple>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#include "JsonSubset.h"
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
        const Outcome r =
            RunNavdb(scratch_, "build --quiet --release T0001 " + std::string(TESTS_SOURCE_DIR) +
                                   "/navdb/data " + db_);
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

using navdb_test::ExpectSubset;

TEST_F(NavdbTool, EverySearchAnswersFromTheBuiltDatabase) {
    const json station = Query("kana とうきょうえき");
    ASSERT_EQ(2u, station["pois"].size());
    const std::string tokyo = std::to_string(station["pois"][0]["id"].get<uint32_t>());
    const std::string parks = R"([{"name": "東京駅駐車場"}, {"name": "八重洲駐車場"}])";
    auto png = [](const std::string& name) { return scratch_ / (name + ".png"); };
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
        // Strings by selector and number, stored as UTF-8 or Shift_JIS, split at "｜".
        {"string 1 2", 0, R"({"text": "横浜｜新宿", "parts": ["横浜", "新宿"], "extra": 9})"},
        {"string 2 1", 0, R"({"text": "首都高速", "encoding": "SJIS"})"},
        {"string 1 3", 1, R"({"found": false})"},
        // Pictures through the guidance entry point, written as PNG files.
        {"image EXIT 42 --name1 1:1 --name2 1:2 -o " + png("exit"), 0,
         R"({"kind": 13, "width": 160, "height": 80})"},
        {"image 14 5 --direction 1 -o " + png("sign"), 0, R"({"width": 400, "height": 200})"},
        {"image etc 7 -o " + png("etc"), 0, R"({"kind": 9, "width": 30, "height": 20})"},
        {"image ETC 8 -o " + png("none"), 1, R"({"found": false})"},
        {"image 1 7 -o " + png("none"), 2, ""},
        {"image EXIT 42 --name1 1 -o " + png("none"), 2, ""},
        {"sapamap 3 -o " + png("sapa"), 0, R"({"width": 40, "height": 30})"},
        {"sapamap 4 -o " + png("none"), 1, R"({"found": false})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const json got = Query(c.args, c.code);
        if (!c.want.empty()) ExpectSubset(json::parse(c.want), got);
    }
    EXPECT_EQ(2, RunNavdb(scratch_, "kana あ --db " + scratch_ / "missing").code);

    // The PNG files decode to the stored size and colours, 16-bit colour widened to 8 bits:
    // green keeps 6 bits (96 -> 24 -> 97, 200 -> 50 -> 203), blue 5 (200 -> 25 -> 206).
    const struct {
        std::string name;
        int w, h, x, y;
        unsigned char rgb[3];
    } pictures[] = {{"exit", 160, 80, 0, 0, {0, 97, 0}},
                    {"exit", 160, 80, 5, 70, {255, 255, 255}},
                    {"sapa", 40, 30, 30, 29, {0, 203, 206}},
                    {"etc", 30, 20, 0, 0, {255, 255, 0}}};
    for (const auto& p : pictures) {
        SCOPED_TRACE(p.name);
        int w = 0, h = 0, n = 0;
        unsigned char* px = stbi_load(png(p.name).c_str(), &w, &h, &n, 3);
        ASSERT_NE(nullptr, px);
        EXPECT_EQ(p.w, w);
        EXPECT_EQ(p.h, h);
        EXPECT_EQ(0, memcmp(p.rgb, px + (p.y * w + p.x) * 3, 3));
        stbi_image_free(px);
    }
}

TEST_F(NavdbTool, EveryKindReportsTheRelease) {
    const json v = Query("version");
    EXPECT_EQ("1.5.0015.0100", v["engine"]);
    EXPECT_EQ(true, v["consistent"]);
    ASSERT_EQ(27u, v["kinds"].size());
    for (const json& k : v["kinds"]) {
        SCOPED_TRACE(k.dump());
        EXPECT_EQ("ok", k["status"]);
        EXPECT_EQ(k["kind"] == 25 ? "1.0.006.0" : "T0001", k["version"]);
    }
}

TEST_F(NavdbTool, VerifyFindsEveryDamagedFile) {
    const json clean = json::parse(RunNavdb(scratch_, "verify --json " + db_).out);
    EXPECT_EQ(true, clean["clean"]);
    EXPECT_GT(clean["files"].get<size_t>(), 100u);
    auto overwrite = [](const std::string& path, uint64_t at, const std::string& bytes) {
        std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(static_cast<std::streamoff>(at));
        f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    };
    const struct {
        std::string file;  // damaged
        std::function<void(const std::string&)> damage;
        std::string reported;  // the file named in the finding
        bool versionFails;
    } cases[] = {
        {"ZIPCODE/CZ.DAT", [&](const std::string& f) { overwrite(f, 0, "X"); }, "ZIPCODE/CZ.DAT",
         true},
        {"GUIDANCE/EXIT.IMG",
         [](const std::string& f) { fs::resize_file(f, fs::file_size(f) - 5); },
         "GUIDANCE/EXIT.IDX", false},
        {"SIGNPOST/SIGNPICT.DAT", [](const std::string& f) { fs::remove(f); },
         "SIGNPOST/SIGNPICT.DAT", false},
        {"KANAMA/KANAMA.DAT",
         [](const std::string& f) { fs::resize_file(f, fs::file_size(f) - 30); },
         "KANAMA/KANAMA.IDX", false},
        {"BASE/B181.DAT", [&](const std::string& f) { overwrite(f, 20, "\xff\xff\xff\xff"); },
         "BASE/B181.DAT", false},
        {"STRINGDB/GDESTR01.DAT", [&](const std::string& f) { overwrite(f, 12, "UTF9"); },
         "STRINGDB/GDESTR01.DAT", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        mapdb::TempDir dir;
        const std::string copy = dir / "db";
        fs::copy(db_, copy, fs::copy_options::recursive);
        c.damage(copy + "/" + c.file);
        const Outcome r = RunNavdb(dir, "verify --json " + copy);
        EXPECT_EQ(1, r.code) << r.err;
        const json got = json::parse(r.out);
        EXPECT_EQ(false, got["clean"]);
        // The damaged file is named, and nothing outside its data set.
        bool named = false;
        for (const json& f : got["findings"]) {
            named = named || f["file"] == c.reported;
            EXPECT_EQ(0u, f["file"].get<std::string>().rfind(fs::path(c.file).parent_path(), 0))
                << f;
        }
        EXPECT_TRUE(named) << got["findings"];
        EXPECT_EQ(c.versionFails ? 1 : 0, RunNavdb(dir, "version --db " + copy).code);
    }
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
        {"pictures.json", R"([{"kind": "EXIT", "number": 1, "png": "none.png"}])",
         "pictures.json: record 0 (kind \"EXIT\") (number \"1\"): field \"png\""},
        {"pictures.json", R"([{"kind": "EXIT2", "number": 1, "png": "none.png"}])",
         "pictures.json: record 0 (kind \"EXIT2\") (number \"1\"): field \"kind\""},
        {"signs.json", R"([{"record": "arrow", "type": 2, "direction": 4, "png": "a.png"}])",
         "signs.json: record 0 (record \"arrow\"): field \"direction\""},
        {"strings.json", R"([{"selector": 1, "strings": []}, {"selector": 1, "strings": []}])",
         "strings.json: record 1 (selector \"1\"): field \"selector\": already used"},
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

namespace {

// The demo from the committed cut of the open data: built, searched, verified, pictures drawn.
TEST(NavdbDemo, BuildsFromTheCutAndDrawsItsPictures) {
    if (std::string(NAVDB_BINARY).empty()) GTEST_SKIP() << "navdb is not built";
    mapdb::TempDir dir;
    const Outcome r = RunNavdb(dir, "demo --quiet " + dir / "demo" + " --data " +
                                        std::string(TESTS_SOURCE_DIR) + "/../tools/navdb/demo/cut");
    ASSERT_EQ(0, r.code) << r.err << r.out;
    EXPECT_NE(std::string::npos, r.out.find("findings:   0")) << r.out;
    for (const auto& [file, w, h] : {std::tuple{"exit.png", 480, 240}, {"sign.png", 400, 200}}) {
        int pw = 0, ph = 0, n = 0;
        unsigned char* px = stbi_load((dir / "demo/" + file).c_str(), &pw, &ph, &n, 3);
        ASSERT_NE(nullptr, px) << file;
        EXPECT_EQ(w, pw);
        EXPECT_EQ(h, ph);
        stbi_image_free(px);
    }
    const Outcome zip = RunNavdb(dir, "zip 1600022 --json --db " + dir / "demo/db");
    EXPECT_EQ(0, zip.code);
    const Outcome pref = RunNavdb(dir, "pref 13 --json --db " + dir / "demo/db");
    EXPECT_EQ("神奈川", json::parse(pref.out)["prefectures"][2]["name"]) << pref.out;
}

}  // namespace
