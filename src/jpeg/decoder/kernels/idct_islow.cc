// The full-size inverse DCT: the accurate integer transform of Loeffler, Ligtenberg and Moschytz in 13-bit fixed point,
// columns then rows, as T.81's reference decoders have it.
#ifndef VOREL_IDCT_ISLOW_SCALAR
#define VOREL_IDCT_ISLOW_SCALAR

#include <cstring>

#include "jpeg/decoder/kernels/internal.h"
#include "jpeg/kernels/islow.h"

namespace vorel {
namespace {

// Dequantised coefficients and the first pass's results are clamped to 16 bits: no valid picture comes near, and the
// vector twin works on 16-bit lanes. So no sum of a pass exceeds 31 bits: the even part is at most (2 * 8192 + 10703 +
// 4433) * 2^15, the odd one (11363 + 9633 + 6437 + 2260) * 2^15, together below 2.01e9.
int32_t hold16(int64_t value) {
    return static_cast<int32_t>(value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value);
}

constexpr int kFirstShift = 11;   // 13 bits of the constants, 2 of them kept as fraction
constexpr int kSecondShift = 18;  // 13, the 2 kept, and 3 for the transform's factor 8

// Eight points, `out` still scaled by 8192.
void islow_points(const int32_t *in, int32_t *out) {
    const int32_t sum = (in[0] + in[4]) * 8192, difference = (in[0] - in[4]) * 8192;
    const int32_t outer = in[2] * kEven2 + in[6] * k0_541, inner = in[2] * k0_541 + in[6] * kEven6;
    const int32_t even[4] = {sum + outer, difference + inner, difference - inner, sum - outer};
    for (int i = 0; i < 4; ++i) {
        const int32_t odd = in[1] * kOdd[i][0] + in[3] * kOdd[i][1] + in[5] * kOdd[i][2] + in[7] * kOdd[i][3];
        out[i] = even[i] + odd;
        out[7 - i] = even[i] - odd;
    }
}

constexpr int32_t descale(int32_t value, int shift) { return (value + (1 << (shift - 1))) >> shift; }

void fill_block(uint8_t sample, BlockOut to) {
    for (int y = 0; y < 8; ++y) std::memset(to.out + y * to.stride_bytes, sample, 8);
}

// Both passes of a block that has nothing but its DC come down to one rounding shift.
uint8_t constant_sample(const uint8_t *range_limit, int32_t multiplier, int16_t dc) {
    return to_sample(range_limit, (hold16(int64_t{multiplier} * dc) + 4) >> 3);
}

void scalar_islow_run(const BlockRun &run) {
    for (int32_t i = 0; i < run.count; ++i) {
        const BlockOut to = {run.out + static_cast<ptrdiff_t>(i) * 8, run.stride_bytes};
        if (run.last[i] == 0) {
            fill_block(constant_sample(run.range_limit, run.multipliers[0], run.blocks[i][0]), to);
        } else {
            islow_block(run.range_limit, run.multipliers, run.blocks[i], to);
        }
    }
}

}  // namespace

void islow_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    int32_t workspace[8][8], in[8], out[8];
    for (int x = 0; x < 8; ++x) {
        for (int v = 0; v < 8; ++v) in[v] = hold16(int64_t{multipliers[8 * v + x]} * block[8 * v + x]);
        islow_points(in, out);
        for (int y = 0; y < 8; ++y) workspace[y][x] = hold16(descale(out[y], kFirstShift));
    }
    for (int y = 0; y < 8; ++y) {
        islow_points(workspace[y], out);
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < 8; ++x) row[x] = to_sample(range_limit, descale(out[x], kSecondShift));
    }
}

void add_scalar_islow(KernelTable *table) { table->idct[static_cast<int>(IdctShape::k8x8)] = scalar_islow_run; }

}  // namespace vorel

#endif  // VOREL_IDCT_ISLOW_SCALAR

#define VOREL_SIMD_FILE "jpeg/decoder/kernels/idct_islow.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR

// A vector holds one row of as many blocks as it has 128-bit parts; every operation but the last stores stays within
// those parts.

template <class D>
constexpr int blocks_of(D) {
    return static_cast<int>(hn::MaxLanes(D()) / 8);
}

