// Colour conversion over rows of samples: YCbCr, gray and RGB to pixels, YCbCr to inverted RGB, CMY times black.
#ifndef VOREL_COLOUR_ROWS_SCALAR
#define VOREL_COLOUR_ROWS_SCALAR

#include "jpeg/decoder/kernels/internal.h"

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

#endif  // VOREL_COLOUR_ROWS_SCALAR

#define VOREL_SIMD_FILE "jpeg/decoder/kernels/colour_rows.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR

// What chroma adds to luma, in 16-bit lanes. 22971 is 16384 + 6587 and 29033 is 32768 - 3735, so a rounding
// multiplication of twice the sample by the remainder, in 15 bits, gives the same as the 14-bit rule.
template <class D16>
struct VectorTerms {
    hn::Vec<D16> red, green, blue;
};
template <class D16>
inline VectorTerms<D16> vector_terms(D16 d, hn::Vec<D16> cb_samples, hn::Vec<D16> cr_samples) {
    const auto centre = hn::Set(d, 128);
    const auto cb = hn::Sub(cb_samples, centre), cr = hn::Sub(cr_samples, centre);
    const auto cb2 = hn::Add(cb, cb), cr2 = hn::Add(cr, cr);
    const auto green = multiply_add<kGreenCb, kGreenCr>(d, operands(d, cb, cr), set_wide(d, 16384));
    return {hn::Add(cr, hn::MulFixedPoint15(cr2, hn::Set(d, kRedCr - 16384))), shift_and_hold<15>(d, green),
            hn::Add(cb2, hn::MulFixedPoint15(cb2, hn::Set(d, kBlueCb - 32768)))};
}

// The lower and the upper half of each block's bytes, widened.
template <class D8>
using Widened = hn::Repartition<int16_t, D8>;
template <class D8>
inline hn::Vec<Widened<D8>> widen_lower(D8 d, hn::Vec<D8> v) {
    return hn::BitCast(Widened<D8>(), hn::InterleaveLower(d, v, hn::Zero(d)));
}
template <class D8>
inline hn::Vec<Widened<D8>> widen_upper(D8 d, hn::Vec<D8> v) {
    return hn::BitCast(Widened<D8>(), hn::InterleaveUpper(d, v, hn::Zero(d)));
}

// Bytes in the order that store_pixels wants of its colours: pixels of four bytes are interleaved.
template <PixelFormat kFormat, class D>
inline hn::Vec<D> in_store_order(D d, hn::Vec<D> v) {
    if constexpr (kFormat == PixelFormat::kRgb565) {
        return v;
    } else {
        const hn::Repartition<uint8_t, D> d8;
        return hn::BitCast(d, for_interleaving(d8, hn::BitCast(d8, v)));
    }
}

// The terms of as many pixels as D8 has lanes.
template <class D8>
struct PixelTerms {
    VectorTerms<Widened<D8>> lower, upper;
};
template <PixelFormat kFormat, bool kShared, class D8>
inline PixelTerms<D8> load_terms(D8 d, const uint8_t *cb, const uint8_t *cr, int32_t x) {
    const Widened<D8> d16;
    if constexpr (kShared) {
        const hn::Half<D8> half;
        const auto terms =
            vector_terms(d16, in_store_order<kFormat>(d16, hn::PromoteTo(d16, hn::LoadU(half, cb + x / 2))),
                         in_store_order<kFormat>(d16, hn::PromoteTo(d16, hn::LoadU(half, cr + x / 2))));
        return {{hn::InterleaveLower(d16, terms.red, terms.red), hn::InterleaveLower(d16, terms.green, terms.green),
                 hn::InterleaveLower(d16, terms.blue, terms.blue)},
                {hn::InterleaveUpper(d16, terms.red, terms.red), hn::InterleaveUpper(d16, terms.green, terms.green),
                 hn::InterleaveUpper(d16, terms.blue, terms.blue)}};
    } else {
        const auto cb_row = in_store_order<kFormat>(d, hn::LoadU(d, cb + x));
        const auto cr_row = in_store_order<kFormat>(d, hn::LoadU(d, cr + x));
        return {vector_terms(d16, widen_lower(d, cb_row), widen_lower(d, cr_row)),
                vector_terms(d16, widen_upper(d, cb_row), widen_upper(d, cr_row))};
    }
}

