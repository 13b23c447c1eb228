// The curve of a finished picture.
#pragma once

#include <cstdint>

#include "dng/colour/function_1d.h"

namespace vorel {

constexpr int kToneSteps = 1024;
extern const int32_t kToneForward[kToneSteps + 1], kToneInverse[kToneSteps + 1];  // times 100000

}  // namespace vorel

// By two tables, linear between their entries. x is limited to 0 to 1.
class VorelDngToneCurveArc3Default final : public VorelDng1dFunction {
  public:
    static const VorelDng1dFunction &GET();
    double evaluate(double x) const override { return interpolated(forward_, x); }
    double evaluateInverse(double y) const override { return interpolated(inverse_, y); }

  private:
    VorelDngToneCurveArc3Default();
    static double interpolated(const float *table, double x);

    float forward_[vorel::kToneSteps + 1], inverse_[vorel::kToneSteps + 1];
};
