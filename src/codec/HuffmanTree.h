// The static Huffman tree both the decoder and the block writer build from 256 byte frequencies:
// 255 merges, each joining the two parentless nodes of least frequency found by a linear scan
// in node order (ties keep the earlier node; the first found gets bit 0). Frequencies add with
// 32-bit wrap-around, as stored. Internal; not exported.
#pragma once

#include <cstdint>

namespace codec {
namespace huffman {

constexpr int kLeaves = 256;
constexpr int kNodes = 2 * kLeaves - 1;
constexpr int kRoot = kNodes - 1;

struct Node {
    uint32_t freq;
    uint8_t bit;  // the bit that leads here from the parent
    int16_t parent;
    int16_t left;   // bit 0
    int16_t right;  // bit 1
};

// Fills nodes[0..510]: leaves 0..255 from freq, inner nodes 256..510, the root last. False when
// a merge finds fewer than two parentless nodes (it never does for 256 leaves).
inline bool BuildTree(Node* nodes, const uint32_t* freq) {
    for (int k = 0; k < kLeaves; ++k) nodes[k] = {freq[k], 0, -1, -1, -1};
    for (int made = kLeaves; made < kNodes; ++made) {
        int m1 = -1;
        int m2 = -1;
        for (int k = 0; k < made; ++k) {
            if (nodes[k].parent != -1) continue;
            if (m1 < 0) {
                m1 = k;
            } else if (nodes[k].freq < nodes[m1].freq) {
                m2 = m1;
                m1 = k;
            } else if (m2 < 0 || nodes[k].freq < nodes[m2].freq) {
                m2 = k;
            }
        }
        if (m1 < 0 || m2 < 0) return false;
        nodes[made] = {static_cast<uint32_t>(nodes[m1].freq + nodes[m2].freq), 0, -1,
                       static_cast<int16_t>(m1), static_cast<int16_t>(m2)};
        nodes[m1].parent = static_cast<int16_t>(made);
        nodes[m1].bit = 0;
        nodes[m2].parent = static_cast<int16_t>(made);
        nodes[m2].bit = 1;
    }
    return true;
}

}  // namespace huffman
}  // namespace codec
