// The Exif writer against exiv2 and our reader, and its segment in streams of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <random>

#include "jpeg/encoder/encode_support.h"
#include "jpeg/encoder/headers/exif_block.h"
#include "oracle/exiv2.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

char g_make[] = "Abc", g_model[] = "A camera";
uint8_t g_method[] = "GPS-FIX", g_no_method[] = "";

struct Field {
    const char *key, *value;  // of exiv2
    void (*set)(ExifInfo &exif, GpsInfo &gps);
};
void set(uint32_t *pair, uint32_t a, uint32_t b) { pair[0] = a, pair[1] = b; }
const Field kFields[] = {
    {"Image.Make", "Abc", [](auto &exif, auto &) { exif.textFields[0] = g_make; }},
    {"Image.Model", "A camera", [](auto &exif, auto &) { exif.textFields[1] = g_model; }},
    {"Image.Orientation", "6", [](auto &exif, auto &) { exif.orientation = 6; }},
    {"Image.XResolution", "72/0", [](auto &exif, auto &) { set(exif.xResolution, 72, 0); }},
    {"Image.YResolution", "0/5", [](auto &exif, auto &) { set(exif.yResolution, 0, 5); }},
    {"Image.ResolutionUnit", "2", [](auto &exif, auto &) { exif.resolutionUnit = 2; }},
    {"Image.YCbCrPositioning", "1", [](auto &exif, auto &) { exif.yCbCrPositioning = 1; }},
    {"Photo.ExposureTime", "1/50", [](auto &exif, auto &) { set(exif.exposureTime, 1, 50); }},
    {"Photo.FNumber", "28/10", [](auto &exif, auto &) { set(exif.fNumber, 28, 10); }},
    {"Photo.ISOSpeedRatings", "65535", [](auto &exif, auto &) { exif.iso = 65535; }},
    {"Photo.Flash", "25", [](auto &exif, auto &) { exif.flash = 25; }},
    {"Photo.WhiteBalance", "1", [](auto &exif, auto &) { exif.whiteBalance = 1; }},
    {"Photo.FocalLength", "4294967295/7", [](auto &exif, auto &) { set(exif.focalLength, ~0u, 7); }},
    {"Thumbnail.ImageWidth", "70000", [](auto &exif, auto &) { exif.thumbnailWidth = 70000; }},
    {"Thumbnail.ImageLength", "120", [](auto &exif, auto &) { exif.thumbnailHeight = 120; }},
    {"Thumbnail.Compression", "6", [](auto &exif, auto &) { exif.thumbnailCompression = 6; }},
    {"Thumbnail.XResolution", "9/2", [](auto &exif, auto &) { set(exif.thumbnailXResolution, 9, 2); }},
    {"Thumbnail.YResolution", "0/3", [](auto &exif, auto &) { set(exif.thumbnailYResolution, 0, 3); }},
    {"Thumbnail.JPEGInterchangeFormatLength", "40", [](auto &exif, auto &) { exif.thumbnailSize = 40; }},
    {"GPSInfo.GPSAltitudeRef", "1", [](auto &exif, auto &gps) { exif.gps = &gps; }},
    {"GPSInfo.GPSLatitudeRef", "S", [](auto &, auto &gps) { gps.latitudeRef[0] = 'S'; }},
    {"GPSInfo.GPSLatitude", "48/10 0/0 0/0", [](auto &, auto &gps) { set(gps.latitude[0], 48, 10); }},
    {"GPSInfo.GPSLongitudeRef", "E", [](auto &, auto &gps) { std::memset(gps.longitudeRef, 'E', 2); }},
    {"GPSInfo.GPSLongitude", "0/0 0/0 7/9", [](auto &, auto &gps) { set(gps.longitude[2], 7, 9); }},
    {"GPSInfo.GPSAltitude", "0/10", [](auto &, auto &gps) { set(gps.altitude, 0, 10); }},
    {"GPSInfo.GPSTimeStamp", "0/0 59/1 0/0", [](auto &, auto &gps) { set(gps.timeStamp[1], 59, 1); }},
    {"GPSInfo.GPSProcessingMethod", "", [](auto &, auto &gps) { gps.processingMethod = g_method; }}};
constexpr uint32_t kCount = std::size(kFields), kGps = 19, kAll = (1u << kCount) - 1;

struct Record {
    explicit Record(uint32_t mask) {
        gps.altitudeRef = 1;
        for (uint32_t i = 0; i < kCount; ++i)
            if (mask >> i & 1) kFields[i].set(exif, gps);
    }
    // Nothing is written but the block, and four zeros where there is no thumbnail.
    Bytes written(bool thumbnail) {
        exif.hasThumbnail = thumbnail;
        const size_t size = ExifBlock(exif, thumbnail).size();
        GuardBuffer block(size + (thumbnail ? 0 : ExifBlock::kSlackBytes), 0xA5);
        EXPECT_EQ(__rim_CreateExif(block.data(), &exif), size);
        return block.bytes();
    }
    ExifInfo exif = {};
    GpsInfo gps = {};
};

