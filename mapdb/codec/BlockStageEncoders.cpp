// Encoders of the block-sorting chain stages (block sort, move-to-front, LZSS, Huffman, range
// coder) and of the chains themselves, written independently of the decoders they mirror; only
// the Huffman tree is the decoder's own (codec/HuffmanTree.h), so both sides build one tree.
#include <algorithm>
#include <numeric>
#include <string>

#include "BlockEncoders.h"
#include "codec/HuffmanTree.h"

namespace mapdb {

namespace {

constexpr size_t kWorkSlack = 1297;  // the decoder's spare room in every intermediate buffer

void CheckSize(const Bytes& data, const char* what) {
    if (data.size() > UINT32_MAX) {
        throw Error(std::string(what) + ": input of " + std::to_string(data.size()) +
                    " bytes exceeds 32-bit size");
    }
}

// ---- Huffman codes, from the decoder's own tree ----

// Code of every byte value as (bits, length), first bit to send in bit 0.
struct HuffCode {
    uint64_t bits[4];  // up to 255 bits
    int length;
};

std::vector<HuffCode> HuffmanCodes(const std::array<uint32_t, 256>& freq) {
    std::vector<codec::huffman::Node> nodes(codec::huffman::kNodes);
    if (!codec::huffman::BuildTree(nodes.data(), freq.data())) throw Error("Huffman: no tree");
    std::vector<HuffCode> codes(256);
    for (int k = 0; k < 256; ++k) {
        std::vector<int> path;  // leaf to root
        for (int at = k; nodes[at].parent != -1; at = nodes[at].parent)
            path.push_back(nodes[at].bit);
        HuffCode c = {{0, 0, 0, 0}, static_cast<int>(path.size())};
        for (int j = 0; j < c.length; ++j) {
            if (path[c.length - 1 - j]) c.bits[j / 64] |= uint64_t{1} << (j % 64);
        }
        codes[k] = c;
    }
    return codes;
}

// ---- range coder models, mirrored from the decoder's description ----

const unsigned kBase[10] = {0, 1, 2, 3, 5, 9, 17, 33, 65, 129};
const unsigned kCount[10] = {1, 1, 1, 2, 4, 8, 16, 32, 64, 128};

struct Model {
    explicit Model(unsigned n) : freq(n, 1), cum(n + 1) { std::iota(cum.begin(), cum.end(), 0); }
    void Update(unsigned s) {
        ++freq[s];
        for (size_t j = s + 1; j < cum.size(); ++j) ++cum[j];
        if (cum.back() >= 32768) {
            cum[0] = 0;
            for (size_t i = 0; i < freq.size(); ++i) {
                freq[i] = static_cast<uint16_t>((freq[i] >> 1) | 1);
                cum[i + 1] = static_cast<uint16_t>(cum[i] + freq[i]);
            }
        }
    }
    std::vector<uint16_t> freq;
    std::vector<uint16_t> cum;
};

class RangeEncoder {
public:
    void Encode(Model& m, unsigned s) {
        const uint32_t r = range_ / m.cum.back();
        low_ += static_cast<uint64_t>(r) * m.cum[s];
        range_ = r * m.freq[s];
        if (low_ >> 32) {
            Carry();
            low_ &= 0xFFFFFFFFu;
        }
        while (range_ < (1u << 24)) {
            out_.push_back(static_cast<uint8_t>(low_ >> 24));
            low_ = (low_ << 8) & 0xFFFFFFFFu;
            range_ <<= 8;
        }
        m.Update(s);
    }
    Bytes Finish() {
        for (int k = 0; k < 4; ++k) {
            out_.push_back(static_cast<uint8_t>(low_ >> 24));
            low_ = (low_ << 8) & 0xFFFFFFFFu;
        }
        return std::move(out_);
    }

private:
    void Carry() {
        for (size_t i = out_.size(); i-- > 0;) {
            if (++out_[i] != 0) return;
        }
        throw Error("range coder: carry past the start of the stream");
    }
    uint64_t low_ = 0;
    uint32_t range_ = 0xFFFFFFFFu;
    Bytes out_;
};

}  // namespace

BlockSorted BlockSortForward(const Bytes& data) {
    CheckSize(data, "block sort");
    const size_t n = data.size();
    BlockSorted result;
    if (n == 0) return result;
    // Prefix doubling over cyclic rotations.
    std::vector<uint32_t> order(n), rank(n), next(n);
    std::iota(order.begin(), order.end(), 0);
    for (size_t i = 0; i < n; ++i) rank[i] = data[i];
    for (size_t k = 1;; k <<= 1) {
        auto key = [&](uint32_t i) { return std::make_pair(rank[i], rank[(i + k % n) % n]); };
        std::sort(order.begin(), order.end(),
                  [&](uint32_t a, uint32_t b) { return key(a) < key(b); });
        next[order[0]] = 0;
        for (size_t j = 1; j < n; ++j) {
            next[order[j]] = next[order[j - 1]] + (key(order[j - 1]) < key(order[j]) ? 1 : 0);
        }
        rank.swap(next);
        if (rank[order[n - 1]] == n - 1 || k >= n) break;
    }
    result.lastColumn.resize(n);
    for (size_t j = 0; j < n; ++j) {
        result.lastColumn[j] = data[(order[j] + n - 1) % n];
        if (order[j] == 0) result.primary = static_cast<uint32_t>(j);
    }
    return result;
}

Bytes MoveToFrontForward(const Bytes& data) {
    uint8_t table[256];
    std::iota(table, table + 256, 0);
    Bytes out;
    out.reserve(data.size());
    unsigned prev = 1;
    for (uint8_t c : data) {
        const unsigned k = static_cast<unsigned>(std::find(table, table + 256, c) - table);
        if (k == 1) {
            if (prev != 0) std::swap(table[0], table[1]);
        } else if (k >= 2) {
            std::rotate(table + 1, table + k, table + k + 1);
        }
        out.push_back(static_cast<uint8_t>(k));
        prev = k;
    }
    return out;
}

LzssTokens LzssForward(const Bytes& data) {
    size_t count[256] = {};
    for (uint8_t b : data) ++count[b];
    LzssTokens result;
    result.escape = static_cast<uint8_t>(std::min_element(count, count + 256) - count);
    const uint8_t e = result.escape;
    Bytes& out = result.tokens;
    const size_t n = data.size();
    for (size_t p = 0; p < n;) {
        size_t bestLen = 0, bestDist = 0;
        const size_t maxDist = std::min<size_t>(254, p);
        for (size_t dist = 1; dist <= maxDist; ++dist) {
            const size_t limit = std::min({size_t{255}, dist, n - p});
            if (limit <= bestLen) continue;
            size_t len = 0;
            while (len < limit && data[p + len] == data[p + len - dist]) ++len;
            if (len > bestLen) {
                bestLen = len;
                bestDist = dist;
            }
        }
        if (bestLen >= 4) {
            out.push_back(e);
            out.push_back(static_cast<uint8_t>(bestDist < e ? bestDist : bestDist + 1));
            out.push_back(static_cast<uint8_t>(bestLen));
            p += bestLen;
        } else {
            out.push_back(data[p]);
            if (data[p] == e) out.push_back(e);
            ++p;
        }
    }
    return result;
}

Bytes RangeCoderForward(const Bytes& data) {
    std::vector<Model> first(100, Model(10));
    std::vector<Model> second;
    for (unsigned k = 0; k < 10; ++k) second.emplace_back(kCount[k]);
    uint8_t category[257];
    for (unsigned k = 0; k < 10; ++k) {
        for (unsigned v = kBase[k]; v < kBase[k] + kCount[k]; ++v)
            category[v] = static_cast<uint8_t>(k);
    }
    RangeEncoder enc;
    unsigned twoBack = 0, prev = 0;
    auto put = [&](unsigned v) {
        const unsigned k = category[v];
        enc.Encode(first[twoBack * 10 + prev], k);
        if (k >= 3) enc.Encode(second[k], v - kBase[k]);
        twoBack = prev;
        prev = k;
    };
    for (uint8_t b : data) put(b);
    put(256);
    return enc.Finish();
}

Bytes EncodeBlockSortBlock(const Bytes& data) {
    BlockSorted s = BlockSortForward(data);
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.U32(s.primary);
    w.Raw(s.lastColumn);
    return w.Take();
}

Bytes EncodeMoveToFrontBlock(const Bytes& data) {
    CheckSize(data, "move-to-front");
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.Raw(MoveToFrontForward(data));
    return w.Take();
}

Bytes EncodeLzssBlock(const Bytes& data) {
    CheckSize(data, "LZSS");
    LzssTokens t = LzssForward(data);
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.U32(t.escape);
    w.Raw(t.tokens);
    return w.Take();
}

Bytes EncodeRangeCoderBlock(const Bytes& data) {
    CheckSize(data, "range coder");
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.Raw(RangeCoderForward(data));
    return w.Take();
}

Bytes EncodeHuffmanBlock(const Bytes& data) {
    std::array<uint32_t, 256> freq = {};
    for (uint8_t b : data) ++freq[b];
    return EncodeHuffmanBlock(data, freq);
}

Bytes EncodeHuffmanBlock(const Bytes& data, const std::array<uint32_t, 256>& freq) {
    CheckSize(data, "Huffman");
    const std::vector<HuffCode> codes = HuffmanCodes(freq);
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    for (uint32_t f : freq) w.U32(f);
    Bytes bits;
    size_t used = 0;
    for (uint8_t b : data) {
        const HuffCode& c = codes[b];
        for (int j = 0; j < c.length; ++j, ++used) {
            if (used % 8 == 0) bits.push_back(0);
            if ((c.bits[j / 64] >> (j % 64)) & 1)
                bits.back() |= static_cast<uint8_t>(1u << (used % 8));
        }
    }
    w.Raw(bits);
    return w.Take();
}

Bytes EncodeBwtLzssBlock(const Bytes& data) {
    CheckSize(data, "BWT+LZSS");
    BlockSorted s = BlockSortForward(data);
    LzssTokens t = LzssForward(s.lastColumn);
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.U32(s.primary);
    w.U32(t.escape);
    w.Raw(t.tokens);
    return w.Take();
}

Bytes EncodeBwtMtfLzssBlock(const Bytes& data) {
    CheckSize(data, "BWT+MTF+LZSS");
    BlockSorted s = BlockSortForward(data);
    LzssTokens t = LzssForward(MoveToFrontForward(s.lastColumn));
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.U32(s.primary);
    w.U32(t.escape);
    w.Raw(t.tokens);
    return w.Take();
}

Bytes EncodeBwtMtfRcBlock(const Bytes& data) {
    CheckSize(data, "BWT+MTF+RC");
    BlockSorted s = BlockSortForward(data);
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.U32(s.primary);
    w.Raw(RangeCoderForward(MoveToFrontForward(s.lastColumn)));
    return w.Take();
}

Bytes EncodeBwtLzssHufBlock(const Bytes& data) {
    CheckSize(data, "BWT+LZSS+Huffman");
    const Bytes lzss = EncodeLzssBlock(EncodeBlockSortBlock(data));
    if (lzss.size() > data.size() + kWorkSlack) {
        throw Error("BWT+LZSS+Huffman: LZSS stream of " + std::to_string(lzss.size()) +
                    " bytes exceeds the decoder's buffer for " + std::to_string(data.size()) +
                    " bytes");
    }
    ByteWriter w;
    w.U32(static_cast<uint32_t>(data.size()));
    w.Raw(EncodeHuffmanBlock(lzss));
    return w.Take();
}

}  // namespace mapdb
