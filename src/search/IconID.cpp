// Icon id table: the genre records of GENRE/GENREDATA.DAT reduced to (codes 1-3, icon id) rows,
// sorted once with an upper-middle-pivot quicksort and searched on code 1, then scanned both
// ways for codes 2 and 3. Which of two equal rows answers depends on that sort; keep it as is.
#include "search/IconID.h"

#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/CommonProc.h"
#include "foundation/FileIO.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"
#include "search/ArrayRelease.h"

namespace {

constexpr size_t kRecordSize = 80;
constexpr size_t kCodesAt = 72;
constexpr size_t kIconAt = 78;
constexpr size_t kRecordsPerRead = 128;  // records are parsed from one read of this many

// Opens root/GENRE/GENREDATA.DAT and checks that its header can be read; -1 otherwise.
int OpenGenreData(char* root) {
    if (root == nullptr) return -1;
    char name[] = "GENRE/GENREDATA.DAT";
    const int fd = CFileIO::CreateFile(root, name);
    if (fd < 0) return -1;
    unsigned char header[table::kHeaderSize];
    if (!io::ReadExactly(fd, header, sizeof(header), 0)) {
        io::FileCloser close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

CIconID::CIconID() {}

CIconID::~CIconID() {}

bool CIconID::LoadIconIDData() {
    return LoadIconIDData(g_tcharPath, g_tcharSDPath);
}

bool CIconID::LoadIconIDData(char* dbPath, char* sdPath) {
    ClearIconIDData();
    if (!CCommonProc::IsDBEnabled()) return false;
    int fd = OpenGenreData(dbPath);
    if (fd < 0 && CCommonProc::IsSDEnabled()) fd = OpenGenreData(sdPath);
    if (fd < 0) return false;
    io::FileCloser file(fd);

    // Records follow one another until a read returns nothing; a last, partial record still
    // gives a row (its missing bytes read as zero). The array refuses rows past 65,536, which
    // ends the load: no file size is trusted for an allocation.
    unsigned char buf[kRecordSize * kRecordsPerRead];
    uint64_t offset = table::kHeaderSize;
    bool full = false;
    while (!full) {
        const long got = io::ReadAt(fd, buf, sizeof(buf), offset);
        if (got <= 0) break;
        const size_t n = static_cast<size_t>(got);
        memset(buf + n, 0, sizeof(buf) - n);
        for (size_t at = 0; at < n && !full; at += kRecordSize) {
            STRUCT_ICONID row;
            row.byGenre1 = buf[at + kCodesAt];
            row.byGenre2 = buf[at + kCodesAt + 1];
            row.byGenre3 = buf[at + kCodesAt + 2];
            row.wIconID = bytes::ReadU16LE(buf + at + kIconAt);
            full = !m_Table.Add(&row);
        }
        offset += n;
    }
    if (m_Table.GetCount() > 0) QSort(0, static_cast<int>(m_Table.GetCount()) - 1);
    return true;
}

unsigned long CIconID::GetGUIIconID(unsigned char code1, unsigned char code2, unsigned char code3) {
    const long count = static_cast<long>(m_Table.GetCount());
    if (count == 0) return 0;
    long lo = 0;
    long hi = count - 1;
    long mid = 0;
    bool found = false;
    while (lo <= hi) {
        mid = (lo + hi) / 2;
        const unsigned char c = m_Table.GetAt(static_cast<unsigned long>(mid))->byGenre1;
        if (c > code1) {
            hi = mid - 1;
        } else if (c < code1) {
            lo = mid + 1;
        } else {
            found = true;
            break;
        }
    }
    if (!found) return 0;
    for (long k = mid; k >= 0; --k) {
        const STRUCT_ICONID* row = m_Table.GetAt(static_cast<unsigned long>(k));
        if (row->byGenre1 != code1 || row->byGenre2 < code2) break;
        if (row->byGenre2 == code2 && row->byGenre3 == code3) return row->wIconID;
    }
    for (long k = mid + 1; k < count; ++k) {
        const STRUCT_ICONID* row = m_Table.GetAt(static_cast<unsigned long>(k));
        if (row->byGenre1 != code1) break;
        if (row->byGenre2 > code2) return 0;
        if (row->byGenre2 == code2 && row->byGenre3 == code3) return row->wIconID;
    }
    return 0;
}

void CIconID::ClearIconIDData() {
    ReleaseAll(&m_Table);
}

int CIconID::IDComp(STRUCT_ICONID* a, STRUCT_ICONID* b) {
    const unsigned char ka[3] = {a->byGenre1, a->byGenre2, a->byGenre3};
    const unsigned char kb[3] = {b->byGenre1, b->byGenre2, b->byGenre3};
    for (int i = 0; i < 3; ++i) {
        if (ka[i] != kb[i]) return ka[i] < kb[i] ? -1 : 1;
    }
    return 0;
}

void CIconID::QSort(int lo, int hi) {
    const int count = static_cast<int>(m_Table.GetCount());
    if (lo < 0 || hi >= count) return;
    // Each partition leaves two independent ranges; the smaller is sorted by recursion and the
    // larger by the loop, which bounds the depth by log2 of the row count without changing the
    // order produced.
    while (lo < hi) {
        STRUCT_ICONID pivot = *m_Table.GetAt(static_cast<unsigned long>((lo + hi) / 2 + 1));
        int i = lo;
        int j = hi;
        while (i <= j) {
            while (IDComp(m_Table.GetAt(static_cast<unsigned long>(i)), &pivot) < 0) ++i;
            while (IDComp(&pivot, m_Table.GetAt(static_cast<unsigned long>(j))) < 0) --j;
            if (i <= j) {
                if (i < j)
                    m_Table.Swap(static_cast<unsigned long>(i), static_cast<unsigned long>(j));
                ++i;
                --j;
            }
        }
        if (j - lo < hi - i) {
            QSort(lo, j);
            lo = i;
        } else {
            QSort(i, hi);
            hi = j;
        }
    }
}
