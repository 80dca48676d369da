// Every POI search on one national database (3,000,000 POIs unless --pois=N says otherwise),
// side by side with the same rows in SQLite behind the indexes an integrator would create
// (reading, telephone number, genre key, an R*Tree of position and class, postal code), asked the
// same questions through its C API in the same run. Each question is two benchmarks,
// "<question>/ours" and "<question>/sqlite", with counters: reads/op and bytes/op (pread calls
// and bytes, SQLite's included), heap_peak_B (the most heap the search object took above what
// was in use when it was made: operator new for ours, less the memo of decoded containers, which
// memo_B reports; SQLite's own allocator for the peer).
// The "size/*" entries carry the bytes on disk of each side in their counters.
// Run: build/bench/japan_bench [--pois=N] [benchmark flags]; scripts/perf-report.sh runs it
// and writes docs/performance.md.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "SearchProc.h"
#include "TempDir.h"
#include "codec/DecodedBlockCache.h"
#include "common/HeapCounter.h"
#include "common/JapanDb.h"
#include "common/ReadCounter.h"
#include "search/SearchBaseDataProc.h"

namespace {

benchdb::Options g_options;
constexpr unsigned long kAny = 255;
constexpr unsigned long kClass = 3;  // the vicinity class searched (a base genre code)

void Check(int rc, sqlite3* db, const char* what) {
    if (rc != SQLITE_OK && rc != SQLITE_DONE && rc != SQLITE_ROW) {
        fprintf(stderr, "sqlite: %s: %s\n", what, sqlite3_errmsg(db));
        std::abort();
    }
}

// A prepared statement that is reset before every use.
class Stmt {
public:
    Stmt(sqlite3* db, const char* sql) : db_(db) {
        Check(sqlite3_prepare_v2(db, sql, -1, &s_, nullptr), db, sql);
    }
    ~Stmt() { sqlite3_finalize(s_); }
    Stmt(const Stmt&) = delete;
    Stmt& operator=(const Stmt&) = delete;
    Stmt& Reset() {
        sqlite3_reset(s_);
        sqlite3_clear_bindings(s_);
        return *this;
    }
    Stmt& Int(int k, int64_t v) {
        sqlite3_bind_int64(s_, k, v);
        return *this;
    }
    Stmt& Blob(int k, const std::string& v) {
        sqlite3_bind_blob(s_, k, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Stmt& Text(int k, const std::string& v) {
        sqlite3_bind_text(s_, k, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    bool Row() {
        const int rc = sqlite3_step(s_);
        Check(rc, db_, "step");
        return rc == SQLITE_ROW;
    }
    void Run() {
        while (Row()) {
        }
    }
    int64_t I(int c) const { return sqlite3_column_int64(s_, c); }
    sqlite3_stmt* get() const { return s_; }

private:
    sqlite3* db_;
    sqlite3_stmt* s_ = nullptr;
};

// The columns a location record is filled from, in every record query of the peer.
constexpr const char* kRecordColumns =
    "p.id, p.texts, p.g1, p.g2, p.g3, p.g4, p.tel, p.lon, p.lat, p.attr, a.lon, a.lat";

// Fills a location record from a row of kRecordColumns, as the library fills its own.
void FillRecord(const Stmt& s, CLocationData* out) {
    out->FlushData();
    out->dwID = static_cast<uint32_t>(s.I(0));
    const unsigned char* texts = sqlite3_column_text(s.get(), 1);
    if (texts != nullptr)
        strncpy(out->szName, reinterpret_cast<const char*>(texts), sizeof(out->szName) - 1);
    out->dwGenre1 = static_cast<uint32_t>(s.I(2));
    out->dwGenre2 = static_cast<uint32_t>(s.I(3));
    out->dwGenre3 = static_cast<uint32_t>(s.I(4));
    out->dwGenre4 = static_cast<uint32_t>(s.I(5));
    out->dwTelNo = static_cast<uint32_t>(s.I(6));
    out->lLon = static_cast<uint32_t>(s.I(7));
    out->lLat = static_cast<uint32_t>(s.I(8));
    out->dwAttr = static_cast<uint32_t>(s.I(9));
    out->lArrLon = static_cast<uint32_t>(s.I(10));
    out->lArrLat = static_cast<uint32_t>(s.I(11));
}

uint64_t FolderBytes(const std::string& dir, const std::string& skip) {
    uint64_t total = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(dir))
        if (e.is_regular_file() && e.path().filename() != skip) total += e.file_size();
    return total;
}

struct World {
    mapdb::TempDir dir;
    benchdb::Japan j;
    sqlite3* db = nullptr;
    uint64_t oursBytes = 0, sqliteBytes = 0;
    double buildSeconds = 0, loadSeconds = 0;
    std::vector<std::vector<std::string>> prefixes = std::vector<std::vector<std::string>>(7);
    std::vector<uint32_t> ids;
    std::vector<std::string> numbers;
    std::vector<unsigned long> zipcodes;
    std::vector<std::pair<uint32_t, uint32_t>> points;  // lat, lon in milliseconds of arc

    World() {
        auto t0 = std::chrono::steady_clock::now();
        j = benchdb::BuildJapan(dir.path(), g_options);
        auto t1 = std::chrono::steady_clock::now();
        oursBytes = FolderBytes(dir.path(), "");
        Load();
        auto t2 = std::chrono::steady_clock::now();
        buildSeconds = std::chrono::duration<double>(t1 - t0).count();
        loadSeconds = std::chrono::duration<double>(t2 - t1).count();
        CCommonProc::SetPath(dir.path().c_str());
        CCommonProc::EnableDB(true);
        Samples();
    }
    ~World() { sqlite3_close(db); }

    void Load() {
        const std::string path = dir.path() + "/peer.sqlite";
        Check(sqlite3_open(path.c_str(), &db), db, "open");
        Check(sqlite3_exec(db,
                           "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN;"
                           "CREATE TABLE poi(id INTEGER PRIMARY KEY, name TEXT, texts TEXT, "
                           " reading BLOB, g1 INT, g2 INT, g3 INT, g4 INT, tel INT, lon INT, "
                           " lat INT, attr INT);"
                           "CREATE TABLE arrival(poi INTEGER PRIMARY KEY, name TEXT, lon INT, "
                           " lat INT);"
                           "CREATE TABLE genre(k1 INT, k2 INT, k3 INT, k4 INT, k5 INT, id INT, "
                           " PRIMARY KEY(k1, k2, k3, k4, k5, id)) WITHOUT ROWID;"
                           "CREATE VIRTUAL TABLE place USING rtree_i32(id, lon0, lon1, lat0, "
                           " lat1, cls0, cls1);"
                           "CREATE TABLE zipcode(code INTEGER PRIMARY KEY, lon INT, lat INT);"
                           "CREATE TABLE company_zipcode(code INTEGER PRIMARY KEY, lon INT, "
                           " lat INT);",
                           nullptr, nullptr, nullptr),
              db, "schema");
        {
            Stmt ins(db, "INSERT INTO poi VALUES(?,?,?,?,?,?,?,?,?,?,?,?)");
            for (size_t i = 0; i < j.db.pois.size(); ++i) {
                const mapdb::PoiSource& p = j.db.pois[i];
                std::string texts;
                for (const auto& t : p.texts) texts += t + "\n";
                ins.Reset()
                    .Int(1, j.db.base.ids[i])
                    .Text(2, p.texts[0])
                    .Text(3, texts)
                    .Blob(4, j.db.base.readings[i])
                    .Int(5, p.genre[0])
                    .Int(6, p.genre[1])
                    .Int(7, p.genre[2])
                    .Int(8, p.genre[3])
                    .Int(9, p.tel)
                    .Int(10, p.lonMs)
                    .Int(11, p.latMs)
                    .Int(12, p.attr)
                    .Run();
            }
        }
        {
            Stmt ins(db, "INSERT INTO arrival VALUES(?,?,?,?)");
            for (const auto& a : j.arrivals)
                ins.Reset()
                    .Int(1, a.poiId)
                    .Text(2, a.points[0].name)
                    .Int(3, a.points[0].lonMs)
                    .Int(4, a.points[0].latMs)
                    .Run();
        }
        {
            std::vector<mapdb::GenrePoi> sorted = j.genres;
            std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
                return a.key != b.key ? a.key < b.key : a.id < b.id;
            });
            Stmt ins(db, "INSERT INTO genre VALUES(?,?,?,?,?,?)");
            for (const auto& g : sorted)
                ins.Reset()
                    .Int(1, g.key[0])
                    .Int(2, g.key[1])
                    .Int(3, g.key[2])
                    .Int(4, g.key[3])
                    .Int(5, g.key[4])
                    .Int(6, g.id)
                    .Run();
        }
        {
            Stmt ins(db, "INSERT INTO place VALUES(?,?,?,?,?,?,?)");
            for (const auto& v : j.vicinity)
                ins.Reset()
                    .Int(1, v.id)
                    .Int(2, v.lonMs)
                    .Int(3, v.lonMs)
                    .Int(4, v.latMs)
                    .Int(5, v.latMs)
                    .Int(6, v.genre1)
                    .Int(7, v.genre1)
                    .Run();
        }
        for (int company = 0; company < 2; ++company) {
            Stmt ins(db, company ? "INSERT INTO company_zipcode VALUES(?,?,?)"
                                 : "INSERT INTO zipcode VALUES(?,?,?)");
            for (const auto& z : company ? j.companyZipcodes : j.zipcodes)
                ins.Reset().Int(1, std::stol(z.code)).Int(2, z.lonMs).Int(3, z.latMs).Run();
        }
        Check(sqlite3_exec(db,
                           "CREATE INDEX poi_reading ON poi(reading);"
                           "CREATE INDEX poi_tel ON poi(tel);"
                           "COMMIT; ANALYZE;",
                           nullptr, nullptr, nullptr),
              db, "indexes");
        sqliteBytes = std::filesystem::file_size(path);
    }

    void Samples() {
        std::mt19937 rng(g_options.seed);
        for (size_t i = 0; i < j.db.base.readings.size() && prefixes[6].size() < 256; i += 9973) {
            const std::string& r = j.db.base.readings[i];
            if (r.size() < 6) continue;
            for (size_t len = 1; len <= 6; ++len) prefixes[len].push_back(r.substr(0, len));
        }
        std::uniform_int_distribution<size_t> any(0, j.db.pois.size() - 1);
        for (int k = 0; k < 256; ++k) ids.push_back(j.db.base.ids[any(rng)]);
        for (int k = 0; k < 256; ++k)
            numbers.push_back(j.telephones[any(rng) % j.telephones.size()].number);
        for (int k = 0; k < 256; ++k) {
            const auto& table = k % 4 == 3 ? j.companyZipcodes : j.zipcodes;
            zipcodes.push_back(std::stoul(table[any(rng) % table.size()].code));
        }
        // Points around the big cities, a few kilometres from their centres.
        std::normal_distribution<double> spread(0.0, 1.0);
        for (int k = 0; k < 64; ++k) {
            const benchdb::City& c = benchdb::Cities()[k % 5];
            points.push_back({static_cast<uint32_t>(c.latMs + spread(rng) * 60000.0),
                              static_cast<uint32_t>(c.lonMs + spread(rng) * 75000.0)});
        }
    }
};

World& Shared() {
    static World w;
    return w;
}

// Read calls, bytes read and heap high-water mark of one benchmark, as counters.
class Meter {
public:
    explicit Meter(bool peer)
        : peer_(peer), reads_(benchdb::ReadCount()), bytes_(benchdb::ReadBytes()) {
        if (peer_) {
            sqlite3_memory_highwater(1);
            base_ = static_cast<size_t>(sqlite3_memory_used());
        } else {
            benchdb::ResetHeapPeak();
            base_ = benchdb::HeapLive();
        }
    }
    void Report(benchmark::State& state) const {
        const auto avg = benchmark::Counter::kAvgIterations;
        state.counters["reads/op"] =
            benchmark::Counter(static_cast<double>(benchdb::ReadCount() - reads_), avg);
        state.counters["bytes/op"] =
            benchmark::Counter(static_cast<double>(benchdb::ReadBytes() - bytes_), avg);
        // The process-wide memo of decoded containers is not the object's: its bytes (at their
        // most at the end, as it only grows within a benchmark) are reported on their own.
        const size_t memo = peer_ ? 0 : codec::block_cache::GetStats().bytes;
        const size_t peak = peer_ ? static_cast<size_t>(sqlite3_memory_highwater(0))
                                  : benchdb::HeapPeak() - std::min(memo, benchdb::HeapPeak());
        state.counters["heap_peak_B"] = static_cast<double>(peak > base_ ? peak - base_ : 0);
        if (!peer_) state.counters["memo_B"] = static_cast<double>(memo);
    }

private:
    bool peer_;
    unsigned long reads_;
    unsigned long long bytes_;
    size_t base_ = 0;
};

// How a benchmark walks its sample: round robin with the library's memo of decoded containers
// (the default), round robin with the memo off (every container decoded), round robin with the
// memo but a page's containers decoded one after another (no prefetch on a second thread), or
// the first sample over and over (the memo warm).
enum class Mode { kCycle, kNoMemo, kSerial, kRepeat };

size_t Next(size_t* k, size_t n, Mode mode) {
    return mode == Mode::kRepeat ? 0 : (*k)++ % n;
}

// Turns the memo off for a kNoMemo benchmark and empties it before every other one, so that
// no benchmark starts warm from the one before.
class MemoScope {
public:
    explicit MemoScope(Mode mode) {
        codec::block_cache::SetCapacity(
            mode == Mode::kNoMemo ? 0 : codec::block_cache::kDefaultCapacity);
        container_prefetch::SetEnabled(mode != Mode::kSerial);
    }
    ~MemoScope() {
        codec::block_cache::SetCapacity(codec::block_cache::kDefaultCapacity);
        container_prefetch::SetEnabled(true);
    }
};

// The peer's prefix range: readings r with prefix <= r < the prefix with its last byte raised.
std::string PrefixEnd(std::string prefix) {
    while (!prefix.empty() && static_cast<unsigned char>(prefix.back()) == 0xFF) prefix.pop_back();
    if (!prefix.empty()) prefix.back() = static_cast<char>(prefix.back() + 1);
    return prefix;
}

unsigned char* U(const std::string& s) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(s.c_str()));
}

