// Whole numbers of what files say.
#pragma once

#include <cmath>
#include <cstdint>

namespace vorel {

// To the nearest, halves away from 0; not beyond 2^30 on either side, 0 for what is not a number.
inline int32_t rounded(double value) {
    constexpr double kMost = 1 << 30;
    if (!(std::fabs(value) < kMost)) return value > 0 ? 1 << 30 : value < 0 ? -(1 << 30) : 0;
    return static_cast<int32_t>(std::lround(value));
}

}  // namespace vorel
