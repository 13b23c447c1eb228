#include "raster/bmp_rows.h"

#include <cstring>

#include "raster/bmp_pixels.h"

namespace vorel {
namespace {

// Column x of the tile becomes `rows` pixels side by side, which lie step bytes apart: one pixel up or down.
template <int kBytes>
void store_columns(const uint8_t *tile, ptrdiff_t row_bytes, int32_t rows, int32_t columns, uint8_t *out,
                   ptrdiff_t step, ptrdiff_t column_step) {
    for (int32_t x = 0; x < columns; ++x, tile += kBytes, out += column_step) {
        for (int32_t y = 0; y < rows; ++y) std::memcpy(out + y * step, tile + y * row_bytes, kBytes);
    }
}

}  // namespace

bool RowSink::open() {
    pixel_bytes_ = bmp_pixel_bytes(info_->outputFormat);
    if (info_->rotation % 180 == 0) return true;
    row_bytes_ = ptrdiff_t{info_->outWidth} * pixel_bytes_;
    size_t bytes;
    if (!checked_product(static_cast<uint64_t>(row_bytes_), kTileRows, &bytes)) return false;
    tile_.reset(os_allocate(bytes));
    return static_cast<bool>(tile_);
}

void RowSink::flush() {
    if (collected_ == 0) return;
    uint8_t *const out = rows_.at(next_ - collected_);
    const auto *tile = tile_.as<uint8_t>();
    const auto store = pixel_bytes_ == 2 ? store_columns<2> : pixel_bytes_ == 3 ? store_columns<3> : store_columns<4>;
    store(tile, row_bytes_, collected_, info_->outWidth, out, rows_.step(), info_->pixelStep);
    collected_ = 0;
}

}  // namespace vorel
