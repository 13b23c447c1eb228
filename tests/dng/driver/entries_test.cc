// What the entries return, and what they leave in options and records.
#include <cstdlib>

#include <gtest/gtest.h>

#include "dng/driver/files.h"
#include "dng/support/pairs.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

DngBuilder mosaic_of(uint32_t width, uint32_t height) {
    DngBuilder builder;
    builder.first = dng_mosaic(width, height, 12);
    builder.first.samples = picture_samples(width, height, 1, 4095, 3);
    builder.tags = dng_color_tags();
    builder.tags.push_back(dng_text(271, "Maker"));
    return builder;
}

TEST(DngEntries, StatusesOfBadInput) {
    VDngOptionWords options = {};
    Bytes out(64);
    DngBuilder builder;
    builder.version = 0, builder.first = dng_mosaic(16, 16, 12);
    const Bytes no_tiff = text("no TIFF file"), none = builder.build();
    builder.version = 0x01040000, builder.first.tags.push_back(dng_rationals(50720, {20000, 20000}, 1));
    const Bytes huge_crop = builder.build();
    const auto decode = [&](const Bytes &file, int32_t length) {
        return VDngDecodeBuffer2Buf(file.data(), length, out.data(), 0, 0, options);
    };
    const auto decode_file = [&](const char *path) { return VDngDecodeFile2Buf(path, out.data(), 0, 0, options); };
    const TempFile nothing, other(no_tiff);
    const char *absent = "/nonexistent/file.dng";
    // Required: the File entry has the numbers of an empty and an unreadable file the other way round, and that of no
    // memory for a failed develop.
    expect_pairs(decode(none, 0), VDNG_EMPTY, decode(no_tiff, length_of(no_tiff)), VDNG_FAILED,
                 decode(none, length_of(none)), VDNG_NO_SIZE, decode(huge_crop, length_of(huge_crop)), VDNG_NO_SIZE,
                 decode_file(absent), VDNG_NOT_OPENED, decode_file(nothing.path()), VDNG_NO_SIZE,
                 decode_file("/proc/self/mem"), VDNG_NO_SIZE, decode_file(other.path()), VDNG_NO_MEMORY);
    EXPECT_FALSE(VDngDecodeBuffer(none.data(), length_of(none), 0, options) || VDngDecodeFile(absent, 0, options));

    VDngRegionInstance *instance = nullptr;
    expect_pairs(DngNewInstanceFile(absent, &instance), VDNG_NOT_OPENED, DngNewInstanceFile(nothing.path(), &instance),
                 VDNG_EMPTY, DngNewInstanceFile(other.path(), &instance), VDNG_FAILED,
                 // Freed by the failed call.
                 DngNewInstanceBuffer(static_cast<uint8_t *>(std::calloc(64, 1)), 64, &instance), VDNG_FAILED,
                 DngNewInstanceBuffer(nullptr, 0, &instance), VDNG_EMPTY);
    EXPECT_EQ(instance, nullptr);

    decInfo info = {};
    VDngMetaData metadata;
    static_assert(sizeof metadata == 284);
    expect_pairs(parseDNGImageBuffer(no_tiff.data(), length_of(no_tiff), &info), -1,
                 parseDNGImageBuffer(none.data(), length_of(none), &info), 0, info.width + info.height, 0,
                 parseDNGImageBuffer_for_RD(none.data(), length_of(none), &info), -1, finalizeHandle(&info), 0,
                 cancelDecoding_for_RD(&info), 0, VDngCancelDecoding(nullptr), 0, VDngCancelDecoding(&info), 1,
                 VDngParseMetaDataBA(no_tiff.data(), length_of(no_tiff), &metadata), 0,
                 VDngParseMetaData(absent, &metadata), 0);
}

