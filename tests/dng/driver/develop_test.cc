// Whole develops: one pixel worked through, stages that must not differ, reduced and cancelled ones.
#include <algorithm>
#include <array>
#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "dng/base/quadrants.h"
#include "dng/driver/files.h"
#include "dng/support/pairs.h"
#include "support/corpus.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// A flat patch of one camera, worked through by hand in doubles: linearised, interpolated (which leaves it), white and
// matrices from two illuminants, exposure, tone, sRGB.
TEST(DngDevelop, OnePixelWorkedThrough) {
    DngBuilder builder;
    builder.first = dng_mosaic(32, 24, 16);
    add_tags(builder.first.tags, {dng_shorts(50714, {64}), dng_shorts(50717, {1023})});
    builder.tags = dng_color_tags();
    const std::pair<std::array<uint32_t, 3>, Bytes> patches[] = {{{139, 212, 158}, {161, 152, 157, 255}},
                                                                 {{1023, 1023, 1023}, {255, 255, 255, 255}},
                                                                 {{64, 64, 64}, {0, 0, 0, 255}}};
    for (const auto &[codes, pixel] : patches) {
        builder.first.samples.clear();
        for (uint32_t i = 0; i < 32 * 24; ++i) builder.first.samples.push_back(codes[i / 32 % 2 + i % 2]);
        decInfo info = sized(32, 24);
        const Bytes out = developed(builder.build(), &info);
        for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], pixel[i % 4]) << i;
        EXPECT_EQ(info.progress, 100);
    }
}

TEST(DngDevelop, ByteOrderPlaceOfTheImageAndThreadsDoNotMatter) {
    for (const NamedDng &named : develop_files()) {
        const Bytes expected = developed_whole(named.builder).rgba;
        DngBuilder other = named.builder;
        other.littleEndian = !other.littleEndian;
        EXPECT_TRUE(developed_whole(other).rgba == expected) << named.name << ", other order";
        set_quadrant_threads(false);
        EXPECT_TRUE(developed_whole(named.builder).rgba == expected) << named.name << ", one thread";
        set_quadrant_threads(true);
        // A preview in the first directory, and the raw image below it.
        DngBuilder below = named.builder;
        below.subs = {below.first}, below.first = dng_preview(20, 16);
        decInfo info = {};
        const Bytes file = below.build();
        ASSERT_EQ(parseDNGImageBuffer(file.data(), length_of(file), &info), 0);
        const uint32_t width = info.width, height = info.height;
        EXPECT_EQ(width, named.builder.first.width);
        EXPECT_TRUE(developed(file, &info) == developed(named.builder.build(), width, height))
            << named.name << ", below";
    }
}

TEST(DngDevelop, UserLevelsReplaceTheFiles) {
    const DngBuilder own = develop_files()[0].builder;
    DngBuilder other = own;
    add_tags(other.first.tags, {dng_shorts(50713, {1, 2}), dng_shorts(50714, {100, 200}), dng_shorts(50717, {3000})});
    decInfo user = sized(75, 62);
    user.useUserLevels = 1, user.userBlackRepeatRows = 1, user.userBlackRepeatColumns = 2;
    user.userBlackLevel[0][0][0] = 100, user.userBlackLevel[0][1][0] = 200, user.userWhiteLevel[0] = 3000;
    decInfo too_many = user;
    too_many.userBlackRepeatRows = 9;
    const Bytes file = own.build();
    EXPECT_TRUE(developed(file, &user) == developed(other.build(), 75, 62));
    EXPECT_TRUE(developed(file, &too_many) == developed(file, 75, 62));
}

