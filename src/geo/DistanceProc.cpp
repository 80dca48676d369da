// Distance and direction between two coordinates. The integer family is exact 64-bit
// integer arithmetic on the cosine and arctangent tables (it runs once per candidate in the
// vicinity search); the floating family follows the reduced-latitude ellipsoid formulas.
#include "geo/DistanceProc.h"

#include <cmath>
#include <cstdint>

namespace {

// Two points further apart than this (0.25 degree in 1/100 arc-second) on either axis use
// the far mode: the sum of squares is scaled down 100 times more, so the root steps by
// 63.7 m instead of 6.37 m and stays where the root's first guess is good.
constexpr int64_t kNearLimit = 90000;
constexpr uint32_t kLastTableIndex = 290;  // mean latitude below 49.1 degrees

// --- Integer family ----------------------------------------------------------------------

// Cosine table row of the mean latitude in tenths of a degree from 20.0 degrees. The sum
// wraps as 32-bit coordinates do; a mean below 20 degrees wraps the index above the limit.
bool TableIndex(uint32_t lat1, uint32_t lat2, uint32_t* k) {
    const uint32_t index = (lat1 + lat2) / 72000u - 200u;
    if (index > kLastTableIndex) return false;
    *k = index;
    return true;
}

// The same with signed division (truncating toward zero); the bound check stays unsigned.
bool TableIndex(int32_t lat1, int32_t lat2, uint32_t* k) {
    const int32_t sum =
        static_cast<int32_t>(static_cast<uint32_t>(lat1) + static_cast<uint32_t>(lat2));
    const uint32_t index = static_cast<uint32_t>(sum / 72000 - 200);
    if (index > kLastTableIndex) return false;
    *k = index;
    return true;
}

bool IsFar(int64_t lat1, int64_t lon1, int64_t lat2, int64_t lon2) {
    const int64_t dlat = lat1 > lat2 ? lat1 - lat2 : lat2 - lat1;
    const int64_t dlon = lon1 > lon2 ? lon1 - lon2 : lon2 - lon1;
    return dlat > kNearLimit || dlon > kNearLimit;
}

// 1/100 arc-second to radians x 10^9 (pi as 314159265 / 10^8), truncating toward zero.
inline int64_t ToRadE9(int64_t value) {
    return value * 314159265 / 6480000;
}

// Square root of a 64-bit value: a piecewise-linear first guess, two Newton steps and a
// final step up when X > x(x + 1). That is the rounded root up to about 5 * 10^9; beyond,
// two steps do not converge and the result is kept as it is, deliberately (distances over
// tens of degrees carry that error).
uint64_t ISqrt(uint64_t x) {
    const uint64_t t = x >> 8;
    int k = 8;
    uint64_t bound = 0x400000;
    while (bound > t && k > 0) {
        bound >>= 2;
        --k;
    }
    uint64_t r = (uint64_t{88} << k) + ((t * 22) >> (k + 5));
    r = (x / r + r) >> 1;
    r = (x / r + r) >> 1;
    if (x > r * (r + 1)) ++r;
    return r;
}

// Rounded root; small values are scaled by 2^16 first so that the rounding keeps 8 bits.
uint64_t RoundedRoot(uint64_t s) {
    if (s == 0) return 0;
    if (s < 32768) return (ISqrt(s << 16) + 127) >> 8;
    return ISqrt(s);
}

// Arguments in 1/100 arc-second; k from TableIndex. Squares wrap modulo 2^64 for
// coordinates far outside any map, as the 64-bit arithmetic they are defined in does.
unsigned long FlatDistance(uint32_t k, bool far, int64_t lat1, int64_t lon1, int64_t lat2,
                           int64_t lon2) {
    const int64_t dx = (ToRadE9(lon1) - ToRadE9(lon2)) * val_cos4[k] / 10000;
    const int64_t dy = ToRadE9(lat1) - ToRadE9(lat2);
    const uint64_t ux = static_cast<uint64_t>(dx);
    const uint64_t uy = static_cast<uint64_t>(dy);
    const uint64_t sum = ux * ux + uy * uy;
    const uint64_t r = RoundedRoot(far ? sum / 100000000 : sum / 1000000);
    // Earth radius 6370 km; r is radians x 10^6 (near) or x 10^5 (far).
    return static_cast<unsigned long>(far ? r * 6370 / 100 : r * 6370 / 1000);
}

int64_t TableAngleDegrees(int64_t radE5) {
    return radE5 * 4000 / 6981317;
}

// Clockwise from north in whole degrees.
unsigned long FlatDirection(uint32_t k, int64_t lat1, int64_t lon1, int64_t lat2, int64_t lon2) {
    const int64_t y1 = ToRadE9(lat1), x1 = ToRadE9(lon1);
    const int64_t y2 = ToRadE9(lat2), x2 = ToRadE9(lon2);
    if (y1 == y2 && x1 == x2) return 0;
    const int64_t dxc = (x2 - x1) * val_cos4[k] * 10 / 1000;  // east-west, x cos x 100
    const int64_t dy = y2 - y1;
    if (dxc == 0) return dy > 0 ? 0 : 180;
    if (dy == 0) return dxc > 0 ? 90 : 270;
    const int64_t q = dxc / dy;
    const int64_t t = (q < 0 ? -q : q) + 1;  // the + 1 is deliberate: stored angles assume it
    int64_t a;
    if (t <= 200) {
        a = TableAngleDegrees(val_atan1[t]);
    } else if (t <= 5000) {
        a = TableAngleDegrees(val_atan2[t / 10]);
    } else {
        a = 89;
    }
    int64_t deg;
    if (dxc > 0) {
        deg = dy > 0 ? a : 180 - a;
    } else {
        deg = dy < 0 ? 180 + a : 360 - a;
    }
    return static_cast<unsigned long>(deg % 360);
}

// 1/256 arc-second to 1/100 arc-second, truncating toward zero.
inline int32_t From256(int value) {
    return static_cast<int32_t>(static_cast<int64_t>(value) * 100 / 256);
}

// --- Floating family ---------------------------------------------------------------------

constexpr double kPi = 3.1415926535;
constexpr double kEarthRadiusKm = 6378.136;
constexpr double kReducedLatitude = 0.996647139540455;
constexpr double kFlattening = 0.0004191075574431193;

double ToRadians(int value) {
    return value * 0.00390625 * 100 / 360000 * kPi / 180;
}

// Truncation to an unsigned value that saturates: NaN (two equal points give 0 / 0 in the
// ellipsoid formula) and negatives give 0.
unsigned long Truncate(double v) {
    if (!(v > 0)) return 0;
    if (v >= 4294967295.0) return 4294967295UL;
    return static_cast<unsigned long>(v);
}

struct Reduced {
    double b1, l1, b2, l2;
};

Reduced Reduce(int lat1, int lon1, int lat2, int lon2) {
    return {std::atan(std::tan(ToRadians(lat1)) * kReducedLatitude), ToRadians(lon1),
            std::atan(std::tan(ToRadians(lat2)) * kReducedLatitude), ToRadians(lon2)};
}

double CentralAngle(const Reduced& p) {
    return std::acos(std::cos(p.b1) * std::cos(p.b2) * std::cos(p.l1 - p.l2) +
                     std::sin(p.b1) * std::sin(p.b2));
}

// Quadrant corrections shared by both floating directions (a in degrees).
double PlaceInQuadrant(const Reduced& p, double a) {
    if (a < 0) a += 360;
    if (p.l1 > p.l2 && p.b2 < p.b1 && 0 <= a && a < 180) {
        a += 180;
    } else if (p.l1 < p.l2 && p.b2 < p.b1 && 180 < a && a <= 360) {
        a -= 180;
    }
    return a;
}

}  // namespace

