// The row writers: source samples of one depth into pixels of any format and step.
#include "raster/bmp_pixels.h"
#include "raster/kernels/bmp_kernels.h"

namespace vorel {
namespace {

// Stores word_at(x) for each pixel. Rows that are not turned have their step in the code.
template <int kBytes, typename WordAt>
void store_words(uint8_t *out, int32_t count, ptrdiff_t step, const WordAt &word_at) {
    if (step == kBytes) {
        for (int32_t x = 0; x < count; ++x) store_pixel<kBytes>(out + ptrdiff_t{x} * kBytes, word_at(x));
    } else {
        for (int32_t x = 0; x < count; ++x) store_pixel<kBytes>(out + x * step, word_at(x));
    }
}

// ---- palette --------------------------------------------------------------------------------------------------------

void make_words(const uint8_t *palette, int32_t count, int32_t format, uint32_t *words) {
    with_format(format, [&]<int32_t kFormat>() {
        for (int32_t i = 0; i < count; ++i) words[i] = pixel_word<kFormat>(colour_of_bgr(palette + i * 4));
    });
}

// The palette as pixels of the format, made once for the record's own one.
const uint32_t *palette_words(const BmpInfo *info, int32_t format, int32_t count, uint32_t *block) {
    if (info->colours && format == info->outputFormat) return info->colours + kPaletteEntries;
    make_words(info->palette, count, format, block);
    return block;
}

template <int kBytes, int kBits>
void store_indices(const uint32_t *words, const uint8_t *source, uint8_t *out, int32_t count, ptrdiff_t step) {
    constexpr int32_t kPerByte = 8 / kBits;
    constexpr uint32_t kMask = (1u << kBits) - 1;
    const int32_t whole = count - count % kPerByte;
    for (int32_t x = 0; x < whole; x += kPerByte, ++source) {
        const uint32_t byte = *source;
        store_words<kBytes>(out + x * step, kPerByte, step,
                            [&](int32_t i) { return words[byte >> (8 - kBits * (i + 1)) & kMask]; });
    }
    store_words<kBytes>(out + whole * step, count - whole, step,
                        [&](int32_t i) { return words[index_at<kBits>(source, i)]; });
}

template <int kBits>
void write_indexed(const BmpInfo *info, const uint8_t *source, uint8_t *out, int32_t count, int32_t step,
                   int32_t format) {
    if (!info || !info->palette || bmp_pixel_bytes(format) == 0) return;
    uint32_t block[1 << kBits];
    const uint32_t *words = palette_words(info, format, 1 << kBits, block);
    with_format(format, [&]<int32_t kFormat>() {
        constexpr int kBytes = bmp_pixel_bytes(kFormat);
        if constexpr (kBits == 8) {
            store_words<kBytes>(out, count, step, [&](int32_t x) { return words[source[x]]; });
        } else {
            store_indices<kBytes, kBits>(words, source, out, count, step);
        }
    });
}

// ---- true colour ----------------------------------------------------------------------------------------------------

constexpr ByteOrder byte_order(int32_t format) {
    switch (format) {
        case COLOR_RGBA8888:
            return ByteOrder::kRgba;
        case COLOR_BGRA8888:
            return ByteOrder::kBgra;
        case COLOR_ARGB8888:
            return ByteOrder::kArgb;
        case COLOR_RGB888:
            return ByteOrder::kRgb;
        default:
            return ByteOrder::kCount;
    }
}

template <int kBytes>
void write_bgr(const BmpInfo *info, const uint8_t *source, uint8_t *out, int32_t count, int32_t step, int32_t format) {
    const ByteOrder order = byte_order(format);
    if (order != ByteOrder::kCount && step == bmp_pixel_bytes(format)) {
        const BmpKernels &kernels = info && info->kernels ? *info->kernels : bmp_kernels();
        const BmpSwizzle *swizzles = kBytes == 3 ? kernels.from_bgr : kernels.from_bgrx;
        return swizzles[static_cast<int>(order)](source, count, out);
    }
    with_format(format, [&]<int32_t kFormat>() {
        store_words<bmp_pixel_bytes(kFormat)>(out, count, step, [&](int32_t x) {
            return pixel_word<kFormat>(colour_of_bgr(source + ptrdiff_t{x} * kBytes));
        });
    });
}

// ---- sums -----------------------------------------------------------------------------------------------------------

// A quarter of the sums of four samples, cut to whole numbers.
Colour mean_of(uint32_t sums, uint32_t alpha) { return {sums >> 22, sums >> 12 & 255, sums >> 2 & 255, alpha}; }

template <typename AlphaAt>
void write_means(const uint32_t *sums, const AlphaAt &alpha_at, uint8_t *out, int32_t count, int32_t step,
                 int32_t format) {
    with_format(format, [&]<int32_t kFormat>() {
        store_words<bmp_pixel_bytes(kFormat)>(
            out, count, step, [&](int32_t x) { return pixel_word<kFormat>(mean_of(sums[x], alpha_at(x))); });
    });
}

}  // namespace

void make_bmp_colours(const BmpInfo *info) {
    for (int i = 0; i < kPaletteEntries; ++i) {
        const Colour colour = colour_of_bgr(info->palette + i * 4);
        info->colours[i] = packed_lanes(colour.red, colour.green, colour.blue);
    }
    make_words(info->palette, kPaletteEntries, info->outputFormat, info->colours + kPaletteEntries);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void BRIMI_BMP_Write1bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                               int32_t pixelStep, int32_t format) {
    write_indexed<1>(info, source, destination, count, pixelStep, format);
}

void BRIMI_BMP_Write4bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                               int32_t pixelStep, int32_t format) {
    write_indexed<4>(info, source, destination, count, pixelStep, format);
}

