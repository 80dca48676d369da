// CPackFolderIO: a data set's pack folder, an ".IDX" of 20-byte entries (12-byte name, offset,
// size; sorted by strcmp) and a ".DAT" holding the packed files back to back. One folder open
// and one packed file selected at a time. One thread at a time per object; objects are independent.
#pragma once

#include <cstdint>

#include "foundation/Export.h"
#include "foundation/FileIO.h"
#include "foundation/StringConvProc.h"

class EntryWindow;

class SP_EXPORT CPackFolderIO : public CFileIO, public CStringConvProc {
public:
    CPackFolderIO();
    virtual ~CPackFolderIO();

    // Opens root/folder/base.IDX and .DAT (base defaults to folder); 1 when both are open and
    // the index holds at least one entry.
    unsigned long OpenPackFolder(char* root, char* folder, char* base);
    // Selects a packed file by name (binary search of the index); 1 when found.
    unsigned long OpenPackFile(char* name);
    // Size of the selected packed file, 0 when none is selected.
    unsigned long GetPackFileSize();
    // Reads `size` bytes (0: the rest) at `offset` of the selected file, clipped to its end.
    unsigned long LoadPackFile(unsigned char** out, unsigned long offset, unsigned long size);
    unsigned long LoadPackFile(char* name, unsigned char** out, unsigned long offset,
                               unsigned long size);
    // Closes both files; 1 when something was open.
    unsigned long ClosePackFolder();

protected:
    // Helpers of the library's readers, not part of the interface (not exported).
    // As LoadPackFile, but into the caller's buffer of at least `size` bytes (the whole rest
    // of the file when size is 0): no allocation per read. Returns the bytes read.
    // 0 on a read error.
    SP_LOCAL unsigned long ReadPackFile(unsigned char* dst, unsigned long offset,
                                        unsigned long size);
    // ReadPackFile at a 64-bit offset, for tables whose offsets are computed in 64 bits: an
    // offset that unsigned long cannot carry lies past every packed file. Size 0 reads nothing.
    SP_LOCAL unsigned long ReadPackAt(uint64_t offset, uint64_t size, unsigned char* dst);
    // Bytes read of n entries of `entrySize` from entry k of a table in the selected file.
    SP_LOCAL unsigned long ReadPackEntries(uint64_t k, uint64_t n, uint64_t entrySize,
                                           unsigned char* dst);
    // Entry k of a table in the selected file through `window` (made for its entry size and
    // count): false unless all its bytes were read. For binary searches.
    SP_LOCAL bool ReadPackEntry(EntryWindow* window, uint64_t k, unsigned char* entry);
    // Bytes a read at `offset` of the selected file can really return: the rest of the packed
    // file, clipped to the end of the ".DAT" (an index entry may claim more than the data file
    // holds). Readers size their buffers with it; 0 when nothing is selected or readable.
    SP_LOCAL unsigned long ReadableSize(unsigned long offset = 0) const;

    int m_iDatFile;           // ".DAT" descriptor, 0 when not open
    int m_iIdxFile;           // ".IDX" descriptor, 0 when not open
    uint32_t m_dwEntryCount;  // index entries
    char m_szPackName[13];    // name of the selected (or last compared) entry
    int32_t m_lPackOffset;    // selected file's offset, -1 when none
    int32_t m_lPackSize;      // selected file's size, -1 when none

private:
    // Clips a read of the selected file to its end: the position in the .DAT and the size.
    SP_LOCAL bool ClipRead(unsigned long offset, unsigned long* size, unsigned long* at) const;
};
