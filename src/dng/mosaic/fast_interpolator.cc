#include "dng/mosaic/fast_interpolator.h"

#include <algorithm>
#include <type_traits>

#include "dng/base/quadrants.h"

using vorel::DngPoint;
using vorel::DngRect;

namespace {

struct FastWork {
    VorelDngFastInterpolator &interpolator;
    const VorelDngImage &src;
    VorelDngImage &dst;
};

void fastInterpolateTask(FastWork &work, const DngRect &rect) {
    const DngRect &bounds = work.dst.getBounds();
    work.interpolator.interpolate(
        work.src, work.dst,
        {rect.top - bounds.top, rect.left - bounds.left, rect.bottom - bounds.top, rect.right - bounds.left});
}

// Starts and sizes of blocks are even: the phase of a Bayer pattern is the same in all of them.
int32_t even(double value) { return static_cast<int32_t>(value) & ~1; }

int32_t wrapped(int32_t i, int32_t count) { return (i % count + count) % count; }

}  // namespace

VorelDngFastInterpolator::VorelDngFastInterpolator(const VorelDngMosaicInfo &mosaic, const DngPoint &, uint32_t plane)
    : mosaic_(mosaic), plane_(plane) {
    for (int32_t row = 0; row < VorelDngMosaicInfo::kMostCells; ++row) {
        for (int32_t column = 0; column < VorelDngMosaicInfo::kMostCells; ++column) {
            const uint8_t *const end = mosaic.planeColor + std::min(mosaic.colorPlanes, vorel::kMaxDngPlanes);
            const uint8_t *const found = std::find(mosaic.planeColor, end, mosaic.cfaPattern[row][column]);
            filterPlane_[row][column] = found == end ? kNoPlane : static_cast<uint32_t>(found - mosaic.planeColor);
        }
    }
}

void VorelDngFastInterpolator::interpolate(const VorelDngImage &src, VorelDngImage &dst) {
    FastWork work = {*this, src, dst};
    vorel::run_quadrants(dst.getBounds(), fastInterpolateTask, work);
}

void VorelDngFastInterpolator::interpolate(const VorelDngImage &src, VorelDngImage &dst, const DngRect &area) {
    if (!mosaic_.hasPattern() || plane_ >= src.planes() || src.getPixelType() != dst.getPixelType()) return;
    const DngPoint size = dst.getBounds().size();
    const DngRect rect = vorel::intersection(area, {0, 0, size.v, size.h});
    if (src.isFloat()) {
        make_rows<float, double>(src, dst, rect);
    } else if (src.getPixelType() == kPixelShort) {
        make_rows<uint16_t, uint64_t>(src, dst, rect);
    }
}

template <typename Sample, typename Sum>
void VorelDngFastInterpolator::make_rows(const VorelDngImage &src, VorelDngImage &dst, const DngRect &area) const {
    const DngRect &from = src.getBounds(), &to = dst.getBounds();
    const DngPoint size = from.size();
    const double row_ratio = static_cast<double>(size.v) / to.size().v;
    const double column_ratio = static_cast<double>(size.h) / to.size().h;
    const int32_t block_rows = even(row_ratio), block_columns = even(column_ratio);
    for (int32_t row = area.top; row < area.bottom; ++row) {
        const int32_t top = even(row_ratio * row), bottom = std::min(top + block_rows, size.v);
        for (int32_t column = area.left; column < area.right; ++column) {
            const int32_t left = even(column_ratio * column), right = std::min(left + block_columns, size.h);
            Sum sums[kNoPlane + 1] = {};
            uint32_t counts[kNoPlane + 1] = {};
            for (int32_t y = from.top + top; y < from.top + bottom; ++y) {
                const uint32_t *const planes = filterPlane_[wrapped(y, mosaic_.cfaRows)];
                for (int32_t x = from.left + left; x < from.left + right; ++x) {
                    const uint32_t plane = planes[wrapped(x, mosaic_.cfaColumns)];
                    sums[plane] += *src.at<Sample>(y, x, plane_);
                    ++counts[plane];
                }
            }
            for (uint32_t plane = 0; plane < std::min(dst.planes(), kNoPlane); ++plane) {
                Sample &out = *dst.at<Sample>(to.top + row, to.left + column, plane);
                const uint32_t count = counts[plane];
                if constexpr (std::is_integral_v<Sample>) {
                    out = count ? static_cast<Sample>((sums[plane] + count / 2) / count) : Sample{0};
                } else {
                    out = count ? static_cast<Sample>(sums[plane] / count) : Sample{0};
                }
            }
        }
    }
}
