// CMarlinDataProc: every block form decoded by its chain of stages through intermediate
// buffers of N + 1297 bytes, cleared, freed on every path.
#include "codec/MarlinDataProc.h"

#include <cstring>
#include <memory>

#include "codec/CodecDetail.h"
#include "foundation/Alloc.h"
#include "foundation/Bytes.h"

namespace {

using codec::detail::kWorkSlack;

// A cleared intermediate buffer of n + 1297 bytes, freed when it goes out of scope. n has been
// checked against the decoded-size cap, so the sum fits any size_t.
struct WorkBuffer {
    explicit WorkBuffer(unsigned long n)
        : size(static_cast<size_t>(n) + kWorkSlack), data(alloc::NewArray<unsigned char>(size)) {
        if (data) memset(data.get(), 0, size);
    }
    size_t size;
    std::unique_ptr<unsigned char[]> data;
};

// N of a chain's header, 0 when it exceeds the cap (the block then fails, size query included).
unsigned long ChainSize(const unsigned char* s) {
    const unsigned long n = bytes::ReadU32LE(s);
    return codec::detail::DecodedSizeOk(n) ? n : 0;
}

}  // namespace

CMarlinDataProc::CMarlinDataProc() {}

CMarlinDataProc::~CMarlinDataProc() {}

unsigned long CMarlinDataProc::Decode(void* dst, void* src) {
    return DecodeBwtLzss(dst, src);
}

unsigned long CMarlinDataProc::Decode(void* dst, void* src, unsigned long srcSize) {
    return CLzmaProc::Decode(dst, src, srcSize);
}

unsigned long CMarlinDataProc::DecodeBwtLzss(void* dst, void* src) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    const unsigned long n = ChainSize(s);
    if (dst == nullptr || n == 0) return n;
    WorkBuffer work(n);
    if (!work.data) return 0;
    if (codec::detail::LzssDecode(work.data.get(), s + 12, codec::detail::LzssSourceBudget(n), n,
                                  bytes::ReadU32LE(s + 8)) == 0) {
        return 0;
    }
    return codec::detail::BlockSortDecode(static_cast<unsigned char*>(dst), work.data.get(), n,
                                          bytes::ReadU32LE(s + 4));
}

unsigned long CMarlinDataProc::DecodeBwtMtfLzss(void* dst, void* src) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    const unsigned long n = ChainSize(s);
    if (dst == nullptr || n == 0) return n;
    WorkBuffer first(n);
    if (!first.data) return 0;
    if (codec::detail::LzssDecode(first.data.get(), s + 12, codec::detail::LzssSourceBudget(n), n,
                                  bytes::ReadU32LE(s + 8)) == 0) {
        return 0;
    }
    WorkBuffer second(n);
    if (!second.data) return 0;
    codec::detail::MtfDecode(second.data.get(), first.data.get(), n);
    first.data.reset();
    return codec::detail::BlockSortDecode(static_cast<unsigned char*>(dst), second.data.get(), n,
                                          bytes::ReadU32LE(s + 4));
}

unsigned long CMarlinDataProc::DecodeBwtMtfRc(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = ChainSize(s);
    if (dst == nullptr || n == 0) return n;
    WorkBuffer first(n);
    if (!first.data) return 0;
    FlushBuf();
    unsigned long len = InitRangeCoder() ? DecodeBounded(first.data.get(), first.size, s + 8) : 0;
    FlushBuf();
    // The range-coded length drives the later stages; more than N would not fit the caller's
    // buffer.
    if (len == 0 || len > n) return 0;
    WorkBuffer second(n);
    if (!second.data) return 0;
    codec::detail::MtfDecode(second.data.get(), first.data.get(), len);
    first.data.reset();
    return codec::detail::BlockSortDecode(static_cast<unsigned char*>(dst), second.data.get(), len,
                                          bytes::ReadU32LE(s + 4));
}

unsigned long CMarlinDataProc::DecodeBwtLzssHuf(void* dst, void* src) {
    unsigned char* s = static_cast<unsigned char*>(src);
    const unsigned long n = ChainSize(s);
    if (dst == nullptr || n == 0) return n;
    WorkBuffer first(n);
    if (!first.data) return 0;
    // Each nested block states its own size; none may exceed the buffer it is decoded into.
    const unsigned char* huf = s + 4;
    const unsigned long hufSize = bytes::ReadU32LE(huf);
    if (hufSize > first.size) return 0;
    uint32_t freq[256];
    for (int k = 0; k < 256; ++k) freq[k] = bytes::ReadU32LE(huf + 4 + 4 * k);
    if (codec::detail::HuffmanDecode(first.data.get(), huf + 1028, hufSize, freq) == 0) return 0;

    WorkBuffer second(n);
    if (!second.data) return 0;
    const unsigned long lzssSize = bytes::ReadU32LE(first.data.get());
    if (lzssSize > second.size) return 0;
    if (codec::detail::LzssDecode(second.data.get(), first.data.get() + 8, first.size - 8, lzssSize,
                                  bytes::ReadU32LE(first.data.get() + 4)) == 0) {
        return 0;
    }
    first.data.reset();

    const unsigned long sortSize = bytes::ReadU32LE(second.data.get());
    if (sortSize > n || sortSize > second.size - 8) return 0;
    return codec::detail::BlockSortDecode(static_cast<unsigned char*>(dst), second.data.get() + 8,
                                          sortSize, bytes::ReadU32LE(second.data.get() + 4));
}
