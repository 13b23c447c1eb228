// GIF states that a caller drives by itself, without a session at first.
#include "raster/gif.h"

namespace vorel {
namespace {

constexpr int32_t kMostStates = 4;
constexpr int32_t kLeastRefused = 10000;  // side of an animation

int32_t reduced(int32_t side, int32_t sample) { return side < sample ? 1 : side / sample; }

bool size_for_caller(GifInfo *info, int32_t width, int32_t height) {
    info->requestedWidth = width;
    info->animated = 0;
    const int32_t bytes = info->outputFormat == VOREL_GIF_INDICES                                    ? 1
                          : info->outputFormat == COLOR_RGB888 || info->outputFormat == COLOR_YUV420 ? 4
                                                                                                     : 0;
    if (bytes != 0) {
        size_t stride;
        if (!checked_product(static_cast<uint64_t>(width), static_cast<uint64_t>(bytes), &stride)) return false;
        info->stride = static_cast<int32_t>(stride);
        info->bytesPerPixel = bytes;
    }
    return gif_size_rows(info, width, height);
}

bool set_up(IoInfo *stream, GifInfo *info, int32_t sample, bool animated) {
    if (!gif_allocate(info, stream) || !BRIMI_ParseGIFHeader(nullptr, info)) return false;
    if (animated && (info->width >= kLeastRefused || info->height >= kLeastRefused)) return false;
    info->oneToOne = sample == 1;
    return size_for_caller(info, reduced(info->width, sample), reduced(info->height, sample)) &&
           BRIMI_SeekImageData(info);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

// A palette that the file does not have is all zeros, its background entry too.
int32_t VORELBRIMI_ParseGIFHeader_SKIA(IoInfo *stream, GifInfo *info, int32_t sampleSize, int32_t animated) {
    if (!stream || !info || sampleSize < 1) return 0;
    *info = {};
    if (set_up(stream, info, sampleSize, animated != 0)) return 1;
    gif_release(info);
    return 0;
}

int32_t BRIMI_InitializeGIF_SKIA(DecInfo *session, int32_t width, int32_t height) {
    GifInfo *info = gif_state(session);
    if (!info || width < 0 || height < 0) return 0;
    info->outputFormat = session->outColorFormat;
    return size_for_caller(info, width, height);
}

int32_t VORELBRIMI_SetGIF_SKIA(DecInfo *session, int32_t width, int32_t height) {
    GifInfo *info = gif_state(session);
    if (!info) return 0;
    info->oneToOne = 0;
    return BRIMI_InitializeGIF_SKIA(session, width, height);
}

void **VORELBRIMI_SetDecodeAGIFBuffer(void *, void *, int32_t count) {
    if (count < 0 || count > kMostStates) return nullptr;
    return os_allocate_array<void *>(static_cast<uint64_t>(count));
}

void VORELBRIMI_DeleteGIFInfo_SKIA(GifInfo **array, int32_t count) {
    if (!array) return;
    for (int32_t i = 0; i < count; ++i) {
        if (!array[i]) continue;
        gif_release(array[i]);
        os_release(array[i]);
    }
    os_release(array);
}

}  // extern "C"
