// "navdb serve" over HTTP without a browser: the server runs as a child on a free port and is
// asked with plain sockets, so that requests reach it exactly as written (path escapes too).
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#include "JsonSubset.h"
#include "TempDir.h"

#ifndef NAVDB_BINARY
#define NAVDB_BINARY ""  // the tool is not built (SEARCHPROC_TOOLS off): the tests skip
#endif

namespace {

using json = nlohmann::json;
using navdb_test::ExpectSubset;

struct Reply {
    int status = 0;
    std::string type, body;
};

// Sends `request` as it stands to 127.0.0.1:`port` and reads the reply up to the end of the
// connection.
Reply Exchange(int port, const std::string& request) {
    Reply r;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        if (fd >= 0) close(fd);
        return r;
    }
    for (size_t sent = 0; sent < request.size();) {
        const ssize_t n = send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    // Up to the end of the body that Content-Length announces (the server may keep the
    // connection), or of the connection.
    std::string raw;
    char buf[65536];
    size_t end = std::string::npos, want = std::string::npos;
    for (ssize_t n; raw.size() < want && (n = recv(fd, buf, sizeof buf, 0)) > 0;) {
        raw.append(buf, static_cast<size_t>(n));
        end = raw.find("\r\n\r\n");
        const size_t length = raw.find("\r\nContent-Length: ");
        if (end != std::string::npos && length != std::string::npos && length < end)
            want = end + 4 + std::stoul(raw.substr(length + 18));
    }
    close(fd);
    if (raw.rfind("HTTP/1.1 ", 0) != 0 || end == std::string::npos) return r;
    r.status = std::stoi(raw.substr(9, 3));
    const std::string head = raw.substr(0, end);
    const size_t type = head.find("\r\nContent-Type: ");
    if (type != std::string::npos)
        r.type = head.substr(type + 16, head.find("\r\n", type + 2) - type - 16);
    r.body = raw.substr(end + 4);
    return r;
}

Reply Get(int port, const std::string& target) {
    return Exchange(port,
                    "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The JSON that "navdb ARGS --json" prints for the suite's database.
json Cli(const std::string& args, const std::string& db, const mapdb::TempDir& scratch) {
    const std::string out = scratch / "cli.json";
    const int code = std::system((std::string(NAVDB_BINARY) + " " + args + " --json --db " + db +
                                  " >" + out + " 2>/dev/null")
                                     .c_str());
    (void)code;  // not found (1) is an answer too
    return json::parse(Slurp(out), nullptr, false);
}

class NavdbServe : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (std::string(NAVDB_BINARY).empty()) return;
        const std::string build = std::string(NAVDB_BINARY) + " build --quiet --release T0001 " +
                                  TESTS_SOURCE_DIR + "/navdb/data " + db_;
        ASSERT_EQ(0, std::system(build.c_str()));
        int out[2];
        ASSERT_EQ(0, pipe(out));
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], 1);
            close(out[0]);
            execl(NAVDB_BINARY, NAVDB_BINARY, "serve", db_.c_str(), "--port", "0", nullptr);
            _exit(127);
        }
        close(out[1]);
        // The first line names the port; a build without the server exits at once.
        FILE* in = fdopen(out[0], "r");
        char line[512] = {};
        const bool said = fgets(line, sizeof line, in) != nullptr;
        fclose(in);
        const char* at = said ? strstr(line, "http://127.0.0.1:") : nullptr;
        if (at != nullptr) port_ = atoi(at + 17);
    }
    static void TearDownTestSuite() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        int status = 0;
        waitpid(pid_, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
    void SetUp() override {
        if (std::string(NAVDB_BINARY).empty()) GTEST_SKIP() << "navdb is not built";
        if (port_ == 0) GTEST_SKIP() << "navdb is built without the web server";
    }
    static json Api(const std::string& target, int status = 200) {
        const Reply r = Get(port_, target);
        EXPECT_EQ(status, r.status) << target << "\n" << r.body;
        EXPECT_EQ("application/json", r.type) << target;
        return json::parse(r.body, nullptr, false);
    }
    static inline mapdb::TempDir scratch_;
    static inline std::string db_ = scratch_ / "db";
    static inline pid_t pid_ = 0;
    static inline int port_ = 0;
};

