// Kana search with refinement: genre totals over the offset files of the first character, the
// distance sort with its cut in file order, and listing through the base POI data.
#include "search/SearchKanaProcMA.h"

#include <algorithm>
#include <cstring>

#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/Sjis.h"
#include "foundation/TableFile.h"
#include "search/DistanceSort.h"
#include "search/GenreFilter.h"
#include "search/PoiPage.h"

namespace {

constexpr uint32_t kNone = poi_page::kEmpty;
constexpr unsigned long kAny = genre::kAny;
constexpr unsigned long kOffsetEntry = 8;
constexpr unsigned long kPositionEntry = 13;
constexpr unsigned long kCountMask = 0x7FFF;  // bit 15 is the completion flag
constexpr size_t kTextArea = 384;
constexpr unsigned long kMaskBits = 32;  // genre codes a mask can show

bool PassesOffsetEntry(const unsigned char* e, unsigned long g1, unsigned long g2, unsigned long g3,
                       unsigned long g4) {
    const uint32_t packed = bytes::ReadU24LE(e + 4);
    return genre::Matches(genre::UnpackLevel(packed, 0), genre::UnpackLevel(packed, 1),
                          genre::UnpackLevel(packed, 2), genre::UnpackLevel(packed, 3), g1, g2, g3,
                          g4);
}

// The sortable list's filter: a first level of 255 lets every entry through, whatever the
// other levels say.
bool PassesPositionEntry(const unsigned char* e, unsigned long g1, unsigned long g2,
                         unsigned long g3) {
    if (g1 == kAny) return true;
    return genre::Matches(e[4], e[5], e[6], kAny, g1, g2, g3, kAny);
}

// True when `text` occurs, starting on a character boundary, in one of the NUL-separated
// strings of the text area.
bool TextContains(const char* area, const unsigned char* text) {
    const size_t len = strlen(reinterpret_cast<const char*>(text));
    const unsigned char* p = reinterpret_cast<const unsigned char*>(area);
    const unsigned char* end = p + kTextArea;
    while (p < end && *p != 0) {
        const unsigned char* s = p;
        while (p < end && *p != 0) ++p;  // p: the string's end
        for (const unsigned char* c = s; c + len <= p; c += sjis::IsLeadByte(*c) ? 2 : 1) {
            if (memcmp(c, text, len) == 0) return true;
        }
        ++p;
    }
    return false;
}

// The sortable list in distance order.
using IndexSeq =
    distance_sort::ArraySeq<CPOIIndexData, &CPOIIndexData::dwDistance, &CPOIIndexData::dwID>;

}  // namespace

CSearchKanaProcMA::CSearchKanaProcMA()
    : m_dwListCount(0),
      m_pIdList(nullptr),
      m_dwIdListSize(0),
      m_pSortList(nullptr),
      m_dwSortListSize(0),
      m_byFirst(0) {}

CSearchKanaProcMA::~CSearchKanaProcMA() {
    ReleaseIdList();
    delete[] m_pSortList;
}

void CSearchKanaProcMA::ReleaseIdList() {
    delete[] m_pIdList;
    m_pIdList = nullptr;
    m_dwIdListSize = 0;
}

unsigned long CSearchKanaProcMA::SearchProc(unsigned long* count, unsigned char* reading) {
    m_byFirst = reading != nullptr ? reading[0] : 0;
    return CSearchKanaProc::SearchProc(count, reading);
}

long CSearchKanaProcMA::ReadRun(const char* format, unsigned long entrySize, unsigned char** out) {
    *out = nullptr;
    if (!OpenKanaFile(format, m_byFirst)) return -1;
    const uint64_t held = table::EntryCount(GetPackFileSize(), entrySize);
    if (held == 0) {
        ClosePackFolder();
        return -1;
    }
    // The tree's first id names the base record; its record number is the entry index. A run
    // past the file's end gives its whole entries, so only those are read and allocated.
    const uint64_t first = m_dwFirstID & 0xFFFFFF;
    const uint64_t wanted = m_dwCountWord & kCountMask;
    const uint64_t n = first >= held ? 0 : std::min(wanted, held - first);
    *out = alloc::NewArray<unsigned char>(n * entrySize + 1);
    long got = 0;
    if (*out != nullptr && n != 0) {
        got = static_cast<long>(ReadPackEntries(first, n, entrySize, *out) / entrySize);
    }
    ClosePackFolder();
    if (*out == nullptr) return -1;
    return got;
}

