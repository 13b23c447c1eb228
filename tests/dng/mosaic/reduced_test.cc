// Reduced develops: how their scale is chosen, and means of blocks against a direct model.
#include <gtest/gtest.h>

#include "dng/mosaic/fast_interpolator.h"
#include "dng/mosaic/mosaics.h"

namespace vorel::test {
namespace {

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
        EXPECT_EQ(mosaic.getDownScale(row.minimum, row.preferred, row.crop), row.expected)
            << row.pattern << " " << row.preferred << " " << row.minimum << ": "
            << mosaic.getDownScale(row.minimum, row.preferred, row.crop).v;
        EXPECT_EQ(mosaic.getDstSize({1, 1}), (DngPoint{30, 40}));
        EXPECT_EQ(mosaic.getDstSize({4, 64}), (DngPoint{8, 1}));
        EXPECT_EQ(mosaic.getDstSize({65, 2}), DngPoint());
        EXPECT_EQ(mosaic.getDstSize({2, 0}), DngPoint());
        mosaic.layout = 3;
        EXPECT_EQ(mosaic.getDstSize({1, 1}), (DngPoint{60, 40}));
        mosaic.layout = 4;
        EXPECT_EQ(mosaic.getDstSize({1, 1}), (DngPoint{30, 80}));
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
    ifd.photometric = 34892;
    VorelDngMosaicInfo mosaic;
    mosaic.parse(context, stream, ifd, shared);
    EXPECT_FALSE(mosaic.hasPattern());
    ifd.photometric = 32803;
    mosaic.parse(context, stream, ifd, shared);
    EXPECT_TRUE(mosaic.hasPattern());
    EXPECT_EQ(mosaic.cfaPattern[1][0], 7);
    EXPECT_EQ(mosaic.colorPlanes, 4U);
    shared.cameraProfile.colorPlanes = 3;
    mosaic.parse(context, stream, ifd, shared);
    EXPECT_EQ(mosaic.colorPlanes, 3U);
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
    for (int32_t row = 0; row < to.v; ++row) {
        for (int32_t column = 0; column < to.h; ++column) {
            double sums[4] = {};
            int64_t counts[4] = {};
            for (int32_t y = 0; y < side(from.v, to.v); ++y) {
                for (int32_t x = 0; x < side(from.h, to.h); ++x) {
                    const int32_t r = start(from.v, to.v, row) + y + trim, c = start(from.h, to.h, column) + x + trim;
                    sums[plane_at(mosaic, r, c)] += *src.at<Sample>(r, c);
                    ++counts[plane_at(mosaic, r, c)];
                }
            }
            for (uint32_t plane = 0; plane < 3; ++plane) {
                const double mean = counts[plane] ? sums[plane] / static_cast<double>(counts[plane]) : 0;
                const double expected = sizeof(Sample) == 2 ? std::floor(mean + 0.5) : static_cast<float>(mean);
                ASSERT_EQ(*dst.at<Sample>(row, column, plane), expected)
                    << pattern << " " << from.v << "x" << from.h << " to " << to.v << "x" << to.h << " at " << row
                    << ", " << column << ", " << plane;
            }
        }
    }
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