// Each route answers what the matching command prints, parameters mapped one to one.
TEST_F(NavdbServe, RoutesAnswerAsTheCommands) {
    const json station = Api("/api/kana?reading=%E3%81%A8%E3%81%86%E3%81%8D%E3%82%87%E3%81%86");
    ASSERT_EQ(3u, station["pois"].size()) << station;
    const std::string tokyo = std::to_string(station["pois"][0]["id"].get<uint32_t>());
    const struct {
        std::string target, command;
    } cases[] = {
        {"/api/kana?reading=%E3%81%A8%E3%81%86&genre=1&start=1&limit=1",
         "kana とう --genre 1 --start 1 --limit 1"},
        {"/api/kana", "kana ''"},
        {"/api/genre?levels=1,2", "genre 1 2"},
        {"/api/genre", "genre"},
        {"/api/near?lat=35.681&lon=139.767&radius=3000&genre=1", "near 35.681 139.767 3000 1"},
        {"/api/phone?number=0311112222&reading=%E3%83%A4%E3%83%9E%E3%83%80",
         "phone 0311112222 --reading ヤマダ"},
        {"/api/phone?number=0332129999", "phone 0332129999"},
        {"/api/address?path=0/0", "address --path 0/0"},
        {"/api/address?genre=1,2,3", "address --genre 1,2,3"},
        {"/api/zip?code=100-0005", "zip 100-0005"},
        {"/api/convaddr?codes=13,101,5", "convaddr 13 101 5"},
        {"/api/parking?poi=" + tokyo, "parking " + tokyo},
        {"/api/arrival?poi=" + tokyo, "arrival " + tokyo},
        {"/api/intro?poi=" + tokyo, "intro " + tokyo},
        {"/api/sapa?id=SA00000001", "sapa SA00000001"},
        {"/api/pref?id=0&device=1", "pref 0 --device"},
        {"/api/version", "version"},
        {"/api/string?selector=1&number=2", "string 1 2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const json want = Cli(c.command, db_, scratch_);
        ASSERT_FALSE(want.is_discarded()) << c.command;
        EXPECT_EQ(want, Api(c.target));
    }
}

TEST_F(NavdbServe, PicturesAreListedAndServedAsPng) {
    ExpectSubset(json::parse(R"({"kinds": [
        {"word": "ETC", "kind": 9, "numbers": [7], "more": false},
        {"word": "EXIT", "kind": 13, "numbers": [42]},
        {"word": "SIGN", "kind": 14, "numbers": [5]},
        {"word": "SAPA", "numbers": [3]}]})"),
                 Api("/api/pictures"));
    const struct {
        std::string target, command;
        int w, h;
    } cases[] = {
        {"/api/image?kind=EXIT&number=42&name1=1:1&name2=1:2",
         "image EXIT 42 --name1 1:1 --name2 1:2", 160, 80},
        {"/api/image?kind=14&number=5&direction=1", "image 14 5 --direction 1", 400, 200},
        {"/api/sapamap?number=3", "sapamap 3", 40, 30},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const Reply r = Get(port_, c.target);
        ASSERT_EQ(200, r.status) << r.body;
        EXPECT_EQ("image/png", r.type);
        int w = 0, h = 0, n = 0;
        unsigned char* px =
            stbi_load_from_memory(reinterpret_cast<const unsigned char*>(r.body.data()),
                                  static_cast<int>(r.body.size()), &w, &h, &n, 3);
        ASSERT_NE(nullptr, px);
        stbi_image_free(px);
        EXPECT_EQ(c.w, w);
        EXPECT_EQ(c.h, h);
        // The same bytes as the file the command writes.
        const std::string file = scratch_ / "cli.png";
        Cli(c.command + " -o " + file, db_, scratch_);
        EXPECT_EQ(Slurp(file), r.body);
    }
    ExpectSubset(json::parse(R"({"found": false})"), Api("/api/image?kind=ETC&number=8", 404));
    ExpectSubset(json::parse(R"({"found": false})"), Api("/api/sapamap?number=4", 404));
}

