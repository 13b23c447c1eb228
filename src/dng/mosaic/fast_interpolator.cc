#include "dng/mosaic/fast_interpolator.h"

#include <algorithm>
#include <type_traits>
#include <vector>

#include "dng/base/quadrants.h"
#include "dng/mosaic/kernels/kernels.h"

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

// Means of up to 2^15 samples of 16 bits, halves rounded up, without a division. With 2^bits >= count, sums and the
// half are below count * 2^16 <= 2^(16 + bits); the multiplier is too large by less than count / count, which all in
// all makes less than 1 / count for a sum, and the product is below 2^63.
class Mean {
  public:
    static constexpr uint32_t kMostSamples = 1 << 15;

    explicit Mean(uint32_t count) : half_(count / 2) {
        if (count == 0) return;
        uint32_t bits = 0;
        while ((1U << bits) < count) ++bits;
        shift_ = 16 + 2 * bits;
        multiplier_ = ((uint64_t{1} << shift_) + count - 1) / count;
    }
    uint16_t of(uint32_t sum) const { return static_cast<uint16_t>(((uint64_t{sum} + half_) * multiplier_) >> shift_); }

  private:
    uint32_t half_, shift_ = 0;
    uint64_t multiplier_ = 0;
};

// The cells of the pattern that one plane of the output has, at most two, and the mean of a block of them.
struct PlaneCells {
    uint32_t count;
    struct {
        int32_t row, column;
    } cells[2];
    Mean mean;
};

// One plane of a row of the output, from the pattern's two rows: of samples, or of their sums over the block's rows.
template <bool kTwoCells, bool kOnePair, typename Value>
void mean_row(const Value *const rows[2], const std::vector<int32_t> &lefts, int32_t pairs, const PlaneCells &plane,
              uint16_t *dst, uint32_t dst_step) {
    const Value *const first = rows[plane.cells[0].row] + plane.cells[0].column;
    const Value *const second = rows[plane.cells[1].row] + plane.cells[1].column;
    const Mean mean = plane.mean;
    for (const int32_t left : lefts) {
        uint32_t sum = first[left] + (kTwoCells ? second[left] : 0);
        for (int32_t x = 1; !kOnePair && x < pairs; ++x) {
            sum += first[left + 2 * x] + (kTwoCells ? second[left + 2 * x] : 0);
        }
        *dst = kOnePair && sizeof(Value) == 2 ? static_cast<uint16_t>(kTwoCells ? (sum + 1) >> 1 : sum) : mean.of(sum);
        dst += dst_step;
    }
}

template <typename Value>
void mean_rows(const Value *const rows[2], const std::vector<int32_t> &lefts, int32_t pairs,
               const std::vector<PlaneCells> &planes, uint16_t *dst) {
    const uint32_t step = static_cast<uint32_t>(planes.size());
    for (const PlaneCells &plane : planes) {
        const bool two = plane.count == 2;
        const auto make = pairs == 1 ? (two ? mean_row<true, true, Value> : mean_row<false, true, Value>)
                                     : (two ? mean_row<true, false, Value> : mean_row<false, false, Value>);
        if (plane.count > 0) {
            make(rows, lefts, pairs, plane, dst, step);
        } else {
            for (size_t i = 0; i < lefts.size(); ++i) dst[i * step] = 0;
        }
        ++dst;
    }
}

}  // namespace

struct VorelDngFastInterpolator::Blocks {
    Blocks(const DngPoint &from, const DngPoint &to, const DngRect &all)
        : size(from),
          row_ratio(static_cast<double>(from.v) / to.v),
          column_ratio(static_cast<double>(from.h) / to.h),
          rows(even(row_ratio)),
          columns(even(column_ratio)),
          area(all) {}
    int32_t top(int32_t row) const { return even(row_ratio * row); }
    int32_t left(int32_t column) const { return even(column_ratio * column); }

    DngPoint size;  // of the source
    double row_ratio, column_ratio;
    int32_t rows, columns;
    DngRect area;
};

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
    const DngRect all = vorel::intersection(area, {0, 0, size.v, size.h});
    if (all.empty()) return;
    const Blocks blocks(src.getBounds().size(), size, all);
    if (src.isFloat()) {
        make_rows<float, double>(src, dst, blocks);
    } else if (src.getPixelType() == kPixelShort) {
        fitsCells(src, blocks) ? make_rows_of_cells(src, dst, blocks) : make_rows<uint16_t, uint64_t>(src, dst, blocks);
    }
}

