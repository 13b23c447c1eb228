// The camera data, and the records that callers get.
#include <cmath>
#include <cstring>

#include "dng/parse/metadata_entries.h"
#include "dng/support/dng_builder.h"
#include "dng/support/pairs.h"

namespace vorel::test {
namespace {

int32_t size_of(const Bytes &bytes) { return static_cast<int32_t>(bytes.size()); }
Bytes joined(std::initializer_list<Bytes> blocks) {
    Bytes all;
    for (const Bytes &block : blocks) all.insert(all.end(), block.begin(), block.end());
    return all;
}
Bytes bytes_of(const char *text, size_t count) { return Bytes(text, text + count); }

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
                    {41730, kDngUndefined, {0, 2, 0, 2, 0, 1, 1, 2}},
                    dng_bytes(37500, kDngUndefined, {'n', 'o', 't', 'e', '!'}),
                    dng_rationals(42034, {24, 70, 2.8, 4}, 10),
                    dng_text(42036, "Lens")};
    builder.gps = {{7, kDngRational, {1, 1, 2, 1, 3, 1}}, {2, kDngRational, {1, 1, 2, 1}}, {30, kDngShort, {1}}};
    return builder;
}

TEST(DngMetadata, Records) {
    for (const bool little : {true, false}) {
        DngBuilder builder = camera();
        builder.littleEndian = little;
        const Bytes bytes = builder.build();
        CPVorelDngMetadata m;
        CPVorelDngExif exif, second, third;
        ASSERT_EQ(parseMetadata(bytes.data(), size_of(bytes), &m, &exif, &second), 1);
        EXPECT_EQ(parseExifInfo(bytes.data(), size_of(bytes), &third), 1);
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
        EXPECT_EQ(parseXMPBuffer(bytes.data(), size_of(bytes), &at, &size, nullptr), 1);
        const auto *const text = reinterpret_cast<const char *>(bytes.data());
        expect_pairs(format, 1, std::string(text + date, 10), "2024:02:29", std::string(text + at, size), "<x/>");
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
                     parseExifInfo(bad, length, &exif), -1, parseXMPBuffer(bad, length, &at, &size, &exif), -1,
                     parseMetadata(nullptr, length, nullptr, nullptr, nullptr), -1);
        EXPECT_TRUE(!m.makerNote && !m.sourceMIME);
    }
    DngBuilder builder;
    builder.first = dng_mosaic(8, 8, 16);
    const Bytes bytes = builder.build();
    EXPECT_EQ(parseXMPBuffer(bytes.data(), size_of(bytes), &at, &size, &exif), 0);
    expect_pairs(at, 0, size, 0, exif.mModel, "Camera 1");
    freeCPVorelDngMetadata(nullptr);
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
    expect_pairs(seconds(0.00402, true), Fraction{1, 250}, seconds(0.00402, false), Fraction{1, 249}, seconds(30, true),
                 Fraction{30, 1}, seconds(1.3, false), Fraction{13, 10}, seconds(0.5, true), Fraction{1, 2},
                 seconds(0.4, true), Fraction{10, 25}, seconds(120, true), Fraction{120, 1}, seconds(-1, true),
                 Fraction{}, seconds(std::nan(""), true), Fraction{}, exif.exposureTime, Fraction{1, 60}, exif.fNumber,
                 Fraction{56, 10}, VorelDngExif::encodeFNumber(22.3), Fraction{22, 1},
                 VorelDngExif::encodeFNumber(0.95), Fraction{95, 100}, VorelDngExif::getSnapExposureTime(0.0167),
                 1 / 60.0, VorelDngExif::getSnapExposureTime(0.55), 0.55, VorelDngExif::getFNumberToApertureValue(4),
                 4.0);
    EXPECT_NEAR(exif.apertureValue.value(), 4.970854, 1e-6);
    EXPECT_NEAR(VorelDngExif::getApertureValueToFNumber(3), 2.828427, 1e-6);

    VorelDngDateTime date;
    for (const char *none : {"", "2024:01:01", "2024:00:01 00:00:00", "2024:01:32 00:00:00", "2024:01:01 24:00:00",
                             "    :  :     :  :  ", "2024:01:01 0x:00:00"}) {
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
    Bytes packet(130, 'a');
    packet[1] = '\n', packet[2] = 0x7F;
    VorelDngStream stream(packet.data(), static_cast<uint32_t>(packet.size()));
    testing::internal::CaptureStdout();
    printXMP(stream, 1000);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "XMP: a\\012\\177" + std::string(119, 'a') + "\nXMP: aaaaaaaa\n");
}

