// Single samples and rows of them: short floats, packed bits, swaps, sizes, copies.
#include <vorel/dng_samples.h>

#include <cmath>
#include <cstring>
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
    EXPECT_EQ(DNG_HalfToFloat(0x7C00), 65504);
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
            Bytes both = whole_output(count * 4, [&](uint8_t *out) {
                kernels.swap_16(reinterpret_cast<uint16_t *>(words.data()), count * 2,
                                reinterpret_cast<uint16_t *>(out));
            });
            return cat({both, whole_output(count * 4, [&](uint8_t *out) {
                            kernels.swap_32(reinterpret_cast<uint32_t *>(words.data()), count,
                                            reinterpret_cast<uint32_t *>(out));
                        })});
        });
    }
}

TEST(DngSamples, SwappedAndMapped) {
    uint16_t words[2] = {0x1234, 0xFF00};
    uint32_t longs[1] = {0x12345678};
    doSwapBytes16(words, 2);
    doSwapBytes32(longs, 1);
    expect_pairs(words[0], 0x3412, words[1], 0x00FF, longs[0], 0x78563412);
    std::vector<uint16_t> table(65536);
    for (uint32_t i = 0; i < 65536; ++i) table[i] = static_cast<uint16_t>(65535 - i);
    uint16_t area[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    doMapArea16(area + 1, 2, 2, 1, 4, 2, 1, table.data());
    const uint16_t expected[8] = {0, 65534, 2, 65532, 4, 65530, 6, 65528};
    EXPECT_EQ(std::memcmp(area, expected, sizeof area), 0);
}

// Required: what lies outside of 0 to 1, and what is no number, becomes one of the ends.
TEST(DngSamples, FloatsToIntegers) {
    const float floats[8] = {0, 1, 1.5f, -0.25f, std::numeric_limits<float>::quiet_NaN(), 0.5f, 1e30f, 0.3019f};
    uint8_t bytes[8];
    DoCopyAreaR32_8(floats, bytes, 1, 8, 1, 8, 1, 1, 8, 1, 1, 255);
    const uint8_t expected[8] = {0, 255, 255, 0, 0, 128, 255, 77};
    EXPECT_EQ(std::memcmp(bytes, expected, 8), 0);
    uint16_t words[8];
    DoCopyAreaR32_16(floats, words, 2, 2, 2, 4, 2, 1, 4, 2, 1, 65535);
    expect_pairs(words[5], 32768, words[7], 19785);  // 0.5 + 0.3019 * 65535
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
                 SafeUint32Add(0xFFFFFFFF, 1, &result), false, SafeUint32Mult(65536, 65536, &result), false,
                 RoundUpUint32ToMultiple(0xFFFFFFFF, 16, &result), false, RoundUpUint32ToMultiple(5, 0, &result), false,
                 SafeInt32Sub(INT32_MIN, 1, &difference), false, SafeUint32DivideUp(0xFFFFFFFF, 2), 0x80000000u,
                 SafeUint32DivideUp(5, 0), 0);
    expect_pairs(result, 7, difference, 7);
    EXPECT_TRUE(RoundUpUint32ToMultiple(17, 16, &result) && result == 32);
    const uint32_t sizes[17] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 2, 8, 0};
    for (uint32_t type = 0; type < 17; ++type) EXPECT_EQ(TagTypeSize(type), sizes[type]) << type;
}

TEST(DngSamples, PackBits) {
    // TIFF 6.0 section 9: the example, and runs that pass the end.
    const Bytes packed = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    const Bytes whole = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                         0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    for (const size_t space : {whole.size() - 1, whole.size()}) {
        for (size_t length = 0; length <= packed.size(); ++length) {
            GuardBuffer in(head(packed, length)), out(space);
            VorelDngStream stream(in.data(), static_cast<uint32_t>(length));
            const bool all = length == packed.size() && space == whole.size();
            EXPECT_EQ(DecodePackBits(stream, out.data(), static_cast<int32_t>(space)), all);
            EXPECT_TRUE(!all || out.bytes() == whole);
        }
    }
}

}  // namespace
}  // namespace vorel::test
