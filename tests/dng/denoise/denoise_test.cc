// Noise reduction: medians against sorting, the grid against a slow model, the way through YUV, mosaics.
#include <vorel/dng_samples.h>
#include <vorel/util.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstring>
#include <map>
#include <numeric>
#include <tuple>

#include "dng/denoise/bilateral_filter.h"
#include "dng/denoise/image_array.h"
#include "dng/denoise/kernels/kernels.h"
#include "dng/denoise/mosaic_filter.h"
#include "dng/denoise/noise_reduction.h"
#include "dng/mosaic/mosaic_info.h"
#include "dng/support/plain_context.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

using Array = VorelDngImageArray;
using Filter = VorelDngBilateralFilter;

// The median over the taps of a window of an outer or a city-block distance, by sorting.
Bytes sorted_medians(const Bytes &in, int width, int height, int step, bool square, int reach) {
    Bytes out = in;
    for (int i = 0; i < width * height; ++i) {
        Bytes taps;
        for (int tap = 0; tap < 25; ++tap) {
            const int v = tap / 5 - 2, h = tap % 5 - 2;
            if ((square ? std::max(std::abs(v), std::abs(h)) : std::abs(v) + std::abs(h)) > reach) continue;
            const int row = std::clamp(i / width + v, 0, height - 1), column = std::clamp(i % width + h, 0, width - 1);
            taps.push_back(in[static_cast<size_t>((row * width + column) * step)]);
        }
        std::sort(taps.begin(), taps.end());
        out[static_cast<size_t>(i * step)] = taps[taps.size() / 2];
    }
    return out;
}

TEST(DngDenoise, MediansEqualSorting) {
    const std::tuple<decltype(&MedianFilterSquare5x5), bool, int> filters[] = {{MedianFilterRhomb3x3, false, 1},
                                                                               {MedianFilterSquare3x3, true, 1},
                                                                               {MedianFilterRhomb5x5, false, 2},
                                                                               {MedianFilterSquare5x5, true, 2}};
    unsigned seed = 0;
    for (int target = 0; target < kSimdTargets; ++target) {
        if (!cpu_runs_target(static_cast<SimdTarget>(target))) continue;
        limit_simd_targets(static_cast<SimdTarget>(target));
        for (const auto &[width, height] : {std::pair{1, 1}, {2, 1}, {1, 7}, {3, 4}, {17, 5}, {70, 9}, {131, 3}}) {
            for (const int step : {1, 3}) {
                const Bytes in = kernel_row(static_cast<size_t>(width * height * step), ++seed);
                for (const auto &[run, square, reach] : filters) {
                    Bytes out = in;
                    run(in.data(), width * step, width, height, step, out.data(), width * step);
                    ASSERT_TRUE(out == sorted_medians(in, width, height, step, square, reach))
                        << square << reach << " " << width << "x" << height << " step " << step << " target " << target;
                }
                if (step == 3) continue;
                const Bytes medians = sorted_medians(in, width, height, 1, true, 2);
                for (const int threshold : {-1, 0, 20, 300}) {
                    // In place, and of a kernel that counts for nothing.
                    Bytes out = in;
                    Filter::removeSpike(out.data(), width, height, 1, out.data(), threshold, threshold);
                    for (size_t i = 0; i < in.size(); ++i) {
                        ASSERT_EQ(out[i], std::abs(in[i] - medians[i]) > threshold ? medians[i] : in[i]);
                    }
                }
            }
        }
    }
    limit_simd_targets(SimdTarget::kCount);
}

