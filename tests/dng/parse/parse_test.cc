// Directories and their tags: what is chosen, kept and refused.
#include "dng/parse/dng_file.h"

#include <gtest/gtest.h>

#include <cmath>

#include "dng/parse/tag_helpers.h"
#include "dng/support/dng_builder.h"

namespace vorel::test {
namespace {

DngFile opened(const Bytes &bytes) { return DngFile(bytes.data(), static_cast<uint32_t>(bytes.size())); }

struct Parsed {
    explicit Parsed(const Bytes &bytes) : data(bytes), file(opened(data)), ok(file.parse()) {
        if (ok) file.postParse();
    }
    explicit Parsed(const DngBuilder &builder) : Parsed(builder.build()) {}
    Bytes data;
    DngFile file;
    bool ok;
};

// In every byte order.
template <typename Check>
void in_both_orders(DngBuilder builder, const Check &check) {
    for (const bool little : {true, false}) {
        SCOPED_TRACE(little ? "little-endian" : "big-endian");
        builder.littleEndian = little;
        const Parsed parsed(builder);
        ASSERT_TRUE(parsed.ok);
        check(parsed.file);
    }
}

DngBuilder plain(uint32_t width = 34, uint32_t height = 30) {
    DngBuilder builder;
    builder.first = dng_mosaic(width, height, 12);
    builder.tags = dng_color_tags();
    return builder;
}

void put32(Bytes &bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> 8 * i);
}
uint32_t get16(const Bytes &bytes, size_t at) { return bytes[at] | bytes[at + 1] << 8; }
// Of a little-endian directory: the place of the entry of a tag, and of the offset of the next directory.
size_t entry_of(const Bytes &bytes, uint64_t ifd, uint32_t code) {
    for (size_t i = 0; i < get16(bytes, ifd); ++i) {
        if (get16(bytes, ifd + 2 + 12 * i) == code) return ifd + 2 + 12 * i;
    }
    return 0;
}
size_t link_of(const Bytes &bytes, uint64_t ifd) { return ifd + 2 + 12 * get16(bytes, ifd); }

TEST(DngParse, ChoosesMainPreviewAndMask) {
    DngImage raw = dng_mosaic(40, 32, 16), other = dng_mosaic(20, 16, 16), alternative = dng_preview(11, 9);
    alternative.subFileType = 0x10001;
    const struct {
        const char *name;
        DngImage first;
        std::vector<DngImage> subs, chained;
        uint32_t main, preview, mask;  // widths; 0: none
    } cases[] = {{"raw alone", raw, {}, {}, 40, 0, 0},
                 {"raw in a sub-IFD", dng_preview(8, 6), {raw, dng_preview(10, 8)}, {}, 40, 8, 0},
                 {"the first of two", dng_preview(8, 6), {alternative, other, raw}, {}, 20, 8, 0},
                 {"behind IFD 0", alternative, {}, {dng_preview(9, 7), raw, dng_mask(12, 12)}, 40, 9, 12},
                 {"IFD 0 before the rest", raw, {dng_preview(8, 6), dng_mask(13, 13)}, {other}, 40, 8, 13},
                 {"a mask alone", dng_mask(14, 14), {}, {}, 0, 0, 14}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        DngBuilder builder;
        builder.first = c.first, builder.subs = c.subs, builder.chained = c.chained;
        const auto width = [](const VorelDngIFD *ifd) { return ifd ? ifd->width : 0; };
        in_both_orders(builder, [&](const DngFile &file) {
            EXPECT_EQ(width(file.mainIFD()), c.main);
            EXPECT_EQ(width(file.previewIFD()), c.preview);
            EXPECT_EQ(width(file.maskIFD()), c.mask);
            EXPECT_EQ(file.metadata.imageWidth, static_cast<int32_t>(c.main));
            for (const VorelDngIFD *ifd : file.allIFDs()) {
                EXPECT_EQ(ifd->previewColorSpace, ifd->newSubFileType % 2 ? 2u : 0u);
            }
        });
    }
    // The sub-IFDs of a chained directory come right behind it. The builder has none there: its list is moved.
    DngBuilder builder;
    builder.first = dng_preview(8, 6), builder.subs = {raw, other}, builder.chained = {dng_preview(9, 7), other};
    builder.chained[0].tags = {{330, kDngLong, {0, 0}}};
    Bytes bytes = builder.build();
    const Parsed before(bytes);
    const size_t from = entry_of(bytes, before.file.ifds[0]->thisIFD, 330);
    const size_t to = entry_of(bytes, before.file.chainedIFDs[0]->thisIFD, 330);
    std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(from), 12, bytes.begin() + static_cast<ptrdiff_t>(to));
    bytes[from] = 0x4B;
    const Parsed after(bytes);
    std::vector<uint32_t> widths;
    for (const VorelDngIFD *ifd : after.file.allIFDs()) widths.push_back(ifd->width);
    EXPECT_EQ(widths, (std::vector<uint32_t>{8, 9, 40, 20, 20}));
    EXPECT_EQ(after.file.mainIndex, 2);
}

