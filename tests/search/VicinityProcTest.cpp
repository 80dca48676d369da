// Vicinity search against a brute-force model: mesh conversion, squares across mesh borders
// and corners, the step search, radius cap and widening, distance order, result windows,
// genre check masks, the hit bound and damaged mesh files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

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
constexpr uint32_t kSouth = 127200000, kWest = 500400000, kMeshLat = 2400000, kMeshLon = 3600000;

struct Point {
    uint32_t lat, lon;
};
constexpr Point kMid{kSouth + kMeshLat / 2, kWest + kMeshLon / 2};
Point Offset(Point p, double northM, double eastM) {  // metres near 35.5 deg N
    return {static_cast<uint32_t>(p.lat + northM * 32.39),
            static_cast<uint32_t>(p.lon + eastM * 39.8)};
}
VicinityPoi At(uint32_t id, Point p, uint32_t g1, uint32_t g2 = 0, uint32_t g3 = 0) {
    return {id, p.lon, p.lat, g1, g2, g3};
}

struct Hit {
    uint32_t id, dist, dir;
    bool operator==(const Hit& o) const { return id == o.id && dist == o.dist && dir == o.dir; }
};
std::ostream& operator<<(std::ostream& os, const Hit& h) {
    return os << "{id " << h.id << ", " << h.dist << " m, " << h.dir << " deg}";
}
bool ByDistanceThenId(const Hit& a, const Hit& b) {
    return a.dist != b.dist ? a.dist < b.dist : a.id < b.id;
}

// Brute force: every POI of the class whose cell centre (cells of 0.3" x 0.45") lies within
// the radius (capped at 50 km), by (distance, id).
std::vector<Hit> Expected(const std::vector<VicinityPoi>& pois, Point c, int radius,
                          unsigned long g1, unsigned long g2 = kAny, unsigned long g3 = kAny) {
    CDistanceProc geo;
    std::vector<Hit> out;
    for (const VicinityPoi& p : pois) {
        if (p.genre1 != g1 || (g2 != kAny && p.genre2 != g2) || (g3 != kAny && p.genre3 != g3)) {
            continue;
        }
        unsigned long d, dir;
        if (geo.CalcDistance(&d, &dir, c.lat / 10ul, c.lon / 10ul,
                             p.latMs / 10 - p.latMs / 10 % 30 + 15,
                             p.lonMs / 10 - p.lonMs / 10 % 45 + 22) &&
            d <= static_cast<unsigned long>(std::min(radius, 5000)) * 10) {
            out.push_back({p.id, static_cast<uint32_t>(d), static_cast<uint32_t>(dir)});
        }
    }
    std::sort(out.begin(), out.end(), ByDistanceThenId);
    return out;
}

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
};

class VicinityTest : public ::testing::Test {
protected:
    void Build(const std::vector<VicinityPoi>& pois) {
        mapdb::WriteVicinity(dir_.path(), pois);
        settings_.Use(dir_.path());
    }
    // The radius search; also checks the status and that the count is the hit list's length.
    std::vector<Hit> Search(Probe& v, Point c, int radius, unsigned long g1,
                            unsigned long g2 = kAny, unsigned long g3 = kAny) {
        unsigned long count = 12345;
        EXPECT_EQ(1, v.SearchProc(&count, c.lat, c.lon, radius, g1, g2, g3));
        std::vector<Hit> hits = v.Hits();
        EXPECT_EQ(hits.size(), count);
        return hits;
    }
    mapdb::TempDir dir_;
    testsupport::ScopedSettings settings_;
};

