#include "raster/bmp_decode.h"

#include <gtest/gtest.h>

#include <vorel/raster.h>

#include <algorithm>

namespace vorel::test {

Bytes bmp_target_bytes(const BmpTarget &target) {
    const int64_t area = int64_t{std::max(target.width, 0)} * std::max(target.height, 0);
    return Bytes(static_cast<size_t>(area * bmp_test_pixel_bytes(target.format)), kBmpFill);
}

BmpDecoded decode_bmp(Kind kind, const Bytes &file, const BmpTarget &target) {
    GuardBuffer output(bmp_target_bytes(target));
    Input input(kind, file, target.format, target.option);
    if (!input.session()) return {-1, 0, 0, output.bytes()};
    const int32_t result = VORELBRIMI_DecodeBMP(input.session(), output.data(), target.width, target.height);
    EXPECT_EQ(input.session()->codecState, nullptr);
    return {result, input.session()->outWidth, input.session()->outHeight, output.bytes()};
}

void expect_bmp_as_model(const BmpPicture &picture, const BmpShape &shape, const BmpTarget &target) {
    const Bytes file = bmp_file(picture, shape);
    const BmpExpected expected = model_bmp(picture, shape, target, bmp_target_bytes(target));
    // The smallest files of 54 bytes and less are no BMP for the decoder.
    ASSERT_GE(file.size(), 54u);
    for (const Kind kind : kAllKinds) {
        const BmpDecoded got = decode_bmp(kind, file, target);
        ASSERT_EQ(got.result, 1) << describe(picture, shape, target);
        ASSERT_EQ(got.width, static_cast<uint32_t>(expected.width)) << describe(picture, shape, target);
        ASSERT_EQ(got.height, static_cast<uint32_t>(expected.height)) << describe(picture, shape, target);
        ASSERT_EQ(got.pixels, expected.pixels) << describe(picture, shape, target);
    }
}

}  // namespace vorel::test
