// Vicinity search: mesh conversion at edges, searches across mesh borders, the step search,
// radius cap and widening, distance order, result windows, genre check masks, the hit bound,
// damaged mesh files, and a brute-force property check over random centres and radii.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "BaseWriter.h"
#include "PackWriter.h"
#include "SearchProc.h"
#include "TempDir.h"
#include "VicinityWriter.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using mapdb::VicinityPoi;
constexpr unsigned long kAny = 255;

// Mesh 5339: south-west corner 35 deg 20' N, 139 deg E; 40' by 1 degree.
constexpr uint32_t kSouth = 127200000;
constexpr uint32_t kWest = 500400000;
constexpr uint32_t kMeshLat = 2400000;
constexpr uint32_t kMeshLon = 3600000;
constexpr double kMsPerMetreLat = 32.39;  // near 35.5 deg N
constexpr double kMsPerMetreLon = 39.8;

struct Point {
    uint32_t lat;
    uint32_t lon;
};
Point Offset(Point p, double northM, double eastM) {
    return {static_cast<uint32_t>(p.lat + northM * kMsPerMetreLat),
            static_cast<uint32_t>(p.lon + eastM * kMsPerMetreLon)};
}

struct Hit {
    uint32_t id, dist, dir;
    bool operator==(const Hit& o) const { return id == o.id && dist == o.dist && dir == o.dir; }
};
std::ostream& operator<<(std::ostream& os, const Hit& h) {
    return os << "{id " << h.id << ", " << h.dist << " m, " << h.dir << " deg}";
}

// Brute force over the sources: every POI of the class whose cell centre (cells of 0.3" x
// 0.45" counted from whole 1/100-second multiples) lies within the radius, by (distance, id).
std::vector<Hit> Expected(const std::vector<VicinityPoi>& pois, Point c, int radius,
                          unsigned long g1, unsigned long g2, unsigned long g3) {
    CDistanceProc geo;
    std::vector<Hit> out;
    for (const VicinityPoi& p : pois) {
        if (p.genre1 != g1 || (g2 != kAny && p.genre2 != g2) || (g3 != kAny && p.genre3 != g3)) {
            continue;
        }
        const unsigned long lat = p.latMs / 10 - p.latMs / 10 % 30 + 15;
        const unsigned long lon = p.lonMs / 10 - p.lonMs / 10 % 45 + 22;
        unsigned long d, dir;
        if (!geo.CalcDistance(&d, &dir, static_cast<unsigned long>(c.lat / 10),
                              static_cast<unsigned long>(c.lon / 10), lat, lon)) {
            continue;
        }
        if (d <= static_cast<unsigned long>(std::min(radius, 5000)) * 10) {
            out.push_back({p.id, static_cast<uint32_t>(d), static_cast<uint32_t>(dir)});
        }
    }
    std::sort(out.begin(), out.end(), [](const Hit& a, const Hit& b) {
        return a.dist != b.dist ? a.dist < b.dist : a.id < b.id;
    });
    return out;
}

// Exposes the hit array and the stop flag.
class Probe : public CVicinityProc {
public:
    std::vector<Hit> Hits() {
        std::vector<Hit> out;
        for (unsigned long i = 0; i < m_Array.GetCount(); ++i) {
            const CLocationData* h = m_Array.GetAt(i);
            out.push_back({h->dwRefID, h->dwDistance, h->dwDirection});
        }
        return out;
    }
    void Fill(const std::vector<Hit>& hits) {
        FlushBuf();
        for (const Hit& h : hits) {
            CLocationData r;
            r.FlushData();
            r.dwRefID = h.id;
            r.dwDistance = h.dist;
            r.dwDirection = h.dir;
            m_Array.Add(&r);
        }
    }
    void Stop() { m_blStop = true; }
};

