// The calls for any type, over whole pictures: what they give is what the decoders give.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vorel/jpeg_decoder.h>

#include <atomic>
#include <thread>

#include "bindings/pictures.h"
#include "core/core.h"
#include "dng/support/dng_builder.h"
#include "png/images.h"
#include "support/counting_allocator.h"
#include "support/layouts.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// By path and from memory, into memory of the call's and of the caller's.
void expect_all_calls_give(const Bytes &expected, const Bytes &file, const VrOptions &wanted, int type, int width,
                           int height) {
    const TempFile on_disk(file);
    for (const bool by_path : {true, false}) {
        VrOptions options = wanted;
        void *pixels =
            by_path ? decodeFile(on_disk.path(), &options) : decodeByteArray(file.data(), length_of(file), &options);
        EXPECT_TRUE(taken(pixels, expected.size()) == expected) << by_path;
        EXPECT_TRUE(options.width == width && options.height == height && options.fileType == type);
        EXPECT_EQ(options.handle, nullptr);
        if (type == VOREL_IMAGE_NONE) continue;
        GuardBuffer output(expected.size());
        EXPECT_EQ(VrDecodeImage(by_path ? static_cast<const void *>(on_disk.path()) : file.data(), output.data(),
                                by_path ? 0 : length_of(file), wanted.colorFormat, &options),
                  1);
        EXPECT_TRUE(output.bytes() == expected) << by_path;
    }
}

TEST(BindingsDecode, GivesWhatTheDecodersGive) {
    struct Case {
        const char *name;
        Bytes file;
        int type, width, height;
        std::vector<int32_t> formats;
    };
    const PngSpec plain = {240, 160, 2, 8}, passes = {240, 160, 6, 8, true};
    const Case cases[] = {
        {"JPEG", jpeg_of(240, 160), VOREL_IMAGE_JPEG, 240, 160, {0, 2, 3, 7, 8, 18, 19}},
        {"JPEG in bands", jpeg_of(720, 640), VOREL_IMAGE_JPEG, 720, 640, {7, 19}},
        {"PNG", make_png(plain), VOREL_IMAGE_PNG, 240, 160, {7, 8}},
        {"interlaced PNG", make_png(passes), VOREL_IMAGE_PNG, 240, 160, {7}},
    };
    for (const Case &c : cases) {
        for (const int32_t format : c.formats) {
            for (const int32_t sample : {-1, 1, 2, 4, 8}) {
                SCOPED_TRACE(c.name + std::string(" ") + std::to_string(format) + " " + std::to_string(sample));
                const Size size = rounded(c.width, c.height, std::max(sample, 1));
                Bytes expected(format_bytes(format, size.width, size.height));
                ASSERT_EQ(VorelDecodeBuffer(c.file.data(), expected.data(), length_of(c.file), format, sample), 1);
                expect_all_calls_give(expected, c.file, options_for(sample, format), c.type, c.width, c.height);
            }
        }
    }
}

// Where the sides are not multiples, they are rounded, halves up.
TEST(BindingsDecode, RoundsSides) {
    const Bytes jpeg = jpeg_of(203, 157), png = make_png({203, 157, 2, 8});
    for (const int sample : {2, 3, 5, 8}) {
        const Size size = rounded(203, 157, sample);
        Bytes reduced(area(size.width, size.height) * 4), expected = reduced;
        Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
        ASSERT_EQ(VORELBRIM_GetImageType(input.session()), VOREL_IMAGE_JPEG);
        ImageInfo info;
        VORELBRIM_Parser(input.session(), &info);
        ASSERT_EQ(VORELBRIM_PDecodeJPEG(input.session(), expected.data(), size.width, size.height, sample), 1);
        expect_all_calls_give(expected, jpeg, options_for(sample), VOREL_IMAGE_JPEG, 203, 157);
        ASSERT_EQ(decodeVPNG(png.data(), length_of(png), vpng_read_fn, reduced.data(), size.width, size.height, sample,
                             COLOR_RGBA8888),
                  1);
        expect_all_calls_give(reduced, png, options_for(sample), VOREL_IMAGE_PNG, 203, 157);
    }
}

