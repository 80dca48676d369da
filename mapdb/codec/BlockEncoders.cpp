// Block encoders, each the mirror of its decoder in src/codec.
#include "BlockEncoders.h"

#include <cstdlib>
#include <string>

#include "codec/CodecDetail.h"

// Last: the SDK's Types.h defines short macros (True, False, RINOK) of its own.
#include <lzma/LzmaEnc.h>

namespace mapdb {

namespace {

constexpr size_t kLzmaHeaderSize = 14;

void* SdkAlloc(void*, size_t size) {
    return malloc(size);
}
void SdkFree(void*, void* address) {
    free(address);
}
ISzAlloc gSdkAllocator = {SdkAlloc, SdkFree};

}  // namespace

Bytes EncodeLzmaBlock(const Bytes& data, bool x86) {
    LzmaBlockOptions options;
    options.x86 = x86;
    return EncodeLzmaBlock(data, options);
}

Bytes EncodeLzmaBlock(const Bytes& data, const LzmaBlockOptions& options) {
    if (data.size() > UINT32_MAX)
        throw Error("LZMA block: input of " + std::to_string(data.size()) +
                    " bytes exceeds 32-bit size");
    if (options.level > 9 || options.lc > 8 || options.lp > 4 || options.pb > 4)
        throw Error("LZMA block: level " + std::to_string(options.level) + ", lc " +
                    std::to_string(options.lc) + ", lp " + std::to_string(options.lp) + ", pb " +
                    std::to_string(options.pb) + " out of range (0-9, 0-8, 0-4, 0-4)");
    CLzmaEncProps props;
    LzmaEncProps_Init(&props);
    props.level = static_cast<int>(options.level);
    LzmaEncProps_Normalize(&props);
    // No dictionary larger than the block itself: decoders of small blocks need no more.
    uint32_t dict = 1u << 12;
    while (dict < data.size() && dict < props.dictSize) dict <<= 1;
    props.dictSize = dict;
    props.lc = static_cast<int>(options.lc);
    props.lp = static_cast<int>(options.lp);
    props.pb = static_cast<int>(options.pb);
    props.numThreads = 1;

    Bytes converted;
    const Bytes* input = &data;
    if (options.x86) {
        converted = data;
        codec::detail::X86Convert(converted.data(), converted.size(), true);
        input = &converted;
    }

    // Raw LZMA grows incompressible input by a few percent; a quarter is ample.
    Bytes block(kLzmaHeaderSize + data.size() + data.size() / 4 + 4096);
    block[0] = options.x86 ? 1 : 0;
    bytes::PutU32LE(block.data() + 6, static_cast<uint32_t>(data.size()));
    bytes::PutU32LE(block.data() + 10, 0);
    SizeT outSize = block.size() - kLzmaHeaderSize;
    SizeT propsSize = LZMA_PROPS_SIZE;
    const SRes res = LzmaEncode(block.data() + kLzmaHeaderSize, &outSize, input->data(),
                                input->size(), &props, block.data() + 1, &propsSize,
                                options.endMarker ? 1 : 0, nullptr, &gSdkAllocator,
                                &gSdkAllocator);
    if (res != SZ_OK || propsSize != LZMA_PROPS_SIZE)
        throw Error("LZMA block: encoder failed with code " + std::to_string(res));
    block.resize(kLzmaHeaderSize + outSize);
    return block;
}

}  // namespace mapdb
