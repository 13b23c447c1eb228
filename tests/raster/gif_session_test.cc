// GIF sessions: single values that are easily got wrong, the order of calls, odd blocks, driven states.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <tuple>

#include "raster/gif_model.h"

namespace vorel::test {
namespace {

const Bytes kRamp = {10, 20, 30, 255, 255, 1, 255, 255, 255, 0, 0, 0};  // four colours

// A picture of 4 x 1 with the colours of kRamp.
GifFile ramp_file() { return {4, 1, 0, kRamp, {{.width = 4, .height = 1, .indices = {0, 1, 2, 3}}}}; }

TEST(GifPixels, ATransparentIndexJustBehindThePaletteStays) {
    for (const int index : {3, 4, 5}) {
        GifFile file = ramp_file();
        file.frames[0].transparent = index;
        file.frames[0].delay = 7;
        Input input(Kind::kMemory, gif_file(file), 7);
        DecInfo *session = input.session();
        uint32_t out[4], colours, delay;
        int32_t transparent;
        EXPECT_EQ(VORELBRIMI_DecodeGIF(session, out, 4, 1), 1);
        EXPECT_EQ(session->gifFlag, index == 5 ? 0u : 1u);
        EXPECT_EQ(out[3], index == 3 ? 0u : 0xFF000000u);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(session, &colours, &transparent, &delay), 0) << "the state is gone";
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, out, 4, 1), 3);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(session, &colours, &transparent, &delay), 1);
        EXPECT_EQ(std::tuple(colours, transparent, delay), std::tuple(4u, index == 5 ? -1 : index, 70u));
        EXPECT_EQ(VORELBRIMI_GetColorInfo(session, nullptr, &transparent, nullptr), 1);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(session, &colours, nullptr, &delay), 0);
        VORELBRIMI_DeleteGIFInfo(session);
    }
}

// Three frames of 2 x 1: the first leaves background behind, the others cover one pixel.
GifFile three_frames() {
    return {2,
            1,
            0,
            kRamp,
            {{.width = 2, .height = 1, .indices = {0, 0}, .disposal = 2, .delay = 10},
             {.left = 1, .width = 1, .height = 1, .indices = {1}, .disposal = 1, .delay = 20},
             {.left = 1, .width = 1, .height = 1, .indices = {2}, .disposal = 1, .delay = 30}}};
}

TEST(GifAnimation, CallsBehindTheEndAndOfOtherSizesGiveNothing) {
    Input input(Kind::kMemory, gif_file(three_frames()), 7);
    DecInfo *session = input.session();
    GuardBuffer out(8), other(8, kUntouched);
    EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, nullptr, 2, 1), 0);
    EXPECT_EQ(VORELBRIMI_DecodeAGIF(nullptr, out.data(), 2, 1), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, out.data(), 2, 1), 1);
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, other.data(), 1, 1), 0) << "another size";
        EXPECT_EQ(other.bytes(), Bytes(8, kUntouched));
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, out.data(), 2, 1), 1) << "the animation goes on";
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, out.data(), 2, 1), 3);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(VORELBRIMI_DecodeAGIF(session, other.data(), 2, 1), 0);
        EXPECT_EQ(other.bytes(), Bytes(8, kUntouched));
        EXPECT_EQ(VORELBRIMI_DeleteGIFInfo(session), 1);
        EXPECT_EQ(VORELBRIMI_DeleteGIFInfo(session), 1);
    }
    EXPECT_EQ(VORELBRIMI_DeleteGIFInfo(nullptr), 0);
    EXPECT_EQ(VORELBRIMI_DecodeAGIFIter(session) + VORELBRIMI_AborAGIF(session) + VORELBRIMI_AbortGIFIter(session), 0);
}

