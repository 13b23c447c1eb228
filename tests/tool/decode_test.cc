// `decode`: what comes out of it, against the library's buffers and against the picture.
#include <vorel/jpeg_decoder.h>
#include <vorel/raster.h>

#include <algorithm>

#include "fixture.h"
#include "png/images.h"
#include "support/gif_files.h"

namespace vorel_tests {
namespace {

using DecodeTool = ToolFixture;

int largest_difference(const Bytes &a, const Bytes &b) {
    int largest = a.size() == b.size() ? 0 : 256;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

Bytes without_alpha(const Bytes &rgba) {
    Bytes rgb;
    for (size_t i = 0; i < rgba.size(); ++i)
        if (i % 4 != 3) rgb.push_back(rgba[i]);
    return rgb;
}

// Sizes are written out, not computed: 37 x 21 has odd sides, and chroma rows and columns are rounded up. The picture
// is smooth, so whatever layout it went through, its colours come back but for the layout's coarseness.
TEST_F(DecodeTool, EveryLayoutHasItsBytesAndComesBackAsTheSamePicture) {
    const struct {
        const char *picture, *format;
        size_t bytes;
        int tolerance;
    } rows[] = {
        {"color.jpg", "rgba8888", 3108, 0}, {"color.jpg", "bgra8888", 3108, 0}, {"color.jpg", "rgb565", 1554, 8},
        {"color.jpg", "yuv444", 2331, 1},   {"color.jpg", "yuv422", 1575, 20},  {"color.jpg", "yuv440", 1591, 20},
        {"color.jpg", "yuv420", 1195, 24},  {"color.jpg", "nv12", 1195, 24},    {"color.jpg", "nv21", 1195, 24},
        {"color.jpg", "yuyv", 1596, 20},    {"gray.jpg", "gray", 777, 0},       {"gray.jpg", "rgb565", 1554, 8},
        {"gray.jpg", "yuv420", 1195, 0},    {"gray.jpg", "nv21", 1195, 0},      {"gray.jpg", "nv12", 1195, 0},
        {"bits.wbmp", "rgb888", 2331, 0},   {"bits.wbmp", "rgb565", 1554, 8},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.picture) + " " + row.format);
        const std::string decode = std::string("decode ") + row.picture,
                          format = std::string(" --format ") + row.format;
        expect_ok(decode + " out.raw" + format);
        EXPECT_EQ(folder.get("out.raw").size(), row.bytes);
        expect_ok(decode + " plain.png");
        expect_ok(decode + " other.png" + format);
        EXPECT_LE(largest_difference(png("plain.png").rgb, png("other.png").rgb), row.tolerance);
    }
}

// Strips and parts from checkpoints come together as the picture, turned ones too.
TEST_F(DecodeTool, PiecesAreThePicture) {
    folder.put("tall.jpg", make_jpeg(120, 301, 3));
    EXPECT_NE(expect_ok("checkpoints tall.jpg --count 3 --out tall.points").find("checkpoint 3: row "),
              std::string::npos);
    EXPECT_EQ(folder.get("tall.points").size(), 4u + 3 * 68);
    for (const char *format : {"rgba8888", "rgb565", "yuv420", "nv12"}) {
        for (const char *how : {" --sample 1", " --sample 2 --rotate 90", " --sample 8", " --rotate 180"}) {
            const std::string decode = std::string("decode tall.jpg ") + "OUT --format " + format + how;
            if (decode.find("rotate") != std::string::npos && format[0] != 'r') continue;
            const auto to = [&](const std::string &out) {
                return std::string(decode).replace(decode.find("OUT"), 3, out);
            };
            expect_ok(to("whole.raw"));
            for (const char *pieces : {" --strips 2", " --strips 64", " --checkpoints tall.points",
                                       " --strips 1000 --checkpoints tall.points"}) {
                expect_ok(to("pieces.raw") + pieces);
                EXPECT_TRUE(folder.get("pieces.raw") == folder.get("whole.raw")) << decode << pieces;
            }
        }
    }
    folder.put("wrong.points", {9, 0, 0, 0});
    const Bytes large = make_jpeg(800, 900, 3);  // worth several threads, one of which fails
    folder.put("cut.jpg", vorel::test::head(large, large.size() / 2));
    const struct {
        const char *line;
        int status;
        const char *says;
    } refused[] = {
        {"decode tall.jpg new.png --checkpoints wrong.points", 1, "not a file of checkpoints"},
        {"decode tall.jpg new.png --checkpoints none.points", 1, "No such file"},
        {"decode tall.jpg new.raw --strips 8 --format yuv444", 2, "not for yuv444"},
        {"decode tall.jpg new.raw --strips 7 --format nv12", 2, "even number"},
        {"decode tall.jpg new.png --strips 8 --size 10x10", 2, "--size"},
        {"decode tall.jpg new.png --checkpoints tall.points --sample 3", 2, "--sample"},
        {"decode bits.wbmp new.png --strips 8", 1, "only JPEG"},
        {"decode cut.jpg new.png", 1, "cannot be decoded"},
        {"decode cut.jpg new.png --strips 64", 1, "cannot be decoded"},
        {"checkpoints bits.wbmp --out new.points", 1, "only JPEG"},
    };
    for (const auto &row : refused) expect_refused(row.line, row.status, row.says);
    // Those of another picture count as missing.
    expect_ok("decode color.jpg whole.raw");
    expect_ok("decode color.jpg pieces.raw --checkpoints tall.points");
    EXPECT_TRUE(folder.get("pieces.raw") == folder.get("whole.raw"));
}

TEST_F(DecodeTool, PicturesForPeopleStandUpright) {
    // 6: the stored picture lies on its left side.
    const Bytes jpeg = with_orientation(folder.get("color.jpg"), 6);
    folder.put("lying.jpg", jpeg);
    expect_ok("decode color.jpg turned.png --rotate 90");
    expect_ok("decode color.jpg stored.raw");
    expect_ok("decode color.jpg turned.raw --rotate 90");
    expect_ok("decode lying.jpg upright.png");
    EXPECT_TRUE(png("upright.png") == png("turned.png"));
    expect_ok("decode lying.jpg as-stored.png --no-orient");
    EXPECT_EQ(png("as-stored.png").width, 37);
    for (const auto &[more, same] : {std::pair{"", "stored.raw"}, {" --orient", "turned.raw"}}) {
        expect_ok(std::string("decode lying.jpg out.raw") + more);
        EXPECT_TRUE(folder.get("out.raw") == folder.get(same)) << same;
    }
    EXPECT_NE(folder.run("info lying.jpg").out.find(", orientation 6"), std::string::npos);
    EXPECT_EQ(folder.run("exif lying.jpg").out, "Orientation: 6\n");
    EXPECT_NE(folder.run("exif --json lying.jpg").out.find("\"Orientation\": 6"), std::string::npos);
    EXPECT_EQ(folder.run("exif color.jpg").err, "vorel: color.jpg: no Exif data\n");
    expect_refused("decode lying.jpg new.raw --format nv21 --orient", 2, "cannot be turned");
    // 4: top and bottom change places; after half a turn, left and right.
    folder.put("mirrored.jpg", with_orientation(folder.get("color.jpg"), 4));
    expect_ok("decode mirrored.jpg mirrored.raw --orient --rotate 180");
    const Bytes stored = folder.get("stored.raw"), mirrored = folder.get("mirrored.raw");
    ASSERT_EQ(mirrored.size(), stored.size());
    for (size_t at = 0, row = 37 * 4; at < stored.size(); at += 4)
        ASSERT_TRUE(std::equal(&stored[at], &stored[at] + 4, &mirrored[at / row * row + row - 4 - at % row])) << at;
    // A TIFF structure of a byte.
    folder.put("short.jpg", vorel::test::cat({vorel::test::head(jpeg, 2),
                                              {0xFF, 0xE1, 0, 9, 'E', 'x', 'i', 'f', 0, 0, 'I'},
                                              folder.get("color.jpg")}));
    expect_refused("exif short.jpg", 1, "no Exif data");
}

TEST_F(DecodeTool, OutputsHoldTheBufferOfTheLibraryFromEverySource) {
    for (const std::string name : {"color.jpg", "bits.wbmp"}) {
        Bytes expected(37 * 21 * 4);
        ASSERT_NE(VorelDecodeFile(folder.path(name).c_str(), expected.data(), 0, COLOR_RGBA8888, 1), 0);
        for (const std::string source : {"memory", "file", "stream"}) {
            if (source == "stream" && name == "bits.wbmp") continue;
            expect_ok("decode " + name + " out.raw --from " + source);
            EXPECT_TRUE(folder.get("out.raw") == expected) << name << " " << source;
        }
        expect_ok("decode " + name + " out.png");
        expect_ok("decode " + name + " out.PPM");
        for (const Pixels &pixels : {png("out.png"), ppm("out.PPM")}) {
            EXPECT_EQ(pixels.width, 37);
            EXPECT_TRUE(pixels.rgb == without_alpha(expected));
        }
    }
}

// The library's buffer for a JPEG.
Bytes by_library(const std::string &path, uint32_t options, int width, int height, int sample) {
    Bytes out(static_cast<size_t>(width * height * 4));
    DecInfo *session = VORELBRIM_CreateDecInfo(0, const_cast<char *>(path.c_str()), 0, COLOR_RGBA8888, options);
    ImageInfo info;
    VORELBRIM_Parser(session, &info);
    EXPECT_EQ(VORELBRIM_PDecodeJPEG(session, out.data(), width, height, sample), 1);
    VORELBRIM_DestroyDecInfo(session);
    return out;
}

// What the options stand for, and the sizes of the pictures that come out.
TEST_F(DecodeTool, SizesFitsAndTurns) {
    constexpr uint32_t k90 = VOREL_OPTION_ROTATE_90, k180 = VOREL_OPTION_ROTATE_180, k270 = VOREL_OPTION_ROTATE_270;
    constexpr uint32_t kPacked = VOREL_OPTION_FIT_PACKED, kCover = VOREL_OPTION_FIT_COVER;
    const struct {
        const char *options;
        int width, height;
        uint32_t bits;
        int sample = 1;
    } rows[] = {
        {" --rotate 90", 21, 37, k90},
        {" --rotate 180", 37, 21, k180},
        {" --rotate 270", 21, 37, k270},
        {" --sample 2", 18, 10, 0, 2},
        {" --sample 2 --rotate 90", 10, 18, k90, 2},
        {" --size 60x21", 60, 21, 0},
        {" --size 60x21 --fit topleft", 60, 21, VOREL_OPTION_FIT_TOP_LEFT},
        {" --size 60x21 --fit packed", 37, 21, kPacked},
        {" --size 60x90 --fit packed --rotate 270", 21, 37, kPacked | k270},
        {" --size 60x21 --fit stretch", 60, 21, VOREL_OPTION_FIT_STRETCH},
        {" --size 18x10 --fit cover", 18, 10, kCover},
        {" --size 30x10 --fit cover --rotate 90", 30, 10, kCover | k90},
        {" --size 15x10 --rotate 180", 15, 10, k180},
        {" --size 37x12 --fit stretch", 37, 12, VOREL_OPTION_FIT_STRETCH},
        {" --size 90x80 --fit stretch --rotate 270", 90, 80, VOREL_OPTION_FIT_STRETCH | k270},
    };
    expect_ok("decode color.jpg color.png");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.options);
        const auto decoded = [&](const std::string &files) { expect_ok("decode " + files + row.options); };
        decoded("color.jpg out.raw");
        EXPECT_TRUE(folder.get("out.raw") ==
                    by_library(folder.path("color.jpg"), row.bits, row.width, row.height, row.sample));
        decoded("color.jpg out.png");
        const Pixels out = png("out.png");
        ASSERT_EQ(out.width, row.width);
        ASSERT_EQ(out.height, row.height);
        // A PNG of the same picture comes out the same, but for how samples are chosen.
        decoded("color.png out.png");
        ASSERT_EQ(png("out.png").width, row.width);
        EXPECT_LE(largest_difference(png("out.png").rgb, out.rgb), 24);
    }
    expect_ok("decode color.jpg out.raw --size 60x21 --fit packed --format nv12");
    EXPECT_EQ(folder.get("out.raw").size(), 1195u);
}