class VicinityTest : public ::testing::Test {
protected:
    void Build(const std::vector<VicinityPoi>& pois) {
        pois_ = pois;
        mapdb::WriteVicinity(dir_.path(), pois);
        settings_.Use(dir_.path());
    }
    // Runs the radius search; the status goes to *status.
    std::vector<Hit> Search(Probe& v, Point c, int radius, unsigned long g1,
                            unsigned long g2 = kAny, unsigned long g3 = kAny,
                            int* status = nullptr) {
        unsigned long count = 12345;
        int s = v.SearchProc(&count, c.lat, c.lon, radius, g1, g2, g3);
        if (status != nullptr) *status = s;
        std::vector<Hit> hits = v.Hits();
        EXPECT_EQ(hits.size(), count);
        return hits;
    }
    static std::vector<VicinityPoi> Grid(Point c, uint32_t firstId, uint32_t g1, double spanM,
                                         double stepM) {
        std::vector<VicinityPoi> out;
        uint32_t id = firstId;
        for (double n = -spanM; n <= spanM; n += stepM) {
            for (double e = -spanM; e <= spanM; e += stepM) {
                Point p = Offset(c, n, e);
                out.push_back({id, p.lon, p.lat, g1, id % 3, id % 5});
                ++id;
            }
        }
        return out;
    }

    mapdb::TempDir dir_;
    testsupport::ScopedSettings settings_;
    std::vector<VicinityPoi> pois_;
};

TEST(VicinityMesh, ConvertsPositionsAtMeshEdgesAndCorners) {
    CVicinityProc v;
    struct Case {
        uint32_t lat, lon;
        int mesh, y, x;
    } cases[] = {
        {128452320, 503161560, 5339, 4174, 6136},   // Tokyo station, worked by hand
        {kSouth, kWest, 5339, 0, 0},                // south-west corner
        {kSouth - 10, kWest, 5239, 7999, 0},        // last row of the mesh below
        {kSouth, kWest - 10, 5338, 0, 7999},        // last column of the mesh to the west
        {kSouth - 1, kWest - 1, 5238, 7999, 7999},  // both: the south-west neighbour's corner
        {kSouth + kMeshLat - 10, kWest + kMeshLon - 10, 5339, 7999, 7999},
        {kSouth + 299, kWest + 449, 5339, 0, 0},  // still the first cell
        {kSouth + 300, kWest + 450, 5339, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.lat) + "/" + std::to_string(c.lon));
        int mesh = -1, y = -1, x = -1;
        v.ConvLatLngtoMeche(&mesh, &y, &x, c.lat, c.lon);
        EXPECT_EQ(c.mesh, mesh);
        EXPECT_EQ(c.y, y);
        EXPECT_EQ(c.x, x);
        // Back to the cell's south-west corner, in 1/100 arc-second.
        unsigned long lat = 0, lon = 0;
        v.ConvMechetoLatLng(&lat, &lon, static_cast<unsigned long>(mesh),
                            static_cast<unsigned long>(y) * 10000 + static_cast<unsigned long>(x));
        EXPECT_LE(lat, c.lat / 10);
        EXPECT_GT(lat + 30, c.lat / 10);
        EXPECT_LE(lon, c.lon / 10);
        EXPECT_GT(lon + 45, c.lon / 10);
        const mapdb::MeshCell w = mapdb::MeshCellOf(c.lat, c.lon);
        EXPECT_EQ(c.mesh * 100000000LL + c.y * 10000 + c.x,
                  w.mesh * 100000000LL + w.y * 10000 + w.x)
            << "the writer files the point in the same cell";
    }
}

TEST_F(VicinityTest, SearchesEveryMeshTheSquareTouches) {
    const Point mid{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    struct Case {
        const char* name;
        Point centre;
    } cases[] = {
        {"inside", mid},
        {"west", {mid.lat, kWest + 400 * 40}},
        {"east", {mid.lat, kWest + kMeshLon - 400 * 40}},
        {"south", {kSouth + 500 * 32, mid.lon}},
        {"north", {kSouth + kMeshLat - 500 * 32, mid.lon}},
        {"south-west", {kSouth + 300 * 32, kWest + 700 * 40}},
        {"north-east", {kSouth + kMeshLat - 900 * 32, kWest + kMeshLon - 100 * 40}},
        {"north-west", {kSouth + kMeshLat - 10, kWest + 10}},
        {"south-east", {kSouth, kWest + kMeshLon - 10}},
    };
    std::vector<VicinityPoi> pois;
    for (const Case& c : cases) {
        std::vector<VicinityPoi> g =
            Grid(c.centre, static_cast<uint32_t>(pois.size()) + 1, 5, 2600, 130);
        pois.insert(pois.end(), g.begin(), g.end());
    }
    Build(pois);
    Probe v;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (unsigned long g2 : {kAny, 1ul}) {
            const std::vector<Hit> want = Expected(pois, c.centre, 200, 5, g2, kAny);
            ASSERT_GT(want.size(), 100u);
            int status = 0;
            EXPECT_EQ(want, Search(v, c.centre, 200, 5, g2, kAny, &status));
            EXPECT_EQ(1, status);
        }
    }
    int status = 0;
    EXPECT_TRUE(Search(v, mid, 200, 6, kAny, kAny, &status).empty()) << "no file of class 6";
    EXPECT_EQ(1, status);
}

