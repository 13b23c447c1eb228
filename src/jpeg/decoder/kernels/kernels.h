// The decoder's kernels: inverse DCTs over rows of blocks, colour conversion over rows of samples. Pure functions of
// their arguments. Every member of a table gives the same bytes in every table, for all inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

// A run of neighbouring blocks of one component: block i goes to out + i * (width of the kernel's output).
struct BlockRun {
    const int16_t *const *blocks;  // 64 quantised coefficients each, natural order, 32-byte aligned
    const uint8_t *last;           // zigzag position of the last coefficient that may be nonzero, 0..63; 0: DC at most
    int32_t count;
    const int32_t *multipliers;  // 64, the form that the kernel wants
    const uint8_t *range_limit;  // centre-adjusted table of 1024 entries, indexed by value & 0x3FF after saturation
    bool plain_range;            // range_limit is the ordinary clamp, so saturating arithmetic may stand for it
    uint8_t *out;                // every row holds count * width samples, and no more
    ptrdiff_t stride_bytes;      // between output rows
};
using BlockRunFn = void (*)(const BlockRun &run);

// Two samples of a row for each of some outputs, in groups of eight: those of output 8 g + i are picks[16 g + 2 i] and
// picks[16 g + 2 i + 1] among the 16 samples from starts[g] on, all of which are read.
struct SampleTaps {
    const int32_t *starts;
    const uint8_t *picks;
    int32_t groups;
};
constexpr int32_t kTapGroup = 8, kTapReach = 16;

// Output shapes of the inverse DCTs, width x height.
enum class IdctShape : uint8_t { k8x8, k8x4, k4x8, k4x4, k4x2, k2x4, k2x2, k2x1, k1x2, k1x1, k3x3, kCount };

enum class PixelFormat : uint8_t { kRgba, kBgra, kRgb565, kCount };

// One row of YCbCr to pixels. With a shared chroma sample per pair of pixels cb and cr hold (width + 1) / 2 samples,
// else width.
using YccRowFn = void (*)(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width, uint8_t *out);
// Two luma rows over one half-width chroma row (4:2:0).
using YccRowPairFn = void (*)(const uint8_t *y0, const uint8_t *y1, const uint8_t *cb, const uint8_t *cr, int32_t width,
                              uint8_t *out0, uint8_t *out1);
using GrayRowFn = void (*)(const uint8_t *y, int32_t width, uint8_t *out);
using RgbRowFn = void (*)(const uint8_t *r, const uint8_t *g, const uint8_t *b, int32_t width, uint8_t *out);

constexpr int kPixelFormats = static_cast<int>(PixelFormat::kCount);
constexpr int kIdctShapes = static_cast<int>(IdctShape::kCount);

struct KernelTable {
    const char *name;  // "scalar", "SSE4", "AVX2", ...
    BlockRunFn idct[kIdctShapes];
    // The 1 x 1 transform over DC values that stand side by side; range table and its plainness as in BlockRun.
    void (*dc_samples)(const int16_t *dc, int32_t count, int32_t multiplier, const uint8_t *range_limit,
                       bool plain_range, uint8_t *out);
    YccRowFn ycc_row[kPixelFormats];         // a chroma sample per pixel
    YccRowFn ycc_row_shared[kPixelFormats];  // a chroma sample per pair of pixels
    YccRowPairFn ycc_row_pair[kPixelFormats];
    GrayRowFn gray_row[kPixelFormats];
    RgbRowFn rgb_row[kPixelFormats];
    // Every second sample of src, from the first: count samples written, 2 * count - 1 read.
    void (*even_samples)(const uint8_t *src, int32_t count, uint8_t *dst);
    // Each sample twice: count samples written, (count + 1) / 2 read.
    void (*double_samples)(const uint8_t *src, int32_t count, uint8_t *dst);
    // a0 b0 a1 b1 ...: count pairs.
    void (*interleave)(const uint8_t *a, const uint8_t *b, int32_t count, uint8_t *dst);
    // y0 cb0 y1 cr0 ...: count pairs of pixels, one chroma sample a pair; 4 * count bytes written.
    void (*yuyv)(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *dst);
    // Sums of four samples packed as a << 20 | b << 10 | c to their means (truncated): word >> 22, >> 12, >> 2.
    void (*unpack_means)(const uint32_t *words, int32_t count, uint8_t *a, uint8_t *b, uint8_t *c);
    // The sums of both samples: kTapGroup * groups are written.
    void (*sum_taps)(const uint8_t *src, const SampleTaps &taps, uint16_t *sums);
    // Means of four samples from two such sums, (a + b) / 4 truncated.
    void (*means)(const uint16_t *a, const uint16_t *b, int32_t count, uint8_t *out);
    // Cyan, magenta or yellow times black: out = c * k / 255, truncated; out may be c.
    void (*multiply_black)(const uint8_t *c, const uint8_t *k, int32_t count, uint8_t *out);
    // YCbCr samples to inverted RGB, 255 - R and so on of the clamped conversion; outputs may be the inputs.
    void (*ycc_to_inverted_rgb)(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *c,
                                uint8_t *m, uint8_t *yellow);
};

// The plainest code that states the rules.
const KernelTable &scalar_kernels();
// The best table that this CPU runs; take it once, at set-up.
const KernelTable &kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_kernels(const KernelTable **out);

// The single-block kernels behind the exported names: samples go to rows[0..][column..].
using IdctFn = void (*)(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                        int32_t column);
// They are these, for any multipliers and coefficients and any range table of 1024 entries.
// A kernel shape, with the multipliers that make_multipliers gives for it.
void idct_block(IdctShape shape, const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block,
                uint8_t **rows, int32_t column);
// size x size samples, size 8, 4 or 1, of the scaled transform of that many points, from the columns x rows lowest
// coefficients; the others count as zero and are not read. Multipliers: the scaled form for 8 and 1, that of k4x4
// for 4.
void idct_scaled_corner(int size, int columns, int rows, const uint8_t *range_limit, const int32_t *multipliers,
                        const int16_t *block, uint8_t **out_rows, int32_t column);
// 2 x 2 samples, each the mean (truncated) of neighbours of the 3 x 3 shape, first across, then down.
void idct_halved_3x3(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                     int32_t column);

// Range tables, built at compile time. The first: 256 zeros, 0..255, 384 times 255, 384 zeros, 0..127. Samples index it
// from kRangeZero, kernels (whose samples are centred on 0) from kRangeCentre and modulo 1024.
constexpr int kRangeZero = 256;
constexpr int kRangeCentre = 384;
extern const uint8_t (&kRangeLimit)[1408];
// The second, for the compressed range 23..233; kernels index it from kCompressedCentre, modulo 1024.
constexpr int kCompressedCentre = 128;
extern const uint8_t (&kCompressedRange)[1152];

// Multipliers of a kernel shape for a quantisation table in natural order: plain values for 8x8, 2x2, 2x1, 1x2 and
// 1x1; scaled products for the others.
void make_multipliers(IdctShape shape, const uint16_t *quant, int32_t *multipliers);
// The scaled form of the 8-point transform whatever the shape: (aan[k] * q[k]) >> 2.
void make_scaled_multipliers(const uint16_t *quant, int32_t *multipliers);

}  // namespace vorel
