#include "dng/render/exposure.h"

#include <algorithm>
#include <cmath>

VorelDngFunctionExposureRamp::VorelDngFunctionExposureRamp(double white, double black, double minBlack)
    : slope_(1 / (white - black)),
      black_(black),
      radius_(std::min(minBlack * 0.5, 0.0625 / slope_)),
      q_scale_(radius_ > 0 ? slope_ / (radius_ * 4) : 0) {}

double VorelDngFunctionExposureRamp::evaluate(double x) const {
    if (x <= black_ - radius_) return 0;
    if (x >= black_ + radius_) return std::min((x - black_) * slope_, 1.0);
    const double y = x - (black_ - radius_);
    return q_scale_ * y * y;
}

VorelDngFunctionExposureTone::VorelDngFunctionExposureTone(double exposure) : identity_(!(exposure < 0)) {
    if (identity_) return;
    slope_ = std::exp2(exposure);
    a_ = (1 - slope_) * 1.7777777777777777;
    b_ = slope_ - a_ * 0.5;
    c_ = 1 - a_ - b_;
}

double VorelDngFunctionExposureTone::evaluate(double x) const {
    if (identity_) return x;
    return x <= 0.25 ? x * slope_ : c_ + x * (b_ + x * a_);
}