// The filter as its definition has it, a cell and a tap at a time. A cell is a sum and a count.
std::vector<double> slow_bilateral(const std::vector<double> &in, int width, double range, double spatial) {
    using Place = std::array<int, 3>;
    const double least = *std::min_element(in.begin(), in.end()), most = *std::max_element(in.begin(), in.end());
    const auto position = [&](size_t i, double z) {
        const int y = static_cast<int>(i) / width, x = static_cast<int>(i) % width;
        return std::array{y / spatial + 2, x / spatial + 2, (z - least) / range + 2};
    };
    const auto floor_of = [](const std::array<double, 3> &at, double more) {
        return Place{static_cast<int>(at[0] + more), static_cast<int>(at[1] + more), static_cast<int>(at[2] + more)};
    };
    std::map<Place, std::complex<double>> grid, other;
    for (size_t i = 0; i < in.size(); ++i) grid[floor_of(position(i, in[i]), 0.5)] += std::complex<double>(in[i], 1);
    const Place last = floor_of(position(in.size() - 1, most), 1);
    for (size_t pass = 0; pass < 6; ++pass, std::swap(grid, other)) {
        const auto next = [&](const Place &at) {
            if (at[2] < last[2]) return Place{at[0], at[1], at[2] + 1};
            return at[1] < last[1] ? Place{at[0], at[1] + 1, 1} : Place{at[0] + 1, 1, 1};
        };
        for (Place at = {1, 1, 1}; at[0] <= last[0]; at = next(at)) {
            Place before = at, behind = at;
            --before[pass / 2], ++behind[pass / 2];
            other[at] = (grid[before] + 2.0 * grid[at] + grid[behind]) / 4.0;
        }
    }
    std::vector<double> out(in.size());
    for (size_t i = 0; i < 8 * in.size(); ++i) {
        const auto at = position(i / 8, in[i / 8]);
        Place cell = floor_of(at, 0);
        double weight = 1;
        for (size_t axis = 0; axis < 3; ++axis) {
            const double fraction = at[axis] - cell[axis];
            const int upper = i >> axis & 1;
            weight *= upper ? fraction : 1 - fraction;
            cell[axis] += upper;
        }
        out[i / 8] += weight * grid[cell].real() / (grid[cell].imag() == 0 ? 1 : grid[cell].imag());
    }
    return out;
}

TEST(DngDenoise, BilateralGrid) {
    const std::tuple<int, int, double, double> cases[] = {
        {1, 1, 16, 32}, {70, 50, 16, 32}, {33, 97, 16, 32}, {64, 31, 5, 7.5}, {200, 3, 60, 1}};
    for (const auto &[width, height, range, spatial] : cases) {
        Bytes bytes = noise(static_cast<size_t>(width * height), static_cast<unsigned>(width));
        for (uint8_t &v : bytes) v = static_cast<uint8_t>(40 + v / 2);
        std::vector<double> plane(bytes.begin(), bytes.end());
        const auto expected = slow_bilateral(plane, width, range, spatial);
        Filter::bilateralFilter(plane.data(), width, height, 5, plane.data(), range, spatial);
        Filter::bilateralFilter(bytes.data(), width, height, 1, bytes.data(), range, spatial);
        for (size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_NEAR(plane[i], expected[i], 1e-9) << i;
            ASSERT_EQ(bytes[i], static_cast<int>(plane[i] + 0.5)) << i;
        }
    }
    const uint16_t shorts[2] = {7, 300};
    const std::unique_ptr<Array> limited(Array::getByteImageArray(shorts, 2, 1, Array::kShort));
    EXPECT_TRUE(limited->getMinValue() == 7 && limited->getMaxValue() == 255);
    // Flat, all below 0 where the maximum is 0, and what no grid serves.
    const auto filtered = [](double value, double first, double range) {
        std::vector<double> plane(70 * 50, value);
        plane[0] = first;
        Filter::bilateralFilter(plane.data(), 70, 50, Array::kDouble, plane.data(), range, 32);
        return plane[33];
    };
    EXPECT_TRUE(filtered(97, 97, 16) == 97 && filtered(97, 1, 0) == 97);
    EXPECT_NEAR(filtered(-5, -5, 16), -5, 1e-12);
    EXPECT_THROW(filtered(97, 1e300, 1e-300), std::bad_alloc);
}

