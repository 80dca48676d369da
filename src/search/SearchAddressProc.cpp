// Address hierarchy search: the level machine over the "ADDRESS" level files, the 500-record
// block cache a list is paged through, the kana-row index and the "REFINE" annotations. A list
// is counted when it is entered; its records are decoded again, one block at a time, when read.
#include "search/SearchAddressProc.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/DecodeToBuffer.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"
#include "foundation/TableFile.h"
#include "search/ArrayRelease.h"

namespace {

constexpr uint32_t kLeaf = 0x3fffffff;   // child start of an item without children
constexpr uint32_t kNoRow = 0x3fffffff;  // kana row without items
constexpr unsigned long kBlock = 500;    // records per compressed block
constexpr unsigned long kPrefectures = 47;
constexpr unsigned long kDeepestLevel = 7;
constexpr uint64_t kOffsetEntry = 3;
// A name keeps room for the two NULs that end the text area.
constexpr size_t kMaxName = sizeof(CLocationData::szName) - 2;
constexpr unsigned char kCity[] = {0x8E, 0x73};  // 市
constexpr unsigned char kRepresentative[] = {0x91, 0xE3, 0x95, 0x5C,
                                             0x92, 0x6E, 0x93, 0x5F};  // 代表地点

// Kana row of a half-width katakana first letter: ｦ is row 9 (わ), ｱ..ﾖ rows 0-7 in fives,
// ﾗ.. rows 8 and 9; none for other bytes.
int KanaRow(unsigned char c) {
    int row = -1;
    if (c == 0xA6) {
        row = 9;
    } else if (c >= 0xB1 && c <= 0xD6) {
        row = (c - 0xB1) / 5;
    } else if (c > 0xD6) {
        row = (c - 0xD7) / 5 + 8;
    }
    return row >= 0 && row < 10 ? row : -1;
}

bool IsDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

// "A.dat" at level 0, "A<pp>-<level>.<ext>" below.
void LevelFileName(char (&name)[32], unsigned long prefecture, unsigned long level,
                   const char* ext) {
    if (level == 0) {
        snprintf(name, sizeof(name), "A.%s", ext);
    } else {
        snprintf(name, sizeof(name), "A%02lu-%lu.%s", prefecture, level, ext);
    }
}

// Closes the pack folder on every way out of a scope.
template <typename T>
struct FolderCloser {
    T* proc;
    ~FolderCloser() { proc->ClosePackFolder(); }
};

}  // namespace

CAddressData::CAddressData()
    : dwBlockStart(0), dwChildCount(0), dwChildStart(kLeaf), dwListPos(0) {}
CAddressData::~CAddressData() {}

unsigned long CAddressData::SetData(unsigned char* data, unsigned long level) {
    return SetDataWithin(data, level, ULONG_MAX);
}

unsigned long CAddressData::SetDataWithin(unsigned char* data, unsigned long level,
                                          unsigned long size) {
    const unsigned long head = level <= 2 ? 9 : 8;
    if (data == nullptr || size < head + 1 + 6) return 0;
    const unsigned char* name = data + head;
    // A plain scan: the unbounded form passes no real size, which memchr must not be given.
    unsigned long at = 0;
    while (at < size - head && name[at] != 0x0A) ++at;
    if (at == size - head) return 0;
    const unsigned char* lf = name + at;
    const unsigned long length = static_cast<unsigned long>(lf + 1 - data) + 6;
    if (length > size) return 0;

    FlushData();
    dwChildStart = bytes::ReadU32LE(data);
    dwChildCount = bytes::ReadU32LE(data + 4);
    dwWork = level <= 2 ? data[8] : 0;
    // A longer name (only in damaged data) is cut so that the text area stays ended.
    size_t n = static_cast<size_t>(lf - name);
    if (n > kMaxName) n = kMaxName;
    memcpy(szName, name, n);
    if (level == 1 && dwChildStart == kLeaf && n >= sizeof(kCity) &&
        memcmp(name + n - sizeof(kCity), kCity, sizeof(kCity)) == 0 &&
        n + sizeof(kRepresentative) <= kMaxName) {
        memcpy(szName + n, kRepresentative, sizeof(kRepresentative));
    }
    lLon = bytes::WidenLongitude(bytes::ReadU24LE(lf + 1));
    lLat = bytes::WidenLatitude(bytes::ReadU24LE(lf + 4));
    return length;
}

