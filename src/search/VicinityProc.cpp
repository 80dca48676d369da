// Vicinity search: mesh conversion, the choice of one, two or four mesh files, the step search
// for the scan start, chunked record scans with the radius test, and the distance sort.
#include "search/VicinityProc.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <iterator>
#include <memory>
#include <new>

#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/TableFile.h"
#include "search/DistanceSort.h"
#include "search/GenreFilter.h"
#include "search/MeshGeometry.h"
#include "search/PoiPage.h"

namespace {

constexpr int kMaxRadius = 5000;  // 50 km
constexpr int kWideningRadii[] = {200, 500, 1000, 1500, 2000};
constexpr unsigned long kWantedHits = 200;  // the widening stops at this many
constexpr int kCheckRadius = 2000;          // genre check: 20 km
// Half side of the search square in cells: the radius in units of 10 m times 80 / 74.
constexpr long long kHalfWidthNum = 80;
constexpr long long kHalfWidthDen = 74;
constexpr int kCheckHalfWidth = static_cast<int>(kCheckRadius * kHalfWidthNum / kHalfWidthDen);
static_assert(kCheckHalfWidth == 2162, "the genre check's square");
constexpr int kClasses = 32;  // genre classes, one bit each in a mask
constexpr unsigned long kAny = genre::kAny;

constexpr long long kMeshCells = mesh::kCells;
constexpr unsigned long kRecordSize = 10;
constexpr unsigned long kKeySize = 4;        // the leading key of a record
constexpr unsigned long kChunkSize = 10000;  // 1000 records per read
constexpr int kInsertionSpan = 10;           // spans up to this are insertion-sorted

enum Visit { kFail = 0, kNext = 1, kEndFile = 2 };

// The vicinity rule: levels 2 and 3 are compared independently, each 255 matching any code.
// (Not the base data's filter, where the first wildcard also ends the comparison.)
bool LevelMatches(unsigned long want, unsigned long code) {
    return want == kAny || code == want;
}

// Half-width of the search square in cells, kept in range for any radius.
int32_t HalfWidthOf(int radius) {
    long long r = static_cast<long long>(radius) * kHalfWidthNum / kHalfWidthDen;
    return static_cast<int32_t>(std::clamp<long long>(r, INT_MIN, INT_MAX));
}

int ClampInt(long long v) {
    return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX));
}

// Hit order (distance, then id) over sort keys in a plain array.
struct SortKey {
    uint32_t dist;
    uint32_t id;
    uint32_t index;  // where the hit came from
};
using KeySeq = distance_sort::ArraySeq<SortKey, &SortKey::dist, &SortKey::id>;

// The hit records themselves (used when the key array cannot be allocated, and by CombSort).
struct RecordSeq {
    using Elem = CLocationData;
    CArrayData<CLocationData>* a;
    Elem Load(long i) const { return *a->GetAt(static_cast<unsigned long>(i)); }
    const Elem& At(long i) const { return *a->GetAt(static_cast<unsigned long>(i)); }
    void Store(long i, const Elem& e) { *a->GetAt(static_cast<unsigned long>(i)) = e; }
    void Swap(long i, long j) {
        a->Swap(static_cast<unsigned long>(i), static_cast<unsigned long>(j));
    }
    static bool Before(const CLocationData& a, const CLocationData& b) {
        return distance_sort::Before(a.dwDistance, a.dwRefID, b.dwDistance, b.dwRefID);
    }
};

}  // namespace

CVicinityProc::CVicinityProc()
    : m_blStop(false),
      m_pList(nullptr),
      m_dwLon(0),
      m_dwLat(0),
      m_dwGenre1(0),
      m_dwGenre2(0),
      m_dwGenre3(0),
      m_lRadius(0),
      m_lHalfWidth(0),
      m_dwCheckMode(0) {}

CVicinityProc::~CVicinityProc() {}

// ---- mesh coordinates ----

void CVicinityProc::ConvLatLngtoMeche(int* mesh, int* y, int* x, unsigned long lat,
                                      unsigned long lng) {
    // 32-bit arithmetic throughout, as coordinates are 32-bit values; a longitude west of the
    // mesh origin wraps, as it does on the unit.
    const uint32_t L = static_cast<uint32_t>(lat) / 10;
    const uint32_t G = static_cast<uint32_t>(lng) / 10 - mesh::kWestEdge;
    if (mesh != nullptr) *mesh = static_cast<int>(G / mesh::kWidth + (L / mesh::kHeight) * 100);
    if (y != nullptr)
        *y = static_cast<int>(mesh::NestedIndex(L % mesh::kHeight, mesh::kCellHeight));
    if (x != nullptr) *x = static_cast<int>(mesh::NestedIndex(G % mesh::kWidth, mesh::kCellWidth));
}

