// Noise reduction: medians against sorting, the grid against a slow model, the way through YUV, mosaics.
#include <vorel/dng_samples.h>
#include <vorel/util.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>

#include "dng/denoise/bilateral_filter.h"
#include "dng/denoise/image_array.h"
#include "dng/denoise/kernels/kernels.h"
#include "dng/denoise/mosaic_filter.h"
#include "dng/denoise/noise_reduction.h"
#include "dng/render/fixed_context.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

using Array = VorelDngImageArray;

// The median over the taps of a window, by sorting.
Bytes sorted_medians(const Bytes &in, int width, int height, int step, const std::function<bool(int, int)> &in_window) {
    Bytes out = in;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            Bytes taps;
            for (int v = -2; v <= 2; ++v) {
                for (int h = -2; h <= 2; ++h) {
                    const int row = std::clamp(y + v, 0, height - 1), column = std::clamp(x + h, 0, width - 1);
                    if (in_window(v, h)) taps.push_back(in[static_cast<size_t>((row * width + column) * step)]);
                }
            }
            std::sort(taps.begin(), taps.end());
            out[static_cast<size_t>((y * width + x) * step)] = taps[taps.size() / 2];
        }
    }
    return out;
}

const auto kWholeSquare = [](int, int) { return true; };

TEST(DngDenoise, MediansEqualSorting) {
    struct Filter {
        decltype(&MedianFilterSquare5x5) run;
        std::function<bool(int, int)> in_window;
    };
    const Filter filters[] = {
        {MedianFilterRhomb3x3, [](int v, int h) { return std::abs(v) + std::abs(h) <= 1; }},
        {MedianFilterSquare3x3, [](int v, int h) { return std::max(std::abs(v), std::abs(h)) <= 1; }},
        {MedianFilterRhomb5x5, [](int v, int h) { return std::abs(v) + std::abs(h) <= 2; }},
        {MedianFilterSquare5x5, kWholeSquare},
    };
    unsigned seed = 0;
    for (int target = 0; target < kSimdTargets; ++target) {
        if (!cpu_runs_target(static_cast<SimdTarget>(target))) continue;
        limit_simd_targets(static_cast<SimdTarget>(target));
        for (const auto &[width, height] : {std::pair{1, 1}, {2, 1}, {1, 7}, {3, 4}, {17, 5}, {70, 9}, {131, 3}}) {
            for (const int step : {1, 3}) {
                const Bytes in = kernel_row(static_cast<size_t>(width * height * step), ++seed);
                for (const Filter &filter : filters) {
                    Bytes out = in;
                    filter.run(in.data(), width * step, width, height, step, out.data(), width * step);
                    ASSERT_TRUE(out == sorted_medians(in, width, height, step, filter.in_window))
                        << &filter - filters << " " << width << "x" << height << " step " << step << " target "
                        << target;
                }
                if (step == 3) continue;
                const Bytes medians = sorted_medians(in, width, height, 1, kWholeSquare);
                Bytes out = in;
                for (const int threshold : {-1, 0, 40, 300}) {
                    VorelDngBilateralFilter::removeSpike(in.data(), width, height, Array::kByte, out.data(), threshold,
                                                         5);
                    for (size_t i = 0; i < in.size(); ++i) {
                        const int difference = in[i] - medians[i];
                        ASSERT_EQ(out[i], difference > threshold || difference < -threshold ? medians[i] : in[i]);
                    }
                }
            }
        }
    }
    limit_simd_targets(SimdTarget::kCount);
}

TEST(DngDenoise, SpikesBeyondTheThreshold) {
    // 21 beyond the median goes, 20 stays, whatever kernel says; in place.
    for (const int kernel : {5, 7, 0}) {
        Bytes plane(40 * 11, 100);
        plane[5 * 40 + 3] = 121, plane[5 * 40 + 20] = 120, plane[2 * 40 + 30] = 79, plane[8 * 40 + 11] = 80;
        VorelDngBilateralFilter::removeSpike(plane.data(), 40, 11, Array::kByte, plane.data(), 20, kernel);
        Bytes expected(40 * 11, 100);
        expected[5 * 40 + 20] = 120, expected[8 * 40 + 11] = 80;
        EXPECT_EQ(plane, expected);
    }
}