TEST(DngParse, WithoutVersionNothingIsMain) {
    DngBuilder builder = plain();
    builder.version = 0;
    for (const auto &tags :
         {std::vector<DngTag>{}, {{50706, kDngShort, {1, 4, 0, 0}}}, {{50706, kDngByte, {1, 4, 0}}}}) {
        builder.tags = tags;
        in_both_orders(builder, [](const DngFile &file) {
            EXPECT_EQ(file.shared.dngVersion, 0u);
            EXPECT_EQ(file.mainIFD(), nullptr);
            EXPECT_EQ(file.metadata.imageWidth, 0);
            EXPECT_EQ(file.ifds[0]->width, 34u);
        });
    }
    builder.tags.clear();
    for (const auto &[version, old] : {std::pair{0x01000000u, true}, {0x01010000u, false}, {0x01040000u, false}}) {
        builder.version = version;
        in_both_orders(builder, [&](const DngFile &file) {
            EXPECT_EQ(file.shared.dngVersion, version);
            EXPECT_EQ(file.mainIFD()->oldDataForm, old);
        });
    }
}

TEST(DngParse, MagicNumbersAndByteOrderMarks) {
    DngBuilder builder = plain();
    for (const uint32_t magic : {0u, 41u, 42u, 43u, 85u, 1022u, 17234u, 20306u, 21330u, 21331u, 0x2A00u}) {
        builder.magic = magic;
        const bool accepted =
            magic == 42 || magic == 85 || magic == 1022 || magic == 17234 || magic == 20306 || magic == 21330;
        for (const bool little : {true, false}) {
            builder.littleEndian = little;
            EXPECT_EQ(Parsed(builder).ok, accepted) << magic;
        }
    }
    Bytes bytes = plain().build();
    for (const char *mark : {"IM", "MI", "JJ", "ii"}) {
        std::copy_n(mark, 2, bytes.begin());
        EXPECT_FALSE(Parsed(bytes).ok) << mark;
    }
    for (const size_t length : {0u, 1u, 3u}) EXPECT_FALSE(Parsed(Bytes(length, 'I')).ok);

    // With 85 some tags of IFD 0 are the camera's own.
    builder.tags.insert(builder.tags.end(), {{23, kDngShort, {400}}, {280, kDngLong, {1}}, {278, kDngLong, {7}}});
    builder.tags.push_back(dng_rationals(282, {300}));
    for (const uint32_t magic : {42u, 85u}) {
        builder.magic = magic;
        in_both_orders(builder, [&](const DngFile &file) {
            EXPECT_EQ(file.exif.isoSpeedRatings[0], magic == 85 ? 400u : 0u);
            EXPECT_EQ(file.ifds[0]->xResolution, magic == 85 ? 0 : 300);
            EXPECT_EQ(file.ifds[0]->width, 34u);
            EXPECT_EQ(file.ifds[0]->rowsPerStrip, 7u);
        });
    }
}

TEST(DngParse, ChainsEnd) {
    DngBuilder builder = plain();
    for (uint32_t i = 1; i <= 12; ++i) builder.chained.push_back(dng_preview(i, 1));
    Bytes bytes = builder.build();
    const Parsed all(bytes);
    ASSERT_EQ(all.file.chainedIFDs.size(), 10u);
    EXPECT_EQ(all.file.chainedIFDs[9]->width, 10u);

    // Back to IFD 0, to itself, and off the file.
    const uint64_t first = all.file.ifds[0]->thisIFD, second = all.file.chainedIFDs[1]->thisIFD;
    for (const uint64_t target : {first, second, uint64_t{bytes.size() - 1}, uint64_t{0}, uint64_t{0xFFFFFFFF}}) {
        put32(bytes, link_of(bytes, second), static_cast<uint32_t>(target));
        const Parsed cut(bytes);
        EXPECT_EQ(cut.file.chainedIFDs.size(), 2u);
        EXPECT_EQ(cut.file.mainIFD()->width, 34u);
    }
}

