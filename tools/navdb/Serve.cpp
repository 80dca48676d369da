// The web server of "navdb serve": the page's own files, embedded at build time, and one GET
// route per search answering the JSON of the matching navdb command. Every request runs its
// search on objects of its own, so requests may run concurrently; nothing else is served.
#include "Serve.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include "Pictures.h"
#include "Queries.h"
#include "WebAssets.h"

#ifdef NAVDB_HAVE_HTTPLIB
#include <httplib.h>
#endif

namespace navdb {

namespace {

using json = nlohmann::json;

// What a route answers: status, content type and body.
struct Answer {
    int status = 200;
    std::string type = "application/json";
    std::string body;
};

Answer Json(int status, const json& j) {
    // Damaged data may hold text that is not UTF-8: replaced, not fatal.
    return {status, "application/json", j.dump(-1, ' ', false, json::error_handler_t::replace)};
}

Answer Error(int status, const std::string& message) {
    return Json(status, {{"error", message}});
}

constexpr size_t kMaxLimit = 500;       // records a list request may ask for
constexpr size_t kMaxListed = 500;      // picture numbers listed per kind
constexpr size_t kMaxParamBytes = 512;  // longest parameter value taken

// The query parameters of one request, checked against the names its route takes.
class Args {
public:
    explicit Args(std::multimap<std::string, std::string> params) : params_(std::move(params)) {}

