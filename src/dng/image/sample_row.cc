#include "dng/image/sample_row.h"

#include <cstring>

#include <vorel/dng_samples.h>

#include "dng/image/kernels/kernels.h"

namespace vorel {
namespace {

// Any size up to 32 bits.
template <typename Sample>
void unpack_bits(const uint8_t *src, uint32_t bits, uint64_t count, Sample *out) {
    uint64_t reservoir = 0;
    uint32_t held = 0;
    const uint64_t mask = (uint64_t{1} << bits) - 1;
    for (uint64_t i = 0; i < count; ++i) {
        for (; held < bits; held += 8) reservoir = reservoir << 8 | *src++;
        held -= bits;
        out[i] = static_cast<Sample>(reservoir >> held & mask);
    }
}

// Memory of a file is aligned to bytes.
void read_words(const uint8_t *src, uint64_t count, bool swapped, uint16_t *out) {
    std::memcpy(out, src, count * sizeof *out);
    if (swapped) sample_kernels().swap_16(out, count, out);
}
void read_longs(const uint8_t *src, uint64_t count, bool swapped, void *out) {
    std::memcpy(out, src, count * sizeof(uint32_t));
    uint32_t *longs = static_cast<uint32_t *>(out);
    if (swapped) sample_kernels().swap_32(longs, count, longs);
}

void read_float_row(const StoredSample &stored, const uint8_t *src, uint64_t count, float *out) {
    if (stored.bits == 32) return read_longs(src, count, stored.other_endian, out);
    for (uint64_t i = 0; i < count; ++i) {
        if (stored.bits == 24) {
            out[i] = DNG_FP24ToFloat(src + i * 3);  // Required: most significant byte first in either order
        } else {
            uint16_t word;
            read_words(src + i * 2, 1, stored.other_endian, &word);
            out[i] = DNG_HalfToFloat(word);
        }
    }
}

}  // namespace

void read_sample_row(const StoredSample &stored, const uint8_t *src, const uint8_t *end, uint64_t count, void *out) {
    if (stored.is_float) return read_float_row(stored, src, count, static_cast<float *>(out));
    switch (stored.bits) {
        case 8:
            std::memcpy(out, src, count);
            return;
        case 16:
            return read_words(src, count, stored.other_endian, static_cast<uint16_t *>(out));
        case 32:
            return read_longs(src, count, stored.other_endian, out);
        default:
            break;
    }
    if (stored.bits < 8) return unpack_bits(src, stored.bits, count, static_cast<uint8_t *>(out));
    if (stored.bits > 16) return unpack_bits(src, stored.bits, count, static_cast<uint32_t *>(out));
    sample_kernels().unpack(src, end, stored.bits, count, static_cast<uint16_t *>(out));
}

}  // namespace vorel