TEST(BindingsDecode, RawFiles) {
    const Bytes file = dng_of(101, 67);
    const TempFile on_disk(file);
    for (const int sample : {1, 2, 5}) {
        VDngOptionWords words = {};
        words[VDNG_OPTION_FACTOR] = sample;
        const Size size = rounded(101, 67, sample);
        const size_t bytes = area(size.width, size.height) * 4;
        const Bytes expected = taken(VDngDecodeBuffer(file.data(), length_of(file), 0, words), bytes);
        ASSERT_EQ(expected.size(), bytes);
        expect_all_calls_give(expected, file, options_for(sample), VOREL_IMAGE_NONE, 101, 67);
        VrOptions options = options_for(sample);
        GuardBuffer output(bytes), other(bytes);
        EXPECT_EQ(VrDecodeDNGFile(on_disk.path(), output.data(), size.width, size.height, &options), 1);
        EXPECT_EQ(VrDecodeDNGByteArray(file.data(), length_of(file), other.data(), 0, 0, &options), 1);
        EXPECT_TRUE(output.bytes() == expected && other.bytes() == expected);
        // Output of another size than the result's is not written.
        EXPECT_LT(VrDecodeDNGFile(on_disk.path(), output.data(), size.width, size.height - 1, &options), 0);
    }
    VrMetadata metadata;
    EXPECT_EQ(VrParseMetadata(on_disk.path(), &metadata), 1);
    EXPECT_TRUE(metadata.width == 101 && metadata.cropHeight == 67 && std::string(metadata.make) == "Maker");
    EXPECT_EQ(VrParseMetadataBA(file.data(), length_of(file), &metadata), 1);
    const TempFile jpeg(jpeg_of(16, 16));
    EXPECT_EQ(VrParseMetadata(jpeg.path(), &metadata), 0);
    int32_t width, height;
    EXPECT_EQ(VrParseDNGPreview(file.data(), length_of(file), &width, &height), 0);
    DngBuilder with_preview = dng_whole_file();
    const Bytes whole = with_preview.build();
    ASSERT_EQ(VrParseDNGPreview(whole.data(), length_of(whole), &width, &height), 1);
    Bytes preview(area(width, height) * 4), expected = preview;
    EXPECT_EQ(VrDecodeDNGPreview(whole.data(), length_of(whole), preview.data(), width, height), 1);
    decodeDNGPreviewImageBuffer(whole.data(), length_of(whole), expected.data(), width, height);
    EXPECT_TRUE(preview == expected);
}

TEST(BindingsDecode, RefusalsAndBounds) {
    const LogCapture log;
    for (const Sample &sample : all_samples()) {
        if (sample.type == VOREL_IMAGE_JPEG || sample.type == VOREL_IMAGE_PNG) continue;
        const TempFile file(sample.bytes);
        VrOptions options = options_for(1);
        EXPECT_EQ(decodeFile(file.path(), &options), nullptr) << sample.name;
        EXPECT_EQ(newInstanceFile(file.path(), &options), nullptr) << sample.name;
    }
    for (const auto &[bytes, type] : {std::pair{jpeg_of(203, 157), VOREL_IMAGE_JPEG},
                                      {make_png({203, 157, 2, 8}), VOREL_IMAGE_PNG},
                                      {dng_of(203, 157), VOREL_IMAGE_NONE}}) {
        const TempFile file(bytes);
        VrOptions options = options_for(1);
        options.justBounds = 1, options.fileType = 99;
        EXPECT_EQ(decodeFile(file.path(), &options), nullptr);
        EXPECT_TRUE(options.width == 203 && options.height == 157 && options.fileType == type);
        options = options_for(0);
        EXPECT_EQ(decodeByteArray(bytes.data(), length_of(bytes), &options), nullptr);
        if (type == VOREL_IMAGE_NONE) continue;
        // No more than 0 x 0 pixels; and a format that PNG does not have.
        options = options_for(1 << 20, COLOR_RGB565);
        EXPECT_EQ(decodeFile(file.path(), &options), nullptr);
        options = options_for(1, COLOR_RGB565);
        EXPECT_EQ(taken(decodeFile(file.path(), &options), 1).empty(), type == VOREL_IMAGE_PNG);
    }
}

