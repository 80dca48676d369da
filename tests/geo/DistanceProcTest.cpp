// Distance and direction: hand-worked values for the boundaries and deliberate quirks of the
// integer family in all its forms, exact values of the floating family across Japan, the
// stored table entries, and a property test of the integer family against a great circle.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <tuple>

#include "SearchProc.h"

namespace {

constexpr int kDeg = 360000;     // 1/100 arc-second per degree
constexpr int kDeg256 = 921600;  // 1/256 arc-second per degree
constexpr int kLat = 35 * kDeg;  // 12600000; cosine table row 150 (val_cos4 = 8191)
constexpr int kLon = 139 * kDeg;
constexpr unsigned long kUntouched = 0xDEAD;

using Result = std::tuple<unsigned long, unsigned long, unsigned long>;  // status, dist, dir
using Points = std::array<int, 4>;                                       // lat1, lon1, lat2, lon2

enum Form { kUnsigned, kSigned, k256, kFloat, kAzi, kDirection };

Result Measure(Form form, Points p) {
    CDistanceProc c;
    unsigned long status = 0, dist = kUntouched, dir = kUntouched, *d = &dist, *a = &dir;
    auto u = [&](int i) { return static_cast<unsigned long>(p[i]); };
    if (form == kUnsigned) status = c.CalcDistance(d, a, u(0), u(1), u(2), u(3));
    if (form == kSigned) status = c.CalcDistance(d, a, p[0], p[1], p[2], p[3]);
    if (form == k256) status = c.CalcDistance256(d, a, p[0], p[1], p[2], p[3]);
    if (form == kFloat) status = c.CalcDistanceForm(d, a, p[0], p[1], p[2], p[3]);
    if (form == kAzi) status = c.CalcDistanceFormAzi(d, a, p[0], p[1], p[2], p[3]);
    if (form == kDirection) status = c.GetDirection(a, p[0], p[1], p[2], p[3]);
    return {status, dist, dir};
}

// Name, a point pair as offsets from (35 N, 139 E) in 1/100 arc-second, distance, direction.
using OffsetCase = std::tuple<const char*, Points, unsigned long, unsigned long>;

// Worked example, 90000 units north: lat' = v * 314159265 / 6480000 gives 610865237 and
// 615228560, dy = 4363323, S = dy^2 / 10^6 = 19038587, root 4363 (4363 * 4364 > S),
// 4363 * 6370 / 1000 = 27792. At 90001 units the far mode divides by 10^8: S = 190389,
// root 436, 436 * 6370 / 100 = 27773. East: dx = 4363323 * 8191 / 10000 = 3573997,
// S = 12773454, root 3574 (3573 * 3574 < S) -> 22766; far: S = 127737, root 357 -> 22740.
// West-going pairs come from the mirrored runs.
const OffsetCase kIntegerCases[] = {
    {"EqualPoints", {0, 0, 0, 0}, 0, 0},
    {"NorthNear", {0, 0, 90000, 0}, 27792, 0},
    {"NorthFar", {0, 0, 90001, 0}, 27773, 0},
    {"EastNear", {0, 0, 0, 90000}, 22766, 90},
    {"EastFar", {0, 0, 0, 90001}, 22740, 90},
    // 100 units north: S = (4848^2 + 79^2) / 10^6 = 23, below 32768 so the root is taken
    // of 23 * 65536 = 1507328: 1228, (1228 + 127) >> 8 = 5, 5 * 6370 / 1000 = 31 m.
    // dxc = 97 * 8191 * 10 / 1000 = 7945 against dy = 4848: the ratio truncates to 1, plus
    // the deliberate 1 reads val_atan1[2] = 1999, i.e. 1 degree.
    {"NearlyNorthEast", {0, 0, 100, 2}, 31, 1},
    {"NearlySouthEast", {100, 0, 0, 2}, 31, 179},
    // dxc = 3931 < dy: t = 0 + 1 reads val_atan1[1] = 999, 0 degrees; north-west wraps 360.
    {"NorthWestWrapsToZero", {0, 1, 100, 0}, 31, 0},
    {"SouthEastIsStraightSouth", {100, 0, 0, 1}, 31, 180},
    // dy = 97, dxc = 2133 * 8191 * 10 / 1000 = 174714, t = 1801 + 1: val_atan2[180] = 115297
    // gives 66 degrees where the smooth table would give 86.
    {"Irregular180", {0, 0, 2, 44}, 12, 66},
    // dy = 145, dxc = 655198, t = 4519: val_atan2[451] = 148627 gives 85 instead of 88.
    {"IrregularEntry451", {0, 0, 3, 165}, 38, 85},
    // dy = 48, dx = -198555: S = 39424, at least 32768, so the plain root 199 -> 1267 m;
    // dxc / dy is far above 5000: 89 degrees without a table.
    {"BeyondTheWideTable", {0, 0, 1, 5000}, 1267, 89},
    // S = 4290 = 65 * 66: the root of 4290 * 65536 is 16768 = 65 * 256 + 128, and
    // (16768 + 127) >> 8 = 65, so an exact half rounds down: 65 * 6370 / 1000 = 414.
    {"SmallRootHalfRoundsDown", {0, 0, 29, 1649}, 414, 88},
    // 60 degrees east: dx = 857759513, S = 7357513821, t = S >> 8 >= 2^22 so k = 8 and
    // x0 = 22528 + (t * 22 >> 13) = 99711, Newton: 86749, 85781; 85781 * 6370 / 100. An
    // exact root (85776) would give 5463931.
    {"TwoNewtonStepsOnly", {0, -kLon, 0, 60 * kDeg - kLon}, 5464249, 90}};

// Every integer form; the signed ones truncate toward zero, so the pair mirrored across the
// prime meridian has the same distance and the mirrored direction. 1/256" values are
// converted from multiples of 25 in 1/100", which convert exactly.
TEST(IntegerDistance, MatchesHandWorkedValuesInEveryFormAndMirrored) {
    for (const auto& [name, o, dist, dir] : kIntegerCases) {
        const Points p = {kLat + o[0], kLon + o[1], kLat + o[2], kLon + o[3]};
        for (Form f : {kUnsigned, kSigned, k256}) {
            if (f == k256 && (p[0] % 25 || p[1] % 25 || p[2] % 25 || p[3] % 25)) continue;
            auto cv = [&](int v) { return f == k256 ? v / 25 * 64 : v; };
            for (int m : {1, f == kUnsigned ? 1 : -1})  // the unsigned form is not mirrored
                EXPECT_EQ(Measure(f, {cv(p[0]), cv(m * p[1]), cv(p[2]), cv(m * p[3])}),
                          Result(1, dist, m > 0 ? dir : (360 - dir) % 360))
                    << name << " form " << f << " mirror " << m;
        }
    }
    // In 1/256": 230402 * 100 / 256 = 90000.78 -> 90000 (near); 230403 -> 90001 (far). -1
    // converts to 0, not -1, so a pair 65 apart is 25 units apart: dx = 1212 * 8191 / 10000
    // = 992, S = 0, distance 0 (rounding down to -1 would give S = 1, 6 m). -2 converts to 0
    // as well: the points coincide and the direction is north.
    const int lat = 35 * kDeg256;  // 32256000 -> 12600000 exactly
    const OffsetCase in256[] = {{"QuarterDegreeNear", {0, 0, 230402, 0}, 27792, 0},
                                {"QuarterDegreeFar", {0, 0, 230403, 0}, 27773, 0},
                                {"MinusOneBecomesZero", {0, -1, 0, 65}, 0, 90},
                                {"MinusOneBecomesZeroMirrored", {0, 1, 0, -65}, 0, 270},
                                {"SmallNegativeIsZero", {0, -2, 0, 0}, 0, 0}};
    for (const auto& [name, o, dist, dir] : in256)
        EXPECT_EQ(Measure(k256, {lat + o[0], o[1], lat + o[2], o[3]}), Result(1, dist, dir))
            << name;
}

// Outside the cosine table every form fails and leaves its outputs alone; the direction alone
// as well, which the combined call never reaches.
TEST(IntegerDistance, FailsOutsideTheCosineTableAndLeavesOutputsAlone) {
    const std::tuple<const char*, Form, int, int, bool> cases[] = {
        // name, form, lats, ok
        {"MeanExactly20", kUnsigned, 20 * kDeg, 20 * kDeg, true},
        {"MeanJustBelow20", kUnsigned, 20 * kDeg, 20 * kDeg - 1, false},
        {"MeanJustBelow49.1", kUnsigned, 17676000, 17675999, true},
        {"Mean49.1", kUnsigned, 17676000, 17676000, false},
        {"OnlyTheMeanCounts", kUnsigned, 70 * kDeg, 0, true},
        {"SignedMean49.1", kSigned, 17676000, 17676000, false},
        // A negative sum wraps above the bound in the unsigned comparison.
        {"SignedSouth", kSigned, -kLat, -kLat, false},
        {"SignedSumExactly20", kSigned, -1, 40 * kDeg + 1, true},
        {"DirectionMean49.1", kDirection, 17676000, 17676000, false},
        {"DirectionSumExactly20", kDirection, -1, 40 * kDeg + 1, true},
        // 49.1 degrees is 45250560 in 1/256", converting to 17676000.
        {"In256Mean49.1", k256, 45250560, 45250560, false},
        {"In256JustBelow20", k256, 20 * kDeg256, 20 * kDeg256 - 1, false}};
    for (auto [name, form, lat1, lat2, ok] : cases) {
        const auto [status, dist, dir] = Measure(form, {lat1, 0, lat2, 500});
        EXPECT_EQ(status, ok ? 1u : 0u) << name;
        EXPECT_EQ(ok, dir != kUntouched) << name;
        EXPECT_EQ(ok && form != kDirection, dist != kUntouched) << name;
    }
}

TEST(FloatingDistance, MatchesExactValuesNearAndAcrossJapan) {
    // In 1/256". Long pairs are where the flattening term weighs kilometres: with its sign
    // or either of its inner signs flipped, Tokyo-Sapporo reads 834610 or 834614 m.
    const int lat = 35 * kDeg256, lon = 139 * kDeg256, d = kDeg256;
    const struct {
        const char* name;
        Points p;
        unsigned long formDist, formDir, aziDist, aziDir;
    } cases[] = {
        // One-degree steps: the plain form's angle has no cosine (one degree each way is 45);
        // the azimuth form gives the great circle's start, leaving "east" north of east.
        {"North", {lat, lon, lat + d, lon}, 110949, 0, 111197, 0},
        {"East", {lat, lon, lat, lon + d}, 91287, 90, 91287, 89},
        {"South", {lat, lon, lat - d, lon}, 110931, 180, 111185, 180},
        {"West", {lat, lon, lat, lon - d}, 91287, 270, 91287, 270},
        {"NorthEast", {lat, lon, lat + d, lon + d}, 143321, 45, 143513, 38},
        {"SouthEast", {lat, lon, lat - d, lon + d}, 144012, 134, 144208, 140},
        {"SouthWest", {lat, lon, lat - d, lon - d}, 144012, 225, 144208, 219},
        {"NorthWest", {lat, lon, lat + d, lon - d}, 143321, 314, 143513, 321},
        {"TokyoSapporo", {32883610, 128809267, 39691469, 130269082}, 831358, 12, 832986, 8},
        {"TokyoNaha", {32883610, 128809267, 24156979, 117668966}, 1558442, 231, 1560199, 230},
        {"WakkanaiNaha", {41854464, 130565837, 24156979, 117668966}, 2469444, 216, 2473515, 215},
        {"SapporoFukuoka", {39691469, 130269082, 30956544, 120195072}, 1418925, 229, 1420547, 225},
        // The azimuth's denominator is 0 on the equator: set to 90 and 270 (not 269).
        {"EquatorEast", {0, lon, 0, 140 * d}, 111319, 90, 111319, 90},
        {"EquatorWest", {0, lon, 0, 138 * d}, 111319, 270, 111319, 270},
        {"EqualPoints", {lat, lon, lat, lon}, 0, 0, 0, 0},
        // Never fails, even where the integer family has no table row.
        {"FarNorth", {60 * d, lon, 61 * d, lon}, 111420, 0, 111511, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(Measure(kFloat, c.p), Result(1, c.formDist, c.formDir)) << c.name;
        EXPECT_EQ(Measure(kAzi, c.p), Result(1, c.aziDist, c.aziDir)) << c.name;
    }
}

TEST(DistanceTables, KeepTheirTruncatedFirstRowsAndStoredExceptions) {
    // cos 20.1 deg = 0.939094...: rounding would give 9391. The atan entries the integer cases
    // read (the truncated 999 of atan 0.01, 1999, and the irregular 180 and 451) are checked there.
    const std::tuple<const int*, int, int> rows[] = {
        {val_cos4, 0, 9396},     {val_cos4, 1, 9390},   {val_cos4, 2, 9384},
        {val_cos4, 298, 6456},   {val_cos4, 301, 0},    {val_cos5, 0, 93969},
        {val_cos5, 2, 93849},    {val_cos5, 301, 0},    {val_atan1, 200, 110714},
        {val_atan2, 1, 9966},    {val_atan2, 2, 19739}, {val_atan2, 375, 154415},
        {val_atan2, 500, 155079}};
    for (auto [table, index, value] : rows) EXPECT_EQ(table[index], value) << index;
}

// Values far outside any map: every call returns 0 or 1 (the floating family always 1) with a
// direction below 360, and the sanitizer build checks that no signed overflow or bad shift
// happens on the way.
TEST(IntegerDistance, ExtremeCoordinatesAreAnsweredWithoutOverflow) {
    const int values[] = {INT32_MIN, -kLat, -1, 0, 1, kLat, 70 * kDeg, INT32_MAX};
    for (int a : values)
        for (int b : values)
            for (Form f : {kUnsigned, kSigned, k256, kFloat, kAzi})
                for (const Points& p : {Points{kLat, a, b, b}, Points{a, b, b, a}}) {
                    const auto [status, dist, dir] = Measure(f, p);
                    EXPECT_TRUE(status == 1 ? dir < 360 : status == 0 && f < kFloat)
                        << a << " " << b << " form " << f;
                }
}

// Distance, relative 0.25%: cosine taken a tenth of a degree low (0.19%) and truncated (0.02%),
// radius 6370 km (0.02%), flat projection (0.02%); absolute, the root rounded to 6.37 m (near)
// or 63.7 m (far) units: 5 m and 40 m. Direction, 3.2 degrees over 1 km: the deliberate + 1
// (0.58), wide-table steps (1.15), whole degrees (1), mean-latitude bearing (0.36). Ratios that
// read the irregular entries 180 and 451 are left to the exact tests.
TEST(DistanceProperty, IntegerFamilyAgreesWithTheGreatCircle) {
    const double kPi = 3.14159265358979323846, kMeanRadius = 6371008.8;  // metres
    auto rad = [&](int v) { return v / 360000.0 * kPi / 180; };
    std::mt19937 rng(20240601);
    auto pick = [&](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo / 25, hi / 25)(rng) * 25;
    };
    int checked = 0;
    for (int i = 0; i < 4000; ++i) {
        const int range = i % 2 ? kDeg / 4 : kDeg;
        const int la1 = pick(24 * kDeg, 46 * kDeg), lo1 = pick(122 * kDeg, 146 * kDeg);
        const int la2 = la1 + pick(-range, range), lo2 = lo1 + pick(-range, range);
        SCOPED_TRACE(testing::Message() << la1 << "," << lo1 << " -> " << la2 << "," << lo2);
        const Result u = Measure(kUnsigned, {la1, lo1, la2, lo2});
        const auto [status, dist, dir] = u;
        ASSERT_EQ(status, 1u);
        EXPECT_EQ(Measure(kSigned, {la1, lo1, la2, lo2}), u);
        EXPECT_EQ(Measure(k256, {la1 / 25 * 64, lo1 / 25 * 64, la2 / 25 * 64, lo2 / 25 * 64}), u);

        const double a1 = rad(la1), b1 = rad(lo1), a2 = rad(la2), b2 = rad(lo2);
        const double s1 = std::sin((a2 - a1) / 2), s2 = std::sin((b2 - b1) / 2);
        const double ref =
            2 * kMeanRadius * std::asin(std::sqrt(s1 * s1 + std::cos(a1) * std::cos(a2) * s2 * s2));
        const bool far = std::abs(la1 - la2) > 90000 || std::abs(lo1 - lo2) > 90000;
        EXPECT_LE(std::fabs(dist - ref), 0.0025 * ref + (far ? 40 : 5)) << "ref " << ref;

        const double ratio = std::fabs((b2 - b1) * std::cos((a1 + a2) / 2) / (a2 - a1));
        if (ref < 1000 || (ratio > 17.5 && ratio < 18.6) || (ratio > 44.5 && ratio < 45.7))
            continue;
        const double y = std::sin(b2 - b1) * std::cos(a2);
        const double x =
            std::cos(a1) * std::sin(a2) - std::sin(a1) * std::cos(a2) * std::cos(b2 - b1);
        const double bearing = std::fmod(std::atan2(y, x) * 180 / kPi + 360, 360.0);
        const double gap = std::fmod(std::fabs(dir - bearing), 360.0);
        EXPECT_LE(std::min(gap, 360 - gap), 3.2) << "dir " << dir;
        ++checked;
    }
    EXPECT_GT(checked, 3500);
}

}  // namespace