// A state that is sized anew in the middle has no canvas, and another decoder's call leaves no state: the next call
// begins the animation again, in its own buffer.
TEST(GifAnimation, DisturbedInTheMiddleItStartsAnew) {
    uint8_t large[400 * 400 * 4];
    const std::function<int32_t(DecInfo *)> disturbances[] = {
        [](DecInfo *session) { return VORELBRIMI_SetGIF_SKIA(session, 100, 100); },
        [&](DecInfo *session) {
            auto *info = static_cast<GifInfo *>(session->codecState);
            return BRIMI_InitializeGIF(session, info, large, 400, 400, 1);
        },
        [&](DecInfo *session) {
            EXPECT_EQ(VORELBRIMI_DecodeBMP(session, large, 4, 1), 0);
            return session->codecState == nullptr;
        },
    };
    GifFile file = ramp_file();
    file.frames.push_back(file.frames[0]);
    for (const auto &disturb : disturbances) {
        Input input(Kind::kMemory, gif_file(file), 7, VOREL_OPTION_FIT_STRETCH);
        GuardBuffer out(4 * 4);
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1);
        EXPECT_EQ(disturb(input.session()), 1);
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1) << "the first frame again";
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 3);
        VORELBRIMI_DeleteGIFInfo(input.session());
    }
}

TEST(GifBlocks, ASourceThatNeverEndsIsRefused) {
    StreamSource source(Bytes(3 * 4096));
    SessionGuard session(source.open());
    Bytes block(4096);
    GifInput input = {0, block.data(), block.data(), session->ioInfo};
    EXPECT_EQ(BRIMI_CheckBuffer(&input, 4096), 1);
    // Positions end at 31 bits.
    session->ioInfo->position = INT32_MAX - 4096;
    for (const int32_t expected : {1, 0}) {
        input.available = 0;
        EXPECT_EQ(BRIMI_CheckBuffer(&input, 1), expected);
    }
}

// In format 8 asking for the map exchanges red and blue of the live palette, so of later frames.
TEST(GifAnimation, AskingForTheMapTwiceChangesNothing) {
    const Bytes bytes = gif_file(three_frames());
    for (const int32_t format : {7, 8}) {
        for (int asked = 0; asked <= 2; ++asked) {
            Input input(Kind::kMemory, bytes, format);
            EXPECT_EQ(VORELBRIMI_GetColorMap(input.session()), nullptr);
            Bytes out(8);
            VORELBRIMI_DecodeAGIF(input.session(), out.data(), 2, 1);
            const uint32_t *map = nullptr;
            for (int i = 0; i < asked; ++i) map = VORELBRIMI_GetColorMap(input.session());
            const bool exchanged = format == 8 && asked == 1;
            if (map) EXPECT_EQ(map[0], exchanged || format == 7 ? 0xFF1E140A : 0xFF0A141E);
            VORELBRIMI_DecodeAGIF(input.session(), out.data(), 2, 1);
            const Bytes second = exchanged     ? Bytes{255, 255, 0, 255}
                                 : format == 8 ? Bytes{0, 255, 255, 255}
                                               : Bytes{254, 255, 1, 255};
            EXPECT_EQ(tail(out, 4), second);
            VORELBRIMI_DeleteGIFInfo(input.session());
        }
    }
}

// The scan goes on behind the trailer, over unknown blocks and over descriptors that are too large.
TEST(GifBlocks, WhatIsPassedOver) {
    const Bytes first = gif_file(ramp_file());
    const Bytes image = tail(first, first.size() - 13 - 12);
    const Bytes screen = head(first, 25);
    const Bytes large = {0x2C, 0, 0, 0x11, 0x27, 4, 0, 1, 0, 0};  // top 10001
    const struct {
        const char *what;
        Bytes bytes;
        size_t pictures;
    } cases[] = {
        {"another file behind the trailer", cat({first, first}), 2},
        {"junk before the image", cat({screen, {0, 1, 0x3B, 0x21, 0x77, 0x99}, image}), 1},
        {"a large descriptor", cat({screen, large, image}), 1},
        {"a comment and text", cat({screen, {0x21, 0xFE, 2, 0x2C, 0x2C, 0, 0x21, 1, 1, 0x2C, 0}, image}), 1},
        {"a control of another size", cat({screen, {0x21, 0xF9, 3, 0, 0, 0, 0}, image}), 0},
        {"no image", screen, 0},
    };
    for (const auto &c : cases) {
        const auto got = decode_animation(Kind::kMemory, c.bytes, {4, 1, 7});
        EXPECT_EQ(got.size(), std::max<size_t>(c.pictures, 1)) << c.what;
        EXPECT_EQ(got.back().result, c.pictures ? 3 : 0) << c.what;
        EXPECT_EQ(decode_gif(Kind::kMemory, c.bytes, {4, 1, 7}).result, c.pictures ? 1 : 0) << c.what;
    }
}

