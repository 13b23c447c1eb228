// One row of a resized plane: four source bytes for each byte, each shifted right by 2 first.
#ifndef VOREL_RESIZE_ROW_SCALAR
#define VOREL_RESIZE_ROW_SCALAR

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "util/kernels/internal.h"
#include "util/kernels/prefetch.h"

namespace vorel {
namespace {

TapWalk first_taps(const ColumnTaps &taps) { return TapWalk::first(taps.src, taps.dst, taps.first_column); }
TapWalk second_taps(const ColumnTaps &taps) { return TapWalk::second(taps.src, taps.dst, taps.first_column); }

template <int kUnit>
void walk_row(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    TapWalk first = first_taps(taps), second = second_taps(taps);
    for (int32_t x = 0; x < taps.count; ++x, first.next(), second.next()) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(first.at()) * kUnit;
        const ptrdiff_t other = static_cast<ptrdiff_t>(second.at()) * kUnit;
        for (int byte = 0; byte < kUnit; ++byte) {
            *out++ = static_cast<uint8_t>((rows.a[at + byte] >> 2) + (rows.a[other + byte] >> 2) +
                                          (rows.b[at + byte] >> 2) + (rows.b[other + byte] >> 2));
        }
    }
}

void scalar_resize_row(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    constexpr decltype(&walk_row<1>) kWalks[] = {walk_row<1>, walk_row<2>, walk_row<3>, walk_row<4>};
    kWalks[taps.unit - 1](taps, rows, out);
}

constexpr int64_t kBlock = 16;  // output bytes of a block, and source bytes of a chunk
constexpr uint8_t kNoTap = 0x80;

int64_t row_bytes(const ColumnTaps &taps) { return int64_t{taps.src} * taps.unit; }
int64_t output_bytes(const ColumnTaps &taps) { return int64_t{taps.count} * taps.unit; }

// The taps as bytes of the row, one output byte after another.
class ByteWalk {
  public:
    ByteWalk(const TapWalk &walk, int unit) : walk_(walk), unit_(unit) {}
    int64_t at() const { return walk_.at() * unit_ + byte_; }
    void next() {
        if (++byte_ < unit_) return;
        byte_ = 0;
        walk_.next();
    }

  private:
    TapWalk walk_;
    int unit_, byte_ = 0;
};

// The chunks of one block, in the order of their offsets.
class BlockChunks {
  public:
    BlockChunks(const ColumnTaps &taps, TapChunk *chunks)
        : unit_(taps.unit), last_offset_(row_bytes(taps) - kBlock), chunks_(chunks) {}

    // Source bytes that go back no further than to the start of their sample.
    void gather(const int64_t (&first)[kBlock], const int64_t (&second)[kBlock]) {
        int a = 0, b = 0;
        while (a < kBlock || b < kBlock) {
            const int64_t begin = a == kBlock            ? second[b]
                                  : b == kBlock          ? first[a]
                                  : first[a] < second[b] ? first[a]
                                                         : second[b];
            const int64_t sample = begin - begin % unit_;
            const int64_t offset = sample < last_offset_ ? sample : last_offset_;
            TapChunk *chunk = start(offset);
            for (; a < kBlock && first[a] - offset < kBlock; ++a) {
                if (chunk) chunk->first[a] = static_cast<uint8_t>(first[a] - offset);
            }
            for (; b < kBlock && second[b] - offset < kBlock; ++b) {
                if (chunk) chunk->second[b] = static_cast<uint8_t>(second[b] - offset);
            }
        }
    }
    int64_t count() const { return count_; }

  private:
    TapChunk *start(int64_t offset) {
        TapChunk *chunk = chunks_ ? chunks_ + count_ : nullptr;
        ++count_;
        if (!chunk) return nullptr;
        chunk->offset = static_cast<int32_t>(offset);
        std::memset(chunk->first, kNoTap, sizeof chunk->first);
        std::memset(chunk->second, kNoTap, sizeof chunk->second);
        return chunk;
    }

    int64_t unit_, last_offset_;
    TapChunk *chunks_;
    int64_t count_ = 0;
};

}  // namespace

