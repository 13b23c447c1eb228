// Points, rectangles and rationals of the raw developer. Rows before columns everywhere.
#pragma once

#include <algorithm>
#include <cstdint>

namespace vorel {

struct DngPoint {
    int32_t v = 0, h = 0;
    bool operator==(const DngPoint &) const = default;
};

// Half open: bottom and right are outside.
struct DngRect {
    int32_t top = 0, left = 0, bottom = 0, right = 0;
    bool operator==(const DngRect &) const = default;

    bool empty() const { return top >= bottom || left >= right; }
    // 0 for an empty rectangle; two far edges may be more than 2^31 apart.
    uint32_t height() const { return empty() ? 0 : static_cast<uint32_t>(bottom) - static_cast<uint32_t>(top); }
    uint32_t width() const { return empty() ? 0 : static_cast<uint32_t>(right) - static_cast<uint32_t>(left); }
    DngPoint size() const { return {static_cast<int32_t>(height()), static_cast<int32_t>(width())}; }
    bool contains(int32_t row, int32_t column) const {
        return row >= top && row < bottom && column >= left && column < right;
    }
};

// Empty, {0, 0, 0, 0}, when they do not meet.
inline DngRect intersection(const DngRect &a, const DngRect &b) {
    const DngRect both = {std::max(a.top, b.top), std::max(a.left, b.left), std::min(a.bottom, b.bottom),
                          std::min(a.right, b.right)};
    return both.empty() ? DngRect{} : both;
}

// TIFF 6.0 RATIONAL and SRATIONAL. A denominator of 0 stands for the value 0.
struct DngURational {
    uint32_t n = 0, d = 0;
    double value() const { return d ? static_cast<double>(n) / d : 0; }
    bool operator==(const DngURational &) const = default;
};
struct DngSRational {
    int32_t n = 0, d = 0;
    double value() const { return d ? static_cast<double>(n) / d : 0; }
    bool operator==(const DngSRational &) const = default;
};

}  // namespace vorel