// A directory of one entry.
Bytes directory(bool little, uint32_t code, uint32_t type, uint32_t count, uint32_t value) {
    Bytes out;
    const auto add = [&](uint32_t number, uint32_t bytes) {
        for (uint32_t i = 0; i < bytes; ++i) {
            out.push_back(static_cast<uint8_t>(number >> 8 * (little ? i : bytes - 1 - i)));
        }
    };
    add(1, 2), add(code, 2), add(type, 2), add(count, 4), add(value, 4), add(0, 4);
    return out;
}

TEST(DngMetadata, MakerNotesAreWalkedByTheFormOfTheMaker) {
    const Bytes plain = directory(true, 1, 3, 1, 1), plain_big = directory(false, 1, 3, 1, 1 << 16);
    const auto camera_info = [](uint32_t count) { return directory(false, 8193, 7, count, 26); };
    const struct {
        const char *make;
        Bytes note;
        uint32_t directories;
    } cases[] = {
        {"Unlisted", plain, 0},
        {"FUJIFILM", joined({bytes_of("FUJIFILM\x0C\0\0\0", 12), plain}), 1},
        {"FUJIFILM", joined({bytes_of("FUJIFILM\xFF\0\0\0", 12), plain}), 0},
        {"NIKON CORPORATION", joined({bytes_of("Nikon\0\2\1\0\0MM\0\x2A\0\0\0\x08", 18), plain_big}), 1},
        {"NIKON", joined({bytes_of("Nikon\0\1\0", 8), plain}), 1},
        {"Olympus", joined({bytes_of("OLYMPUS\0II\3\0", 12), plain}), 0},
        {"OLYMPUS", joined({bytes_of("OLYMPUS\0II\3\0", 12), directory(true, 8208, 13, 1, 30), plain}), 2},
        {"OLYMPUS", joined({bytes_of("OLYMPUS\0MM\3\0", 12), directory(false, 12288, 7, 18, 30), plain_big}), 2},
        {"OLYMPUS", joined({bytes_of("OLYMPUS\0II\3\0", 12), directory(true, 8209, 13, 1, 30), plain}), 1},
        {"RICOH", joined({bytes_of("RICOH\0\0\0", 8), camera_info(38), bytes_of("[Ricoh Camera Info]", 20), plain_big}),
         2},
        {"RICOH", joined({bytes_of("RICOH\0\0\0", 8), camera_info(38), bytes_of("[Ricoh camera info]", 20), plain_big}),
         1},
        {"RICOH", joined({bytes_of("RICOH\0\0\0", 8), camera_info(39), bytes_of("[Ricoh Camera Info]", 20), plain_big}),
         1},
        {"EASTMAN KODAK COMPANY", joined({directory(true, 1, 7, 18, 18), plain}), 2},
        {"EASTMAN KODAK COMPANY", joined({directory(true, 1, 7, 18, 0), plain}), 1},  // it opens itself
        {"PENTAX", joined({bytes_of("AOC\0MM", 6), plain_big}), 1},
        {"PENTAX", joined({bytes_of("PEN\0MM", 6), plain_big}), 0},
        {"SONY", joined({bytes_of("SONY DSC \0\0\0", 12), plain}), 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.make);
        // Kept in the private data, with offsets from the note's beginning, and behind it the data of another file.
        const auto section = [](const char *name, const Bytes &body) {
            const auto length = static_cast<uint8_t>(body.size());
            return joined({bytes_of(name, 4), {0, 0, 0, length}, body, Bytes(length % 2)});
        };
        const Bytes tiff = joined({bytes_of("MM\0\x2A\0\0\0\x08", 8), directory(false, 272, 2, 4, 0x4F6C6400)});
        DngBuilder builder;
        builder.first = dng_mosaic(8, 8, 16);
        builder.tags = {dng_text(271, c.make)};
        const Bytes without = builder.build();
        builder.tags.push_back(
            dng_bytes(50740, kDngByte,
                      joined({bytes_of("Adobe", 6), section("SR2 ", {1, 2, 3}),
                              section("MakN", joined({bytes_of("II\0\0\0\0", 6), c.note})),
                              section("MRW ", joined({bytes_of("MM\0\1", 4), section("\0TTW", tiff)}))})));
        const Bytes bytes = builder.build();
        DngFile bare(without.data(), static_cast<uint32_t>(without.size()));
        DngFile file(bytes.data(), static_cast<uint32_t>(bytes.size()));
        ASSERT_TRUE(bare.parse() && file.parse());
        EXPECT_EQ(file.ifdsWalked() - bare.ifdsWalked(), c.directories + 1);
        CPVorelDngExif original, own;
        EXPECT_EQ(parseMetadata(bytes.data(), size_of(bytes), nullptr, &original, &own), 1);
        expect_pairs(original.mModel, "Old", original.mMake, "", own.mModel, "Camera 1", own.mMake, c.make);
    }
}

}  // namespace
}  // namespace vorel::test
