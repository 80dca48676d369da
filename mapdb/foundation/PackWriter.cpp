// Pack folder writer.
#include "PackWriter.h"

#include <climits>

namespace mapdb {

void PackWriter::Add(const std::string& name, Bytes data) {
    if (name.empty() || name.size() > 12 || name.find('\0') != std::string::npos) {
        throw Error("packed file name \"" + name + "\" must be 1 to 12 bytes");
    }
    files_[name] = std::move(data);
}

void PackWriter::Write(const std::string& root, const std::string& folder,
                       const std::string& base) const {
    const std::string dir = root + "/" + folder;
    const std::string stem = dir + "/" + (base.empty() ? folder : base);
    ByteWriter idx;
    ByteWriter dat;
    dat.Raw(datHeader_);
    for (const auto& [name, data] : files_) {
        if (dat.size() + data.size() > static_cast<size_t>(INT32_MAX)) {
            throw Error("pack folder " + stem + " exceeds 2 GiB");
        }
        idx.Fixed(name, 12);
        idx.U32(static_cast<uint32_t>(dat.size()));
        idx.U32(static_cast<uint32_t>(data.size()));
        dat.Raw(data);
    }
    MakeDirs(dir);
    WriteFile(stem + ".IDX", idx.bytes());
    WriteFile(stem + ".DAT", dat.bytes());
}

}  // namespace mapdb
