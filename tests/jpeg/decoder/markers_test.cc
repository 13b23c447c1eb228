// Headers: what they are taken for, what is repaired in them, what is refused.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>

#include "core/core.h"
#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/surgery.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

Bytes segment(uint8_t code, const Bytes &data) {
    return cat({{0xFF, code}, big_16(static_cast<uint32_t>(2 + data.size())), data});
}

Bytes gray_picture() { return turbo_picture({.colour = Colour::kGray, .h = 1, .v = 1}); }

Bytes colour_picture(int sampling = 1) { return turbo_picture({.h = sampling, .v = sampling}); }

Decoded decoded(const Bytes &jpeg) { return decode(jpeg, {.format = COLOR_RGBA8888, .width = 64, .height = 48}); }
int32_t result_of(const Bytes &jpeg) { return decoded(jpeg).result; }

TEST(JpegHeader, HarmlessOdditiesChangeNothing) {
    const Bytes jpeg = colour_picture();
    const Bytes expected = decode(jpeg, {}).pixels;
    const size_t sof = find_marker(jpeg, 0xC0), sos = find_marker(jpeg, 0xDA), dqt = find_marker(jpeg, 0xDB);
    Bytes wide_table = {0xFF, 0xDB, 0, 131, 0x10};
    for (int i = 0; i < 64; ++i) {
        wide_table.push_back(0);
        wide_table.push_back(jpeg[dqt + 5 + static_cast<size_t>(i)]);
    }
    const struct {
        const char *what;
        Bytes jpeg;
    } kRows[] = {
        {"fill bytes before a marker", with_inserted(jpeg, sof, {0xFF, 0xFF})},
        {"junk before SOI", with_inserted(jpeg, 0, {1, 2, 0xFF, 3})},
        {"junk between segments", with_inserted(jpeg, sos, {7, 7, 7})},
        {"an ignored marker", with_inserted(jpeg, sos, {0xFF, 0xD3})},
        {"EOI before the frame", with_inserted(jpeg, sof, {0xFF, 0xD9})},
        {"Ss and Se of no baseline scan", changed(jpeg, scan_data(jpeg) - 3, {1, 0})},
        {"a table of 16-bit entries", with_inserted(jpeg, sof, wide_table)},
        {"DHT with leftover bytes", with_inserted(jpeg, sos, {0xFF, 0xC4, 0, 10, 1, 2, 3, 4, 5, 6, 7, 8})},
        {"a comment longer than a block", with_inserted(jpeg, sof, segment(0xFE, Bytes(40000, 0xFF)))},
    };
    for (const auto &row : kRows) {
        for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream}) {
            const Decoded ours = decode(row.jpeg, {.width = 64, .height = 48, .kind = kind});
            EXPECT_EQ(ours.result, 1) << row.what;
            EXPECT_TRUE(ours.pixels == expected) << row.what;
        }
    }
}