size_t link_of(const Bytes &block, size_t directory) { return directory + 2 + 12 * size_t{block[directory]}; }

// What our reader knows of a block goes into a second one.
Bytes written_again(const Bytes &block, const ExifInfo &exif, uint32_t exif_at, uint32_t gps_at) {
    ExifInfo *info = os_allocate_array<ExifInfo>(1);
    const uint32_t size = static_cast<uint32_t>(block.size());
    EXPECT_EQ(BRIMJ_ReadExifInfo(block.data(), 0, size, info), 1);
    EXPECT_EQ(BRIMJ_ReadExifIFDInfo(block.data(), exif_at, size, 1, info), 1);
    EXPECT_TRUE(!gps_at || BRIMJ_ReadGpsIFDInfo(block.data(), gps_at, size, 1, info));
    ExifInfo again = *info;
    std::copy_n(exif.textFields, 2, again.textFields);
    const auto own = offsetof(ExifInfo, xResolution);  // from here on the encoder's
    std::memcpy(reinterpret_cast<char *>(&again) + own, reinterpret_cast<const char *>(&exif) + own, sizeof exif - own);
    Bytes out(size);
    EXPECT_EQ(__rim_CreateExif(out.data(), &again), size);
    BRIMJ_DestroyExifInfo(info);
    return out;
}

void expect_reads_back(uint32_t mask) {
    if (mask >> kGps) mask |= 1u << kGps;
    SCOPED_TRACE(mask);
    Record record(mask);
    const Bytes block = record.written(true);
    auto read = read_with_exiv2(cat({block, Bytes(40)}));
    const auto offset = [&](const char *key) {
        const auto field = read.extract(key);
        return field ? static_cast<uint32_t>(std::stoul(field.mapped())) : 0;
    };
    const uint32_t exif = offset("Exif.Image.ExifTag"), gps = offset("Exif.Image.GPSTag");
    EXPECT_EQ(offset("Exif.Thumbnail.JPEGInterchangeFormat"), block.size());
    if (auto method = read.find("Exif.GPSInfo.GPSProcessingMethod"); method != read.end()) method->second = "";
    std::map<std::string, std::string> want = {{"Exif.Photo.WhiteBalance", "0"}};
    for (uint32_t i = 0; i < kCount; ++i)
        if (mask >> i & 1) want[std::string("Exif.") + kFields[i].key] = kFields[i].value;
    EXPECT_EQ(read, want);
    EXPECT_EQ(written_again(block, record.exif, exif, gps), block);

    // Without a thumbnail: the same, but the link as the memory had it, and zeros in the last directory's values.
    const size_t link = link_of(block, 8), size = little_endian_32(&block[link]);
    Bytes model = cat({head(block, size), Bytes(ExifBlock::kSlackBytes, 0xA5)});
    std::fill_n(&model[link], 4, uint8_t{0xA5});
    std::fill_n(&model[link_of(block, gps ? gps : exif) + 12], 4, uint8_t{0});
    EXPECT_EQ(record.written(false), model);
}

TEST(JpegExifWriter, EverySubsetOfFieldsIsReadBack) {
    std::minstd_rand random(10);
    for (uint32_t i = 0; i < kCount; ++i) {
        expect_reads_back(kAll & ~(1u << i));
        for (uint32_t j = i; j < kCount; ++j) expect_reads_back(1u << i | 1u << j);
        for (int k = 0; k < 10; ++k) expect_reads_back(static_cast<uint32_t>(random()) & kAll);
    }
    expect_reads_back(0);
}