// ---- reading: a keystroke (count and the keys that may follow), and a page of 20 ----

void KanaKeystrokeOurs(benchmark::State& state, size_t len) {
    const auto& prefixes = Shared().prefixes[len];
    Meter meter(false);
    CSearchKanaProc search;
    size_t k = 0;
    for (auto _ : state) {
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(&count, U(prefixes[k++ % prefixes.size()])));
        for (unsigned long key = 0; key < 49; ++key)
            benchmark::DoNotOptimize(search.GetKeyState(key));
    }
    meter.Report(state);
}

void KanaKeystrokePeer(benchmark::State& state, size_t len) {
    World& w = Shared();
    const auto& prefixes = w.prefixes[len];
    Meter meter(true);
    Stmt q(w.db,
           "SELECT substr(reading, ?3, 1) AS next, count(*) FROM poi "
           "WHERE reading >= ?1 AND reading < ?2 GROUP BY next");
    size_t k = 0;
    for (auto _ : state) {
        const std::string& p = prefixes[k++ % prefixes.size()];
        q.Reset().Blob(1, p).Blob(2, PrefixEnd(p)).Int(3, static_cast<int64_t>(p.size()) + 1);
        int64_t count = 0;
        bool keys[256] = {};
        while (q.Row()) {
            count += q.I(1);
            const void* next = sqlite3_column_blob(q.get(), 0);
            if (sqlite3_column_bytes(q.get(), 0) == 1)
                keys[*static_cast<const unsigned char*>(next)] = true;
        }
        benchmark::DoNotOptimize(count);
        benchmark::DoNotOptimize(keys);
    }
    meter.Report(state);
}

