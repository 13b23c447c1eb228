// The Deep Zoom layout: names and sizes of levels and tiles by the format's formulas, their pixels by a plain model.
#include <cmath>
#include <filesystem>

#include "dng/driver/files.h"
#include "fixture.h"
#include "oracle/turbo.h"
#include "png/images.h"
#include "support/gif_files.h"

namespace vorel_tests {
namespace {

using vorel::test::make_png;

// Each pixel the mean of four; where a side is odd, its last row or column counts twice.
Pixels halved(const Pixels &from) {
    Pixels out = {(from.width + 1) / 2, (from.height + 1) / 2, {}};
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            for (int c = 0; c < 3; ++c) {
                int sum = 2;
                for (int i = 0; i < 4; ++i) {
                    const int column = std::min(2 * x + i % 2, from.width - 1);
                    const int row = std::min(2 * y + i / 2, from.height - 1);
                    sum += from.rgb[static_cast<size_t>((row * from.width + column) * 3 + c)];
                }
                out.rgb.push_back(static_cast<uint8_t>(sum / 4));
            }
        }
    }
    return out;
}

struct Tile {
    std::string name;  // LEVEL/COLUMN_ROW
    Pixels pixels;
};
std::vector<Tile> expected_tiles(Pixels level, int tile, int overlap) {
    std::vector<Tile> out;
    int number = static_cast<int>(std::ceil(std::log2(std::max(level.width, level.height))));
    for (; number >= 0; --number, level = halved(level)) {
        for (int row = 0; row * tile < level.height; ++row) {
            for (int column = 0; column * tile < level.width; ++column) {
                const int x = std::max(0, column * tile - overlap), y = std::max(0, row * tile - overlap);
                const int right = std::min(level.width, (column + 1) * tile + overlap);
                const int bottom = std::min(level.height, (row + 1) * tile + overlap);
                out.push_back({std::to_string(number) + "/" + std::to_string(column) + "_" + std::to_string(row),
                               cut_out(level, x, y, right - x, bottom - y)});
            }
        }
    }
    return out;
}

class TilesTool : public ToolFixture {
  protected:
    size_t files_in(const std::string &name) const {
        size_t count = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.path(name)))
            count += entry.is_regular_file();
        return count;
    }
    std::string text(const std::string &name) const {
        const Bytes bytes = folder.get(name);
        return {bytes.begin(), bytes.end()};
    }
};

TEST_F(TilesTool, LevelsAndTilesAreThoseOfTheFormat) {
    const struct {
        int width, height, tile, overlap;
    } cases[] = {{1, 1, 254, 1},    {253, 254, 254, 1},  {255, 256, 254, 1}, {1, 5000, 254, 1}, {301, 530, 254, 1},
                 {301, 530, 64, 0}, {301, 530, 100, 99}, {301, 131, 16, 15}, {301, 131, 33, 1}, {700, 3, 254, 16}};
    for (const auto &c : cases) {
        const std::string grid = " --tile " + std::to_string(c.tile) + " --overlap " + std::to_string(c.overlap);
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height) + grid);
        folder.put("picture.png", make_png({.width = c.width, .height = c.height}));
        std::filesystem::remove_all(folder.path("out"));
        expect_ok("decode picture.png whole.png");
        expect_ok("tiles picture.png out --tile-format png" + grid);
        const std::vector<Tile> tiles = expected_tiles(png("whole.png"), c.tile, c.overlap);
        for (const Tile &tile : tiles)
            ASSERT_TRUE(png("out/picture_files/" + tile.name + ".png") == tile.pixels) << tile.name;
        EXPECT_EQ(files_in("out"), tiles.size() + 2) << "with picture.dzi and index.html";
    }
    EXPECT_EQ(text("out/picture.dzi"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<Image xmlns=\"http://schemas.microsoft.com/deepzoom/2008\" TileSize=\"254\" Overlap=\"16\" "
              "Format=\"png\">\n  <Size Width=\"700\" Height=\"3\"/>\n</Image>\n");
}