TEST(JpegExifWriter, BytesAreAsRequired) {
    EXPECT_EQ(head(Record(0).written(false), 44),
              (Bytes{'I',  'I',  42,   0,    8, 0, 0, 0,    1, 0, 0x69, 0x87, 4, 0, 1, 0, 0, 0, 26, 0, 0, 0,
                     0xA5, 0xA5, 0xA5, 0xA5, 1, 0, 3, 0xA4, 3, 0, 1,    0,    0, 0, 0, 0, 0, 0, 0,  0, 0, 0}));
    const Bytes texts = Record(3).written(false);
    EXPECT_EQ(std::string(&texts[18], &texts[22]) + std::string(&texts[50], &texts[62]),
              std::string("Abc\0Abc\0A camera", 16));
    Record odd(1u << kGps);
    odd.gps.latitudeRef[0] = 'X';
    odd.gps.processingMethod = g_no_method;
    odd.gps.altitudeRef = 2;
    Bytes block = odd.written(false);
    EXPECT_EQ((Bytes{&block[56], &block[70]}), (Bytes{1, 0, 27, 0, 7, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
    odd.gps.altitudeRef = 0;
    EXPECT_EQ(odd.written(false)[56], 2);

    Record full(kAll);
    full.exif.dateTime = 1;
    block = full.written(true);
    const auto tags = [&](size_t directory) {
        std::vector<int> out;
        for (size_t at = directory + 2; at < link_of(block, directory); at += 12)
            out.push_back(little_endian_16(&block[at]));
        return out;
    };
    EXPECT_EQ(tags(8), (std::vector<int>{271, 272, 274, 282, 283, 296, 306, 531, 34665, 34853}));
    EXPECT_EQ(tags(little_endian_32(&block[114])), (std::vector<int>{33434, 33437, 34855, 37385, 41987, 37386}));
    // The moment, in numbers without leading zeros.
    const auto stamp = [](time_t then) {
        char text[40];
        return std::string(text, std::strftime(text, sizeof text, "%Y:%-m:%-d %-H:%-M:%-S", localtime(&then)));
    };
    const std::string date = read_with_exiv2(block)["Exif.Image.DateTime"];
    EXPECT_TRUE(date == stamp(time(nullptr)) || date == stamp(time(nullptr) - 1)) << date;
}

struct Segment {
    size_t make;        // characters
    int64_t thumbnail;  // bytes; -1: none
    bool data = true;
    size_t lines = 0;  // in the log
    bool thumbnail_there = true, exif_there = true;
};
constexpr size_t kBlock = 44 + 12 + 1, kTable = 30, kMost = 65535 - 8 - kBlock;  // with a make; and a thumbnail
constexpr Segment kSegments[] = {{20, -1},
                                 {5000, -1},
                                 {20, 3000},
                                 {9000, 40000},
                                 {kMost, -1},
                                 {20, kMost - kTable - 20},
                                 {20, 0, false},
                                 {kMost + 1, -1, true, 1, false, false},
                                 {200000, 10, true, 2, false, false},
                                 {20, kMost - kTable - 19, true, 1, false},
                                 {20, 0xFFFFFFF8, true, 1, false},
                                 {20, 3000, false, 1, false}};

TEST(JpegExifWriter, TheSegmentIsWholeOrLeftOutWhereverTheStreamGoes) {
    const RawPicture picture = raw_picture(COLOR_NV21, 40, 24);
    const Bytes plain = encode(picture);
    constexpr size_t kBefore = 20;  // SOI, APP0
    for (const Segment &row : kSegments) {
        SCOPED_TRACE(std::to_string(row.make) + " " + std::to_string(row.thumbnail));
        std::string make(row.make, 'm');
        Bytes thumbnail(static_cast<size_t>(std::clamp<int64_t>(row.thumbnail, 0, 70000)), 0x77);
        ExifInfo exif = {};
        exif.textFields[0] = make.data();
        exif.hasThumbnail = row.thumbnail >= 0;
        exif.thumbnailSize = row.thumbnail > 0 ? static_cast<uint32_t>(row.thumbnail) : 0;
        exif.thumbnailData = row.data ? thumbnail.data() : nullptr;
        if (!row.thumbnail_there) thumbnail.clear();
        const bool table = row.thumbnail >= 0 && row.thumbnail_there;
        const size_t block = kBlock + row.make + (!table ? 0 : row.thumbnail == 0 ? kTable - 12 : kTable);
        const auto length = static_cast<uint32_t>(8 + block + thumbnail.size());
        LogCapture log;
        const Bytes stream = encode(picture, {85, false, false, &exif, 2048});
        EXPECT_EQ(log.take().size(), row.lines);
        const Bytes before =
            cat({head(plain, kBefore), row.exif_there ? cat({{0xFF, 0xE1}, big_16(length)}) : Bytes{}});
        const Bytes behind = cat({thumbnail, tail(plain, plain.size() - kBefore)});
        ASSERT_EQ(stream.size(), kBefore + (row.exif_there ? 10 + block : 0) + behind.size());
        EXPECT_EQ(head(stream, before.size()), before);
        EXPECT_EQ(tail(stream, behind.size()), behind);

        std::vector<Bytes> pieces;
        const RimEncCallback keep = [](void *out, uint8_t *bytes, uint32_t count) {
            static_cast<decltype(pieces) *>(out)->emplace_back(bytes, bytes + count);
        };
        RawInfo raw = picture.record();
        raw.exif = &exif;
        EXPECT_EQ(rim_enc_jpeg_to_stream(&raw, keep, 85, &pieces), 1);
        Bytes joined;
        for (const Bytes &piece : pieces) joined = cat({joined, piece});
        if (row.exif_there && !table) std::copy_n(&stream[kBefore + 44], 4, &joined[kBefore + 44]);  // the link
        EXPECT_EQ(joined, stream);
        if (thumbnail.empty()) continue;
        EXPECT_EQ(pieces[0].size(), kBefore + 10 + block);
        EXPECT_EQ(pieces[1], thumbnail);
    }
}

}  // namespace
}  // namespace vorel::test