TEST(VicinityMesh, ConvertsPositionsAtMeshEdgesAndCorners) {
    struct Case {
        uint32_t lat, lon;
        int mesh, y, x;
    } cases[] = {
        {128452320, 503161560, 5339, 4174, 6136},  // Tokyo station, worked by hand
        {kSouth, kWest, 5339, 0, 0},
        {kSouth - 10, kWest, 5239, 7999, 0},
        {kSouth, kWest - 10, 5338, 0, 7999},
        {kSouth - 1, kWest - 1, 5238, 7999, 7999},
        {kSouth + kMeshLat - 10, kWest + kMeshLon - 10, 5339, 7999, 7999},
        {kSouth + 299, kWest + 449, 5339, 0, 0},
        {kSouth + 300, kWest + 450, 5339, 1, 1},
    };
    CVicinityProc v;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.lat) + "/" + std::to_string(c.lon));
        int mesh = -1, y = -1, x = -1;
        v.ConvLatLngtoMeche(&mesh, &y, &x, c.lat, c.lon);
        EXPECT_EQ(c.mesh * 100000000LL + c.y * 10000 + c.x, mesh * 100000000LL + y * 10000 + x);
        unsigned long lat = 0, lon = 0;  // back to the cell's corner, 1/100 arc-second
        v.ConvMechetoLatLng(&lat, &lon, static_cast<unsigned long>(mesh),
                            static_cast<unsigned long>(y) * 10000 + static_cast<unsigned long>(x));
        EXPECT_EQ(c.lat / 10 - c.lat / 10 % 30, lat);
        EXPECT_EQ(c.lon / 10 - c.lon / 10 % 45, lon);
    }
}

TEST_F(VicinityTest, SearchesEveryMeshTheSquareTouches) {
    // The square of radius 74 is 80 rows high: from row 7920 it ends exactly on row 0 of the
    // northern mesh, where a POI lies within the radius.
    const Point border{kSouth + kMeshLat - 80 * 300 + 290, kMid.lon};
    struct Case {
        const char* name;
        Point centre;
        int radius;
    } cases[] = {
        {"inside", kMid, 200},
        {"west", {kMid.lat, kWest + 400 * 40}, 200},
        {"east", {kMid.lat, kWest + kMeshLon - 400 * 40}, 200},
        {"south", {kSouth + 500 * 32, kMid.lon}, 200},
        {"north", {kSouth + kMeshLat - 500 * 32, kMid.lon}, 200},
        {"south-west", {kSouth + 300 * 32, kWest + 700 * 40}, 200},
        {"north-east", {kSouth + kMeshLat - 900 * 32, kWest + kMeshLon - 100 * 40}, 200},
        {"north-west", {kSouth + kMeshLat - 10, kWest + 10}, 200},
        {"south-east", {kSouth, kWest + kMeshLon - 10}, 200},
        {"ends on the north border", border, 74},
    };
    std::vector<VicinityPoi> pois;
    for (const Case& c : cases) {
        for (double n = -2600; n <= 2600; n += 130) {
            for (double e = -2600; e <= 2600; e += 130) {
                const uint32_t id = static_cast<uint32_t>(pois.size() + 1);
                pois.push_back(At(id, Offset(c.centre, n, e), 5, id % 3, id % 5));
            }
        }
    }
    pois.push_back(At(999999, {kSouth + kMeshLat + 150, border.lon}, 5, 1));
    Build(pois);
    Probe v;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (unsigned long g2 : {kAny, 1ul}) {
            const std::vector<Hit> want = Expected(pois, c.centre, c.radius, 5, g2);
            ASSERT_GT(want.size(), 10u);
            EXPECT_EQ(want, Search(v, c.centre, c.radius, 5, g2));
        }
    }
    const std::vector<Hit> edge = Expected(pois, border, 74, 5);
    ASSERT_TRUE(std::any_of(edge.begin(), edge.end(), [](const Hit& h) { return h.id == 999999; }));
    EXPECT_TRUE(Search(v, kMid, 200, 6).empty()) << "no file of class 6";
}

