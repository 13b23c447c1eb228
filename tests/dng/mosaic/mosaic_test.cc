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
#include "dng/support/pairs.h"
#include "dng/support/plain_context.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

// Rows of a pattern of digits, which are planes: "01/12". Their colours have other numbers.
VorelDngMosaicInfo mosaic_of(const std::string &rows, uint32_t layout = 1) {
    VorelDngMosaicInfo mosaic;
    mosaic.layout = layout;
    const size_t columns = std::min(rows.find('/'), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i] == '/') continue;
        mosaic.cfaPattern[i / (columns + 1)][i % (columns + 1)] = static_cast<uint8_t>(rows[i] - '0' + 3);
        mosaic.colorPlanes = std::max(mosaic.colorPlanes, static_cast<uint32_t>(rows[i] - '0' + 1));
    }
    mosaic.cfaRows = static_cast<int32_t>((rows.size() + 1) / (columns + 1));
    mosaic.cfaColumns = static_cast<int32_t>(columns);
    for (uint8_t plane = 0; plane < kMaxDngPlanes; ++plane) mosaic.planeColor[plane] = static_cast<uint8_t>(plane + 3);
    return mosaic;
}
int32_t plane_at(const VorelDngMosaicInfo &mosaic, int32_t row, int32_t column) {
    return mosaic.cfaPattern[row % mosaic.cfaRows][column % mosaic.cfaColumns] - 3;
}
constexpr const char *kPhases[] = {"01/12", "10/21", "12/01", "21/10"};
constexpr const char *kQuad = "0011/0011/1122/1122";
constexpr const char *kSix = "121010/102112/010121/121010/102112/010121";
// 16-bit words of either type, three quarters of them at the ends of the range.
Image noise_image(const DngPoint &size, int32_t cut, uint32_t type) {
    std::mt19937 random(5);
    Image image = image_of({0, 0, size.v + cut, size.h + cut}, 1, type, [&](auto...) {
        return (random() % 4 ? random() % 2 * 65535.0 : random() & 0xFFFF) / (type == kPixelShort ? 65535 : 1);
    });
    image->doTrim({cut, cut, size.v + cut, size.h + cut});
    return image;
}
Image interpolated(VorelDngMosaicInfo mosaic, const VorelDngImage &src, bool cancelled = false) {
    PlainContext context;
    context.tests_until_cancel = cancelled ? 0 : -1;
    const DngPoint full = mosaic.getFullScale(), size = src.getBounds().size();
    auto dst = std::make_unique<VorelDngImage>(DngRect{0, 0, size.v * full.v, size.h * full.h},
                                               std::max(mosaic.colorPlanes, 3U), src.getPixelType());
    mosaic.interpolate(context, src, *dst, {1, 1}, 0, nullptr);
    return dst;
}

// The sum of the taps' samples * weight, the weights being 256 over the number of taps: the site itself, its neighbours
// of that colour to both sides, above and below, or on the diagonals. Beyond an edge they are mirrored.
double bayer_sum(const VorelDngMosaicInfo &mosaic, const VorelDngImage &src, int32_t plane, const DngPoint &at) {
    const DngRect &b = src.getBounds();
    const auto mirror = [](int32_t i, int32_t begin, int32_t end) {
        return std::clamp(i < begin ? 2 * begin - i : i >= end ? 2 * end - 2 - i : i, begin, end - 1);
    };
    const auto has = [&](int32_t v, int32_t h) { return plane_at(mosaic, at.v + v + 2, at.h + h + 2) == plane; };
    std::vector<DngPoint> taps;
    for (const DngPoint &tap : {DngPoint{-1, 0}, {1, 0}, {0, -1}, {0, 1}})
        if (has(tap.v, tap.h)) taps.push_back(tap);
    if (has(0, 0)) taps = {{0, 0}};
    if (taps.empty()) taps = {{-1, -1}, {-1, 1}, {1, -1}, {1, 1}};
    double sum = 0;
    for (const DngPoint &tap : taps)
        sum += sample_at(src, mirror(at.v + tap.v, b.top, b.bottom), mirror(at.h + tap.h, b.left, b.right));
    return sum * 256 / static_cast<double>(taps.size());
}

