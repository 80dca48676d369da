// The facility tables of "ADDINFO" (I.idx, AF.dat): records sorted by a u32 facility id, searched
// with the shared probe rule on the signed 32-bit difference of the ids (deliberate: ids more
// than 2^31 apart compare the wrong way, and the data keeps its ids within that range).
// Internal; not exported.
#pragma once

#include <cstdint>

#include "foundation/Bytes.h"
#include "foundation/CommonProc.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"

namespace facility_table {

// Opens the "ADDINFO" pack folder (database path, then SD) and selects its table `name`: the
// number of whole records of `recordSize`, the folder left open; 0, the folder closed, when the
// database is switched off or the table is missing or empty.
inline uint64_t Open(CCommonProc* proc, char* name, uint64_t recordSize) {
    static char folder[] = "ADDINFO";
    if (!CCommonProc::IsDBEnabled() || !proc->OpenDataFolder(folder)) return 0;
    const uint64_t n =
        proc->OpenPackFile(name) ? table::EntryCount(proc->GetPackFileSize(), recordSize) : 0;
    if (n == 0) proc->ClosePackFolder();
    return n;
}

// Searches n records; `read(i, record)` reads record i and says whether it came back whole.
// On a hit `record` holds the record found (the result's index).
template <typename ReadFn>
index_search::Result Find(uint64_t n, unsigned long id, unsigned char* record, ReadFn read) {
    const uint32_t key = static_cast<uint32_t>(id);
    return index_search::Find(n, [&](uint64_t i) {
        if (!read(i, record)) return index_search::Probe::kUnreadable;
        const int32_t diff = static_cast<int32_t>(key - bytes::ReadU32LE(record));
        return index_search::FromCompare(diff < 0 ? -1 : diff > 0 ? 1 : 0);
    });
}

}  // namespace facility_table
