// Symbol visibility: the library is built with hidden visibility, and only what is marked
// SP_EXPORT (interface classes, exported globals and tables) is visible to a host.
#pragma once

#define SP_EXPORT __attribute__((visibility("default")))

// Members of exported classes that are helpers, not interface: kept out of the symbol table.
#define SP_LOCAL __attribute__((visibility("hidden")))
