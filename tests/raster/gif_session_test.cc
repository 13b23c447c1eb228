// GIF sessions: single values that are easily got wrong, the order of calls, entries for any format, driven states.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "raster/gif_decode.h"

namespace vorel::test {
namespace {

const Bytes kRamp = {10, 20, 30, 255, 255, 1, 255, 255, 255, 0, 0, 0};  // four colours

// A picture of 4 x 1 with the colours of kRamp.
GifFile ramp_file() {
    GifFrame frame;
    frame.width = 4;
    frame.height = 1;
    frame.indices = {0, 1, 2, 3};
    return {4, 1, 0, kRamp, {frame}};
}

// A colour loses the low bit of its lowest byte, and the fill behind the picture is not the palette's colour.
TEST(GifPixels, ColoursAndFills) {
    GifFile file = ramp_file();
    file.width = 5;
    GifFile transparent = file;
    transparent.frames[0].transparent = 2;
    const Bytes fill = {241, 133, 10}, low = {255, 255, 254};
    const struct {
        const GifFile &file;
        int32_t format;
        Bytes pixels;
    } cases[] = {
        {file, 7, {10, 20, 30, 255, 0xFE, 255, 1, 255, 0xFE, 255, 255, 255, 0, 0, 0, 255, 241, 133, 10, 255}},
        {file, 8, {30, 20, 10, 255, 0, 255, 255, 255, 0xFE, 255, 255, 255, 0, 0, 0, 255, 30, 133, 240, 255}},
        {file, 1, cat({fill, fill, fill, fill, fill})},
        {transparent, 1, cat({low, low, low, low, low})},
        {transparent, 7, {10, 20, 30, 255, 0xFE, 255, 1, 255, 0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0}},
        {transparent, 13, {0, 1, 2, 3, 2}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(decode_gif(Kind::kMemory, gif_file(c.file), {5, 1, c.format}).pixels, c.pixels) << c.format;
    }
}

TEST(GifPixels, ATransparentIndexJustBehindThePaletteStays) {
    for (const int index : {3, 4, 5}) {
        GifFile file = ramp_file();
        file.frames[0].transparent = index;
        file.frames[0].delay = 7;
        Input input(Kind::kMemory, gif_file(file), 7);
        std::vector<uint32_t> out(4);
        EXPECT_EQ(VORELBRIMI_DecodeGIF(input.session(), out.data(), 4, 1), 1);
        EXPECT_EQ(input.session()->gifFlag, index == 5 ? 0u : 1u);
        EXPECT_EQ(out[3], index == 3 ? 0u : 0xFF000000u);

        uint32_t colours, delay;
        int32_t transparent;
        EXPECT_EQ(VORELBRIMI_GetColorInfo(input.session(), &colours, &transparent, &delay), 0) << "the state is gone";
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 3);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(input.session(), &colours, &transparent, &delay), 1);
        EXPECT_EQ(colours, 4u);
        EXPECT_EQ(transparent, index == 5 ? -1 : index);
        EXPECT_EQ(delay, 70u);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(input.session(), nullptr, &transparent, nullptr), 1);
        EXPECT_EQ(VORELBRIMI_GetColorInfo(input.session(), &colours, nullptr, &delay), 0);
        VORELBRIMI_DeleteGIFInfo(input.session());
    }
}

TEST(GifPixels, SmallInterlacedFramesKeepTheirRows) {
    for (int height = 1; height <= 20; ++height) {
        GifFrame frame;
        frame.width = 1;
        frame.height = height;
        frame.interlaced = true;
        for (int y = 0; y < height; ++y) frame.indices.push_back(static_cast<uint8_t>(y));
        const GifFile file = {1, height, 0, Bytes(96), {frame}};
        EXPECT_EQ(decode_gif(Kind::kMemory, gif_file(file), {1, height, 13}).pixels, frame.indices);
    }
}

