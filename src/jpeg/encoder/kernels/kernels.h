// The encoder's kernels: forward DCT with quantisation over rows of blocks, and rows of packed pixels to samples. Pure
// functions of their arguments. Every member of a table gives the same bytes in every table, for all inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

// Neighbouring blocks of one component: the first sample of block i is rows[0][column + 8 * i].
struct ForwardRun {
    const uint8_t *const *rows;  // 8
    uint32_t column;
    int32_t count;
    const uint16_t *divisors;  // four rows of 64 in natural order: reciprocal, correction, scale, shift
    int16_t *out;              // 64 quantised coefficients a block, zigzag order; 64-byte aligned
    uint64_t *nonzero;         // of each block: bit k is set where coefficient k of `out` is not 0
};

// Two rows of pixels to luma, and to the one row of chroma that they share; both may be the same. The width is even.
struct PixelRowPair {
    const uint8_t *pixels[2];
    int32_t width;
    uint8_t *y[2];
    uint8_t *u, *v;
};

struct EncoderKernels {
    const char *name;  // "scalar", "SSE4", "AVX2", ...
    void (*forward)(const ForwardRun &run);
    // Coefficients from natural order to zigzag order (64-byte aligned); the same bits.
    uint64_t (*zigzag)(const int16_t *natural, int16_t *zigzag);
    // RGB565 with chroma of the mean of 2 x 2 pixels.
    void (*rgb565_rows)(const PixelRowPair &rows);
    // A row of bytes R, G, B, with chroma of the even pixels, or without it where u and v are null.
    void (*rgb888_row)(const uint8_t *rgb, int32_t width, uint8_t *y, uint8_t *u, uint8_t *v);
    // count pairs, and count times Y0 U Y1 V.
    void (*split_pairs)(const uint8_t *src, int32_t count, uint8_t *first, uint8_t *second);
    void (*split_yuyv)(const uint8_t *src, int32_t count, uint8_t *y, uint8_t *u, uint8_t *v);
};

const EncoderKernels &scalar_encoder_kernels();
// The best table that this CPU runs; taken once, at set-up.
const EncoderKernels &encoder_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_encoder_kernels(const EncoderKernels **out);

}  // namespace vorel
