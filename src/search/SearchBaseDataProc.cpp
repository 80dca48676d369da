// Base POI data: 5-byte index entries, the container table, LZMA containers of 500 records and
// the bookmarked paged scan.
#include "search/SearchBaseDataProc.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "codec/DecodeToBuffer.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"
#include "search/AttrFlags.h"
#include "search/GenreFilter.h"

namespace {

constexpr uint32_t kNone = 0x7fffffff;
constexpr unsigned long kIndexEntry = 5;
constexpr unsigned long kContainerEntry = 3;
constexpr unsigned long kPerContainer = 500;
constexpr unsigned long kCountFlag = 0x8000;  // kana index flag, never part of a count
// The file numbers: the half-width katakana 0xA6 and 0xB1-0xDD that readings begin with.
constexpr unsigned long kFileWo = 0xA6;
constexpr unsigned long kFirstKanaFile = 0xB1;
constexpr unsigned long kLastKanaFile = 0xDD;
// A record: text of at most 383 bytes, its line feed, telephone number, two coordinates and
// the flag byte.
constexpr unsigned long kMaxText = 383;
constexpr unsigned long kFields = 4 + 3 + 3 + 1;
constexpr unsigned long kMaxRecord = kMaxText + 1 + kFields;
// Record offsets are 16-bit, so nothing past the last offset's longest record can be read: a
// container that decodes to more is damaged (and would only cost time and memory).
constexpr unsigned long kMaxContainer = 0xFFFF + kMaxRecord;

bool ValidFile(unsigned long f) {
    return f == kFileWo || (f >= kFirstKanaFile && f <= kLastKanaFile);
}

// The name of BASE/B<f>.<ext> under a data root, or null when the database is switched off
// (then neither path is tried).
const char* BaseFileName(char (&rel)[32], unsigned long f, const char* ext) {
    if (!CCommonProc::IsDBEnabled()) return nullptr;
    snprintf(rel, sizeof(rel), "%s/%s%03lu.%s", "BASE", "B", f, ext);
    return rel;
}

// One decoded index entry.
struct IndexEntry {
    uint32_t genre[genre::kPackedLevels];
    uint32_t offset;
};

// The ".IDX" of one base file, read through a small window so that scans in either direction
// cost one read per few hundred entries instead of one per entry.
class IndexFile {
public:
    explicit IndexFile(unsigned long f) : table_(BaseFileName(rel_, f, "IDX"), kIndexEntry) {}
    bool ok() const { return table_.ok(); }
    uint64_t count() const { return table_.count(); }

    // A single entry, read on its own (look-ups by id).
    bool ReadOne(uint64_t rec, IndexEntry* e) {
        unsigned char p[kIndexEntry];
        if (!table_.Read(rec, p)) return false;
        Decode(p, e);
        return true;
    }

    // An entry of a scan, served from the window.
    bool Read(uint64_t rec, IndexEntry* e) {
        if (rec >= count()) return false;
        if (rec < first_ || rec >= first_ + loaded_) {
            // Centre the window on rec so that forward and backward scans both profit.
            const uint64_t start = rec > kWindow / 2 ? rec - kWindow / 2 : 0;
            const long got = table_.ReadRange(start, kWindow, window_);
            first_ = start;
            loaded_ = got > 0 ? static_cast<uint64_t>(got) : 0;
            if (rec >= first_ + loaded_) return false;
        }
        Decode(window_ + (rec - first_) * kIndexEntry, e);
        return true;
    }

private:
    static void Decode(const unsigned char* p, IndexEntry* e) {
        const uint32_t codes = bytes::ReadU24LE(p);
        for (int level = 0; level < genre::kPackedLevels; ++level) {
            e->genre[level] = genre::UnpackLevel(codes, level);
        }
        e->offset = bytes::ReadU16LE(p + 3);
    }

