// Strips, MCU rows, columns and tasks: each gives the stream of one session.
#include <gtest/gtest.h>

#include <vorel/util.h>

#include <algorithm>
#include <cstring>

#include "jpeg/encoder/encode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "util/task_group.h"

namespace vorel::test {
namespace {

Bytes in_six_strips(RawInfo raw, int32_t quality, int32_t capacity = 100) {
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(capacity));
    int32_t size = capacity;
    Bytes stream;
    if (VORELBRIM_PEncodeJpegToBuffer(&raw, &buffer, &size, quality) == 1) stream.assign(buffer, buffer + size);
    VORELBRIM_OsFree(buffer);
    return stream;
}

Bytes in_file_strips(RawInfo raw, int32_t quality) {
    const TempFile file;
    EXPECT_EQ(DBG_VORELBRIM_PEncodeJpegToFile(&raw, file.path(), quality), 1);
    return read_file(file.path());
}

// Sides where the last strip, the last MCU and the restart interval are all kinds.
TEST(JpegEncoderStrips, JoinToTheStreamOfOneSession) {
    for (const int32_t format : kReadFormats) {
        for (const int width : {1, 3, 16, 63, 64, 65, 128}) {
            for (const int height : {511, 512, 577, 1000, 1027}) {
                SCOPED_TRACE(testing::Message() << "format " << format << ' ' << width << 'x' << height);
                const RawPicture picture = raw_picture(format, width, height);
                const Bytes whole = encode(picture);
                ASSERT_FALSE(whole.empty());
                EXPECT_EQ(in_six_strips(picture.record(), 85), whole);
                // Rows that pad the last MCU row of RGB888 are those of the row before, and a strip of 16 has none.
                const int last = height < 512 ? 64 : (height - 1) % 64 + 1;
                if (format != COLOR_RGB888 || last > 16) EXPECT_EQ(in_file_strips(picture.record(), 85), whole);
            }
        }
    }
}

TEST(JpegEncoderStrips, EveryHeightNumbersItsRestartsOn) {
    for (int height = 512; height <= 3000; height += 11) {
        for (const int width : {40, 64, 72}) {
            const RawPicture picture = raw_picture(COLOR_GRAY, width, height, 3);
            ASSERT_EQ(in_six_strips(picture.record(), 30), encode(picture, {.quality = 30})) << width << 'x' << height;
        }
    }
}

TEST(JpegEncoderStrips, PlanesApartAreThoseTogether) {
    for (const int32_t format :
         {COLOR_YUV420, COLOR_YUV422, COLOR_YUV440, COLOR_YUV444, COLOR_NV21, COLOR_NV12, COLOR_GRAY}) {
        const RawPicture picture = raw_picture(format, 37, 531);
        const size_t luma = 37 * 531;
        const size_t plane = (picture.pixels.size() - luma) / 2;
        RawInfo raw = picture.record();
        raw.planeY = raw.pixels;
        raw.planeU = raw.pixels + luma;
        raw.planeV = raw.pixels + luma + plane;
        raw.pixels = nullptr;
        EXPECT_EQ(in_six_strips(raw, 85), encode(picture)) << format;
        EXPECT_EQ(in_file_strips(raw, 85), encode(picture)) << format;
    }
}

TEST(JpegEncoderStrips, ArgumentsAreChecked) {
    const RawPicture picture = raw_picture(COLOR_YUV420, 16, 600);
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(64));
    const auto refused = [&](RawInfo raw, uint8_t **out, int32_t *size) {
        debug_BrimCodecError = 0;
        return VORELBRIM_PEncodeJpegToBuffer(&raw, out, size, 80) == 0 && debug_BrimCodecError == 15 &&
               VORELBRIM_EncodeJpegToBuffer(&raw, out, size, 80) == 0;
    };
    int32_t size = 64;
    RawInfo raw = picture.record();
    uint8_t *none = nullptr;
    EXPECT_TRUE(refused(raw, nullptr, &size));
    EXPECT_TRUE(refused(raw, &none, &size));
    EXPECT_TRUE(refused(raw, &buffer, nullptr));
    raw.pixels = nullptr;
    raw.planeY = raw.planeU = const_cast<uint8_t *>(picture.pixels.data());
    EXPECT_TRUE(refused(raw, &buffer, &size));
    raw.format = COLOR_RGBA8888;
    EXPECT_TRUE(refused(raw, &buffer, &size));
    raw.planeU = nullptr;
    raw.format = COLOR_GRAY;
    EXPECT_TRUE(refused(raw, &buffer, &size));
    // Sizes are those of the whole picture; a format without a reader has no strips.
    raw = picture.record();
    raw.height = 60000;
    EXPECT_EQ(VORELBRIM_PEncodeJpegToBuffer(&raw, &buffer, &size, 80), 0);
    raw.height = 600;
    raw.format = 99;
    EXPECT_EQ(VORELBRIM_PEncodeJpegToBuffer(&raw, &buffer, &size, 80), 0);
    VORELBRIM_OsFree(buffer);
}