template <class D8>
struct VectorRgb {
    hn::Vec<D8> r, g, b;
};
template <PixelFormat kFormat, class D8>
inline VectorRgb<D8> add_vector_luma(D8 d, const uint8_t *y, const PixelTerms<D8> &terms) {
    const auto row = in_store_order<kFormat>(d, hn::LoadU(d, y));
    const auto lower = widen_lower(d, row), upper = widen_upper(d, row);
    return {pack_bytes(hn::Add(lower, terms.lower.red), hn::Add(upper, terms.upper.red)),
            pack_bytes(hn::Add(lower, terms.lower.green), hn::Add(upper, terms.upper.green)),
            pack_bytes(hn::Add(lower, terms.lower.blue), hn::Add(upper, terms.upper.blue))};
}

template <PixelFormat kFormat, class D8>
inline void store_pixels(D8 d, const VectorRgb<D8> &rgb, uint8_t *out) {
    if constexpr (kFormat == PixelFormat::kRgb565) {
        const auto low = hn::Or(hn::ShiftRight<3>(rgb.b), hn::And(hn::ShiftLeft<3>(rgb.g), hn::Set(d, 0xE0)));
        const auto high = hn::Or(hn::And(rgb.r, hn::Set(d, 0xF8)), hn::ShiftRight<5>(rgb.g));
        hn::StoreInterleaved2(low, high, d, out);
    } else if constexpr (kFormat == PixelFormat::kBgra) {
        store_interleaved(d, rgb.b, rgb.g, rgb.r, hn::Set(d, 255), out);
    } else {
        store_interleaved(d, rgb.r, rgb.g, rgb.b, hn::Set(d, 255), out);
    }
}

template <PixelFormat kFormat>
constexpr ptrdiff_t pixel_at(int32_t x) {
    return static_cast<ptrdiff_t>(x) * pixel_bytes(kFormat);
}

template <PixelFormat kFormat, bool kShared>
struct YccRow {
    static constexpr int32_t kUnit = kShared ? 2 : 1;
    const uint8_t *y, *cb, *cr;
    uint8_t *out;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const auto terms = load_terms<kFormat, kShared>(d, cb, cr, x);
        store_pixels<kFormat>(d, add_vector_luma<kFormat>(d, y + x, terms), out + pixel_at<kFormat>(x));
    }
    void scalar(int32_t x, int32_t count) const {
        const int32_t c = x / kUnit;
        Scalar<kFormat>::template ycc<kShared>(y + x, cb + c, cr + c, count, out + pixel_at<kFormat>(x));
    }
};

template <PixelFormat kFormat>
struct YccRowPair {
    static constexpr int32_t kUnit = 2;
    const uint8_t *y0, *y1, *cb, *cr;
    uint8_t *out0, *out1;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const auto terms = load_terms<kFormat, true>(d, cb, cr, x);
        store_pixels<kFormat>(d, add_vector_luma<kFormat>(d, y0 + x, terms), out0 + pixel_at<kFormat>(x));
        store_pixels<kFormat>(d, add_vector_luma<kFormat>(d, y1 + x, terms), out1 + pixel_at<kFormat>(x));
    }
    void scalar(int32_t x, int32_t count) const {
        Scalar<kFormat>::ycc_pair(y0 + x, y1 + x, cb + x / 2, cr + x / 2, count, out0 + pixel_at<kFormat>(x),
                                  out1 + pixel_at<kFormat>(x));
    }
};

template <PixelFormat kFormat>
struct RgbRow {
    static constexpr int32_t kUnit = 1;
    const uint8_t *r, *g, *b;
    uint8_t *out;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const VectorRgb<D8> rgb = {in_store_order<kFormat>(d, hn::LoadU(d, r + x)),
                                   in_store_order<kFormat>(d, hn::LoadU(d, g + x)),
                                   in_store_order<kFormat>(d, hn::LoadU(d, b + x))};
        store_pixels<kFormat>(d, rgb, out + pixel_at<kFormat>(x));
    }
    void scalar(int32_t x, int32_t count) const {
        Scalar<kFormat>::rgb(r + x, g + x, b + x, count, out + pixel_at<kFormat>(x));
    }
};