// Kernels of two outputs a site reach farther than offsets can be mirrored: then away from the edges.
template <typename Sample, typename RowFunction, typename Weights>
void expect_rows(const VorelDngMosaicInfo &mosaic, const VorelDngImage &src, const VorelDngImage &expected,
                 RowFunction row_function, Weights weights) {
    const uint32_t shift = mosaic.layout == 4, left = 3 * shift;
    const uint32_t rows = src.getBounds().height(), columns = src.getBounds().width(), count = columns - 2 * left;
    const auto pattern = std::make_unique<VorelDngBilinearPattern>();
    for (uint32_t i = 9 * shift; i < 3 * rows - 9 * shift; ++i) {
        const uint32_t plane = i % 3, row = i / 3;
        pattern->calculate(mosaic, plane, src.buffer().rowStep, 1);
        const size_t cell = row % pattern->patternRows;
        std::vector<Sample> out(3 * count << shift);
        row_function(src.at<Sample>(static_cast<int32_t>(row), static_cast<int32_t>(left)), out.data(), row, left, rows,
                     columns, count << shift, (left << shift) % pattern->patternColumns, pattern->patternColumns,
                     pattern->counts[cell], pattern->offsets[cell], (pattern.get()->*weights)[cell], shift);
        for (uint32_t x = 0; x < count << shift; ++x)
            ASSERT_EQ(out[x * 3],
                      sample_at(expected, static_cast<int32_t>(row), static_cast<int32_t>(x + 2 * left), plane));
    }
}

TEST(DngBilinear, BayerKernelsEdgesAndRowFunctions) {
    for (uint32_t i = 0; i < 8; ++i) {
        VorelDngMosaicInfo mosaic = mosaic_of(kPhases[i / 2]);
        const int32_t cut = i % 2 * 3;  // a trimmed image keeps the numbers of its rows, and with them its colours
        for (const DngPoint size : {DngPoint{1, 1}, {1, 6}, {5, 1}, {2, 2}, {2, 5}, {3, 3}, {6, 75}, {21, 44}}) {
            const Image src = noise_image(size, cut, kPixelShort), result = interpolated(mosaic, *src),
                        real = noise_image(size, cut, kPixelFloat), sums = interpolated(mosaic, *real),
                        untouched = interpolated(mosaic, *src, true);
            each_sample(*result, [&](int32_t row, int32_t column, uint32_t plane) {
                const double sum = bayer_sum(mosaic, *src, static_cast<int32_t>(plane), {row + cut, column + cut});
                if (HasFatalFailure()) return;
                ASSERT_EQ(sample_at(*result, row, column, plane), std::floor((sum + 128) / 256)) << i << " " << size.h;
                ASSERT_EQ(sample_at(*untouched, row, column, plane), 0);
                ASSERT_EQ(sample_at(*sums, row, column, plane), sum / 256);  // no rounding: the sum is below 2^24
            });
            if (cut) continue;
            expect_rows<uint16_t>(mosaic, *src, *result, DoBilinearRow16, &VorelDngBilinearPattern::weights16);
            expect_rows<float>(mosaic, *real, *sums, DoBilinearRow32, &VorelDngBilinearPattern::weights32);
        }
    }
    // A caller's own kernel without taps.
    const uint32_t none = 0;
    const int32_t *const offsets = nullptr;
    const uint16_t *const weights = nullptr;
    uint16_t out = 5;
    DoBilinearRow16(&out, &out, 1, 1, 3, 3, 1, 0, 1, &none, &offsets, &weights, 0);
    EXPECT_EQ(out, 0);
}

