#include "dng/colour/function_table.h"

#include <algorithm>
#include <cmath>

namespace {

// The finest change that a sampled table leaves to a straight piece, and its longest straight piece.
constexpr float kStraightShare = 1.0f / 256;

}  // namespace

void VorelDng1dTable::initialize(const VorelDng1dFunction &function, bool subSample) {
    const double step = 1.0 / size_;
    if (subSample) {
        table_[0] = static_cast<float>(function.evaluate(0));
        table_[size_] = static_cast<float>(function.evaluate(1));
        doSubDivide(function, 0, size_, std::max(std::fabs(table_[size_] - table_[0]), 1.0f) * kStraightShare);
    } else {
        for (uint32_t i = 0; i <= size_; ++i) table_[i] = static_cast<float>(function.evaluate(i * step));
    }
    table_[size_ + 1] = table_[size_];
}

void VorelDng1dTable::doSubDivide(const VorelDng1dFunction &function, uint32_t lower, uint32_t upper, float maxDelta) {
    const uint32_t range = upper - lower;
    if (range < 2) return;
    const bool straight = range <= size_ >> 8 && std::fabs(table_[upper] - table_[lower]) <= maxDelta;
    if (straight) {
        const double delta = (double{table_[upper]} - table_[lower]) / range;
        for (uint32_t i = 1; i < range; ++i) table_[lower + i] = static_cast<float>(table_[lower] + delta * i);
        return;
    }
    const uint32_t middle = lower + range / 2;
    table_[middle] = static_cast<float>(function.evaluate(static_cast<double>(middle) / size_));
    doSubDivide(function, lower, middle, maxDelta);
    doSubDivide(function, middle, upper, maxDelta);
}

void VorelDng1dTable::expand16(uint16_t *dest) const {
    // The entry and the fraction behind it, in 65535ths of a step, of one 16-bit value after another.
    uint32_t index = 0, part = 0;
    for (uint32_t i = 0; i < 65536; ++i) {
        const double fraction = part / 65535.0;
        const double value = table_[index] + (double{table_[index + 1]} - table_[index]) * fraction;
        const double scaled = 0.5 + value * 65535;
        dest[i] = static_cast<uint16_t>(scaled > 0 ? std::min(scaled, 65535.0) : 0);
        part += size_;
        index += part / 65535;
        part %= 65535;
    }
}
