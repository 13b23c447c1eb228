// Encoding curves of colour spaces, from linear light.
#pragma once

#include "dng/colour/function_1d.h"

// IEC 61966-2-1.
class VorelDngFunctionGammaEncode_sRGB final : public VorelDng1dFunction {
  public:
    static const VorelDng1dFunction &GET();
    double evaluate(double x) const override;
    double evaluateInverse(double y) const override;
};

// A power curve, and below its knee the cubic ((a x + b) x + 32) x, which meets it there in value and slope: the slope
// at black stays finite.
class VorelDngFunctionGammaEncode : public VorelDng1dFunction {
  public:
    double evaluate(double x) const override;
    double evaluateInverse(double y) const override;

  protected:
    VorelDngFunctionGammaEncode(double gamma, double knee);

  private:
    double gamma_, knee_, knee_value_, a_, b_;
};

class VorelDngFunctionGammaEncode_1_8 final : public VorelDngFunctionGammaEncode {
  public:
    static const VorelDng1dFunction &GET();
    VorelDngFunctionGammaEncode_1_8() : VorelDngFunctionGammaEncode(1.8, 0.0008211879055212056) {}
};

class VorelDngFunctionGammaEncode_2_2 final : public VorelDngFunctionGammaEncode {
  public:
    static const VorelDng1dFunction &GET();
    VorelDngFunctionGammaEncode_2_2() : VorelDngFunctionGammaEncode(2.2, 0.0034800731177356986) {}
};
