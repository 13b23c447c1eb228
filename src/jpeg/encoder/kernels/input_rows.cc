// Rows of packed pixels to samples: RGB565 and RGB888 by 12-bit fixed point, pairs and packed 4:2:2 taken apart.
#ifndef VOREL_INPUT_ROWS_SCALAR
#define VOREL_INPUT_ROWS_SCALAR

#include "jpeg/encoder/kernels/internal.h"

namespace vorel {
namespace {

// Weights times 4096. Those of RGB565's luma add up to more than that; its samples reach 254 all the same, since its
// fields are taken at the middle of what they stand for.
struct LumaWeights {
    int32_t r, g, b;
};
constexpr LumaWeights k565Luma = {1245, 2404, 467}, k888Luma = {1225, 2404, 467};
constexpr int32_t kHalf = 2048, kCbR = -691, kCbG = -1357, kCrG = -1715, kCrB = -333;
constexpr int kBits = 12;

struct Rgb {
    int32_t r, g, b;
};
uint8_t luma(const LumaWeights &weights, Rgb c) {
    return static_cast<uint8_t>((weights.r * c.r + weights.g * c.g + weights.b * c.b) >> kBits);
}
uint8_t blue_difference(Rgb c) {
    return static_cast<uint8_t>(((kCbR * c.r + kHalf * c.b + kCbG * c.g) >> kBits) + 128);
}
uint8_t red_difference(Rgb c) { return static_cast<uint8_t>(((kHalf * c.r + kCrG * c.g + kCrB * c.b) >> kBits) + 128); }

Rgb expand(const uint8_t *pixel) {
    const int32_t word = pixel[0] | pixel[1] << 8;
    return {((word & 0xF800) >> 8) + 4, ((word & 0x7E0) >> 3) + 2, ((word << 3) & 255) + 4};
}

void scalar_rgb565_rows(const PixelRowPair &rows) {
    for (ptrdiff_t x = 0; x < rows.width; x += 2) {
        Rgb sum = {0, 2, 0};
        for (int i = 0; i < 4; ++i) {
            const ptrdiff_t at = x + (i & 1);
            const Rgb c = expand(rows.pixels[i >> 1] + 2 * at);
            rows.y[i >> 1][at] = luma(k565Luma, c);
            sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        }
        const Rgb mean = {sum.r >> 2, sum.g >> 2, sum.b >> 2};
        rows.u[x / 2] = blue_difference(mean);
        rows.v[x / 2] = red_difference(mean);
    }
}

void scalar_rgb888_row(const uint8_t *rgb, int32_t width, uint8_t *y, uint8_t *u, uint8_t *v) {
    for (ptrdiff_t x = 0; x < width; ++x) {
        const Rgb c = {rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]};
        y[x] = luma(k888Luma, c);
        if (!u || x & 1) continue;
        u[x / 2] = blue_difference(c);
        v[x / 2] = red_difference(c);
    }
}

void scalar_split_pairs(const uint8_t *src, int32_t count, uint8_t *first, uint8_t *second) {
    for (ptrdiff_t i = 0; i < count; ++i) first[i] = src[2 * i], second[i] = src[2 * i + 1];
}

void scalar_split_yuyv(const uint8_t *src, int32_t count, uint8_t *y, uint8_t *u, uint8_t *v) {
    for (ptrdiff_t i = 0; i < count; ++i, src += 4) {
        y[2 * i] = src[0];
        u[i] = src[1];
        y[2 * i + 1] = src[2];
        v[i] = src[3];
    }
}

}  // namespace

void add_scalar_input(EncoderKernels *table) {
    table->rgb565_rows = scalar_rgb565_rows;
    table->rgb888_row = scalar_rgb888_row;
    table->split_pairs = scalar_split_pairs;
    table->split_yuyv = scalar_split_yuyv;
}

}  // namespace vorel

#endif  // VOREL_INPUT_ROWS_SCALAR

#define VOREL_SIMD_FILE "jpeg/encoder/kernels/input_rows.cc"
#include "util/simd_targets.h"

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_input(SimdTarget, EncoderKernels *) {}

}  // namespace vorel
#endif
