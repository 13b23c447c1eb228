// The last curve and the rounding to bytes behind it as one look-up.
#include <algorithm>

#include "dng/render/kernels/pixel_steps.h"

namespace vorel {
namespace {

constexpr int32_t kParts = 1 << 23;  // of a step; as fine as a float behind the first step is
constexpr uint32_t kNever = (1u << 24) - 1;
// Beyond this distance from the true threshold rounding does not reach: a value has two roundings of 2^-24 of itself at
// most, and rises by more than 2^-14 of itself in a step.
constexpr int32_t kReach = 1 << 15;

class Step {
  public:
    Step(const float *gamma, uint32_t index) : from_(gamma[index]), to_(gamma[index + 1]) {
        // Neighbours among the floats of this step are so many parts apart.
        while (index >> shift_ > 1) ++shift_;
    }
    uint8_t at(int32_t part) const {
        const float fraction = static_cast<float>(part) / kParts;
        return byte_of(from_ * (1 - fraction) + to_ * fraction);
    }
    int32_t stride() const { return 1 << shift_; }
    float from() const { return from_; }
    float to() const { return to_; }

  private:
    float from_, to_;
    int shift_ = 0;
};

}  // namespace

bool make_encode_table(const float *gamma, uint32_t *encode, int32_t *doubt) {
    // One at least: in the first step floats are finer than parts.
    *doubt = 1;
    for (uint32_t i = 0; i <= kRenderSteps; ++i) {
        const Step step(gamma, i);
        if (!(step.to() >= step.from())) return false;
        const uint8_t first = step.at(0), last = byte_of(step.to());
        encode[i] = kNever << 8 | first;
        if (i == kRenderSteps || first == last) continue;
        // A change would be doubtful everywhere in a step that hardly rises.
        if (last != first + 1 || !(step.to() - step.from() > step.to() * (1.0f / (1 << 14)))) return false;
        int32_t below = 0, above = kParts / step.stride();  // the part behind the last counts as risen
        while (above - below > 1) {
            const int32_t middle = below + (above - below) / 2;
            (step.at(middle * step.stride()) == first ? below : above) = middle;
        }
        const int32_t threshold = below * step.stride();
        encode[i] = static_cast<uint32_t>(threshold) << 8 | first;
        for (int32_t part = std::max(threshold - kReach / step.stride() * step.stride(), 0);
             part < std::min(threshold + kReach, kParts); part += step.stride()) {
            if ((step.at(part) != first) != (part > threshold))
                *doubt = std::max({*doubt, part - threshold, threshold - part});
        }
    }
    return true;
}

}  // namespace vorel
