// Colour rows against the conversion in real numbers, and what the row kernels do, by example.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

struct Pixel {
    int r, g, b, a;
    bool operator==(const Pixel &) const = default;
};
Pixel pixel(PixelFormat format, const Row &row, size_t x) {
    if (format == PixelFormat::kRgb565) {
        const int word = row[2 * x] | row[2 * x + 1] << 8;
        return {word >> 11, word >> 5 & 63, word & 31, 255};
    }
    const uint8_t *p = &row[4 * x];
    return format == PixelFormat::kBgra ? Pixel{p[2], p[1], p[0], p[3]} : Pixel{p[0], p[1], p[2], p[3]};
}
// The same colour at the format's depth.
Pixel reduced(PixelFormat format, Pixel p) {
    return format == PixelFormat::kRgb565 ? Pixel{p.r >> 3, p.g >> 2, p.b >> 3, p.a} : p;
}

constexpr PixelFormat kFormats[] = {PixelFormat::kRgba, PixelFormat::kBgra, PixelFormat::kRgb565};

// A row of all luma values at one chroma.
Row convert(const KernelTable &table, PixelFormat format, int cb, int cr) {
    const Row y = ramp(), cb_row(256, static_cast<uint8_t>(cb)), cr_row(256, static_cast<uint8_t>(cr));
    Row out(256 * 4);
    table.ycc_row[static_cast<int>(format)](y.data(), cb_row.data(), cr_row.data(), 256, out.data());
    return out;
}

// T.871, with half a step for rounding and the little that the constants' bits lose.
TEST(ColourRows, EveryTripleIsTheRealConversionRoundedInEveryTable) {
    const auto near = [](int got, double exact) { return std::abs(got - std::clamp(exact, 0.0, 255.0)) <= 0.505; };
    for (int cb = 0; cb < 256; ++cb) {
        for (int cr = 0; cr < 256; ++cr) {
            const Row row = convert(scalar_kernels(), PixelFormat::kRgba, cb, cr);
            for (const KernelTable *table : all_tables())
                ASSERT_EQ(convert(*table, PixelFormat::kRgba, cb, cr), row) << table->name << " " << cb << " " << cr;
            for (size_t y = 0; y < 256; ++y) {
                const Pixel p = pixel(PixelFormat::kRgba, row, y);
                const double luma = static_cast<double>(y), u = cb - 128, v = cr - 128;
                ASSERT_TRUE(near(p.r, luma + 1.402 * v) && near(p.g, luma - 0.344136 * u - 0.714136 * v) &&
                            near(p.b, luma + 1.772 * u) && p.a == 255)
                    << y << " " << cb << " " << cr << ": " << p.r << " " << p.g << " " << p.b;
            }
        }
    }
}

// Ties of the rounding shifts, and where they fall: worked out by hand.
TEST(ColourRows, RoundingGoesUp) {
    const struct {
        int cb, cr;
        Pixel at_100;
    } cases[] = {{128, 128, {100, 100, 100, 255}}, {128, 129, {101, 99, 100, 255}}, {128, 127, {99, 101, 100, 255}},
                 {129, 128, {100, 100, 102, 255}}, {127, 128, {100, 100, 98, 255}}, {130, 130, {103, 98, 104, 255}},
                 {255, 255, {255, 0, 255, 255}},   {0, 0, {0, 235, 0, 255}}};
    for (const KernelTable *table : all_tables()) {
        for (const auto &c : cases) {
            for (const PixelFormat format : kFormats) {
                EXPECT_EQ(pixel(format, convert(*table, format, c.cb, c.cr), 100), reduced(format, c.at_100))
                    << table->name << " " << c.cb << " " << c.cr;
            }
        }
    }
}