int32_t tap_blocks(const ColumnTaps &taps) {
    if (row_bytes(taps) < kBlock || output_bytes(taps) < kBlock) return 0;
    return static_cast<int32_t>((output_bytes(taps) + kBlock - 1) / kBlock);
}

int64_t make_tap_chunks(const ColumnTaps &taps, int32_t *chunk_ends, TapChunk *chunks) {
    const int64_t bytes = output_bytes(taps);
    const int32_t blocks = tap_blocks(taps);
    ByteWalk walk_a(first_taps(taps), taps.unit), walk_b(second_taps(taps), taps.unit);
    BlockChunks made(taps, chunks);
    int64_t first[kBlock] = {}, second[kBlock] = {};
    int64_t done = 0;  // output bytes that first and second are filled up to
    for (int32_t block = 0; block < blocks; ++block) {
        const int64_t end = (block + 1) * kBlock < bytes ? (block + 1) * kBlock : bytes;
        // The last block may begin among the bytes of the one before it.
        const int64_t kept = kBlock - (end - done);
        for (int64_t i = 0; i < kept; ++i) {
            first[i] = first[i + end - done];
            second[i] = second[i + end - done];
        }
        for (int64_t i = kept; i < kBlock; ++i, walk_a.next(), walk_b.next()) {
            first[i] = walk_a.at();
            second[i] = walk_b.at();
        }
        done = end;
        made.gather(first, second);
        chunk_ends[block] = static_cast<int32_t>(made.count());
    }
    return made.count();
}

void add_scalar_resize(UtilKernels *table) { table->resize_row = scalar_resize_row; }

}  // namespace vorel

#endif  // VOREL_RESIZE_ROW_SCALAR

#define VOREL_SIMD_FILE "util/kernels/resize_row.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// With the lower two bits cleared the mean of two samples has no rest, and neither has the mean of two such means: what
// comes out is the sum of four samples shifted right by 2.
template <class D8>
inline hn::Vec<D8> column_means(D8 d, const uint8_t *row_a, const uint8_t *row_b) {
    const auto mask = hn::Set(d, 0xFC);
    return hn::AverageRound(hn::And(hn::LoadU(d, row_a), mask), hn::And(hn::LoadU(d, row_b), mask));
}

inline void prefetch_rows(const TapRows &rows, ptrdiff_t from, size_t bytes) {
    prefetch_ahead<2>(rows.a + from, rows.ahead_a, bytes);
    prefetch_ahead<2>(rows.b + from, rows.ahead_b, bytes);
}

void gather_row(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    const hn::Full128<uint8_t> d;
    const int64_t bytes = int64_t{taps.count} * taps.unit;
    const TapChunk *chunk = taps.chunks;
    const int32_t *ends = taps.chunk_ends;
    for (int64_t at = 0; at < bytes; at += kBlock, ++ends) {
        const TapChunk *end = taps.chunks + *ends;
        if (rows.ahead_a) prefetch_rows(rows, chunk->offset, 1);
        auto means = column_means(d, rows.a + chunk->offset, rows.b + chunk->offset);
        auto first = hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->first));
        auto second = hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->second));
        while (++chunk < end) {
            means = column_means(d, rows.a + chunk->offset, rows.b + chunk->offset);
            first = hn::Or(first, hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->first)));
            second = hn::Or(second, hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->second)));
        }
        hn::StoreU(hn::AverageRound(first, second), d, out + (at + kBlock <= bytes ? at : bytes - kBlock));
    }
}

// Packing by pairs or fours leaves, in each block, as many bytes of each vector: this puts block after block of each.
template <int kVectors>
struct VectorAfterVector {
    static constexpr int32_t kLanes = 4 / kVectors;  // of each vector in a block
    static constexpr int32_t from(int lane, int blocks) {
        const int in_vector = lane % (kLanes * blocks);
        return in_vector / kLanes * 4 + lane / (kLanes * blocks) * kLanes + in_vector % kLanes;
    }
};

template <class Lane>
using Twice =
    std::conditional_t<sizeof(Lane) == 1, uint16_t, std::conditional_t<sizeof(Lane) == 2, uint32_t, uint64_t>>;

