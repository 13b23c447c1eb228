// Rectangles of an open picture that may hang over its edges.
#pragma once

#include <vorel/bindings.h>

#include <cstdint>

namespace vorel {

// Corner and size in pixels.
struct PixelRectangle {
    int32_t x, y, width, height;
};

// The COLOR_ of a format selector: 0 RGBA, 1 RGB565, 2 planar 4:2:0. Other values are that COLOR_ themselves, of
// RGBA8888, BGRA8888, NV21 and NV12; -1 for the rest.
int32_t selected_format(int32_t selector);

// Bytes of a picture with its chroma planes; rows and planes have no padding.
uint64_t picture_bytes(int32_t format, int32_t width, int32_t height);

// A rectangle that lies in the picture reduced by sampleSize, in that picture's pixels; format is a COLOR_. Does not
// change the session, so that threads may ask for different formats. 1 or 0.
int32_t decode_jpeg_inside(DecInfo *session, void *output, const PixelRectangle &rectangle, int32_t format,
                           int32_t sampleSize);

// The same for a rectangle that may hang over, with a format selector. What lies outside stays as it is, but for
// formats with chroma planes, which are cleared to black first. 1, or 0 also where nothing of it lies inside.
int32_t decode_jpeg_rectangle(DecInfo *session, void *output, const PixelRectangle &rectangle, int32_t selector,
                              int32_t sampleSize);

// The rectangle is in pixels of the whole picture; output has width / sampleSize by height / sampleSize pixels, RGBA
// being the only format.
int32_t decode_png_rectangle(vpng_tile_index *index, void *output, const PixelRectangle &rectangle, int32_t selector,
                             int32_t sampleSize);

}  // namespace vorel
