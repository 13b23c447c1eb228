// The GIF decoder against a pixel-by-pixel model, for indices, rows, scaling, backgrounds and composition.
#include <gtest/gtest.h>

#include "raster/gif_model.h"

namespace vorel::test {
namespace {

constexpr int kFormats[] = {7, 8, 13, 1, 0};
constexpr uint32_t kFits[] = {0, 0x100, 0x200, 0x700};

RasterTarget random_target(std::mt19937 &random, const GifFile &file, int most) {
    const auto any = [&](int below) { return static_cast<int>(random() % static_cast<uint32_t>(below)); };
    RasterTarget target = {1 + any(most), 1 + any(most), kFormats[any(5)], kFits[any(4)]};
    // Of a turned picture there is only the background.
    if (any(12) == 0) target.options |= static_cast<uint32_t>(4 * any(4));
    if (any(4) == 0) {
        target.width = file.width;
        target.height = file.height;
    }
    return target;
}

TEST(GifAgainstModel, StillsAndAnimationsAtAllSizes) {
    std::mt19937 random(1);
    for (int i = 0; i < 6000; ++i) {
        const int most = i % 50 == 0 ? 400 : 24;
        const GifFile file = random_gif(random, most, 2 << (random() % 8), 1 + i % 6);
        expect_gif_as_model(gif_file(file), file, random_target(random, file, most + most / 2),
                            static_cast<uint8_t>(i));
        if (testing::Test::HasFatalFailure()) return;
    }
}

// Codes of any kind, known and unknown, over sub-blocks of any length and in the remains of another image's table.
TEST(GifLzw, AnyBytesDecodeAsTheTableSays) {
    std::mt19937 random(3);
    int failed = 0, full = 0;
    for (int i = 0; i < 4000; ++i) {
        // A frame that is wider than the screen may have strings that find no place in the row.
        const bool wide = i % 10 == 9;
        const int m = static_cast<int>(random() % 12), screen = 1 + static_cast<int>(random() % 60);
        const int width = wide ? screen + 4000 + static_cast<int>(random() % 300) : screen;
        const int height = wide ? 3 : i % 7 == 0 ? 300 : 1 + static_cast<int>(random() % 40);
        const GifEncoding encoding = {m < 2 ? 2 : m > 8 ? 8 : m, random() % 2 == 0, 1 + random() % 255};
        const GifFrame frame = {.width = width, .height = height};
        Bytes data;
        if (i % 3 != 0) {
            // A good stream with some bytes changed.
            const int colours = wide ? 1 : 1 << encoding.min_code_size;
            data = gif_codes(gif_picture(random, width, height, colours), encoding);
            for (int k = i % 5; k > 0; --k) data[random() % data.size()] = static_cast<uint8_t>(random());
        } else {
            data = noise(random() % 3000, static_cast<unsigned>(i));
        }
        const int size = i % 3 != 0 ? encoding.min_code_size : m;
        GifLzwModel model;
        const GifLzwModel::Image expected = model.decode(data, size, width, height, screen);
        GifFile file = {screen, height, 9, Bytes(768), {}};
        Bytes bytes = gif_file(file);
        bytes.pop_back();
        const RasterPicture got =
            decode_gif(Kind::kMemory, cat({bytes, gif_frame_head(frame, size), data}), {screen, height, 13});
        ASSERT_EQ(got.result, expected.result) << i;
        Bytes pixels;
        for (const Bytes &row : expected.rows) pixels.insert(pixels.end(), row.begin(), row.begin() + screen);
        pixels.resize(got.pixels.size(), 9);
        ASSERT_TRUE(got.pixels == pixels) << i;
        failed += expected.result == 0;
        full += expected.rows.size() == static_cast<size_t>(height);
    }
    EXPECT_GT(failed, 100);
    EXPECT_GT(full, 500);
}

// Frames of one file share a table; what one left there is what the next one's unknown codes stand for.
TEST(GifLzw, TheTableOutlivesTheImage) {
    std::mt19937 random(4);
    for (int i = 0; i < 300; ++i) {
        GifFile file = {16, 16, 0, gif_palette(random, 256), {}};
        Bytes bytes = gif_file(file);
        bytes.pop_back();
        const GifFrame frame = {.width = 16, .height = 16};
        const Bytes good = gif_codes(gif_picture(random, 16, 16, 64), {8, false, 255});
        // Codes of 9 bits beyond those known, and an end.
        const Bytes blocks = gif_sub_blocks(noise(40 + random() % 100, static_cast<unsigned>(i)));
        GifLzwModel model;
        GifLzwModel::Image first = model.decode(good, 8, 16, 16, 16);
        const GifLzwModel::Image second = model.decode(blocks, 8, 16, 16, 16);
        ASSERT_EQ(first.rows.size(), 16u);
        const Bytes whole = cat({bytes, gif_frame_head(frame, 8), good, gif_frame_head(frame, 8), blocks});
        const auto got = decode_animation(Kind::kMemory, whole, {16, 16, 7});
        ASSERT_EQ(got.size(), 2u);
        ASSERT_EQ(got[1].result, second.result ? 3 : 0) << i;
        for (size_t k = 0; k < second.rows.size(); ++k) first.rows[k] = second.rows[k];
        GifFrame merged = frame;
        merged.control = false;
        for (const Bytes &row : first.rows) merged.indices.insert(merged.indices.end(), row.begin(), row.end());
        file.frames = {merged};
        ASSERT_TRUE(got[1].pixels == GifAnimationModel(file, {16, 16, 7}).next())
            << i << ": rows that the damaged frame did not reach are the older ones";
    }
}

}  // namespace
}  // namespace vorel::test