void BRIMI_BMP_Write8bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                               int32_t pixelStep, int32_t format) {
    write_indexed<8>(info, source, destination, count, pixelStep, format);
}

void BRIMI_BMP_Write16bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                                int32_t pixelStep, int32_t format) {
    if (!info) return;
    with_format(format, [&]<int32_t kFormat>() {
        store_words<bmp_pixel_bytes(kFormat)>(destination, count, pixelStep, [&](int32_t x) {
            return pixel_word<kFormat>(colour_of_16(info, source + ptrdiff_t{x} * 2));
        });
    });
}

void BRIMI_BMP_Write24bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                                int32_t pixelStep, int32_t format) {
    write_bgr<3>(info, source, destination, count, pixelStep, format);
}

// Required: the fourth byte is no alpha here; that is 255.
void BRIMI_BMP_Write32bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination, int32_t count,
                                int32_t pixelStep, int32_t format) {
    write_bgr<4>(info, source, destination, count, pixelStep, format);
}

void BRIMI_BMP_WriteResizedOutput(const uint32_t *scratch, uint8_t *destination, int32_t count, int32_t pixelStep,
                                  int32_t format) {
    write_means(
        scratch, [](int32_t) { return 255u; }, destination, count, pixelStep, format);
}

void BRIMI_BMP_WriteResizedOutputWithAlpha(const uint32_t *scratch, const uint32_t *alphaScratch, uint8_t *destination,
                                           int32_t count, int32_t pixelStep, int32_t format) {
    write_means(
        scratch, [=](int32_t x) { return alphaScratch[x] >> 2 & 255; }, destination, count, pixelStep, format);
}

// Formats that are not named store nothing.
void putPixel(uint8_t *image, const uint8_t *palette, int32_t position, int32_t index, int32_t format) {
    if (format == COLOR_BGR565A || index < 0 || index >= kPaletteEntries) return;
    with_format(format, [&]<int32_t kFormat>() {
        constexpr int kBytes = bmp_pixel_bytes(kFormat);
        store_pixel<kBytes>(image + ptrdiff_t{position} * kBytes,
                            pixel_word<kFormat>(colour_of_bgr(palette + index * 4)));
    });
}

}  // extern "C"
