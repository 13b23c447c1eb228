// Short floating-point samples (DNG, chapter 6; IEEE 754 binary16).
#include <cmath>

#include <vorel/dng_samples.h>

namespace {

// A float of a sign, an exponent of `bias` and a fraction of fraction_bits. Every value fits a single-precision float.
float short_float(uint32_t sign, int exponent, uint32_t fraction, int fraction_bits, int bias, int greatest_exponent) {
    if (exponent > greatest_exponent) {
        if (fraction != 0) return 0;
        exponent = greatest_exponent, fraction = (1u << fraction_bits) - 1;
    }
    // An exponent of 0 has no leading 1 and the power of exponent 1.
    const uint32_t significand = exponent == 0 ? fraction : fraction | 1u << fraction_bits;
    const float value =
        std::ldexp(static_cast<float>(significand), (exponent == 0 ? 1 : exponent) - bias - fraction_bits);
    return sign ? -value : value;
}

}  // namespace

float DNG_HalfToFloat(uint16_t bits) { return short_float(bits >> 15, bits >> 10 & 31, bits & 0x3FFu, 10, 15, 30); }

float DNG_FP24ToFloat(const uint8_t *bytes) {
    return short_float(bytes[0] >> 7, bytes[0] & 127, static_cast<uint32_t>(bytes[1]) << 8 | bytes[2], 16, 64, 126);
}
