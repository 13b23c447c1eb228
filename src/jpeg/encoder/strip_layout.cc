#include "jpeg/encoder/strip_layout.h"

namespace vorel {

int32_t strip_pixel_bytes(uint32_t format) {
    switch (format) {
        case COLOR_RGB565:
            return 2;
        case COLOR_RGB888:
        case COLOR_BGR565A:
            return 3;
        case COLOR_GRAY:
            return 1;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_YUV440:
        case COLOR_YUV444:
        case COLOR_YUYV:
        case COLOR_NV21:
        case COLOR_NV12:
            return 0;
        default:
            return -1;
    }
}

RawInfo strip_of(const RawInfo &raw, int32_t i, int32_t rows, int32_t count) {
    const int32_t top = i * rows;
    RawInfo strip = raw;
    strip.height = i + 1 < count ? rows : raw.height - top;
    const auto row_bytes = static_cast<uint64_t>(strip_pixel_bytes(raw.format)) * raw.width;
    if (raw.pixels) strip.pixels = raw.pixels + row_bytes * static_cast<uint32_t>(top);
    strip.stripMode = 1;
    strip.notFirstStrip = i > 0;
    strip.notLastStrip = i + 1 < count;
    strip.fullHeight = static_cast<uint32_t>(raw.height);
    strip.stripStartRow = static_cast<uint32_t>(top);
    strip.progressive = strip.optimizeHuffman = 0;
    return strip;
}

}  // namespace vorel
