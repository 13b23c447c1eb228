#include "dng/colour/gamma.h"

#include <cmath>

namespace {

constexpr double kSlopeAtBlack = 32;

}  // namespace

double VorelDngFunctionGammaEncode_sRGB::evaluate(double x) const {
    return x <= 0.0031308 ? x * 12.92 : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
}

double VorelDngFunctionGammaEncode_sRGB::evaluateInverse(double y) const {
    return y <= 0.040449936 ? y / 12.92 : std::pow((y + 0.055) / 1.055, 2.4);
}

VorelDngFunctionGammaEncode::VorelDngFunctionGammaEncode(double gamma, double knee)
    : gamma_(gamma), knee_(knee), knee_value_(std::pow(knee, 1 / gamma)) {
    const double slope = knee_value_ / (gamma * knee);
    // a k^2 + b k = value / k - 32 and 3 a k^2 + 2 b k = slope - 32.
    const double value_rest = knee_value_ / knee - kSlopeAtBlack, slope_rest = slope - kSlopeAtBlack;
    a_ = (slope_rest - 2 * value_rest) / (knee * knee);
    b_ = (3 * value_rest - slope_rest) / knee;
}

double VorelDngFunctionGammaEncode::evaluate(double x) const {
    return x > knee_ ? std::pow(x, 1 / gamma_) : ((a_ * x + b_) * x + kSlopeAtBlack) * x;
}

double VorelDngFunctionGammaEncode::evaluateInverse(double y) const {
    return y > knee_value_ ? std::pow(y, gamma_) : VorelDng1dFunction::evaluateInverse(y);
}

const VorelDng1dFunction &VorelDngFunctionGammaEncode_sRGB::GET() {
    static const VorelDngFunctionGammaEncode_sRGB kCurve;
    return kCurve;
}
const VorelDng1dFunction &VorelDngFunctionGammaEncode_1_8::GET() {
    static const VorelDngFunctionGammaEncode_1_8 kCurve;
    return kCurve;
}
const VorelDng1dFunction &VorelDngFunctionGammaEncode_2_2::GET() {
    static const VorelDngFunctionGammaEncode_2_2 kCurve;
    return kCurve;
}
