// The sum over a kernel's taps, and a row of such sums away from the image's edges.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vorel {

// Integers sum in 8.8 fixed point and keep the low 16 bits; floats in the order of the taps.
template <typename Sample>
struct TapSum {
    static constexpr bool kFixed = std::is_integral_v<Sample>;
    using Weight = std::conditional_t<kFixed, uint16_t, float>;

    void add(Weight weight, Sample sample) {
        if constexpr (kFixed) {
            value += uint32_t{weight} * sample;
        } else {
            value += weight * sample;
        }
    }
    Sample result() const {
        if constexpr (kFixed) {
            return static_cast<Sample>(value >> 8);
        } else {
            return value;
        }
    }

    std::conditional_t<kFixed, uint32_t, float> value = kFixed ? 128 : 0;
};

// Kernels of one row of a pattern, as the row functions take them.
template <typename Sample>
struct KernelRow {
    uint32_t columns;  // of the pattern
    const uint32_t *counts;
    const int32_t *const *offsets;
    const typename TapSum<Sample>::Weight *const *weights;
};

// count outputs, dst_step samples apart. src is the site of output 0, which is the phase-th of the 1 << shift outputs
// of that site; sites are column_step samples apart. All taps are inside the image.
template <typename Sample>
void bilinear_row(const KernelRow<Sample> &kernels, uint32_t pattern_column, const Sample *src, int32_t column_step,
                  uint32_t shift, uint32_t phase, Sample *dst, uint32_t dst_step, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        const Sample *const site = src + ptrdiff_t{column_step} * ((phase + i) >> shift);
        const uint32_t taps = kernels.counts[pattern_column];
        const int32_t *const offsets = kernels.offsets[pattern_column];
        const auto *const weights = kernels.weights[pattern_column];
        TapSum<Sample> sum;
        for (uint32_t tap = 0; tap < taps; ++tap) sum.add(weights[tap], site[offsets[tap]]);
        dst[size_t{i} * dst_step] = taps ? sum.result() : Sample{0};
        if (++pattern_column == kernels.columns) pattern_column = 0;
    }
}

}  // namespace vorel
