// Samples and their range: that of the integer type, or fractions of 1.
#pragma once

#include <cstdint>
#include <limits>

#include "dng/image/image.h"

namespace vorel {

// What is no number becomes the lowest. Integers round to the nearest.
template <typename Sample>
struct SampleRange {
    static_assert(sizeof(Sample) <= sizeof(uint16_t), "floats hold every sample");
    static constexpr float kMost = static_cast<float>(std::numeric_limits<Sample>::max());
    static Sample clamped(float value) {
        return static_cast<Sample>(value > 0 ? (value < kMost ? value + 0.5F : kMost) : 0);
    }
    static Sample of_fraction(double value) {
        return static_cast<Sample>(value > 0 ? (value < 1 ? value * double{kMost} + 0.5 : double{kMost}) : 0);
    }
    static double fraction(Sample sample) { return sample / double{kMost}; }
};
template <>
struct SampleRange<float> {
    static constexpr float kMost = 1;
    static float clamped(float value) { return value > 0 ? (value < kMost ? value : kMost) : 0; }
    static float of_fraction(double value) { return static_cast<float>(value > 0 ? (value < 1 ? value : 1) : 0); }
    static double fraction(float sample) { return static_cast<double>(sample); }
};

// work(sample type) with a value of the image's: uint8_t, uint16_t or float. Images of other types are left alone.
template <typename Work>
void with_samples(const VorelDngImage &image, const Work &work) {
    if (image.getPixelType() == kPixelByte) work(uint8_t{});
    if (image.getPixelType() == kPixelShort) work(uint16_t{});
    if (image.isFloat()) work(float{});
}

}  // namespace vorel
