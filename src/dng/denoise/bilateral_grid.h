// A bilateral filter by a coarse grid over place and value: samples are summed into cells, the cells are smoothed, and
// each sample is looked up again between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorel {

class BilateralGrid {
  public:
    // For samples of minimum to maximum (less than minimum counts as it). Both sigmas above 0. Throws std::bad_alloc
    // where the grid would have more cells than kMaxGridCells.
    BilateralGrid(int32_t width, int32_t height, double minimum, double maximum, double sigma_range,
                  double sigma_spatial);

    // Puts n samples of one value into the cell of a place and of that value.
    void add(int32_t x, int32_t y, double value, double n) {
        Cell &cell = cells_[index(row_of(y), column_of(x), level_of(value))];
        cell.sum += n * value;
        cell.count += n;
    }
    // Smooths the cells; then value_at() works.
    void smooth();

    // Where the samples of rows and columns are added.
    int32_t row_of(int32_t y) const { return rounded(y); }
    int32_t column_of(int32_t x) const { return rounded(x); }

    // The smoothed values of image row y for all columns and levels of the grid.
    struct RowValues {
        std::vector<double> values;
    };
    void make_row_values(int32_t y, RowValues &row_values) const;

    // A coordinate between two indices of the grid.
    struct Place {
        int32_t lower, upper;
        double fraction;  // of the upper one
    };
    Place column_place(int32_t x) const { return place(x / sigma_spatial_ + 2, columns_); }
    Place level_place(double value) const { return place((value - minimum_) / sigma_range_ + 2, levels_); }
    double value_at(const RowValues &row_values, const Place &column, const Place &level) const {
        const double *before = &row_values.values[static_cast<size_t>(column.lower) * static_cast<size_t>(levels_)];
        const double *behind = &row_values.values[static_cast<size_t>(column.upper) * static_cast<size_t>(levels_)];
        const double low = before[level.lower] * (1 - column.fraction) + behind[level.lower] * column.fraction;
        const double high = before[level.upper] * (1 - column.fraction) + behind[level.upper] * column.fraction;
        return low * (1 - level.fraction) + high * level.fraction;
    }

  private:
    struct Cell {
        double sum = 0, count = 0;
    };
    int32_t rounded(int32_t position) const;
    int32_t level_of(double value) const;
    static Place place(double position, int32_t size);
    size_t index(int32_t row, int32_t column, int32_t level) const {
        return (static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column)) *
                   static_cast<size_t>(levels_) +
               static_cast<size_t>(level);
    }

    double minimum_, sigma_range_, sigma_spatial_;
    int32_t rows_, columns_, levels_;
    std::vector<Cell> cells_, other_;
};

}  // namespace vorel
