// A window of the output is the cut of the whole.
#include <gtest/gtest.h>

#include <algorithm>

#include <random>

#include "jpeg/decoder/colour_model.h"

namespace vorel::test {
namespace {

struct Window {
    int x, y, width, height;
};

// Rows of pixels cut out of a width x height buffer.
Bytes cut_pixels(const Bytes &whole, int width, int bytes, const Window &w) {
    Bytes out;
    for (int y = w.y; y < w.y + w.height; ++y) {
        const auto row = whole.begin() + (static_cast<ptrdiff_t>(y) * width + w.x) * bytes;
        out.insert(out.end(), row, row + w.width * bytes);
    }
    return out;
}

DecodeSpec window_spec(int32_t format, int width, int height, const Window &w) {
    return {.format = format,
            .width = width,
            .height = height,
            .window_x = static_cast<uint32_t>(w.x),
            .window_y = static_cast<uint32_t>(w.y),
            .window_width = static_cast<uint32_t>(w.width),
            .window_height = static_cast<uint32_t>(w.height)};
}

TEST(JpegWindow, EqualsTheCutOverSamplingsRestartsScalesAndPlaces) {
    std::mt19937 random(5);
    const auto below = [&random](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}};
    for (const auto &sampling : kSamplings) {
        for (const unsigned restart : {0u, 1u, 7u, 200u}) {
            for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent}) {
                PictureSpec spec;
                spec.width = 403;
                spec.height = 301;
                spec.h = sampling.h;
                spec.v = sampling.v;
                spec.restart_interval = restart;
                spec.scans = scans;
                const Bytes jpeg = turbo_picture(spec);
                // Straight at every scale, and resampled by means, by centres and up.
                constexpr int kSizes[][2] = {{403, 301}, {202, 151}, {101, 75}, {50, 38},
                                             {320, 240}, {81, 61},   {500, 320}};
                for (const auto &size : kSizes) {
                    const int width = size[0], height = size[1];
                    const uint32_t fit = VOREL_OPTION_FIT_STRETCH;
                    DecodeSpec whole_spec{.format = COLOR_RGBA8888, .width = width, .height = height, .options = fit};
                    const Bytes whole = decode(jpeg, whole_spec).pixels;
                    for (int i = 0; i < 4; ++i) {
                        Window w = {below(width), below(height), 0, 0};
                        w.width = 1 + below(width - w.x);
                        w.height = 1 + below(height - w.y);
                        DecodeSpec part = window_spec(COLOR_RGBA8888, width, height, w);
                        part.options = fit;
                        const Decoded ours = decode(jpeg, part);
                        EXPECT_EQ(ours.result, 1);
                        EXPECT_TRUE(ours.pixels == cut_pixels(whole, width, 4, w))
                            << width << "x" << height << " window " << w.x << "," << w.y << " " << w.width << "x"
                            << w.height << " sampling " << sampling.h << "x" << sampling.v << " restart " << restart;
                    }
                }
            }
        }
    }
}

TEST(JpegWindow, PlanesOfAWindowStandAlone) {
    PictureSpec spec;
    spec.width = 131;
    spec.height = 97;
    const Bytes jpeg = turbo_picture(spec);
    const auto coded = turbo_planes(jpeg);
    ASSERT_TRUE(coded);
    const Samples picture = upsampled(*coded, Colour::kYcc);
    for (const Window w :
         {Window{0, 0, 131, 97}, Window{16, 32, 48, 16}, Window{5, 7, 33, 21}, Window{130, 96, 1, 1}}) {
        for (const int32_t format : {COLOR_YUV420, COLOR_YUV422, COLOR_YUV440, COLOR_YUV444, COLOR_NV21, COLOR_YUYV}) {
            const Decoded ours = decode(jpeg, window_spec(format, 131, 97, w));
            EXPECT_TRUE(ours.pixels == stored(cut(picture, w.x, w.y, w.width, w.height), format, 0))
                << format << " at " << w.x << "," << w.y;
        }
        for (const uint32_t turn : {4u, 8u, 12u}) {
            // The picture turns around the window.
            DecodeSpec part = window_spec(COLOR_RGB565, 131, 97, w);
            if (turn & 4) std::swap(part.width, part.height);
            part.options = turn;
            const Samples expected = turned(cut(picture, w.x, w.y, w.width, w.height), static_cast<int>(turn / 4 * 90));
            EXPECT_TRUE(decode(jpeg, part).pixels == stored(expected, COLOR_RGB565, 0)) << turn;
        }
    }
}

// Bands that go to the whole target's planes add up to the whole.
TEST(JpegWindow, BandsInPlaceMakeTheWhole) {
    for (const unsigned restart : {0u, 9u}) {
        PictureSpec spec;
        spec.width = 150;
        spec.height = 110;
        spec.restart_interval = restart;
        const Bytes jpeg = turbo_picture(spec);
        for (const int32_t format : {COLOR_YUV420, COLOR_NV12, COLOR_YUV444, COLOR_YUYV}) {
            const Bytes whole = decode(jpeg, {.format = format}).pixels;
            Bytes sum(whole.size(), 0);
            for (int top = 0; top < 110; top += 32) {
                DecodeSpec band = window_spec(format, 150, 110, {0, top, 150, std::min(32, 110 - top)});
                band.window_in_place = true;
                const Bytes part = decode(jpeg, band).pixels;
                for (size_t i = 0; i < sum.size(); ++i) sum[i] = static_cast<uint8_t>(sum[i] | part[i]);
            }
            EXPECT_TRUE(sum == whole) << format << " restart " << restart;
        }
    }
}

// Pairs of pixels share bytes: a window that begins at an odd column stays inside the target all the same.
TEST(JpegWindow, OddWindowsInPlaceStayInTheTarget) {
    PictureSpec spec;
    spec.width = 64;
    spec.height = 48;
    const Bytes jpeg = turbo_picture(spec);
    for (const int32_t format :
         {COLOR_YUV420, COLOR_YUV422, COLOR_YUV440, COLOR_YUV444, COLOR_NV21, COLOR_NV12, COLOR_YUYV, COLOR_GRAY}) {
        for (const int left : {1, 3, 62, 63}) {
            // Down to the last byte of the buffer, behind which nothing can be touched.
            DecodeSpec part = window_spec(format, 64, 48, {left, 31, 64 - left, 17});
            part.window_in_place = true;
            part.fill = 1;
            const Decoded ours = decode(jpeg, part);
            EXPECT_EQ(ours.result, 1);
            // Luma above and left of the window is the caller's; pairs begin at the even column before.
            const int step = format == COLOR_YUYV ? 2 : 1;
            for (int y = 0; y < 48; ++y) {
                for (int x = 0; x < (y < 31 ? 64 : left & ~1); ++x) {
                    ASSERT_EQ(ours.pixels[static_cast<size_t>((y * 64 + x) * step)], 1)
                        << format << " " << x << "," << y;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
