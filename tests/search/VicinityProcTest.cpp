// Vicinity search against a brute-force model: mesh conversion, squares across mesh borders
// and corners, radius cap and widening, distance order, result windows, genre check masks and
// damaged mesh files.
#include <cmath>
#include <tuple>

#include "support/Poi.h"

namespace {

using mapdb::VicinityPoi;
using namespace testsupport;
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

using Hit = std::tuple<uint32_t, uint32_t, uint32_t>;  // distance, id, direction

// Brute force: every POI of the class whose cell centre (cells of 0.3" x 0.45") lies within
// the radius (capped at 50 km), by (distance, id).
std::vector<Hit> Expected(const std::vector<VicinityPoi>& pois, Point c, int radius,
                          unsigned long g1, unsigned long g2 = kAny, uint32_t skip = 0) {
    std::vector<Hit> out;
    for (const VicinityPoi& p : pois) {
        unsigned long d, dir;
        if (radius >= 0 && p.genre1 == g1 && (g2 == kAny || p.genre2 == g2) && p.id != skip &&
            CDistanceProc().CalcDistance(&d, &dir, c.lat / 10ul, c.lon / 10ul,
                                         p.latMs / 10 - p.latMs / 10 % 30 + 15,
                                         p.lonMs / 10 - p.lonMs / 10 % 45 + 22) &&
            d <= static_cast<unsigned long>(std::min(radius, 5000)) * 10) {
            out.push_back({static_cast<uint32_t>(d), p.id, static_cast<uint32_t>(dir)});
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

struct Probe : CVicinityProc {
    // The radius search (radius 0: the widening one) and its hits; checks the status and count.
    std::vector<Hit> Search(Point c, int radius, unsigned long g1, unsigned long g2 = kAny) {
        unsigned long count = 12345;
        EXPECT_EQ(1, radius ? SearchProc(&count, c.lat, c.lon, radius, g1, g2, kAny)
                            : SearchProc(&count, c.lat, c.lon, g1, g2, kAny));
        std::vector<Hit> out;
        for (unsigned long i = 0; i < m_Array.GetCount(); ++i)
            out.push_back({m_Array.GetAt(i)->dwDistance, m_Array.GetAt(i)->dwRefID,
                           m_Array.GetAt(i)->dwDirection});
        EXPECT_EQ(out.size(), count);
        return out;
    }
};

struct VicinityTest : SettingsTest {
    void Build(const std::vector<VicinityPoi>& pois) {
        mapdb::WriteVicinity(dir_.path(), pois), settings_.Use(dir_.path());
    }
    mapdb::TempDir dir_;
};

TEST_F(VicinityTest, HitsMatchTheModelAcrossMeshBordersAndCorners) {
    // The square of radius 74 is 80 rows high: from row 7920 it ends exactly on row 0 of the
    // northern mesh, where POI 999999 lies within the radius.
    const Point border{kSouth + kMeshLat - 80 * 300 + 290, kMid.lon};
    const Point neCorner{kSouth + kMeshLat - 900 * 32, kWest + kMeshLon - 100 * 40};
    const Point grid[] = {kMid,
                          {kMid.lat, kWest + 400 * 40},
                          {kMid.lat, kWest + kMeshLon - 400 * 40},
                          {kSouth + 500 * 32, kMid.lon},
                          {kSouth + kMeshLat - 500 * 32, kMid.lon},
                          {kSouth + 300 * 32, kWest + 700 * 40},
                          neCorner,
                          {kSouth + kMeshLat - 10, kWest + 10},
                          {kSouth, kWest + kMeshLon - 10},
                          border};  // edges, corners
    std::vector<VicinityPoi> pois = {At(999999, {kSouth + kMeshLat + 150, border.lon}, 5, 1)};
    for (const Point& c : grid) {
        for (double n = -2600; n <= 2600; n += 130)
            for (double e = -2600; e <= 2600; e += 130)
                pois.push_back(At(uint32_t(pois.size()), Offset(c, n, e), 5, pois.size() % 3,
                                  pois.size() % 5));
    }
    // Class 3 east and west of `far` for the radius cap; class 2 north and south of the
    // middle: a square wider than a mesh takes one neighbour per axis, the southern one first,
    // so POI 11 (40 km north) lies beyond the scan; class 4 rows far south of a point near the
    // north edge; class 9 two hits stored farther first.
    const Point far{kSouth + kMeshLat * 3 / 4, kWest + kMeshLon * 3 / 4};
    const Point north{kSouth + kMeshLat - 300 * 32, kMid.lon};
    uint32_t id = 1;
    for (double e : {-70000.0, -51000.0, -49500.0, -30000.0, 100.0, 20000.0, 49000.0})
        pois.push_back(At(id++, Offset(far, 0, e), 3));
    for (double n : {-40000.0, -10000.0, 10000.0, 40000.0})
        pois.push_back(At(id++, Offset(kMid, n, 0), 2));
    for (uint32_t i = 0; i < 9; ++i) pois.push_back(At(100 + i, {kSouth + 400, north.lon}, 4));
    pois.push_back(At(77, Offset(north, 800, 0), 4));
    pois.push_back(At(1000001, Offset(kMid, -300, 0), 9));
    pois.push_back(At(1000002, kMid, 9));
    // Classes 7, 8 and 10: POIs within 2, 5 and 20 km and beyond, for the widening search.
    const double bands[][2] = {{0, 1900}, {2100, 4900}, {15500, 19900}, {20500, 24000}};
    const int rings[][4] = {{200, 50, 0, 5}, {199, 0, 30, 5}, {20, 30, 40, 50}};
    for (int k = 0; k < 3; ++k)
        for (int b = 0; b < 4; ++b)
            for (int i = 0; i < rings[k][b]; ++i) {
                double a = i * 2.39996,
                       d = bands[b][0] + (bands[b][1] - bands[b][0]) * (i + 0.5) / rings[k][b];
                pois.push_back(
                    At(id++, Offset(kMid, d * std::sin(a), d * std::cos(a)), k ? 6 + k : 10));
            }
    Build(pois);
    // hits: exact when the model alone is not the point
    struct Row {
        Point c;
        int radius;
        unsigned long g1, hits, skip;
    } rows[] = {{far, 5000, 3, 5, 0},       {far, 5001, 3, 5, 0},
                {far, 0x7fffffff, 3, 5, 0}, {far, -100, 3, 0, 0},
                {kMid, 5000, 2, 3, 11},     {north, 300, 4, 1, 0},
                {kMid, 400, 9, 2, 0},       {kMid, 0, 9, 2, 0},
                {kMid, 200, 6, 0, 0},       {kMid, 0, 10, 200, 0},
                {kMid, 0, 7, 229, 0},       {kMid, 0, 8, 90, 0}};  // widening stops at 200
    Probe v;
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message() << r.c.lat << "/" << r.c.lon << " class " << r.g1);
        std::vector<Hit> want = Expected(pois, r.c, r.radius ? r.radius : 2000, r.g1, kAny, r.skip);
        if (r.radius == 0) want.resize(std::min<size_t>(want.size(), r.hits));
        EXPECT_EQ(r.hits, want.size());
        EXPECT_EQ(want, v.Search(r.c, r.radius, r.g1));
    }
    const std::vector<Hit> e = Expected(pois, border, 74, 5);
    EXPECT_TRUE(std::any_of(e.begin(), e.end(), [](auto& h) { return std::get<1>(h) == 999999; }));
    for (const Point& c : grid) {
        for (unsigned long g2 : {kAny, 1ul}) {
            SCOPED_TRACE(testing::Message() << c.lat << "/" << c.lon << " level 2 " << g2);
            const int radius = c.lat == border.lat ? 74 : 200;
            const std::vector<Hit> want = Expected(pois, c, radius, 5, g2);
            ASSERT_GT(want.size(), 10u);
            EXPECT_EQ(want, v.Search(c, radius, 5, g2));
            // Windows of the hits: clamped at the end, slots past it left alone.
            const unsigned long n = want.size(), windows[][2] = {{0, 0},     {2, 3}, {n - 3, 5},
                                                                 {n - 1, 1}, {n, 1}, {n + 1, 2}};
            for (const auto& w : windows) {
                std::vector<unsigned long> ids(4, 7), expect(4, 7);
                for (unsigned long k = w[0]; k < std::min(n, w[0] + w[1]); ++k)
                    expect[k - w[0]] = std::get<1>(want[k]);
                EXPECT_EQ(1u, v.GetID(ids.data(), w[0], w[1]));
                EXPECT_EQ(expect, ids) << w[0] << "+" << w[1];
                CLocationData out[4] = {{}};
                out[0].dwDistance = 7;
                EXPECT_EQ(1u, v.GetList(out, w[0], w[1]));
                EXPECT_EQ(w[0] < n && w[1] ? std::get<0>(want[w[0]]) : 7, out[0].dwDistance);
            }
        }
    }
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
    // Level 2 plays no part in the second; 9 lies at 21 km; 40 and 255 do not fit; the centre is
    // too far; 32 does not fit; no such file.
    const unsigned long A = kAny,
                        cases[][3] = {
                            {A, A, classes},  {A, 4, classes}, {3, A, 1ul << 4 | 1ul << 7},
                            {0, A, 0},        {20, A, 0},      {3, 7, 1ul << 31},
                            {3, 4, 1ul << 6}, {5, A, 0}};
    for (const auto& k : cases) {
        CVicinityProc v;
        unsigned long mask = 0xFFFF;
        EXPECT_EQ(1u, v.IsGenreEnabled(&mask, c.lat, c.lon, k[0], k[1], kAny));
        EXPECT_EQ(k[2], mask) << k[0] << "/" << k[1];
    }
}

TEST_F(VicinityTest, DamagedFilesAndSwitches) {
    int mesh, y, x;
    CVicinityProc().ConvLatLngtoMeche(&mesh, &y, &x, kMid.lat, kMid.lon);
    const int32_t here = y * 10000 + x;
    Build({At(1, kMid, 2)});
    mapdb::TempDir empty;
    // keys: written as the class-2 file (none: the folder as given); extraBytes: a partial record
    // at the end (negative: cut the header); sw: bit 0 the database, bit 1 the SD copy
    struct Case {
        std::vector<int32_t> keys;
        std::string db, sd;
        int extraBytes, sw, status;
        unsigned long hits;
    };
    // Partial last record; short header; unsorted; ...; the SD copy; not enabled; database off.
    const std::string e = empty.path(), d = dir_.path();
    const Case cases[] = {{{here - 1, here, here + 1, here + 10000}, "", "", 0, 1, 1, 4},
                          {{here, here + 1}, "", "", 7, 1, 1, 2},
                          {{}, "", "", -9, 1, 1, 0},
                          {{here + 30000000, here, here + 1}, "", "", 0, 1, 1, 0},
                          {{INT32_MIN, here + 5000, here, INT32_MAX}, "", "", 0, 1, 1, 1},
                          {{}, e, d, 0, 3, 1, 1},
                          {{}, e, d, 0, 1, 0, 0},
                          {{}, d, d, 0, 2, 0, 0}};
    for (const Case& k : cases) {
        SCOPED_TRACE(&k - cases);
        mapdb::TempDir tmp;
        if (k.db.empty()) {
            mapdb::ByteWriter b;
            b.Raw(mapdb::VersionHeader());
            for (int32_t key : k.keys) b.I32(key), b.U16(0), b.U32(static_cast<uint32_t>(b.size()));
            mapdb::Bytes bytes = b.Take();
            bytes.resize(static_cast<size_t>(static_cast<long>(bytes.size()) + k.extraBytes), 0x11);
            WritePack(tmp.path(), "VICINITY", {{"V02" + std::to_string(mesh) + ".dat", bytes}});
        }
        settings_.Use(k.db.empty() ? tmp.path() : k.db, k.sd, k.sw & 1, k.sw & 2);
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

}  // namespace
