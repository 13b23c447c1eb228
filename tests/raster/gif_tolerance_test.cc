// Damaged GIFs, every kind of input, memory and failing allocations.
#include <gtest/gtest.h>

#include <algorithm>

#include "raster/gif_model.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

// Small, and with something of everything: tables, disposals, transparency, interlace, a scaled and a centred target.
GifFile small_file() {
    std::mt19937 random(11);
    GifFile file = {9, 7, 1, gif_palette(random, 4), {}};
    for (int i = 0; i < 4; ++i) {
        GifFrame frame = {.left = i,
                          .top = i / 2,
                          .width = 9 - i,
                          .height = 7,
                          .interlaced = i % 2 != 0,
                          .disposal = i,
                          .transparent = i > 1 ? i : -1,
                          .delay = i};
        if (i == 2) frame.palette = gif_palette(random, 4);
        frame.indices = gif_picture(random, frame.width, frame.height, 4);
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

// docs/tolerance.md names this.
TEST(GifTolerance, EveryInputGivesTheRowsSoFar) {
    const Bytes indices = small_file().frames[0].indices;
    size_t rows = 0;
    for (const RasterTarget &target : kTargets) {
        const auto decode = [=](Kind kind, const Bytes &bytes) {
            Input input(kind, bytes, target.format, target.options);
            return input.session() ? everything(input.session(), target) : Seen();
        };
        Subject subject = {.name = "GIF" + text_of(target),
                           .file = gif_file(small_file(), {2, false, 7}),
                           .decode = decode,
                           .values = {0x00, 0x2C, 0x80, 0xFF},
                           .memory = size_t{512} << 10,
                           .allocations = 20,
                           .decodes = 250};
        if (rows == 0)
            subject.on_prefix = [&](const Bytes &cut, const Seen &) {
                const RasterPicture got = decode_gif(Kind::kMemory, cut, {9, 7, VOREL_GIF_INDICES});
                if (got.result != 1) {
                    EXPECT_EQ(rows, 0u);
                    return;
                }
                // Rows come one after the other, and what has not come is background.
                while (rows < 7 && std::equal(&got.pixels[rows * 9], &got.pixels[rows * 9 + 9], &indices[rows * 9]))
                    ++rows;
                EXPECT_EQ(got.pixels, cat({head(indices, rows * 9), Bytes(63 - rows * 9, 1)}));
            };
        expect_conforms(subject);
    }
    EXPECT_EQ(rows, 7u);
}

TEST(GifTolerance, ACutInsideASubBlockKeepsTheRowsAbove) {
    std::mt19937 random(12);
    const GifFrame frame = {.width = 64, .height = 64, .indices = noise(64 * 64, 12)};
    const Bytes bytes = gif_file({64, 64, 77, gif_palette(random, 256), {frame}});
    const Bytes half = head(bytes, bytes.size() / 2);
    for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
        const RasterPicture got = decode_gif(kind, half, {64, 64, 13}, 0);
        EXPECT_EQ(got.result, 1);
        const auto [end, other] = std::mismatch(got.pixels.begin(), got.pixels.end(), frame.indices.begin());
        const auto rows = (end - got.pixels.begin()) / 64;
        EXPECT_TRUE(rows >= 20 && rows < 44) << rows;
        EXPECT_EQ(tail(got.pixels, static_cast<size_t>(63 - rows) * 64),
                  Bytes(static_cast<size_t>(63 - rows) * 64, 77));
    }
    // The session was given a size larger than the file, so the input does not end where it should.
    TempFile cut(half);
    SessionGuard session(VORELBRIM_CreateDecInfo(0, cut.path(), static_cast<int32_t>(bytes.size()), 13, 0));
    Bytes out(64 * 64);
    EXPECT_EQ(VORELBRIMI_DecodeGIF(session.get(), out.data(), 64, 64), 0);
}

TEST(GifTolerance, AStringThatFindsNoPlaceFails) {
    // One run of a colour, wider than screen and spare together.
    const GifFrame frame = {.width = 5000, .height = 1, .indices = Bytes(5000, 1)};
    const auto indices_at = [](int32_t width, const Bytes &file) {
        return decode_gif(Kind::kMemory, file, {width, 1, VOREL_GIF_INDICES});
    };
    GifFile file = {5000 - 4096, 1, 0, Bytes(12, 200), {frame}};
    EXPECT_EQ(indices_at(904, gif_file(file, {2})).pixels, Bytes(904, 1));
    file.width = 3;
    const RasterPicture failed = indices_at(3, gif_file(file, {2}));
    EXPECT_EQ(failed.result, 0);
    EXPECT_EQ(failed.pixels, Bytes(3, 0)) << "only the background";
    // Clear codes and single indices fill a row as well.
    Bytes codes, bytes = gif_file({3, 1, 0, Bytes(768), {}});
    for (int i = 0; i < 5000; ++i) codes.insert(codes.end(), {0x80, 0x02});  // 256, 1 in 9 bits, and 12 bits of 0
    bytes.pop_back();
    EXPECT_EQ(indices_at(3, cat({bytes, gif_frame_head(frame, 7), gif_sub_blocks(codes)})).result, 0);
    for (const int size : {0, 11, 12, 255})
        EXPECT_EQ(indices_at(3, cat({bytes, gif_frame_head(frame, size), {0}})).result, size < 12) << size;
}

TEST(GifTolerance, ATinyFileOfAHugeFrameCostsItsWidth) {
    const GifFrame frame = {.width = 10000, .height = 10000};
    Bytes bytes = gif_file({15000, 15000, 0, Bytes(12), {}});
    bytes.pop_back();
    const Bytes tiny = cat({bytes, gif_frame_head(frame, 2), gif_codes(Bytes(1000, 1), {2})});
    CountingAllocator allocator;
    Input input(Kind::kMemory, tiny, 7);
    EXPECT_EQ(everything(input.session(), {60, 60, 7}).result, 1);
    EXPECT_LT(allocator.peak_bytes(), size_t{256} << 10);
}

TEST(GifResources, AFailingAllocationOfADrivenStateLeavesNothing) {
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