// The filter as its definition has it, a cell and a tap at a time.
std::vector<double> slow_bilateral(const std::vector<double> &in, int width, int height, double range, double spatial) {
    const double least = *std::min_element(in.begin(), in.end());
    const double most = std::max(*std::max_element(in.begin(), in.end()), 0.0);
    const int size[3] = {static_cast<int>(std::floor((height - 1) / spatial)) + 5,
                         static_cast<int>(std::floor((width - 1) / spatial)) + 5,
                         std::max(static_cast<int>(std::floor((most - least) / range)), 0) + 5};
    using Grid = std::vector<std::array<double, 2>>;
    Grid grid(static_cast<size_t>(size[0] * size[1] * size[2]));
    const auto at = [&](int y, int x, int z) { return static_cast<size_t>((y * size[1] + x) * size[2] + z); };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double z = in[static_cast<size_t>(y * width + x)];
            const auto nearest = [](double v) { return static_cast<int>(std::floor(v + 0.5)) + 2; };
            auto &cell = grid[at(nearest(y / spatial), nearest(x / spatial), nearest((z - least) / range))];
            cell[0] += z;
            cell[1] += 1;
        }
    }
    Grid other(grid.size());
    for (int pass = 0; pass < 6; ++pass) {
        const int d[3] = {pass < 2, pass == 2 || pass == 3, pass > 3};
        for (int y = 1; y < size[0] - 1; ++y) {
            for (int x = 1; x < size[1] - 1; ++x) {
                for (int z = 1; z < size[2] - 1; ++z) {
                    for (size_t i = 0; i < 2; ++i) {
                        other[at(y, x, z)][i] = (grid[at(y - d[0], x - d[1], z - d[2])][i] + 2 * grid[at(y, x, z)][i] +
                                                 grid[at(y + d[0], x + d[1], z + d[2])][i]) /
                                                4;
                    }
                }
            }
        }
        std::swap(grid, other);
    }
    std::vector<double> out;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double v = in[static_cast<size_t>(y * width + x)];
            const double position[3] = {y / spatial + 2, x / spatial + 2, (v - least) / range + 2};
            double sum = 0;
            for (int corner = 0; corner < 8; ++corner) {
                double weight = 1;
                int cell[3];
                for (int i = 0; i < 3; ++i) {
                    const int lower = std::clamp(static_cast<int>(std::floor(position[i])), 0, size[i] - 1);
                    const double fraction = position[i] - lower;
                    const int upper = corner >> i & 1;
                    cell[i] = std::clamp(lower + upper, 0, size[i] - 1);
                    weight *= upper ? fraction : 1 - fraction;
                }
                const auto &found = grid[at(cell[0], cell[1], cell[2])];
                sum += weight * found[0] / (found[1] == 0 ? 1 : found[1]);
            }
            out.push_back(sum);
        }
    }
    return out;
}

TEST(DngDenoise, BilateralGrid) {
    struct Case {
        int width, height;
        double range, spatial;
    };
    unsigned seed = 40;
    for (const Case &c : {Case{1, 1, 16, 32}, {70, 50, 16, 32}, {33, 97, 16, 32}, {64, 31, 5, 7.5}, {200, 3, 60, 1}}) {
        Bytes bytes = noise(static_cast<size_t>(c.width * c.height), ++seed);
        for (uint8_t &v : bytes) v = static_cast<uint8_t>(40 + v / 2);
        std::vector<double> doubles(bytes.begin(), bytes.end());
        const auto expected = slow_bilateral(doubles, c.width, c.height, c.range, c.spatial);
        VorelDngBilateralFilter::bilateralFilter(doubles.data(), c.width, c.height, Array::kDouble, doubles.data(),
                                                 c.range, c.spatial);
        VorelDngBilateralFilter::bilateralFilter(bytes.data(), c.width, c.height, Array::kByte, bytes.data(), c.range,
                                                 c.spatial);
        for (size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_NEAR(doubles[i], expected[i], 1e-9) << i;
            ASSERT_EQ(bytes[i], static_cast<int>(doubles[i] + 0.5)) << i;
        }
    }
    const uint16_t shorts[4] = {7, 65535, 0, 300};
    const std::unique_ptr<Array> bytes(Array::getByteImageArray(shorts, 2, 2, Array::kShort));
    EXPECT_EQ(bytes->getMaxValue(), 255);
    EXPECT_EQ(Array(0, 5, Array::kFloat).getMinValue(), 1e7);
    // Flat and all below 0, where the maximum is 0; and what no grid serves.
    std::vector<double> flat(70 * 50, 97), dark(60, -5);
    const std::vector<double> before = flat;
    VorelDngBilateralFilter::bilateralFilter(flat.data(), 70, 50, Array::kDouble, flat.data(), 16, 32);
    EXPECT_EQ(flat, before);
    VorelDngBilateralFilter::bilateralFilter(dark.data(), 10, 6, Array::kDouble, dark.data(), 16, 32);
    EXPECT_NEAR(dark[33], -5, 1e-12);
    VorelDngBilateralFilter::bilateralFilter(flat.data(), 70, 50, Array::kDouble, flat.data(), 0, 32);
    EXPECT_EQ(flat, before);
    flat[0] = 1e300;
    EXPECT_THROW(VorelDngBilateralFilter::bilateralFilter(flat.data(), 70, 50, Array::kDouble, flat.data(), 1e-300, 32),
                 std::bad_alloc);
}

