// Colour formats, rotations and places of the output.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"

namespace vorel::test {
namespace {

constexpr uint8_t kFill = 0xA5;

TEST(JpegFormats, EverySourceInEveryFormatFollowsTheRules) {
    for (const Colour colour : {Colour::kGray, Colour::kYcc, Colour::kRgb, Colour::kCmyk, Colour::kYcck}) {
        for (const int sampling : {1, 2, 3}) {
            if (sampling > 1 && (colour == Colour::kGray || colour == Colour::kRgb)) continue;
            for (const int width : {1, 2, 33, 150}) {
                PictureSpec spec;
                spec.colour = colour;
                spec.width = width;
                spec.height = width == 2 ? 1 : 37;
                spec.h = sampling == 1 ? 1 : 2;
                spec.v = sampling == 3 ? 2 : 1;
                spec.noise = 120;
                const Bytes jpeg = turbo_picture(spec);
                const auto coded = turbo_planes(jpeg);
                ASSERT_TRUE(coded);
                const Samples picture = upsampled(*coded, colour);
                for (const int32_t format : kAllFormats) {
                    const Decoded ours = decode(jpeg, {.format = format, .fill = kFill});
                    EXPECT_EQ(ours.result, 1);
                    EXPECT_TRUE(ours.pixels == stored(picture, format, kFill))
                        << "source " << static_cast<int>(colour) << " format " << format << " width " << width
                        << " sampling " << sampling;
                }
            }
        }
    }
}

TEST(JpegFormats, CompressedRangeKeepsGrayAndMovesTheEnds) {
    PictureSpec spec;
    spec.width = spec.height = 40;
    spec.h = spec.v = 1;
    spec.noise = 0;
    const Bytes jpeg = turbo_picture(spec);
    const Bytes plain = decode(jpeg, {}).pixels;
    const Bytes squeezed = decode(jpeg, {.options = VOREL_OPTION_COMPRESS_RANGE}).pixels;
    for (size_t i = 0; i < plain.size(); ++i) {
        if (plain[i] < 128) continue;
        EXPECT_EQ(squeezed[i], 128 + ((120 * (plain[i] - 128)) >> 7));
    }
    EXPECT_EQ(decode(jpeg, {.options = VOREL_OPTION_EXACT_KERNEL}).pixels, plain);
}

TEST(JpegRotation, PixelFormatsTurnAndPlanesDoNot) {
    for (const int width : {1, 70, 203}) {
        PictureSpec spec;
        spec.width = width;
        spec.height = 51;
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        const Samples picture = upsampled(*coded, Colour::kYcc);
        for (const int degrees : {90, 180, 270}) {
            const uint32_t option = static_cast<uint32_t>(degrees / 90 * 4);
            const Samples expected = turned(picture, degrees);
            for (const int32_t format : {COLOR_RGB565, COLOR_RGBA8888, COLOR_BGRA8888}) {
                const Decoded ours = decode(
                    jpeg, {.format = format, .width = expected.width, .height = expected.height, .options = option});
                EXPECT_TRUE(ours.pixels == stored(expected, format, 0)) << degrees << " " << format << " " << width;
            }
            for (const int32_t format : {COLOR_YUV420, COLOR_NV12}) {
                EXPECT_TRUE(decode(jpeg, {.format = format, .options = option}).pixels == stored(picture, format, 0));
            }
        }
    }
}

// A picture in a larger target: rows of the target, the rest untouched.
TEST(JpegPlacement, CentredPackedAndTopLeft) {
    PictureSpec spec;
    spec.width = 37;
    spec.height = 21;
    const Bytes jpeg = turbo_picture(spec);
    const auto coded = turbo_planes(jpeg);
    ASSERT_TRUE(coded);
    const Samples picture = upsampled(*coded, Colour::kYcc);
    constexpr int kWidth = 50, kHeight = 40;
    for (const uint32_t turn : {0u, 4u, 8u, 12u}) {
        const Samples shown = turned(picture, static_cast<int>(turn / 4 * 90));
        const Bytes small = stored(shown, COLOR_RGBA8888, 0);
        constexpr struct {
            uint32_t fit;
            bool centred, packed;
        } kRows[] = {{0, true, false}, {0x100, false, true}, {0x200, false, false}, {0x300, true, false}};
        for (const auto &row : kRows) {
            const int left = row.centred ? (kWidth - shown.width) / 2 : 0;
            const int top = row.centred ? (kHeight - shown.height) / 2 : 0;
            const int stride = row.packed ? shown.width : kWidth;
            Bytes expected(kWidth * kHeight * 4, kFill);
            for (int y = 0; y < shown.height; ++y) {
                std::copy_n(small.begin() + y * shown.width * 4, shown.width * 4,
                            expected.begin() + ((top + y) * stride + left) * 4);
            }
            const Decoded ours = decode(jpeg, {.format = COLOR_RGBA8888,
                                               .width = kWidth,
                                               .height = kHeight,
                                               .options = row.fit | turn,
                                               .fill = kFill});
            EXPECT_TRUE(ours.pixels == expected) << "fit " << row.fit << " turn " << turn;
            EXPECT_EQ(ours.out_width, static_cast<unsigned>(shown.width)) << "as it stands in the buffer";
        }
    }
}

// Planes of a centred picture stand at the documented offsets of the target's planes.
TEST(JpegPlacement, PlanesInsideALargerTarget) {
    PictureSpec spec;
    spec.width = 24;
    spec.height = 16;
    const Bytes jpeg = turbo_picture(spec);
    const auto coded = turbo_planes(jpeg);
    ASSERT_TRUE(coded);
    constexpr int kWidth = 36, kHeight = 28, kLeft = 6, kTop = 6;
    const Bytes ours = decode(jpeg, {.format = COLOR_YUV420, .width = kWidth, .height = kHeight, .fill = kFill}).pixels;
    Bytes expected(ours.size(), kFill);
    const auto put = [&](size_t c, size_t base, int stride, int left, int top) {
        const Plane &plane = coded->components[c].plane;
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                expected[base + static_cast<size_t>((top + y) * stride + left + x)] = plane.at(x, y);
            }
        }
    };
    put(0, 0, kWidth, kLeft, kTop);
    put(1, kWidth * kHeight, kWidth / 2, kLeft / 2, kTop / 2);
    put(2, kWidth * kHeight * 5 / 4, kWidth / 2, kLeft / 2, kTop / 2);
    EXPECT_TRUE(ours == expected);
}

}  // namespace
}  // namespace vorel::test
