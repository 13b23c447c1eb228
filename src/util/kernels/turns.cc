// Planes turned over their diagonal, and sequences of samples reversed.
#ifndef VOREL_TURNS_SCALAR
#define VOREL_TURNS_SCALAR

#include <algorithm>
#include <cstring>

#include "util/kernels/internal.h"

namespace vorel {
namespace {

// A sample of 1 to 4 bytes that moves as a whole.
template <int kUnit>
struct Sample {
    uint8_t bytes[kUnit];
};

// Rows of the source that are turned together: their samples fill cache lines of the destination, each of which is
// asked for some columns ahead, for no prefetcher foresees them. Long rows are taken in pieces of a page.
constexpr int32_t kBandBytes = 64, kBlockBytes = 4096;
[[maybe_unused]] constexpr int32_t kAheadColumns = 32;
template <int kUnit>
constexpr int32_t band_rows() {
    return kUnit == 3 ? 16 : kBandBytes / kUnit;
}

template <int kUnit>
PlaneTurn turn_from(const PlaneTurn &turn, int32_t x, int32_t y) {
    PlaneTurn rest = turn;
    rest.src += y * turn.src_stride + ptrdiff_t{x} * kUnit;
    rest.dst += x * turn.dst_stride + ptrdiff_t{y} * kUnit;
    rest.width -= x;
    rest.height -= y;
    return rest;
}

template <int kUnit>
void scalar_transpose_block(const PlaneTurn &turn) {
    for (int32_t top = 0; top < turn.height; top += band_rows<kUnit>()) {
        const int32_t bottom = std::min(turn.height, top + band_rows<kUnit>());
        for (int32_t x = 0; x < turn.width; ++x) {
            for (int32_t y = top; y < bottom; ++y) {
                std::memcpy(turn.dst + x * turn.dst_stride + ptrdiff_t{y} * kUnit,
                            turn.src + y * turn.src_stride + ptrdiff_t{x} * kUnit, kUnit);
            }
        }
    }
}

// Blocks of at least kLeast columns where the plane has as many.
template <int kUnit, int32_t kLeast, typename Block>
void transpose_by_blocks(const PlaneTurn &turn, const Block &block) {
    for (int32_t x = 0; x < turn.width;) {
        PlaneTurn part = turn_from<kUnit>(turn, x, 0);
        constexpr int32_t kColumns = kBlockBytes / kUnit / kLeast * kLeast;
        if (part.width >= kColumns + kLeast) part.width = kColumns;
        block(part);
        x += part.width;
    }
}

template <int kUnit>
void scalar_transpose(const PlaneTurn &turn) {
    transpose_by_blocks<kUnit, 1>(turn, scalar_transpose_block<kUnit>);
}

template <int kUnit>
void scalar_reverse(const uint8_t *src, size_t count, uint8_t *dst) {
    for (size_t i = 0; i < count; ++i) std::memcpy(dst + i * kUnit, src + (count - 1 - i) * kUnit, kUnit);
}

template <int kUnit>
void scalar_swap_reversed(uint8_t *a, uint8_t *b, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        uint8_t *first = a + i * kUnit, *second = b + (count - 1 - i) * kUnit;
        Sample<kUnit> held;
        std::memcpy(&held, first, kUnit);
        std::memcpy(first, second, kUnit);
        std::memcpy(second, &held, kUnit);
    }
}

template <template <int> class Twin, int kUnit>
void add_unit(UtilKernels *table) {
    table->transpose[kUnit] = Twin<kUnit>::transpose;
    table->reverse[kUnit] = Twin<kUnit>::reverse;
    table->swap_reversed[kUnit] = Twin<kUnit>::swap_reversed;
}

template <int kUnit>
struct ScalarTurns {
    static constexpr auto transpose = scalar_transpose<kUnit>;
    static constexpr auto reverse = scalar_reverse<kUnit>;
    static constexpr auto swap_reversed = scalar_swap_reversed<kUnit>;
};

}  // namespace

