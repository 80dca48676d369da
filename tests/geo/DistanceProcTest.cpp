// Distance and direction: exact values worked out by hand for the boundaries and deliberate
// quirks of the integer family, the floating family's due directions, and a property test of
// both families against an independent great-circle reference.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>

#include "SearchProc.h"

namespace {

constexpr int kDeg = 360000;     // 1/100 arc-second per degree
constexpr int kDeg256 = 921600;  // 1/256 arc-second per degree
constexpr int kLat = 35 * kDeg;  // 12600000; cosine table row 150 (val_cos4 = 8191)
constexpr int kLon = 139 * kDeg;
constexpr unsigned long kUntouched = 0xDEAD;

struct Result {
    unsigned long status, dist, dir;
};

Result Unsigned(int lat1, int lon1, int lat2, int lon2) {
    CDistanceProc p;
    Result r{0, kUntouched, kUntouched};
    r.status = p.CalcDistance(&r.dist, &r.dir, static_cast<unsigned long>(lat1),
                              static_cast<unsigned long>(lon1), static_cast<unsigned long>(lat2),
                              static_cast<unsigned long>(lon2));
    return r;
}

Result Signed(int lat1, int lon1, int lat2, int lon2) {
    CDistanceProc p;
    Result r{0, kUntouched, kUntouched};
    r.status = p.CalcDistance(&r.dist, &r.dir, lat1, lon1, lat2, lon2);
    return r;
}

Result In256(int lat1, int lon1, int lat2, int lon2) {
    CDistanceProc p;
    Result r{0, kUntouched, kUntouched};
    r.status = p.CalcDistance256(&r.dist, &r.dir, lat1, lon1, lat2, lon2);
    return r;
}

Result Form(int lat1, int lon1, int lat2, int lon2) {
    CDistanceProc p;
    Result r{0, kUntouched, kUntouched};
    r.status = p.CalcDistanceForm(&r.dist, &r.dir, lat1, lon1, lat2, lon2);
    return r;
}

Result Azi(int lat1, int lon1, int lat2, int lon2) {
    CDistanceProc p;
    Result r{0, kUntouched, kUntouched};
    r.status = p.CalcDistanceFormAzi(&r.dist, &r.dir, lat1, lon1, lat2, lon2);
    return r;
}

// A point pair as offsets from (35 N, 139 E) in 1/100 arc-second, with the expected result.
struct OffsetCase {
    const char* name;
    int dlat1, dlon1, dlat2, dlon2;
    unsigned long dist, dir;
};

// Worked example, 90000 units north: lat' = v * 314159265 / 6480000 gives 610865237 and
// 615228560, dy = 4363323, S = dy^2 / 10^6 = 19038587, root 4363 (4363 * 4364 > S),
// 4363 * 6370 / 1000 = 27792. At 90001 units the far mode divides by 10^8: S = 190389,
// root 436, 436 * 6370 / 100 = 27773. East: dx = 4363323 * 8191 / 10000 = 3573997,
// S = 12773454, root 3574 (3573 * 3574 < S) -> 22766; far: S = 127737, root 357 -> 22740.
const OffsetCase kIntegerCases[] = {
    {"EqualPoints", 0, 0, 0, 0, 0, 0},
    {"NorthNear", 0, 0, 90000, 0, 27792, 0},
    {"NorthFar", 0, 0, 90001, 0, 27773, 0},
    {"EastNear", 0, 0, 0, 90000, 22766, 90},
    {"EastFar", 0, 0, 0, 90001, 22740, 90},
    {"SouthNear", 90000, 0, 0, 0, 27792, 180},
    {"WestNear", 0, 90000, 0, 0, 22766, 270},
    // 100 units north: S = (4848^2 + 79^2) / 10^6 = 23, below 32768 so the root is taken
    // of 23 * 65536 = 1507328: 1228, (1228 + 127) >> 8 = 5, 5 * 6370 / 1000 = 31 m.
    // dy = 4848 (100 units of latitude), dxc = 97 * 8191 * 10 / 1000 = 7945: the ratio
    // truncates to 1, plus the deliberate 1 gives val_atan1[2] = 1999, i.e. 1 degree.
    {"NearlyNorthEast", 0, 0, 100, 2, 31, 1},
    {"NearlySouthWest", 100, 2, 0, 0, 31, 181},
    {"NearlyNorthWest", 0, 2, 100, 0, 31, 359},
    {"NearlySouthEast", 100, 0, 0, 2, 31, 179},
    // dxc = 3931 < dy: t = 0 + 1 reads val_atan1[1] = 999, 0 degrees; north-west wraps 360.
    {"NorthWestWrapsToZero", 0, 1, 100, 0, 31, 0},
    {"SouthEastIsStraightSouth", 100, 0, 0, 1, 31, 180},
    // dy = 97, dxc = 2133 * 8191 * 10 / 1000 = 174714, t = 1801 + 1: val_atan2[180] = 115297
    // gives 66 degrees where the smooth table would give 86.
    {"IrregularEntry180", 0, 0, 2, 44, 12, 66},
    {"IrregularEntry180SouthWest", 2, 44, 0, 0, 12, 246},
    {"IrregularEntry180NorthWest", 0, 44, 2, 0, 12, 294},
    {"IrregularEntry180SouthEast", 2, 0, 0, 44, 12, 114},
    // dy = 145, dxc = 655198, t = 4519: val_atan2[451] = 148627 gives 85 instead of 88.
    {"IrregularEntry451", 0, 0, 3, 165, 38, 85},
    // S = 4290 = 65 * 66: the root of 4290 * 65536 is 16768 = 65 * 256 + 128, and
    // (16768 + 127) >> 8 = 65, so an exact half rounds down: 65 * 6370 / 1000 = 414.
    {"SmallRootHalfRoundsDown", 0, 0, 29, 1649, 414, 88},
};

TEST(IntegerDistance, MatchesHandWorkedValuesInEveryForm) {
    for (const OffsetCase& c : kIntegerCases) {
        SCOPED_TRACE(c.name);
        const int la1 = kLat + c.dlat1, lo1 = kLon + c.dlon1;
        const int la2 = kLat + c.dlat2, lo2 = kLon + c.dlon2;
        const Result u = Unsigned(la1, lo1, la2, lo2);
        EXPECT_EQ(u.status, 1u);
        EXPECT_EQ(u.dist, c.dist);
        EXPECT_EQ(u.dir, c.dir);
        const Result s = Signed(la1, lo1, la2, lo2);
        EXPECT_EQ(s.status, 1u);
        EXPECT_EQ(s.dist, c.dist);
        EXPECT_EQ(s.dir, c.dir);
        // Multiples of 25 convert exactly: 1/100" * 256 / 100 = 1/256".
        if (la1 % 25 == 0 && lo1 % 25 == 0 && la2 % 25 == 0 && lo2 % 25 == 0) {
            const Result w = In256(la1 / 25 * 64, lo1 / 25 * 64, la2 / 25 * 64, lo2 / 25 * 64);
            EXPECT_EQ(w.status, 1u);
            EXPECT_EQ(w.dist, c.dist);
            EXPECT_EQ(w.dir, c.dir);
        }
        // Separate calls give the same as the combined one.
        CDistanceProc p;
        unsigned long dist = kUntouched, dir = kUntouched;
        EXPECT_EQ(p.GetDistance(&dist, la1, lo1, la2, lo2), 1u);
        EXPECT_EQ(p.GetDirection(&dir, la1, lo1, la2, lo2), 1u);
        EXPECT_EQ(dist, c.dist);
        EXPECT_EQ(dir, c.dir);
    }
}

TEST(IntegerDistance, NegativeLongitudesMirrorTheEasternResults) {
    // The int forms truncate toward zero, so a point pair mirrored across the prime
    // meridian has the same distance and the mirrored direction.
    for (const OffsetCase& c : kIntegerCases) {
        SCOPED_TRACE(c.name);
        const int la1 = kLat + c.dlat1, lo1 = -(kLon + c.dlon1);
        const int la2 = kLat + c.dlat2, lo2 = -(kLon + c.dlon2);
        const Result s = Signed(la1, lo1, la2, lo2);
        EXPECT_EQ(s.status, 1u);
        EXPECT_EQ(s.dist, c.dist);
        EXPECT_EQ(s.dir, (360 - c.dir) % 360);
        if (la1 % 25 == 0 && lo1 % 25 == 0 && la2 % 25 == 0 && lo2 % 25 == 0) {
            const Result w = In256(la1 / 25 * 64, lo1 / 25 * 64, la2 / 25 * 64, lo2 / 25 * 64);
            EXPECT_EQ(w.dist, c.dist);
            EXPECT_EQ(w.dir, (360 - c.dir) % 360);
        }
    }
}

TEST(IntegerDistance, FailsOutsideTheCosineTableAndLeavesOutputsAlone) {
    struct Case {
        const char* name;
        int lat1, lat2;
        bool ok;
    };
    const Case cases[] = {
        {"MeanExactly20", 20 * kDeg, 20 * kDeg, true},
        {"MeanJustBelow20", 20 * kDeg, 20 * kDeg - 1, false},
        {"Mean19.99", 7196400, 7196400, false},
        {"MeanJustBelow49.1", 17676000, 17675999, true},
        {"Mean49.1", 17676000, 17676000, false},
        {"OnlyTheMeanCounts", 70 * kDeg, 0, true},
        {"FarNorth", 60 * kDeg, 60 * kDeg, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (int form = 0; form < 2; ++form) {
            const Result r = form == 0 ? Unsigned(c.lat1, kLon, c.lat2, kLon + 500)
                                       : Signed(c.lat1, kLon, c.lat2, kLon + 500);
            EXPECT_EQ(r.status, c.ok ? 1u : 0u) << "form " << form;
            if (!c.ok) {
                EXPECT_EQ(r.dist, kUntouched);
                EXPECT_EQ(r.dir, kUntouched);
            }
            CDistanceProc p;
            unsigned long dir = kUntouched;
            EXPECT_EQ(p.GetDirection(&dir, c.lat1, kLon, c.lat2, kLon + 500), c.ok ? 1u : 0u);
        }
    }
    // Southern latitudes give a negative sum: the signed index wraps above the bound.
    EXPECT_EQ(Signed(-kLat, kLon, -kLat, kLon).status, 0u);
    // Sum 14400000 exactly once the signed sum is taken: mean 20.0 degrees.
    EXPECT_EQ(Signed(-1, kLon, 20 * 2 * kDeg + 1, kLon).status, 1u);
    // The same bounds in 1/256": 49.1 degrees is 45250560, converting to 17676000.
    EXPECT_EQ(In256(45250560, 0, 45250560, 0).status, 0u);
    EXPECT_EQ(In256(45250560, 0, 45250559, 0).status, 1u);
    EXPECT_EQ(In256(20 * kDeg256, 0, 20 * kDeg256 - 1, 0).status, 0u);
}

TEST(IntegerDistance, LongDistancesKeepTheTwoStepSquareRoot) {
    // 60 degrees of longitude at 35 N: dx = 1047197550 * 8191 / 10000 = 857759513,
    // S = 7357513821, t = S >> 8 = 28740288 >= 2^22 so k = 8 and
    // x0 = 22528 + (t * 22 >> 13) = 99711, Newton: 86749, 85781; 85781 * 6370 / 100.
    // An exact root (85776) would give 5463931.
    const Result r = Unsigned(kLat, 0, kLat, 60 * kDeg);
    EXPECT_EQ(r.status, 1u);
    EXPECT_EQ(r.dist, 5464249u);
    EXPECT_EQ(r.dir, 90u);
}

TEST(IntegerDistance, The256FormsTruncateTowardZero) {
    struct Case {
        const char* name;
        int lat1, lon1, lat2, lon2;
        unsigned long dist, dir;
    };
    const int lat = 35 * kDeg256;  // 32256000 -> 12600000 exactly
    const Case cases[] = {
        // 230402 * 100 / 256 = 90000.78 -> 90000 (near); 230403 -> 90001 (far).
        {"QuarterDegreeNear", lat, 0, lat + 230402, 0, 27792, 0},
        {"QuarterDegreeFar", lat, 0, lat + 230403, 0, 27773, 0},
        // -1 converts to 0, not -1, so the pair is 25 units apart: dx = 1212 * 8191 / 10000
        // = 992, S = 0, distance 0. Rounding down to -1 would give dx = 1032, S = 1, 6 m.
        {"MinusOneBecomesZero", lat, -1, lat, 65, 0, 90},
        {"MinusOneBecomesZeroMirrored", lat, 1, lat, -65, 0, 270},
        // -2 converts to 0 as well: the points coincide and the direction is north, where
        // rounding down to -1 would make the second point lie east (90).
        {"SmallNegativeIsZero", lat, -2, lat, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Result r = In256(c.lat1, c.lon1, c.lat2, c.lon2);
        EXPECT_EQ(r.status, 1u);
        EXPECT_EQ(r.dist, c.dist);
        EXPECT_EQ(r.dir, c.dir);
        CDistanceProc p;
        unsigned long dist = kUntouched, dir = kUntouched;
        EXPECT_EQ(p.GetDistance256(&dist, c.lat1, c.lon1, c.lat2, c.lon2), 1u);
        EXPECT_EQ(p.GetDirection256(&dir, c.lat1, c.lon1, c.lat2, c.lon2), 1u);
        EXPECT_EQ(dist, c.dist);
        EXPECT_EQ(dir, c.dir);
    }
}

TEST(FloatingDistance, DueAndDiagonalDirections) {
    // One degree steps from (35 N, 139 E) in 1/256". The plain form measures the angle on
    // (longitude, reduced latitude) without a cosine, so one degree each way is 45; the
    // azimuth form gives the great circle's start, which leaves "east" north of east.
    struct Case {
        const char* name;
        int dlat, dlon;
        unsigned long formDist, formDir, aziDist, aziDir;
    };
    const Case cases[] = {
        {"North", 1, 0, 110949, 0, 111197, 0},
        {"East", 0, 1, 91287, 90, 91287, 89},
        {"South", -1, 0, 110931, 180, 111185, 180},
        {"West", 0, -1, 91287, 270, 91287, 270},
        {"NorthEast", 1, 1, 143321, 45, 143513, 38},
        {"SouthEast", -1, 1, 144012, 134, 144208, 140},
        {"SouthWest", -1, -1, 144012, 225, 144208, 219},
        {"NorthWest", 1, -1, 143321, 314, 143513, 321},
    };
    const int lat = 35 * kDeg256, lon = 139 * kDeg256;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const int lat2 = lat + c.dlat * kDeg256, lon2 = lon + c.dlon * kDeg256;
        const Result f = Form(lat, lon, lat2, lon2);
        EXPECT_EQ(f.status, 1u);
        EXPECT_EQ(f.dist, c.formDist);
        EXPECT_EQ(f.dir, c.formDir);
        const Result a = Azi(lat, lon, lat2, lon2);
        EXPECT_EQ(a.status, 1u);
        EXPECT_EQ(a.dist, c.aziDist);
        EXPECT_EQ(a.dir, c.aziDir);
    }
}

TEST(FloatingDistance, EqualPointsAndTheEquatorAreExact) {
    const int lat = 35 * kDeg256, lon = 139 * kDeg256;
    for (const auto& r : {Azi(lat, lon, lat, lon), Form(lat, lon, lat, lon)}) {
        EXPECT_EQ(r.status, 1u);
        EXPECT_EQ(r.dist, 0u);
        EXPECT_EQ(r.dir, 0u);
    }
    // On the equator the azimuth's denominator is exactly 0: east and west are set to 90 and
    // 270 (the arctangent alone would truncate west to 269).
    const int equator[][2] = {{140, 90}, {138, 270}};
    for (const auto& e : equator) {
        SCOPED_TRACE(e[0]);
        const Result a = Azi(0, lon, 0, e[0] * kDeg256);
        EXPECT_EQ(a.dist, 111319u);
        EXPECT_EQ(a.dir, static_cast<unsigned long>(e[1]));
        const Result f = Form(0, lon, 0, e[0] * kDeg256);
        EXPECT_EQ(f.dist, 111319u);
        EXPECT_EQ(f.dir, static_cast<unsigned long>(e[1]));
    }
    // The floating family never fails, even where the integer family has no table row.
    EXPECT_EQ(Form(60 * kDeg256, lon, 61 * kDeg256, lon).status, 1u);
    EXPECT_EQ(Azi(-kDeg256, lon, kDeg256, lon).status, 1u);
}

TEST(IntegerDistance, ExtremeCoordinatesAreAnsweredWithoutOverflow) {
    // Values far outside any map: every call returns 0 or 1 and the sanitizer build checks
    // that no signed overflow or bad shift happens on the way.
    const int ints[] = {INT32_MIN, -kLat, -1, 0, 1, kLat, 70 * kDeg, INT32_MAX};
    const unsigned long uns[] = {0, 1, 12600000, 0x7fffffffUL, 0x80000000UL, 0xffffffffUL};
    CDistanceProc p;
    unsigned long dist = 0, dir = 0;
    for (int a : ints) {
        for (int b : ints) {
            SCOPED_TRACE(std::to_string(a) + " " + std::to_string(b));
            EXPECT_LE(p.CalcDistance(&dist, &dir, kLat, a, b, b), 1u);
            EXPECT_LE(p.CalcDistance(&dist, &dir, a, b, kLat, a), 1u);
            EXPECT_LE(p.CalcDistance256(&dist, &dir, a, b, b, a), 1u);
            EXPECT_EQ(p.CalcDistanceForm(&dist, &dir, a, b, b, a), 1u);
            EXPECT_LT(dir, 360u);
            EXPECT_EQ(p.CalcDistanceFormAzi(&dist, &dir, a, b, b, a), 1u);
            EXPECT_LT(dir, 360u);
        }
    }
    for (unsigned long a : uns) {
        for (unsigned long b : uns) {
            SCOPED_TRACE(std::to_string(a) + " " + std::to_string(b));
            EXPECT_LE(p.CalcDistance(&dist, &dir, 12600000UL, a, 12600000UL, b), 1u);
            EXPECT_LE(p.CalcDistance(&dist, &dir, a, b, b, a), 1u);
        }
    }
}

// ---- Property test against an independent great-circle reference -------------------------

constexpr double kPi = 3.14159265358979323846;
constexpr double kMeanRadius = 6371008.8;  // metres

struct Geo {
    double lat, lon;  // radians
};

Geo FromBase(int lat, int lon) {
    return {lat / 360000.0 * kPi / 180, lon / 360000.0 * kPi / 180};
}

double Haversine(Geo a, Geo b) {
    const double s1 = std::sin((b.lat - a.lat) / 2), s2 = std::sin((b.lon - a.lon) / 2);
    const double h = s1 * s1 + std::cos(a.lat) * std::cos(b.lat) * s2 * s2;
    return 2 * kMeanRadius * std::asin(std::sqrt(h));
}

double BearingDegrees(Geo a, Geo b) {
    const double dl = b.lon - a.lon;
    const double y = std::sin(dl) * std::cos(b.lat);
    const double x =
        std::cos(a.lat) * std::sin(b.lat) - std::sin(a.lat) * std::cos(b.lat) * std::cos(dl);
    const double deg = std::atan2(y, x) * 180 / kPi;
    return deg < 0 ? deg + 360 : deg;
}

double AngleGap(double a, double b) {
    const double d = std::fmod(std::fabs(a - b), 360.0);
    return d > 180 ? 360 - d : d;
}

// Points across Japan (24-46 N, 122-146 E) on a grid of 25 units so that every pair is exact
// in 1/256" as well.
class PairMaker {
public:
    explicit PairMaker(unsigned seed) : rng_(seed) {}
    int Lat() { return Pick(24 * kDeg, 46 * kDeg); }
    int Lon() { return Pick(122 * kDeg, 146 * kDeg); }
    int Offset(int range) { return Pick(-range, range); }

private:
    int Pick(int lo, int hi) {
        return std::uniform_int_distribution<int>(lo / 25, hi / 25)(rng_) * 25;
    }
    std::mt19937 rng_;
};

TEST(DistanceProperty, IntegerFamilyAgreesWithTheGreatCircle) {
    // Distance bound, relative 0.25%: the cosine of the mean latitude is taken at the tenth
    // of a degree below it (at most tan 47 * 0.1 deg = 0.19% on the east-west part) and
    // truncated to 4 digits (0.02%), the radius is 6370 km against 6371.0 (0.02%), and the
    // flat projection over at most 1.5 degrees adds under 0.02%. Absolute: the root is rounded
    // to one unit of 6.37 m (near) or 63.7 m (far) before scaling and the metres truncated,
    // so 5 m near and 40 m far.
    // Direction bound, 3.2 degrees for pairs over 1 km: the deliberate + 1 in the ratio
    // (0.58), the 0.1 steps of the wide table (1.15), truncation to whole degrees (1), the
    // mean-latitude bearing against the great circle's start over 1 degree (0.36), the
    // cosine step (0.05) and the grid (0.02). Ratios that read the irregular entries 180 and
    // 451 are left to the exact tests.
    PairMaker make(20240601);
    int checked = 0;
    for (int i = 0; i < 4000; ++i) {
        const int range = i % 2 ? kDeg / 4 : kDeg;
        const int la1 = make.Lat(), lo1 = make.Lon();
        const int la2 = la1 + make.Offset(range), lo2 = lo1 + make.Offset(range);
        SCOPED_TRACE(std::to_string(la1) + "," + std::to_string(lo1) + " -> " +
                     std::to_string(la2) + "," + std::to_string(lo2));
        const Result u = Unsigned(la1, lo1, la2, lo2);
        ASSERT_EQ(u.status, 1u);
        const Result s = Signed(la1, lo1, la2, lo2);
        const Result w = In256(la1 / 25 * 64, lo1 / 25 * 64, la2 / 25 * 64, lo2 / 25 * 64);
        EXPECT_EQ(s.dist, u.dist);
        EXPECT_EQ(s.dir, u.dir);
        EXPECT_EQ(w.dist, u.dist);
        EXPECT_EQ(w.dir, u.dir);

        const Geo a = FromBase(la1, lo1), b = FromBase(la2, lo2);
        const double ref = Haversine(a, b);
        const bool far = std::abs(la1 - la2) > 90000 || std::abs(lo1 - lo2) > 90000;
        EXPECT_LE(std::fabs(u.dist - ref), 0.0025 * ref + (far ? 40 : 5)) << "ref " << ref;

        const double ratio =
            std::fabs((b.lon - a.lon) * std::cos((a.lat + b.lat) / 2) / (b.lat - a.lat));
        const bool irregular = (ratio > 17.5 && ratio < 18.6) || (ratio > 44.5 && ratio < 45.7);
        if (ref >= 1000 && !irregular) {
            EXPECT_LE(AngleGap(u.dir, BearingDegrees(a, b)), 3.2) << "dir " << u.dir;
            ++checked;
        }
    }
    EXPECT_GT(checked, 3500);
}

TEST(DistanceProperty, FloatingFamilyAgreesWithTheGreatCircle) {
    // Distance bound, relative 0.5%: the ellipsoid (a = 6378.136 km) has a meridian radius of
    // 6346-6368 km and a prime-vertical radius of 6382-6389 km between 24 and 46 N, that is
    // -0.39% to +0.28% against the 6371.0 km sphere; both forms stay inside that band, plus
    // 1 m of truncation. Azimuth bound, 1.5 degrees: truncation (1) and the reduced latitude
    // in place of the geodetic one (under 0.2). The plain form's direction is the angle of
    // (longitude, latitude) differences, checked against that same angle.
    PairMaker make(7);
    for (int i = 0; i < 4000; ++i) {
        int la1 = make.Lat(), lo1 = make.Lon(), la2, lo2;
        if (i % 2) {  // anywhere in Japan
            la2 = make.Lat();
            lo2 = make.Lon();
        } else {
            la2 = la1 + make.Offset(kDeg / 4);
            lo2 = lo1 + make.Offset(kDeg / 4);
        }
        if (la1 == la2 || lo1 == lo2) continue;
        SCOPED_TRACE(std::to_string(la1) + "," + std::to_string(lo1) + " -> " +
                     std::to_string(la2) + "," + std::to_string(lo2));
        const int a1 = la1 / 25 * 64, o1 = lo1 / 25 * 64, a2 = la2 / 25 * 64, o2 = lo2 / 25 * 64;
        const Geo a = FromBase(la1, lo1), b = FromBase(la2, lo2);
        const double ref = Haversine(a, b);

        const Result f = Form(a1, o1, a2, o2);
        const Result z = Azi(a1, o1, a2, o2);
        EXPECT_LE(std::fabs(f.dist - ref), 0.005 * ref + 1) << "ref " << ref;
        EXPECT_LE(std::fabs(z.dist - ref), 0.005 * ref + 1) << "ref " << ref;
        if (ref < 1000) continue;
        EXPECT_LE(AngleGap(z.dir, BearingDegrees(a, b)), 1.5) << "dir " << z.dir;
        double plain = std::atan2(b.lon - a.lon, b.lat - a.lat) * 180 / kPi;
        if (plain < 0) plain += 360;
        EXPECT_LE(AngleGap(f.dir, plain), 1.5) << "dir " << f.dir;
    }
}

}  // namespace