void KanaPageOurs(benchmark::State& state, size_t len, Mode mode) {
    const auto& prefixes = Shared().prefixes[len];
    MemoScope memo(mode);
    Meter meter(false);
    CSearchKanaProc search;
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        unsigned long count = 0;
        search.SearchProc(&count, U(prefixes[Next(&k, prefixes.size(), mode)]));
        benchmark::DoNotOptimize(search.GetList(out, 0, 20, kAny, kAny, kAny, kAny));
    }
    meter.Report(state);
}

void KanaPagePeer(benchmark::State& state, size_t len, Mode mode) {
    World& w = Shared();
    const auto& prefixes = w.prefixes[len];
    Meter meter(true);
    Stmt q(w.db, (std::string("SELECT ") + kRecordColumns +
                  " FROM poi p LEFT JOIN arrival a ON a.poi = p.id WHERE p.reading >= ?1 AND "
                  "p.reading < ?2 ORDER BY p.reading LIMIT 20")
                     .c_str());
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        const std::string& p = prefixes[Next(&k, prefixes.size(), mode)];
        q.Reset().Blob(1, p).Blob(2, PrefixEnd(p));
        for (int n = 0; q.Row(); ++n) FillRecord(q, &out[n]);
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

// ---- genre: the count alone, and the count with the first page of 20 ----

const std::vector<std::array<uint32_t, 5>>& GenreKeys(bool broad) {
    return broad ? Shared().j.broadGenres : Shared().j.narrowGenres;
}

void GenreOurs(benchmark::State& state, bool broad, bool page, Mode mode) {
    const auto& keys = GenreKeys(broad);
    MemoScope memo(mode);
    Meter meter(false);
    CSearchGenreProc search;
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        const auto& key = keys[Next(&k, keys.size(), mode)];
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(&count, key[0], key[1], key[2], key[3], key[4]));
        if (page) benchmark::DoNotOptimize(search.GetList(out, 0, 20));
    }
    meter.Report(state);
}

