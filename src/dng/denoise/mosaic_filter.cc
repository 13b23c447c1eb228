#include "dng/denoise/mosaic_filter.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "dng/denoise/noise_reduction.h"

namespace {

constexpr int32_t kWindow = 11;  // rows and columns
constexpr int32_t kRanks = 3;    // the largest, and the smallest, that make a limit
constexpr double kShortRange = 65535;

}  // namespace

int32_t VorelDngNoiseReduction::getNeighborPixels(const uint16_t *source, double *dest, int32_t r, int32_t c,
                                                  int32_t height, int32_t width, int32_t window) {
    const int32_t reach = window / 2;
    const bool odd = (r + c) % 2 != 0;
    int32_t count = 0;
    for (int32_t row = std::max(r - reach, 0); row <= std::min(r + reach, height - 1); ++row) {
        for (int32_t column = std::max(c - reach, 0); column <= std::min(c + reach, width - 1); ++column) {
            if (row == r && column == c) continue;
            const bool same = odd ? (row + column) % 2 != 0 : (row - r) % 2 == 0 && (column - c) % 2 == 0;
            if (same) dest[count++] = source[ptrdiff_t{row} * width + column] / kShortRange;
        }
    }
    return count;
}

// Between the means of the smallest and of the largest neighbours; those are sorted here.
double VorelDngNoiseReduction::clipped(double *neighbours, int32_t count, double centre) const {
    if (count == 0) return centre;
    std::sort(neighbours, neighbours + count, std::greater<>());
    const int32_t ranks = std::min(count, kRanks);
    double high = 0, low = 0;
    for (int32_t i = 0; i < ranks; ++i) {
        high += neighbours[i];
        low += neighbours[count - 1 - i];
    }
    high = high / ranks + high_offset_;
    low = low / ranks + low_offset_;
    return std::max(std::min(centre, high), low);
}

// The mean of the neighbours, drawn to the centre by how far they are from it. tolerance is the difference from which
// on a neighbour does not count: half the one of the sample before it, half its own.
double VorelDngNoiseReduction::weighted(const double *neighbours, int32_t count, double centre, double &tolerance,
                                        bool &known) {
    if (count == 0) return centre;
    double least = 1, most = 0;
    for (int32_t i = 0; i < count; ++i) {
        const double difference = std::fabs(neighbours[i] - centre);
        least = std::min(least, difference);
        most = std::max(most, difference);
    }
    const double own = least + VorelDngHVScurve(0.3, 0.7, 0.5).evaluate(centre) * (most - least);
    tolerance = known ? (tolerance + own) * 0.5 : own;
    known = true;
    const VorelDngNLWeightCurve curve(least, tolerance);
    double sum = 0;
    for (int32_t i = 0; i < count; ++i) {
        const double weight = curve.evaluate(std::fabs(neighbours[i] - centre));
        sum += (1 - weight) * centre + weight * neighbours[i];
    }
    return sum / count;
}

void VorelDngNoiseReduction::doNoiseReduction(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                              VorelDngImage &dst, const vorel::DngRect &rect) {
    const vorel::DngRect &bounds = src.getBounds();
    const vorel::DngRect area = vorel::intersection(vorel::intersection(rect, bounds), dst.getBounds());
    if (area.empty() || src.getPixelType() != kPixelShort || dst.getPixelType() != kPixelShort ||
        src.planes() != dst.planes()) {
        return;
    }
    const int32_t width = bounds.size().h, height = bounds.size().v;
    std::vector<uint16_t> plane(size_t{bounds.width()} * bounds.height());
    double neighbours[kWindow * kWindow];
    for (uint32_t of = 0; of < src.planes(); ++of) {
        for (int32_t row = 0; row < height; ++row) {
            for (int32_t column = 0; column < width; ++column) {
                plane[static_cast<size_t>(row) * bounds.width() + static_cast<size_t>(column)] =
                    *src.at<uint16_t>(bounds.top + row, bounds.left + column, of);
            }
        }
        Tolerance tolerance;
        for (int32_t row = area.top; row < area.bottom; ++row) {
            if (decoder.cancelled()) return;
            for (int32_t column = area.left; column < area.right; ++column) {
                const int32_t r = row - bounds.top, c = column - bounds.left;
                const int32_t count = getNeighborPixels(plane.data(), neighbours, r, c, height, width, kWindow);
                const double centre = *src.at<uint16_t>(row, column, of) / kShortRange;
                const int parity = (r + c) % 2;
                const double v =
                    rank_clip_ ? clipped(neighbours, count, centre)
                               : weighted(neighbours, count, centre, tolerance.values[parity], tolerance.known[parity]);
                *dst.at<uint16_t>(row, column, of) = v < 0 ? 0
                                                     : v >= 1
                                                         ? 65535
                                                         : static_cast<uint16_t>(std::floor(0.5 + v * kShortRange));
            }
        }
    }
}

void VorelDngNoiseReduction::doNoiseReduction(vorel::DevelopContext &decoder, const VorelDngImage &src,
                                              VorelDngImage &dst) {
    doNoiseReduction(decoder, src, dst, src.getBounds());
}

void VorelDngNoiseReduction::doNoiseReduction(vorel::DevelopContext &decoder, VorelDngImage &image) {
    if (image.getPixelType() != kPixelShort) return;
    const std::unique_ptr<VorelDngImage> filtered(
        decoder.makeDngImage(image.getBounds(), image.planes(), image.getPixelType()));
    doNoiseReduction(decoder, image, *filtered);
    if (!decoder.cancelled()) image.swap(*filtered);
}
