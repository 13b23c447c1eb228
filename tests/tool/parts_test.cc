// The subcommands that write parts of a picture: frames, region.
#include <vorel/raster.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "png/images.h"
#include "support/gif_files.h"

namespace vorel_tests {
namespace {

using nlohmann::json;
using vorel::test::make_png;

// Every sample-th pixel of a rectangle. Of a picture that is not interlaced the last row that there is follows its
// predecessor.
Pixels cut(const Pixels &whole, int x, int y, int width, int height, int sample, bool interlaced) {
    Pixels out = {width / sample, height / sample, {}};
    for (int row = 0; row < out.height; ++row) {
        int source_row = y + (row + 1) * sample - 1;
        const bool last = row == out.height - 1 && y + height + sample > whole.height;
        if (last && !interlaced) source_row = y + row * sample;
        for (int column = 0; column < out.width; ++column) {
            const int source_column = x + sample / 2 + column * sample;
            const auto at = whole.rgb.begin() + (source_row * whole.width + source_column) * 3;
            out.rgb.insert(out.rgb.end(), at, at + 3);
        }
    }
    return out;
}

class PartsTool : public ToolFixture {
  protected:
    json read_json(const std::string &name) const {
        const Bytes text = folder.get(name);
        return json::parse(text.begin(), text.end());
    }
    size_t files_in(const std::string &name) const {
        size_t count = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.path(name)))
            count += entry.is_regular_file();
        return count;
    }
};

TEST_F(PartsTool, FramesWritesEveryPictureAndItsOwnDelay) {
    std::mt19937 random(3);
    vorel::test::GifFile gif = {13, 9, 0, vorel::test::gif_palette(random, 16), {}};
    for (int i = 0; i < 3; ++i) {
        gif.frames.push_back({.left = i,
                              .width = 13 - i,
                              .height = 9,
                              .indices = vorel::test::gif_picture(random, 13 - i, 9, 16),
                              .disposal = i,
                              .transparent = i,
                              .delay = 10 * (i + 1)});
    }
    Bytes file = vorel::test::gif_file(gif), pixels(size_t{13} * 9 * 4);
    folder.put("moving.gif", file);
    for (int round = 0; round < 2; ++round) expect_ok("frames moving.gif out");  // also over what is there already
    const json record = read_json("out/frames.json");
    EXPECT_EQ(record["width"], 13);
    EXPECT_EQ(record["height"], 9);
    ASSERT_EQ(record["frames"].size(), 3u);
    EXPECT_EQ(files_in("out"), 4u) << "nothing else is there";
    DecInfo *session = VORELBRIM_CreateDecInfo(1, file.data(), static_cast<int32_t>(file.size()), COLOR_RGBA8888, 0);
    for (size_t i = 0; i < 3; ++i) {
        const std::string name = "frame-000" + std::to_string(i) + ".png";
        EXPECT_EQ(record["frames"][i], json({{"file", name}, {"delayMs", 100 * (i + 1)}}));
        VORELBRIMI_DecodeAGIF(session, pixels.data(), 13, 9);
        EXPECT_TRUE(png("out/" + name, true).rgb == pixels) << name;
    }
    VORELBRIMI_DeleteGIFInfo(session);
    VORELBRIM_DestroyDecInfo(session);
}

TEST_F(PartsTool, ARegionIsACutOfTheWhole) {
    const struct {
        const char *rect;
        int x, y, width, height, sample;
    } cases[] = {{"0,0,301,530", 0, 0, 301, 530, 1},   {"17,500,40,30", 17, 500, 40, 30, 1},
                 {"300,529,1,1", 300, 529, 1, 1, 1},   {"0,260,301,3", 0, 260, 301, 3, 1},
                 {"8,16,200,304", 8, 16, 200, 304, 4}, {"0,0,301,530", 0, 0, 301, 530, 7},
                 {"5,11,9,20", 5, 11, 9, 20, 9},       {"2,528,20,2", 2, 528, 20, 2, 2}};
    for (const bool interlaced : {false, true}) {
        folder.put("picture.png", make_png({.width = 301, .height = 530, .interlaced = interlaced}));
        const Pixels whole = png("picture.png");
        for (const auto &c : cases) {
            expect_ok(std::string("region picture.png out.png --rect ") + c.rect + " --sample " +
                      std::to_string(c.sample));
            EXPECT_TRUE(png("out.png") == cut(whole, c.x, c.y, c.width, c.height, c.sample, interlaced)) << c.rect;
        }
        expect_ok("region picture.png out.raw --rect 10,20,1,1");
        const uint8_t *pixel = &whole.rgb[(20 * 301 + 10) * 3];
        EXPECT_EQ(folder.get("out.raw"), (Bytes{pixel[0], pixel[1], pixel[2], 255}));
    }
}

TEST_F(PartsTool, ARegionOfAJpegIsACutOfItsDecode) {
    folder.put("photo.jpg", make_jpeg(320, 528, 3));
    for (int sample = 1; sample <= 16; sample *= 2) {
        const std::string reduced = " --sample " + std::to_string(sample);
        expect_ok("decode photo.jpg whole.ppm" + reduced);
        const Pixels whole = ppm("whole.ppm");
        const int x = whole.width / 2, y = whole.height / 3;
        const Pixels last = cut_out(whole, x, y, whole.width - x, whole.height - y);
        const std::string rect = std::to_string(x * sample) + "," + std::to_string(y * sample) + "," +
                                 std::to_string(last.width * sample) + "," + std::to_string(last.height * sample);
        const std::string said = expect_ok("region photo.jpg out.ppm --repeat 2 --rect " + rect + reduced);
        EXPECT_TRUE(ppm("out.ppm") == last) << sample;
        EXPECT_NE(said.find("region 2: "), std::string::npos) << said;
    }
}

}  // namespace
}  // namespace vorel_tests
