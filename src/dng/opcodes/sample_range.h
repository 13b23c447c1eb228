// Samples and their range: 16 bits or fractions of 1.
#pragma once

#include <cstdint>

#include "dng/image/image.h"

namespace vorel {

template <typename Sample>
struct SampleRange;

// What is no number becomes the lowest. Integers round to the nearest.
template <>
struct SampleRange<uint16_t> {
    static constexpr float kMost = 65535;
    static uint16_t clamped(float value) {
        return static_cast<uint16_t>(value > 0 ? (value < kMost ? value + 0.5F : kMost) : 0);
    }
    static uint16_t of_fraction(double value) {
        return static_cast<uint16_t>(value > 0 ? (value < 1 ? value * 65535 + 0.5 : 65535) : 0);
    }
    static double fraction(uint16_t sample) { return sample / 65535.0; }
};
template <>
struct SampleRange<float> {
    static constexpr float kMost = 1;
    static float clamped(float value) { return value > 0 ? (value < kMost ? value : kMost) : 0; }
    static float of_fraction(double value) { return static_cast<float>(value > 0 ? (value < 1 ? value : 1) : 0); }
    static double fraction(float sample) { return static_cast<double>(sample); }
};

// work(sample type) with a value of the image's: uint16_t or float. Images of other types are left alone.
template <typename Work>
void with_samples(const VorelDngImage &image, const Work &work) {
    if (image.getPixelType() == kPixelShort) work(uint16_t{});
    if (image.isFloat()) work(float{});
}

}  // namespace vorel
