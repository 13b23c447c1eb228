#include "dng/opcodes/vignette.h"

#include <algorithm>
#include <cmath>

#include "dng/opcodes/sample_range.h"

using vorel::DngRect;
using vorel::SampleRange;

bool VorelDngVigetteRadialParams::isValid() const {
    return k.size() == 5 && std::all_of(k.begin(), k.end(), [](double value) { return std::isfinite(value); }) &&
           centreX >= 0 && centreX <= 1 && centreY >= 0 && centreY <= 1;
}

VorelDngOpcodeFixVignetteRadial::VorelDngOpcodeFixVignetteRadial(VorelDngStream &stream)
    : VorelDngInplaceOpcode(3, stream) {
    VorelDngStream body = takeBody(stream);
    for (int i = 0; i < 5; ++i) params_.k.push_back(body.get_QMDOUBLE());
    params_.centreX = body.get_QMDOUBLE();
    params_.centreY = body.get_QMDOUBLE();
    setUsable(!body.failed());
}

void VorelDngOpcodeFixVignetteRadial::init(const DngRect &bounds) {
    centreRow_ = bounds.top + bounds.height() * params_.centreY;
    centreColumn_ = bounds.left + bounds.width() * params_.centreX;
    const double rows = std::max(centreRow_ - bounds.top, bounds.bottom - centreRow_);
    const double columns = std::max(centreColumn_ - bounds.left, bounds.right - centreColumn_);
    perRadius2_ = 1 / (rows * rows + columns * columns);
}

void VorelDngOpcodeFixVignetteRadial::doPrepare(vorel::DevelopContext &, const DngRect &, uint32_t, uint32_t) {
    init(wholeBounds());
}

void VorelDngOpcodeFixVignetteRadial::processArea(vorel::DevelopContext &, VorelDngImage &image, const DngRect &area) {
    const DngRect rect = vorel::intersection(area, image.getBounds()), at = toFrame(rect);
    const double k0 = params_.k[0], k1 = params_.k[1], k2 = params_.k[2], k3 = params_.k[3], k4 = params_.k[4];
    std::vector<float> gains(rect.width());
    for (int32_t row = rect.top; row < rect.bottom; ++row) {
        const double down = at.top + (row - rect.top) - centreRow_;
        for (size_t i = 0; i < gains.size(); ++i) {
            const double across = at.left + static_cast<double>(i) - centreColumn_;
            const double r2 = (down * down + across * across) * perRadius2_;
            gains[i] = static_cast<float>(1 + r2 * (k0 + r2 * (k1 + r2 * (k2 + r2 * (k3 + r2 * k4)))));
        }
        vorel::with_samples(image, [&](auto kind) {
            using Sample = decltype(kind);
            Sample *sample = image.at<Sample>(row, rect.left);
            for (const float gain : gains) {
                for (uint32_t plane = 0; plane < image.planes(); ++plane, ++sample) {
                    *sample = SampleRange<Sample>::clamped(static_cast<float>(*sample) * gain);
                }
            }
        });
    }
}
