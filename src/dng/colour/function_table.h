// A curve as a table, for the loops over pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "dng/colour/function_1d.h"

// Values at i / size for i from 0 to size, and the last one again, so that the entry behind any index is there.
class VorelDng1dTable {
  public:
    static constexpr uint32_t kSteps = 4096;

    // size: a power of two.
    explicit VorelDng1dTable(uint32_t size = kSteps) : size_(size), table_(size + 2) {}

    uint32_t size() const { return size_; }
    const float *data() const { return table_.data(); }

    // With subSample the function is asked only where it bends.
    void initialize(const VorelDng1dFunction &function, bool subSample);

    // Linear between entries. x is limited to 0 to 1; not a number counts as 0.
    float interpolate(float x) const {
        const float position = (x > 0 ? x < 1 ? x : 1 : 0) * static_cast<float>(size_);
        const uint32_t index = static_cast<uint32_t>(position);
        const float fraction = position - static_cast<float>(index);
        return table_[index] * (1 - fraction) + table_[index + 1] * fraction;
    }

    // 65536 entries: the curve from 16 bits to 16 bits.
    void expand16(uint16_t *dest) const;

  private:
    // Fills what lies between two entries: by halves where the span is long or rises by more than maxDelta.
    void doSubDivide(const VorelDng1dFunction &function, uint32_t lower, uint32_t upper, float maxDelta);

    uint32_t size_;
    std::vector<float> table_;
};
