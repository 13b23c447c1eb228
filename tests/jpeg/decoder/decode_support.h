// One decode as a function, and the size of its buffer.
#pragma once

#include <vorel/vorel.h>

#include "support/inputs.h"

namespace vorel::test {

// Bytes of a width x height picture of a format, chroma planes included.
size_t format_bytes(int32_t format, int32_t width, int32_t height);
// How a format is stored: pixel by pixel, or as a luma plane with two chroma planes or one of pairs behind it.
struct Layout {
    int32_t pixel_bytes = 0;      // 0: in planes
    size_t across = 0, down = 0;  // pixels that a chroma sample stands for; 0: no chroma planes
    bool pairs = false;
};
Layout layout_of(int32_t format);
inline int32_t pixel_bytes(int32_t format) { return layout_of(format).pixel_bytes; }

struct Decoded {
    int32_t result = 0;
    Bytes pixels;
    uint32_t out_width = 0, out_height = 0;
    uint32_t error = 1;  // the error word behind the decode, if there was one
};

struct DecodeSpec {
    int32_t format = COLOR_YUV444;
    int32_t width = 0, height = 0;  // of the target; 0: the picture's
    uint32_t options = 0;
    Kind kind = Kind::kMemory;
    uint8_t fill = 0;
    // A window of the output; width 0: none.
    uint32_t window_x = 0, window_y = 0, window_width = 0, window_height = 0;
    bool window_in_place = false;
};
Decoded decode(const Bytes &jpeg, const DecodeSpec &spec);
// Has the next decode of a session make a window of its output.
void set_window(DecInfo *session, uint32_t x, uint32_t y, uint32_t width, uint32_t height);

// Through BRIMJ_DecodeFrame, which keeps the session's decode mode.
Decoded decode_with_mode(const Bytes &jpeg, const DecodeSpec &spec, int32_t mode);

constexpr int32_t kAllFormats[] = {COLOR_RGB565,   COLOR_RGB888,  COLOR_YUV420,   COLOR_YUV422,   COLOR_GRAY,
                                   COLOR_ARGB8888, COLOR_BGR565A, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_RGB565_ALT,
                                   COLOR_YUV440,   COLOR_YUV444,  COLOR_YUYV,     COLOR_NV21,     COLOR_NV12};

}  // namespace vorel::test
