// The command-line program, run as its users run it: what it refuses, what it leaves alone, how it ends.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "jpeg/decoder/surgery.h"
#include "png/images.h"
#include "support/gif_files.h"

namespace vorel_tests {
namespace {

using vorel::test::cat, vorel::test::changed, vorel::test::find_marker, vorel::test::head, vorel::test::text,
    vorel::test::make_png;
using Tool = ToolFixture;

TEST_F(Tool, BadUsageIsStatusTwoAndOneLine) {
    const struct {
        std::string start;
        std::vector<std::string> ends;
    } rows[] = {
        {"", {"", "unknown", "info", "info --wrong color.jpg", "frames moving.gif"}},
        {"decode color.jpg ", {"", "out.jpx", ".png", "out.png --strip", "out.pgm"}},
        {"decode color.jpg out.png --size ", {"10", "10x", "0x10", "10x-1", "99999x1", "31x17x"}},
        {"decode color.jpg out.png --", {"sample 0", "sample two", "fit somehow", "format rgb999", "from air"}},
        {"decode color.jpg out.png --rotate ", {"45", "90 --format nv12"}},
        {"convert nv21.raw out.raw --from nv21 --to ", {"rgba8888", "yuv444 --size 31x17", "nv12 --size 31"}},
        {"convert nv21.raw ", {"out.raw --from nv99 --to nv12 --size 9x9", "out.txt --from nv21 --to nv12 --size 9x9"}},
        {"resize picture.", {"ppm out.png", "ppm out.png --size 9x9 --from-size 31x17", "bmp out.png --size 9x9"}},
        {"resize nv21.raw out.raw --size 9x9 --format ", {"nv21", "gray --from-size 31x17"}},
        {"rotate picture.ppm out.png", {"", " --angle 45"}},
        {"region picture.png old.", {"png", "txt --rect 0,0,1,1", "png --rect 0,0,9,9 --sample 0"}},
        {"region picture.png old.png --rect ", {"0,0,10", "0,0,10,10,10", "a,b,c,d", "0,0,0,10", "0,0,10,-3"}},
        {"region picture.png old.png --rect ", {"-1,0,10,10", "0,0,10,10x", "0,0,99999999999,1"}},
        {"tiles picture.png", {"", " new --tile 0", " new --tile 16 --overlap 16", " new --tile-format gif"}},
        {"encode picture.ppm ", {"", "out.png", "out.jpg --quality 0", "out.jpg --quality 101", "out.jpg --raw nv21"}},
        {"encode picture.ppm out.jpg --", {"raw nv99 9x9", "raw nv21 9by9", "size 9"}},
        {"", {"encode color.jpg out.jpg", "resize color.jpg out.png --size 9x9"}},
    };
    for (const auto &row : rows)
        for (const std::string &end : row.ends) expect_refused(row.start + end, 2);
}

// Also with outputs that are there: each stays as it was, and nothing else comes.
TEST_F(Tool, FailuresAreStatusOneAndLeaveTheFilesAlone) {
    const Bytes jpeg = folder.get("color.jpg"), picture = make_png({.width = 301, .height = 530});
    folder.put("header.jpg", head(jpeg, 100));
    folder.put("short.wbmp", {0, 0, 100, 100, 1});
    folder.put("picture.png", picture);
    folder.put("cut.png", head(picture, picture.size() / 2));
    folder.put("empty", {});
    folder.put("noise", Bytes(1000, 0x55));
    folder.put("noise.png", Bytes(100, 7));
    folder.put("gray.raw", Bytes(81, 9));
    folder.put("short.raw", Bytes(31 * 17 + 2 * 16 * 9 - 1, 9));
    folder.put("long.raw", Bytes(31 * 17 + 2 * 16 * 9 + 1, 9));
    folder.put("cut.ppm", cat({text("P6\n31 17 255\n"), Bytes(31 * 17 * 3 - 1)}));
    folder.put("huge.ppm", text("P6\n60000 60000 255\n"));
    folder.put("wide.ppm", text("P6\n70000 1 255\nxxx"));
    folder.put("tiny.ppm", text("P6\n1 1 255\nxxx"));
    folder.put("text.ppm", text("P3\n2 1 255\n1 2 3 4 5 6"));
    const Bytes moving = vorel::test::gif_animation();
    folder.put("moving.gif", moving);
    folder.put("none.gif", cat({text("GIF8xa"), {1, 0, 1, 0, 0, 0, 0, ',', 0, 0, 0, 0}, {1, 0, 1, 0, 0, 2, 0, ';'}}));
    // The last frame's minimum code size is out of range: its data cannot be decoded.
    folder.put("broken.gif",
               cat({head(moving, moving.size() - 1), {',', 0, 0, 0, 0, 1, 0, 1, 0, 0, 12, 1, 1, 0, ';'}}));
    folder.put("old.raw", {1, 2, 3});
    for (const char *name : {"folder.png", "old", "taken/frame-0001.png"})
        std::filesystem::create_directories(folder.path(name));
    folder.put("old/frame-0000.png", {1, 2, 3});
    const std::string kToNv12 = ".raw old.raw --from nv21 --to nv12 --size 31x17";
    const std::string kRegion = "region picture.png old.raw --rect ";
    const struct {
        std::string says, start;
        std::vector<std::string> ends;
    } rows[] = {
        {"No such file", "decode ", {"missing old.raw"}},
        {"is a directory", "decode ", {"folder.png old.raw"}},
        {"is empty", "decode ", {"empty old.raw"}},
        {"", "decode ", {"noise old.raw", "header.jpg old.raw", "none.gif old.raw", "short.wbmp old.raw"}},
        {"too few", "decode ", {"color.jpg old.raw --sample 22", "moving.gif new.png --sample 20"}},
        {"2 GiB", "decode ", {"color.jpg old.raw --size 65535x65535"}},
        {"is not decoded to", "decode color.jpg old.raw --format ", {"rgb888", "gray"}},
        {"is not decoded to", "decode moving.gif old.raw --format ", {"rgb888", "gray", "rgb565"}},
        {"is not decoded to", "decode gray.jpg old.raw --format ", {"yuyv"}},
        {"is not decoded to", "decode bits.wbmp old.raw --format ", {"nv12"}},
        {"is not decoded to", "decode picture.png old.raw --format ", {"rgb565"}},
        {"cannot be turned", "decode ", {"bits.wbmp old.raw --rotate 90", "moving.gif new.png --rotate 90"}},
        {"from a stream", "decode ", {"bits.wbmp old.raw --from stream", "picture.png old.raw --from stream"}},
        {"", "decode color.jpg nowhere/new.png", {""}},
        {"not a regular file", "decode color.jpg folder.png", {""}},
        {"", "info ", {"missing", "noise"}},
        {"", "convert ", {"short" + kToNv12, "long" + kToNv12, "missing" + kToNv12}},
        {"2 GiB", "convert gray.raw old.raw --from nv21 --to nv12 --size 65535x65535", {""}},
        {"cannot be turned", "rotate --angle 90 --from-size 9x9 ", {"gray.raw old.raw --format gray"}},
        {"cannot be turned", "rotate --angle 90 --from-size 9x3 ", {"gray.raw old.raw --format yuv444"}},
        {"", "rotate ", {"noise.png old.raw --angle 90"}},
        {"bytes of pixels are wanted", "resize cut.ppm old.raw --size 4x4", {""}},
        {"2 GiB", "resize huge.ppm old.raw --size 4x4", {""}},
        {"too many", "resize wide.ppm old.raw --size 4x4", {""}},
        {"not a binary PPM", "resize text.ppm old.raw --size 4x4", {""}},
        {"", "resize ", {"noise.png old.raw --size 4x4", "missing.png old.raw --size 4x4"}},
        {"no Exif data", "encode gray.raw new.jpg --raw gray 9x9 --exif-from ", {"color.jpg"}},
        {"", "encode ", {"missing.ppm new.jpg", "gray.raw new.jpg --raw nv21 9x9", "text.ppm new.jpg"}},
        {"49999", "resize tiny.ppm new.jpg --size 50000x1", {""}},
        {"cannot be decoded", "frames broken.gif ", {"old", "new"}},
        {"is no GIF", "frames color.jpg old", {""}},
        {"", "frames ", {"missing old", "moving.gif noise", "moving.gif nowhere/new"}},
        {"not a regular file", "frames moving.gif taken", {""}},
        {"is not inside 301 x 530", kRegion, {"301,0,1,1", "0,530,1,1", "1,0,301,1", "0,1,1,530"}},
        {"is not inside 301 x 530", kRegion, {"999999999,0,999999999,1"}},
        {"too small", kRegion, {"0,0,9,3 --sample 4", "0,0,3,9 --sample 4"}},
        {"is there already", "tiles picture.png ", {"old", "old.raw"}},
        {"", "", {"region picture.png nowhere/new.png --rect 0,0,1,1", "tiles picture.png nowhere/new"}},
    };
    for (const auto &row : rows)
        for (const std::string &end : row.ends) expect_refused(row.start + end, 1, row.says);
    for (const auto &[name, says] : {std::pair("missing.png", "No such file"),
                                     {"noise.png", "not a picture"},
                                     {"cut.png", "cannot be decoded"},
                                     {"moving.gif", "regions are for JPEG and PNG"}}) {
        expect_refused(std::string("region ") + name + " old.raw --rect 0,0,1,1", 1, says);
        if (name != std::string("moving.gif")) expect_refused(std::string("tiles ") + name + " new", 1, says);
    }
}

TEST_F(Tool, JpegsThatAreNotDecodedSayWhatTheyAre) {
    const struct {
        uint8_t marker, precision;
        const char *says;
    } rows[] = {{0xC9, 8, "arithmetic coding is not supported"},  {0xCA, 8, "arithmetic coding is not supported"},
                {0xC1, 12, "12 bits a sample are not supported"}, {0xC2, 12, "12 bits a sample are not supported"},
                {0xC3, 8, "lossless coding is not supported"},    {0xC5, 8, "hierarchical coding is not supported"}};
    const Bytes good = folder.get("color.jpg");
    const size_t at = find_marker(good, 0xC0);
    for (const auto &row : rows) {
        folder.put("odd.jpg", changed(changed(good, at + 1, {row.marker}), at + 4, {row.precision}));
        for (const char *from : {"memory", "file", "stream"})
            expect_refused(std::string("decode odd.jpg new.png --from ") + from, 1, row.says);
        if (row.marker != 0xC2) expect_refused("info odd.jpg", 1, row.says);
    }
}

TEST_F(Tool, OutputReplacesTheFileBehindTheNameAndNothingElse) {
    folder.put("real.raw", {1});
    std::filesystem::create_symlink("real.raw", folder.path("link.raw"));
    std::filesystem::permissions(folder.path("real.raw"), std::filesystem::perms(0640));
    expect_ok("decode color.jpg link.raw");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.raw")));
    EXPECT_EQ(folder.get("real.raw").size(), 37u * 21 * 4);
    EXPECT_EQ(std::filesystem::status(folder.path("real.raw")).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(folder.snapshot().size(), 5u) << "with the pictures that are always there";
}

TEST_F(Tool, InfoReportsEachFileAndGoesOnAfterABadOne) {
    folder.put("moving.gif", vorel::test::gif_animation());
    const std::string bytes = std::to_string(folder.get("color.jpg").size());
    const ToolRun lines = folder.run("info color.jpg missing bits.wbmp moving.gif");
    EXPECT_EQ(lines.status, 1);
    EXPECT_EQ(lines.err, "vorel: missing: No such file or directory\n");
    EXPECT_EQ(lines.out, "color.jpg: JPEG, 37 x 21, baseline, 3 components, sampling 1x1, " + bytes + " bytes\n" +
                             "bits.wbmp: WBMP, 37 x 21, 109 bytes\n" + "moving.gif: animated GIF, 3 x 2, 2 frames, " +
                             std::to_string(folder.get("moving.gif").size()) + " bytes\n");
    const ToolRun json = folder.run("info --json color.jpg missing bits.wbmp");
    EXPECT_EQ(json.status, 1);
    const auto records = nlohmann::json::parse(json.out, nullptr, false);
    ASSERT_TRUE(records.is_array() && records.size() == 3) << json.out;
    EXPECT_EQ(records[0].value("type", ""), "JPEG");
    EXPECT_EQ(records[0].value("width", 0u), 37u);
    EXPECT_EQ(records[0].value("components", 0u), 3u);
    EXPECT_TRUE(records[1].contains("error"));
    EXPECT_EQ(records[2].value("type", ""), "WBMP");
}

// A JPEG without quantisation tables parses, and fails when its decoder is set up.
TEST_F(Tool, LogShowsTheDiagnosticsOfAFailure) {
    Bytes bad = folder.get("color.jpg");
    for (size_t at = 0; (at = find_marker(bad, 0xDB, at)) < bad.size();) bad[at + 1] = 0xFE;  // a comment
    folder.put("bad.jpg", bad);
    expect_refused("decode bad.jpg out.png", 1);
    const ToolRun talking = folder.run("decode bad.jpg out.png --log");
    EXPECT_EQ(talking.status, 1);
    EXPECT_NE(talking.err.find("VJPEG"), std::string::npos) << talking.err;
}

TEST_F(Tool, ABarIsShownAndAnInterruptCancels) {
    folder.put("large.jpg", make_jpeg(8000, 6000, 3));
    folder.put("large.png", make_png({.width = 900, .height = 1200}));  // 5600 tiles
    folder.put("gray.pgm", cat({text("P5 10000 8000 255\n"), Bytes(80000000, 99)}));
    folder.put("old.raw", {1, 2, 3});
    const auto before = folder.snapshot();
    for (const char *line : {"decode large.jpg old.raw", "tiles large.png new --tile 16 --tile-format png",
                             "encode gray.pgm new.jpg", "encode gray.pgm new.jpg --progressive"}) {
        const ToolRun run = folder.run_until(line, " %");
        if (!run.has_terminal) GTEST_SKIP() << "the machine has no pseudo-terminals, so no progress bar to interrupt";
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find(": cancelled"), std::string::npos) << run.err;
        EXPECT_TRUE(folder.snapshot() == before);
    }
}

}  // namespace
}  // namespace vorel_tests
