// Curves of the filter that works on mosaics.
#pragma once

// Two lines over 0 to 1 that do not meet: from b down to a at c, and from 0 at c up to a - b + (b - a) / (1 - c).
class VorelDngHVScurve {
  public:
    VorelDngHVScurve(double a, double b, double c) : a_(a), b_(b), c_(c) {}
    double evaluate(double x) const {
        return x < c_ ? b_ - ((b_ - a_) / c_) * x : (a_ - b_) + ((b_ - a_) / (1 - c_)) * x;
    }

  private:
    double a_, b_, c_;
};

// 1 up to a, 0 from b on, and the straight line between them.
class VorelDngNLWeightCurve {
  public:
    VorelDngNLWeightCurve(double a, double b) : a_(a), b_(b) {}
    double evaluate(double x) const { return x <= a_ ? 1 : x >= b_ ? 0 : (b_ - x) / (b_ - a_); }

  private:
    double a_, b_;
};
