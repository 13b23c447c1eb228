// Small files of every format, made by code.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "support/inputs.h"

namespace vorel::test {

// Joins byte lists: cat({a, b, c}).
Bytes cat(std::initializer_list<Bytes> parts);
// The first count bytes, the last count bytes.
Bytes head(const Bytes &bytes, size_t count);
Bytes tail(const Bytes &bytes, size_t count);
// A copy with other bytes at a place.
Bytes changed(Bytes bytes, size_t at, const Bytes &values);
Bytes noise(size_t size, unsigned seed);
Bytes little_16(uint32_t value);
Bytes little_32(uint32_t value);
Bytes big_16(uint32_t value);
Bytes big_32(uint32_t value);
Bytes text(const char *characters);

// A multi-byte integer of a WBMP, with leading zero groups up to `groups` bytes.
Bytes wbmp_integer(uint32_t value, int groups = 1);
// A WBMP with these rows of packed bits.
Bytes wbmp(uint32_t width, uint32_t height, const Bytes &bits);

// 26 bytes: file header and the start of a DIB header of header_size.
Bytes bmp_header(uint32_t header_size, uint32_t width, uint32_t height);
Bytes png_header(uint32_t width, uint32_t height, uint8_t interlace);
// SOI, SOF of one component, SOS; no entropy-coded data.
Bytes jpeg_header(uint32_t width, uint32_t height, uint8_t sof = 0xC0);

// Parts of a GIF. gif_screen is the header with the logical screen and, for bits >= 0, a global table.
Bytes gif_screen(uint32_t width, uint32_t height, int table_bits = -1);
Bytes gif_image(int table_bits = -1, const Bytes &sub_blocks = {2, 0x44, 0x01, 0});
Bytes gif_delay(uint32_t hundredths);
Bytes gif_still();
Bytes gif_animation();

// One of each, for sweeps.
struct Sample {
    const char *name;
    Bytes bytes;
    int32_t type;
};
std::vector<Sample> all_samples();

}  // namespace vorel::test
