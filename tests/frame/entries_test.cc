// The entries that take a path or a buffer. WBMP and JPEG stand for the formats: what is decoded is other modules'
// matter.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "core/core.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// 20 x 6, white on the left half of each row.
Bytes half_white() {
    Bytes bits;
    for (int y = 0; y < 6; ++y) bits = cat({bits, {0xFF, 0xC0, 0}});
    return wbmp(20, 6, bits);
}

int32_t length_of(const Bytes &bytes) { return static_cast<int32_t>(bytes.size()); }

// A file replaced by a FIFO that nobody writes to.
struct Fifo : TempFile {
    Fifo() { EXPECT_EQ(unlink(path()) || mkfifo(path(), 0600), 0); }
};

// Makes a file of this length behind the bytes that it has.
void stretch_file(const TempFile &file, off_t length) { ASSERT_EQ(truncate(file.path(), length), 0); }

TEST(Entries, FileAndBufferDecodeAlikeAtEverySampleSize) {
    const Bytes bytes = half_white();
    const TempFile file(bytes);
    for (const int32_t sample : {-3, 0, 1, 2, 3}) {
        const int32_t divisor = sample < 1 ? 1 : sample;
        GuardBuffer by_file(static_cast<size_t>((20 / divisor) * (6 / divisor) * 3), 7);
        GuardBuffer by_buffer(by_file.size(), 7), by_options(by_file.size(), 7);
        EXPECT_EQ(VorelDecodeFile(file.path(), by_file.data(), 99, COLOR_RGB888, sample), 1) << sample;
        EXPECT_EQ(VorelDecodeBuffer(bytes.data(), by_buffer.data(), length_of(bytes), COLOR_RGB888, sample), 1);
        int32_t options[3] = {0x1000, -1, -1};
        EXPECT_EQ(VorelDecodeFileOpt(file.path(), by_options.data(), 0, COLOR_RGB888, sample, options), 1);
        EXPECT_EQ(options[1], 20 / divisor);
        EXPECT_EQ(options[2], 6 / divisor);
        EXPECT_EQ(by_file.bytes(), by_buffer.bytes());
        EXPECT_EQ(by_file.bytes(), by_options.bytes());
        EXPECT_NE(by_file.bytes(), Bytes(by_file.size(), 7));
    }
}

TEST(Entries, SizesOfFilesAndBuffers) {
    const Bytes bytes = cat({{1, 2, 3}, half_white()});
    int32_t width = 0, height = 0;
    EXPECT_EQ(VorelGetImageInfoFromBuffer(bytes.data(), 3, length_of(bytes) - 3, &width, &height), 5);
    EXPECT_EQ(width, 20);
    EXPECT_EQ(height, 6);
    const TempFile jpeg(jpeg_header(30, 40));
    EXPECT_EQ(VjpgGetImageInfoFromFile(jpeg.path(), 0, 0, &width, &height), 1);
    EXPECT_EQ(width, 30);
    EXPECT_EQ(height, 40);
    EXPECT_EQ(VorelGetImageInfoFromFile(jpeg.path(), 0, 0, &width, &height), 1);
}

