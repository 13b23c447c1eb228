// Mosaics: bilinear interpolation against the kernels of a Bayer pattern as a table says them, and against surfaces
// that it has to reproduce; how the scale of reduced develops is chosen, and means of blocks against a direct model.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "dng/mosaic/bilinear.h"
#include "dng/mosaic/kernels/kernels.h"
#include "dng/support/plain_context.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

// Rows of a pattern of digits, which are planes: "01/12".
VorelDngMosaicInfo mosaic_of(const std::string &rows, uint32_t layout = 1) {
    VorelDngMosaicInfo mosaic;
    mosaic.layout = layout;
    mosaic.cfaRows = 1;
    int32_t column = 0;
    for (const char cell : rows) {
        if (cell == '/') {
            ++mosaic.cfaRows;
            column = 0;
            continue;
        }
        // Colours that are not their planes' numbers.
        mosaic.cfaPattern[mosaic.cfaRows - 1][column++] = static_cast<uint8_t>(cell - '0' + 3);
        mosaic.colorPlanes = std::max(mosaic.colorPlanes, static_cast<uint32_t>(cell - '0' + 1));
    }
    mosaic.cfaColumns = column;
    for (uint8_t plane = 0; plane < kMaxDngPlanes; ++plane) mosaic.planeColor[plane] = static_cast<uint8_t>(plane + 3);
    return mosaic;
}

uint32_t plane_at(const VorelDngMosaicInfo &mosaic, int32_t row, int32_t column) {
    return mosaic.cfaPattern[row % mosaic.cfaRows][column % mosaic.cfaColumns] - 3U;
}

template <typename Sample, typename Value>
void fill(VorelDngImage &image, const Value &value) {
    each_sample(image, [&](int32_t row, int32_t column, uint32_t plane) {
        *image.at<Sample>(row, column, plane) = static_cast<Sample>(value(row, column));
    });
}

// 16-bit samples, a third of them at the ends of the range.
void fill_noise(VorelDngImage &image, unsigned seed) {
    std::mt19937 random(seed);
    fill<uint16_t>(image, [&](int32_t, int32_t) {
        const unsigned value = random();
        return value >> 16 & 1 && value >> 17 & 1 ? (value & 1) * 0xFFFF : value & 0xFFFF;
    });
}

constexpr const char *kPhases[] = {"01/12", "10/21", "12/01", "21/10"};
constexpr const char *kQuad = "0011/0011/1122/1122";
constexpr const char *kSix = "121010/102112/010121/121010/102112/010121";

using Image = std::unique_ptr<VorelDngImage>;

Image image_of(const DngRect &bounds, uint32_t planes, uint32_t type) {
    return std::make_unique<VorelDngImage>(bounds, planes, type);
}
Image interpolated(VorelDngMosaicInfo mosaic, const VorelDngImage &src, const DngPoint &scale = {1, 1}) {
    PlainContext context;
    const DngPoint full = mosaic.getFullScale(), size = src.getBounds().size();
    const DngRect bounds = {0, 0, size.v * full.v / scale.v, size.h * full.h / scale.h};
    Image dst = image_of(bounds, std::max(mosaic.colorPlanes, 3U), src.getPixelType());
    mosaic.interpolate(context, src, *dst, scale, 0, nullptr);
    return dst;
}

int32_t mirror(int32_t i, int32_t count) {
    return std::clamp(i < 0 ? -i : i >= count ? 2 * count - 2 - i : i, 0, count - 1);
}

