// Rotation: every format and angle against a model, the documented refusals, nothing lost on high frames.
#include <gtest/gtest.h>

#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "util/model.h"

namespace vorel::test {
namespace {

constexpr int32_t kFormats[] = {COLOR_RGB565,   COLOR_RGB888,     COLOR_YUV420, COLOR_ARGB8888, COLOR_RGBA8888,
                                COLOR_BGRA8888, COLOR_RGB565_ALT, COLOR_NV21,   COLOR_NV12};
constexpr int kAngles[] = {90, 180, 270};
constexpr int kSizes[][2] = {{1, 1},   {1, 9},    {9, 1},   {5, 3},   {16, 16},  {17, 33}, {40, 30},
                             {63, 65}, {33, 511}, {7, 512}, {9, 513}, {70, 600}, {33, 17}, {30, 40},
                             {65, 63}, {511, 33}, {512, 7}, {513, 9}, {600, 70}};

using Turn = int32_t (*)(void *, int32_t, int32_t, int32_t, int32_t);

TEST(Rotate, EveryFormatAndAngleEqualsTheModel) {
    for (const int32_t format : kFormats) {
        for (const auto &size : kSizes) {
            const Bytes src = noise(format_bytes(format, size[0], size[1]), 5);
            for (const int angle : kAngles) {
                const Bytes expected = model_turn(format, src, size[0], size[1], angle);
                for (const Turn turn : {vorel_rotate, vorel_fast_rotate}) {
                    GuardBuffer frame(src);
                    ASSERT_EQ(turn(frame.data(), size[0], size[1], format, angle), 1);
                    ASSERT_TRUE(frame.bytes() == expected)
                        << "format " << format << " " << size[0] << "x" << size[1] << " by " << angle;
                }
                Bytes frame = src;
                const auto turn = angle == 90 ? vorel_rotate_90 : angle == 180 ? vorel_rotate_180 : vorel_rotate_270;
                EXPECT_EQ(turn(frame.data(), size[0], size[1], format), 1);
                EXPECT_TRUE(frame == expected);
            }
        }
    }
}

// Jobs of any rows, in any order: the task routines are exported.
TEST(Rotate, JobsOfAnyEvenRowsMakeTheWholeTurn) {
    for (const int32_t format : kFormats) {
        const int width = 21, height = 47;
        const Bytes src = noise(format_bytes(format, width, height), 6);
        for (const int angle : kAngles) {
            const auto routine = angle == 90 ? _vorel_rotate_90 : angle == 180 ? _vorel_rotate_180 : _vorel_rotate_270;
            const Bytes out = whole_output(src.size(), [&](uint8_t *destination) {
                for (int top = 44; top >= 0; top -= 4) {
                    RotateJob job = {src.data(), destination, width, height, top, 4, format};  // beyond the end, too
                    routine(&job);
                }
                RotateJob beyond = {src.data(), destination, width, height, height, 0, format};
                routine(&beyond);
            });
            EXPECT_TRUE(out == model_turn(format, src, width, height, angle)) << format << " by " << angle;
        }
    }
}

TEST(Rotate, HighFramesLoseNoRowInAnyOrder) {
    const ShuffledTasks shuffled(3);
    const auto check = [](int32_t format, int width, int height, int angle) {
        const Bytes src = noise(format_bytes(format, width, height), 9);
        Bytes frame = src;
        ASSERT_EQ(vorel_fast_rotate(frame.data(), width, height, format, angle), 1);
        ASSERT_TRUE(frame == model_turn(format, src, width, height, angle)) << format << " height " << height;
    };
    for (int height = 1; height <= 3000; height += kSlowBuild ? 331 : 37)
        check(kFormats[height % 9], 1 + height * 5 % 41, height, kAngles[height % 3]);
    for (const int height : {4001, 9001, 200'001})
        for (const int angle : {90, 270}) check(COLOR_NV21, 4, height, angle);
}

TEST(Rotate, RefusalsLeaveTheFrameAndTheirLine) {
    LogCapture log;
    GuardBuffer frame(64, 3);
    for (const Turn turn : {vorel_rotate, vorel_fast_rotate}) {
        for (const int angle : {0, -90, 45, 360, 91}) EXPECT_EQ(turn(frame.data(), 4, 4, COLOR_RGBA8888, angle), 0);
        EXPECT_EQ(turn(nullptr, 4, 4, COLOR_RGBA8888, 90), 0);
        for (const auto &size : {std::pair(0, 4), {4, 0}, {-4, 4}, {4, -4}, {INT32_MIN, 1}})
            EXPECT_EQ(turn(frame.data(), size.first, size.second, COLOR_RGBA8888, 90), 0);
    }
    EXPECT_TRUE(log.take().empty());
    for (const int32_t format : std::initializer_list<int32_t>{COLOR_YUV422, COLOR_GRAY, COLOR_BGR565A, COLOR_YUV440,
                                                               COLOR_YUV444, COLOR_YUYV, -1, 10, 99}) {
        EXPECT_EQ(vorel_rotate(frame.data(), 1, 512, format, 90), 0) << format;
        EXPECT_EQ(log.only().rfind("VROTATE|[vorel_rotate_90:", 0), 0u);
        EXPECT_EQ(vorel_rotate(frame.data(), 1, 513, format, 90), 0) << format;
        EXPECT_EQ(log.only().rfind("VROTATE|[vorel_fast_rotate:", 0), 0u);
    }
    for (const int angle : kAngles) {
        EXPECT_EQ(vorel_fast_rotate(frame.data(), INT32_MAX, INT32_MAX, COLOR_RGBA8888, angle), 0);
        EXPECT_NE(log.only().find(", size : "), std::string::npos);
    }
    EXPECT_EQ(frame.bytes(), Bytes(64, 3));
}

TEST(Rotate, WithoutMemoryTheFrameStaysOrIsTurnedWhole) {
    const ShuffledTasks shuffled(6);
    LogCapture log;
    const Bytes src = noise(format_bytes(COLOR_NV12, 15, 700), 4);
    for (const int angle : kAngles) {
        const Bytes expected = model_turn(COLOR_NV12, src, 15, 700, angle);
        Bytes frame;
        const auto turn = [&](CountingAllocator &) {
            frame = src;
            const int32_t result = vorel_rotate(frame.data(), 15, 700, COLOR_NV12, angle);
            EXPECT_TRUE(frame == (result ? expected : src)) << result;
        };
        EXPECT_GT(with_each_allocation_failing(turn), 0u);
    }
}

TEST(Rotate, PowersAreModuloTwoToThe32) {
    EXPECT_EQ(brim_pow(3, 4), 81u);
    EXPECT_EQ(brim_pow(2, 31), 0x80000000u);
    EXPECT_EQ(brim_pow(2, 32), 0u);
    EXPECT_EQ(brim_pow(7, 20), 0xB87E16E1u);
    EXPECT_EQ(brim_pow(3, INT32_MAX), 0xAAAAAAABu);  // 3^(2^31) is 1, and 3 * 0xAAAAAAAB is 1
    for (const int exponent : {0, -1, INT32_MIN}) EXPECT_EQ(brim_pow(9, exponent), 1u);
    VORELBRIM_CODEC_Blend();
}

}  // namespace
}  // namespace vorel::test
