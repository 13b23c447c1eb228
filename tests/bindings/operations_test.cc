// Small operations of the natives, each over a table.
#include <gtest/gtest.h>
#include <vorel/bindings_java.h>

#include <cmath>

#include "bindings/java/operations/comparison.h"
#include "bindings/java/operations/encode.h"
#include "bindings/java/operations/native_buffer.h"
#include "bindings/java/operations/region_opening.h"
#include "bindings/java/operations/unicode.h"
#include "bindings/pictures.h"
#include "core/core.h"
#include "support/counting_allocator.h"
#include "support/layouts.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(BindingsOperations, Unicode) {
    struct Case {
        std::u16string units;
        std::string bytes;
        bool both_ways;
    };
    for (const Case &c : {Case{u"", "", true}, Case{u"a\u00e9\u20ac", "a\xC3\xA9\xE2\x82\xAC", true},
                          Case{u"x\U0001F4F7\U0010FFFF", "x\xF0\x9F\x93\xB7\xF4\x8F\xBF\xBF", true},
                          // Surrogates without their partners, at the end and before another character.
                          Case{std::u16string{0xD83D}, "\xEF\xBF\xBD", false},
                          Case{std::u16string{0xDCF7, u'a', 0xD83D, u'b'},
                               "\xEF\xBF\xBD"
                               "a\xEF\xBF\xBD"
                               "b",
                               false}}) {
        std::vector<uint16_t> units(c.units.begin(), c.units.end());
        char *text = utf8_of(units.data(), units.size());
        EXPECT_EQ(std::string(text), c.bytes);
        VORELBRIM_OsFree(text);
        if (!c.both_ways) continue;
        size_t count;
        uint16_t *back = utf16_of(c.bytes.data(), c.bytes.size(), &count);
        EXPECT_EQ(std::vector<uint16_t>(back, back + count), units);
        VORELBRIM_OsFree(back);
    }
    // Cut, overlong, a surrogate, beyond the last character, a lone continuation; text behind a NUL is none.
    for (const auto &[bytes, replaced] : {std::pair{"\xE2\x82", 2},
                                          {"\xC0\xAF", 2},
                                          {"\xED\xA0\x80", 3},
                                          {"\xF4\x90\x80\x80", 4},
                                          {"\x80", 1},
                                          {"\xF8", 1},
                                          {"\xE0\x80\x80", 3}}) {
        const std::string text = std::string(bytes) + "z" + '\0' + "q";
        size_t count;
        uint16_t *units = utf16_of(text.data(), text.size(), &count);
        EXPECT_EQ(count, static_cast<size_t>(replaced) + 1) << replaced;
        for (int i = 0; i < replaced; ++i) EXPECT_EQ(units[i], 0xFFFD);
        EXPECT_EQ(units[count - 1], 'z');
        VORELBRIM_OsFree(units);
    }
}

TEST(BindingsOperations, SubImages) {
    // 5 x 4 pixels of 4 bytes to 3 x 6 of 2, in every position: what lies outside either is left out.
    Bytes from(5 * 4 * 4);
    for (size_t i = 0; i < from.size(); ++i) from[i] = static_cast<uint8_t>(i + 1);
    for (int at = -7; at <= 7; ++at) {
        for (int to = -7; to <= 7; ++to) {
            GuardBuffer out(3 * 6 * 2, 0);
            EXPECT_EQ(copySubImageBuffer(out.data(), 3, 6, 2, to, to / 2, from.data(), 5, 4, 4, at, at / 2, 4, 3), 1);
            for (int y = 0; y < 6; ++y) {
                for (int x = 0; x < 3; ++x) {
                    const int sx = x - to + at, sy = y - to / 2 + at / 2;
                    const bool copied = x >= to && x < to + 4 && y >= to / 2 && y < to / 2 + 3 && sx >= 0 && sx < 5 &&
                                        sy >= 0 && sy < 4;
                    EXPECT_EQ(out.data()[(y * 3 + x) * 2 + 1], copied ? (sy * 5 + sx) * 4 + 2 : 0) << at << " " << to;
                }
            }
        }
    }
    GuardBuffer tile(2 * 3 * 4);
    EXPECT_EQ(getSubImageBuffer(tile.data(), 2, 3, from.data(), 5, 4, 3, 1, 4), 1);
    EXPECT_EQ(tile.bytes(), cut_of(from, 5, 3, 1, 2, 3));
    EXPECT_EQ(copySubImageBuffer(nullptr, 3, 6, 2, 0, 0, from.data(), 5, 4, 4, 0, 0, 4, 3), 0);
    EXPECT_EQ(copySubImageBuffer(tile.data(), 0, 6, 2, 0, 0, from.data(), 5, 4, 4, 0, 0, 4, 3), 0);
    GuardBuffer huge(4, 3);
    EXPECT_EQ(copySubImageBuffer(huge.data(), 1, 1, 4, INT32_MIN, INT32_MAX, from.data(), 5, 4, 4, INT32_MAX, INT32_MIN,
                                 INT32_MAX, INT32_MAX),
              1);
    EXPECT_EQ(huge.bytes(), Bytes(4, 3));
}

// The session is opened with a map, exact kernels, and its own bytes.
TEST(BindingsOperations, OpeningForRegions) {
    const Bytes jpeg = jpeg_of(40, 16);
    const int32_t length = static_cast<int32_t>(jpeg.size());
    void *bytes = VORELBRIM_OsMalloc(length);
    std::copy(jpeg.begin(), jpeg.end(), static_cast<uint8_t *>(bytes));
    RegionOpening opening;
    ASSERT_TRUE(opening.start(bytes, length) && opening.parse() && opening.scan());
    EXPECT_EQ(opening.session()->decOption, 0x30000u);
    EXPECT_EQ(opening.session()->fileBuffer, bytes);
}

