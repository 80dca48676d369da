// Base POI data: 5-byte index entries, the container table, LZMA containers of 500 records and
// the bookmarked paged scan.
#include "search/SearchBaseDataProc.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "foundation/Bytes.h"
#include "search/GenreFilter.h"

namespace {

constexpr uint32_t kNone = 0x7fffffff;
constexpr unsigned long kHeaderSize = 16;
constexpr unsigned long kIndexEntry = 5;
constexpr unsigned long kContainerEntry = 3;
constexpr unsigned long kPerContainer = 500;
constexpr unsigned long kCountFlag = 0x8000;  // kana index flag, never part of a count
// 500 records with 16-bit offsets stay far below this; a larger size is a damaged header.
constexpr unsigned long kMaxContainer = 64UL << 20;

bool ValidFile(unsigned long f) { return f == 166 || (f >= 177 && f <= 221); }

// Opens BASE/B<f>.<ext> through the database/SD fallback; -1 when the database is switched off.
int OpenBaseFile(unsigned long f, const char* ext) {
    if (!CCommonProc::IsDBEnabled()) return -1;
    char rel[64];
    snprintf(rel, sizeof(rel), "%s/%s%03lu.%s", "BASE", "B", f, ext);
    return CCommonProc::OpenDataFile(rel);
}

unsigned long EntriesOf(int fd, unsigned long entrySize) {
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_size < static_cast<off_t>(kHeaderSize)) return 0;
    return (static_cast<unsigned long>(st.st_size) - kHeaderSize) / entrySize;
}

// One decoded index entry.
struct IndexEntry {
    uint32_t genre[4];
    uint32_t offset;
};

// The ".IDX" of one base file, read through a small window so that scans in either direction
// cost one read per few hundred entries instead of one per entry.
class IndexFile {
public:
    explicit IndexFile(unsigned long f) : fd_(OpenBaseFile(f, "IDX")) {
        if (fd_ >= 0) count_ = EntriesOf(fd_, kIndexEntry);
    }
    ~IndexFile() {
        if (fd_ >= 0) close(fd_);
    }
    bool ok() const { return fd_ >= 0; }
    unsigned long count() const { return count_; }

    // A single entry, read on its own (look-ups by id).
    bool ReadOne(unsigned long rec, IndexEntry* e) {
        if (rec >= count_) return false;
        unsigned char p[kIndexEntry];
        if (pread(fd_, p, kIndexEntry, static_cast<off_t>(kHeaderSize + rec * kIndexEntry)) !=
            static_cast<ssize_t>(kIndexEntry)) {
            return false;
        }
        Decode(p, e);
        return true;
    }

    // An entry of a scan, served from the window.
    bool Read(unsigned long rec, IndexEntry* e) {
        if (rec >= count_) return false;
        if (rec < first_ || rec >= first_ + loaded_) {
            // Centre the window on rec so that forward and backward scans both profit.
            unsigned long start = rec > kWindow / 2 ? rec - kWindow / 2 : 0;
            ssize_t got = pread(fd_, window_, sizeof(window_),
                                static_cast<off_t>(kHeaderSize + start * kIndexEntry));
            if (got < 0) got = 0;
            first_ = start;
            loaded_ = static_cast<unsigned long>(got) / kIndexEntry;
            if (rec >= first_ + loaded_) return false;
        }
        Decode(window_ + (rec - first_) * kIndexEntry, e);
        return true;
    }

private:
    static void Decode(const unsigned char* p, IndexEntry* e) {
        uint32_t codes = bytes::ReadU24LE(p);
        for (int level = 0; level < 4; ++level) {
            uint32_t c = (codes >> (18 - 6 * level)) & 0x3F;
            e->genre[level] = c == 63 ? 255 : c;  // 63 is stored for "none"
        }
        e->offset = bytes::ReadU16LE(p + 3);
    }

    static constexpr unsigned long kWindow = 820;
    int fd_;
    unsigned long count_ = 0;
    unsigned long first_ = 0;
    unsigned long loaded_ = 0;
    unsigned char window_[kWindow * kIndexEntry];
};

bool Passes(const IndexEntry& e, unsigned long g1, unsigned long g2, unsigned long g3,
            unsigned long g4) {
    return genre::Matches(e.genre[0], e.genre[1], e.genre[2], e.genre[3], g1, g2, g3, g4);
}

