// One row of a resized plane: four source bytes for each byte, each shifted right by 2 first.
#ifndef VOREL_RESIZE_ROW_SCALAR
#define VOREL_RESIZE_ROW_SCALAR

#include <cstring>
#include <type_traits>

#include "util/kernels/room.h"

namespace vorel {
namespace {

TapWalk first_taps(const ColumnTaps &taps) { return TapWalk::first(taps.src, taps.dst, taps.first_column); }
TapWalk second_taps(const ColumnTaps &taps) { return TapWalk::second(taps.src, taps.dst, taps.first_column); }

template <int kUnit>
void walk_row(const ColumnTaps &taps, const uint8_t *row_a, const uint8_t *row_b, uint8_t *out) {
    TapWalk first = first_taps(taps), second = second_taps(taps);
    for (int32_t x = 0; x < taps.count; ++x, first.next(), second.next()) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(first.at()) * kUnit;
        const ptrdiff_t other = static_cast<ptrdiff_t>(second.at()) * kUnit;
        for (int byte = 0; byte < kUnit; ++byte) {
            *out++ = static_cast<uint8_t>((row_a[at + byte] >> 2) + (row_a[other + byte] >> 2) +
                                          (row_b[at + byte] >> 2) + (row_b[other + byte] >> 2));
        }
    }
}

void scalar_resize_row(const ColumnTaps &taps, const uint8_t *row_a, const uint8_t *row_b, uint8_t *out) {
    constexpr decltype(&walk_row<1>) kWalks[] = {walk_row<1>, walk_row<2>, walk_row<3>, walk_row<4>};
    kWalks[taps.unit - 1](taps, row_a, row_b, out);
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

void gather_row(const ColumnTaps &taps, const uint8_t *row_a, const uint8_t *row_b, uint8_t *out) {
    const hn::Full128<uint8_t> d;
    const int64_t bytes = int64_t{taps.count} * taps.unit;
    const TapChunk *chunk = taps.chunks;
    const int32_t *ends = taps.chunk_ends;
    for (int64_t at = 0; at < bytes; at += kBlock, ++ends) {
        const TapChunk *end = taps.chunks + *ends;
        auto means = column_means(d, row_a + chunk->offset, row_b + chunk->offset);
        auto first = hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->first));
        auto second = hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->second));
        while (++chunk < end) {
            means = column_means(d, row_a + chunk->offset, row_b + chunk->offset);
            first = hn::Or(first, hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->first)));
            second = hn::Or(second, hn::TableLookupBytesOr0(means, hn::LoadU(d, chunk->second)));
        }
        hn::StoreU(hn::AverageRound(first, second), d, out + (at + kBlock <= bytes ? at : bytes - kBlock));
    }
}

// Half the size: the taps are neighbours.
template <class Lane>
struct Halves {
    static constexpr int32_t kUnit = sizeof(Lane);
    const uint8_t *row_a, *row_b;
    uint8_t *out;

    template <class D8>
    void vector(D8 d, int32_t x) const {
        const hn::Repartition<Lane, D8> lanes;
        const ptrdiff_t from = ptrdiff_t{x} * 2, next = from + static_cast<ptrdiff_t>(hn::MaxLanes(D8()));
        const auto low = hn::BitCast(lanes, column_means(d, row_a + from, row_b + from));
        const auto high = hn::BitCast(lanes, column_means(d, row_a + next, row_b + next));
        hn::StoreU(hn::AverageRound(hn::BitCast(d, hn::ConcatEven(lanes, high, low)),
                                    hn::BitCast(d, hn::ConcatOdd(lanes, high, low))),
                   d, out + x);
    }
    void scalar(int32_t x, int32_t count) const {
        const int32_t unit = static_cast<int32_t>(sizeof(Lane)), samples = count / unit;
        const ptrdiff_t from = ptrdiff_t{x} * 2;
        scalar_resize_row({2 * samples, samples, unit, 0, samples, nullptr, nullptr}, row_a + from, row_b + from,
                          out + x);
    }
};
template <class Lane>
inline void halve(const ColumnTaps &taps, const uint8_t *row_a, const uint8_t *row_b, uint8_t *out) {
    const ptrdiff_t from = ptrdiff_t{taps.first_column} * 2 * taps.unit;
    sweep(Halves<Lane>{row_a + from, row_b + from, out}, taps.count * taps.unit);
}

void resize_row(const ColumnTaps &taps, const uint8_t *row_a, const uint8_t *row_b, uint8_t *out) {
    const bool neighbours = halves(taps);
    if (neighbours && taps.unit == 1) return halve<uint8_t>(taps, row_a, row_b, out);
    if (neighbours && taps.unit == 2) return halve<uint16_t>(taps, row_a, row_b, out);
    if (neighbours) return halve<uint32_t>(taps, row_a, row_b, out);
    if (taps.chunks) return gather_row(taps, row_a, row_b, out);
    scalar_resize_row(taps, row_a, row_b, out);
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