// A square wider than a mesh still takes one neighbour per axis, the southern one first.
TEST_F(VicinityTest, WideSquareTakesOneNeighbourPerAxis) {
    std::vector<VicinityPoi> pois;
    for (double northM : {-40000.0, -10000.0, 10000.0, 40000.0}) {
        pois.push_back(At(static_cast<uint32_t>(pois.size() + 1), Offset(kMid, northM, 0), 2));
    }
    Build(pois);
    Probe v;
    std::vector<Hit> want = Expected(pois, kMid, 5000, 2);
    ASSERT_EQ(4u, want.size());
    want.erase(std::remove_if(want.begin(), want.end(), [](const Hit& h) { return h.id == 4; }),
               want.end());
    EXPECT_EQ(want, Search(v, kMid, 5000, 2)) << "the POI 40 km north lies beyond the scan";
}

TEST_F(VicinityTest, StepSearchPlacesTheStartAtOrJustBelowTheTarget) {
    struct Case {
        int records, target, offset;  // keys 10, 20, ... in row 0; -1 past the end
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
        w.Add("V01000" + std::to_string(n) + ".dat", b.Take());
    }
    w.Write(dir_.path(), "VICINITY");
    settings_.Use(dir_.path());
    CVicinityProc v;
    ASSERT_EQ(1u, v.OpenDataFolder("VICINITY"));
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.records) + " records, target " + std::to_string(c.target));
        std::string name = "V01000" + std::to_string(c.records) + ".dat";
        ASSERT_EQ(1u, v.OpenPackFile(&name[0]));
        int offset = 999;
        EXPECT_EQ(1, v.GetSearchPoint(&offset, 0, c.target));
        EXPECT_EQ(c.offset, offset);
    }
    v.ClosePackFolder();
}

TEST_F(VicinityTest, RadiusIsCappedAndAFileWithEveryKeyBelowTheStartAddsNothing) {
    const Point c{kSouth + kMeshLat * 3 / 4, kWest + kMeshLon * 3 / 4};
    std::vector<VicinityPoi> pois;
    for (double eastM : {-70000.0, -51000.0, -49500.0, -30000.0, 100.0, 20000.0, 49000.0}) {
        pois.push_back(At(static_cast<uint32_t>(pois.size() + 1), Offset(c, 0, eastM), 3));
    }
    // Class 4 near the north edge: rows far south only (4 records: the step search runs past
    // the end; 5: it lands on the last), and one hit to the north.
    const Point north{kSouth + kMeshLat - 300 * 32, kMid.lon};
    for (uint32_t i = 0; i < 9; ++i) pois.push_back(At(100 + i, Offset({kSouth, north.lon}, 10, 0), 4));
    pois.push_back(At(7, Offset(north, 800, 0), 4));
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Expected(pois, c, 5000, 3);
    ASSERT_EQ(5u, want.size());
    for (int radius : {5000, 5001, 0x7fffffff}) EXPECT_EQ(want, Search(v, c, radius, 3)) << radius;
    EXPECT_TRUE(Search(v, c, -100, 3).empty());
    EXPECT_EQ(Expected(pois, north, 300, 4), Search(v, north, 300, 4));
    EXPECT_EQ(1u, Expected(pois, north, 300, 4).size());
}

TEST_F(VicinityTest, WideningStopsAtTwoHundredHits) {
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
                pois.push_back(At(static_cast<uint32_t>(pois.size() + 1),
                                  Offset(kMid, d * std::sin(a), d * std::cos(a)), 8));
            }
        };
        ring(k.within2km, 0, 1900);
        ring(k.within5km, 2100, 4900);
        ring(k.within20km, 15500, 19900);
        ring(k.far, 20500, 24000);
        Build(pois);
        Probe v;
        unsigned long count = 999;
        ASSERT_EQ(1, v.SearchProc(&count, kMid.lat, kMid.lon, 8, kAny, kAny));
        EXPECT_EQ(k.hits, count);
        std::vector<Hit> want = Expected(pois, kMid, 2000, 8);
        want.resize(std::min(want.size(), k.hits));
        EXPECT_EQ(want, v.Hits());
    }
}