void CVicinityProc::ConvMechetoLatLng(unsigned long* lat, unsigned long* lng, unsigned long mesh,
                                      unsigned long key) {
    // Only the key's last eight digits count: four of the row, four of the column.
    const uint32_t row = static_cast<uint32_t>(key / 10000 % 10000);
    const uint32_t column = static_cast<uint32_t>(key % 10000);
    if (lat != nullptr) {
        *lat = (mesh / 100) * mesh::kHeight + mesh::NestedOffset(row, mesh::kCellHeight);
    }
    if (lng != nullptr) {
        *lng = mesh::kWestEdge + (mesh % 100) * mesh::kWidth +
               mesh::NestedOffset(column, mesh::kCellWidth);
    }
}

// ---- file access ----

bool CVicinityProc::SelectMeshFile(unsigned long genre, int mesh) {
    char name[40];
    int n = snprintf(name, sizeof(name), "V%02lu%04d.dat", genre, mesh);
    if (n <= 0 || n > 12) return false;  // no packed name is longer
    return OpenPackFile(name) != 0;
}

int CVicinityProc::GetSearchPoint(int* offset, int row, int column) {
    if (offset == nullptr) return 0;
    const unsigned long size = GetPackFileSize();
    const long long n = static_cast<long long>(table::EntryCount(size, kRecordSize));
    if (n == 0) {
        *offset = -1;
        return 1;
    }
    const long long target = static_cast<long long>(row) * mesh::kRowFactor + std::max(column, 0);
    long long s = 1;
    while (s * 2 <= n) s *= 2;
    long long i = s - 1;
    while (s != 0) {
        if (i < n) {
            unsigned char key[4];
            // Only the leading key of the record is read.
            if (ReadPackAt(table::EntryOffset(static_cast<uint64_t>(i), kRecordSize), kKeySize,
                           key) != kKeySize) {
                return 0;
            }
            s /= 2;
            if (target > bytes::ReadI32LE(key)) {
                i += s;
            } else {
                i -= s;
            }
        } else {
            s /= 2;
            i -= s;
        }
    }
    *offset =
        i < n ? static_cast<int>(table::EntryOffset(static_cast<uint64_t>(i), kRecordSize)) : -1;
    return 1;
}

template <typename Visit>
int CVicinityProc::ScanFile(int y, int x, int offset, Visit visit) {
    const unsigned long size = GetPackFileSize();
    if (offset < 0 || size <= static_cast<unsigned long>(offset)) return 1;
    const long long r = m_lHalfWidth;
    const long long xmin = std::max<long long>(x - r, 0);
    const long long xmax = std::min<long long>(x + r, kMeshCells - 1);
    const long long top = y + r >= kMeshCells ? kMeshCells - 1 : y + r;
    const long long endKey = top * mesh::kRowFactor + xmax;

    unsigned char chunk[kChunkSize];
    for (unsigned long pos = static_cast<unsigned long>(offset); pos < size; pos += kChunkSize) {
        const unsigned long want = std::min(kChunkSize, size - pos);
        const unsigned long got = ReadPackFile(chunk, pos, want);
        for (unsigned long at = 0; at + kRecordSize <= got; at += kRecordSize) {
            const unsigned char* rec = chunk + at;
            const int32_t key = bytes::ReadI32LE(rec);
            if (key > endKey || m_blStop) return 1;
            const long long column =
                key % mesh::kRowFactor;  // negative for a negative key: skipped
            if (column < xmin || column > xmax) continue;
            switch (visit(key, rec[4], rec[5], bytes::ReadU32LE(rec + 6))) {
                case kFail:
                    return 0;
                case kEndFile:
                    return 1;
                default:
                    break;
            }
        }
        if (got < want) return 1;  // a short read ends this file
    }
    return 1;
}

