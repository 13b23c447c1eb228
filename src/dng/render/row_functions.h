// The steps of a render over rows of floats, one step at a time: what every faster way has to equal. Pixels have three
// samples behind one another, R, G, B, unless said otherwise; dst may be src. Samples are 0 to 1.
#pragma once

#include <cstdint>

#include "dng/base/matrix.h"
#include "dng/colour/function_table.h"
#include "dng/colour/hue_sat_map.h"

// Three, or four, camera colours a pixel to three, each limited to white first. Results are limited to 0 to 1.
void DoBaselineABCtoRGB(const float *src, float *dst, uint32_t count, const VorelDngVector &white,
                        const VorelDngMatrix &matrix);
void DoBaselineABCDtoRGB(const float *src, float *dst, uint32_t count, const VorelDngVector &white,
                         const VorelDngMatrix &matrix);
void DoBaselineRGBtoRGB(const float *src, float *dst, uint32_t count, const VorelDngMatrix &matrix);
// By the first row of the matrix, to one sample a pixel.
void DoBaselineRGBtoGray(const float *src, float *dst, uint32_t count, const VorelDngMatrix &matrix);
// count samples.
void DoBaseline1DTable(const float *src, float *dst, uint32_t count, const VorelDng1dTable &table);
// The largest and the smallest sample of a pixel by the table, the middle one where it lay between them: the hue stays.
// table: of VorelDng1dTable::kSteps.
void DoBaselineRGBTone(const float *src, float *dst, uint32_t count, const VorelDng1dTable &table);
// planeStep 1: as said above; else the distance between the planes of a pixel, whose neighbours stand 1 apart. Tables
// for the value come in pairs, or not at all, and count only for maps of more than one value division. A map that is
// empty changes nothing.
void doBaselineHueSatMap(const float *src, float *dst, uint32_t count, const VorelDngHueSatMap &map,
                         const VorelDng1dTable *encodeTable, const VorelDng1dTable *decodeTable, int32_t planeStep);

namespace vorel {

struct HueSatTable;
// What a kernel needs of a map that is not empty; the arguments have to stay. Tables of VorelDng1dTable::kSteps.
HueSatTable hue_sat_table(const VorelDngHueSatMap &map, const VorelDng1dTable *encode, const VorelDng1dTable *decode);

}  // namespace vorel
