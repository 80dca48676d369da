// Container files of the compressed data sets.
#include "ContainerWriter.h"

#include "BlockEncoders.h"

namespace mapdb {

ContainerWriter::ContainerWriter(const std::string& version) {
    idx_.Raw(VersionHeader(version));
    cnt_.Raw(VersionHeader(version));
    dat_.Raw(VersionHeader(version));
}

uint32_t ContainerWriter::RecordOffset(const std::string& what) const {
    if (container_.size() > 0xFFFF) {
        throw Error(what + ": record offset " + std::to_string(container_.size()) +
                    " exceeds 16 bits (more than 64 KiB of records in one container); shorten "
                    "the texts");
    }
    return static_cast<uint32_t>(container_.size());
}

void ContainerWriter::CloseContainer(const std::string& what) {
    cnt_.U24(static_cast<uint32_t>(dat_.size()));
    dat_.Raw(EncodeLzmaBlock(container_.Take()));
    // The next container, or the end entry, starts here.
    if (dat_.size() > 0xFFFFFF) {
        throw Error(what + ": container offset " + std::to_string(dat_.size()) +
                    " exceeds 24 bits (a data file over 16 MiB)");
    }
}

Bytes ContainerWriter::TakeCnt() {
    cnt_.U24(static_cast<uint32_t>(dat_.size()));
    return cnt_.Take();
}

}  // namespace mapdb