// The vector twins of a pixel format.
template <PixelFormat kFormat>
struct Vector {
    template <bool kShared>
    static void ycc(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width, uint8_t *out) {
        sweep(YccRow<kFormat, kShared>{y, cb, cr, out}, width);
    }
    static void ycc_pair(const uint8_t *y0, const uint8_t *y1, const uint8_t *cb, const uint8_t *cr, int32_t width,
                         uint8_t *out0, uint8_t *out1) {
        sweep(YccRowPair<kFormat>{y0, y1, cb, cr, out0, out1}, width);
    }
    static void gray(const uint8_t *y, int32_t width, uint8_t *out) { rgb(y, y, y, width, out); }
    static void rgb(const uint8_t *r, const uint8_t *g, const uint8_t *b, int32_t width, uint8_t *out) {
        sweep(RgbRow<kFormat>{r, g, b, out}, width);
    }
};

struct MultiplyBlack {
    const uint8_t *c, *k;
    uint8_t *out;
    // (x + 1 + (x >> 8)) >> 8 is x / 255 for every product x of two bytes.
    template <class D16>
    static hn::Vec<D16> divide(D16 d, hn::Vec<D16> product) {
        const hn::RebindToUnsigned<D16> du;
        const auto x = hn::BitCast(du, product);
        return hn::BitCast(d, hn::ShiftRight<8>(hn::Add(hn::Add(x, hn::Set(du, 1)), hn::ShiftRight<8>(x))));
    }
    template <class D8>
    hn::Vec<D8> vector(D8 d, int32_t x) const {
        const Widened<D8> d16;
        const auto cmy = hn::LoadU(d, c + x), black = hn::LoadU(d, k + x);
        return pack_bytes(divide(d16, hn::Mul(widen_lower(d, cmy), widen_lower(d, black))),
                          divide(d16, hn::Mul(widen_upper(d, cmy), widen_upper(d, black))));
    }
    template <class D8>
    void store(D8 d, hn::Vec<D8> result, int32_t x) const {
        hn::StoreU(result, d, out + x);
    }
    void scalar(int32_t x, int32_t count) const { scalar_multiply_black(c + x, k + x, count, out + x); }
};
void multiply_black(const uint8_t *c, const uint8_t *k, int32_t count, uint8_t *out) {
    sweep_in_place(MultiplyBlack{c, k, out}, count);
}

struct InvertedRgb {
    const uint8_t *y, *cb, *cr;
    uint8_t *c, *m, *yellow;
    template <class D8>
    VectorRgb<D8> vector(D8 d, int32_t x) const {
        // Three planes, in the order that they have: as for words.
        constexpr PixelFormat kNatural = PixelFormat::kRgb565;
        return add_vector_luma<kNatural>(d, y + x, load_terms<kNatural, false>(d, cb, cr, x));
    }
    template <class D8>
    void store(D8 d, const VectorRgb<D8> &rgb, int32_t x) const {
        hn::StoreU(hn::Not(rgb.r), d, c + x);
        hn::StoreU(hn::Not(rgb.g), d, m + x);
        hn::StoreU(hn::Not(rgb.b), d, yellow + x);
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_inverted_rgb(y + x, cb + x, cr + x, count, c + x, m + x, yellow + x);
    }
};
void inverted_rgb(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *c, uint8_t *m,
                  uint8_t *yellow) {
    sweep_in_place(InvertedRgb{y, cb, cr, c, m, yellow}, count);
}

void add_colour(KernelTable *table) {
    add_format<PixelFormat::kRgba, Vector>(table);
    add_format<PixelFormat::kBgra, Vector>(table);
    add_format<PixelFormat::kRgb565, Vector>(table);
    table->multiply_black = multiply_black;
    table->ycc_to_inverted_rgb = inverted_rgb;
}

#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_colour(SimdTarget target, [[maybe_unused]] KernelTable *table) {
    VOREL_SIMD_CALL(target, add_colour(table));
}

}  // namespace vorel
#endif
