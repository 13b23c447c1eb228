// The camera data, and the records that callers get.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "dng/parse/metadata_entries.h"
#include "dng/support/dng_builder.h"

namespace vorel::test {
namespace {

DngBuilder camera() {
    DngBuilder builder;
    builder.first = dng_mosaic(34, 30, 16);
    builder.first.tags.push_back(dng_rationals(50719, {1.5, 2.4}));
    builder.first.tags.push_back(dng_rationals(50720, {30.5, 20}));
    builder.tags = {{274, kDngShort, {6}},
                    dng_text(306, "2024:02:29 23:59:58"),
                    {50741, kDngShort, {1}},
                    dng_bytes(700, kDngByte, {'<', 'x', '/', '>'}),
                    dng_text(305, std::string(300, 's'))};
    builder.exif = {{33434, kDngRational, {1, 250}},
                    {34858, kDngSShort, {-3, 2}},
                    dng_bytes(36864, kDngUndefined, {'0', '2', '3', '0'}),
                    dng_text(36867, "2024-02-28T01:02:03"),
                    dng_text(36868, "2024:13:28 01:02:03"),
                    {37378, kDngRational, {4, 1}},
                    {37380, kDngSRational, {-1, 3}},
                    {37385, kDngShort, {16}},
                    dng_bytes(37500, kDngUndefined, {'n', 'o', 't', 'e', '!'}),
                    dng_rationals(42034, {24, 70, 2.8, 4}, 10),
                    dng_text(42036, "Lens")};
    builder.exif.push_back({41730, kDngUndefined, {0, 2, 0, 2, 0, 1, 1, 2}});
    builder.gps = {{7, kDngRational, {1, 1, 2, 1, 3, 1}}, {2, kDngRational, {1, 1, 2, 1}}, {30, kDngShort, {1}}};
    return builder;
}

TEST(DngMetadata, Records) {
    for (const bool little : {true, false}) {
        DngBuilder builder = camera();
        builder.littleEndian = little;
        const Bytes bytes = builder.build();
        const auto length = static_cast<int32_t>(bytes.size());
        CPVorelDngMetadata metadata;
        CPVorelDngExif exif, second, third;
        std::memset(&exif, 0x5A, sizeof exif);
        ASSERT_EQ(parseMetadata(bytes.data(), length, &metadata, &exif, &second), 1);
        EXPECT_EQ(std::memcmp(&exif, &second, sizeof exif), 0);
        EXPECT_EQ(parseExifInfo(bytes.data(), length, &third), 1);
        EXPECT_EQ(std::memcmp(&exif, &third, sizeof exif), 0);

        EXPECT_TRUE(metadata.hasBaseOrientation == 1 && metadata.baseOrientation == 6 && metadata.isMakerNoteSafe == 1);
        EXPECT_TRUE(metadata.imageWidth == 34 && metadata.imageHeight == 30);
        EXPECT_TRUE(metadata.cropOriginX == 2 && metadata.cropOriginY == 2);
        EXPECT_TRUE(metadata.cropWidth == 31 && metadata.cropHeight == 20);
        ASSERT_EQ(metadata.makerNoteSize, 5u);
        EXPECT_EQ(std::memcmp(metadata.makerNote, "note!", 5), 0);
        EXPECT_STREQ(metadata.sourceMIME, "");
        freeCPVorelDngMetadata(&metadata);
        EXPECT_TRUE(!metadata.makerNote && !metadata.sourceMIME);

        EXPECT_EQ(std::string(exif.mSoftware), std::string(255, 's'));
        EXPECT_STREQ(exif.mMake, "Test");
        EXPECT_STREQ(exif.mDateTime, "2024-02-29T23:59:58+2:00");
        EXPECT_STREQ(exif.mDateTimeOriginal, "2024-02-28T01:02:03-3:00");
        EXPECT_STREQ(exif.mDateTimeDigitized, "0000-00-00T00:00:00+0:00");
        EXPECT_STREQ(exif.mDateTimeDigitizedStorageInfo, "0,0");
        int format;
        unsigned long long offset;
        ASSERT_EQ(std::sscanf(exif.mDateTimeStorageInfo, "%d,%llu", &format, &offset), 2);
        EXPECT_EQ(format, 1);
        EXPECT_EQ(std::memcmp(bytes.data() + offset, "2024:02:29", 10), 0);
        EXPECT_STREQ(exif.mExposureTime, "1/250");
        EXPECT_STREQ(exif.mShutterSpeedValue, "7965784/1000000");  // log2(250)
        EXPECT_STREQ(exif.mFNumber, "40/10");
        EXPECT_STREQ(exif.mApertureValue, "4/1");
        EXPECT_STREQ(exif.mExposureBiasValue, "-1/3");
        EXPECT_STREQ(exif.mSubjectDistance, "0/0");
        EXPECT_EQ(exif.mExifVersion, 0x30323330u);
        EXPECT_TRUE(exif.mFlash == 16 && exif.mFlashMask == 0x7F);
        EXPECT_STREQ(exif.mCFAPattern, little ? "0 1 1 2" : "0 1 1 2");
        EXPECT_TRUE(exif.mCFARepeatPatternRows == 2 && exif.mCFARepeatPatternCols == 2);
        EXPECT_STREQ(exif.mLensInfo3, "40/10");
        EXPECT_STREQ(exif.mLensName, "Lens");
        EXPECT_EQ(exif.mLensNameWasReadFromExif, 1);
        EXPECT_STREQ(exif.mGPSTimeStamp2, "3/1");
        EXPECT_STREQ(exif.mGPSLatitude0, "0/0");  // of two numbers, not three
        EXPECT_EQ(exif.mGPSDifferential, 1u);

        int64_t at = -1;
        int32_t size = -1;
        EXPECT_EQ(parseXMPBuffer(bytes.data(), length, &at, &size, nullptr), 1);
        ASSERT_EQ(size, 4);
        EXPECT_EQ(std::memcmp(bytes.data() + at, "<x/>", 4), 0);
    }
}

TEST(DngMetadata, WithoutFileOrXmp) {
    CPVorelDngMetadata metadata;
    CPVorelDngExif exif;
    int64_t at = 7;
    int32_t size = 7;
    const uint8_t bad[8] = {'I', 'I', 43};
    for (const int32_t length : {-1, 0, 8}) {
        std::memset(&metadata, 0x5A, sizeof metadata);
        EXPECT_EQ(parseMetadata(bad, length, &metadata, &exif, nullptr), -1);
        EXPECT_TRUE(!metadata.makerNote && !metadata.sourceMIME && metadata.imageWidth == 0 && !exif.mMake[0]);
        EXPECT_EQ(parseExifInfo(bad, length, &exif), -1);
        EXPECT_EQ(parseXMPBuffer(bad, length, &at, &size, &exif), -1);
        EXPECT_EQ(parseMetadata(nullptr, length, nullptr, nullptr, nullptr), -1);
    }
    DngBuilder builder;
    builder.first = dng_mosaic(8, 8, 16);
    const Bytes bytes = builder.build();
    EXPECT_EQ(parseXMPBuffer(bytes.data(), static_cast<int32_t>(bytes.size()), &at, &size, &exif), 0);
    EXPECT_TRUE(at == 0 && size == 0);
    EXPECT_STREQ(exif.mModel, "Camera 1");
    freeCPVorelDngMetadata(nullptr);
}

TEST(DngMetadata, ApexAndRationals) {
    const auto seconds = [](double time, bool snap) {
        VorelDngExif exif;
        exif.setExposureTime(time, snap);
        return exif.exposureTime;
    };
    EXPECT_EQ(seconds(0.00402, true), (DngURational{1, 250}));
    EXPECT_EQ(seconds(0.00402, false), (DngURational{1, 249}));
    EXPECT_EQ(seconds(30, true), (DngURational{30, 1}));
    EXPECT_EQ(seconds(1.3, false), (DngURational{13, 10}));
    EXPECT_EQ(seconds(0.5, true), (DngURational{1, 2}));
    EXPECT_EQ(seconds(0.4, true), (DngURational{10, 25}));
    EXPECT_EQ(seconds(120, true), (DngURational{120, 1}));
    for (const double none : {0.0, -1.0, std::nan(""), double{INFINITY}})
        EXPECT_EQ(seconds(none, true), DngURational{});
    EXPECT_EQ(VorelDngExif::getSnapExposureTime(0.0167), 1 / 60.0);
    EXPECT_EQ(VorelDngExif::getSnapExposureTime(0.55), 0.55);

    VorelDngExif exif;
    exif.setShutterSpeedValue(5.906891);  // 1/60
    EXPECT_EQ(exif.exposureTime, (DngURational{1, 60}));
    exif.setFNumber(5.6);
    EXPECT_EQ(exif.fNumber, (DngURational{56, 10}));
    EXPECT_NEAR(exif.apertureValue.value(), 4.970854, 1e-6);
    EXPECT_EQ(VorelDngExif::encodeFNumber(22.3), (DngURational{22, 1}));
    EXPECT_EQ(VorelDngExif::encodeFNumber(0.95), (DngURational{95, 100}));
    EXPECT_NEAR(VorelDngExif::getApertureValueToFNumber(3), 2.828427, 1e-6);
    EXPECT_EQ(VorelDngExif::getFNumberToApertureValue(4), 4);

    char text[256];
    convertURationalClass2Char({4294967295u, 0}, text);
    EXPECT_STREQ(text, "4294967295/0");
    convertSRationalClass2Char({INT32_MIN, 7}, text);
    EXPECT_STREQ(text, "-2147483648/7");
    VorelDngDateTime date;
    for (const char *none : {"", "2024:01:01", "2024:00:01 00:00:00", "2024:01:32 00:00:00", "2024:01:01 24:00:00",
                             "    :  :     :  :  ", "2024:01:01 0x:00:00"}) {
        EXPECT_FALSE(date.parse(none)) << none;
        EXPECT_EQ(date.year, 0u);
    }
    ASSERT_TRUE(date.parse("0099:12:31 23:59:59"));
    date.zoneMinutes = -210;
    convertDateTimeClass2Char(date, text);
    EXPECT_STREQ(text, "0099-12-31T23:59:59-3:30");
    convertDateTimeStorageInfoClass2Char({DngDateTimeFormat::kExif, 1ull << 40}, text);
    EXPECT_STREQ(text, "1,1099511627776");
}

TEST(DngMetadata, XmpPrint) {
    Bytes packet(130, 'a');
    packet[1] = '\n', packet[2] = 0x7F;
    VorelDngStream stream(packet.data(), static_cast<uint32_t>(packet.size()));
    testing::internal::CaptureStdout();
    printXMP(stream, 1000);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "XMP: a\\012\\177" + std::string(119, 'a') + "\nXMP: aaaaaaaa\n");
}

}  // namespace
}  // namespace vorel::test
