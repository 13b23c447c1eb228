// The first image of a GIF on its background.
#include <cstring>

#include "raster/gif.h"

namespace vorel {
namespace {

// Required: the components are taken as if a word held ten bits of each, which is not how palettes are made, so this is
// not the palette's colour.
struct FillColour {
    uint8_t red, green, blue;

    explicit FillColour(uint32_t word)
        : red(static_cast<uint8_t>(word >> 20)),
          green(static_cast<uint8_t>(word >> 10)),
          blue(static_cast<uint8_t>(word)) {}
};

struct Fill {
    uint8_t pixel[4];
    int32_t bytes;  // 0: nothing is filled
};

Fill fill_of(const GifInfo *info) {
    const bool transparent = info->transparentFlag;
    const int32_t index = transparent ? info->transparentIndex : info->backgroundIndex;
    const FillColour colour(info->palette[index & 0xFF]);
    switch (info->outputFormat) {
        case VOREL_GIF_INDICES:
            return {{static_cast<uint8_t>(index)}, 1};
        case COLOR_RGB888:
            return {{colour.red, colour.green, colour.blue}, 3};
        case COLOR_RGBA8888:
            if (transparent) return {{}, 4};
            return {{colour.red, colour.green, colour.blue, 255}, 4};
        case COLOR_BGRA8888:
            if (transparent) return {{}, 4};
            return {{colour.blue, colour.green, colour.red, 255}, 4};
        default:
            return {{}, 0};
    }
}

// Doubles what is filled: one long copy instead of many short ones.
void fill(const GifInfo *info, void *output) {
    const Fill what = fill_of(info);
    uint8_t *out = static_cast<uint8_t *>(output);
    const size_t bytes = static_cast<size_t>(what.bytes) * static_cast<size_t>(info->work->buffer_width) *
                         static_cast<size_t>(info->work->buffer_height);
    if (bytes == 0) return;
    size_t done = static_cast<size_t>(what.bytes);
    std::memcpy(out, what.pixel, done);
    while (done < bytes) {
        const size_t more = done < bytes - done ? done : bytes - done;
        std::memcpy(out + done, out, more);
        done += more;
    }
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" int32_t VORELBRIMI_DecodeGIF(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!session || !output) return 0;
    GifInfo *info = gif_begin(session, output, width, height, false);
    if (!info) return 0;
    session->gifFlag = info->transparentFlag;
    fill(info, output);
    info->currentRow = info->frameTop;
    const int32_t result = BRIMI_DecodeGIFImage(session, info);
    VORELBRIMI_DeleteGIFInfo(session);
    return result;
}
