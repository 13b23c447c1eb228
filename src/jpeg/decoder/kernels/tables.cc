// Range tables and multipliers of the decoder's kernels.
#include "jpeg/decoder/kernels/kernels.h"

namespace vorel {
namespace {

// A byte table filled from its start, piece by piece.
template <int kSize>
struct Filler {
    uint8_t bytes[kSize] = {};
    int at = 0;

    constexpr void run(int count, int value) {
        for (int i = 0; i < count; ++i) bytes[at++] = static_cast<uint8_t>(value);
    }
    constexpr void copy(int count, int from) {
        for (int i = 0; i < count; ++i) bytes[at++] = bytes[from + i];
    }
};

// Indexed modulo 1024 from kRangeCentre, -512..511 come out as 128 more and clamped to 0..255.
constexpr auto kRange = [] {
    Filler<1408> table;
    table.run(256, 0);
    for (int i = 0; i < 256; ++i) table.run(1, i);
    table.run(384, 255);
    table.run(384, 0);
    table.copy(128, kRangeZero);
    return table;
}();
static_assert(kRange.at == 1408);

// Required: the runs behind the ramp start 15 entries before the place where the clamp of kRange has them, so samples
// 0..127, which are read from the copy at the end, get the entry 15 further on: 127 gives 141, and 128 gives 128.
constexpr auto kCompressed = [] {
    Filler<1152> table;
    table.run(16, 23);
    for (int i = 16; i <= 240; ++i) table.run(1, (((120 * (i - 16) - 13440) >> 7) - 128) & 0xFF);
    table.run(384, 233);
    table.run(384, 128);
    table.copy(0x8F, 0);
    return table;
}();
static_assert(kCompressed.at == 1152);

// Scales of the transforms in units of 1 << 14, for 8, 4 and 2 points. 8 points: sqrt2 cos(k pi / 16) and 1 for k 0,
// the scaled form of Arai, Agui and Nakajima. 4 points: what makes the result the mean of neighbouring pairs of the
// 8-point one, with both odd terms at the same height: sqrt2 cos(pi/8) cos(pi/16), cos(pi/8), sqrt2 cos(pi/8)
// cos(3pi/16).
constexpr int32_t kUnit = 16384;
constexpr int32_t kScale8[8] = {16384, 22725, 21407, 19266, 16384, 12873, 8867, 4520};
constexpr int32_t kScale4[4] = {16384, 20995, 15137, 17799};
constexpr int32_t kScale2[2] = {16384, 16384};
// Products of kScale4 before it was rounded.
constexpr int32_t kScale4x4[4][4] = {{16384, 20995, 15137, 17799},
                                     {20995, 26905, 19397, 22809},
                                     {15137, 19397, 13985, 16444},
                                     {17799, 22809, 16444, 19336}};

constexpr const int32_t *scale_of(int points) { return points == 8 ? kScale8 : points == 4 ? kScale4 : kScale2; }

// scale * q may need 34 bits; two fractional bits of the dequantised value stay in the product.
constexpr int32_t scaled(int32_t scale, uint16_t q) { return static_cast<int32_t>((int64_t{scale} * q) >> 2); }

void make_products(int width, int height, const uint16_t *quant, int32_t *multipliers) {
    const int32_t *across = scale_of(width), *down = scale_of(height);
    for (int v = 0; v < 8; ++v) {
        for (int u = 0; u < 8; ++u) {
            const int k = 8 * v + u;
            const bool used = v < height && u < width;
            multipliers[k] = used ? scaled((across[u] * down[v] + kUnit / 2) / kUnit, quant[k]) : 0;
        }
    }
}

void make_corner_products(const uint16_t *quant, int32_t *multipliers) {
    for (int k = 0; k < 64; ++k) {
        const int v = k >> 3, u = k & 7;
        multipliers[k] = v < 4 && u < 4 ? scaled(kScale4x4[v][u], quant[k]) : 0;
    }
}

}  // namespace

constinit const uint8_t (&kRangeLimit)[1408] = kRange.bytes;
constinit const uint8_t (&kCompressedRange)[1152] = kCompressed.bytes;

void make_scaled_multipliers(const uint16_t *quant, int32_t *multipliers) { make_products(8, 8, quant, multipliers); }

void make_multipliers(IdctShape shape, const uint16_t *quant, int32_t *multipliers) {
    switch (shape) {
        case IdctShape::k4x4:
            return make_corner_products(quant, multipliers);
        case IdctShape::k3x3:
            return make_scaled_multipliers(quant, multipliers);
        case IdctShape::k8x4:
            return make_products(8, 4, quant, multipliers);
        case IdctShape::k4x8:
            return make_products(4, 8, quant, multipliers);
        case IdctShape::k4x2:
            return make_products(4, 2, quant, multipliers);
        case IdctShape::k2x4:
            return make_products(2, 4, quant, multipliers);
        default:
            for (int k = 0; k < 64; ++k) multipliers[k] = quant[k];
    }
}

}  // namespace vorel
