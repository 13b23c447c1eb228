#include "upright.h"

#include <cstring>

namespace vorel_tool {

bool is_sideways(int32_t orientation) { return orientation >= 5 && orientation <= 8; }

bool is_from_right(int32_t orientation) {
    return orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
}

bool is_from_below(int32_t orientation) {
    return orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
}

Picture upright(Picture picture, int32_t orientation) {
    if (orientation < 2 || orientation > 8) return picture;
    constexpr size_t kPixelBytes = 4;
    const bool sideways = is_sideways(orientation);
    const int32_t width = picture.width, height = picture.height;
    Picture turned = make_picture(*picture.format, sideways ? height : width, sideways ? width : height);
    for (int32_t y = 0; y < turned.height; ++y) {
        for (int32_t x = 0; x < turned.width; ++x) {
            int32_t from_x = sideways ? y : x, from_y = sideways ? x : y;
            if (is_from_right(orientation)) from_x = width - 1 - from_x;
            if (is_from_below(orientation)) from_y = height - 1 - from_y;
            const size_t from =
                (static_cast<size_t>(from_y) * static_cast<size_t>(width) + static_cast<size_t>(from_x));
            const size_t to = static_cast<size_t>(y) * static_cast<size_t>(turned.width) + static_cast<size_t>(x);
            std::memcpy(&turned.bytes[to * kPixelBytes], &picture.bytes[from * kPixelBytes], kPixelBytes);
        }
    }
    return turned;
}

}  // namespace vorel_tool
