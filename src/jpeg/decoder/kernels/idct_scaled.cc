// Inverse DCTs to fewer samples than coefficients. Shapes with a side of 3, 4 or 8 run the scaled flow graph of Arai,
// Agui and Nakajima in 8-bit fixed point on multipliers that carry its scales; those of at most 2 x 2 work on the plain
// quantisers.
#ifndef VOREL_IDCT_SCALED_SCALAR
#define VOREL_IDCT_SCALED_SCALAR

#include <cstring>

#include "jpeg/decoder/kernels/internal.h"

namespace vorel {
namespace {

// Room enough for any multiplier and coefficient: a product has 47 bits, both passes add less than 18.
using Wide = int64_t;

Wide dequantise(int32_t multiplier, int16_t coefficient) { return (Wide{multiplier} * coefficient) >> 10; }
Wide times_256ths(Wide value, int32_t factor) { return (value * factor) >> 8; }

constexpr int32_t kRoot2 = 362, k1_848 = 473, k1_082 = 277, k2_613 = 669;  // in 256ths

void points(const Wide (&in)[8], Wide (&out)[8]) {
    const Wide sum04 = in[0] + in[4], difference04 = in[0] - in[4], sum26 = in[2] + in[6];
    const Wide inner = times_256ths(in[2] - in[6], kRoot2) - sum26;
    const Wide even[4] = {sum04 + sum26, difference04 + inner, difference04 - inner, sum04 - sum26};

    const Wide sum53 = in[5] + in[3], difference53 = in[5] - in[3], sum17 = in[1] + in[7], difference17 = in[1] - in[7];
    const Wide turn = times_256ths(difference53 + difference17, k1_848);
    const Wide odd0 = sum17 + sum53;
    const Wide odd1 = times_256ths(difference53, -k2_613) + turn - odd0;
    const Wide odd2 = times_256ths(sum17 - sum53, kRoot2) - odd1;
    const Wide odd3 = times_256ths(difference17, k1_082) - turn + odd2;

    out[0] = even[0] + odd0;
    out[7] = even[0] - odd0;
    out[1] = even[1] + odd1;
    out[6] = even[1] - odd1;
    out[2] = even[2] + odd2;
    out[5] = even[2] - odd2;
    out[4] = even[3] + odd3;
    out[3] = even[3] - odd3;
}

// The mean of neighbouring pairs of the 8 points: sqrt2 - 1 turns the odd terms.
void points(const Wide (&in)[4], Wide (&out)[4]) {
    const Wide even0 = in[0] + in[2], even1 = in[0] - in[2];
    const Wide odd0 = in[1] + times_256ths(in[3], kRoot2) - in[3];
    const Wide odd1 = times_256ths(in[1], kRoot2) - in[1] - in[3];
    out[0] = even0 + odd0;
    out[1] = even1 + odd1;
    out[2] = even1 - odd1;
    out[3] = even0 - odd0;
}

void points(const Wide (&in)[2], Wide (&out)[2]) {
    out[0] = in[0] + in[1];
    out[1] = in[0] - in[1];
}

// Of the 8 points of inputs 0..3 those at 1 and 6, and between them the mean of 3 and 4.
void points(const Wide (&in)[3 + 1], Wide (&out)[3]) {
    const Wide eight[8] = {in[0], in[1], in[2], in[3], 0, 0, 0, 0};
    Wide samples[8];
    points(eight, samples);
    out[0] = samples[1];
    out[1] = (samples[3] + samples[4]) >> 1;
    out[2] = samples[6];
}

// kWidth x kHeight samples from the columns x rows lowest of kInWidth x kInHeight coefficients.
template <int kWidth, int kHeight, int kInWidth = kWidth, int kInHeight = kHeight>
void scaled_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, int columns, int rows,
                  BlockOut to) {
    Wide workspace[kHeight][kInWidth] = {}, out_column[kHeight], out_row[kWidth];
    for (int u = 0; u < columns; ++u) {
        Wide in[kInHeight] = {};
        for (int v = 0; v < rows; ++v) in[v] = dequantise(multipliers[8 * v + u], block[8 * v + u]);
        points(in, out_column);
        for (int y = 0; y < kHeight; ++y) workspace[y][u] = out_column[y];
    }
    for (int y = 0; y < kHeight; ++y) {
        points(workspace[y], out_row);
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < kWidth; ++x) row[x] = to_sample(range_limit, out_row[x] >> 5);
    }
}