CSearchAddressProc::CSearchAddressProc() : m_pCache(nullptr) {
    FlushBuf();
}

CSearchAddressProc::~CSearchAddressProc() {
    FlushBuf();
}

void CSearchAddressProc::FlushBuf() {
    delete[] m_pCache;
    m_pCache = nullptr;
    ReleaseAll(&m_Path);
    for (uint32_t& row : m_dwKanaIndex) row = kNoRow;
    m_dwListStart = 0;
    m_dwFirstBlockLen = kBlock;
    m_dwCacheStart = 0;
    m_dwCacheEnd = 0;
    m_dwListCount = 0;
    m_dwPrefecture = 0;
    m_dwLevel = 0;
}

int CSearchAddressProc::InitProc(unsigned long* count) {
    m_blCancel = false;
    FlushBuf();
    m_pCache = alloc::NewArray<CAddressData>(kBlock);
    if (m_pCache == nullptr) return 0;
    const int n = SearchPrefProc();
    if (count != nullptr) *count = static_cast<unsigned long>(n);
    return n;
}

int CSearchAddressProc::SearchPrefProc() {
    m_dwPrefecture = 0;
    m_dwLevel = 0;
    m_dwListStart = 0;
    m_dwFirstBlockLen = kBlock;
    return static_cast<int>(LoadData(0, 0, 0, kPrefectures));
}

bool CSearchAddressProc::OpenLevelFolder(unsigned long prefecture, unsigned long level) {
    char folder[48];
    char base[16];
    if (level == 0) {
        snprintf(base, sizeof(base), "A");
    } else {
        snprintf(base, sizeof(base), "A%02lu", prefecture);
    }
    snprintf(folder, sizeof(folder), "ADDRESS/%s", base);
    return OpenDataFolder(folder, base) != 0;
}

unsigned long CSearchAddressProc::LoadContainerOffset(unsigned long* offset, unsigned long* size,
                                                      unsigned long prefecture, unsigned long level,
                                                      unsigned long block) {
    if (offset == nullptr || size == nullptr) return 0;
    if (level == 0) {
        // The prefecture file is one block from the end of its header to the end of the file.
        if (block != 0) return 0;
        *offset = static_cast<unsigned long>(table::kHeaderSize);
        *size = 0;
        return 1;
    }
    char name[32];
    LevelFileName(name, prefecture, level, "cnt");
    if (!OpenPackFile(name)) return 0;
    // Block k runs from entry k to entry k + 1: the table ends with an end entry.
    if (static_cast<uint64_t>(block) + 1 >= table::EntryCount(GetPackFileSize(), kOffsetEntry)) {
        return 0;
    }
    unsigned char pair[2 * kOffsetEntry];
    if (ReadPackEntries(block, 2, kOffsetEntry, pair) != sizeof(pair)) return 0;
    const uint32_t first = bytes::ReadU24LE(pair);
    const uint32_t end = bytes::ReadU24LE(pair + kOffsetEntry);
    if (end <= first) return 0;
    *offset = first;
    *size = end - first;
    return 1;
}

unsigned char* CSearchAddressProc::LoadBlock(unsigned long prefecture, unsigned long level,
                                             unsigned long block, unsigned long* len) {
    unsigned long offset = 0;
    unsigned long size = 0;
    if (!LoadContainerOffset(&offset, &size, prefecture, level, block)) return nullptr;
    char name[32];
    LevelFileName(name, prefecture, level, "dat");
    if (!OpenPackFile(name)) return nullptr;
    // The block must lie within what the packed file really holds before anything is
    // allocated for it.
    const unsigned long readable = ReadableSize(offset);
    if (size == 0) size = readable;
    if (size == 0 || size > readable) return nullptr;
    std::unique_ptr<unsigned char[]> raw(alloc::NewArray<unsigned char>(size));
    if (!raw || ReadPackFile(raw.get(), offset, size) != size) return nullptr;
    return codec::DecodeToNewBuffer(this, raw.get(), size, len);
}

