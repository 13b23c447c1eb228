// Every inverse DCT of every table against the definition and against each other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "jpeg/decoder/kernels/block_samples.h"

namespace vorel::test {
namespace {

Quant flat_quant(uint16_t q) {
    Quant quant;
    quant.fill(q);
    return quant;
}

double clamped(double sample) { return std::clamp(sample, 0.0, 255.0); }

// The full size within one of the definition, the others within two; coefficients that a shape has not are not read.
TEST(Idct, EveryShapeFollowsItsDefinition) {
    std::mt19937 random(1);
    for (const KernelTable *table : all_tables()) {
        for (const ShapeSize &size : kShapeSizes) {
            const bool full = size.shape == IdctShape::k8x8;
            for (int i = 0; i < 300; ++i) {
                const Quant quant = i % 2 ? ramp_quant() : flat_quant(1);
                const int columns = full ? 1 + i % 8 : size.width, rows = full ? 1 + i / 3 % 8 : size.height;
                Block block = natural_block(random, quant, columns, rows, full ? 10 + i % 60 : 20);
                for (int k = 0; k < 64 && size.width <= 2 && size.height <= 2; ++k)
                    if (k % 8 >= size.width || k / 8 >= size.height) block.c[k] = static_cast<int16_t>(random());
                const std::vector<uint8_t> samples = transform(*table, size, block, quant);
                for (int at = 0; at < size.width * size.height; ++at) {
                    const double exact =
                        exact_sample(block, quant, size.width, size.height, at % size.width, at / size.width);
                    ASSERT_NEAR(samples[static_cast<size_t>(at)], clamped(exact), full ? 1.0 : 2.0)
                        << table->name << " " << size.name << " block " << i << " sample " << at;
                }
            }
        }
    }
}

// The nearest coefficients of a block of samples, T.81 A.3.3 forwards.
Block forward_dct(const double (&samples)[64]) {
    Block block;
    for (int k = 0; k < 64; ++k) {
        double sum = 0;
        Block unit;
        unit.c[k] = 1;
        for (int at = 0; at < 64; ++at)
            sum += samples[at] * (exact_sample(unit, flat_quant(1), 8, 8, at % 8, at / 8) - 128);
        block.c[k] = static_cast<int16_t>(std::lround(sum));
    }
    return block;
}

// IEEE 1180: peak error 1, mean square 0.06 per sample and 0.02 overall, mean 0.015 per sample and 0.0015 overall.
TEST(Idct, FullSizeMeetsTheAccuracyOfIeee1180) {
    constexpr int kBlocks = 300;
    const Quant quant = flat_quant(1);
    for (const int height : {5, 128}) {
        std::mt19937 random(2);
        std::vector<Block> blocks(kBlocks);
        std::vector<std::array<double, 64>> exact(kBlocks);
        for (size_t i = 0; i < kBlocks; ++i) {
            double samples[64];
            for (double &sample : samples) sample = static_cast<double>(random() % (2u * height + 1)) - height;
            blocks[i] = forward_dct(samples);
            for (int at = 0; at < 64; ++at) {
                exact[i][static_cast<size_t>(at)] =
                    clamped(std::floor(exact_sample(blocks[i], quant, 8, 8, at % 8, at / 8) + 0.5));
            }
        }
        for (const KernelTable *table : all_tables()) {
            double mean[64] = {}, square[64] = {}, mean_sum = 0, square_sum = 0;
            for (size_t i = 0; i < kBlocks; ++i) {
                const std::vector<uint8_t> samples = transform(*table, kShapeSizes[0], blocks[i], quant);
                for (size_t at = 0; at < 64; ++at) {
                    const double error = samples[at] - exact[i][at];
                    ASSERT_LE(std::abs(error), 1) << table->name;
                    mean[at] += error / kBlocks;
                    square[at] += error * error / kBlocks;
                }
            }
            for (size_t at = 0; at < 64; ++at) {
                EXPECT_LE(std::abs(mean[at]), 0.015 + 1 / std::sqrt(kBlocks * 64.)) << table->name << " sample " << at;
                EXPECT_LE(square[at], 0.06) << table->name << " sample " << at;
                mean_sum += mean[at] / 64;
                square_sum += square[at] / 64;
            }
            EXPECT_LE(std::abs(mean_sum), 0.0015) << table->name;
            EXPECT_LE(square_sum, 0.02) << table->name;
        }
    }
}

// Up to 2^31 dequantised: nothing may wrap on its way to the clamp.
TEST(Idct, ADcBeyondTheRangeIsWhiteOrBlackInEveryShape) {
    const uint16_t quants[] = {1, 3, 16, 255, 4096, 32767, 32768, 65535};
    const int16_t values[] = {-32768, -32767, -8192, -4097, -2048, -1025, -300, -1,   0,
                              1,      7,      300,   1024,  2047,  4096,  8191, 32767};
    for (const KernelTable *table : all_tables()) {
        for (const ShapeSize &size : kShapeSizes) {
            for (const uint16_t q : quants) {
                for (const int16_t dc : values) {
                    for (const bool with_ac :
                         {false, true}) {  // a coefficient that weighs nothing chooses the long path
                        Block block;
                        block.c[0] = dc;
                        Quant quant = flat_quant(q);
                        if (with_ac) {
                            block.c[63] = block.c[1] = 1;
                            quant[63] = quant[1] = 0;
                        }
                        const double exact = clamped(128 + static_cast<double>(dc) * q / 8);
                        for (const uint8_t sample : transform(*table, size, block, quant)) {
                            ASSERT_NEAR(sample, exact, 1) << table->name << " " << size.name << " " << dc << " x " << q;
                        }
                    }
                }
            }
        }
    }
}

TEST(RangeTables, TheFirstClampsEveryTenBitValue) {
    for (int value = -512; value < 512; ++value) {
        EXPECT_EQ(kRangeLimit[kRangeCentre + (value & 0x3FF)], std::clamp(value + 128, 0, 255)) << value;
    }
    for (int index = -227; index <= 480; ++index) {  // all that colour conversion can ask for
        EXPECT_EQ(kRangeLimit[kRangeZero + index], std::clamp(index, 0, 255)) << index;
    }
    EXPECT_EQ(kRangeLimit[0], 0);
    EXPECT_EQ(kRangeLimit[1407], 127);
}

TEST(RangeTables, TheSecondKeepsMiddleGrayAndHasRunsThatStartEarly) {
    const auto at = [](int sample) { return kCompressedRange[kCompressedCentre + ((sample - 128) & 0x3FF)]; };
    // Required: below the centre each sample gets what belongs 15 further on, and strong overflow gives the centre.
    for (const auto &[sample, value] : {std::pair(0, 23),
                                        {128, 128},
                                        {255, 233},
                                        {127, 141},
                                        {113, 128},
                                        {-15, 23},
                                        {-16, 128},
                                        {624, 233},
                                        {625, 128}})
        EXPECT_EQ(at(sample), value) << sample;
    for (int sample = 129; sample < 256; ++sample) EXPECT_GE(at(sample), at(sample - 1)) << sample;
}

TEST(RangeTables, TheSecondReplacesTheClampInEveryShape) {
    for (const KernelTable *table : all_tables()) {
        for (const ShapeSize &size : kShapeSizes) {
            for (const auto &[dc, sample] : {std::pair<int16_t, uint8_t>{-128, 23}, {0, 128}, {127, 233}}) {
                Block block;
                block.c[0] = dc;
                for (const uint8_t got : transform(*table, size, block, flat_quant(8), false))
                    EXPECT_EQ(got, sample) << size.name;
            }
        }
    }
}

// The largest quantisers stay positive in the scaled forms.
TEST(Multipliers, ScaledFormsHoldTheLargestQuantisers) {
    const Quant quant = flat_quant(65535);
    int32_t multipliers[64];
    for (const ShapeSize &size : kShapeSizes) {
        make_multipliers(size.shape, quant.data(), multipliers);
        EXPECT_GE(*std::min_element(multipliers, multipliers + 64), 0) << size.name;
    }
    make_scaled_multipliers(quant.data(), multipliers);
    EXPECT_EQ(multipliers[63], static_cast<int32_t>(1247LL * 65535 / 4));
}

}  // namespace
}  // namespace vorel::test
