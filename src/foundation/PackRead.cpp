// Reads of the selected packed file at 64-bit offsets.
#include <climits>

#include "foundation/EntryWindow.h"
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

bool CPackFolderIO::ReadPackEntry(EntryWindow* window, uint64_t k, unsigned char* entry) {
    return window->Get(k, entry, [this, window](uint64_t first, uint64_t n, unsigned char* out) {
        return static_cast<long>(ReadPackEntries(first, n, window->entrySize(), out));
    });
}