// A plane that is linear over the output comes out again. Planes are far apart, so that another colour would show.
TEST(DngBilinear, LinearSurfacesOfAllPatternsAndLayouts) {
    // A digit for the layout, then the pattern.
    for (const std::string one :
         {"10011/0011/1122/1122", "30011/0011/1122/1122", "201/12", "301/12", "401/12", "501/12", "601/12", "901/12",
          "110/02", "101/23", "1012/120", "101111111/11211111", "1121010/102112/010121/121010/102112/010121"}) {
        const int32_t layout = one[0] - '0';
        const VorelDngMosaicInfo mosaic = mosaic_of(one.substr(1), static_cast<uint32_t>(layout));
        const DngPoint full = mosaic.getFullScale();
        const auto surface = [](int32_t p, int32_t y, int32_t x) { return 2000 + 16000 * p + 40 * y + 24 * x; };
        // How far a sample lies from its place in a plain grid of the output's.
        const auto half = [](bool second, bool first, int32_t i) { return second ? i & 1 : first ? ~i & 1 : 0; };
        const auto stagger = [&](int32_t row, int32_t column) {
            return DngPoint{half(layout == 2, layout == 3, column), half(layout == 4, layout == 5, row)};
        };
        // The plane of the sample at a place of the output; -1 where there is none.
        const auto cell = [&](int32_t row, int32_t column) {
            const int32_t y = row - stagger(row, column).v, x = column - stagger(row, column).h;
            return y % full.v || x % full.h ? -1 : plane_at(mosaic, y / full.v, x / full.h);
        };
        const Image src = image_of({0, 0, 40, 44}, 1, kPixelShort, [&](int32_t row, int32_t column, uint32_t) {
            const int32_t y = row * full.v + stagger(row, column).v, x = column * full.h + stagger(row, column).h;
            return surface(cell(y, x), y, x) / 65535.0;
        });
        const Image dst = interpolated(mosaic, *src);
        if (layout == 4)
            expect_rows<uint16_t>(mosaic, *src, *dst, DoBilinearRow16, &VorelDngBilinearPattern::weights16);
        dst->doTrim({16, 16, dst->getBounds().bottom - 16, dst->getBounds().right - 16});
        each_sample(*dst, [&](int32_t row, int32_t column, uint32_t p) {
            const int32_t plane = static_cast<int32_t>(p), right = cell(row, column + 1);
            if (p >= mosaic.colorPlanes || HasFatalFailure()) return;
            int32_t expected = surface(plane, row, column);
            // Of a cross whose other samples have the colour, the right one is taken whatever it is.
            if (cell(row, column) != plane && cell(row - 1, column) == plane && cell(row + 1, column) == plane &&
                cell(row, column - 1) == plane)
                expected += (right - plane) * 4000;
            // Weights in 1/256 over a few samples' distance.
            ASSERT_NEAR(sample_at(*dst, row, column, p), expected, 4) << one;
        });
    }
    // A colour that the pattern lacks takes what lies at the site.
    VorelDngMosaicInfo lacking = mosaic_of("01/12");
    lacking.planeColor[2] = 99;
    const Image src = noise_image({6, 6}, 0, kPixelShort);
    EXPECT_EQ(sample_at(*interpolated(lacking, *src), 3, 2, 2), sample_at(*src, 3, 2));
}

TEST(DngMosaicKernels, TwinsAgree) {
    for (uint32_t count = 0; count <= 150; ++count) {
        GuardBuffer samples(kernel_row((count + 8) * sizeof(uint16_t), count));
        const uint16_t *const last = reinterpret_cast<const uint16_t *>(samples.data()) + 7;
        expect_twins(runnable_mosaic_kernels, std::to_string(count), [&](const MosaicKernels &kernels) {
            return whole_outputs({count * 6, count * 6, count * 6, count * 6, count * 4}, [&](uint8_t *const *out) {
                for (uint32_t i = 0; i < 4; ++i)
                    kernels.bayer_row(
                        {last - 6, last - 3, last, count, (i & 1) != 0, i & 2, reinterpret_cast<uint16_t *>(out[i])});
                kernels.set_sums(last - 1, count, reinterpret_cast<uint32_t *>(out[4]));
                kernels.add_sums(last, count, reinterpret_cast<uint32_t *>(out[4]));
            });
        });
    }
}

