// Damaged GIFs, every kind of input, memory and failing allocations.
#include <gtest/gtest.h>

#include <algorithm>

#include "raster/gif_decode.h"
#include "support/conformance.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

// Small, and with something of everything: tables, disposals, transparency, interlace, a scaled and a centred target.
GifFile small_file() {
    std::mt19937 random(11);
    GifFile file = {9, 7, 1, gif_palette(random, 4), {}};
    for (int i = 0; i < 4; ++i) {
        GifFrame frame;
        frame.left = i;
        frame.top = i / 2;
        frame.width = 9 - i;
        frame.height = 7;
        frame.interlaced = i % 2 != 0;
        if (i == 2) frame.palette = gif_palette(random, 4);
        frame.indices = gif_picture(random, frame.width, frame.height, 4);
        frame.disposal = i;
        frame.transparent = i > 1 ? i : -1;
        frame.delay = i;
        file.frames.push_back(frame);
    }
    return file;
}

constexpr RasterTarget kTargets[] = {{9, 7, 7}, {5, 6, 8}, {12, 11, 13}, {4, 15, 7, 0x700}};

// All that can be seen of a still decode and an animation.
Seen everything(DecInfo *session, const RasterTarget &target) {
    Seen out;
    int32_t last = 0;
    for (const RasterPicture &picture : decode_animation(session, target)) {
        out.bytes = cat({out.bytes, picture.pixels, little_32(picture.delay)});
        out.bytes.push_back(static_cast<uint8_t>(last = picture.result));
    }
    GuardBuffer still(target_bytes(target));
    const int32_t result = VORELBRIMI_DecodeGIF(session, still.data(), target.width, target.height);
    out.bytes = cat({out.bytes, still.bytes(), {static_cast<uint8_t>(result)}});
    out.result = result == 1 && last == 3;
    return out;
}

std::vector<Subject> subjects(size_t sub_block) {
    std::vector<Subject> out;
    for (const RasterTarget &target : kTargets) {
        const auto decode = [target](Kind kind, const Bytes &bytes) {
            Input input(kind, bytes, target.format, target.options);
            return input.session() ? everything(input.session(), target) : Seen();
        };
        out.push_back({.name = "GIF" + text_of(target),
                       .file = gif_file(small_file(), {2, false, sub_block}),
                       .decode = decode,
                       .values = {0x00, 0x2C, 0x80, 0xFF},
                       .memory = size_t{512} << 10,
                       .allocations = 20,
                       .decodes = 250});
    }
    return out;
}

TEST(GifTolerance, EveryPrefixReturnsTheRowsSoFar) {
    std::vector<Subject> all = subjects(7);
    const Bytes indices = small_file().frames[0].indices;
    size_t rows = 0;
    all[0].on_prefix = [&](const Bytes &cut, const Seen &) {
        const RasterPicture got = decode_gif(Kind::kMemory, cut, {9, 7, VOREL_GIF_INDICES});
        if (got.result != 1) {
            EXPECT_EQ(rows, 0u);
            return;
        }
        // Rows come one after the other, and what has not come is background.
        while (rows < 7 && std::equal(&got.pixels[rows * 9], &got.pixels[rows * 9 + 9], &indices[rows * 9])) ++rows;
        EXPECT_EQ(got.pixels, cat({head(indices, rows * 9), Bytes(63 - rows * 9, 1)}));
    };
    for (const Subject &subject : all) expect_prefixes_conform(subject);
    EXPECT_EQ(rows, 7u);
}

TEST(GifTolerance, EveryByteSetToFourValuesStaysInside) {
    for (const Subject &subject : subjects(40)) expect_changes_conform(subject);
}

TEST(GifTolerance, StreamsMayDeliverInPieces) {
    const Bytes file = gif_file(small_file(), {2, false, 7});
    for (const RasterTarget &target : kTargets) {
        Input memory(Kind::kMemory, file, target.format, target.options);
        const Seen expected = everything(memory.session(), target);
        for (const int32_t chunk : {1, 2, 3, 61, 255}) {
            StreamSource source(file, chunk);
            SessionGuard session(source.open(target.format, target.options));
            EXPECT_TRUE(everything(session.get(), target) == expected) << chunk;
        }
        // Without a rewind the stream is read once, from where it stands.
        StreamSource source(file);
        SessionGuard session(source.open(target.format, target.options, false));
        EXPECT_TRUE(decode_animation(session.get(), target) == decode_animation(Kind::kMemory, file, target));
    }
}

TEST(GifTolerance, ACutInsideASubBlockKeepsTheRowsAbove) {
    std::mt19937 random(12);
    GifFile file = random_gif(random, 64, 256, 1);
    file.width = file.height = 64;
    file.palette = gif_palette(random, 256);
    GifFrame &frame = file.frames[0];
    frame = GifFrame();
    frame.width = frame.height = 64;
    for (int i = 0; i < 64 * 64; ++i) frame.indices.push_back(static_cast<uint8_t>(random()));
    const Bytes bytes = gif_file(file);
    for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
        const RasterPicture got = decode_gif(kind, head(bytes, bytes.size() / 2), {64, 64, 13}, 0);
        EXPECT_EQ(got.result, 1);
        size_t same = 0;
        while (same < got.pixels.size() && got.pixels[same] == frame.indices[same]) ++same;
        EXPECT_GT(same, 64u * 20);
        EXPECT_LT(same, 64u * 44);
        for (size_t i = (same + 63) / 64 * 64; i < got.pixels.size(); ++i) ASSERT_EQ(got.pixels[i], file.background);
    }
    // The session was given a size larger than the file, so the input does not end where it should.
    TempFile cut(head(bytes, bytes.size() / 2));
    SessionGuard session(VORELBRIM_CreateDecInfo(0, cut.path(), static_cast<int32_t>(bytes.size()), 13, 0));
    Bytes out(64 * 64);
    EXPECT_EQ(VORELBRIMI_DecodeGIF(session.get(), out.data(), 64, 64), 0);
}

