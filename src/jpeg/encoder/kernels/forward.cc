// Samples to quantised coefficients: the accurate integer forward DCT, rows then columns, the division by reciprocals,
// and zigzag order.
#ifndef VOREL_FORWARD_SCALAR
#define VOREL_FORWARD_SCALAR

#include "jpeg/encoder/kernels/internal.h"
#include "jpeg/jpeg.h"

namespace vorel {
namespace {

uint64_t scalar_zigzag(const int16_t *natural, int16_t *zigzag) {
    uint64_t nonzero = 0;
    for (int k = 0; k < 64; ++k) {
        zigzag[k] = natural[vorel_natural_order[k]];
        nonzero |= uint64_t{zigzag[k] != 0} << k;
    }
    return nonzero;
}

void scalar_block(const uint8_t *const *rows, ptrdiff_t column, const uint16_t *divisors, int16_t *natural) {
    int32_t workspace[8][8], in[8], out[8];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) in[x] = rows[y][column + x] - 128;
        forward_points<kForwardFirst>(in, workspace[y]);
    }
    for (int u = 0; u < 8; ++u) {
        for (int y = 0; y < 8; ++y) in[y] = workspace[y][u];
        forward_points<kForwardSecond>(in, out);
        for (int v = 0; v < 8; ++v) natural[8 * v + u] = quantise(out[v], divisors + 8 * v + u);
    }
}

void scalar_forward(const ForwardRun &run) {
    int16_t natural[64];
    for (ptrdiff_t i = 0; i < run.count; ++i) {
        scalar_block(run.rows, static_cast<ptrdiff_t>(run.column) + 8 * i, run.divisors, natural);
        run.nonzero[i] = scalar_zigzag(natural, run.out + 64 * i);
    }
}

}  // namespace

void add_scalar_forward(EncoderKernels *table) {
    table->forward = scalar_forward;
    table->zigzag = scalar_zigzag;
}

}  // namespace vorel

#endif  // VOREL_FORWARD_SCALAR

#define VOREL_SIMD_FILE "jpeg/encoder/kernels/forward.cc"
#include "util/simd_targets.h"

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_forward(SimdTarget, EncoderKernels *) {}

}  // namespace vorel
#endif
