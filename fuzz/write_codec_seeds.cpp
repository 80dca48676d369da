// Writes the seed corpus of codec_fuzz into a folder: valid blocks of every form the harness
// feeds (its first byte picks the decoder), each encoded by mapdb from a few kinds of data.
// Usage: write_codec_seeds FOLDER
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "BlockEncoders.h"
#include "ByteWriter.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    std::vector<mapdb::Bytes> samples;
    const std::string text = "東京駅前 9:00~18:00 出口1｜東京｜千葉 ";
    for (size_t n : {1, 64, 3000}) {
        mapdb::Bytes repeated, varied, zeros(n, 0);
        uint32_t x = 12345;
        for (size_t i = 0; i < n; ++i) {
            repeated.push_back(static_cast<uint8_t>(text[i % text.size()]));
            x = x * 1103515245 + 12345;
            varied.push_back(static_cast<uint8_t>(i % 7 == 0 ? x >> 24 : i % 13));
        }
        samples.insert(samples.end(), {repeated, varied, zeros});
    }
    // Form byte as the harness reads it, then the encoder for that form.
    using Encode = mapdb::Bytes (*)(const mapdb::Bytes&);
    const std::pair<uint8_t, Encode> forms[] = {
        {0, [](const mapdb::Bytes& d) { return mapdb::EncodeLzmaBlock(d); }},
        {0, [](const mapdb::Bytes& d) { return mapdb::EncodeLzmaBlock(d, true); }},
        {1, mapdb::EncodeBwtLzssBlock},
        {2, mapdb::EncodeBwtMtfLzssBlock},
        {3, mapdb::EncodeBwtMtfRcBlock},
        {4, mapdb::EncodeBwtLzssHufBlock},
        {5, mapdb::EncodeBwtLzssBlock},
        {6, mapdb::EncodeLzssBlock},
        {8, mapdb::EncodeHuffmanBlock},
        {10, mapdb::EncodeMoveToFrontBlock},
        {11, mapdb::EncodeRangeCoderBlock},
        {12, mapdb::EncodeBlockSortBlock},
        {13, [](const mapdb::Bytes& d) { return mapdb::EncodeLzmaBlock(d); }}};
    int written = 0;
    for (size_t f = 0; f < std::size(forms); ++f) {
        for (size_t s = 0; s < samples.size(); ++s) {
            mapdb::Bytes seed{forms[f].first};
            const mapdb::Bytes block = forms[f].second(samples[s]);
            seed.insert(seed.end(), block.begin(), block.end());
            mapdb::WriteFile(
                std::string(argv[1]) + "/seed-" + std::to_string(f) + "-" + std::to_string(s),
                seed);
            ++written;
        }
    }
    printf("%d seeds written\n", written);
    return 0;
}
