// What stands behind the natives of the bitmap factory: decodes in one call and sessions that are kept between calls.
#include <gtest/gtest.h>
#include <unistd.h>
#include <vorel/jpeg_iterative.h>

#include <cstring>

#include "bindings/c/owned_session.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/java/operations/kept_session.h"
#include "bindings/java/operations/strip_tiles.h"
#include "bindings/pictures.h"
#include "core/core.h"
#include "support/counting_allocator.h"
#include "support/layouts.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 200, kHeight = 120;

FactorySource memory(const Bytes &bytes) { return {nullptr, bytes.data(), static_cast<int32_t>(bytes.size())}; }

FactoryRequest request(int32_t sample, int32_t width = 0, int32_t height = 0) {
    return {sample, width, height, COLOR_RGBA8888, 0};
}

// Only the last line counts: the engine may say more.
std::string last_of(LogCapture *log) {
    const std::vector<LogLine> lines = log->take();
    if (lines.empty()) return "";
    EXPECT_EQ(lines.back().priority, 6) << lines.back().text;
    return lines.back().tag + "|" + lines.back().text;
}

TEST(BindingsFactory, DecodesEveryTypeAtEverySize) {
    for (const Sample &sample : all_samples()) {
        const TempFile file(sample.bytes);
        for (const bool by_path : {true, false}) {
            FactoryPicture picture;
            LogCapture log;
            const bool opened =
                picture.open(by_path ? FactorySource{file.path(), nullptr, 0} : memory(sample.bytes), request(1));
            if (sample.type == VOREL_IMAGE_WBMP || sample.type == VOREL_IMAGE_NONE) {
                EXPECT_FALSE(opened);
                EXPECT_EQ(last_of(&log), "VrBitmapDecoder|not supported file type") << sample.name;
                continue;
            }
            ASSERT_TRUE(opened) << sample.name;
            Bytes pixels(area(picture.width(), picture.height()) * 4, 9), expected = pixels;
            const int32_t result = picture.decode(pixels.data());
            EXPECT_EQ(result, VorelDecodeFile(file.path(), expected.data(), 0, COLOR_RGBA8888, 1)) << sample.name;
            EXPECT_TRUE(pixels == expected) << sample.name;
        }
    }
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    struct Case {
        int sample, width, height, is_width, is_height;
    };
    for (const Case &c : {Case{1, 0, 0, kWidth, kHeight}, Case{0, 0, 0, kWidth, kHeight}, Case{3, 0, 0, 67, 40},
                          Case{3, 50, 0, 50, 40}, Case{1, 49, 31, 49, 31}}) {
        FactoryPicture picture;
        ASSERT_TRUE(picture.open(memory(jpeg), request(c.sample, c.width, c.height)));
        EXPECT_TRUE(picture.width() == c.is_width && picture.height() == c.is_height) << c.sample << " " << c.width;
    }
    LogCapture log;
    for (const auto &[width, opens] : {std::pair{49999, true}, {50000, false}, {-1, false}}) {
        FactoryPicture picture;
        EXPECT_EQ(picture.open(memory(jpeg), request(1, width, 10)), opens);
        EXPECT_EQ(last_of(&log), opens ? "" : "VrBitmapDecoder|not supported decoding size");
    }
    FactoryPicture none;
    EXPECT_FALSE(none.open(memory(jpeg), request(1000)));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|not supported decoding size");
    EXPECT_FALSE(none.open({"/nonexistent/x", nullptr, 0}, request(1)));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|Error : can't file open in getFileSize : /nonexistent/x");
    const TempFile file(jpeg);
    CountingAllocator allocator;
    allocator.fail_at(1);
    EXPECT_FALSE(none.open({file.path(), nullptr, 0}, request(1)));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|fail to malloc file buffer");
    allocator.fail_at(1);
    EXPECT_FALSE(none.open(memory(jpeg), request(1)));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|fail to create decodinf info");
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

TEST(BindingsFactory, Windows) {
    LogCapture log;
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    Bytes whole(area(kWidth, kHeight) * 4);
    ASSERT_EQ(VorelDecodeBuffer(jpeg.data(), whole.data(), static_cast<int32_t>(jpeg.size()), COLOR_RGBA8888, 1), 1);
    for (const FactoryWindow &window :
         {FactoryWindow{0, 0, kWidth, kHeight}, {17, 33, 100, 40}, {kWidth - 1, kHeight - 1, 1, 1}}) {
        FactoryPicture picture;
        ASSERT_TRUE(picture.open(memory(jpeg), request(1)) && picture.has_window(window));
        GuardBuffer pixels(area(window.width, window.height) * 4);
        EXPECT_EQ(picture.decode_window(pixels.data(), window), 1);
        EXPECT_TRUE(pixels.bytes() == cut_of(whole, kWidth, window.x, window.y, window.width, window.height));
    }
    FactoryPicture picture;
    ASSERT_TRUE(picture.open(memory(jpeg), request(1)));
    log.take();
    for (const FactoryWindow &window : {FactoryWindow{-1, 0, 10, 10},
                                        {0, 0, kWidth + 1, 10},
                                        {0, 1, 10, kHeight},
                                        {5, 5, 0, 10},
                                        {INT32_MAX, 0, INT32_MAX, 1}}) {
        EXPECT_FALSE(picture.has_window(window));
        EXPECT_EQ(last_of(&log), "VrBitmapDecoder|incorrect rect size - x : " + std::to_string(window.x) +
                                     ", y : " + std::to_string(window.y) + ", w : " + std::to_string(window.width) +
                                     ", h : " + std::to_string(window.height));
    }
}

TEST(BindingsFactory, BoundsAndBufferSizes) {
    const LogCapture log;
    int32_t width = -1, height = -1;
    const Bytes junk(64, 'x');
    EXPECT_FALSE(picture_bounds(memory(junk), COLOR_RGBA8888, &width, &height));
    EXPECT_TRUE(width == -1 && height == -1);
    EXPECT_TRUE(picture_bounds(memory(jpeg_of(kWidth, kHeight)), 0, &width, &height));
    EXPECT_TRUE(width == kWidth && height == kHeight);
    struct Case {
        int32_t format, width, height;
        size_t bytes;
    };
    for (const Case &c : {Case{COLOR_RGBA8888, 3, 5, 60}, Case{COLOR_RGB565, 3, 5, 30}, Case{COLOR_YUV420, 4, 4, 32},
                          Case{COLOR_NV12, 1, 1, 3}, Case{COLOR_RGB888, 3, 5, 60}, Case{COLOR_RGBA8888, 0, 5, 0},
                          Case{COLOR_RGBA8888, 40000, 40000, 0}, Case{COLOR_RGBA8888, INT32_MAX, INT32_MAX, 0}}) {
        size_t bytes = 0;
        EXPECT_EQ(display_bytes(c.format, c.width, c.height, &bytes), c.bytes != 0);
        if (c.bytes) EXPECT_EQ(bytes, c.bytes) << c.format;
    }
}

// ---- Kept sessions

OwnedSession kept(const Bytes &jpeg, int32_t format = COLOR_RGBA8888) {
    return OwnedSession(keep_jpeg(memory(jpeg), format, 0));
}

TEST(BindingsKept, AreOfJpegsAndOwnTheirBytes) {
    LogCapture log;
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    const TempFile file(jpeg);
    int32_t width, height;
    EXPECT_FALSE(jpeg_size({"/nonexistent/x", nullptr, 0}, &width, &height));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|CreateDecInfo Error");
    EXPECT_FALSE(read_exif(nullptr, file.path()));
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|Exif Parsing Error");
    OwnedSession session;
    {
        Bytes going = jpeg;
        session = kept(going);
        std::fill(going.begin(), going.end(), 0);
    }
    ASSERT_TRUE(session);
    Bytes pixels(area(kWidth, kHeight) * 4), expected = pixels;
    EXPECT_EQ(decode_kept(session.get(), pixels.data(), {kWidth, kHeight, 1}), 1);
    VorelDecodeFile(file.path(), expected.data(), 0, COLOR_RGBA8888, 1);
    EXPECT_TRUE(pixels == expected);
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        const bool opened = kept(jpeg) != nullptr;
        EXPECT_NE(opened, allocator.failed());
        EXPECT_EQ(allocator.live_blocks(), 0u);
    });
}

