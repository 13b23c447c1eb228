// What the tests of BMP, GIF and WBMP share: targets, stored pixels, the fit, the taps of a scaled pixel, and decodes
// into buffers whose end cannot be overrun.
#pragma once

#include <vorel/raster.h>

#include <string>
#include <utility>

#include "support/conformance.h"
#include "support/layouts.h"
#include "support/samples.h"

namespace vorel::test {

constexpr uint8_t kUntouched = 0x5B;

struct RasterSize {
    int32_t width, height;
    bool operator==(const RasterSize &) const = default;
};

struct RasterTarget {
    int32_t width, height, format;
    uint32_t options = 0;

    uint32_t turns() const { return options >> 2 & 3; }
    bool packed() const { return (options & 0x700) == 0x100; }
    bool stretched() const { return (options & 0x700) == 0x700; }
};
std::string text_of(const RasterTarget &target);
// The buffer of a target; nothing for sides below 1.
Bytes target_bytes(const RasterTarget &target, uint8_t fill = kUntouched);

struct Rgba {
    uint32_t r = 0, g = 0, b = 0, a = 0;
};
Bytes pixel_of(const Rgba &colour, int32_t format);
int32_t raster_pixel_bytes(int32_t format);

// The larger of the sizes with one side as asked for and the other one by the aspect, inside the request; not enlarged.
RasterSize fitted(RasterSize picture, const RasterTarget &target);

struct RasterPicture {
    int32_t result = -1;
    uint32_t width = 0, height = 0, delay = 0;
    Bytes pixels;
    bool operator==(const RasterPicture &other) const = default;
};

// A picture of that size in the middle of a target that was filled before: store(x, y, at) puts a pixel of the upright
// picture into its bytes, or leaves them. Odd margins round down or, with round 1, up.
template <typename Store>
RasterPicture laid_out(const RasterTarget &target, RasterSize upright, Bytes before, const Store &store,
                       int32_t round = 0) {
    RasterPicture out = {1, 0, 0, 0, std::move(before)};
    if (upright.width <= 0 || upright.height <= 0) return out;
    const bool sideways = target.turns() % 2 == 1;
    const int32_t width = sideways ? upright.height : upright.width, height = sideways ? upright.width : upright.height;
    out.width = static_cast<uint32_t>(width);
    out.height = static_cast<uint32_t>(height);
    const int32_t stride = target.packed() ? width : target.width, bytes = raster_pixel_bytes(target.format);
    const int32_t left = target.packed() ? 0 : (target.width - width + round) / 2;
    const int32_t top = target.packed() ? 0 : (target.height - height + round) / 2;
    for (int32_t y = 0; y < upright.height; ++y) {
        for (int32_t x = 0; x < upright.width; ++x) {
            const auto [to_x, to_y] = turned_place(x, y, upright.width, upright.height, target.turns());
            const int32_t pixel = (top + to_y) * stride + left + to_x;
            store(x, y, out.pixels.data() + pixel * bytes);
        }
    }
    return out;
}

using RasterDecoder = decltype(&VORELBRIMI_DecodeBMP);
RasterPicture decode_raster(RasterDecoder decoder, Kind kind, const Bytes &file, const RasterTarget &target,
                            uint8_t fill = kUntouched);
RasterPicture decode_bmp(Kind kind, const Bytes &file, const RasterTarget &target);
RasterPicture decode_gif(Kind kind, const Bytes &file, const RasterTarget &target, uint8_t fill = kUntouched);
// A decode as the conformance harness sees it.
Seen seen_by(RasterDecoder decoder, Kind kind, const Bytes &file, const RasterTarget &target);

// From each kind of input: that result, and nothing stored.
void expect_untouched(RasterDecoder decoder, const std::vector<Kind> &kinds, const Bytes &file,
                      const RasterTarget &target, int32_t result);

}  // namespace vorel::test