constexpr int kColumns3 = 3, kRows3 = 4;  // what the 3 x 3 shape reads

// At most 2 x 2 samples, as sums and differences of the lowest coefficients.
template <int kWidth, int kHeight>
void plain_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    const auto value = [&](int k) { return Wide{multipliers[k]} * block[k]; };
    const Wide down = kHeight == 2 ? value(8) : 0;
    for (int y = 0; y < kHeight; ++y) {
        const Wide left = value(0) + 4 + (y ? -down : down);
        const Wide diagonal = kWidth == 2 && kHeight == 2 ? value(9) : 0;
        const Wide right = kWidth == 2 ? value(1) + (y ? -diagonal : diagonal) : 0;
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < kWidth; ++x) row[x] = to_sample(range_limit, (left + (x ? -right : right)) >> 3);
    }
}

template <int kWidth, int kHeight>
void scaled_shape(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    scaled_block<kWidth, kHeight>(range_limit, multipliers, block, kWidth, kHeight, to);
}
void shape_3x3(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    scaled_block<3, 3, kRows3, kRows3>(range_limit, multipliers, block, kColumns3, kRows3, to);
}

using ShapeFn = void (*)(const uint8_t *, const int32_t *, const int16_t *, BlockOut);
struct Shape {
    ShapeFn block;
    int width, height;
};
// In the order of IdctShape.
constexpr Shape kShapes[kIdctShapes] = {
    {islow_block, 8, 8},        {scaled_shape<8, 4>, 8, 4}, {scaled_shape<4, 8>, 4, 8}, {scaled_shape<4, 4>, 4, 4},
    {scaled_shape<4, 2>, 4, 2}, {scaled_shape<2, 4>, 2, 4}, {plain_block<2, 2>, 2, 2},  {plain_block<2, 1>, 2, 1},
    {plain_block<1, 2>, 1, 2},  {plain_block<1, 1>, 1, 1},  {shape_3x3, 3, 3}};

template <IdctShape kShape>
void scalar_run(const BlockRun &run) {
    constexpr Shape shape = kShapes[static_cast<int>(kShape)];
    for (int32_t i = 0; i < run.count; ++i) {
        shape.block(run.range_limit, run.multipliers, run.blocks[i],
                    {run.out + static_cast<ptrdiff_t>(i) * shape.width, run.stride_bytes});
    }
}

void scalar_dc_samples(const int16_t *dc, int32_t count, int32_t multiplier, const uint8_t *range_limit, bool,
                       uint8_t *out) {
    for (int32_t i = 0; i < count; ++i) plain_block<1, 1>(range_limit, &multiplier, dc + i, {out + i, 1});
}

// A block on its way to rows that need not be evenly spaced.
struct Tile {
    uint8_t samples[64];
    operator BlockOut() { return {samples, 8}; }
    void copy_to(uint8_t **rows, int32_t column, int width, int height) const {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) rows[y][column + x] = samples[8 * y + x];
        }
    }
};

}  // namespace

void idct_block(IdctShape shape, const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block,
                uint8_t **rows, int32_t column) {
    const Shape &kernel = kShapes[static_cast<int>(shape)];
    Tile tile;
    kernel.block(range_limit, multipliers, block, tile);
    tile.copy_to(rows, column, kernel.width, kernel.height);
}

void idct_scaled_corner(int size, int columns, int rows, const uint8_t *range_limit, const int32_t *multipliers,
                        const int16_t *block, uint8_t **out_rows, int32_t column) {
    Tile tile;
    if (size == 8) {
        scaled_block<8, 8>(range_limit, multipliers, block, columns, rows, tile);
    } else if (size == 4) {
        scaled_block<4, 4>(range_limit, multipliers, block, columns, rows, tile);
    } else {
        tile.samples[0] = to_sample(range_limit, dequantise(multipliers[0], block[0]) >> 5);
    }
    tile.copy_to(out_rows, column, size, size);
}

