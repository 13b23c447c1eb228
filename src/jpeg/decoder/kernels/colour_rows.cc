// Colour conversion over rows of samples: YCbCr, gray and RGB to pixels, YCbCr to inverted RGB, ink times black.
#include "jpeg/decoder/kernels/room.h"

namespace vorel {
namespace {

uint8_t clamp_byte(int32_t value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

// T.871's 1.402, 1.772, 0.34414 and 0.71414 in 14 and 15 bits.
constexpr int32_t kRedCr = 22971, kBlueCb = 29033, kGreenCb = -11277, kGreenCr = -23401;

// What chroma adds to luma.
struct ChromaTerms {
    int32_t red, green, blue;
};
ChromaTerms chroma_terms(uint8_t cb_sample, uint8_t cr_sample) {
    const int32_t cb = cb_sample - 128, cr = cr_sample - 128;
    return {(kRedCr * cr + 8192) >> 14, (kGreenCb * cb + kGreenCr * cr + 16384) >> 15, (kBlueCb * cb + 8192) >> 14};
}

struct Rgb {
    uint8_t r, g, b;
};
Rgb add_luma(uint8_t y, ChromaTerms terms) {
    return {clamp_byte(y + terms.red), clamp_byte(y + terms.green), clamp_byte(y + terms.blue)};
}

constexpr int pixel_bytes(PixelFormat format) { return format == PixelFormat::kRgb565 ? 2 : 4; }

template <PixelFormat kFormat>
void store_pixel(Rgb rgb, uint8_t *out) {
    if constexpr (kFormat == PixelFormat::kRgb565) {
        const int32_t word = rgb.b >> 3 | (rgb.g & 252) << 3 | (rgb.r & 248) << 8;
        out[0] = static_cast<uint8_t>(word);
        out[1] = static_cast<uint8_t>(word >> 8);
    } else {
        constexpr bool kSwap = kFormat == PixelFormat::kBgra;
        out[0] = kSwap ? rgb.b : rgb.r;
        out[1] = rgb.g;
        out[2] = kSwap ? rgb.r : rgb.b;
        out[3] = 255;
    }
}

// The scalar twins of a pixel format. kShared: a chroma sample per pair of pixels.
template <PixelFormat kFormat>
struct Scalar {
    static constexpr int kBytes = pixel_bytes(kFormat);

    template <bool kShared>
    static void ycc(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width, uint8_t *out) {
        for (int32_t x = 0; x < width; ++x) {
            const int32_t c = kShared ? x >> 1 : x;
            store_pixel<kFormat>(add_luma(y[x], chroma_terms(cb[c], cr[c])), out + static_cast<ptrdiff_t>(x) * kBytes);
        }
    }
    static void ycc_pair(const uint8_t *y0, const uint8_t *y1, const uint8_t *cb, const uint8_t *cr, int32_t width,
                         uint8_t *out0, uint8_t *out1) {
        ycc<true>(y0, cb, cr, width, out0);
        ycc<true>(y1, cb, cr, width, out1);
    }
    static void gray(const uint8_t *y, int32_t width, uint8_t *out) { rgb(y, y, y, width, out); }
    static void rgb(const uint8_t *r, const uint8_t *g, const uint8_t *b, int32_t width, uint8_t *out) {
        for (int32_t x = 0; x < width; ++x) {
            store_pixel<kFormat>({r[x], g[x], b[x]}, out + static_cast<ptrdiff_t>(x) * kBytes);
        }
    }
};

void scalar_multiply_black(const uint8_t *c, const uint8_t *k, int32_t count, uint8_t *out) {
    for (int32_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(c[i] * k[i] / 255);
}

void scalar_inverted_rgb(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *c, uint8_t *m,
                         uint8_t *yellow) {
    for (int32_t i = 0; i < count; ++i) {
        const Rgb rgb = add_luma(y[i], chroma_terms(cb[i], cr[i]));
        c[i] = static_cast<uint8_t>(255 - rgb.r);
        m[i] = static_cast<uint8_t>(255 - rgb.g);
        yellow[i] = static_cast<uint8_t>(255 - rgb.b);
    }
}

template <PixelFormat kFormat, template <PixelFormat> class Twin>
void add_format(KernelTable *table) {
    constexpr int kAt = static_cast<int>(kFormat);
    table->ycc_row[kAt] = Twin<kFormat>::template ycc<false>;
    table->ycc_row_shared[kAt] = Twin<kFormat>::template ycc<true>;
    table->ycc_row_pair[kAt] = Twin<kFormat>::ycc_pair;
    table->gray_row[kAt] = Twin<kFormat>::gray;
    table->rgb_row[kAt] = Twin<kFormat>::rgb;
}

}  // namespace

void add_scalar_colour(KernelTable *table) {
    add_format<PixelFormat::kRgba, Scalar>(table);
    add_format<PixelFormat::kBgra, Scalar>(table);
    add_format<PixelFormat::kRgb565, Scalar>(table);
    table->multiply_black = scalar_multiply_black;
    table->ycc_to_inverted_rgb = scalar_inverted_rgb;
}

}  // namespace vorel