Bytes grey_rgba(size_t pixels, uint8_t r, uint8_t g, uint8_t b) {
    Bytes rgba;
    for (size_t i = 0; i < pixels; ++i) rgba.insert(rgba.end(), {r, g, b, 255});
    return rgba;
}

// Required: to full range and back from video range, so that contrast grows.
TEST(DngDenoise, ConvertersOfThePictureAreNoPair) {
    FixedContext context;
    struct Case {
        std::array<uint8_t, 3> in, out;
    };
    std::vector<Case> cases = {{{200, 120, 60}, {212, 121, 54}}};
    const int greys[][2] = {{16, 0},    {32, 18},   {64, 55},   {96, 93},   {117, 117},
                            {128, 130}, {160, 167}, {200, 214}, {235, 254}, {236, 255}};
    for (const auto &[in, out] : greys) {
        const uint8_t i = static_cast<uint8_t>(in), o = static_cast<uint8_t>(out);
        cases.push_back({{i, i, i}, {o, o, o}});
    }
    for (const Case &c : cases) {
        for (const int strength : {0, 1, 3}) {
            for (const auto &[width, height] : {std::pair{1, 1}, {5, 5}, {36, 7}}) {
                const size_t pixels = static_cast<size_t>(width * height);
                GuardBuffer rgba(grey_rgba(pixels, c.in[0], c.in[1], c.in[2]));
                VorelDngNoiseReduction(strength).doNoiseReductionBiLateralFilter(context, rgba.data(), rgba.data(),
                                                                                 width, height);
                EXPECT_EQ(rgba.bytes(), grey_rgba(pixels, c.out[0], c.out[1], c.out[2]));
            }
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
        VorelDngBilateralFilter::removeSpike(yuv.data(), width, height, Array::kByte, yuv.data(), 20, 5);
        for (int plane = 0; plane < 2; ++plane) {
            uint8_t *at = yuv.data() + luma + plane * cw * ch;
            Bytes part(static_cast<size_t>(w * h));
            for (int y = 0; y < h; ++y) std::memcpy(part.data() + y * w, at + y * cw, static_cast<size_t>(w));
            VorelDngBilateralFilter::removeSpike(part.data(), w, h, Array::kByte, part.data(), 20, 5);
            for (int round = 0; round < 2; ++round) {
                VorelDngBilateralFilter::bilateralFilter(part.data(), w, h, Array::kByte, part.data(), 16, 32);
            }
            for (int y = 0; y < h; ++y) std::memcpy(at + y * cw, part.data() + y * w, static_cast<size_t>(w));
        }
        Bytes expected(rgba.size()), out(rgba.size(), 7);
        yuv420_to_rgba8888(width, height, yuv.data(), expected.data());
        FixedContext context;
        VorelDngNoiseReduction reduction(2);
        reduction.doNoiseReductionBiLateralFilter(context, rgba.data(), out.data(), width, height);
        EXPECT_TRUE(out == expected) << width;

        // A cancel at any of its tests leaves the output.
        for (int tests = 0; tests < 8; ++tests) {
            context.tests_until_cancel = tests;
            Bytes untouched(rgba.size(), 7);
            reduction.doNoiseReductionBiLateralFilter(context, rgba.data(), untouched.data(), width, height);
            EXPECT_EQ(untouched, Bytes(rgba.size(), 7)) << tests;
        }

        // A rectangle is a picture of its own: here all but the first row.
        context.tests_until_cancel = -1;
        Bytes below(static_cast<size_t>(width * 4), 9);
        below.insert(below.end(), rgba.begin(), rgba.end());
        reduction.doNoiseReductionBiLateralFilter(context, below.data(), below.data(), width, height + 1,
                                                  {1, 0, height + 1, width + 5});
        expected.insert(expected.begin(), static_cast<size_t>(width * 4), 9);
        EXPECT_TRUE(below == expected) << width;
    }
}

TEST(DngDenoise, BitmapsOfThreeBytes) {
    // One block and an odd column and row: 255, 0, 0 is Y 76, Cr 128 + 179 * 0.713, Cb 128 - 76 * 0.564.
    Bytes rgb;
    for (int i = 0; i < 9; ++i) rgb.insert(rgb.end(), {255, 0, 0});
    Bytes yuv(9 + 2);
    Bitmap2Yuv420p(yuv.data(), rgb.data(), 3, 3);
    Bytes expected(9, 76);
    expected.insert(expected.end(), {255, 85});
    EXPECT_EQ(yuv, expected);
    Yuv420p2Bitmap(rgb.data(), yuv.data(), 3, 3);
    // 76 + 1.403 * 127, 76 - 0.714 * 127 + 0.344 * 43, 76 - 1.773 * 43: truncated, and at least 0.
    for (int i = 0; i < 9; ++i) EXPECT_EQ(Bytes(rgb.begin() + 3 * i, rgb.begin() + 3 * i + 3), (Bytes{254, 0, 0})) << i;
    // No rounding behind the truncation.
    const Bytes grey = {100, 100, 100, 100, 130, 128};
    Bytes out(12);
    Yuv420p2Bitmap(out.data(), grey.data(), 2, 2);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 3), (Bytes{102, 98, 100}));  // 102.8, 98.6
    // Without chroma samples there is grey.
    const uint8_t one = 33;
    Yuv420p2Bitmap(out.data(), &one, 1, 1);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 3), Bytes(3, 33));

    FixedContext context;
    VorelDngImage src({0, 0, 9, 21}, 3, kPixelByte), dst({0, 0, 9, 21}, 3, kPixelByte);
    for (int y = 0; y < 9; ++y) std::memset(src.at<uint8_t>(y, 0), 90, 63);
    std::memset(src.at<uint8_t>(4, 10), 250, 3);
    VorelDngNoiseReduction(1).doNoiseReductionBiLateralFilter(context, src, dst);
    for (int y = 0; y < 9; ++y) EXPECT_EQ(Bytes(dst.at<uint8_t>(y, 0), dst.at<uint8_t>(y, 0) + 63), Bytes(63, 90));
}