// Sides of nothing, or that the fit leaves nothing of, are no failure.
TEST(GifPixels, TargetsAndPicturesWithoutArea) {
    const struct {
        RasterSize screen;
        RasterTarget target;
        uint32_t width;
    } cases[] = {{{1000, 1}, {10, 10, 13}, 10},
                 {{100, 100}, {10, 0, 13}, 0},
                 {{100, 100}, {-1, 10, 13}, 0},
                 {{100, 100}, {0, INT32_MIN, 13, 0x700}, 0}};
    for (const auto &c : cases) {
        GifFile file = {c.screen.width, c.screen.height, 0, kRamp, ramp_file().frames};
        const RasterPicture got = decode_gif(Kind::kMemory, gif_file(file), c.target);
        EXPECT_EQ(got.result, 1) << text_of(c.target);
        EXPECT_EQ(got.width, c.width) << text_of(c.target);
        EXPECT_EQ(got.height, 0u) << text_of(c.target);
    }
}

TEST(GifPixels, ATurnedPictureIsOnlyItsBackground) {
    const Bytes bytes = gif_file(ramp_file()), fill = {241, 133, 10, 255};
    for (const uint32_t turn : {4u, 8u, 12u}) {
        const RasterTarget target = {3, 1, 7, turn};
        EXPECT_EQ(decode_gif(Kind::kMemory, bytes, target).pixels, cat({fill, fill, fill}));
        const auto pictures = decode_animation(Kind::kMemory, bytes, target);
        ASSERT_EQ(pictures.size(), 1u);
        EXPECT_EQ(pictures[0].result, 3);
        EXPECT_EQ(pictures[0].pixels, target_bytes(target));
    }
}

TEST(GifPixels, OtherFormatsAreLeftAlone) {
    for (const int32_t format : {0, 2, 3, 4, 5, 6, 9, 14, 15, 17, 18, 19, -1}) {
        Input input(Kind::kMemory, gif_file(ramp_file()), format);
        GuardBuffer out(16, kUntouched);
        EXPECT_EQ(VORELBRIMI_DecodeGIF(input.session(), out.data(), 4, 1), 1) << format;
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 3) << format;
        EXPECT_EQ(out.bytes(), Bytes(16, kUntouched)) << format;
        VORELBRIMI_DeleteGIFInfo(input.session());
    }
}

// Three frames of 2 x 1: the first leaves background behind, the others cover one pixel.
GifFile three_frames() {
    GifFile file = {2, 1, 0, kRamp, {}};
    for (int i = 0; i < 3; ++i) {
        GifFrame frame;
        frame.left = i > 0;
        frame.width = i > 0 ? 1 : 2;
        frame.height = 1;
        frame.indices = Bytes(static_cast<size_t>(frame.width), static_cast<uint8_t>(i));
        frame.disposal = i == 0 ? 2 : 1;
        frame.delay = 10 * (i + 1);
        file.frames.push_back(frame);
    }
    return file;
}

TEST(GifAnimation, DelaysAndWhatIsLeftBehind) {
    const auto got = decode_animation(Kind::kMemory, gif_file(three_frames()), {2, 1, 7});
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].pixels, (Bytes{10, 20, 30, 255, 10, 20, 30, 255}));
    EXPECT_EQ(got[1].pixels, (Bytes{255, 255, 255, 0, 0xFE, 255, 1, 255})) << "disposal 2 leaves white without alpha";
    EXPECT_EQ(got[0].delay, 200u);
    EXPECT_EQ(got[1].delay, 300u);
    EXPECT_EQ(got[2].delay, 0u);
    EXPECT_EQ(got[2].result, 3);
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

// A state that is sized anew in the middle has no canvas: the next call begins the animation again, in its own buffer.
TEST(GifAnimation, ResizedInTheMiddleItStartsAnew) {
    GifFile file = ramp_file();
    file.frames.push_back(file.frames[0]);
    for (const bool driven : {true, false}) {
        Input input(Kind::kMemory, gif_file(file), 7, VOREL_OPTION_FIT_STRETCH);
        GuardBuffer out(4 * 4), large(400 * 400 * 4);
        ASSERT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1);
        if (driven) {
            ASSERT_EQ(VORELBRIMI_SetGIF_SKIA(input.session(), 100, 100), 1);
        } else {
            auto *info = static_cast<GifInfo *>(input.session()->codecState);
            ASSERT_EQ(BRIMI_InitializeGIF(input.session(), info, large.data(), 400, 400, 1), 1);
        }
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1) << "the first frame again";
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 3);
        VORELBRIMI_DeleteGIFInfo(input.session());
    }
}

