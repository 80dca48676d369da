// Reads of the selected packed file at 64-bit offsets.
#include <climits>

#include "foundation/PackFolderIO.h"
#include "foundation/TableFile.h"

unsigned long CPackFolderIO::ReadPackAt(uint64_t offset, uint64_t size, unsigned char* dst) {
    if (size == 0 || offset > ULONG_MAX || size > ULONG_MAX) return 0;
    return ReadPackFile(dst, static_cast<unsigned long>(offset), static_cast<unsigned long>(size));
}

unsigned long CPackFolderIO::ReadPackEntries(uint64_t k, uint64_t n, uint64_t entrySize,
                                             unsigned char* dst) {
    if (entrySize != 0 && n > UINT64_MAX / entrySize) return 0;
    return ReadPackAt(table::EntryOffset(k, entrySize), n * entrySize, dst);
}
