#include "dng/render/tone_curve.h"

#include <algorithm>

namespace {

constexpr double kToneScale = 100000;

}  // namespace

VorelDngToneCurveArc3Default::VorelDngToneCurveArc3Default() {
    for (int i = 0; i <= vorel::kToneSteps; ++i) {
        forward_[i] = static_cast<float>(vorel::kToneForward[i] / kToneScale);
        inverse_[i] = static_cast<float>(vorel::kToneInverse[i] / kToneScale);
    }
}

double VorelDngToneCurveArc3Default::interpolated(const float *table, double x) {
    const double position = (x > 0 ? std::min(x, 1.0) : 0) * vorel::kToneSteps;
    const int index = std::min(static_cast<int>(position), vorel::kToneSteps - 1);
    const double fraction = position - index;
    return table[index] * (1 - fraction) + table[index + 1] * fraction;
}

const VorelDng1dFunction &VorelDngToneCurveArc3Default::GET() {
    static const VorelDngToneCurveArc3Default kCurve;
    return kCurve;
}
