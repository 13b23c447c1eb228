// How a picture is cut into strips that sessions of their own read.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

constexpr int32_t kLeastStripsHeight = 512;  // below that one session is as good

// Rows of each of `strips` strips but the last: a multiple of the highest MCU.
constexpr int32_t strip_height(int32_t height, int32_t strips) {
    constexpr int32_t kUnit = 16;
    const int32_t rows = (height / strips + kUnit - 1) / kUnit * kUnit;
    return strips * rows < height ? rows + kUnit : rows;
}
// Bytes a pixel of formats whose strips begin at other pixels; 0 where the session finds its planes itself; -1 for
// formats that have no strips.
int32_t strip_pixel_bytes(uint32_t format);
// The record of strip i of `count`, each of `rows` rows but the last, of a format that has strips.
RawInfo strip_of(const RawInfo &raw, int32_t i, int32_t rows, int32_t count);

}  // namespace vorel