// Made whole, here and below: GCC compiles a default constructor of its own for the base instruction set, where those
// of the vectors cannot be inlined.
template <class D>
struct Rows {
    hn::Vec<D> v[8];
};

inline hn::Vec<hn::Full128<int16_t>> load_row(hn::Full128<int16_t> d, const int16_t *const *blocks, int row) {
    return hn::Load(d, blocks[0] + 8 * row);
}
template <class D>
inline hn::Vec<D> load_row(D d, const int16_t *const *blocks, int row) {
    const hn::Half<D> half;
    return hn::Combine(d, load_row(half, blocks + blocks_of(half), row), load_row(half, blocks, row));
}

// One row times its multipliers. `large` collects products beyond 14 bits.
template <class D>
inline hn::Vec<D> dequantise_row(D d, const int16_t *const *blocks, const int16_t *multipliers, int row,
                                 hn::Vec<D> &large) {
    const auto coefficients = load_row(d, blocks, row);
    const auto factors = hn::LoadDup128(d, multipliers + 8 * row);
    large = hn::Or(large, hn::MulFixedPoint15(coefficients, factors));
    return hn::Mul(coefficients, factors);
}
// The same for products of any size, clamped to 16 bits.
template <class D>
inline hn::Vec<D> dequantise_and_hold_row(D d, const int16_t *const *blocks, const int16_t *multipliers, int row) {
    const auto coefficients = load_row(d, blocks, row);
    const auto factors = hn::LoadDup128(d, multipliers + 8 * row);
    const auto low = hn::Mul(coefficients, factors), high = hn::MulHigh(coefficients, factors);
    const hn::RepartitionToWide<D> wide;
    return hold_words(d, hn::BitCast(wide, hn::InterleaveLower(d, low, high)),
                      hn::BitCast(wide, hn::InterleaveUpper(d, low, high)));
}

// The rows from kRows on are zero.
template <int kRows, class D>
inline Rows<D> dequantise(D d, const int16_t *const *blocks, const int16_t *multipliers) {
    constexpr bool kAll = kRows == 8;
    const auto zero = hn::Zero(d);
    auto large = zero;
    Rows<D> rows = {{dequantise_row(d, blocks, multipliers, 0, large), dequantise_row(d, blocks, multipliers, 1, large),
                     dequantise_row(d, blocks, multipliers, 2, large), dequantise_row(d, blocks, multipliers, 3, large),
                     kAll ? dequantise_row(d, blocks, multipliers, 4, large) : zero,
                     kAll ? dequantise_row(d, blocks, multipliers, 5, large) : zero,
                     kAll ? dequantise_row(d, blocks, multipliers, 6, large) : zero,
                     kAll ? dequantise_row(d, blocks, multipliers, 7, large) : zero}};
    if (HWY_LIKELY(hn::AllTrue(d, hn::Eq(large, zero)))) return rows;
    for (int row = 0; row < kRows; ++row) rows.v[row] = dequantise_and_hold_row(d, blocks, multipliers, row);
    return rows;
}

constexpr int32_t rounding_of(int shift) { return 1 << (shift - 1); }

template <class D>
struct EvenPart {
    WidePair<D> sum[4];
};
template <class D>
inline EvenPart<D> even_part(D d, const Rows<D> &in, int32_t rounding) {
    const auto in04 = operands(d, in.v[0], in.v[4]), in26 = operands(d, in.v[2], in.v[6]);
    const auto round = set_wide(d, rounding), zero = set_wide(d, 0);
    const auto sum = multiply_add<8192, 8192>(d, in04, round), difference = multiply_add<8192, -8192>(d, in04, round);
    const auto outer = multiply_add<kEven2, k0_541>(d, in26, zero), inner = multiply_add<k0_541, kEven6>(d, in26, zero);
    return {sum + outer, difference + inner, difference - inner, sum - outer};
}
// Inputs 4 and 6 are zero.
template <class D>
inline EvenPart<D> even_part_of_two(D d, const Rows<D> &in, int32_t rounding) {
    const auto in02 = operands(d, in.v[0], in.v[2]);
    const auto round = set_wide(d, rounding);
    return {multiply_add<8192, kEven2>(d, in02, round), multiply_add<8192, k0_541>(d, in02, round),
            multiply_add<8192, -k0_541>(d, in02, round), multiply_add<8192, -kEven2>(d, in02, round)};
}

