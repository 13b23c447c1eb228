// The Huffman tables of T.81 annex K; index 0 is luma, 1 chroma.
#pragma once

#include <cstdint>

namespace vorel {

struct HuffmanCounts {
    uint8_t of_length[17];
};
struct HuffmanValues {
    uint8_t symbols[256];
};
extern const HuffmanCounts kDcCounts[2], kAcCounts[2];  // K.3, K.4 and K.5, K.6
extern const HuffmanValues kDcValues[2], kAcValues[2];

}  // namespace vorel