template <typename Scan>
int CVicinityProc::VisitMeshes(unsigned long genre, int mesh, int y, int x, Scan scan) {
    const long long r = m_lHalfWidth;
    // Start at the south-west mesh of the square; each step south or west shifts the row or
    // column by a mesh. A square wider than a mesh still takes one neighbour per axis.
    long long sw = mesh;
    long long sy = y;
    long long sx = x;
    bool northToo = false;
    bool eastToo = false;
    if (y - r < 0) {
        sw -= mesh::kNorthStep;
        sy += kMeshCells;
        northToo = true;
    } else if (y + r > kMeshCells - 1) {
        northToo = true;
    }
    if (x - r < 0) {
        sw -= mesh::kEastStep;
        sx += kMeshCells;
        eastToo = true;
    } else if (x + r > kMeshCells - 1) {
        eastToo = true;
    }
    struct Target {
        long long mesh, y, x;
        bool southRow;
    } targets[4];
    int n = 0;
    targets[n++] = {sw, sy, sx, true};
    if (northToo) targets[n++] = {sw + mesh::kNorthStep, sy - kMeshCells, sx, false};
    if (eastToo) targets[n++] = {sw + mesh::kEastStep, sy, sx - kMeshCells, true};
    if (northToo && eastToo)
        targets[n++] = {sw + mesh::kNorthStep + mesh::kEastStep, sy - kMeshCells, sx - kMeshCells,
                        false};

    for (int k = 0; k < n; ++k) {
        const Target& t = targets[k];
        const int m = ClampInt(t.mesh);
        if (!SelectMeshFile(genre, m)) continue;  // a missing mesh file is skipped
        int offset = static_cast<int>(table::kHeaderSize);
        if (t.southRow) {
            if (!GetSearchPoint(&offset, ClampInt(t.y - r), ClampInt(t.x - r))) continue;
            if (offset < 0) continue;
        }
        if (!scan(m, ClampInt(t.y), ClampInt(t.x), offset)) return 0;
    }
    return 1;
}

// ---- the search ----

void CVicinityProc::FlushBuf() {
    for (auto& block : m_Array.m_pBlock) {
        delete[] block;
        block = nullptr;
    }
    m_Array.dwCount = 0;
    m_Array.dwCapacity = 0;
}

int CVicinityProc::DataCheck(CArrayData<CLocationData>* array, int mesh, int y, int x, int offset) {
    if (array == nullptr) return 0;
    const unsigned long lat0 = m_dwLat / 10;
    const unsigned long lng0 = m_dwLon / 10;
    const long long reach = static_cast<long long>(m_lRadius) * 10;
    CLocationData hit;
    hit.FlushData();
    return ScanFile(y, x, offset, [&](int32_t key, uint8_t g2, uint8_t g3, uint32_t id) {
        if (!LevelMatches(m_dwGenre2, g2) || !LevelMatches(m_dwGenre3, g3)) return kNext;
        unsigned long lat;
        unsigned long lng;
        ConvMechetoLatLng(&lat, &lng, static_cast<unsigned long>(mesh),
                          static_cast<unsigned long>(key));
        unsigned long dist;
        unsigned long dir;
        // A point the distance table cannot measure (far outside Japan) is not a hit.
        if (!CalcDistance(&dist, &dir, lat0, lng0, lat + mesh::kCentreLat, lng + mesh::kCentreLng))
            return kNext;
        if (static_cast<long long>(dist) > reach) return kNext;
        hit.dwRefID = id;
        hit.dwDistance = static_cast<uint32_t>(dist);
        hit.dwDirection = static_cast<uint32_t>(dir);
        return array->Add(&hit) ? kNext : kFail;
    });
}

int CVicinityProc::SearchData(unsigned long* count, int mesh, int y, int x, int radius) {
    FlushBuf();
    m_blStop = false;
    m_lRadius = radius;
    m_lHalfWidth = HalfWidthOf(radius);
    m_pList = &m_Array;
    if (!IsDBEnabled() || !OpenDataFolder("VICINITY")) return 0;
    const int ok = VisitMeshes(m_dwGenre1, mesh, y, x, [this](int m, int yy, int xx, int off) {
        return DataCheck(m_pList, m, yy, xx, off);
    });
    ClosePackFolder();
    if (!ok) return 0;
    if (count != nullptr) *count = m_Array.GetCount();
    return 1;
}

int CVicinityProc::Search(unsigned long* count, unsigned long lat, unsigned long lng,
                          unsigned long genre1, unsigned long genre2, unsigned long genre3,
                          const int* radii, int nRadii) {
    if (count == nullptr) return 0;
    m_blCancel = false;
    m_dwLat = static_cast<uint32_t>(lat);
    m_dwLon = static_cast<uint32_t>(lng);
    m_dwGenre1 = static_cast<uint32_t>(genre1);
    m_dwGenre2 = static_cast<uint32_t>(genre2);
    m_dwGenre3 = static_cast<uint32_t>(genre3);
    int mesh;
    int y;
    int x;
    ConvLatLngtoMeche(&mesh, &y, &x, m_dwLat, m_dwLon);
    *count = 0;
    for (int k = 0; k < nRadii; ++k) {
        if (!SearchData(count, mesh, y, x, radii[k])) {
            *count = 0;
            return 0;
        }
        if (*count >= kWantedHits) break;
    }
    if (*count >= 2) DataSort(0, static_cast<int>(*count - 1));
    return 1;
}

