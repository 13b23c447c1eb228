// What the tests of BMP, GIF and WBMP share: targets, stored pixels, the fit, the taps of a scaled pixel, and decodes
// into buffers whose end cannot be overrun.
#pragma once

#include <vorel/raster.h>

#include <string>
#include <utility>

#include "support/samples.h"

namespace vorel::test {

constexpr uint8_t kUntouched = 0x5B;

struct RasterSize {
    int32_t width, height;
};

struct RasterTarget {
    int32_t width, height, format;
    uint32_t options = 0;

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
RasterSize fitted(RasterSize picture, int32_t across, int32_t down, bool stretch);
// Where a scaled pixel takes its two samples along an axis: at a quarter and at three quarters of its footprint.
std::pair<int32_t, int32_t> quarter_taps(int32_t index, int32_t source, int32_t target);

struct RasterPicture {
    int32_t result = -1;
    uint32_t width = 0, height = 0, delay = 0;
    Bytes pixels;
    bool operator==(const RasterPicture &other) const = default;
};
using RasterDecoder = decltype(&VORELBRIMI_DecodeBMP);
RasterPicture decode_raster(RasterDecoder decoder, Kind kind, const Bytes &file, const RasterTarget &target,
                            uint8_t fill = kUntouched);
RasterPicture decode_bmp(Kind kind, const Bytes &file, const RasterTarget &target);
RasterPicture decode_wbmp(Kind kind, const Bytes &file, const RasterTarget &target);
RasterPicture decode_gif(Kind kind, const Bytes &file, const RasterTarget &target, uint8_t fill = kUntouched);

}  // namespace vorel::test