TEST_F(DecodeTool, Gifs) {
    std::mt19937 random(3);
    vorel::test::GifFile gif = {13, 9, 0, vorel::test::gif_palette(random, 16), {}};
    gif.frames = {{.width = 13, .height = 9, .indices = vorel::test::gif_picture(random, 13, 9, 16), .transparent = 0}};
    const Bytes file = vorel::test::gif_file(gif);
    folder.put("still.gif", file);
    Bytes pixels(size_t{13} * 9 * 4);
    ASSERT_EQ(VorelDecodeBuffer(file.data(), pixels.data(), static_cast<int32_t>(file.size()), COLOR_RGBA8888, 1), 1);
    // PNG and PPM come out whatever layout is asked for; a raw buffer has to have it.
    expect_ok("decode still.gif a.png");
    EXPECT_TRUE(png("a.png", true).rgb == pixels) << "with its transparency";
    expect_ok("decode still.gif b.png --format nv12 --from stream");
    EXPECT_TRUE(folder.get("b.png") == folder.get("a.png"));
    expect_ok("decode still.gif c.ppm --format bgra8888");
    EXPECT_LE(largest_difference(ppm("c.ppm").rgb, without_alpha(pixels)), 1) << "another low bit is lost";
    expect_ok("decode still.gif d.raw --size 40x4 --fit packed");
    EXPECT_EQ(folder.get("d.raw").size(), 5u * 4 * 4);
}