// What follows a lost terminator may look like sub-blocks up to a terminator by chance.
bool looks_like_data(const Bytes &file, size_t at) {
    while (at < file.size() && file[at] != 0) at += file[at] + size_t{1};
    return at < file.size() &&
           (at + 1 == file.size() || std::string("!,;").find(static_cast<char>(file[at + 1])) != std::string::npos);
}

// Without its terminator an image's data ends with the sub-block of its end code, wherever buffers end.
TEST(GifBlocks, ALostTerminatorLosesNoFrames) {
    std::mt19937 random(21);
    int files = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const GifEncoding good = {8, false, size_t{1} << trial % 8}, lost = {8, false, good.sub_block, false};
        GifFile file = random_gif(random, 90, 256, 2 + trial % 4);
        if (file.palette.empty()) file.palette = gif_palette(random, 256);
        const Bytes whole = gif_file(file, good), cut = gif_file(file, lost);
        bool by_chance = false;
        for (GifFile part = file; !part.frames.empty(); part.frames.pop_back())
            by_chance = by_chance || looks_like_data(cut, gif_file(part, lost).size() - 1);
        if (by_chance) continue;
        ++files;
        const RasterTarget target = {file.width, file.height, 7};
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            const auto expected = decode_animation(kind, whole, target);
            ASSERT_EQ(expected.size(), file.frames.size());
            ASSERT_TRUE(decode_animation(kind, cut, target) == expected) << trial;
        }
    }
    EXPECT_GT(files, 50);

    // The end code in a sub-block of its own, whose byte looks like an extension's first.
    const GifFrame frame = {.width = 3, .height = 1, .indices = {1, 2, 3}, .control = false};
    const Bytes cut = gif_file({3, 1, 0, Bytes(96, 7), {frame, frame}}, {5, false, 3, false});
    ASSERT_EQ(head(tail(cut, 20), 3), (Bytes{1, 0x21, 0x2C}));
    EXPECT_EQ(decode_animation(Kind::kMemory, cut, {3, 1, 7}).size(), 2u);
}

// More than the decoder looks ahead, and it looks like image descriptors.
TEST(GifBlocks, DataBehindTheLastRowIsPassedOver) {
    const Bytes file = gif_file(ramp_file());
    const Bytes codes = gif_codes({0, 1, 2, 3}, {});
    const Bytes before = head(file, file.size() - 1 - codes.size());
    for (const size_t surplus : {1, 300, 4096, 20000}) {
        const Bytes descriptor = {0x2C, 0, 0, 0, 0, 4, 0, 1, 0, 0};
        Bytes descriptors;
        while (descriptors.size() < surplus) descriptors.push_back(descriptor[descriptors.size() % descriptor.size()]);
        const Bytes data = cat({head(codes, codes.size() - 1), gif_sub_blocks(descriptors)});
        const Bytes second = tail(file, file.size() - 25);
        const auto got = decode_animation(Kind::kMemory, cat({before, data, second}), {4, 1, 7});
        ASSERT_EQ(got.size(), 2u) << surplus;
        EXPECT_EQ(got[1].result, 3) << surplus;
        EXPECT_EQ(got[1].pixels, got[0].pixels) << surplus;
    }
}

TEST(GifBlocks, RefusedHeaders) {
    const Bytes good = gif_file(ramp_file());
    const auto result_of = [](const Bytes &bytes) { return decode_gif(Kind::kMemory, bytes, {4, 1, 7}).result; };
    for (const char *signature : {"GIF89a", "GIF00Z"}) EXPECT_EQ(result_of(changed(good, 0, text(signature))), 1);
    for (const char *signature : {"GIFxyz", "GIF891", "GIF8aa", "gif89a", "GIG89a"})
        EXPECT_EQ(result_of(changed(good, 0, text(signature))), 0) << signature;
    for (const size_t side : {6, 8}) EXPECT_EQ(result_of(changed(good, side, {0})), 0);
}