int CVicinityProc::SearchProc(unsigned long* count, unsigned long lat, unsigned long lng,
                              int radius, unsigned long genre1, unsigned long genre2,
                              unsigned long genre3) {
    const int r = std::min(radius, kMaxRadius);
    return Search(count, lat, lng, genre1, genre2, genre3, &r, 1);
}

int CVicinityProc::SearchProc(unsigned long* count, unsigned long lat, unsigned long lng,
                              unsigned long genre1, unsigned long genre2, unsigned long genre3) {
    return Search(count, lat, lng, genre1, genre2, genre3, kWideningRadii,
                  static_cast<int>(std::size(kWideningRadii)));
}

// ---- sorting ----

void CVicinityProc::DataSort(int lo, int hi) {
    const long count = static_cast<long>(m_Array.GetCount());
    if (lo < 0 || hi >= count || hi <= lo) return;
    const long n = static_cast<long>(hi) - lo + 1;
    std::unique_ptr<SortKey[]> keys(alloc::NewArray<SortKey>(static_cast<uint64_t>(n)));
    if (!keys) {
        RecordSeq seq{&m_Array};  // slow but needs no memory
        distance_sort::QuickSort(seq, lo, hi, kInsertionSpan);
        return;
    }
    for (long k = 0; k < n; ++k) {
        const CLocationData* h = m_Array.GetAt(static_cast<unsigned long>(lo + k));
        keys[k] = {h->dwDistance, h->dwRefID, static_cast<uint32_t>(k)};
    }
    KeySeq seq{keys.get()};
    distance_sort::QuickSort(seq, 0, n - 1, kInsertionSpan);
    // Keys and records are moved by the same comparisons, so applying the key permutation
    // leaves the records exactly where sorting them directly would. Follow its cycles.
    constexpr uint32_t kPlaced = UINT32_MAX;
    for (long start = 0; start < n; ++start) {
        if (keys[start].index == kPlaced || keys[start].index == static_cast<uint32_t>(start)) {
            continue;
        }
        CLocationData held = *m_Array.GetAt(static_cast<unsigned long>(lo + start));
        long cur = start;
        for (;;) {
            const long src = static_cast<long>(keys[cur].index);
            keys[cur].index = kPlaced;
            if (src == start) {
                *m_Array.GetAt(static_cast<unsigned long>(lo + cur)) = held;
                break;
            }
            *m_Array.GetAt(static_cast<unsigned long>(lo + cur)) =
                *m_Array.GetAt(static_cast<unsigned long>(lo + src));
            cur = src;
        }
    }
}

void CVicinityProc::CombSort(int n) {
    const long count = static_cast<long>(m_Array.GetCount());
    const long len = std::min<long>(n, count);
    if (len < 2) return;
    long gap = len;
    bool swapped;
    do {
        gap = gap * 10 / 13;
        if (gap == 0) gap = 1;
        if (gap == 9 || gap == 10) gap = 11;
        swapped = false;
        for (long i = 0; i + gap < len; ++i) {
            const CLocationData* a = m_Array.GetAt(static_cast<unsigned long>(i));
            const CLocationData* b = m_Array.GetAt(static_cast<unsigned long>(i + gap));
            if (RecordSeq::Before(*b, *a)) {
                m_Array.Swap(static_cast<unsigned long>(i), static_cast<unsigned long>(i + gap));
                swapped = true;
            }
        }
    } while (gap != 1 || swapped);
}

// ---- results ----

unsigned long CVicinityProc::GetList(CLocationData* out, unsigned long start, unsigned long count) {
    const unsigned long hits = m_Array.GetCount();
    if (out == nullptr) return 1;
    count = start >= hits ? 0 : std::min(count, hits - start);
    poi_page::IdPage page(out, count);
    if (!page.ok()) return 1;
    for (unsigned long k = 0; k < count; ++k) {
        const CLocationData* h = m_Array.dwCapacity != 0 ? m_Array.GetAt(start + k) : nullptr;
        page.ids()[k] = h != nullptr ? h->dwRefID : 0;
    }
    // Distance and direction go in even when the POI is not found; that ends the page.
    poi_page::Fill(this, out, page.ids(), count, false, [&](unsigned long k, bool found) {
        const CLocationData* h = m_Array.dwCapacity != 0 ? m_Array.GetAt(start + k) : nullptr;
        if (h != nullptr) {
            out[k].dwDistance = h->dwDistance;
            out[k].dwDirection = h->dwDirection;
        }
        return found;
    });
    return 1;
}

