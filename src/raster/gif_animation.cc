// An animated GIF, a composed picture a call.
#include <algorithm>

#include "raster/gif.h"

namespace vorel {
namespace {

constexpr uint64_t kPaletteBytes = kGifPaletteColours * sizeof(uint32_t);

bool share_palettes(DecInfo *session) {
    for (void *&block : session->gifLineBuffers) {
        if (!block) block = os_allocate_array<uint8_t>(kPaletteBytes);
        if (!block) return false;
    }
    return true;
}

bool make_canvas(GifInfo *info) {
    const uint64_t pixels = static_cast<uint64_t>(info->outWidth) * static_cast<uint64_t>(info->outHeight);
    size_t bytes;
    if (!checked_product(pixels, sizeof *info->canvas, &bytes)) return false;
    info->canvas = static_cast<uint32_t *>(os_allocate(bytes + 1));  // never of no bytes
    if (!info->canvas) return false;
    info->work->opaque = !info->transparentFlag;
    std::fill(info->canvas, info->canvas + pixels, info->transparentFlag ? kGifTransparent : kGifBackground);
    return true;
}

GifInfo *begin(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!gif_may_hold_state(session) || !share_palettes(session)) return nullptr;
    GifInfo *info = gif_begin(session, output, width, height, true);
    if (!info) return nullptr;
    info->sharedPalette = static_cast<uint32_t *>(session->gifLineBuffers[1]);
    std::fill(info->sharedPalette, info->sharedPalette + kGifPaletteColours, 0u);
    if (make_canvas(info)) return info;
    VORELBRIMI_DeleteGIFInfo(session);
    return nullptr;
}

// The state of a later call; null when there is nothing more, or another size is asked for.
GifInfo *resume(GifInfo *info, void *output, int32_t width, int32_t height) {
    const GifWork *work = info->work;
    const bool same_size = work->asked_width == width && work->asked_height == height;
    return !work->finished && same_size && gif_place(info, output) ? info : nullptr;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

// Required: the delay that is reported is that of the frame which was found for the next call.
int32_t VORELBRIMI_DecodeAGIF(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!session || !output) return 0;
    session->frameDelay = 0;
    GifInfo *info = gif_state(session);
    const bool running = info && info->animated && info->canvas;
    info = running ? resume(info, output, width, height) : begin(session, output, width, height);
    if (!info) return 0;
    info->currentRow = info->frameTop;
    info->outputRow = 0;
    const int32_t decoded = BRIMI_DecodeGIFImage(session, info);
    if (!info->work->prepared) {  // no memory
        VORELBRIMI_DeleteGIFInfo(session);
        return 0;
    }
    gif_deliver_canvas(info);
    if (decoded && BRIMI_SeekImageData(info)) {
        session->frameDelay = info->delayMs;
        return 1;
    }
    info->frameTop = 0;
    info->work->finished = true;
    return decoded ? 3 : 0;
}

int32_t VORELBRIMI_DecodeAGIFIter(DecInfo *) { return 0; }
int32_t VORELBRIMI_AborAGIF(DecInfo *) { return 0; }
int32_t VORELBRIMI_AbortGIFIter(DecInfo *) { return 0; }

}  // extern "C"
