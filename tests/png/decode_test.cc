// Whole decodes against libpng and the model: every form of PNG, full size, sampled and fitted.
#include <gtest/gtest.h>

#include "png/run.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

std::string text_of(const WholeRequest &request) {
    return " into " + std::to_string(request.out_width) + "x" + std::to_string(request.out_height) + " sample " +
           std::to_string(request.sample_size) + " format " + std::to_string(request.format);
}

constexpr int kSizes[][2] = {{37, 29}, {1, 1}, {5, 3}, {4, 9}, {16, 16}, {9, 70}};

// All requests that a picture of that size is worth: full, sampled with rounded down and up sides, fitted.
std::vector<WholeRequest> requests(int width, int height) {
    std::vector<WholeRequest> all;
    for (const int format : {7, 8}) {
        all.push_back({width, height, 1, format});
        all.push_back({width, height, 0, format});
        for (int s = 1; s <= 9; ++s) {
            if (s > 1 && width / s > 0 && height / s > 0) all.push_back({width / s, height / s, s, format});
            all.push_back({(width + s / 2) / s + 1, (height + s - 1) / s, s, format});
        }
        for (const int out_height : {1, height / 3 + 1, height - 1, height, height + 2}) {
            for (const int out_width : {1, width / 3 + 1, width, width + 1, 2 * width}) {
                if (out_height > 0) all.push_back({out_width, out_height, 0, format});
            }
        }
    }
    return all;
}

TEST(PngDecode, EveryFormAndRequestEqualsLibpngAndTheRule) {
    int differing = 0, run = 0;
    for (const auto &size : kSizes) {
        for (const PngSpec &spec : all_forms(size[0], size[1])) {
            const Bytes file = make_png(spec);
            const StraightPng image = straight_png(file);
            ASSERT_TRUE(image.good) << spec.name();
            EXPECT_TRUE(decode_by_steps(file, spec.width, spec.height) ==
                        decode_whole(file, {spec.width, spec.height, 1, 7}))
                << spec.name();
            for (const WholeRequest &request : requests(image.width, image.height)) {
                // Some by way of a file.
                const Decoded ours = decode_whole(file, request, kFill, ++run % 16 == 0);
                if (ours == model_whole(image, request, kFill)) continue;
                ADD_FAILURE() << spec.name() << text_of(request) << " result " << ours.result;
                if (++differing > 20) return;
            }
        }
    }
}

TEST(PngDecode, RowsAndColumnsThatAreKept) {
    EXPECT_EQ(model_rows(10, 3, 0), (std::vector<int>{2, 5, 6}));
    EXPECT_EQ(model_fitted_columns(10, 3), (std::vector<int>{1, 5, 8}));
    EXPECT_EQ(model_fitted_columns(100, 101).size(), 51u);
    const Bytes file = make_png({.height = 29, .interlaced = true});
    EXPECT_EQ(decode_whole(file, {18, 15, 2, 7}).result, 1);
    EXPECT_EQ(decode_whole(file, {18, 16, 2, 7}).result, 0);
    // Not higher than the output: the rows behind the last but one stay.
    const Decoded high = decode_whole(file, {20, 31, 0, 7});
    EXPECT_EQ(high.result, 1);
    EXPECT_EQ(tail(high.pixels, 20 * 4 * 3), Bytes(20 * 4 * 3, kFill));
    EXPECT_NE(head(tail(high.pixels, 20 * 4 * 4), 4), Bytes(4, kFill));
}

TEST(PngDecode, RefusalsLeaveTheBuffer) {
    const Bytes file = make_png({});
    for (const WholeRequest &request :
         {WholeRequest{37, 29, 1, 0}, {37, 29, 1, 6}, {37, 29, 1, 9}, {37, 29, -1, 7}, {20, 20, 0, 5}}) {
        const Decoded out = decode_whole(file, request);
        EXPECT_EQ(out.result, 0);
        EXPECT_EQ(out.pixels, Bytes(out.pixels.size(), kFill)) << text_of(request);
    }
    uint8_t pixel[4];
    EXPECT_EQ(decodeVPNG(file.data(), static_cast<int32_t>(file.size()), vpng_read_fn, nullptr, 37, 29, 1, 7), 0);
    EXPECT_EQ(decodeVPNG(nullptr, 8, vpng_read_fn, pixel, 1, 1, 1, 7), 0);
    EXPECT_EQ(decodeVPNG("/nonexistent/x.png", 0, nullptr, pixel, 1, 1, 1, 7), 0);
    EXPECT_EQ(decodeVPNG("/tmp", 0, nullptr, pixel, 1, 1, 1, 7), 0);
    EXPECT_EQ(decodeVPNG(file.data(), -5, vpng_read_fn, pixel, 1, 1, 1, 7), 0);
    EXPECT_EQ(decodeVPNG(file.data(), static_cast<int32_t>(file.size()), vpng_read_fn, pixel, 0, 0, 0, 7), 1);
}

TEST(PngDecode, TheEntriesForAnyFormatDecodePng) {
    const Bytes file = make_png({.colour_type = 6});
    const StraightPng image = straight_png(file);
    expect_entries_give(model_whole(image, {37, 29, 1, 7}, 0).pixels, file, 7, 1, 0);
    expect_entries_give(model_whole(image, {18, 14, 2, 8}, 0).pixels, file, 8, 2, 0);
}

}  // namespace
}  // namespace vorel::test
