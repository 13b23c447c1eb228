// Baseline streams: their headers, their restart markers, what other decoders make of them, and what they never write
// over.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/encoder/encode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// The payload of the first segment with a marker, without its length; empty where there is none in front of the scan.
Bytes segment(const Bytes &jpeg, uint8_t marker) {
    for (size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == 0xFF;) {
        const size_t length = static_cast<size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3];
        if (jpeg[at + 1] == marker)
            return Bytes(jpeg.begin() + static_cast<long>(at) + 4, jpeg.begin() + static_cast<long>(at + 2 + length));
        if (jpeg[at + 1] == 0xDA) break;
        at += 2 + length;
    }
    return {};
}

// Numbers of the restart markers in their order.
std::vector<int> restarts(const Bytes &jpeg) {
    std::vector<int> numbers;
    for (size_t i = 0; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] >= 0xD0 && jpeg[i + 1] <= 0xD7) numbers.push_back(jpeg[i + 1] - 0xD0);
    }
    return numbers;
}

// Both decoders, and the same pixels from both.
void expect_readable(const Bytes &jpeg, int width, int height) {
    ASSERT_FALSE(jpeg.empty());
    const auto planes = turbo_planes(jpeg);
    ASSERT_TRUE(planes);
    EXPECT_EQ(planes->width, width);
    EXPECT_EQ(planes->height, height);
    // The scan's parameters alone are worth a warning.
    EXPECT_LE(planes->warnings, 1);
    const bool gray = planes->components.size() == 1;
    const Decoded ours = decode(jpeg, {.format = gray ? COLOR_GRAY : COLOR_YUV444, .width = width, .height = height});
    ASSERT_EQ(ours.result, 1);
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t i = 0; i < pixels; ++i) {
        const int x = static_cast<int>(i) % width, y = static_cast<int>(i) / width;
        ASSERT_EQ(ours.pixels[i], planes->box(0, x, y)) << x << "," << y;
    }
}

TEST(JpegEncoderStream, EverySizeAndFormatIsReadByBothDecoders) {
    for (const int32_t format : kReadFormats) {
        for (const auto &[width, height] :
             {std::pair{1, 1}, {2, 9}, {7, 17}, {16, 16}, {17, 8}, {33, 31}, {64, 40}, {131, 35}}) {
            for (const int quality : {1, 50, 92, 100}) {
                SCOPED_TRACE(testing::Message()
                             << "format " << format << ' ' << width << 'x' << height << " q" << quality);
                const RawPicture picture = raw_picture(format, width, height);
                expect_readable(encode(picture, {.quality = quality}), width, height);
            }
        }
    }
}

TEST(JpegEncoderStream, ScanHeaderEndsWithThreeZeros) {
    const Bytes jpeg = encode(raw_picture(COLOR_RGBA8888, 48, 32));
    EXPECT_EQ(segment(jpeg, 0xDA), (Bytes{3, 1, 0, 2, 0x11, 3, 0x11, 0, 0, 0}));
    Bytes usual = jpeg;
    const Bytes header = {3, 0x11, 0, 0, 0};
    auto at = std::search(usual.begin(), usual.end(), header.begin(), header.end());
    ASSERT_NE(at, usual.end());
    at[3] = 63;
    EXPECT_EQ(decode(jpeg, {.width = 48, .height = 32}).pixels, decode(usual, {.width = 48, .height = 32}).pixels);
}

TEST(JpegEncoderStream, HeadersSayWhatIsInside) {
    const Bytes jpeg = encode(raw_picture(COLOR_YUYV, 37, 21), {.quality = 50});
    EXPECT_EQ(head(jpeg, 20),
              (Bytes{0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 2, 0, 0x3B, 0, 0x3B, 0, 0}));
    EXPECT_EQ(segment(jpeg, 0xC0), (Bytes{8, 0, 21, 0, 37, 3, 1, 0x21, 0, 2, 0x11, 1, 3, 0x11, 1}));
    // Quality 50 is annex K itself; zigzag order.
    EXPECT_EQ(head(segment(jpeg, 0xDB), 8), (Bytes{0, 16, 11, 12, 14, 12, 10, 16}));
    EXPECT_EQ(segment(encode(raw_picture(COLOR_GRAY, 8, 8), {.quality = 100}), 0xDB), cat({{0}, Bytes(64, 1)}));
    EXPECT_EQ(segment(encode(raw_picture(COLOR_GRAY, 8, 8)), 0xC0), (Bytes{8, 0, 8, 0, 8, 1, 1, 0x11, 0}));
}

