// Chroma pairs, swapped and made of two planes; and bytes moved past the caches.
#ifndef VOREL_PAIR_ROWS_SCALAR
#define VOREL_PAIR_ROWS_SCALAR

#include <cstring>

#include "util/kernels/internal.h"
#include "util/kernels/prefetch.h"

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

void scalar_stream_copy(const uint8_t *src, size_t bytes, uint8_t *dst) { std::memcpy(dst, src, bytes); }

}  // namespace

void add_scalar_pairs(UtilKernels *table) {
    table->stream_copy = scalar_stream_copy;
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
    const hn::ScalableTag<uint8_t> d;
    constexpr ptrdiff_t kBytes = static_cast<ptrdiff_t>(hn::MaxLanes(hn::ScalableTag<uint8_t>()));
    alignas(16) static constexpr uint8_t kSwapped[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
    const auto swapped = hn::LoadDup128(d, kSwapped);
    // dst may be src, so no vector overlaps another, and both loads come before the stores.
    const ptrdiff_t bytes = ptrdiff_t{count} * 2;
    ptrdiff_t i = 0;
    // Vectors that are stored begin at cache lines.
    constexpr uintptr_t kLine = 64;
    const ptrdiff_t lead = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(dst) % kLine / 2 * 2);
    if (bytes >= lead + 2 * kBytes) {
        scalar_swap_pairs(src, static_cast<int32_t>(lead / 2), dst);
        i = lead;
    }
    for (; bytes - i >= 2 * kBytes; i += 2 * kBytes) {
        const auto first = hn::LoadU(d, src + i), second = hn::LoadU(d, src + i + kBytes);
        hn::StoreU(hn::TableLookupBytes(first, swapped), d, dst + i);
        hn::StoreU(hn::TableLookupBytes(second, swapped), d, dst + i + kBytes);
    }
    scalar_swap_pairs(src + i, static_cast<int32_t>((bytes - i) / 2), dst + i);
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
    const hn::ScalableTag<uint8_t> d;
    constexpr int32_t kStep = static_cast<int32_t>(hn::MaxLanes(hn::ScalableTag<uint8_t>())), kLine = 64;
    const Interleave row{first, second, dst};
    if (count < 2 * kStep || kStep < kLine / 2) return sweep(row, count);
    // All vectors that are stored but the first and the last begin at cache lines.
    int32_t x = static_cast<int32_t>(-reinterpret_cast<uintptr_t>(dst) % kLine / 2);
    if (x > 0) row.vector(d, 0);
    for (; count - x >= kStep; x += kStep) row.vector(d, x);
    if (x < count) row.vector(d, count - kStep);
}

// Whole cache lines are stored; what is left at both ends goes the usual way.
void stream_copy(const uint8_t *src, size_t bytes, uint8_t *dst) {
    const hn::ScalableTag<uint8_t> d;
    constexpr size_t kBytes = hn::MaxLanes(hn::ScalableTag<uint8_t>()), kLine = 64;
    constexpr ptrdiff_t kAhead = 1024;
    const size_t lead = -reinterpret_cast<uintptr_t>(dst) % kLine;
    if (bytes < lead + kLine) return scalar_stream_copy(src, bytes, dst);
    std::memcpy(dst, src, lead);
    size_t i = lead;
    for (; bytes - i >= kLine; i += kLine) {
        prefetch_ahead<3>(src + i, kAhead, 1);
        for (size_t j = i; j < i + kLine; j += kBytes) hn::Stream(hn::LoadU(d, src + j), d, dst + j);
    }
    std::memcpy(dst + i, src + i, bytes - i);
}

void add_pairs(UtilKernels *table) {
    table->stream_copy = stream_copy;
    table->swap_pairs = swap_pairs;
    table->interleave = interleave;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_pairs(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_pairs(table));
}

}  // namespace vorel
#endif