template <int kOut, bool kTwo, class D>
inline WidePair<D> odd_part(D d, Operands<D> in13, Operands<D> in57) {
    const auto sum = multiply_add<kOdd[kOut][0], kOdd[kOut][1]>(d, in13, set_wide(d, 0));
    if constexpr (kTwo) return sum;
    return multiply_add<kOdd[kOut][2], kOdd[kOut][3]>(d, in57, sum);
}

// Eight points in every lane. kFour: inputs 4 to 7 are zero and not read.
template <int kShift, bool kFour, class D>
inline void pass(D d, Rows<D> &rows, int32_t rounding) {
    const EvenPart<D> even = kFour ? even_part_of_two(d, rows, rounding) : even_part(d, rows, rounding);
    const Operands<D> in13 = operands(d, rows.v[1], rows.v[3]);
    const Operands<D> in57 = kFour ? in13 : operands(d, rows.v[5], rows.v[7]);
    const auto odd0 = odd_part<0, kFour>(d, in13, in57);
    rows.v[0] = shift_and_hold<kShift>(d, even.sum[0] + odd0);
    rows.v[7] = shift_and_hold<kShift>(d, even.sum[0] - odd0);
    const auto odd1 = odd_part<1, kFour>(d, in13, in57);
    rows.v[1] = shift_and_hold<kShift>(d, even.sum[1] + odd1);
    rows.v[6] = shift_and_hold<kShift>(d, even.sum[1] - odd1);
    const auto odd2 = odd_part<2, kFour>(d, in13, in57);
    rows.v[2] = shift_and_hold<kShift>(d, even.sum[2] + odd2);
    rows.v[5] = shift_and_hold<kShift>(d, even.sum[2] - odd2);
    const auto odd3 = odd_part<3, kFour>(d, in13, in57);
    rows.v[3] = shift_and_hold<kShift>(d, even.sum[3] + odd3);
    rows.v[4] = shift_and_hold<kShift>(d, even.sum[3] - odd3);
}

// Interleaving vector i with vector i + 4 moves every index bit up by one place, the highest to the lowest: three times
// of that exchange rows and columns.
template <class D>
inline Rows<D> rotate(D d, const Rows<D> &in) {
    return {{hn::InterleaveLower(d, in.v[0], in.v[4]), hn::InterleaveUpper(d, in.v[0], in.v[4]),
             hn::InterleaveLower(d, in.v[1], in.v[5]), hn::InterleaveUpper(d, in.v[1], in.v[5]),
             hn::InterleaveLower(d, in.v[2], in.v[6]), hn::InterleaveUpper(d, in.v[2], in.v[6]),
             hn::InterleaveLower(d, in.v[3], in.v[7]), hn::InterleaveUpper(d, in.v[3], in.v[7])}};
}
template <class D>
inline Rows<D> transpose(D d, const Rows<D> &in) {
    return rotate(d, rotate(d, rotate(d, in)));
}

// The same with four vectors.
template <class D>
struct Quad {
    hn::Vec<D> v[4];
};
template <class D>
inline Quad<D> rotate(D d, const Quad<D> &in) {
    return {{hn::InterleaveLower(d, in.v[0], in.v[2]), hn::InterleaveUpper(d, in.v[0], in.v[2]),
             hn::InterleaveLower(d, in.v[1], in.v[3]), hn::InterleaveUpper(d, in.v[1], in.v[3])}};
}