// The even lanes of a and of b in turns, and the odd ones.
template <class Lane, class D8>
inline hn::Vec<D8> even_in_turns(D8 d, hn::Vec<D8> a, hn::Vec<D8> b) {
    const hn::Repartition<Lane, D8> lanes;
    const hn::Repartition<Twice<Lane>, D8> twice;
    const auto up = hn::ShiftLeft<8 * sizeof(Lane)>(hn::BitCast(twice, b));
    return hn::BitCast(d, hn::OddEven(hn::BitCast(lanes, up), hn::BitCast(lanes, a)));
}
template <class Lane, class D8>
inline hn::Vec<D8> odd_in_turns(D8 d, hn::Vec<D8> a, hn::Vec<D8> b) {
    const hn::Repartition<Lane, D8> lanes;
    const hn::Repartition<Twice<Lane>, D8> twice;
    const auto down = hn::ShiftRight<8 * sizeof(Lane)>(hn::BitCast(twice, a));
    return hn::BitCast(d, hn::OddEven(hn::BitCast(lanes, b), hn::BitCast(lanes, down)));
}

// Two vectors' or four vectors' lanes in turns, set one vector's after the other's.
template <class Lane, int kVectors, class D8>
inline hn::Vec<D8> out_of_turns(D8 d, hn::Vec<D8> turns) {
    struct Table {
        alignas(16) uint8_t index[16];
    };
    static constexpr Table kTable = [] {
        constexpr int kUnit = sizeof(Lane), kEach = 16 / kUnit / kVectors;
        Table table = {};
        for (int i = 0; i < 16; ++i) {
            const int lane = i / kUnit;
            table.index[i] = static_cast<uint8_t>((lane % kEach * kVectors + lane / kEach) * kUnit + i % kUnit);
        }
        return table;
    }();
    if constexpr (16 / sizeof(Lane) > kVectors) turns = hn::TableLookupBytes(turns, hn::LoadDup128(d, kTable.index));
    return reorder_lanes<VectorAfterVector<kVectors>>(d, turns);
}

// The mean of each block's 32-bit lanes 0 and 1, and 2 and 3, of a, then of b.
template <class D8>
inline hn::Vec<D8> mean_of_neighbours(D8 d, hn::Vec<D8> a, hn::Vec<D8> b) {
    const hn::Repartition<int32_t, D8> d32;
    const auto x = hn::BitCast(d32, a), y = hn::BitCast(d32, b);
    return hn::AverageRound(hn::BitCast(d, every_other<0>(x, y)), hn::BitCast(d, every_other<1>(x, y)));
}
// Of two vectors of four-byte pixels the odd ones, without the lower two bits.
template <class D8>
inline hn::Vec<D8> odd_pixels(D8 d, const uint8_t *row) {
    const hn::Repartition<int32_t, D8> d32;
    const auto first = hn::BitCast(d32, hn::LoadU(d, row));
    const auto second = hn::BitCast(d32, hn::LoadU(d, row + hn::MaxLanes(D8())));
    return hn::And(hn::BitCast(d, every_other<1>(first, second)), hn::Set(d, 0xFC));
}

// A whole number of source samples for each output sample: taps are kStep apart, and no table is needed.
template <class Lane, int kStep, bool kAhead>
struct EvenSteps {
    static constexpr int32_t kUnit = sizeof(Lane);
    const TapRows rows;
    uint8_t *out;

