// Telephone search: the power-of-two search of "TELEPHONE/T%03d.idx", the scan of a key's run,
// the completion, icon sort, duplicate merge and id sort of the hits, and the area point of a
// number's prefix from "PHONEPOINT/PP%03d.dat". Every call opens and closes its pack folder.
#include "search/SearchTelephoneProc.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "foundation/Bytes.h"
#include "foundation/EntryWindow.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"
#include "search/ArrayRelease.h"
#include "search/IconID.h"
#include "search/PhoneKey.h"

namespace {

constexpr unsigned long kIndexEntry = 8;
constexpr unsigned long kPointEntry = 9;
constexpr unsigned long kEntriesPerRead = 256;  // index entries of one scan read
constexpr size_t kTextCompared = 128;           // bytes of text two duplicates share
constexpr uint32_t kNearMs = 17000;             // 17 arc-seconds, on either axis

long IconOf(CIconID* icons, const CLocationData& r) {
    return static_cast<long>(icons->GetGUIIconID(static_cast<unsigned char>(r.dwGenre2),
                                                 static_cast<unsigned char>(r.dwGenre3),
                                                 static_cast<unsigned char>(r.dwGenre4)));
}

// The signed 32-bit difference the sorts compare with (deliberately not an ordering for ids
// 2^31 apart).
int32_t Diff32(uint32_t a, uint32_t b) {
    return static_cast<int32_t>(a - b);
}

uint32_t Distance(uint32_t a, uint32_t b) {
    return a > b ? a - b : b - a;
}

// Comb sort with the comb-11 gap rule over the first n records; `cmp(a, b) > 0` swaps.
template <typename Compare>
void CombSort(CArrayData<CLocationData>* list, unsigned long n, Compare cmp) {
    unsigned long gap = n;
    bool swapped = true;
    while (gap > 1 || swapped) {
        gap = gap * 10 / 13;
        if (gap == 0) gap = 1;
        if (gap == 9 || gap == 10) gap = 11;
        swapped = false;
        for (unsigned long i = 0; i + gap < n; ++i) {
            if (cmp(*list->GetAt(i), *list->GetAt(i + gap)) > 0) {
                list->Swap(i, i + gap);
                swapped = true;
            }
        }
    }
}

unsigned long Clamp(int n, unsigned long count) {
    if (n <= 0) return 0;
    return static_cast<unsigned long>(n) < count ? static_cast<unsigned long>(n) : count;
}

// The icon order: icon id, then genre codes 2, 3 and 4, then POI id, each a signed difference.
void SortByIcon(CArrayData<CLocationData>* list, unsigned long n, CIconID* icons) {
    CombSort(list, n, [icons](const CLocationData& a, const CLocationData& b) -> long {
        const long icon = IconOf(icons, a) - IconOf(icons, b);
        if (icon != 0) return icon;
        const int32_t codes[3] = {Diff32(a.dwGenre2, b.dwGenre2), Diff32(a.dwGenre3, b.dwGenre3),
                                  Diff32(a.dwGenre4, b.dwGenre4)};
        for (int32_t d : codes) {
            if (d != 0) return d;
        }
        return Diff32(a.dwID, b.dwID);
    });
}

bool TollFreeOrSharedCost(const unsigned char* number) {
    char digits[phone_key::kDigits + 1];
    phone_key::FirstDigits(number, digits);
    for (const char* prefix : {"0120", "0800", "0570"}) {
        if (phone_key::StartsWith(digits, prefix)) return true;
    }
    return false;
}

}  // namespace

CSearchTelephoneProc::CSearchTelephoneProc() : m_dwCount(0) {}

CSearchTelephoneProc::~CSearchTelephoneProc() {}

void CSearchTelephoneProc::FlushBuf() {
    ReleaseAll(&m_Results);
    m_dwCount = 0;
}