template <typename Sample, typename Sum>
void VorelDngFastInterpolator::make_rows(const VorelDngImage &src, VorelDngImage &dst, const Blocks &blocks) const {
    const DngRect &from = src.getBounds(), &to = dst.getBounds();
    for (int32_t row = blocks.area.top; row < blocks.area.bottom; ++row) {
        const int32_t top = blocks.top(row), bottom = std::min(top + blocks.rows, blocks.size.v);
        for (int32_t column = blocks.area.left; column < blocks.area.right; ++column) {
            const int32_t left = blocks.left(column), right = std::min(left + blocks.columns, blocks.size.h);
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

bool VorelDngFastInterpolator::fitsCells(const VorelDngImage &src, const Blocks &blocks) const {
    if (mosaic_.cfaRows != 2 || mosaic_.cfaColumns != 2 || src.planes() != 1) return false;
    if (blocks.rows < 2 || blocks.columns < 2) return false;
    if (int64_t{blocks.rows} * blocks.columns / 2 > Mean::kMostSamples) return false;
    int32_t cells[kNoPlane + 1] = {};
    for (int32_t cell = 0; cell < 4; ++cell) ++cells[filterPlane_[cell / 2][cell % 2]];
    if (*std::max_element(cells, cells + kNoPlane) > 2) return false;
    // Rounding of ratios alone could bring the last blocks here.
    return blocks.top(blocks.area.bottom - 1) + blocks.rows <= blocks.size.v &&
           blocks.left(blocks.area.right - 1) + blocks.columns <= blocks.size.h;
}

void VorelDngFastInterpolator::make_rows_of_cells(const VorelDngImage &src, VorelDngImage &dst,
                                                  const Blocks &blocks) const {
    const DngRect &from = src.getBounds(), &to = dst.getBounds(), &area = blocks.area;
    std::vector<PlaneCells> planes;
    for (uint32_t plane = 0; plane < dst.planes(); ++plane) {
        PlaneCells found = {0, {}, Mean(0)};
        for (int32_t cell = 0; cell < 4; ++cell) {
            const int32_t row = cell / 2, column = cell % 2;
            if (filterPlane_[wrapped(from.top + row, 2)][wrapped(from.left + column, 2)] != plane) continue;
            found.cells[found.count++] = {row, column};
        }
        found.mean = Mean(found.count * static_cast<uint32_t>(blocks.rows / 2 * (blocks.columns / 2)));
        planes.push_back(found);
    }
    std::vector<int32_t> lefts(area.width());
    for (int32_t column = area.left; column < area.right; ++column) {
        lefts[static_cast<size_t>(column - area.left)] = blocks.left(column) - blocks.left(area.left);
    }
    const int32_t pairs = blocks.columns / 2;
    const uint32_t samples = static_cast<uint32_t>(lefts.back() + blocks.columns);
    std::vector<uint32_t> sums(blocks.rows > 2 ? size_t{2} * samples : 0);
    const vorel::MosaicKernels &kernels = vorel::mosaic_kernels();
    for (int32_t row = area.top; row < area.bottom; ++row) {
        uint16_t *const out = dst.at<uint16_t>(to.top + row, to.left + area.left);
        const uint16_t *const first = src.at<uint16_t>(from.top + blocks.top(row), from.left + blocks.left(area.left));
        const ptrdiff_t step = src.buffer().rowStep;
        if (blocks.rows == 2) {
            const uint16_t *const rows[2] = {first, first + step};
            mean_rows(rows, lefts, pairs, planes, out);
            continue;
        }
        for (int32_t y = 0; y < blocks.rows; ++y) {
            uint32_t *const into = sums.data() + (y % 2 ? samples : 0);
            (y < 2 ? kernels.set_sums : kernels.add_sums)(first + y * step, samples, into);
        }
        const uint32_t *const rows[2] = {sums.data(), sums.data() + samples};
        mean_rows(rows, lefts, pairs, planes, out);
    }
}