TEST(BindingsOperations, Comparison) {
    LogCapture log;
    const uint8_t first[] = {0, 10, 20, 30}, second[] = {0, 10, 22, 30};
    EXPECT_TRUE(std::isinf(psnr(first, first, 4)));
    EXPECT_EQ(psnr(first, second, 0), 0);
    EXPECT_NEAR(psnr(first, second, 4), 10 * std::log10(255 * 255 / 1.0), 1e-9);
    // Rows of two bytes, of which the second picture has three.
    const uint8_t padded[] = {0, 10, 99, 22, 30, 99};
    EXPECT_EQ(psnr_of_rows(first, 2, padded, 3, 2, 2), psnr(first, second, 4));
    const TempFile file;
    EXPECT_TRUE(append_comparison(file.path(), {12, 34, 0, 0, 0, false, 48.5}));
    EXPECT_TRUE(append_comparison(file.path(), {12, 0, 90, 1000, 200, true, 41}));
    const Bytes text = read_file(file.path());
    EXPECT_EQ(std::string(text.begin(), text.end()),
              "Decode Speed : 12ms\tSKIA Speed : 34ms\tPSNR : 48.500000\n"
              "Encode Speed : 12 ms\tEncode Quality : 90\tOrigin File Size : 1000 Bytes\t"
              "Encode File Size : 200 Bytes\tPSNR : 41.000000\n");
    log.take();
    EXPECT_FALSE(append_comparison("/nonexistent/x", {}));
    EXPECT_EQ(log.take().back().text, "resWriter Error!");
}

Bytes encoded(const EncodeRequest &request) {
    int32_t size = 0;
    uint8_t *stream = encode_to_memory(request, &size);
    return taken(stream, static_cast<size_t>(size));
}

TEST(BindingsOperations, Encodes) {
    const LogCapture log;
    ExifInfo exif = {};
    exif.orientation = 6;
    // Camera data go into either kind of stream.
    for (const int height : {100, 600}) {
        Bytes pixels = picture_rgba(120, height);
        for (const bool optimize : {false, true}) {
            EncodeRequest request = {pixels.data(), 120, height, COLOR_RGBA8888, 90, nullptr, optimize};
            const Bytes jpeg = encoded(request);
            const TempFile file;
            EXPECT_EQ(encode_to_file(request, file.path()), 1);
            EXPECT_TRUE(read_file(file.path()) == jpeg);
            EXPECT_EQ(encode_to_file(request, "/nonexistent/x"), 0);
            EXPECT_EQ(jpeg == jpeg_of(120, height), !optimize);
            request.exif = &exif;
            Input input(Kind::kMemory, encoded(request));
            ExifInfo *read = BRIMJ_CreatExifInfo(input.session());
            EXPECT_TRUE(read && read->orientation == 6) << height;
            BRIMJ_DestroyExifInfo(read);
        }
    }
    for (const int32_t format : {COLOR_YUV420, COLOR_BGRA8888, COLOR_YUYV, COLOR_NV21, COLOR_NV12}) {
        Bytes pixels = picture_rgba(120, 600);
        int32_t sizes[2];
        for (const bool optimize : {false, true}) {
            VORELBRIM_OsFree(
                encode_to_memory({pixels.data(), 120, 600, format, 90, nullptr, optimize}, &sizes[optimize]));
        }
        EXPECT_LT(sizes[1], sizes[0]) << format;
    }
    Bytes pixels(400);
    EXPECT_TRUE(encoded({nullptr, 10, 10, COLOR_RGBA8888, 90, nullptr, false}).empty());
    EXPECT_TRUE(encoded({pixels.data(), 0, 10, COLOR_RGBA8888, 90, nullptr, false}).empty());
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        const Bytes jpeg = encoded({pixels.data(), 10, 10, COLOR_RGBA8888, 90, nullptr, false});
        EXPECT_TRUE(!jpeg.empty() || allocator.failed());
        EXPECT_EQ(allocator.live_blocks(), 0u);
    });
}

TEST(BindingsOperations, NativeBuffersAndFileSizes) {
    LogCapture log;
    VORELBRIM_OsFree(create_native_buffer(3, 5, 4));
    for (const auto &[width, height, bytes] :
         {std::tuple{0, 5, 4}, {3, -5, 4}, {3, 5, 0}, {INT32_MAX, INT32_MAX, INT32_MAX}, {1 << 16, 1 << 16, 1}}) {
        EXPECT_FALSE(create_native_buffer(width, height, bytes)) << width;
    }
    const TempFile file(Bytes(77, 1)), empty;
    EXPECT_EQ(getFileSize(file.path()), 77);
    EXPECT_EQ(getFileSize(empty.path()), 0);
    EXPECT_EQ(log.only(), "VrBitmapDecoder|Error : Illegal file open in getFileSize");
    EXPECT_EQ(getFileSize("/nonexistent/x"), 0);
    EXPECT_EQ(log.only(), "VrBitmapDecoder|Error : can't file open in getFileSize : /nonexistent/x");
    const int64_t before = gettime();
    EXPECT_LE(before, gettime());
    vorel_vjpeg_get_version();
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text.rfind("Build Date\t : ", 0), 0u);
    EXPECT_EQ(lines[1].text.rfind("Version\t : libvorel ", 0), 0u);
    EXPECT_EQ(lines[1].tag, "VrBitmapFactory");
}

}  // namespace
}  // namespace vorel::test
