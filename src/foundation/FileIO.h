// CFileIO: whole-file and partial-file reads, path joining and existence checks over POSIX calls.
// Every operation is static; loaded buffers are allocated with array new one byte longer than
// the data (zeroed, so text is terminated) and belong to the caller, who frees with array delete.
// Thread safety: stateless; any thread may call at any time.
#pragma once

#include "foundation/Export.h"

class SP_EXPORT CFileIO {
public:
    CFileIO();
    virtual ~CFileIO();

    // Joins dir + '/' + name into out (cleared to `size` zero bytes first); 1 on success.
    static unsigned long MergeFilename(char* out, char* dir, char* name, unsigned long size);
    // Opens dir/name read-only; the descriptor or -1.
    static int CreateFile(char* dir, char* name);
    // Creates directory dir, then opens dir/name write-only without creating it.
    static int CreateWriteFile(char* dir, char* name);
    // Splits path at its last '/'; writes no terminators; always 0.
    static unsigned long GetDirectryFileName(char* dir, char* name, const char* path);
    // Scans the directory of path for its name; always 1.
    static unsigned long IsFileExist(char* path);
    static unsigned long IsFileExist(char* dir, char* name);

    // Reads `size` bytes (0: to the end) at `offset` of an open descriptor into a new buffer.
    // *out must be null on entry. Returns the bytes read, 0 on failure.
    static unsigned long LoadFile(int* fd, unsigned char** out, unsigned long offset,
                                  unsigned long size);
    // As LoadFile with two spare bytes; returns bytes read + 1.
    static unsigned long LoadFileEx(int* fd, unsigned char** out, unsigned long offset,
                                    unsigned long size);
    static unsigned long LoadFile(char* path, unsigned char** out, unsigned long offset,
                                  unsigned long size);
    static unsigned long LoadFile(char* dir, char* name, unsigned char** out, unsigned long offset,
                                  unsigned long size);
    static unsigned long LoadFile(char* dir, char* name, unsigned char** out);
    static unsigned long LoadFile(char* path, unsigned char** out);
};
