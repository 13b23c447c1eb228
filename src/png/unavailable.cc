// In place of the decoders in a cross build without libpng.
#include "png/png.h"

extern "C" int32_t decodeVPNG(const void *, int32_t, vpng_read_callback, void *, int32_t, int32_t, int32_t, int32_t) {
    return 0;
}
extern "C" void vpng_read_fn(png_structp, png_bytep, size_t) {}
