// Counts the library's read calls: a program that uses ReadCount() gets a pread that counts
// each call and the bytes it returned, and forwards to the C library's (every read of the
// library is a pread).
#pragma once

namespace benchdb {

// Read calls so far in this process.
unsigned long ReadCount();
// Bytes those calls returned.
unsigned long long ReadBytes();

}  // namespace benchdb