Bytes rgba_of(size_t pixels, const Bytes &rgb) {
    Bytes rgba;
    for (size_t i = 0; i < pixels; ++i) rgba.insert(rgba.end(), {rgb[0], rgb[1], rgb[2], 255});
    return rgba;
}

// Required: to full range and back from video range, so that contrast grows.
TEST(DngDenoise, ConvertersOfThePictureAreNoPair) {
    PlainContext context;
    std::vector<std::array<Bytes, 2>> cases = {{Bytes{200, 120, 60}, Bytes{212, 121, 54}}};
    const Bytes greys = {16, 32, 64, 96, 117, 128, 160, 200, 235, 236};
    const Bytes results = {0, 18, 55, 93, 117, 130, 167, 214, 254, 255};
    for (size_t i = 0; i < greys.size(); ++i) cases.push_back({Bytes(3, greys[i]), Bytes(3, results[i])});
    for (const auto &[in, expected] : cases) {
        for (const auto &[width, height, strength] : {std::array{1, 1, 1}, {5, 5, 0}, {5, 5, 3}, {36, 7, 1}}) {
            const size_t pixels = static_cast<size_t>(width * height);
            GuardBuffer rgba(rgba_of(pixels, in));
            VorelDngNoiseReduction reduction(strength);
            reduction.doNoiseReductionBiLateralFilter(context, rgba.data(), rgba.data(), width, height);
            EXPECT_EQ(rgba.bytes(), rgba_of(pixels, expected));
        }
    }
}

// Step by step with the public converters; odd sizes keep the chroma of their last column and row.
TEST(DngDenoise, PictureGoesThroughItsSteps) {
    for (const auto &[width, height] : {std::pair{40, 34}, {101, 67}, {2, 3}}) {
        const size_t luma = static_cast<size_t>(width * height);
        const int cw = (width + 1) / 2, ch = (height + 1) / 2, w = width / 2, h = height / 2;
        const Bytes rgba = noise(luma * 4, 3);
        Bytes yuv(luma + static_cast<size_t>(2 * cw * ch));
        rgba8888_to_yuv420(width, height, rgba.data(), yuv.data());
        Filter::removeSpike(yuv.data(), width, height, Array::kByte, yuv.data(), 20, 5);
        for (int plane = 0; plane < 2; ++plane) {
            uint8_t *at = yuv.data() + luma + plane * cw * ch;
            Bytes part(static_cast<size_t>(w * h));
            for (int y = 0; y < h; ++y) std::memcpy(part.data() + y * w, at + y * cw, static_cast<size_t>(w));
            Filter::removeSpike(part.data(), w, h, Array::kByte, part.data(), 20, 5);
            for (int i = 0; i < 2; ++i) Filter::bilateralFilter(part.data(), w, h, 1, part.data(), 16, 32);
            for (int y = 0; y < h; ++y) std::memcpy(at + y * cw, part.data() + y * w, static_cast<size_t>(w));
        }
        Bytes expected(rgba.size()), untouched(rgba.size(), 7);
        yuv420_to_rgba8888(width, height, yuv.data(), expected.data());
        // A rectangle is a picture of its own: here all but the first row.
        PlainContext context;
        VorelDngNoiseReduction reduction(2);
        Bytes below = cat({Bytes(static_cast<size_t>(width * 4), 9), rgba});
        reduction.doNoiseReductionBiLateralFilter(context, below.data(), below.data(), width, height + 1,
                                                  {1, 0, height + 1, width + 5});
        EXPECT_TRUE(below == cat({Bytes(static_cast<size_t>(width * 4), 9), expected})) << width;

        // A cancel at any of its tests leaves the output.
        for (int tests = 7; tests >= 0; --tests) {
            context.tests_until_cancel = tests;
            reduction.doNoiseReductionBiLateralFilter(context, rgba.data(), untouched.data(), width, height);
            EXPECT_EQ(untouched, Bytes(rgba.size(), 7)) << tests;
        }
    }
}

