// Zigzag order where the compiler sees it, for kernels.
#pragma once

#include <cstdint>

namespace vorel {

// T.81 figure A.6.
struct ZigzagOrder {
    uint8_t natural[64];
};
constexpr ZigzagOrder kZigzag = [] {
    ZigzagOrder order = {};
    int u = 0, v = 0;
    for (uint8_t &natural : order.natural) {
        natural = static_cast<uint8_t>(8 * v + u);
        // Along the diagonals, in turn upwards and downwards.
        const bool up = (u + v) % 2 == 0;
        if (up && u < 7) {
            ++u, v -= v > 0;
        } else if (up) {
            ++v;
        } else if (v < 7) {
            ++v, u -= u > 0;
        } else {
            ++u;
        }
    }
    return order;
}();

}  // namespace vorel
