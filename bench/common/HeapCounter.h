// Heap use of the library's objects: a program that uses these functions gets an operator new
// and delete that keep the bytes in use and their high-water mark (malloc itself, as the LZMA
// model memory uses, is not counted).
#pragma once

#include <cstddef>

namespace benchdb {

// Bytes allocated through operator new and not yet deleted.
size_t HeapLive();
// The most HeapLive() has been since the last ResetHeapPeak().
size_t HeapPeak();
// Starts a new high-water mark at the current use.
void ResetHeapPeak();

}  // namespace benchdb
