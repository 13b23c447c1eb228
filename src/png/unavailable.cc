// In place of the decoders in a cross build without libpng.
#include "png/png.h"

extern "C" int32_t decodeVPNG(const void *, int32_t, vpng_read_callback, void *, int32_t, int32_t, int32_t, int32_t) {
    return 0;
}
extern "C" void vpng_read_fn(png_structp, png_bytep, size_t) {}

// Nothing opens, so nothing is decoded or destroyed.
extern "C" vpng_tile_index *onBuildTileIndexVPNG(const void *, int32_t, vpng_read_callback, int32_t) { return nullptr; }
extern "C" int32_t onDecodeVPNGSubset(vpng_tile_index *, void *, int32_t, int32_t, int32_t, int32_t, int32_t) {
    return 0;
}
extern "C" png_uint_32 vpng_get_IHDR(png_structp, png_infop, png_uint_32 *, png_uint_32 *, int *, int *, int *, int *,
                                     int *) {
    return 0;
}
extern "C" int32_t vpng_set_region_memory(vpng_tile_index *, size_t) { return 0; }
extern "C" size_t vpng_get_region_memory(vpng_tile_index *) { return 0; }
extern "C" void vpng_destroy_read_struct(png_structpp, png_infopp, png_infopp) {}