// (sum of the taps' samples * weight + 128) >> 8, the weights being 256 over the number of taps: the site itself, its
// neighbours of that colour to both sides, above and below, or on the diagonals.
uint16_t bayer_model(const VorelDngMosaicInfo &mosaic, const VorelDngImage &src, uint32_t plane, int32_t row,
                     int32_t column) {
    const int32_t rows = src.getBounds().bottom, columns = src.getBounds().right;
    const auto has = [&](int32_t v, int32_t h) { return plane_at(mosaic, row + v + 2, column + h + 2) == plane; };
    std::vector<DngPoint> taps;
    for (const DngPoint &tap : {DngPoint{-1, 0}, {1, 0}, {0, -1}, {0, 1}})
        if (has(tap.v, tap.h)) taps.push_back(tap);
    if (has(0, 0)) taps = {{0, 0}};
    if (taps.empty()) taps = {{-1, -1}, {-1, 1}, {1, -1}, {1, 1}};
    uint32_t sum = 128;
    for (const DngPoint &tap : taps) {
        sum += *src.at<uint16_t>(mirror(row + tap.v, rows), mirror(column + tap.h, columns)) * 256 /
               static_cast<uint32_t>(taps.size());
    }
    return static_cast<uint16_t>(sum >> 8);
}

TEST(DngBilinear, BayerKernelsAndEdges) {
    for (const char *phase : kPhases) {
        const VorelDngMosaicInfo mosaic = mosaic_of(phase);
        // Planes in another order go by the tables, and so do floats.
        VorelDngMosaicInfo turned = mosaic;
        std::swap(turned.planeColor[0], turned.planeColor[1]);
        for (const DngPoint size :
             {DngPoint{1, 1}, {1, 6}, {5, 1}, {2, 2}, {2, 5}, {3, 3}, {9, 4}, {6, 75}, {21, 44}}) {
            const Image src = image_of({0, 0, size.v, size.h}, 1, kPixelShort);
            fill_noise(*src, static_cast<unsigned>(size.v * size.h));
            const Image floats = image_of({0, 0, size.v, size.h}, 1, kPixelFloat);
            fill<float>(*floats, [&](int32_t row, int32_t column) { return *src->at<uint16_t>(row, column); });
            const Image result = interpolated(mosaic, *src), other = interpolated(turned, *src),
                        real = interpolated(mosaic, *floats);
            each_sample(*result, [&](int32_t row, int32_t column, uint32_t plane) {
                if (HasFatalFailure()) return;
                const uint16_t expected = bayer_model(mosaic, *src, plane, row, column);
                ASSERT_EQ(*result->at<uint16_t>(row, column, plane), expected)
                    << phase << " " << size.v << "x" << size.h << " " << row << ", " << column << ", " << plane;
                ASSERT_EQ(*other->at<uint16_t>(row, column, plane == 2 ? 2 : 1 - plane), expected);
                // No rounding: the sum is below 2^24.
                ASSERT_EQ(std::floor(*real->at<float>(row, column, plane) + 0.5F), expected);
            });
        }
    }
}