    // Half the size: the taps are neighbours.
    template <class D8>
    static hn::Vec<D8> halved(D8 d, const uint8_t *a, const uint8_t *b) {
        constexpr size_t kBytes = hn::MaxLanes(D8());
        const auto low = column_means(d, a, b), high = column_means(d, a + kBytes, b + kBytes);
        if constexpr (kUnit == 4) {
            return reorder_lanes<VectorAfterVector<2>>(d, mean_of_neighbours(d, low, high));
        }
#if HWY_ARCH_X86
        if constexpr (kUnit == 1) {
            // Both are even, so half of their sum is exact.
            const auto ones = hn::Set(d, 1);
            const auto packed =
                pack_bytes(hn::ShiftRight<1>(multiply_bytes(low, ones)), hn::ShiftRight<1>(multiply_bytes(high, ones)));
            return reorder_lanes<VectorAfterVector<2>>(d, packed);
        }
#endif
        const auto even = even_in_turns<Lane>(d, low, high), odd = odd_in_turns<Lane>(d, low, high);
        return out_of_turns<Lane, 2>(d, hn::AverageRound(even, odd));
    }
    // A quarter: of four samples the second and the fourth.
    template <class D8>
    static hn::Vec<D8> quartered(D8 d, const uint8_t *a, const uint8_t *b) {
        constexpr size_t kBytes = hn::MaxLanes(D8());
        if constexpr (kUnit == 4) {
            const auto low = hn::AverageRound(odd_pixels(d, a), odd_pixels(d, b));
            const auto high = hn::AverageRound(odd_pixels(d, a + 2 * kBytes), odd_pixels(d, b + 2 * kBytes));
            return reorder_lanes<VectorAfterVector<4>>(d, mean_of_neighbours(d, low, high));
        }
        const auto first = odd_in_turns<Lane>(d, column_means(d, a, b), column_means(d, a + kBytes, b + kBytes));
        const auto second = odd_in_turns<Lane>(d, column_means(d, a + 2 * kBytes, b + 2 * kBytes),
                                               column_means(d, a + 3 * kBytes, b + 3 * kBytes));
        return out_of_turns<Lane, 4>(d, hn::AverageRound(even_in_turns<Twice<Lane>>(d, first, second),
                                                         odd_in_turns<Twice<Lane>>(d, first, second)));
    }
    template <class D8>
    void vector(D8 d, ptrdiff_t x) const {
        const ptrdiff_t from = x * kStep;
        if constexpr (kAhead) prefetch_rows(rows, from, kStep * hn::MaxLanes(D8()));
        if constexpr (kStep == 2) {
            hn::StoreU(halved(d, rows.a + from, rows.b + from), d, out + x);
        } else {
            hn::StoreU(quartered(d, rows.a + from, rows.b + from), d, out + x);
        }
    }
    void scalar(ptrdiff_t x, ptrdiff_t count) const {
        const int32_t samples = static_cast<int32_t>(count) / kUnit;
        const ptrdiff_t from = x * kStep;
        scalar_resize_row({kStep * samples, samples, kUnit, 0, samples, nullptr, nullptr},
                          {rows.a + from, 0, rows.b + from, 0}, out + x);
    }
};

// Of eight four-byte pixels the third and the seventh, of four times eight: all third ones, then all seventh ones.
// Whole vectors are loaded, which straddle no cache line where rows are aligned.
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SSE4
inline hn::Vec<hn::Full256<uint8_t>> four_of_eighths(const uint8_t *row) {
    const hn::Full256<uint32_t> d32;
    const hn::Full256<uint64_t> d64;
    const hn::Full256<uint8_t> d8;
    const auto load = [&](int eight) { return hn::BitCast(d32, hn::LoadU(d8, row + eight * 32)); };
    const auto low = hn::BitCast(d64, hn::InterleaveUpper(d32, load(0), load(1)));
    const auto high = hn::BitCast(d64, hn::InterleaveUpper(d32, load(2), load(3)));
    return hn::And(hn::BitCast(d8, hn::InterleaveLower(d64, low, high)), hn::Set(d8, 0xFC));
}
#endif
inline hn::Vec<hn::Full128<uint8_t>> eighth_of_pixels(const uint8_t *a, const uint8_t *b) {
    const hn::Full128<uint8_t> d;
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SSE4
    const auto means = hn::AverageRound(four_of_eighths(a), four_of_eighths(b));
    return hn::AverageRound(hn::LowerHalf(d, means), hn::UpperHalf(d, means));
#else
    const hn::Full128<uint32_t> d32;
    const hn::Full128<uint64_t> d64;
    const auto four = [&](const uint8_t *row) {
        const auto load = [&](int eight) { return hn::BitCast(d32, hn::LoadU(d, row + eight * 32)); };
        const auto low = hn::BitCast(d64, hn::InterleaveUpper(d32, load(0), load(1)));
        const auto high = hn::BitCast(d64, hn::InterleaveUpper(d32, load(2), load(3)));
        return hn::And(hn::BitCast(d, hn::InterleaveLower(d64, low, high)), hn::Set(d, 0xFC));
    };
    return hn::AverageRound(hn::AverageRound(four(a), four(b)), hn::AverageRound(four(a + 16), four(b + 16)));
#endif
}

