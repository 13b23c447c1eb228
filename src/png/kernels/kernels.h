// Loops over rows of a PNG: undoing filters, samples to pixels of 4 bytes, transparency, check values. Every member of
// a table gives the same bytes in every table, for all inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

// PNG clause 9: filter types 1 to 4. row and above have `bytes` bytes of samples; the byte to the left stands `pixel`
// bytes before, and is 0 left of the row. A row is unfiltered in place.
constexpr int kPngFilters = 5;  // with type 0, which leaves a row as it is
constexpr int kMostPixelBytes = 8;

struct PngKernels {
    const char *name;  // "scalar", "SSE4", "AVX2", ...
    void (*sub)(uint8_t *row, size_t bytes, int pixel);
    void (*up)(uint8_t *row, const uint8_t *above, size_t bytes);
    void (*average)(uint8_t *row, const uint8_t *above, size_t bytes, int pixel);
    void (*paeth)(uint8_t *row, const uint8_t *above, size_t bytes, int pixel);
    // R, G, B to R, G, B, 255, or to B, G, R, 255 with `swapped`; in and out do not overlap.
    void (*rgb_to_rgba)(const uint8_t *in, int64_t count, bool swapped, uint8_t *out);
    // The first and third byte of each pixel change places; out may be in.
    void (*swap_red_blue)(const uint8_t *in, int64_t count, uint8_t *out);
    // Each of the first three bytes c becomes (t + (t >> 8)) >> 8 with t = c * alpha + 128, the rounded c * alpha /
    // 255.
    void (*premultiply)(uint8_t *pixels, int64_t count);
    // Pixels with alpha 0, or whose little-endian word under the mask is the key, become 0.
    void (*clear)(uint8_t *pixels, int64_t count, uint32_t key, uint32_t mask);
    // zlib's check value goes on over so many bytes.
    uint32_t (*adler32)(uint32_t adler, const uint8_t *bytes, size_t count);
};

// The plainest code that states the rules, and the best table that this CPU runs.
const PngKernels &scalar_png_kernels();
const PngKernels &png_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_png_kernels(const PngKernels **out);

}  // namespace vorel