// A tile is made from strips, by several threads; what comes out is the encoder's stream of the whole tile.
TEST_F(TilesTool, JpegTilesAreEncodesOfTheCuts) {
    for (const int components : {1, 3}) {
        folder.put("a#1.jpg", make_jpeg(300, 700, components));
        for (const char *grid : {"", " --tile 100 --overlap 40"}) {
            std::filesystem::remove_all(folder.path("out"));
            expect_ok(std::string("tiles a#1.jpg out --quality 75") + grid);
            expect_ok("decode a#1.jpg whole.ppm");
            const auto tiles = expected_tiles(ppm("whole.ppm"), *grid ? 100 : 254, *grid ? 40 : 1);
            for (const Tile &tile : tiles) {
                Bytes cut;
                for (size_t i = 0; i < tile.pixels.rgb.size(); i += 3) {
                    const auto pixel = tile.pixels.rgb.begin() + static_cast<ptrdiff_t>(i);
                    cut.insert(cut.end(), pixel, pixel + components);
                    if (components == 3) cut.push_back(255);
                }
                folder.put("cut.raw", cut);
                expect_ok(std::string("encode cut.raw cut.jpg --quality 75 --raw ") +
                          (components == 1 ? "gray " : "rgba8888 ") + std::to_string(tile.pixels.width) + "x" +
                          std::to_string(tile.pixels.height));
                ASSERT_TRUE(folder.get("out/a#1_files/" + tile.name + ".jpg") == folder.get("cut.jpg")) << tile.name;
            }
        }
        EXPECT_NE(text("out/index.html").find("\"tiles\":\"a%231_files\""), std::string::npos);
    }
}

TEST_F(TilesTool, EveryPictureIsReadUprightAndByAnyNumberOfThreads) {
    using namespace vorel::test;
    const Bytes photo = turbo_picture(sized(150, 97, 2, 2));
    PictureSpec progressive = sized(150, 97, 2, 2), scans = progressive;
    progressive.progressive = true;
    scans.scans = Scans::kOnePerComponent;
    std::vector<std::pair<std::string, Bytes>> files = {
        {"baseline.jpg", photo},
        {"progressive.jpg", turbo_picture(progressive)},
        {"scans.jpg", turbo_picture(scans)},
        {"wide.jpg", turbo_picture(sized(150, 97, 4, 1))},
        {"alpha.png", make_png({.width = 150, .height = 97, .colour_type = 6})},
        {"interlaced.png", make_png({.width = 150, .height = 97, .interlaced = true})},
        {"moving.gif", gif_animation()},
        {"raw.dng", develop_files()[0].builder.build()}};
    for (uint8_t i = 2; i <= 8; ++i)
        files.push_back({"turned" + std::to_string(i) + ".jpg", with_orientation(photo, i)});
    for (const auto &[name, bytes] : files) {
        SCOPED_TRACE(name);
        folder.put(name, bytes);
        for (const char *threads : {"1", "4"}) {
            std::filesystem::remove_all(folder.path(threads));
            expect_ok("tiles " + name + " " + threads + " --tile 31 --overlap 2 --tile-format png --threads " +
                      threads);
        }
        expect_ok((name == "raw.dng" ? "develop " : "decode ") + name + " whole.png");
        const std::string tiles = "/" + name.substr(0, name.find('.')) + "_files/";
        for (const Tile &tile : expected_tiles(png("whole.png"), 31, 2)) {
            ASSERT_TRUE(png("1" + tiles + tile.name + ".png") == tile.pixels) << tile.name;
            ASSERT_TRUE(folder.get("1" + tiles + tile.name + ".png") == folder.get("4" + tiles + tile.name + ".png"));
        }
    }
    expect_ok("tiles turned6.jpg stored --no-orient");
    EXPECT_NE(text("stored/turned6.dzi").find("Width=\"150\" Height=\"97\""), std::string::npos);
}

}  // namespace
}  // namespace vorel_tests
