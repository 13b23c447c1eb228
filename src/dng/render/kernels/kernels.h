// The render of rows of camera colours to bytes, all steps in one go. Pure functions of their arguments; every member
// of a table gives the same bytes in every table, for all inputs, and not a number among them.
#pragma once

#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

constexpr uint32_t kRenderSteps = 4096;  // of a curve, whose table has two entries more

// A hue and saturation map: three floats an entry (shift in degrees, saturation scale, value scale), saturations
// behind one another, and one float behind the last entry.
struct HueSatTable {
    const float *entries;
    uint32_t hues, saturations, values;  // at least 1, 2, 1
    uint32_t hue_step, value_step;       // in entries
    const float *encode, *decode;        // curves of the value; null: linear
};

struct RenderSetup {
    float white[3];                     // of the camera
    float camera[9];                    // camera to wide RGB
    float output[9];                    // wide RGB to output
    const HueSatTable *hue_sat, *look;  // null: none
    const float *ramp, *tone, *gamma;
    // The byte of a value after gamma, from the value before it: of each step of the curve bits 0 to 7 are the byte at
    // its start, and the rest is the last of 2^23 parts of the step before the byte rises by one, or all ones.
    const uint32_t *encode;
    // How many parts next to that one rounding may have made rise before or after their turn.
    int32_t encode_doubt;
};

struct RenderKernels {
    const char *name;
    // count pixels of three samples to three bytes. 16 bits: 65535 is 1.
    void (*from_short)(const RenderSetup &setup, const uint16_t *src, uint32_t count, uint8_t *dst);
    void (*from_float)(const RenderSetup &setup, const float *src, uint32_t count, uint8_t *dst);
};

const RenderKernels &scalar_render_kernels();
const RenderKernels &render_kernels();
int runnable_render_kernels(const RenderKernels **out);

// Fills kRenderSteps + 1 entries of setup.encode for setup.gamma, and encode_doubt; false for a curve that has no such
// table, one that rises by more than a byte in a step or falls.
bool make_encode_table(const float *gamma, uint32_t *encode, int32_t *doubt);

// One pixel through a map, in place: R, G, B of 0 to 1, and so the result. Vectors of pixels go through the same steps.
void hue_sat_pixel(const HueSatTable &table, float *rgb);

}  // namespace vorel
