// `encode`, and JPEG output of the others: the streams of the library, and camera data that stay true.
#include <vorel/jpeg_encoder.h>

#include <algorithm>

#include "fixture.h"
#include "oracle/exiv2.h"

namespace vorel_tests {
namespace {

using vorel::test::big_16, vorel::test::big_32, vorel::test::cat, vorel::test::head, vorel::test::noise,
    vorel::test::tail, vorel::test::text;

class EncodeTool : public ToolFixture {
  protected:
    // What the library makes of a frame in one session.
    Bytes by_library(const Bytes &pixels, int format, bool progressive, bool optimize) {
        RawInfo raw = {};
        raw.width = 70, raw.height = 300, raw.progressive = progressive, raw.optimizeHuffman = optimize;
        raw.pixels = const_cast<uint8_t *>(pixels.data());
        raw.format = static_cast<uint32_t>(format);
        HuffmanSpec spec = {};
        spec.quality = 75;
        auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(4096));
        uint32_t size = 4096;
        EXPECT_EQ(rim_enc_jpeg_to_buffer_ex(&raw, &buffer, &size, &spec), 1);
        const Bytes stream(buffer, buffer + size);
        VORELBRIM_OsFree(buffer);
        return stream;
    }
    // The fields of a JPEG that has its Exif segment behind APP0; none for another.
    std::map<std::string, std::string> exif_of(const std::string &name) const {
        const Bytes jpeg = folder.get(name);
        if (jpeg[21] != 0xE1) return {};
        return vorel::test::read_with_exiv2(Bytes(&jpeg[30], &jpeg[22] + jpeg[22] * 256 + jpeg[23]));
    }
};

TEST_F(EncodeTool, StreamsAreThoseOfTheLibrary) {
    const Bytes random = noise(70 * 300 * 4, 1);
    const struct {
        const char *format;
        int code;
        size_t bytes;
    } rows[] = {{"rgba8888", COLOR_RGBA8888, 84000}, {"rgb888", COLOR_RGB888, 63000}, {"rgb565", COLOR_RGB565, 42000},
                {"gray", COLOR_GRAY, 21000},         {"nv21", COLOR_NV21, 31500},     {"yuyv", COLOR_YUYV, 42000},
                {"yuv420", COLOR_YUV420, 31500},     {"yuv422", COLOR_YUV422, 42000}, {"yuv440", COLOR_YUV440, 42000}};
    for (const auto &row : rows) {
        const Bytes frame = head(random, row.bytes);
        folder.put("frame", frame);
        const std::string line = std::string("encode frame out.jpg --quality 75 --raw ") + row.format + " 70x300";
        for (const auto &[more, progressive, optimize] :
             {std::tuple("", false, false), {" --optimize", false, true}, {" --progressive", true, false}}) {
            expect_ok(line + more);
            EXPECT_TRUE(folder.get("out.jpg") == by_library(frame, row.code, progressive, optimize)) << line << more;
        }
    }
    Bytes swapped = head(random, 31500);
    folder.put("frame", swapped);
    expect_ok("encode frame out.jpeg --quality 75 --raw nv12 70x300");
    for (size_t i = 21000; i < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    EXPECT_TRUE(folder.get("out.jpeg") == by_library(swapped, COLOR_NV21, false, false));
    folder.put("picture.pgm", cat({text("P5 70 300 255\n"), head(random, 21000)}));
    folder.put("picture.ppm", cat({text("P6 70 300 255\n"), head(random, 63000)}));
    expect_ok("encode picture.pgm out.jpg --quality 75");
    EXPECT_TRUE(folder.get("out.jpg") == by_library(random, COLOR_GRAY, false, false));
    expect_ok("rotate picture.ppm half.png --angle 180");
    expect_ok("rotate half.png whole.ppm --angle 180");
    expect_ok("encode whole.ppm out.jpg --quality 75");
    EXPECT_TRUE(folder.get("out.jpg") == by_library(random, COLOR_RGB888, false, false));
    expect_ok("decode gray.jpg gray.png --format gray");
    for (const char *line : {"decode gray.jpg out.jpg --rotate 90", "encode gray.png out.jpg"}) {
        expect_ok(line);
        EXPECT_NE(expect_ok("info out.jpg").find("1 component,"), std::string::npos) << line;
    }
    for (const char *line :
         {"encode half.png small.jpg", "encode picture.pgm small.jpg", "resize half.png small.jpg"}) {
        expect_ok(line + std::string(" --size 33x20"));
        EXPECT_NE(expect_ok("info small.jpg").find("33 x 20, baseline, 3 components"), std::string::npos);
    }
}

TEST_F(EncodeTool, CameraDataSayWhatIsTrueOfThePixels) {
    const auto entry = [](int tag, int type, const Bytes &value) {
        return cat({big_16(tag), big_16(type), big_32(1), value});
    };
    const auto one_short = [&](int tag, int value) { return entry(tag, 3, cat({big_16(value), {0, 0}})); };
    const auto one_long = [&](int tag, int value) { return entry(tag, 4, big_32(value)); };
    for (const int orientation : {1, 2, 5, 6}) {
        // 0th, Exif and 1st directory, and the thumbnail at the end.
        const Bytes zeroth = cat({big_16(3), one_long(256, 37), one_short(274, orientation), one_long(34665, 50)});
        const Bytes camera = cat({big_32(80), big_16(2), one_short(40962, 37), one_long(40963, 21), big_32(0)});
        const Bytes first = cat({big_16(2), one_long(513, 110), one_long(514, 4), big_32(0), {1, 2, 3, 4}});
        const Bytes start = cat({{0xFF, 0xD8, 0xFF, 0xE1, 0, 122}, text("Exif"), {0, 0}, text("MM")});
        const Bytes plain = folder.get("color.jpg");
        folder.put("photo.jpg",
                   cat({start, {0, 42, 0, 0, 0, 8}, zeroth, camera, first, tail(plain, plain.size() - 2)}));
        const bool lies = orientation > 4;
        const int turned = orientation == 2 ? 4 : orientation == 5 ? 7 : orientation;
        const struct {
            const char *line;
            int width, height, orientation;
            bool thumbnail;
        } rows[] = {
            {"decode photo.jpg out.jpg --no-orient", 37, 21, orientation, true},
            {"decode photo.jpg out.jpg", lies ? 21 : 37, lies ? 37 : 21, 1, orientation == 1},
            {"decode photo.jpg out.jpg --no-orient --rotate 90", 21, 37, turned, false},
            {"decode photo.jpg out.jpg --no-orient --rotate 180 --size 60x40", 37, 21, orientation, false},
            {"decode photo.jpg out.jpg --no-orient --fit center --size 60x40", 60, 40, orientation, true},
            {"encode picture.ppm out.jpg --exif-from photo.jpg", 3, 1, 1, false},
            {"encode picture.ppm out.jpg --exif-from photo.jpg --raw gray 1x22", 1, 22, orientation, false},
        };
        folder.put("picture.ppm", cat({text("P6 3 1 255\n"), Bytes(9), Bytes(2)}));
        for (const auto &row : rows) {
            SCOPED_TRACE(row.line + std::to_string(orientation));
            expect_ok(row.line);
            auto fields = exif_of("out.jpg");
            const std::string width = std::to_string(row.width), height = std::to_string(row.height);
            EXPECT_EQ(fields["Exif.Image.Orientation"], std::to_string(row.orientation));
            EXPECT_EQ(fields["Exif.Photo.PixelXDimension"], width);
            EXPECT_EQ(fields["Exif.Photo.PixelYDimension"], height);
            EXPECT_EQ(fields["Exif.Image.ImageWidth"], width);
            EXPECT_EQ(fields.count("Exif.Thumbnail.JPEGInterchangeFormat"), row.thumbnail);
            EXPECT_NE(expect_ok("info out.jpg").find(width + " x " + height), std::string::npos);
        }
        expect_ok("decode photo.jpg out.jpg --strip");
        EXPECT_TRUE(exif_of("out.jpg").empty());
    }
}

TEST_F(EncodeTool, ColourProfilesGoAlongWhereTheyFit) {
    const auto part = [](int number, const Bytes &data) {
        const Bytes body = cat({text("ICC_PROFILE"), {0, static_cast<uint8_t>(number), 2}, data});
        return cat({{0xFF, 0xE2}, big_16(static_cast<uint32_t>(body.size() + 2)), body});
    };
    const Bytes plain = folder.get("color.jpg");
    for (const char *colours : {"RGB ", "CMYK", "GRAY"}) {
        const Bytes profile = cat({part(1, cat({Bytes(16), text(colours), noise(70, 3)})), part(2, noise(50, 4))});
        folder.put("photo.jpg", cat({{0xFF, 0xD8}, profile, tail(plain, plain.size() - 2)}));
        for (const auto &[line, kept] : {std::pair("decode photo.jpg out.jpg --sample 2", colours[0] == 'R'),
                                         {"decode photo.jpg out.jpg --strip", false}}) {
            expect_ok(line);
            const Bytes out = folder.get("out.jpg");
            const auto at = std::search(out.begin(), out.end(), profile.begin(), profile.end());
            EXPECT_EQ(at != out.end(), kept) << line << colours;
        }
        const std::string tiles = "tiles-" + std::string(colours, 1);
        expect_ok("tiles photo.jpg " + tiles);
        const Bytes tile = folder.get(tiles + "/photo_files/6/0_0.jpg");
        const bool there = std::search(tile.begin(), tile.end(), profile.begin(), profile.end()) == tile.begin() + 20;
        EXPECT_EQ(there, colours[0] == 'R') << "behind SOI and APP0";
        folder.put("tile.jpg", tile);
        expect_ok("decode tile.jpg tile.ppm");
        EXPECT_EQ(ppm("tile.ppm").width, 37);
    }
}

}  // namespace
}  // namespace vorel_tests