TEST(JpegEncoderStream, QualityIsClamped) {
    const auto at = [](int32_t quality) {
        const RawPicture picture = raw_picture(COLOR_NV21, 40, 24);
        RawInfo raw = picture.record();
        auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(4096));
        int32_t size = 4096;
        EXPECT_EQ(VORELBRIM_EncodeJpegToBuffer(&raw, &buffer, &size, quality), 1);
        const Bytes jpeg(buffer, buffer + size);
        VORELBRIM_OsFree(buffer);
        return jpeg;
    };
    EXPECT_EQ(at(-5), at(1));
    EXPECT_EQ(at(0), at(1));
    EXPECT_EQ(at(150), at(100));
    EXPECT_NE(at(1), at(2));
}

TEST(JpegEncoderStream, RestartsComeAtTheIntervalFromNumberZero) {
    // MCUs a row, interval: the row's, but 4 where that divides it.
    for (const auto &[mcus, interval] : {std::pair{1, 1}, {3, 3}, {4, 4}, {5, 5}, {8, 4}, {12, 4}}) {
        const Bytes jpeg = encode(raw_picture(COLOR_YUV420, 16 * mcus, 16 * 5));
        EXPECT_EQ(segment(jpeg, 0xDD), (Bytes{0, static_cast<uint8_t>(interval)}));
        const std::vector<int> numbers = restarts(jpeg);
        EXPECT_EQ(numbers.size(), static_cast<size_t>(mcus * 5 / interval - 1));
        for (size_t i = 0; i < numbers.size(); ++i) EXPECT_EQ(numbers[i], static_cast<int>(i % 8));
    }
}

// Memory whose end is guarded by the sanitizer; streams that do not fit are refused and nothing is written behind it.
TEST(JpegEncoderStream, MemoryThatDoesNotGrowIsNotOverrun) {
    const RawPicture picture = raw_noise(COLOR_YUV444, 70, 50);
    const Bytes whole = encode(picture, {.quality = 100});
    RawInfo raw = picture.record();
    for (size_t capacity = 0; capacity < whole.size() + 3;
         capacity += 1 + (capacity + 16 < whole.size() ? capacity / 512 : 0)) {
        Bytes memory(capacity + 16, 0xA5);
        RimEncSink record = {};
        record.buffer = memory.data();
        record.capacity = static_cast<uint32_t>(capacity);
        const int32_t result = rim_enc_jpeg_to_buffer_full_buffer(&raw, &record, 100);
        EXPECT_EQ(result, capacity >= whole.size()) << capacity;
        EXPECT_EQ(record.buffer, memory.data());
        if (result) EXPECT_EQ(Bytes(memory.begin(), memory.begin() + record.total), whole);
        for (size_t i = capacity; i < memory.size(); ++i) ASSERT_EQ(memory[i], 0xA5) << capacity;
    }
}

TEST(JpegEncoderStream, EveryWayOutGivesTheSameBytes) {
    for (const RawPicture &picture : {raw_picture(COLOR_RGB888, 100, 90), raw_noise(COLOR_BGRA8888, 200, 120)}) {
        RawInfo raw = picture.record();
        const Bytes memory = encode(picture, {.quality = 97, .capacity = 5});
        Bytes called;
        const auto callback = [](void *out, uint8_t *data, uint32_t count) {
            static_cast<Bytes *>(out)->insert(static_cast<Bytes *>(out)->end(), data, data + count);
        };
        EXPECT_EQ(rim_enc_jpeg_to_stream(&raw, callback, 97, &called), 1);
        EXPECT_EQ(called, memory);
        const TempFile file;
        EXPECT_EQ(VORELBRIM_EncodeJpegToFile(&raw, file.path(), 97), 1);
        EXPECT_EQ(read_file(file.path()), memory);
        RimEncSink record = {};
        record.file = std::fopen(file.path(), "wb");
        EXPECT_EQ(rim_enc_jpeg_to_file_full_buffer(&raw, &record, 97), 1);
        EXPECT_EQ(read_file(file.path()), memory);
    }
}

// Ten blocks an MCU, of 31-bit codes without a zero bit, to memory that grows from any size.
TEST(JpegEncoderStream, LongestBlocksFit) {
    HuffmanSpec spec = {};
    spec.valid = 1;
    for (int i = 0; i < 4; ++i) {
        HuffmanSlot &slot = (i < 2 ? spec.dcSlots : spec.acSlots)[i % 2];
        for (uint8_t length = 1; length <= 16; ++length) slot.counts[length] = 1, slot.values[length - 1] = length - 1;
        slot.counts[16] = 2;
        slot.values[16] = i < 2 ? 16 : 15;
    }
    PresetHeader preset = {3, {}, 1, {}, 0, 0, {{0, 2, 2}, {0, 2, 2}, {0, 1, 2}}};
    int16_t blocks[2][64], *pointers[10];
    std::fill_n(&blocks[0][0], 128, int16_t{32767});
    blocks[1][0] = -32768;
    for (int i = 0; i < 10; ++i) pointers[i] = blocks[i % 2];
    RawInfo raw = {};
    raw.width = raw.height = 16;
    for (uint32_t capacity = 1; capacity < 7000; capacity += 97) {
        RimEncSink sink = {1, capacity, 0, 0, nullptr, static_cast<uint8_t *>(VORELBRIM_OsMalloc(capacity)), {}, {}};
        JEInfo *session = rim_jpeg_enc_mcu_init(&raw, &sink, &spec, &preset);
        EXPECT_EQ(__rim_jpeg_enc_entroy_encoder(session, pointers, nullptr), 1);
        EXPECT_EQ(rim_jpeg_enc_mcu_finish(session, &sink.buffer, &sink.total), 1);
        EXPECT_GT(sink.total, 4900u);
        VORELBRIM_OsFree(sink.buffer);
    }
}

