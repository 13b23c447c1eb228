// Sizes of pictures that callers ask for: what their pixels take, and reduced sides.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// Bytes of a pixel, or of a luma sample; 1 for formats that are none.
size_t sample_bytes(int32_t format);

// Bytes of width x height pixels in a colour format, planes and padding of rows included; at least 1 for each pixel.
// False for a side below 1 and for what no block of memory can be.
bool picture_bytes(int32_t format, int32_t width, int32_t height, size_t *bytes);

// A side of a picture reduced by sample, rounded to the nearest, halves up; sample below 1 means 1.
int32_t reduced_side(int32_t side, int32_t sample);

}  // namespace vorel
