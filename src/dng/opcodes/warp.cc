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

// A place in the source, and how the four samples around it lie: those outside of the image are the nearest inside.
struct Taps {
    Taps(double position, int32_t first, int32_t end) : weights(0) {
        const double inside = position > first ? (position < end - 1 ? position : end - 1) : first;
        const int32_t whole = static_cast<int32_t>(std::floor(inside));
        weights = CubicWeights(static_cast<float>(inside - whole));
        for (int32_t i = 0; i < 4; ++i) sample[i] = std::clamp(whole - 1 + i, first, end - 1);
    }
    CubicWeights weights;
    int32_t sample[4];
};

template <typename Sample>
float sample_at(const VorelDngImage &src, double row, double column, uint32_t plane) {
    const DngRect &bounds = src.getBounds();
    const Taps down(row, bounds.top, bounds.bottom), across(column, bounds.left, bounds.right);
    float sum = 0;
    for (int32_t i = 0; i < 4; ++i) {
        const Sample *const samples = src.at<Sample>(down.sample[i], bounds.left, plane);
        float along = 0;
        for (int32_t j = 0; j < 4; ++j) {
            const ptrdiff_t at = ptrdiff_t{across.sample[j] - bounds.left} * src.buffer().colStep;
            along += across.weights.at[j] * static_cast<float>(samples[at]);
        }
        sum += down.weights.at[i] * along;
    }
    return sum;
}

// False when the develop was cancelled.
template <typename Sample>
bool warp(vorel::DevelopContext &decoder, const VorelDngWarpParams &params, const VorelDngImage &src,
          VorelDngImage &dst) {
    const DngRect &bounds = src.getBounds();
    const Lens lens(bounds, params);
    std::vector<RatioTable> ratios;
    for (uint32_t plane = 0; plane < params.planes; ++plane) ratios.emplace_back(params, plane);
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        if (decoder.cancelled()) return false;
        const double dy = (row - lens.y) / lens.radius;
        for (int32_t column = bounds.left; column < bounds.right; ++column) {
            const double dx = (column - lens.x) / lens.radius, r2 = dx * dx + dy * dy;
            for (uint32_t plane = 0; plane < src.planes(); ++plane) {
                const uint32_t own = std::min(plane, params.planes - 1);
                const double ratio = ratios[own].at(r2);
                const double kt0 = params.tangential(own, 0), kt1 = params.tangential(own, 1);
                const double x = ratio * dx + kt0 * (2 * dx * dy) + kt1 * (r2 + 2 * dx * dx);
                const double y = ratio * dy + kt1 * (2 * dx * dy) + kt0 * (r2 + 2 * dy * dy);
                *dst.at<Sample>(row, column, plane) = SampleRange<Sample>::held(
                    sample_at<Sample>(src, lens.y + lens.radius * y, lens.x + lens.radius * x, plane));
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
