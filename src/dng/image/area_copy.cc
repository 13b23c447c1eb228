// Samples from one type to another, mapped and swapped.
#include <vorel/dng_samples.h>

#include <cstddef>

#include "dng/image/area_copy.h"
#include "dng/image/kernels/kernels.h"

namespace {

struct Steps {
    int32_t row, column, plane;
};

template <typename Source, typename Target, typename Convert>
void copy_area(const Source *src, Target *dst, uint32_t rows, uint32_t columns, uint32_t planes, const Steps &from,
               const Steps &to, const Convert &convert) {
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t plane = 0; plane < planes; ++plane) {
            const Source *in = src + ptrdiff_t{row} * from.row + ptrdiff_t{plane} * from.plane;
            Target *out = dst + ptrdiff_t{row} * to.row + ptrdiff_t{plane} * to.plane;
            for (uint32_t column = 0; column < columns; ++column, in += from.column, out += to.column) {
                *out = convert(*in);
            }
        }
    }
}

}  // namespace

void DoCopyArea16_R32(const uint16_t *src, float *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                      int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                      int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange) {
    const float scale = 1.0f / static_cast<float>(pixelRange);
    copy_area(src, dst, rows, columns, planes, {srcRowStep, srcColumnStep, srcPlaneStep},
              {dstRowStep, dstColumnStep, dstPlaneStep}, [=](uint16_t v) { return static_cast<float>(v) * scale; });
}

void DoCopyAreaR32_16(const float *src, uint16_t *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                      int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                      int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange) {
    copy_area(src, dst, rows, columns, planes, {srcRowStep, srcColumnStep, srcPlaneStep},
              {dstRowStep, dstColumnStep, dstPlaneStep},
              [=](float v) { return static_cast<uint16_t>(vorel::rounded_sample(v, static_cast<float>(pixelRange))); });
}

void DoCopyAreaR32_8(const float *src, uint8_t *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                     int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                     int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange) {
    copy_area(src, dst, rows, columns, planes, {srcRowStep, srcColumnStep, srcPlaneStep},
              {dstRowStep, dstColumnStep, dstPlaneStep},
              [=](float v) { return static_cast<uint8_t>(vorel::rounded_sample(v, static_cast<float>(pixelRange))); });
}

void doMapArea16(uint16_t *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep,
                 int32_t columnStep, int32_t planeStep, const uint16_t *table) {
    copy_area(pixels, pixels, rows, columns, planes, {rowStep, columnStep, planeStep}, {rowStep, columnStep, planeStep},
              [=](uint16_t v) { return table[v]; });
}

void doSwapBytes16(uint16_t *data, uint32_t count) { vorel::sample_kernels().swap_16(data, count, data); }
void doSwapBytes32(uint32_t *data, uint32_t count) { vorel::sample_kernels().swap_32(data, count, data); }