// A square wider than a mesh (radius above 3700) still takes one neighbour per axis: the
// southern one first, so the mesh beyond the northern edge is not read.
TEST_F(VicinityTest, WideSquareTakesOneNeighbourPerAxis) {
    const Point mid{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    std::vector<VicinityPoi> pois;
    for (double northM : {-40000.0, -10000.0, 10000.0, 40000.0}) {
        Point p = Offset(mid, northM, 0);
        pois.push_back({static_cast<uint32_t>(pois.size() + 1), p.lon, p.lat, 2, 0, 0});
    }
    Build(pois);
    Probe v;
    std::vector<Hit> want = Expected(pois, mid, 5000, 2, kAny, kAny);
    ASSERT_EQ(4u, want.size());
    want.erase(std::remove_if(want.begin(), want.end(), [](const Hit& h) { return h.id == 4; }),
               want.end());
    EXPECT_EQ(want, Search(v, mid, 5000, 2)) << "the POI 40 km north lies beyond the scan";
}

TEST_F(VicinityTest, StepSearchPlacesTheStartAtOrJustBelowTheTarget) {
    struct Case {
        int records;  // keys 10, 20, ... as row 0 columns
        int target;   // column
        int offset;   // expected, -1 past the end
    } cases[] = {
        {8, 25, 16 + 20}, {8, 35, 16 + 20}, {8, 5, 16},       {8, 80, 16 + 60},
        {8, 90, -1},      {5, 60, 16 + 40}, {5, 45, 16 + 40}, {1, 20, 16},
        {4, 41, -1},      {0, 0, -1},       {5, -7, 16},  // a negative column counts as 0
    };
    mapdb::PackWriter w;
    for (int n : {0, 1, 4, 5, 8}) {
        mapdb::ByteWriter b;
        b.Raw(mapdb::VersionHeader());
        for (int i = 1; i <= n; ++i) {
            b.U32(static_cast<uint32_t>(i * 10));
            b.U16(0);
            b.U32(static_cast<uint32_t>(i));
        }
        char name[16];
        snprintf(name, sizeof(name), "V01%04d.dat", n);
        w.Add(name, b.Take());
    }
    w.Write(dir_.path(), "VICINITY");
    settings_.Use(dir_.path());
    CVicinityProc v;
    ASSERT_EQ(1u, v.OpenDataFolder("VICINITY"));
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.records) + " records, target " + std::to_string(c.target));
        char name[16];
        snprintf(name, sizeof(name), "V01%04d.dat", c.records);
        ASSERT_EQ(1u, v.OpenPackFile(name));
        int offset = 999;
        EXPECT_EQ(1, v.GetSearchPoint(&offset, 0, c.target));
        EXPECT_EQ(c.offset, offset);
    }
    v.ClosePackFolder();
}

TEST_F(VicinityTest, MeshFileWithEveryKeyBelowTheStartAddsNothing) {
    // The centre sits at the north edge of mesh 5339; its class-4 file holds only rows far
    // south (4 records: the step search runs past the end; 5: it lands on the last record).
    const Point c{kSouth + kMeshLat - 300 * 32, kWest + kMeshLon / 2};
    for (int n : {4, 5}) {
        SCOPED_TRACE(n);
        std::vector<VicinityPoi> pois;
        for (int i = 0; i < n; ++i) {
            Point p = Offset({kSouth, c.lon}, 100 + 10 * i, 0);
            pois.push_back({static_cast<uint32_t>(100 + i), p.lon, p.lat, 4, 0, 0});
        }
        Point north = Offset(c, 800, 0);
        pois.push_back({7, north.lon, north.lat, 4, 0, 0});
        Build(pois);
        Probe v;
        std::vector<Hit> hits = Search(v, c, 300, 4);
        ASSERT_EQ(1u, hits.size());
        EXPECT_EQ(7u, hits[0].id);
    }
}