TEST(GifTolerance, AStringThatFindsNoPlaceFails) {
    // One run of a colour, wider than screen and spare together.
    GifFrame frame;
    frame.width = 5000;
    frame.height = 1;
    frame.indices = Bytes(5000, 1);
    GifFile file = {3, 1, 0, Bytes(12, 200), {frame}};
    const RasterPicture failed = decode_gif(Kind::kMemory, gif_file(file, {2}), {3, 1, 13});
    EXPECT_EQ(failed.result, 0);
    EXPECT_EQ(failed.pixels, Bytes(3, 0)) << "only the background";
    file.width = 5000 - 4096;
    EXPECT_EQ(decode_gif(Kind::kMemory, gif_file(file, {2}), {904, 1, 13}).pixels, Bytes(904, 1));
    // Clear codes and single indices fill a line as well.
    Bytes codes;
    for (int i = 0; i < 5000; ++i) codes.insert(codes.end(), {0x80, 0x02});  // 256, 1 in 9 bits, and 12 bits of 0
    file.width = 3;
    Bytes bytes = gif_file({3, 1, 0, Bytes(768), {}});
    bytes.pop_back();
    EXPECT_EQ(
        decode_gif(Kind::kMemory, cat({bytes, gif_frame_head(frame, 7), gif_sub_blocks(codes)}), {3, 1, 13}).result, 0);
    for (const int size : {0, 11, 12, 255}) {
        const Bytes whole = cat({bytes, gif_frame_head(frame, size), {0}});
        EXPECT_EQ(decode_gif(Kind::kMemory, whole, {3, 1, 13}).result, size < 12) << size;
    }
}

TEST(GifTolerance, FramesBeyondTheScreenStoreNothingThere) {
    for (const int left : {0, 3, 8, 9, 10000})
        for (const int top : {0, 6, 7, 10000})
            for (const RasterTarget &target : kTargets) {
                GifFile file = small_file();
                file.frames.resize(1);
                GifFrame &frame = file.frames[0];
                frame.left = left;
                frame.top = top;
                const Bytes bytes = gif_file(file);
                const RasterPicture got = decode_gif(Kind::kMemory, bytes, target);
                EXPECT_EQ(got.result, 1);
                EXPECT_TRUE(got.pixels == model_gif_still(file, target));
            }
}

TEST(GifTolerance, ATinyFileOfAHugeFrameCostsItsWidth) {
    GifFrame frame;
    frame.width = frame.height = 10000;
    GifFile file = {15000, 15000, 0, Bytes(12), {}};
    Bytes bytes = gif_file(file);
    bytes.pop_back();
    const Bytes tiny = cat({bytes, gif_frame_head(frame, 2), gif_codes(Bytes(1000, 1), {2})});
    CountingAllocator allocator;
    {
        Input input(Kind::kMemory, tiny, 7);
        Bytes out(60 * 60 * 4);
        EXPECT_EQ(VORELBRIMI_DecodeGIF(input.session(), out.data(), 60, 60), 1);
        EXPECT_EQ(VORELBRIMI_DecodeAGIF(input.session(), out.data(), 60, 60), 3);
        VORELBRIMI_DeleteGIFInfo(input.session());
    }
    EXPECT_LT(allocator.peak_bytes(), size_t{256} << 10);
}

TEST(GifResources, EveryFailingAllocationIsAFailedCallThatLeavesNothing) {
    for (const Subject &subject : subjects(255)) {
        expect_failing_allocations_conform(subject);
        expect_repeats_conform(subject);
    }
    const TempFile file(gif_file(small_file(), {2}));
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        SessionGuard session(VORELBRIM_CreateDecInfo(0, const_cast<char *>(file.path()), 0, 13, 0));
        if (!session) return;
        session->codecState = VORELBRIM_OsMalloc(sizeof(GifInfo));
        auto *info = static_cast<GifInfo *>(session->codecState);
        if (!info) return;
        const size_t before = allocator.live_blocks();
        const int32_t parsed = VORELBRIMI_ParseGIFHeader_SKIA(session->ioInfo, info, 2, 0);
        EXPECT_EQ(parsed, allocator.failed() ? 0 : 1);
        if (!parsed) EXPECT_EQ(allocator.live_blocks(), before);
        const bool failed = allocator.failed();
        const int32_t set = VORELBRIMI_SetGIF_SKIA(session.get(), 3, 3);
        EXPECT_EQ(set, !failed && allocator.failed() ? 0 : 1);
        VORELBRIMI_DeleteGIFInfo(session.get());
    });
}

}  // namespace
}  // namespace vorel::test
