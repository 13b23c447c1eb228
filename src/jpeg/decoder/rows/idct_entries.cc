// The exported inverse DCTs and their tables: wrappers of the single-block kernels. The decoder itself transforms whole
// runs of blocks through the kernel table.
#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/kernels/kernels.h"

using vorel::IdctShape;

namespace {

constexpr int kScaledKernels = 7;  // entries of the tables for scaled output

}  // namespace

#define VOREL_IDCT(name, call)                                                                             \
    void name(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, \
              int32_t column) {                                                                            \
        vorel::call;                                                                                       \
    }
#define VOREL_SHAPE_IDCT(name, shape) \
    VOREL_IDCT(name, idct_block(IdctShape::shape, rangeLimit, multipliers, block, rows, column))
#define VOREL_CORNER_IDCT(name, size, across, down) \
    VOREL_IDCT(name, idct_scaled_corner(size, across, down, rangeLimit, multipliers, block, rows, column))

VOREL_SHAPE_IDCT(BRIMJ_DoIdct_islow, k8x8)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_8x4, k8x4)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_4x8, k4x8)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_4x4, k4x4)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_2to1, k4x4)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_4x2, k4x2)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_2x4, k2x4)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_8to3, k3x3)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_2x2, k2x2)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_4to1, k2x2)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_4to1_CBCR, k2x2)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_2x1, k2x1)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_1x2, k1x2)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_1x1, k1x1)
VOREL_SHAPE_IDCT(BRIMJ_DoIdct_8to1, k1x1)
VOREL_IDCT(BRIMJ_DoProgIdct_4to1, idct_halved_3x3(rangeLimit, multipliers, block, rows, column))

// 8 x 8 samples by the scaled transform, all of it and from the lowest coefficients alone.
VOREL_CORNER_IDCT(BRIMJ_DoIdct, 8, 8, 8)
VOREL_CORNER_IDCT(BRIMJ_DoIdctDither, 8, 8, 8)
VOREL_CORNER_IDCT(BRIMJ_DoIdct1By1, 8, 1, 1)
VOREL_CORNER_IDCT(BRIMJ_DoIdct1By2, 8, 1, 2)
VOREL_CORNER_IDCT(BRIMJ_DoIdct2By1, 8, 2, 1)
VOREL_CORNER_IDCT(BRIMJ_DoIdct2By2, 8, 2, 2)
VOREL_CORNER_IDCT(BRIMJ_DoIdct2By2All, 8, 2, 2)
VOREL_CORNER_IDCT(BRIMJ_DoIdct3By3, 8, 3, 3)
VOREL_CORNER_IDCT(BRIMJ_DoIdct4By4, 8, 4, 4)
VOREL_CORNER_IDCT(BRIMJ_DoIdct5By5, 8, 5, 5)
VOREL_CORNER_IDCT(BRIMJ_DoIdct6By6, 8, 6, 6)
VOREL_CORNER_IDCT(BRIMJ_DoIdct7By7, 8, 7, 7)
VOREL_CORNER_IDCT(BRIMJ_DoIdct8By8, 8, 8, 8)
// 4 x 4 and 1 x 1 samples in the same way.
VOREL_CORNER_IDCT(BRIMJ_DoIdct1x1For4x4, 4, 1, 1)
VOREL_CORNER_IDCT(BRIMJ_DoIdct2x2For4x4, 4, 2, 2)
VOREL_CORNER_IDCT(BRIMJ_DoIdct3x3For4x4, 4, 3, 3)
VOREL_CORNER_IDCT(BRIMJ_DoIdct4x4For4x4, 4, 4, 4)
VOREL_CORNER_IDCT(BRIMJ_DoIdct1x1, 1, 1, 1)

int32_t BRIMJ_GetDctMethodIndexFirst(void) { return 0; }
int32_t BRIMJ_GetDctMethodIndex(int32_t scaleIndex) {
    return scaleIndex < 0 ? 0 : scaleIndex < kScaledKernels ? scaleIndex : kScaledKernels - 1;
}
BrimIdctFunc BRIMJ_GetDctMethod2to1(void) { return BRIMJ_DoIdct_4x4; }
BrimIdctFunc BRIMJ_GetDctMethod4to1(void) { return BRIMJ_DoIdct_2x2; }
BrimIdctFunc BRIMJ_GetDctMethod8to1(void) { return BRIMJ_DoIdct_1x1; }
// Required: null, although pIDctResizeFunc8to3 has the kernel.
BrimIdctFunc BRIMJ_GetDctMethod8to3(void) { return nullptr; }

// The exact transform is the only one at full size, however the table is indexed.
#define VOREL_FIVE(f) f, f, f, f, f
#define VOREL_SEVEN(f) VOREL_FIVE(f), f, f
#define VOREL_TWENTY_NINE(f) VOREL_SEVEN(f), VOREL_SEVEN(f), VOREL_FIVE(f), VOREL_FIVE(f), VOREL_FIVE(f)
const BrimIdctFunc pIDctFunc[29] = {VOREL_TWENTY_NINE(BRIMJ_DoIdct_islow)};
const BrimIdctFunc pIDctFuncIslow[29] = {VOREL_TWENTY_NINE(BRIMJ_DoIdct_islow)};

const BrimIdctFunc pIDctResizeFunc[kScaledKernels] = {BRIMJ_DoIdct_1x1,  BRIMJ_DoIdct_2x2,  BRIMJ_DoIdct_2x2,
                                                      BRIMJ_DoIdct_8to3, BRIMJ_DoIdct_8to3, BRIMJ_DoIdct_8to3,
                                                      BRIMJ_DoIdct_4x4};
const BrimIdctFunc pIDctResizeFunc2to1[kScaledKernels] = {VOREL_SEVEN(BRIMJ_DoIdct_4x4)};
const BrimIdctFunc pIDctResizeFunc4to1[kScaledKernels] = {VOREL_SEVEN(BRIMJ_DoIdct_2x2)};
const BrimIdctFunc pIDctResizeFunc8to1[kScaledKernels] = {VOREL_SEVEN(BRIMJ_DoIdct_1x1)};
const BrimIdctFunc pIDctResizeFunc8to3[kScaledKernels] = {VOREL_SEVEN(BRIMJ_DoIdct_8to3)};
