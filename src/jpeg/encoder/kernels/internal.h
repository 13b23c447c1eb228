// Between the files of this module: who fills which members of a table, and the scalar code that others fall back on.
#pragma once

#include "jpeg/encoder/kernels/kernels.h"
#include "jpeg/kernels/islow.h"

namespace vorel {

// Fill their members with the plainest code.
void add_scalar_forward(EncoderKernels *table);
void add_scalar_input(EncoderKernels *table);
// Replace the members that have a vector twin for the target.
void add_vector_forward(SimdTarget target, EncoderKernels *table);
void add_vector_input(SimdTarget target, EncoderKernels *table);

// Eight points of the forward DCT, times sqrt(8); kShift as in islow.h. The sums and differences that both passes share
// are exact in Sum: 32 bits for samples, 64 for any 16-bit values.
template <int kShift, typename Sum>
inline void forward_points(const Sum *in, Sum *out) {
    Sum sum[4], difference[4];
    for (int i = 0; i < 4; ++i) sum[i] = in[i] + in[7 - i], difference[i] = in[i] - in[7 - i];
    const auto round = [](Sum value) { return (value + (Sum{1} << (kShift - 1))) >> kShift; };
    const Sum outer = sum[0] + sum[3], inner = sum[1] + sum[2];
    if constexpr (kShift == kForwardFirst) {
        out[0] = (outer + inner) * (1 << kKeptBits);
        out[4] = (outer - inner) * (1 << kKeptBits);
    } else {
        constexpr Sum kHalf = 1 << (kKeptBits - 1);
        out[0] = (outer + inner + kHalf) >> kKeptBits;
        out[4] = (outer - inner + kHalf) >> kKeptBits;
    }
    const Sum outer_rest = sum[0] - sum[3], inner_rest = sum[1] - sum[2];
    out[2] = round(outer_rest * kEven2 + inner_rest * k0_541);
    out[6] = round(outer_rest * k0_541 + inner_rest * kEven6);
    for (int j = 0; j < 4; ++j) {
        Sum odd = 0;
        for (int i = 0; i < 4; ++i) odd += difference[i] * kOdd[i][j];
        out[2 * j + 1] = round(odd);
    }
}

// One coefficient by its four numbers, 64 apart.
inline int16_t quantise(int32_t value, const uint16_t *divisor) {
    const uint32_t magnitude = (static_cast<uint32_t>(value < 0 ? -value : value) + divisor[64]) & 0xFFFF;
    const int32_t quotient = static_cast<int32_t>((magnitude * divisor[0] >> 16) >> (divisor[192] & 15));
    return static_cast<int16_t>(value < 0 ? -quotient : quotient);
}

}  // namespace vorel
