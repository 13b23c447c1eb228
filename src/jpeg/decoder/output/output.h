// From sample rows to the caller's buffer: writers for every colour format, and resampling to the output size.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// One row of samples, a pointer a component. With `shared` chroma has one sample for two pixels.
struct RowSet {
    const uint8_t *c[kMaxComponents];
    bool shared;

    RowSet at(int32_t x) const {
        const int32_t chroma = shared ? x / 2 : x;
        return {{c[0] + x, c[1] + chroma, c[2] + chroma, c[3] ? c[3] + x : nullptr}, shared};
    }
};

// JpegInfo.line: three rows for the writers' own use, then the four rows of a resampled picture row.
constexpr int kMeanLine = 3;
constexpr int kScratchLines = 7;

// Writes `count` rows of `width` pixels at the row counter, in the colour space of the picture, and moves the counter
// on. A format that the colour space does not serve only moves the counter.
void write_rows(JpegInfo *info, const RowSet *rows, int32_t count, int32_t width);

// Writes the means of four samples that packed sums hold (see KernelTable::unpack_means); a fourth component, if there
// is one, stands in its line already.
void write_sums(JpegInfo *info, const uint32_t *sums, int32_t width);

// Allocate what write_rows and the resampler need; false when out of memory.
bool prepare_writers(JpegInfo *info, int32_t width);
bool prepare_resampler(JpegInfo *info);
void release_output(JpegInfo *info);

// The rows of the scaled picture that the window needs: [first, end).
void find_source_rows(const JpegInfo *info, int32_t *first, int32_t *end);

// Takes the next `count` rows of the DCT-scaled picture: crops or resamples them, and writes what comes out.
void emit_rows(JpegInfo *info, const RowSet *rows, int32_t count);
constexpr int kMaxEmitRows = 32;

// Chooses the row-output function and with it the resampling. Null for a colour space without one.
RowOutputFn choose_row_output(JpegInfo *info);

// True for the formats that are stored pixel by pixel and can be rotated.
constexpr bool is_pixel_format(int32_t format) {
    return format == COLOR_RGB565 || format == COLOR_ARGB8888 || format == COLOR_RGBA8888 || format == COLOR_BGRA8888 ||
           format == COLOR_RGB565_ALT;
}

}  // namespace vorel
