// The command-line program, run as its users run it: what it writes, what it leaves alone, how it ends.
#include <gtest/gtest.h>
#include <vorel/jpeg_decoder.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "fixture.h"
#include "run_tool.h"
#include "support/samples.h"

namespace vorel_tests {
namespace {

class Tool : public ToolFixture {
  protected:
    void SetUp() override {
        folder.put("color.jpg", make_jpeg(37, 21, 3));
        folder.put("gray.jpg", make_jpeg(37, 21, 1));
        folder.put("bits.wbmp", vorel::test::wbmp(37, 21, Bytes(5 * 21, 0x94)));
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
    } rows[] = {{0xC9, 8, "arithmetic coding is not supported"},  {0xCA, 8, "arithmetic coding is not supported"},
                {0xC1, 12, "12 bits a sample are not supported"}, {0xC2, 12, "12 bits a sample are not supported"},
                {0xC3, 8, "lossless coding is not supported"},    {0xC5, 8, "hierarchical coding is not supported"}};
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

// Sizes are written out, not computed: 37 x 21 has odd sides, and chroma rows and columns are rounded up. The picture
// is smooth, so whatever layout it went through, its colours come back but for the layout's coarseness.
TEST_F(Tool, EveryLayoutHasItsBytesAndComesBackAsTheSamePicture) {
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
        expect_ok({"decode", row.picture, "out.raw", "--format", row.format});
        EXPECT_EQ(folder.get("out.raw").size(), row.bytes);
        expect_ok({"decode", row.picture, "plain.png"});
        expect_ok({"decode", row.picture, "other.png", "--format", row.format});
        const Pixels plain = read_png(folder.path("plain.png")), other = read_png(folder.path("other.png"));
        EXPECT_LE(largest_difference(plain.rgb, other.rgb), row.tolerance);
    }
}

TEST_F(Tool, OutputsHoldTheBufferOfTheLibraryFromEverySource) {
    for (const char *name : {"color.jpg", "bits.wbmp"}) {
        Bytes expected(37 * 21 * 4), rgb;
        ASSERT_NE(VorelDecodeFile(folder.path(name).c_str(), expected.data(), 0, COLOR_RGBA8888, 1), 0);
        for (size_t i = 0; i < expected.size(); ++i)
            if (i % 4 != 3) rgb.push_back(expected[i]);
        for (const char *source : {"memory", "file", "stream"}) {
            if (source == std::string("stream") && name == std::string("bits.wbmp")) continue;
            SCOPED_TRACE(std::string(name) + " " + source);
            expect_ok({"decode", name, "out.raw", "--from", source});
            EXPECT_TRUE(folder.get("out.raw") == expected);
        }
        expect_ok({"decode", name, "out.png"});
        expect_ok({"decode", name, "out.PPM"});
        const Pixels png = read_png(folder.path("out.png")), ppm = read_ppm(folder.get("out.PPM"));
        for (const Pixels &pixels : {png, ppm}) {
            EXPECT_EQ(pixels.width, 37);
            EXPECT_EQ(pixels.height, 21);
            EXPECT_TRUE(pixels.rgb == rgb);
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
TEST_F(Tool, SizesFitsAndTurns) {
    constexpr uint32_t k90 = VOREL_OPTION_ROTATE_90, k180 = VOREL_OPTION_ROTATE_180, k270 = VOREL_OPTION_ROTATE_270;
    constexpr uint32_t kPacked = VOREL_OPTION_FIT_PACKED, kCover = VOREL_OPTION_FIT_COVER;
    const struct {
        Arguments options;
        int width, height;
        uint32_t bits;
        int sample = 1;
    } rows[] = {
        {{"--rotate", "90"}, 21, 37, k90},
        {{"--rotate", "180"}, 37, 21, k180},
        {{"--rotate", "270"}, 21, 37, k270},
        {{"--sample", "2"}, 18, 10, 0, 2},
        {{"--sample", "2", "--rotate", "90"}, 10, 18, k90, 2},
        {{"--size", "60x21"}, 60, 21, 0},
        {{"--size", "60x21", "--fit", "topleft"}, 60, 21, VOREL_OPTION_FIT_TOP_LEFT},
        {{"--size", "60x21", "--fit", "packed"}, 37, 21, kPacked},
        {{"--size", "60x90", "--fit", "packed", "--rotate", "270"}, 21, 37, kPacked | k270},
        {{"--size", "60x21", "--fit", "stretch"}, 60, 21, VOREL_OPTION_FIT_STRETCH},
        {{"--size", "18x10", "--fit", "cover"}, 18, 10, kCover},
        {{"--size", "30x10", "--fit", "cover", "--rotate", "90"}, 30, 10, kCover | k90},
        {{"--size", "15x10", "--rotate", "180"}, 15, 10, k180},
        {{"--size", "37x12", "--fit", "stretch"}, 37, 12, VOREL_OPTION_FIT_STRETCH},
        {{"--size", "90x80", "--fit", "stretch", "--rotate", "270"}, 90, 80, VOREL_OPTION_FIT_STRETCH | k270},
    };
    expect_ok({"decode", "color.jpg", "color.png"});
    for (const auto &row : rows) {
        SCOPED_TRACE(row.options.back() + " " + row.options[1]);
        const auto decoded = [&](const char *in, const char *out) {
            Arguments arguments = {"decode", in, out};
            arguments.insert(arguments.end(), row.options.begin(), row.options.end());
            expect_ok(arguments);
        };
        decoded("color.jpg", "out.raw");
        EXPECT_TRUE(folder.get("out.raw") ==
                    by_library(folder.path("color.jpg"), row.bits, row.width, row.height, row.sample));
        decoded("color.jpg", "out.png");
        const Pixels out = read_png(folder.path("out.png"));
        ASSERT_EQ(out.width, row.width);
        ASSERT_EQ(out.height, row.height);
        // A PNG of the same picture comes out the same, but for how samples are chosen.
        decoded("color.png", "out.png");
        const Pixels png = read_png(folder.path("out.png"));
        ASSERT_EQ(png.width, row.width);
        EXPECT_LE(largest_difference(png.rgb, out.rgb), 24);
    }
    expect_ok({"decode", "color.jpg", "out.raw", "--size", "60x21", "--fit", "packed", "--format", "nv12"});
    EXPECT_EQ(folder.get("out.raw").size(), 1195u);
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