CDistanceProc::CDistanceProc() = default;

CDistanceProc::~CDistanceProc() = default;

unsigned long CDistanceProc::GetDistance(unsigned long* dist, unsigned long lat1,
                                         unsigned long lon1, unsigned long lat2,
                                         unsigned long lon2) {
    // Coordinates are 32-bit values; the index arithmetic wraps as theirs does.
    const uint32_t la1 = static_cast<uint32_t>(lat1), lo1 = static_cast<uint32_t>(lon1);
    const uint32_t la2 = static_cast<uint32_t>(lat2), lo2 = static_cast<uint32_t>(lon2);
    uint32_t k;
    if (!TableIndex(la1, la2, &k)) return 0;
    *dist = FlatDistance(k, IsFar(la1, lo1, la2, lo2), la1, lo1, la2, lo2);
    return 1;
}

unsigned long CDistanceProc::GetDistance(unsigned long* dist, int lat1, int lon1, int lat2,
                                         int lon2) {
    uint32_t k;
    if (!TableIndex(static_cast<int32_t>(lat1), static_cast<int32_t>(lat2), &k)) return 0;
    *dist = FlatDistance(k, IsFar(lat1, lon1, lat2, lon2), lat1, lon1, lat2, lon2);
    return 1;
}

unsigned long CDistanceProc::GetDirection(unsigned long* dir, unsigned long lat1,
                                          unsigned long lon1, unsigned long lat2,
                                          unsigned long lon2) {
    const uint32_t la1 = static_cast<uint32_t>(lat1), lo1 = static_cast<uint32_t>(lon1);
    const uint32_t la2 = static_cast<uint32_t>(lat2), lo2 = static_cast<uint32_t>(lon2);
    uint32_t k;
    if (!TableIndex(la1, la2, &k)) return 0;
    *dir = FlatDirection(k, la1, lo1, la2, lo2);
    return 1;
}

