// Kernels of bilinear interpolation.
#include <algorithm>
#include <cmath>

#include "dng/mosaic/bilinear.h"

using vorel::DngPoint;

void VorelDngBilinearKernel::Add(const DngPoint &delta, float weight) {
    if (!(weight > 0)) return;
    DngPoint *const end = position + count;
    const uint32_t tap = static_cast<uint32_t>(std::find(position, end, delta) - position);
    if (tap == kMostTaps) return;
    if (tap == count) {
        position[count] = delta;
        weight32[count++] = 0;
    }
    weight32[tap] += weight;
}

void VorelDngBilinearKernel::Finalize(const DngPoint &scale, uint32_t row, uint32_t column, int32_t rowStep,
                                      int32_t columnStep) {
    // Two output rows stand for one of the mosaic: the shift rounds down, also below 0.
    for (uint32_t tap = 0; tap < count; ++tap) {
        if (scale.v == 2) position[tap].v = (position[tap].v + static_cast<int32_t>(row & 1)) >> 1;
        if (scale.h == 2) position[tap].h = (position[tap].h + static_cast<int32_t>(column & 1)) >> 1;
    }
    // There are few taps, and sorting by insertion keeps both arrays together.
    for (uint32_t i = 1; i < count; ++i) {
        for (uint32_t j = i; j > 0; --j) {
            const DngPoint &a = position[j - 1], &b = position[j];
            if (a.v < b.v || (a.v == b.v && a.h <= b.h)) break;
            std::swap(position[j - 1], position[j]);
            std::swap(weight32[j - 1], weight32[j]);
        }
    }
    if (count == 0) {
        position[0] = {};
        weight32[0] = 1;
        count = 1;
    }

    int32_t rest = 256;
    for (uint32_t tap = 0; tap < count; ++tap) {
        offset[tap] = position[tap].v * rowStep + position[tap].h * columnStep;
        weight16[tap] = static_cast<uint16_t>(std::floor(weight32[tap] * 256 + 0.5F));
        rest -= weight16[tap];
    }
    uint16_t &largest = *std::max_element(weight16, weight16 + count);
    largest = static_cast<uint16_t>(largest + rest);
    for (uint32_t tap = 0; tap < count; ++tap) weight32[tap] = static_cast<float>(weight16[tap]) * 0.00390625F;
}

namespace {

// Where the colour of a plane lies on the grid of the output, which wraps.
class ColourGrid {
  public:
    ColourGrid(const VorelDngMosaicInfo &mosaic, uint8_t colour, int32_t rows, int32_t columns)
        : rows_(rows), columns_(columns) {
        const DngPoint scale = mosaic.getFullScale();
        for (int32_t row = 0; row < rows; ++row) {
            const uint8_t *filters = mosaic.cfaPattern[row / scale.v % mosaic.cfaRows];
            for (int32_t column = 0; column < columns; ++column) {
                cells_[row][column] =
                    holds_sample(mosaic.layout, row, column) && filters[column / scale.h % mosaic.cfaColumns] == colour;
            }
        }
    }

    bool at(int32_t row, int32_t column) const { return cells_[wrapped(row, rows_)][wrapped(column, columns_)]; }
    bool row_has(int32_t row) const {
        return any(columns_, [&](int32_t column) { return at(row, column); });
    }
    bool column_has(int32_t column) const {
        return any(rows_, [&](int32_t row) { return at(row, column); });
    }
    int32_t rows() const { return rows_; }
    int32_t columns() const { return columns_; }

  private:
    static int32_t wrapped(int32_t i, int32_t count) { return (i % count + count) % count; }

    // DNG, CFALayout: in 2 and 3 every second column lies half a row below, or above, its neighbours; in 4 and 5 every
    // second row half a column to the right, or to the left. The even ones of the text are the second, the fourth and
    // so on. "Above" is the same as the other columns below, but for the place of the whole.
    static bool holds_sample(uint32_t layout, int32_t row, int32_t column) {
        const bool alike = (row & 1) == (column & 1);
        return layout == 2 || layout == 4 ? alike : layout == 3 || layout == 5 ? !alike : true;
    }

    template <typename Test>
    static bool any(int32_t count, Test test) {
        for (int32_t i = 0; i < count; ++i) {
            if (test(i)) return true;
        }
        return false;
    }

