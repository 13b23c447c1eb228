// Colour conversion in every table against its definition in real numbers, over all inputs. The other colour spaces,
// the formats and shared chroma are compared with a model in whole decodes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "jpeg/decoder/kernels/block_samples.h"

namespace vorel::test {
namespace {

using Row = std::vector<uint8_t>;

Row ramp() {
    Row row(256);
    std::iota(row.begin(), row.end(), uint8_t{0});
    return row;
}

// A row of all luma values at one chroma, as R, G, B, A.
Row convert(const KernelTable &table, int cb, int cr) {
    const Row y = ramp(), cb_row(256, static_cast<uint8_t>(cb)), cr_row(256, static_cast<uint8_t>(cr));
    Row out(256 * 4);
    table.ycc_row[static_cast<int>(PixelFormat::kRgba)](y.data(), cb_row.data(), cr_row.data(), 256, out.data());
    return out;
}

// T.871, with half a step for rounding and the little that the constants' bits lose.
TEST(ColourRows, EveryTripleIsTheRealConversionRoundedInEveryTable) {
    // In millionths, which hold the constants exactly.
    constexpr int kOne = 1'000'000;
    const auto near = [](int got, int exact) {
        return std::abs(got * kOne - std::clamp(exact, 0, 255 * kOne)) <= 505'000;
    };
    for (int cb = 0; cb < 256; ++cb) {
        for (int cr = 0; cr < 256; ++cr) {
            const Row row = convert(scalar_kernels(), cb, cr);
            for (const KernelTable *table : all_tables())
                ASSERT_EQ(convert(*table, cb, cr), row) << table->name << " " << cb << " " << cr;
            const int u = cb - 128, v = cr - 128;
            for (int y = 0; y < 256; ++y) {
                const uint8_t *p = &row[4 * static_cast<size_t>(y)];
                const int luma = y * kOne;
                ASSERT_TRUE(near(p[0], luma + 1'402'000 * v) && near(p[1], luma - 344'136 * u - 714'136 * v) &&
                            near(p[2], luma + 1'772'000 * u) && p[3] == 255)
                    << y << " " << cb << " " << cr << ": " << int{p[0]} << " " << int{p[1]} << " " << int{p[2]};
            }
        }
    }
}

TEST(ColourRows, InkTimesBlackIsTruncatedForEveryPair) {
    const Row ink = ramp();
    for (const KernelTable *table : all_tables()) {
        for (int k = 0; k < 256; ++k) {
            const Row black(256, static_cast<uint8_t>(k));
            Row out(256);
            table->multiply_black(ink.data(), black.data(), 256, out.data());
            for (int c = 0; c < 256; ++c) {
                // The largest value whose 255-fold does not exceed the product.
                const int value = out[static_cast<size_t>(c)];
                ASSERT_TRUE(value * 255 <= c * k && c * k < (value + 1) * 255) << table->name << " " << c << " " << k;
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
