// Medians of neighbourhoods, over rows of bytes. Pure functions of their arguments; every member of a table gives the
// same bytes in every table. Outputs do not overlap inputs unless a comment says so.
#pragma once

#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

enum class Window : uint8_t { kCross5, kSquare9, kRhomb13, kCount };
constexpr int kWindows = static_cast<int>(Window::kCount);

struct DenoiseKernels {
    const char *name;
    // The five bytes of each column of five rows, in ascending order: sorted[0] gets the least.
    void (*sort_columns)(const uint8_t *const *rows, uint32_t count, uint8_t *const *sorted);
    // dst[x] is the median of the 25 bytes of the sorted columns x to x + 4; sorted rows have count + 4.
    void (*median_25)(const uint8_t *const *sorted, uint32_t count, uint8_t *dst);
    // dst[x] is the median of taps[0][x], taps[1][x], ..., of 5, 9 or 13 of them.
    void (*median_of[kWindows])(const uint8_t *const *taps, uint32_t count, uint8_t *dst);
    // medians[x] where src[x] differs from it by more than threshold (0 to 255), else src[x]; dst may be src.
    void (*spikes)(const uint8_t *src, const uint8_t *medians, uint8_t threshold, uint32_t count, uint8_t *dst);
};

const DenoiseKernels &scalar_denoise_kernels();
const DenoiseKernels &denoise_kernels();
int runnable_denoise_kernels(const DenoiseKernels **out);

}  // namespace vorel
