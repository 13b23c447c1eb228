// Pictures in another size, by the library's resizers.
#include "resizing.h"

#include <vorel/frame.h>
#include <vorel/util.h>

#include "failure.h"

namespace vorel_tool {
namespace {

using Resizer = void (*)(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth,
                         int32_t dstHeight);

// By what a sample is made of: the order inside does not matter. Null for layouts that are not resized.
Resizer resizer_for(int32_t format) {
    switch (format) {
        case COLOR_YUV420:
            return vorel_resize_yuv420;
        case COLOR_NV12:
        case COLOR_NV21:
            return vorel_resize_nv21;
        case COLOR_RGB888:
            return vorel_resize_rgb888;
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
        case COLOR_ARGB8888:
            return vorel_resize_rgba8888;
        default:
            return nullptr;
    }
}

}  // namespace

bool has_resizer(const PixelFormat &format) { return resizer_for(format.code) != nullptr; }

Picture resize_picture(const Picture &picture, Size size, const std::string &path) {
    const Resizer resize = resizer_for(picture.format->code);
    if (!resize) return resize_picture(to_rgb888(picture), size, path);
    if (picture_bytes(*picture.format, size.width, size.height) > INT32_MAX)
        throw Failure(path + ": a frame of that size is larger than 2 GiB");
    Picture out = make_picture(*picture.format, size.width, size.height);
    // A resized byte is at most 252: one that stays as it was is the sign of a resize that had no memory.
    constexpr uint8_t kUntouched = 255;
    out.bytes.back() = kUntouched;
    resize(picture.bytes.data(), out.bytes.data(), picture.width, picture.height, size.width, size.height);
    if (out.bytes.back() == kUntouched) throw Failure(path + ": not enough memory to resize");
    return out;
}

}  // namespace vorel_tool
