// The exported writers and row steps, one by one: what they store is what a decode stores.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"

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
                std::vector<GuardBuffer *> rows;
                uint8_t *pointers[3][2] = {};
                for (size_t c = 0; c < 3; ++c) {
                    const Plane &plane = coded->components[c].plane;
                    for (int k = 0; k < (c ? 1 : row.v); ++k) {
                        const int at = std::min(c ? y / row.v : y + k, plane.height - 1);
                        const int width = c ? (spec.width + row.h - 1) / row.h : spec.width;
                        const auto from = plane.samples.begin() + static_cast<ptrdiff_t>(at) * plane.width;
                        rows.push_back(new GuardBuffer(Bytes(from, from + width)));
                        pointers[c][k] = rows.back()->data();
                    }
                }
                uint8_t **views[3] = {pointers[0], pointers[1], pointers[2]};
                row.writers[i](record.get(), views, spec.width);
                for (GuardBuffer *buffer : rows) delete buffer;
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

}  // namespace
}  // namespace vorel::test
