// Genre search: the exact binary search of the genre index (levels 1-3 widened, level 4 not),
// the windowed reads of the run's POI ids, and the records through the base POI data.
#include "search/SearchGenreProc.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "foundation/Bytes.h"
#include "foundation/EntryWindow.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"
#include "search/GenreFilter.h"
#include "search/PoiPage.h"

namespace {

constexpr uint32_t kNone = poi_page::kEmpty;
constexpr unsigned long kAll = genre::kAny;
constexpr unsigned long kHeaderSize = table::kHeaderSize;
constexpr unsigned long kIndexEntry = 12;
constexpr unsigned long kIdSize = 4;
constexpr unsigned long kIdsPerRead = 1024;  // ids of one window read

// Compares the search key with an index entry, level 1 first: <0, 0 or >0. Levels 1-3 store
// "all" as 63; level 4 is deliberately never widened, so no entry matches a level-4 key of 255.
int CompareKey(const unsigned long key[5], const unsigned char* entry) {
    const uint32_t packed = bytes::ReadU24LE(entry);
    const unsigned long stored[5] = {genre::UnpackLevel(packed, 0), genre::UnpackLevel(packed, 1),
                                     genre::UnpackLevel(packed, 2), packed & 0x3F, entry[3]};
    for (int level = 0; level < 5; ++level) {
        if (key[level] != stored[level]) return key[level] < stored[level] ? -1 : 1;
    }
    return 0;
}

}  // namespace

CSearchGenreProc::CSearchGenreProc()
    : m_dwRunStart(0), m_dwRunCount(0), m_dwKey1(kAll), m_dwKey4(kAll), m_dwKey5(kAll) {}

CSearchGenreProc::~CSearchGenreProc() {}

bool CSearchGenreProc::OpenGenreFile(const char* ext, unsigned long key1) {
    if (!IsDBEnabled()) return false;
    if (!OpenDataFolder("GENRE")) return false;
    char name[32] = {};
    snprintf(name, sizeof(name), "%s%03d.%s", "G", static_cast<int>(key1), ext);
    if (!OpenPackFile(name)) {
        ClosePackFolder();
        return false;
    }
    return true;
}

unsigned long CSearchGenreProc::SearchProc(unsigned long* count, unsigned long key1,
                                           unsigned long key2, unsigned long key3,
                                           unsigned long key4, unsigned long key5) {
    m_blCancel = false;
    const unsigned long key5Effective = key4 == kAll ? kAll : key5;
    unsigned long runStart = 0;
    unsigned long runCount = 0;
    const unsigned long found =
        LoadIndex(&runStart, &runCount, key1, key2, key3, key4, key5Effective);
    if (found) {
        m_dwRunStart = static_cast<uint32_t>(runStart);
        m_dwRunCount = static_cast<uint32_t>(runCount);
    }
    // Deliberate: written on a miss too, so the count then repeats the previous search's.
    if (count != nullptr) *count = m_dwRunCount;
    m_dwKey1 = static_cast<uint32_t>(key1);
    m_dwKey4 = static_cast<uint32_t>(key4);
    m_dwKey5 = static_cast<uint32_t>(key5Effective);
    return found;
}

unsigned long CSearchGenreProc::LoadIndex(unsigned long* runStart, unsigned long* runCount,
                                          unsigned long key1, unsigned long key2,
                                          unsigned long key3, unsigned long key4,
                                          unsigned long key5) {
    if (runStart == nullptr || runCount == nullptr) return 0;
    if (!OpenGenreFile("idx", key1)) return 0;
    const unsigned long size = GetPackFileSize();
    const uint64_t n = table::EntryCount(size, kIndexEntry);
    if (n == 0) {
        ClosePackFolder();
        return 0;
    }
    const unsigned long key[5] = {key1, key2, key3, key4, key5};
    unsigned char entry[kIndexEntry];
    EntryWindow window(kIndexEntry, n);
    const index_search::Result r = index_search::Find(n, [&](uint64_t i) {
        if (!ReadPackEntry(&window, i, entry)) return index_search::Probe::kUnreadable;
        return index_search::FromCompare(CompareKey(key, entry));
    });
    unsigned long result = 0;
    if (r.found) {
        *runStart = bytes::ReadU32LE(entry + 4);
        *runCount = bytes::ReadU32LE(entry + 8);
        result = 1;
    }
    ClosePackFolder();
    return result;
}

unsigned long CSearchGenreProc::LoadOffset(unsigned long* ids, unsigned long key1,
                                           unsigned long runStart, unsigned long runCount,
                                           unsigned long start, unsigned long count) {
    if (ids == nullptr && count != 0) return 0;
    if (!OpenGenreFile("ofs", key1)) return 0;
    if (GetPackFileSize() < kHeaderSize + kIdSize) {
        ClosePackFolder();
        return 0;
    }
    // Slots 0 .. inRun-1 lie inside the run, the rest get the empty-slot sentinel. The ids of
    // the run are read a window at a time; a short read ends the filling, which is no failure.
    const unsigned long inRun =
        start >= runCount ? 0 : (runCount - start < count ? runCount - start : count);
    unsigned char window[kIdsPerRead * kIdSize];
    unsigned long i = 0;
    bool shortRead = false;
    while (i < inRun && !shortRead) {
        const unsigned long want = inRun - i < kIdsPerRead ? inRun - i : kIdsPerRead;
        const unsigned long got =
            ReadPackEntries(static_cast<uint64_t>(runStart) + start + i, want, kIdSize, window) /
            kIdSize;
        for (unsigned long k = 0; k < got; ++k) ids[i + k] = bytes::ReadU32LE(window + k * kIdSize);
        i += got;
        shortRead = got < want;
    }
    if (!shortRead) {
        for (; i < count; ++i) ids[i] = kNone;
    }
    ClosePackFolder();
    return 1;
}

unsigned long CSearchGenreProc::GetID(unsigned long* ids, unsigned long start,
                                      unsigned long count) {
    return LoadOffset(ids, m_dwKey1, m_dwRunStart, m_dwRunCount, start, count);
}

unsigned long CSearchGenreProc::GetList(CLocationData* out, unsigned long start,
                                        unsigned long count) {
    if (out == nullptr && count != 0) return 0;
    poi_page::IdPage page(out, count);
    if (!page.ok()) return 0;
    if (!LoadOffset(page.ids(), m_dwKey1, m_dwRunStart, m_dwRunCount, start, count)) return 0;
    return poi_page::Fill(this, out, page.ids(), count, true,
                          [&](unsigned long i, bool found) {
                              if (found) out[i].dwRsv = m_dwKey5;
                              return found;
                          })
               ? 1
               : 0;
}