TEST(DngParse, ValuesMayEndWithTheFile) {
    DngBuilder builder = plain();
    builder.first.tags.push_back(dng_rationals(283, {150}));
    builder.chained = {dng_preview(5, 4), dng_preview(6, 4)};
    builder.chained[0].tags = {dng_rationals(282, {300})};
    Bytes bytes = builder.build();
    const Parsed whole(bytes);
    const auto chained = [](const Bytes &file) { return Parsed(file).file.chainedIFDs.size(); };
    const size_t in_chain = entry_of(bytes, whole.file.chainedIFDs[0]->thisIFD, 282);
    const size_t in_first = entry_of(bytes, whole.file.ifds[0]->thisIFD, 283);
    bytes.insert(bytes.end(), {0x2C, 1, 0, 0, 1, 0, 0, 0});

    put32(bytes, in_chain + 8, static_cast<uint32_t>(bytes.size() - 8));
    EXPECT_EQ(chained(bytes), 2u);
    EXPECT_EQ(Parsed(bytes).file.chainedIFDs[0]->xResolution, 300);
    Bytes bad = bytes;
    put32(bad, in_chain + 8, static_cast<uint32_t>(bytes.size() - 7));
    EXPECT_EQ(chained(bad), 0u);
    EXPECT_EQ(Parsed(bad).file.mainIFD()->width, 34u);
    bad = bytes;
    bad[in_chain + 2] = 16;  // a type without a size
    EXPECT_EQ(chained(bad), 0u);

    // IFD 0 loses the tag alone.
    put32(bytes, in_first + 8, static_cast<uint32_t>(bytes.size() - 8));
    EXPECT_EQ(Parsed(bytes).file.ifds[0]->yResolution, 300);
    put32(bytes, in_first + 8, static_cast<uint32_t>(bytes.size() - 7));
    EXPECT_EQ(Parsed(bytes).file.ifds[0]->yResolution, 0);
    EXPECT_EQ(chained(bytes), 2u);

    // An entry of zeros ends IFD 0, but not the chain behind it; in the chain it is a type without a size.
    for (const uint32_t code : {271u, 0u}) {
        bad = bytes;
        const size_t at = code ? entry_of(bytes, whole.file.ifds[0]->thisIFD, code) : in_chain;
        std::fill_n(bad.begin() + static_cast<ptrdiff_t>(at), 4, uint8_t{0});
        const Parsed ended(bad);
        EXPECT_EQ(ended.file.ifds[0]->width, 34u);
        EXPECT_EQ(ended.file.shared.dngVersion != 0, code == 0);
        EXPECT_EQ(ended.file.chainedIFDs.size(), code ? 2u : 0u);
    }
}

TEST(DngParse, Texts) {
    DngBuilder builder = plain();
    builder.tags.insert(
        builder.tags.end(),
        {dng_bytes(270, kDngAscii, {}), dng_bytes(305, kDngAscii, {'a', 'b', 'c', 'd'}),
         dng_bytes(315, kDngAscii, {'x', 0, 'y', 'z', 'z', 0}), dng_text(33432, std::string("one\0two \0three", 14)),
         dng_bytes(50709, kDngByte, {'M', 'o', 'd', 'e', 'l'})});
    const auto encoded = [](const char *name, const char *text) {
        std::string all = name;
        all.resize(8);
        all += text;
        return Bytes(all.begin(), all.end());
    };
    for (const auto &[name, comment] :
         {std::pair{"ASCII", "remark"}, {"jis", "remark"}, {"", "remark"}, {"Unicode", ""}, {"UNICODE", ""}}) {
        builder.exif = {dng_bytes(37510, kDngUndefined, encoded(name, "remark"))};
        builder.gps = {dng_bytes(27, kDngUndefined, encoded(name, "remark"))};
        in_both_orders(builder, [&](const DngFile &file) {
            EXPECT_EQ(file.exif.userComment, comment) << name;
            EXPECT_EQ(file.exif.gpsProcessingMethod, comment) << name;
            EXPECT_EQ(file.exif.imageDescription, "");
            EXPECT_EQ(file.exif.software, "abcd");
            EXPECT_EQ(file.exif.artist, "x");
            EXPECT_EQ(file.exif.copyright, "one");
            EXPECT_EQ(file.exif.copyright2, "two ");
            EXPECT_EQ(file.shared.localizedCameraModel, "Model");
        });
    }
}

