#include "dng/denoise/bilateral_grid.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "dng/base/limits.h"

namespace vorel {
namespace {

constexpr int32_t kMargin = 5;  // two cells at either end, and one for the part behind the last whole one

int32_t cells_for(double extent) {
    const double cells = std::floor(extent) + kMargin;
    if (!(cells <= static_cast<double>(kMaxGridCells))) throw std::bad_alloc();
    return static_cast<int32_t>(std::max(cells, double{kMargin}));
}

}  // namespace

BilateralGrid::BilateralGrid(int32_t width, int32_t height, double minimum, double maximum, double sigma_range,
                             double sigma_spatial)
    : minimum_(minimum),
      sigma_range_(sigma_range),
      sigma_spatial_(sigma_spatial),
      rows_(cells_for((height - 1) / sigma_spatial)),
      columns_(cells_for((width - 1) / sigma_spatial)),
      levels_(cells_for((maximum - minimum) / sigma_range)) {
    const double cells = static_cast<double>(rows_) * columns_ * levels_;
    if (cells > static_cast<double>(kMaxGridCells)) throw std::bad_alloc();
    cells_.resize(static_cast<size_t>(cells));
    other_.resize(static_cast<size_t>(cells));
}

int32_t BilateralGrid::rounded(int32_t position) const {
    return static_cast<int32_t>(std::floor(position / sigma_spatial_ + 0.5)) + 2;
}

int32_t BilateralGrid::level_of(double value) const {
    const double level = std::floor((value - minimum_) / sigma_range_ + 0.5) + 2;
    // Samples that are no numbers, or below the minimum, would have none.
    return level > 0 ? static_cast<int32_t>(std::min(level, levels_ - 1.0)) : 0;
}

// Sums of bytes, and quarters of sums of four: doubles hold all of them exactly, whatever the order.
void BilateralGrid::smooth() {
    const ptrdiff_t along_y = ptrdiff_t{columns_} * levels_, along_x = levels_;
    for (const ptrdiff_t step : {along_y, along_y, along_x, along_x, ptrdiff_t{1}, ptrdiff_t{1}}) {
        for (int32_t row = 1; row < rows_ - 1; ++row) {
            for (int32_t column = 1; column < columns_ - 1; ++column) {
                const Cell *from = &cells_[index(row, column, 0)];
                Cell *to = &other_[index(row, column, 0)];
                for (ptrdiff_t level = 1; level < levels_ - 1; ++level) {
                    const Cell &before = from[level - step], &here = from[level], &behind = from[level + step];
                    to[level].sum = (before.sum + 2 * here.sum + behind.sum) * 0.25;
                    to[level].count = (before.count + 2 * here.count + behind.count) * 0.25;
                }
            }
        }
        cells_.swap(other_);
    }
    for (Cell &cell : cells_) cell.sum /= cell.count == 0 ? 1 : cell.count;
}

BilateralGrid::Place BilateralGrid::place(double position, int32_t size) {
    const double floor = std::floor(position);
    Place result;
    result.lower = floor > 0 ? static_cast<int32_t>(std::min(floor, size - 1.0)) : 0;
    result.upper = std::min(result.lower + 1, size - 1);
    result.fraction = position - result.lower;
    return result;
}

void BilateralGrid::make_row_values(int32_t y, RowValues &row_values) const {
    const Place row = place(y / sigma_spatial_ + 2, rows_);
    const size_t count = static_cast<size_t>(columns_) * static_cast<size_t>(levels_);
    const Cell *before = &cells_[index(row.lower, 0, 0)], *behind = &cells_[index(row.upper, 0, 0)];
    row_values.values.resize(count);
    for (size_t i = 0; i < count; ++i) {
        row_values.values[i] = before[i].sum * (1 - row.fraction) + behind[i].sum * row.fraction;
    }
}

}  // namespace vorel