void GenrePeer(benchmark::State& state, bool broad, bool page, Mode mode) {
    World& w = Shared();
    const auto& keys = GenreKeys(broad);
    Meter meter(true);
    const char* where = " WHERE g.k1 = ?1 AND g.k2 = ?2 AND g.k3 = ?3 AND g.k4 = ?4 AND g.k5 = ?5";
    Stmt count(w.db, (std::string("SELECT count(*) FROM genre g") + where).c_str());
    Stmt list(w.db, (std::string("SELECT ") + kRecordColumns +
                     " FROM genre g JOIN poi p ON p.id = g.id LEFT JOIN arrival a ON a.poi = p.id" +
                     where + " ORDER BY g.id LIMIT 20")
                        .c_str());
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        const auto& key = keys[Next(&k, keys.size(), mode)];
        count.Reset();
        for (int c = 0; c < 5; ++c) count.Int(c + 1, key[c]);
        count.Row();
        benchmark::DoNotOptimize(count.I(0));
        if (!page) continue;
        list.Reset();
        for (int c = 0; c < 5; ++c) list.Int(c + 1, key[c]);
        for (int n = 0; list.Row(); ++n) FillRecord(list, &out[n]);
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

// ---- vicinity: hits of one class within a radius, sorted, and the first page of 20 ----

void VicinityOurs(benchmark::State& state, int radius, bool page, Mode mode = Mode::kCycle) {
    const auto& points = Shared().points;
    MemoScope memo(mode);
    Meter meter(false);
    CVicinityProc search;
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        const auto& [lat, lon] = points[k++ % points.size()];
        unsigned long count = 0;
        benchmark::DoNotOptimize(search.SearchProc(&count, lat, lon, radius, kClass, kAny, kAny));
        if (page) benchmark::DoNotOptimize(search.GetList(out, 0, 20));
    }
    meter.Report(state);
}