TEST(GifBlocks, ASourceThatNeverEndsIsRefused) {
    struct Endless {
        Bytes head;
        size_t position;
        static int32_t read(void *context, void *destination, int32_t count) {
            auto *self = static_cast<Endless *>(context);
            auto *out = static_cast<uint8_t *>(destination);
            std::memset(out, 0, static_cast<size_t>(count));
            for (int32_t i = 0; i < count && self->position < self->head.size(); ++i)
                out[i] = self->head[self->position++];
            return count;
        }
        static int32_t skip(void *, int32_t, int32_t count) { return count; }
    };
    Endless source = {{'G', 'I', 'F', '8', '9', 'a', 4, 0, 4, 0, 0, 0, 0}, 0};
    SessionGuard session(
        VORELBRIM_CreateDecInfoWithStream(&source, 100, Endless::read, Endless::skip, nullptr, COLOR_RGBA8888, 0));
    ASSERT_TRUE(session);
    // Most of it is behind us already.
    GifInput input = {0, nullptr, nullptr, session->ioInfo};
    Bytes block(4096);
    input.buffer = input.cursor = block.data();
    EXPECT_EQ(BRIMI_CheckBuffer(&input, 4096), 1);
    session->ioInfo->position = INT32_MAX - 4096;
    input.available = 0;
    EXPECT_EQ(BRIMI_CheckBuffer(&input, 1), 1);
    input.available = 0;
    EXPECT_EQ(BRIMI_CheckBuffer(&input, 1), 0);
}

TEST(GifEntries, AnotherDecodersCallEndsTheAnimation) {
    GifFile file = ramp_file();
    file.frames.push_back(file.frames[0]);
    Input input(Kind::kMemory, gif_file(file), 7);
    GuardBuffer out(4 * 4);
    ASSERT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1);
    EXPECT_EQ(VORELBRIMI_DecodeBMP(input.session(), out.data(), 4, 1), 0);
    EXPECT_EQ(input.session()->codecState, nullptr);
    EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 4, 1), 1) << "from the first frame";
    VORELBRIMI_DeleteGIFInfo(input.session());
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
        const size_t sub_block = size_t{1} << trial % 8;
        GifFile file = random_gif(random, 90, 256, 2 + trial % 4);
        if (file.palette.empty()) file.palette = gif_palette(random, 256);
        GifFile before = file;
        before.frames.clear();
        Bytes whole = gif_file(before), lost = head(whole, whole.size() - 1);
        bool by_chance = false;
        std::vector<size_t> ends;
        for (const GifFrame &frame : file.frames) {
            const size_t old = whole.size();
            before.frames.push_back(frame);
            whole = gif_file(before, {8, false, sub_block});
            lost = cat({lost, Bytes(whole.begin() + static_cast<ptrdiff_t>(old) - 1, whole.end() - 2)});
            ends.push_back(lost.size());
        }
        lost.push_back(0x3B);
        for (const size_t end : ends) by_chance = by_chance || looks_like_data(lost, end);
        if (by_chance) continue;
        ++files;
        const RasterTarget target = {file.width, file.height, 7};
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            const auto expected = decode_animation(kind, whole, target);
            const auto got = decode_animation(kind, lost, target);
            ASSERT_EQ(expected.size(), file.frames.size());
            ASSERT_EQ(got.size(), expected.size()) << trial;
            for (size_t i = 0; i < got.size(); ++i) ASSERT_TRUE(got[i].pixels == expected[i].pixels) << i;
        }
    }
    EXPECT_GT(files, 50);

    // The end code in a sub-block of its own, whose byte looks like an extension's first.
    GifFrame frame;
    frame.width = 3;
    frame.height = 1;
    frame.indices = {1, 2, 3};
    frame.control = false;
    const GifEncoding encoding = {5, false, 3};
    const Bytes one = gif_file({3, 1, 0, Bytes(96, 7), {frame}}, encoding);
    const Bytes two = gif_file({3, 1, 0, Bytes(96, 7), {frame, frame}}, encoding);
    const Bytes lost = cat({head(one, one.size() - 2), tail(two, two.size() - one.size() + 1)});
    ASSERT_EQ(head(tail(lost, lost.size() - one.size() + 4), 3), (Bytes{1, 0x21, 0x2C}));
    EXPECT_EQ(decode_animation(Kind::kMemory, lost, {3, 1, 7}).size(), 2u);
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
    for (const char *signature : {"GIF89a", "GIF00Z", "GIFxyz", "GIF891", "GIF8aa", "gif89a", "GIG89a"}) {
        Bytes bytes = gif_file(ramp_file());
        std::copy(signature, signature + 6, bytes.begin());
        const bool good = std::string(signature) == "GIF89a" || std::string(signature) == "GIF00Z";
        EXPECT_EQ(decode_gif(Kind::kMemory, bytes, {4, 1, 7}).result, good) << signature;
    }
    for (const size_t side : {6, 8}) {
        Bytes bytes = gif_file(ramp_file());
        bytes[side] = 0;
        EXPECT_EQ(decode_gif(Kind::kMemory, bytes, {4, 1, 7}).result, 0);
    }
}

