// Writes the font data set: the font file copied whole to the renderer's fixed path.
#include "FontWriter.h"

#include <fstream>
#include <iterator>

#include "ByteWriter.h"
#include "imaging/AUIFontDataCtrl.h"

namespace mapdb {

void WriteFont(const std::string& root, const std::string& fontFile) {
    std::ifstream in(fontFile, std::ios::binary);
    if (!in) throw Error("font file " + fontFile + " cannot be opened");
    Bytes data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) throw Error("font file " + fontFile + " cannot be read");
    if (data.empty()) throw Error("font file " + fontFile + " is empty");
    const std::string path = root + "/" + font_file::kRelativePath;
    MakeDirs(path.substr(0, path.rfind('/')));
    WriteFile(path, data);
}

}  // namespace mapdb
