#include "dng/mosaic/bilinear.h"

#include <algorithm>

#include "dng/base/quadrants.h"
#include "dng/mosaic/bilinear_row.h"
#include "dng/mosaic/kernels/kernels.h"

using vorel::DngPoint;
using vorel::DngRect;

namespace {

// A tap beyond the image is mirrored about its site; where there is no such sample either, the nearest is taken.
int32_t inside(int32_t site, int32_t delta, int32_t count) {
    const int32_t at = site + delta;
    if (at >= 0 && at < count) return at;
    return std::clamp(site - delta, 0, count - 1);
}

// One plane of one row of the output.
template <typename Sample>
class PlaneRow {
  public:
    // row: of the output; pattern_row is its row of the pattern.
    PlaneRow(const VorelDngBilinearPattern &pattern, const VorelDngImage &src, uint32_t src_plane, int32_t row,
             uint32_t pattern_row)
        : pattern_(pattern),
          src_(src),
          plane_(src_plane),
          row_(row >> (pattern.scale.v - 1)),
          pattern_row_(pattern_row),
          shift_(static_cast<uint32_t>(pattern.scale.h - 1)) {}

    // Output columns [left, right) into dst, dst_step samples apart. left_phase: of the pattern at output column 0.
    void make(int32_t left, int32_t right, uint32_t left_phase, Sample *dst, uint32_t dst_step) const {
        const int32_t rows = src_.getBounds().size().v, columns = src_.getBounds().size().h;
        int32_t first = left, last = left;  // away from the edges
        if (row_ >= pattern_.reachUp && row_ < rows - pattern_.reachDown &&
            pattern_.reachLeft + pattern_.reachRight < columns) {
            first = std::clamp(pattern_.reachLeft << shift_, left, right);
            last = std::clamp((columns - pattern_.reachRight) << shift_, first, right);
        }
        const auto out = [&](int32_t column) { return dst + static_cast<size_t>(column - left) * dst_step; };
        for (int32_t column = left; column < first; ++column) *out(column) = edge(column, left_phase);
        if (first < last) {
            const vorel::KernelRow<Sample> kernels = {pattern_.patternColumns, pattern_.counts[pattern_row_],
                                                      pattern_.offsets[pattern_row_], weights()};
            vorel::bilinear_row(kernels, phase(first, left_phase), sample(row_, first >> shift_), src_.buffer().colStep,
                                shift_, static_cast<uint32_t>(first) & ((1U << shift_) - 1), out(first), dst_step,
                                static_cast<uint32_t>(last - first));
        }
        for (int32_t column = last; column < right; ++column) *out(column) = edge(column, left_phase);
    }

  private:
    const Sample *sample(int32_t row, int32_t column) const {
        const DngRect &bounds = src_.getBounds();
        return src_.at<Sample>(bounds.top + row, bounds.left + column, plane_);
    }
    uint32_t phase(int32_t column, uint32_t left_phase) const {
        return (static_cast<uint32_t>(column) + left_phase) % pattern_.patternColumns;
    }
    auto weights() const {
        if constexpr (vorel::TapSum<Sample>::kFixed) {
            return pattern_.weights16[pattern_row_];
        } else {
            return pattern_.weights32[pattern_row_];
        }
    }

    Sample edge(int32_t column, uint32_t left_phase) const {
        const DngPoint size = src_.getBounds().size();
        const uint32_t pattern_column = phase(column, left_phase);
        const VorelDngBilinearKernel &kernel = pattern_.kernel[pattern_row_][pattern_column];
        vorel::TapSum<Sample> sum;
        for (uint32_t tap = 0; tap < kernel.count; ++tap) {
            const DngPoint &delta = kernel.position[tap];
            sum.add(weights()[pattern_column][tap],
                    *sample(inside(row_, delta.v, size.v), inside(column >> shift_, delta.h, size.h)));
        }
        return sum.result();
    }

    const VorelDngBilinearPattern &pattern_;
    const VorelDngImage &src_;
    uint32_t plane_;
    int32_t row_;  // of the source, from its first
    uint32_t pattern_row_, shift_;
};

struct InterpolateWork {
    VorelDngBilinearInterpolator &interpolator;
    vorel::DevelopContext &decoder;
    const VorelDngImage &src;
    VorelDngImage &dst;
    uint32_t plane;
    DngPoint scale;
};

void interpolateTask(InterpolateWork &work, const DngRect &rect) {
    const DngPoint scale = work.scale;
    const DngRect &bounds = work.src.getBounds();
    const DngRect area = {(rect.top - bounds.top) * scale.v, (rect.left - bounds.left) * scale.h,
                          (rect.bottom - bounds.top) * scale.v, (rect.right - bounds.left) * scale.h};
    work.interpolator.interpolate(work.decoder, work.src, work.dst, area, work.plane);
}

// The place in the pattern of an image's first output row or column. Images that were trimmed keep their numbers.
uint32_t first_phase(int32_t origin, int32_t scale, uint32_t sites) {
    const int64_t count = sites;
    return static_cast<uint32_t>((int64_t{origin} * scale % count + count) % count);
}

}  // namespace

