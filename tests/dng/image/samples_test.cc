// Single samples and rows of them: short floats, packed bits, swaps, sizes, copies.
#include <vorel/dng_samples.h>

#include <cmath>
#include <limits>

#include "dng/image/buffer_size.h"
#include "dng/image/kernels/kernels.h"
#include "dng/image/pack_bits.h"
#include "dng/support/pairs.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

double short_float(uint32_t bits, int exponent_bits, int fraction_bits, int bias) {
    const uint32_t most = (1u << exponent_bits) - 1, one = 1u << fraction_bits;
    const uint32_t exponent = bits >> fraction_bits & most, fraction = bits & (one - 1);
    const double sign = bits >> (exponent_bits + fraction_bits) ? -1 : 1;
    const auto scaled = [&](uint32_t significand, uint32_t power) {
        return sign * std::ldexp(significand, static_cast<int>(power) - bias - fraction_bits);
    };
    if (exponent == most) return fraction ? 0 : scaled(2 * one - 1, most - 1);
    return exponent ? scaled(one + fraction, exponent) : scaled(fraction, 1);
}

TEST(DngSamples, ShortFloats) {
    for (uint32_t bits = 0; bits < 65536; ++bits) {
        ASSERT_EQ(DNG_HalfToFloat(static_cast<uint16_t>(bits)), short_float(bits, 5, 10, 15)) << bits;
    }
    for (uint32_t bits = 0; bits < 1 << 24; bits += 77) {
        const Bytes bytes = head(cat({big_32(bits << 8)}), 3);
        ASSERT_EQ(DNG_FP24ToFloat(bytes.data()), static_cast<float>(short_float(bits, 7, 16, 64))) << bits;
    }
}

TEST(DngSampleKernels, TwinsAgree) {
    for (size_t count = 0; count <= 96; ++count) {
        for (uint32_t bits = 9; bits <= 15; ++bits) {
            const Bytes packed = kernel_row((count * bits + 7) / 8, static_cast<unsigned>(count));
            GuardBuffer in(packed);
            expect_twins(runnable_sample_kernels, "unpack " + std::to_string(bits), [&](const SampleKernels &kernels) {
                return whole_output(count * 2, [&](uint8_t *out) {
                    kernels.unpack(in.data(), in.data() + in.size(), bits, count, reinterpret_cast<uint16_t *>(out));
                });
            });
        }
        GuardBuffer words(kernel_row(count * 4, static_cast<unsigned>(count)));
        expect_twins(runnable_sample_kernels, "swap", [&](const SampleKernels &kernels) {
            return whole_outputs({count * 4, count * 4}, [&](uint8_t *const *out) {
                kernels.swap_16(reinterpret_cast<uint16_t *>(words.data()), count * 2,
                                reinterpret_cast<uint16_t *>(out[0]));
                kernels.swap_32(reinterpret_cast<uint32_t *>(words.data()), count,
                                reinterpret_cast<uint32_t *>(out[1]));
            });
        });
    }
}

TEST(DngSamples, Swapped) {
    uint16_t words[2] = {0x1234, 0xFF00};
    uint32_t longs[1] = {0x12345678};
    doSwapBytes16(words, 2);
    doSwapBytes32(longs, 1);
    expect_pairs(words[0], 0x3412, words[1], 0x00FF, longs[0], 0x78563412);
}

// Required: what lies outside of 0 to 1, and what is no number, becomes one of the ends.
TEST(DngSamples, FloatsToIntegers) {
    const float floats[8] = {0, 1, 1.5f, -0.25f, std::numeric_limits<float>::quiet_NaN(), 0.5f, 1e30f, 0.3019f};
    Bytes bytes(8);
    DoCopyAreaR32_8(floats, bytes.data(), 1, 8, 1, 8, 1, 1, 8, 1, 1, 255);
    EXPECT_EQ(bytes, (Bytes{0, 255, 255, 0, 0, 128, 255, 77}));
    for (uint32_t v = 0; v < 65536; ++v) {
        const uint16_t word = static_cast<uint16_t>(v);
        float there;
        uint16_t back;
        DoCopyArea16_R32(&word, &there, 1, 1, 1, 1, 1, 1, 1, 1, 1, 65535);
        DoCopyAreaR32_16(&there, &back, 1, 1, 1, 1, 1, 1, 1, 1, 1, 65535);
        ASSERT_EQ(back, word);
    }
}

TEST(DngSamples, SizesThatDoNotFit) {
    uint32_t result = 7;
    int32_t difference = 7;
    expect_pairs(ComputeBufferSize(kPixelShort, {3, 101}, 3, kPaddingSIMD), 3 * 104 * 2 * 3,
                 ComputeBufferSize(kPixelByte, {3, 101}, 3, kPaddingNone), 3 * 101 * 3,
                 ComputeBufferSize(kPixelFloat, {65536, 65536}, 1, kPaddingSIMD), 0,
                 ComputeBufferSize(kPixelByte, {1, 65536}, 65537, kPaddingSIMD), 0,
                 ComputeBufferSize(kPixelByte, {0, 5}, 1, kPaddingSIMD), 0, RoundUpForPixelSize(5, 3), 16,
                 SafeUint32Add(0xFFFFFFFF, 1, &result), false, RoundUpUint32ToMultiple(0xFFFFFFFF, 16, &result), false,
                 RoundUpUint32ToMultiple(5, 0, &result), false, SafeInt32Sub(INT32_MIN, 1, &difference), false,
                 SafeUint32DivideUp(0xFFFFFFFF, 2), 0x80000000u, SafeUint32DivideUp(5, 0), 0, result, 7, difference, 7,
                 TagTypeSize(13), 4, TagTypeSize(14), 2, TagTypeSize(15), 8, TagTypeSize(16), 0);
}

TEST(DngSamples, PackBits) {
    // TIFF 6.0 section 9: the example, and runs that pass the end.
    const Bytes packed = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    const Bytes whole = cat({Bytes(3, 0xAA), {0x80, 0, 0x2A}, Bytes(4, 0xAA), {0x80, 0, 0x2A, 0x22}, Bytes(10, 0xAA)});
    for (size_t length = 0; length <= packed.size(); ++length) {
        GuardBuffer in(head(packed, length)), out(whole.size());
        VorelDngStream stream(in.data(), static_cast<uint32_t>(length));
        EXPECT_EQ(DecodePackBits(stream, out.data(), 24), length == packed.size());
        EXPECT_TRUE(length < packed.size() || out.bytes() == whole);
    }
    GuardBuffer in(packed), out(23);
    VorelDngStream stream(in.data(), 15);
    EXPECT_FALSE(DecodePackBits(stream, out.data(), 23));
}

}  // namespace
}  // namespace vorel::test
