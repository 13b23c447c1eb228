// Damaged GIFs, every kind of input, memory and failing allocations.
#include <gtest/gtest.h>

#include <algorithm>

#include "raster/gif_decode.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"

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

constexpr GifSize kScreen = {9, 7};
constexpr GifTarget kTargets[] = {{9, 7, 7}, {5, 6, 8}, {12, 11, 13}, {4, 15, 7, 0x700}};

// All that can be seen of a still decode and an animation.
Bytes everything(DecInfo *session, const GifTarget &target) {
    Bytes out;
    const auto keep = [&](const GifPicture &picture) {
        out.insert(out.end(), picture.pixels.begin(), picture.pixels.end());
        out.insert(out.end(), {static_cast<uint8_t>(picture.result), static_cast<uint8_t>(picture.delay)});
    };
    for (const GifPicture &picture : decode_animation(session, kScreen, target, 40)) keep(picture);
    GuardBuffer still(out.size() + 4096, 0x5B);
    const int32_t result = VORELBRIMI_DecodeGIF(session, still.data(), target.width, target.height);
    const Bytes pixels = still.bytes();
    out.insert(out.end(), pixels.begin(), pixels.end());
    out.push_back(static_cast<uint8_t>(result));
    return out;
}

Bytes everything(Kind kind, const Bytes &bytes, const GifTarget &target) {
    Input input(kind, bytes, target.format, target.options);
    return input.session() ? everything(input.session(), target) : Bytes();
}

void expect_same_from_every_kind(const Bytes &bytes, const GifTarget &target, const std::string &what) {
    CountingAllocator allocator;
    const Bytes memory = everything(Kind::kMemory, bytes, target);
    for (const Kind kind : kAllKinds) {
        if (bytes.empty()) continue;
        EXPECT_TRUE(everything(kind, bytes, target) == memory) << what << ", kind " << static_cast<int>(kind);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u) << what;
    EXPECT_LT(allocator.peak_bytes(), size_t{512} << 10) << what;
}

TEST(GifTolerance, EveryPrefixReturnsTheRowsSoFar) {
    LogCapture log;
    const GifFile picture = small_file();
    const Bytes file = gif_file(picture, {2, false, 7});
    const Bytes &indices = picture.frames[0].indices;
    size_t rows = 0;
    for (size_t length = 0; length <= file.size(); ++length) {
        const GifPicture got = decode_gif(Kind::kMemory, head(file, length), kScreen, {9, 7, VOREL_GIF_INDICES});
        if (got.result != 1) {
            EXPECT_EQ(rows, 0u) << length;
        } else {
            // Rows come one after the other, and what has not come is background.
            while (rows < 7 && std::equal(&got.pixels[rows * 9], &got.pixels[rows * 9 + 9], &indices[rows * 9])) ++rows;
            EXPECT_EQ(head(got.pixels, rows * 9), head(indices, rows * 9)) << length;
            EXPECT_EQ(tail(got.pixels, 63 - rows * 9), Bytes(63 - rows * 9, 1)) << length;
        }
        for (const GifTarget &target : kTargets)
            expect_same_from_every_kind(head(file, length), target, "cut to " + std::to_string(length));
    }
    EXPECT_EQ(rows, 7u);
    EXPECT_TRUE(log.take().empty()) << "nothing here logs";
}

TEST(GifTolerance, EveryByteSetToFourValuesStaysInside) {
    const Bytes file = gif_file(small_file(), {2, false, 40});
    for (size_t at = 0; at < file.size(); ++at) {
        for (const int value : {0x00, 0x2C, 0x80, 0xFF}) {
            Bytes bytes = file;
            bytes[at] = static_cast<uint8_t>(value);
            expect_same_from_every_kind(bytes, kTargets[at % 4], std::to_string(at) + " = " + std::to_string(value));
        }
    }
}

