// Household and company telephone search: the lower-bound search of the "H"/"CP" index, the
// forward scan of equal keys, the 3-byte container table and the LZMA containers of records.
// Every call opens the "HOMEPHONE" pack folder and closes it before it returns.
#include "search/SearchHomePhoneProc.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "codec/DecodeToBuffer.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/EntryWindow.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"
#include "search/ArrayRelease.h"
#include "search/AttrFlags.h"
#include "search/PhoneKey.h"
#include "search/ReadingKey.h"

namespace {

constexpr unsigned long kCompany = 2;
constexpr unsigned long kHousehold = 3;
constexpr uint64_t kIndexEntry = 6;
constexpr uint64_t kContainerEntry = 3;
constexpr unsigned long kPerContainer = 1000;
constexpr uint64_t kScanWindow = 256;  // index entries read at once by the forward scan
// A reading of more than this many bytes (without its terminator) never matches: it fails.
constexpr size_t kMaxReading = 129;
// Line 2 goes into szName, which must keep the two NULs that end its string list.
constexpr size_t kMaxText = sizeof(CLocationData::szName) - 2;
constexpr unsigned long kFields = 3 + 3 + 1;

// "H%03d.<ext>" or "CP%03d.<ext>" for the selector.
void FileName(char (&name)[32], unsigned long kind, uint32_t selector, const char* ext) {
    snprintf(name, sizeof(name), "%s%03u.%s", kind == kCompany ? "CP" : "H",
             static_cast<unsigned>(selector), ext);
}

// Normalised reading key of a NUL-terminated reading of at most kMaxReading bytes; false when
// it is longer.
bool ReadingKey(const unsigned char* in, unsigned char (&out)[kMaxReading + 1], size_t* len) {
    if (in == nullptr) return false;
    if (strnlen(reinterpret_cast<const char*>(in), kMaxReading + 1) > kMaxReading) return false;
    *len = reading::Normalise(in, out, kMaxReading);
    return true;
}

// Appends the record at `offset` of a decoded container (reading line, text line, longitude,
// latitude, flags) as a result with telephone number `key`. With a reading, only a record whose
// normalised reading equals it is appended (a mismatch is no failure). A record that runs past
// the container, or a reading longer than 129 bytes, fails.
bool AppendRecord(const unsigned char* container, unsigned long len, unsigned long offset,
                  uint32_t key, const unsigned char* reading, CArrayData<CLocationData>* results) {
    if (offset >= len) return false;
    const unsigned char* p = container + offset;
    const unsigned char* end = container + len;
    const unsigned char* lf1 = static_cast<const unsigned char*>(memchr(p, 0x0A, end - p));
    if (lf1 == nullptr) return false;
    const unsigned char* text = lf1 + 1;
    const unsigned char* lf2 = static_cast<const unsigned char*>(memchr(text, 0x0A, end - text));
    if (lf2 == nullptr || end - (lf2 + 1) < static_cast<long>(kFields)) return false;

    const size_t lineLen = static_cast<size_t>(lf1 - p);
    if (lineLen > kMaxReading) return false;
    if (reading != nullptr) {
        unsigned char line[kMaxReading + 1] = {};
        memcpy(line, p, lineLen);
        unsigned char given[kMaxReading + 1];
        unsigned char stored[kMaxReading + 1];
        size_t givenLen = 0;
        size_t storedLen = 0;
        if (!ReadingKey(reading, given, &givenLen) || !ReadingKey(line, stored, &storedLen)) {
            return false;
        }
        if (givenLen != storedLen || memcmp(given, stored, givenLen) != 0) return true;
    }

    CLocationData rec;
    rec.FlushData();
    // Longer text (only in damaged data) is cut so that the string list stays ended.
    const size_t textLen = static_cast<size_t>(lf2 - text);
    memcpy(rec.szName, text, textLen < kMaxText ? textLen : kMaxText);
    const unsigned char* q = lf2 + 1;
    rec.lLon = bytes::WidenLongitude(bytes::ReadU24LE(q));
    rec.lLat = bytes::WidenLatitude(bytes::ReadU24LE(q + 3));
    rec.dwAttr += attr_flags::Decimal(q[6]);
    rec.dwTelNo = key;
    return results->Add(&rec);
}

// The records of every hit, in hit order: container offsets, the container (decoded once for
// the hits it holds in a row), the record; a household reading filters them. The result is
// that of the last record read; a container offset that cannot be read fails, a container
// that cannot be loaded ends the list without failure. With no hits nothing failed: true.
bool BuildRecords(CSearchHomePhoneProc* proc, CArrayData<CHomePhoneOffsetData>* hits,
                  CArrayData<CLocationData>* results, unsigned long kind, unsigned char* reading) {
    bool ok = true;
    bool loaded = false;
    unsigned long loadedStart = 0;
    unsigned long loadedSize = 0;
    for (unsigned long i = 0; i < hits->dwCount; ++i) {
        CHomePhoneOffsetData hit;
        unsigned long start = 0;
        unsigned long size = 0;
        if (!hits->GetAt(&hit, i) || !proc->LoadContainerOffset(&start, &size, kind, hit.dwEntry)) {
            return false;
        }
        if (!loaded || start != loadedStart || size != loadedSize) {
            if (!proc->LoadData(kind, start, size)) return true;
            loaded = true;
            loadedStart = start;
            loadedSize = size;
        }
        ok = kind == kCompany ? proc->GetData(results, hit.dwOffset)
                              : proc->GetData(results, hit.dwOffset, reading);
    }
    return ok;
}

}  // namespace

