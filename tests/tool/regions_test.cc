// The subcommands on parts of a PNG: region, tiles.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "png/images.h"
#include "run_tool.h"

namespace vorel_tests {
namespace {

Bytes png_of(int width, int height, bool interlaced = false) {
    vorel::test::PngSpec spec;
    spec.width = width;
    spec.height = height;
    spec.interlaced = interlaced;
    return vorel::test::make_png(spec);
}

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

class RegionTool : public ToolFixture {
  protected:
    void SetUp() override {
        folder.put("picture.png", png_of(301, 530));
        folder.put("interlaced.png", png_of(301, 530, true));
        whole = read_png(folder.path("picture.png"));
        folder.put("photo.jpg", make_jpeg(64, 48, 3));
    }

    Pixels whole;
};

TEST_F(RegionTool, ARegionIsACutOfTheWhole) {
    const struct {
        int x, y, width, height, sample;
    } cases[] = {{0, 0, 301, 530, 1},  {17, 500, 40, 30, 1}, {300, 529, 1, 1, 1}, {0, 260, 301, 3, 1},
                 {8, 16, 200, 304, 4}, {0, 0, 301, 530, 7},  {5, 11, 9, 20, 9},   {2, 528, 20, 2, 2}};
    for (const bool interlaced : {false, true}) {
        for (const auto &c : cases) {
            const std::string rect = std::to_string(c.x) + "," + std::to_string(c.y) + "," + std::to_string(c.width) +
                                     "," + std::to_string(c.height);
            SCOPED_TRACE(rect + (interlaced ? ", interlaced" : ""));
            expect_ok({"region", interlaced ? "interlaced.png" : "picture.png", "out.png", "--rect", rect, "--sample",
                       std::to_string(c.sample)});
            const Pixels got = read_png(folder.path("out.png"));
            const Pixels expected = cut(whole, c.x, c.y, c.width, c.height, c.sample, interlaced);
            EXPECT_EQ(got.width, expected.width);
            EXPECT_EQ(got.height, expected.height);
            EXPECT_TRUE(got.rgb == expected.rgb);
        }
    }
    expect_ok({"region", "picture.png", "out.raw", "--rect", "10,20,3,2"});
    const Bytes raw = folder.get("out.raw");
    ASSERT_EQ(raw.size(), 24u);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(raw[i], whole.rgb[(20 * 301 + 10) * 3 + i]);
    EXPECT_EQ(raw[3], 255);
}

TEST_F(RegionTool, TilesPutTogetherAreTheWhole) {
    for (const bool interlaced : {false, true}) {
        const std::string name = interlaced ? "interlaced" : "picture";
        expect_ok({"tiles", name + ".png", name + "-tiles", "--tile", "64"});
        const Bytes text = folder.get(name + "-tiles/pyramid.json");
        const auto json = nlohmann::json::parse(text.begin(), text.end());
        EXPECT_EQ(json["width"], 301);
        EXPECT_EQ(json["height"], 530);
        EXPECT_EQ(json["tile"], 64);
        size_t files = 1;
        int sample = 1;
        for (const auto &level : json["levels"]) {
            ASSERT_EQ(level["sample"], sample);
            const Pixels expected = cut(whole, 0, 0, 301, 530, sample, interlaced);
            EXPECT_EQ(level["width"], expected.width);
            EXPECT_EQ(level["height"], expected.height);
            Pixels joined = {expected.width, expected.height, Bytes(expected.rgb.size())};
            const int columns = level["columns"], rows = level["rows"];
            for (int row = 0; row < rows; ++row) {
                for (int column = 0; column < columns; ++column, ++files) {
                    const std::string path = name + "-tiles/" + std::to_string(sample) + "/" + std::to_string(column) +
                                             "_" + std::to_string(row) + ".png";
                    const Pixels tile = read_png(folder.path(path));
                    ASSERT_EQ(tile.width, std::min(64, expected.width - column * 64)) << path;
                    ASSERT_EQ(tile.height, std::min(64, expected.height - row * 64)) << path;
                    for (int y = 0; y < tile.height; ++y)
                        std::copy_n(tile.rgb.begin() + y * tile.width * 3, tile.width * 3,
                                    joined.rgb.begin() + ((row * 64 + y) * joined.width + column * 64) * 3);
                }
            }
            EXPECT_TRUE(joined.rgb == expected.rgb) << sample;
            sample *= 2;
        }
        EXPECT_EQ(sample, 32) << "up to 1/16, which is 18 x 33";
        size_t found = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.path(name + "-tiles")))
            found += entry.is_regular_file();
        EXPECT_EQ(found, files);
    }
    // An empty folder may be there; a thin picture ends before its height is nothing.
    std::filesystem::create_directory(folder.path("empty"));
    folder.put("thin.png", png_of(100, 2));
    expect_ok({"tiles", "thin.png", "empty/", "--tile", "16"});
    EXPECT_TRUE(std::filesystem::exists(folder.path("empty/2/3_0.png")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("empty/4")));
}