TEST(BindingsKept, Sizes) {
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    // The size that is asked for is small enough for one piece; below 1 it is the caller's.
    for (const auto &[sample, is_width, is_height] :
         {std::tuple{1, 200, 120}, {8, 25, 15}, {10, 20, 12}, {0, 20, 12}}) {
        const OwnedSession session = kept(jpeg);
        int32_t width, height;
        kept_size(session.get(), {20, 12, sample}, &width, &height);
        EXPECT_TRUE(width == is_width && height == is_height) << sample;
        GuardBuffer pixels(area(width, height) * 4), expected(area(width, height) * 4);
        EXPECT_EQ(decode_kept(session.get(), pixels.data(), {20, 12, sample}), 1);
        if (sample == 0) continue;
        VorelDecodeBuffer(jpeg.data(), expected.data(), static_cast<int32_t>(jpeg.size()), COLOR_RGBA8888, sample);
        EXPECT_TRUE(pixels.bytes() == expected.bytes()) << sample;
        const FactoryWindow window = {3, 5, width / 2, height / 2};
        GuardBuffer part(area(window.width, window.height) * 4);
        EXPECT_EQ(decode_kept_window(session.get(), part.data(), {0, 0, sample}, window), 1);
        EXPECT_TRUE(part.bytes() == cut_of(expected.bytes(), width, 3, 5, window.width, window.height)) << sample;
    }
}