TEST(ColourRows, SharedChromaServesTwoPixelsAndTheLastOfAnOddRowOne) {
    std::mt19937 random(31);
    for (const KernelTable *table : all_tables()) {
        for (const int width : {1, 2, 7, 33, 129}) {
            const size_t n = static_cast<size_t>(width);
            Row y0(n), y1(n), cb((n + 1) / 2), cr((n + 1) / 2), wide_cb(n), wide_cr(n);
            for (Row *row : {&y0, &y1, &cb, &cr}) std::generate(row->begin(), row->end(), std::ref(random));
            for (size_t x = 0; x < n; ++x) {
                wide_cb[x] = cb[x / 2];
                wide_cr[x] = cr[x / 2];
            }
            for (size_t f = 0; f < kPixelFormats; ++f) {
                Row full0(4 * n), full1(4 * n), shared(4 * n), pair0(4 * n), pair1(4 * n);
                table->ycc_row[f](y0.data(), wide_cb.data(), wide_cr.data(), width, full0.data());
                table->ycc_row[f](y1.data(), wide_cb.data(), wide_cr.data(), width, full1.data());
                table->ycc_row_shared[f](y0.data(), cb.data(), cr.data(), width, shared.data());
                table->ycc_row_pair[f](y0.data(), y1.data(), cb.data(), cr.data(), width, pair0.data(), pair1.data());
                EXPECT_EQ(shared, full0);
                EXPECT_EQ(pair0, full0);
                EXPECT_EQ(pair1, full1);
            }
        }
    }
}

TEST(ColourRows, GrayAndRgbKeepTheirSamples) {
    const Row row = ramp();
    Row reversed(row.rbegin(), row.rend()), shuffled(256);
    for (size_t i = 0; i < 256; ++i) shuffled[i] = static_cast<uint8_t>(i * 77 + 13);
    for (const KernelTable *table : all_tables()) {
        for (const PixelFormat format : kFormats) {
            Row gray(1024), rgb(1024);
            table->gray_row[static_cast<int>(format)](row.data(), 256, gray.data());
            table->rgb_row[static_cast<int>(format)](row.data(), reversed.data(), shuffled.data(), 256, rgb.data());
            for (size_t x = 0; x < 256; ++x) {
                const int y = row[x];
                ASSERT_EQ(pixel(format, gray, x), reduced(format, {y, y, y, 255}));
                ASSERT_EQ(pixel(format, rgb, x), reduced(format, {y, reversed[x], shuffled[x], 255}));
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

TEST(ColourRows, InvertedRgbIsWhatIsMissingToWhite) {
    const Row y = ramp();
    for (const KernelTable *table : all_tables()) {
        for (int cb = 0; cb < 256; cb += 15) {
            for (int cr = 0; cr < 256; cr += 17) {
                const Row rgba = convert(*table, PixelFormat::kRgba, cb, cr);
                const Row cb_row(256, static_cast<uint8_t>(cb)), cr_row(256, static_cast<uint8_t>(cr));
                Row c(256), m(256), yellow(256);
                table->ycc_to_inverted_rgb(y.data(), cb_row.data(), cr_row.data(), 256, c.data(), m.data(),
                                           yellow.data());
                for (size_t x = 0; x < 256; ++x) {
                    const Pixel p = pixel(PixelFormat::kRgba, rgba, x);
                    ASSERT_EQ((Pixel{255 - c[x], 255 - m[x], 255 - yellow[x], 255}), p) << table->name;
                }
            }
        }
    }
}

TEST(SampleRows, ByExample) {
    const Row a = {1, 2, 3, 4, 5, 6, 7}, b = {11, 12, 13, 14}, c = {21, 22, 23, 24};
    for (const KernelTable *table : all_tables()) {
        Row even(4), doubled(7), both(8), packed(8);
        table->even_samples(a.data(), 4, even.data());
        EXPECT_EQ(even, (Row{1, 3, 5, 7}));
        table->double_samples(b.data(), 7, doubled.data());
        EXPECT_EQ(doubled, (Row{11, 11, 12, 12, 13, 13, 14}));
        table->interleave(b.data(), c.data(), 4, both.data());
        EXPECT_EQ(both, (Row{11, 21, 12, 22, 13, 23, 14, 24}));
        table->yuyv(a.data(), b.data(), c.data(), 2, packed.data());
        EXPECT_EQ(packed, (Row{1, 11, 2, 21, 3, 12, 4, 22}));
        // Four samples each: 255 255 255 255, 1 2 3 4 and 0 0 0 3.
        const uint32_t sums[] = {1020u << 20 | 10u << 10 | 3u};
        uint8_t means[3];
        table->unpack_means(sums, 1, &means[0], &means[1], &means[2]);
        EXPECT_EQ((Row{means[0], means[1], means[2]}), (Row{255, 2, 0}));
    }
}

}  // namespace
}  // namespace vorel::test