// Another format's state hangs in the same place.
TEST(GifEntries, ASessionOfAnotherFormatIsRefused) {
    const Bytes bytes = gif_file(ramp_file());
    Input input(Kind::kMemory, bytes, 7);
    input.session()->imageType = VOREL_IMAGE_JPEG;
    int other = 0;
    input.session()->codecState = &other;
    uint8_t out[16];
    int32_t transparent;
    EXPECT_EQ(VORELBRIMI_DecodeGIF(input.session(), out, 4, 1), 0);
    EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out, 4, 1), 0);
    EXPECT_EQ(VORELBRIMI_GetColorInfo(input.session(), nullptr, &transparent, nullptr), 0);
    EXPECT_EQ(VORELBRIMI_GetColorMap(input.session()), nullptr);
    EXPECT_EQ(VORELBRIMI_DeleteGIFInfo(input.session()), 1);
    EXPECT_EQ(input.session()->codecState, &other);
}

// A state in an array, which has to be made with the library's allocation.
GifInfo **array_of(GifInfo *info) {
    auto **array = reinterpret_cast<GifInfo **>(VORELBRIMI_SetDecodeAGIFBuffer(nullptr, nullptr, 4));
    EXPECT_TRUE(array && !array[0] && !array[1] && !array[3]);
    array[1] = info;
    return array;
}

TEST(GifDriven, AStateWithoutASession) {
    std::mt19937 random(6);
    const GifFrame frame = {.width = 37, .height = 21, .indices = gif_picture(random, 37, 21, 16)};
    const GifFile file = {37, 21, 3, gif_palette(random, 16), {frame}};
    const struct { int32_t sample, width, height; } cases[] = {{1, 37, 21}, {3, 12, 7}, {100, 1, 1}};
    for (const auto &[sample, width, height] : cases) {
        Input input(Kind::kMemory, gif_file(file), 13);
        DecInfo *session = input.session();
        auto *info = static_cast<GifInfo *>(VORELBRIM_OsMalloc(sizeof(GifInfo)));
        std::memset(info, 0xAA, sizeof *info);
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(session->ioInfo, info, 0, 0), 0);
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(nullptr, info, sample, 0), 0);
        ASSERT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(session->ioInfo, info, sample, 0), 1);
        EXPECT_TRUE(info->outWidth == width && info->outHeight == height && info->oneToOne == (sample == 1));
        const RasterTarget target = {width, height, 13, 0x700};
        GuardBuffer out(target_bytes(target));
        session->codecState = info;
        EXPECT_EQ((sample == 1 ? BRIMI_InitializeGIF_SKIA : VORELBRIMI_SetGIF_SKIA)(session, width, height), 1);
        EXPECT_EQ(info->stride, width);
        info->output = out.data();
        info->currentRow = info->frameTop;
        EXPECT_EQ(BRIMI_DecodeGIFImage(session, info), 1);
        EXPECT_EQ(out.bytes(), model_gif_still(file, target));
        session->codecState = nullptr;
        VORELBRIMI_DeleteGIFInfo_SKIA(array_of(info), 4);
    }
    for (const int32_t count : {5, -1}) EXPECT_EQ(VORELBRIMI_SetDecodeAGIFBuffer(nullptr, nullptr, count), nullptr);
    VORELBRIMI_DeleteGIFInfo_SKIA(nullptr, 4);
}

TEST(GifDriven, LargeAnimationsAreRefused) {
    for (const int side : {9999, 10000}) {
        Input input(Kind::kMemory, gif_file({side, 2, 0, kRamp, ramp_file().frames}), 13);
        auto *info = static_cast<GifInfo *>(VORELBRIM_OsMalloc(sizeof(GifInfo)));
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(input.session()->ioInfo, info, 1, 1), side == 9999);
        if (side == 10000) EXPECT_EQ(info->input, nullptr) << "nothing is left behind";
        VORELBRIMI_DeleteGIFInfo_SKIA(array_of(info), 4);
    }
}

}  // namespace
}  // namespace vorel::test
