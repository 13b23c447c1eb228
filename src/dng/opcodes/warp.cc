#include "dng/opcodes/warp.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "dng/opcodes/sample_range.h"

using vorel::DngRect;
using vorel::SampleRange;

namespace {

template <size_t kCount>
bool all_finite(const double (&values)[vorel::kMaxDngPlanes][kCount], uint32_t planes) {
    for (uint32_t plane = 0; plane < planes; ++plane) {
        if (!std::all_of(values[plane], values[plane] + kCount, [](double value) { return std::isfinite(value); })) {
            return false;
        }
    }
    return true;
}

double cubic(const double (&k)[4], double x) { return k[0] + x * (k[1] + x * (k[2] + x * k[3])); }

// Centre and radius in pixels: positions are those of pixels, from the first to the last. DNG 1.4, WarpRectilinear.
struct Lens {
    Lens(const DngRect &bounds, const VorelDngWarpParams &params)
        : x(bounds.left + params.centreX * (bounds.width() - 1.0)),
          y(bounds.top + params.centreY * (bounds.height() - 1.0)) {
        const double across = std::max(x - bounds.left, bounds.right - 1 - x);
        const double down = std::max(y - bounds.top, bounds.bottom - 1 - y);
        radius = std::max(std::sqrt(across * across + down * down), 1e-9);
    }
    double x, y, radius;
};

// ratio(r2) of one plane at steps from 0 to 1, the corner farthest from the centre: the functions of the angle cost too
// much for a pixel. Between the steps it is as good as straight: they are 1 / kSteps of r2 wide, and an image's radius
// times the square of that is less than a thousandth of a pixel.
class RatioTable {
  public:
    RatioTable(const VorelDngWarpParams &params, uint32_t plane) : values_(kSteps + 2) {
        for (uint32_t i = 0; i < values_.size(); ++i) {
            values_[i] = static_cast<float>(params.ratio(plane, static_cast<double>(i) / kSteps));
        }
    }
    double at(double r2) const {
        const double place = (r2 > 0 ? (r2 < 1 ? r2 : 1) : 0) * kSteps;
        const uint32_t index = static_cast<uint32_t>(place);
        const double low = values_[index], high = values_[index + 1];
        return low + (high - low) * (place - index);
    }

  private:
    static constexpr uint32_t kSteps = 8192;
    std::vector<float> values_;
};

// Weights of the samples at -1, 0, 1 and 2 for a place between 0 and 1: cubic convolution (Keys, a = -1/2).
struct CubicWeights {
    explicit CubicWeights(float t)
        : at{((-0.5F * t + 1) * t - 0.5F) * t, (1.5F * t - 2.5F) * t * t + 1, ((-1.5F * t + 2) * t + 0.5F) * t,
             (0.5F * t - 0.5F) * t * t} {}
    float at[4];
};

// A place in the source: the first of the four samples around it, and their weights.
struct Taps {
    // A place outside of the image is the nearest inside; what is no number is the first.
    Taps(double position, int32_t begin, int32_t end)
        : Taps(position > begin ? std::min(position, end - 1.0) - begin : 0.0, begin) {}
    Taps(double from_begin, int32_t begin)
        : first(begin + static_cast<int32_t>(from_begin) - 1),
          weights(static_cast<float>(from_begin - static_cast<int32_t>(from_begin))) {}