// A plane that is linear over the output comes out again: every kernel does that, however far it reaches. Planes are
// far apart, so that a sample of another colour would show.
TEST(DngBilinear, LinearSurfacesOfAllPatternsAndLayouts) {
    const struct {
        const char *pattern;
        uint32_t layout;
    } cases[] = {{kQuad, 1},       {kSix, 1},    {"01/12", 2},   {"01/12", 3},
                 {"01/12", 4},     {"01/12", 5}, {"01/12", 6},   {"01/12", 7},
                 {"01/12", 8},     {"01/12", 9}, {"012/120", 1}, {"01/23", 1},
                 {"0011/2233", 1}, {kQuad, 3},   {kQuad, 5},     {"01111111/11211111", 1}};
    for (const auto &row_of_cases : cases) {
        const char *const pattern = row_of_cases.pattern;
        const uint32_t layout = row_of_cases.layout;
        const VorelDngMosaicInfo mosaic = mosaic_of(pattern, layout);
        const DngPoint full = mosaic.getFullScale();
        const auto surface = [](int32_t plane, int32_t row, int32_t column) {
            return 2000 + 16000 * plane + 40 * row + 24 * column;
        };
        // The plane of the sample at a place of the output's grid; -1 where there is none.
        const auto cell = [&](int32_t row, int32_t column) {
            const int32_t y = row - (layout == 2 ? column & 1 : layout == 3 ? ~column & 1 : 0);
            const int32_t x = column - (layout == 4 ? row & 1 : layout == 5 ? ~row & 1 : 0);
            if (y % full.v || x % full.h) return -1;
            return static_cast<int32_t>(plane_at(mosaic, y / full.v, x / full.h));
        };
        const Image src = image_of({0, 0, 40, 44}, 1, kPixelShort);
        fill<uint16_t>(*src, [&](int32_t row, int32_t column) {
            const int32_t y = row * full.v + (layout == 2 ? column & 1 : layout == 3 ? ~column & 1 : 0);
            const int32_t x = column * full.h + (layout == 4 ? row & 1 : layout == 5 ? ~row & 1 : 0);
            return surface(cell(y, x), y, x);
        });
        const Image dst = interpolated(mosaic, *src);
        const DngRect &bounds = dst->getBounds();
        dst->doTrim({16, 16, bounds.bottom - 16, bounds.right - 16});
        each_sample(*dst, [&](int32_t row, int32_t column, uint32_t p) {
            const int32_t plane = static_cast<int32_t>(p), right = cell(row, column + 1);
            if (p >= mosaic.colorPlanes || HasFatalFailure()) return;
            int32_t expected = surface(plane, row, column);
            // Of a cross whose other samples have the colour, the right one is taken whatever it is.
            if (cell(row, column) != plane && cell(row - 1, column) == plane && cell(row + 1, column) == plane &&
                cell(row, column - 1) == plane)
                expected += (right - plane) * 4000;
            // Weights in 1/256 over a few samples' distance.
            ASSERT_NEAR(*dst->at<uint16_t>(row, column, p), expected, 4)
                << pattern << " " << layout << " " << row << ", " << column << ", " << plane;
        });
    }
    // A colour that the pattern lacks takes what lies at the site.
    VorelDngMosaicInfo lacking = mosaic_of("01/12");
    lacking.planeColor[2] = 99;
    const Image src = image_of({0, 0, 6, 6}, 1, kPixelShort);
    fill_noise(*src, 1);
    EXPECT_EQ(*interpolated(lacking, *src)->at<uint16_t>(3, 2, 2), *src->at<uint16_t>(3, 2));
}

TEST(DngBilinear, RowFunctionsDoAsTheInterpolator) {
    constexpr int32_t kRows = 5, kColumns = 23;
    const auto check = [&](auto zero, uint32_t type, auto row_function, auto weights) {
        using Sample = decltype(zero);
        for (const char *phase : {kPhases[0], kPhases[1], kPhases[2], kPhases[3], "01/12 staggered"}) {
            // Two outputs a site; these kernels reach farther than offsets can be mirrored.
            const uint32_t shift = std::strlen(phase) > 5;
            const VorelDngMosaicInfo mosaic = mosaic_of(std::string(phase, 5), shift ? 4 : 1);
            const Image src = image_of({0, 0, kRows, kColumns}, 1, type);
            std::mt19937 random(7);
            fill<Sample>(*src, [&](int32_t, int32_t) { return random() & 0xFFFF; });
            const Image expected = interpolated(mosaic, *src);
            const auto pattern = std::make_unique<VorelDngBilinearPattern>();
            for (uint32_t i = 0; i < 2 * 3 * kRows; ++i) {
                const uint32_t plane = i % 3, row = i / 6, first = i / 3 % 2 * 3;
                if (shift && (first == 0 || row != 2)) continue;
                pattern->calculate(mosaic, plane, src->buffer().rowStep, 1);
                const size_t cell = row % pattern->patternRows;
                const uint32_t outputs = (kColumns - first - (shift ? 3 : 0)) << shift;
                std::vector<Sample> out(3 * outputs, Sample{77});
                const int32_t y = static_cast<int32_t>(row), x = static_cast<int32_t>(first);
                row_function(src->at<Sample>(y, x), out.data(), row, first, kRows, kColumns, outputs,
                             (first << shift) % pattern->patternColumns, pattern->patternColumns, pattern->counts[cell],
                             pattern->offsets[cell], (pattern.get()->*weights)[cell], shift);
                for (uint32_t j = 0; j < outputs; ++j) {
                    ASSERT_EQ(out[j * 3], *expected->at<Sample>(y, static_cast<int32_t>(j + (first << shift)), plane))
                        << phase << " " << row << ", " << j << ", " << plane;
                    ASSERT_EQ(out[j * 3 + 1], Sample{77});
                }
            }
        }
    };
    check(uint16_t{}, kPixelShort, DoBilinearRow16, &VorelDngBilinearPattern::weights16);
    check(float{}, kPixelFloat, DoBilinearRow32, &VorelDngBilinearPattern::weights32);

    // A caller's own kernel without taps.
    const uint32_t none = 0;
    const int32_t *const offsets = nullptr;
    const uint16_t *const weights = nullptr;
    uint16_t src[3] = {9, 9, 9}, out[9] = {5, 5, 5, 5, 5, 5, 5, 5, 5};
    DoBilinearRow16(src, out, 1, 0, 3, 3, 3, 0, 1, &none, &offsets, &weights, 0);
    EXPECT_EQ(out[0] + out[3] + out[6], 0);
    EXPECT_EQ(out[1], 5);
}

