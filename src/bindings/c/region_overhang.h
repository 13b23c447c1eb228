// Rectangles that may hang over their picture: what lies inside is decoded, the rest of the output stays as it is, but
// for formats with chroma planes, which become black there.
#pragma once

#include <vorel/frame.h>
#include <vorel/png.h>

#include <cstdint>

namespace vorel {

// The COLOR_ of a format selector: 0 RGBA, 1 RGB565, 2 planar 4:2:0. RGBA8888, BGRA8888, NV21 and NV12 stand for
// themselves; -1 for the rest.
int32_t selected_format(int32_t selector);

// A rectangle inside the picture reduced by sample, in that picture's pixels; format is a COLOR_. The session is not
// changed, so that threads may ask for different formats. 1 or 0.
int32_t region_inside(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample);

// The same for one that may hang over; format is a selector, here and below. 1, or 0 also where nothing lies inside.
int32_t region_ex(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height, int32_t format,
                  int32_t sample);

// x, y, width and height in pixels of the whole picture; the output has rows of width / sample pixels of RGBA, the
// only format. 1 or 0.
int32_t region_png_ex(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample);

}  // namespace vorel
