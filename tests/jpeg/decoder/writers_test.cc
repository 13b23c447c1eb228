// The exported writers, one by one: what they store is what a decode stores.
#include <climits>
#include <list>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

using DirectWriter = void (*)(JpegInfo *, uint8_t ***, int32_t);

TEST(JpegWriters, DirectWritersTakeRowsAtTheComponentsOwnWidth) {
#define WRITERS(sampling)                                                                                           \
    {                                                                                                               \
        BRIMJ_YcbcrWriteOutput1to1_##sampling, BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGB565,                    \
            BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGBA8888, BRIMJ_YcbcrWriteOutput1to1_##sampling##_toBGRA8888, \
    }
    const struct {
        int h, v;
        DirectWriter writers[4];
    } kRows[] = {
        {2, 2, WRITERS(YUV420)}, {2, 1, WRITERS(YUV422_H2V1)}, {1, 2, WRITERS(YUV422_H1V2)}, {1, 1, WRITERS(YUV444)}};
#undef WRITERS
    constexpr int32_t kFormats[4] = {COLOR_RGB888, COLOR_RGB565, COLOR_RGBA8888, COLOR_BGRA8888};
    for (const auto &row : kRows) {
        const PictureSpec spec{.width = 37, .height = 21, .h = row.h, .v = row.v};
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        for (int i = 0; i < 4; ++i) {
            OpenRecord record(jpeg, kFormats[i], spec.width, spec.height);
            ASSERT_TRUE(record.get());
            // Rows that end where the component does: an odd width's last pixel has a chroma sample of its own.
            for (int y = 0; y < spec.height; y += row.v) {
                std::list<GuardBuffer> rows;
                uint8_t *pointers[3][2] = {};
                for (size_t c = 0; c < 3; ++c) {
                    const Plane &plane = coded->components[c].plane;
                    for (int k = 0; k < (c ? 1 : row.v); ++k) {
                        const int at = std::min(c ? y / row.v : y + k, plane.height - 1);
                        const int width = c ? (spec.width + row.h - 1) / row.h : spec.width;
                        const auto from = plane.samples.begin() + static_cast<ptrdiff_t>(at) * plane.width;
                        pointers[c][k] = rows.emplace_back(Bytes(from, from + width)).data();
                    }
                }
                uint8_t **views[3] = {pointers[0], pointers[1], pointers[2]};
                row.writers[i](record.get(), views, spec.width);
            }
            EXPECT_TRUE(record.pixels() == decode(jpeg, {.format = kFormats[i]}).pixels)
                << row.h << "x" << row.v << " format " << kFormats[i];
        }
    }
}

template <auto kWrite>
void of_three(JpegInfo *info, const uint8_t *const *p, int32_t width) {
    kWrite(info, p[0], p[1], p[2], width);
}
template <auto kWrite>
void of_four(JpegInfo *info, const uint8_t *const *p, int32_t width) {
    kWrite(info, p[0], p[1], p[2], p[3], width);
}

TEST(JpegWriters, RowWritersStoreOneRow) {
    const struct {
        Colour colour;
        void (*write)(JpegInfo *, const uint8_t *const *, int32_t);
        void (*write_sums)(JpegInfo *, const uint32_t *, int32_t);
    } kRows[] = {
        {Colour::kYcc, of_three<BRIMJ_YcbcrWriteOutput1to1>, BRIMJ_YcbcrWriteOutput},
        {Colour::kYcc, of_three<BRIMJ_FastYcbcrWriteOutput>, nullptr},
        {Colour::kYcc, of_three<BRIMJ_FastYcbcrUpscaleWriteOutput>, nullptr},
        {Colour::kGray,
         [](JpegInfo *info, const uint8_t *const *p, int32_t w) { BRIMJ_GrayWriteOutput1to1(info, p[0], w); },
         BRIMJ_GrayWriteOutput},
        {Colour::kRgb, of_three<BRIMJ_RGBWriteOutput1to1>, BRIMJ_RGBWriteOutput},
        {Colour::kCmyk, of_four<BRIMJ_CMYKWriteOutput1to1>, nullptr},
        {Colour::kYcck, of_four<BRIMJ_YCCKWriteOutput1to1>, nullptr},
    };
    for (const auto &row : kRows) {
        const PictureSpec spec{.width = 45, .height = 9, .colour = row.colour, .h = 1, .v = 1};
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        for (const int32_t format : {COLOR_RGB565, COLOR_RGBA8888, COLOR_GRAY, COLOR_YUV444}) {
            const Bytes whole = decode(jpeg, {.format = format}).pixels;
            for (const bool sums : {false, true}) {
                if (sums && !row.write_sums) continue;
                OpenRecord record(jpeg, format, spec.width, spec.height);
                ASSERT_TRUE(record.get());
                for (int y = 0; y < spec.height; ++y) {
                    const uint8_t *planes[4] = {};
                    std::vector<uint32_t> words(static_cast<size_t>(spec.width));
                    for (size_t c = 0; c < coded->components.size(); ++c) {
                        const Plane &plane = coded->components[c].plane;
                        planes[c] = plane.samples.data() + static_cast<ptrdiff_t>(y) * plane.width;
                        // Four times the same sample, in its ten bits.
                        for (size_t x = 0; sums && x < words.size(); ++x)
                            words[x] += uint32_t{planes[c][x]} * 4 << (20 - 10 * c);
                    }
                    sums ? row.write_sums(record.get(), words.data(), spec.width)
                         : row.write(record.get(), planes, spec.width);
                }
                EXPECT_TRUE(record.pixels() == whole)
                    << static_cast<int>(row.colour) << " format " << format << " sums " << sums;
            }
        }
    }
}

