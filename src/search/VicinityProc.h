// CVicinityProc: the POIs of a genre class around a point, within a radius, sorted by distance
// then id; and which genres have any POI within 20 km. Reads the pack folder "VICINITY", one
// file "V%02d%04d.dat" per genre class and primary mesh, opened and closed within every call.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "geo/DistanceProc.h"
#include "search/ArrayData.h"
#include "search/LocationData.h"
#include "search/SearchBaseDataProc.h"

// Positions are latitude and longitude in milliseconds of arc; radii are in units of 10 m.
// Mesh coordinates: a primary mesh (40' by 1 degree, code = 2 latitude digits and 2 longitude
// digits) and inside it a row y and a column x (0-7999), whose decimal digits are the nested
// sub-mesh indices. A file record's key is y * 10000 + x.
//
// Thread safety: one thread at a time per object; objects are independent. Reads the settings
// globals (data paths and switches).
class SP_EXPORT CVicinityProc : public CSearchBaseDataProc, public CDistanceProc {
public:
    CVicinityProc();
    virtual ~CVicinityProc();

    // Hits of class genre1 (levels 2 and 3: 255 = any) within `radius` (capped at 5000) of
    // the point, sorted. 1 and the hit count, or 0.
    int SearchProc(unsigned long* count, unsigned long lat, unsigned long lng, int radius,
                   unsigned long genre1, unsigned long genre2, unsigned long genre3);
    // As above with the radius widened through 2, 5, 10, 15 and 20 km until 200 hits.
    int SearchProc(unsigned long* count, unsigned long lat, unsigned long lng, unsigned long genre1,
                   unsigned long genre2, unsigned long genre3);
    // Fills out[0 .. count-1] with hits start .. start+count-1 (clamped), distance and
    // direction in dwDistance and dwDirection. Always 1.
    unsigned long GetList(CLocationData* out, unsigned long start, unsigned long count);
    // The POI ids of the same window, up to the end of the list. Always 1.
    unsigned long GetID(unsigned long* ids, unsigned long start, unsigned long count);
    // Bit c of *mask is set when genre code c has a POI within 20 km: the classes (genre1
    // 255), the level-2 codes of class genre1 (genre2 255), or the level-3 codes of genre1 and
    // genre2. 1 on success.
    unsigned long IsGenreEnabled(unsigned long* mask, unsigned long lat, unsigned long lng,
                                 unsigned long genre1, unsigned long genre2, unsigned long genre3);
    // Releases the result pages; the hit count becomes 0.
    void FlushBuf();
    // Sorts the first n hits by (distance, id) with a comb sort; no search calls it.
    void CombSort(int n);

    // The steps of a search, for hosts that drive them directly.

    // Scans the meshes touched by the square of half-width radius * 80 / 74 cells around
    // (mesh, y, x) into the result list; writes the hit count. 0 when the folder cannot be
    // opened or the list overflows.
    int SearchData(unsigned long* count, int mesh, int y, int x, int radius);
    // Step search of the selected mesh file for the key row * 10000 + max(column, 0): *offset
    // is the byte offset of the scan start, or -1 past the end. 0 on a short read.
    int GetSearchPoint(int* offset, int row, int column);
    // Scans the selected mesh file from `offset`, adding hits to `array`; 0 when an add fails.
    int DataCheck(CArrayData<CLocationData>* array, int mesh, int y, int x, int offset);
    // Sorts hits lo .. hi (inclusive) by (distance, id).
    void DataSort(int lo, int hi);
    // One genre class of IsGenreEnabled over the meshes of the square around (mesh, y, x).
    int IsGenreEnabledSub(unsigned long* mask, int mesh, int y, int x);
    // The scan of one mesh file for IsGenreEnabled, from `offset`.
    int GenreEnabledCheck(unsigned long* mask, int mesh, int y, int x, int offset);
    // Position (milliseconds of arc) to primary mesh code, row and column.
    void ConvLatLngtoMeche(int* mesh, int* y, int* x, unsigned long lat, unsigned long lng);
    // South-west corner of the cell `key` of `mesh`, in 1/100 arc-second (deliberately not the
    // milliseconds of the other direction).
    void ConvMechetoLatLng(unsigned long* lat, unsigned long* lng, unsigned long mesh,
                           unsigned long key);

protected:
    bool m_blStop;                       // ends the current file's scan; nothing sets it
    CArrayData<CLocationData>* m_pList;  // the result array while a search runs
    CArrayData<CLocationData> m_Array;   // hits: id in dwRefID, distance, direction
    uint32_t m_dwLon;                    // centre, milliseconds of arc
    uint32_t m_dwLat;
    uint32_t m_dwGenre1;     // class 0-31 (255: all, genre check only)
    uint32_t m_dwGenre2;     // 255 = any
    uint32_t m_dwGenre3;     // 255 = any
    int32_t m_lRadius;       // units of 10 m
    int32_t m_lHalfWidth;    // half side of the search square in cells
    uint32_t m_dwCheckMode;  // 1, 2 or 3 during IsGenreEnabled

private:
    // Selects "V%02d%04d.dat" of `genre` and `mesh` in the open folder; false when absent.
    SP_LOCAL bool SelectMeshFile(unsigned long genre, int mesh);
    // Stores the centre and filter, then runs the search over the radii in turn until enough
    // hits are found.
    SP_LOCAL int Search(unsigned long* count, unsigned long lat, unsigned long lng,
                        unsigned long genre1, unsigned long genre2, unsigned long genre3,
                        const int* radii, int nRadii);
    // Visits the one, two or four meshes of the square, calling the scan of each file.
    template <typename Scan>
    SP_LOCAL int VisitMeshes(unsigned long genre, int mesh, int y, int x, Scan scan);
    // Reads the records of the selected file from `offset` up to the end key of the square
    // around (y, x), handing each (key, level 2, level 3, id) inside the columns to `visit`.
    template <typename Visit>
    SP_LOCAL int ScanFile(int y, int x, int offset, Visit visit);
};
