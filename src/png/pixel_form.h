// From the samples of an unfiltered row to pixels of 4 bytes: the one place that knows how each colour type and depth
// stands in a row. It gives what libpng's transformations to R, G, B, A give.
#pragma once

#include <cstddef>
#include <cstdint>

#include "png/source.h"

namespace vorel {

struct PixelForm {
    uint8_t colour_type, bit_depth;
    bool swapped;           // B, G, R, A
    bool keyed;             // a tRNS colour makes pixels transparent
    uint16_t key[3];        // it, cut to the depth; gray in the first
    uint8_t table[256][4];  // one sample of at most 8 bits to its pixel
};

PixelForm pixel_form(png_structp png, png_infop info, const PngHeader &header, bool swapped);

// Bits of a pixel, bytes of as many pixels, and whole bytes of a pixel for the filters (at least 1).
int bits_per_pixel(const PngHeader &header);
size_t bytes_of_pixels(const PngHeader &header, uint64_t pixels);
int filter_pixel_bytes(const PngHeader &header);

// True when a row is its pixels.
bool is_identity(const PixelForm &form);
// Pixels first to first + count - 1 of the row.
void expand_pixels(const PixelForm &form, const uint8_t *row, int64_t first, int64_t count, uint8_t *out);

}  // namespace vorel