TEST(Entries, FailuresLeaveOneLineOfTheirFamily) {
    LogCapture log;
    const Bytes wbmp_bytes = half_white(), junk(30, 'x');
    const TempFile file(wbmp_bytes), junk_file(junk);
    uint8_t out[2000];
    int32_t w, h, options[3] = {};
    const auto expect_line = [&](int32_t result, const char *tag, const std::string &start) {
        EXPECT_EQ(result, 0) << start;
        const std::vector<LogLine> lines = log.take();
        ASSERT_EQ(lines.size(), 1u) << start;
        EXPECT_EQ(lines[0].tag, tag);
        EXPECT_EQ(lines[0].priority, 4);
        EXPECT_EQ(lines[0].text.rfind(start, 0), 0u) << lines[0].text;
    };
    const char *vorel = "VOREL_STAT", *vjpg = "VJPEG_STAT";
    expect_line(VorelDecodeFile(nullptr, out, 0, 0, 1), vorel, "[VorelDecodeFile:");
    expect_line(VorelDecodeFile(file.path(), nullptr, 0, 0, 1), vorel, "[VorelDecodeFile:");
    expect_line(VjpgDecodeFileOpt(nullptr, out, 0, 0, 1, options), vjpg, "[VjpgDecodeFileOpt:");
    expect_line(VorelDecodeBuffer(nullptr, out, 30, 0, 1), vorel, "[VorelDecodeBuffer:");
    expect_line(VjpgDecodeBuffer(nullptr, out, 30, 0, 1), vjpg, "[VjpgDecodeBuffer:");
    expect_line(VorelDecodeBuffer(junk.data(), out, 30, 0, 1), vorel, "[VorelDecodeBuffer:");
    expect_line(VorelDecodeBuffer(junk.data(), out, 0, 0, 1), vorel, "[VorelDecodeBuffer:");
    expect_line(VorelDecodeBuffer(junk.data(), out, -30, 0, 1), vorel, "[VorelDecodeBuffer:");
    expect_line(VorelDecodeFile(junk_file.path(), out, 0, 0, 1), vorel, "[VorelDecodeFile:");
    expect_line(VorelDecodeBuffer(wbmp_bytes.data(), out, length_of(wbmp_bytes), COLOR_YUV420, 1), vorel,
                "[VorelDecodeBuffer:");
    expect_line(VorelGetImageInfoFromFile(nullptr, 0, 0, &w, &h), vorel, "[VorelGetImageInfoFromFile:");
    expect_line(VorelGetImageInfoFromFile(file.path(), 0, 0, nullptr, &h), vorel, "[VorelGetImageInfoFromFile:");
    expect_line(VjpgGetImageInfoFromFile(file.path(), 0, 0, &w, &h), vjpg, "[VjpgGetImageInfoFromFile:");
    expect_line(VjpgGetImageInfoFromBuffer(wbmp_bytes.data(), 0, length_of(wbmp_bytes), &w, &h), vjpg,
                "[VjpgGetImageInfoFromBuffer:");
    expect_line(VorelGetImageInfoFromBuffer(junk.data(), -1, 30, &w, &h), vorel, "[VorelGetImageInfoFromBuffer:");
    expect_line(VorelGetImageInfoFromBuffer(file.path(), 0, 0, &w, &h), vorel, "[VorelGetImageInfoFromBuffer:");
    expect_line(VorelDecodeFile("/nonexistent/x", out, 0, 0, 1), vorel,
                "Error : can't file open in getFileSize : /nonexistent/x");
    expect_line(VjpgGetFileSize("/nonexistent/x"), vjpg, "Error : can't file open in getFileSize : /nonexistent/x");
    expect_line(VorelGetFileSize(nullptr), vorel, "Error : can't file open in getFileSize : ");
}

TEST(Entries, FileSizes) {
    LogCapture log;
    const TempFile file(Bytes(1234, 1)), empty, huge, largest;
    stretch_file(huge, off_t{1} << 31);
    stretch_file(largest, (off_t{1} << 31) - 1);
    const Fifo fifo;
    EXPECT_EQ(VorelGetFileSize(file.path()), 1234);
    EXPECT_EQ(VjpgGetFileSize(largest.path()), INT32_MAX);
    EXPECT_TRUE(log.take().empty());
    for (const char *path : {empty.path(), huge.path(), fifo.path(), "/tmp"}) {
        EXPECT_EQ(VjpgGetFileSize(path), 0) << path;
        EXPECT_EQ(log.only(), "VJPEG_STAT|Error : Illegal file open in getFileSize") << path;
    }
}

// Three of the four buffer entries look the buffer up as if it were a path.
TEST(Entries, BuffersAreProbedAsPaths) {
    LogCapture log;
    GuardBuffer bytes(half_white());  // begins with a 0: an empty path
    const auto length = static_cast<int32_t>(bytes.size());
    uint8_t out[2000];
    int32_t options[3] = {};
    VorelDecodeBuffer(bytes.data(), out, length, 0, 1);
    EXPECT_TRUE(log.take().empty());
    VorelDecodeBufferOpt(bytes.data(), out, length, 0, 1, options);
    EXPECT_EQ(log.only(), "VOREL_STAT|Error : can't file open in getFileSize : ");
    for (const bool with_options : {false, true}) {
        if (with_options) VjpgDecodeBufferOpt(bytes.data(), out, length, 0, 1, options);
        if (!with_options) VjpgDecodeBuffer(bytes.data(), out, length, 0, 1);
        const std::vector<LogLine> lines = log.take();
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[0].text, "Error : can't file open in getFileSize : ");
        EXPECT_EQ(lines[0].tag, "VJPEG_STAT");
    }
    // A buffer without a terminator, longer than any path, and one that names a FIFO, which must not be waited for.
    GuardBuffer letters(Bytes(9000, 'a'));
    EXPECT_EQ(VorelDecodeBufferOpt(letters.data(), out, 9000, 0, 1, options), 0);
    const Fifo fifo;
    GuardBuffer name(text(fifo.path()));
    EXPECT_EQ(VorelDecodeBufferOpt(name.data(), out, static_cast<int32_t>(name.size()), 0, 1, options), 0);
}

