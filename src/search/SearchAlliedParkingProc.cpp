// Allied parking: a probe loop over the pairs that does not stop on a match, so that it ends at
// or before a facility's first pair, then a forward scan of that facility's run.
#include "search/SearchAlliedParkingProc.h"

#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/TableFile.h"

namespace {

constexpr const char* kPath = "PARKING/TK.DAT";
constexpr size_t kPairSize = 8;
constexpr uint64_t kPairsPerRead = 256;

}  // namespace

CSearchAlliedParkingProc::CSearchAlliedParkingProc() : m_pList(&m_List) {}
CSearchAlliedParkingProc::~CSearchAlliedParkingProc() {}

unsigned long CSearchAlliedParkingProc::SearchProc(unsigned long* count, unsigned long poiId) {
    m_blCancel = false;
    m_pList = &m_List;
    m_pList->RemoveAll();
    if (count != nullptr) *count = 0;
    TableFile pairs(kPath, kPairSize);
    if (!pairs.ok()) return 0;
    const uint64_t n = pairs.count();
    if (n == 0) return 1;

    const uint32_t key = static_cast<uint32_t>(poiId);
    unsigned char pair[kPairSize];
    uint64_t lo = 0, hi = n, mid = n / 2;
    for (;;) {
        if (!pairs.Read(mid, pair)) return 0;
        // Deliberately the signed 32-bit difference, and no exit on equality: the loop ends at
        // or before the first pair of the facility.
        const int32_t d = static_cast<int32_t>(key - bytes::ReadU32LE(pair));
        uint64_t next;
        if (d > 0) {
            next = (mid + hi) / 2;
            lo = mid;
        } else {
            next = (mid + lo) / 2;
            hi = mid;
        }
        if (next == mid) break;
        mid = next;
    }

    unsigned char buf[kPairSize * kPairsPerRead];
    for (uint64_t at = mid; at < n;) {
        const long got = pairs.ReadRange(at, kPairsPerRead, buf);
        if (got <= 0) break;
        for (long i = 0; i < got; ++i) {
            const uint32_t facility = bytes::ReadU32LE(buf + kPairSize * i);
            if (facility > key) {
                at = n;
                break;
            }
            if (facility < key) continue;
            CLocationData park;
            park.FlushData();
            park.dwRefID = bytes::ReadU32LE(buf + kPairSize * i + 4);
            if (!m_pList->Add(&park)) {
                at = n;
                break;
            }
        }
        if (at < n) at += static_cast<uint64_t>(got);
    }
    if (count != nullptr) *count = m_pList->GetCount();
    return 1;
}

unsigned long CSearchAlliedParkingProc::GetList(CLocationData* out, unsigned long start,
                                                unsigned long count) {
    if (out == nullptr) return 0;
    for (unsigned long k = 0; k < count; ++k) out[k].FlushData();
    if (m_pList == nullptr) return 0;
    const unsigned long total = m_pList->GetCount();
    if (start >= total) return 0;
    const unsigned long last = count < total - start ? count : total - start;
    for (unsigned long k = 0; k < last; ++k) {
        CLocationData stored;
        if (!m_pList->GetAt(&stored, start + k)) return 0;
        if (!CSearchBaseDataProc::SearchProc(&out[k], stored.dwRefID)) return 0;
    }
    return 1;
}
