// The camera data, and the records that callers get.
#include <cmath>
#include <cstring>

#include "dng/parse/metadata_entries.h"
#include "dng/support/dng_builder.h"
#include "dng/support/pairs.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(DngMetadata, Records) {
    for (const bool little : {true, false}) {
        DngBuilder builder = dng_whole_file();
        builder.littleEndian = little;
        const Bytes bytes = builder.build();
        CPVorelDngMetadata m;
        CPVorelDngExif exif, second, third;
        ASSERT_EQ(parseMetadata(bytes.data(), length_of(bytes), &m, &exif, &second), 1);
        EXPECT_EQ(parseExifInfo(bytes.data(), length_of(bytes), &third), 1);
        EXPECT_EQ(std::memcmp(&exif, &second, sizeof exif) | std::memcmp(&exif, &third, sizeof exif), 0);
        expect_pairs(m.hasBaseOrientation, 1, m.baseOrientation, 6, m.isMakerNoteSafe, 1, m.imageWidth, 34,
                     m.imageHeight, 30, m.cropOriginX, 2, m.cropOriginY, 2, m.cropWidth, 31, m.cropHeight, 20,
                     std::string(m.sourceMIME), "", Bytes(m.makerNote, m.makerNote + m.makerNoteSize),
                     Bytes{'n', 'o', 't', 'e', '!'});
        freeCPVorelDngMetadata(&m);
        EXPECT_TRUE(!m.makerNote && !m.sourceMIME);
        // The shutter speed is log2(250); a latitude of two numbers is none.
        expect_pairs(exif.mSoftware, std::string(255, 's'), exif.mMake, "Test", exif.mDateTime,
                     "2024-02-29T23:59:58+2:00", exif.mDateTimeOriginal, "2024-02-28T01:02:03-3:00",
                     exif.mDateTimeDigitized, "0000-00-00T00:00:00+0:00", exif.mDateTimeDigitizedStorageInfo, "0,0",
                     exif.mExposureTime, "1/250", exif.mShutterSpeedValue, "7965784/1000000", exif.mFNumber, "40/10",
                     exif.mApertureValue, "4/1", exif.mExposureBiasValue, "-1/3", exif.mSubjectDistance, "0/0",
                     exif.mCFAPattern, "0 1 1 2", exif.mLensInfo3, "40/10", exif.mLensName, "Lens", exif.mGPSTimeStamp2,
                     "3/1", exif.mGPSLatitude0, "0/0", exif.mExifVersion, 0x30323330, exif.mFlash, 16, exif.mFlashMask,
                     0x7F, exif.mCFARepeatPatternRows, 2, exif.mLensNameWasReadFromExif, 1, exif.mGPSDifferential, 1);
        int format = 0;
        unsigned long long date = 0;
        std::sscanf(exif.mDateTimeStorageInfo, "%d,%llu", &format, &date);
        int64_t at = -1;
        int32_t size = -1;
        EXPECT_EQ(parseXMPBuffer(bytes.data(), length_of(bytes), &at, &size, nullptr), 1);
        const auto *const text = reinterpret_cast<const char *>(bytes.data());
        expect_pairs(format, 1, std::string(text + date, 10), "2024:02:29", std::string(text + at, size), "<x/> ");
    }
}

TEST(DngMetadata, WithoutFileOrXmp) {
    CPVorelDngMetadata m;
    CPVorelDngExif exif;
    int64_t at = 7;
    int32_t size = 7;
    const uint8_t bad[8] = {'I', 'I', 43};
    for (const int32_t length : {-1, 0, 8}) {
        std::memset(&m, 0x5A, sizeof m);
        expect_pairs(parseMetadata(bad, length, &m, &exif, nullptr), -1, m.imageWidth, 0, exif.mMake, "",
                     parseExifInfo(bad, length, &exif), -1, parseXMPBuffer(bad, length, &at, &size, &exif), -1);
        EXPECT_FALSE(m.makerNote || m.sourceMIME);
    }
    const Bytes bytes = DngBuilder().build();
    expect_pairs(parseXMPBuffer(bytes.data(), length_of(bytes), &at, &size, &exif), 0, at, 0, size, 0, exif.mModel,
                 "Camera 1");
}

