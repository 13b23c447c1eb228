// The steps of a render for one sample or pixel, as every kernel has to do them: in single precision, in this order.
#pragma once

#include <cstdint>

#include "dng/render/kernels/kernels.h"

namespace vorel {

// Not a number: 0.
inline float pinned(float v) { return v > 0 ? v < 1 ? v : 1 : 0; }

// x of 0 to 1.
inline float curve_value(const float *table, float x) {
    const float position = x * kRenderSteps;
    const uint32_t index = static_cast<uint32_t>(position);
    const float fraction = position - static_cast<float>(index);
    return table[index] * (1 - fraction) + table[index + 1] * fraction;
}

inline uint8_t byte_of(float v) {
    const float limited = v > 0 && v <= 1 ? v : v > 0.5f ? 1.0f : 0.0f;
    return static_cast<uint8_t>(0.5f + 255.0f * limited);
}

inline void through_matrix(const float *matrix, float *rgb) {
    const float a = rgb[0], b = rgb[1], c = rgb[2];
    for (int i = 0; i < 3; ++i) {
        rgb[i] = pinned(matrix[3 * i] * a + matrix[3 * i + 1] * b + matrix[3 * i + 2] * c);
    }
}

// The largest and the smallest by the curve, the one between in proportion.
inline void through_tone(const float *table, float *rgb) {
    const float r = rgb[0], g = rgb[1], b = rgb[2];
    const float upper = r > g ? r : g, lower = r < g ? r : g;
    const float most = upper > b ? upper : b, least = lower < b ? lower : b;
    const float tone_most = curve_value(table, most), tone_least = curve_value(table, least);
    for (int i = 0; i < 3; ++i) {
        const float v = rgb[i];
        rgb[i] = v == most    ? tone_most
                 : v == least ? tone_least
                              : tone_least + (tone_most - tone_least) * (v - least) / (most - least);
    }
}

}  // namespace vorel
