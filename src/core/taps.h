// Which source rows or columns an output one is made of, when a picture of `source` of them becomes one of `target`.
#pragma once

#include <cstdint>

namespace vorel {

// Where in its footprint of the source an output row is sampled: at a quarter, in the middle, at three quarters. In
// units of 1 / target.
constexpr int64_t first_quarter(int64_t source) { return source >> 2; }
constexpr int64_t middle(int64_t source) { return source >> 1; }
constexpr int64_t third_quarter(int64_t source) { return (source * 3) >> 2; }

// Source row of output row `index`, for one of these places.
constexpr int32_t tap(int64_t place, int64_t source, int64_t target, int64_t index) {
    return static_cast<int32_t>((place + index * source) / target);
}

}  // namespace vorel
