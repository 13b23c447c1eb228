// One row of samples as a file stores it.
#pragma once

#include <cstdint>

namespace vorel {

// How the samples of an IFD are stored: bits 1 to 32, as integers or floats.
struct StoredSample {
    uint32_t bits = 0;
    bool is_float = false;      // of 16, 24 or 32 bits
    bool other_endian = false;  // whole words and longs are not in this machine's byte order

    // Whether there is a reader for it.
    bool known() const { return bits >= 1 && bits <= 32 && (!is_float || bits == 16 || bits == 24 || bits == 32); }
    // Bytes of a row of count samples.
    uint64_t row_bytes(uint64_t count) const { return (count * bits + 7) / 8; }
    // Samples that end with a byte, from any multiple of them on.
    static constexpr uint32_t kGroup = 8;
};

// Reads count samples, which lie between src and end, to the row's pixel type: bytes up to 8 bits, words up to 16,
// longs or floats. Integers of other sizes than 8, 16 and 32 bits are packed, most significant bit first in either byte
// order.
void read_sample_row(const StoredSample &stored, const uint8_t *src, const uint8_t *end, uint64_t count, void *out);

}  // namespace vorel
