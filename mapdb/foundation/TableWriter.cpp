// Fixed-record table files behind a 16-byte header.
#include "TableWriter.h"

namespace mapdb {

constexpr size_t kHeaderSize = 16;

TableWriter::TableWriter(size_t recordSize, Bytes header) : recordSize_(recordSize) {
    if (recordSize == 0) throw Error("table records must have a size");
    if (header.size() > kHeaderSize) throw Error("table header longer than 16 bytes");
    header.resize(kHeaderSize, 0);
    image_ = std::move(header);
}

void TableWriter::Add(const Bytes& record) {
    if (record.size() != recordSize_) {
        throw Error("table record of " + std::to_string(record.size()) + " bytes, expected " +
                    std::to_string(recordSize_));
    }
    image_.insert(image_.end(), record.begin(), record.end());
    ++count_;
}

Bytes TableWriter::Image() const { return image_; }

}  // namespace mapdb