void VicinityPeer(benchmark::State& state, int radius, bool page) {
    World& w = Shared();
    Meter meter(true);
    Stmt box(w.db,
             "SELECT id, lon0, lat0 FROM place WHERE lon0 <= ?2 AND lon1 >= ?1 AND lat0 <= ?4 "
             "AND lat1 >= ?3 AND cls0 <= ?5 AND cls1 >= ?5");
    Stmt one(w.db, (std::string("SELECT ") + kRecordColumns +
                    " FROM poi p LEFT JOIN arrival a ON a.poi = p.id WHERE p.id = ?1")
                       .c_str());
    CDistanceProc distance;
    CLocationData out[20];
    std::vector<std::pair<unsigned long, uint32_t>> hits;  // distance, id
    size_t k = 0;
    for (auto _ : state) {
        const auto& [lat, lon] = w.points[k++ % w.points.size()];
        // The box around the circle, with a margin; then the same distance the library uses.
        const double dLat = radius * 1.1 / 30.87 * 1000.0;  // 1 ms of arc of latitude: 30.87 mm
        const double dLon = dLat / std::cos(lat / 3600000.0 * M_PI / 180.0);
        box.Reset()
            .Int(1, static_cast<int64_t>(lon - dLon))
            .Int(2, static_cast<int64_t>(lon + dLon))
            .Int(3, static_cast<int64_t>(lat - dLat))
            .Int(4, static_cast<int64_t>(lat + dLat))
            .Int(5, kClass);
        hits.clear();
        while (box.Row()) {
            unsigned long d = 0;
            distance.GetDistance(&d, lat / 10, lon / 10, static_cast<unsigned long>(box.I(2)) / 10,
                                 static_cast<unsigned long>(box.I(1)) / 10);
            if (d <= static_cast<unsigned long>(radius))
                hits.push_back({d, static_cast<uint32_t>(box.I(0))});
        }
        std::sort(hits.begin(), hits.end());
        benchmark::DoNotOptimize(hits.size());
        if (!page) continue;
        for (size_t n = 0; n < hits.size() && n < 20; ++n) {
            one.Reset().Int(1, hits[n].second);
            if (one.Row()) FillRecord(one, &out[n]);
        }
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

// ---- telephone number, postal code, a POI by id ----

void TelephoneOurs(benchmark::State& state) {
    const auto& numbers = Shared().numbers;
    MemoScope memo(Mode::kCycle);
    Meter meter(false);
    CSearchTelephoneProc search;
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        unsigned long count = 0;
        search.SearchProc(&count, U(numbers[k++ % numbers.size()]));
        benchmark::DoNotOptimize(search.GetList(out, 0, std::min(count, 20ul)));
    }
    meter.Report(state);
}

void TelephonePeer(benchmark::State& state) {
    World& w = Shared();
    Meter meter(true);
    Stmt q(w.db, (std::string("SELECT ") + kRecordColumns +
                  " FROM poi p LEFT JOIN arrival a ON a.poi = p.id WHERE p.tel = ?1 "
                  "ORDER BY p.id LIMIT 20")
                     .c_str());
    CLocationData out[20];
    size_t k = 0;
    for (auto _ : state) {
        q.Reset().Int(1, std::stoll(w.numbers[k++ % w.numbers.size()]));
        for (int n = 0; q.Row(); ++n) FillRecord(q, &out[n]);
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

void ZipcodeOurs(benchmark::State& state) {
    const auto& codes = Shared().zipcodes;
    Meter meter(false);
    CSearchZipcodeProc search;
    CLocationData out;
    size_t k = 0;
    for (auto _ : state) benchmark::DoNotOptimize(search.GetData(&out, codes[k++ % codes.size()]));
    meter.Report(state);
}

void ZipcodePeer(benchmark::State& state) {
    World& w = Shared();
    Meter meter(true);
    Stmt ordinary(w.db, "SELECT lon, lat FROM zipcode WHERE code = ?1");
    Stmt company(w.db, "SELECT lon, lat FROM company_zipcode WHERE code = ?1");
    CLocationData out;
    size_t k = 0;
    for (auto _ : state) {
        const unsigned long code = w.zipcodes[k++ % w.zipcodes.size()];
        Stmt* hit = ordinary.Reset().Int(1, code).Row()  ? &ordinary
                    : company.Reset().Int(1, code).Row() ? &company
                                                         : nullptr;
        if (hit != nullptr)
            out.lLon = static_cast<uint32_t>(hit->I(0)),
            out.lLat = static_cast<uint32_t>(hit->I(1));
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

void PoiByIdOurs(benchmark::State& state, Mode mode) {
    const auto& ids = Shared().ids;
    MemoScope memo(mode);
    Meter meter(false);
    CLocationData out;
    size_t k = 0;
    for (auto _ : state) {
        // A new object each time: the object's own container would hide the memo.
        CSearchBaseDataProc fresh;
        benchmark::DoNotOptimize(fresh.SearchProc(&out, ids[Next(&k, ids.size(), mode)]));
    }
    meter.Report(state);
}

void PoiByIdPeer(benchmark::State& state, Mode mode) {
    World& w = Shared();
    Meter meter(true);
    Stmt q(w.db, (std::string("SELECT ") + kRecordColumns +
                  " FROM poi p LEFT JOIN arrival a ON a.poi = p.id WHERE p.id = ?1")
                     .c_str());
    CLocationData out;
    size_t k = 0;
    for (auto _ : state) {
        q.Reset().Int(1, w.ids[Next(&k, w.ids.size(), mode)]);
        if (q.Row()) FillRecord(q, &out);
        benchmark::DoNotOptimize(out);
    }
    meter.Report(state);
}

// Bytes on disk of each side, and the time each took to build, as counters.
void Size(benchmark::State& state) {
    World& w = Shared();
    for (auto _ : state) {
    }
    state.counters["ours_B"] = static_cast<double>(w.oursBytes);
    state.counters["sqlite_B"] = static_cast<double>(w.sqliteBytes);
    state.counters["pois"] = static_cast<double>(w.j.db.pois.size());
    state.counters["build_s"] = w.buildSeconds;
    state.counters["sqlite_load_s"] = w.loadSeconds;
}

void Pair(const std::string& name, std::function<void(benchmark::State&)> ours,
          std::function<void(benchmark::State&)> peer) {
    benchmark::RegisterBenchmark((name + "/ours").c_str(), ours)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "/sqlite").c_str(), peer)->Unit(benchmark::kMicrosecond);
}

void RegisterAll() {
    benchmark::RegisterBenchmark("size", Size)->Iterations(1);
    for (size_t len = 1; len <= 6; ++len) {
        Pair(
            "kana_keystroke/L" + std::to_string(len),
            [len](benchmark::State& s) { KanaKeystrokeOurs(s, len); },
            [len](benchmark::State& s) { KanaKeystrokePeer(s, len); });
    }
    for (size_t len : {1, 2, 4}) {
        Pair(
            "kana_page20/L" + std::to_string(len),
            [len](benchmark::State& s) { KanaPageOurs(s, len, Mode::kCycle); },
            [len](benchmark::State& s) { KanaPagePeer(s, len, Mode::kCycle); });
    }
    for (bool broad : {false, true}) {
        const std::string kind = broad ? "broad" : "narrow";
        Pair(
            "genre_count/" + kind,
            [broad](benchmark::State& s) { GenreOurs(s, broad, false, Mode::kCycle); },
            [broad](benchmark::State& s) { GenrePeer(s, broad, false, Mode::kCycle); });
        Pair(
            "genre_page20/" + kind,
            [broad](benchmark::State& s) { GenreOurs(s, broad, true, Mode::kCycle); },
            [broad](benchmark::State& s) { GenrePeer(s, broad, true, Mode::kCycle); });
    }
    for (int radius : {500, 2000, 5000}) {
        Pair(
            "vicinity_count/" + std::to_string(radius) + "m",
            [radius](benchmark::State& s) { VicinityOurs(s, radius, false); },
            [radius](benchmark::State& s) { VicinityPeer(s, radius, false); });
    }
    Pair(
        "vicinity_page20/5000m", [](benchmark::State& s) { VicinityOurs(s, 5000, true); },
        [](benchmark::State& s) { VicinityPeer(s, 5000, true); });
    Pair("telephone", TelephoneOurs, TelephonePeer);
    Pair("zipcode", ZipcodeOurs, ZipcodePeer);
    Pair(
        "poi_by_id", [](benchmark::State& s) { PoiByIdOurs(s, Mode::kCycle); },
        [](benchmark::State& s) { PoiByIdPeer(s, Mode::kCycle); });
    // The memo of decoded containers: the same questions with it off, and asked again and again.
    Pair(
        "repeated/genre_page20/narrow",
        [](benchmark::State& s) { GenreOurs(s, false, true, Mode::kRepeat); },
        [](benchmark::State& s) { GenrePeer(s, false, true, Mode::kRepeat); });
    Pair(
        "repeated/kana_page20/L2", [](benchmark::State& s) { KanaPageOurs(s, 2, Mode::kRepeat); },
        [](benchmark::State& s) { KanaPagePeer(s, 2, Mode::kRepeat); });
    Pair(
        "repeated/poi_by_id", [](benchmark::State& s) { PoiByIdOurs(s, Mode::kRepeat); },
        [](benchmark::State& s) { PoiByIdPeer(s, Mode::kRepeat); });
    const auto nomemo = [](const std::string& name, std::function<void(benchmark::State&)> f) {
        benchmark::RegisterBenchmark(("nomemo/" + name + "/ours").c_str(), f)
            ->Unit(benchmark::kMicrosecond);
    };
    nomemo("genre_page20/narrow",
           [](benchmark::State& s) { GenreOurs(s, false, true, Mode::kNoMemo); });
    nomemo("kana_page20/L2", [](benchmark::State& s) { KanaPageOurs(s, 2, Mode::kNoMemo); });
    nomemo("poi_by_id", [](benchmark::State& s) { PoiByIdOurs(s, Mode::kNoMemo); });
    // A page's containers decoded on the calling thread alone.
    const auto serial = [](const std::string& name, std::function<void(benchmark::State&)> f) {
        benchmark::RegisterBenchmark(("serial/" + name + "/ours").c_str(), f)
            ->Unit(benchmark::kMicrosecond);
    };
    serial("genre_page20/narrow",
           [](benchmark::State& s) { GenreOurs(s, false, true, Mode::kSerial); });
    serial("kana_page20/L2", [](benchmark::State& s) { KanaPageOurs(s, 2, Mode::kSerial); });
    serial("vicinity_page20/5000m",
           [](benchmark::State& s) { VicinityOurs(s, 5000, true, Mode::kSerial); });
}

}  // namespace

int main(int argc, char** argv) {
    g_options = benchdb::ParseOptions(&argc, argv);
    if (!g_options.poisGiven) g_options.pois = 3000000;
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
