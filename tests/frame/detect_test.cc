// Type detection and header parsing.
#include <gtest/gtest.h>

#include "support/conformance.h"
#include "support/gif_files.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

struct Parsed {
    int32_t type;
    ImageInfo info;
    int32_t detected, session_type;
    uint32_t duration;
    uint32_t error;  // of the parse, or of the detection behind it
};

Parsed parse(Kind kind, const Bytes &bytes) {
    Input input(kind, bytes);
    Parsed out = {};
    out.error = 1;
    if (!input.session()) return out;
    out.type = VORELBRIM_Parser(input.session(), &out.info);
    out.error = gVORELBRIM_Error;
    out.detected = VORELBRIM_GetImageType(input.session());
    if (out.type) out.error = gVORELBRIM_Error;
    out.session_type = input.session()->imageType;
    out.duration = input.session()->totalDuration;
    return out;
}
Parsed parse(const Bytes &bytes) { return parse(Kind::kMemory, bytes); }

int32_t type_of(const Bytes &bytes) {
    Input input(Kind::kMemory, bytes);
    return VORELBRIM_GetImageType(input.session());
}

TEST(Signature, TypeByFirstBytes) {
    const Bytes rest(20, 0);
    const struct {
        const char *what;
        Bytes start;
        int32_t type, alone;  // with 20 zeros behind it, and as all that there is
    } cases[] = {
        {"B and anything is a bitmap", {'B', 0xFF}, 2, 2},
        {"B", {'B'}, 2, 2},
        {"GIF", text("GIF"), 4, 4},
        {"GI", text("GI"), 0, 0},
        {"GIX", text("GIX"), 0, 0},
        {"GM is a bitmap", text("GM"), 2, 2},
        {"G and another", text("GX"), 0, 0},
        {"PNG", {0x89, 'P', 'N', 'G', 13, 10, 26, 10}, 3, 3},
        {"PNG without its last byte", {0x89, 'P', 'N', 'G', 13, 10, 26}, 0, 0},
        {"PNG broken in its third byte is no bitmap", {0x89, 'P', 'M'}, 0, 0},
        {"PNG with a changed line end", {0x89, 'P', 'N', 'G', 10, 10, 26, 10}, 0, 0},
        {"0x89 M", {0x89, 'M'}, 2, 2},
        {"JPEG", {0xFF, 0xD8}, 1, 1},
        {"0xFF M is a bitmap", {0xFF, 'M'}, 2, 2},
        {"0xFF 0xD9", {0xFF, 0xD9}, 0, 0},
        {"WBMP", {0, 0}, 5, 5},
        {"0", {0}, 5, 0},
        {"WBMP with header bits", {0, 0x7F}, 5, 5},
        {"WBMP whose second byte is M", {0, 'M'}, 5, 5},
        {"0x00 with the top bit set", {0, 0x80}, 0, 0},
        {"anything and M is a bitmap", text("XM"), 2, 2},
        {"X", {'X'}, 0, 0},
        {"nothing", text("XY"), 0, 0},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(type_of(cat({c.start, rest})), c.type) << c.what;
        EXPECT_EQ(type_of(c.start), c.alone) << c.what << " alone";
        EXPECT_EQ(gVORELBRIM_Error, 0u);
    }
    TempFile empty;
    SessionGuard session(VORELBRIM_CreateDecInfo(0, empty.path(), 0, 0, 0));
    EXPECT_EQ(VORELBRIM_GetImageType(session.get()), 0);
    EXPECT_EQ(gVORELBRIM_Error, 5u) << "not one byte";
}

TEST(Parser, NullArguments) {
    ImageInfo info;
    Input input(Kind::kMemory, gif_still());
    EXPECT_EQ(VORELBRIM_Parser(nullptr, &info), 0);
    EXPECT_EQ(gVORELBRIM_Error, 1u);
    EXPECT_EQ(VORELBRIM_Parser(input.session(), nullptr), 0);
    EXPECT_EQ(gVORELBRIM_Error, 0u);
    EXPECT_EQ(VORELBRIM_JpgParser(nullptr, &info), 0);
    EXPECT_EQ(VORELBRIM_ThumbnailParser(nullptr, &info), 0);
    EXPECT_EQ(VORELBRIM_SimpleParserGIF(nullptr, &info, 0), 0);
    EXPECT_EQ(VORELBRIM_GetImageType(nullptr), 0);
    EXPECT_EQ(gVORELBRIM_Error, 1u);
}

