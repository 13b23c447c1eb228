// Directories and their tags: what is chosen, kept and refused.
#include <cmath>
#include <cstring>

#include "dng/parse/dng_file.h"
#include "dng/parse/tag_helpers.h"
#include "dng/support/dng_builder.h"
#include "dng/support/pairs.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

struct Parsed {
    explicit Parsed(const Bytes &bytes)
        : data(bytes), file(data.data(), static_cast<uint32_t>(data.size())), ok(file.parse()) {
        if (ok) file.postParse();
    }
    explicit Parsed(const DngBuilder &builder) : Parsed(builder.build()) {}
    size_t chained() const { return file.chainedIFDs.size(); }
    Bytes data;
    DngFile file;
    bool ok;
};

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

DngBuilder with(DngImage first, std::vector<DngTag> tags = {}) {
    DngBuilder builder;
    builder.first = std::move(first);
    builder.tags = dng_color_tags();
    add_tags(builder.tags, tags);
    return builder;
}
const DngImage kRaw = dng_mosaic(34, 30, 12);

// Of a little-endian directory: the place of the entry of a tag, and of the offset of the next directory.
size_t entry_of(const Bytes &bytes, uint64_t ifd, uint32_t code) {
    size_t at = ifd + 2;
    while ((bytes.at(at) | bytes.at(at + 1) << 8) != static_cast<int>(code)) at += 12;
    return at;
}
size_t link_of(const Bytes &bytes, uint64_t ifd) { return ifd + 2 + 12 * (bytes[ifd] | bytes[ifd + 1] << 8); }

TEST(DngParse, ChoosesMainPreviewAndMask) {
    const DngImage other = dng_mosaic(20, 16, 16), preview = dng_preview(8, 6);
    DngImage alternative = dng_preview(11, 9);
    alternative.subFileType = 0x10001;
    const struct {
        DngImage first;
        std::vector<DngImage> subs, chained;
        uint32_t main, preview, mask;  // widths; 0: none
    } cases[] = {{kRaw, {}, {}, 34, 0, 0},
                 {preview, {alternative, other, kRaw}, {}, 20, 8, 0},
                 {alternative, {}, {dng_preview(9, 7), kRaw, dng_mask(12, 12)}, 34, 9, 12},
                 {kRaw, {preview, dng_mask(13, 13)}, {other}, 34, 8, 13},
                 {dng_mask(14, 14), {}, {}, 0, 0, 14}};
    for (const auto &c : cases) {
        DngBuilder builder = with(c.first);
        builder.subs = c.subs, builder.chained = c.chained;
        const auto width = [](const VorelDngIFD *ifd) { return ifd ? ifd->width : 0; };
        in_both_orders(builder, [&](const DngFile &file) {
            expect_pairs(width(file.mainIFD()), c.main, width(file.previewIFD()), c.preview, width(file.maskIFD()),
                         c.mask, file.metadata.imageWidth, c.main);
            for (const VorelDngIFD *ifd : file.allIFDs()) {
                EXPECT_EQ(ifd->previewColorSpace, ifd->newSubFileType % 2 ? 2u : 0u);
            }
        });
    }
    // The sub-IFDs of a chained directory come right behind it.
    DngBuilder builder = with(preview);
    builder.chained = {dng_preview(9, 7), other}, builder.chainedSubs = {kRaw, dng_mask(3, 3)};
    const Parsed parsed(builder);
    std::vector<uint32_t> widths;
    for (const VorelDngIFD *ifd : parsed.file.allIFDs()) widths.push_back(ifd->width);
    EXPECT_EQ(widths, (std::vector<uint32_t>{8, 9, 34, 3, 20}));
    EXPECT_EQ(parsed.file.mainIndex, 2);
}

TEST(DngParse, WithoutVersionNothingIsMain) {
    DngBuilder builder = with(kRaw, {dng_shorts(50706, {1, 4, 0, 0})});
    builder.version = 0;
    in_both_orders(builder, [](const DngFile &file) {
        expect_pairs(file.mainIFD() == nullptr, true, file.shared.dngVersion, 0, file.metadata.imageWidth, 0,
                     file.ifds[0]->width, 34);
    });
    builder = with(kRaw);
    for (const uint32_t version : {0x01000000u, 0x01010000u}) {
        builder.version = version;
        const Parsed parsed(builder);
        expect_pairs(parsed.file.shared.dngVersion, version, parsed.file.mainIFD()->oldDataForm, version < 0x01010000);
    }
}

