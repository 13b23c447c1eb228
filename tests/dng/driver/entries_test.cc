// What the entries return, and what they leave in options and records.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "dng/driver/files.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

int32_t length_of(const Bytes &bytes) { return static_cast<int32_t>(bytes.size()); }

Bytes mosaic_file(uint32_t width, uint32_t height) {
    DngBuilder builder;
    builder.first = dng_mosaic(width, height, 12, "0112");
    builder.first.samples = picture_samples(width, height, 1, 4095, 3);
    builder.tags = dng_color_tags();
    builder.tags.push_back(dng_text(271, "Maker"));
    return builder.build();
}

Bytes without_version() {
    DngBuilder builder;
    builder.version = 0;
    builder.first = dng_mosaic(16, 16, 12, "0112");
    return builder.build();
}

TEST(DngEntries, StatusesOfBadInput) {
    VDngOptionWords options = {};
    Bytes out(64);
    const Bytes no_tiff = text("no TIFF file"), none = without_version();
    const uint8_t empty = 0;
    EXPECT_EQ(VDngDecodeBuffer2Buf(&empty, 0, out.data(), 0, 0, options), VDNG_EMPTY);
    EXPECT_EQ(VDngDecodeBuffer2Buf(no_tiff.data(), length_of(no_tiff), out.data(), 0, 0, options), VDNG_FAILED);
    EXPECT_EQ(VDngDecodeBuffer2Buf(none.data(), length_of(none), out.data(), 0, 0, options), VDNG_NO_SIZE);
    EXPECT_EQ(VDngDecodeBuffer(none.data(), length_of(none), 0, options), nullptr);
    EXPECT_EQ(VDngDecodeFile2Buf("/nonexistent/file.dng", out.data(), 0, 0, options), VDNG_NOT_OPENED);
    EXPECT_EQ(VDngDecodeFile("/nonexistent/file.dng", 0, options), nullptr);
    const TempFile nothing, other(no_tiff);
    // Required: these two have changed their numbers, and the third is that of no memory.
    EXPECT_EQ(VDngDecodeFile2Buf(nothing.path(), out.data(), 0, 0, options), VDNG_NO_SIZE);
    EXPECT_EQ(VDngDecodeFile2Buf("/proc/self/mem", out.data(), 0, 0, options), VDNG_NO_SIZE);
    EXPECT_EQ(VDngDecodeFile2Buf(other.path(), out.data(), 0, 0, options), VDNG_NO_MEMORY);

    VDngRegionInstance *instance = nullptr;
    EXPECT_EQ(DngNewInstanceFile("/nonexistent/file.dng", &instance), VDNG_NOT_OPENED);
    EXPECT_EQ(DngNewInstanceFile(nothing.path(), &instance), VDNG_EMPTY);
    EXPECT_EQ(DngNewInstanceFile(other.path(), &instance), VDNG_FAILED);
    // Freed by the failed call.
    EXPECT_EQ(DngNewInstanceBuffer(static_cast<uint8_t *>(std::calloc(64, 1)), 64, &instance), VDNG_FAILED);
    EXPECT_EQ(DngNewInstanceBuffer(nullptr, 0, &instance), VDNG_EMPTY);
    EXPECT_EQ(instance, nullptr);

    decInfo info = {};
    EXPECT_EQ(parseDNGImageBuffer(no_tiff.data(), length_of(no_tiff), &info), -1);
    EXPECT_EQ(parseDNGImageBuffer(none.data(), length_of(none), &info), 0);
    EXPECT_EQ(info.width + info.height, 0u);
    EXPECT_EQ(parseDNGImageBuffer_for_RD(none.data(), length_of(none), &info), -1);
    EXPECT_EQ(finalizeHandle(&info), 0);
    EXPECT_EQ(cancelDecoding_for_RD(&info), 0);
    EXPECT_EQ(VDngCancelDecoding(nullptr), 0);
    EXPECT_EQ(VDngCancelDecoding(&info), 1);
    VDngMetaData metadata;
    EXPECT_EQ(VDngParseMetaDataBA(no_tiff.data(), length_of(no_tiff), &metadata), 0);
    EXPECT_EQ(VDngParseMetaData("/nonexistent/file.dng", &metadata), 0);
    static_assert(sizeof metadata == 284);
}