TEST(JpegHeader, RefusalsLeaveTheirTrace) {
    const Bytes jpeg = colour_picture();
    const size_t sof = find_marker(jpeg, 0xC0), sos = find_marker(jpeg, 0xDA);
    const auto with = [&jpeg](size_t at, uint8_t value) { return changed(jpeg, at, {value}); };
    const auto without_all = [&jpeg](int code) {
        Bytes out = jpeg;
        for (size_t at = find_marker(out, code); at < out.size(); at = find_marker(out, code))
            out = without_segment(out, at);
        return out;
    };
    const Bytes frame(jpeg.begin() + static_cast<ptrdiff_t>(sof), jpeg.begin() + static_cast<ptrdiff_t>(sof) + 19);
    const struct {
        const char *what;
        Bytes jpeg;
    } kRows[] = {
        {"no SOI", without(jpeg, 0, 2)},
        {"a second frame", with_inserted(jpeg, sos, frame)},
        {"an arithmetic frame", with(sof + 1, 0xC9)},
        {"a lossless frame", with(sof + 1, 0xC3)},
        {"12 bits", with(sof + 4, 12)},
        {"a frame length of another component count", with(sof + 3, 20)},
        {"a factor of 5", with(sof + 11, 0x51)},
        {"a factor of 0", with(sof + 11, 0x01)},
        {"a side of 50001", changed(jpeg, sof + 7, big_16(50001))},
        {"no height", with(sof + 6, 0)},
        {"no Huffman tables", without_all(0xC4)},
        {"no quantisation tables", without_all(0xDB)},
        {"no scan", without(jpeg, sos, jpeg.size())},
        {"a table missing while slot 0 has one", with(sof + 12, 3)},
        {"quantisation table 4", with(sof + 12, 4)},
        {"Huffman table index 4", with_inserted(jpeg, sos, segment(0xC4, cat({{4}, Bytes(16)})))},
        {"Huffman AC table index 20", with_inserted(jpeg, sos, segment(0xC4, cat({{0x14}, Bytes(16)})))},
        {"quantisation table index 4", with_inserted(jpeg, sos, segment(0xDB, cat({{4}, Bytes(64, 1)})))},
        {"DRI of another length", with_inserted(jpeg, sos, {0xFF, 0xDD, 0, 5, 0, 1, 2})},
        {"DHT of length 1", with_inserted(jpeg, sof, {0xFF, 0xC4, 0, 1})},
        {"DQT that does not come out even", with_inserted(jpeg, sof, {0xFF, 0xDB, 0, 4, 0, 1})},
        {"a component twice in the scan", with(sos + 7, jpeg[sos + 5])},
        {"a component that the frame has not", with(sos + 5, 99)},
        {"a scan of 5 components", with(sos + 4, 5)},
        {"a Huffman table that no segment defined", with(sos + 6, 0x22)},
        {"a frame of two components", without(changed(with(sof + 9, 2), sof + 3, {14}), sof + 16, sof + 19)},
    };
    std::set<std::string> header_lines;
    for (const auto &row : kRows) {
        LogCapture log;
        const Decoded ours = decoded(row.jpeg);
        EXPECT_EQ(ours.result, 0) << row.what;
        EXPECT_EQ(ours.error, 2u) << row.what;
        const auto lines = log.take();
        EXPECT_FALSE(lines.empty()) << row.what;
        for (const LogLine &line : lines)
            if (line.text.rfind("[BRIMJ_ParseHeader:", 0) == 0) header_lines.insert(line.text);
    }
    EXPECT_EQ(header_lines.size(), 6u) << "each reason has a line of its own";
}

TEST(JpegHeader, FailureLinesNameTheFunctionAndTheValues) {
    const Bytes jpeg = colour_picture();
    LogCapture log;
    EXPECT_EQ(result_of(changed(jpeg, find_marker(jpeg, 0xC0) + 11, {0x52})), 0);
    const auto lines = log.take();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0].tag, "VJPEG");
    EXPECT_EQ(lines[0].priority, 4);
    EXPECT_EQ(lines[0].text.find("[BRIMJ_ParseNextMarker:"), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find(", h : 5, v : 2]"), std::string::npos) << lines[0].text;
    EXPECT_EQ(lines[1].tag, "VJPEG_STAT");
    EXPECT_EQ(lines[1].text.find("[BRIMJ_ParseHeader:"), 0u);
    EXPECT_EQ(lines.back().text.find("[BRIMJ_DecodeFrame:"), 0u);
}

// A component names an empty slot and slot 0 is empty too: the first table there is serves it.
TEST(JpegHeader, TheFirstQuantisationTableServesForMissingOnes) {
    const Bytes jpeg = gray_picture();
    const Bytes expected = decode(jpeg, {.format = COLOR_GRAY}).pixels;
    for (const uint8_t slot : {1, 2, 3}) {
        const Decoded ours = decode(changed(jpeg, find_marker(jpeg, 0xDB) + 4, {slot}), {.format = COLOR_GRAY});
        EXPECT_EQ(ours.result, 1) << int{slot};
        EXPECT_TRUE(ours.pixels == expected) << int{slot};
    }
}