TEST(DngParse, MagicNumbersAndByteOrderMarks) {
    // With 85 some tags of IFD 0 are the camera's own.
    DngBuilder builder = with(kRaw, {dng_shorts(23, {400}), dng_longs(280, {1}), dng_longs(278, {7})});
    builder.tags.push_back(dng_rationals(282, {300}));
    for (const uint32_t magic : {42u, 85u, 1022u, 17234u, 20306u, 21330u}) {
        builder.magic = magic;
        in_both_orders(builder, [&](const DngFile &file) {
            expect_pairs(file.exif.isoSpeedRatings[0], magic == 85 ? 400 : 0, file.ifds[0]->xResolution,
                         magic == 85 ? 0.0 : 300.0, file.ifds[0]->width, 34, file.ifds[0]->rowsPerStrip, 7);
        });
    }
    builder.magic = 43;
    const Bytes bytes = with(kRaw).build();
    EXPECT_FALSE(Parsed(builder).ok || Parsed(Bytes()).ok || Parsed(Bytes(3, 'I')).ok ||
                 Parsed(changed(bytes, 1, {'M'})).ok);
    EXPECT_TRUE(DngFile(TempFile(bytes).path()).parse());
    EXPECT_FALSE(DngFile(TempFile().path()).parse() || DngFile("/nowhere/at.all").parse());
}

TEST(DngParse, ChainsEnd) {
    DngBuilder builder = with(kRaw);
    for (uint32_t i = 1; i <= 12; ++i) builder.chained.push_back(dng_preview(i, 1));
    const Bytes bytes = builder.build();
    const Parsed all(bytes);
    ASSERT_EQ(all.chained(), 10u);
    EXPECT_EQ(all.file.chainedIFDs[9]->width, 10u);
    // Back to IFD 0, to itself, and off the file.
    const uint64_t first = all.file.ifds[0]->thisIFD, second = all.file.chainedIFDs[1]->thisIFD;
    for (const uint64_t target : {first, second, uint64_t{bytes.size() - 1}, uint64_t{0}, uint64_t{0xFFFFFFFF}}) {
        const Parsed cut(changed(bytes, link_of(bytes, second), little_32(static_cast<uint32_t>(target))));
        expect_pairs(cut.chained(), 2, cut.file.mainIFD()->width, 34);
    }
}

TEST(DngParse, ValuesMayEndWithTheFile) {
    DngBuilder builder = with(kRaw, {dng_rationals(283, {150})});
    builder.chained = {dng_preview(5, 4), dng_preview(6, 4)};
    builder.chained[0].tags = {dng_rationals(282, {300})};
    Bytes bytes = builder.build();
    bytes = cat({bytes, {0x2C, 1, 0, 0, 1, 0, 0, 0}});
    const Parsed whole(bytes);
    const size_t in_chain = entry_of(bytes, whole.file.chainedIFDs[0]->thisIFD, 282);
    const size_t in_first = entry_of(bytes, whole.file.ifds[0]->thisIFD, 283);
    const size_t make = entry_of(bytes, whole.file.ifds[0]->thisIFD, 271);
    const auto with_value = [&](size_t at, size_t value) {
        return Parsed(changed(bytes, at, little_32(static_cast<uint32_t>(value))));
    };
    for (const size_t past : {0u, 1u}) {
        const size_t place = bytes.size() - 8 + past;
        const Parsed chain = with_value(in_chain + 8, place), first = with_value(in_first + 8, place);
        expect_pairs(chain.chained(), past ? 0 : 2, chain.file.mainIFD()->width, 34, first.chained(), 2,
                     first.file.ifds[0]->yResolution, past ? 0.0 : 300.0);
        EXPECT_TRUE(past || chain.file.chainedIFDs[0]->xResolution == 300);
    }
    // A type without a size ends the chain. An entry of zeros ends IFD 0, but not the chain behind it.
    const Parsed untyped = with_value(in_chain, 282 | 16 << 16), zeros = with_value(make, 0),
                 zeros_later = with_value(in_chain, 0);
    expect_pairs(untyped.chained(), 0, zeros.chained(), 2, zeros.file.ifds[0]->width, 34, zeros.file.shared.dngVersion,
                 0, zeros_later.chained(), 0);
}

