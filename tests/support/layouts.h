// How formats are stored, the bytes that pictures take, and where their pixels go and come from.
#pragma once

#include <vorel/frame.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vorel::test {

inline int half_up(int size) { return (size + 1) / 2; }
inline size_t area(int width, int height) { return static_cast<size_t>(width) * static_cast<size_t>(height); }

// Where (x, y) of a width x height picture goes when that is turned clockwise.
inline std::pair<int, int> turned_place(int x, int y, int width, int height, uint32_t quarters) {
    const int across[] = {x, height - 1 - y, width - 1 - x, y}, down[] = {y, x, height - 1 - y, width - 1 - x};
    return {across[quarters], down[quarters]};
}

// Where a scaled pixel takes its two samples along an axis: at a quarter and at three quarters of its footprint.
inline std::pair<int, int> quarter_taps(int64_t index, int64_t source, int64_t target) {
    return {(source / 4 + index * source) / target, (source * 3 / 4 + index * source) / target};
}

// Pixel by pixel, or as a luma plane with two chroma planes or one of pairs behind it.
struct Layout {
    int32_t pixel_bytes = 0;       // 0: in planes
    int32_t across = 0, down = 0;  // pixels that a chroma sample stands for; 0: no chroma planes
    bool pairs = false;
};
Layout layout_of(int32_t format);
inline int32_t pixel_bytes(int32_t format) { return layout_of(format).pixel_bytes; }

// The planes of a width x height picture, one after another; not of COLOR_YUYV, whose rows are padded. One of bytes for
// numbers that are no format.
struct PlaneSize {
    int width, height, unit;
};
std::vector<PlaneSize> planes_of(int32_t format, int width, int height);
// Bytes of a width x height picture, chroma included.
size_t format_bytes(int32_t format, int width, int height);

}  // namespace vorel::test