TEST_F(VicinityTest, RadiusIsCappedAt50Km) {
    // Three quarters into the mesh, so that the square reaches only north and east.
    const Point c{kSouth + kMeshLat * 3 / 4, kWest + kMeshLon * 3 / 4};
    std::vector<VicinityPoi> pois;
    for (double eastM : {-70000.0, -51000.0, -49500.0, -30000.0, 100.0, 20000.0, 49000.0}) {
        Point p = Offset(c, 0, eastM);
        pois.push_back({static_cast<uint32_t>(pois.size() + 1), p.lon, p.lat, 3, 0, 0});
    }
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Expected(pois, c, 5000, 3, kAny, kAny);
    ASSERT_EQ(5u, want.size());
    for (int radius : {5000, 5001, 9000, 0x7fffffff}) {
        SCOPED_TRACE(radius);
        EXPECT_EQ(want, Search(v, c, radius, 3));
    }
    int status = 0;
    EXPECT_TRUE(Search(v, c, -100, 3, kAny, kAny, &status).empty());
    EXPECT_EQ(1, status);
}

TEST_F(VicinityTest, WideningStopsAtTwoHundredHits) {
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    struct Case {
        const char* name;
        int within2km, within5km, within20km, far;
        size_t hits;
    } cases[] = {
        {"200 at 2 km", 200, 50, 0, 5, 200},
        {"199 at 2 km, 5 km adds one", 199, 1, 30, 5, 200},
        {"199 at 2 km, none to 15 km", 199, 0, 30, 5, 229},
        {"never 200: stays at 20 km", 20, 30, 40, 50, 90},
        {"nothing", 0, 0, 0, 3, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        std::vector<VicinityPoi> pois;
        auto ring = [&](int n, double minM, double maxM) {
            for (int i = 0; i < n; ++i) {
                double a = i * 2.39996, d = minM + (maxM - minM) * (i + 0.5) / n;
                Point p = Offset(c, d * std::sin(a), d * std::cos(a));
                pois.push_back({static_cast<uint32_t>(pois.size() + 1), p.lon, p.lat, 8, 0, 0});
            }
        };
        ring(k.within2km, 0, 1900);
        ring(k.within5km, 2100, 4900);
        ring(k.within20km, 15500, 19900);
        ring(k.far, 20500, 24000);
        Build(pois);
        Probe v;
        unsigned long count = 999;
        ASSERT_EQ(1, v.SearchProc(&count, c.lat, c.lon, 8, kAny, kAny));
        EXPECT_EQ(k.hits, count);
        std::vector<Hit> got = v.Hits();
        std::vector<Hit> want = Expected(pois, c, 2000, 8, kAny, kAny);
        want.resize(std::min(want.size(), k.hits));
        EXPECT_EQ(want, got);
    }
}

TEST_F(VicinityTest, EqualDistancesComeOutByIdAndSortsAgree) {
    // Many POIs in few cells: long runs of equal distances in shuffled id order.
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    std::vector<VicinityPoi> pois;
    std::mt19937 rng(3);
    std::vector<uint32_t> ids(600);
    for (size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<uint32_t>(i * 7 + 1);
    std::shuffle(ids.begin(), ids.end(), rng);
    for (size_t i = 0; i < ids.size(); ++i) {
        Point p = Offset(c, 40.0 * (i % 5), 50.0 * (i % 3));
        pois.push_back({ids[i], p.lon, p.lat, 9, 0, 0});
    }
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Expected(pois, c, 100, 9, kAny, kAny);
    EXPECT_EQ(want, Search(v, c, 100, 9));
    // The comb sort gives the same order, for every length.
    for (size_t n : {0u, 1u, 2u, 11u, 12u, 13u, 100u, 600u}) {
        SCOPED_TRACE(n);
        std::vector<Hit> mixed(want.begin(), want.begin() + std::min(n, want.size()));
        std::shuffle(mixed.begin(), mixed.end(), rng);
        v.Fill(mixed);
        v.CombSort(static_cast<int>(mixed.size()));
        std::vector<Hit> sorted(want.begin(), want.begin() + std::min(n, want.size()));
        std::stable_sort(sorted.begin(), sorted.end(), [](const Hit& a, const Hit& b) {
            return a.dist != b.dist ? a.dist < b.dist : a.id < b.id;
        });
        EXPECT_EQ(sorted, v.Hits());
        v.Fill(mixed);
        if (n >= 2) v.DataSort(0, static_cast<int>(n - 1));
        EXPECT_EQ(sorted, v.Hits());
    }
    // A short span is sorted by insertion, which keeps equal keys in their order; the rest of
    // the list is not touched.
    v.Fill({{5, 10, 1}, {3, 20, 2}, {3, 20, 3}, {1, 20, 4}, {9, 5, 5}, {2, 1, 6}});
    v.DataSort(1, 4);
    EXPECT_EQ(
        (std::vector<Hit>{{5, 10, 1}, {9, 5, 5}, {1, 20, 4}, {3, 20, 2}, {3, 20, 3}, {2, 1, 6}}),
        v.Hits());
}

TEST_F(VicinityTest, ListsRecordsWithDistanceAndDirection) {
    const Point c{testsupport::kTokyoLat, testsupport::kTokyoLon};
    std::vector<mapdb::PoiSource> base;
    const char* readings[] = {"アカ", "イキ", "ウク", "エケ", "オコ"};
    for (int i = 0; i < 5; ++i) {
        mapdb::PoiSource p = testsupport::MakePoi("P" + std::to_string(i), readings[i], 2, 1, 0);
        Point at = Offset(c, 100.0 * (i + 1), -60.0 * i);
        p.latMs = at.lat / 10 * 10;
        p.lonMs = at.lon / 10 * 10;
        base.push_back(p);
    }
    mapdb::BaseResult written = mapdb::WriteBase(dir_.path(), base);
    std::vector<VicinityPoi> pois = mapdb::VicinityFromBase(base, written.ids);
    Point stray = Offset(c, 50, 0);  // a hit whose id has no base record
    pois.push_back({0xB1000000u | 77, stray.lon, stray.lat, 2, 1, 0});
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Search(v, c, 100, 2);
    ASSERT_EQ(Expected(pois, c, 100, 2, kAny, kAny), want);
    ASSERT_EQ(6u, want.size());
    ASSERT_EQ(0xB1000000u | 77, want[0].id);

    struct Case {
        unsigned long start, count;
        size_t filled;  // records filled from `start`
        size_t cleared;
    } cases[] = {{1, 5, 5, 5}, {2, 2, 2, 2},  {4, 9, 2, 2},
                 {6, 3, 0, 0}, {60, 3, 0, 0}, {0, 3, 0, 3}};
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.start) + "+" + std::to_string(k.count));
        std::vector<CLocationData> out(10);
        for (auto& r : out) {
            memset(r.szName, 'x', 8);
            r.dwTelAux = 0xAAAA;
        }
        EXPECT_EQ(1u, v.GetList(out.data(), k.start, k.count));
        for (size_t i = 0; i < out.size(); ++i) {
            SCOPED_TRACE(i);
            if (i < k.filled) {
                const Hit& h = want[k.start + i];
                EXPECT_EQ(h.id, out[i].dwID);
                EXPECT_EQ(h.dist, out[i].dwDistance);
                EXPECT_EQ(h.dir, out[i].dwDirection);
                EXPECT_EQ(0u, out[i].dwExtra);
                EXPECT_EQ(
                    "P" + std::to_string(std::find(written.ids.begin(), written.ids.end(), h.id) -
                                         written.ids.begin()),
                    testsupport::NameOf(out[i]));
            } else if (i < k.cleared) {
                EXPECT_EQ(0u, out[i].dwTelAux) << "cleared but not filled after a failed fetch";
                EXPECT_EQ(0u, out[i].dwID);
            } else {
                EXPECT_EQ(0xAAAAu, out[i].dwTelAux) << "outside the window: untouched";
            }
        }
        std::vector<unsigned long> ids(10, 0xDEAD);
        EXPECT_EQ(1u, v.GetID(ids.data(), k.start, k.count));
        for (size_t i = 0; i < ids.size(); ++i) {
            const bool in = i < k.count && k.start + i < want.size();
            EXPECT_EQ(in ? want[k.start + i].id : 0xDEADu, ids[i]) << i;
        }
    }
    v.FlushBuf();
    std::vector<CLocationData> out(1);
    out[0].dwTelAux = 0xAAAA;
    EXPECT_EQ(1u, v.GetList(out.data(), 0, 1));
    EXPECT_EQ(0xAAAAu, out[0].dwTelAux) << "nothing after FlushBuf";
}

