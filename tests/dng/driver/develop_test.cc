// Whole develops: one pixel worked through, stages that must not differ, reduced and cancelled ones.
#include <algorithm>
#include <cmath>
#include <cstring>
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
    builder.first = dng_mosaic(32, 24, 16, "0112");
    builder.first.tags.push_back({50714, kDngShort, {64}});
    builder.first.tags.push_back({50717, kDngShort, {1023}});
    builder.tags = dng_color_tags();
    const struct {
        uint32_t red, green, blue;
        uint8_t pixel[4];
    } patches[] = {
        {139, 212, 158, {161, 152, 157, 255}}, {1023, 1023, 1023, {255, 255, 255, 255}}, {64, 64, 64, {0, 0, 0, 255}}};
    for (const auto &patch : patches) {
        builder.first.samples.clear();
        for (uint32_t i = 0; i < 32 * 24; ++i) {
            const uint32_t row = i / 32 % 2, column = i % 2;
            builder.first.samples.push_back(row != column ? patch.green : row ? patch.blue : patch.red);
        }
        decInfo info = {};
        info.width = 32, info.height = 24;
        const Bytes out = developed(builder.build(), &info);
        for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], patch.pixel[i % 4]) << i;
        EXPECT_EQ(info.progress, 100);
    }
}

TEST(DngDevelop, ByteOrderAndPlaceOfTheImageDoNotMatter) {
    for (const NamedDng &named : develop_files()) {
        uint32_t width, height;
        const Bytes expected = developed_whole(named.builder, &width, &height);
        DngBuilder other = named.builder;
        other.littleEndian = !other.littleEndian;
        EXPECT_TRUE(developed_whole(other, &width, &height) == expected) << named.name << ", other order";
        // A preview in the first directory, and the raw image below it.
        DngBuilder below = named.builder;
        below.subs = {below.first}, below.first = dng_preview(20, 16);
        decInfo info = {};
        const Bytes file = below.build();
        ASSERT_EQ(parseDNGImageBuffer(file.data(), static_cast<int32_t>(file.size()), &info), 0);
        EXPECT_EQ(info.width, named.builder.first.width);
        decInfo first = info, second = info;
        EXPECT_TRUE(developed(file, &first) == developed(named.builder.build(), &second)) << named.name << ", below";
    }
}

TEST(DngDevelop, FourThreadsGiveTheBytesOfOne) {
    for (const NamedDng &named : develop_files()) {
        uint32_t width, height;
        const Bytes four = developed_whole(named.builder, &width, &height);
        set_quadrant_threads(false);
        const Bytes one = developed_whole(named.builder, &width, &height);
        set_quadrant_threads(true);
        EXPECT_TRUE(four == one) << named.name;
    }
}

// The crop that the file states is what the caller sees, and no more than the picture has is written.
TEST(DngDevelop, CropsAndBuffersOfOtherSizes) {
    const std::vector<NamedDng> files = develop_files();
    const auto bordered = std::find_if(files.begin(), files.end(), [](auto &f) { return f.name[0] == 'b'; });
    const Bytes file = bordered->builder.build();
    decInfo info = {};
    ASSERT_EQ(parseDNGImageBuffer(file.data(), static_cast<int32_t>(file.size()), &info), 0);
    // Halves away from 0.
    expect_pairs(info.cropOriginX, 8, info.cropOriginY, 7, info.cropWidth, 60, info.cropHeight, 50);
    uint32_t width, height;
    const Bytes whole = developed_whole(bordered->builder, &width, &height);
    for (const uint32_t side : {1u, 33u, 200u}) {
        decInfo record = {};
        record.width = side, record.height = side;
        const Bytes out = developed(file, &record);
        for (uint32_t y = 0; y < side; ++y) {
            for (uint32_t x = 0; x < side; ++x) {
                uint32_t is, wanted = 0;
                std::memcpy(&is, &out[(size_t{y} * side + x) * 4], 4);
                if (y + 7 < height && x + 8 < width)
                    std::memcpy(&wanted, &whole[(size_t{y + 7} * width + x + 8) * 4], 4);
                ASSERT_EQ(is, wanted);
            }
        }
    }
}

TEST(DngDevelop, UserLevelsReplaceTheFiles) {
    const NamedDng named = develop_files()[0];
    DngBuilder other = named.builder;
    other.first.tags.push_back({50713, kDngShort, {1, 2}});
    other.first.tags.push_back({50714, kDngShort, {100, 200}});
    other.first.tags.push_back({50717, kDngShort, {3000}});
    decInfo info = {};
    info.width = 75, info.height = 62;
    decInfo user = info, plain = info;
    user.useUserLevels = 1, user.userBlackRepeatRows = 1, user.userBlackRepeatColumns = 2;
    user.userBlackLevel[0][0][0] = 100, user.userBlackLevel[0][1][0] = 200, user.userWhiteLevel[0] = 3000;
    decInfo too_many = user;
    too_many.userBlackRepeatRows = 9;
    const Bytes file = named.builder.build();
    EXPECT_TRUE(developed(file, &user) == developed(other.build(), &info));
    EXPECT_TRUE(developed(file, &too_many) == developed(file, &plain));
}