TEST_F(DecodeTool, Pngs) {
    for (const bool interlaced : {false, true}) {
        folder.put("picture.png", vorel::test::make_png({.width = 301, .height = 530, .interlaced = interlaced}));
        const Pixels whole = png("picture.png");
        for (const std::string from : {"memory", "file"}) {
            expect_ok("decode picture.png out.png --from " + from);
            EXPECT_EQ(png("out.png").rgb, whole.rgb) << from;
        }
        expect_ok("decode picture.png out.ppm --sample 3");
        expect_ok("region picture.png region.ppm --rect 0,0,300,528 --sample 3");
        EXPECT_TRUE(folder.get("out.ppm") == folder.get("region.ppm"));
        // Inside a rectangle, in its own shape and not enlarged.
        expect_ok("decode picture.png out.png --size 602x1060");
        const Pixels centred = png("out.png");
        ASSERT_EQ(centred.width, 602);
        EXPECT_EQ(centred.rgb[0], 0);
        for (int y = 0; y < 530; ++y) {
            const auto expected = whole.rgb.begin() + y * 301 * 3;
            ASSERT_TRUE(std::equal(expected, expected + 301 * 3, &centred.rgb[((265u + y) * 602 + 150) * 3])) << y;
        }
    }
}

TEST_F(DecodeTool, Bmps) {
    // 2 x 1 pixels of 24 bits: blue first.
    Bytes bmp =
        vorel::test::cat({vorel::test::bmp_header(40, 2, 1), {1, 0, 24, 0}, Bytes(24), {30, 20, 10, 3, 2, 1, 0, 0}});
    const struct {
        const char *options;
        Bytes rgb;
    } turns[] = {{"", {10, 20, 30, 1, 2, 3}},
                 {" --rotate 90", {10, 20, 30, 1, 2, 3}},
                 {" --rotate 180 --fit packed --from stream", {1, 2, 3, 10, 20, 30}}};
    folder.put("two.bmp", bmp);
    for (const auto &turn : turns) {
        expect_ok(std::string("decode two.bmp out.png") + turn.options);
        EXPECT_EQ(png("out.png").rgb, turn.rgb) << turn.options;
        expect_ok(std::string("decode two.bmp out.raw --format rgb888") + turn.options);
        EXPECT_EQ(folder.get("out.raw"), turn.rgb) << turn.options;
    }
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
        for (const std::string out : {"new.raw", "new.png"})
            expect_refused("decode odd.bmp " + out + " --format " + row.format, 1, row.says);
    }
    std::fill(bmp.begin() + 54, bmp.end(), uint8_t{0});
    folder.put("black.bmp", bmp);
    expect_ok("decode black.bmp out.raw --format rgb888");
    EXPECT_EQ(folder.get("out.raw"), Bytes(6));
}

}  // namespace
}  // namespace vorel_tests