TEST(DngDenoise, Mosaics) {
    const VorelDngHVScurve curve(0.3, 0.7, 0.5);
    const double xs[] = {0, 0.25, 0.5 - 1e-12, 0.5, 0.75, 1}, ys[] = {0.7, 0.5, 0.3, 0, 0.2, 0.4};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(curve.evaluate(xs[i]), ys[i], 1e-9);
    const VorelDngNLWeightCurve weight(0.2, 0.6);
    for (const double x : {0.1, 0.2, 0.5, 0.6}) EXPECT_NEAR(weight.evaluate(x), x < 0.3 ? 1 : 1.5 - 2.5 * x, 1e-12);

    std::vector<uint16_t> plane(30 * 20);
    std::iota(plane.begin(), plane.end(), uint16_t{0});
    double neighbours[121];
    EXPECT_EQ(60, VorelDngNoiseReduction::getNeighborPixels(plane.data(), neighbours, 9, 12, 20, 30, 11));
    EXPECT_EQ(24, VorelDngNoiseReduction::getNeighborPixels(plane.data(), neighbours, 10, 12, 20, 30, 11));
    for (int i = 0; i < 24; ++i) {
        const int at = static_cast<int>(std::lround(neighbours[i] * 65535));
        EXPECT_TRUE(at / 30 % 2 == 0 && at % 30 % 2 == 0) << at;
    }
    EXPECT_EQ(8, VorelDngNoiseReduction::getNeighborPixels(plane.data(), neighbours, 0, 0, 20, 30, 11));

    struct Pattern {
        int32_t cfaRows = 2, cfaColumns = 2;
        uint8_t cfaPattern[8][8] = {{0, 1}, {1, 2}};
    };
    FixedContext context;
    VorelDngImage image({0, 0, 20, 30}, 1, kPixelShort);
    for (const bool ranks : {true, false}) {
        for (int i = 0; i < 600; ++i) *image.at<uint16_t>(i / 30, i % 30) = 20000;
        *image.at<uint16_t>(10, 12) = 60000;
        *image.at<uint16_t>(9, 5) = 0;
        VorelDngNoiseReduction reduction{Pattern()};
        reduction.setRankClip(ranks);
        reduction.doNoiseReduction(context, image);
        // Both go; by weights a little of them stays with their neighbours.
        for (int i = 0; i < 600; ++i) {
            const int v = *image.at<uint16_t>(i / 30, i % 30);
            EXPECT_NEAR(v, 20000, ranks ? 0 : 1700) << i;
        }
    }
}

}  // namespace
}  // namespace vorel::test
