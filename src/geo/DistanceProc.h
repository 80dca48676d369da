// Distance in metres and direction in whole degrees between two points of Japan: a fast
// integer family (flat earth, cosine table, table arctangent, no floating point) and a
// floating family on a reduced-latitude ellipsoid. Arguments: lat1, lon1, lat2, lon2.
#pragma once

#include "foundation/Export.h"

// Units: the plain forms take 1/100 arc-second; the "256" and "Form" forms take 1/256
// arc-second. Every operation returns 1 on success and 0 on failure (outputs untouched);
// only the integer family fails, for a mean latitude outside [20.0, 49.1) degrees.
//
// Thread safety: the class has no state; any number of threads may use one object at once.
class SP_EXPORT CDistanceProc {
public:
    CDistanceProc();
    virtual ~CDistanceProc();

    // Integer family, 1/100 arc-second.
    unsigned long GetDistance(unsigned long* dist, unsigned long lat1, unsigned long lon1,
                              unsigned long lat2, unsigned long lon2);
    unsigned long GetDistance(unsigned long* dist, int lat1, int lon1, int lat2, int lon2);
    unsigned long GetDirection(unsigned long* dir, unsigned long lat1, unsigned long lon1,
                               unsigned long lat2, unsigned long lon2);
    unsigned long GetDirection(unsigned long* dir, int lat1, int lon1, int lat2, int lon2);
    // Distance, then direction if the distance succeeded.
    unsigned long CalcDistance(unsigned long* dist, unsigned long* dir, unsigned long lat1,
                               unsigned long lon1, unsigned long lat2, unsigned long lon2);
    unsigned long CalcDistance(unsigned long* dist, unsigned long* dir, int lat1, int lon1,
                               int lat2, int lon2);

    // Integer family, 1/256 arc-second (converted to 1/100 arc-second first).
    unsigned long GetDistance256(unsigned long* dist, int lat1, int lon1, int lat2, int lon2);
    unsigned long GetDirection256(unsigned long* dir, int lat1, int lon1, int lat2, int lon2);
    unsigned long CalcDistance256(unsigned long* dist, unsigned long* dir, int lat1, int lon1,
                                  int lat2, int lon2);

    // Floating family, 1/256 arc-second; always returns 1.
    unsigned long CalcDistanceForm(unsigned long* dist, unsigned long* dir, int lat1, int lon1,
                                   int lat2, int lon2);
    // Plain spherical arc on the reduced latitudes and the forward azimuth; 0 and 0 for
    // equal points.
    unsigned long CalcDistanceFormAzi(unsigned long* dist, unsigned long* dir, int lat1, int lon1,
                                      int lat2, int lon2);
};

// cos(20.0 + 0.1 i degrees) x 10^4 and x 10^5 for i = 0..300, then 0 (truncated).
extern SP_EXPORT const int val_cos4[302];
extern SP_EXPORT const int val_cos5[302];
// atan(i / 100) and atan(i / 10) in radians x 10^5 (truncated).
extern SP_EXPORT const int val_atan1[201];
extern SP_EXPORT const int val_atan2[501];