TEST_F(VicinityTest, GenreCheckMasksInThreeModes) {
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    CDistanceProc geo;
    // Mode 1 measures to the cell's south-west corner: find a point due north-east whose
    // corner is within 20 km and whose centre is not.
    Point edge{};
    for (double d = 19950; d < 20050; d += 0.5) {
        Point p = Offset(c, d * 0.7071, d * 0.7071);
        unsigned long lat = p.lat / 10 - p.lat / 10 % 30, lon = p.lon / 10 - p.lon / 10 % 45;
        unsigned long dc, dk, dir;
        geo.CalcDistance(&dk, &dir, c.lat / 10ul, c.lon / 10ul, lat, lon);
        geo.CalcDistance(&dc, &dir, c.lat / 10ul, c.lon / 10ul, lat + 15, lon + 22);
        if (dk <= 20000 && dc > 20000) {
            edge = p;
            break;
        }
    }
    ASSERT_NE(0u, edge.lat);
    auto poi = [](uint32_t id, Point p, uint32_t g1, uint32_t g2, uint32_t g3) {
        return VicinityPoi{id, p.lon, p.lat, g1, g2, g3};
    };
    Build({poi(1, Offset(c, 500, 500), 3, 4, 6), poi(2, Offset(c, -15000, 9000), 3, 7, 31),
           poi(3, Offset(c, 3000, 0), 3, 7, 32), poi(4, Offset(c, 0, 21000), 3, 9, 1),
           poi(5, Offset(c, 0, -30000), 0, 40, 2), poi(6, Offset(c, 100, 0), 0, 255, 1),
           poi(7, Offset(c, 0, -19000), 31, 0, 0), poi(8, Offset(c, 25000, 0), 12, 0, 0),
           poi(9, edge, 20, 5, 5)});
    struct Case {
        unsigned long g1, g2;
        unsigned long mask;
    } cases[] = {
        {kAny, kAny, 1ul << 3 | 1ul << 0 | 1ul << 31 | 1ul << 20},  // classes; 12 is too far
        {kAny, 4, 1ul << 3 | 1ul << 0 | 1ul << 31 | 1ul << 20},     // level 2 plays no part
        {3, kAny, 1ul << 4 | 1ul << 7},                             // 9 lies at 21 km
        {0, kAny, 0},                                               // 40 and 255 do not fit
        {20, kAny, 0},                                              // the centre is too far
        {3, 7, 1ul << 31},                                          // 32 does not fit
        {3, 4, 1ul << 6},
        {5, kAny, 0},  // no such file
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.g1) + "/" + std::to_string(k.g2));
        CVicinityProc v;
        unsigned long mask = 0xFFFF;
        EXPECT_EQ(1u, v.IsGenreEnabled(&mask, c.lat, c.lon, k.g1, k.g2, kAny));
        EXPECT_EQ(k.mask, mask);
    }
}