    void Allow(const std::set<std::string>& names) const {
        for (const auto& [k, v] : params_) {
            if (!names.count(k)) throw BadInput("unknown parameter \"" + k + "\"");
            if (params_.count(k) > 1) throw BadInput("parameter \"" + k + "\" given twice");
            if (v.size() > kMaxParamBytes) throw BadInput("parameter \"" + k + "\" too long");
        }
    }
    bool Has(const std::string& name) const { return params_.count(name) > 0; }
    std::string Text(const std::string& name, const std::string& fallback = "") const {
        const auto it = params_.find(name);
        return it == params_.end() ? fallback : it->second;
    }
    std::string Required(const std::string& name) const {
        if (!Has(name)) throw BadInput("missing parameter \"" + name + "\"");
        return Text(name);
    }
    uint32_t Number(const std::string& name) const { return ParseNumber(Required(name), name); }
    uint32_t Number(const std::string& name, uint32_t fallback) const {
        return Has(name) ? Number(name) : fallback;
    }
    double Decimal(const std::string& name) const {
        const std::string text = Required(name);
        char* end = nullptr;
        errno = 0;
        const double v = strtod(text.c_str(), &end);
        if (text.empty() || *end != 0 || errno != 0 || !std::isfinite(v))
            throw BadInput(name + " \"" + text + "\" is not a decimal number");
        return v;
    }
    std::vector<uint32_t> Codes(const std::string& name, size_t max) const {
        return ParseCodes(Text(name), max, name);
    }
    Window Page() const {
        Window w;
        w.start = Number("start", 0);
        w.limit = Number("limit", 50);
        if (w.limit > kMaxLimit) throw BadInput("limit is at most " + std::to_string(kMaxLimit));
        return w;
    }

private:
    std::multimap<std::string, std::string> params_;
};

Answer Png(const Report& report, const std::string& png) {
    if (!report.found) return Json(404, report.json);
    return {200, "image/png", png};
}

struct Route {
    std::set<std::string> params;
    std::function<Answer(const Args&)> run;
};

const std::map<std::string, Route>& Routes() {
    static const std::map<std::string, Route> routes = {
        {"/api/kana",
         {{"reading", "genre", "start", "limit"},
          [](const Args& a) {
              return Json(200, KanaQuery(a.Text("reading"), a.Codes("genre", 4), a.Page()).json);
          }}},
        {"/api/genre",
         {{"levels", "start", "limit"},
          [](const Args& a) {
              return Json(200, GenreQuery(a.Codes("levels", 5), a.Page()).json);
          }}},
        {"/api/near",
         {{"lat", "lon", "radius", "genre", "start", "limit"},
          [](const Args& a) {
              const double radius = a.Has("radius") ? a.Decimal("radius") : 3000;
              return Json(200, NearQuery(a.Decimal("lat"), a.Decimal("lon"), radius,
                                         ParseCodes(a.Required("genre"), 3, "genre"), a.Page())
                                   .json);
          }}},
        {"/api/phone",
         {{"number", "reading", "start", "limit"},
          [](const Args& a) {
              return Json(200, PhoneQuery(a.Required("number"), a.Text("reading"), a.Page()).json);
          }}},
        {"/api/address",
         {{"path", "genre", "start", "limit"},
          [](const Args& a) {
              return Json(200, AddressQuery(a.Text("path"), a.Codes("genre", 3), a.Page()).json);
          }}},
        {"/api/zip",
         {{"code"}, [](const Args& a) { return Json(200, ZipQuery(a.Required("code")).json); }}},
        {"/api/convaddr",
         {{"codes"},
          [](const Args& a) { return Json(200, ConvAddrQuery(a.Codes("codes", 3)).json); }}},
        {"/api/parking",
         {{"poi", "start", "limit"},
          [](const Args& a) { return Json(200, ParkingQuery(a.Number("poi"), a.Page()).json); }}},
        {"/api/arrival",
         {{"poi"}, [](const Args& a) { return Json(200, ArrivalQuery(a.Number("poi")).json); }}},
        {"/api/intro",
         {{"poi"}, [](const Args& a) { return Json(200, IntroQuery(a.Number("poi")).json); }}},
        {"/api/sapa",
         {{"id"}, [](const Args& a) { return Json(200, SapaQuery(a.Required("id")).json); }}},
        {"/api/pref",
         {{"id", "device"},
          [](const Args& a) {
              return Json(200, PrefQuery(a.Number("id"), a.Number("device", 0) != 0).json);
          }}},
        {"/api/version", {{}, [](const Args&) { return Json(200, VersionQuery().json); }}},
        {"/api/string",
         {{"selector", "number"},
          [](const Args& a) {
              return Json(200, StringQuery(a.Number("selector"), a.Number("number")).json);
          }}},
        {"/api/pictures",
         {{}, [](const Args&) { return Json(200, PictureListQuery(kMaxListed).json); }}},
        {"/api/image",
         {{"kind", "number", "name1", "name2", "direction"},
          [](const Args& a) {
              std::string png;
              const Report r = ImagePicture(
                  ParsePictureKind(a.Required("kind")), a.Number("number"),
                  ParseStringId(a.Text("name1", "0:0"), "name1"),
                  ParseStringId(a.Text("name2", "0:0"), "name2"), a.Number("direction", 0), &png);
              return Png(r, png);
          }}},
        {"/api/sapamap",
         {{"number"},
          [](const Args& a) {
              std::string png;
              const Report r = SapaMapPicture(a.Number("number"), &png);
              return Png(r, png);
          }}},
    };
    return routes;
}

// The answer to GET `path` with its query parameters: a page file, an API answer, or a 404.
Answer Respond(const std::string& path, const std::multimap<std::string, std::string>& params) {
    const std::string file = path == "/" ? "/index.html" : path;
    for (const web::Asset& asset : web::kAssets) {
        if (file == asset.path) return {200, asset.type, std::string(asset.body, asset.size)};
    }
    const auto route = Routes().find(path);
    if (route == Routes().end()) return Error(404, "no such page: " + path);
    try {
        const Args args(params);
        args.Allow(route->second.params);
        return route->second.run(args);
    } catch (const BadInput& e) {
        return Error(400, e.what());
    } catch (const std::exception& e) {
        return Error(500, e.what());
    }
}

}  // namespace

#ifdef NAVDB_HAVE_HTTPLIB

bool ServeAvailable() {
    return true;
}

int Serve(const ServeOptions& options) {
    try {
        OpenDatabase(options.db);
    } catch (const BadInput& e) {
        fprintf(stderr, "navdb: %s\n", e.what());
        return 2;
    }
    // SIGINT and SIGTERM go to one waiting thread that stops the server; every other thread
    // (the server's pool included) inherits the blocked mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    httplib::Server server;
    server.Get(".*", [](const httplib::Request& req, httplib::Response& res) {
        const Answer a = Respond(req.path, req.params);
        res.status = a.status;
        res.set_header("Cache-Control", "no-store");
        res.set_header("X-Content-Type-Options", "nosniff");
        res.set_content(a.body, a.type);
    });
    // Other methods, and requests the parser refused, get a JSON message too.
    server.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
        if (!res.body.empty()) return;
        const std::string what =
            res.status == 404 ? "no such page: " + req.method + " " + req.path : "bad request";
        res.set_content(Error(res.status, what).body, "application/json");
    });
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
            res.status = 500;
            res.set_content(Error(500, "internal error").body, "application/json");
        });
    const int port = options.port == 0
                         ? server.bind_to_any_port(options.host)
                         : (server.bind_to_port(options.host, options.port) ? options.port : -1);
    if (port <= 0) {
        fprintf(stderr, "navdb: cannot listen on %s port %d\n", options.host.c_str(), options.port);
        return 2;
    }
    printf("navdb: serving %s on http://%s:%d/\n", options.db.c_str(), options.host.c_str(), port);
    fflush(stdout);

    std::atomic<bool> signalled{false};
    std::thread stopper([&] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        signalled = true;
        server.stop();
    });
    const bool ok = server.listen_after_bind();
    if (!signalled) pthread_kill(stopper.native_handle(), SIGTERM);  // wakes the waiting thread
    stopper.join();
    return ok ? 0 : 2;
}

#else

bool ServeAvailable() {
    return false;
}

int Serve(const ServeOptions&) {
    (void)&Respond;
    fprintf(stderr, "navdb: this navdb was built without the web server (cpp-httplib)\n");
    return 2;
}

#endif

}  // namespace navdb