TEST_F(VicinityTest, HitsComeOutByDistanceThenId) {
    // Two hits stored farther first; then long runs of equal distances in shuffled id order.
    const std::vector<VicinityPoi> two = {At(1, Offset(kMid, -300, 0), 9), At(2, kMid, 9)};
    std::vector<VicinityPoi> many;
    std::mt19937 rng(3);
    std::vector<uint32_t> ids(600);
    for (size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<uint32_t>(i * 7 + 1);
    std::shuffle(ids.begin(), ids.end(), rng);
    for (size_t i = 0; i < ids.size(); ++i) {
        many.push_back(At(ids[i], Offset(kMid, 40.0 * (i % 5), 50.0 * (i % 3)), 9));
    }
    Probe v;
    const std::vector<VicinityPoi>* sets[] = {&two, &many};
    for (const std::vector<VicinityPoi>* pois : sets) {
        Build(*pois);
        const std::vector<Hit> want = Expected(*pois, kMid, 400, 9);
        ASSERT_EQ(pois->size(), want.size());
        EXPECT_EQ(want, Search(v, kMid, 400, 9));
        unsigned long count = 0;
        ASSERT_EQ(1, v.SearchProc(&count, kMid.lat, kMid.lon, 9, kAny, kAny));
        EXPECT_EQ(want, v.Hits()) << "widening";
    }
    // The comb sort and the sort of a span agree with the model for every length.
    const std::vector<Hit> all = Expected(many, kMid, 400, 9);
    for (size_t n : {2u, 11u, 12u, 13u, 100u, 600u}) {
        SCOPED_TRACE(n);
        std::vector<Hit> mixed(all.begin(), all.begin() + n);
        std::shuffle(mixed.begin(), mixed.end(), rng);
        v.Fill(mixed);
        v.CombSort(static_cast<int>(n));
        EXPECT_EQ(std::vector<Hit>(all.begin(), all.begin() + n), v.Hits());
        v.Fill(mixed);
        v.DataSort(0, static_cast<int>(n - 1));
        EXPECT_EQ(std::vector<Hit>(all.begin(), all.begin() + n), v.Hits());
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
    pois.push_back(At(0xB1000000u | 77, Offset(c, 50, 0), 2, 1));  // no base record
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Search(v, c, 100, 2);
    ASSERT_EQ(Expected(pois, c, 100, 2), want);
    ASSERT_EQ(6u, want.size());
    ASSERT_EQ(0xB1000000u | 77, want[0].id);
    struct Case {
        unsigned long start, count;
        size_t filled, cleared;  // records filled from `start`, and cleared
    } cases[] = {{1, 5, 5, 5}, {2, 2, 2, 2}, {4, 9, 2, 2}, {6, 3, 0, 0}, {60, 3, 0, 0}, {0, 3, 0, 3}};
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.start) + "+" + std::to_string(k.count));
        std::vector<CLocationData> out(10);
        for (auto& r : out) r.dwTelAux = 0xAAAA;
        EXPECT_EQ(1u, v.GetList(out.data(), k.start, k.count));
        std::vector<unsigned long> ids(10, 0xDEAD);
        EXPECT_EQ(1u, v.GetID(ids.data(), k.start, k.count));
        for (size_t i = 0; i < out.size(); ++i) {
            SCOPED_TRACE(i);
            const bool in = i < k.count && k.start + i < want.size();
            EXPECT_EQ(in ? want[k.start + i].id : 0xDEADu, ids[i]);
            if (i < k.filled) {
                const Hit& h = want[k.start + i];
                EXPECT_EQ(h, (Hit{out[i].dwID, out[i].dwDistance, out[i].dwDirection}));
                const size_t src = std::find(written.ids.begin(), written.ids.end(), h.id) -
                                   written.ids.begin();
                EXPECT_EQ("P" + std::to_string(src), testsupport::NameOf(out[i]));
            } else {
                EXPECT_EQ(i < k.cleared ? 0u : 0xAAAAu, out[i].dwTelAux);
            }
        }
    }
    v.FlushBuf();
    CLocationData out;
    out.dwTelAux = 0xAAAA;
    EXPECT_EQ(1u, v.GetList(&out, 0, 1));
    EXPECT_EQ(0xAAAAu, out.dwTelAux) << "nothing after FlushBuf";
}