unsigned long CSearchAddressProc::LoadData(unsigned long prefecture, unsigned long level,
                                           unsigned long start, unsigned long count) {
    for (uint32_t& row : m_dwKanaIndex) row = kNoRow;
    m_dwListCount = 0;
    m_dwCacheStart = 0;
    m_dwCacheEnd = 0;
    if (level > kDeepestLevel || count == 0) return 0;
    if (!OpenLevelFolder(prefecture, level)) return 0;
    FolderCloser<CSearchAddressProc> closer{this};

    unsigned long listed = 0;
    CAddressData record;
    for (unsigned long block = start / kBlock;; ++block) {
        unsigned long len = 0;
        std::unique_ptr<unsigned char[]> data(LoadBlock(prefecture, level, block, &len));
        if (!data) break;
        unsigned long pos = 0;
        uint64_t index = static_cast<uint64_t>(block) * kBlock;
        for (unsigned long r = 0; r < kBlock && pos < len && listed < count; ++r, ++index) {
            const unsigned long n = record.SetDataWithin(data.get() + pos, level, len - pos);
            if (n == 0) break;
            pos += n;
            if (index < start) continue;
            if (level <= 2) {
                const int row = KanaRow(static_cast<unsigned char>(record.dwWork));
                if (row >= 0 && m_dwKanaIndex[row] == kNoRow) m_dwKanaIndex[row] = listed;
            }
            ++listed;
        }
        // The prefecture file is a single block that may hold fewer than 47 items.
        if (listed == count || level == 0) {
            m_dwListCount = static_cast<uint32_t>(listed);
            return listed;
        }
    }
    // The level file holds fewer items than the parent claims: damaged.
    for (uint32_t& row : m_dwKanaIndex) row = kNoRow;
    return 0;
}

unsigned long CSearchAddressProc::GetDataSub(unsigned long position) {
    m_dwCacheStart = 0;
    m_dwCacheEnd = 0;
    if (m_pCache == nullptr || position >= m_dwListCount) return 0;
    unsigned long block = m_dwListStart / kBlock;
    unsigned long skip = m_dwListStart % kBlock;
    unsigned long cacheStart = 0;
    if (position >= m_dwFirstBlockLen) {
        const unsigned long later = (position - m_dwFirstBlockLen) / kBlock;
        block += later + 1;
        skip = 0;
        cacheStart = m_dwFirstBlockLen + kBlock * later;
    }
    if (!OpenLevelFolder(m_dwPrefecture, m_dwLevel)) return 0;
    FolderCloser<CSearchAddressProc> closer{this};
    unsigned long len = 0;
    std::unique_ptr<unsigned char[]> data(LoadBlock(m_dwPrefecture, m_dwLevel, block, &len));
    if (!data) return 0;

    unsigned long pos = 0;
    unsigned long copied = 0;
    CAddressData skipped;
    for (unsigned long r = 0; r < kBlock && pos < len; ++r) {
        CAddressData* rec = r < skip ? &skipped : &m_pCache[copied];
        const unsigned long n = rec->SetDataWithin(data.get() + pos, m_dwLevel, len - pos);
        if (n == 0) break;
        pos += n;
        if (r < skip) continue;
        rec->dwBlockStart = static_cast<uint32_t>(block * kBlock);
        rec->dwListPos = 0;
        ++copied;
    }
    m_dwCacheStart = static_cast<uint32_t>(cacheStart);
    m_dwCacheEnd = static_cast<uint32_t>(cacheStart + copied);
    return copied;
}

unsigned long CSearchAddressProc::GetData(CAddressData* out, unsigned long start,
                                          unsigned long count) {
    if (out == nullptr || count > kBlock || m_pCache == nullptr) return 0;
    unsigned long n = 0;
    for (unsigned long p = start; n < count && p < m_dwListCount; ++p, ++n) {
        if (p < m_dwCacheStart || p >= m_dwCacheEnd) {
            if (!GetDataSub(p) || p < m_dwCacheStart || p >= m_dwCacheEnd) break;
        }
        out[n] = m_pCache[p - m_dwCacheStart];
    }
    return n;
}

unsigned long CSearchAddressProc::Choose(unsigned long position, CAddressData* item) {
    if (position >= m_dwListCount || GetData(item, position, 1) != 1) return 0;
    item->dwListPos = static_cast<uint32_t>(position);
    if (!m_Path.Add(item)) return 0;
    if (item->dwChildStart == kLeaf) {
        ++m_dwLevel;
        return kLeaf;
    }
    return 1;
}

unsigned long CSearchAddressProc::SearchNextProc(unsigned long* count, unsigned long position) {
    CAddressData item;
    const unsigned long r = Choose(position, &item);
    if (r != 1) return r;
    // On a load failure the item stays on the path and the level below it is entered with an
    // empty list, so that BackToPrevProc still returns to where the choice was made.
    const unsigned long n = SearchNextProcSub(&item);
    if (count != nullptr) *count = n;
    return n;
}