TEST(DngParse, ChecksOfTagsAndValuesOfEachType) {
    const uint32_t sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 2, 8, 0, 0};
    for (uint32_t type = 0; type < std::size(sizes); ++type) EXPECT_EQ(TagTypeSize(type), sizes[type]) << type;
    EXPECT_EQ(TagTypeSize(0xFFFFFFFF), 0u);
    for (const auto &[count, least, most, fits] : {std::tuple{3u, 3u, 0u, true},
                                                   {2u, 3u, 0u, false},
                                                   {4u, 3u, 0u, false},
                                                   {4u, 3u, 5u, true},
                                                   {6u, 3u, 5u, false}}) {
        EXPECT_EQ(CheckTagCount(0, 0, count, least, most), fits) << count << ' ' << least << ' ' << most;
    }
    EXPECT_TRUE(CheckTagType(0, 0, 9, 1, 2, 3, 9) && !CheckTagType(0, 0, 4, 1, 2, 3, 9));
    EXPECT_TRUE(CheckCFA(0, 0, 32803) && !CheckCFA(0, 0, 34892) && CheckRawIFD(0, 0, 34892) && !CheckRawIFD(0, 0, 2));
    EXPECT_TRUE(CheckMainIFD(0, 0, 0) && !CheckMainIFD(0, 0, 1) && CheckColorImage(0, 0, 2) &&
                !CheckColorImage(0, 0, 1));

    // One value of eight bytes of 0xFF and one of a rational, as every type.
    const uint8_t ones[8] = {255, 255, 255, 255, 255, 255, 255, 255}, third[8] = {1, 0, 0, 0, 3, 0, 0, 0};
    const struct {
        uint32_t type;
        double real;
        uint32_t u;
        int32_t s;
    } values[] = {{1, 255, 255, 255},
                  {3, 65535, 65535, 65535},
                  {4, 4294967295.0, 4294967295u, INT32_MAX},
                  {5, 1, 1, 1},
                  {6, -1, 0, -1},
                  {8, -1, 0, -1},
                  {9, -1, 0, -1},
                  {10, 1, 1, 1},
                  {13, 4294967295.0, 4294967295u, INT32_MAX},
                  {11, std::nan(""), 0, 0},
                  {12, std::nan(""), 0, 0},
                  {2, 0, 0, 0},
                  {99, 0, 0, 0}};
    for (const auto &v : values) {
        const auto at_start = [&] { return VorelDngStream(ones, 8); };
        const double real = at_start().getTagValue_QMDOUBLE(v.type);
        EXPECT_TRUE(real == v.real || (std::isnan(real) && std::isnan(v.real))) << v.type;
        EXPECT_EQ(at_start().getTagValue_QMUINT32(v.type), v.u) << v.type;
        EXPECT_EQ(at_start().getTagValue_QMINT32(v.type), v.s) << v.type;
    }
    EXPECT_EQ(VorelDngStream(third, 8).getTagValue_urational(5), (DngURational{1, 3}));
    EXPECT_EQ(VorelDngStream(third, 8).getTagValue_srational(3), (DngSRational{1, 1}));
    const uint8_t zero_denominator[8] = {7, 0, 0, 0, 0, 0, 0, 0}, one[8] = {0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
    EXPECT_EQ(VorelDngStream(zero_denominator, 8).getTagValue_QMDOUBLE(5), 0);
    EXPECT_EQ(VorelDngStream(one, 8).getTagValue_QMDOUBLE(12), 1);
    EXPECT_EQ(VorelDngStream(one, 8).getTagValue_urational(12).value(), 1);
    VorelDngStream past(ones, 7);
    EXPECT_EQ(past.get_QMDOUBLE(), 0);
    EXPECT_TRUE(past.failed());
}

