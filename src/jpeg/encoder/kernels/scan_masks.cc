#ifndef VOREL_SCAN_MASKS_SCALAR
#define VOREL_SCAN_MASKS_SCALAR

#include "jpeg/encoder/kernels/scan_masks.h"

#include <cstring>

#include "util/kernel_registry.h"

namespace vorel {
namespace {

constexpr uint32_t kBlock = 64;

int magnitude(int value) { return value < 0 ? -value : value; }

void scalar_first(const int16_t *blocks, uint32_t count, uint32_t last, uint32_t al, uint64_t *now) {
    for (uint32_t i = 0; i < count; ++i, blocks += kBlock) {
        uint64_t mask = 0;
        for (uint32_t k = 0; k < (last < 32 ? 32 : kBlock); ++k)
            if (magnitude(blocks[k]) >> al) mask |= uint64_t{1} << k;
        now[i] = mask;
    }
}

void scalar_refine(const int16_t *blocks, uint32_t count, uint32_t al, RefineMasks *masks) {
    for (uint32_t i = 0; i < count; ++i, blocks += kBlock) {
        RefineMasks mask = {};
        for (uint32_t k = 0; k < kBlock; ++k) {
            const uint64_t bit = uint64_t{1} << k;
            const int value = magnitude(blocks[k]) >> al;
            if (value) mask.now |= bit;
            if (value >> 1) mask.before |= bit;
            if (value & 1) mask.plane |= bit;
        }
        masks[i] = mask;
    }
}

}  // namespace
}  // namespace vorel

#endif  // VOREL_SCAN_MASKS_SCALAR

#define VOREL_SIMD_FILE "jpeg/encoder/kernels/scan_masks.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN

#if VOREL_SIMD_VECTOR

namespace hn = hwy::HWY_NAMESPACE;
using Words = hn::CappedTag<uint16_t, 16>;
using Bytes = hn::Repartition<int8_t, Words>;
constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(Words()));

// Bit i of the result: lane i, of two neighbouring vectors, is not 0.
inline uint64_t nonzero_lanes(hn::Vec<Words> low, hn::Vec<Words> high) {
    const hn::RebindToSigned<Words> words;
    // Clamping leaves 0 and what is not 0 apart.
    const auto packed = pack_signed_bytes(hn::BitCast(words, low), hn::BitCast(words, high));
    uint8_t bits[8] = {};
    hn::StoreMaskBits(Bytes(), hn::Ne(packed, hn::Zero(Bytes())), bits);
    uint32_t mask;
    std::memcpy(&mask, bits, sizeof(mask));
    return mask;
}

// Packing works in 128-bit blocks: of two of 256 bits the middle eight lanes change places.
inline uint64_t lanes_in_order(uint64_t mask) {
    if (kLanes == 8) return mask;
    constexpr uint64_t kSecond = 0x0000FF000000FF00;
    return (mask & ~(kSecond | kSecond << 8)) | (mask & kSecond) << 8 | (mask >> 8 & kSecond);
}

inline hn::Vec<Words> magnitudes(const int16_t *at, int al) {
    const hn::RebindToSigned<Words> words;
    return hn::ShiftRightSame(hn::BitCast(Words(), hn::Abs(hn::LoadU(words, at))), al);
}

void first(const int16_t *blocks, uint32_t count, uint32_t last, uint32_t al, uint64_t *now) {
    const int shift = static_cast<int>(al);
    const uint32_t end = last < 32 ? 32 : 64;
    for (uint32_t i = 0; i < count; ++i, blocks += kBlock) {
        uint64_t mask = 0;
        for (uint32_t k = 0; k < end; k += 2 * kLanes)
            mask |= nonzero_lanes(magnitudes(blocks + k, shift), magnitudes(blocks + k + kLanes, shift)) << k;
        now[i] = lanes_in_order(mask);
    }
}

void refine(const int16_t *blocks, uint32_t count, uint32_t al, RefineMasks *masks) {
    const int shift = static_cast<int>(al);
    const auto one = hn::Set(Words(), 1);
    for (uint32_t i = 0; i < count; ++i, blocks += kBlock) {
        uint64_t before = 0, now = 0, plane = 0;
        for (uint32_t k = 0; k < kBlock; k += 2 * kLanes) {
            const auto low = magnitudes(blocks + k, shift), high = magnitudes(blocks + k + kLanes, shift);
            now |= nonzero_lanes(low, high) << k;
            before |= nonzero_lanes(hn::ShiftRight<1>(low), hn::ShiftRight<1>(high)) << k;
            plane |= nonzero_lanes(hn::And(low, one), hn::And(high, one)) << k;
        }
        masks[i] = {lanes_in_order(before), lanes_in_order(now), lanes_in_order(plane)};
    }
}

inline void add_scan_masks(ScanKernels *table) {
    table->first = first;
    table->refine = refine;
}

#endif  // VOREL_SIMD_VECTOR

VOREL_SIMD_END

#if VOREL_SIMD_ONCE

namespace vorel {
namespace {

void fill(SimdTarget target, ScanKernels *table) {
    table->first = scalar_first;
    table->refine = scalar_refine;
    VOREL_SIMD_CALL(target, add_scan_masks(table));
}
using Registry = KernelRegistry<ScanKernels, fill>;

}  // namespace

const ScanKernels &scalar_scan_kernels() { return Registry::scalar(); }
const ScanKernels &scan_kernels() { return Registry::best(); }
int runnable_scan_kernels(const ScanKernels **out) { return Registry::runnable(out); }

}  // namespace vorel

#endif  // VOREL_SIMD_ONCE