// The size that the options report is that in front of the reduction.
TEST(DngEntries, FactorsAndOptions) {
    const Bytes file = mosaic_of(101, 67).build();
    const TempFile on_disk(file);
    const auto decoded = [&](VDngOptionWords &options, size_t size, bool from_disk) {
        uint8_t *pixels = from_disk ? VDngDecodeFile(on_disk.path(), 0, options)
                                    : VDngDecodeBuffer(file.data(), length_of(file), 0, options);
        const Bytes bytes = pixels ? Bytes(pixels, pixels + size) : Bytes();
        std::free(pixels);
        return bytes;
    };
    VDngOptionWords options = {};
    options[VDNG_OPTION_INFO] = 77;
    EXPECT_TRUE(decoded(options, 101 * 67 * 4, false) == developed(file, 101, 67));
    EXPECT_EQ(options[VDNG_OPTION_INFO], 0);
    // 50.5 and 33.5 are rounded away from 0.
    options[VDNG_OPTION_FACTOR] = 2;
    GuardBuffer out(51 * 34 * 4);
    EXPECT_EQ(VDngDecodeBuffer2Buf(file.data(), length_of(file), out.data(), 0, 0, options), 1);
    EXPECT_TRUE(decoded(options, out.size(), true) == out.bytes());
    expect_pairs(options[VDNG_OPTION_WIDTH], 101, options[VDNG_OPTION_HEIGHT], 67);
    options[VDNG_OPTION_FACTOR] = 1000;
    EXPECT_EQ(VDngDecodeFile2Buf(on_disk.path(), out.data(), 0, 0, options), 1);
}

TEST(DngEntries, RecordsOfAFile) {
    const Bytes file = mosaic_of(40, 30).build();
    const TempFile on_disk(file);
    VDngMetaData metadata;
    ASSERT_EQ(VDngParseMetaData(on_disk.path(), &metadata), 1);
    VDngRegionInstance *instance = nullptr;
    ASSERT_NE(DngNewInstanceFile(on_disk.path(), &instance), VDNG_FAILED);
    // Required: only the parse for rectangles gives the maker.
    decInfo plain = {}, info = {};
    expect_pairs(metadata.width, 40, metadata.cropHeight, 30, metadata.make, "Maker",
                 std::string(VDngGetExifMake(instance)), "Maker", VDngGetCropSizeWidth(instance), 40,
                 instance->ownsBuffer, 1, parseDNGImageBuffer(file.data(), length_of(file), &plain), 0,
                 parseDNGImageBuffer_for_RD(file.data(), length_of(file), &info), 0);
    expect_pairs(plain.make, "", info.make, "Maker", info.samplesPerPixel, 1, info.whiteLevel[0], 4095.0);
    DngRdDestroy(instance->decoder, instance);
    finalizeHandle(&info);
}

TEST(DngEntries, Previews) {
    DngBuilder builder = mosaic_of(80, 64);
    builder.subs = {builder.first}, builder.first = dng_preview(20, 16);
    const Bytes file = builder.build();
    int32_t width = 7, height = 7;
    ASSERT_EQ(parseDNGPreviewImageBuffer(file.data(), length_of(file), &width, &height), 0);
    EXPECT_TRUE(width == 20 && height == 16);
    // Required: of a preview that is no JPEG the raw image is developed at its size.
    Bytes out(20 * 16 * 4, 0xA5);
    EXPECT_EQ(decodeDNGPreviewImageBuffer2(file.data(), length_of(file), out.data(), width, height), 0);
    decInfo reduced = {};
    reduced.width = reduced.previewWidth = reduced.preferredSize = 20, reduced.height = reduced.previewHeight = 16;
    EXPECT_TRUE(out == developed(file, &reduced));
    const Bytes none = mosaic_of(40, 30).build();
    EXPECT_EQ(parseDNGPreviewImageBuffer2(none.data(), length_of(none), &width, &height), -1);
    EXPECT_EQ(decodeDNGPreviewImageBuffer(none.data(), length_of(none), out.data(), 20, 16), 0);
    EXPECT_EQ(out, Bytes(20 * 16 * 4));
}

TEST(DngEntries, RowsOfPixels) {
    const uint8_t rgb[14] = {1, 2, 3, 4, 5, 6, 99, 7, 8, 9, 10, 11, 12, 98};
    Bytes rgba(16), wide(24);
    BgrToBgra(rgb, 7, rgba.data(), 8, 2, 2);
    EXPECT_EQ(rgba, (Bytes{1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255}));
    convertRGB2RGBA(wide.data(), 3, 2, rgb, 2, 1);
    EXPECT_EQ(wide, cat({{1, 2, 3, 255, 4, 5, 6, 255}, Bytes(16)}));
}

}  // namespace
}  // namespace vorel::test
