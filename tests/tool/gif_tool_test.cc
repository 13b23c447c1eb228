// GIFs through the program: frames, info, decode.
#include <gtest/gtest.h>
#include <vorel/raster.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "run_tool.h"
#include "support/gif_files.h"

namespace vorel_tests {
namespace {

using vorel::test::GifFile;
using vorel::test::GifFrame;

constexpr int kWidth = 13, kHeight = 9;

GifFile animation() {
    std::mt19937 random(3);
    GifFile file = {kWidth, kHeight, 0, vorel::test::gif_palette(random, 16), {}};
    for (int i = 0; i < 3; ++i) {
        GifFrame frame;
        frame.left = i;
        frame.width = kWidth - i;
        frame.height = kHeight;
        frame.indices = vorel::test::gif_picture(random, frame.width, frame.height, 16);
        frame.disposal = i;
        frame.transparent = i;
        frame.delay = 10 * (i + 1);
        file.frames.push_back(frame);
    }
    return file;
}

class GifTool : public ToolFixture {
  protected:
    void SetUp() override {
        file = vorel::test::gif_file(animation());
        folder.put("moving.gif", file);
        // The last frame's minimum code size is out of range: its data cannot be decoded.
        GifFrame broken;
        broken.width = broken.height = 1;
        Bytes bytes = file;
        bytes.pop_back();
        folder.put("broken.gif", vorel::test::cat({bytes, vorel::test::gif_frame_head(broken, 12), {1, 1, 0, 0x3B}}));
        folder.put("photo.jpg", make_jpeg(16, 16, 3));
    }
    Bytes file;
};

TEST_F(GifTool, FramesWritesEveryPictureAndItsOwnDelay) {
    expect_ok({"frames", "moving.gif", "out"});
    const Bytes text = folder.get("out/frames.json");
    const nlohmann::json record = nlohmann::json::parse(text.begin(), text.end());
    EXPECT_EQ(record["width"], kWidth);
    EXPECT_EQ(record["height"], kHeight);
    ASSERT_EQ(record["frames"].size(), 3u);

    DecInfo *session = VORELBRIM_CreateDecInfo(1, file.data(), static_cast<int32_t>(file.size()), COLOR_RGBA8888, 0);
    Bytes pixels(size_t{kWidth} * kHeight * 4);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(record["frames"][i]["delayMs"], 100 * (i + 1));
        const std::string name = record["frames"][i]["file"];
        EXPECT_EQ(name, "frame-000" + std::to_string(i) + ".png");
        VORELBRIMI_DecodeAGIF(session, pixels.data(), kWidth, kHeight);
        EXPECT_TRUE(read_png(folder.path("out/" + name), true).rgb == pixels) << name;
    }
    VORELBRIMI_DeleteGIFInfo(session);
    VORELBRIM_DestroyDecInfo(session);
    const auto entries = std::filesystem::directory_iterator(folder.path("out"));
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 4) << "nothing else is there";

    // Over what is there already, and a picture that does not move.
    EXPECT_EQ(folder.run({"frames", "moving.gif", "out"}).status, 0);
    EXPECT_TRUE(folder.get("out/frames.json") == text);
}

TEST_F(GifTool, AFailedRunLeavesTheFolderAlone) {
    std::filesystem::create_directory(folder.path("old"));
    folder.put("old/frame-0000.png", {1, 2, 3});
    folder.put("file", {4});
    std::filesystem::create_directories(folder.path("taken/frame-0001.png"));
    for (const auto &[in, out] : {std::pair("broken.gif", "old"),
                                  {"broken.gif", "new"},
                                  {"photo.jpg", "old"},
                                  {"missing.gif", "old"},
                                  {"moving.gif", "file"},
                                  {"moving.gif", "taken"},
                                  {"moving.gif", "nowhere/new"}}) {
        expect_refused({"frames", in, out}, 1);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path("new")));
    const ToolRun run = folder.run({"frames", "moving.gif"});
    EXPECT_EQ(run.status, 2);
}

TEST_F(GifTool, InfoAndDecodeKnowGifs) {
    EXPECT_EQ(folder.run({"info", "moving.gif"}).out,
              "moving.gif: animated GIF, 13 x 9, 3 frames, " + std::to_string(file.size()) + " bytes\n");
    // PNG and PPM come out whatever layout is asked for; a raw buffer has to have it.
    expect_ok({"decode", "moving.gif", "a.png"});
    const Pixels png = read_png(folder.path("a.png"), true);
    Bytes pixels(size_t{kWidth} * kHeight * 4);
    ASSERT_EQ(VorelDecodeBuffer(file.data(), pixels.data(), static_cast<int32_t>(file.size()), COLOR_RGBA8888, 1), 1);
    EXPECT_TRUE(png.rgb == pixels) << "with its transparency";
    expect_ok({"decode", "moving.gif", "b.png", "--format", "nv12", "--from", "stream"});
    EXPECT_TRUE(folder.get("b.png") == folder.get("a.png"));
    expect_ok({"decode", "moving.gif", "c.ppm", "--format", "bgra8888"});
    const Bytes rgb = read_ppm(folder.get("c.ppm")).rgb;
    ASSERT_EQ(rgb.size(), size_t{kWidth} * kHeight * 3);
    for (size_t i = 0; i < rgb.size(); ++i)
        ASSERT_LE(std::abs(rgb[i] - pixels[i / 3 * 4 + i % 3]), 1) << "another low bit is lost";
    expect_ok({"decode", "moving.gif", "d.raw", "--size", "40x4", "--fit", "packed"});
    EXPECT_EQ(folder.get("d.raw").size(), 5u * 4 * 4);
    for (const char *format : {"rgb565", "rgb888", "nv21", "gray"})
        expect_refused({"decode", "moving.gif", "e.raw", "--format", format}, 1);
    expect_refused({"decode", "moving.gif", "e.png", "--rotate", "90"}, 1);
    expect_refused({"decode", "moving.gif", "e.png", "--sample", "20"}, 1);
}

}  // namespace
}  // namespace vorel_tests
