// The formats that Java asks rectangles for.
#pragma once

#include <vorel/frame.h>

namespace vorel {

// The COLOR_ of a selector, -1 for others.
constexpr int32_t selected_format(int32_t selector) {
    switch (selector) {
        case 0:
        case COLOR_RGBA8888:
            return COLOR_RGBA8888;
        case 1:
            return COLOR_RGB565;
        case 2:
            return COLOR_YUV420;
        case COLOR_NV12:
            return COLOR_NV12;
        default:
            return -1;
    }
}

}  // namespace vorel