// A trimmed image keeps the numbers of its rows, and with them its colours.
TEST(DngBilinear, TrimmedImagesKeepTheirColours) {
    for (const char *pattern : {"10/21", kQuad}) {
        const VorelDngMosaicInfo mosaic = mosaic_of(pattern);
        const Image src = image_of({0, 0, 30, 50}, 1, kPixelShort);
        fill_noise(*src, 3);
        const Image whole = interpolated(mosaic, *src), small = interpolated(mosaic, *src, {2, 2});
        src->doTrim({3, 5, 30, 49});
        PlainContext context;
        VorelDngImage dst({0, 0, 27, 44}, 3, kPixelShort);
        VorelDngMosaicInfo(mosaic).interpolate(context, *src, dst, {1, 1}, 0, nullptr);
        for (int32_t row = 4; row < 23; ++row)
            ASSERT_EQ(std::memcmp(dst.at<uint16_t>(row, 4), whole->at<uint16_t>(row + 3, 9), 36 * 6), 0) << row;
        context.stop = true;
        VorelDngImage untouched({0, 0, 27, 44}, 3, kPixelShort);
        VorelDngMosaicInfo(mosaic).interpolate(context, *src, untouched, {1, 1}, 0, nullptr);
        for (int32_t row = 0; row < 27; ++row) ASSERT_EQ(*untouched.at<uint16_t>(row, 20, 1), 0) << "cancelled";
    }
}

TEST(DngMosaicKernels, TwinsAgree) {
    for (uint32_t count = 0; count <= 150; ++count) {
        const size_t bytes = (count + 2) * sizeof(uint16_t);
        GuardBuffer rows[3] = {GuardBuffer(kernel_row(bytes, count)), GuardBuffer(kernel_row(bytes, count + 1)),
                               GuardBuffer(kernel_row(bytes, count + 3))};
        const auto row = [&](int i) { return reinterpret_cast<const uint16_t *>(rows[i].data()) + 1; };
        expect_twins(runnable_mosaic_kernels, std::to_string(count), [&](const MosaicKernels &kernels) {
            return whole_outputs({count * 6, count * 6, count * 6, count * 6, count * 4}, [&](uint8_t *const *out) {
                for (uint32_t i = 0; i < 4; ++i)
                    kernels.bayer_row(
                        {row(0), row(1), row(2), count, (i & 1) != 0, i & 2, reinterpret_cast<uint16_t *>(out[i])});
                uint32_t *const sums = reinterpret_cast<uint32_t *>(out[4]);
                kernels.set_sums(row(0), count, sums);
                kernels.add_sums(row(1), count, sums);
            });
        });
    }
}