    int32_t first;
    CubicWeights weights;
};

// kCount planes from `plane` on: first the four columns of each, then what they make.
template <uint32_t kCount, typename Sample>
void sample_planes(const VorelDngImage &src, double row, double column, uint32_t plane, Sample *out) {
    constexpr uint32_t kTaps = 4;
    const DngRect &bounds = src.getBounds();
    const Taps down(row, bounds.top, bounds.bottom), across(column, bounds.left, bounds.right);
    const Sample *rows[kTaps];
    Sample patch[kTaps][kTaps * kCount];  // samples outside of the image are the nearest inside
    const bool inside = down.first >= bounds.top && down.first + 4 <= bounds.bottom && across.first >= bounds.left &&
                        across.first + 4 <= bounds.right;
    for (int32_t i = 0; i < 4; ++i) {
        if (inside && src.planes() == kCount) {
            rows[i] = src.at<Sample>(down.first + i, across.first, plane);
            continue;
        }
        const int32_t y = std::clamp(down.first + i, bounds.top, bounds.bottom - 1);
        for (int32_t j = 0; j < 4; ++j) {
            const int32_t x = std::clamp(across.first + j, bounds.left, bounds.right - 1);
            std::copy_n(src.at<Sample>(y, x, plane), kCount, patch[i] + static_cast<uint32_t>(j) * kCount);
        }
        rows[i] = patch[i];
    }
    const float *const v = down.weights.at, *const h = across.weights.at;
    float columns[kTaps * kCount];
    for (uint32_t i = 0; i < kTaps * kCount; ++i) {
        columns[i] = v[0] * static_cast<float>(rows[0][i]) + v[1] * static_cast<float>(rows[1][i]) +
                     v[2] * static_cast<float>(rows[2][i]) + v[3] * static_cast<float>(rows[3][i]);
    }
    for (uint32_t i = 0; i < kCount; ++i) {
        out[i] = SampleRange<Sample>::clamped(h[0] * columns[i] + h[1] * columns[kCount + i] +
                                              h[2] * columns[2 * kCount + i] + h[3] * columns[3 * kCount + i]);
    }
}

// False when the develop was cancelled.
template <typename Sample>
bool warp(vorel::DevelopContext &decoder, const VorelDngWarpParams &params, const VorelDngImage &src,
          VorelDngImage &dst) {
    const DngRect &bounds = src.getBounds();
    const Lens lens(bounds, params);
    std::vector<RatioTable> ratios;
    for (uint32_t plane = 0; plane < params.planes; ++plane) ratios.emplace_back(params, plane);
    // Planes beyond those that have parameters go with the last.
    const uint32_t groups = std::min(params.planes, src.planes());
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        if (decoder.cancelled()) return false;
        const double dy = (row - lens.y) / lens.radius;
        Sample *out = dst.at<Sample>(row, bounds.left);
        for (int32_t column = bounds.left; column < bounds.right; ++column, out += src.planes()) {
            const double dx = (column - lens.x) / lens.radius, r2 = dx * dx + dy * dy;
            for (uint32_t group = 0; group < groups; ++group) {
                const double ratio = ratios[group].at(r2);
                const double kt0 = params.tangential(group, 0), kt1 = params.tangential(group, 1);
                const double x = ratio * dx + kt0 * (2 * dx * dy) + kt1 * (r2 + 2 * dx * dx);
                const double y = ratio * dy + kt1 * (2 * dx * dy) + kt0 * (r2 + 2 * dy * dy);
                const double from_row = lens.y + lens.radius * y, from_column = lens.x + lens.radius * x;
                if (groups == 1 && src.planes() == 3) {
                    sample_planes<3>(src, from_row, from_column, 0, out);
                    continue;
                }
                const uint32_t end = group + 1 < groups ? group + 1 : src.planes();
                for (uint32_t plane = group; plane < end; ++plane) {
                    sample_planes<1>(src, from_row, from_column, plane, out + plane);
                }
            }
        }
    }
    return true;
}

}  // namespace

bool VorelDngWarpParams::isValid() const {
    return planes >= 1 && planes <= vorel::kMaxDngPlanes && centreX >= 0 && centreX <= 1 && centreY >= 0 &&
           centreY <= 1;
}

double VorelDngWarpParams::tangential(uint32_t, uint32_t) const { return 0; }

bool VorelDngWarpParamsRectilinear::isValid() const {
    return VorelDngWarpParams::isValid() && all_finite(radial, planes) && all_finite(tangentials, planes);
}

double VorelDngWarpParamsRectilinear::ratio(uint32_t plane, double r2) const { return cubic(radial[plane], r2); }

bool VorelDngWarpParamsFisheye::isValid() const { return VorelDngWarpParams::isValid() && all_finite(radial, planes); }

double VorelDngWarpParamsFisheye::ratio(uint32_t plane, double r2) const {
    const double r = std::sqrt(r2), angle = std::atan(r);
    // At the centre angle and distance are the same.
    return (r > 0 ? angle / r : 1) * cubic(radial[plane], angle * angle);
}

void vorel::WarpOpcode::doApply(DevelopContext &decoder, VorelDngImage *&image) {
    if (!image || image->getBounds().empty() || !params().isValid()) return;
    findFrame(decoder, *image);
    if (!frame().whole) return;
    const DngRect bounds = image->getBounds();
    const std::unique_ptr<VorelDngImage> made(decoder.makeDngImage(bounds, image->planes(), image->getPixelType()));
    if (made->getBounds() != bounds) return;
    vorel::with_samples(*image, [&](auto kind) {
        if (warp<decltype(kind)>(decoder, params(), *image, *made)) image->swap(*made);
    });
}

VorelDngOpcodeWarpRectilinear::VorelDngOpcodeWarpRectilinear(VorelDngStream &stream) : WarpOpcode(1, stream) {
    VorelDngStream body = takeBody(stream);
    params_.planes = body.get_QMUINT32();
    for (uint32_t plane = 0; plane < std::min(params_.planes, vorel::kMaxDngPlanes); ++plane) {
        for (double &k : params_.radial[plane]) k = body.get_QMDOUBLE();
        for (double &k : params_.tangentials[plane]) k = body.get_QMDOUBLE();
    }
    params_.centreX = body.get_QMDOUBLE();
    params_.centreY = body.get_QMDOUBLE();
    setUsable(!body.failed());
}

VorelDngOpcodeWarpFisheye::VorelDngOpcodeWarpFisheye(VorelDngStream &stream) : WarpOpcode(2, stream) {
    VorelDngStream body = takeBody(stream);
    params_.planes = body.get_QMUINT32();
    for (uint32_t plane = 0; plane < std::min(params_.planes, vorel::kMaxDngPlanes); ++plane) {
        for (double &k : params_.radial[plane]) k = body.get_QMDOUBLE();
    }
    params_.centreX = body.get_QMDOUBLE();
    params_.centreY = body.get_QMDOUBLE();
    setUsable(!body.failed());
}