TEST_F(VicinityTest, MoreHitsThanTheArrayHoldsFailTheSearch) {
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    for (uint32_t n : {65536u, 65537u}) {
        SCOPED_TRACE(n);
        std::vector<VicinityPoi> pois;
        for (uint32_t i = 0; i < n; ++i) {
            Point p = Offset(c, 9.3 * (i / 256) - 1200, 11.5 * (i % 256) - 1470);
            pois.push_back({i, p.lon, p.lat, 1, 0, 0});
        }
        Build(pois);
        Probe v;
        unsigned long count = 1;
        const int ok = n <= 65536 ? 1 : 0;
        EXPECT_EQ(ok, v.SearchProc(&count, c.lat, c.lon, 500, 1, kAny, kAny));
        EXPECT_EQ(ok ? n : 0u, count);
        count = 1;
        EXPECT_EQ(ok, v.SearchProc(&count, c.lat, c.lon, 1, kAny, kAny)) << "widening";
        EXPECT_EQ(ok ? n : 0u, count);
    }
}

TEST_F(VicinityTest, FailsWithoutTheFolderAndFallsBackToSd) {
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    Build({{1, c.lon, c.lat, 2, 0, 0}});
    mapdb::TempDir empty;
    struct Case {
        std::string db, sd;
        bool enableDB, enableSD;
        int status;
    } cases[] = {
        {dir_.path(), "", true, false, 1},
        {empty.path(), dir_.path(), true, true, 1},
        {empty.path(), dir_.path(), true, false, 0},
        {dir_.path(), dir_.path(), false, true, 0},
    };
    for (const Case& k : cases) {
        settings_.Use(k.db, k.sd, k.enableDB, k.enableSD);
        CVicinityProc v;
        unsigned long count = 7, mask = 7;
        EXPECT_EQ(k.status, v.SearchProc(&count, c.lat, c.lon, 100, 2, kAny, kAny));
        EXPECT_EQ(k.status ? 1u : 0u, count);
        EXPECT_EQ(k.status, v.SearchProc(&count, c.lat, c.lon, 2, kAny, kAny));
        EXPECT_EQ(static_cast<unsigned long>(k.status),
                  v.IsGenreEnabled(&mask, c.lat, c.lon, kAny, kAny, kAny));
        EXPECT_EQ(k.status ? 1ul << 2 : 0u, mask);
    }
}