TEST(JpegEncoderStrips, MissingMemoryKeepsTheCallersBuffer) {
    const RawPicture picture = raw_noise(COLOR_RGB565, 20, 520);
    const Bytes whole = encode(picture, {.quality = 100});
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(1000));
        int32_t size = 1000;
        RawInfo raw = picture.record();
        if (buffer) {
            const int32_t result = VORELBRIM_PEncodeJpegToBuffer(&raw, &buffer, &size, 100);
            EXPECT_NE(buffer, nullptr);
            if (result) EXPECT_EQ(Bytes(buffer, buffer + size), whole);
            EXPECT_TRUE(result == 1 || allocator.failed());
        }
        VORELBRIM_OsFree(buffer);
        // Of a strip that failed there is nothing.
        const TempFile file;
        if (DBG_VORELBRIM_PEncodeJpegToFile(&raw, file.path(), 100))
            EXPECT_LE(read_file(file.path()).size(), whole.size());
        EXPECT_EQ(allocator.live_blocks(), 0u);
    });
}

TEST(JpegEncoderEntries, FamiliesGiveTheSameStreams) {
    const int32_t width = 50, height = 40;
    for (const int32_t type : kReadFormats) {
        const RawPicture picture = raw_picture(type, width, height);
        void *pixels = const_cast<uint8_t *>(picture.pixels.data());
        const Bytes whole = encode(picture, {.quality = 77});
        auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(10));
        const TempFile file;
        const bool taken = type == COLOR_YUV420 || type == COLOR_RGBA8888 || type == COLOR_BGRA8888 ||
                           type == COLOR_YUYV || type == COLOR_NV21 || type == COLOR_NV12;
        int32_t size = 10;
        const auto same = [&](int32_t result) { return result == 1 && Bytes(buffer, buffer + size) == whole; };
        LogCapture log;
        EXPECT_EQ(same(encodeJPEGToBuffer(pixels, width, height, type, &buffer, &size, 77)), taken) << type;
        EXPECT_EQ(same(encodeJPEGToBufferOpt(pixels, width, height, type, &buffer, &size, 77)), taken) << type;
        EXPECT_EQ(encodeJPEGToFile(pixels, width, height, type, file.path(), 77), taken) << type;
        if (!taken) {
            const auto lines = log.take();
            const std::string end = " not support type : " + std::to_string(type);
            ASSERT_EQ(lines.size(), 6u);
            EXPECT_EQ(lines[1].text + lines[3].text + lines[5].text, "VJPEG encodeJPEGToBuffer" + end +
                                                                         "VJPEG encodeJPEGToBufferOpt" + end +
                                                                         "VJPEG encodeJPEGToFile" + end + "\n");
        }
        EXPECT_EQ(read_file(file.path()), taken ? whole : Bytes()) << type;
        EXPECT_TRUE(same(VjpgEncodeToBuffer(&buffer, &size, pixels, width, height, type, 77))) << type;
        EXPECT_EQ(VjpgEncodeToFile(file.path(), pixels, width, height, type, 77), 1);
        EXPECT_EQ(read_file(file.path()), whole) << type;
        auto *y = static_cast<uint8_t *>(pixels);
        uint8_t *u = y + width * height, *v = u + width / 2 * height / 2;
        EXPECT_EQ(same(VjpgEncodeToBuffer_YUV(&buffer, &size, y, u, v, width, height, type, 77)), type == COLOR_YUV420)
            << type;
        const bool pairs = type == COLOR_NV21 || type == COLOR_NV12;
        EXPECT_EQ(same(VjpgEncodeToBuffer_NV(&buffer, &size, y, u, width, height, type, 77)), pairs) << type;
        EXPECT_EQ(VjpgEncodeToFile_NV(file.path(), y, u, width, height, type, 77), pairs) << type;
        VORELBRIM_OsFree(buffer);
    }
}

