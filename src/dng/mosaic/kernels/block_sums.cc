// Rows of a block added up, sample by sample.
#ifndef VOREL_BLOCK_SUMS_SCALAR
#define VOREL_BLOCK_SUMS_SCALAR

#include "dng/mosaic/kernels/kernels.h"

namespace vorel {
namespace {

void scalar_set_sums(const uint16_t *src, uint32_t count, uint32_t *sums) {
    for (uint32_t i = 0; i < count; ++i) sums[i] = src[i];
}

void scalar_add_sums(const uint16_t *src, uint32_t count, uint32_t *sums) {
    for (uint32_t i = 0; i < count; ++i) sums[i] += src[i];
}

}  // namespace

void add_scalar_block_sums(MosaicKernels *table) {
    table->set_sums = scalar_set_sums;
    table->add_sums = scalar_add_sums;
}

}  // namespace vorel

#endif  // VOREL_BLOCK_SUMS_SCALAR

#define VOREL_SIMD_FILE "dng/mosaic/kernels/block_sums.cc"
#include "util/simd_targets.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {
namespace hn = hwy::HWY_NAMESPACE;

template <bool kAdd>
void sums_of(const uint16_t *src, uint32_t count, uint32_t *sums) {
    const hn::ScalableTag<uint32_t> d;
    const hn::Rebind<uint16_t, decltype(d)> half;
    constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(hn::ScalableTag<uint32_t>()));
    uint32_t i = 0;
    for (; count - i >= kLanes; i += kLanes) {
        const auto samples = hn::PromoteTo(d, hn::LoadU(half, src + i));
        hn::StoreU(kAdd ? hn::Add(hn::LoadU(d, sums + i), samples) : samples, d, sums + i);
    }
    kAdd ? scalar_add_sums(src + i, count - i, sums + i) : scalar_set_sums(src + i, count - i, sums + i);
}

void add_block_sums(MosaicKernels *table) {
    table->set_sums = sums_of<false>;
    table->add_sums = sums_of<true>;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_block_sums(SimdTarget target, [[maybe_unused]] MosaicKernels *table) {
    VOREL_SIMD_CALL(target, add_block_sums(table));
}

}  // namespace vorel
#endif