// A JPEG's markers are walked from the same block.
TEST(Parser, AStreamWithoutRewindIsReadFromWhereItStands) {
    for (const auto &[bytes, type] : {std::pair(gif_still(), 4), {jpeg_header(33, 17), 1}}) {
        StreamSource source(bytes);
        SessionGuard session(source.open(0, 0, false));
        ImageInfo info;
        EXPECT_EQ(VORELBRIM_Parser(session.get(), &info), type);
        EXPECT_EQ(info.width, type == 1 ? 33u : 3u);
        EXPECT_EQ(info.height, type == 1 ? 17u : 2u);
    }
}

TEST(Parser, AFailedParseReportsNoSizeOfAnEarlierOne) {
    Input input(Kind::kMemory, cat({gif_screen(4, 15001), jpeg_header(20, 30)}));
    ImageInfo info;
    ASSERT_EQ(VORELBRIM_JpgParser(input.session(), &info), 1) << "the header's reader looks for its start";
    EXPECT_EQ(VORELBRIM_Parser(input.session(), &info), 0);
    EXPECT_EQ(info.width, 0u);
    EXPECT_EQ(info.height, 0u);
}

TEST(Parser, HeadersOfEveryFormat) {
    const Bytes png = png_header(300, 7 << 8, 1);
    Bytes deep = jpeg_header(33, 17, 0xC2);
    deep[6] = 12;  // bits
    const struct {
        const char *what;
        Bytes bytes;
        int32_t type, session_type;
        uint32_t width, height, error = 0, progressive = 0;
        size_t lines = 0;
    } cases[] = {
        {"JPEG of 15000 squared", jpeg_header(15000, 15000), 1, 1, 15000, 15000},
        {"a column more does not pass", jpeg_header(15001, 15000), 0, 1, 15001, 15000},
        {"progressive JPEG", jpeg_header(20, 30, 0xC2), 1, 1, 20, 30, 0, 1},
        {"of another precision, which only the decode refuses", deep, 1, 1, 33, 17, 0, 1},
        {"JPEG without a column", jpeg_header(0, 30), 0, 0, 0, 0, 5},
        {"PNG of 65536 squared, 0 in 32 bits", png_header(65536, 65536, 0), 0, 3, 65536, 65536},
        {"PNG of 2^31 x 2", png_header(0x80000000u, 2, 0), 0, 3, 0x80000000u, 2},
        {"PNG without a row", png_header(5, 0, 0), 0, 3, 5, 0},
        {"interlaced PNG", png, 3, 3, 300, 7 << 8, 0, 1},
        {"PNG without the last byte of its height, which counts as 0", head(png, 23), 3, 3, 300, 7 << 8},
        {"PNG of a byte less", head(png, 22), 0, 0, 0, 0, 5},
        {"bitmap of the most negative height", bmp_header(40, 2, 0x80000000u), 0, 2, 2, 0x80000000u},
        {"bitmap with a core header", bmp_header(12, 300, 400), 2, 2, 300, 400},
        {"bitmap of 40 bytes", bmp_header(40, 300, 400), 2, 2, 300, 400},
        {"top-down", bmp_header(40, 300, static_cast<uint32_t>(-400)), 2, 2, 300, 400},
        {"bitmap of 124 bytes", bmp_header(124, 300, 400), 2, 2, 300, 400},
        {"13 bytes are unknown", bmp_header(13, 300, 400), 0, 0, 0, 0, 0, 0, 1},
        {"39 bytes are unknown", bmp_header(39, 300, 400), 0, 0, 0, 0, 0, 0, 1},
        {"only the low byte counts", bmp_header(0x100 + 40, 300, 400), 2, 2, 300, 400},
        {"bitmap cut in its header", head(bmp_header(40, 3, 3), 25), 0, 0, 0, 0, 5},
        {"WBMP of 5000 squared", wbmp(5000, 5000, {}), 5, 5, 5000, 5000},
        {"a column more is no WBMP", wbmp(5001, 4, {}), 0, 0, 0, 0},
        {"a row more is no WBMP", wbmp(4, 5001, {}), 0, 0, 0, 0},
        {"WBMP of side 0", wbmp(0, 9, {}), 0, 5, 0, 9},
        {"nine zero groups each", cat({{0, 0}, wbmp_integer(9, 9), wbmp_integer(3, 9), {1, 1, 1}}), 5, 5, 9, 3},
        {"width of 17 bytes, height of one", cat({{0, 0}, wbmp_integer(9, 17), wbmp_integer(3)}), 5, 5, 9, 3},
        {"width of 17 bytes, height of two", cat({{0, 0}, wbmp_integer(9, 17), wbmp_integer(3, 2)}), 0, 0, 0, 0},
        {"width of 18 bytes leaves none", cat({{0, 0}, wbmp_integer(9, 18), wbmp_integer(3)}), 0, 0, 0, 0},
        {"width without an end", cat({{0, 0}, Bytes(30, 0x81)}), 0, 0, 0, 0},
        {"width cut off", {0, 0, 0x81, 0x81}, 0, 0, 0, 0, 5},
        {"height missing", {0, 0, 0x81, 0x01}, 0, 0, 0, 0, 5},
        {"three bytes", {0, 0, 1}, 0, 0, 0, 0},
        {"a value that wraps 32 bits", cat({{0, 0, 0x90, 0x80, 0x80, 0x80, 0x08}, {1}}), 0, 0, 0, 0},
    };
    LogCapture log;
    for (const auto &c : cases) {
        const Parsed parsed = parse(c.bytes);
        EXPECT_EQ(parsed.type, c.type) << c.what;
        EXPECT_EQ(parsed.session_type, c.session_type) << c.what;
        EXPECT_EQ(parsed.info.width, c.width) << c.what;
        EXPECT_EQ(parsed.info.height, c.height) << c.what;
        EXPECT_EQ(parsed.error, c.error) << c.what;
        EXPECT_EQ(parsed.info.progressive, c.progressive) << c.what;
        if (c.type) EXPECT_EQ(parsed.info.fileSize, c.bytes.size()) << c.what;
        if (c.type) EXPECT_EQ(parsed.info.frameCount, 1u) << c.what;
        const std::vector<LogLine> lines = log.take();
        ASSERT_EQ(lines.size(), c.lines) << c.what;
        if (c.lines) EXPECT_EQ(lines[0].text.rfind("[BRIM_Parse:", 0), 0u) << lines[0].text;
    }
}

