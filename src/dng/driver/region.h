// A part of the picture: where its samples lie, and pixels on their way out.
#pragma once

#include <cstdint>

#include "dng/base/geometry.h"

class VorelDngMosaicInfo;

namespace vorel {

// A rectangle of the active area in rows and columns of the stored image.
DngRect stored_area(const DngRect &rect, const DngRect &active_area);

// The rows and columns on either side that the develop of a rectangle with that first row or column takes along: 4, or
// 5 where that makes the working rectangle begin with an even one. wide: for steps that look farther, 8 more.
int32_t region_margin(int32_t first, bool wide);

// The pattern as it lies from that row and column on.
void start_pattern_at(VorelDngMosaicInfo &mosaic, int32_t row, int32_t column);

// R, G, B to R, G, B, 255; strides in bytes.
void expand_rows(const uint8_t *src, int64_t src_stride, uint8_t *dst, uint64_t dst_stride, uint32_t width,
                 uint32_t height);

}  // namespace vorel
