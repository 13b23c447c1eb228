// The exported steps by themselves: source and pre-buffer, the row stepper, the members of the family of transparency.
#include <gtest/gtest.h>

#include <png.h>

#include <cstring>
#include <random>

#include "png/run.h"

namespace vorel::test {
namespace {

TEST(PngSource, MemoryIsReadWholeOrNotAtAll) {
    Opened open(make_png({}));
    ASSERT_TRUE(open.good());
    const uint32_t size = static_cast<uint32_t>(open.bytes().size());
    EXPECT_EQ(vpng_get_buffer_len(open.png), size);
    uint8_t dest[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    vpng_seek_buffer_fn(open.png, size - 3);
    vpng_read_fn(open.png, dest, 4);
    EXPECT_EQ(dest[0], 7);
    EXPECT_EQ(vpng_get_io_buff_pos(open.png), size - 3);
    vpng_read_fn(open.png, dest, 3);
    EXPECT_TRUE(std::memcmp(dest, &open.bytes()[size - 3], 3) == 0);
    EXPECT_EQ(vpng_get_io_buff_pos(open.png), size);
    vpng_set_io_buff_pos(open.png, size + 5);
    vpng_read_fn(open.png, dest, 1);
    vpng_read_fn(open.png, nullptr, 0);
    EXPECT_EQ(vpng_get_io_buff_pos(open.png), size + 5);
    vpng_seek_data(open.png, 1);
    vpng_read_data(open.png, dest, 3);
    EXPECT_TRUE(std::memcmp(dest, "PNG", 3) == 0);
    vpng_set_buffer_len(open.png, 6);
    vpng_read_fn(open.png, dest, 3);
    EXPECT_EQ(vpng_get_io_buff_pos(open.png), 4u);
    vpng_set_seek_fn(open.png, nullptr);
    EXPECT_EQ(unless_jumped(open.png, [&] { return vpng_seek_data(open.png, 0), 0; }), -1);
}

TEST(PngSource, FieldsAndPreBuffer) {
    Opened open(make_png({}));
    vpng_set_diff_cur_y(open.png, -4);
    vpng_set_y_sample(open.png, 5);
    vpng_set_org_img_curr_y(open.png, 6);
    EXPECT_EQ(vpng_get_diff_cur_y(open.png), -4);
    EXPECT_EQ(vpng_get_y_sample(open.png), 5);
    EXPECT_EQ(vpng_get_org_img_curr_y(open.png), 6);
    EXPECT_EQ(vpng_get_y_sample(nullptr), 0);
    EXPECT_EQ(vpng_get_pre_buffer_iter(nullptr), nullptr);
    vpng_set_y_sample(nullptr, 1);
    char out[8] = {};
    EXPECT_EQ(preBufferIterWrite(open.png, "vorel", 5), 0);
    EXPECT_EQ(preBufferIterAlloc(open.png, 6), 1);
    void *block = vpng_get_pre_buffer_iter(open.png);
    EXPECT_EQ(preBufferIterAlloc(open.png, 600), 1);
    EXPECT_EQ(vpng_get_pre_buffer_iter(open.png), block);
    EXPECT_EQ(preBufferIterWrite(open.png, "vorel", 6), 1);
    EXPECT_EQ(preBufferIterRead(open.png, out, 6), 1);
    EXPECT_STREQ(out, "vorel");
    EXPECT_EQ(preBufferIterRead(open.png, out, 7), 0);
    EXPECT_EQ(preBufferIterWrite(open.png, "vorel", 7), 0);
    EXPECT_EQ(getSubImageBufferForVPNG(), 1);
}

TEST(PngSteps, TheRowStepperIsThatOfRounds) {
    Opened open(make_png({}));
    std::mt19937 random(5);
    for (int trial = 0; trial < 20000; ++trial) {
        const auto any = [&](int low, int high) {
            return low + static_cast<int>(random() % static_cast<unsigned>(high - low));
        };
        const int src_height = any(-2, 60), out_height = any(-3, 60);
        RowStep at = {any(-50, 50), any(-200, 4000), any(-200, 4000)};
        vpng_set_diff_cur_y(open.png, at.difference);
        vpng_set_y_sample(open.png, at.y);
        vpng_set_org_img_curr_y(open.png, at.o);
        const int skipped = model_step(&at, src_height, out_height);
        ASSERT_EQ(skip_src_rows_count(open.png, open.info, src_height, out_height), skipped);
        ASSERT_EQ(
            (RowStep{vpng_get_diff_cur_y(open.png), vpng_get_y_sample(open.png), vpng_get_org_img_curr_y(open.png)}),
            at);
    }
}

// Pixels of a row that the members look at: noise, keys, transparent and opaque ones.
Bytes noise_row(int width, const StraightPng &image, unsigned seed) {
    std::mt19937 random(seed);
    Bytes row;
    for (int x = 0; x < width; ++x) {
        const unsigned kind = random() % 4;
        for (int c = 0; c < 4; ++c) row.push_back(static_cast<uint8_t>(random()));
        uint8_t *pixel = &row[row.size() - 4];
        const bool gray = image.colour_type == 0;
        if (kind == 0) pixel[3] = 0;
        if (kind == 1)
            for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uint8_t>(image.key[gray ? 0 : c]);
        if (kind == 2) pixel[0] = static_cast<uint8_t>(image.key[0]);
    }
    return row;
}

TEST(PngSteps, MembersOfTheFamilyOverAnyRow) {
    constexpr int kWidth = 41;
    for (const PngSpec &spec : all_forms(kWidth, 2)) {
        if (spec.interlaced) continue;
        Opened open(make_png(spec));
        ASSERT_TRUE(open.good());
        int depth, colour_type;
        vpng_get_IHDR(open.png, open.info, nullptr, nullptr, &depth, &colour_type, nullptr, nullptr, nullptr);
        EXPECT_EQ(std::pair(depth, colour_type), std::pair(spec.depth, spec.colour_type)) << "as in the file";
        const StraightPng image = straight_png(open.bytes());
        const Bytes row = noise_row(kWidth, image, spec.seed);
        const auto picked = [&](const std::vector<int> &columns) {
            Bytes out(static_cast<size_t>(kWidth) * 4, kFill);
            uint8_t *at = out.data();
            for (const int x : columns) {
                uint8_t pixel[4];
                std::memcpy(pixel, &row[static_cast<size_t>(x) * 4], 4);
                model_pixel(image, false, pixel);
                at = std::copy(pixel, pixel + 4, at);
            }
            return out;
        };
        const auto stepped = [](int first, int end, int step) {
            std::vector<int> columns;
            for (int x = first; x < end; x += step) columns.push_back(x);
            return columns;
        };
        const auto run = [&](const std::vector<int> &columns, const auto &member) {
            GuardBuffer out(static_cast<size_t>(kWidth) * 4, kFill);
            EXPECT_EQ(member(out.data()), 1);
            EXPECT_TRUE(out.bytes() == picked(columns)) << spec.name() << " " << columns.size() << " columns";
        };
        for (const int width : {1, 7, 40, 41, 42, 60, 90}) {
            run(model_fitted_columns(kWidth, width),
                [&](uint8_t *out) { return substituteTranspColorResize(open.png, open.info, out, row.data(), width); });
        }
        for (const int step : {1, 2, 5, 40, 41, 100}) {
            const int middle = kWidth <= step ? kWidth / 2 : step / 2;
            run(stepped(middle, kWidth, step), [&](uint8_t *out) {
                return substituteTranspColorSampleSize(open.png, open.info, out, row.data(), 1, step);
            });
            for (const int w : {3, 12, 60}) {
                const int end = image.transparent_entries ? kWidth : std::min(kWidth, 9 + w);
                run(stepped(9 + middle, end, step), [&](uint8_t *out) {
                    return substituteTranspColor_SampleSizeCrop(open.png, open.info, out, row.data(), 9, w, step);
                });
            }
        }
        Bytes whole = row;
        EXPECT_EQ(substituteTranspColor(open.png, open.info, whole.data()), 1);
        Bytes expected = row;
        for (size_t i = 0; i < expected.size(); i += 4) model_pixel(image, true, &expected[i]);
        EXPECT_TRUE(whole == expected) << spec.name();
        EXPECT_EQ(substituteTranspColorResize(open.png, open.info, nullptr, row.data(), 5), 0);
        EXPECT_EQ(substituteTranspColorSampleSize(open.png, open.info, whole.data(), nullptr, 5, 2), 0);
        EXPECT_EQ(substituteTranspColorSampleSize(open.png, open.info, whole.data(), row.data(), 5, 0), 0);
        EXPECT_EQ(substituteTranspColor_SampleSizeCrop(open.png, open.info, whole.data(), row.data(), -1, 5, 1), 0);
    }
}

}  // namespace
}  // namespace vorel::test