    int32_t rows_, columns_;
    bool cells_[VorelDngBilinearPattern::kMostSites][VorelDngBilinearPattern::kMostSites] = {};
};

// The nearest places before and behind a site that pass a test, and how much each weighs: by the distance to the other
// one. A place at the site itself is alone.
struct Nearest {
    int32_t count = 0;
    int32_t delta[2] = {};
    float weight[2] = {};
};
template <typename Test>
Nearest nearest(int32_t most, Test test) {
    int32_t before = 0, behind = 0;
    while (before < most && !test(-before)) ++before;
    if (before == most) return {};
    if (before == 0) return {1, {0, 0}, {1, 0}};
    while (!test(behind)) ++behind;
    const float both = static_cast<float>(before + behind);
    return {2, {-before, behind}, {static_cast<float>(behind) / both, static_cast<float>(before) / both}};
}

// For patterns where a colour lies farther away: half of the nearest rows that have it, half of the nearest columns.
void add_distant(const ColourGrid &grid, int32_t row, int32_t column, VorelDngBilinearKernel &kernel) {
    const Nearest rows = nearest(grid.rows(), [&](int32_t delta) { return grid.row_has(row + delta); });
    for (int32_t i = 0; i < rows.count; ++i) {
        const Nearest sites =
            nearest(grid.columns(), [&](int32_t delta) { return grid.at(row + rows.delta[i], column + delta); });
        for (int32_t j = 0; j < sites.count; ++j) {
            kernel.Add({rows.delta[i], sites.delta[j]}, 0.5F * rows.weight[i] * sites.weight[j]);
        }
    }
    const Nearest columns = nearest(grid.columns(), [&](int32_t delta) { return grid.column_has(column + delta); });
    for (int32_t i = 0; i < columns.count; ++i) {
        const Nearest sites =
            nearest(grid.rows(), [&](int32_t delta) { return grid.at(row + delta, column + columns.delta[i]); });
        for (int32_t j = 0; j < sites.count; ++j) {
            kernel.Add({sites.delta[j], columns.delta[i]}, 0.5F * columns.weight[i] * sites.weight[j]);
        }
    }
}

struct Tap {
    DngPoint position;
    float weight;
};
constexpr DngPoint kUp = {-1, 0}, kDown = {1, 0}, kLeft = {0, -1}, kRight = {0, 1};
constexpr DngPoint kUpLeft = {-1, -1}, kUpRight = {-1, 1}, kDownLeft = {1, -1}, kDownRight = {1, 1};
// The first case is taken whose first `needed` neighbours have the colour. Required: of the cross, the right one is not
// looked at.
constexpr struct {
    uint32_t needed, count;
    Tap taps[4];
} kCases[] = {
    {1, 1, {{{0, 0}, 1}}},
    {3, 4, {{kUp, 0.25F}, {kDown, 0.25F}, {kLeft, 0.25F}, {kRight, 0.25F}}},
    {2, 2, {{kUp, 0.5F}, {kDown, 0.5F}}},
    {2, 2, {{kLeft, 0.5F}, {kRight, 0.5F}}},
    {3, 3, {{kDownLeft, 0.25F}, {kDownRight, 0.25F}, {kUp, 0.5F}}},
    {3, 3, {{kUpLeft, 0.25F}, {kUpRight, 0.25F}, {kDown, 0.5F}}},
    {3, 3, {{kUpLeft, 0.25F}, {kDownLeft, 0.25F}, {kRight, 0.5F}}},
    {3, 3, {{kUpRight, 0.25F}, {kDownRight, 0.25F}, {kLeft, 0.5F}}},
    {4, 4, {{kUpLeft, 0.25F}, {kUpRight, 0.25F}, {kDownLeft, 0.25F}, {kDownRight, 0.25F}}},
};

void make_kernel(const ColourGrid &grid, int32_t row, int32_t column, VorelDngBilinearKernel &kernel) {
    for (const auto &known : kCases) {
        const bool fits = std::all_of(known.taps, known.taps + known.needed, [&](const Tap &tap) {
            return grid.at(row + tap.position.v, column + tap.position.h);
        });
        if (!fits) continue;
        for (uint32_t i = 0; i < known.count; ++i) kernel.Add(known.taps[i].position, known.taps[i].weight);
        return;
    }
    add_distant(grid, row, column, kernel);
}

}  // namespace

void VorelDngBilinearPattern::calculate(const VorelDngMosaicInfo &mosaic, uint32_t plane, int32_t rowStep,
                                        int32_t columnStep) {
    scale = mosaic.getFullScale();
    const int32_t repeat = mosaic.layout > 5 ? 2 : 1;
    const int32_t rows = mosaic.cfaRows * scale.v * repeat, columns = mosaic.cfaColumns * scale.h * repeat;
    patternRows = static_cast<uint32_t>(rows);
    patternColumns = static_cast<uint32_t>(columns);
    const ColourGrid grid(mosaic, mosaic.planeColor[plane], rows, columns);
    reachUp = reachDown = reachLeft = reachRight = 0;
    for (int32_t row = 0; row < rows; ++row) {
        for (int32_t column = 0; column < columns; ++column) {
            VorelDngBilinearKernel &site = kernel[row][column];
            site = {};
            make_kernel(grid, row, column, site);
            site.Finalize(scale, static_cast<uint32_t>(row), static_cast<uint32_t>(column), rowStep, columnStep);
            counts[row][column] = site.count;
            offsets[row][column] = site.offset;
            weights16[row][column] = site.weight16;
            weights32[row][column] = site.weight32;
            for (uint32_t tap = 0; tap < site.count; ++tap) {
                reachUp = std::max(reachUp, -site.position[tap].v);
                reachDown = std::max(reachDown, site.position[tap].v);
                reachLeft = std::max(reachLeft, -site.position[tap].h);
                reachRight = std::max(reachRight, site.position[tap].h);
            }
        }
    }
}