TEST(JpegEncoderEntries, ScaledFormsResizeFirst) {
    const RawPicture picture = raw_picture(COLOR_NV21, 90, 70);
    void *pixels = const_cast<uint8_t *>(picture.pixels.data());
    RawPicture small{COLOR_NV21, 45, 33, Bytes(45 * 33 + 2 * 23 * 17)};
    vorel_resize_nv21(picture.pixels.data(), small.pixels.data(), 90, 70, 45, 33);
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(10));
    int32_t size = 10;
    ASSERT_EQ(encodeScaledJPEGToBuffer(pixels, 90, 70, 45, 33, COLOR_NV21, &buffer, &size, 85), 1);
    EXPECT_EQ(Bytes(buffer, buffer + size), encode(small));
    ASSERT_EQ(encodeScaledJPEGToBuffer(pixels, 90, 70, 90, 70, COLOR_NV21, &buffer, &size, 85), 1);
    EXPECT_EQ(Bytes(buffer, buffer + size), encode(picture));
    LogCapture log;
    for (const auto &[type, text] :
         {std::pair{COLOR_RGBA8888, "VJPEG encodeScaledJPEGToBuffer - not support rgba8888 resize"},
          {COLOR_NV12, "VJPEG encodeScaledJPEGToBuffer - not support nv12 resize"},
          {COLOR_GRAY, "VJPEG encodeScaledJPEGToBuffer not support type : 4"}}) {
        EXPECT_EQ(encodeScaledJPEGToBuffer(pixels, 90, 70, 45, 33, type, &buffer, &size, 85), 0);
        EXPECT_EQ(log.only(), std::string("VR_IMAGE_UTIL|") + text);
    }
    VORELBRIM_OsFree(buffer);
}

TEST(JpegEncoderTasks, WriteWhatTheDirectCallsWrite) {
    const RawPicture picture = raw_picture(COLOR_YUV420, 64, 530);
    void *pixels = const_cast<uint8_t *>(picture.pixels.data());
    const Bytes whole = encode(picture);
    const TempFile file;
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(10));
    int32_t size = 10;
    vorel_threadpool *pool = initTask(2);
    EXPECT_EQ(encodeJPEGToFileAsync(pixels, 64, 530, COLOR_YUV420, file.path(), 85, pool), 1);
    EXPECT_EQ(encodeJPEGToBufferAsync(pixels, 64, 530, COLOR_YUV420, &buffer, &size, 85, pool), 1);
    EXPECT_EQ(encodeJPEGToBufferAsync(nullptr, 64, 530, COLOR_YUV420, &buffer, &size, 85, pool), 1);
    waitTask(pool);
    EXPECT_EQ(read_file(file.path()), whole);
    EXPECT_EQ(Bytes(buffer, buffer + size), whole);
    VORELBRIM_OsFree(buffer);
    // Nobody takes tasks from this one.
    CountingAllocator allocator;
    pool = initTask(0);
    for (int i = 0; i < VOREL_THREADPOOL_TASKS; ++i) {
        ASSERT_EQ(vorel_threadpool_add_task(pool, encodeAsync, nullptr, 0), 1);
    }
    const size_t blocks = allocator.live_blocks();
    EXPECT_EQ(encodeJPEGToFileAsync(pixels, 64, 530, COLOR_YUV420, file.path(), 85, pool), -2);
    EXPECT_EQ(allocator.live_blocks(), blocks);
    waitTask(pool);
}

