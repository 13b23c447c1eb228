// The command-line program, run as its users run it: what it writes, what it leaves alone, how it ends.
#include <gtest/gtest.h>
#include <vorel/frame.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "run_tool.h"

namespace vorel_tests {
namespace {

class Tool : public ToolFixture {
  protected:
    void SetUp() override {
        folder.put("color.jpg", make_jpeg(37, 21, 3));
        folder.put("gray.jpg", make_jpeg(37, 21, 1));
        folder.put("bits.wbmp", make_wbmp(37, 21));
    }
};

int largest_difference(const Bytes &a, const Bytes &b) {
    int largest = a.size() == b.size() ? 0 : 256;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

// The JPEG without its segments of one marker; what comes with and after the first SOS stays.
Bytes without_segments(const Bytes &jpeg, uint8_t marker) {
    Bytes out(jpeg.begin(), jpeg.begin() + 2);
    size_t at = 2;
    while (jpeg[at + 1] != 0xDA) {
        const size_t next = at + 2 + static_cast<size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
        if (jpeg[at + 1] != marker)
            out.insert(out.end(), jpeg.begin() + static_cast<ptrdiff_t>(at),
                       jpeg.begin() + static_cast<ptrdiff_t>(next));
        at = next;
    }
    out.insert(out.end(), jpeg.begin() + static_cast<ptrdiff_t>(at), jpeg.end());
    return out;
}

TEST_F(Tool, BadUsageIsStatusTwoAndOneLine) {
    const Arguments lines[] = {
        {},
        {"unknown"},
        {"info"},
        {"info", "--wrong", "color.jpg"},
        {"decode", "color.jpg"},
        {"decode", "color.jpg", "out.jpeg"},
        {"decode", "color.jpg", ".png"},
        {"decode", "color.jpg", "out.png", "--sample", "0"},
        {"decode", "color.jpg", "out.png", "--sample", "two"},
        {"decode", "color.jpg", "out.png", "--size", "10"},
        {"decode", "color.jpg", "out.png", "--size", "10x"},
        {"decode", "color.jpg", "out.png", "--size", "0x10"},
        {"decode", "color.jpg", "out.png", "--size", "10x-1"},
        {"decode", "color.jpg", "out.png", "--size", "99999x1"},
        {"decode", "color.jpg", "out.png", "--fit", "somehow"},
        {"decode", "color.jpg", "out.png", "--format", "rgb999"},
        {"decode", "color.jpg", "out.png", "--rotate", "45"},
        {"decode", "color.jpg", "out.png", "--rotate", "90", "--format", "nv12"},
        {"decode", "color.jpg", "out.png", "--from", "air"},
    };
    for (const Arguments &line : lines) expect_refused(line, 2);
}

TEST_F(Tool, FailedDecodeIsStatusOneAndLeavesTheFilesAlone) {
    const Bytes jpeg = folder.get("color.jpg");
    folder.put("empty.jpg", {});
    folder.put("noise.jpg", Bytes(1000, 0x55));
    folder.put("header.jpg", Bytes(jpeg.begin(), jpeg.begin() + 100));
    folder.put("nothing.gif",
               {'G', 'I', 'F', '8', 'x', 'a', 1, 0, 1, 0, 0, 0, 0, ',', 0, 0, 0, 0, 1, 0, 1, 0, 0, 2, 0, ';'});
    folder.put("short.wbmp", {0, 0, 100, 100, 1});
    folder.put("old.raw", {1, 2, 3});
    std::filesystem::create_directory(folder.path("folder.png"));
    const Arguments lines[] = {
        {"decode", "missing.jpg", "old.raw"},
        {"decode", "folder.png", "old.raw"},
        {"decode", "empty.jpg", "old.raw"},
        {"decode", "noise.jpg", "old.raw"},
        {"decode", "header.jpg", "old.raw"},
        {"decode", "nothing.gif", "old.raw"},
        {"decode", "short.wbmp", "old.raw"},
        {"decode", "color.jpg", "old.raw", "--sample", "22"},
        {"decode", "color.jpg", "old.raw", "--format", "rgb888"},
        {"decode", "color.jpg", "old.raw", "--format", "gray"},
        {"decode", "gray.jpg", "old.raw", "--format", "yuyv"},
        {"decode", "color.jpg", "old.raw", "--size", "65535x65535"},
        {"decode", "bits.wbmp", "old.raw", "--format", "nv12"},
        {"decode", "bits.wbmp", "old.raw", "--rotate", "90"},
        {"decode", "bits.wbmp", "old.raw", "--from", "stream"},
        {"decode", "color.jpg", "nowhere/new.png"},
        {"decode", "color.jpg", "folder.png"},
        {"info", "missing.jpg"},
        {"info", "noise.jpg"},
    };
    for (const Arguments &line : lines) expect_refused(line, 1);
}

TEST_F(Tool, JpegsThatAreNotDecodedSayWhatTheyAre) {
    const struct {
        uint8_t marker, precision;
        const char *says;
    } rows[] = {{0xC2, 8, "progressive coding is not supported"}, {0xC9, 8, "arithmetic coding is not supported"},
                {0xCA, 8, "arithmetic coding is not supported"},  {0xC1, 12, "12 bits a sample are not supported"},
                {0xC2, 12, "12 bits a sample are not supported"}, {0xC3, 8, "lossless coding is not supported"},
                {0xC5, 8, "hierarchical coding is not supported"}};
    for (const auto &row : rows) {
        Bytes jpeg = folder.get("color.jpg");
        const Bytes sof = {0xFF, 0xC0, 0};
        const auto at = std::search(jpeg.begin(), jpeg.end(), sof.begin(), sof.end());
        ASSERT_NE(at, jpeg.end());
        at[1] = row.marker;
        at[4] = row.precision;
        folder.put("odd.jpg", jpeg);
        for (const char *from : {"memory", "file", "stream"})
            expect_refused({"decode", "odd.jpg", "new.png", "--from", from}, 1, row.says);
        if (row.marker != 0xC2) expect_refused({"info", "odd.jpg"}, 1, row.says);
    }
}

// Written out, not computed: 37 x 21 has odd sides, and chroma rows and columns are rounded up.
TEST_F(Tool, RawOutputHasTheBytesOfItsLayout) {
    const struct {
        const char *picture, *format;
        size_t bytes;
    } rows[] = {
        {"color.jpg", "rgb565", 1554}, {"color.jpg", "rgba8888", 3108}, {"color.jpg", "bgra8888", 3108},
        {"color.jpg", "yuv420", 1195}, {"color.jpg", "yuv422", 1575},   {"color.jpg", "yuv440", 1591},
        {"color.jpg", "yuv444", 2331}, {"color.jpg", "yuyv", 1596},     {"color.jpg", "nv21", 1195},
        {"color.jpg", "nv12", 1195},   {"gray.jpg", "gray", 777},       {"gray.jpg", "nv12", 1195},
        {"bits.wbmp", "rgb888", 2331}, {"bits.wbmp", "rgb565", 1554},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.picture) + " " + row.format);
        expect_ok({"decode", row.picture, "out.raw", "--format", row.format});
        EXPECT_EQ(folder.get("out.raw").size(), row.bytes);
    }
}

TEST_F(Tool, RawOutputIsTheBufferOfTheLibrary) {
    for (const char *name : {"color.jpg", "bits.wbmp"}) {
        SCOPED_TRACE(name);
        Bytes expected(37 * 21 * 4);
        ASSERT_NE(VorelDecodeFile(folder.path(name).c_str(), expected.data(), 0, COLOR_RGBA8888, 1), 0);
        expect_ok({"decode", name, "out.raw"});
        EXPECT_TRUE(folder.get("out.raw") == expected);
    }
}

TEST_F(Tool, SourcesGiveTheSameBytes) {
    expect_ok({"decode", "color.jpg", "memory.raw", "--from", "memory"});
    for (const char *source : {"file", "stream"}) {
        expect_ok({"decode", "color.jpg", "other.raw", "--from", source});
        EXPECT_TRUE(folder.get("other.raw") == folder.get("memory.raw")) << source;
    }
}

TEST_F(Tool, PngAndPpmHoldThePixels) {
    expect_ok({"decode", "color.jpg", "out.raw"});
    expect_ok({"decode", "color.jpg", "out.png"});
    expect_ok({"decode", "color.jpg", "out.PPM"});
    const Bytes rgba = folder.get("out.raw");
    Bytes rgb;
    for (size_t i = 0; i < rgba.size(); ++i)
        if (i % 4 != 3) rgb.push_back(rgba[i]);
    const Pixels png = read_png(folder.path("out.png")), ppm = read_ppm(folder.get("out.PPM"));
    EXPECT_EQ(png.width, 37);
    EXPECT_EQ(png.height, 21);
    EXPECT_TRUE(png.rgb == rgb);
    EXPECT_EQ(ppm.width, 37);
    EXPECT_TRUE(ppm.rgb == rgb);
}

// The picture is smooth, so whatever layout it went through, its colours come back but for the layout's coarseness.
TEST_F(Tool, EveryLayoutComesBackAsTheSamePicture) {
    const struct {
        const char *picture, *format;
        int tolerance;
    } rows[] = {
        {"color.jpg", "bgra8888", 0}, {"color.jpg", "rgb565", 8},  {"color.jpg", "yuv444", 1},
        {"color.jpg", "yuv422", 20},  {"color.jpg", "yuv440", 20}, {"color.jpg", "yuv420", 24},
        {"color.jpg", "nv12", 24},    {"color.jpg", "nv21", 24},   {"color.jpg", "yuyv", 20},
        {"gray.jpg", "gray", 0},      {"gray.jpg", "rgb565", 8},   {"gray.jpg", "yuv420", 0},
        {"gray.jpg", "nv21", 0},      {"bits.wbmp", "rgb888", 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.picture) + " " + row.format);
        expect_ok({"decode", row.picture, "plain.png"});
        expect_ok({"decode", row.picture, "other.png", "--format", row.format});
        const Pixels plain = read_png(folder.path("plain.png")), other = read_png(folder.path("other.png"));
        EXPECT_LE(largest_difference(plain.rgb, other.rgb), row.tolerance);
    }
}

