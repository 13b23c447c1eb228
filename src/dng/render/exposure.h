// Curves of exposure.
#pragma once

#include "dng/colour/function_1d.h"

// Linear from black to white, which gives 1, with a soft start: a parabola within a radius around black.
class VorelDngFunctionExposureRamp final : public VorelDng1dFunction {
  public:
    // minBlack: twice the largest radius.
    VorelDngFunctionExposureRamp(double white, double black, double minBlack);
    double evaluate(double x) const override;

  private:
    double slope_, black_, radius_, q_scale_;
};

// Darkens by stops below 0 without moving white: a line of that slope up to a quarter, a parabola from there. The
// identity for others.
class VorelDngFunctionExposureTone final : public VorelDng1dFunction {
  public:
    explicit VorelDngFunctionExposureTone(double exposure);
    bool isIdentity() const override { return identity_; }
    double evaluate(double x) const override;

  private:
    bool identity_;
    double slope_ = 1, a_ = 0, b_ = 0, c_ = 0;
};
