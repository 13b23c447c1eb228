// The input of a GIF state: a block of 4096 bytes that slides over the stream, and colour tables from it.
#include <cstring>

#include "raster/gif.h"

namespace vorel {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;
constexpr int32_t kColourBytes = 3;

// The byte in the lowest place loses its low bit.
void make_words(const uint8_t *rgb, uint32_t *palette, int32_t count, int low, int high) {
    if (!rgb || !palette) return;
    for (int32_t i = 0; i < count; ++i, rgb += kColourBytes) {
        palette[i] = kOpaque | uint32_t{rgb[high]} << 16 | uint32_t{rgb[1]} << 8 | (rgb[low] & 254u);
    }
}

}  // namespace

int32_t gif_byte(GifInput *input) {
    if (!BRIMI_CheckBuffer(input, 1)) return -1;
    --input->available;
    return *input->cursor++;
}

bool gif_skip_sub_blocks(GifInput *input) {
    for (;;) {
        const int32_t size = gif_byte(input);
        if (size <= 0) return size == 0;
        if (!BRIMI_CheckBuffer(input, size)) {
            input->cursor += input->available;
            input->available = 0;
            return false;
        }
        input->cursor += size;
        input->available -= size;
    }
}

bool gif_at_block(GifInput *input) {
    if (!BRIMI_CheckBuffer(input, 1)) return true;
    const uint8_t byte = *input->cursor;
    return byte == kGifExtension || byte == kGifSeparator || byte == kGifTrailer;
}

bool gif_read_palette(GifInfo *info, uint32_t *palette, uint32_t colours) {
    GifInput *input = info->input;
    const int32_t count = static_cast<int32_t>(colours), bytes = count * kColourBytes;
    if (!BRIMI_CheckBuffer(input, bytes)) return false;
    if (info->outputFormat == COLOR_BGRA8888) {
        BRIMI_MakeColorTable_BGRA(input->cursor, palette, count);
    } else {
        BRIMI_MakeColorTable(input->cursor, palette, count);
    }
    std::memset(palette + colours, 0, (kGifPaletteColours - colours) * sizeof *palette);
    input->cursor += bytes;
    input->available -= bytes;
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void BRIMI_MakeColorTable(const uint8_t *rgb, uint32_t *palette, int32_t count) {
    make_words(rgb, palette, count, 0, 2);
}

void BRIMI_MakeColorTable_BGRA(const uint8_t *rgb, uint32_t *palette, int32_t count) {
    make_words(rgb, palette, count, 2, 0);
}

// A stream may deliver less than it is asked for: it is asked until the bytes are there or none come.
int32_t BRIMI_CheckBuffer(GifInput *input, int32_t needed) {
    if (!input) return 0;
    if (input->available >= needed) return 1;
    if (needed > kGifBlockBytes || !input->stream) return 0;
    std::memmove(input->buffer, input->cursor, static_cast<size_t>(input->available));
    input->cursor = input->buffer;
    while (input->available < needed) {
        // Positions are 31 bits: a source that never ends, ends for us where they do.
        if (input->stream->position > INT32_MAX - kGifBlockBytes) return 0;
        const int32_t came =
            VORELBRIM_Read_IO(input->stream, input->buffer + input->available, kGifBlockBytes - input->available);
        if (came <= 0) return 0;
        input->available += came;
    }
    return 1;
}

}  // extern "C"
