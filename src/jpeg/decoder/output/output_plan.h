// What a decode makes of a frame: the DCT scale, the output size, the part that is stored. Settled by set-up.
#pragma once

#include <vorel/jpeg_decoder.h>

#include <cstddef>
#include <cstdint>

#include "jpeg/decoder/kernels/kernels.h"
#include "jpeg/jpeg.h"

namespace vorel {

// How the rows of the DCT-scaled picture become output rows.
enum class Resample : uint8_t { kNone, kMean, kCentre };

// The part of the output picture that is stored, in output coordinates.
struct OutputWindow {
    int32_t x, y, width, height;
};

// True for the formats that are stored pixel by pixel and can be rotated.
constexpr bool is_pixel_format(int32_t format) {
    return format == COLOR_RGB565 || format == COLOR_ARGB8888 || format == COLOR_RGBA8888 || format == COLOR_BGRA8888 ||
           format == COLOR_RGB565_ALT;
}

// Rows or columns [first, end) of the DCT-scaled picture.
struct SourceRange {
    int32_t first, end;
};

// A component at the planned scale.
struct ComponentPlan {
    IdctShape shape;
    uint8_t block_width, block_height;  // samples of a block after its inverse DCT
    uint8_t keep;                       // how many coefficients that kernel looks at
    uint8_t h_expand, v_expand;         // repeats that bring a sample to the scaled picture's grid; 0: no whole number
    alignas(16) int32_t multipliers[kBlockCoefficients];
    // Precision that decode mode 1 leaves to a coefficient: (coefficient * correction) >> 13.
    uint16_t correction[kBlockCoefficients];
};

struct OutputPlan {
    const KernelTable *kernels;
    int32_t outColorFormat;
    int32_t targetWidth, targetHeight;  // the caller's rectangle
    int32_t outWidth, outHeight;        // the whole picture in it
    int32_t cropWidth, cropHeight;      // what of that the rectangle has room for
    int32_t decodeOffsetX, decodeOffsetY;
    uint32_t rotation;
    uint32_t isOneToOne;
    int32_t scaleIndex, scaleMultiplier;
    uint16_t scaledWidth, scaledHeight;
    uint32_t jointChroma;
    uint32_t highQualityClamp;
    const uint8_t *sampleRangeLimit, *sampleRangeLimit2;

    // inside
    OutputWindow window;
    Resample resample;
    SourceRange rows, columns;  // what the window needs of the scaled picture; columns are those of whole MCUs
    int32_t imcu_output_rows;   // scaled rows and columns of a full MCU; 0 beyond 1/8, where they vary
    int32_t mcu_output_columns;
    bool direct;         // component rows go to the writers as they are
    bool chroma_shared;  // and chroma has one sample for two pixels in them
    ComponentPlan components[kMaxComponents];
};

}  // namespace vorel
