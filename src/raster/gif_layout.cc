// The size that a GIF is shown at, and where its pixels go.
#include "raster/fit.h"
#include "raster/gif.h"

namespace vorel {
namespace {

// Bytes of a pixel, 0 for formats whose pixels are never stored. Required: 16-bit pixels have the size that centring
// has always used for them, though none is stored.
int32_t pixel_bytes(int32_t format) {
    switch (format) {
        case VOREL_GIF_INDICES:
        case COLOR_RGB565:
            return 1;
        case COLOR_RGB888:
            return 3;
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        default:
            return 0;
    }
}

}  // namespace

bool gif_place(GifInfo *info, void *output) {
    info->output = nullptr;
    const int32_t bytes = info->rotation == 0 ? pixel_bytes(info->outputFormat) : 0;
    if (bytes == 0) return true;
    const GifWork *work = info->work;
    size_t stride;
    if (!checked_product(static_cast<uint64_t>(work->buffer_width), static_cast<uint64_t>(bytes), &stride))
        return false;
    info->stride = static_cast<int32_t>(stride);
    info->bytesPerPixel = bytes;
    const ptrdiff_t left = (work->buffer_width - info->outWidth) >> 1,
                    top = (work->buffer_height - info->outHeight) >> 1;
    const ptrdiff_t offset = top * info->stride + left * bytes;
    info->output = static_cast<uint8_t *>(output) + (info->outputFormat == COLOR_RGB565 ? 2 * offset : offset);
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" int32_t BRIMI_InitializeGIF(DecInfo *session, GifInfo *info, void *output, int32_t width, int32_t height,
                                       int32_t animated) {
    if (!session || !info || !info->work) return 0;
    info->outputFormat = session->outColorFormat;
    info->animated = animated;
    const PictureFit size = fit_picture(info->width, info->height, width, height, session->decOption);
    info->rotation = size.rotation;
    const int32_t across = size.sideways() ? height : width, down = size.sideways() ? width : height;
    info->requestedWidth = across;
    info->oneToOne = size.one_to_one;
    if (!gif_size_rows(info, size.width, size.height)) return 0;
    os_release(info->rowWords);
    const int32_t row = size.width > info->width ? size.width : info->width;
    info->rowWords = os_allocate_array<uint32_t>(static_cast<uint64_t>(row));
    if (!info->rowWords) return 0;
    const bool packed = (session->decOption & kFitMask) == VOREL_OPTION_FIT_PACKED;
    GifWork *work = info->work;
    work->asked_width = width;
    work->asked_height = height;
    work->buffer_width = packed ? size.width : across < 0 ? 0 : across;
    work->buffer_height = packed ? size.height : down < 0 ? 0 : down;
    session->outWidth = static_cast<uint32_t>(size.width);
    session->outHeight = static_cast<uint32_t>(size.height);
    return gif_place(info, output);
}
