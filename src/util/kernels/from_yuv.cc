// YUV 4:2:0 to RGB, BT.601 video range in 10-bit fixed point.
#ifndef VOREL_FROM_YUV_SCALAR
#define VOREL_FROM_YUV_SCALAR

#include "util/kernels/internal.h"

namespace vorel {
namespace {

uint8_t clamp_byte(int32_t value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

constexpr int32_t kLuma = 1192, kRedV = 1634, kGreenV = -833, kGreenU = -400, kBlueU = 2066;

constexpr int rgb_bytes(RgbFormat format) { return format == RgbFormat::kRgb ? 3 : 4; }

template <RgbFormat kFormat>
void store_rgb(int32_t r, int32_t g, int32_t b, uint8_t *out) {
    constexpr bool kSwap = kFormat == RgbFormat::kBgra;
    out[0] = clamp_byte(kSwap ? b : r);
    out[1] = clamp_byte(g);
    out[2] = clamp_byte(kSwap ? r : b);
    if constexpr (kFormat != RgbFormat::kRgb) out[3] = 255;
}

// The rows from pixel x on, which is even.
template <Chroma kLayout, RgbFormat kFormat>
YuvRows rows_from(const YuvRows &rows, int32_t x) {
    const ptrdiff_t chroma = kLayout == Chroma::kPlanar ? x / 2 : x, rgb = ptrdiff_t{x} * rgb_bytes(kFormat);
    YuvRows rest = rows;
    for (int row = 0; row < 2; ++row) {
        rest.y[row] = rows.y[row] ? rows.y[row] + x : nullptr;
        rest.rgb[row] = rows.rgb[row] ? rows.rgb[row] + rgb : nullptr;
    }
    rest.first += chroma;
    rest.second = kLayout == Chroma::kPlanar ? rows.second + chroma : nullptr;
    rest.width -= x;
    return rest;
}

template <Chroma kLayout, RgbFormat kFormat>
void scalar_from_yuv(const YuvRows &rows) {
    for (int32_t x = 0; x < rows.width; ++x) {
        const int32_t c = x / 2;
        const uint8_t *pair = rows.first + ptrdiff_t{c} * 2;
        const int32_t u = (kLayout == Chroma::kPlanar ? rows.first[c] : pair[kLayout == Chroma::kVu]) - 128;
        const int32_t v = (kLayout == Chroma::kPlanar ? rows.second[c] : pair[kLayout == Chroma::kUv]) - 128;
        for (int row = 0; row < 2 && rows.y[row]; ++row) {
            const int32_t luma = kLuma * (rows.y[row][x] - 16);
            store_rgb<kFormat>((luma + kRedV * v) >> 10, (luma + kGreenV * v + kGreenU * u) >> 10,
                               (luma + kBlueU * u) >> 10, rows.rgb[row] + ptrdiff_t{x} * rgb_bytes(kFormat));
        }
    }
}

template <template <Chroma, RgbFormat> class Twin, Chroma kLayout>
void add_layout(UtilKernels *table) {
    auto &row = table->yuv_to_rgb[static_cast<int>(kLayout)];
    row[static_cast<int>(RgbFormat::kRgba)] = Twin<kLayout, RgbFormat::kRgba>::run;
    row[static_cast<int>(RgbFormat::kBgra)] = Twin<kLayout, RgbFormat::kBgra>::run;
    row[static_cast<int>(RgbFormat::kRgb)] = Twin<kLayout, RgbFormat::kRgb>::run;
}
template <template <Chroma, RgbFormat> class Twin>
void add_layouts(UtilKernels *table) {
    add_layout<Twin, Chroma::kUv>(table);
    add_layout<Twin, Chroma::kVu>(table);
    add_layout<Twin, Chroma::kPlanar>(table);
}

template <Chroma kLayout, RgbFormat kFormat>
struct Scalar {
    static void run(const YuvRows &rows) { scalar_from_yuv<kLayout, kFormat>(rows); }
};

}  // namespace

void add_scalar_from_yuv(UtilKernels *table) { add_layouts<Scalar>(table); }

}  // namespace vorel

#endif  // VOREL_FROM_YUV_SCALAR

#define VOREL_SIMD_FILE "util/kernels/from_yuv.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// The rule in 16 bits. All products by luma are multiples of 8, so the lower three bits of a sum do not matter and
//     (1192 (y - 16) + k) >> 10 = (149 (y - 16) + (k >> 3)) >> 7
// with chroma's part k. A sum that leaves 16 bits saturates, and its result is clamped anyway. For red and green luma
// comes less kShare and chroma more: then neither part leaves 16 bits itself. Blue's parts need 17: 2 u and half the
// range, which are 256 u and 2^14 before the shift, are added behind it.
constexpr int kLumaScale = kLuma / 8, kBlack = 16 * kLumaScale, kShare = 8192;
static_assert(kLuma % 8 == 0);
// 128 k / 8 for each, and the largest luma.
static_assert(255 * kLumaScale - kShare <= 32767 && -kRedV * 16 + kShare - kBlack >= -32768 &&
              kRedV * 16 + kShare - kBlack <= 32767);
static_assert((kGreenV + kGreenU) * 16 + kShare - kBlack >= -32768 &&
              -(kGreenV + kGreenU) * 16 + kShare - kBlack <= 32767);

// What chroma adds to each two pixels.
template <class D16>
struct ChromaParts {
    hn::Vec<D16> red, green, blue, blue_behind;
};
// From u - 128 and v - 128, each in a lane's upper byte.
template <class D16>
inline ChromaParts<D16> chroma_parts(D16 d, hn::Vec<D16> u, hn::Vec<D16> v) {
    // The upper half of a product by 32 k is v k / 8, rounded down; what does not fit is v or u as it stands.
    static_assert(kRedV * 32 == 52288 && kGreenV * 32 == -26656 && kGreenU * 32 == -12800 && kBlueU * 32 == 66112);
    const auto share = hn::Set(d, kShare - kBlack);
    const auto red = hn::Add(hn::Add(v, share), hn::MulHigh(v, hn::Set(d, kRedV * 32 - 65536)));
    const auto green =
        hn::Add(hn::Add(share, hn::MulHigh(v, hn::Set(d, kGreenV * 32))), hn::MulHigh(u, hn::Set(d, kGreenU * 32)));
    const auto blue = hn::Add(hn::Set(d, kShare - kBlack - 16384), hn::MulHigh(u, hn::Set(d, kBlueU * 32 - 65536)));
    return {red, green, blue, hn::Add(hn::ShiftRight<7>(u), hn::Set(d, 16384 >> 7))};
}

template <RgbFormat kFormat, class D8>
inline hn::Vec<D8> ordered(D8 d, hn::Vec<D8> v) {
    if constexpr (kFormat == RgbFormat::kRgb) {
        return v;
    } else {
        return for_interleaving(d, v);
    }
}

// Luma's part less kShare of even pixels and of odd ones.
template <class D16>
struct LumaParts {
    hn::Vec<D16> even, odd;
};
template <class D16, class V8>
inline LumaParts<D16> luma_parts(D16 d, V8 y) {
#if HWY_ARCH_X86
    // kLumaScale (y - 128): a byte without sign times one with, of every other pixel.
    const hn::DFromV<V8> d8;
    const auto centred = hn::Xor(y, hn::Set(d8, 128));
    const auto rest = hn::Set(d, 128 * kLumaScale - kShare);
    const auto product = [&](int16_t scales) {
        return hn::Add(multiply_bytes(hn::BitCast(d8, hn::Set(d, scales)), centred), rest);
    };
    return {product(kLumaScale), product(static_cast<int16_t>(kLumaScale << 8))};
#else
    const hn::RebindToUnsigned<D16> u;
    const auto product = [&](hn::Vec<D16> upper) {
        const auto luma = hn::MulHigh(hn::BitCast(u, upper), hn::Set(u, kLumaScale * 256));
        return hn::Sub(hn::BitCast(d, luma), hn::Set(d, kShare));
    };
    const auto samples = hn::BitCast(d, y);
    return {product(hn::ShiftLeft<8>(samples)), product(hn::And(samples, hn::Set(d, -256)))};
#endif
}

// Every other pixel, in 16 bits.
template <class D16>
struct WordPixels {
    hn::Vec<D16> red, green, blue;
};
template <class D16>
inline WordPixels<D16> sum_parts(D16 d, hn::Vec<D16> shared, const ChromaParts<D16> &chroma) {
    return {hn::ShiftRight<7>(hn::SaturatedAdd(shared, chroma.red)),
            hn::ShiftRight<7>(hn::SaturatedAdd(shared, chroma.green)),
            hn::Add(hn::ShiftRight<7>(hn::Add(shared, chroma.blue)), chroma.blue_behind)};
}

// Even pixels and odd ones, clamped to bytes and in turns.
template <class D8, class V>
inline hn::Vec<D8> in_turns(D8 d, V even, V odd) {
    alignas(16) static constexpr uint8_t kTurns[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};
    return hn::TableLookupBytes(pack_bytes(even, odd), hn::LoadDup128(d, kTurns));
}

// Pixels of one row: as many as D8 has lanes.
template <RgbFormat kFormat, class D8, class D16>
inline void convert_row(D8 d, D16 d16, const ChromaParts<D16> &chroma, const uint8_t *y, uint8_t *out) {
    const LumaParts<D16> luma = luma_parts(d16, ordered<kFormat>(d, hn::LoadU(d, y)));
    const auto even = sum_parts(d16, luma.even, chroma), odd = sum_parts(d16, luma.odd, chroma);
    const auto r = in_turns(d, even.red, odd.red), g = in_turns(d, even.green, odd.green),
               b = in_turns(d, even.blue, odd.blue);
    if constexpr (kFormat == RgbFormat::kRgb) {
        hn::StoreInterleaved3(r, g, b, d, out);
    } else if constexpr (kFormat == RgbFormat::kBgra) {
        store_interleaved(d, b, g, r, hn::Set(d, 255), out);
    } else {
        store_interleaved(d, r, g, b, hn::Set(d, 255), out);
    }
}

// Half as many samples as D8 has lanes, less 128, each in a word's upper byte.
template <RgbFormat kFormat, class D8>
inline hn::Vec<hn::Repartition<int16_t, D8>> centred_words(D8 d, const uint8_t *samples) {
    const hn::Repartition<int16_t, D8> d16;
    const auto centre = hn::Set(d16, -32768);
#if HWY_TARGET == HWY_AVX2
    if constexpr (kFormat != RgbFormat::kRgb && hn::MaxLanes(D8()) == 32) {
        // for_interleaving() and the way to the upper byte in one shuffle: both blocks have all samples to take from.
        struct Places {
            alignas(32) uint8_t from[32];
        };
        static constexpr Places kPlaces = [] {
            Places places = {};
            for (int i = 0; i < 32; ++i) {
                const int word = i % 16 / 2;
                places.from[i] = static_cast<uint8_t>(i % 2 ? word / 2 * 4 + i / 16 * 2 + word % 2 : 128);
            }
            return places;
        }();
        const auto dealt = hn::TableLookupBytesOr0(hn::LoadDup128(d, samples), hn::Load(d, kPlaces.from));
        return hn::Xor(hn::BitCast(d16, dealt), centre);
    }
#endif
    const auto wide = hn::PromoteTo(d16, hn::LoadU(hn::Half<D8>(), samples));
    const auto dealt = hn::BitCast(d16, ordered<kFormat>(d, hn::BitCast(d, wide)));
    return hn::Xor(hn::ShiftLeft<8>(dealt), centre);
}

// Chroma for as many pixels from x on as D8 has lanes, x even.
template <Chroma kLayout, RgbFormat kFormat, class D8>
inline ChromaParts<hn::Repartition<int16_t, D8>> chroma_at(D8 d, const YuvRows &rows, int32_t x) {
    const hn::Repartition<int16_t, D8> d16;
    if constexpr (kLayout == Chroma::kPlanar) {
        return chroma_parts(d16, centred_words<kFormat>(d, rows.first + x / 2),
                            centred_words<kFormat>(d, rows.second + x / 2));
    } else {
        const auto centred = hn::Xor(ordered<kFormat>(d, hn::LoadU(d, rows.first + x)), hn::Set(d, 128));
        const auto pairs = hn::BitCast(d16, centred);
        const auto one = hn::ShiftLeft<8>(pairs), two = hn::And(pairs, hn::Set(d16, -256));
        return kLayout == Chroma::kUv ? chroma_parts(d16, one, two) : chroma_parts(d16, two, one);
    }
}

template <Chroma kLayout, RgbFormat kFormat>
struct FromYuv {
    static constexpr int32_t kUnit = 2;
    const YuvRows rows;  // one row; not a reference: bytes are stored, and those could be its own

    template <class D8>
    void vector(D8 d, int32_t x) const {
        const hn::Repartition<int16_t, D8> d16;
        convert_row<kFormat>(d, d16, chroma_at<kLayout, kFormat>(d, rows, x), rows.y[0] + x,
                             rows.rgb[0] + ptrdiff_t{x} * rgb_bytes(kFormat));
    }
    void scalar(int32_t x, int32_t count) const {
        YuvRows part = rows_from<kLayout, kFormat>(rows, x);
        part.width = count;
        scalar_from_yuv<kLayout, kFormat>(part);
    }
};

template <Chroma kLayout, RgbFormat kFormat>
struct Vector {
    // Row by row: memory takes one row in order better than two at a time, by more than shared chroma saves.
    static void run(const YuvRows &rows) {
        for (int row = 0; row < 2 && rows.y[row]; ++row) {
            const YuvRows one = {{rows.y[row], nullptr}, rows.first, rows.second, rows.width, {rows.rgb[row], nullptr}};
            sweep(FromYuv<kLayout, kFormat>{one}, rows.width);
        }
    }
};

void add_from_yuv(UtilKernels *table) { add_layouts<Vector>(table); }

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_from_yuv(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_from_yuv(table));
}

}  // namespace vorel
#endif