void SetGenres(CPoiData* poi, const IndexEntry& e) {
    poi->dwGenre1 = e.genre[0];
    poi->dwGenre2 = e.genre[1];
    poi->dwGenre3 = e.genre[2];
    poi->dwGenre4 = e.genre[3];
}

}  // namespace

CSearchBaseDataProc::CSearchBaseDataProc()
    : m_pContainer(nullptr),
      m_dwContainerLen(0),
      m_dwLoadedFile(kNone),
      m_dwLoadedContainer(kNone) {
    ResetBookmark();
}

CSearchBaseDataProc::~CSearchBaseDataProc() { FlushBuf(); }

void CSearchBaseDataProc::ResetBookmark() {
    m_dwMarkStart = kNone;
    m_dwMarkGenre1 = kNone;
    m_dwMarkGenre2 = kNone;
    m_dwMarkGenre3 = kNone;
    m_dwMarkGenre4 = kNone;
    m_dwMarkMatch = 0;
    m_dwMarkRecord = kNone;
}

void CSearchBaseDataProc::FlushBuf() {
    delete[] m_pContainer;
    m_pContainer = nullptr;
    m_dwContainerLen = 0;
    m_dwLoadedFile = kNone;
    m_dwLoadedContainer = kNone;
}

bool CSearchBaseDataProc::LoadIndex(unsigned long* offset, CPoiData* poi, unsigned long fileNo,
                                    unsigned long rec) {
    if (offset == nullptr || poi == nullptr || !ValidFile(fileNo)) return false;
    IndexFile index(fileNo);
    IndexEntry e;
    if (!index.ok() || !index.ReadOne(rec, &e)) return false;
    SetGenres(poi, e);
    *offset = e.offset;
    return true;
}

bool CSearchBaseDataProc::LoadContainerOffset(unsigned long* start, unsigned long* size,
                                              unsigned long fileNo, unsigned long rec) {
    if (start == nullptr || size == nullptr || !ValidFile(fileNo)) return false;
    int fd = OpenBaseFile(fileNo, "CNT");
    if (fd < 0) return false;
    const unsigned long k = rec / kPerContainer;
    unsigned char pair[2 * kContainerEntry];
    bool ok = k < EntriesOf(fd, kContainerEntry) &&
              pread(fd, pair, sizeof(pair),
                    static_cast<off_t>(kHeaderSize + k * kContainerEntry)) ==
                  static_cast<ssize_t>(sizeof(pair));
    close(fd);
    if (!ok) return false;
    uint32_t first = bytes::ReadU24LE(pair);
    uint32_t next = bytes::ReadU24LE(pair + kContainerEntry);
    if (next < first) return false;  // damaged table
    *start = first;
    *size = next - first;
    return true;
}

bool CSearchBaseDataProc::LoadData(unsigned long fileNo, unsigned long start, unsigned long size) {
    delete[] m_pContainer;
    m_pContainer = nullptr;
    m_dwContainerLen = 0;
    if (!ValidFile(fileNo) || size == 0) return false;
    int fd = OpenBaseFile(fileNo, "DAT");
    if (fd < 0) return false;
    unsigned char* block = nullptr;
    unsigned long got = LoadFile(&fd, &block, start, size);
    close(fd);
    if (got != size) {
        delete[] block;
        return false;
    }
    unsigned long n = Decode(nullptr, block, size);
    unsigned char* out = nullptr;
    if (n != 0 && n <= kMaxContainer) out = new (std::nothrow) unsigned char[n + 1];
    unsigned long decoded = 0;
    if (out != nullptr) {
        memset(out, 0, n + 1);
        decoded = Decode(out, block, size);
    }
    delete[] block;
    if (decoded == 0) {
        delete[] out;
        return false;
    }
    m_pContainer = out;
    m_dwContainerLen = decoded;
    return true;
}