TEST_F(VicinityTest, DamagedMeshFilesEndTheScanCleanly) {
    const Point c{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
    int mesh, y, x;
    CVicinityProc().ConvLatLngtoMeche(&mesh, &y, &x, c.lat, c.lon);
    auto record = [&](mapdb::ByteWriter& b, int32_t key, uint32_t id) {
        b.I32(key);
        b.U16(0);
        b.U32(id);
    };
    const int32_t here = y * 10000 + x;
    struct Case {
        const char* name;
        std::vector<int32_t> keys;
        int extraBytes;  // a partial record at the end (negative: cut the header)
        size_t hits;
    } cases[] = {
        {"sorted", {here - 1, here, here + 1, here + 10000}, 0, 4},
        {"partial last record", {here, here + 1}, 7, 2},
        {"header only", {}, 0, 0},
        {"short header", {}, -9, 0},
        {"unsorted", {here + 30000000, here, here + 1}, 0, 0},
        {"negative keys", {-5, -1, here}, 0, 1},
        {"extreme keys", {INT32_MIN, INT32_MIN + 1, here + 5000, here, INT32_MAX}, 0, 1},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        mapdb::ByteWriter b;
        b.Raw(mapdb::VersionHeader());
        uint32_t id = 1;
        for (int32_t key : k.keys) record(b, key, id++);
        mapdb::Bytes bytes = b.Take();
        if (k.extraBytes > 0) bytes.insert(bytes.end(), static_cast<size_t>(k.extraBytes), 0x11);
        if (k.extraBytes < 0) bytes.resize(bytes.size() + static_cast<size_t>(k.extraBytes));
        mapdb::TempDir tmp;
        mapdb::PackWriter w;
        char name[16];
        snprintf(name, sizeof(name), "V02%04d.dat", mesh);
        w.Add(name, bytes);
        w.Write(tmp.path(), "VICINITY");
        settings_.Use(tmp.path());
        Probe v;
        unsigned long count = 99;
        EXPECT_EQ(1, v.SearchProc(&count, c.lat, c.lon, 100, 2, kAny, kAny));
        EXPECT_EQ(k.hits, count);
    }
    // The stop flag ends a file's scan with success.
    Build({{1, c.lon, c.lat, 2, 0, 0}});
    Probe v;
    ASSERT_EQ(1u, Search(v, c, 100, 2).size());
    ASSERT_EQ(1u, v.OpenDataFolder("VICINITY"));
    char name[16];
    snprintf(name, sizeof(name), "V02%04d.dat", mesh);
    ASSERT_EQ(1u, v.OpenPackFile(name));
    CArrayData<CLocationData> array;
    EXPECT_EQ(1, v.DataCheck(&array, mesh, y, x, 16));
    EXPECT_EQ(1u, array.GetCount());
    v.Stop();
    EXPECT_EQ(1, v.DataCheck(&array, mesh, y, x, 16));
    EXPECT_EQ(1u, array.GetCount());
    v.ClosePackFolder();
    // A packed size that runs past the end of the data file: a short read ends the scan.
    const std::string dat = dir_ / "VICINITY/VICINITY.DAT";
    mapdb::Bytes full = mapdb::ReadFile(dat);
    full.resize(full.size() - 4);
    mapdb::WriteFile(dat, full);
    EXPECT_TRUE(Search(v, c, 100, 2).empty());
}

TEST_F(VicinityTest, RandomBytesInMeshFilesNeverHang) {
    // The four meshes around a corner, filled with random records of random lengths.
    const Point corner{kSouth + kMeshLat, kWest + kMeshLon};
    std::mt19937 rng(11);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        mapdb::TempDir tmp;
        mapdb::PackWriter w;
        for (int mesh : {5339, 5340, 5439, 5440}) {
            mapdb::Bytes bytes(std::uniform_int_distribution<size_t>(0, 3000)(rng));
            for (auto& b : bytes) b = static_cast<uint8_t>(rng());
            for (size_t at = 16; round % 2 == 0 && at + 4 <= bytes.size(); at += 10) {
                bytes[at + 3] = static_cast<uint8_t>(bytes[at + 3] % 8);  // plausible keys
            }
            char name[16];
            snprintf(name, sizeof(name), "V07%04d.dat", mesh);
            w.Add(name, bytes);
        }
        w.Write(tmp.path(), "VICINITY");
        settings_.Use(tmp.path());
        Probe v;
        unsigned long count = 0, mask = 0;
        EXPECT_EQ(1, v.SearchProc(&count, corner.lat - 100, corner.lon - 100, 5000, 7, kAny, kAny));
        EXPECT_EQ(1, v.SearchProc(&count, corner.lat + 100, corner.lon + 100, 7, 3, kAny));
        EXPECT_EQ(1u, v.IsGenreEnabled(&mask, corner.lat, corner.lon, kAny, kAny, kAny));
        EXPECT_EQ(1u, v.IsGenreEnabled(&mask, corner.lat, corner.lon, 7, kAny, kAny));
    }
}