// Bad requests get a 400 with a message, anything outside the page and the API a 404: nothing
// of the database folder or the file system is served, however the path is written.
TEST_F(NavdbServe, RefusesBadRequestsAndServesNoFiles) {
    const struct {
        std::string target;
        int status;
        std::string message;  // part of the error
    } cases[] = {
        {"/api/kana?reading=abc", 400, "not kana"},
        {"/api/kana?reading=%E3%81%82&limit=501", 400, "limit"},
        {"/api/kana?reading=%E3%81%82&limit=-1", 400, "not a number"},
        {"/api/kana?reading=%E3%81%82&reading=%E3%81%84", 400, "twice"},
        {"/api/kana?readnig=%E3%81%82", 400, "unknown parameter"},
        {"/api/kana?reading=" + std::string(600, 'a'), 400, "too long"},
        {"/api/genre?levels=63", 400, "genre level 1"},
        {"/api/genre?levels=1,2,3,4,5,6", 400, "at most 5"},
        {"/api/near?lat=35.6&lon=139.7", 400, "missing parameter \"genre\""},
        {"/api/near?lat=nan&lon=139.7&genre=1", 400, "not a decimal"},
        {"/api/near?lat=35.6&lon=139.7&genre=1&radius=1e9", 400, "radius"},
        {"/api/phone?number=03-abc", 400, "not digits"},
        {"/api/address?path=0/2", 400, "beyond the list"},
        {"/api/zip", 400, "missing parameter"},
        {"/api/image?kind=1&number=7", 400, "not served"},
        {"/api/image?kind=EXIT&number=42&name1=1", 400, "SELECTOR:NUMBER"},
        {"/api/string?selector=256&number=1", 400, "0-255"},
        {"/api/pref?id=99999999999", 400, "not a number"},
        {"/api/nothing", 404, "no such page"},
        {"/api", 404, "no such page"},
        {"/index.htm", 404, "no such page"},
        {"/../../../../etc/passwd", 404, ""},
        {"/%2e%2e/%2e%2e/%2e%2e/etc/passwd", 404, ""},
        {"/api/../../../etc/passwd", 404, ""},
        {"//etc/passwd", 404, ""},
        {"/BASE/B177.IDX", 404, ""},
        {"/web/app.js", 404, ""},
        {"/" + db_ + "/BASE/B177.IDX", 404, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const json got = Api(c.target, c.status);
        ASSERT_TRUE(got.contains("error")) << got;
        EXPECT_NE(std::string::npos, got["error"].get<std::string>().find(c.message)) << got;
    }
    // Other methods and requests the parser refuses; the server answers on afterwards.
    const Reply post = Exchange(
        port_,
        "POST /api/kana HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(404, post.status);
    EXPECT_NE(std::string::npos, post.body.find("no such page: POST /api/kana")) << post.body;
    EXPECT_EQ(400, Exchange(port_, "GARBAGE\r\n\r\n").status);
    EXPECT_EQ(200, Get(port_, "/api/version").status);
}

TEST_F(NavdbServe, ServesThePageFiles) {
    const struct {
        std::string target, type, contains;
    } cases[] = {
        {"/", "text/html; charset=utf-8", "<script src=\"app.js\">"},
        {"/index.html", "text/html; charset=utf-8", "id=\"keyboard\""},
        {"/app.js", "text/javascript; charset=utf-8", "function setReading"},
        {"/style.css", "text/css; charset=utf-8", "#keyboard"},
    };
    for (const auto& c : cases) {
        const Reply r = Get(port_, c.target);
        EXPECT_EQ(200, r.status) << c.target;
        EXPECT_EQ(c.type, r.type) << c.target;
        EXPECT_NE(std::string::npos, r.body.find(c.contains)) << c.target;
    }
    // The page is whole: the last line of each file arrives.
    EXPECT_NE(std::string::npos, Get(port_, "/").body.find("</html>"));
}

// Requests from several threads at once get the answers they get one by one.
TEST_F(NavdbServe, ConcurrentRequestsAnswerAsSerialOnes) {
    const std::vector<std::string> targets = {
        "/api/kana?reading=%E3%81%A8%E3%81%86",
        "/api/genre?levels=1",
        "/api/near?lat=35.681&lon=139.767&radius=20000&genre=2",
        "/api/address?path=0/0/0",
        "/api/phone?number=0322223333",
        "/api/image?kind=EXIT&number=42&name1=1:1&name2=1:2",
        "/api/sapamap?number=3",
        "/api/zip?code=1008799",
        "/api/kana?reading=abc",
    };
    std::vector<Reply> serial;
    for (const std::string& t : targets) serial.push_back(Get(port_, t));
    constexpr size_t kThreads = 4, kRounds = 5;
    std::vector<std::vector<Reply>> got(kThreads);
    std::vector<std::thread> threads;
    for (size_t k = 0; k < kThreads; ++k) {
        threads.emplace_back([&, k] {
            for (size_t round = 0; round < kRounds; ++round) {
                for (size_t i = 0; i < targets.size(); ++i)
                    got[k].push_back(Get(port_, targets[(i + k + round) % targets.size()]));
            }
        });
    }
    for (std::thread& t : threads) t.join();
    for (size_t k = 0; k < kThreads; ++k) {
        ASSERT_EQ(kRounds * targets.size(), got[k].size());
        for (size_t j = 0; j < got[k].size(); ++j) {
            const size_t i = (j % targets.size() + k + j / targets.size()) % targets.size();
            SCOPED_TRACE(targets[i]);
            EXPECT_NE(0, serial[i].status);
            EXPECT_EQ(serial[i].status, got[k][j].status);
            EXPECT_EQ(serial[i].body, got[k][j].body);
        }
    }
}

}  // namespace
