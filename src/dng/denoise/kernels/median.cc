// Medians, and the spikes that they replace.
#ifndef VOREL_MEDIAN_SCALAR
#define VOREL_MEDIAN_SCALAR

#include <cstddef>
#include <utility>

#include "dng/denoise/kernels/internal.h"

namespace vorel {
namespace {

#include "dng/denoise/kernels/networks.h"

constexpr size_t window_taps(Window window) {
    return window == Window::kCross5 ? 5 : window == Window::kSquare9 ? 9 : 13;
}

struct ByteOps {
    static uint8_t lesser(uint8_t a, uint8_t b) { return a < b ? a : b; }
    static uint8_t greater(uint8_t a, uint8_t b) { return a > b ? a : b; }
};

void scalar_sort_columns(const uint8_t *const *rows, uint32_t count, uint8_t *const *sorted) {
    for (size_t x = 0; x < count; ++x) {
        uint8_t v[5];
        for (int i = 0; i < 5; ++i) v[i] = rows[i][x];
        sort_5<ByteOps>(v);
        for (int i = 0; i < 5; ++i) sorted[i][x] = v[i];
    }
}

void scalar_median_25(const uint8_t *const *sorted, uint32_t count, uint8_t *dst) {
    for (size_t x = 0; x < count; ++x) {
        uint8_t v[25];
        for (size_t i = 0; i < 25; ++i) v[i] = sorted[i / 5][x + i % 5];
        dst[x] = median_25<ByteOps>(v);
    }
}

template <Window kWindow>
void scalar_median_of(const uint8_t *const *taps, uint32_t count, uint8_t *dst) {
    for (size_t x = 0; x < count; ++x) {
        uint8_t v[window_taps(kWindow)];
        for (size_t i = 0; i < window_taps(kWindow); ++i) v[i] = taps[i][x];
        dst[x] = median_of<ByteOps>(v);
    }
}

void scalar_spikes(const uint8_t *src, const uint8_t *medians, uint8_t threshold, uint32_t count, uint8_t *dst) {
    for (size_t x = 0; x < count; ++x) {
        const int difference = src[x] - medians[x];
        dst[x] = difference > threshold || difference < -threshold ? medians[x] : src[x];
    }
}

}  // namespace

void add_scalar_median(DenoiseKernels *table) {
    table->sort_columns = scalar_sort_columns;
    table->median_25 = scalar_median_25;
    table->median_of[static_cast<int>(Window::kCross5)] = scalar_median_of<Window::kCross5>;
    table->median_of[static_cast<int>(Window::kSquare9)] = scalar_median_of<Window::kSquare9>;
    table->median_of[static_cast<int>(Window::kRhomb13)] = scalar_median_of<Window::kRhomb13>;
    table->spikes = scalar_spikes;
}

}  // namespace vorel

#endif  // VOREL_MEDIAN_SCALAR

#define VOREL_SIMD_FILE "dng/denoise/kernels/median.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {
namespace networks {
#include "dng/denoise/kernels/networks.h"
}

struct VectorOps {
    template <class V>
    static HWY_INLINE V lesser(V a, V b) {
        return hn::Min(a, b);
    }
    template <class V>
    static HWY_INLINE V greater(V a, V b) {
        return hn::Max(a, b);
    }
};

struct SortColumns {
    static constexpr uint32_t kUnit = 1;
    const uint8_t *const *rows;
    uint8_t *const *sorted;
    template <class D8>
    HWY_INLINE void vector(D8 d, uint32_t x) const {
        hn::Vec<D8> v[5];
        for (int i = 0; i < 5; ++i) v[i] = hn::LoadU(d, rows[i] + x);
        networks::sort_5<VectorOps>(v);
        for (int i = 0; i < 5; ++i) hn::StoreU(v[i], d, sorted[i] + x);
    }
    void scalar(uint32_t x, uint32_t count) const {
        const uint8_t *from[5];
        uint8_t *to[5];
        for (int i = 0; i < 5; ++i) from[i] = rows[i] + x, to[i] = sorted[i] + x;
        scalar_sort_columns(from, count, to);
    }
};
void sort_columns(const uint8_t *const *rows, uint32_t count, uint8_t *const *sorted) {
    sweep(SortColumns{rows, sorted}, count);
}