// The size that the options report is that in front of the reduction.
TEST(DngEntries, FactorsAndOptions) {
    const Bytes file = mosaic_file(101, 67);
    VDngOptionWords options = {};
    options[VDNG_OPTION_INFO] = 77;
    uint8_t *whole = VDngDecodeBuffer(file.data(), length_of(file), 0, options);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(options[VDNG_OPTION_INFO], 0);
    options[VDNG_OPTION_FACTOR] = 2;
    const TempFile on_disk(file);
    uint8_t *half = VDngDecodeFile(on_disk.path(), 0, options);
    ASSERT_NE(half, nullptr);
    EXPECT_EQ(options[VDNG_OPTION_WIDTH], 101);
    EXPECT_EQ(options[VDNG_OPTION_HEIGHT], 67);
    // 50.5 and 33.5 are rounded away from 0.
    GuardBuffer out(51 * 34 * 4);
    EXPECT_EQ(VDngDecodeBuffer2Buf(file.data(), length_of(file), out.data(), 0, 0, options), 1);
    EXPECT_EQ(std::memcmp(out.data(), half, 51 * 34 * 4), 0);
    options[VDNG_OPTION_FACTOR] = 1000;
    EXPECT_EQ(VDngDecodeFile2Buf(on_disk.path(), out.data(), 0, 0, options), 1);
    decInfo info = {};
    info.width = 101, info.height = 67;
    EXPECT_EQ(std::memcmp(developed(file, &info).data(), whole, 101 * 67 * 4), 0);
    std::free(whole);
    std::free(half);
}

TEST(DngEntries, RecordsOfAFile) {
    const Bytes file = mosaic_file(40, 30);
    const TempFile on_disk(file);
    VDngMetaData metadata;
    ASSERT_EQ(VDngParseMetaData(on_disk.path(), &metadata), 1);
    EXPECT_EQ(metadata.width, 40u);
    EXPECT_EQ(metadata.cropHeight, 30);
    EXPECT_STREQ(metadata.make, "Maker");
    VDngRegionInstance *instance = nullptr;
    ASSERT_NE(DngNewInstanceFile(on_disk.path(), &instance), VDNG_FAILED);
    EXPECT_STREQ(VDngGetExifMake(instance), "Maker");
    EXPECT_EQ(VDngGetCropSizeWidth(instance), 40);
    EXPECT_EQ(instance->ownsBuffer, 1);
    EXPECT_EQ(DngRdDestroy(instance->decoder, instance), 0);
    // Required: the maker is told by this parse alone.
    decInfo info = {};
    EXPECT_EQ(parseDNGImageBuffer(file.data(), length_of(file), &info), 0);
    EXPECT_STREQ(info.make, "");
    EXPECT_EQ(parseDNGImageBuffer_for_RD(file.data(), length_of(file), &info), 0);
    EXPECT_STREQ(info.make, "Maker");
    EXPECT_EQ(info.samplesPerPixel, 1u);
    EXPECT_EQ(info.whiteLevel[0], 4095);
    finalizeHandle(&info);
}

TEST(DngEntries, Previews) {
    DngBuilder builder;
    builder.first = dng_preview(20, 16);
    builder.first.subFileType = 1;
    builder.subs = {dng_mosaic(80, 64, 12, "0112")};
    builder.subs[0].samples = picture_samples(80, 64, 1, 4095, 2);
    builder.tags = dng_color_tags();
    const Bytes file = builder.build();
    int32_t width = 7, height = 7;
    ASSERT_EQ(parseDNGPreviewImageBuffer(file.data(), length_of(file), &width, &height), 0);
    EXPECT_EQ(width, 20);
    EXPECT_EQ(height, 16);
    // Required: of a preview that is no JPEG the raw image is developed at its size.
    Bytes out(20 * 16 * 4, 0xA5);
    EXPECT_EQ(decodeDNGPreviewImageBuffer2(file.data(), length_of(file), out.data(), width, height), 0);
    decInfo reduced = {};
    reduced.width = reduced.previewWidth = reduced.preferredSize = 20, reduced.height = reduced.previewHeight = 16;
    EXPECT_TRUE(out == developed(file, &reduced));
    const Bytes none = mosaic_file(40, 30);
    EXPECT_EQ(parseDNGPreviewImageBuffer2(none.data(), length_of(none), &width, &height), -1);
    EXPECT_EQ(decodeDNGPreviewImageBuffer(none.data(), length_of(none), out.data(), 20, 16), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 20 * 16 * 4);
}

TEST(DngEntries, RowsOfPixels) {
    const uint8_t rgb[14] = {1, 2, 3, 4, 5, 6, 99, 7, 8, 9, 10, 11, 12, 98};
    uint8_t rgba[16] = {};
    BgrToBgra(rgb, 7, rgba, 8, 2, 2);
    const uint8_t expected[16] = {1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255};
    EXPECT_EQ(std::memcmp(rgba, expected, 16), 0);
    uint8_t wide[24];
    convertRGB2RGBA(wide, 3, 2, rgb, 2, 1);
    const uint8_t placed[24] = {1, 2, 3, 255, 4, 5, 6, 255};
    EXPECT_EQ(std::memcmp(wide, placed, 24), 0);
}

}  // namespace
}  // namespace vorel::test
