// Single samples and rows of them: short floats, packed bits, swaps, sizes, copies.
#include <vorel/dng_samples.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "dng/image/buffer_size.h"
#include "dng/image/kernels/kernels.h"
#include "dng/image/pack_bits.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

TEST(DngSamples, HalfFloatsOfEveryBitPattern) {
    for (uint32_t bits = 0; bits < 65536; ++bits) {
        const uint32_t exponent = bits >> 10 & 31, fraction = bits & 1023;
        const double sign = bits & 0x8000 ? -1 : 1;
        const double expected = exponent == 31  ? (fraction ? 0 : sign * 65504)
                                : exponent == 0 ? sign * std::ldexp(fraction, -24)
                                                : sign * std::ldexp(1024 + fraction, static_cast<int>(exponent) - 25);
        ASSERT_EQ(DNG_HalfToFloat(static_cast<uint16_t>(bits)), expected) << bits;
    }
}

TEST(DngSamples, FloatsOf24Bits) {
    for (uint32_t bits = 0; bits < 1 << 24; bits += 77) {
        const uint8_t bytes[3] = {static_cast<uint8_t>(bits >> 16), static_cast<uint8_t>(bits >> 8),
                                  static_cast<uint8_t>(bits)};
        const uint32_t exponent = bits >> 16 & 127, fraction = bits & 65535;
        const double sign = bits >> 23 ? -1 : 1;
        const double expected = exponent == 127 ? (fraction ? 0 : sign * std::ldexp(131071, 126 - 64 - 16))
                                : exponent == 0 ? sign * std::ldexp(fraction, 1 - 64 - 16)
                                                : sign * std::ldexp(65536 + fraction, static_cast<int>(exponent) - 80);
        ASSERT_EQ(DNG_FP24ToFloat(bytes), static_cast<float>(expected)) << bits;
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
    uint16_t words[3] = {0x1234, 0xFF00, 0x0001};
    doSwapBytes16(words, 3);
    EXPECT_EQ(words[0], 0x3412);
    EXPECT_EQ(words[1], 0x00FF);
    uint32_t longs[1] = {0x12345678};
    doSwapBytes32(longs, 1);
    EXPECT_EQ(longs[0], 0x78563412u);
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
    EXPECT_EQ(words[5], 32768);
    EXPECT_EQ(words[7], static_cast<uint16_t>(std::floor(0.5 + 0.3019f * 65535.0f)));
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
    EXPECT_EQ(ComputeBufferSize(kPixelShort, {3, 101}, 3, kPaddingSIMD), 3u * 104 * 2 * 3);
    EXPECT_EQ(ComputeBufferSize(kPixelByte, {3, 101}, 3, kPaddingNone), 3u * 101 * 3);
    EXPECT_EQ(ComputeBufferSize(kPixelFloat, {65536, 65536}, 1, kPaddingSIMD), 0u);
    EXPECT_EQ(ComputeBufferSize(kPixelByte, {0, 5}, 1, kPaddingSIMD), 0u);
    EXPECT_EQ(RoundUpForPixelSize(5, 3), 16u);
    uint32_t result = 7;
    int32_t difference = 7;
    EXPECT_FALSE(SafeUint32Add(0xFFFFFFFF, 1, &result));
    EXPECT_FALSE(SafeUint32Mult(65536, 65536, &result));
    EXPECT_FALSE(RoundUpUint32ToMultiple(0xFFFFFFFF, 16, &result));
    EXPECT_FALSE(RoundUpUint32ToMultiple(5, 0, &result));
    EXPECT_FALSE(SafeInt32Sub(INT32_MIN, 1, &difference));
    EXPECT_EQ(result, 7u);
    EXPECT_EQ(difference, 7);
    EXPECT_TRUE(RoundUpUint32ToMultiple(17, 16, &result) && result == 32);
    EXPECT_EQ(SafeUint32DivideUp(0xFFFFFFFF, 2), 0x80000000u);
    EXPECT_EQ(SafeUint32DivideUp(5, 0), 0u);
    const uint32_t sizes[16] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 2, 8};
    for (uint32_t type = 0; type < 20; ++type) EXPECT_EQ(TagTypeSize(type), type < 16 ? sizes[type] : 0) << type;
}

TEST(DngSamples, PackBits) {
    // TIFF 6.0 section 9: the example, and runs that pass the end.
    const Bytes packed = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    const Bytes whole = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                         0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    for (size_t length = 0; length <= packed.size(); ++length) {
        GuardBuffer in(head(packed, length)), out(whole.size());
        VorelDngStream stream(in.data(), static_cast<uint32_t>(length));
        EXPECT_EQ(DecodePackBits(stream, out.data(), 24), length == packed.size());
        if (length == packed.size()) EXPECT_TRUE(out.bytes() == whole);
    }
    GuardBuffer in(packed), out(23);
    VorelDngStream stream(in.data(), static_cast<uint32_t>(packed.size()));
    EXPECT_EQ(DecodePackBits(stream, out.data(), 23), 0);
}

}  // namespace
}  // namespace vorel::test