unsigned long CSearchAddressProc::SearchNumberProc(unsigned long* count, long number) {
    char text[24] = {};
    snprintf(text, sizeof(text), "%ld", number);
    // The first five bytes decide, so 123456 chooses an item named 12345 (deliberate).
    CAddressData page[32];
    for (unsigned long p = 0; p < m_dwListCount;) {
        const unsigned long n = GetData(page, p, sizeof(page) / sizeof(page[0]));
        if (n == 0) return 0;
        for (unsigned long i = 0; i < n; ++i) {
            if (strncmp(page[i].szName, text, 5) == 0) return SearchNextProc(count, p + i);
        }
        p += n;
    }
    return 0;
}

unsigned long CSearchAddressProc::SearchNextProcSub(CAddressData* item) {
    if (item == nullptr) return 0;
    if (m_dwLevel == 0) {
        m_dwPrefecture = item->dwChildStart;
        m_dwListStart = 0;
    } else if (m_dwLevel < kDeepestLevel) {
        m_dwListStart = item->dwChildStart;
    } else {
        return 0;
    }
    ++m_dwLevel;
    m_dwFirstBlockLen = static_cast<uint32_t>(kBlock - m_dwListStart % kBlock);
    return LoadData(m_dwPrefecture, m_dwLevel, m_dwListStart, item->dwChildCount);
}

unsigned long CSearchAddressProc::BackToPrevProc(unsigned long* count, unsigned long* position) {
    // Levels 1 to 7 only: after a leaf of a level-7 list (level 8) the host starts again with
    // InitProc. Deliberate.
    if (m_dwLevel < 1 || m_dwLevel > kDeepestLevel || m_Path.dwCount == 0) return 0;
    CAddressData item;
    if (!m_Path.GetAt(&item, m_Path.dwCount - 1)) return 0;
    if (position != nullptr) *position = item.dwListPos;
    m_Path.DeleteAt(m_Path.dwCount - 1);
    unsigned long n = 0;
    if (m_dwLevel == 1) {
        n = static_cast<unsigned long>(SearchPrefProc());
    } else {
        if (m_Path.dwCount == 0 || !m_Path.GetAt(&item, m_Path.dwCount - 1)) return 0;
        m_dwLevel -= 2;
        n = SearchNextProcSub(&item);
    }
    if (count != nullptr) *count = n;
    return n;
}

void CSearchAddressProc::Refine(CLocationData* out, unsigned long start, unsigned long n,
                                unsigned long genre1, unsigned long genre2, unsigned long genre3) {
    if (genre1 == 255 || n == 0 || m_dwLevel > 1 || !IsDBEnabled()) return;
    if (!OpenDataFolder("REFINE")) return;  // no refinement data: every item stays enabled
    FolderCloser<CSearchAddressProc> closer{this};
    char name[48];
    if (m_dwLevel == 0) {
        // A prefecture has data when its file exists.
        for (unsigned long i = 0; i < n; ++i) {
            snprintf(name, sizeof(name), "R%02lu%02lu%03lu%03lu", start + i, genre1, genre2,
                     genre3);
            if (!OpenPackFile(name)) out[i].dwEnable = 0;
        }
        return;
    }
    // A city list: one bit per list position after the 16-byte header, most significant first.
    snprintf(name, sizeof(name), "R%02lu%02lu%03lu%03lu",
             static_cast<unsigned long>(m_dwPrefecture), genre1, genre2, genre3);
    if (!OpenPackFile(name)) return;
    const uint64_t first = table::kHeaderSize + start / 8;
    const uint64_t last = table::kHeaderSize + (static_cast<uint64_t>(start) + n - 1) / 8;
    if (first > GetPackFileSize()) return;
    uint64_t want = last - first + 1;
    const unsigned long readable = ReadableSize(static_cast<unsigned long>(first));
    if (want > readable) want = readable;
    if (want == 0) return;
    std::unique_ptr<unsigned char[]> bits(alloc::NewArray<unsigned char>(want));
    if (!bits || ReadPackAt(first, want, bits.get()) != want) return;
    for (unsigned long i = 0; i < n; ++i) {
        const uint64_t p = static_cast<uint64_t>(start) + i;
        const uint64_t at = table::kHeaderSize + p / 8 - first;
        if (at >= want) break;  // past the end of the bitmap: stays enabled
        if ((bits[at] & (0x80 >> (p % 8))) == 0) out[i].dwEnable = 0;
    }
}

