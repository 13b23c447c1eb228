// Chroma pairs: swapped, and made of two planes.
#ifndef VOREL_PAIR_ROWS_SCALAR
#define VOREL_PAIR_ROWS_SCALAR

#include "util/kernels/room.h"

namespace vorel {
namespace {

void scalar_swap_pairs(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (ptrdiff_t i = 0; i < ptrdiff_t{count} * 2; i += 2) {
        const uint8_t first = src[i];
        dst[i] = src[i + 1];
        dst[i + 1] = first;
    }
}

void scalar_interleave(const uint8_t *first, const uint8_t *second, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) {
        *dst++ = first[i];
        *dst++ = second[i];
    }
}

}  // namespace

void add_scalar_pairs(UtilKernels *table) {
    table->swap_pairs = scalar_swap_pairs;
    table->interleave = scalar_interleave;
}

}  // namespace vorel

#endif  // VOREL_PAIR_ROWS_SCALAR

#define VOREL_SIMD_FILE "util/kernels/pair_rows.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

void swap_pairs(const uint8_t *src, int32_t count, uint8_t *dst) {
    const hn::ScalableTag<uint16_t> d;
    constexpr int32_t kStep = static_cast<int32_t>(hn::MaxLanes(hn::ScalableTag<uint16_t>()));
    const hn::Repartition<uint8_t, decltype(d)> d8;
    // dst may be src, so no vector overlaps another.
    int32_t i = 0;
    for (; count - i >= kStep; i += kStep) {
        const auto pairs = hn::BitCast(d, hn::LoadU(d8, src + ptrdiff_t{i} * 2));
        hn::StoreU(hn::BitCast(d8, hn::Or(hn::ShiftLeft<8>(pairs), hn::ShiftRight<8>(pairs))), d8,
                   dst + ptrdiff_t{i} * 2);
    }
    scalar_swap_pairs(src + ptrdiff_t{i} * 2, count - i, dst + ptrdiff_t{i} * 2);
}

struct Interleave {
    static constexpr int32_t kUnit = 1;
    const uint8_t *first, *second;
    uint8_t *dst;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        hn::StoreInterleaved2(hn::LoadU(d, first + x), hn::LoadU(d, second + x), d, dst + ptrdiff_t{x} * 2);
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_interleave(first + x, second + x, count, dst + ptrdiff_t{x} * 2);
    }
};
void interleave(const uint8_t *first, const uint8_t *second, int32_t count, uint8_t *dst) {
    sweep(Interleave{first, second, dst}, count);
}

void add_pairs(UtilKernels *table) {
    table->swap_pairs = swap_pairs;
    table->interleave = interleave;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_pairs(SimdTarget target, UtilKernels *table) { VOREL_SIMD_CALL(target, add_pairs(table)); }

}  // namespace vorel
#endif