unsigned long CSearchKanaProcMA::GetRefinedTotal(unsigned long g1, unsigned long g2,
                                                 unsigned long g3, unsigned long g4) {
    return GetRefinedTotal(g1, g2, g3, g4, 0, nullptr, nullptr);
}

unsigned long CSearchKanaProcMA::GetRefinedTotal(unsigned long g1, unsigned long g2,
                                                 unsigned long g3, unsigned long g4,
                                                 unsigned long flags, unsigned char* text1,
                                                 unsigned char* text2) {
    unsigned char* run = nullptr;
    const long n = ReadRun("%s%03d.ofs", kOffsetEntry, &run);
    if (n < 0) return 0;
    const bool byText = (text1 != nullptr && text1[0] != 0) || (text2 != nullptr && text2[0] != 0);
    // Marks the matches in place (byte 7, the flag byte, is no longer needed afterwards).
    unsigned long matches = 0;
    for (long i = 0; i < n; ++i) {
        unsigned char* e = run + kOffsetEntry * i;
        bool ok = PassesOffsetEntry(e, g1, g2, g3, g4) && (e[7] & flags) == flags;
        if (ok && byText) {
            CLocationData record;
            ok = CSearchBaseDataProc::SearchProc(&record, bytes::ReadU32LE(e)) &&
                 (text1 == nullptr || TextContains(record.szName, text1)) &&
                 (text2 == nullptr || TextContains(record.szName, text2));
        }
        e[7] = ok ? 1 : 0;
        if (ok) ++matches;
    }
    ReleaseIdList();
    m_dwListCount = 0;
    m_pIdList = alloc::NewArray<uint32_t>(static_cast<uint64_t>(matches) + 1);
    if (m_pIdList == nullptr) {
        delete[] run;
        return 0;
    }
    for (unsigned long i = 0; i <= matches; ++i) m_pIdList[i] = kNone;
    unsigned long k = 0;
    for (long i = 0; i < n; ++i) {
        const unsigned char* e = run + kOffsetEntry * i;
        if (e[7]) m_pIdList[k++] = bytes::ReadU32LE(e);
    }
    delete[] run;
    m_dwIdListSize = static_cast<uint32_t>(matches);
    m_dwListCount = static_cast<uint32_t>(matches);
    return matches;
}

unsigned long CSearchKanaProcMA::GetRefinedSortTotal(unsigned long g1, unsigned long g2,
                                                     unsigned long g3) {
    unsigned char* run = nullptr;
    const long n = ReadRun("%s2%03d.ofs", kPositionEntry, &run);
    if (n < 0) return 0;
    unsigned long matches = 0;
    for (long i = 0; i < n; ++i) {
        if (PassesPositionEntry(run + kPositionEntry * i, g1, g2, g3)) ++matches;
    }
    delete[] m_pSortList;
    m_dwSortListSize = 0;
    m_dwListCount = 0;
    m_pSortList = alloc::NewArray<CPOIIndexData>(static_cast<uint64_t>(matches) + 1);
    if (m_pSortList == nullptr) {
        delete[] run;
        return 0;
    }
    for (unsigned long i = 0; i <= matches; ++i) m_pSortList[i] = CPOIIndexData{kNone, 0, 0, 0};
    unsigned long k = 0;
    for (long i = 0; i < n; ++i) {
        const unsigned char* e = run + kPositionEntry * i;
        if (!PassesPositionEntry(e, g1, g2, g3)) continue;
        m_pSortList[k].dwID = bytes::ReadU32LE(e);
        m_pSortList[k].lLon = bytes::WidenLongitude(bytes::ReadU24LE(e + 7));
        m_pSortList[k].lLat = bytes::WidenLatitude(bytes::ReadU24LE(e + 10));
        ++k;
    }
    delete[] run;
    m_dwSortListSize = static_cast<uint32_t>(matches);
    m_dwListCount = static_cast<uint32_t>(matches);
    return matches;
}

