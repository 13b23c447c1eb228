// The subcommands on frames: convert, resize, rotate.
#include <vorel/frame.h>
#include <vorel/util.h>

#include "fixture.h"
#include "support/samples.h"

namespace vorel_tests {
namespace {

constexpr int kWidth = 31, kHeight = 17;
const size_t kPixels = size_t{kWidth} * kHeight, kYuvBytes = kPixels + size_t{2} * 16 * 9;

using vorel::test::noise;
using FrameTool = ToolFixture;

// Raw frames come out as the library makes them.
TEST_F(FrameTool, RawFramesAreTheBytesOfTheLibrary) {
    const Bytes nv21 = noise(kYuvBytes, 1), rgba = noise(kPixels * 4, 2);
    folder.put("nv21.raw", nv21);
    folder.put("rgba.raw", rgba);
    Bytes colours(kPixels * 4), planes(kYuvBytes), nv12(kYuvBytes), small(12 * 9 + 2 * 6 * 5), half = nv21;
    nv21_to_rgba8888(kWidth, kHeight, nv21.data(), colours.data());
    rgba8888_to_yuv420(kWidth, kHeight, rgba.data(), planes.data());
    vorel_resize_nv21(nv21.data(), small.data(), kWidth, kHeight, 12, 9);
    ASSERT_EQ(vorel_rotate(half.data(), kWidth, kHeight, COLOR_NV21, 180), 1);
    nv12 = nv21;
    for (size_t i = kPixels; i < nv12.size(); i += 2) std::swap(nv12[i], nv12[i + 1]);
    const struct {
        const char *line;
        const Bytes &expected;
    } cases[] = {
        {"convert nv21.raw out.raw --from nv21 --to rgba8888 --size 31x17", colours},
        {"convert rgba.raw out.raw --from rgba8888 --to yuv420 --size 31x17", planes},
        {"convert nv21.raw out.raw --from nv21 --to nv12 --size 31x17", nv12},
        {"resize nv21.raw out.raw --format nv21 --from-size 31x17 --size 12x9", small},
        {"rotate nv21.raw out.raw --format nv21 --from-size 31x17 --angle 180", half},
    };
    for (const auto &c : cases) {
        expect_ok(c.line);
        EXPECT_TRUE(folder.get("out.raw") == c.expected) << c.line;
    }
}

TEST_F(FrameTool, PngsAndPpmsAreResizedAndTurned) {
    const Bytes rgb = noise(kPixels * 3, 3);
    folder.put("picture.ppm", vorel::test::cat({vorel::test::text("P6 # comment\n31\n17 255\n"), rgb}));
    Pixels large = {40, 30, Bytes(40 * 30 * 3)};
    vorel_resize_rgb888(rgb.data(), large.rgb.data(), kWidth, kHeight, 40, 30);
    expect_ok("resize picture.ppm large.png --size 40x30");
    EXPECT_TRUE(png("large.png") == large);
    expect_ok("resize large.png same.ppm --size 40x30");
    for (uint8_t &byte : large.rgb) byte &= 0xFC;
    EXPECT_TRUE(ppm("same.ppm") == large);

    expect_ok("rotate picture.ppm turned.png --angle 90");
    EXPECT_EQ(png("turned.png").width, kHeight);
    EXPECT_EQ(png("turned.png").height, kWidth);
    expect_ok("rotate turned.png back.ppm --angle 270");
    EXPECT_TRUE(ppm("back.ppm") == (Pixels{kWidth, kHeight, rgb}));
}

}  // namespace
}  // namespace vorel_tests