bool CSearchBaseDataProc::GetData(CPoiData* poi, unsigned long offset) {
    if (poi == nullptr || m_pContainer == nullptr || offset >= m_dwContainerLen) return false;
    memset(poi->szName, 0, sizeof(poi->szName));
    poi->lLon = 0;
    poi->lLat = 0;
    const unsigned char* p = m_pContainer + offset;
    const unsigned char* end = m_pContainer + m_dwContainerLen;
    const unsigned char* lf = static_cast<const unsigned char*>(memchr(p, 0x0A, end - p));
    if (lf == nullptr || end - (lf + 1) < 11) return false;
    // The text must fit the text area; longer text from damaged data is cut, keeping its end.
    size_t len = static_cast<size_t>(lf - p);
    if (len > sizeof(poi->szName) - 2) len = sizeof(poi->szName) - 2;
    memcpy(poi->szName, p, len);
    const unsigned char* q = lf + 1;
    poi->dwTelNo = bytes::ReadU32LE(q);
    poi->lLon = bytes::WidenLongitude(bytes::ReadU24LE(q + 4));
    poi->lLat = bytes::WidenLatitude(bytes::ReadU24LE(q + 7));
    const unsigned flags = q[10];
    uint32_t digit = 1;
    for (int bit = 0; bit < 8; ++bit, digit *= 10) {
        if (flags & (1u << bit)) poi->dwAttr += digit;
    }
    return true;
}

bool CSearchBaseDataProc::EnsureContainer(unsigned long fileNo, unsigned long rec) {
    const uint32_t k = static_cast<uint32_t>(rec / kPerContainer);
    if (m_dwLoadedFile == fileNo && m_dwLoadedContainer == k) return true;
    // Remembered before loading: a failed load is retried only for another container.
    m_dwLoadedFile = static_cast<uint32_t>(fileNo);
    m_dwLoadedContainer = k;
    unsigned long start = 0;
    unsigned long size = 0;
    return LoadContainerOffset(&start, &size, fileNo, rec) && LoadData(fileNo, start, size);
}

bool CSearchBaseDataProc::SearchProc(CLocationData* out, unsigned long id) {
    if (out == nullptr) return false;
    const unsigned long f = (id >> 24) & 0xFF;
    const unsigned long r = id & 0xFFFFFF;
    if (!ValidFile(f)) return false;
    CPoiData poi;
    unsigned long offset = 0;
    if (!LoadIndex(&offset, &poi, f, r)) return false;
    if (!EnsureContainer(f, r)) return false;
    if (!GetData(&poi, offset) || !poi.CopyData(out)) return false;
    out->dwID = static_cast<uint32_t>(id);
    return true;
}

unsigned long CSearchBaseDataProc::GetRefinedTotal(unsigned long firstId, unsigned long count,
                                                   unsigned long g1, unsigned long g2,
                                                   unsigned long g3, unsigned long g4) {
    const unsigned long f = (firstId >> 24) & 0xFF;
    if (!ValidFile(f)) return 0;
    IndexFile index(f);
    if (!index.ok()) return 0;
    const unsigned long start = firstId & 0xFFFFFF;
    const unsigned long end = start + (count & ~kCountFlag);
    if (end > index.count()) return 0;
    ResetBookmark();
    unsigned long total = 0;
    IndexEntry e;
    for (unsigned long rec = start; rec < end; ++rec) {
        if (!index.Read(rec, &e)) break;
        if (Passes(e, g1, g2, g3, g4)) ++total;
    }
    return total;
}

