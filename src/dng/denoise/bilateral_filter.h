// The filters of the noise reduction, over planes.
#pragma once

#include <cstdint>

#include "dng/denoise/image_array.h"

// Those of buffers take one of a type of VorelDngImageArray, and write one to dest, which may be src; medians and
// spikes are of bytes, and other types are left alone. All throw std::bad_alloc.
class VorelDngBilateralFilter {
  public:
    // Samples farther than threshold from the median of their neighbourhood become it.
    static void removeSpike(const void *src, int32_t width, int32_t height, int32_t type, void *dest, int32_t threshold,
                            int32_t kernel);
    static void removeSpike(const VorelDngImageArray &in, VorelDngImageArray &out, int32_t threshold, int32_t kernel);
    // Of the 5 x 5 neighbourhood. Required: whatever kernel says.
    static void medianFilter(const void *src, int32_t width, int32_t height, int32_t type, void *dest, int32_t kernel);
    static void medianFilter(const VorelDngImageArray &in, VorelDngImageArray &out, int32_t kernel);
    // Smooths by a grid of cells sigmaRange high and sigmaSpatial wide; not for sigmas of 0 or less. Arrays: doubles.
    static void bilateralFilter(const void *src, int32_t width, int32_t height, int32_t type, void *dest,
                                double sigmaRange, double sigmaSpatial);
    static void bilateralFilter(VorelDngImageArray &in, VorelDngImageArray &out, double sigmaRange,
                                double sigmaSpatial);
};

namespace vorel {

// The same of bytes in place, rows `stride` apart.
void smooth_bytes(uint8_t *plane, int32_t stride, int32_t width, int32_t height, double sigma_range,
                  double sigma_spatial);

}  // namespace vorel
