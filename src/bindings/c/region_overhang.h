// Rectangles that may hang over their picture: what lies inside is decoded, the rest of the output stays as it is, but
// for formats with chroma planes, which become black there.
#pragma once

#include <vorel/frame.h>
#include <vorel/png.h>

#include <cstdint>

namespace vorel {

// A rectangle inside the picture reduced by sample, in that picture's pixels and a COLOR_ format. In a session of its
// own: the open session's format is not changed, and other threads may ask for another one. 1 or 0.
int32_t region_inside(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample);

// x, y, width and height in pixels of the picture reduced by sample, in the session's map of regions. 1 or 0.
int32_t region_ex(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height, int32_t format,
                  int32_t sample);

// x, y, width and height in pixels of the whole picture; the output has rows of width / sample pixels. 1 or 0.
int32_t region_png_ex(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample);

}  // namespace vorel