TEST(DngMosaicScale, FollowsSizesAspectAndPattern) {
    const struct {
        const char *pattern;
        double rows, columns, scaleV, scaleH;
        uint32_t minimum, preferred;
        double crop;
        DngPoint expected;
    } cases[] = {
        {"01/12", 3000, 4000, 1, 1, 0, 0, 1, {1, 1}},      {"01/12", 3000, 4000, 1, 1, 0, 5000, 1, {1, 1}},
        {"01/12", 3000, 4000, 1, 1, 0, 4000, 1, {1, 1}},   {"01/12", 3000, 4000, 1, 1, 0, 3001, 1, {1, 1}},
        {"01/12", 3000, 4000, 1, 1, 0, 3000, 1, {2, 2}},   {"01/12", 3000, 4000, 1, 1, 0, 2000, 1, {2, 2}},
        {"01/12", 3000, 4000, 1, 1, 0, 1333, 1, {3, 3}},   {"01/12", 3000, 4000, 1, 1, 0, 1, 1, {64, 64}},
        {"01/12", 3000, 4000, 1, 1, 1000, 1, 1, {4, 4}},   {"01/12", 3000, 4000, 1, 1, 3000, 1, 1, {1, 1}},
        {"01/12", 3000, 4000, 1, 1, 0, 1000, 0.5, {2, 2}}, {"01/12", 3000, 4000, 1, 1, 0, 1000, 0, {1, 1}},
        {"01/12", 3000, 4000, 1, 2, 0, 1000, 1, {16, 8}},  // 8000 across
        {"01/12", 3000, 2000, 1, 2, 0, 1000, 1, {8, 4}},   // 4000 across
        {"01/12", 3000, 4000, 2, 1, 0, 1000, 1, {6, 12}},  // 6000 down
        {"01/12", 3000, 4000, 0, 1, 0, 1000, 1, {4, 4}},   // no aspect
        {kQuad, 3000, 4000, 1, 1, 0, 2000, 1, {3, 3}},     {"", 3000, 4000, 1, 1, 0, 1000, 1, {1, 1}},
        {"01/12", 1, 1, 1, 1, 0, 1, 1, {64, 64}},
    };
    for (const auto &row : cases) {
        VorelDngMosaicInfo mosaic = mosaic_of(row.pattern);
        PlainContext context;
        const VorelDngImage stage2({4, 6, 34, 46}, 1, kPixelShort);
        context.stage2 = &stage2;
        context.develop_values.cropSizeV = row.rows;
        context.develop_values.cropSizeH = row.columns;
        context.develop_values.defaultScaleV = row.scaleV;
        context.develop_values.defaultScaleH = row.scaleH;
        mosaic.postParse(context);
        const DngPoint scale = mosaic.getDownScale(row.minimum, row.preferred, row.crop);
        EXPECT_EQ(scale, row.expected) << row.pattern << " " << row.preferred << ": " << scale.v << ", " << scale.h;
        EXPECT_EQ(mosaic.getDstSize({4, 64}), (DngPoint{8, 1}));
        for (const DngPoint none : {DngPoint{65, 2}, {2, 0}}) EXPECT_EQ(mosaic.getDstSize(none), DngPoint());
        for (const DngPoint full : {DngPoint{30, 40}, {60, 40}, {30, 80}}) {
            mosaic.layout = full.v == 60 ? 3 : full.h == 80 ? 4 : 1;
            EXPECT_EQ(mosaic.getDstSize({1, 1}), full);
        }
    }
    const VorelDngMosaicInfo bayer = mosaic_of("01/12");
    for (const DngPoint scale : {DngPoint{1, 1}, {1, 2}, {2, 1}, {1, 9}}) EXPECT_FALSE(bayer.isSafeDownScale(scale));
    EXPECT_TRUE(bayer.isSafeDownScale({2, 2}));
    EXPECT_FALSE(mosaic_of(kQuad).isSafeDownScale({2, 9}));
    EXPECT_TRUE(mosaic_of(kSix).isSafeDownScale({3, 3}));
}

