// vorel develop, and info and exif of raw files.
#include <nlohmann/json.hpp>

#include "dng/driver/files.h"
#include "fixture.h"

namespace vorel_tests {
namespace {

using namespace vorel::test;

class Develop : public ToolFixture {
  protected:
    void SetUp() override {
        builder = develop_files()[0].builder;
        add_tags(builder.tags, {dng_shorts(274, {6}), dng_text(271, "Maker")});
        builder.exif.push_back(dng_rationals(33434, {0.0125}));
        folder.put("a.dng", builder.build());
    }
    DngBuilder builder;
};

TEST_F(Develop, PicturesOfTheLibrary) {
    const Bytes whole = developed(builder.build(), 75, 62);
    EXPECT_EQ(expect_ok("develop a.dng a.raw --no-orient"), "a.raw: 75 x 62, rgba8888\n");
    EXPECT_TRUE(folder.get("a.raw") == whole);
    // Upright: the stored left column is the upper row, from below.
    expect_ok("develop a.dng up.raw");
    const Bytes upright = folder.get("up.raw");
    for (size_t i = 0; i < 75 * 62; ++i)
        ASSERT_TRUE(std::equal(&upright[i * 4], &upright[i * 4] + 4, &whole[((61 - i % 62) * 75 + i / 62) * 4]));
    expect_ok("develop a.dng part.ppm --rect 11,7,20,30");
    const Pixels part = ppm("part.ppm");
    ASSERT_EQ(part.width, 20);
    for (size_t i = 0; i < 20 * 30; ++i)
        ASSERT_TRUE(std::equal(&part.rgb[i * 3], &part.rgb[i * 3] + 3, &whole[((i / 20 + 7) * 75 + i % 20 + 11) * 4]));
    EXPECT_EQ(expect_ok("develop a.dng half.png --factor 2 --denoise 1 --no-orient"), "half.png: 38 x 31, rgba8888\n");
    EXPECT_EQ(expect_ok("develop a.dng small.jpg --preview"), "small.jpg: 62 x 75, rgba8888\n");
    EXPECT_EQ(expect_ok("develop a.dng stored.pgm --stage 1"), "stored.pgm: 75 x 62, 1 planes of 16 bits\n");
    const Bytes stored = tail(folder.get("stored.pgm"), 75 * 62 * 2);
    for (size_t i = 0; i < 75 * 62; ++i) ASSERT_EQ(stored[2 * i] << 8 | stored[2 * i + 1], builder.first.samples[i]);
}

TEST_F(Develop, WhatARawFileSaysOfItself) {
    EXPECT_NE(expect_ok("info a.dng").find(": DNG, 75 x 62, mosaic, 12 bits, uncompressed, orientation 6, "),
              std::string::npos);
    EXPECT_EQ(expect_ok("exif a.dng").find("Make: Maker\nModel: Camera 1\nOrientation: 6\nExposureTime: 0.0125\n"), 0u);
    // It goes along into a JPEG, with what is true of the picture.
    expect_ok("develop a.dng a.jpg");
    const std::string data = expect_ok("exif a.jpg");
    EXPECT_EQ(data.find("Make: Maker\nModel: Camera 1\nOrientation: 1\nExposureTime: 0.0125\n"), 0u);
    EXPECT_NE(data.find("ExifImageWidth: 62\nExifImageHeight: 75\n"), std::string::npos);
    const auto json = nlohmann::json::parse(expect_ok("info --json a.dng"));
    EXPECT_TRUE(json[0]["type"] == "DNG" && json[0]["readable"] == true);
}

TEST_F(Develop, Refused) {
    builder.first.compression = 9, builder.first.tiles = {Bytes(100)};
    folder.put("nine.dng", builder.build());
    builder.first.compression = 7;
    folder.put("lossless.dng", builder.build());
    folder.put("text.dng", text("II, but no TIFF file"));
    folder.put("other.dng", text("no raw file"));
    expect_refused("develop nine.dng a.png", 1, "compression 9, for which there is no reader");
    expect_refused("develop --strict lossless.dng a.png", 1, "lossless JPEG, which --strict refuses");
    expect_refused("develop text.dng a.png", 1, "begins like a TIFF file, but is none");
    expect_refused("develop other.dng a.png", 1, "not a raw file");
    expect_refused("develop none.dng a.png", 1, "none.dng: No such file");
    expect_refused("develop a.dng a.png --rect 0,0,76,10", 1, "is not inside 75 x 62 pixels");
    expect_refused("develop a.dng a.png --preview --factor 2", 2, "--preview: goes without");
    expect_refused("develop a.dng a.png --stage 2", 2, "writes .pgm or .ppm");
    expect_refused("develop a.dng a.tiff", 2);
    expect_refused("decode a.dng a.png", 1, "a raw file is for vorel develop");
}

}  // namespace
}  // namespace vorel_tests
