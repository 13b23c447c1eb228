// RLE8 against the uncompressed twin of a file and against single codes.
#include <gtest/gtest.h>

#include "raster/bmp_model.h"

namespace vorel::test {
namespace {

// Runs of all lengths, so that both kinds of codes are there.
BmpPicture picture_of_runs(uint32_t seed, int32_t width, int32_t height) {
    BmpPicture picture = random_bmp(seed, 8, width, height);
    for (size_t i = 1; i < picture.samples.size(); ++i) {
        if (picture.samples[i] % 3) picture.samples[i] = picture.samples[i - 1];
    }
    return picture;
}

TEST(BmpRle8, AsTheModelAtEverySizeAlsoWithPixelsLeftOut) {
    constexpr int32_t kStored[] = {COLOR_RGB565, COLOR_RGB888, COLOR_ARGB8888, COLOR_RGBA8888, COLOR_BGRA8888};
    constexpr uint32_t kOptions[] = {0, 0x104, 0x708, 0x00C, 0x700, 0x100};
    uint32_t cases = 0;
    for (const auto &[width, height] : {std::pair(23, 12), {300, 3}, {1, 9}, {200, 20}}) {
        BmpPicture picture = picture_of_runs(static_cast<uint32_t>(width), width, height);
        for (const int left_out : {-1, 2}) {
            if (left_out >= 0)
                for (uint32_t &sample : picture.samples) sample %= 4;
            const Bytes file = rle8_file(picture, left_out);
            for (int32_t across = 1; across <= width + 2; across += width > 100 ? 97 : 1) {
                for (int32_t down = 1; down <= height + 2; down += width > 100 ? 10 : 1) {
                    const RasterTarget target = {across, down, kStored[cases % 5], kOptions[cases % 6]};
                    const RasterPicture got = decode_bmp(kAllKinds[++cases % 5], file, target);
                    ASSERT_TRUE(got == model_bmp(picture, {}, target, left_out)) << width << text_of(target);
                }
            }
        }
    }
}

// What 4 x 3 pixels are after some codes: a digit a pixel, '.' not written. Gray 1 is index 1.
TEST(BmpRle8, Codes) {
    const struct {
        const char *what;
        Bytes codes;
        const char *rows;  // from the top
    } cases[] = {
        {"a run past the row's end is cut", {9, 1, 0, 0, 1, 2}, "....2...1111"},
        {"no row begins by itself", {4, 1, 4, 2, 0, 1}, "........1111"},
        {"an absolute run past the row's end is cut and read over",
         {0, 7, 1, 2, 3, 4, 5, 6, 7, 9, 0, 0, 1, 5, 0},
         "....5...1234"},
        {"odd runs have a byte behind them", {0, 3, 1, 2, 3, 99, 1, 4, 0, 1}, "........1234"},
        {"a delta", {1, 1, 0, 2, 1, 1, 1, 2, 0, 1}, "......2.1..."},
        {"a delta up two rows", {1, 1, 0, 2, 1, 2, 1, 2, 0, 1}, "..2.....1..."},
        {"a delta past the row's end", {0, 2, 200, 1, 4, 1, 0, 0, 1, 2, 0, 1}, "2..........."},
        {"a delta past the top", {1, 1, 0, 2, 0, 9, 4, 2}, "........1..."},
        {"the row above the top", {1, 1, 0, 0, 1, 2, 0, 0, 1, 3, 0, 0, 4, 4}, "3...2...1..."},
        {"end of the bitmap", {1, 1, 0, 1, 1, 2}, "........1..."},
        {"cut off behind a count", {1, 1, 3}, "........1..."},
        {"cut off behind an escape", {1, 1, 0}, "........1..."},
        {"cut off in a delta", {1, 1, 0, 2, 1}, "........1..."},
        {"cut off in an absolute run", {1, 1, 0, 3, 2}, "........12.."},
        {"no codes", {}, "............"},
    };
    for (const auto &c : cases) {
        const Bytes file = rle8_of_codes(4, 3, c.codes);
        for (const Kind kind : kAllKinds) {
            const RasterPicture got = decode_bmp(kind, file, {4, 3, COLOR_RGB888});
            std::string rows;
            for (size_t i = 0; i < got.pixels.size(); i += 3) {
                rows += got.pixels[i] == kUntouched ? '.' : static_cast<char>('0' + got.pixels[i]);
            }
            EXPECT_EQ(rows, c.rows) << c.what;
            EXPECT_EQ(got.result, 1) << c.what;
            // Scaled, what is not written is black: twice the width repeats pixels.
            const Bytes wide = decode_bmp(kind, file, {8, 3, COLOR_RGB888, 0x700}).pixels;
            for (size_t i = 0; i < 24; ++i) {
                const char digit = c.rows[i / 2];
                EXPECT_EQ(wide[i * 3], digit == '.' ? 0 : digit - '0') << c.what << " at " << i;
            }
        }
    }
}

// The loop of codes belongs to 8 bits from the bottom; elsewhere compression 1 says nothing.
TEST(BmpRle8, OtherDepthsAndSigns) {
    for (const int bits : {1, 4, 24, 32}) {
        const BmpPicture picture = random_bmp(6, bits, 9, 9);
        const Bytes file = changed(bmp_file(picture), 30, {1});
        const RasterTarget target = {9, 9, COLOR_RGB888};
        EXPECT_EQ(decode_bmp(Kind::kMemory, file, target).pixels, model_bmp(picture, {}, target).pixels);
    }
    const BmpPicture picture = picture_of_runs(8, 9, 5);
    Bytes file = rle8_file(picture);
    const RasterTarget target = {9, 5, COLOR_RGBA8888};
    const Bytes upright = decode_bmp(Kind::kMemory, file, target).pixels;
    file = changed(file, 22, little_32(0u - 5u));
    EXPECT_EQ(decode_bmp(Kind::kMemory, file, target).pixels, upright) << "negative height";
    expect_untouched(VORELBRIMI_DecodeBMP, {Kind::kMemory}, file, {9, 5, COLOR_BGR565A}, 1);
}

}  // namespace
}  // namespace vorel::test
