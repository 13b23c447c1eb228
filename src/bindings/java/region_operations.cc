// Rectangles and their conversion, as they are of use beside the natives.
#include <vorel/bindings_java.h>
#include <vorel/util.h>

#include "bindings/c/region_overhang.h"

using namespace vorel;

extern "C" {

int32_t DoDecodeRegionEx(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                         int32_t format, int32_t sampleSize) {
    return region_ex(session, output, x, y, width, height, format, sampleSize);
}

int32_t DoDecodeRegionPNGEx(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                            int32_t format, int32_t sampleSize) {
    return region_png_ex(index, output, x, y, width, height, format, sampleSize);
}

int32_t decodeRegionPNG(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                        int32_t sampleSize) {
    return onDecodeVPNGSubset(index, output, x, y, width, height, sampleSize);
}

void argb88882Yuv420p(uint8_t *yuv, const uint8_t *rgba, int32_t width, int32_t height) {
    rgba8888_to_yuv420(width, height, rgba, yuv);
}

}  // extern "C"