TEST_F(Tool, RotationTurnsThePictureClockwise) {
    expect_ok({"decode", "color.jpg", "plain.png"});
    const Pixels plain = read_png(folder.path("plain.png"));
    for (const int degrees : {90, 180, 270}) {
        SCOPED_TRACE(degrees);
        expect_ok({"decode", "color.jpg", "turned.png", "--rotate", std::to_string(degrees)});
        const Pixels turned = read_png(folder.path("turned.png"));
        const bool sideways = degrees != 180;
        ASSERT_EQ(turned.width, sideways ? plain.height : plain.width);
        ASSERT_EQ(turned.height, sideways ? plain.width : plain.height);
        int wrong = 0;
        for (int y = 0; y < plain.height; ++y)
            for (int x = 0; x < plain.width; ++x) {
                const int tx = degrees == 90 ? plain.height - 1 - y : degrees == 180 ? plain.width - 1 - x : y;
                const int ty = degrees == 90 ? x : degrees == 180 ? plain.height - 1 - y : plain.width - 1 - x;
                for (int c = 0; c < 3; ++c)
                    wrong += plain.rgb[static_cast<size_t>((y * plain.width + x) * 3 + c)] !=
                             turned.rgb[static_cast<size_t>((ty * turned.width + tx) * 3 + c)];
            }
        EXPECT_EQ(wrong, 0);
    }
}