TEST(DngDenoise, BitmapsOfThreeBytes) {
    // One block and an odd column and row: 255, 0, 0 is Y 76, Cr 128 + 179 * 0.713, Cb 128 - 76 * 0.564.
    Bytes rgb, yuv(9 + 2), expected(9, 76);
    for (int i = 0; i < 9; ++i) rgb.insert(rgb.end(), {255, 0, 0});
    Bitmap2Yuv420p(yuv.data(), rgb.data(), 3, 3);
    expected.insert(expected.end(), {255, 85});
    EXPECT_EQ(yuv, expected);
    Yuv420p2Bitmap(rgb.data(), yuv.data(), 3, 3);
    // 76 + 1.403 * 127, 76 - 0.714 * 127 + 0.344 * 43, 76 - 1.773 * 43: truncated, and at least 0.
    for (size_t i = 0; i < 27; ++i) EXPECT_EQ(rgb[i], i % 3 == 0 ? 254 : 0) << i;
    // No rounding behind the truncation of 102.8 and 98.6; without chroma samples there is grey.
    const Bytes one = {100, 100, 100, 100, 130, 128};
    Yuv420p2Bitmap(rgb.data(), one.data(), 2, 2);
    EXPECT_EQ(head(rgb, 3), (Bytes{102, 98, 100}));
    Yuv420p2Bitmap(rgb.data(), one.data(), 1, 1);
    EXPECT_EQ(head(rgb, 3), Bytes(3, 100));

    PlainContext context;
    VorelDngImage src({0, 0, 9, 21}, 3, kPixelByte), dst({0, 0, 9, 21}, 3, kPixelByte);
    each_sample(src, [&](int y, int x, uint32_t of) { *src.at<uint8_t>(y, x, of) = y == 4 && x == 10 ? 250 : 90; });
    VorelDngNoiseReduction(1).doNoiseReductionBiLateralFilter(context, src, dst);
    each_sample(dst, [&](int y, int x, uint32_t of) { EXPECT_EQ(*dst.at<uint8_t>(y, x, of), 90); });
}

TEST(DngDenoise, Mosaics) {
    const double xs[] = {0, 0.25, 0.5 - 1e-12, 0.5, 0.75, 1}, ys[] = {0.7, 0.5, 0.3, 0, 0.2, 0.4};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(VorelDngHVScurve(0.3, 0.7, 0.5).evaluate(xs[i]), ys[i], 1e-9);
    const VorelDngNLWeightCurve weight(0.2, 0.6);
    for (const double x : {0.1, 0.2, 0.5, 0.6}) EXPECT_NEAR(weight.evaluate(x), x < 0.3 ? 1 : 1.5 - 2.5 * x, 1e-12);
    std::vector<uint16_t> plane(30 * 20);
    std::iota(plane.begin(), plane.end(), uint16_t{0});
    double neighbours[121];
    const auto count_at = [&](int row, int column) {
        return VorelDngNoiseReduction::getNeighborPixels(plane.data(), neighbours, row, column, 20, 30, 11);
    };
    EXPECT_TRUE(count_at(9, 12) == 60 && count_at(0, 0) == 8 && count_at(10, 12) == 24);
    // The first ones are four rows up.
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(neighbours[i] * 65535, (10 - 4) * 30 + 12 - 4 + 2 * i, 1e-9);
    PlainContext context;
    VorelDngImage image({0, 0, 20, 30}, 1, kPixelShort);
    for (const bool ranks : {true, false}) {
        for (int i = 0; i < 600; ++i) *image.at<uint16_t>(i / 30, i % 30) = i == 312 ? 60000 : i == 275 ? 0 : 20000;
        VorelDngNoiseReduction reduction{VorelDngMosaicInfo()};
        reduction.setRankClip(ranks);
        reduction.doNoiseReduction(context, image);
        // Both go; by weights a little of them stays with their neighbours.
        for (int i = 0; i < 600; ++i) EXPECT_NEAR(*image.at<uint16_t>(i / 30, i % 30), 20000, ranks ? 0 : 1700) << i;
    }
}

}  // namespace
}  // namespace vorel::test
