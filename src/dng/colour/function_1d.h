// Curves over 0 to 1.
#pragma once

class VorelDng1dFunction {
  public:
    virtual ~VorelDng1dFunction() = default;
    // Whether evaluate(x) is x for every x.
    virtual bool isIdentity() const { return false; }
    virtual double evaluate(double x) const = 0;
    // The least x of 0 to 1 whose value is at least y, by bisection, for curves that do not fall; 1 without one.
    virtual double evaluateInverse(double y) const;
};

class VorelDng1dIdentity final : public VorelDng1dFunction {
  public:
    static const VorelDng1dFunction &GET();
    bool isIdentity() const override { return true; }
    double evaluate(double x) const override { return x; }
    double evaluateInverse(double y) const override { return y; }
};

// second(first(x)). Both stay the caller's.
class VorelDng1dConcatenate final : public VorelDng1dFunction {
  public:
    VorelDng1dConcatenate(const VorelDng1dFunction &first, const VorelDng1dFunction &second)
        : first_(first), second_(second) {}
    bool isIdentity() const override { return first_.isIdentity() && second_.isIdentity(); }
    double evaluate(double x) const override { return second_.evaluate(first_.evaluate(x)); }
    double evaluateInverse(double y) const override { return first_.evaluateInverse(second_.evaluateInverse(y)); }

  private:
    const VorelDng1dFunction &first_, &second_;
};

// function stays the caller's.
class VorelDng1dInverse final : public VorelDng1dFunction {
  public:
    explicit VorelDng1dInverse(const VorelDng1dFunction &function) : function_(function) {}
    bool isIdentity() const override { return function_.isIdentity(); }
    double evaluate(double x) const override { return function_.evaluateInverse(x); }
    double evaluateInverse(double y) const override { return function_.evaluate(y); }

  private:
    const VorelDng1dFunction &function_;
};