TEST(DngMosaicInfo, TakesOnlyMosaics) {
    PlainContext context;
    VorelDngStream stream(nullptr, 0);
    VorelDngIFD ifd;
    VorelDngShared shared;
    ifd.cfaRepeatRows = ifd.cfaRepeatColumns = 2;
    ifd.cfaPattern[1][0] = 7;
    ifd.cfaPlaneCount = 4;
    for (const bool is_mosaic : {false, true}) {
        ifd.photometric = is_mosaic ? 32803 : 34892;
        VorelDngMosaicInfo mosaic;
        mosaic.parse(context, stream, ifd, shared);
        EXPECT_EQ(mosaic.hasPattern(), is_mosaic);
        EXPECT_EQ(mosaic.cfaPattern[1][0], is_mosaic ? 7 : 0);
        EXPECT_EQ(mosaic.colorPlanes, is_mosaic ? 4U : 0U);
    }
}

template <typename Sample>
void expect_blocks(const char *pattern, const DngPoint &from, const DngPoint &to, int32_t trim) {
    const VorelDngMosaicInfo mosaic = mosaic_of(pattern);
    VorelDngImage src({0, 0, from.v + trim, from.h + trim}, 1, sizeof(Sample) == 2 ? kPixelShort : kPixelFloat);
    std::mt19937 random(static_cast<unsigned>(from.v * 1000 + to.h));
    fill<Sample>(src, [&](int32_t, int32_t) { return random() % 3 ? random() & 0xFFFF : 0xFFFF; });
    src.doTrim({trim, trim, from.v + trim, from.h + trim});
    VorelDngImage dst({0, 0, to.v, to.h}, 3, src.getPixelType());
    fill<Sample>(dst, [](int32_t, int32_t) { return 99; });
    PlainContext context;
    VorelDngMatrix matrices[3];
    VorelDngMosaicInfo(mosaic).interpolate(context, src, dst, {2, 3}, 0, matrices);
    EXPECT_EQ(matrices[2][0][0], 0.5);
    EXPECT_EQ(matrices[2][1][1], 1 / 3.0);
    const auto side = [](int32_t count, int32_t outputs) { return count / outputs / 2 * 2; };
    const auto start = [](int32_t count, int32_t outputs, int32_t i) {
        return static_cast<int32_t>(static_cast<double>(count) / outputs * i) / 2 * 2;
    };
    each_sample(dst, [&](int32_t row, int32_t column, uint32_t plane) {
        if (testing::Test::HasFatalFailure()) return;
        double sum = 0;
        int32_t count = 0;
        const int32_t top = start(from.v, to.v, row) + trim, left = start(from.h, to.h, column) + trim;
        for (int32_t y = top; y < top + side(from.v, to.v); ++y) {
            for (int32_t x = left; x < left + side(from.h, to.h); ++x) {
                if (plane_at(mosaic, y, x) != plane) continue;
                sum += *src.at<Sample>(y, x);
                ++count;
            }
        }
        const double mean = count ? sum / count : 0;
        ASSERT_EQ(*dst.at<Sample>(row, column, plane),
                  src.isFloat() ? static_cast<float>(mean) : std::floor(mean + 0.5))
            << pattern << " " << from.v << "x" << from.h << " to " << to.v << "x" << to.h << " at " << row << ", "
            << column << ", " << plane;
    });
}

TEST(DngFastInterpolator, MeansOfEvenBlocks) {
    for (const char *pattern : {kPhases[0], kPhases[1], kPhases[2], kPhases[3], kQuad, kSix, "00/12", "00/01"}) {
        // 39 to 10 has blocks of 2; a ratio below 2 leaves black; 1 x 1 is one block of the whole.
        for (const DngPoint to : {DngPoint{10, 10}, {6, 19}, {1, 1}, {2, 3}, {20, 4}, {39, 60}}) {
            expect_blocks<uint16_t>(pattern, {39, 59}, to, 0);
            expect_blocks<uint16_t>(pattern, {39, 59}, to, 1);
            expect_blocks<float>(pattern, {39, 59}, to, 0);
        }
    }
    // Sums and counts beyond 16 and 32 bits.
    expect_blocks<uint16_t>(kPhases[0], {256, 256}, {1, 1}, 0);
    expect_blocks<uint16_t>(kPhases[0], {700, 1026}, {2, 2}, 0);
}

}  // namespace
}  // namespace vorel::test
