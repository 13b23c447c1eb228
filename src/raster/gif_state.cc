// The state of a GIF decode: its memory, and its place on the session.
#include "raster/gif.h"

namespace vorel {
namespace {

template <typename Record>
bool allocate(Record **out, uint64_t count) {
    *out = os_allocate_array<Record>(count);
    return *out != nullptr;
}

template <typename Record>
void release(Record *pointer) {
    os_release(pointer);
}

}  // namespace

bool gif_allocate(GifInfo *info, IoInfo *stream) {
    if (!allocate(&info->input, 1)) return false;
    info->input->stream = stream;
    if (!allocate(&info->input->buffer, kGifBlockBytes)) return false;
    info->input->cursor = info->input->buffer;
    info->transparentIndex = -1;
    return allocate(&info->globalPalette, kGifPaletteColours) && allocate(&info->localPalette, kGifPaletteColours) &&
           allocate(&info->lzw, 1) && allocate(&info->work, 1);
}

void gif_release(GifInfo *info) {
    if (info->input) release(info->input->buffer);
    release(info->input);
    release(info->globalPalette);
    release(info->localPalette);
    release(info->lzw);
    if (info->work) {
        release(info->work->source_columns);
        release(info->work->sampled);
        release(info->work->delivered);
    }
    release(info->work);
    release(info->lineBuffer);
    release(info->rowWords);
    release(info->canvas);
    *info = {};
}

// Space for the seven bytes that the last piece of a string may write too many. A canvas of another size is of no use:
// without one an animation starts anew.
bool gif_size_rows(GifInfo *info, int32_t out_width, int32_t out_height) {
    info->outWidth = out_width;
    info->outHeight = out_height;
    if (info->work) info->work->prepared = false;
    release(info->canvas);
    info->canvas = info->lineOut = nullptr;
    release(info->lineBuffer);
    return allocate(&info->lineBuffer, static_cast<uint64_t>(info->width) + kGifLineSpare + 8);
}

bool gif_may_hold_state(const DecInfo *session) {
    return session && (session->imageType == VOREL_IMAGE_NONE || session->imageType == VOREL_IMAGE_GIF ||
                       session->imageType == VOREL_IMAGE_ANIMATED_GIF);
}

GifInfo *gif_state(const DecInfo *session) {
    return gif_may_hold_state(session) ? static_cast<GifInfo *>(session->codecState) : nullptr;
}

GifInfo *gif_begin(DecInfo *session, void *output, int32_t width, int32_t height, bool animated) {
    GifInfo *info = BRIMI_CreateGIFDecoderInfo(session);
    if (info && BRIMI_ParseGIFHeader(session, info) &&
        BRIMI_InitializeGIF(session, info, output, width, height, animated) && BRIMI_SeekImageData(info)) {
        return info;
    }
    VORELBRIMI_DeleteGIFInfo(session);
    return nullptr;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

GifInfo *BRIMI_CreateGIFDecoderInfo(DecInfo *session) {
    if (!gif_may_hold_state(session) || !session->ioInfo) return nullptr;
    VORELBRIMI_DeleteGIFInfo(session);
    GifInfo *info = os_allocate_array<GifInfo>(1);
    if (!info) return nullptr;
    session->codecState = info;
    info->outputFormat = session->outColorFormat;
    if (gif_allocate(info, session->ioInfo)) return info;
    VORELBRIMI_DeleteGIFInfo(session);
    return nullptr;
}

int32_t VORELBRIMI_DeleteGIFInfo(DecInfo *session) {
    if (!session) return 0;
    GifInfo *info = gif_state(session);
    if (!info) return 1;
    gif_release(info);
    os_release(info);
    session->codecState = nullptr;
    return 1;
}

int32_t VORELBRIMI_GetColorInfo(DecInfo *session, uint32_t *outColours, int32_t *outTransparentIndex,
                                uint32_t *outDelay) {
    const GifInfo *info = gif_state(session);
    if (!info || !outTransparentIndex) return 0;
    if (outColours) *outColours = static_cast<uint32_t>(info->paletteColours);
    *outTransparentIndex = info->transparentIndex;
    if (outDelay) *outDelay = info->delayMs;
    return 1;
}

uint32_t *VORELBRIMI_GetColorMap(DecInfo *session) {
    const GifInfo *info = gif_state(session);
    if (!info || !info->palette) return nullptr;
    if (info->outputFormat == COLOR_BGRA8888) {
        for (int32_t i = 0; i < kGifPaletteColours; ++i) {
            const uint32_t word = info->palette[i];
            info->palette[i] = (word & 0xFF00FF00) | (word & 0xFF) << 16 | ((word >> 16) & 0xFF);
        }
    }
    return info->palette;
}

}  // extern "C"