inline TapRows rows_from(const TapRows &rows, ptrdiff_t from) {
    return {rows.a + from, rows.ahead_a, rows.b + from, rows.ahead_b};
}
// The same as sweep(); but where vectors of the first source row would straddle cache lines, all but the first begin so
// far on that they do not.
template <int kStep, class Row>
inline void sweep_along_lines(const Row &row, ptrdiff_t bytes) {
    const hn::ScalableTag<uint8_t> d;
    constexpr ptrdiff_t kBytes = static_cast<ptrdiff_t>(hn::MaxLanes(hn::ScalableTag<uint8_t>()));
    if (bytes < 2 * kBytes) return sweep(row, bytes);
    const ptrdiff_t rest = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(row.rows.a) % kBytes);
    ptrdiff_t x = rest % (kStep * Row::kUnit) ? 0 : rest / kStep;
    if (x > 0) row.vector(d, 0);
    for (; bytes - x >= kBytes; x += kBytes) row.vector(d, x);
    if (x < bytes) row.vector(d, bytes - kBytes);
}
template <class Lane, int kStep>
void resize_evenly(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    constexpr ptrdiff_t kUnit = sizeof(Lane);
    const TapRows from = rows_from(rows, ptrdiff_t{taps.first_column} * kStep * kUnit);
    const ptrdiff_t bytes = ptrdiff_t{taps.count} * kUnit;
    if (!rows.ahead_a) {
        sweep_along_lines<kStep>(EvenSteps<Lane, kStep, false>{from, out}, bytes);
    } else if constexpr (kUnit == 4) {
        sweep_along_lines<kStep>(EvenSteps<Lane, kStep, true>{from, out}, bytes);
    } else {
        // What comes from memory hides the price of lines, and small samples lost by it.
        sweep(EvenSteps<Lane, kStep, true>{from, out}, bytes);
    }
}
template <bool kAhead>
void sweep_eighths(const TapRows &rows, ptrdiff_t count, uint8_t *out) {
    const auto four = [&](ptrdiff_t x) {
        if constexpr (kAhead) prefetch_rows(rows, x * 32, 128);
        hn::StoreU(eighth_of_pixels(rows.a + x * 32, rows.b + x * 32), hn::Full128<uint8_t>(), out + x * 4);
    };
    for (ptrdiff_t x = 0; x + 4 <= count; x += 4) four(x);
    if (count % 4) four(count - 4);
}
void resize_to_eighth(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    if (taps.count < 4) return scalar_resize_row(taps, rows, out);
    const TapRows from = rows_from(rows, ptrdiff_t{taps.first_column} * 32);
    rows.ahead_a ? sweep_eighths<true>(from, taps.count, out) : sweep_eighths<false>(from, taps.count, out);
}

void resize_row(const ColumnTaps &taps, const TapRows &rows, uint8_t *out) {
    // By the sample's size; [0] is for halves, [1] for quarters.
    static constexpr decltype(&resize_to_eighth) kEven[5][2] = {
        {},
        {resize_evenly<uint8_t, 2>, resize_evenly<uint8_t, 4>},
        {resize_evenly<uint16_t, 2>, resize_evenly<uint16_t, 4>},
        {},
        {resize_evenly<uint32_t, 2>, resize_evenly<uint32_t, 4>}};
    const int32_t step = step_without_chunks(taps);
    if (step == 8) return resize_to_eighth(taps, rows, out);
    if (step > 0) return kEven[taps.unit][step == 4](taps, rows, out);
    if (taps.chunks) return gather_row(taps, rows, out);
    scalar_resize_row(taps, rows, out);
}

void add_resize(UtilKernels *table) { table->resize_row = resize_row; }

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_resize(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_resize(table));
}

}  // namespace vorel
#endif
