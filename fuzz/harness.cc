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
    // Bytes a pixel in the first plane; the pixels that a pair of chroma samples stands for, 0 where there is none.
    constexpr struct {
        int32_t format;
        size_t bytes, across, down;
    } kLayouts[] = {{COLOR_GRAY, 1, 0, 0},     {COLOR_RGB565, 2, 0, 0},   {COLOR_RGB565_ALT, 2, 0, 0},
                    {COLOR_RGB888, 3, 0, 0},   {COLOR_BGR565A, 3, 0, 0},  {COLOR_ARGB8888, 4, 0, 0},
                    {COLOR_RGBA8888, 4, 0, 0}, {COLOR_BGRA8888, 4, 0, 0}, {COLOR_YUV444, 1, 1, 1},
                    {COLOR_YUV422, 1, 2, 1},   {COLOR_YUV440, 1, 1, 2},   {COLOR_YUV420, 1, 2, 2},
                    {COLOR_NV21, 1, 2, 2},     {COLOR_NV12, 1, 2, 2}};
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    if (format == COLOR_YUYV) return h * (2 * w + (2 * w & 3));
    for (const auto &layout : kLayouts) {
        if (layout.format != format) continue;
        const size_t across = layout.across ? (w + layout.across - 1) / layout.across : 0;
        const size_t down = layout.down ? (h + layout.down - 1) / layout.down : 0;
        return w * h * layout.bytes + 2 * across * down;
    }
    return 0;
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
