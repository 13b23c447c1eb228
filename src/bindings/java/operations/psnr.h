// Peak signal to noise ratio of samples of 8 bits.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vorel {

// Decibels; infinite for equal samples.
inline double psnr(const uint8_t *first, const uint8_t *second, size_t count) {
    uint64_t sum = 0;  // count is below 2^31 and a square below 2^16
    for (size_t i = 0; i < count; ++i) {
        const int32_t difference = first[i] - second[i];
        sum += static_cast<uint64_t>(difference * difference);
    }
    if (sum == 0) return HUGE_VAL;
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(count) / static_cast<double>(sum));
}

}  // namespace vorel
