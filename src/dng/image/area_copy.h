// How a float sample becomes an integer again.
#pragma once

#include <cstdint>

namespace vorel {

// Above 0 and at most 1 a value stays; any other, also what is not a number, becomes 1 if above 0.5, else 0.
inline float limited_sample(float value) {
    if (value > 0 && value <= 1) return value;
    return value > 0.5f ? 1.0f : 0.0f;
}
inline uint32_t rounded_sample(float value, float range) {
    return static_cast<uint32_t>(0.5f + range * limited_sample(value));
}

}  // namespace vorel
