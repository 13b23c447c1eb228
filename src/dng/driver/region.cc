#include "dng/driver/region.h"

#include <cstring>

#include "dng/mosaic/mosaic_info.h"

namespace vorel {

DngRect stored_area(const DngRect &rect, const DngRect &active_area) {
    return {rect.top + active_area.top, rect.left + active_area.left, rect.bottom + active_area.top,
            rect.right + active_area.left};
}

int32_t region_margin(int32_t first, bool wide) { return (first >= 5 && first % 2 != 0 ? 5 : 4) + (wide ? 8 : 0); }

void start_pattern_at(VorelDngMosaicInfo &mosaic, int32_t row, int32_t column) {
    if (!mosaic.hasPattern() || (row == 0 && column == 0)) return;
    uint8_t pattern[VorelDngMosaicInfo::kMostCells][VorelDngMosaicInfo::kMostCells];
    std::memcpy(pattern, mosaic.cfaPattern, sizeof pattern);
    for (int32_t r = 0; r < mosaic.cfaRows; ++r) {
        for (int32_t c = 0; c < mosaic.cfaColumns; ++c) {
            mosaic.cfaPattern[r][c] = pattern[(r + row) % mosaic.cfaRows][(c + column) % mosaic.cfaColumns];
        }
    }
}

// Four bytes are read of all pixels but the last, whose fourth may lie outside.
void expand_rows(const uint8_t *src, int64_t src_stride, uint8_t *dst, uint64_t dst_stride, uint32_t width,
                 uint32_t height) {
    constexpr uint8_t kLast[4] = {0, 0, 0, 255};
    uint32_t alpha;
    std::memcpy(&alpha, kLast, sizeof alpha);
    for (uint32_t row = 0; row < height; ++row, src += src_stride, dst += dst_stride) {
        const uint8_t *in = src;
        uint8_t *out = dst;
        for (uint32_t i = 1; i < width; ++i, in += 3, out += 4) {
            uint32_t pixel;
            std::memcpy(&pixel, in, sizeof pixel);
            pixel |= alpha;
            std::memcpy(out, &pixel, sizeof pixel);
        }
        if (width) out[0] = in[0], out[1] = in[1], out[2] = in[2], out[3] = 255;
    }
}

}  // namespace vorel