long CSearchTelephoneProc::GetSearchPoint(unsigned long key) {
    const uint64_t n = table::EntryCount(GetPackFileSize(), kIndexEntry);
    if (n == 0) return -1;
    uint64_t step = 1;
    while (step * 2 <= n) step *= 2;
    // i never goes below 0 (the steps taken away sum to less than the first); past the end
    // nothing is read and the answer is "not found".
    uint64_t i = step - 1;
    unsigned char entry[kIndexEntry];
    while (step != 0) {
        bool less = false;
        if (i < n) {
            if (ReadPackEntries(i, 1, kIndexEntry, entry) != kIndexEntry) return -1;
            less = bytes::ReadU32LE(entry) < key;
        }
        step /= 2;
        if (less) {
            i += step;
        } else {
            i -= step;
        }
    }
    if (i >= n) return -1;
    return static_cast<long>(table::EntryOffset(i, kIndexEntry));
}

bool CSearchTelephoneProc::SearchData(CArrayData<CLocationData>* results, unsigned long key,
                                      long position) {
    if (results == nullptr || position < 0) return false;
    const unsigned long size = GetPackFileSize();
    unsigned char buf[kIndexEntry * kEntriesPerRead];
    unsigned long at = static_cast<unsigned long>(position);
    while (at < size && size - at >= kIndexEntry) {
        const unsigned long got =
            ReadPackFile(buf, at, sizeof(buf) < size - at ? sizeof(buf) : size - at);
        if (got < kIndexEntry) break;
        for (unsigned long e = 0; e + kIndexEntry <= got; e += kIndexEntry) {
            const uint32_t entryKey = bytes::ReadU32LE(buf + e);
            if (entryKey > key) return true;
            if (entryKey == key) {
                CLocationData hit;
                hit.FlushData();
                hit.dwRefID = bytes::ReadU32LE(buf + e + 4);
                if (!results->Add(&hit)) return true;
            }
        }
        at += got - got % kIndexEntry;
    }
    return true;
}

bool CSearchTelephoneProc::GetID(unsigned long* id, unsigned long entry, unsigned long) {
    if (id == nullptr) return false;
    unsigned char e[kIndexEntry];
    if (ReadPackEntries(entry, 1, kIndexEntry, e) != kIndexEntry) return false;
    *id = bytes::ReadU32LE(e + 4);
    return true;
}

bool CSearchTelephoneProc::SearchProc(unsigned long* count, unsigned char* number) {
    m_blCancel = false;
    FlushBuf();
    if (count != nullptr) *count = 0;
    const phone_key::Key key = phone_key::Directory(number);
    if (!key.accepted) return true;
    if (!IsDBEnabled() || !OpenDataFolder("TELEPHONE")) return false;
    char name[32] = {};
    snprintf(name, sizeof(name), "%s%03u.idx", "T",
             static_cast<unsigned>(phone_key::Selector(key.value)));
    if (OpenPackFile(name)) {
        const long position = GetSearchPoint(key.value);
        if (position != -1) SearchData(&m_Results, key.value, position);
    }
    ClosePackFolder();
    m_dwCount = m_Results.dwCount;
    if (count != nullptr) *count = m_dwCount;
    // Deliberate: toll-free and shared-cost numbers keep index order and every entry.
    if (TollFreeOrSharedCost(number) || m_dwCount < 2) return true;

    for (unsigned long i = 0; i < m_dwCount; ++i) {
        CLocationData r;
        m_Results.GetAt(&r, i);
        if (!CSearchBaseDataProc::SearchProc(&r, r.dwRefID)) break;
        m_Results.SetAt(i, &r);
    }

    // One icon table for the sort and the merge.
    CIconID icons;
    icons.LoadIconIDData(g_tcharPath, g_tcharSDPath);
    SortByIcon(&m_Results, m_dwCount, &icons);

    // Result j goes when it duplicates result j-1. Walking down from the last one, a deletion
    // never moves the pairs still to be compared, so one forward compaction over the original
    // neighbours gives the same list in linear time.
    unsigned long kept = 1;
    for (unsigned long j = 1; j < m_dwCount; ++j) {
        const CLocationData& prev = *m_Results.GetAt(j - 1);
        const CLocationData& cur = *m_Results.GetAt(j);
        const bool duplicate = memcmp(prev.szName, cur.szName, kTextCompared) == 0 &&
                               (Distance(prev.lLon, cur.lLon) <= kNearMs ||
                                Distance(prev.lLat, cur.lLat) <= kNearMs) &&
                               IconOf(&icons, prev) == IconOf(&icons, cur);
        if (duplicate) continue;
        if (kept != j) m_Results.SetAt(kept, m_Results.GetAt(j));
        ++kept;
    }
    m_Results.dwCount = static_cast<uint32_t>(kept);
    m_dwCount = m_Results.dwCount;
    if (count != nullptr) *count = m_dwCount;
    if (m_dwCount > 1) DataSortPOIID(static_cast<int>(m_dwCount));
    icons.ClearIconIDData();
    return true;
}