TEST(GifTolerance, StreamsMayDeliverInPieces) {
    const Bytes file = gif_file(small_file(), {2, false, 7});
    for (const GifTarget &target : kTargets) {
        const Bytes expected = everything(Kind::kMemory, file, target);
        for (const int32_t chunk : {1, 2, 3, 61, 255}) {
            StreamSource source(file, chunk);
            SessionGuard session(source.open(target.format, target.options));
            EXPECT_TRUE(everything(session.get(), target) == expected) << chunk;
        }
        // Without a rewind the stream is read once, from where it stands.
        StreamSource source(file);
        SessionGuard session(source.open(target.format, target.options, false));
        const auto got = decode_animation(session.get(), kScreen, target);
        const auto whole = decode_animation(Kind::kMemory, file, kScreen, target);
        ASSERT_EQ(got.size(), whole.size());
        for (size_t i = 0; i < got.size(); ++i) EXPECT_TRUE(got[i].pixels == whole[i].pixels) << i;
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
        const GifPicture got = decode_gif(kind, head(bytes, bytes.size() / 2), {64, 64}, {64, 64, 13}, 0);
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
    const GifPicture failed = decode_gif(Kind::kMemory, gif_file(file, {2}), {3, 1}, {3, 1, 13});
    EXPECT_EQ(failed.result, 0);
    EXPECT_EQ(failed.pixels, Bytes(3, 0)) << "only the background";
    file.width = 5000 - 4096;
    EXPECT_EQ(decode_gif(Kind::kMemory, gif_file(file, {2}), {904, 1}, {904, 1, 13}).pixels, Bytes(904, 1));
    // Clear codes and single indices fill a line as well.
    Bytes codes;
    for (int i = 0; i < 5000; ++i) codes.insert(codes.end(), {0x80, 0x02});  // 256, 1 in 9 bits, and 12 bits of 0
    file.width = 3;
    Bytes bytes = gif_file({3, 1, 0, Bytes(768), {}});
    bytes.pop_back();
    EXPECT_EQ(
        decode_gif(Kind::kMemory, cat({bytes, gif_frame_head(frame, 7), gif_sub_blocks(codes)}), {3, 1}, {3, 1, 13})
            .result,
        0);
    for (const int size : {0, 11, 12, 255}) {
        const Bytes whole = cat({bytes, gif_frame_head(frame, size), {0}});
        EXPECT_EQ(decode_gif(Kind::kMemory, whole, {3, 1}, {3, 1, 13}).result, size < 12) << size;
    }
}

TEST(GifTolerance, FramesBeyondTheScreenStoreNothingThere) {
    for (const int left : {0, 3, 8, 9, 10000})
        for (const int top : {0, 6, 7, 10000})
            for (const GifTarget &target : kTargets) {
                GifFile file = small_file();
                file.frames.resize(1);
                GifFrame &frame = file.frames[0];
                frame.left = left;
                frame.top = top;
                const Bytes bytes = gif_file(file);
                const GifPicture got = decode_gif(Kind::kMemory, bytes, kScreen, target);
                EXPECT_EQ(got.result, 1);
                EXPECT_TRUE(got.pixels == model_gif_still(file, target, Bytes(got.pixels.size(), 0x5B)));
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
    const Bytes file = gif_file(small_file(), {2});
    TempFile on_disk(file);
    for (const GifTarget &target : kTargets) {
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            SessionGuard session(VORELBRIM_CreateDecInfo(0, on_disk.path(), 0, target.format, target.options));
            if (!session) return;
            Bytes out(12 * 15 * 4);
            const int32_t still = VORELBRIMI_DecodeGIF(session.get(), out.data(), target.width, target.height);
            const bool failed = allocator.failed();
            EXPECT_EQ(still, failed ? 0 : 1);
            const int32_t moving = VORELBRIMI_DecodeAGIF(session.get(), out.data(), target.width, target.height);
            EXPECT_EQ(moving, allocator.failed() && !failed ? 0 : 1);
            if (!moving) EXPECT_EQ(session->codecState, nullptr) << "the state is freed";
            VORELBRIMI_DeleteGIFInfo(session.get());
        });
        EXPECT_GT(allocations, 20u);
    }
    TempFile other(file);
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        SessionGuard session(VORELBRIM_CreateDecInfo(0, other.path(), 0, 13, 0));
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

TEST(GifResources, ThousandsOfDecodesByPathLeaveNothingBehind) {
    const Bytes file = gif_file(small_file(), {2});
    TempFile on_disk(file);
    CountingAllocator allocator;
    const int descriptors = open_descriptors();
    Bytes out(9 * 7 * 4);
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(VorelDecodeFile(on_disk.path(), out.data(), 0, 7, 1), 1);
        SessionGuard session(VORELBRIM_CreateDecInfo(0, on_disk.path(), 0, 7, 0));
        ASSERT_EQ(VORELBRIMI_DecodeAGIF(session.get(), out.data(), 9, 7), 1);
        VORELBRIMI_DeleteGIFInfo(session.get());
    }
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

}  // namespace
}  // namespace vorel::test
