// Raw pictures of any format, and one encode as a function.
#pragma once

#include <vorel/vorel.h>

#include "support/inputs.h"

namespace vorel::test {

// A synthetic photograph: gradients, edges and noise, the same picture in every format.
struct RawPicture {
    int32_t format = COLOR_RGBA8888, width = 0, height = 0;
    Bytes pixels;
    // For one session over the whole picture; the pixels stay here.
    RawInfo record() const;
};
RawPicture raw_picture(int32_t format, int32_t width, int32_t height, int noise = 16, unsigned seed = 1);
// The same with random bytes.
RawPicture raw_noise(int32_t format, int32_t width, int32_t height, unsigned seed = 1);

constexpr int32_t kReadFormats[] = {COLOR_RGB565, COLOR_RGB888,   COLOR_YUV420,   COLOR_YUV422,
                                    COLOR_GRAY,   COLOR_RGBA8888, COLOR_BGRA8888, COLOR_YUV440,
                                    COLOR_YUV444, COLOR_YUYV,     COLOR_NV21,     COLOR_NV12};

struct EncodeSpec {
    int32_t quality = 85;
    bool progressive = false, optimize = false;
    ExifInfo *exif = nullptr;
    int32_t capacity = 1 << 16;
};
// By one session in memory; empty where it failed.
Bytes encode(const RawPicture &picture, const EncodeSpec &spec = {});

}  // namespace vorel::test