TEST(DngMetadata, ApexAndRationals) {
    const auto seconds = [](double time, bool snap) {
        VorelDngExif exif;
        exif.setExposureTime(time, snap);
        return exif.exposureTime;
    };
    using Fraction = DngURational;
    VorelDngExif exif;
    exif.setShutterSpeedValue(5.906891);  // 1/60
    exif.setFNumber(5.6);
    expect_pairs(seconds(0.00402, true), Fraction{1, 250}, seconds(0.00402, false), Fraction{1, 249},
                 seconds(1.3, false), Fraction{13, 10}, seconds(0.4, true), Fraction{10, 25}, seconds(120, true),
                 Fraction{120, 1}, seconds(std::nan(""), true), Fraction{}, exif.exposureTime, Fraction{1, 60},
                 exif.fNumber, Fraction{56, 10}, VorelDngExif::encodeFNumber(22.3), Fraction{22, 1},
                 VorelDngExif::encodeFNumber(0.95), Fraction{95, 100}, VorelDngExif::getSnapExposureTime(0.55), 0.55);
    EXPECT_NEAR(exif.apertureValue.value(), 4.970854, 1e-6);
    EXPECT_NEAR(VorelDngExif::getApertureValueToFNumber(3), 2.828427, 1e-6);

    VorelDngDateTime date;
    for (const char *none : {"2024:01:01", "2024:00:01 00:00:00", "2024:01:01 24:00:00", "2024:01:01 0x:00:00"}) {
        EXPECT_FALSE(date.parse(none) || date.year) << none;
    }
    ASSERT_TRUE(date.parse("0099:12:31 23:59:59"));
    date.zoneMinutes = -210;
    char unsigned_text[256], text[256], date_text[256], storage[256];
    convertURationalClass2Char({4294967295u, 0}, unsigned_text);
    convertSRationalClass2Char({INT32_MIN, 7}, text);
    convertDateTimeClass2Char(date, date_text);
    convertDateTimeStorageInfoClass2Char({DngDateTimeFormat::kExif, 1ull << 40}, storage);
    expect_pairs(unsigned_text, "4294967295/0", text, "-2147483648/7", date_text, "0099-12-31T23:59:59-3:30", storage,
                 "1,1099511627776");
}

TEST(DngMetadata, XmpPrint) {
    const Bytes packet = changed(Bytes(130, 'a'), 1, {'\n', 0x7F});
    VorelDngStream stream(packet.data(), static_cast<uint32_t>(packet.size()));
    testing::internal::CaptureStdout();
    printXMP(stream, 1000);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "XMP: a\\012\\177" + std::string(119, 'a') + "\nXMP: aaaaaaaa\n");
}

// A directory of one entry.
std::string directory(bool little, uint32_t code, uint32_t type, uint32_t count, uint32_t value) {
    const auto two = little ? little_16 : big_16, four = little ? little_32 : big_32;
    const Bytes all = cat({two(1), two(code), two(type), four(count), four(value), four(0)});
    return {all.begin(), all.end()};
}
template <size_t kCount>
std::string block(const char (&text)[kCount]) {
    return std::string(text, kCount - 1);
}
std::string section(const char *name, const std::string &body) {
    return name + std::string(3, '\0') + static_cast<char>(body.size()) + body + std::string(body.size() % 2, '\0');
}

TEST(DngMetadata, MakerNotesAreWalkedByTheFormOfTheMaker) {
    const std::string little = directory(true, 1, 3, 1, 1), big = directory(false, 1, 3, 1, 1 << 16);
    const std::string tree = block("OLYMPUS\0II\3\0"), fuji = block("FUJIFILM\x0C\0\0\0");
    const std::string ricoh = block("RICOH\0\0\0") + directory(false, 8193, 7, 38, 26);
    const std::string tiff = block("MM\0\x2A\0\0\0\x08");
    const struct {
        const char *make;
        std::string note;
        uint32_t directories;
    } cases[] = {{"Unlisted", little, 0},
                 {"FUJIFILM", fuji + little, 1},
                 {"NIKON CORPORATION", block("Nikon\0\2\1\0\0") + tiff + big, 1},
                 {"Olympus", tree + little, 0},
                 {"OLYMPUS", tree + directory(true, 8208, 13, 1, 30) + little, 2},
                 {"OLYMPUS", tree + directory(true, 12288, 7, 18, 30) + little, 2},
                 {"RICOH", ricoh + "[Ricoh Camera Info]" + '\0' + big, 2},
                 {"RICOH", ricoh + "[Ricoh camera info]" + '\0' + big, 1},
                 {"EASTMAN KODAK COMPANY", directory(true, 1, 7, 18, 18) + little, 2},
                 {"EASTMAN KODAK COMPANY", directory(true, 1, 7, 18, 0) + little, 1},  // it opens itself
                 {"PENTAX", block("PEN\0MM") + big, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.make);
        // Kept in the private data, with offsets from the note's beginning, and behind it the data of another file.
        const std::string kept = block("MM\0\1\0TTW\0\0\0\x1A") + tiff + directory(false, 272, 2, 4, 0x4F6C6400),
                          data = block("Adobe\0") + section("SR2 ", "abc") +
                                 section("MakN", block("II\0\0\0\0") + c.note) + section("MRW ", kept);
        DngBuilder builder;
        builder.tags = {dng_text(271, c.make), dng_bytes(50740, kDngByte, Bytes(data.begin(), data.end()))};
        const Bytes bytes = builder.build();
        DngFile file(bytes.data(), static_cast<uint32_t>(bytes.size()));
        ASSERT_TRUE(file.parse());
        CPVorelDngExif original, own;
        EXPECT_EQ(parseMetadata(bytes.data(), length_of(bytes), nullptr, &original, &own), 1);
        // Besides the note's: IFD 0 and the kept one.
        expect_pairs(file.ifdsWalked(), c.directories + 2, original.mModel, "Old", original.mMake, "", own.mModel,
                     "Camera 1", own.mMake, c.make);
    }
}

}  // namespace
}  // namespace vorel::test