// An iteration that ended with a map left a window of its own size: whatever decodes the session later has its own.
TEST(BindingsKept, DecodesBehindAMap) {
    const LogCapture log;
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    using Decode = int32_t (*)(DecInfo *, void *, int32_t, int32_t);
    constexpr Decode kDecodes[] = {[](DecInfo *session, void *output, int32_t, int32_t) {
                                       return decode_kept(session, output, {0, 0, 4});
                                   },
                                   [](DecInfo *session, void *output, int32_t, int32_t) {
                                       return decode_kept_with_midpoints(session, output, {0, 0, 4}, 0);
                                   },
                                   [](DecInfo *session, void *output, int32_t width, int32_t height) {
                                       return decode_kept_thumbnail(session, output, width, height, 2);
                                   },
                                   [](DecInfo *session, void *output, int32_t width, int32_t height) {
                                       EXPECT_EQ(prepare_kept(session, width, height), 1);
                                       return VORELBRIM_DecodeJPEGIter(session, output, width, height, VOREL_ITERATE,
                                                                       height);
                                   }};
    GuardBuffer pixels(area(kWidth, kHeight)), expected(area(kWidth, kHeight) / 4);
    VorelDecodeBuffer(jpeg.data(), expected.data(), static_cast<int32_t>(jpeg.size()), COLOR_RGBA8888, 4);
    for (const Decode &decode : kDecodes) {
        const OwnedSession session = kept(jpeg);
        const int32_t width = kWidth / 2, height = kHeight / 2;
        ASSERT_EQ(prepare_kept(session.get(), width, height), 1);
        ASSERT_EQ(VORELBRIM_DecodeJPEGIter(session.get(), pixels.data(), width, height, 3, height), 1);
        ASSERT_TRUE(session->retainedJpegInfo);
        GuardBuffer small(expected.bytes().size());
        EXPECT_EQ(decode(session.get(), small.data(), kWidth / 4, kHeight / 4), 1);
        EXPECT_TRUE(small.bytes() == expected.bytes()) << &decode - kDecodes;
    }
}

TEST(BindingsKept, Midpoints) {
    LogCapture log;
    const OwnedSession session = kept(jpeg_of(kWidth, 400));
    Bytes whole(area(kWidth, 400) * 4);
    EXPECT_EQ(decode_kept_with_midpoints(session.get(), whole.data(), {0, 0, 1}, 5), 0);
    // Bytes that end early count as none.
    EXPECT_EQ(prepare_kept_midpoints(session.get(), kWidth, 400, Bytes(20, 3).data(), 20), 1);
    EXPECT_EQ(last_of(&log), "VrBitmapDecoder|prepare useMIDPoint is null");
    EXPECT_EQ(session->midpointCount, 0);
    EXPECT_EQ(session->sampleSize, 1);
}

TEST(BindingsKept, ResultsThatEndASession) {
    for (const auto &[result, flags, ends] : {std::tuple{4, 1, false},
                                              {4, 3, false},
                                              {1, 1, true},
                                              {1, 3, false},
                                              {0, 3, true},
                                              {6, 3, true},
                                              {0, 1, true}}) {
        EXPECT_EQ(ends_session(result, flags), ends) << result << " " << flags;
    }
}