bool CSearchBaseDataProc::LoadIndex(unsigned long* recs, unsigned long* offsets, CPoiData* poi,
                                    unsigned long fileNo, unsigned long rangeStart,
                                    unsigned long rangeCount, unsigned long listStart,
                                    unsigned long listCount, unsigned long g1, unsigned long g2,
                                    unsigned long g3, unsigned long g4) {
    if (recs == nullptr || offsets == nullptr || poi == nullptr || !ValidFile(fileNo)) {
        return false;
    }
    if (listCount == 0) return true;
    IndexFile index(fileNo);
    if (!index.ok()) return false;
    const unsigned long end = rangeStart + (rangeCount & ~kCountFlag);
    if (end > index.count()) return false;

    auto store = [&](unsigned long slot, unsigned long rec, const IndexEntry& e) {
        recs[slot] = rec;
        offsets[slot] = e.offset;
        SetGenres(&poi[slot], e);
    };
    auto markHere = [&](unsigned long rec, unsigned long counter) {
        m_dwMarkRecord = static_cast<uint32_t>(rec);
        m_dwMarkMatch = static_cast<uint32_t>(counter);
    };

    const bool sameListing = m_dwMarkStart == rangeStart && m_dwMarkGenre1 == g1 &&
                             m_dwMarkGenre2 == g2 && m_dwMarkGenre3 == g3 &&
                             m_dwMarkGenre4 == g4;
    IndexEntry e;
    if (sameListing && m_dwMarkMatch > listStart) {
        // Backwards from the bookmark, filling the page from its last slot.
        if (rangeStart > m_dwMarkRecord) return true;
        unsigned long counter = m_dwMarkMatch;
        unsigned long target = listStart + listCount - 1;
        long slot = static_cast<long>(listCount) - 1;
        for (unsigned long rec = m_dwMarkRecord;; --rec) {
            if (index.Read(rec, &e) && Passes(e, g1, g2, g3, g4)) {
                if (counter == target) {
                    store(static_cast<unsigned long>(slot), rec, e);
                    if (counter % listCount == 0) markHere(rec, counter);
                    --target;
                    --slot;
                }
                --counter;
            }
            if (slot < 0 || rec == rangeStart) break;
        }
        return true;
    }

    unsigned long rec;
    unsigned long counter;
    if (sameListing) {
        rec = m_dwMarkRecord;
        counter = m_dwMarkMatch;
    } else {
        m_dwMarkStart = static_cast<uint32_t>(rangeStart);
        m_dwMarkGenre1 = static_cast<uint32_t>(g1);
        m_dwMarkGenre2 = static_cast<uint32_t>(g2);
        m_dwMarkGenre3 = static_cast<uint32_t>(g3);
        m_dwMarkGenre4 = static_cast<uint32_t>(g4);
        m_dwMarkMatch = 0;
        m_dwMarkRecord = static_cast<uint32_t>(rangeStart);
        rec = rangeStart;
        counter = 0;
    }
    unsigned long filled = 0;
    for (; rec < end && filled < listCount; ++rec) {
        if (!index.Read(rec, &e)) break;
        if (!Passes(e, g1, g2, g3, g4)) continue;
        if (counter == listStart) {
            store(filled++, rec, e);
            if (counter % listCount == 0) markHere(rec, counter);
            ++listStart;
        }
        ++counter;
    }
    return true;
}

bool CSearchBaseDataProc::GetList(CLocationData* out, unsigned long firstId, unsigned long count,
                                  unsigned long listStart, unsigned long listCount,
                                  unsigned long g1, unsigned long g2, unsigned long g3,
                                  unsigned long g4) {
    if (listCount == 0) return true;  // nothing to list (the scan divides by listCount)
    if (out == nullptr) return false;
    const unsigned long f = (firstId >> 24) & 0xFF;
    if (!ValidFile(f)) return false;

    unsigned long* recs = new (std::nothrow) unsigned long[listCount];
    unsigned long* offsets = new (std::nothrow) unsigned long[listCount];
    CPoiData* work = new (std::nothrow) CPoiData[listCount];
    bool result = false;
    if (recs != nullptr && offsets != nullptr && work != nullptr) {
        for (unsigned long i = 0; i < listCount; ++i) {
            recs[i] = kNone;
            offsets[i] = kNone;
            out[i].FlushData();
        }
        genre::Normalise(&g2, &g3, &g4);
        if (LoadIndex(recs, offsets, work, f, firstId & 0xFFFFFF, count, listStart, listCount,
                      g1, g2, g3, g4)) {
            result = true;
            for (unsigned long i = 0; i < listCount && recs[i] != kNone; ++i) {
                if (!EnsureContainer(f, recs[i]) || !GetData(&work[i], offsets[i]) ||
                    !work[i].CopyData(&out[i])) {
                    result = false;
                    break;
                }
                out[i].dwID = static_cast<uint32_t>(recs[i] | (f << 24));
            }
            m_Arrival.GetData(out, listCount);
        }
    }
    delete[] recs;
    delete[] offsets;
    delete[] work;
    return result;
}

bool CSearchBaseDataProc::ConvInitial(unsigned char* out, unsigned long ch) {
    if (out == nullptr) return false;
    unsigned char src[2] = {static_cast<unsigned char>(ch), 0};
    return SjisToUtf8(out, src, 0) != 0;
}
