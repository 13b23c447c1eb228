// Samples to quantised coefficients: the accurate integer forward DCT, rows then columns, the division by reciprocals,
// and zigzag order.
#ifndef VOREL_FORWARD_SCALAR
#define VOREL_FORWARD_SCALAR

#include <cstring>

#include "jpeg/encoder/kernels/internal.h"
#include "jpeg/kernels/zigzag.h"

namespace vorel {
namespace {

uint64_t scalar_zigzag(const int16_t *natural, int16_t *zigzag) {
    uint64_t nonzero = 0;
    for (int k = 0; k < 64; ++k) {
        zigzag[k] = natural[kZigzag.natural[k]];
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
//
#include "util/simd_ops.h"
//
#include "jpeg/encoder/kernels/zigzag_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

#if HWY_ARCH_X86
// Magnitudes with the signs of `of`; magnitudes are 0 where that is.
inline hn::Vec128<int16_t> with_sign(hn::Vec128<int16_t> magnitude, hn::Vec128<int16_t> of) {
    return hn::Vec128<int16_t>{_mm_sign_epi16(magnitude.raw, of.raw)};
}
inline void store_parts(hn::Vec128<int16_t> v, int16_t *out) { hn::Store(v, hn::Full128<int16_t>(), out); }
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
inline hn::Vec256<int16_t> with_sign(hn::Vec256<int16_t> magnitude, hn::Vec256<int16_t> of) {
    return hn::Vec256<int16_t>{_mm256_sign_epi16(magnitude.raw, of.raw)};
}
// Part i to every second block from `out` on.
template <class V>
inline void store_parts(V v, int16_t *out) {
    const hn::Half<hn::DFromV<V>> half;
    store_parts(hn::LowerHalf(half, v), out);
    store_parts(hn::UpperHalf(half, v), out + 16 * hn::MaxLanes(half));
}
#endif
#if HWY_TARGET == HWY_AVX3
inline hn::Vec512<int16_t> with_sign(hn::Vec512<int16_t> magnitude, hn::Vec512<int16_t> of) {
    return hn::Vec512<int16_t>{
        _mm512_mask_sub_epi16(magnitude.raw, _mm512_movepi16_mask(of.raw), _mm512_setzero_si512(), magnitude.raw)};
}
#endif

// Each 128-bit part of a vector works on four blocks, and a vector holds, of each of them, two values of 16 bits side
// by side or one of 32. Values that are weighed and added are such pairs, so that no step but the first and the last
// moves anything between lanes; results come as the upper halves of 32 bits, from which the next pairs are made.
template <class D8>
struct Group {
    using D16 = hn::Repartition<int16_t, D8>;
    using D32 = hn::Repartition<int32_t, D8>;
    using V16 = hn::Vec<D16>;
    using V32 = hn::Vec<D32>;
    static constexpr int kParts = static_cast<int>(hn::MaxLanes(D8()) / 16), kBlocks = 4 * kParts;
    static constexpr int kWords = static_cast<int>(hn::MaxLanes(D16())), kLongs = kWords / 2;

    // Eight values, folded: sums of opposite ones, (0, 1) + (3, 2) and (0, 1) - (3, 2), and their differences, (0, 1)
    // and (3, 2).
    struct Folded {
        V16 plus, minus, outer, inner;
    };

    template <int kLow, int kHigh>
    static V32 weigh(V16 pairs, V32 sum) {
        auto unused = hn::Zero(D32());
        const auto weights = hn::BitCast(D16(), hn::Set(D32(), kHigh * 65536 + (kLow & 0xFFFF)));
        return hn::ReorderWidenMulAccumulate(D32(), pairs, weights, sum, unused);
    }
    // Coefficient kOut, and `sum`. kFlat, kEven and kOddly are what the weights of coefficients 0 and 4, 2 and 6, and
    // the others are multiplied by.
    template <int kOut, int kFlat, int kEven, int kOddly>
    static V32 point(const Folded &in, V32 sum) {
        if constexpr (kOut % 4 == 0) {
            return weigh < kFlat, kOut ? -kFlat : kFlat > (in.plus, sum);
        } else if constexpr (kOut % 2 == 0) {
            constexpr int kOuter = kOut == 2 ? kEven2 : k0_541, kInner = kOut == 2 ? k0_541 : kEven6;
            return weigh<kEven * kOuter, kEven * kInner>(in.minus, sum);
        } else {
            constexpr int j = kOut / 2;
            const V32 outer = weigh<kOddly * kOdd[0][j], kOddly * kOdd[1][j]>(in.outer, sum);
            return hn::Add(outer, weigh<kOddly * kOdd[3][j], kOddly * kOdd[2][j]>(in.inner, hn::Zero(D32())));
        }
    }

    // The samples of a row are not made signed: that only moves coefficient 0 of each row, by kMiddle.
    static constexpr int kMiddle = 8 * 128 << kKeptBits;
    // Sums and differences are multiplied by as much as fits, so that the upper halves of 32 bits are the results, but
    // for one bit where they are rounded, which the next step takes off.
    static constexpr int kSumScale = 32, kDifferenceScale = 64;
    static constexpr int kUpper = 65536;
    static constexpr int kFirstFlat = (kUpper << kKeptBits) / kSumScale;
    static constexpr int kFirstEven = (kUpper >> (kForwardFirst - 1)) / kSumScale;
    static constexpr int kFirstOdd = (kUpper >> (kForwardFirst - 1)) / kDifferenceScale;

    static Folded fold_row(const uint8_t *row) {
        alignas(16) static constexpr uint8_t kOpposite[16] = {0, 7, 1, 6, 3, 4, 2, 5, 8, 15, 9, 14, 11, 12, 10, 13};
        const D8 d8;
        const auto order = hn::LoadDup128(d8, kOpposite);
        const auto a = hn::BitCast(D32(), hn::TableLookupBytes(hn::LoadU(d8, row), order));
        const auto b = hn::BitCast(D32(), hn::TableLookupBytes(hn::LoadU(d8, row + 16 * kParts), order));
        const auto outer = hn::BitCast(d8, every_other<0>(a, b)), inner = hn::BitCast(d8, every_other<1>(a, b));
        const auto sum = hn::Set(d8, kSumScale);
        const auto difference =
            hn::BitCast(d8, hn::Set(D16(), static_cast<int16_t>(-kDifferenceScale * 256 + kDifferenceScale)));
        const V16 outer_sum = multiply_bytes(outer, sum), inner_sum = multiply_bytes(inner, sum);
        return {hn::Add(outer_sum, inner_sum), hn::Sub(outer_sum, inner_sum), multiply_bytes(outer, difference),
                multiply_bytes(inner, difference)};
    }
    template <int kOut>
    static void first_point(const Folded &a, const Folded &b, int16_t *out) {
        const auto zero = hn::Zero(D32());
        const V16 upper = upper_halves(D16(), point<kOut, kFirstFlat, kFirstEven, kFirstOdd>(a, zero),
                                       point<kOut, kFirstFlat, kFirstEven, kFirstOdd>(b, zero));
        const V16 value = kOut == 0   ? hn::Sub(upper, hn::Set(D16(), kMiddle))
                          : kOut == 4 ? upper
                                      : hn::MulFixedPoint15(upper, hn::Set(D16(), 16384));
        hn::Store(value, D16(), out + kOut * kWords);
    }
    // Two rows to pairs, of the eight coefficients one after another.
    static void first_pass(const uint8_t *a, const uint8_t *b, int16_t *out) {
        const Folded row_a = fold_row(a), row_b = fold_row(b);
        first_point<0>(row_a, row_b, out), first_point<4>(row_a, row_b, out);
        first_point<2>(row_a, row_b, out), first_point<6>(row_a, row_b, out);
        first_point<1>(row_a, row_b, out), first_point<3>(row_a, row_b, out);
        first_point<5>(row_a, row_b, out), first_point<7>(row_a, row_b, out);
    }

    template <int kOut>
    static void second_point(const Folded &in, int32_t *out) {
        constexpr int kFlat = kUpper >> kKeptBits, kOthers = kUpper >> kForwardSecond;
        hn::Store(point<kOut, kFlat, kOthers, kOthers>(in, hn::Set(D32(), kUpper / 2)), D32(), out + kOut * 8 * kLongs);
    }
    // One column; pairs are those of rows (0, 1), (3, 2), (7, 6) and (4, 5), eight coefficients each.
    static void second_pass(const int16_t *in, int32_t *out) {
        const D16 d;
        const auto outer = hn::Load(d, in), inner = hn::Load(d, in + 8 * kWords);
        const auto opposite_outer = hn::Load(d, in + 16 * kWords), opposite_inner = hn::Load(d, in + 24 * kWords);
        const V16 outer_sum = hn::Add(outer, opposite_outer), inner_sum = hn::Add(inner, opposite_inner);
        const Folded column = {hn::Add(outer_sum, inner_sum), hn::Sub(outer_sum, inner_sum),
                               hn::Sub(outer, opposite_outer), hn::Sub(inner, opposite_inner)};
        second_point<0>(column, out), second_point<4>(column, out), second_point<2>(column, out);
        second_point<6>(column, out), second_point<1>(column, out), second_point<3>(column, out);
        second_point<5>(column, out), second_point<7>(column, out);
    }

    static V16 pair_of(const uint16_t *divisors, int k) {
        int32_t pair;
        std::memcpy(&pair, divisors + 2 * k, sizeof pair);
        return hn::BitCast(D16(), hn::Set(D32(), pair));
    }
    // Coefficients 2 k and 2 k + 1 in zigzag order.
    template <int k>
    static V32 quantised(const int32_t *coefficients, const uint16_t *divisors) {
        const D32 d32;
        const D16 d16;
        const hn::RebindToUnsigned<D16> unsigned16;
        const V16 value = upper_halves(d16, hn::Load(d32, coefficients + kZigzag.natural[2 * k] * kLongs),
                                       hn::Load(d32, coefficients + kZigzag.natural[2 * k + 1] * kLongs));
        const auto magnitude = hn::BitCast(unsigned16, hn::Add(hn::Abs(value), pair_of(divisors + 64, k)));
        const auto product = hn::MulHigh(magnitude, hn::BitCast(unsigned16, pair_of(divisors, k)));
        const auto quotient = hn::MulHigh(product, hn::BitCast(unsigned16, pair_of(divisors + 128, k)));
        return hn::BitCast(d32, with_sign(hn::BitCast(d16, quotient), value));
    }

    // Eight coefficients of each block: the first of every part, the second, ...
    struct Eight {
        V16 a, b, c, d;
    };
    template <int kFirst>
    static Eight eight(const int32_t *coefficients, const uint16_t *divisors) {
        const D32 d32;
        const D16 d16;
        const hn::Repartition<int64_t, D8> d64;
        const V32 a = quantised<kFirst / 2>(coefficients, divisors),
                  b = quantised<kFirst / 2 + 1>(coefficients, divisors);
        const V32 c = quantised<kFirst / 2 + 2>(coefficients, divisors),
                  d = quantised<kFirst / 2 + 3>(coefficients, divisors);
        const auto ab_low = hn::BitCast(d64, hn::InterleaveLower(d32, a, b));
        const auto ab_high = hn::BitCast(d64, hn::InterleaveUpper(d32, a, b));
        const auto cd_low = hn::BitCast(d64, hn::InterleaveLower(d32, c, d));
        const auto cd_high = hn::BitCast(d64, hn::InterleaveUpper(d32, c, d));
        return {hn::BitCast(d16, hn::InterleaveLower(d64, ab_low, cd_low)),
                hn::BitCast(d16, hn::InterleaveUpper(d64, ab_low, cd_low)),
                hn::BitCast(d16, hn::InterleaveLower(d64, ab_high, cd_high)),
                hn::BitCast(d16, hn::InterleaveUpper(d64, ab_high, cd_high))};
    }
    // Parts hold neighbouring blocks of the first half of the group, then of the second.
    static constexpr int block_of(int at, int part) { return (at / 2) * 2 * kParts + 2 * part + at % 2; }

    template <int kPart, int kAt, int kFirst>
    static void store_bits(uint64_t bits, uint64_t *nonzero) {
        if constexpr (kPart < kParts) {
            const uint16_t sixteen = static_cast<uint16_t>(bits >> 16 * kPart);
            std::memcpy(reinterpret_cast<uint8_t *>(nonzero + block_of(kAt, kPart)) + kFirst / 8, &sixteen, 2);
            store_bits<kPart + 1, kAt, kFirst>(bits, nonzero);
        }
    }
    template <int kAt, int kFirst>
    static void store_blocks(V16 low, V16 high, int16_t *out, uint64_t *nonzero) {
        store_parts(low, out + kFirst + 64 * block_of(kAt, 0));
        store_parts(high, out + kFirst + 8 + 64 * block_of(kAt, 0));
        store_bits<0, kAt, kFirst>(nonzero_bits(pack_signed_bytes(low, high)), nonzero);
    }
    template <int kFirst>
    static void store_sixteen(const int32_t *coefficients, const uint16_t *divisors, int16_t *out, uint64_t *nonzero) {
        const Eight low = eight<kFirst>(coefficients, divisors), high = eight<kFirst + 8>(coefficients, divisors);
        store_blocks<0, kFirst>(low.a, high.a, out, nonzero);
        store_blocks<1, kFirst>(low.b, high.b, out, nonzero);
        store_blocks<2, kFirst>(low.c, high.c, out, nonzero);
        store_blocks<3, kFirst>(low.d, high.d, out, nonzero);
    }

    static void transform(const ForwardRun &run, const uint16_t *divisors, int32_t first) {
        alignas(64) int16_t rows[32 * kWords];
        alignas(64) int32_t coefficients[64 * kLongs];
        const size_t column = run.column + 8 * static_cast<size_t>(first);
        static constexpr int kPairs[4][2] = {{0, 1}, {3, 2}, {7, 6}, {4, 5}};
        for (int i = 0; i < 4; ++i) {
            first_pass(run.rows[kPairs[i][0]] + column, run.rows[kPairs[i][1]] + column, rows + 8 * i * kWords);
        }
        for (int u = 0; u < 8; ++u) second_pass(rows + u * kWords, coefficients + u * kLongs);
        int16_t *out = run.out + 64 * static_cast<ptrdiff_t>(first);
        uint64_t *nonzero = run.nonzero + first;
        store_sixteen<0>(coefficients, divisors, out, nonzero), store_sixteen<16>(coefficients, divisors, out, nonzero);
        store_sixteen<32>(coefficients, divisors, out, nonzero),
            store_sixteen<48>(coefficients, divisors, out, nonzero);
    }
};

template <class D8>
inline void transform_groups(D8, const ForwardRun &run, const uint16_t *divisors) {
    constexpr int32_t kBlocks = Group<D8>::kBlocks;
    if (run.count < kBlocks) {
        if constexpr (hn::MaxLanes(D8()) > 16) return transform_groups(hn::Half<D8>(), run, divisors);
        // Too few even for one part: among three that nobody wants.
        uint8_t samples[8][8 * kBlocks] = {};
        const uint8_t *rows[8];
        alignas(64) int16_t out[64 * kBlocks];
        uint64_t nonzero[kBlocks];
        const size_t count = static_cast<size_t>(run.count);
        for (int y = 0; y < 8; ++y) {
            std::memcpy(samples[y], run.rows[y] + run.column, 8 * count);
            rows[y] = samples[y];
        }
        Group<D8>::transform({rows, 0, kBlocks, run.divisors, out, nonzero}, divisors, 0);
        std::memcpy(run.out, out, 128 * count);
        std::memcpy(run.nonzero, nonzero, 8 * count);
        return;
    }
    // The last group overlaps the one before it.
    int32_t at = 0;
    for (; at + kBlocks <= run.count; at += kBlocks) Group<D8>::transform(run, divisors, at);
    if (at < run.count) Group<D8>::transform(run, divisors, run.count - kBlocks);
}

void forward(const ForwardRun &run) {
    if (run.count <= 0) return;
    alignas(64) uint16_t divisors[3 * 64];
    for (int i = 0; i < 3; ++i) {
        zigzag(reinterpret_cast<const int16_t *>(run.divisors + 64 * i),
               reinterpret_cast<int16_t *>(divisors + 64 * i));
    }
    transform_groups(hn::ScalableTag<uint8_t>(), run, divisors);
}
#else
#include "jpeg/encoder/kernels/forward_neon.inc"
#endif

void add_forward(EncoderKernels *table) {
    table->forward = forward;
    table->zigzag = zigzag;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_forward(SimdTarget target, [[maybe_unused]] EncoderKernels *table) {
    VOREL_SIMD_CALL(target, add_forward(table));
}

}  // namespace vorel
#endif