TEST(ParserJpeg, EntriesForJpegAlone) {
    Input input(Kind::kMemory, jpeg_header(20, 30, 0xC2));
    ImageInfo info;
    EXPECT_EQ(VORELBRIM_JpgParser(input.session(), &info), 1);
    EXPECT_EQ(info.width, 20u);
    EXPECT_EQ(input.session()->imageHeight, 30u);
    EXPECT_EQ(input.session()->jpegProgressive, 1u);
    EXPECT_EQ(input.session()->imageType, 1);
    EXPECT_EQ(VORELBRIM_ThumbnailParser(input.session(), &info), 1);
    EXPECT_EQ(info.width, 0u) << "thumbnails are not looked for";
    int32_t offset = 7, length = 7;
    EXPECT_EQ(VORELBRIM_GetJpegOffset(input.session(), &offset, &length), 0);
    EXPECT_TRUE(offset == 0 && length == 0);
    EXPECT_EQ(gVORELBRIM_Error, 0u);
    Input gif(Kind::kMemory, gif_still());
    EXPECT_EQ(VORELBRIM_JpgParser(gif.session(), &info), 0);
    EXPECT_EQ(gVORELBRIM_Error, 5u);
}

TEST(ParserBmp, TheOffsetParserTakesOtherHeaders) {
    LogCapture log;
    for (const auto &[header, type] : {std::pair{12u, 2}, {13u, 2}, {40u, 2}, {64u, 2}, {65u, 0}, {124u, 0}}) {
        Input input(Kind::kMemory, bmp_header(header, 3, 4));
        IoInfo *io = input.session()->ioInfo;
        StreamBuffer stream = {io, 0, io->size, 0, 0, BRIMJ_AllocateStreamBuffer(io)};
        ImageInfo info = {};
        EXPECT_EQ(BRIM_ParseJPEGOffset(input.session(), &stream, &info), type) << header;
    }
    EXPECT_EQ(log.take().size(), 2u);
}