// A reduced develop is that of an image whose samples are the means of blocks.
TEST(DngDevelop, ReducedFromTheMosaic) {
    // Blocks of 4 x 4 of one code a colour, and linear samples of 16 bits.
    const std::vector<uint32_t> means = picture_samples(16, 12, 3, 4095, 8);
    DngBuilder builder, small;
    builder.first = dng_mosaic(64, 48, 12), small.first = dng_linear(16, 12, 16);
    builder.tags = small.tags = dng_color_tags();
    for (uint32_t y = 0; y < 48; ++y)
        for (uint32_t x = 0; x < 64; ++x)
            builder.first.samples.push_back(means[(y / 4 * 16 + x / 4) * 3 + y % 2 + x % 2]);
    for (const uint32_t mean : means)
        small.first.samples.push_back(static_cast<uint32_t>(std::llround(mean * (65535.0 * 256 / 4095))) >> 8);
    decInfo reduced = sized(16, 12);
    reduced.preferredSize = reduced.previewWidth = 16, reduced.previewHeight = 12;
    const Bytes file = builder.build(), expected = developed(small.build(), 16, 12);
    EXPECT_TRUE(developed(file, &reduced) == expected);
    // As a preview too, by either entry.
    decInfo info = {};
    Bytes out(16 * 12 * 4);
    EXPECT_EQ(vorel_dng_develop_preview(file.data(), length_of(file), out.data(), 16, 12, &info), 1);
    EXPECT_TRUE(out == expected);
    // Sizes between half and the whole have no block that holds every colour: never black.
    decInfo between = sized(40, 40);
    between.preferredSize = between.previewWidth = 40, between.previewHeight = 30;
    const Bytes there = developed(file, &between);
    EXPECT_TRUE(std::any_of(there.begin(), there.end(), [](uint8_t byte) { return byte != 0 && byte != 255; }));
}

TEST(DngDevelop, CancelledDevelopsLeaveTheBufferClear) {
    const Bytes file = develop_files()[0].builder.build();
    decInfo info = sized(75, 62);
    info.cancelFlag = 1;
    EXPECT_TRUE(developed(file, &info) == Bytes(75 * 62 * 4));
    // From another thread, at any moment: all of the picture, or nothing.
    const char *const path = VOREL_CORPUS "/dng/gen_bmpcc_frame_cfa12_uncompressed.dng";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no corpus";
    const Bytes large = read_file(path);
    for (int wait = 0; wait < 40; wait += 8) {
        decInfo record = sized(1920, 1080);
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
            VDngCancelDecoding(&record);
        });
        const Bytes picture = developed(large, &record);
        other.join();
        EXPECT_TRUE(picture[3] == 255 || picture == Bytes(picture.size())) << wait;
    }
}

// Each allocation fails in turn: a develop that succeeds is whole, and nothing is lost.
TEST(DngDevelop, FailingAllocations) {
    for (const char *name : {"opcodes", "linear longs, developed as floats"}) {
        const Bytes file = develop_file(name).builder.build();
        decInfo record = sized(40, 40);
        record.noiseStrength = 1;
        decInfo info = record;
        const Bytes whole = developed(file, &info);
        with_each_allocation_failing([&](CountingAllocator &allocator) {
            decInfo now = record;
            const Bytes out = developed(file, &now);
            EXPECT_EQ(now.progress == 100, out == whole);
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
    }
}

// Every file of the corpus ends, within its memory.
TEST(DngDevelop, Corpus) {
    const bool there = for_each_of_corpus("dng", [](const std::string &, const Bytes &file) {
        decInfo info = {};
        info.acceptLossless = 1;
        if (parseDNGImageBuffer(file.data(), length_of(file), &info) != 0 || info.width == 0) return;
        CountingAllocator allocator;
        const uint64_t pixels = developed(file, &info).size() / 4;
        // Two stages of at most three floats, and the final picture.
        EXPECT_LE(allocator.peak_bytes(), pixels * (24 + 3) + (1 << 20));
        EXPECT_TRUE(info.progress == 100 && allocator.live_bytes() == 0);
    });
    if (!there) GTEST_SKIP() << "no corpus";
}

}  // namespace
}  // namespace vorel::test
