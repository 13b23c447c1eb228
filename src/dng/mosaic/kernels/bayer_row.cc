// Bilinear interpolation of a row of a Bayer pattern.
#ifndef VOREL_BAYER_ROW_SCALAR
#define VOREL_BAYER_ROW_SCALAR

#include "dng/mosaic/kernels/kernels.h"

namespace vorel {
namespace {

// Outputs from first on.
void scalar_bayer_row(const BayerRow &row, uint32_t first) {
    const uint16_t *const above = row.above, *const here = row.here, *const below = row.below;
    for (uint32_t x = first; x < row.count; ++x) {
        // In front of the first site there is one more sample.
        const ptrdiff_t left = ptrdiff_t{x} - 1, right = ptrdiff_t{x} + 1;
        const uint32_t vertical = above[x] + below[x], horizontal = here[left] + here[right];
        uint16_t *const dst = row.dst + size_t{x} * 3;
        if (row.green_first == (x % 2 == 0)) {
            dst[1] = here[x];
            dst[row.plane] = static_cast<uint16_t>((horizontal + 1) >> 1);
            dst[2 - row.plane] = static_cast<uint16_t>((vertical + 1) >> 1);
        } else {
            const uint32_t diagonal = above[left] + above[right] + below[left] + below[right];
            dst[1] = static_cast<uint16_t>((vertical + horizontal + 2) >> 2);
            dst[row.plane] = here[x];
            dst[2 - row.plane] = static_cast<uint16_t>((diagonal + 2) >> 2);
        }
    }
}

void scalar_whole_row(const BayerRow &row) { scalar_bayer_row(row, 0); }

}  // namespace

void add_scalar_bayer_row(MosaicKernels *table) { table->bayer_row = scalar_whole_row; }

}  // namespace vorel

#endif  // VOREL_BAYER_ROW_SCALAR

#define VOREL_SIMD_FILE "dng/mosaic/kernels/bayer_row.cc"
#include "util/simd_targets.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using D16 = hn::ScalableTag<uint16_t>;
using V16 = hn::Vec<D16>;

// (a + b + c + d + 2) >> 2, of the rounded means of a, b and of c, d. Rounding twice gives 1 too much where one of the
// two means was rounded up and the mean of them is, too.
V16 mean_of_four(V16 a, V16 b, V16 mean_ab, V16 c, V16 d, V16 mean_cd) {
    const V16 rounded = hn::Or(hn::Xor(a, b), hn::Xor(c, d)), again = hn::Xor(mean_ab, mean_cd);
    return hn::Sub(hn::AverageRound(mean_ab, mean_cd), hn::And(hn::And(rounded, again), hn::Set(D16(), 1)));
}

template <bool kGreenFirst>
V16 choose(V16 at_green, V16 at_other) {
    return kGreenFirst ? hn::OddEven(at_other, at_green) : hn::OddEven(at_green, at_other);
}

template <bool kGreenFirst, int kPlane>
void vector_step(const BayerRow &row, uint32_t x) {
    const D16 d;
    const uint16_t *const above = row.above + x, *const here = row.here + x, *const below = row.below + x;
    const V16 up = hn::LoadU(d, above), down = hn::LoadU(d, below), middle = hn::LoadU(d, here);
    const V16 left = hn::LoadU(d, here - 1), right = hn::LoadU(d, here + 1);
    const V16 up_left = hn::LoadU(d, above - 1), up_right = hn::LoadU(d, above + 1);
    const V16 down_left = hn::LoadU(d, below - 1), down_right = hn::LoadU(d, below + 1);
    const V16 vertical = hn::AverageRound(up, down), horizontal = hn::AverageRound(left, right);
    const V16 cross = mean_of_four(up, down, vertical, left, right, horizontal);
    const V16 diagonal = mean_of_four(up_left, down_left, hn::AverageRound(up_left, down_left), up_right, down_right,
                                      hn::AverageRound(up_right, down_right));
    const V16 green = choose<kGreenFirst>(middle, cross);
    const V16 own = choose<kGreenFirst>(horizontal, middle), other = choose<kGreenFirst>(vertical, diagonal);
    hn::StoreInterleaved3(kPlane == 0 ? own : other, green, kPlane == 0 ? other : own, d, row.dst + size_t{x} * 3);
}

template <bool kGreenFirst, int kPlane>
void vector_row(const BayerRow &row) {
    constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D16()));
    if (row.count < kLanes) return scalar_bayer_row(row, 0);
    uint32_t x = 0;
    for (; row.count - x >= kLanes; x += kLanes) vector_step<kGreenFirst, kPlane>(row, x);
    // The last vector overlaps, and begins at an even site as all do.
    if (x == row.count) return;
    x = (row.count - kLanes) & ~1U;
    vector_step<kGreenFirst, kPlane>(row, x);
    scalar_bayer_row(row, x + kLanes);
}

void bayer_row(const BayerRow &row) {
    if (row.plane == 0) {
        row.green_first ? vector_row<true, 0>(row) : vector_row<false, 0>(row);
    } else {
        row.green_first ? vector_row<true, 2>(row) : vector_row<false, 2>(row);
    }
}

void add_bayer_row(MosaicKernels *table) { table->bayer_row = bayer_row; }

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_bayer_row(SimdTarget target, [[maybe_unused]] MosaicKernels *table) {
    VOREL_SIMD_CALL(target, add_bayer_row(table));
}

}  // namespace vorel
#endif