void CSearchKanaProcMA::DistanceSortList(unsigned long keep, int lat, int lon) {
    if (m_pSortList == nullptr || m_dwListCount == 0) return;
    // The count may be the id list's; never look past the sortable list itself.
    const unsigned long held = m_dwListCount < m_dwSortListSize ? m_dwListCount : m_dwSortListSize;
    if (m_dwListCount > keep) {
        // Deliberate: the cut keeps the first matches in reading order, before any distance
        // is known, so only they take part in the sort.
        for (unsigned long i = keep; i < held; ++i) m_pSortList[i] = CPOIIndexData{kNone, 0, 0, 0};
        m_dwListCount = static_cast<uint32_t>(keep);
    }
    const unsigned long n = m_dwListCount < held ? m_dwListCount : held;
    if (n == 0) return;
    for (unsigned long i = 0; i < n && m_pSortList[i].dwID != kNone; ++i) {
        unsigned long dist = 0;
        unsigned long dir = 0;
        // Deliberate: milliseconds of arc go in where 1/256 arc-second is read, so the
        // distance word is an ordering key, not metres.
        if (!m_Distance.CalcDistanceForm(&dist, &dir, lat, lon,
                                         static_cast<int>(m_pSortList[i].lLat),
                                         static_cast<int>(m_pSortList[i].lLon))) {
            break;
        }
        m_pSortList[i].dwDistance = static_cast<uint32_t>(dist);
    }
    SortDistanceSub(m_pSortList, 0, static_cast<long>(n) - 1);
}

void CSearchKanaProcMA::SortDistanceSub(CPOIIndexData* list, long lo, long hi) {
    if (list == nullptr || lo >= hi) return;
    IndexSeq seq{list};
    distance_sort::QuickSort(seq, lo, hi, 0);
}

bool CSearchKanaProcMA::LoadOffset(unsigned long* ids, unsigned long start, unsigned long count) {
    const unsigned long n = m_dwListCount < m_dwIdListSize ? m_dwListCount : m_dwIdListSize;
    for (unsigned long i = 0; i < count && start + i < n; ++i) ids[i] = m_pIdList[start + i];
    return true;
}

bool CSearchKanaProcMA::LoadOffset2(unsigned long* ids, unsigned long start, unsigned long count) {
    // The shared count may be the id list's: bounded by the sortable list as well.
    const unsigned long n = m_dwListCount < m_dwSortListSize ? m_dwListCount : m_dwSortListSize;
    for (unsigned long i = 0; i < count && start + i < n; ++i) ids[i] = m_pSortList[start + i].dwID;
    return true;
}

bool CSearchKanaProcMA::ListRecords(CLocationData* out, unsigned long start, unsigned long count,
                                    bool sorted) {
    if (count == 0) return true;
    if (out == nullptr) return false;
    poi_page::IdPage page(out, count);
    if (!page.ok()) return false;
    if (sorted) {
        LoadOffset2(page.ids(), start, count);
    } else {
        LoadOffset(page.ids(), start, count);
    }
    return poi_page::Fill(this, out, page.ids(), count, true,
                          [](unsigned long, bool found) { return found; });
}

bool CSearchKanaProcMA::GetList(CLocationData* out, unsigned long start, unsigned long count) {
    return ListRecords(out, start, count, false);
}

bool CSearchKanaProcMA::GetSortList(CLocationData* out, unsigned long start, unsigned long count) {
    return ListRecords(out, start, count, true);
}

bool CSearchKanaProcMA::GetOffsetDataLatLng(int* lat, int* lon, unsigned long i) {
    if (lat == nullptr || lon == nullptr) return false;
    *lat = 0;
    *lon = 0;
    if (i >= m_dwListCount || i >= m_dwSortListSize) return false;
    *lat = static_cast<int>(m_pSortList[i].lLat);
    *lon = static_cast<int>(m_pSortList[i].lLon);
    return true;
}

bool CSearchKanaProcMA::IsGenreEnabled(unsigned long* mask, unsigned long g1, unsigned long g2,
                                       unsigned long g3) {
    if (mask == nullptr) return false;
    unsigned char* run = nullptr;
    const long n = ReadRun("%s2%03d.ofs", kPositionEntry, &run);
    if (n < 0) return false;
    for (long i = 0; i < n; ++i) {
        const unsigned char* e = run + kPositionEntry * i;
        unsigned long code = kAny;
        if (g1 == kAny) {
            code = e[4];
        } else if (e[4] == g1 && g2 == kAny) {
            code = e[5];
        } else if (e[4] == g1 && e[5] == g2 && g3 == kAny) {
            code = e[6];
        }
        // 255 and codes of 32 or more set nothing.
        if (code < kMaskBits) *mask |= 1UL << code;
    }
    delete[] run;
    return true;
}