void idct_halved_3x3(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                     int32_t column) {
    Tile tile;
    shape_3x3(range_limit, multipliers, block, tile);
    const auto across = [&](int y, int x) { return (tile.samples[8 * y + x] + tile.samples[8 * y + x + 1]) >> 1; };
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) rows[y][column + x] = static_cast<uint8_t>((across(y, x) + across(y + 1, x)) >> 1);
    }
}

void add_scalar_scaled(KernelTable *table) {
    BlockRunFn *idct = table->idct;
    idct[static_cast<int>(IdctShape::k8x4)] = scalar_run<IdctShape::k8x4>;
    idct[static_cast<int>(IdctShape::k4x8)] = scalar_run<IdctShape::k4x8>;
    idct[static_cast<int>(IdctShape::k4x4)] = scalar_run<IdctShape::k4x4>;
    idct[static_cast<int>(IdctShape::k4x2)] = scalar_run<IdctShape::k4x2>;
    idct[static_cast<int>(IdctShape::k2x4)] = scalar_run<IdctShape::k2x4>;
    idct[static_cast<int>(IdctShape::k2x2)] = scalar_run<IdctShape::k2x2>;
    idct[static_cast<int>(IdctShape::k2x1)] = scalar_run<IdctShape::k2x1>;
    idct[static_cast<int>(IdctShape::k1x2)] = scalar_run<IdctShape::k1x2>;
    idct[static_cast<int>(IdctShape::k1x1)] = scalar_run<IdctShape::k1x1>;
    idct[static_cast<int>(IdctShape::k3x3)] = scalar_run<IdctShape::k3x3>;
    table->dc_samples = scalar_dc_samples;
}

}  // namespace vorel

#endif  // VOREL_IDCT_SCALED_SCALAR

#define VOREL_SIMD_FILE "jpeg/decoder/kernels/idct_scaled.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR

// Blocks are worked on in tiles of 4 x 4 32-bit values, one tile in the 128-bit parts of four vectors, as many blocks
// at once as a vector has parts.
template <class D>
struct Tile4 {
    hn::Vec<D> v[4];
};

template <class D>
constexpr int parts_of(D) {
    return static_cast<int>(hn::MaxLanes(D()) / 4);
}

// Four coefficients of each block, from position k on.
inline hn::Vec<hn::Full64<int16_t>> load_four(hn::Full64<int16_t> d, const int16_t *const *blocks, int k) {
    return hn::LoadU(d, blocks[0] + k);
}
template <class D16>
inline hn::Vec<D16> load_four(D16 d, const int16_t *const *blocks, int k) {
    const hn::Half<D16> half;
    constexpr int kHalf = static_cast<int>(hn::MaxLanes(half) / 4);
    return hn::Combine(d, load_four(half, blocks + kHalf, k), load_four(half, blocks, k));
}

// 32-bit lanes hold every sum of both passes as long as no product exceeds 25 bits: dequantised values are then at most
// 2^15, and the largest product of the second pass, 473 * 4 * 14.4 * 2^15, is below 2^30. Real pictures stay below
// 2^23.
constexpr float kLargestProduct = 1 << 25;

// The multipliers of a run, and the largest magnitude that a coefficient may have at each: four positions twice, for a
// 16-byte load.
struct Multipliers {
    alignas(64) int32_t exact[64];
    alignas(64) uint16_t most[16][8];
};
inline void take_multipliers(const int32_t *from, Multipliers *to) {
    const hn::Full128<int32_t> d;
    const hn::Full128<float> df;
    const hn::Full64<uint16_t> half;
    for (int k = 0; k < 64; k += 4) {
        const auto exact = hn::LoadU(d, from + k);
        const auto most = hn::Div(hn::Set(df, kLargestProduct), hn::Abs(hn::ConvertTo(df, exact)));
        const auto words = hn::DemoteTo(half, hn::ConvertTo(d, hn::Min(most, hn::Set(df, float{INT16_MAX}))));
        hn::Store(exact, d, to->exact + k);
        hn::Store(words, half, to->most[k / 4]);
        hn::Store(words, half, to->most[k / 4] + 4);
    }
}

template <class D>
using Words = hn::Vec<hn::Rebind<uint16_t, D>>;

