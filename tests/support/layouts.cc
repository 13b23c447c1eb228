#include "support/layouts.h"

#include <algorithm>
#include <utility>

namespace vorel::test {

Layout layout_of(int32_t format) {
    constexpr std::pair<int32_t, Layout> kLayouts[] = {
        {COLOR_RGB565, {2}},          {COLOR_RGB565_ALT, {2}},   {COLOR_RGB888, {3}},
        {COLOR_BGR565A, {3}},         {COLOR_ARGB8888, {4}},     {COLOR_RGBA8888, {4}},
        {COLOR_BGRA8888, {4}},        {COLOR_YUV420, {0, 2, 2}}, {COLOR_YUV422, {0, 2, 1}},
        {COLOR_YUV440, {0, 1, 2}},    {COLOR_YUV444, {0, 1, 1}}, {COLOR_NV21, {0, 2, 2, true}},
        {COLOR_NV12, {0, 2, 2, true}}};
    for (const auto &[of, layout] : kLayouts)
        if (of == format) return layout;
    return {};
}

std::vector<PlaneSize> planes_of(int32_t format, int width, int height) {
    const Layout layout = layout_of(format);
    std::vector<PlaneSize> planes = {{width, height, std::max(layout.pixel_bytes, 1)}};
    if (!layout.across) return planes;
    const PlaneSize chroma = {(width + layout.across - 1) / layout.across, (height + layout.down - 1) / layout.down,
                              layout.pairs ? 2 : 1};
    planes.insert(planes.end(), layout.pairs ? 1 : 2, chroma);
    return planes;
}

size_t format_bytes(int32_t format, int width, int height) {
    if (format == COLOR_YUYV) return area(2 * width + (2 * width & 3), height);
    size_t bytes = 0;
    for (const PlaneSize &plane : planes_of(format, width, height))
        bytes += area(plane.width, plane.height) * static_cast<size_t>(plane.unit);
    return bytes;
}

}  // namespace vorel::test