TEST(BindingsDecode, NullArgumentsLeaveALine) {
    LogCapture log;
    VrOptions options = options_for(1);
    uint8_t byte = 0;
    int32_t word;
    uint8_t *buffer = nullptr;
    VrMetadata metadata;
    const std::pair<const char *, int64_t> calls[] = {
        {"VrDecodeImage", VrDecodeImage(nullptr, &byte, 0, 7, &options)},
        {"VrDecodeImage", VrDecodeImage("x", nullptr, 0, 7, &options)},
        {"VrDecodeImage", VrDecodeImage("x", &byte, 0, 7, nullptr)},
        {"VrDecodeImage", VrDecodeImage(&byte, &byte, -1, 7, &options)},
        {"VrDecodeCancel", VrDecodeCancel(nullptr)},
        {"decodeFile", decodeFile(nullptr, &options) != nullptr},
        {"decodeFile", decodeFile("x", nullptr) != nullptr},
        {"decodeByteArray", decodeByteArray(nullptr, 1, &options) != nullptr},
        {"decodeByteArray", decodeByteArray(&byte, 0, &options) != nullptr},
        {"decodeCancel", decodeCancel(nullptr)},
        {"VrDecodeDNGFile", VrDecodeDNGFile("x", nullptr, 1, 1, &options)},
        {"VrDecodeDNGByteArray", VrDecodeDNGByteArray(nullptr, 1, &byte, 1, 1, &options)},
        {"VrParseMetadata", VrParseMetadata(nullptr, &metadata)},
        {"VrParseMetadataBA", VrParseMetadataBA(&byte, 1, nullptr)},
        {"VrParseDNGPreview", VrParseDNGPreview(&byte, 1, nullptr, &word)},
        {"VrDecodeDNGPreview", VrDecodeDNGPreview(nullptr, 1, &byte, 1, 1)},
        {"compressToFile", compressToFile(nullptr, 1, 1, 7, "x", 90)},
        {"compressToByte", compressToByte(&byte, 1, 1, 7, &buffer, nullptr, 90)},
        {"VrNewInstance", VrNewInstance(nullptr, 0, &options)},
        {"newInstanceFile", newInstanceFile(nullptr, &options) != nullptr},
        {"newInstanceByteArray", newInstanceByteArray(&byte, 0, &options) != nullptr},
        {"decodeRegion", decodeRegion(nullptr, 0, 1, 0, 1, &options) != nullptr},
        {"decodeRegion2", decodeRegion2(nullptr, &byte, 0, 1, 0, 1, &options)},
        {"VrDoDecodeRegionEx", VrDoDecodeRegionEx(nullptr, &byte, 0, 0, 1, 1, 7, 1)},
        {"VrDoDecodeRegionPNGEx", VrDoDecodeRegionPNGEx(nullptr, &byte, 0, 0, 1, 1, 7, 1)},
        {"decodeRegionCancel", decodeRegionCancel(nullptr)},
        {"recycle", recycle(nullptr)},
        {"getWidth", getWidth(nullptr)},
        {"getHeight", getHeight(nullptr)},
        {"getCropOriginX", getCropOriginX(nullptr)},
        {"getCropSizeHeight", getCropSizeHeight(nullptr)},
        {"getExifMake", getExifMake(nullptr) != nullptr},
    };
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), std::size(calls));
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::string name = calls[i].first;
        const bool region = i >= 18;
        EXPECT_EQ(calls[i].second, 0) << name;
        EXPECT_EQ(lines[i].text.rfind("[" + name + ":", 0), 0u) << lines[i].text;
        EXPECT_EQ(lines[i].tag, region ? "VrBitmapRegionDecoder" : "VrBitmapFactory") << name;
        EXPECT_EQ(lines[i].priority, 6);
    }
}

TEST(BindingsDecode, FilesBelow20MiBAreReadWhole) {
    constexpr off_t kWhole = 20 << 20;
    const TempFile file(jpeg_of(64, 48));
    for (const off_t size : {kWhole - 1, kWhole}) {
        ASSERT_EQ(truncate(file.path(), size), 0);
        VrOptions options = options_for(1);
        GuardBuffer output(64 * 48 * 4);
        CountingAllocator allocator;
        EXPECT_EQ(VrDecodeImage(file.path(), output.data(), 0, COLOR_RGBA8888, &options), 1);
        EXPECT_EQ(allocator.peak_bytes() >= static_cast<size_t>(kWhole - 1), size < kWhole);
        EXPECT_EQ(allocator.live_blocks(), 0u);
    }
}

TEST(BindingsDecode, FailingAllocations) {
    const LogCapture log;
    const Bytes jpeg = jpeg_of(64, 48), png = make_png({64, 48, 2, 8});
    for (const Bytes &file : {jpeg, png}) {
        const auto decode = [&] {
            VrOptions options = options_for(1);
            void *pixels = decodeByteArray(file.data(), length_of(file), &options);
            const auto *bytes = static_cast<const uint8_t *>(pixels);
            Bytes out;
            if (bytes) out.assign(bytes, bytes + 64 * 48 * 4);
            VORELBRIM_OsFree(pixels);
            return out;
        };
        const Bytes good = decode();
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            // Rows of a PNG come another way where our own inflate has no memory.
            const Bytes out = decode();
            EXPECT_TRUE(out == good || (out.empty() && allocator.failed()));
            if (file == jpeg) EXPECT_EQ(out.empty(), allocator.failed());
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
        EXPECT_GT(allocations, 5u);
    }
}

// Another thread stops a decode as soon as it sees one.
TEST(BindingsDecode, CancelFromAnotherThread) {
    const LogCapture log;
    for (const Bytes &file : {jpeg_of(4000, 3000), dng_of(1600, 1200)}) {
        VrOptions options = options_for(1);
        std::atomic<bool> over = false;
        std::thread canceller([&] {
            while (!over) decodeCancel(&options), std::this_thread::yield();
        });
        bool stopped = false;
        // A cancel that comes before the decoder looks for one is lost to it.
        for (int i = 0; i < 50 && !stopped; ++i) {
            void *pixels = decodeByteArray(file.data(), length_of(file), &options);
            stopped = pixels == nullptr;
            VORELBRIM_OsFree(pixels);
        }
        over = true;
        canceller.join();
        EXPECT_TRUE(stopped) << file.size();
        EXPECT_EQ(options.handle, nullptr);
        EXPECT_EQ(decodeCancel(&options), 0);
    }
}

}  // namespace
}  // namespace vorel::test