void add_scalar_turns(UtilKernels *table) {
    add_unit<ScalarTurns, 1>(table);
    add_unit<ScalarTurns, 2>(table);
    add_unit<ScalarTurns, 3>(table);
    add_unit<ScalarTurns, 4>(table);
}

}  // namespace vorel

#endif  // VOREL_TURNS_SCALAR

#define VOREL_SIMD_FILE "util/kernels/turns.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

template <int kUnit>
using Lane = std::conditional_t<kUnit == 1, uint8_t, std::conditional_t<kUnit == 2, uint16_t, uint32_t>>;
using Bytes16 = hn::Full128<uint8_t>;

// One step of a transposition of square tiles: neighbours of the first half of the rows and of the second are
// interleaved. log2(rows) steps transpose.
template <int kUnit, int kRows>
inline void interleave_step(const hn::Vec<Bytes16> (&in)[kRows], hn::Vec<Bytes16> (&out)[kRows]) {
    const hn::Full128<Lane<kUnit>> d;
    const Bytes16 d8;
    for (int i = 0; i < kRows / 2; ++i) {
        const auto a = hn::BitCast(d, in[i]), b = hn::BitCast(d, in[i + kRows / 2]);
        out[2 * i] = hn::BitCast(d8, hn::InterleaveLower(d, a, b));
        out[2 * i + 1] = hn::BitCast(d8, hn::InterleaveUpper(d, a, b));
    }
}

// A tile of as many rows as a vector of 16 bytes has samples, in `out`.
template <int kUnit, int kRows>
inline void transpose_tile(const PlaneTurn &tile, hn::Vec<Bytes16> (&out)[kRows]) {
    const Bytes16 d8;
    hn::Vec<Bytes16> a[kRows];
    for (int i = 0; i < kRows; ++i) a[i] = hn::LoadU(d8, tile.src + i * tile.src_stride);
    if constexpr (kRows == 4) {
        hn::Vec<Bytes16> b[kRows];
        interleave_step<kUnit>(a, b);
        interleave_step<kUnit>(b, out);
    } else if constexpr (kRows == 8) {
        interleave_step<kUnit>(a, out);
        interleave_step<kUnit>(out, a);
        interleave_step<kUnit>(a, out);
    } else {
        interleave_step<kUnit>(a, out);
        interleave_step<kUnit>(out, a);
        interleave_step<kUnit>(a, out);
        interleave_step<kUnit>(out, a);
        for (int i = 0; i < kRows; ++i) out[i] = a[i];
    }
}

// Tiles below one another, which make whole cache lines of the destination: these are written one after another.
template <int kUnit>
inline void transpose_column(const PlaneTurn &top, int tiles) {
    constexpr int kRows = 16 / kUnit, kTiles = kBandBytes / 16;
    const Bytes16 d8;
    hn::Vec<Bytes16> out[kTiles][kRows];
    for (int tile = 0; tile < tiles; ++tile) {
        transpose_tile<kUnit>(turn_from<kUnit>(top, 0, tile * kRows), out[tile]);
    }
    for (int i = 0; i < kRows; ++i) {
        for (int tile = 0; tile < tiles; ++tile) hn::StoreU(out[tile][i], d8, top.dst + i * top.dst_stride + tile * 16);
    }
}

// The lines of `count` columns further on; a band may straddle two.
inline void expect_lines(const PlaneTurn &turn, int32_t count) {
    const int32_t end = std::min(turn.width, kAheadColumns + count);
    for (int32_t x = kAheadColumns; x < end; ++x) {
        const uint8_t *line = turn.dst + x * turn.dst_stride;
        __builtin_prefetch(line, 1);
        __builtin_prefetch(line + kBandBytes - 1, 1);
    }
}

