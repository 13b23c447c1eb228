// The row functions for callers who have their own kernels. Flat offsets do not say which row a tap is of, so that at
// the mosaic's edges it is taken from their order: kernels reach to the eight neighbours, and taps are sorted by row
// and column.
#include <vorel/dng_samples.h>

#include "dng/mosaic/bilinear_row.h"

namespace vorel {
namespace {

constexpr bool other_row(int32_t offset) { return offset < -1 || offset > 1; }

// Which edges of the mosaic a site lies at.
struct Edges {
    bool top, bottom, left, right;
};

// A tap's offset, mirrored about the site where it would leave the mosaic; of a single row or column none is left.
// Diagonal taps stand in pairs, 2 apart; other taps of other rows lie above or below the site.
int32_t mirrored(const int32_t *offsets, uint32_t count, uint32_t tap, const Edges &at) {
    const int32_t offset = offsets[tap];
    const auto across = [&](int32_t columns) {
        if (at.left && at.right) return 0;
        return (columns < 0 ? at.left : at.right) ? -columns : columns;
    };
    if (!other_row(offset)) return across(offset);
    const int32_t sign = at.top && at.bottom ? 0 : (offset < 0 ? at.top : at.bottom) ? -1 : 1;
    const bool first = tap + 1 < count && other_row(offsets[tap + 1]) && offsets[tap + 1] == offset + 2;
    const bool second = tap > 0 && other_row(offsets[tap - 1]) && offsets[tap - 1] == offset - 2;
    if (!first && !second) return sign * offset;
    const int32_t columns = first ? -1 : 1;
    return sign * (offset - columns) + across(columns);
}

template <typename Sample>
void row_with_edges(const KernelRow<Sample> &kernels, const Sample *src, Sample *dst, uint32_t row, uint32_t column,
                    uint32_t rows, uint32_t columns, uint32_t count, uint32_t pattern_column, uint32_t shift) {
    constexpr uint32_t kStep = 3;
    const bool top = row == 0, bottom = row + 1 >= rows;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t site = i >> shift;
        const Edges at = {top, bottom, column + site == 0, column + site + 1 >= columns};
        const uint32_t cell = (pattern_column + i) % kernels.columns;
        if (!top && !bottom && !at.left && !at.right) {
            // As far as the last column, which is done as an edge.
            const uint32_t sites = columns - 1 - (column + site);
            const uint32_t phase = i & ((1U << shift) - 1);
            const uint64_t outputs = (uint64_t{sites} << shift) - phase;
            const uint32_t length = outputs < count - i ? static_cast<uint32_t>(outputs) : count - i;
            bilinear_row(kernels, cell, src + site, 1, shift, phase, dst + size_t{i} * kStep, kStep, length);
            i += length - 1;
            continue;
        }
        const uint32_t taps = kernels.counts[cell];
        TapSum<Sample> sum;
        for (uint32_t tap = 0; tap < taps; ++tap) {
            sum.add(kernels.weights[cell][tap], src[ptrdiff_t{site} + mirrored(kernels.offsets[cell], taps, tap, at)]);
        }
        dst[size_t{i} * kStep] = taps ? sum.result() : Sample{0};
    }
}

}  // namespace
}  // namespace vorel

void DoBilinearRow16(const uint16_t *src, uint16_t *dst, uint32_t row, uint32_t column, uint32_t rows, uint32_t columns,
                     uint32_t count, uint32_t patternColumn, uint32_t patternColumns, const uint32_t *counts,
                     const int32_t *const *offsets, const uint16_t *const *weights, uint32_t shift) {
    vorel::row_with_edges<uint16_t>({patternColumns, counts, offsets, weights}, src, dst, row, column, rows, columns,
                                    count, patternColumn, shift);
}

void DoBilinearRow32(const float *src, float *dst, uint32_t row, uint32_t column, uint32_t rows, uint32_t columns,
                     uint32_t count, uint32_t patternColumn, uint32_t patternColumns, const uint32_t *counts,
                     const int32_t *const *offsets, const float *const *weights, uint32_t shift) {
    vorel::row_with_edges<float>({patternColumns, counts, offsets, weights}, src, dst, row, column, rows, columns,
                                 count, patternColumn, shift);
}
