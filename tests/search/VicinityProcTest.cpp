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
#include "TempDir.h"
#include "VicinityWriter.h"
#include "support/Poi.h"
#include "support/Settings.h"

namespace {

using mapdb::VicinityPoi;
using testsupport::kAny;
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

// Brute force: every POI of the class whose cell centre (cells of 0.3" x 0.45") lies within
// the radius (capped at 50 km), by (distance, id).
std::vector<Hit> Expected(const std::vector<VicinityPoi>& pois, Point c, int radius,
                          unsigned long g1, unsigned long g2 = kAny, unsigned long g3 = kAny) {
    std::vector<Hit> out;
    for (const VicinityPoi& p : pois) {
        unsigned long d, dir;
        if (p.genre1 == g1 && (g2 == kAny || p.genre2 == g2) && (g3 == kAny || p.genre3 == g3) &&
            CDistanceProc().CalcDistance(&d, &dir, c.lat / 10ul, c.lon / 10ul,
                                         p.latMs / 10 - p.latMs / 10 % 30 + 15,
                                         p.lonMs / 10 - p.lonMs / 10 % 45 + 22) &&
            d <= static_cast<unsigned long>(std::min(radius, 5000)) * 10) {
            out.push_back({p.id, static_cast<uint32_t>(d), static_cast<uint32_t>(dir)});
        }
    }
    std::sort(out.begin(), out.end(), [](const Hit& a, const Hit& b) {
        return a.dist != b.dist ? a.dist < b.dist : a.id < b.id;
    });
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

class VicinityTest : public testsupport::SettingsTest {
protected:
    void Build(const std::vector<VicinityPoi>& pois) {
        mapdb::WriteVicinity(dir_.path(), pois);
        settings_.Use(dir_.path());
    }
    // The radius search (radius 0: the widening one); checks the status and the count.
    static std::vector<Hit> Search(Probe& v, Point c, int radius, unsigned long g1,
                                   unsigned long g2 = kAny, unsigned long g3 = kAny) {
        unsigned long count = 12345;
        EXPECT_EQ(1, radius ? v.SearchProc(&count, c.lat, c.lon, radius, g1, g2, g3)
                            : v.SearchProc(&count, c.lat, c.lon, g1, g2, g3));
        EXPECT_EQ(v.Hits().size(), count);
        return v.Hits();
    }
    mapdb::TempDir dir_;
};

TEST(VicinityMesh, ConvertsPositionsAtMeshEdgesAndCorners) {
    const int64_t cases[][3] = {
        {128452320, 503161560, 5339'4174'6136},  // Tokyo station, worked by hand
        {kSouth, kWest, 5339'0000'0000},
        {kSouth - 10, kWest, 5239'7999'0000},
        {kSouth, kWest - 10, 5338'0000'7999},
        {kSouth - 1, kWest - 1, 5238'7999'7999},
        {kSouth + kMeshLat - 10, kWest + kMeshLon - 10, 5339'7999'7999},
        {kSouth + 299, kWest + 449, 5339'0000'0000},
        {kSouth + 300, kWest + 450, 5339'0001'0001},
    };
    CVicinityProc v;
    for (const auto& c : cases) {
        const unsigned long lat = static_cast<unsigned long>(c[0]),
                            lon = static_cast<unsigned long>(c[1]);
        int mesh = -1, y = -1, x = -1;
        v.ConvLatLngtoMeche(&mesh, &y, &x, lat, lon);
        EXPECT_EQ(c[2], mesh * 100000000LL + y * 10000 + x);
        unsigned long cornerLat = 0, cornerLon = 0;  // back to the cell's corner, 1/100 s
        v.ConvMechetoLatLng(&cornerLat, &cornerLon, static_cast<unsigned long>(mesh),
                            static_cast<unsigned long>(y * 10000 + x));
        EXPECT_EQ(lat / 10 - lat / 10 % 30, cornerLat) << c[2];
        EXPECT_EQ(lon / 10 - lon / 10 % 45, cornerLon) << c[2];
    }
}

TEST_F(VicinityTest, SearchesEveryMeshTheSquareTouches) {
    // The square of radius 74 is 80 rows high: from row 7920 it ends exactly on row 0 of the
    // northern mesh, where POI 999999 lies within the radius.
    const Point border{kSouth + kMeshLat - 80 * 300 + 290, kMid.lon};
    const Point centres[] = {
        kMid,
        {kMid.lat, kWest + 400 * 40},
        {kMid.lat, kWest + kMeshLon - 400 * 40},
        {kSouth + 500 * 32, kMid.lon},
        {kSouth + kMeshLat - 500 * 32, kMid.lon},
        {kSouth + 300 * 32, kWest + 700 * 40},
        {kSouth + kMeshLat - 900 * 32, kWest + kMeshLon - 100 * 40},  // north-east corner
        {kSouth + kMeshLat - 10, kWest + 10},
        {kSouth, kWest + kMeshLon - 10},
        border,
    };
    std::vector<VicinityPoi> pois = {At(999999, {kSouth + kMeshLat + 150, border.lon}, 5, 1)};
    for (const Point& c : centres) {
        for (double n = -2600; n <= 2600; n += 130) {
            for (double e = -2600; e <= 2600; e += 130) {
                const uint32_t id = static_cast<uint32_t>(pois.size());
                pois.push_back(At(id, Offset(c, n, e), 5, id % 3, id % 5));
            }
        }
    }
    Build(pois);
    Probe v;
    for (const Point& c : centres) {
        const int radius = c.lat == border.lat ? 74 : 200;
        for (unsigned long g2 : {kAny, 1ul}) {
            SCOPED_TRACE(testing::Message() << c.lat << "/" << c.lon << " level 2 " << g2);
            const std::vector<Hit> want = Expected(pois, c, radius, 5, g2);
            ASSERT_GT(want.size(), 10u);
            EXPECT_EQ(want, Search(v, c, radius, 5, g2));
        }
    }
    const std::vector<Hit> edge = Expected(pois, border, 74, 5);
    EXPECT_TRUE(std::any_of(edge.begin(), edge.end(), [](const Hit& h) { return h.id == 999999; }));
    EXPECT_TRUE(Search(v, kMid, 200, 6).empty()) << "no file of class 6";
}

TEST_F(VicinityTest, StepSearchPlacesTheStartAtOrJustBelowTheTarget) {
    const int cases[][3] = {
        // records (keys 10, 20, ... in row 0), target column, offset
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
    for (const auto& c : cases) {
        std::string name = "V01000" + std::to_string(c[0]) + ".dat";
        ASSERT_EQ(1u, v.OpenPackFile(&name[0]));
        int offset = 999;
        EXPECT_EQ(1, v.GetSearchPoint(&offset, 0, c[1]));
        EXPECT_EQ(c[2], offset) << c[0] << " records, target " << c[1];
    }
    v.ClosePackFolder();
}

TEST_F(VicinityTest, RadiusCapWideSquaresAndFilesBelowTheStart) {
    const Point c{kSouth + kMeshLat * 3 / 4, kWest + kMeshLon * 3 / 4};
    std::vector<VicinityPoi> pois;
    for (double eastM : {-70000.0, -51000.0, -49500.0, -30000.0, 100.0, 20000.0, 49000.0}) {
        pois.push_back(At(static_cast<uint32_t>(pois.size() + 1), Offset(c, 0, eastM), 3));
    }
    // A square wider than a mesh takes one neighbour per axis, the southern one first: the
    // POI 40 km north lies beyond the scan.
    for (double northM : {-40000.0, -10000.0, 10000.0, 40000.0}) {
        pois.push_back(At(static_cast<uint32_t>(pois.size() + 1), Offset(kMid, northM, 0), 2));
    }
    // Class 4 near the north edge: rows far south only, and one hit to the north.
    const Point north{kSouth + kMeshLat - 300 * 32, kMid.lon};
    for (uint32_t i = 0; i < 9; ++i) pois.push_back(At(100 + i, {kSouth + 400, north.lon}, 4));
    pois.push_back(At(77, Offset(north, 800, 0), 4));
    Build(pois);
    Probe v;
    const std::vector<Hit> want = Expected(pois, c, 5000, 3);
    ASSERT_EQ(5u, want.size());
    for (int radius : {5000, 5001, 0x7fffffff}) EXPECT_EQ(want, Search(v, c, radius, 3)) << radius;
    EXPECT_TRUE(Search(v, c, -100, 3).empty());
    std::vector<Hit> wide = Expected(pois, kMid, 5000, 2);
    ASSERT_EQ(4u, wide.size());
    wide.erase(std::remove_if(wide.begin(), wide.end(), [](const Hit& h) { return h.id == 11; }),
               wide.end());
    EXPECT_EQ(wide, Search(v, kMid, 5000, 2));
    EXPECT_EQ(Expected(pois, north, 300, 4), Search(v, north, 300, 4));
    EXPECT_EQ(1u, Expected(pois, north, 300, 4).size());
}

TEST_F(VicinityTest, WideningStopsAtTwoHundredHits) {
    struct Case {
        int within2km, within5km, within20km, far;
        size_t hits;
    } cases[] = {
        {200, 50, 0, 5, 200}, {199, 1, 30, 5, 200},
        {199, 0, 30, 5, 229}, {20, 30, 40, 50, 90},  // never 200: stays at 20 km
        {0, 0, 0, 3, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.within2km + k.within5km);
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
        std::vector<Hit> want = Expected(pois, kMid, 2000, 8);
        want.resize(std::min(want.size(), k.hits));
        EXPECT_EQ(want, Search(v, kMid, 0, 8));
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
        EXPECT_EQ(want, Search(v, kMid, 0, 9));
    }
    // The comb sort and the sort of a span agree with the model for every length.
    const std::vector<Hit> all = Expected(many, kMid, 400, 9);
    for (size_t n : {2u, 11u, 12u, 13u, 100u, 600u}) {
        std::vector<Hit> mixed(all.begin(), all.begin() + n), sorted = mixed;
        std::shuffle(mixed.begin(), mixed.end(), rng);
        v.Fill(mixed);
        v.CombSort(static_cast<int>(n));
        EXPECT_EQ(sorted, v.Hits()) << n;
        v.Fill(mixed);
        v.DataSort(0, static_cast<int>(n - 1));
        EXPECT_EQ(sorted, v.Hits()) << n;
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
    for (int i = 0; i < 5; ++i) {
        const char* readings[] = {"アカ", "イキ", "ウク", "エケ", "オコ"};
        base.push_back(testsupport::MakePoi("P" + std::to_string(i), readings[i], 2, 1, 0));
        const Point at = Offset(c, 100.0 * (i + 1), -60.0 * i);
        base.back().latMs = at.lat / 10 * 10;
        base.back().lonMs = at.lon / 10 * 10;
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
    const unsigned long cases[][4] = {
        // start, count, records filled, records cleared
        {1, 5, 5, 5}, {2, 2, 2, 2}, {4, 9, 2, 2}, {6, 3, 0, 0}, {60, 3, 0, 0}, {0, 3, 0, 3}};
    for (const auto& k : cases) {
        SCOPED_TRACE(std::to_string(k[0]) + "+" + std::to_string(k[1]));
        std::vector<CLocationData> out(10);
        for (auto& r : out) r.dwTelAux = 0xAAAA;
        EXPECT_EQ(1u, v.GetList(out.data(), k[0], k[1]));
        std::vector<unsigned long> ids(10, 0xDEAD);
        EXPECT_EQ(1u, v.GetID(ids.data(), k[0], k[1]));
        for (size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(i < k[1] && k[0] + i < want.size() ? want[k[0] + i].id : 0xDEADu, ids[i]);
            if (i >= k[2]) {
                EXPECT_EQ(i < k[3] ? 0u : 0xAAAAu, out[i].dwTelAux) << i;
                continue;
            }
            const Hit& h = want[k[0] + i];
            EXPECT_EQ(h, (Hit{out[i].dwID, out[i].dwDistance, out[i].dwDirection}));
            const auto src = std::find(written.ids.begin(), written.ids.end(), h.id);
            EXPECT_EQ("P" + std::to_string(src - written.ids.begin()), testsupport::NameOf(out[i]));
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
    // Classes are measured to the cell's south-west corner: a point due north-east whose
    // corner is within 20 km and whose centre is not.
    Point edge{};
    for (double d = 19950; d < 20050 && edge.lat == 0; d += 0.5) {
        Point p = Offset(c, d * 0.7071, d * 0.7071);
        unsigned long lat = p.lat / 10 - p.lat / 10 % 30, lon = p.lon / 10 - p.lon / 10 % 45;
        unsigned long dc, dk, dir;
        CDistanceProc().CalcDistance(&dk, &dir, c.lat / 10ul, c.lon / 10ul, lat, lon);
        CDistanceProc().CalcDistance(&dc, &dir, c.lat / 10ul, c.lon / 10ul, lat + 15, lon + 22);
        if (dk <= 20000 && dc > 20000) edge = p;
    }
    ASSERT_NE(0u, edge.lat);
    Build({At(1, Offset(c, 500, 500), 3, 4, 6), At(2, Offset(c, -15000, 9000), 3, 7, 31),
           At(3, Offset(c, 3000, 0), 3, 7, 32), At(4, Offset(c, 0, 21000), 3, 9, 1),
           At(5, Offset(c, 0, -30000), 0, 40, 2), At(6, Offset(c, 100, 0), 0, 255, 1),
           At(7, Offset(c, 0, -19000), 31, 0, 0), At(8, Offset(c, 25000, 0), 12, 0, 0),
           At(9, edge, 20, 5, 5)});
    const unsigned long classes = 1ul << 3 | 1ul << 0 | 1ul << 31 | 1ul << 20;  // 12 too far
    const unsigned long cases[][3] = {
        {kAny, kAny, classes},
        {kAny, 4, classes},              // level 2 plays no part
        {3, kAny, 1ul << 4 | 1ul << 7},  // 9 lies at 21 km
        {0, kAny, 0},                    // 40 and 255 do not fit
        {20, kAny, 0},                   // the centre is too far
        {3, 7, 1ul << 31},               // 32 does not fit
        {3, 4, 1ul << 6},
        {5, kAny, 0},  // no such file
    };
    for (const auto& k : cases) {
        CVicinityProc v;
        unsigned long mask = 0xFFFF;
        EXPECT_EQ(1u, v.IsGenreEnabled(&mask, c.lat, c.lon, k[0], k[1], kAny));
        EXPECT_EQ(k[2], mask) << k[0] << "/" << k[1];
    }
}

TEST_F(VicinityTest, MoreHitsThanTheArrayHoldsFailTheSearch) {
    for (uint32_t n : {65536u, 65537u}) {
        std::vector<VicinityPoi> pois;
        for (uint32_t i = 0; i < n; ++i) {
            pois.push_back(At(i, Offset(kMid, 9.3 * (i / 256) - 1200, 11.5 * (i % 256) - 1470), 1));
        }
        Build(pois);
        const int ok = n <= 65536 ? 1 : 0;
        for (int radius : {500, 0}) {
            Probe v;
            unsigned long count = 1;
            EXPECT_EQ(ok, radius ? v.SearchProc(&count, kMid.lat, kMid.lon, radius, 1, kAny, kAny)
                                 : v.SearchProc(&count, kMid.lat, kMid.lon, 1, kAny, kAny));
            EXPECT_EQ(ok ? n : 0u, count) << n << " radius " << radius;
        }
    }
}

TEST_F(VicinityTest, DamagedFilesAndSwitches) {
    int mesh, y, x;
    CVicinityProc().ConvLatLngtoMeche(&mesh, &y, &x, kMid.lat, kMid.lon);
    const int32_t here = y * 10000 + x;
    Build({At(1, kMid, 2)});
    mapdb::TempDir empty, cut;
    mapdb::Bytes dat = mapdb::ReadFile(dir_ / "VICINITY/VICINITY.DAT");
    dat.resize(dat.size() - 4);  // a packed size that runs past the end of the data file
    mapdb::MakeDirs(cut / "VICINITY");
    mapdb::WriteFile(cut / "VICINITY/VICINITY.IDX",
                     mapdb::ReadFile(dir_ / "VICINITY/VICINITY.IDX"));
    mapdb::WriteFile(cut / "VICINITY/VICINITY.DAT", dat);
    struct Case {
        const char* name;
        std::vector<int32_t> keys;  // written as the class-2 file; none: the folder as given
        int extraBytes;             // a partial record at the end (negative: cut the header)
        std::string db, sd;
        bool enableDB, enableSD;
        int status;
        unsigned long hits;
    } cases[] = {
        {"sorted", {here - 1, here, here + 1, here + 10000}, 0, "", "", true, false, 1, 4},
        {"partial last record", {here, here + 1}, 7, "", "", true, false, 1, 2},
        {"header only", {}, 0, "", "", true, false, 1, 0},
        {"short header", {}, -9, "", "", true, false, 1, 0},
        {"unsorted", {here + 30000000, here, here + 1}, 0, "", "", true, false, 1, 0},
        {"negative keys", {-5, -1, here}, 0, "", "", true, false, 1, 1},
        {"extremes", {INT32_MIN, here + 5000, here, INT32_MAX}, 0, "", "", true, false, 1, 1},
        {"data file cut", {}, 0, cut.path(), "", true, false, 1, 0},
        {"database", {}, 0, dir_.path(), "", true, false, 1, 1},
        {"SD copy", {}, 0, empty.path(), dir_.path(), true, true, 1, 1},
        {"no folder", {}, 0, empty.path(), dir_.path(), true, false, 0, 0},
        {"database off", {}, 0, dir_.path(), dir_.path(), false, true, 0, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        mapdb::TempDir tmp;
        if (k.db.empty()) {
            mapdb::ByteWriter b;
            b.Raw(mapdb::VersionHeader());
            for (int32_t key : k.keys) {
                b.I32(key);
                b.U16(0);
                b.U32(static_cast<uint32_t>(b.size()));
            }
            mapdb::Bytes bytes = b.Take();
            bytes.resize(static_cast<size_t>(static_cast<long>(bytes.size()) + k.extraBytes), 0x11);
            mapdb::PackWriter w;
            w.Add("V02" + std::to_string(mesh) + ".dat", bytes);
            w.Write(tmp.path(), "VICINITY");
        }
        settings_.Use(k.db.empty() ? tmp.path() : k.db, k.sd, k.enableDB, k.enableSD);
        Probe v;
        unsigned long count = 99, mask = 99;
        EXPECT_EQ(k.status, v.SearchProc(&count, kMid.lat, kMid.lon, 100, 2, kAny, kAny));
        EXPECT_EQ(k.hits, count);
        EXPECT_EQ(k.status, v.SearchProc(&count, kMid.lat, kMid.lon, 2, kAny, kAny));
        EXPECT_EQ(static_cast<unsigned long>(k.status),
                  v.IsGenreEnabled(&mask, kMid.lat, kMid.lon, kAny, kAny, kAny));
        EXPECT_EQ(k.hits ? 1ul << 2 : 0u, mask);
    }
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
        unsigned long count = 0;
        EXPECT_EQ(1, v.SearchProc(&count, c.lat, c.lon, r, g1, g2, g3));
        EXPECT_EQ(Expected(pois, c, r, g1, g2, g3), v.Hits());
    }
}

}  // namespace