TEST(BindingsKept, StripsOfEveryFormatFitTheirBytes) {
    const LogCapture log;
    const Bytes jpeg = jpeg_of(kWidth, 40);
    for (int32_t format = 0; format <= 20; ++format) {
        const OwnedSession session = kept(jpeg, format);
        const int32_t guard = pixel_layout(format).chroma == ChromaLayout::kNone ? 2 : 4;
        size_t bytes;
        ASSERT_TRUE(picture_bytes(format, kWidth, 16 + guard, &bytes));
        GuardBuffer strip(bytes);
        if (prepare_kept(session.get(), kWidth, 40) != 1) continue;
        while (VORELBRIM_DecodeJPEGIter4LTN(session.get(), strip.data(), kWidth, 40, 1, 16) == kIterMore) {
        }
    }
}

// Tiles side by side and in rows, put together again without their guard rows, are the picture.
TEST(BindingsKept, StripsInTiles) {
    const Bytes jpeg = jpeg_of(kWidth, 128);
    for (const int32_t format : {COLOR_RGBA8888, COLOR_NV12}) {
        Bytes whole(area(kWidth, 128) * 4);
        VorelDecodeBuffer(jpeg.data(), whole.data(), static_cast<int32_t>(jpeg.size()), format, 1);
        for (const int32_t blocks : {1, 4, 8}) {
            const OwnedSession session = kept(jpeg, format);
            const StripTiles tiles = {format, kWidth, blocks == 1 ? kWidth : 64, 32, blocks};
            ASSERT_TRUE(tiles.valid());
            ASSERT_EQ(prepare_kept(session.get(), kWidth, 128), 1);
            const int32_t bytes = format == COLOR_NV12 ? 1 : 4, above = tiles.guard() / 2;
            // Rows of a tile's plane from (x, y) of the picture's, which begins at `plane` and whose rows are kWidth
            // samples.
            int32_t wrong = 0;
            const auto compare = [&](const uint8_t *tile, const uint8_t *plane, int32_t x, int32_t y, int32_t rows) {
                const int32_t columns = std::min(tiles.tile_width, kWidth - x);
                for (int32_t row = 0; row < rows; ++row)
                    wrong +=
                        std::memcmp(tile + row * tiles.tile_width * bytes, plane + ((y + row) * kWidth + x) * bytes,
                                    static_cast<size_t>(columns * bytes)) != 0;
            };
            int32_t first = 0, result = kIterMore;
            for (; result == kIterMore; first += tiles.rows()) {
                void *strip = tiles.new_strip(), *put[8];
                result = VORELBRIM_DecodeJPEGIter4LTN(session.get(), strip, kWidth, 128, VOREL_ITERATE, tiles.rows());
                ASSERT_TRUE((result == 1 || result == kIterMore) && tiles.cut(strip, put));
                for (int32_t i = 0; i < blocks; ++i) {
                    const int32_t x = i % tiles.columns() * tiles.tile_width;
                    const int32_t y = first + i / tiles.columns() * tiles.tile_rows;
                    const uint8_t *tile = static_cast<const uint8_t *>(put[i]);
                    compare(tile + above * tiles.tile_width * bytes, whole.data(), x, y, tiles.tile_rows);
                    const uint8_t *chroma = tile + tiles.tile_width * (tiles.tile_rows + tiles.guard() + above / 2);
                    if (format == COLOR_NV12)
                        compare(chroma, whole.data() + kWidth * 128, x, y / 2, tiles.tile_rows / 2);
                    VORELBRIM_OsFree(put[i]);
                }
            }
            EXPECT_EQ(result, 1);
            EXPECT_EQ(wrong, 0) << format << " " << blocks;
        }
    }
    for (const StripTiles &tiles : {StripTiles{COLOR_RGB565, 64, 32, 16, 2},
                                    {COLOR_RGBA8888, 64, 32, 16, 0},
                                    {COLOR_RGBA8888, 65, 32, 16, 2},
                                    {COLOR_RGBA8888, 64, 0, 16, 2},
                                    {COLOR_NV12, 64, 32, 15, 2},
                                    {COLOR_RGBA8888, 50000, 32, 16, 1}}) {
        EXPECT_FALSE(tiles.valid());
    }
}

}  // namespace
}  // namespace vorel::test
