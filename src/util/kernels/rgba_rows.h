// What the conversions of RGBA rows to YUV 4:2:0 share: 16-bit fixed point, and rows from a column on.
#pragma once

#include "util/kernels/internal.h"
#include "util/kernels/prefetch.h"

namespace vorel {

struct Weights {
    int32_t r, g, b;
    constexpr bool operator==(const Weights &) const = default;
};
constexpr int32_t kLumaRound = 32768, kChromaRound = 32767 + (128 << 16);

// Results need no clamp: they are convex, and the corners of the cube lie in 0..255.
inline int32_t weigh(const Weights &weights, const uint8_t *rgba, int32_t round) {
    return (weights.r * rgba[0] + weights.g * rgba[1] + weights.b * rgba[2] + round) >> 16;
}

inline RgbaRows rows_from(const RgbaRows &rows, int32_t x, bool planar) {
    RgbaRows rest = rows;
    for (int row = 0; row < 2; ++row) {
        rest.rgba[row] = rows.rgba[row] ? rows.rgba[row] + ptrdiff_t{x} * 4 : nullptr;
        rest.y[row] = rows.y[row] ? rows.y[row] + x : nullptr;
    }
    rest.first += planar ? x / 2 : x;
    if (planar) rest.second += x / 2;
    rest.width -= x;
    return rest;
}

// The first row again where the second one is missing: results are the same, and loops need not ask.
inline RgbaRows with_second_row(const RgbaRows &rows) {
    RgbaRows both = rows;
    if (!rows.rgba[1]) both.rgba[1] = rows.rgba[0], both.y[1] = rows.y[0];
    return both;
}

// What both rows hold a few steps further on; behind their end that is the next rows' beginning.
inline void prefetch_rows(const RgbaRows &rows, int32_t x, size_t pixels) {
    constexpr ptrdiff_t kAhead = 1024;
    prefetch_ahead<3>(rows.rgba[0] + ptrdiff_t{x} * 4, kAhead, 4 * pixels);
    prefetch_ahead<3>(rows.rgba[1] + ptrdiff_t{x} * 4, kAhead, 4 * pixels);
}

}  // namespace vorel