// The last tiles overlap those before them.
template <int kUnit>
void transpose_block(const PlaneTurn &turn) {
    constexpr int32_t kRows = 16 / kUnit;
    for (int32_t top = 0; top < turn.height;) {
        const int32_t left_rows = turn.height - top;
        const bool whole = left_rows >= band_rows<kUnit>();
        // Below the last whole band the tiles go one by one.
        const int32_t rows = whole ? band_rows<kUnit>() : left_rows < kRows ? left_rows : kRows;
        const int32_t y = rows < kRows ? turn.height - kRows : top;
        for (int32_t x = 0; x < turn.width; x += kRows) {
            const PlaneTurn tile = turn_from<kUnit>(turn, std::min(x, turn.width - kRows), y);
            if (whole) {
                expect_lines(tile, kRows);
                transpose_column<kUnit>(tile, kBandBytes / 16);
            } else {
                transpose_column<kUnit>(tile, 1);
            }
        }
        top += rows;
    }
}

template <int kUnit>
void transpose(const PlaneTurn &turn) {
    constexpr int32_t kRows = 16 / kUnit;
    if (turn.width < kRows || turn.height < kRows) return scalar_transpose<kUnit>(turn);
    transpose_by_blocks<kUnit, kRows>(turn, transpose_block<kUnit>);
}

template <int kUnit>
inline hn::Vec<hn::ScalableTag<uint8_t>> load_reversed(const uint8_t *src) {
    const hn::ScalableTag<uint8_t> d8;
    // The Highway release we build with reverses no bytes: words are reversed, and the bytes in them.
    const hn::Repartition<Lane<kUnit == 1 ? 2 : kUnit>, decltype(d8)> d;
    const auto reversed = hn::Reverse(d, hn::BitCast(d, hn::LoadU(d8, src)));
    if constexpr (kUnit == 1) {
        return hn::BitCast(d8, hn::Or(hn::ShiftLeft<8>(reversed), hn::ShiftRight<8>(reversed)));
    } else {
        return hn::BitCast(d8, reversed);
    }
}

template <int kUnit>
void reverse(const uint8_t *src, size_t count, uint8_t *dst) {
    const hn::ScalableTag<uint8_t> d8;
    constexpr size_t kStep = hn::MaxLanes(hn::ScalableTag<uint8_t>()) / kUnit;
    size_t i = 0;
    for (; count - i >= kStep; i += kStep) {
        hn::StoreU(load_reversed<kUnit>(src + (count - i - kStep) * kUnit), d8, dst + i * kUnit);
    }
    scalar_reverse<kUnit>(src, count - i, dst + i * kUnit);
}

template <int kUnit>
void swap_reversed(uint8_t *a, uint8_t *b, size_t count) {
    const hn::ScalableTag<uint8_t> d8;
    constexpr size_t kStep = hn::MaxLanes(hn::ScalableTag<uint8_t>()) / kUnit;
    size_t i = 0;
    for (; count - i >= kStep; i += kStep) {
        uint8_t *first = a + i * kUnit, *second = b + (count - i - kStep) * kUnit;
        const auto from_first = load_reversed<kUnit>(first), from_second = load_reversed<kUnit>(second);
        hn::StoreU(from_second, d8, first);
        hn::StoreU(from_first, d8, second);
    }
    scalar_swap_reversed<kUnit>(a + i * kUnit, b, count - i);
}

template <int kUnit>
struct VectorTurns {
    static constexpr auto transpose = HWY_NAMESPACE::transpose<kUnit>;
    static constexpr auto reverse = HWY_NAMESPACE::reverse<kUnit>;
    static constexpr auto swap_reversed = HWY_NAMESPACE::swap_reversed<kUnit>;
};

void add_turns(UtilKernels *table) {
    add_unit<VectorTurns, 1>(table);
    add_unit<VectorTurns, 2>(table);
    add_unit<VectorTurns, 4>(table);
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_turns(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_turns(table));
}

}  // namespace vorel
#endif
