// What the entries for any format reach out of the frame for: the decoder of each type, and turning a picture. A type
// whose decoder this build does not have fails like a damaged picture.
#pragma once

#include <vorel/frame.h>

namespace vorel {

// Decodes the parsed session into output: width x height pixels of the session's colour format. Gives the
// result of the type's decoder, 0 for a type without one. Not for PNG, whose decoder opens its input itself.
int32_t decode_by_type(DecInfo *session, void *output, int32_t width, int32_t height, int32_t sample_size);

// length 0: source is a path; else that many bytes of memory. 1 or 0.
int32_t decode_png(const void *source, int32_t length, void *output, int32_t width, int32_t height, int32_t sample_size,
                   int32_t color_format);

// Turns a picture clockwise by 90, 180 or 270 degrees where it stands. 1, or 0 with the picture as it was.
int32_t rotate_in_place(void *pixels, int32_t width, int32_t height, int32_t color_format, int32_t degrees);

}  // namespace vorel
