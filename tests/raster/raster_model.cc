#include "raster/raster_model.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vorel::test {

std::string text_of(const RasterTarget &target) {
    return " to " + std::to_string(target.width) + " x " + std::to_string(target.height) + " format " +
           std::to_string(target.format) + " options " + std::to_string(target.options);
}

Bytes target_bytes(const RasterTarget &target, uint8_t fill) {
    const auto side = [](int32_t pixels) { return static_cast<size_t>(std::max(pixels, 0)); };
    return Bytes(side(target.width) * side(target.height) * side(raster_pixel_bytes(target.format)), fill);
}

Bytes pixel_of(const Rgba &c, int32_t format) {
    const auto byte = [](uint32_t value) { return static_cast<uint8_t>(value); };
    switch (format) {
        case COLOR_RGB565:
            return little_16(c.r / 8 * 2048 + c.g / 4 * 32 + c.b / 8);
        case COLOR_RGB888:
            return {byte(c.r), byte(c.g), byte(c.b)};
        case COLOR_ARGB8888:
            return {byte(c.a), byte(c.r), byte(c.g), byte(c.b)};
        case COLOR_BGR565A:
            return cat({little_16(c.b / 8 * 2048 + c.g / 4 * 32 + c.r / 8), {byte(c.a)}});
        case COLOR_RGBA8888:
            return {byte(c.r), byte(c.g), byte(c.b), byte(c.a)};
        case COLOR_BGRA8888:
            return {byte(c.b), byte(c.g), byte(c.r), byte(c.a)};
        default:
            return {};
    }
}

int32_t raster_pixel_bytes(int32_t format) {
    return format == VOREL_GIF_INDICES ? 1 : static_cast<int32_t>(pixel_of({}, format).size());
}

RasterSize fitted(RasterSize picture, const RasterTarget &target) {
    const bool sideways = target.turns() % 2 == 1;
    const int32_t across = sideways ? target.height : target.width, down = sideways ? target.width : target.height;
    if (target.stretched()) return {across, down};
    if (across >= picture.width && down >= picture.height) return picture;
    const int64_t by_width = int64_t{picture.height} * across / picture.width;
    const int64_t by_height = int64_t{picture.width} * down / picture.height;
    if (across < picture.width && by_width <= down) return {across, static_cast<int32_t>(by_width)};
    return {static_cast<int32_t>(by_height), down};
}

RasterPicture decode_raster(RasterDecoder decoder, Kind kind, const Bytes &file, const RasterTarget &target,
                            uint8_t fill) {
    GuardBuffer output(target_bytes(target, fill));
    Input input(kind, file, target.format, target.options);
    DecInfo *session = input.session();
    if (!session) return {-1, 0, 0, 0, output.bytes()};
    const int32_t result = decoder(session, output.data(), target.width, target.height);
    EXPECT_EQ(session->codecState, nullptr);
    return {result, session->outWidth, session->outHeight, session->frameDelay, output.bytes()};
}

RasterPicture decode_bmp(Kind kind, const Bytes &file, const RasterTarget &target) {
    return decode_raster(VORELBRIMI_DecodeBMP, kind, file, target);
}
RasterPicture decode_gif(Kind kind, const Bytes &file, const RasterTarget &target, uint8_t fill) {
    return decode_raster(VORELBRIMI_DecodeGIF, kind, file, target, fill);
}

Seen seen_by(RasterDecoder decoder, Kind kind, const Bytes &file, const RasterTarget &target) {
    const RasterPicture got = decode_raster(decoder, kind, file, target);
    return {std::max(got.result, 0), got.pixels};
}

void expect_untouched(RasterDecoder decoder, const std::vector<Kind> &kinds, const Bytes &file,
                      const RasterTarget &target, int32_t result) {
    for (const Kind kind : kinds) {
        const RasterPicture got = decode_raster(decoder, kind, file, target);
        EXPECT_EQ(got.result, result) << text_of(target);
        EXPECT_EQ(got.pixels, target_bytes(target)) << text_of(target);
    }
}

}  // namespace vorel::test
