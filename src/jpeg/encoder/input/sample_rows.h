// Rows of samples of an MCU row, for the readers.
#pragma once

#include <cstring>

#include "jpeg/encoder/session.h"

namespace vorel {

// Interleaved samples are of three components; a preset header or the format may have made it fewer.
inline bool takes_samples(const JEInfo *session, const uint8_t *samples) {
    return samples && session->componentCount == 3;
}

// From sample `width` on the last one before it again, as far as `padded`.
inline void pad_row(uint8_t *row, uint32_t width, uint32_t padded) {
    if (width > 0 && padded > width) std::memset(row + width, row[width - 1], padded - width);
}

// The rows of the MCU row from `first` on as the one above them.
inline void repeat_rows(uint8_t *const *rows, uint32_t first, const JEComponent &component) {
    for (uint32_t y = first; y < component.rowsPerMcu; ++y) {
        std::memcpy(rows[y], rows[y - 1], component.paddedWidth);
    }
}

// Y0 U Y1 V: a pair is there as a whole, also the last one of an odd width.
constexpr uint32_t yuyv_pairs(uint32_t width) { return (width + 1) / 2; }
constexpr size_t yuyv_row_bytes(uint32_t width) { return size_t{4} * yuyv_pairs(width); }

}  // namespace vorel