// Opcodes on stored samples may make codes of more bits than are stored.
TEST(DngDevelop, CodesBeyondTheStoredBits) {
    NamedDng named = develop_files()[0];
    Bytes table;
    for (const uint32_t word : {0u, 0u, 62u, 75u, 0u, 1u, 1u, 1u, 2u, 0xFFFFFFFFu}) table = cat({table, big_32(word)});
    named.builder.first.tags.push_back(opcode_list(51008, {opcode(7, table)}));
    uint32_t width, height;
    EXPECT_TRUE(developed_whole(named.builder, &width, &height) == Bytes(75 * 62 * 4, 255));
}

// A reduced develop is that of an image whose samples are the means of blocks.
TEST(DngDevelop, ReducedFromTheMosaic) {
    DngBuilder builder;
    builder.first = dng_mosaic(64, 48, 12, "0112");
    builder.first.samples = picture_samples(64, 48, 1, 4095, 8);
    builder.tags = dng_color_tags();
    DngBuilder small = builder;
    small.first = dng_linear(16, 12, 16);
    small.first.photometric = 34892;
    // Linear samples of 16 bits, blocks of 4 x 4, rounded means of each colour.
    for (uint32_t y = 0; y < 12; ++y) {
        for (uint32_t x = 0; x < 16; ++x) {
            uint64_t sums[3] = {}, counts[3] = {};
            for (uint32_t i = 0; i < 16; ++i) {
                const uint32_t row = y * 4 + i / 4, column = x * 4 + i % 4, plane = row % 2 + column % 2;
                const double scaled = builder.first.samples[row * 64 + column] * (65535.0 * 256 / 4095);
                sums[plane] += static_cast<uint64_t>(std::llround(scaled)) >> 8;
                ++counts[plane];
            }
            for (int plane = 0; plane < 3; ++plane) {
                small.first.samples.push_back(static_cast<uint32_t>((sums[plane] + counts[plane] / 2) / counts[plane]));
            }
        }
    }
    decInfo reduced = {}, whole = {};
    reduced.width = whole.width = 16, reduced.height = whole.height = 12;
    reduced.preferredSize = 16, reduced.previewWidth = 16, reduced.previewHeight = 12;
    const Bytes file = builder.build(), expected = developed(small.build(), &whole);
    EXPECT_TRUE(developed(file, &reduced) == expected);
    // As a preview too, by either entry.
    decInfo info = {};
    Bytes out(16 * 12 * 4);
    EXPECT_EQ(vorel_dng_develop_preview(file.data(), static_cast<int32_t>(file.size()), out.data(), 16, 12, &info), 1);
    EXPECT_TRUE(out == expected);
    // Sizes between half and the whole have no block that holds every colour: never black.
    decInfo between = {};
    between.width = between.height = between.preferredSize = between.previewWidth = 40, between.previewHeight = 30;
    const Bytes there = developed(file, &between);
    EXPECT_TRUE(std::any_of(there.begin(), there.end(), [](uint8_t byte) { return byte != 0 && byte != 255; }));
}

TEST(DngDevelop, CancelledDevelopsLeaveTheBufferClear) {
    const Bytes file = develop_files()[0].builder.build();
    decInfo info = {};
    info.width = 75, info.height = 62, info.cancelFlag = 1;
    EXPECT_TRUE(developed(file, &info) == Bytes(75 * 62 * 4));
    // From another thread, at any moment: all of the picture, or nothing.
    const std::filesystem::path path =
        std::filesystem::path(VOREL_CORPUS) / "dng/gen_bmpcc_frame_cfa12_uncompressed.dng";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no corpus";
    const Bytes large = read_file(path);
    for (int wait = 0; wait < 40; wait += 8) {
        decInfo record = {};
        record.width = 1920, record.height = 1080;
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
    const std::vector<NamedDng> files = develop_files();
    for (const char *name : {"opcodes", "linear longs, developed as floats"}) {
        const auto named = std::find_if(files.begin(), files.end(), [&](auto &file) { return file.name == name; });
        const Bytes file = named->builder.build();
        decInfo record = {};
        record.width = 40, record.height = 40, record.noiseStrength = 1;
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
        if (parseDNGImageBuffer(file.data(), static_cast<int32_t>(file.size()), &info) != 0 || info.width == 0) return;
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
