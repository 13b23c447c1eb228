// Strips of a picture cut into tiles, each a block of its own.
#pragma once

#include <vorel/frame.h>

#include <cstddef>
#include <cstdint>

namespace vorel {

// How a strip with its guard rows is cut: tiles side by side, and where there are more blocks than stand side by side,
// in further rows, whose guard rows are those of their neighbours.
struct StripTiles {
    int32_t format, width;          // of the strip: COLOR_RGBA8888 or COLOR_NV12; pixels
    int32_t tile_width, tile_rows;  // without guard rows
    int32_t blocks;                 // 1: the strip itself

    static bool has_format(int32_t color_format);
    // Guard rows above and below together.
    int32_t guard() const { return format == COLOR_NV12 ? 4 : 2; }
    int32_t columns() const { return static_cast<int32_t>((int64_t{width} + tile_width - 1) / tile_width); }
    // Rows of the picture in a strip.
    int32_t rows() const;
    // There are enough blocks for a row of tiles, and no side is too large.
    bool valid() const;

    size_t strip_bytes() const;
    // A new strip, black; null without memory.
    void *new_strip() const;
    // Cuts it into blocks of os_allocate, put[0] to put[blocks - 1]; takes the strip over, also when it fails. False
    // without memory, with nothing kept.
    bool cut(void *strip, void **put) const;

  private:
    size_t tile_bytes() const;
};

}  // namespace vorel
