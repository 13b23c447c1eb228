// Frames of an animation over one another (GIF89a, clause 23, disposal method).
#include <algorithm>
#include <cstring>

#include "raster/gif.h"

namespace vorel {
namespace {

constexpr uint32_t kDisposeToBackground = 2;
constexpr uint32_t kDisposeToPrevious = 3;

void look_up(const uint8_t *indices, int32_t count, const uint32_t *words, uint32_t *out) {
    int32_t x = 0;
    for (; x + 8 <= count; x += 8) {
        uint64_t eight;
        std::memcpy(&eight, indices + x, sizeof eight);
        for (int i = 0; i < 8; ++i, eight >>= 8) out[x + i] = words[eight & 0xFF];
    }
    for (; x < count; ++x) out[x] = words[indices[x]];
}

// The same, but what is transparent leaves the pixel as it is. In blocks: the look-ups first, then what the compiler
// makes vectors of.
void look_up_over(const uint8_t *indices, int32_t count, const uint32_t *words, uint32_t *out) {
    constexpr int32_t kBlock = 64;
    uint32_t block[kBlock];
    for (int32_t x = 0; x < count; x += kBlock) {
        const int32_t run = std::min(kBlock, count - x);
        look_up(indices + x, run, words, block);
        for (int32_t i = 0; i < run; ++i) out[x + i] = block[i] == kGifTransparent ? out[x + i] : block[i];
    }
}

void lay(const GifInfo *info, uint32_t *out) {
    const GifWork *work = info->work;
    (info->transparentFlag ? look_up_over : look_up)(gif_sample_line(info), work->columns, work->words,
                                                     out + work->first_column);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" void BRIMI_MakeFrameLineBuffer(GifInfo *info) {
    if (!info || !info->work || !info->lineBuffer) return;
    info->lineOut = nullptr;
    if (!info->canvas || !info->output) return;
    if (!info->work->prepared && !gif_prepare_frame(info)) return;
    const int32_t row = gif_output_row(info, info->currentRow);
    if (row < 0) return;
    uint32_t *canvas = info->canvas + int64_t{row} * info->outWidth;
    if (info->disposal != kDisposeToBackground && info->disposal != kDisposeToPrevious) {
        // What is shown stays, so the canvas row is the row to be written.
        lay(info, canvas);
        info->lineOut = canvas;
        return;
    }
    info->lineOut = info->rowWords;
    std::memcpy(info->lineOut, canvas, static_cast<size_t>(info->outWidth) * sizeof *canvas);
    lay(info, info->lineOut);
    if (info->disposal == kDisposeToBackground) {
        uint32_t *start = canvas + info->work->first_column;
        std::fill(start, start + info->work->columns, info->transparentFlag ? kGifTransparent : kGifBackground);
        if (info->transparentFlag) info->work->opaque = false;
    }
}
