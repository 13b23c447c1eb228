// Stored samples to words: bit-packed rows, and values of the other byte order.
#ifndef VOREL_SAMPLE_ROWS_SCALAR
#define VOREL_SAMPLE_ROWS_SCALAR

#include "dng/image/kernels/kernels.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

// first: the sample at which to begin, a multiple of 8, which begins with a byte.
void scalar_unpack_from(const uint8_t *src, uint32_t bits, size_t first, size_t count, uint16_t *out) {
    uint32_t reservoir = 0, held = 0;
    const uint32_t mask = (1u << bits) - 1;
    src += first / 8 * bits;
    for (size_t i = first; i < count; ++i) {
        while (held < bits) {
            reservoir = reservoir << 8 | *src++;
            held += 8;
        }
        held -= bits;
        out[i] = static_cast<uint16_t>(reservoir >> held & mask);
    }
}

void scalar_unpack(const uint8_t *src, const uint8_t *, uint32_t bits, size_t count, uint16_t *out) {
    scalar_unpack_from(src, bits, 0, count, out);
}

void scalar_swap_16(const uint16_t *in, size_t count, uint16_t *out) {
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(in[i] << 8 | in[i] >> 8);
}

void scalar_swap_32(const uint32_t *in, size_t count, uint32_t *out) {
    for (size_t i = 0; i < count; ++i) {
        out[i] = in[i] << 24 | (in[i] & 0xFF00) << 8 | (in[i] >> 8 & 0xFF00) | in[i] >> 24;
    }
}

}  // namespace
}  // namespace vorel

#endif  // VOREL_SAMPLE_ROWS_SCALAR

#define VOREL_SIMD_FILE "dng/image/kernels/rows.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Eight samples begin with a byte and take `bits` bytes. Sample i starts at bit i * bits: the word of its first two
// bytes, shifted left by the bits in front of it, and what the third byte adds below them.
void unpack(const uint8_t *src, const uint8_t *end, uint32_t bits, size_t count, uint16_t *out) {
    const hn::FixedTag<uint8_t, 16> d8;
    const hn::FixedTag<uint16_t, 8> d16;
    alignas(16) uint8_t first[16], third[16];
    alignas(16) uint16_t before[8];
    for (uint32_t i = 0; i < 8; ++i) {
        const uint32_t at = i * bits / 8;
        first[2 * i] = static_cast<uint8_t>(at + 1);
        first[2 * i + 1] = static_cast<uint8_t>(at);
        third[2 * i] = third[2 * i + 1] = static_cast<uint8_t>(at + 2 < 16 ? at + 2 : 15);
        before[i] = static_cast<uint16_t>(1u << i * bits % 8);
    }
    const auto firsts = hn::Load(d8, first), thirds = hn::Load(d8, third);
    const auto shift = hn::Load(d16, before);
    const auto high_bytes = hn::Set(d16, 0xFF00);
    const int down = static_cast<int>(16 - bits);
    const uint8_t *at = src;
    size_t i = 0;
    for (; i + 8 <= count && end - at >= 16; i += 8, at += bits) {
        const auto bytes = hn::LoadU(d8, at);
        const auto word = hn::BitCast(d16, hn::TableLookupBytes(bytes, firsts));
        const auto rest = hn::And(hn::BitCast(d16, hn::TableLookupBytes(bytes, thirds)), high_bytes);
        const auto all = hn::Or(hn::Mul(word, shift), hn::MulHigh(rest, shift));
        hn::StoreU(hn::ShiftRightSame(all, down), d16, out + i);
    }
    scalar_unpack_from(src, bits, i, count, out);
}

template <class T>
void swap(const T *in, size_t count, T *out, void (*scalar)(const T *, size_t, T *), const uint8_t (&order)[16]) {
    const hn::ScalableTag<T> d;
    const hn::Repartition<uint8_t, decltype(d)> d8;
    const auto reversed = hn::LoadDup128(d8, order);
    const size_t lanes = hn::Lanes(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, hn::LoadU(d, in + i)), reversed)), d, out + i);
    }
    scalar(in + i, count - i, out + i);
}

void swap_16(const uint16_t *in, size_t count, uint16_t *out) {
    alignas(16) static constexpr uint8_t kOrder[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
    swap(in, count, out, scalar_swap_16, kOrder);
}

void swap_32(const uint32_t *in, size_t count, uint32_t *out) {
    alignas(16) static constexpr uint8_t kOrder[16] = {3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12};
    swap(in, count, out, scalar_swap_32, kOrder);
}

void add(SampleKernels *table) {
    table->unpack = unpack;
    table->swap_16 = swap_16;
    table->swap_32 = swap_32;
}

}  // namespace
#endif
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {
namespace {

void fill(SimdTarget target, SampleKernels *table) {
    table->unpack = scalar_unpack;
    table->swap_16 = scalar_swap_16;
    table->swap_32 = scalar_swap_32;
    VOREL_SIMD_CALL(target, add(table));
}
using Registry = KernelRegistry<SampleKernels, fill>;

}  // namespace

const SampleKernels &scalar_sample_kernels() { return Registry::scalar(); }
const SampleKernels &sample_kernels() { return Registry::best(); }
int runnable_sample_kernels(const SampleKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
#endif