TEST(DngParse, RawTagsAndTheirDefaults) {
    DngBuilder builder = plain();
    const auto main = [&](const std::vector<DngTag> &tags, const auto &check) {
        builder.first = dng_mosaic(34, 30, 12);
        builder.first.tags.insert(builder.first.tags.end(), tags.begin(), tags.end());
        in_both_orders(builder, [&](const DngFile &file) { check(*file.mainIFD()); });
    };
    main({}, [](const VorelDngIFD &ifd) {
        EXPECT_EQ(ifd.whiteLevel[0], 4095);
        EXPECT_EQ(ifd.activeArea, (DngRect{0, 0, 30, 34}));
        EXPECT_EQ(ifd.defaultCropSizeH, (DngURational{34, 1}));
        EXPECT_EQ(ifd.defaultCropSizeV, (DngURational{30, 1}));
        EXPECT_EQ(ifd.blackLevel[0][0][0], 0);
        EXPECT_TRUE(ifd.tileWidth == 34 && ifd.tileLength == 30 && ifd.tilesAcross == 1 && ifd.tilesDown == 1);
        EXPECT_TRUE(ifd.cfaPattern[0][1] == 1 && ifd.cfaPattern[1][1] == 2 && ifd.cfaRepeatRows == 2);
    });
    main({{50717, kDngShort, {0}},
          {50713, kDngShort, {2, 3}},
          {50714, kDngShort, {1, 2, 3, 4, 5, 6}},
          {50829, kDngLong, {2, 4, 28, 30}},
          {50830, kDngLong, {0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5}},
          {278, kDngShort, {8}}},
         [](const VorelDngIFD &ifd) {
             EXPECT_EQ(ifd.whiteLevel[0], 0);
             EXPECT_TRUE(ifd.blackLevel[0][2][0] == 3 && ifd.blackLevel[1][0][0] == 4);
             EXPECT_EQ(ifd.activeArea, (DngRect{2, 4, 28, 30}));
             EXPECT_EQ(ifd.defaultCropSizeV, (DngURational{26, 1}));
             EXPECT_EQ(ifd.maskedAreaCount, 4u);
             EXPECT_EQ(ifd.maskedArea[3], (DngRect{3, 3, 4, 4}));
             EXPECT_TRUE(ifd.tileLength == 8 && ifd.tilesDown == 4);
         });
    // Tags that do not fit are passed over; areas are cut to the image.
    main({{50713, kDngShort, {9, 1}},
          {50714, kDngShort, {1, 2}},
          {33421, kDngShort, {2, 200}},
          {50829, kDngLong, {8, 4, 4294967295.0, 4294967295.0}},
          {51041, kDngDouble, {1e-4, std::nan("")}},
          {50830, kDngLong, {1, 2, 3}}},
         [](const VorelDngIFD &ifd) {
             EXPECT_TRUE(ifd.blackRepeatRows == 1 && ifd.blackLevel[0][0][0] == 0);
             EXPECT_TRUE(ifd.cfaRepeatRows == 0 && ifd.cfaPattern[0][1] == 0);
             EXPECT_EQ(ifd.activeArea, (DngRect{8, 4, 30, 34}));
             EXPECT_TRUE(ifd.noiseCount == 0 && ifd.maskedAreaCount == 0);
         });
    main({{50829, kDngLong, {28, 4, 2, 30}}}, [](const VorelDngIFD &ifd) {
        EXPECT_EQ(ifd.activeArea, (DngRect{0, 0, 30, 34}));
    });

    // A preview has no black, and floats go up to 1.
    builder.subs = {dng_preview(8, 6), dng_linear(8, 6, 32)};
    builder.subs[0].tags = {{50714, kDngShort, {7, 7, 7}}};
    builder.subs[1].sampleFormat = 3, builder.subs[1].tileWidth = 16, builder.subs[1].tileLength = 16;
    in_both_orders(builder, [](const DngFile &file) {
        EXPECT_EQ(file.ifds[1]->blackLevel[0][0][0], 0);
        EXPECT_EQ(file.ifds[1]->whiteLevel[2], 255);
        EXPECT_EQ(file.ifds[2]->whiteLevel[2], 1);
        EXPECT_TRUE(file.ifds[2]->usesTiles && file.ifds[2]->tileWidth == 16 && file.ifds[2]->tilesAcross == 1);
    });
}

