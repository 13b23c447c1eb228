// The exported single-block transforms and their tables.
#include <gtest/gtest.h>

#include <vorel/jpeg_decoder.h>

#include <utility>

#include "jpeg/decoder/kernels/block_samples.h"

namespace vorel::test {
namespace {

// The samples that an entry stores, and no byte else. Its rows come in no order, so that a kernel that steps from row
// to row is found out.
std::vector<uint8_t> call(BrimIdctFunc entry, const int32_t *multipliers, const Block &block, int width, int height) {
    constexpr size_t kPitch = 24;
    constexpr int kColumn = 7;
    const std::vector<uint8_t> untouched(8 * kPitch, 0xA5);
    std::vector<uint8_t> bytes = untouched, samples;
    uint8_t *rows[8];
    for (size_t y = 0; y < 8; ++y) rows[y] = &bytes[(5 * y + 3) % 8 * kPitch];
    entry(kRangeLimit + kRangeCentre, multipliers, block.c, rows, kColumn);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) samples.push_back(std::exchange(rows[y][kColumn + x], uint8_t{0xA5}));
    EXPECT_EQ(bytes, untouched) << "stored outside of the block";
    return samples;
}

TEST(IdctEntries, ShapesGiveWhatTheKernelTableGives) {
    const struct {
        BrimIdctFunc entry;
        IdctShape shape;
    } cases[] = {{BRIMJ_DoIdct_islow, IdctShape::k8x8}, {BRIMJ_DoIdct_8x4, IdctShape::k8x4},
                 {BRIMJ_DoIdct_4x8, IdctShape::k4x8},   {BRIMJ_DoIdct_4x4, IdctShape::k4x4},
                 {BRIMJ_DoIdct_2to1, IdctShape::k4x4},  {BRIMJ_DoIdct_4x2, IdctShape::k4x2},
                 {BRIMJ_DoIdct_2x4, IdctShape::k2x4},   {BRIMJ_DoIdct_2x2, IdctShape::k2x2},
                 {BRIMJ_DoIdct_4to1, IdctShape::k2x2},  {BRIMJ_DoIdct_4to1_CBCR, IdctShape::k2x2},
                 {BRIMJ_DoIdct_2x1, IdctShape::k2x1},   {BRIMJ_DoIdct_1x2, IdctShape::k1x2},
                 {BRIMJ_DoIdct_1x1, IdctShape::k1x1},   {BRIMJ_DoIdct_8to1, IdctShape::k1x1},
                 {BRIMJ_DoIdct_8to3, IdctShape::k3x3}};
    std::mt19937 random(11);
    const Quant quant = ramp_quant();
    for (const auto &c : cases) {
        const ShapeSize &size = kShapeSizes[static_cast<int>(c.shape)];
        int32_t multipliers[64];
        make_multipliers(c.shape, quant.data(), multipliers);
        for (int i = 0; i < 20; ++i) {
            const Block block = natural_block(random, quant, 8, 8, 40);
            EXPECT_EQ(call(c.entry, multipliers, block, size.width, size.height),
                      transform(kernels(), size, block, quant))
                << size.name;
        }
    }
}

struct CornerEntry {
    BrimIdctFunc entry;
    int size, columns, rows;
};
const CornerEntry kCornerEntries[] = {
    {BRIMJ_DoIdct, 8, 8, 8},          {BRIMJ_DoIdctDither, 8, 8, 8},    {BRIMJ_DoIdct1By1, 8, 1, 1},
    {BRIMJ_DoIdct1By2, 8, 1, 2},      {BRIMJ_DoIdct2By1, 8, 2, 1},      {BRIMJ_DoIdct2By2, 8, 2, 2},
    {BRIMJ_DoIdct2By2All, 8, 2, 2},   {BRIMJ_DoIdct3By3, 8, 3, 3},      {BRIMJ_DoIdct4By4, 8, 4, 4},
    {BRIMJ_DoIdct5By5, 8, 5, 5},      {BRIMJ_DoIdct6By6, 8, 6, 6},      {BRIMJ_DoIdct7By7, 8, 7, 7},
    {BRIMJ_DoIdct8By8, 8, 8, 8},      {BRIMJ_DoIdct1x1For4x4, 4, 1, 1}, {BRIMJ_DoIdct2x2For4x4, 4, 2, 2},
    {BRIMJ_DoIdct3x3For4x4, 4, 3, 3}, {BRIMJ_DoIdct4x4For4x4, 4, 4, 4}};

TEST(IdctEntries, CornersTakeTheirLowestCoefficientsAndNoOthers) {
    std::mt19937 random(12);
    const Quant quant = ramp_quant();
    for (const CornerEntry &c : kCornerEntries) {
        SCOPED_TRACE(&c - kCornerEntries);
        int32_t multipliers[64];
        if (c.size == 8) make_scaled_multipliers(quant.data(), multipliers);
        if (c.size == 4) make_multipliers(IdctShape::k4x4, quant.data(), multipliers);
        for (int i = 0; i < 20; ++i) {
            const Block corner = natural_block(random, quant, c.columns, c.rows, 20);
            Block noisy = corner;
            for (int k = 0; k < 64; ++k) {
                if (k % 8 >= c.columns || k / 8 >= c.rows) noisy.c[k] = static_cast<int16_t>(random());
            }
            const std::vector<uint8_t> got = call(c.entry, multipliers, noisy, c.size, c.size);
            for (int at = 0; at < c.size * c.size; ++at) {
                const double exact = exact_sample(corner, quant, c.size, c.size, at % c.size, at / c.size);
                ASSERT_NEAR(got[static_cast<size_t>(at)], std::clamp(exact, 0.0, 255.0), 2.5)
                    << "block " << i << " sample " << at;
            }
        }
    }
}

TEST(IdctEntries, OneSampleOfTheScaledFormIsNotRounded) {
    int32_t multipliers[64];
    for (const uint16_t q : {1, 2, 7, 8, 255, 65535}) {
        Quant quant = {};
        quant[0] = q;
        make_scaled_multipliers(quant.data(), multipliers);
        for (int dc = -200; dc <= 200; ++dc) {
            Block block;
            block.c[0] = static_cast<int16_t>(dc);
            const int exact = std::clamp(128 + static_cast<int>(std::floor(dc * static_cast<double>(q) / 8)), 0, 255);
            ASSERT_EQ(call(BRIMJ_DoIdct1x1, multipliers, block, 1, 1)[0], exact) << dc << " x " << q;
            ASSERT_EQ(call(BRIMJ_DoIdct1By1, multipliers, block, 8, 8),
                      std::vector<uint8_t>(64, static_cast<uint8_t>(exact)));
        }
    }
}

TEST(IdctEntries, TheHalvedFormMeansNeighboursOfThree) {
    std::mt19937 random(13);
    const Quant quant = ramp_quant();
    int32_t multipliers[64];
    make_multipliers(IdctShape::k3x3, quant.data(), multipliers);
    for (int i = 0; i < 50; ++i) {
        const Block block = natural_block(random, quant, 3, 3, 30);
        const std::vector<uint8_t> three = call(BRIMJ_DoIdct_8to3, multipliers, block, 3, 3);
        const std::vector<uint8_t> two = call(BRIMJ_DoProgIdct_4to1, multipliers, block, 2, 2);
        for (size_t at = 0; at < 4; ++at) {
            const size_t corner = at / 2 * 3 + at % 2;
            const int sum = three[corner] + three[corner + 1] + three[corner + 3] + three[corner + 4];
            EXPECT_LE(two[at], sum / 4) << i;
            EXPECT_GE(two[at], sum / 4 - 1) << i;
        }
    }
}

TEST(IdctEntries, MethodsByIndex) {
    EXPECT_EQ(BRIMJ_GetDctMethodIndexFirst(), 0);
    for (const auto &[scale, entry] : {std::pair{-1, 0}, {0, 0}, {3, 3}, {6, 6}, {7, 6}, {INT32_MAX, 6}})
        EXPECT_EQ(BRIMJ_GetDctMethodIndex(scale), entry) << scale;
    EXPECT_EQ(BRIMJ_GetDctMethod2to1(), BRIMJ_DoIdct_4x4);
    EXPECT_EQ(BRIMJ_GetDctMethod4to1(), BRIMJ_DoIdct_2x2);
    EXPECT_EQ(BRIMJ_GetDctMethod8to1(), BRIMJ_DoIdct_1x1);
    EXPECT_EQ(BRIMJ_GetDctMethod8to3(), nullptr);
    for (int i = 0; i < 29; ++i) EXPECT_TRUE(pIDctFunc[i] == BRIMJ_DoIdct_islow && pIDctFuncIslow[i] == pIDctFunc[0]);
    const BrimIdctFunc by_scale[7] = {BRIMJ_DoIdct_1x1,  BRIMJ_DoIdct_2x2,  BRIMJ_DoIdct_2x2, BRIMJ_DoIdct_8to3,
                                      BRIMJ_DoIdct_8to3, BRIMJ_DoIdct_8to3, BRIMJ_DoIdct_4x4};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(pIDctResizeFunc[i], by_scale[i]) << i;
        EXPECT_EQ(pIDctResizeFunc2to1[i], BRIMJ_DoIdct_4x4) << i;
        EXPECT_EQ(pIDctResizeFunc4to1[i], BRIMJ_DoIdct_2x2) << i;
        EXPECT_EQ(pIDctResizeFunc8to1[i], BRIMJ_DoIdct_1x1) << i;
        EXPECT_EQ(pIDctResizeFunc8to3[i], BRIMJ_DoIdct_8to3) << i;
    }
}

}  // namespace
}  // namespace vorel::test