// A whole picture through the interface of MCU rows and of columns; columns with a restart marker after each MCU row.
TEST(JpegEncoderRows, SlicesAndBlocksGiveTheSameStream) {
    const int width = 84, height = 50;
    const RawPicture picture = raw_picture(COLOR_YUV420, width, height);
    const Bytes whole = encode(picture);
    RawInfo raw = picture.record();
    HuffmanSpec spec = {};
    spec.quality = 85;
    RimEncSink sink = {};
    sink.mode = 1;
    JEInfo *session = rim_jpeg_enc_mcu_init(&raw, &sink, &spec, nullptr);
    ASSERT_TRUE(session);
    uint32_t next = 0;
    Bytes slice(16 * width + 2 * 8 * (width / 2));
    for (int top = 0; top < height; top += 16) {
        const auto copy = [&](size_t to, size_t from, size_t row, int rows) {
            std::memcpy(&slice[to], &picture.pixels[from], row * static_cast<size_t>(rows));
        };
        const int rows = std::min(16, height - top), half = width / 2, area = width * height;
        copy(0, static_cast<size_t>(top * width), static_cast<size_t>(width), rows);
        copy(static_cast<size_t>(16 * width), static_cast<size_t>(area + top / 2 * half), static_cast<size_t>(half),
             rows / 2);
        copy(static_cast<size_t>(16 * width + 8 * half), static_cast<size_t>(area + half * height / 2 + top / 2 * half),
             static_cast<size_t>(half), rows / 2);
        EXPECT_EQ(rim_jpeg_enc_muc_process(session, slice.data(), &next), 1);
        EXPECT_EQ(next, static_cast<uint32_t>(top + 16));
    }
    EXPECT_EQ(rim_jpeg_enc_muc_process(session, slice.data(), &next), 0);
    uint8_t *buffer = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(rim_jpeg_enc_mcu_finish(session, &buffer, &size), 1);
    EXPECT_EQ(Bytes(buffer, buffer + size), whole);
    VORELBRIM_OsFree(buffer);
}

TEST(JpegEncoderRows, ColumnsGiveTheCoefficientsThatCameIn) {
    const int width = 84, height = 150;  // 6 x 10 MCUs
    const auto wanted = turbo_coefficients(encode(raw_picture(COLOR_YUV420, width, height)));
    PresetHeader preset = {};
    preset.componentCount = 3;
    preset.quantTableCount = 2;
    std::memcpy(preset.quantTables[0], rim_luminanceQuantTbl[0], 64);
    std::memcpy(preset.quantTables[1], rim_chrominanceQuantTbl[0], 64);
    preset.restart = 1;
    preset.component[0] = {0, 2, 2};
    preset.component[1] = preset.component[2] = {1, 1, 1};
    for (const uint32_t mode : {1u, 0u}) {
        const TempFile file;
        RawInfo raw = {};
        raw.width = width;
        raw.height = height;
        raw.format = COLOR_YUV420;
        HuffmanSpec spec = {};
        spec.quality = 85;
        RimEncSink sink = {};
        sink.mode = mode;
        if (mode == 0) sink.file = std::fopen(file.path(), "wb");
        JEInfo *session = rim_jpeg_enc_mcu_init(&raw, &sink, &spec, &preset);
        ASSERT_TRUE(session);
        ASSERT_EQ(__rim_jpeg_enc_col_encoder_init(session), 1);
        uint32_t column = 0;
        while (column < static_cast<uint32_t>(width)) {
            std::vector<int16_t *> pointers(10 * 10);
            const auto block = [&](size_t c, int x, int y) {
                const size_t across = static_cast<size_t>(wanted[c].across), down = static_cast<size_t>(wanted[c].down);
                const size_t bx = std::min(static_cast<size_t>(x), across - 1),
                             by = std::min(static_cast<size_t>(y), down - 1);
                return const_cast<int16_t *>(&wanted[c].coefficients[(by * across + bx) * 64]);
            };
            const int m = static_cast<int>(column) / 16;
            for (int row = 0; row < 10; ++row) {
                int16_t **mcu = &pointers[static_cast<size_t>(row) * 10];
                for (int i = 0; i < 4; ++i) mcu[i] = block(0, 2 * m + i % 2, 2 * row + i / 2);
                mcu[4] = block(1, m, row);
                mcu[5] = block(2, m, row);
            }
            ASSERT_EQ(__rim_jpeg_enc_col_entroy_encoder(session, pointers.data(), &column), 1);
        }
        ASSERT_EQ(__rim_jpeg_enc_col_encoder_finish(session), 1);
        uint8_t *buffer = nullptr;
        uint32_t size = 0;
        ASSERT_EQ(rim_jpeg_enc_mcu_finish(session, &buffer, &size), 1);
        if (mode == 0) std::fclose(sink.file);
        const Bytes jpeg = mode == 0 ? read_file(file.path()) : Bytes(buffer, buffer + size);
        const auto found = turbo_coefficients(jpeg);
        ASSERT_EQ(found.size(), 3u);
        for (size_t c = 0; c < 3; ++c) EXPECT_EQ(found[c].coefficients, wanted[c].coefficients) << c;
        EXPECT_EQ(turbo_planes(jpeg)->warnings, 1);
        if (mode == 1) VORELBRIM_OsFree(buffer);
    }
}

}  // namespace
}  // namespace vorel::test