struct Median25 {
    static constexpr uint32_t kUnit = 1;
    const uint8_t *const *sorted;
    uint8_t *dst;
    template <class D8>
    HWY_INLINE void vector(D8 d, uint32_t x) const {
        hn::Vec<D8> v[25];
        for (size_t i = 0; i < 25; ++i) v[i] = hn::LoadU(d, sorted[i / 5] + x + i % 5);
        hn::StoreU(networks::median_25<VectorOps>(v), d, dst + x);
    }
    void scalar(uint32_t x, uint32_t count) const {
        const uint8_t *from[5];
        for (int i = 0; i < 5; ++i) from[i] = sorted[i] + x;
        scalar_median_25(from, count, dst + x);
    }
};
void median_25(const uint8_t *const *sorted, uint32_t count, uint8_t *dst) { sweep(Median25{sorted, dst}, count); }

template <Window kWindow>
struct MedianOf {
    static constexpr uint32_t kUnit = 1;
    static constexpr size_t kTaps = window_taps(kWindow);
    const uint8_t *const *taps;
    uint8_t *dst;
    template <class D8>
    HWY_INLINE void vector(D8 d, uint32_t x) const {
        hn::Vec<D8> v[kTaps];
        for (size_t i = 0; i < kTaps; ++i) v[i] = hn::LoadU(d, taps[i] + x);
        hn::StoreU(networks::median_of<VectorOps>(v), d, dst + x);
    }
    void scalar(uint32_t x, uint32_t count) const {
        const uint8_t *from[kTaps];
        for (size_t i = 0; i < kTaps; ++i) from[i] = taps[i] + x;
        scalar_median_of<kWindow>(from, count, dst + x);
    }
};
template <Window kWindow>
void median_of_window(const uint8_t *const *taps, uint32_t count, uint8_t *dst) {
    sweep(MedianOf<kWindow>{taps, dst}, count);
}

struct Spikes {
    static constexpr int32_t kUnit = 1;
    const uint8_t *src, *medians;
    uint8_t threshold;
    uint8_t *dst;
    template <class D8>
    HWY_INLINE hn::Vec<D8> vector(D8 d, int32_t x) const {
        const auto v = hn::LoadU(d, src + x), median = hn::LoadU(d, medians + x);
        // One of the two differences is 0.
        const auto difference = hn::Or(hn::SaturatedSub(v, median), hn::SaturatedSub(median, v));
        const auto beyond = hn::SaturatedSub(difference, hn::Set(d, threshold));
        return hn::IfThenElse(hn::Eq(beyond, hn::Zero(d)), v, median);
    }
    template <class D8>
    HWY_INLINE void store(D8 d, hn::Vec<D8> v, int32_t x) const {
        hn::StoreU(v, d, dst + x);
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_spikes(src + x, medians + x, threshold, static_cast<uint32_t>(count), dst + x);
    }
};
void spikes(const uint8_t *src, const uint8_t *medians, uint8_t threshold, uint32_t count, uint8_t *dst) {
    sweep_in_place(Spikes{src, medians, threshold, dst}, static_cast<int32_t>(count));
}

void add_median(DenoiseKernels *table) {
    table->sort_columns = sort_columns;
    table->median_25 = median_25;
    table->median_of[static_cast<int>(Window::kCross5)] = median_of_window<Window::kCross5>;
    table->median_of[static_cast<int>(Window::kSquare9)] = median_of_window<Window::kSquare9>;
    table->median_of[static_cast<int>(Window::kRhomb13)] = median_of_window<Window::kRhomb13>;
    table->spikes = spikes;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_median(SimdTarget target, [[maybe_unused]] DenoiseKernels *table) {
    VOREL_SIMD_CALL(target, add_median(table));
}

}  // namespace vorel
#endif