// Rows 2 i and 2 i + 1 of four columns.
template <class D>
inline hn::Vec<D> hold_lower_halves(D d, WidePair<D> upper_row, WidePair<D> lower_row) {
    return hold_words(d, hn::ShiftRight<kFirstShift>(upper_row.low), hn::ShiftRight<kFirstShift>(lower_row.low));
}
// The first pass over the 4 x 4 corner, transposed: only the lower halves of the vectors are worked on. Of the result
// the first four columns count.
template <class D>
inline Rows<D> corner_columns(D d, const Rows<D> &in) {
    const auto even = even_part_of_two(d, in, rounding_of(kFirstShift));
    const auto in13 = operands(d, in.v[1], in.v[3]);
    const auto odd0 = odd_part<0, true>(d, in13, in13), odd1 = odd_part<1, true>(d, in13, in13);
    const auto odd2 = odd_part<2, true>(d, in13, in13), odd3 = odd_part<3, true>(d, in13, in13);
    const Quad<D> rows = {{hold_lower_halves(d, even.sum[0] + odd0, even.sum[1] + odd1),
                           hold_lower_halves(d, even.sum[2] + odd2, even.sum[3] + odd3),
                           hold_lower_halves(d, even.sum[3] - odd3, even.sum[2] - odd2),
                           hold_lower_halves(d, even.sum[1] - odd1, even.sum[0] - odd0)}};
    // The index bits, two of the vector and three of the lane, are r2 r1 | r0 c1 c0 and become c1 c0 | r2 r1 r0.
    const Quad<D> columns = rotate(d, rotate(d, rotate(d, rows)));
    return {{columns.v[0], columns.v[1], columns.v[2], columns.v[3], columns.v[0], columns.v[1], columns.v[2],
             columns.v[3]}};
}

// Each block of v holds its samples of two rows.
inline void store_two_rows(hn::Full128<uint8_t> d, hn::Vec128<uint8_t> v, uint8_t *out, ptrdiff_t stride_bytes) {
    const hn::Half<decltype(d)> half;
    hn::StoreU(hn::LowerHalf(half, v), half, out);
    hn::StoreU(hn::UpperHalf(half, v), half, out + stride_bytes);
}
#if HWY_MAX_BYTES > 16
alignas(64) constexpr int32_t kEvenThenOdd256[8] = {0, 1, 4, 5, 2, 3, 6, 7};
alignas(64) constexpr int32_t kEvenThenOdd512[16] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
template <class D8>
inline void store_two_rows(D8 d, hn::Vec<D8> v, uint8_t *out, ptrdiff_t stride_bytes) {
    const hn::Half<D8> half;
    const hn::Repartition<int32_t, D8> words;
    const auto order = hn::SetTableIndices(words, hn::MaxLanes(words) == 8 ? kEvenThenOdd256 : kEvenThenOdd512);
    const auto rows = hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(words, v), order));
    hn::StoreU(hn::LowerHalf(half, rows), half, out);
    hn::StoreU(hn::UpperHalf(half, rows), half, out + stride_bytes);
}
#endif

// Columns of samples, still 16 bits wide, to rows of bytes.
template <class D>
inline void store_columns(D, const Rows<D> &columns, uint8_t *out, ptrdiff_t stride_bytes) {
    using D8 = hn::Repartition<uint8_t, D>;
    const D8 bytes;
    Quad<D8> rows = {{pack_bytes(columns.v[0], columns.v[1]), pack_bytes(columns.v[2], columns.v[3]),
                      pack_bytes(columns.v[4], columns.v[5]), pack_bytes(columns.v[6], columns.v[7])}};
    rows = rotate(bytes, rotate(bytes, rotate(bytes, rows)));
    store_two_rows(bytes, rows.v[0], out, stride_bytes);
    store_two_rows(bytes, rows.v[1], out + 2 * stride_bytes, stride_bytes);
    store_two_rows(bytes, rows.v[2], out + 4 * stride_bytes, stride_bytes);
    store_two_rows(bytes, rows.v[3], out + 6 * stride_bytes, stride_bytes);
}

// The same through a range table.
template <class D>
inline void look_up_columns(D d, const Rows<D> &columns, const uint8_t *range_limit, uint8_t *out,
                            ptrdiff_t stride_bytes) {
    const Rows<D> rows = transpose(d, columns);
    alignas(64) uint16_t index[hn::MaxLanes(D())];
    for (int y = 0; y < 8; ++y) {
        const auto clamped = hn::Min(hn::Max(rows.v[y], hn::Set(d, -512)), hn::Set(d, 511));
        hn::Store(hn::BitCast(hn::RebindToUnsigned<D>(), hn::And(clamped, hn::Set(d, 0x3FF))),
                  hn::RebindToUnsigned<D>(), index);
        uint8_t *row = out + y * stride_bytes;
        for (size_t x = 0; x < hn::MaxLanes(d); ++x) row[x] = range_limit[index[x]];
    }
}