TEST(DngMosaicInfo, ScalesFollowSizesAspectAndPattern) {
    const VorelDngImage stage2({4, 6, 34, 46}, 1, kPixelShort);
    PlainContext context;
    context.stage2 = &stage2;
    DevelopValues &values = context.develop_values;
    values.cropSizeV = 3000, values.cropSizeH = 4000;
    // Rows and columns of the scale as 100 * v + h.
    const auto scale = [&](uint32_t minimum, uint32_t preferred, double crop = 1, double down = 1, double across = 1,
                           const char *pattern = "01/12") {
        VorelDngMosaicInfo mosaic = mosaic_of(pattern, 3);
        VorelDngStream none;
        mosaic.parse(context, none, VorelDngIFD(), VorelDngShared());  // no mosaic, which changes nothing
        values.defaultScaleV = down, values.defaultScaleH = across;
        mosaic.postParse(context);
        expect_pairs(mosaic.getDstSize({4, 64}), DngPoint{8, 1}, mosaic.getDstSize({65, 2}), DngPoint(),
                     mosaic.getDstSize({2, 0}), DngPoint(), mosaic.getDstSize({1, 1}), DngPoint{60, 40});
        const DngPoint result = mosaic.getDownScale(minimum, preferred, crop);
        return 100 * result.v + result.h;
    };
    expect_pairs(scale(0, 0), 101, scale(0, 5000), 101, scale(0, 3001), 101, scale(0, 3000), 202, scale(0, 1333), 303,
                 scale(0, 1), 6464, scale(1000, 1), 404, scale(3000, 1), 101, scale(0, 1000, 0.5), 202,
                 scale(0, 1000, 0), 101, scale(0, 1000, 1, 1, 2), 1608, scale(0, 1000, 1, 2, 1), 612,
                 scale(0, 1000, 1, 0, 1), 404, scale(0, 2000, 1, 1, 1, kQuad), 303, scale(0, 1000, 1, 1, 1, ""), 101);
    const auto safe = [](const char *pattern, const DngPoint &by) { return mosaic_of(pattern).isSafeDownScale(by); };
    for (const DngPoint by : {DngPoint{1, 1}, {1, 2}, {2, 1}, {1, 9}}) EXPECT_FALSE(safe("01/12", by));
    EXPECT_TRUE(safe("01/12", {2, 2}) && safe(kSix, {3, 3}) && !safe(kQuad, {2, 9}));
}

void expect_blocks(const char *pattern, uint32_t type, const DngPoint &from, const DngPoint &to, int32_t trim) {
    VorelDngMosaicInfo mosaic = mosaic_of(pattern);
    const Image src = noise_image(from, trim, type);
    VorelDngImage dst({0, 0, to.v, to.h}, 3, type);
    std::memset(dst.at<uint8_t>(0, 0), 99, static_cast<size_t>(dst.buffer().rowStep * to.v) * dst.buffer().pixelSize);
    PlainContext context;
    VorelDngMatrix matrices[3];
    mosaic.interpolate(context, *src, dst, {2, 3}, 0, matrices);
    EXPECT_TRUE(matrices[2][0][0] == 0.5 && matrices[2][1][1] == 1 / 3.0);
    const double v = 1.0 * from.v / to.v, h = 1.0 * from.h / to.h;
    const auto even = [](double value) { return static_cast<int32_t>(value) / 2 * 2; };
    each_sample(dst, [&](int32_t row, int32_t column, uint32_t plane) {
        double sum = 0, count = 0;
        const int32_t top = even(v * row) + trim, left = even(h * column) + trim;
        for (int32_t y = top; y < top + even(v); ++y)
            for (int32_t x = left; x < left + even(h); ++x)
                if (plane_at(mosaic, y, x) == static_cast<int32_t>(plane)) sum += sample_at(*src, y, x), ++count;
        const double mean = count > 0 ? sum / count : 0;
        const double expected = src->isFloat() ? double{static_cast<float>(mean)} : std::floor(mean + 0.5);
        if (testing::Test::HasFatalFailure()) return;
        ASSERT_EQ(sample_at(dst, row, column, plane), expected)
            << pattern << " to " << to.v << " at " << row << ", " << column;
    });
}

TEST(DngFastInterpolator, MeansOfEvenBlocks) {
    // 39 to 10 has blocks of 2; a ratio below 2 leaves black; 1 x 1 is one block of the whole.
    for (const char *pattern : {kPhases[0], kPhases[1], kPhases[2], kPhases[3], kQuad, kSix, "00/12", "00/01"})
        for (const DngPoint to : {DngPoint{10, 10}, {6, 19}, {1, 1}, {2, 3}, {20, 4}, {39, 60}}) {
            for (int32_t trim : {0, 1}) expect_blocks(pattern, kPixelShort, {39, 59}, to, trim);
            expect_blocks(pattern, kPixelFloat, {39, 59}, to, 0);
        }
    // Sums and counts beyond 16 and 32 bits.
    expect_blocks(kPhases[0], kPixelShort, {256, 256}, {1, 1}, 0);
    expect_blocks(kPhases[0], kPixelShort, {700, 1026}, {2, 2}, 0);
}

}  // namespace
}  // namespace vorel::test