VorelDngBilinearInterpolator::VorelDngBilinearInterpolator(const VorelDngMosaicInfo &mosaic, int32_t rowStep,
                                                           int32_t columnStep)
    : fPlanes(mosaic.hasPattern() ? std::min(mosaic.colorPlanes, vorel::kMaxDngPlanes) : 0) {
    for (uint32_t plane = 0; plane < fPlanes; ++plane) {
        fPattern[plane].calculate(mosaic, plane, rowStep, columnStep);
    }
    const uint8_t *const colours = mosaic.planeColor;
    const bool distinct = colours[0] != colours[1] && colours[1] != colours[2] && colours[0] != colours[2];
    if (fPlanes != 3 || !distinct || mosaic.cfaRows != 2 || mosaic.cfaColumns != 2) return;
    if (mosaic.getFullScale() != DngPoint{1, 1}) return;
    // In either row the place of the other colour, which is across from that of the other row.
    const auto &cells = mosaic.cfaPattern;
    fBayer.greenFirst = cells[0][0] == colours[1];
    const uint8_t green = cells[1][fBayer.greenFirst], first = cells[0][fBayer.greenFirst],
                  second = cells[1][!fBayer.greenFirst];
    fBayer.plane = first == colours[0] ? 0 : 2;
    fBayer.is = cells[0][!fBayer.greenFirst] == colours[1] && green == colours[1] && first == colours[fBayer.plane] &&
                second == colours[2 - fBayer.plane];
}

bool VorelDngBilinearInterpolator::isBayer(const VorelDngImage &src, const VorelDngImage &dst) const {
    const DngPoint size = src.getBounds().size();
    return fBayer.is && !src.isFloat() && src.planes() == 1 && dst.planes() == 3 && size.v > 1 && size.h > 2;
}

template <typename Sample>
void VorelDngBilinearInterpolator::make_row(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane, int32_t row,
                                            int32_t left, int32_t right) const {
    if (left >= right) return;
    const DngRect &from = src.getBounds(), &to = dst.getBounds();
    for (uint32_t i = 0; i < std::min(fPlanes, dst.planes()); ++i) {
        const VorelDngBilinearPattern &pattern = fPattern[i];
        const uint32_t top = first_phase(from.top, pattern.scale.v, pattern.patternRows);
        PlaneRow<Sample>(pattern, src, plane, row, (top + static_cast<uint32_t>(row)) % pattern.patternRows)
            .make(left, right, first_phase(from.left, pattern.scale.h, pattern.patternColumns),
                  dst.at<Sample>(to.top + row, to.left + left, i), dst.planes());
    }
}

void VorelDngBilinearInterpolator::make_bayer_row(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane,
                                                  int32_t row, int32_t left, int32_t right) const {
    const DngRect &from = src.getBounds(), &to = dst.getBounds();
    const int32_t rows = from.size().v;
    const int32_t first = std::max(left, 1), last = std::max(std::min(right, from.size().h - 1), first);
    const auto sample = [&](int32_t at) { return src.at<uint16_t>(from.top + at, from.left + first); };
    const bool second_row = first_phase(from.top + row, 1, 2), second_column = first_phase(from.left + first, 1, 2);
    make_row<uint16_t>(src, dst, plane, row, left, std::min(first, right));
    if (first < last) {
        vorel::mosaic_kernels().bayer_row(
            {sample(row > 0 ? row - 1 : 1), sample(row), sample(row < rows - 1 ? row + 1 : row - 1),
             static_cast<uint32_t>(last - first), fBayer.greenFirst == (second_row == second_column),
             second_row ? 2 - fBayer.plane : fBayer.plane, dst.at<uint16_t>(to.top + row, to.left + first)});
    }
    make_row<uint16_t>(src, dst, plane, row, std::max(last, left), right);
}

void VorelDngBilinearInterpolator::interpolate(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                               VorelDngImage &dst, uint32_t plane) {
    InterpolateWork work = {*this, decoder, src, dst, plane, fPattern[0].scale};
    if (fPlanes > 0) vorel::run_quadrants(src.getBounds(), interpolateTask, work);
}

void VorelDngBilinearInterpolator::interpolate(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                               VorelDngImage &dst, const DngRect &area, uint32_t plane) {
    const uint32_t type = src.getPixelType();
    if (type != dst.getPixelType() || (type != kPixelShort && type != kPixelFloat) || plane >= src.planes()) return;
    const DngPoint scale = fPattern[0].scale, from = src.getBounds().size(), to = dst.getBounds().size();
    const DngRect rect =
        vorel::intersection(area, {0, 0, std::min(to.v, from.v * scale.v), std::min(to.h, from.h * scale.h)});
    const auto make = isBayer(src, dst)     ? &VorelDngBilinearInterpolator::make_bayer_row
                      : type == kPixelShort ? &VorelDngBilinearInterpolator::make_row<uint16_t>
                                            : &VorelDngBilinearInterpolator::make_row<float>;
    for (int32_t row = rect.top; row < rect.bottom; ++row) {
        if (decoder.cancelled()) return;
        (this->*make)(src, dst, plane, row, rect.left, rect.right);
    }
}
