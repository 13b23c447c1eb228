// Rows of a still GIF: which of them the output has, and what is stored of them.
#include <algorithm>
#include <cstring>

#include "raster/gif.h"

namespace vorel {
namespace {

// The column of the screen that stands in the middle of an output column.
void fill_columns(uint32_t *columns, int32_t out_width, int32_t width) {
    for (int32_t k = 0; k < out_width; ++k) {
        columns[k] = static_cast<uint32_t>(((width >> 1) + int64_t{k} * width) / out_width);
    }
}

bool prepare_columns(GifInfo *info) {
    GifWork *work = info->work;
    const uint32_t left = static_cast<uint32_t>(info->frameLeft);
    const uint32_t right = left + static_cast<uint32_t>(info->frameWidth);
    if (info->oneToOne) {
        const int32_t width = std::min(info->width, info->outWidth);
        work->first_column = std::min(info->frameLeft, width);
        work->columns = std::min(static_cast<int32_t>(right), width) - work->first_column;
        return true;
    }
    if (work->sampled_width != info->outWidth || !work->source_columns) {
        os_release(work->source_columns);
        os_release(work->sampled);
        work->source_columns = os_allocate_array<uint32_t>(static_cast<uint64_t>(info->outWidth));
        work->sampled = os_allocate_array<uint8_t>(static_cast<uint64_t>(info->outWidth));
        work->sampled_width = info->outWidth;
        if (!work->source_columns || !work->sampled) {
            work->sampled_width = -1;
            return false;
        }
        fill_columns(work->source_columns, info->outWidth, info->width);
    }
    const uint32_t *begin = work->source_columns, *end = begin + info->outWidth;
    const uint32_t *first = std::lower_bound(begin, end, left);
    work->first_column = static_cast<int32_t>(first - begin);
    work->columns = static_cast<int32_t>(std::lower_bound(first, end, right) - first);
    return true;
}

bool prepare_delivered(GifInfo *info) {
    GifWork *work = info->work;
    if (!info->animated) return true;
    if (work->delivered_rows != info->outHeight || !work->delivered) {
        os_release(work->delivered);
        work->delivered = os_allocate_array<uint8_t>(static_cast<uint64_t>(info->outHeight));
        work->delivered_rows = info->outHeight;
        if (!work->delivered) return false;
    }
    std::memset(work->delivered, 0, static_cast<size_t>(info->outHeight));
    return true;
}

// Required: from above, passes 1 and 2 go in steps of 8, pass 3 of 4 and pass 4 of 2. A pass without rows is passed
// over, so low frames come in the order 0 1, 0 2 1, 0 2 1 3.
void step_row(GifInfo *info) {
    constexpr int32_t kSteps[] = {1, 8, 8, 4, 2};
    constexpr int32_t kStarts[] = {0, 0, 4, 2, 1};
    if (info->interlacePass < 0 || info->interlacePass > 4) return;
    info->currentRow += kSteps[info->interlacePass];
    const int32_t end = info->frameTop + info->frameHeight;
    while (info->interlacePass != 0 && info->currentRow >= end) {
        info->interlacePass = info->interlacePass == 4 ? 0 : info->interlacePass + 1;
        if (info->interlacePass != 0) info->currentRow = info->frameTop + kStarts[info->interlacePass];
    }
}

// Eight indices at a time, two pixels to a store.
void store_words(const uint8_t *indices, int32_t count, const uint32_t *words, uint8_t *out) {
    int32_t x = 0;
    for (; x + 8 <= count; x += 8, out += 32) {
        uint64_t eight;
        std::memcpy(&eight, indices + x, sizeof eight);
        for (int pair = 0; pair < 4; ++pair, eight >>= 16) {
            const uint64_t two = words[eight & 0xFF] | uint64_t{words[(eight >> 8) & 0xFF]} << 32;
            std::memcpy(out + 8 * pair, &two, sizeof two);
        }
    }
    for (; x < count; ++x, out += 4) std::memcpy(out, &words[indices[x]], 4);
}

bool stores_pixels(const GifInfo *info) {
    return info->outputFormat == COLOR_RGBA8888 || info->outputFormat == COLOR_BGRA8888;
}

// Indices of a session's window begin at its first row.
void store_still_row(const DecInfo *session, GifInfo *info) {
    if (!info || !info->output || !info->work || !info->lineBuffer) return;
    if (!info->work->prepared && !gif_prepare_frame(info)) return;
    int64_t row = gif_output_row(info, info->currentRow);
    const int32_t columns = info->work->columns;
    if (row < 0 || columns <= 0) return;
    if (info->outputFormat == VOREL_GIF_INDICES && session && session->partialDecode) {
        row -= session->partialY;
        if (row < 0 || row >= session->partialHeight) return;
    }
    uint8_t *out =
        info->output + ptrdiff_t{info->stride} * row + ptrdiff_t{info->work->first_column} * info->bytesPerPixel;
    if (info->outputFormat == VOREL_GIF_INDICES) {
        std::memcpy(out, gif_sample_line(info), static_cast<size_t>(columns));
    } else if (stores_pixels(info)) {
        store_words(gif_sample_line(info), columns, info->work->words, out);
    }
}

// 0xFFFFFFFF is stored as 0. Through a block, so that the compiler sees that nothing overlaps and makes vectors of it.
void store_canvas_words(const uint32_t *words, int32_t count, uint8_t *out) {
    constexpr int32_t kBlock = 16;
    uint32_t block[kBlock];
    const auto stored = [](uint32_t word) { return word == kGifTransparent ? 0 : word; };
    int32_t x = 0;
    for (; x + kBlock <= count; x += kBlock, out += sizeof block) {
        for (int32_t i = 0; i < kBlock; ++i) block[i] = stored(words[x + i]);
        std::memcpy(out, block, sizeof block);
    }
    for (; x < count; ++x, out += sizeof *block) {
        block[0] = stored(words[x]);
        std::memcpy(out, block, sizeof *block);
    }
}

void store_animated_row(GifInfo *info, int32_t row) {
    if (row < 0) return;
    uint8_t *out = info->output + ptrdiff_t{info->stride} * row;
    if (!info->work->opaque) {
        store_canvas_words(info->lineOut, info->outWidth, out);
    } else {
        std::memcpy(out, info->lineOut, static_cast<size_t>(info->outWidth) * sizeof *info->lineOut);
    }
    if (info->work->delivered) info->work->delivered[row] = 1;
    ++info->outputRow;
}

void store_composed_row(GifInfo *info) {
    if (!info || !info->output || !info->lineOut || !info->work || !stores_pixels(info)) return;
    if (!info->work->prepared && !gif_prepare_frame(info)) return;
    store_animated_row(info, gif_output_row(info, info->currentRow));
}

}  // namespace

bool gif_prepare_frame(GifInfo *info) {
    GifWork *work = info->work;
    work->prepared = prepare_columns(info) && prepare_delivered(info);
    if (!info->palette) return false;
    std::memcpy(work->words, info->palette, sizeof work->words);
    if (info->transparentFlag && info->transparentIndex >= 0 && info->transparentIndex < kGifPaletteColours) {
        work->words[info->transparentIndex] = info->animated ? kGifTransparent : 0;
    }
    return work->prepared;
}

// Required: at most one output row a row of the screen, so an enlarged picture has gaps.
int32_t gif_output_row(const GifInfo *info, int32_t row) {
    if (row < 0 || row >= info->height) return -1;
    if (info->oneToOne) return row < info->outHeight ? row : -1;
    const int64_t scaled = int64_t{info->outHeight} * row;
    int64_t out = scaled / info->height, ahead = (info->height >> 1) - scaled % info->height;
    if (ahead < 0) {
        ahead += info->height;
        ++out;
    }
    return ahead < info->outHeight && out < info->outHeight ? static_cast<int32_t>(out) : -1;
}

const uint8_t *gif_sample_line(const GifInfo *info) {
    const GifWork *work = info->work;
    if (info->oneToOne) return info->lineBuffer;
    const uint32_t *columns = work->source_columns + work->first_column;
    const uint8_t *line = info->lineBuffer;
    const uint32_t left = static_cast<uint32_t>(info->frameLeft);
    for (int32_t k = 0; k < work->columns; ++k) work->sampled[k] = line[columns[k] - left];
    return work->sampled;
}

void gif_deliver_canvas(GifInfo *info) {
    if (!info->output || !info->canvas || !stores_pixels(info)) return;
    for (int32_t row = 0; row < info->outHeight; ++row) {
        if (info->work->delivered[row]) continue;
        info->lineOut = info->canvas + int64_t{row} * info->outWidth;
        store_animated_row(info, row);
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void BRIMI_WriteGIFOneToOneRow(DecInfo *session, GifInfo *info) { store_still_row(session, info); }
void BRIMI_DownsizeGIFRow(DecInfo *session, GifInfo *info) { store_still_row(session, info); }
void BRIMI_WriteAGIFOneToOneRow(DecInfo *, GifInfo *info) { store_composed_row(info); }
void BRIMI_DownsizeAGIFRow(DecInfo *, GifInfo *info) { store_composed_row(info); }

void BRIMI_WriteTheLine(DecInfo *session, GifInfo *info) {
    if (!info) return;
    if (info->animated) {
        (info->oneToOne ? BRIMI_WriteAGIFOneToOneRow : BRIMI_DownsizeAGIFRow)(session, info);
    } else {
        (info->oneToOne ? BRIMI_WriteGIFOneToOneRow : BRIMI_DownsizeGIFRow)(session, info);
    }
    step_row(info);
}

}  // extern "C"