TEST(DngParse, Texts) {
    DngBuilder builder = with(kRaw, {dng_bytes(270, kDngAscii, {}), dng_bytes(305, kDngAscii, {'a', 'b', 'c', 'd'}),
                                     dng_bytes(315, kDngAscii, {'x', 0, 'y', 'z', 'z', 0}),
                                     dng_text(33432, std::string("one\0two \0three", 14)),
                                     dng_bytes(50709, kDngByte, {'M', 'o', 'd', 'e', 'l'})});
    for (const char *name : {"ASCII", "jis", "Unicode"}) {
        const Bytes bytes = cat({text(name), Bytes(8 - std::strlen(name)), text("remark")});
        builder.exif = {dng_bytes(37510, kDngUndefined, bytes)};
        builder.gps = {dng_bytes(27, kDngUndefined, bytes)};
        const std::string shown = (name[0] | 32) == 'u' ? "" : "remark";
        in_both_orders(builder, [&](const DngFile &file) {
            const VorelDngExif &exif = file.exif;
            expect_pairs(exif.userComment, shown, exif.gpsProcessingMethod, shown, exif.imageDescription, "",
                         exif.software, "abcd", exif.artist, "x", exif.copyright, "one", exif.copyright2, "two ",
                         file.shared.localizedCameraModel, "Model");
        });
    }
}

