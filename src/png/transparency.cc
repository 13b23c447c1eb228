// The rule of transparency, and the members of its family: what picks columns and how far.
#include "png/transparency.h"

#include <png.h>

#include <algorithm>
#include <climits>

#include "png/kernels/kernels.h"
#include "png/steppers.h"

namespace vorel {
namespace {

constexpr uint32_t kColourMask = 0xFFFFFF, kFirstByte = 0xFF;

// A 16-bit sample of a tRNS chunk as the rows hold it. Required: below 8 bits it is not scaled, and so meets no pixel
// unless it is 0; the transparent ones have alpha 0 by then.
uint32_t key_byte(png_uint_16 sample, int bit_depth) { return (bit_depth == 16 ? sample >> 8 : sample) & 0xFFu; }

bool has_transparency_chunk(png_structp png, png_infop info, png_color_16p *colour) {
    int entries = 0;
    png_bytep alphas = nullptr;
    return png_get_tRNS(png, info, &alphas, &entries, colour) != 0 && entries != 0;
}

int32_t image_width(png_structp png, png_infop info) { return static_cast<int32_t>(png_get_image_width(png, info)); }

}  // namespace

TransparencyRule transparency_rule(png_structp png, png_infop info, RowUse use) {
    png_color_16p colour = nullptr;
    if (!has_transparency_chunk(png, info, &colour)) return {TransparencyRule::kPremultiply, 0, 0};
    const int depth = png_get_bit_depth(png, info);
    if (png_get_channels(png, info) != 1) {
        if (!colour) return {TransparencyRule::kNothing, 0, 0};
        // Required: red is compared with the first byte also where that is blue.
        const uint32_t key =
            key_byte(colour->red, depth) | key_byte(colour->green, depth) << 8 | key_byte(colour->blue, depth) << 16;
        return {TransparencyRule::kClear, key, kColourMask};
    }
    if (png_get_color_type(png, info) == PNG_COLOR_TYPE_GRAY && colour) {
        const uint32_t gray = key_byte(colour->gray, depth);
        if (use == RowUse::kWholeInPlace || depth == 8) return {TransparencyRule::kClear, gray, kFirstByte};
        return {TransparencyRule::kClear, gray * 0x010101u, kColourMask};
    }
    if (use == RowUse::kWholeInPlace) return {TransparencyRule::kNothing, 0, 0};
    return {TransparencyRule::kClear, 1, 0};  // a key that no pixel has
}

void apply_rule(const TransparencyRule &rule, uint8_t *pixels, int64_t count) {
    const PngKernels &kernels = png_kernels();
    if (rule.kind == TransparencyRule::kPremultiply) kernels.premultiply(pixels, count);
    if (rule.kind == TransparencyRule::kClear) kernels.clear(pixels, count, rule.key, rule.mask);
}

namespace {

int32_t pick_and_apply(png_structp png, png_infop info, const ColumnSteps &columns, uint8_t *out, const uint8_t *row) {
    const int64_t count = pick_columns(columns, INT64_MAX, row, out);
    apply_rule(transparency_rule(png, info, RowUse::kPicked), out, count);
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t substituteTranspColor(png_structp png, png_infop info, uint8_t *row) {
    if (row) apply_rule(transparency_rule(png, info, RowUse::kWholeInPlace), row, image_width(png, info));
    return 1;
}

int32_t substituteTranspColorResize(png_structp png, png_infop info, uint8_t *outRow, const uint8_t *sourceRow,
                                    int32_t outWidth) {
    if (!outRow || !sourceRow) return 0;
    return pick_and_apply(png, info, fitted_columns(image_width(png, info), outWidth), outRow, sourceRow);
}

int32_t substituteTranspColorSampleSize(png_structp png, png_infop info, uint8_t *outRow, const uint8_t *sourceRow,
                                        int32_t, int32_t step) {
    if (!outRow || !sourceRow || step < 1) return 0;
    const int32_t width = image_width(png, info);
    return pick_and_apply(png, info, sampled_columns(width, 0, width, step), outRow, sourceRow);
}

int32_t substituteTranspColor_SampleSizeCrop(png_structp png, png_infop info, uint8_t *outRow, const uint8_t *sourceRow,
                                             int32_t x, int32_t w, int32_t step) {
    if (!outRow || !sourceRow || step < 1 || x < 0) return 0;
    const int32_t width = image_width(png, info);
    int64_t end = width;
    // Required: with a tRNS chunk the rectangle's right edge is no limit.
    if (transparency_rule(png, info, RowUse::kPicked).kind == TransparencyRule::kPremultiply) {
        end = std::min<int64_t>(width, int64_t{x} + w);
    }
    return pick_and_apply(png, info, sampled_columns(width, x, end, step), outRow, sourceRow);
}

}  // extern "C"