TEST(JpegHeader, ColoursAreGuessedFromMarkersAndIds) {
    PictureSpec spec{.colour = Colour::kRgb, .h = 1, .v = 1};
    const Bytes rgb = turbo_picture(spec);  // ids "RGB", Adobe transform 0
    const size_t adobe = find_marker(rgb, 0xEE);
    ASSERT_LT(adobe, rgb.size());
    const auto as = [&](Colour colour, const Bytes &jpeg) {
        Samples picture = upsampled(*turbo_planes(rgb), colour);
        return decode(jpeg, {.format = COLOR_RGBA8888}).pixels == stored(picture, COLOR_RGBA8888, 0);
    };
    Bytes renamed = without_segment(rgb, adobe);
    const size_t sof = find_marker(renamed, 0xC0), sos = find_marker(renamed, 0xDA);
    for (uint8_t c = 0; c < 3; ++c) {
        renamed[sof + 10 + 3 * size_t{c}] = static_cast<uint8_t>(c + 1);
        renamed[sos + 5 + 2 * size_t{c}] = static_cast<uint8_t>(c + 1);
    }
    const Bytes jfif = {0xFF, 0xE0, 0, 2};
    EXPECT_TRUE(as(Colour::kRgb, rgb)) << "Adobe says so";
    EXPECT_TRUE(as(Colour::kRgb, without_segment(rgb, adobe))) << "the ids say so";
    EXPECT_TRUE(as(Colour::kYcc, renamed)) << "ids 1, 2, 3";
    EXPECT_TRUE(as(Colour::kYcc, changed(rgb, adobe + 15, {1}))) << "Adobe transform 1";
    EXPECT_TRUE(as(Colour::kYcc, with_inserted(rgb, 2, jfif))) << "any APP0 wins";

    spec.colour = Colour::kCmyk;
    const Bytes cmyk = turbo_picture(spec);
    EXPECT_EQ(result_of(cmyk), 1);
    EXPECT_EQ(result_of(without_segment(cmyk, find_marker(cmyk, 0xEE))), 0) << "four components without Adobe";
}

TEST(JpegArguments, NullsAndSizesThatAreNone) {
    const Bytes jpeg = colour_picture();
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    Bytes out(64 * 48 * 4, 7);
    for (const auto decode_by :
         {+[](DecInfo *s, void *o, int32_t w, int32_t h) { return VORELBRIM_DecodeJPEG(s, o, w, h); },
          +[](DecInfo *s, void *o, int32_t w, int32_t h) { return VORELBRIM_PDecodeJPEG(s, o, w, h, 1); }}) {
        EXPECT_EQ(decode_by(nullptr, out.data(), 64, 48), 0);
        EXPECT_EQ(decode_by(input.session(), nullptr, 64, 48), 0);
        for (const int32_t side : {0, -1, INT32_MIN}) {
            EXPECT_EQ(decode_by(input.session(), out.data(), side, 48), 0);
            EXPECT_EQ(decode_by(input.session(), out.data(), 64, side), 0);
        }
    }
    EXPECT_EQ(decode(jpeg, {.format = COLOR_RGBA8888, .width = 64, .height = 48, .mode = 0}).result, 1);
    EXPECT_TRUE(out == Bytes(out.size(), 7));
}

// A stream becomes memory of the session when the frame is met.
TEST(JpegHeader, AProgressiveStreamIsReadWhole) {
    const Bytes jpeg = turbo_picture({.progressive = true});
    StreamSource source(jpeg);
    const SessionGuard session(source.open());
    Bytes out(64 * 48 * 4);
    EXPECT_EQ(VORELBRIM_DecodeJPEG(session.get(), out.data(), 64, 48), 1);
    EXPECT_EQ(session->ioInfo->kind, 5u);
    ASSERT_EQ(session->ioInfo->size, source.size());
    EXPECT_EQ(std::memcmp(session->ioInfo->source, jpeg.data(), jpeg.size()), 0);
}