    static constexpr uint64_t kWindow = 820;
    char rel_[32];
    TableFile table_;
    uint64_t first_ = 0;
    uint64_t loaded_ = 0;
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

CSearchBaseDataProc::~CSearchBaseDataProc() {
    FlushBuf();
}

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
    char rel[32];
    TableFile table(BaseFileName(rel, fileNo, "CNT"), kContainerEntry);
    // Container k runs from entry k to entry k + 1: both must be in the table.
    unsigned char pair[2 * kContainerEntry];
    if (!table.ok() || table.ReadRange(rec / kPerContainer, 2, pair) != 2) return false;
    const uint32_t first = bytes::ReadU24LE(pair);
    const uint32_t next = bytes::ReadU24LE(pair + kContainerEntry);
    if (next < first) return false;  // damaged table
    *start = first;
    *size = next - first;
    return true;
}

std::unique_ptr<unsigned char[]> CSearchBaseDataProc::ReadBlock(unsigned long fileNo,
                                                                unsigned long start,
                                                                unsigned long size) {
    if (!ValidFile(fileNo) || size == 0) return nullptr;
    char rel[32];
    const char* name = BaseFileName(rel, fileNo, "DAT");
    io::FileCloser file(name != nullptr ? OpenDataFile(name) : -1);
    if (file.fd() < 0) return nullptr;
    // A block that the file does not hold would be a short read: refused before the buffer
    // is allocated.
    const int64_t fileSize = io::FileSize(file.fd());
    if (fileSize < 0 || static_cast<uint64_t>(start) + size > static_cast<uint64_t>(fileSize)) {
        return nullptr;
    }
    std::unique_ptr<unsigned char[]> block(alloc::NewArray<unsigned char>(size));
    if (!block || !io::ReadExactly(file.fd(), block.get(), size, start)) return nullptr;
    return block;
}

bool CSearchBaseDataProc::LoadData(unsigned long fileNo, unsigned long start, unsigned long size) {
    delete[] m_pContainer;
    m_pContainer = nullptr;
    m_dwContainerLen = 0;
    const std::unique_ptr<unsigned char[]> block = ReadBlock(fileNo, start, size);
    if (!block) return false;
    // The decoded size plus one zeroed byte: a record at the very end that lacks only its
    // flag byte reads the spare zero as its flags.
    unsigned long decoded = 0;
    m_pContainer = codec::DecodeToNewBuffer(this, block.get(), size, &decoded, kMaxContainer);
    if (m_pContainer == nullptr) return false;
    m_dwContainerLen = decoded;
    return true;
}

namespace container_prefetch {
namespace {
std::atomic<bool> g_enabled{true};
}  // namespace

void SetEnabled(bool on) {
    g_enabled = on;
}
}  // namespace container_prefetch

void CSearchBaseDataProc::PrefetchContainers(const unsigned long* ids, unsigned long n) {
    // Worth it only with a second CPU, a memo to keep the decodes and two blocks to share out.
    const size_t capacity = codec::block_cache::Capacity();
    if (!container_prefetch::g_enabled || ids == nullptr || n < 2 || capacity == 0 ||
        std::thread::hardware_concurrency() < 2) {
        return;
    }
    struct Container {
        unsigned long file, rec;
        unsigned long size;  // of its block, once read
    };
    std::vector<Container> todo;
    std::vector<uint64_t> seen;
    for (unsigned long i = 0; i < n; ++i) {
        const unsigned long f = (ids[i] >> 24) & 0xFF;
        const unsigned long r = ids[i] & 0xFFFFFF;
        const uint32_t k = static_cast<uint32_t>(r / kPerContainer);
        if (!ValidFile(f) || (m_dwLoadedFile == f && m_dwLoadedContainer == k)) continue;
        const uint64_t key = static_cast<uint64_t>(f) << 32 | k;
        if (std::find(seen.begin(), seen.end(), key) != seen.end()) continue;
        seen.push_back(key);
        todo.push_back(Container{f, r, 0});
    }
    if (todo.size() < 2) return;

    // Container j's compressed block; null when it cannot be had. Touches no member: both
    // threads run it on this object.
    auto read = [this, &todo](size_t j) -> std::unique_ptr<unsigned char[]> {
        unsigned long start = 0, size = 0;
        if (!LoadContainerOffset(&start, &size, todo[j].file, todo[j].rec)) return nullptr;
        std::unique_ptr<unsigned char[]> block = ReadBlock(todo[j].file, start, size);
        todo[j].size = block ? size : 0;
        return block;
    };
    // Decodes a block into the memo unless it is there, within the page's budget.
    std::atomic<uint64_t> budget{capacity / 2};  // the page's blocks must not evict each other
    auto decode = [&budget](unsigned char* block, unsigned long size) {
        if (block == nullptr || codec::block_cache::Contains(block, size)) return;
        CMarlinDataProc decoder;
        const unsigned long claimed = decoder.Decode(nullptr, block, size);
        if (claimed > kMaxContainer) return;
        const uint64_t cost = static_cast<uint64_t>(size) + claimed;
        uint64_t left = budget.load();
        do {
            if (left < cost) return;
        } while (!budget.compare_exchange_weak(left, left - cost));
        unsigned long len = 0;
        delete[] codec::DecodeToNewBuffer(&decoder, block, size, &len, kMaxContainer);
    };
    // A page whose first container is decoded already is taken as warm: no helper thread.
    const std::unique_ptr<unsigned char[]> first = read(0);
    if (first && codec::block_cache::Contains(first.get(), todo[0].size)) return;
    std::atomic<size_t> next{1};
    auto work = [&read, &decode, &next, &todo] {
        for (size_t j; (j = next.fetch_add(1)) < todo.size();) {
            const std::unique_ptr<unsigned char[]> block = read(j);
            decode(block.get(), todo[j].size);
        }
    };
    std::thread helper;
    try {
        helper = std::thread(work);
    } catch (const std::system_error&) {
        return;  // no thread to be had: the look-ups decode as usual
    }
    decode(first.get(), todo[0].size);
    work();
    helper.join();
}

bool CSearchBaseDataProc::GetData(CPoiData* poi, unsigned long offset) {
    if (poi == nullptr || m_pContainer == nullptr || offset >= m_dwContainerLen) return false;
    memset(poi->szName, 0, sizeof(poi->szName));
    poi->lLon = 0;
    poi->lLat = 0;
    const unsigned char* p = m_pContainer + offset;
    const unsigned char* end = m_pContainer + m_dwContainerLen;  // the spare zero byte follows
    const unsigned char* lf = static_cast<const unsigned char*>(memchr(p, 0x0A, end - p));
    if (lf == nullptr || (end + 1) - (lf + 1) < static_cast<long>(kFields)) return false;
    // The text must fit the text area; longer text from damaged data is cut, keeping its end.
    size_t len = static_cast<size_t>(lf - p);
    if (len > sizeof(poi->szName) - 2) len = sizeof(poi->szName) - 2;
    memcpy(poi->szName, p, len);
    const unsigned char* q = lf + 1;
    poi->dwTelNo = bytes::ReadU32LE(q);
    poi->lLon = bytes::WidenLongitude(bytes::ReadU24LE(q + 4));
    poi->lLat = bytes::WidenLatitude(bytes::ReadU24LE(q + 7));
    poi->dwAttr += attr_flags::Decimal(q[10]);
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
    const uint64_t end = static_cast<uint64_t>(start) + (count & ~kCountFlag);
    if (end > index.count()) return 0;
    ResetBookmark();
    unsigned long total = 0;
    IndexEntry e;
    for (unsigned long rec = start; rec < end; ++rec) {
        if (!index.Read(rec, &e)) return 0;  // a read error, not the range's end
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
    const uint64_t end = static_cast<uint64_t>(rangeStart) + (rangeCount & ~kCountFlag);
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
                             m_dwMarkGenre2 == g2 && m_dwMarkGenre3 == g3 && m_dwMarkGenre4 == g4;
    IndexEntry e;
    if (sameListing && m_dwMarkMatch > listStart) {
        // Backwards from the bookmark, filling the page from its last slot.
        if (rangeStart > m_dwMarkRecord) return true;
        unsigned long counter = m_dwMarkMatch;
        unsigned long target = listStart + listCount - 1;
        long slot = static_cast<long>(listCount) - 1;
        for (unsigned long rec = m_dwMarkRecord;; --rec) {
            // A bookmark of another file's listing may lie past this index: such entries are
            // skipped; a read error inside it fails.
            const bool held = rec < index.count();
            if (held && !index.Read(rec, &e)) return false;
            if (held && Passes(e, g1, g2, g3, g4)) {
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
        if (!index.Read(rec, &e)) return false;
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

    // A count no allocation can hold is refused here, not thrown.
    unsigned long* recs = alloc::NewArray<unsigned long>(listCount);
    unsigned long* offsets = alloc::NewArray<unsigned long>(listCount);
    CPoiData* work = alloc::NewArray<CPoiData>(listCount);
    bool result = false;
    if (recs != nullptr && offsets != nullptr && work != nullptr) {
        for (unsigned long i = 0; i < listCount; ++i) {
            recs[i] = kNone;
            offsets[i] = kNone;
            out[i].FlushData();
        }
        genre::Normalise(&g2, &g3, &g4);
        if (LoadIndex(recs, offsets, work, f, firstId & 0xFFFFFF, count, listStart, listCount, g1,
                      g2, g3, g4)) {
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
