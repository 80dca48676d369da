// Block encoders, each the mirror of its decoder in src/codec.
#include "BlockEncoders.h"

#include <lzma.h>

#ifndef LZMA_FILTER_LZMA1EXT
#error "liblzma 5.4 or later is needed (LZMA1 streams of known size)"
#endif

#include <string>

namespace mapdb {

namespace {

constexpr size_t kLzmaHeaderSize = 14;

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
    lzma_options_lzma lz;
    if (lzma_lzma_preset(&lz, options.preset)) {
        throw Error("LZMA block: unsupported preset " + std::to_string(options.preset));
    }
    // No dictionary larger than the block itself: decoders of small blocks need no more.
    uint32_t dict = LZMA_DICT_SIZE_MIN;
    while (dict < data.size() && dict < lz.dict_size) dict <<= 1;
    lz.dict_size = dict;
    // Without the end marker the header's size alone ends the stream.
    lz.ext_flags = options.endMarker ? LZMA_LZMA1EXT_ALLOW_EOPM : 0;
    lz.ext_size_low = 0;
    lz.ext_size_high = 0;

    lzma_options_bcj bcj = {};
    bcj.start_offset = 0;
    lzma_filter filters[3];
    size_t k = 0;
    if (options.x86) filters[k++] = {LZMA_FILTER_X86, &bcj};
    filters[k++] = {LZMA_FILTER_LZMA1EXT, &lz};
    filters[k] = {LZMA_VLI_UNKNOWN, nullptr};

    // Raw LZMA1 grows incompressible input by a few percent; a quarter is ample.
    Bytes block(kLzmaHeaderSize + data.size() + data.size() / 4 + 4096);
    block[0] = options.x86 ? 1 : 0;
    lzma_filter propsFilter = {LZMA_FILTER_LZMA1, &lz};
    if (lzma_properties_encode(&propsFilter, block.data() + 1) != LZMA_OK) {
        throw Error("LZMA block: cannot encode properties");
    }
    bytes::PutU32LE(block.data() + 6, static_cast<uint32_t>(data.size()));
    bytes::PutU32LE(block.data() + 10, 0);

    size_t outPos = kLzmaHeaderSize;
    lzma_ret ret = lzma_raw_buffer_encode(filters, nullptr, data.data(), data.size(), block.data(),
                                          &outPos, block.size());
    if (ret != LZMA_OK) {
        throw Error("LZMA block: encoder failed with code " + std::to_string(ret));
    }
    block.resize(outPos);
    return block;
}

}  // namespace mapdb