TEST(DngParse, SampleTypesAndJpegs) {
    const struct {
        uint32_t compression, photometric, planes, bits, format, planar;
        bool jpeg;
        uint32_t type;
    } cases[] = {{7, 1, 1, 8, 1, 1, true, 1},           {7, 6, 3, 8, 1, 1, true, 1},
                 {7, 6, 3, 8, 1, 2, false, 1},          {7, 1, 3, 8, 1, 1, false, 1},
                 {7, 32803, 1, 8, 1, 1, false, 1},      {7, 1, 1, 16, 1, 1, false, 3},
                 {34892, 34892, 3, 8, 1, 1, true, 1},   {34892, 34892, 3, 8, 3, 1, false, 11},
                 {34892, 34892, 3, 12, 1, 1, false, 3}, {1, 1, 1, 8, 1, 1, false, 1},
                 {1, 32803, 1, 17, 1, 1, false, 4},     {1, 32803, 1, 16, 3, 1, false, 11}};
    for (const auto &c : cases) {
        VorelDngIFD ifd;
        ifd.width = ifd.height = 8;
        ifd.compression = c.compression, ifd.photometric = c.photometric, ifd.samplesPerPixel = c.planes;
        ifd.planarConfiguration = c.planar;
        std::fill_n(ifd.bitsPerSample, 4, c.bits);
        std::fill_n(ifd.sampleFormat, 4, c.format);
        EXPECT_EQ(ifd.isBaselineJPEG(), c.jpeg) << c.compression << ' ' << c.photometric << ' ' << c.bits;
        EXPECT_EQ(ifd.pixelType(), c.type);
        EXPECT_TRUE(ifd.hasImage());
    }
    for (const auto &[width, height, planes, bits, has] : {std::tuple{15000u, 15000u, 1u, 16u, true},
                                                           {15001u, 15000u, 1u, 16u, false},
                                                           {524281u, 1u, 1u, 8u, false},
                                                           {8u, 0u, 1u, 8u, false},
                                                           {8u, 8u, 5u, 8u, false},
                                                           {8u, 8u, 0u, 8u, false},
                                                           {8u, 8u, 1u, 33u, false}}) {
        VorelDngIFD ifd;
        ifd.width = width, ifd.height = height, ifd.samplesPerPixel = planes, ifd.bitsPerSample[0] = bits;
        EXPECT_EQ(ifd.hasImage(), has) << width << 'x' << height;
    }
}

TEST(DngParse, Profiles) {
    DngBuilder builder = plain();
    const std::vector<double> calibration = {1.5, 0, 0, 0, 1, 0, 0, 0, 2};
    builder.tags.push_back(dng_rationals(50723, calibration, 10000, kDngSRational));
    builder.tags.push_back(dng_rationals(50964, {1, 2, 3}, 10000, kDngSRational));  // of one color
    builder.extraProfiles = {dng_color_tags(), {{50778, kDngShort, {17}}}, dng_color_tags()};
    builder.extraProfiles[2].insert(builder.extraProfiles[2].end(), {dng_text(50936, "Third"),
                                                                     {50940, kDngFloat, {0, 0, 0.5, 0.75, 1, 1}},
                                                                     {50937, kDngLong, {6, 4}},
                                                                     dng_text(50735, "not of a profile")});
    in_both_orders(builder, [](const DngFile &file) {
        const VorelDngShared &shared = file.shared;
        EXPECT_EQ(shared.uniqueCameraModel, "Test Camera 1");
        EXPECT_EQ(shared.cameraProfile.uniqueCameraModel, "Test Camera 1");
        EXPECT_EQ(shared.cameraCalibration1[2][2], 2);
        EXPECT_EQ(shared.cameraProfile.cameraCalibration1[0][0], 1.5);
        EXPECT_TRUE(shared.cameraProfile.forwardMatrix1.empty());
        EXPECT_EQ(shared.asShotNeutral[2], 0.62);
        EXPECT_EQ(file.exif.cameraSerialNumber, "");
        ASSERT_EQ(shared.extraProfiles.size(), 2u);
        const VorelDngCameraProfileInfo &third = shared.extraProfiles[1];
        EXPECT_EQ(third.name, "Third");
        EXPECT_EQ(third.uniqueCameraModel, "Test Camera 1");
        EXPECT_EQ(third.colorMatrix2[1][1], 1.25);
        EXPECT_TRUE(third.hueDivisions == 6 && third.satDivisions == 4 && third.valDivisions == 1);
        // The table lies where it says, counted from the beginning of the file.
        VorelDngStream table(file.stream, third.toneCurveOffset + 12);
        EXPECT_EQ(table.get_QMFLOAT(), 0.75f);
        EXPECT_EQ(third.toneCurveCount, 6u);
    });
}

}  // namespace
}  // namespace vorel::test