TEST_F(RegionTool, WhatCannotBeDoneLeavesEverythingAsItWas) {
    folder.put("old.png", {1, 2, 3});
    folder.put("noise.png", Bytes(100, 7));
    const Bytes file = folder.get("picture.png");
    folder.put("cut.png", Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(file.size() / 2)));
    std::filesystem::create_directory(folder.path("full"));
    folder.put("full/file", {1});
    for (const char *rect : {"0,0,10", "0,0,10,10,10", "a,b,c,d", "0,0,0,10", "0,0,10,-3", "-1,0,10,10", "0,0,10,10x",
                             "0,0,99999999999,1"})
        expect_refused({"region", "picture.png", "old.png", "--rect", rect}, 2);
    expect_refused({"region", "picture.png", "old.png"}, 2);
    expect_refused({"region", "picture.png", "old.txt", "--rect", "0,0,1,1"}, 2);
    expect_refused({"region", "picture.png", "old.png", "--rect", "0,0,9,9", "--sample", "0"}, 2);
    expect_refused({"tiles", "picture.png", "new", "--tile", "0"}, 2);
    expect_refused({"tiles", "picture.png"}, 2);

    for (const char *rect : {"301,0,1,1", "0,530,1,1", "1,0,301,1", "0,1,1,530", "999999999,0,999999999,1"})
        expect_refused({"region", "picture.png", "old.png", "--rect", rect}, 1, "is not inside 301 x 530");
    expect_refused({"region", "picture.png", "old.png", "--rect", "0,0,9,3", "--sample", "4"}, 1, "too small");
    expect_refused({"region", "picture.png", "nowhere/new.png", "--rect", "0,0,1,1"}, 1);
    const struct {
        const char *file, *says;
    } inputs[] = {{"missing.png", "No such file"},
                  {"noise.png", "not a picture"},
                  {"cut.png", "cannot be decoded"},
                  {"photo.jpg", "regions are for PNG so far"}};
    for (const auto &input : inputs) {
        expect_refused({"region", input.file, "old.png", "--rect", "0,0,1,1"}, 1, input.says);
        expect_refused({"tiles", input.file, "new"}, 1, input.says);
    }
    expect_refused({"tiles", "picture.png", "full"}, 1, "is there already");
    expect_refused({"tiles", "picture.png", "old.png"}, 1, "is there already");
    expect_refused({"tiles", "picture.png", "nowhere/new"}, 1);
}

TEST_F(RegionTool, TilesShowABarAndCanBeInterrupted) {
    folder.put("large.png", png_of(900, 1200));  // 5600 tiles
    const auto before = folder.snapshot();
    const ToolRun run = folder.run_until({"tiles", "large.png", "new", "--tile", "16"}, "%");
    if (!run.has_terminal) GTEST_SKIP() << "no terminal";
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_NE(run.err.find("cancelled"), std::string::npos);
    EXPECT_TRUE(folder.snapshot() == before) << "something was left";
}