// The quantised coefficients that a caller codes by itself: every value, in tables that do not have all of them.
TEST(JpegEncoderStream, CoefficientsWithoutACodeFail) {
    const RawPicture picture = raw_picture(COLOR_YUV420, 16, 16);
    for (const int value : {0, 1, -1, 31, -32, 1023, -1023, 1024, -1024, 32767, -32768}) {
        for (const int at : {0, 1, 8, 63}) {
            RawInfo raw = picture.record();
            RimEncSink sink = {};
            sink.mode = 1;
            HuffmanSpec spec = {};
            spec.quality = 100;
            JEInfo *session = rim_jpeg_enc_mcu_init(&raw, &sink, &spec, nullptr);
            ASSERT_TRUE(session);
            int16_t blocks[10][64] = {};
            int16_t *pointers[10];
            for (int i = 0; i < 10; ++i) pointers[i] = blocks[i];
            blocks[3][at] = static_cast<int16_t>(value);
            uint32_t next = 0;
            const bool coded = std::abs(value) < (at == 0 ? 2048 : 1024);
            EXPECT_EQ(__rim_jpeg_enc_entroy_encoder(session, pointers, &next), coded) << value << " at " << at;
            uint8_t *buffer = nullptr;
            uint32_t size = 0;
            EXPECT_EQ(rim_jpeg_enc_mcu_finish(session, &buffer, &size), coded);
            if (coded) {
                EXPECT_EQ(next, 16u);
                const auto coefficients = turbo_coefficients(Bytes(buffer, buffer + size));
                ASSERT_EQ(coefficients.size(), 3u);
                EXPECT_EQ(coefficients[0].coefficients[static_cast<size_t>(3 * 64 + at)], value);
            }
            VORELBRIM_OsFree(buffer);
        }
    }
}

TEST(JpegEncoderStream, SizesAreRefused) {
    uint8_t pixel[4] = {};
    for (const auto &[width, height] : {std::pair{0, 1}, {1, 0}, {1, -1}, {50000, 1}, {1, 50000}}) {
        auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(4096));
        int32_t size = 4096;
        EXPECT_EQ(VjpgEncodeToBuffer(&buffer, &size, pixel, width, height, COLOR_GRAY, 80), 0);
        RawInfo raw = {};
        raw.width = static_cast<uint32_t>(width);
        raw.height = height;
        raw.pixels = pixel;
        raw.format = COLOR_GRAY;
        EXPECT_EQ(rim_enc_jpeg_to_buffer(&raw, &buffer, &size, 80), 0);
        VORELBRIM_OsFree(buffer);
    }
    // Strips that are not in their picture, and a header that asks for more chroma than it has.
    const RawPicture picture = raw_picture(COLOR_NV21, 16, 16);
    PresetHeader full_chroma = {3, {}, 1, {}, 0, 0, {{0, 1, 1}, {0, 1, 1}, {0, 1, 1}}};
    for (const uint32_t start : {0u, 1u, 16u, 0xFFFFFFF0u}) {
        RawInfo strip = picture.record();
        strip.stripMode = 1, strip.stripStartRow = start, strip.fullHeight = 16;
        RimEncSink sink = {};
        EXPECT_EQ(__rim_jpeg_enc_initiaize(&strip, &sink, nullptr, start ? nullptr : &full_chroma), nullptr) << start;
    }
}

TEST(JpegEncoderStream, MissingMemoryFailsCleanly) {
    const RawPicture picture = raw_noise(COLOR_RGBA8888, 60, 40);
    const Bytes whole = encode(picture, {.quality = 100, .capacity = 100});
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        const Bytes jpeg = encode(picture, {.quality = 100, .capacity = 100});
        EXPECT_TRUE(jpeg == whole || (allocator.failed() && jpeg.empty()));
        EXPECT_EQ(allocator.live_blocks(), 0u);
    });
}

}  // namespace
}  // namespace vorel::test
