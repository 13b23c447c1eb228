// Where the picture, or the window of it, stands in the caller's buffer.
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

constexpr ptrdiff_t bytes_of_pixel(int32_t format) {
    switch (format) {
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            return 2;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        default:
            return 1;
    }
}

// Planes of a rectangle of width x height pixels, and the pixel (x, y) in each of them. pair_x is where the pairs of
// pixels begin that share chroma bytes: x, or the even column of the picture before it.
void place_planes(OutputPlanes *planes, int32_t format, uint8_t *base, ptrdiff_t width, ptrdiff_t height, ptrdiff_t x,
                  ptrdiff_t pair_x, ptrdiff_t y) {
    const ptrdiff_t half_width = (width + 1) / 2, half_height = (height + 1) / 2;
    uint8_t *chroma = base + width * height;
    planes->rowStep = width;
    planes->pixelStep = 1;
    planes->outPlanes[0] = base + x + width * y;
    switch (format) {
        case COLOR_YUV420:
            planes->chroma_bytes = half_width;
            planes->outPlanes[1] = chroma + x / 2 + half_width * (y / 2);
            planes->outPlanes[2] = planes->outPlanes[1] + half_width * half_height;
            break;
        case COLOR_YUV422:
            planes->chroma_bytes = half_width;
            planes->outPlanes[1] = chroma + x / 2 + half_width * y;
            planes->outPlanes[2] = planes->outPlanes[1] + half_width * height;
            break;
        case COLOR_YUV440:
            planes->chroma_bytes = width;
            planes->outPlanes[1] = chroma + x + width * (y / 2);
            planes->outPlanes[2] = planes->outPlanes[1] + width * half_height;
            break;
        case COLOR_YUV444:
            planes->chroma_bytes = width;
            planes->outPlanes[1] = chroma + x + width * y;
            planes->outPlanes[2] = planes->outPlanes[1] + width * height;
            break;
        case COLOR_NV21:
        case COLOR_NV12:
            // Required: an odd x moves the pairs by one byte.
            planes->chroma_bytes = 2 * half_width;
            planes->outPlanes[1] = chroma + pair_x + 2 * half_width * (y / 2);
            break;
        case COLOR_YUYV:
            planes->rowStep = 2 * width + (2 * width & 3);
            planes->outPlanes[0] = base + 2 * pair_x + (2 * pair_x & 3) + planes->rowStep * y;
            break;
        default:
            break;
    }
}

// Pixel (0, 0) of the picture and its steps, for a picture of width x height pixels turned into a rectangle that stands
// at (x, y) of rows of `stride` pixels.
void place_pixels(OutputPlanes *planes, uint32_t rotation, ptrdiff_t size, uint8_t *base, ptrdiff_t stride, ptrdiff_t x,
                  ptrdiff_t y, ptrdiff_t width, ptrdiff_t height) {
    switch (rotation) {
        case VOREL_OPTION_ROTATE_90:
            planes->pixelStep = stride * size;
            planes->rowStep = -size;
            planes->outPlanes[0] = base + (y * stride + x + height - 1) * size;
            break;
        case VOREL_OPTION_ROTATE_180:
            planes->pixelStep = -size;
            planes->rowStep = -stride * size;
            planes->outPlanes[0] = base + ((y + height - 1) * stride + x + width - 1) * size;
            break;
        case VOREL_OPTION_ROTATE_270:
            planes->pixelStep = -stride * size;
            planes->rowStep = size;
            planes->outPlanes[0] = base + ((y + width - 1) * stride + x) * size;
            break;
        default:
            planes->pixelStep = size;
            planes->rowStep = stride * size;
            planes->outPlanes[0] = base + (y * stride + x) * size;
    }
}

int32_t clip(int64_t value, int64_t low, int64_t high) {
    return static_cast<int32_t>(value < low ? low : value > high ? high : value);
}

// The window in output coordinates: the crop, or what the session asks for of it.
void find_window(JpegInfo *info) {
    const DecInfo *session = info->decInfo;
    const int32_t left = info->plan.decodeOffsetX, top = info->plan.decodeOffsetY;
    const int32_t right = left + info->plan.cropWidth, bottom = top + info->plan.cropHeight;
    info->plan.window = {left, top, info->plan.cropWidth, info->plan.cropHeight};
    if (!session->partialDecode) return;
    const int32_t x = clip(static_cast<int32_t>(session->partialX), left, right);
    const int32_t y = clip(static_cast<int32_t>(session->partialY), top, bottom);
    info->plan.window = {
        x, y,
        clip(int64_t{static_cast<int32_t>(session->partialX)} + static_cast<int32_t>(session->partialWidth), x, right) -
            x,
        clip(int64_t{static_cast<int32_t>(session->partialY)} + static_cast<int32_t>(session->partialHeight), y,
             bottom) -
            y};
}

}  // namespace

void place_output(JpegInfo *info, const FrameRequest *request) {
    const DecInfo *session = info->decInfo;
    uint8_t *base = static_cast<uint8_t *>(request->outputBuffer);
    const bool turned = info->plan.rotation & 4;
    find_window(info);
    // A record may be set up for its plan alone.
    if (!base) return;

    // The rectangle that rows belong to, and where the picture (or its window) stands in it.
    int32_t stride = info->plan.targetWidth, rows = info->plan.targetHeight;
    int32_t shown_w = info->plan.cropWidth, shown_h = info->plan.cropHeight;
    const bool compact_window = session->partialDecode && !session->partialToBuffer;
    const bool placed_window = session->partialDecode && session->partialToBuffer;
    if (compact_window) {
        shown_w = static_cast<int32_t>(session->partialWidth);
        shown_h = static_cast<int32_t>(session->partialHeight);
    }
    const int32_t turned_w = turned ? shown_h : shown_w, turned_h = turned ? shown_w : shown_h;
    int32_t x = (stride - turned_w) / 2, y = (rows - turned_h) / 2;
    const uint32_t fit = session->decOption & kFitMask;
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED) {
        stride = turned_w;
        rows = turned_h;
    }
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED || fit == VOREL_OPTION_FIT_TOP_LEFT) x = y = 0;

    if (is_pixel_format(info->plan.outColorFormat)) {
        // A window that goes to the whole target's rows is handed in at its own first pixel.
        const int32_t w = placed_window ? info->plan.window.width : shown_w;
        const int32_t h = placed_window ? info->plan.window.height : shown_h;
        place_pixels(&info->out.planes, info->plan.rotation, bytes_of_pixel(info->plan.outColorFormat), base, stride, x, y, w, h);
    } else {
        // Planes are found from the whole target's rectangle. A window's own pairs go to whole pairs of the picture.
        int32_t pair_x = x;
        if (placed_window) {
            const int32_t across = info->plan.window.x - info->plan.decodeOffsetX;
            x += across;
            pair_x += across & ~1;
            y += info->plan.window.y - info->plan.decodeOffsetY;
        }
        place_planes(&info->out.planes, info->plan.outColorFormat, base, stride, rows, x, pair_x, y);
    }
}

}  // namespace vorel
