// Sizes and choices, without pixels.
#include <gtest/gtest.h>

#include <array>

#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/threads/method.h"

namespace vorel::test {
namespace {

// The geometry of a 4:2:0 baseline picture.
struct Planned {
    DecInfo session = {};
    JpegInfo info = {};

    Planned(int width, int height, int target_width, int target_height, uint32_t option, int mode = 0,
            int32_t sample = 0) {
        session.decOption = option;
        session.sampleSize = sample;
        info.decInfo = &session;
        info.decMode = mode;
        info.plan.outColorFormat = COLOR_RGBA8888;
        FrameLayout &frame = info.own_frame;
        info.frame = &frame;
        frame.numComponents = info.header.scan.compsInScan = 3;
        frame.imageWidth = static_cast<uint16_t>(width);
        frame.imageHeight = static_cast<uint16_t>(height);
        frame.maxH = frame.maxV = 2;
        frame.mcuWidth = frame.mcuHeight = 16;
        for (uint32_t c = 0; c < 3; ++c) {
            frame.components[c].index = c;
            frame.components[c].hSampling = frame.components[c].vSampling = c ? 1 : 2;
        }
        const FrameRequest request = {0, 0, nullptr, target_width, target_height};
        planned = plan_geometry(&info, &request);
    }
    bool planned;
};

TEST(JpegGeometry, OutputSizesScalesAndCrops) {
    constexpr struct {
        int width, height, target_width, target_height;
        uint32_t option;
        int mode;
        int out_width, out_height, index, multiplier, scaled_width, scaled_height, one_to_one, offset_x;
    } kRows[] = {
        {4000, 3000, 500, 500, 0, 0, 500, 375, 3, 1, 500, 375, 1, 0},
        {4000, 3000, 500, 500, 0x300, 0, 667, 500, 2, 1, 1000, 750, 0, 83},
        {4000, 3000, 500, 500, 0x700, 0, 500, 500, 2, 1, 1000, 750, 0, 0},
        {4000, 3000, 5000, 5000, 0, 0, 4000, 3000, 0, 1, 4000, 3000, 1, 0},
        {4000, 3000, 5000, 5000, 0x300, 0, 4000, 3000, 0, 1, 4000, 3000, 1, 0},
        {4000, 3000, 5000, 5000, 0x700, 0, 5000, 5000, 0, 1, 4000, 3000, 0, 0},
        {4000, 3000, 2000, 1500, 0, 0, 2000, 1500, 1, 1, 2000, 1500, 1, 0},
        {4000, 3000, 2000, 1500, 0, 2, 2000, 1500, 3, 3, 1500, 1125, 0, 0},
        {4000, 3000, 4000, 3000, 0, 3, 4000, 3000, 3, 3, 1500, 1125, 0, 0},
        {4000, 3000, 2000, 1500, 0, 3, 2000, 1500, 3, 3, 1500, 1125, 0, 0},
        {4000, 3000, 4000, 3000, 0, 4, 4000, 3000, 3, 1, 500, 375, 0, 0},
        {4000, 3000, 500, 375, 0, 2, 500, 375, 4, 1, 250, 188, 0, 0},
        {4001, 3001, 2000, 1500, 0, 0, 2000, 1500, 1, 1, 2000, 1500, 1, 0},
        {100, 50, 40, 400, 0, 0, 40, 20, 1, 1, 50, 25, 0, 0},
        {3000, 4000, 500, 500, 4, 0, 375, 500, 3, 1, 375, 500, 1, 0},
        {4000, 3000, 1000, 4000, 4, 0, 1334, 1000, 1, 1, 2000, 1500, 0, 0},
        {9, 9, 1, 1, 0, 0, 1, 1, 3, 1, 1, 1, 1, 0},
        {1, 23, 1, 23, 0, 0, 1, 23, 0, 1, 1, 23, 1, 0},
        {50000, 10, 1, 1, 0, 0, 1, 1, 3, 1, 6250, 1, 0, 0},
    };
    for (const auto &row : kRows) {
        const Planned p(row.width, row.height, row.target_width, row.target_height, row.option, row.mode);
        SCOPED_TRACE(&row - kRows);
        EXPECT_TRUE(p.planned);
        const OutputPlan &plan = p.info.plan;
        const std::array<int, 9> ours = {plan.outWidth,
                                         plan.outHeight,
                                         plan.scaleIndex,
                                         plan.scaleMultiplier,
                                         plan.scaledWidth,
                                         plan.scaledHeight,
                                         static_cast<int>(plan.isOneToOne),
                                         plan.decodeOffsetX,
                                         plan.decodeOffsetY};
        EXPECT_EQ(ours, (std::array<int, 9>{row.out_width, row.out_height, row.index, row.multiplier, row.scaled_width,
                                            row.scaled_height, row.one_to_one, row.offset_x, 0}));
    }
    EXPECT_FALSE(Planned(0, 10, 5, 5, 0).planned);
    const Planned by_sample(4001, 3000, 0, 0, 0, 0, 4);
    EXPECT_EQ(by_sample.info.plan.outWidth, 1000);
    EXPECT_EQ(by_sample.info.plan.outHeight, 750);
}

TEST(JpegGeometry, SampleSizesAndExactReductions) {
    EXPECT_EQ(getSampleSize(4000, 3000, 500, 375), 8);
    EXPECT_EQ(getSampleSize(4000, 3000, 501, 375), 4);
    EXPECT_EQ(getSampleSize(4000, 3000, 4000, 3000), 1);
    EXPECT_EQ(getSampleSize(4000, 0, 1, 1), 0);
    EXPECT_EQ(checkOneToOne(4000, 3000, 500, 375), 1);
    EXPECT_EQ(checkOneToOne(4000, 3000, 1000, 900), 0);
    EXPECT_EQ(checkOneToOne(300, 300, 100, 100), 0) << "a third is counted as a half";
    EXPECT_EQ(checkOneToOne(4001, 3001, 2001, 1501), 1);
    EXPECT_EQ(checkOneToOne(10, 10, 0, 10), 0);
    EXPECT_EQ(GCD(12, 18), 6);
    EXPECT_EQ(BRIMJ_GetGCD(-12, 18), 6);
    EXPECT_EQ(BRIMJ_GetGCD(INT32_MIN, -1), 1);
    EXPECT_EQ(LCM(4, 6), 12);
    EXPECT_EQ(LCM(0, 0), 0);
    EXPECT_STREQ(BRIMJ_GetVersion(), "3.72.24.26799");
}

TEST(JpegMethod, LargePicturesAreSplitAndSmallOnesAreNot) {
    const DecodeRequest base = {4000, 3000, 4000, 3000, 1, 3, 16, 16, 0, 1000000, false, false, false};
    const auto method = [&base](auto change) {
        DecodeRequest r = base;
        change(r);
        return choose_method(r).method;
    };
    EXPECT_EQ(method([](DecodeRequest &) {}), DecodeMethod::kPool);
    EXPECT_EQ(method([](DecodeRequest &r) { r.progressive = true; }), DecodeMethod::kPlain);
    EXPECT_EQ(method([](DecodeRequest &r) { r.source_width = 400, r.width = 512; }), DecodeMethod::kPlain);
    EXPECT_EQ(method([](DecodeRequest &r) { r.width = 139; }), DecodeMethod::kPlain);
    EXPECT_EQ(method([](DecodeRequest &r) { r.width = 500, r.height = 375; }), DecodeMethod::kPlain) << "s is 8";
    EXPECT_EQ(method([](DecodeRequest &r) { r.has_window = true; }), DecodeMethod::kTwoSessions);
    EXPECT_EQ(method([](DecodeRequest &r) { r.components = 1; }), DecodeMethod::kTwoSessions);
    EXPECT_EQ(method([](DecodeRequest &r) { r.components = 1, r.restart_interval = 250; }), DecodeMethod::kRestart);
    // 250 MCUs a row and an interval of 100: two MCU rows are five intervals.
    DecodeRequest restarts = base;
    restarts.restart_interval = 100;
    EXPECT_EQ(choose_method(restarts).band_rows % 32, 0);
    DecodeRequest walk = base;
    walk.width = 2000, walk.height = 1500, walk.input_bytes = 0x180000;
    EXPECT_TRUE(choose_method(walk).walk_ahead);
    EXPECT_EQ(choose_method(walk).threads, 5);
    EXPECT_EQ(choose_method(walk).band_rows, 32);
}

}  // namespace
}  // namespace vorel::test