TEST(JpegQuickParse, SizesLayoutAndItsOwnTolerance) {
    PictureSpec spec{.width = 300, .height = 200, .h = 2, .v = 1, .restart_interval = 6};
    const Bytes jpeg = turbo_picture(spec);
    const size_t sof = find_marker(jpeg, 0xC0);
    spec.progressive = true;
    const struct {
        const char *what;
        Bytes jpeg;
        int32_t result;
        uint32_t width, height, max_h, max_v, restart, components, progressive;
    } kRows[] = {
        {"whole", jpeg, 1, 300, 200, 2, 1, 6, 3, 0},
        {"progressive", turbo_picture(spec), 1, 300, 200, 2, 1, 6, 3, 1},
        {"a frame it does not know stops it, with what it has", changed(jpeg, sof + 4, {12}), 1, 0, 0, 0, 0, 6, 0, 0},
        {"50001 pixels", changed(jpeg, sof + 7, big_16(50001)), 0, 0, 0, 0, 0, 6, 0, 0},
        {"the end before a scan", head(jpeg, sof), 0, 0, 0, 0, 0, 0, 0, 0},
    };
    for (const auto &row : kRows) {
        Input input(Kind::kMemory, row.jpeg);
        ImageInfo info = {};
        EXPECT_EQ(BRIMJ_GetHInfo(input.session()->ioInfo, &info), row.result) << row.what;
        EXPECT_EQ((std::array{info.width, info.height, info.maxHSampling, info.maxVSampling, info.numComponents,
                              info.progressive}),
                  (std::array{row.width, row.height, row.max_h, row.max_v, row.components, row.progressive}))
            << row.what;
        if (row.result && row.width) EXPECT_EQ(info.restartInterval, row.restart) << row.what;
    }
}

// IFD0 without entries, IFD1 with a JPEG thumbnail of 5 bytes at this offset.
Bytes exif_thumbnail(bool little, uint32_t offset) {
    const auto w = [little](uint32_t v) { return little ? little_16(v) : big_16(v); };
    const auto l = [little](uint32_t v) { return little ? little_32(v) : big_32(v); };
    return segment(0xE1, cat({text("Exif"),
                              {0, 0},
                              text(little ? "II" : "MM"),
                              w(42),
                              l(8),
                              w(0),
                              l(14),
                              w(2),
                              w(513),
                              w(4),
                              l(1),
                              l(offset),
                              w(514),
                              w(4),
                              l(1),
                              l(5),
                              l(0),
                              Bytes(5, 0xEE)}));
}

TEST(JpegQuickParse, EndOfImageAndThumbnails) {
    const Bytes jpeg = colour_picture();
    Input whole(Kind::kMemory, jpeg);
    ImageInfo none = {};
    EXPECT_EQ(BRIMJ_GetEOIOffset(whole.session()->ioInfo, &none), static_cast<int32_t>(jpeg.size()) - 2);

    const auto jfif = [](uint8_t width, uint8_t height) {
        const size_t bytes = size_t{width} * height * 3;
        return segment(0xE0, cat({text("JFIF"), {0, 1, 1, 0, 0, 1, 0, 1, width, height}, Bytes(bytes, 9)}));
    };
    const struct {
        const char *what;
        Bytes segments;  // behind SOI
        uint32_t found, format, second, width, offset, length;
    } kRows[] = {
        {"the picture's own width where there is none", {}, 0, 0, 0, 64, 0, 0},
        {"JFIF, raw", jfif(2, 1), 1, 1, 2, 2, 2 + 4 + 14, 6},
        {"longer than a block, behind a comment that ends inside one",
         cat({segment(0xFE, Bytes(7000, 0x20)), jfif(100, 100)}), 1, 1, 2, 100, 2 + 7004 + 4 + 14, 30000},
        {"Exif, little endian", exif_thumbnail(true, 44), 1, 6, 0, 0, 2 + 10 + 44, 5},
        {"Exif, big endian", exif_thumbnail(false, 44), 1, 6, 0, 0, 2 + 10 + 44, 5},
        {"an offset beyond the segment", exif_thumbnail(true, 0x7F2C), 0, 0, 0, 64, 0, 0},
    };
    for (const auto &row : kRows) {
        Input input(Kind::kMemory, with_inserted(jpeg, 2, row.segments));
        StreamCursor cursor(input.session()->ioInfo);
        ThumbnailRecord record = {};
        EXPECT_EQ(BRIMJ_ParseFileHeader(cursor.stream(), 8, &record), 200) << row.what;
        EXPECT_EQ((std::array{record.found, record.width}), (std::array{row.found, row.width})) << row.what;
        if (!row.found) continue;
        EXPECT_EQ((std::array{record.format, record.secondCode, record.offset, record.length}),
                  (std::array{row.format, row.second, row.offset, row.length}))
            << row.what;
    }
}

}  // namespace
}  // namespace vorel::test