TEST(GifEntries, TheEntriesForAnyFormatGiveTheFirstPicture) {
    const GifFile file = three_frames();
    const Bytes still = gif_file(ramp_file()), animation = gif_file(file);
    TempFile on_disk(animation);
    Bytes out(8);
    EXPECT_EQ(VorelDecodeFile(on_disk.path(), out.data(), 0, 7, 1), 1);
    EXPECT_EQ(out, decode_gif(Kind::kMemory, animation, {2, 1, 7}).pixels);
    Bytes half(8);
    EXPECT_EQ(VorelDecodeBuffer(still.data(), half.data(), static_cast<int32_t>(still.size()), 7, 2), 1);
    EXPECT_EQ(half, Bytes(8, 0)) << "a height of 0 stores nothing";
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

TEST(GifDriven, AStateWithoutASession) {
    std::mt19937 random(6);
    GifFrame frame;
    frame.width = 37;
    frame.height = 21;
    frame.indices = gif_picture(random, 37, 21, 16);
    const GifFile file = {37, 21, 3, gif_palette(random, 16), {frame}};
    const struct { int32_t sample, width, height; } cases[] = {{0, 0, 0}, {1, 37, 21}, {3, 12, 7}, {100, 1, 1}};
    for (const auto &[sample, width, height] : cases) {
        Input input(Kind::kMemory, gif_file(file), 13);
        DecInfo *session = input.session();
        auto *info = static_cast<GifInfo *>(VORELBRIM_OsMalloc(sizeof(GifInfo)));
        void **array = VORELBRIMI_SetDecodeAGIFBuffer(nullptr, nullptr, 4);
        ASSERT_TRUE(info && array && !array[0] && !array[3]);
        std::memset(info, 0xAA, sizeof *info);
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(session->ioInfo, info, sample, 0), sample > 0);
        if (sample == 0) {
            VORELBRIM_OsFree(info);
        } else {
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
            array[1] = info;
        }
        VORELBRIMI_DeleteGIFInfo_SKIA(reinterpret_cast<GifInfo **>(array), 4);
    }
    for (const int32_t count : {5, -1}) EXPECT_EQ(VORELBRIMI_SetDecodeAGIFBuffer(nullptr, nullptr, count), nullptr);
    VORELBRIMI_DeleteGIFInfo_SKIA(nullptr, 4);
}

TEST(GifDriven, LargeAnimationsAreRefused) {
    for (const int side : {9999, 10000}) {
        const GifFile file = {side, 2, 0, kRamp, ramp_file().frames};
        Input input(Kind::kMemory, gif_file(file), 13);
        GifInfo info;
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(input.session()->ioInfo, &info, 1, 1), side == 9999);
        if (side == 10000) EXPECT_EQ(info.input, nullptr) << "nothing is left behind";
        EXPECT_EQ(VORELBRIMI_ParseGIFHeader_SKIA(nullptr, &info, 1, 0), 0);
        auto *record = static_cast<GifInfo *>(VORELBRIM_OsMalloc(sizeof info));
        auto **array = static_cast<GifInfo **>(VORELBRIM_OsMalloc(sizeof record));
        *record = info;
        *array = record;
        VORELBRIMI_DeleteGIFInfo_SKIA(array, 1);
    }
}

}  // namespace
}  // namespace vorel::test
