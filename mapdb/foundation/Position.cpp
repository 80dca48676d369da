// Stored positions of the writers.
#include "Position.h"

#include "ByteWriter.h"
#include "foundation/Bytes.h"

namespace mapdb {

uint32_t StoredLon(uint32_t ms, const std::string& what) {
    uint32_t u;
    if (!bytes::NarrowLongitude(ms, &u)) {
        throw Error(what + ": longitude " + std::to_string(ms) + " ms is outside 120-166.6 E");
    }
    return u;
}

uint32_t StoredLat(uint32_t ms, const std::string& what) {
    uint32_t v;
    if (!bytes::NarrowLatitude(ms, &v)) {
        throw Error(what + ": latitude " + std::to_string(ms) + " ms is outside 20-66.6 N");
    }
    return v;
}

}  // namespace mapdb