TEST_F(VicinityTest, GenreCheckMasksInThreeModes) {
    const Point c = kMid;
    CDistanceProc geo;
    // Classes are measured to the cell's south-west corner: a point due north-east whose
    // corner is within 20 km and whose centre is not.
    Point edge{};
    for (double d = 19950; d < 20050 && edge.lat == 0; d += 0.5) {
        Point p = Offset(c, d * 0.7071, d * 0.7071);
        unsigned long lat = p.lat / 10 - p.lat / 10 % 30, lon = p.lon / 10 - p.lon / 10 % 45;
        unsigned long dc, dk, dir;
        geo.CalcDistance(&dk, &dir, c.lat / 10ul, c.lon / 10ul, lat, lon);
        geo.CalcDistance(&dc, &dir, c.lat / 10ul, c.lon / 10ul, lat + 15, lon + 22);
        if (dk <= 20000 && dc > 20000) edge = p;
    }
    ASSERT_NE(0u, edge.lat);
    Build({At(1, Offset(c, 500, 500), 3, 4, 6), At(2, Offset(c, -15000, 9000), 3, 7, 31),
           At(3, Offset(c, 3000, 0), 3, 7, 32), At(4, Offset(c, 0, 21000), 3, 9, 1),
           At(5, Offset(c, 0, -30000), 0, 40, 2), At(6, Offset(c, 100, 0), 0, 255, 1),
           At(7, Offset(c, 0, -19000), 31, 0, 0), At(8, Offset(c, 25000, 0), 12, 0, 0),
           At(9, edge, 20, 5, 5)});
    struct Case {
        unsigned long g1, g2, mask;
    } cases[] = {
        {kAny, kAny, 1ul << 3 | 1ul << 0 | 1ul << 31 | 1ul << 20},  // 12 is too far
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
    for (uint32_t n : {65536u, 65537u}) {
        SCOPED_TRACE(n);
        std::vector<VicinityPoi> pois;
        for (uint32_t i = 0; i < n; ++i) {
            pois.push_back(At(i, Offset(kMid, 9.3 * (i / 256) - 1200, 11.5 * (i % 256) - 1470), 1));
        }
        Build(pois);
        Probe v;
        unsigned long count = 1;
        const int ok = n <= 65536 ? 1 : 0;
        EXPECT_EQ(ok, v.SearchProc(&count, kMid.lat, kMid.lon, 500, 1, kAny, kAny));
        EXPECT_EQ(ok ? n : 0u, count);
        count = 1;
        EXPECT_EQ(ok, v.SearchProc(&count, kMid.lat, kMid.lon, 1, kAny, kAny)) << "widening";
        EXPECT_EQ(ok ? n : 0u, count);
    }
}

TEST_F(VicinityTest, FailsWithoutTheFolderAndFallsBackToSd) {
    Build({At(1, kMid, 2)});
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
        EXPECT_EQ(k.status, v.SearchProc(&count, kMid.lat, kMid.lon, 100, 2, kAny, kAny));
        EXPECT_EQ(k.status ? 1u : 0u, count);
        EXPECT_EQ(k.status, v.SearchProc(&count, kMid.lat, kMid.lon, 2, kAny, kAny));
        EXPECT_EQ(static_cast<unsigned long>(k.status),
                  v.IsGenreEnabled(&mask, kMid.lat, kMid.lon, kAny, kAny, kAny));
        EXPECT_EQ(k.status ? 1ul << 2 : 0u, mask);
    }
}

