// Samples through a polynomial.
#include <vorel/dng_samples.h>

#include "core/core.h"
#include "dng/opcodes/map_opcodes.h"
#include "dng/opcodes/sample_range.h"

namespace vorel {
namespace {

double polynomial(const double *coefficients, uint32_t degree, double x) {
    double value = coefficients[degree];
    for (uint32_t i = degree; i-- > 0;) value = value * x + coefficients[i];
    return value;
}

template <typename Sample>
Sample mapped(Sample sample, const double *coefficients, uint32_t degree) {
    using Range = SampleRange<Sample>;
    return Range::of_fraction(polynomial(coefficients, degree, Range::fraction(sample)));
}

template <typename Sample, typename Map>
void map_area(Sample *samples, uint32_t rows, uint32_t columns, uint32_t planes, ptrdiff_t row_step,
              ptrdiff_t column_step, ptrdiff_t plane_step, const Map &map) {
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t column = 0; column < columns; ++column) {
            Sample *const pixel = samples + row * row_step + column * column_step;
            for (uint32_t plane = 0; plane < planes; ++plane)
                pixel[plane * plane_step] = map(pixel[plane * plane_step]);
        }
    }
}

}  // namespace
}  // namespace vorel

void doMapPoly16(uint16_t *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep,
                 int32_t columnStep, int32_t planeStep, const double *coefficients, uint32_t degree) {
    constexpr uint32_t kValues = 0x10000;
    if (degree > VorelDngOpcodeMapPolynomial::kMostDegree) return;
    // Many samples are looked up.
    uint16_t *const table = uint64_t{rows} * columns * planes > kValues
                                ? static_cast<uint16_t *>(vorel::os_allocate(kValues * sizeof(uint16_t)))
                                : nullptr;
    if (table) {
        for (uint32_t i = 0; i < kValues; ++i) table[i] = vorel::mapped(static_cast<uint16_t>(i), coefficients, degree);
        doMapArea16(pixels, rows, columns, planes, rowStep, columnStep, planeStep, table);
        vorel::os_release(table);
        return;
    }
    vorel::map_area(pixels, rows, columns, planes, rowStep, columnStep, planeStep,
                    [&](uint16_t sample) { return vorel::mapped(sample, coefficients, degree); });
}

void doMapPoly32(float *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep, int32_t columnStep,
                 int32_t planeStep, const double *coefficients, uint32_t degree) {
    if (degree > VorelDngOpcodeMapPolynomial::kMostDegree) return;
    vorel::map_area(pixels, rows, columns, planes, rowStep, columnStep, planeStep,
                    [&](float sample) { return vorel::mapped(sample, coefficients, degree); });
}