unsigned long CVicinityProc::GetID(unsigned long* ids, unsigned long start, unsigned long count) {
    const unsigned long hits = m_Array.GetCount();
    if (ids == nullptr) return 1;
    for (unsigned long k = 0; k < count && start < hits && k < hits - start; ++k) {
        ids[k] = m_Array.GetAt(start + k)->dwRefID;
    }
    return 1;
}

// ---- genre check ----

int CVicinityProc::GenreEnabledCheck(unsigned long* mask, int mesh, int y, int x, int offset) {
    if (mask == nullptr) return 0;
    const unsigned long lat0 = m_dwLat / 10;
    const unsigned long lng0 = m_dwLon / 10;
    const long long reach = static_cast<long long>(m_lRadius) * 10;
    auto within = [&](int32_t key, bool centre) {
        unsigned long lat;
        unsigned long lng;
        ConvMechetoLatLng(&lat, &lng, static_cast<unsigned long>(mesh),
                          static_cast<unsigned long>(key));
        if (centre) {
            lat += mesh::kCentreLat;
            lng += mesh::kCentreLng;
        }
        unsigned long dist;
        unsigned long dir;
        return CalcDistance(&dist, &dir, lat0, lng0, lat, lng) != 0 &&
               static_cast<long long>(dist) <= reach;
    };
    return ScanFile(y, x, offset, [&](int32_t key, uint8_t g2, uint8_t g3, uint32_t) {
        unsigned long code;
        if (m_dwCheckMode == 1) {
            if (m_dwGenre1 >= kClasses) return kEndFile;
            const unsigned long bit = 1ul << m_dwGenre1;
            if ((*mask & bit) != 0) return kEndFile;
            // Deliberately measured to the cell's south-west corner, unlike the other modes.
            if (!within(key, false)) return kNext;
            *mask |= bit;
            return kEndFile;
        }
        if (m_dwCheckMode == 2) {
            code = g2;
        } else {
            if (g2 != m_dwGenre2) return kNext;
            code = g3;
        }
        if (code >= kClasses) return kNext;
        const unsigned long bit = 1ul << code;
        if ((*mask & bit) == 0 && within(key, true)) *mask |= bit;
        return kNext;
    });
}

int CVicinityProc::IsGenreEnabledSub(unsigned long* mask, int mesh, int y, int x) {
    return VisitMeshes(m_dwGenre1, mesh, y, x, [this, mask](int m, int yy, int xx, int off) {
        return GenreEnabledCheck(mask, m, yy, xx, off);
    });
}

unsigned long CVicinityProc::IsGenreEnabled(unsigned long* mask, unsigned long lat,
                                            unsigned long lng, unsigned long genre1,
                                            unsigned long genre2, unsigned long genre3) {
    if (mask == nullptr) return 0;
    *mask = 0;
    m_blCancel = false;
    m_blStop = false;
    m_dwLat = static_cast<uint32_t>(lat);
    m_dwLon = static_cast<uint32_t>(lng);
    m_dwGenre1 = static_cast<uint32_t>(genre1);
    m_dwGenre2 = static_cast<uint32_t>(genre2);
    m_dwGenre3 = static_cast<uint32_t>(genre3);
    m_lRadius = kCheckRadius;
    m_lHalfWidth = kCheckHalfWidth;
    m_dwCheckMode = genre1 == kAny ? 1 : genre2 == kAny ? 2 : 3;
    int mesh;
    int y;
    int x;
    ConvLatLngtoMeche(&mesh, &y, &x, lat, lng);
    if (!IsDBEnabled() || !OpenDataFolder("VICINITY")) return 0;
    int ok = 1;
    if (m_dwCheckMode == 1) {
        for (int c = 0; c < kClasses && ok; ++c) {
            m_dwGenre1 = static_cast<uint32_t>(c);  // the class being checked
            ok = IsGenreEnabledSub(mask, mesh, y, x);
        }
        m_dwGenre1 = static_cast<uint32_t>(genre1);
    } else {
        ok = IsGenreEnabledSub(mask, mesh, y, x);
    }
    ClosePackFolder();
    return ok ? 1 : 0;
}