// Random centres and radii over a generated database spanning four meshes: the hits are
// exactly the brute-force set, in (distance, id) order.
TEST_F(VicinityTest, PropertyHitsMatchBruteForce) {
    std::mt19937 rng(20261122);
    const Point corner{kSouth + kMeshLat, kWest + kMeshLon};  // shared by four meshes
    std::normal_distribution<double> spread(0, 12000);
    std::uniform_int_distribution<uint32_t> klass(0, 2), level(0, 3);
    std::vector<VicinityPoi> pois;
    for (uint32_t i = 0; i < 6000; ++i) {
        Point p = Offset(corner, spread(rng), spread(rng));
        pois.push_back({i * 7919 + 3, p.lon, p.lat, klass(rng), level(rng), level(rng)});
    }
    Build(pois);
    Probe v;
    std::normal_distribution<double> where(0, 15000);
    std::uniform_int_distribution<int> radius(0, 3700);  // a square no wider than a mesh
    std::uniform_int_distribution<int> pickLevel(0, 5);
    for (int round = 0; round < 60; ++round) {
        const Point c = Offset(corner, where(rng), where(rng));
        const int r = round % 10 == 0 ? 0 : radius(rng);
        const unsigned long g1 = klass(rng);
        int l2 = pickLevel(rng), l3 = pickLevel(rng);
        const unsigned long g2 = l2 > 3 ? kAny : static_cast<unsigned long>(l2);
        const unsigned long g3 = l3 > 3 ? kAny : static_cast<unsigned long>(l3);
        SCOPED_TRACE("round " + std::to_string(round) + " radius " + std::to_string(r));
        int status = 0;
        EXPECT_EQ(Expected(pois, c, r, g1, g2, g3), Search(v, c, r, g1, g2, g3, &status));
        EXPECT_EQ(1, status);
    }
}

}  // namespace
