// What holds for the decoders of all three formats alike.
#include <gtest/gtest.h>

#include <climits>

#include "raster/bmp_model.h"
#include "raster/gif_model.h"

namespace vorel::test {
namespace {

struct Format {
    std::string name;
    Bytes file;  // 30 x 20 pixels
    RasterDecoder decode;
    std::vector<int32_t> stored;  // the layouts that something is stored in
    int32_t other;                // the result in other ones
    int32_t done = 1;
    std::vector<Kind> kinds = {std::begin(kAllKinds), std::end(kAllKinds)};
};

// The first picture of an animation; its state goes.
int32_t first_of_animation(DecInfo *session, void *output, int32_t width, int32_t height) {
    const int32_t result = VORELBRIMI_DecodeAGIF(session, output, width, height);
    VORELBRIMI_DeleteGIFInfo(session);
    return result;
}

std::vector<Format> formats() {
    std::vector<Format> out;
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        const Bytes file = bmp_file(random_bmp(7, bits, 30, 20));
        out.push_back({"BMP of " + std::to_string(bits), file, VORELBRIMI_DecodeBMP, {0, 1, 5, 6, 7, 8}, 1});
    }
    // Compressed, and with bytes between header and pixels, which a stream has to get behind.
    const BmpPicture runs = random_bmp(7, 8, 30, 20), words = random_bmp(7, 16, 30, 20);
    out.push_back({"BMP in RLE8", rle8_file(runs), VORELBRIMI_DecodeBMP, {0, 1, 5, 7, 8}, 1});
    Bytes far = changed(bmp_file(words), 10, little_32(54 + 40000));
    far.insert(far.begin() + 54, 40000, 0xEE);
    out.push_back({"BMP with a gap", far, VORELBRIMI_DecodeBMP, {0, 1, 5, 6, 7, 8}, 1});
    out.push_back({"WBMP", wbmp(30, 20, Bytes(80, 0xA5)), VORELBRIMI_DecodeWBMP, {0, 1, 7, 8}, 0});
    out.back().kinds = {Kind::kMemory, Kind::kPath};
    std::mt19937 random(7);
    GifFile gif = {30, 20, 0, gif_palette(random, 16), {}};
    const GifFrame frame = {.width = 30, .height = 20, .indices = gif_picture(random, 30, 20, 16)};
    gif.frames = {frame};
    out.push_back({"GIF", gif_file(gif), VORELBRIMI_DecodeGIF, {1, 7, 8, 13}, 1});
    out.push_back({"animated GIF of one picture", gif_file(gif), first_of_animation, {7, 8}, 3, 3});
    gif.frames = {frame, frame};
    out.push_back({"animated GIF", gif_file(gif), VORELBRIMI_DecodeGIF, {1, 7, 8, 13}, 1});
    return out;
}

template <typename Value>
bool holds(const std::vector<Value> &list, Value value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

TEST(RasterLayouts, OthersAreLeftAlone) {
    for (const Format &format : formats()) {
        SCOPED_TRACE(format.name);
        for (const int32_t layout : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 14, 15, 17, 18, 19, 100}) {
            for (const int32_t side : {30, 5}) {
                GuardBuffer out(size_t{30} * 30 * 4, kUntouched);
                Input input(Kind::kMemory, format.file, layout);
                const bool stored = holds(format.stored, layout);
                EXPECT_EQ(format.decode(input.session(), out.data(), side, side), stored ? format.done : format.other);
                EXPECT_EQ(out.bytes() != Bytes(out.size(), kUntouched), stored) << layout;
            }
        }
    }
}

TEST(RasterTargets, WithoutAreaNothingIsStored) {
    for (const Format &format : formats()) {
        for (const uint32_t option : {0x000u, 0x100u, 0x700u, 0x704u}) {
            for (const auto &[width, height] : {std::pair(0, 5), {9, 0}, {-3, 5}, {INT_MIN, INT_MIN}, {0, INT_MIN}}) {
                const RasterTarget target = {width, height, COLOR_BGRA8888, option};
                const RasterPicture got = decode_raster(format.decode, Kind::kMemory, format.file, target);
                EXPECT_EQ(got.result, format.done) << format.name << text_of(target);
                EXPECT_EQ(got.width * got.height, 0u) << format.name << text_of(target);
            }
        }
    }
}

TEST(RasterInputs, KindsThatAreNotServedAreRefused) {
    const RasterTarget target = {13, 12, COLOR_RGBA8888};
    for (const Format &format : formats()) {
        SCOPED_TRACE(format.name);
        const RasterPicture first = decode_raster(format.decode, Kind::kMemory, format.file, target);
        EXPECT_EQ(first.result, format.done);
        for (const Kind kind : kAllKinds) {
            const bool served = holds(format.kinds, kind);
            if (!served) expect_untouched(format.decode, {kind}, format.file, target, 0);
            if (served) EXPECT_TRUE(decode_raster(format.decode, kind, format.file, target) == first);
        }
        Input input(Kind::kMemory, format.file, COLOR_RGBA8888);
        uint8_t pixel[4];
        EXPECT_EQ(format.decode(nullptr, pixel, 1, 1), 0);
        EXPECT_EQ(format.decode(input.session(), nullptr, 1, 1), 0);
        EXPECT_EQ(VORELBRIMI_AbortBMPIter(input.session()), 0);
    }
}

// That deliver a few bytes at a time, or can neither go back nor skip.
TEST(RasterInputs, StreamsOfAllManners) {
    const RasterTarget target = {30, 20, COLOR_RGBA8888};
    for (const Format &format : formats()) {
        if (!holds(format.kinds, Kind::kStream)) continue;
        const Bytes expected = decode_raster(format.decode, Kind::kMemory, format.file, target).pixels;
        for (const int32_t chunk : {1, 7, 255, 100000}) {
            for (const bool moves : {false, true}) {
                StreamSource source(format.file, chunk);
                SessionGuard session(VORELBRIM_CreateDecInfoWithStream(
                    &source, source.size(), StreamSource::read, moves ? StreamSource::skip : nullptr,
                    moves ? StreamSource::rewind : nullptr, target.format, 0));
                Bytes out = target_bytes(target);
                EXPECT_EQ(format.decode(session.get(), out.data(), 30, 20), format.done);
                EXPECT_EQ(out, expected) << format.name << ", " << chunk << ", " << moves;
            }
        }
    }
}

// The first picture of an animation, too.
TEST(RasterEntries, TheEntriesForAnyFormatGiveWhatTheDecoderGives) {
    for (const Format &format : formats()) {
        if (format.done != 1) continue;
        SCOPED_TRACE(format.name);
        for (const int32_t sample : {1, 2, 7, 21}) {
            const RasterTarget target = {30 / sample, 20 / sample, COLOR_BGRA8888};
            const Bytes expected = decode_raster(format.decode, Kind::kMemory, format.file, target).pixels;
            expect_entries_give(expected, format.file, target.format, sample, kUntouched);
        }
    }
}

}  // namespace
}  // namespace vorel::test