// `decode` on the formats that have decoders of their own beside JPEG.
TEST_F(RegionTool, DecodeTakesPngsAndBmps) {
    for (const char *from : {"memory", "file"}) {
        for (const char *name : {"picture.png", "interlaced.png"}) {
            expect_ok({"decode", name, "out.png", "--from", from});
            EXPECT_EQ(read_png(folder.path("out.png")).rgb, whole.rgb) << name << " " << from;
        }
    }
    expect_ok({"decode", "picture.png", "out.ppm", "--sample", "3"});
    EXPECT_EQ(read_ppm(folder.get("out.ppm")).rgb,
              cut(whole, 0, 0, whole.width / 3 * 3, whole.height / 3 * 3, 3, false).rgb);
    // Inside a rectangle, in its own shape and not enlarged.
    const int width = 2 * whole.width, height = 2 * whole.height;
    expect_ok({"decode", "picture.png", "out.png", "--size", std::to_string(width) + "x" + std::to_string(height)});
    const Pixels centred = read_png(folder.path("out.png"));
    ASSERT_EQ(centred.width, width);
    for (int y = 0; y < whole.height; ++y) {
        const auto row = centred.rgb.begin() + ((whole.height / 2 + y) * width + whole.width / 2) * 3;
        const auto expected = whole.rgb.begin() + y * whole.width * 3;
        ASSERT_TRUE(std::equal(expected, expected + whole.width * 3, row)) << y;
    }
    EXPECT_EQ(centred.rgb[0], 0);
    expect_refused({"decode", "picture.png", "out.png", "--from", "stream"}, 1, "stream");
    expect_refused({"decode", "picture.png", "out.raw", "--format", "rgb565"}, 1, "rgb565");

    // 2 x 1 pixels of 24 bits: blue first.
    const Bytes bmp = {'B', 'M', 62, 0, 0, 0, 0, 0,  0, 0, 54, 0, 0,  0,  40, 0, 0, 0, 2, 0, 0,
                       0,   1,   0,  0, 0, 1, 0, 24, 0, 0, 0,  0, 0,  8,  0,  0, 0, 0, 0, 0, 0,
                       0,   0,   0,  0, 0, 0, 0, 0,  0, 0, 0,  0, 30, 20, 10, 3, 2, 1, 0, 0};
    folder.put("two.bmp", bmp);
    expect_ok({"decode", "two.bmp", "out.png"});
    EXPECT_EQ(read_png(folder.path("out.png")).rgb, (Bytes{10, 20, 30, 1, 2, 3}));
    expect_ok({"decode", "two.bmp", "out.png", "--rotate", "180", "--fit", "packed", "--from", "stream"});
    EXPECT_EQ(read_png(folder.path("out.png")).rgb, (Bytes{1, 2, 3, 10, 20, 30}));
    expect_ok({"decode", "two.bmp", "out.raw", "--format", "rgb888", "--rotate", "90"});
    EXPECT_EQ(folder.get("out.raw"), (Bytes{10, 20, 30, 1, 2, 3}));

    // The library succeeds and stores nothing.
    const struct {
        uint8_t depth, compression, offset;
        const char *format, *says;
    } nothing[] = {{2, 0, 54, "rgba8888", "2 bits a pixel"},
                   {48, 0, 54, "rgb888", "48 bits a pixel"},
                   {8, 1, 54, "bgr565a", "run lengths are not decoded to bgr565a"},
                   {24, 0, 90, "rgba8888", "its pixels begin behind its end"}};
    for (const auto &row : nothing) {
        Bytes odd = bmp;
        odd[10] = row.offset;
        odd[28] = row.depth;
        odd[30] = row.compression;
        folder.put("odd.bmp", odd);
        for (const char *out : {"new.raw", "new.png"})
            expect_refused({"decode", "odd.bmp", out, "--format", row.format}, 1, row.says);
    }
    Bytes black = bmp;
    std::fill(black.begin() + 54, black.end(), uint8_t{0});
    folder.put("black.bmp", black);
    expect_ok({"decode", "black.bmp", "out.raw", "--format", "rgb888"});
    EXPECT_EQ(folder.get("out.raw"), Bytes(6));
}

}  // namespace
}  // namespace vorel_tests