// A coefficient times its multiplier; `beyond` collects whether one is too large.
template <class D>
inline hn::Vec<D> multiply_four(D d, const int16_t *const *blocks, const Multipliers &m, int k, Words<D> &beyond) {
    const hn::Rebind<int16_t, D> d16;
    const hn::Rebind<uint16_t, D> du16;
    const auto c = load_four(d16, blocks, k);
    const auto most = hn::LoadDup128(du16, m.most[k / 4]);
    beyond = hn::Or(beyond, hn::SaturatedSub(hn::Add(hn::BitCast(du16, c), most), hn::Add(most, most)));
    return hn::Mul(hn::PromoteTo(d, c), hn::LoadDup128(d, m.exact + k));
}
template <class D>
inline Tile4<D> dequantise_tile(D d, const int16_t *const *blocks, const Multipliers &m, int k, Words<D> &beyond) {
    return {{hn::ShiftRight<10>(multiply_four(d, blocks, m, k, beyond)),
             hn::ShiftRight<10>(multiply_four(d, blocks, m, k + 8, beyond)),
             hn::ShiftRight<10>(multiply_four(d, blocks, m, k + 16, beyond)),
             hn::ShiftRight<10>(multiply_four(d, blocks, m, k + 24, beyond))}};
}
template <class D>
inline bool all_small(D, Words<D> beyond) {
    const hn::Rebind<uint16_t, D> du16;
    return HWY_LIKELY(hn::AllTrue(du16, hn::Eq(beyond, hn::Zero(du16))));
}

template <class D>
inline hn::Vec<D> vector_256ths(D d, hn::Vec<D> value, int32_t factor) {
    return hn::ShiftRight<8>(hn::Mul(value, hn::Set(d, factor)));
}

// The twins of points().
template <class D>
inline void four_points(D d, Tile4<D> &t) {
    const auto even0 = hn::Add(t.v[0], t.v[2]), even1 = hn::Sub(t.v[0], t.v[2]);
    const auto odd0 = hn::Add(t.v[1], hn::Sub(vector_256ths(d, t.v[3], kRoot2), t.v[3]));
    const auto odd1 = hn::Sub(hn::Sub(vector_256ths(d, t.v[1], kRoot2), t.v[1]), t.v[3]);
    t = {{hn::Add(even0, odd0), hn::Add(even1, odd1), hn::Sub(even1, odd1), hn::Sub(even0, odd0)}};
}
template <class D>
inline void eight_points(D d, Tile4<D> &low, Tile4<D> &high) {
    const auto sum04 = hn::Add(low.v[0], high.v[0]), difference04 = hn::Sub(low.v[0], high.v[0]);
    const auto sum26 = hn::Add(low.v[2], high.v[2]);
    const auto inner = hn::Sub(vector_256ths(d, hn::Sub(low.v[2], high.v[2]), kRoot2), sum26);
    const auto even0 = hn::Add(sum04, sum26), even1 = hn::Add(difference04, inner);
    const auto even2 = hn::Sub(difference04, inner), even3 = hn::Sub(sum04, sum26);

    const auto sum53 = hn::Add(high.v[1], low.v[3]), difference53 = hn::Sub(high.v[1], low.v[3]);
    const auto sum17 = hn::Add(low.v[1], high.v[3]), difference17 = hn::Sub(low.v[1], high.v[3]);
    const auto turn = vector_256ths(d, hn::Add(difference53, difference17), k1_848);
    const auto odd0 = hn::Add(sum17, sum53);
    const auto odd1 = hn::Sub(hn::Add(vector_256ths(d, difference53, -k2_613), turn), odd0);
    const auto odd2 = hn::Sub(vector_256ths(d, hn::Sub(sum17, sum53), kRoot2), odd1);
    const auto odd3 = hn::Add(hn::Sub(vector_256ths(d, difference17, k1_082), turn), odd2);

    low = {{hn::Add(even0, odd0), hn::Add(even1, odd1), hn::Add(even2, odd2), hn::Sub(even3, odd3)}};
    high = {{hn::Add(even3, odd3), hn::Sub(even2, odd2), hn::Sub(even1, odd1), hn::Sub(even0, odd0)}};
}