void CSearchTelephoneProc::DataSortPOIID(int n) {
    CombSort(&m_Results, Clamp(n, m_Results.dwCount),
             [](const CLocationData& a, const CLocationData& b) { return Diff32(a.dwID, b.dwID); });
}

void CSearchTelephoneProc::DataSortIconID(int n) {
    CIconID icons;
    icons.LoadIconIDData(g_tcharPath, g_tcharSDPath);
    SortByIcon(&m_Results, Clamp(n, m_Results.dwCount), &icons);
}

bool CSearchTelephoneProc::SearchAreaProc(unsigned long* count, unsigned char* number) {
    m_blCancel = false;
    FlushBuf();
    if (count != nullptr) *count = 0;
    const phone_key::Key key = phone_key::Area(number);
    if (!key.accepted) return true;
    const uint32_t prefix = phone_key::AreaPrefix(key.value);
    if (!IsDBEnabled() || !OpenDataFolder("PHONEPOINT")) return false;
    char name[32] = {};
    snprintf(name, sizeof(name), "%s%03u.dat", "PP",
             static_cast<unsigned>(phone_key::Selector(prefix)));
    if (!OpenPackFile(name)) {
        ClosePackFolder();
        return true;
    }
    unsigned char entry[kPointEntry];
    const uint64_t m = table::EntryCount(GetPackFileSize(), kPointEntry);
    EntryWindow window(kPointEntry, m);
    const index_search::Result r = index_search::Find(m, [&](uint64_t i) {
        if (!ReadPackEntry(&window, i, entry)) return index_search::Probe::kUnreadable;
        const uint32_t stored = bytes::ReadU24LE(entry);
        return prefix == stored  ? index_search::Probe::kFound
               : prefix < stored ? index_search::Probe::kKeyLess
                                 : index_search::Probe::kKeyGreater;
    });
    ClosePackFolder();
    if (!r.found) return true;
    CLocationData point;
    point.FlushData();
    point.lLon = bytes::WidenLongitude(bytes::ReadU24LE(entry + 3));
    point.lLat = bytes::WidenLatitude(bytes::ReadU24LE(entry + 6));
    if (!m_Results.Add(&point)) return true;
    m_dwCount = 1;
    if (count != nullptr) *count = 1;
    return true;
}

bool CSearchTelephoneProc::GetAreaData(CLocationData* out) {
    if (out != nullptr && m_dwCount > 0) m_Results.GetAt(out, 0);
    return true;
}

bool CSearchTelephoneProc::GetList(CLocationData* out, unsigned long start, unsigned long count) {
    if (out == nullptr) return true;
    for (unsigned long k = 0; k < count && start < m_dwCount && k < m_dwCount - start; ++k) {
        if (!m_Results.GetAt(&out[k], start + k)) break;
        if (!CSearchBaseDataProc::SearchProc(&out[k], out[k].dwRefID)) break;
    }
    return true;
}