TEST(ParserGif, BlocksCountAndCut) {
    const Bytes two = cat({gif_screen(4, 4), gif_image(), gif_image()});
    const Bytes screen = gif_screen(4, 4);
    const struct {
        const char *what;
        Bytes bytes;
        int32_t type;
        uint32_t frames;
    } cases[] = {
        {"one image", cat({screen, gif_image(), {0x3B}}), 4, 1},
        {"two images", cat({two, {0x3B}}), 6, 2},
        {"what stands behind the trailer does not count", cat({screen, gif_image(), {0x3B}, gif_image()}), 4, 1},
        {"no trailer", two, 6, 2},
        {"cut inside the second descriptor", head(two, two.size() - 10), 6, 2},
        {"cut inside the second image's data", head(two, two.size() - 2), 6, 2},
        {"junk between blocks", cat({screen, {1, 2, 3}, gif_image(), {9, 9}, gif_image(), {7, 0x3B}}), 6, 2},
        {"no image", cat({screen, {0x3B}}), 0, 0},
        {"local and global tables", cat({gif_screen(4, 4, 7), gif_image(7), gif_image(0), {0x3B}}), 6, 2},
        {"global table cut off", head(gif_screen(4, 4, 7), 100), 0, 0},
        {"unknown extension: only the label goes", cat({screen, {0x21, 0x55, 0x2C}, Bytes(8, 0), {0, 0, 0}, {0x3B}}), 4,
         1},
        {"control of another size is junk", cat({screen, {0x21, 0xF9, 5, 0, 0, 0, 0, 0, 0}, gif_image(), {0x3B}}), 4,
         1},
        {"control cut off", cat({screen, gif_image(), {0x21, 0xF9, 4, 0, 1}}), 0, 1},
        {"comment cut off at its end", cat({screen, gif_image(), {0x21, 0xFE, 1, 'x'}}), 4, 1},
        {"comment cut off within a sub-block", cat({screen, gif_image(), {0x21, 0xFE, 9, 'x'}}), 0, 1},
        {"extension mark at the very end", cat({screen, gif_image(), {0x21}}), 4, 1},
        {"width 0", cat({gif_screen(0, 4), gif_image(), {0x3B}}), 0, 0},
        {"sides of 15000", cat({gif_screen(15000, 15000), gif_image(), {0x3B}}), 4, 1},
        {"height of 15001", cat({gif_screen(4, 15001), gif_image(), {0x3B}}), 0, 0},
        {"12 bytes", head(screen, 12), 0, 0},
    };
    for (const auto &c : cases) {
        for (const Kind kind : kAllKinds) {
            const Parsed parsed = parse(kind, c.bytes);
            EXPECT_EQ(parsed.type, c.type) << c.what << ", kind " << static_cast<int>(kind);
            EXPECT_EQ(parsed.info.frameCount, c.frames) << c.what;
        }
    }
}

TEST(ParserGif, DataBeyondABlockIsSkipped) {
    const Bytes data = gif_sub_blocks(Bytes(300 * 255, 0x3B));
    const Bytes bytes = cat({gif_screen(4, 4), gif_image(-1, data), gif_image(), {0x3B}});
    for (const Kind kind : kAllKinds) EXPECT_EQ(parse(kind, bytes).type, 6);
}

TEST(ParserGif, DurationsAddUp) {
    EXPECT_EQ(parse(gif_animation()).duration, 120u);
    Input input(Kind::kMemory, gif_animation());
    ImageInfo info;
    EXPECT_EQ(VORELBRIM_SimpleParserGIF(input.session(), &info, 60), 6);
    EXPECT_EQ(input.session()->totalDuration, 60u + 70u) << "each delay is at least the minimum";
    Input other(Kind::kMemory, cat({{'?', '?', '?'}, tail(gif_still(), gif_still().size() - 3)}));
    EXPECT_EQ(VORELBRIM_SimpleParserGIF(other.session(), &info, 0), 4) << "the signature is not looked at";
    EXPECT_EQ(info.frameCount, 1u);
}

// A stream handed in without a size is at its end anywhere but at byte 0.
TEST(ParserGif, AFileOfUnknownSizeNeedsItsTrailer) {
    for (const auto &[bytes, type] : {std::pair(gif_still(), 4), {cat({gif_screen(4, 4), gif_image()}), 0}}) {
        const TempFile file(bytes);
        FILE *stdio = std::fopen(file.path(), "rb");
        SessionGuard session(VORELBRIM_CreateDecInfo(2, stdio, 0, 0, 0));
        ImageInfo info;
        EXPECT_EQ(VORELBRIM_Parser(session.get(), &info), type);
        std::fclose(stdio);
    }
}

// Cut, changed, from any kind of source, without memory.
TEST(Conformance, Parsing) {
    const auto decode = [](Kind kind, const Bytes &bytes) -> Seen {
        const Parsed parsed = parse(kind, bytes);
        const auto *first = reinterpret_cast<const uint8_t *>(&parsed);
        return {parsed.detected ? parsed.type : 0, Bytes(first, first + sizeof parsed), parsed.error};
    };
    for (const Sample &sample : all_samples()) {
        EXPECT_EQ(decode(Kind::kMemory, sample.bytes).result, sample.type) << sample.name;
        expect_conforms(
            {.name = sample.name, .file = sample.bytes, .decode = decode, .memory = 64 << 10, .decodes = 50});
    }
}

}  // namespace
}  // namespace vorel::test
