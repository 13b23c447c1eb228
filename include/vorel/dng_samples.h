/* Row and area operations of the raw developer, for callers who work on samples themselves. Row, column and plane steps
 * are in samples. DNG: version 1.4.0.0; TIFF: revision 6.0. */
#ifndef VOREL_DNG_SAMPLES_H
#define VOREL_DNG_SAMPLES_H

#include <stdbool.h>
#include <stdint.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

/* ---- Sizes ---------------------------------------------------------------------------------------------------- */

/* Bytes of one value of a TIFF field type (TIFF section 2): 1 to 12, and 13 (IFD, 4), 14 (2) and 15 (8). 0 for others.
 */
VOREL_API uint32_t TagTypeSize(uint32_t type);

/* value rounded up to a multiple of 16 / pixelSize samples, so that a row is a multiple of 16 bytes; to a multiple of
 * 16 for pixel sizes other than 1, 2, 4 and 8. Wraps modulo 2^32. */
VOREL_API uint32_t RoundUpForPixelSize(uint32_t value, uint32_t pixelSize);

/* Arithmetic without overflow: false, with *result as it was, when the result does not fit. */
VOREL_API bool SafeUint32Add(uint32_t a, uint32_t b, uint32_t *result);
VOREL_API bool SafeUint32Mult(uint32_t a, uint32_t b, uint32_t *result);
VOREL_API bool SafeInt32Sub(int32_t a, int32_t b, int32_t *result);
/* Also false for a multiple of 0. */
VOREL_API bool RoundUpUint32ToMultiple(uint32_t value, uint32_t multiple, uint32_t *result);
/* a / b rounded up; 0 for b of 0. */
VOREL_API uint32_t SafeUint32DivideUp(uint32_t a, uint32_t b);

/* ---- Samples -------------------------------------------------------------------------------------------------- */

/* Floating point of 16 bits (IEEE 754 binary16) and of 24 bits (sign, 7 bits of exponent with bias 64, 16 of fraction,
 * most significant byte first; DNG, chapter 6). Required: not a number gives 0, an infinity the largest finite value of
 * its sign. */
VOREL_API float DNG_HalfToFloat(uint16_t bits);
VOREL_API float DNG_FP24ToFloat(const uint8_t *bytes);

/* Maps samples in place through a table of 65536 entries. */
VOREL_API void doMapArea16(uint16_t *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep,
                           int32_t columnStep, int32_t planeStep, const uint16_t *table);
/* Reverses the bytes of count values in place. */
VOREL_API void doSwapBytes16(uint16_t *data, uint32_t count);
VOREL_API void doSwapBytes32(uint32_t *data, uint32_t count);

/* Copies areas between sample types. To float: value times the float nearest to 1 / pixelRange. From float: a value v
 * of more than 0 and at most 1 stays, any other (also not a number) becomes 1 if above 0.5, else 0; the integer is
 * floor(0.5 + v * pixelRange). */
VOREL_API void DoCopyArea16_R32(const uint16_t *src, float *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                                int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                                int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange);
VOREL_API void DoCopyAreaR32_16(const float *src, uint16_t *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                                int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                                int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange);
VOREL_API void DoCopyAreaR32_8(const float *src, uint8_t *dst, uint32_t rows, uint32_t columns, uint32_t planes,
                               int32_t srcRowStep, int32_t srcColumnStep, int32_t srcPlaneStep, int32_t dstRowStep,
                               int32_t dstColumnStep, int32_t dstPlaneStep, uint32_t pixelRange);

/* ---- Polynomials ---------------------------------------------------------------------------------------------- */

/* Replaces each sample, as a fraction of its range, by the polynomial coefficients[0] + coefficients[1] * x + ... up to
 * degree (at most 8), limited to the range (DNG, MapPolynomial). */
VOREL_API void doMapPoly16(uint16_t *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep,
                           int32_t columnStep, int32_t planeStep, const double *coefficients, uint32_t degree);
VOREL_API void doMapPoly32(float *pixels, uint32_t rows, uint32_t columns, uint32_t planes, int32_t rowStep,
                           int32_t columnStep, int32_t planeStep, const double *coefficients, uint32_t degree);

/* ---- Mosaic --------------------------------------------------------------------------------------------------- */

/* count pixels of one plane of an interpolated row, from a mosaic of rows x columns samples. src is the mosaic's sample
 * at (row, column), dst the first pixel's sample of the plane; pixels of dst are 3 samples apart. Tables are indexed by
 * pattern column, beginning with patternColumn and wrapping at patternColumns: number of taps (0 stores 0), their
 * offsets from the site in samples, and their weights, 256 being 1 (or 1.0f being 1). A site of the mosaic serves
 * 1 << shift pixels. Taps that would leave the mosaic at its first or last row or column are mirrored about the site.
 * 16 bits: (128 + sum) >> 8. */
VOREL_API void DoBilinearRow16(const uint16_t *src, uint16_t *dst, uint32_t row, uint32_t column, uint32_t rows,
                               uint32_t columns, uint32_t count, uint32_t patternColumn, uint32_t patternColumns,
                               const uint32_t *counts, const int32_t *const *offsets, const uint16_t *const *weights,
                               uint32_t shift);
VOREL_API void DoBilinearRow32(const float *src, float *dst, uint32_t row, uint32_t column, uint32_t rows,
                               uint32_t columns, uint32_t count, uint32_t patternColumn, uint32_t patternColumns,
                               const uint32_t *counts, const int32_t *const *offsets, const float *const *weights,
                               uint32_t shift);

/* ---- Colour --------------------------------------------------------------------------------------------------- */

/* Kelvin of an Exif LightSource code (CIPA DC-008 4.6.5); 0 for codes without one, and outside of 1 to 24. */
VOREL_API double convertIlluminantToTemperature(uint32_t code);

/* ---- Noise reduction ------------------------------------------------------------------------------------------ */

/* Median of one channel of interleaved bytes over a cross of 5, a square of 9, a rhomb of 13 and a square of 25
 * samples. Samples outside the picture are the nearest inside. Pixels are channelCount bytes apart, strides in bytes;
 * source and destination may not overlap. */
VOREL_API void MedianFilterRhomb3x3(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                    int32_t channelCount, uint8_t *destination, int32_t destinationStride);
VOREL_API void MedianFilterSquare3x3(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                     int32_t channelCount, uint8_t *destination, int32_t destinationStride);
VOREL_API void MedianFilterRhomb5x5(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                    int32_t channelCount, uint8_t *destination, int32_t destinationStride);
VOREL_API void MedianFilterSquare5x5(const uint8_t *source, int32_t sourceStride, int32_t width, int32_t height,
                                     int32_t channelCount, uint8_t *destination, int32_t destinationStride);

/* RGB of 3 bytes a pixel to planes Y, Cr, Cb (full range, ITU-R BT.601), chroma reduced by means of 2 x 2 pixels, and
 * back. yuv has width * height bytes of Y and (width / 2) * (height / 2) of each chroma plane. Pixels of an odd last
 * row or column take the nearest chroma sample; without one, 128. */
VOREL_API void Bitmap2Yuv420p(uint8_t *yuv, const uint8_t *rgb, int32_t width, int32_t height);
VOREL_API void Yuv420p2Bitmap(uint8_t *rgb, const uint8_t *yuv, int32_t width, int32_t height);

VOREL_END_DECLS

#endif