unsigned long CDistanceProc::GetDirection(unsigned long* dir, int lat1, int lon1, int lat2,
                                          int lon2) {
    uint32_t k;
    if (!TableIndex(static_cast<int32_t>(lat1), static_cast<int32_t>(lat2), &k)) return 0;
    *dir = FlatDirection(k, lat1, lon1, lat2, lon2);
    return 1;
}

unsigned long CDistanceProc::CalcDistance(unsigned long* dist, unsigned long* dir,
                                          unsigned long lat1, unsigned long lon1,
                                          unsigned long lat2, unsigned long lon2) {
    if (!GetDistance(dist, lat1, lon1, lat2, lon2)) return 0;
    return GetDirection(dir, lat1, lon1, lat2, lon2);
}

unsigned long CDistanceProc::CalcDistance(unsigned long* dist, unsigned long* dir, int lat1,
                                          int lon1, int lat2, int lon2) {
    if (!GetDistance(dist, lat1, lon1, lat2, lon2)) return 0;
    return GetDirection(dir, lat1, lon1, lat2, lon2);
}

unsigned long CDistanceProc::GetDistance256(unsigned long* dist, int lat1, int lon1, int lat2,
                                            int lon2) {
    return GetDistance(dist, From256(lat1), From256(lon1), From256(lat2), From256(lon2));
}

unsigned long CDistanceProc::GetDirection256(unsigned long* dir, int lat1, int lon1, int lat2,
                                             int lon2) {
    return GetDirection(dir, From256(lat1), From256(lon1), From256(lat2), From256(lon2));
}

unsigned long CDistanceProc::CalcDistance256(unsigned long* dist, unsigned long* dir, int lat1,
                                             int lon1, int lat2, int lon2) {
    if (!GetDistance256(dist, lat1, lon1, lat2, lon2)) return 0;
    return GetDirection256(dir, lat1, lon1, lat2, lon2);
}

unsigned long CDistanceProc::CalcDistanceForm(unsigned long* dist, unsigned long* dir, int lat1,
                                              int lon1, int lat2, int lon2) {
    const Reduced p = Reduce(lat1, lon1, lat2, lon2);
    const double sigma = CentralAngle(p);
    const double s = std::sin(sigma);
    const double sum = std::sin(p.b1) + std::sin(p.b2);
    const double diff = std::sin(p.b1) - std::sin(p.b2);
    const double c = std::cos(sigma / 2);
    const double h = std::sin(sigma / 2);
    const double d =
        (sigma + ((s - sigma) * (sum * sum) / (c * c) - (sigma + s) * (diff * diff) / (h * h)) *
                     kFlattening) *
        kEarthRadiusKm;
    *dist = Truncate(d * 1000);

    double a = std::atan((p.l1 - p.l2) / (p.b1 - p.b2)) * 180 / kPi;
    if (p.b1 == p.b2) {
        if (p.l1 < p.l2) a = 90;
        if (p.l1 > p.l2) a = 270;
    }
    if (p.l1 == p.l2) {
        if (p.b1 < p.b2) a = 0;
        if (p.b2 < p.b1) a = 180;
    }
    *dir = Truncate(PlaceInQuadrant(p, a));
    return 1;
}

unsigned long CDistanceProc::CalcDistanceFormAzi(unsigned long* dist, unsigned long* dir, int lat1,
                                                 int lon1, int lat2, int lon2) {
    if (lat1 == lat2 && lon1 == lon2) {
        *dist = 0;
        *dir = 0;
        return 1;
    }
    const Reduced p = Reduce(lat1, lon1, lat2, lon2);
    // No flattening term here, deliberately: a plain arc on the reduced latitudes.
    *dist = Truncate(CentralAngle(p) * kEarthRadiusKm * 1000);

    const double num = std::cos(p.b2) * std::sin(p.l2 - p.l1);
    const double den =
        std::sin(p.b2) * std::cos(p.b1) - std::sin(p.b1) * std::cos(p.b2) * std::cos(p.l2 - p.l1);
    double a = std::atan(num / den) * 180 / kPi;
    if (den == 0) {
        if (p.l1 < p.l2) a = 90;
        if (p.l1 > p.l2) a = 270;
    }
    if (num == 0) {
        if (p.b1 < p.b2) a = 0;
        if (p.b2 < p.b1) a = 180;
    }
    *dir = Truncate(PlaceInQuadrant(p, a));
    return 1;
}