CSearchHomePhoneProc::CSearchHomePhoneProc()
    : m_pContainer(nullptr), m_dwContainerLen(0), m_dwKey(0), m_dwSelector(0) {}

CSearchHomePhoneProc::~CSearchHomePhoneProc() {
    FlushBuf();
}

void CSearchHomePhoneProc::FlushBuf() {
    delete[] m_pContainer;
    m_pContainer = nullptr;
    m_dwContainerLen = 0;
}

bool CSearchHomePhoneProc::SearchHomeProc(unsigned long* count, unsigned char* number) {
    m_blCancel = false;
    FlushBuf();
    ReleaseAll(&m_Hits);
    if (count != nullptr) *count = 0;
    const phone_key::Key key = phone_key::Directory(number);
    if (!key.accepted) return true;  // an impossible number: no hits, no error
    m_dwKey = key.value;
    m_dwSelector = phone_key::Selector(key.value);
    if (!IsDBEnabled() || !OpenDataFolder("HOMEPHONE")) return false;
    const bool ok = LoadIndex(&m_Hits, kHousehold);
    if (count != nullptr) *count = m_Hits.dwCount;
    ClosePackFolder();
    return ok;
}

bool CSearchHomePhoneProc::SearchCompanyProc(unsigned long* count, unsigned char* number) {
    m_blCancel = false;
    FlushBuf();
    ReleaseAll(&m_Hits);
    ReleaseAll(&m_Results);
    if (count != nullptr) *count = 0;
    const phone_key::Key key = phone_key::Directory(number);
    if (!key.accepted) return true;
    m_dwKey = key.value;
    m_dwSelector = phone_key::Selector(key.value);
    if (!IsDBEnabled() || !OpenDataFolder("HOMEPHONE")) return false;
    const bool ok =
        LoadIndex(&m_Hits, kCompany) && BuildRecords(this, &m_Hits, &m_Results, kCompany, nullptr);
    ClosePackFolder();
    if (count != nullptr) *count = m_Results.dwCount;
    return ok;
}

bool CSearchHomePhoneProc::CheckProc(unsigned long* count, unsigned char* reading) {
    ReleaseAll(&m_Results);
    if (count != nullptr) *count = 0;
    if (!IsDBEnabled() || !OpenDataFolder("HOMEPHONE")) return false;
    const bool ok = BuildRecords(this, &m_Hits, &m_Results, kHousehold, reading);
    ClosePackFolder();
    if (count != nullptr) *count = m_Results.dwCount;
    return ok;
}

bool CSearchHomePhoneProc::GetList(CLocationData* out, unsigned long start, unsigned long count) {
    if (m_Results.dwCount == 0 || (out == nullptr && count != 0)) return false;
    for (uint64_t i = 0; i < count && start + i < m_Results.dwCount; ++i) {
        if (!m_Results.GetAt(&out[i], static_cast<unsigned long>(start + i))) return false;
    }
    return true;
}

