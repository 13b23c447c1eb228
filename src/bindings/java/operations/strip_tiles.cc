#include "bindings/java/operations/strip_tiles.h"

#include <vorel/bindings_java.h>

#include <algorithm>
#include <cstring>

#include "bindings/java/operations/picture_decode.h"
#include "core/core.h"

namespace vorel {

bool StripTiles::has_format(int32_t color_format) {
    return color_format == COLOR_RGBA8888 || color_format == COLOR_NV12;
}

int32_t StripTiles::rows() const { return tile_rows * (blocks == 1 ? 1 : blocks / columns()); }

bool StripTiles::valid() const {
    if (!has_format(format) || blocks < 1 || width < 1 || tile_width < 1 || tile_rows < 1) return false;
    if (width > kMostSide || tile_width > kMostSide || tile_rows > kMostSide) return false;
    if (format == COLOR_NV12 && (tile_rows % 2 != 0 || (blocks > 1 && tile_width % 2 != 0))) return false;
    size_t bytes;
    if (blocks > 1 && (blocks < columns() || int64_t{tile_rows} * (blocks / columns()) > kMostSide)) return false;
    return display_bytes(format, width, rows() + guard(), &bytes);
}

size_t StripTiles::strip_bytes() const {
    size_t bytes = 0;
    display_bytes(format, width, rows() + guard(), &bytes);
    return bytes;
}

size_t StripTiles::tile_bytes() const {
    size_t bytes = 0;
    display_bytes(format, tile_width, tile_rows + guard(), &bytes);
    return bytes;
}

void *StripTiles::new_strip() const {
    void *strip = os_allocate_zeroed(strip_bytes());
    if (strip && format == COLOR_NV12) {
        const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(rows() + guard());
        std::memset(static_cast<uint8_t *>(strip) + luma, 128, strip_bytes() - luma);
    }
    return strip;
}

bool StripTiles::cut(void *strip, void **put) const {
    if (blocks == 1) {
        put[0] = strip;
        return true;
    }
    const OsBlock owned(strip);
    const uint8_t *from = owned.as<const uint8_t>();
    const int32_t tile_height = tile_rows + guard(), strip_height = rows() + guard();
    std::fill_n(put, blocks, nullptr);
    for (int32_t i = 0; i < blocks; ++i) {
        uint8_t *tile = static_cast<uint8_t *>(os_allocate_zeroed(tile_bytes()));
        if (!tile) {
            for (int32_t k = 0; k < i; ++k) os_release(put[k]);
            return false;
        }
        put[i] = tile;
        const int32_t x = i % columns() * tile_width, y = i / columns() * tile_rows;
        if (y >= rows()) continue;
        if (format == COLOR_NV12) {
            getSubImageBufferForYUV420(tile, tile_width, tile_height, from, width, strip_height, x, y);
        } else {
            getSubImageBuffer(tile, tile_width, tile_height, from, width, strip_height, x, y, 4);
        }
    }
    return true;
}

}  // namespace vorel