// The 128 that the ordinary range table stands for; 2.01e9 leaves room for it.
constexpr int32_t kCentre = 128 << kSecondShift;

// One group of blocks of a run whose multipliers have 16 bits. kCorner: coefficients in the 4 x 4 corner only.
template <bool kCorner, class D>
inline void transform_group(D d, const BlockRun &run, const int16_t *multipliers, int32_t at) {
    Rows<D> rows = dequantise < kCorner ? 4 : 8 > (d, run.blocks + at, multipliers);
    if constexpr (kCorner) {
        rows = corner_columns(d, rows);
    } else {
        pass<kFirstShift, false>(d, rows, rounding_of(kFirstShift));
        rows = transpose(d, rows);
    }
    uint8_t *out = run.out + static_cast<ptrdiff_t>(at) * 8;
    if (HWY_LIKELY(run.plain_range)) {
        pass<kSecondShift, kCorner>(d, rows, rounding_of(kSecondShift) + kCentre);
        store_columns(d, rows, out, run.stride_bytes);
    } else {
        pass<kSecondShift, kCorner>(d, rows, rounding_of(kSecondShift));
        look_up_columns(d, rows, run.range_limit, out, run.stride_bytes);
    }
}

inline void constant_block(const BlockRun &run, int32_t at) {
    const uint64_t samples =
        constant_sample(run.range_limit, run.multipliers[0], run.blocks[at][0]) * uint64_t{0x0101010101010101};
    uint8_t *out = run.out + static_cast<ptrdiff_t>(at) * 8;
    for (int y = 0; y < 8; ++y) std::memcpy(out + y * run.stride_bytes, &samples, 8);
}

// Zigzag positions up to 9 lie in the 4 x 4 corner.
constexpr int kLastOfCorner = 9;

// As many groups of blocks as D holds from block `at` on; returns where the rest begins.
template <class D>
inline int32_t run_groups(D d, const BlockRun &run, const int16_t *multipliers, int32_t at) {
    constexpr int kBlocks = blocks_of(d);
    for (; at + kBlocks <= run.count; at += kBlocks) {
        int last = run.last[at];
        for (int i = 1; i < kBlocks; ++i) last = HWY_MAX(last, run.last[at + i]);
        if (last == 0) {
            for (int i = 0; i < kBlocks; ++i) constant_block(run, at + i);
        } else if (last <= kLastOfCorner) {
            transform_group<true>(d, run, multipliers, at);
        } else {
            transform_group<false>(d, run, multipliers, at);
        }
    }
    return at;
}

// False when one of them needs more than 15 bits.
inline bool narrow_multipliers(const int32_t *multipliers, int16_t *narrow) {
    const hn::Full128<int32_t> wide;
    const hn::Full128<int16_t> d;
    auto all = hn::Zero(wide);
    for (int k = 0; k < 64; k += 8) {
        const auto low = hn::LoadU(wide, multipliers + k), high = hn::LoadU(wide, multipliers + k + 4);
        all = hn::Or(all, hn::Or(low, high));
        hn::Store(hold_words(d, low, high), d, narrow + k);
    }
    return hn::AllTrue(wide, hn::Eq(hn::ShiftRight<15>(all), hn::Zero(wide)));
}

void islow_run(const BlockRun &run) {
    alignas(64) int16_t multipliers[64];
    if (!narrow_multipliers(run.multipliers, multipliers)) return scalar_islow_run(run);
    int32_t at = 0;
#if HWY_MAX_BYTES >= 64
    at = run_groups(hn::Full512<int16_t>(), run, multipliers, at);
#endif
#if HWY_MAX_BYTES >= 32
    at = run_groups(hn::Full256<int16_t>(), run, multipliers, at);
#endif
    run_groups(hn::Full128<int16_t>(), run, multipliers, at);
}

void add_islow(KernelTable *table) { table->idct[static_cast<int>(IdctShape::k8x8)] = islow_run; }

#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_islow(SimdTarget target, [[maybe_unused]] KernelTable *table) {
    VOREL_SIMD_CALL(target, add_islow(table));
}

}  // namespace vorel
#endif