TEST(Entries, OptionsReceiveTheSizeEvenWhenDecodingFails) {
    LogCapture log;
    const Bytes bytes = half_white();
    uint8_t out[2000];
    int32_t options[3] = {0, -1, -1};
    EXPECT_EQ(VorelDecodeBufferOpt(bytes.data(), out, length_of(bytes), COLOR_YUV420, 2, options), 0);
    EXPECT_EQ(options[1], 10);
    EXPECT_EQ(options[2], 3);
    options[1] = options[2] = -1;
    EXPECT_EQ(VjpgDecodeBufferOpt(bytes.data(), out, length_of(bytes), 0, 1, options), 0) << "no JPEG";
    EXPECT_EQ(options[1], 20);
    options[1] = options[2] = -1;
    EXPECT_EQ(VorelDecodeBufferOpt(bytes.data(), out, 0, 0, 1, options), 0);
    EXPECT_EQ(options[1], -1) << "no session, no size";
    EXPECT_EQ(VorelDecodeBufferOpt(bytes.data(), out, length_of(bytes), 0, 1, nullptr), 1);
}

TEST(Entries, FilesBelow20MiBAreReadWholeAndLargerOnesStreamed) {
    constexpr size_t kWhole = 20 << 20;
    const TempFile below(half_white()), from(half_white());
    stretch_file(below, kWhole - 1);
    stretch_file(from, kWhole);
    uint8_t out_below[240], out_from[240];
    CountingAllocator allocator;
    EXPECT_EQ(VorelDecodeFile(below.path(), out_below, 0, COLOR_RGB565, 1), 1);
    EXPECT_GE(allocator.peak_bytes(), kWhole - 1);
    allocator.reset_peak();
    EXPECT_EQ(VorelDecodeFile(from.path(), out_from, 0, COLOR_RGB565, 1), 1);
    EXPECT_LT(allocator.peak_bytes(), size_t{64} << 10);
    EXPECT_EQ(0, std::memcmp(out_below, out_from, sizeof out_below));
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// A FIFO that nobody writes to would be waited for until somebody does.
TEST(Entries, OnlyRegularFilesAreOpened) {
    const Fifo file;
    alarm(20);
    int32_t width, height;
    uint8_t pixels[64];
    EXPECT_EQ(VorelGetImageInfoFromFile(file.path(), 0, 0, &width, &height), 0);
    EXPECT_EQ(VorelDecodeFile(file.path(), pixels, 0, COLOR_RGB565, 1), 0);
    EXPECT_EQ(decodeJPEG(file.path(), 0, pixels, 4, 4, COLOR_RGBA8888), 0);
    EXPECT_EQ(getExif(file.path(), 0), nullptr);
    EXPECT_EQ(VORELBRIM_OpenDecHandle(file.path(), 0, 0), 0);
    EXPECT_EQ(VORELBRIM_OsFopen("/dev/null", "rb"), nullptr);
    alarm(0);
}

TEST(Entries, AFailureLeavesItsReason) {
    const Bytes cut = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'};
    uint8_t pixels[64];
    int32_t width, height;
    gVORELBRIM_Error = 11;
    EXPECT_EQ(VorelDecodeBuffer(cut.data(), pixels, length_of(cut), COLOR_RGBA8888, 1), 0);
    EXPECT_EQ(gVORELBRIM_Error, 5u);
    gVORELBRIM_Error = 11;
    EXPECT_EQ(VorelGetImageInfoFromBuffer(cut.data(), 0, length_of(cut), &width, &height), 0);
    EXPECT_EQ(gVORELBRIM_Error, 5u);
    EXPECT_EQ(VorelDecodeBuffer(cut.data(), pixels, 0, COLOR_RGBA8888, 1), 0);
    EXPECT_EQ(gVORELBRIM_Error, 12u);
    EXPECT_EQ(VorelDecodeFile("/nonexistent/x", pixels, 0, COLOR_RGBA8888, 1), 0);
    EXPECT_EQ(gVORELBRIM_Error, 13u);
    // The parser alone, whatever the word was before.
    Input input(Kind::kMemory, cut);
    StreamCursor cursor(input.session()->ioInfo);
    ImageInfo info = {};
    gVORELBRIM_Error = 13;
    EXPECT_EQ(BRIM_Parse(input.session(), cursor.stream(), &info), 0);
    EXPECT_EQ(gVORELBRIM_Error, 5u);
}

TEST(ImageUtility, DecodeJpegRefusals) {
    LogCapture log;
    const Bytes jpeg = jpeg_header(16, 16);
    uint8_t out[2000];
    const auto texts = [&] {
        std::vector<std::string> all;
        for (const LogLine &line : log.take()) {
            EXPECT_EQ(line.tag, "VR_IMAGE_UTIL");
            all.push_back(line.text);
        }
        return all;
    };
    const std::string version = "VJPEG decodeJPEG - 3.72.24.26799\n";
    for (const int32_t result : {decodeJPEG(nullptr, 5, out, 16, 16, 7), decodeJPEG(jpeg.data(), -1, out, 16, 16, 7),
                                 decodeJPEG(jpeg.data(), length_of(jpeg), nullptr, 16, 16, 99)})
        EXPECT_EQ(result, 0);
    EXPECT_EQ(texts(), std::vector<std::string>(3, version));
    for (const int32_t format : {-1, 0, 1, 3, 4, 5, 6, 9, 13, 14, 15, 16, 20}) {
        EXPECT_EQ(decodeJPEG(jpeg.data(), length_of(jpeg), out, 16, 16, format), 0);
        EXPECT_EQ(texts(), (std::vector<std::string>{
                               version, std::string("VJPEG decodeJPEG not support type : ") + std::to_string(format)}));
    }
    for (const int32_t format : {2, 7, 8, 17, 18, 19}) {
        EXPECT_EQ(decodeJPEG("/tmp/no-such-file", 0, out, 16, 16, format), 0);
        for (const LogLine &line : log.take()) EXPECT_EQ(line.text.find("not support"), std::string::npos);
    }
}

TEST(ImageUtility, ExifOfWhatIsNoPictureOrTooSmall) {
    LogCapture log;
    CountingAllocator allocator;
    const Bytes small = jpeg_header(7, 100), gif = gif_still();
    EXPECT_EQ(getExif(nullptr, 5), nullptr);
    EXPECT_EQ(log.only(), "VR_IMAGE_UTIL|VJPEG getExif - 3.72.24.26799");
    EXPECT_EQ(getExif(small.data(), -5), nullptr);
    EXPECT_EQ(getExif(small.data(), length_of(small)), nullptr) << "an eighth of 7 is no picture";
    EXPECT_EQ(getExif(gif.data(), length_of(gif)), nullptr);
    EXPECT_EQ(getExif("/nonexistent/x", 0), nullptr);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// By both, a file and a buffer of it, one of which may fail.
TEST(Conformance, EntriesWithoutMemoryReturn0OrTheWholePicture) {
    const LogCapture log;
    const Bytes bytes = wbmp(40, 8, Bytes(5 * 8, 0xAA));
    const TempFile file(bytes);
    for (const int32_t sample : {1, 3}) {
        Bytes expected(40 * 8 * 2, 1);
        ASSERT_EQ(VorelDecodeFile(file.path(), expected.data(), 0, COLOR_RGB565, sample), 1);
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            Bytes by_file(expected.size(), 1), by_buffer(expected.size(), 1);
            const int32_t file_result = VorelDecodeFile(file.path(), by_file.data(), 0, COLOR_RGB565, sample);
            const int32_t buffer_result = VorelDecodeBuffer(bytes.data(), by_buffer.data(),
                                                            static_cast<int32_t>(bytes.size()), COLOR_RGB565, sample);
            if (file_result) EXPECT_EQ(by_file, expected);
            if (buffer_result) EXPECT_EQ(by_buffer, expected);
            EXPECT_EQ(file_result + buffer_result, allocator.failed() ? 1 : 2);
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
        EXPECT_GE(allocations, 5u);
    }
    uint8_t byte = 0;
    with_each_allocation_failing([&](CountingAllocator &allocator) {
        SessionGuard session(VORELBRIM_CreateDecInfo(1, &byte, 1, 0, 0));
        EXPECT_EQ(!session, allocator.failed());
        EXPECT_EQ(gVORELBRIM_Error, session ? 0u : 4u);
    });
}

}  // namespace
}  // namespace vorel::test
