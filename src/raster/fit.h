// Where a BMP or GIF picture goes in a target: its size, its turn and its place.
#pragma once

#include <cstdint>

namespace vorel {

// All in pixels. A picture is width x height before it is turned; its pixel (x, y) lies at
// origin + y * row_step + x * pixel_step of a buffer whose rows are buffer_width long.
struct PictureFit {
    int32_t width, height;  // either 0: nothing is to be written
    bool one_to_one;
    uint32_t rotation;  // 0, 90, 180, 270 degrees clockwise
    int32_t buffer_width;
    int64_t origin, row_step, pixel_step;

    bool empty() const { return width <= 0 || height <= 0; }
    bool sideways() const { return rotation == 90 || rotation == 270; }
};

// options are the VOREL_OPTION bits. FIT_STRETCH takes the target as it is; every other fit keeps the aspect, enlarges
// nothing and puts the picture in the middle, odd margins rounded to the left and up. FIT_PACKED puts it at the start
// of a buffer that is no larger than the picture. The picture never exceeds the target.
PictureFit fit_picture(int32_t width, int32_t height, int32_t target_width, int32_t target_height, uint32_t options);

}  // namespace vorel
