// The utilities' kernels: colour conversion over rows, resizing of a row, transposition and reversal. Pure functions of
// their arguments; every member of a table gives the same bytes in every table, for all inputs. Outputs do not overlap
// inputs unless a comment says so.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

enum class Chroma : uint8_t { kUv, kVu, kPlanar, kCount };  // pairs U V, pairs V U, two planes
enum class RgbFormat : uint8_t { kRgba, kBgra, kRgb, kCount };
constexpr int kChromaLayouts = static_cast<int>(Chroma::kCount);
constexpr int kRgbFormats = static_cast<int>(RgbFormat::kCount);

// Two rows of pixels and the chroma row that they share. y[1] and rgb[1] are null where the second row is missing. A
// chroma row has (width + 1) / 2 samples or pairs; second is not looked at for pairs.
struct YuvRows {
    const uint8_t *y[2];
    const uint8_t *first, *second;
    int32_t width;
    uint8_t *rgb[2];
};
struct RgbaRows {
    const uint8_t *rgba[2];
    int32_t width;
    uint8_t *y[2];
    uint8_t *first, *second;
    // Luma past the caches where the processor can: its rows and the width are multiples of 16 bytes, and end_stream()
    // follows.
    bool streamed = false;
};

// The source samples of one resized row. Output sample x of `count`, each of `unit` bytes, is the sum of the source
// samples first(x) and second(x) of two rows, each byte shifted right by 2, where, with c = first_column + x,
//     first(x) = ((src >> 2) + c * src) / dst        second(x) = (((3 * src) >> 2) + c * src) / dst
struct ColumnTaps {
    int32_t src, dst;
    int32_t unit;  // 1 to 4
    int32_t first_column, count;
    // For vector code: make_tap_chunks. Null: the taps are walked.
    const struct TapChunk *chunks;
    const int32_t *chunk_ends;  // for each block of 16 output bytes, the last one overlapping: where its chunks end
};
// The two source rows of an output row, which may be the same, and how many bytes behind them those of the next output
// row stand, which are asked for ahead; 0: there is none.
struct TapRows {
    const uint8_t *a;
    ptrdiff_t ahead_a;
    const uint8_t *b;
    ptrdiff_t ahead_b;
};

// The step between the taps of neighbouring output samples where it is a whole number for which vector code needs no
// chunks; else 0.
constexpr int32_t step_without_chunks(const ColumnTaps &taps) {
    // Asked for every row: no division.
    const int64_t src = taps.src, dst = taps.dst;
    if (taps.unit == 3) return 0;
    return src == 2 * dst ? 2 : src == 4 * dst ? 4 : src == 8 * dst && taps.unit == 4 ? 8 : 0;
}

// What 16 output bytes take from 16 source bytes: for each the index of its first and its second tap, or 0x80.
struct TapChunk {
    int32_t offset;  // bytes from the row's start
    uint8_t first[16], second[16];
};

// A plane of `unit`-byte samples turned over its diagonal: dst[x][y] = src[y][x]. Strides are in bytes, of any sign.
struct PlaneTurn {
    const uint8_t *src;
    ptrdiff_t src_stride;
    uint8_t *dst;
    ptrdiff_t dst_stride;
    int32_t width, height;  // of the source
};

constexpr int kMostUnit = 4;

struct UtilKernels {
    const char *name;  // "scalar", "SSE4", "AVX2", ...
    void (*yuv_to_rgb[kChromaLayouts][kRgbFormats])(const YuvRows &rows);
    // Pairs: BT.601 video range, chroma of the even pixels of the first row. Planar: full range, mean chroma.
    void (*rgba_to_yuv[kChromaLayouts])(const RgbaRows &rows);
    // The same for RGBA and for BGRA pixels, chroma being (sum of four pixels' + bias) / 4, bias 1, 2, 1, 2, ...
    void (*rgba_to_sampled)(const RgbaRows &rows);
    void (*bgra_to_sampled)(const RgbaRows &rows);
    // count pairs; dst may be src.
    void (*swap_pairs)(const uint8_t *src, int32_t count, uint8_t *dst);
    void (*interleave)(const uint8_t *first, const uint8_t *second, int32_t count, uint8_t *dst);
    // memcpy() past the caches where the processor can, for results that do not fit into them. Followed by
    // end_stream().
    void (*stream_copy)(const uint8_t *src, size_t bytes, uint8_t *dst);
    void (*resize_row)(const ColumnTaps &taps, const TapRows &rows, uint8_t *out);
    // By sample size, 1 to 4 bytes.
    void (*transpose[kMostUnit + 1])(const PlaneTurn &turn);
    // dst[i] = src[count - 1 - i].
    void (*reverse[kMostUnit + 1])(const uint8_t *src, size_t count, uint8_t *dst);
    // a[i] and b[count - 1 - i] change places; a and b do not overlap.
    void (*swap_reversed[kMostUnit + 1])(uint8_t *a, uint8_t *b, size_t count);
};

// The plainest code that states the rules, and the best table that this CPU runs.
const UtilKernels &scalar_util_kernels();
const UtilKernels &util_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_util_kernels(const UtilKernels **out);

// Stores past the caches become visible to other threads in order with those that follow.
inline void end_stream() {
#if defined(__SSE__)
    __builtin_ia32_sfence();
#endif
}

// Fills chunk_ends (as many as tap_blocks says) and, unless null, chunks; returns the number of chunks. For rows of at
// least 16 bytes on both sides.
int32_t tap_blocks(const ColumnTaps &taps);
int64_t make_tap_chunks(const ColumnTaps &taps, int32_t *chunk_ends, TapChunk *chunks);

// The taps of output samples one after another, without a division a sample: all about each is a quotient and a
// remainder that grow by those of src / dst.
class TapWalk {
  public:
    // start: src >> 2 for the first taps, (3 * src) >> 2 for the second ones.
    TapWalk(int64_t start, int32_t src, int32_t dst, int32_t column)
        : at_((start + int64_t{column} * src) / dst),
          rest_(static_cast<int32_t>((start + int64_t{column} * src) % dst)),
          step_(src / dst),
          step_rest_(src % dst),
          dst_(dst) {}
    static TapWalk first(int32_t src, int32_t dst, int32_t column) { return {src >> 2, src, dst, column}; }
    static TapWalk second(int32_t src, int32_t dst, int32_t column) {
        return {(int64_t{3} * src) >> 2, src, dst, column};
    }
    int64_t at() const { return at_; }
    void next() {
        at_ += step_;
        // rest_ and step_rest_ are both below dst_.
        if (rest_ >= dst_ - step_rest_) {
            rest_ -= dst_ - step_rest_;
            ++at_;
        } else {
            rest_ += step_rest_;
        }
    }

  private:
    int64_t at_;
    int32_t rest_, step_, step_rest_, dst_;
};

}  // namespace vorel