template <class D>
inline Tile4<D> rotate(D d, const Tile4<D> &in) {
    return {{hn::InterleaveLower(d, in.v[0], in.v[2]), hn::InterleaveUpper(d, in.v[0], in.v[2]),
             hn::InterleaveLower(d, in.v[1], in.v[3]), hn::InterleaveUpper(d, in.v[1], in.v[3])}};
}
template <class D>
inline void transpose(D d, Tile4<D> &t) {
    t = rotate(d, rotate(d, t));
}

template <class D>
inline hn::Vec<D> to_range(D d, hn::Vec<D> value) {
    return hn::ShiftRight<5>(hn::Add(value, hn::Set(d, 128 << 5)));
}
// Stores a tile of columns of each block; neighbouring blocks are `pitch` samples apart.
template <class D>
inline void store_tile(D d, const Tile4<D> &columns, uint8_t *out, ptrdiff_t stride_bytes, int pitch) {
    const hn::Repartition<int16_t, D> d16;
    const hn::Repartition<uint8_t, D> d8;
    alignas(16) static constexpr uint8_t kExchange[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
    const auto left = hold_words(d16, to_range(d, columns.v[0]), to_range(d, columns.v[1]));
    const auto right = hold_words(d16, to_range(d, columns.v[2]), to_range(d, columns.v[3]));
    alignas(64) uint8_t samples[64];
    hn::Store(hn::TableLookupBytes(pack_bytes(left, right), hn::LoadDup128(d8, kExchange)), d8, samples);
    for (int block = 0; block < parts_of(d); ++block) {
        uint8_t *to = out + block * pitch;
        for (int y = 0; y < 4; ++y) std::memcpy(to + y * stride_bytes, samples + 16 * block + 4 * y, 4);
    }
}

// One group of blocks; false, with nothing stored, when a product is too large for it.
struct Group4x4 {
    static constexpr IdctShape kShape = IdctShape::k4x4;
    static constexpr int kWidth = 4, kHeight = 4;
    template <class D>
    static inline bool transform(D d, const int16_t *const *blocks, const Multipliers &m, uint8_t *out,
                                 ptrdiff_t stride) {
        auto beyond = hn::Zero(hn::Rebind<uint16_t, D>());
        Tile4<D> tile = dequantise_tile(d, blocks, m, 0, beyond);
        if (!all_small(d, beyond)) return false;
        four_points(d, tile);
        transpose(d, tile);
        four_points(d, tile);
        store_tile(d, tile, out, stride, 4);
        return true;
    }
};
struct Group8x4 {
    static constexpr IdctShape kShape = IdctShape::k8x4;
    static constexpr int kWidth = 8, kHeight = 4;
    template <class D>
    static inline bool transform(D d, const int16_t *const *blocks, const Multipliers &m, uint8_t *out,
                                 ptrdiff_t stride) {
        auto beyond = hn::Zero(hn::Rebind<uint16_t, D>());
        Tile4<D> left = dequantise_tile(d, blocks, m, 0, beyond), right = dequantise_tile(d, blocks, m, 4, beyond);
        if (!all_small(d, beyond)) return false;
        four_points(d, left);
        four_points(d, right);
        transpose(d, left);
        transpose(d, right);
        eight_points(d, left, right);
        store_tile(d, left, out, stride, 8);
        store_tile(d, right, out + 4, stride, 8);
        return true;
    }
};
struct Group4x8 {
    static constexpr IdctShape kShape = IdctShape::k4x8;
    static constexpr int kWidth = 4, kHeight = 8;
    template <class D>
    static inline bool transform(D d, const int16_t *const *blocks, const Multipliers &m, uint8_t *out,
                                 ptrdiff_t stride) {
        auto beyond = hn::Zero(hn::Rebind<uint16_t, D>());
        Tile4<D> top = dequantise_tile(d, blocks, m, 0, beyond), bottom = dequantise_tile(d, blocks, m, 32, beyond);
        if (!all_small(d, beyond)) return false;
        eight_points(d, top, bottom);
        transpose(d, top);
        transpose(d, bottom);
        four_points(d, top);
        four_points(d, bottom);
        store_tile(d, top, out, stride, 4);
        store_tile(d, bottom, out + 4 * stride, stride, 4);
        return true;
    }
};

template <class Group, int kBlocks>
inline void constant_group(const BlockRun &run, int32_t at) {
    uint8_t *out = run.out + static_cast<ptrdiff_t>(at) * Group::kWidth;
    uint8_t samples[kBlocks * Group::kWidth];
    for (int i = 0; i < kBlocks; ++i) {
        const uint8_t sample = to_sample(run.range_limit, dequantise(run.multipliers[0], run.blocks[at + i][0]) >> 5);
        std::memset(samples + i * Group::kWidth, sample, Group::kWidth);
    }
    for (int y = 0; y < Group::kHeight; ++y) std::memcpy(out + y * run.stride_bytes, samples, sizeof(samples));
}

template <class Group, class D>
inline int32_t run_groups(D d, const BlockRun &run, const Multipliers &multipliers, int32_t at) {
    constexpr int kBlocks = parts_of(d);
    for (; at + kBlocks <= run.count; at += kBlocks) {
        int last = run.last[at];
        for (int i = 1; i < kBlocks; ++i) last |= run.last[at + i];
        uint8_t *out = run.out + static_cast<ptrdiff_t>(at) * Group::kWidth;
        if (last == 0) {
            constant_group<Group, kBlocks>(run, at);
        } else if (!Group::transform(d, run.blocks + at, multipliers, out, run.stride_bytes)) {
            scalar_run<Group::kShape>(run_from(run, at, kBlocks, Group::kWidth));
        }
    }
    return at;
}

template <class Group>
void scaled_run(const BlockRun &run) {
    if (!run.plain_range) return scalar_run<Group::kShape>(run);
    Multipliers multipliers;
    take_multipliers(run.multipliers, &multipliers);
    int32_t at = 0;
#if HWY_MAX_BYTES >= 64
    at = run_groups<Group>(hn::Full512<int32_t>(), run, multipliers, at);
#endif
#if HWY_MAX_BYTES >= 32
    at = run_groups<Group>(hn::Full256<int32_t>(), run, multipliers, at);
#endif
    run_groups<Group>(hn::Full128<int32_t>(), run, multipliers, at);
}

// 2 x 2: four blocks at a time, two in a vector.
struct Plain2x2 {
    hn::Full128<int32_t> d;
    hn::Full128<float> df;
    hn::Vec128<int32_t> upper, lower;  // multipliers of positions 0, 1 and 8, 9
    hn::Vec128<float> upper_rough, lower_rough;

    explicit Plain2x2(const int32_t *m)
        : upper(hn::OddEven(hn::Set(d, m[1]), hn::Set(d, m[0]))),
          lower(hn::OddEven(hn::Set(d, m[9]), hn::Set(d, m[8]))),
          upper_rough(hn::ConvertTo(df, upper)),
          lower_rough(hn::ConvertTo(df, lower)) {}

    // Positions k and k + 1 of two blocks.
    hn::Vec128<int32_t> load(const int16_t *const *blocks, int k) const {
        const hn::Full32<int16_t> pair;
        const hn::Full64<int16_t> pairs;
        return hn::PromoteTo(d, hn::Combine(pairs, hn::LoadU(pair, blocks[1] + k), hn::LoadU(pair, blocks[0] + k)));
    }
    // The samples of a row of two blocks, from what their left and right halves have in common and in difference.
    hn::Vec128<int32_t> row(hn::Vec128<int32_t> terms) const {
        const auto other = hn::Shuffle2301(terms);
        return hn::ShiftRight<3>(hn::OddEven(hn::Sub(other, terms), hn::Add(terms, other)));
    }
    // Both rows of two blocks; `worst` follows the magnitudes of the products.
    void transform(const int16_t *const *blocks, hn::Vec128<int32_t> &top, hn::Vec128<int32_t> &bottom,
                   hn::Vec128<float> &worst) const {
        const auto c01 = load(blocks, 0), c89 = load(blocks, 8);
        worst = hn::Max(worst, hn::Abs(hn::Mul(hn::ConvertTo(df, c01), upper_rough)));
        worst = hn::Max(worst, hn::Abs(hn::Mul(hn::ConvertTo(df, c89), lower_rough)));
        const auto dc_offset = hn::OddEven(hn::Zero(d), hn::Set(d, 4 + (128 << 3)));
        const auto across = hn::Add(hn::Mul(c01, upper), dc_offset), down = hn::Mul(c89, lower);
        top = row(hn::Add(across, down));
        bottom = row(hn::Sub(across, down));
    }
};

void plain_2x2_run(const BlockRun &run) {
    if (!run.plain_range) return scalar_run<IdctShape::k2x2>(run);
    const Plain2x2 kernel(run.multipliers);
    const hn::Full128<int16_t> d16;
    const hn::Full64<uint8_t> half;
    int32_t at = 0;
    for (; at + 4 <= run.count; at += 4) {
        auto worst = hn::Zero(kernel.df);
        hn::Vec128<int32_t> top0, bottom0, top1, bottom1;
        kernel.transform(run.blocks + at, top0, bottom0, worst);
        kernel.transform(run.blocks + at + 2, top1, bottom1, worst);
        if (!hn::AllTrue(kernel.df, hn::Le(worst, hn::Set(kernel.df, kLargestProduct)))) {
            scalar_run<IdctShape::k2x2>(run_from(run, at, 4, 2));
            continue;
        }
        const auto rows = pack_bytes(hold_words(d16, top0, top1), hold_words(d16, bottom0, bottom1));
        uint8_t *out = run.out + 2 * static_cast<ptrdiff_t>(at);
        hn::StoreU(hn::LowerHalf(half, rows), half, out);
        hn::StoreU(hn::UpperHalf(half, rows), half, out + run.stride_bytes);
    }
    scalar_run<IdctShape::k2x2>(run_from(run, at, run.count - at, 2));
}

struct DcSamples {
    static constexpr int32_t kUnit = 1;
    const int16_t *dc;
    int32_t multiplier;
    const uint8_t *range_limit;
    uint8_t *out;
    // In steps of as many values as 32-bit lanes hold.
    template <class D8>
    void vector(D8, int32_t x) const {
        const hn::Repartition<int32_t, D8> wide;
        const hn::Rebind<int16_t, decltype(wide)> narrow;
        const hn::Rebind<uint8_t, decltype(wide)> bytes;
        constexpr int32_t kStep = static_cast<int32_t>(hn::MaxLanes(hn::Repartition<int32_t, D8>()));
        for (int32_t i = x; i < x + 4 * kStep; i += kStep) {
            const auto products = hn::Mul(hn::PromoteTo(wide, hn::LoadU(narrow, dc + i)), hn::Set(wide, multiplier));
            const auto samples = hn::ShiftRight<3>(hn::Add(products, hn::Set(wide, 4 + (128 << 3))));
            // In two steps: some targets' single one saturates to unsigned 16 bits on the way.
            hn::StoreU(hn::DemoteTo(bytes, hn::DemoteTo(narrow, samples)), bytes, out + i);
        }
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_dc_samples(dc + x, count, multiplier, range_limit, true, out + x);
    }
};
void dc_samples(const int16_t *dc, int32_t count, int32_t multiplier, const uint8_t *range_limit, bool plain_range,
                uint8_t *out) {
    // A 16-bit multiplier leaves 2^15 below the end of 32 bits, enough for the rounding and the 128.
    if (!plain_range || multiplier < 0 || multiplier > UINT16_MAX) {
        return scalar_dc_samples(dc, count, multiplier, range_limit, plain_range, out);
    }
    sweep(DcSamples{dc, multiplier, range_limit, out}, count);
}

void add_scaled(KernelTable *table) {
    table->idct[static_cast<int>(IdctShape::k4x4)] = scaled_run<Group4x4>;
    table->idct[static_cast<int>(IdctShape::k8x4)] = scaled_run<Group8x4>;
    table->idct[static_cast<int>(IdctShape::k4x8)] = scaled_run<Group4x8>;
    table->idct[static_cast<int>(IdctShape::k2x2)] = plain_2x2_run;
    table->dc_samples = dc_samples;
}

#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_scaled(SimdTarget target, [[maybe_unused]] KernelTable *table) {
    VOREL_SIMD_CALL(target, add_scaled(table));
}

}  // namespace vorel
#endif
