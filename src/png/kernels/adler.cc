// The check value of a zlib stream (RFC 1950, clause 8.2): the sum of the bytes, and the sum of those sums.
#ifndef VOREL_ADLER_SCALAR
#define VOREL_ADLER_SCALAR

#include "png/kernels/internal.h"

namespace vorel {
namespace {

constexpr uint32_t kAdlerModulus = 65521;
// As many bytes as can be summed before 32 bits run over.
constexpr size_t kAdlerRun = 5552;

inline uint32_t scalar_adler32(uint32_t adler, const uint8_t *bytes, size_t count) {
    uint32_t sum = adler & 0xFFFF, sums = adler >> 16;
    while (count > 0) {
        const size_t run = count < kAdlerRun ? count : kAdlerRun;
        for (size_t i = 0; i < run; ++i) sums += sum += bytes[i];
        sum %= kAdlerModulus;
        sums %= kAdlerModulus;
        bytes += run;
        count -= run;
    }
    return sums << 16 | sum;
}

}  // namespace

void add_scalar_adler(PngKernels *table) { table->adler32 = scalar_adler32; }

}  // namespace vorel

#endif  // VOREL_ADLER_SCALAR

#define VOREL_SIMD_FILE "png/kernels/adler.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// Over n vectors of L bytes each sum grows by what it was and by (L - i) times byte i; what it was is the sum before
// the run and, L times, the bytes of the vectors before.
uint32_t adler32(uint32_t adler, const uint8_t *bytes, size_t count) {
    const hn::ScalableTag<uint8_t> d8;
    const hn::Repartition<uint64_t, decltype(d8)> d64;
    const hn::Repartition<int16_t, decltype(d8)> d16;
    const hn::Repartition<int32_t, decltype(d8)> d32;
    constexpr size_t kLanes = hn::MaxLanes(hn::ScalableTag<uint8_t>()), kHalf = kLanes / 2;
    const auto high = hn::Sub(hn::Set(d16, static_cast<int16_t>(kLanes)), hn::Iota(d16, 0));
    const auto low = hn::Sub(high, hn::Set(d16, static_cast<int16_t>(kHalf)));
    const hn::Half<decltype(d8)> half;
    uint64_t sum = adler & 0xFFFF, sums = adler >> 16;
    while (count >= kLanes) {
        const size_t vectors = (count < kAdlerRun ? count : kAdlerRun) / kLanes;
        auto in_run = hn::Zero(d64), before = hn::Zero(d64);
        auto weighted = hn::Zero(d32), weighted_odd = hn::Zero(d32);
        for (size_t v = 0; v < vectors; ++v, bytes += kLanes) {
            before = hn::Add(before, in_run);
            in_run = hn::Add(in_run, hn::SumsOf8(hn::LoadU(d8, bytes)));
            const auto first = hn::PromoteTo(d16, hn::LoadU(half, bytes));
            const auto second = hn::PromoteTo(d16, hn::LoadU(half, bytes + kHalf));
            weighted = hn::ReorderWidenMulAccumulate(d32, first, high, weighted, weighted_odd);
            weighted = hn::ReorderWidenMulAccumulate(d32, second, low, weighted, weighted_odd);
        }
        const auto total = hn::SumOfLanes(d32, hn::Add(weighted, weighted_odd));
        sums += vectors * kLanes * sum + kLanes * hn::GetLane(hn::SumOfLanes(d64, before)) +
                static_cast<uint32_t>(hn::GetLane(total));
        sum += hn::GetLane(hn::SumOfLanes(d64, in_run));
        sums %= kAdlerModulus;
        sum %= kAdlerModulus;
        count -= vectors * kLanes;
    }
    return scalar_adler32(static_cast<uint32_t>(sums << 16 | sum), bytes, count);
}

void add_adler(PngKernels *table) { table->adler32 = adler32; }

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_adler(SimdTarget target, [[maybe_unused]] PngKernels *table) {
    VOREL_SIMD_CALL(target, add_adler(table));
}

}  // namespace vorel
#endif