unsigned long CSearchAddressProc::GetList(CLocationData* out, unsigned long start,
                                          unsigned long count, unsigned long genre1,
                                          unsigned long genre2, unsigned long genre3) {
    if (out == nullptr && count != 0) return 0;
    // GetData serves at most 500 items; a longer window stays cleared beyond them.
    std::unique_ptr<CAddressData[]> items(
        alloc::NewArray<CAddressData>(count < kBlock ? count : kBlock));
    if (!items) return 0;
    for (unsigned long i = 0; i < count; ++i) out[i].FlushData();
    const unsigned long n = GetData(items.get(), start, count);
    for (unsigned long i = 0; i < n; ++i) {
        memcpy(out[i].szName, items[i].szName, sizeof(out[i].szName));
        out[i].dwWork = items[i].dwWork & 0xFF;
        out[i].lLon = items[i].lLon;
        out[i].lLat = items[i].lLat;
        out[i].dwEnable = 1;
    }
    Refine(out, start, n, genre1, genre2, genre3);
    return 1;
}

unsigned long CSearchAddressProc::GetCurrentAddress(unsigned char* text) {
    if (text == nullptr) return 0;
    size_t len = 0;
    CAddressData item;
    for (unsigned long i = 0; i < m_Path.dwCount; ++i) {
        if (!m_Path.GetAt(&item, i)) break;
        const unsigned char* name = reinterpret_cast<const unsigned char*>(item.szName);
        const size_t n = strnlen(item.szName, kMaxName);
        if (len > 0 && n > 0 && IsDigit(text[len - 1]) && IsDigit(name[0])) text[len++] = '-';
        memcpy(text + len, name, n);
        len += n;
    }
    text[len] = 0;
    text[len + 1] = 0;
    return m_Path.dwCount != 0 ? 1 : 0;
}

unsigned long CSearchAddressProc::GetCurrentAddressUni(char* text) {
    if (text == nullptr) return 0;
    std::vector<unsigned char> sjis(static_cast<size_t>(m_Path.dwCount) * (kMaxName + 1) + 2);
    const unsigned long r = GetCurrentAddress(sjis.data());
    SjisToUtf8(reinterpret_cast<unsigned char*>(text), sjis.data(), 0);
    return r;
}

unsigned long CSearchAddressProc::GetCurrentCoordinate(unsigned long* lng, unsigned long* lat) {
    if (lng == nullptr || lat == nullptr) return 0;
    *lng = 0;
    *lat = 0;
    CAddressData item;
    if (m_Path.dwCount == 0 || !m_Path.GetAt(&item, m_Path.dwCount - 1)) return 0;
    *lng = item.lLon;
    *lat = item.lLat;
    return 1;
}

unsigned long CSearchAddressProc::GetCurrentCoordinate256(unsigned long* lng, unsigned long* lat) {
    const unsigned long r = GetCurrentCoordinate(lng, lat);
    if (r != 0) {
        // Division by 3.90625 = 125 / 32, exact in integers.
        *lng = static_cast<unsigned long>(static_cast<uint64_t>(*lng) * 32 / 125);
        *lat = static_cast<unsigned long>(static_cast<uint64_t>(*lat) * 32 / 125);
    }
    return r;
}

unsigned long CSearchAddressProc::GetCurrentLevel() {
    return m_dwLevel;
}

unsigned long CSearchAddressProc::GetKanaIndex(unsigned long row) {
    return row < 10 ? m_dwKanaIndex[row] : 0;
}

unsigned long CSearchAddressProc::GetNextID(unsigned long id) {
    return id;
}

unsigned long CSearchAddressProc::GetListID(unsigned long id) {
    return id;
}

unsigned long CSearchAddressProc::IsAddressNumbered(unsigned long position) {
    CAddressData item;
    if (GetData(&item, position, 1) != 1) return 0;
    char text[24];
    snprintf(text, sizeof(text), "%ld", atol(item.szName));
    return strcmp(text, item.szName) == 0 ? 1 : 0;
}

unsigned long CSearchAddressProc::IsListEnabled() {
    if (m_dwLevel < 3) return 1;
    return IsAddressNumbered(0) ? 0 : 1;
}

unsigned long CSearchAddressProc::IsNumberEnabled() {
    if (m_dwLevel < 3 || m_dwListCount == 0) return 0;
    return IsAddressNumbered(m_dwListCount - 1);
}
