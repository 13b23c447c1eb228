// What the fuzz targets share.
#include "harness.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorel_fuzz {

Case::Case(const uint8_t *data, size_t size, size_t option_bytes) {
    const size_t split = size > option_bytes ? size - option_bytes : size;
    picture_.assign(data, data + split);
    options_.assign(data + split, data + size);
}

uint32_t Case::option() {
    if (options_.empty()) return 0;
    const uint32_t value = options_.back();
    options_.pop_back();
    return value;
}

size_t target_bytes(int32_t format, int32_t width, int32_t height) {
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    const size_t half_w = (w + 1) / 2, half_h = (h + 1) / 2;
    switch (format) {
        case COLOR_GRAY:
            return w * h;
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            return w * h * 2;
        case COLOR_RGB888:
        case COLOR_BGR565A:
        case COLOR_YUV444:
            return w * h * 3;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return w * h * 4;
        case COLOR_YUV420:
        case COLOR_NV21:
        case COLOR_NV12:
            return w * h + 2 * half_w * half_h;
        case COLOR_YUV422:
            return w * h + 2 * half_w * h;
        case COLOR_YUV440:
            return w * h + 2 * w * half_h;
        case COLOR_YUYV:
            return h * (2 * w + (2 * w & 3));
        default:
            return 0;
    }
}

uint64_t require_whole_pixels(const Bytes &first, const Bytes &second, size_t pixel_bytes) {
    require(first.size() == second.size(), "both write as much");
    uint64_t written = 0;
    for (size_t at = 0; at < first.size(); at += pixel_bytes) {
        const bool same = std::memcmp(&first[at], &second[at], pixel_bytes) == 0;
        for (size_t i = at; i < at + pixel_bytes && !same; ++i) {
            require(first[i] == kFill && second[i] == kOtherFill, "no pixel is written in part");
        }
        written += same;
    }
    return written;
}

void require(bool holds, const char *property) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", property);
    std::abort();
}

}  // namespace vorel_fuzz
