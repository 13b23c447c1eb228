// One decode as a function, and the size of its buffer.
#pragma once

#include <vorel/vorel.h>

#include "support/inputs.h"
#include "support/layouts.h"

namespace vorel::test {

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
    int32_t mode = -1;  // not -1: by BRIMJ_DecodeFrame, which keeps the decode mode
    int32_t (*entry)(DecInfo *session, void *output, int32_t width, int32_t height) = VORELBRIM_DecodeJPEG;
    VorelCheckFn check = VORELBRIM_CheckFn;
};
Decoded decode(const Bytes &jpeg, const DecodeSpec &spec);
constexpr int32_t kAllFormats[] = {COLOR_RGB565,   COLOR_RGB888,  COLOR_YUV420,   COLOR_YUV422,   COLOR_GRAY,
                                   COLOR_ARGB8888, COLOR_BGR565A, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_RGB565_ALT,
                                   COLOR_YUV440,   COLOR_YUV444,  COLOR_YUYV,     COLOR_NV21,     COLOR_NV12};

}  // namespace vorel::test