bool CSearchHomePhoneProc::LoadIndex(CArrayData<CHomePhoneOffsetData>* hits, unsigned long kind) {
    if (hits == nullptr) return false;
    char name[32];
    FileName(name, kind, m_dwSelector, "idx");
    if (!OpenPackFile(name)) return true;  // no such directory part: no hits
    const uint64_t n = table::EntryCount(GetPackFileSize(), kIndexEntry);
    if (n == 0) return false;

    // Lower bound: a probe whose key is at least the wanted one goes down, a smaller one goes
    // up; when going up stops, the first candidate is the entry after the last probe. The
    // probe rule (start at n / 2, then halfway to the bound) is the common one.
    const uint32_t wanted = m_dwKey;
    bool wentUp = false;
    unsigned char entry[kIndexEntry];
    EntryWindow probes(kIndexEntry, n);
    const index_search::Result r = index_search::Find(n, [&](uint64_t i) {
        wentUp = false;
        if (!ReadPackEntry(&probes, i, entry)) {
            return index_search::Probe::kUnreadable;  // stops where it is
        }
        wentUp = bytes::ReadU32LE(entry) < wanted;
        return wentUp ? index_search::Probe::kKeyGreater : index_search::Probe::kKeyLess;
    });
    uint64_t i = r.index + (wentUp ? 1 : 0);

    // Forward over the run of equal keys, a window of entries per read.
    unsigned char window[kScanWindow * kIndexEntry];
    while (i < n) {
        const uint64_t want = n - i < kScanWindow ? n - i : kScanWindow;
        const uint64_t got = ReadPackEntries(i, want, kIndexEntry, window) / kIndexEntry;
        if (got == 0) break;
        for (uint64_t k = 0; k < got; ++k, ++i) {
            const unsigned char* e = window + k * kIndexEntry;
            const uint32_t key = bytes::ReadU32LE(e);
            if (key > wanted) return true;
            if (key < wanted) continue;
            CHomePhoneOffsetData hit = {static_cast<uint32_t>(i), bytes::ReadU16LE(e + 4)};
            if (!hits->Add(&hit)) return true;  // a full list keeps the hits found so far
        }
        if (got < want) break;
    }
    return true;
}

bool CSearchHomePhoneProc::LoadContainerOffset(unsigned long* start, unsigned long* size,
                                               unsigned long kind, unsigned long entry) {
    if (start == nullptr || size == nullptr) return false;
    char name[32];
    FileName(name, kind, m_dwSelector, "cnt");
    if (!OpenPackFile(name)) return false;
    const uint64_t k = entry / kPerContainer;
    const uint64_t m = table::EntryCount(GetPackFileSize(), kContainerEntry);
    if (k >= m) return false;
    // Container k runs to the offset of container k + 1. The table holds one entry per
    // container, so the last container runs to the end of the data file.
    unsigned char pair[2 * kContainerEntry];
    const uint64_t entries = k + 1 < m ? 2 : 1;
    if (ReadPackEntries(k, entries, kContainerEntry, pair) != entries * kContainerEntry) {
        return false;
    }
    const uint32_t first = bytes::ReadU24LE(pair);
    uint64_t end;
    if (entries == 2) {
        end = bytes::ReadU24LE(pair + kContainerEntry);
    } else {
        FileName(name, kind, m_dwSelector, "dat");
        if (!OpenPackFile(name)) return false;
        end = GetPackFileSize();
    }
    if (end <= first) return false;  // damaged table, or an end entry of no container
    *start = first;
    *size = static_cast<unsigned long>(end - first);
    return true;
}

bool CSearchHomePhoneProc::LoadData(unsigned long kind, unsigned long start, unsigned long size) {
    FlushBuf();
    char name[32];
    FileName(name, kind, m_dwSelector, "dat");
    if (!OpenPackFile(name)) return true;  // nothing loaded
    // The block must lie within what the packed file really holds before anything is
    // allocated for it.
    if (size == 0 || size > ReadableSize(start)) return false;
    std::unique_ptr<unsigned char[]> block(alloc::NewArray<unsigned char>(size));
    if (!block || ReadPackFile(block.get(), start, size) != size) return false;
    unsigned long decoded = 0;
    m_pContainer = codec::DecodeToNewBuffer(this, block.get(), size, &decoded);
    if (m_pContainer == nullptr) return false;
    m_dwContainerLen = decoded;
    return true;
}

bool CSearchHomePhoneProc::GetData(CArrayData<CLocationData>* results, unsigned long offset) {
    if (results == nullptr || m_pContainer == nullptr) return false;
    return AppendRecord(m_pContainer, m_dwContainerLen, offset, m_dwKey, nullptr, results);
}

bool CSearchHomePhoneProc::GetData(CArrayData<CLocationData>* results, unsigned long offset,
                                   unsigned char* reading) {
    if (results == nullptr || m_pContainer == nullptr || reading == nullptr) return false;
    return AppendRecord(m_pContainer, m_dwContainerLen, offset, m_dwKey, reading, results);
}
