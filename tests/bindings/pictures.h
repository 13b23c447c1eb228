// One picture as a file of each type that the bindings decode.
#pragma once

#include <vorel/bindings.h>

#include "support/inputs.h"

namespace vorel::test {

// width x height pixels R, G, B, A: areas of one colour, slopes and some noise.
Bytes picture_rgba(int width, int height);
// By the library's encoder.
Bytes jpeg_of(int width, int height);
// 12 bits a sample, uncompressed.
Bytes dng_of(uint32_t width, uint32_t height);

VrOptions options_for(int32_t sample, int32_t format = COLOR_RGBA8888);

// What a call gave in memory of its own, which is freed.
Bytes taken(void *pixels, size_t bytes);
// Rectangles of 4 bytes a pixel.
Bytes cut_of(const Bytes &pixels, int stride_pixels, int x, int y, int width, int height);

struct Size {
    int width, height;
};
// round(side / sample).
Size rounded(int width, int height, int sample);

}  // namespace vorel::test
