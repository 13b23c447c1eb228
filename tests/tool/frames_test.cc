// The subcommands on frames: convert, resize, rotate.
#include <gtest/gtest.h>
#include <vorel/frame.h>
#include <vorel/util.h>

#include <algorithm>

#include "fixture.h"
#include "run_tool.h"

namespace vorel_tests {
namespace {

constexpr int kWidth = 31, kHeight = 17;
const size_t kPixels = size_t{kWidth} * kHeight, kYuvBytes = kPixels + size_t{2} * 16 * 9;

Bytes noise(size_t size) {
    Bytes bytes(size);
    uint32_t state = 5;
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}

Bytes ppm(int width, int height, const Bytes &rgb, const std::string &header) {
    const std::string text = header + std::to_string(width) + "\n" + std::to_string(height) + " 255\n";
    Bytes file(text.begin(), text.end());
    file.insert(file.end(), rgb.begin(), rgb.end());
    return file;
}

class FrameTool : public ToolFixture {
  protected:
    void SetUp() override {
        folder.put("nv21.raw", noise(kYuvBytes));
        folder.put("rgba.raw", noise(kPixels * 4));
        folder.put("picture.ppm", ppm(kWidth, kHeight, noise(kPixels * 3), "P6 # comment\n"));
    }
};

// Raw frames come out as the library makes them.
TEST_F(FrameTool, RawFramesAreTheBytesOfTheLibrary) {
    const Bytes nv21 = noise(kYuvBytes), rgba = noise(kPixels * 4);
    Bytes colours(kPixels * 4), planes(kYuvBytes), nv12(kYuvBytes), small(12 * 9 + 2 * 6 * 5), half = nv21;
    nv21_to_rgba8888(kWidth, kHeight, nv21.data(), colours.data());
    rgba8888_to_yuv420(kWidth, kHeight, rgba.data(), planes.data());
    vorel_resize_nv21(nv21.data(), small.data(), kWidth, kHeight, 12, 9);
    ASSERT_EQ(vorel_rotate(half.data(), kWidth, kHeight, COLOR_NV21, 180), 1);
    nv12 = nv21;
    for (size_t i = kPixels; i < nv12.size(); i += 2) std::swap(nv12[i], nv12[i + 1]);
    const struct {
        Arguments arguments;
        const Bytes &expected;
    } cases[] = {
        {{"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "rgba8888", "--size", "31x17"}, colours},
        {{"convert", "rgba.raw", "out.raw", "--from", "rgba8888", "--to", "yuv420", "--size", "31x17"}, planes},
        {{"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "nv12", "--size", "31x17"}, nv12},
        {{"resize", "nv21.raw", "out.raw", "--format", "nv21", "--from-size", "31x17", "--size", "12x9"}, small},
        {{"rotate", "nv21.raw", "out.raw", "--format", "nv21", "--from-size", "31x17", "--angle", "180"}, half},
    };
    for (const auto &c : cases) {
        expect_ok(c.arguments);
        EXPECT_TRUE(folder.get("out.raw") == c.expected) << c.arguments[0] << " " << c.arguments[6];
    }
}

TEST_F(FrameTool, ResizeTakesPngAndPpm) {
    Bytes rgb(40 * 30 * 3);
    vorel_resize_rgb888(noise(kPixels * 3).data(), rgb.data(), kWidth, kHeight, 40, 30);
    expect_ok({"resize", "picture.ppm", "large.png", "--size", "40x30"});
    const Pixels png = read_png(folder.path("large.png"));
    EXPECT_EQ(png.width, 40);
    EXPECT_TRUE(png.rgb == rgb);
    expect_ok({"resize", "large.png", "same.ppm", "--size", "40x30"});
    for (uint8_t &byte : rgb) byte &= 0xFC;
    EXPECT_TRUE(read_ppm(folder.get("same.ppm")).rgb == rgb);
}

TEST_F(FrameTool, RotateTurnsAndSwapsTheSize) {
    expect_ok({"rotate", "picture.ppm", "turned.png", "--angle", "90"});
    const Pixels turned = read_png(folder.path("turned.png"));
    EXPECT_EQ(turned.width, kHeight);
    EXPECT_EQ(turned.height, kWidth);
    expect_ok({"rotate", "turned.png", "back.ppm", "--angle", "270"});
    const Pixels back = read_ppm(folder.get("back.ppm"));
    EXPECT_EQ(back.width, kWidth);
    EXPECT_TRUE(back.rgb == noise(kPixels * 3));
}

TEST_F(FrameTool, LinesThatMakeNoSenseAreStatusTwo) {
    const Arguments lines[] = {
        {"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "rgba8888"},
        {"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "yuv444", "--size", "31x17"},
        {"convert", "nv21.raw", "out.raw", "--from", "nv99", "--to", "nv12", "--size", "31x17"},
        {"convert", "nv21.raw", "out.txt", "--from", "nv21", "--to", "nv12", "--size", "31x17"},
        {"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "nv12", "--size", "31"},
        {"resize", "picture.ppm", "out.png"},
        {"resize", "picture.ppm", "out.png", "--size", "0x3"},
        {"resize", "picture.ppm", "out.png", "--size", "9x9", "--from-size", "31x17"},
        {"resize", "nv21.raw", "out.raw", "--size", "9x9", "--format", "nv21"},
        {"resize", "nv21.raw", "out.raw", "--size", "9x9", "--format", "gray", "--from-size", "31x17"},
        {"resize", "picture.bmp", "out.png", "--size", "9x9"},
        {"rotate", "picture.ppm", "out.png"},
        {"rotate", "picture.ppm", "out.png", "--angle", "45"},
    };
    for (const Arguments &line : lines) expect_refused(line, 2);
}

TEST_F(FrameTool, FilesThatDoNotFitAreStatusOne) {
    folder.put("short.raw", noise(kYuvBytes - 1));
    folder.put("long.raw", noise(kYuvBytes + 1));
    folder.put("cut.ppm", ppm(kWidth, kHeight, noise(kPixels * 3 - 1), "P6\n"));
    folder.put("huge.ppm", ppm(60000, 60000, {}, "P6\n"));
    folder.put("wide.ppm", ppm(70000, 1, noise(300), "P6\n"));
    folder.put("text.ppm", ppm(2, 1, {1, 2, 3, 4, 5, 6}, "P3\n"));
    folder.put("none.ppm", {});
    folder.put("noise.png", noise(100));
    folder.put("out.raw", {1, 2, 3});
    const Arguments from = {"--from", "nv21", "--to", "nv12", "--size", "31x17"};
    for (const char *name : {"short.raw", "long.raw", "missing.raw"}) {
        Arguments line = {"convert", name, "out.raw"};
        line.insert(line.end(), from.begin(), from.end());
        expect_refused(line, 1);
    }
    for (const char *name : {"cut.ppm", "huge.ppm", "wide.ppm", "text.ppm", "none.ppm", "noise.png", "missing.png"}) {
        expect_refused({"resize", name, "out.raw", "--size", "4x4"}, 1);
        expect_refused({"rotate", name, "out.raw", "--angle", "90"}, 1);
    }
    expect_refused({"rotate", "nv21.raw", "out.raw", "--format", "yuv444", "--from-size", "31x17", "--angle", "90"}, 1);
    folder.put("gray.raw", noise(kPixels));
    expect_refused({"rotate", "gray.raw", "out.raw", "--format", "gray", "--from-size", "31x17", "--angle", "90"}, 1);
    expect_refused({"convert", "nv21.raw", "out.raw", "--from", "nv21", "--to", "nv12", "--size", "65535x65535"}, 1);
}

}  // namespace
}  // namespace vorel_tests
