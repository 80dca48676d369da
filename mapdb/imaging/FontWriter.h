// The font data set: any TrueType/OpenType file, placed where the font renderer loads it
// ("FONTAVENUE/OLF/VELA_ARIB_RGUD_V5-10.BIN" under the database root).
#pragma once

#include <string>

namespace mapdb {

// Copies the font file `fontFile` into the database under `root`, creating the folders.
// A missing or empty font file is refused with mapdb::Error.
void WriteFont(const std::string& root, const std::string& fontFile);

}  // namespace mapdb
