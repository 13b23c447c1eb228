#include "dng/denoise/bilateral_filter.h"

#include <vorel/dng_samples.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "dng/denoise/bilateral_grid.h"
#include "dng/denoise/median.h"

namespace {

using Array = VorelDngImageArray;

bool are_bytes(const Array &in, const Array &out) {
    return Array::pixel_size(in.type()) == 1 && Array::pixel_size(out.type()) == 1 && in.width() == out.width() &&
           in.height() == out.height();
}

}  // namespace

void VorelDngBilateralFilter::removeSpike(const Array &in, Array &out, int32_t threshold, int32_t) {
    if (!are_bytes(in, out)) return;
    vorel::remove_spikes(in.data<uint8_t>(), in.width(), in.width(), in.height(), threshold, out.data<uint8_t>(),
                         in.width());
}

void VorelDngBilateralFilter::removeSpike(const void *src, int32_t width, int32_t height, int32_t type, void *dest,
                                          int32_t threshold, int32_t kernel) {
    const std::unique_ptr<Array> in(Array::getByteImageArray(src, width, height, type));
    Array out(width, height, Array::kByte);
    removeSpike(*in, out, threshold, kernel);
    out.convertBufferFromByte(dest, type);
}

void VorelDngBilateralFilter::medianFilter(const Array &in, Array &out, int32_t) {
    if (!are_bytes(in, out)) return;
    MedianFilterSquare5x5(in.data<uint8_t>(), in.width(), in.width(), in.height(), 1, out.data<uint8_t>(), in.width());
}

void VorelDngBilateralFilter::medianFilter(const void *src, int32_t width, int32_t height, int32_t type, void *dest,
                                           int32_t kernel) {
    const std::unique_ptr<Array> in(Array::getByteImageArray(src, width, height, type));
    Array out(width, height, Array::kByte);
    medianFilter(*in, out, kernel);
    out.convertBufferFromByte(dest, type);
}

void VorelDngBilateralFilter::bilateralFilter(Array &in, Array &out, double sigmaRange, double sigmaSpatial) {
    if (in.type() != Array::kDouble || out.type() != Array::kDouble || in.count() != out.count()) return;
    const double *from = in.data<double>();
    double *to = out.data<double>();
    if (in.count() == 0) return;
    if (!(sigmaRange > 0) || !(sigmaSpatial > 0)) {
        std::memmove(to, from, in.count() * sizeof(double));
        return;
    }
    vorel::BilateralGrid grid(in.width(), in.height(), in.getMinValue(), in.getMaxValue(), sigmaRange, sigmaSpatial);
    const auto at = [&](int32_t x, int32_t y) {
        return static_cast<size_t>(y) * static_cast<size_t>(in.width()) + static_cast<size_t>(x);
    };
    for (int32_t y = 0; y < in.height(); ++y) {
        for (int32_t x = 0; x < in.width(); ++x) grid.add(x, y, from[at(x, y)], 1);
    }
    grid.smooth();
    vorel::BilateralGrid::RowValues row_values;
    for (int32_t y = 0; y < in.height(); ++y) {
        grid.make_row_values(y, row_values);
        for (int32_t x = 0; x < in.width(); ++x) {
            to[at(x, y)] = grid.value_at(row_values, grid.column_place(x), grid.level_place(from[at(x, y)]));
        }
    }
}

void VorelDngBilateralFilter::bilateralFilter(const void *src, int32_t width, int32_t height, int32_t type, void *dest,
                                              double sigmaRange, double sigmaSpatial) {
    if (type == Array::kByte) {
        if (width < 1 || height < 1) return;
        if (dest != src) std::memcpy(dest, src, static_cast<size_t>(width) * static_cast<size_t>(height));
        vorel::smooth_bytes(static_cast<uint8_t *>(dest), width, width, height, sigmaRange, sigmaSpatial);
        return;
    }
    const std::unique_ptr<Array> plane(Array::getDoubleImageArray(src, width, height, type));
    bilateralFilter(*plane, *plane, sigmaRange, sigmaSpatial);
    plane->convertBufferFromDouble(dest, type);
}

// Bytes have 256 values: those of a block that goes into the same cells are counted first, and where a value lies
// between levels is known beforehand.
void vorel::smooth_bytes(uint8_t *plane, int32_t stride, int32_t width, int32_t height, double sigma_range,
                         double sigma_spatial) {
    if (width < 1 || height < 1 || !(sigma_range > 0) || !(sigma_spatial > 0)) return;
    const auto row_at = [&](int32_t y) { return plane + ptrdiff_t{y} * stride; };
    uint8_t least = 255, most = 0;
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t *row = row_at(y);
        for (int32_t x = 0; x < width; ++x) {
            least = std::min(least, row[x]);
            most = std::max(most, row[x]);
        }
    }
    BilateralGrid grid(width, height, least, most, sigma_range, sigma_spatial);

    for (int32_t top = 0, bottom; top < height; top = bottom) {
        for (bottom = top + 1; bottom < height && grid.row_of(bottom) == grid.row_of(top);) ++bottom;
        for (int32_t left = 0, right; left < width; left = right) {
            for (right = left + 1; right < width && grid.column_of(right) == grid.column_of(left);) ++right;
            // Neighbours are often equal, and a count cannot grow twice at a time.
            uint32_t counts[2][256] = {};
            for (int32_t y = top; y < bottom; ++y) {
                const uint8_t *row = row_at(y);
                for (int32_t x = left; x < right; ++x) ++counts[x & 1][row[x]];
            }
            for (int32_t value = least; value <= most; ++value) {
                const uint32_t n = counts[0][value] + counts[1][value];
                if (n) grid.add(left, top, value, n);
            }
        }
    }
    grid.smooth();

    BilateralGrid::Place levels[256];
    for (int32_t value = least; value <= most; ++value) levels[value] = grid.level_place(value);
    std::vector<BilateralGrid::Place> columns;
    for (int32_t x = 0; x < width; ++x) columns.push_back(grid.column_place(x));
    BilateralGrid::RowValues row_values;
    for (int32_t y = 0; y < height; ++y) {
        grid.make_row_values(y, row_values);
        uint8_t *row = row_at(y);
        for (int32_t x = 0; x < width; ++x) {
            // Within the plane's range, as all values of the grid are.
            const double value = grid.value_at(row_values, columns[static_cast<size_t>(x)], levels[row[x]]);
            row[x] = static_cast<uint8_t>(static_cast<int32_t>(value + 0.5));
        }
    }
}