// Called by name, a function does what its name says, whatever the record plans.
TEST(JpegWriters, FunctionsDoWhatTheirNamesSay) {
    const Bytes jpeg = turbo_picture(sized(96, 32, 1, 1));
    Bytes samples, grays, mixed;
    for (int x = 0; x < 96; ++x) {
        const auto sample = static_cast<uint8_t>(x * 5);
        samples.push_back(sample);
        grays.insert(grays.end(), {sample, sample, sample, 255});
        mixed.insert(mixed.end(), {sample, 77, 77, 255});
    }
    const uint8_t *row = samples.data();
    const Bytes full(96, 255);
    OpenRecord gray(jpeg, COLOR_RGBA8888, 96, 32), rgb(jpeg, COLOR_RGBA8888, 96, 32);
    OpenRecord cmyk(jpeg, COLOR_RGBA8888, 96, 32);
    BRIMJ_GrayWriteOutput1to1(gray.get(), row, 96);
    BRIMJ_RGBWriteOutput1to1(rgb.get(), row, row, row, 96);
    BRIMJ_CMYKWriteOutput1to1(cmyk.get(), row, row, row, full.data(), 96);
    for (OpenRecord *record : {&gray, &rgb, &cmyk}) EXPECT_EQ(head(record->pixels(), grays.size()), grays);
    // A row of zeros and a row of 200 into one row: the mean takes both, the centre one of them.
    Bytes low(96, 0), high(96, 200), grey(96, 128);
    const auto first_pixel = [&](void (*output)(JpegInfo *, uint8_t ***, int32_t)) {
        OpenRecord record(jpeg, COLOR_RGBA8888, 60, 20, Kind::kMemory, VOREL_OPTION_FIT_STRETCH);
        EXPECT_EQ(record.get()->plan.scaledHeight, 32);
        uint8_t *luma[2] = {low.data(), high.data()}, *chroma[2] = {grey.data(), grey.data()};
        uint8_t **rows[3] = {luma, chroma, chroma};
        output(record.get(), rows, 2);
        return record.pixels()[0];
    };
    EXPECT_EQ(first_pixel(BRIMJ_DoYcbcrToRgb), 100);
    EXPECT_EQ(first_pixel(BRIMJ_DoFastYcbcrToRgb), 0);
    // Of records whose frames have fewer components, or more.
    for (const Colour colour : {Colour::kGray, Colour::kCmyk}) {
        PictureSpec spec = sized(96, 32, 1, 1);
        spec.colour = colour;
        const Bytes other = turbo_picture(spec);
        for (const auto output : {BRIMJ_DoYcbcrToRgb, BRIMJ_DoRgbConvert, BRIMJ_DoGrayConvert}) {
            OpenRecord record(other, COLOR_RGBA8888, 60, 20, Kind::kMemory, VOREL_OPTION_FIT_STRETCH);
            uint8_t *rows_of_one[2] = {low.data(), high.data()};
            uint8_t **rows[4] = {rows_of_one, rows_of_one, rows_of_one, rows_of_one};
            output(record.get(), rows, 2);
            EXPECT_EQ(record.pixels()[3], 255);
        }
    }
    // Rows of a record whose chroma rows have half the width, which a function for RGB takes as they are.
    OpenRecord shared(turbo_picture(sized(96, 32, 2, 2)), COLOR_RGBA8888, 96, 32);
    GuardBuffer luma(samples), half(Bytes(48, 77));
    uint8_t *luma_rows[2] = {luma.data(), luma.data()}, *half_rows[2] = {half.data(), half.data()};
    uint8_t **rows[3] = {luma_rows, half_rows, half_rows};
    BRIMJ_DoRgbConvert(shared.get(), rows, 2);
    EXPECT_EQ(head(shared.pixels(), 2 * mixed.size()), cat({mixed, mixed}));
    // A doubling function doubles, also where the record plans no doubling.
    OpenRecord even(jpeg, COLOR_RGBA8888, 96, 32);
    JpegComponent component = even.get()->frame->components[1];
    GuardBuffer narrow(Bytes(samples.begin(), samples.begin() + 48)), wide(96);
    uint8_t *from[1] = {narrow.data()}, *to[1] = {wide.data()}, **doubled = to;
    BRIMJ_DoH2V1Upsample(&component, even.get(), from, &doubled);
    for (size_t x = 0; x < 96; ++x) ASSERT_EQ(wide.data()[x], samples[x / 2]) << x;
    // No code is longer than 16 bits, nor shorter than one.
    DerivedTable *table = shared.scan()->entropy.blockAc[0];
    const auto symbol = [&](int32_t least) {
        BitState state = {shared.get(), nullptr, 0, 0, 0};
        return BRIMJ_DecodeHuffMan(&state, 0xAAAAAAAA, 32, table, least);
    };
    EXPECT_EQ(symbol(1), 0x00) << "1010 ends a block";
    for (const int32_t least : {0, -3, INT32_MIN}) EXPECT_EQ(symbol(least), symbol(1));
    for (const int32_t least : {17, 40, INT32_MAX}) EXPECT_EQ(symbol(least), symbol(16));
}

}  // namespace
}  // namespace vorel::test
