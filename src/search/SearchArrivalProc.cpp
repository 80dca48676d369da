// Arrival points: binary search of the 8-byte index entries, records of at most 87 bytes.
#include "search/SearchArrivalProc.h"

#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/ReadAt.h"
#include "foundation/TableFile.h"

namespace {

constexpr const char* kIndexPath = "ARRIVAL/ARV.IDX";
constexpr const char* kDataPath = "ARRIVAL/ARV.DAT";
constexpr unsigned long kEntrySize = 8;
constexpr unsigned long kMaxRecord = 87;  // name of at most 79 bytes, LF, 3 + 3 + 1
constexpr unsigned long kFields = 7;      // after the LF: longitude, latitude, attribute

}  // namespace

CSearchArrivalProc::CSearchArrivalProc() : m_pList(&m_List) {}
CSearchArrivalProc::~CSearchArrivalProc() {}

unsigned long CSearchArrivalProc::LoadIndex(int* offset, unsigned long poiId,
                                            unsigned long number) {
    if (offset == nullptr) return 0;
    TableFile index(kIndexPath, kEntrySize);
    if (!index.ok() || index.count() == 0) return 0;
    unsigned char entry[kEntrySize];
    bool readError = false;
    const index_search::Result r = index_search::Find(index.count(), [&](uint64_t i) {
        const long got = index.ReadRange(i, 1, entry);
        if (got != 1) {
            readError = got < 0;
            return index_search::Probe::kUnreadable;
        }
        int32_t d = static_cast<int32_t>(static_cast<uint32_t>(poiId) - bytes::ReadU32LE(entry));
        if (d == 0) d = static_cast<int32_t>(static_cast<uint32_t>(number) - entry[4]);
        return index_search::FromCompare(d);
    });
    if (readError) return 0;
    // No such point, or a short read: still a successful look-up.
    *offset = r.found ? static_cast<int>(bytes::ReadU24LE(entry + 5)) : -1;
    return 1;
}

unsigned long CSearchArrivalProc::LoadData(CLocationData* record, int offset) {
    if (record == nullptr || offset < 0) return 0;
    io::FileCloser file(OpenDataFile(kDataPath));
    if (file.fd() < 0) return 0;
    // One spare zero byte after what was read: a record that lacks only its attribute byte
    // reads it as 0; one that lacks more is left alone.
    unsigned char buf[kMaxRecord + 1] = {};
    const long got = io::ReadAt(file.fd(), buf, kMaxRecord, static_cast<uint64_t>(offset));
    if (got < 0) return 0;
    if (got == 0) return 1;  // nothing there: the record stays as it was
    const unsigned char* lf = static_cast<const unsigned char*>(memchr(buf, 0x0A, got));
    if (lf == nullptr || buf + got + 1 - (lf + 1) < static_cast<long>(kFields)) return 1;

    if (record->szName[0] == 0) {
        size_t len = static_cast<size_t>(lf - buf);
        memcpy(record->szName, buf, len);
        record->szName[len] = 0;
    }
    const unsigned char* p = lf + 1;
    record->lArrLon = bytes::WidenLongitude(bytes::ReadU24LE(p));
    record->lArrLat = bytes::WidenLatitude(bytes::ReadU24LE(p + 3));
    if (record->lLon == 0 && record->lLat == 0) {
        record->lLon = record->lArrLon;
        record->lLat = record->lArrLat;
    }
    record->dwArrAttr = p[6];
    return 1;
}

unsigned long CSearchArrivalProc::SearchProc(unsigned long* count, unsigned long poiId) {
    m_blCancel = false;
    m_pList = &m_List;
    m_pList->RemoveAll();
    unsigned long status = 1;
    for (unsigned long number = 1;; ++number) {
        int offset = -1;
        status = LoadIndex(&offset, poiId, number);
        if (status == 0 || offset == -1) break;
        CLocationData record;
        status = LoadData(&record, offset);
        if (status == 0 || !m_pList->Add(&record)) break;
    }
    if (count != nullptr) *count = m_pList->GetCount();
    return status;
}

unsigned long CSearchArrivalProc::GetList(CLocationData* out, unsigned long start,
                                          unsigned long count) {
    if (out == nullptr || count == 0) return 0;
    const unsigned long total = m_pList->GetCount();
    if (start >= total) return 0;
    for (unsigned long i = 0; i < count; ++i) {
        if (!m_pList->GetAt(&out[i], start + i)) return 0;  // the list ran out
    }
    return 1;
}

unsigned long CSearchArrivalProc::GetData(CLocationData* records, unsigned long n) {
    if (records == nullptr) return 0;
    for (unsigned long i = 0; i < n; ++i) {
        int offset = -1;
        if (LoadIndex(&offset, records[i].dwID, 1) == 0) return 0;
        if (offset == -1) break;
        if (LoadData(&records[i], offset) == 0) return 0;
    }
    return 1;
}