TEST_F(VicinityTest, DamagedMeshFilesEndTheScanCleanly) {
    int mesh, y, x;
    CVicinityProc().ConvLatLngtoMeche(&mesh, &y, &x, kMid.lat, kMid.lon);
    const int32_t here = y * 10000 + x;
    struct Case {
        const char* name;
        std::vector<int32_t> keys;
        int extraBytes;  // a partial record at the end (negative: cut the header)
        unsigned long hits;
    } cases[] = {
        {"sorted", {here - 1, here, here + 1, here + 10000}, 0, 4},
        {"partial last record", {here, here + 1}, 7, 2},
        {"header only", {}, 0, 0},
        {"short header", {}, -9, 0},
        {"unsorted", {here + 30000000, here, here + 1}, 0, 0},
        {"negative keys", {-5, -1, here}, 0, 1},
        {"extreme keys", {INT32_MIN, INT32_MIN + 1, here + 5000, here, INT32_MAX}, 0, 1},
    };
    const std::string name = "V02" + std::to_string(mesh) + ".dat";
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        mapdb::ByteWriter b;
        b.Raw(mapdb::VersionHeader());
        uint32_t id = 1;
        for (int32_t key : k.keys) {
            b.I32(key);
            b.U16(0);
            b.U32(id++);
        }
        mapdb::Bytes bytes = b.Take();
        bytes.resize(static_cast<size_t>(static_cast<long>(bytes.size()) + k.extraBytes), 0x11);
        mapdb::TempDir tmp;
        mapdb::PackWriter w;
        w.Add(name, bytes);
        w.Write(tmp.path(), "VICINITY");
        settings_.Use(tmp.path());
        Probe v;
        unsigned long count = 99;
        EXPECT_EQ(1, v.SearchProc(&count, kMid.lat, kMid.lon, 100, 2, kAny, kAny));
        EXPECT_EQ(k.hits, count);
    }
    // A packed size that runs past the end of the data file: a short read ends the scan.
    Build({At(1, kMid, 2)});
    Probe v;
    ASSERT_EQ(1u, Search(v, kMid, 100, 2).size());
    const std::string dat = dir_ / "VICINITY/VICINITY.DAT";
    mapdb::Bytes full = mapdb::ReadFile(dat);
    full.resize(full.size() - 4);
    mapdb::WriteFile(dat, full);
    EXPECT_TRUE(Search(v, kMid, 100, 2).empty());
}

// Random centres and radii over a database spanning four meshes: exactly the model's hits.
TEST_F(VicinityTest, PropertyHitsMatchBruteForce) {
    std::mt19937 rng(20261122);
    const Point corner{kSouth + kMeshLat, kWest + kMeshLon};
    std::normal_distribution<double> spread(0, 12000), where(0, 15000);
    std::uniform_int_distribution<uint32_t> klass(0, 2), level(0, 3);
    std::vector<VicinityPoi> pois;
    for (uint32_t i = 0; i < 6000; ++i) {
        pois.push_back(At(i * 7919 + 3, Offset(corner, spread(rng), spread(rng)), klass(rng),
                          level(rng), level(rng)));
    }
    Build(pois);
    Probe v;
    std::uniform_int_distribution<int> radius(0, 3700), pickLevel(0, 5);
    for (int round = 0; round < 60; ++round) {
        const Point c = Offset(corner, where(rng), where(rng));
        const int r = round % 10 == 0 ? 0 : radius(rng);
        const unsigned long g1 = klass(rng);
        const int l2 = pickLevel(rng), l3 = pickLevel(rng);
        const unsigned long g2 = l2 > 3 ? kAny : static_cast<unsigned long>(l2);
        const unsigned long g3 = l3 > 3 ? kAny : static_cast<unsigned long>(l3);
        SCOPED_TRACE("round " + std::to_string(round) + " radius " + std::to_string(r));
        EXPECT_EQ(Expected(pois, c, r, g1, g2, g3), Search(v, c, r, g1, g2, g3));
    }
}

}  // namespace
