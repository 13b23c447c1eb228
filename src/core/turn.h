// The fit and the turn in an option word, and how a turned picture lies in rows of pixels.
#pragma once

#include <vorel/frame.h>

#include <cstdint>

namespace vorel {

constexpr uint32_t kFitMask = 0x700;
constexpr uint32_t kRotationMask = 12;

// Clockwise quarter turns, 0 to 3.
constexpr uint32_t quarter_turns(uint32_t options) { return (options & kRotationMask) >> 2; }
constexpr bool lies_sideways(uint32_t options) { return options & VOREL_OPTION_ROTATE_90; }

// Pixel (column, row) of the upright picture lies at origin + row * row_step + column * pixel_step.
struct TurnedRows {
    int64_t origin, row_step, pixel_step;
};

// A picture of width x height pixels, turned, whose rectangle begins at (x, y) of rows of `stride` pixels.
constexpr TurnedRows turned_rows(uint32_t options, int64_t stride, int64_t x, int64_t y, int64_t width,
                                 int64_t height) {
    switch (quarter_turns(options)) {
        case 1:
            return {y * stride + x + height - 1, -1, stride};
        case 2:
            return {(y + height - 1) * stride + x + width - 1, -stride, -1};
        case 3:
            return {(y + width - 1) * stride + x, 1, -stride};
        default:
            return {y * stride + x, stride, 1};
    }
}

}  // namespace vorel