TEST(DngParse, ChecksOfTagsAndValuesOfEachType) {
    expect_pairs(CheckTagCount(0, 0, 3, 3, 0), true, CheckTagCount(0, 0, 2, 3, 0), false, CheckTagCount(0, 0, 4, 3, 0),
                 false, CheckTagCount(0, 0, 4, 3, 5), true, CheckTagCount(0, 0, 6, 3, 5), false);
    // Eight bytes of 0xFF as one value of every type: as it is, without sign, with sign.
    const Bytes ones(8, 255);
    const double most = 4294967295.0, reals[] = {0, 255, 0, 65535, most, 1, -1, 255, -1, -1, 1, 0, 0, most, 65535, 0};
    for (uint32_t type = 0; type < std::size(reals); ++type) {
        const auto stream = [&] { return VorelDngStream(ones.data(), 8); };
        const double real = stream().getTagValue_QMDOUBLE(type), wanted = reals[type];
        EXPECT_EQ(std::isnan(real), type == 11 || type == 12) << type;
        expect_pairs(std::isnan(real) ? 0 : real, wanted, stream().getTagValue_QMUINT32(type), std::max(wanted, 0.0),
                     stream().getTagValue_QMINT32(type), std::min(wanted, 2147483647.0));
    }
    const uint8_t third[] = {1, 0, 0, 0, 3, 0, 0, 0}, by_zero[8] = {7}, one[] = {0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
    expect_pairs(VorelDngStream(third, 8).getTagValue_urational(5), DngURational{1, 3},
                 VorelDngStream(third, 8).getTagValue_srational(3), DngSRational{1, 1},
                 VorelDngStream(by_zero, 8).getTagValue_QMDOUBLE(5), 0.0, VorelDngStream(one, 8).get_QMDOUBLE(), 1.0,
                 VorelDngStream(one, 8).getTagValue_urational(12).value(), 1.0);
    VorelDngStream past(ones.data(), 7);
    EXPECT_TRUE(past.get_QMDOUBLE() == 0 && past.failed());
}

TEST(DngParse, RawTagsAndTheirDefaults) {
    const auto main = [&](const std::vector<DngTag> &tags, const auto &check) {
        in_both_orders(with(kRaw, tags), [&](const DngFile &file) { check(*file.mainIFD()); });
    };
    main({}, [](const VorelDngIFD &i) {
        expect_pairs(i.whiteLevel[0], 4095.0, i.activeArea, DngRect{0, 0, 30, 34}, i.defaultCropSizeH,
                     DngURational{34, 1}, i.defaultCropSizeV, DngURational{30, 1}, i.blackLevel[0][0][0], 0.0,
                     i.tileWidth, 34, i.tileLength, 30, i.tilesDown, 1, i.cfaPattern[0][1], 1, i.cfaPattern[1][1], 2);
    });
    main({dng_shorts(50717, {0}), dng_shorts(50713, {2, 3}), dng_shorts(50714, {1, 2, 3, 4, 5, 6}),
          dng_longs(50829, {2, 4, 28, 30}),
          dng_longs(50830, {0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5}), dng_shorts(278, {8})},
         [](const VorelDngIFD &i) {
             expect_pairs(i.whiteLevel[0], 0.0, i.blackLevel[0][2][0], 3.0, i.blackLevel[1][0][0], 4.0, i.activeArea,
                          DngRect{2, 4, 28, 30}, i.defaultCropSizeV, DngURational{26, 1}, i.maskedAreaCount, 4,
                          i.maskedArea[3], DngRect{3, 3, 4, 4}, i.tileLength, 8, i.tilesDown, 4);
         });
    // Tags that do not fit are passed over; areas are cut to the image.
    main({dng_shorts(50713, {9, 1}), dng_shorts(50714, {1, 2}), dng_shorts(33421, {2, 9}),
          dng_longs(50829, {8, 4, 4294967295.0, 4294967295.0}), DngTag{51041, kDngDouble, {1e-4, std::nan("")}},
          dng_longs(50830, {1, 2, 3})},
         [](const VorelDngIFD &i) {
             expect_pairs(i.blackRepeatRows, 1, i.blackLevel[0][0][0], 0.0, i.cfaRepeatRows, 0, i.cfaPattern[0][1], 0,
                          i.activeArea, DngRect{8, 4, 30, 34}, i.noiseCount, 0, i.maskedAreaCount, 0);
         });
    main({dng_longs(50829, {28, 4, 2, 30})}, [](auto &i) { EXPECT_EQ(i.activeArea, (DngRect{0, 0, 30, 34})); });

    // A preview has no black, its bits are stated once.
    DngBuilder builder = with(kRaw);
    builder.subs = {dng_preview(8, 6)};
    builder.subs[0].tags = {dng_shorts(50714, {7, 7, 7}), dng_shorts(258, {8}), dng_text(50708, "of a sub-IFD")};
    in_both_orders(builder, [](const DngFile &file) {
        expect_pairs(file.ifds[1]->blackLevel[0][0][0], 0.0, file.ifds[1]->whiteLevel[2], 255.0,
                     file.shared.uniqueCameraModel, "Test Camera 1");
    });
}

TEST(DngParse, JpegsAndSizes) {
    const auto ifd = [](uint32_t compression, uint32_t photometric, uint32_t planes, uint32_t bits, uint32_t format = 1,
                        uint32_t planar = 1, uint32_t width = 15000) {
        VorelDngIFD i;
        i.width = width, i.height = 15000, i.compression = compression, i.photometric = photometric;
        i.samplesPerPixel = planes, i.planarConfiguration = planar;
        std::fill_n(i.bitsPerSample, 4, bits), std::fill_n(i.sampleFormat, 4, format);
        return i;
    };
    expect_pairs(ifd(7, 1, 1, 8).isBaselineJPEG(), true, ifd(7, 6, 3, 8).isBaselineJPEG(), true,
                 ifd(7, 6, 3, 8, 1, 2).isBaselineJPEG(), false, ifd(7, 1, 3, 8).isBaselineJPEG(), false,
                 ifd(7, 1, 1, 16).isBaselineJPEG(), false, ifd(34892, 34892, 3, 8).isBaselineJPEG(), true,
                 ifd(34892, 34892, 3, 8, 3).isBaselineJPEG(), false, ifd(1, 0, 1, 8).hasImage(), true,
                 ifd(1, 0, 5, 8).hasImage(), false, ifd(1, 0, 4, 33).hasImage(), false,
                 ifd(1, 0, 1, 8, 1, 1, 15001).hasImage(), false);
}

TEST(DngParse, Profiles) {
    DngBuilder builder = with(kRaw, {dng_rationals(50723, {1.5, 0, 0, 0, 1, 0, 0, 0, 2}, 10000, kDngSRational),
                                     // Of one color, and of two.
                                     dng_rationals(50964, {1, 2, 3}, 10000, kDngSRational),
                                     dng_rationals(50722, {1, 2, 3, 4, 5, 6}, 10000, kDngSRational)});
    builder.extraProfiles = {dng_color_tags(), {dng_shorts(50778, {17})}, dng_color_tags()};
    add_tags(builder.extraProfiles[2], {dng_text(50936, "Third"), DngTag{50940, kDngFloat, {0, 0, 0.5, 0.75, 1, 1}},
                                        dng_longs(50937, {6, 4}), dng_text(50735, "not of a profile")});
    in_both_orders(builder, [](const DngFile &file) {
        const VorelDngShared &shared = file.shared;
        ASSERT_EQ(shared.extraProfiles.size(), 2u);
        const VorelDngCameraProfileInfo &own = shared.cameraProfile, &third = shared.extraProfiles[1];
        // The table lies where it says, counted from the beginning of the file.
        VorelDngStream table(file.stream, third.toneCurveOffset + 12);
        expect_pairs(shared.uniqueCameraModel, "Test Camera 1", own.uniqueCameraModel, "Test Camera 1",
                     shared.cameraCalibration1[2][2], 2.0, own.cameraCalibration1[0][0], 1.5,
                     own.forwardMatrix1.empty(), true, own.colorMatrix2.empty(), true, shared.asShotNeutral[2], 0.62,
                     file.exif.cameraSerialNumber, "", third.name, "Third", third.uniqueCameraModel, "Test Camera 1",
                     third.colorMatrix2[1][1], 1.25, third.hueDivisions, 6, third.satDivisions, 4, third.valDivisions,
                     1, third.toneCurveCount, 6, table.get_QMFLOAT(), 0.75f);
    });
}

}  // namespace
}  // namespace vorel::test