// The sizes of the pictures that come out, and where black bars have to be.
TEST_F(Tool, SizesAndFits) {
    const struct {
        Arguments options;
        int width, height;
        bool black_left, black_right;
    } rows[] = {
        {{"--sample", "2"}, 18, 10, false, false},
        {{"--sample", "2", "--rotate", "90"}, 10, 18, false, false},
        {{"--size", "60x21"}, 60, 21, true, true},
        {{"--size", "60x21", "--fit", "topleft"}, 60, 21, false, true},
        {{"--size", "60x21", "--fit", "packed"}, 37, 21, false, false},
        {{"--size", "60x21", "--fit", "packed", "--format", "nv12"}, 37, 21, false, false},
        {{"--size", "60x90", "--fit", "packed", "--rotate", "270"}, 21, 37, false, false},
        {{"--size", "60x21", "--fit", "stretch"}, 60, 21, false, false},
        {{"--size", "18x10", "--fit", "cover"}, 18, 10, false, false},
        {{"--size", "30x10", "--fit", "cover", "--rotate", "90"}, 30, 10, true, true},
        {{"--size", "15x10", "--rotate", "180"}, 15, 10, false, false},
        {{"--size", "37x12", "--fit", "stretch"}, 37, 12, false, false},
        {{"--size", "90x80", "--fit", "stretch", "--rotate", "270"}, 90, 80, false, false},
    };
    expect_ok({"decode", "color.jpg", "color.png"});
    for (const auto &row : rows) {
        Arguments arguments = {"decode", "color.jpg", "out.png"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        SCOPED_TRACE(row.options.back() + " " + row.options[1]);
        expect_ok(arguments);
        const Pixels out = read_png(folder.path("out.png"));
        ASSERT_EQ(out.width, row.width);
        ASSERT_EQ(out.height, row.height);
        const auto is_black = [&](int x) {
            const size_t at = static_cast<size_t>((row.height / 2 * row.width + x) * 3);
            return out.rgb[at] + out.rgb[at + 1] + out.rgb[at + 2] == 0;
        };
        EXPECT_EQ(is_black(0), row.black_left);
        EXPECT_EQ(is_black(row.width - 1), row.black_right);
        // A PNG of the same picture comes out the same, but for how samples are chosen.
        arguments[1] = "color.png";
        expect_ok(arguments);
        const Pixels png = read_png(folder.path("out.png"));
        ASSERT_EQ(png.width, row.width);
        EXPECT_LE(largest_difference(png.rgb, out.rgb), 24);
    }
}

TEST_F(Tool, OutputReplacesTheFileBehindTheNameAndNothingElse) {
    folder.put("real.raw", {1});
    std::filesystem::create_symlink("real.raw", folder.path("link.raw"));
    std::filesystem::permissions(folder.path("real.raw"), std::filesystem::perms(0640));
    expect_ok({"decode", "color.jpg", "link.raw"});
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.raw")));
    EXPECT_EQ(folder.get("real.raw").size(), 37u * 21 * 4);
    EXPECT_EQ(std::filesystem::status(folder.path("real.raw")).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(folder.snapshot().size(), 5u);
}

TEST_F(Tool, InfoReportsEachFileAndGoesOnAfterABadOne) {
    const ToolRun run = folder.run({"info", "color.jpg", "missing.jpg", "bits.wbmp"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 2);
    EXPECT_NE(run.out.find("color.jpg: JPEG, 37 x 21, baseline, 3 components"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("bits.wbmp: WBMP, 37 x 21"), std::string::npos) << run.out;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

TEST_F(Tool, InfoJsonIsAnArrayOfRecords) {
    const ToolRun run = folder.run({"info", "--json", "color.jpg", "missing.jpg", "bits.wbmp"});
    EXPECT_EQ(run.status, 1);
    const auto records = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(records.is_array()) << run.out;
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].value("type", ""), "JPEG");
    EXPECT_EQ(records[0].value("width", 0u), 37u);
    EXPECT_EQ(records[0].value("height", 0u), 21u);
    EXPECT_EQ(records[0].value("components", 0u), 3u);
    EXPECT_EQ(records[0].value("bytes", 0u), folder.get("color.jpg").size());
    EXPECT_TRUE(records[1].contains("error"));
    EXPECT_EQ(records[2].value("type", ""), "WBMP");
}

// A JPEG whose quantisation tables are missing parses, and fails when its decoder is set up.
TEST_F(Tool, LogShowsTheDiagnosticsOfAFailure) {
    folder.put("bad.jpg", without_segments(folder.get("color.jpg"), 0xDB));
    const ToolRun quiet = folder.run({"decode", "bad.jpg", "out.png"});
    const ToolRun talking = folder.run({"decode", "bad.jpg", "out.png", "--log"});
    EXPECT_EQ(quiet.status, 1);
    EXPECT_EQ(talking.status, 1);
    EXPECT_GT(talking.err.size(), quiet.err.size());
    EXPECT_NE(talking.err.find("VJPEG"), std::string::npos) << talking.err;
}

TEST_F(Tool, InterruptCancelsTheDecode) {
    folder.put("large.jpg", make_jpeg(8000, 6000, 3));
    folder.put("old.raw", {1, 2, 3});
    const auto before = folder.snapshot();
    const ToolRun run = folder.run_until({"decode", "large.jpg", "old.raw"}, " %");
    if (!run.has_terminal) GTEST_SKIP() << "the machine has no pseudo-terminals, so no progress bar to interrupt";
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("large.jpg: cancelled"), std::string::npos) << run.err;
    EXPECT_TRUE(folder.snapshot() == before);
}

}  // namespace
}  // namespace vorel_tests
