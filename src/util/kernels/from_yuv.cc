// YUV 4:2:0 to RGB, BT.601 video range in 10-bit fixed point.
#ifndef VOREL_FROM_YUV_SCALAR
#define VOREL_FROM_YUV_SCALAR

#include "util/kernels/room.h"

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
// with chroma's part k. 149 (y - 16) needs more than 16 bits; less 2^14 it does not, and then the result is less 128,
// and saturation to a signed byte is the clamp. A sum that leaves 16 bits saturates, and its result is clamped anyway.
constexpr int kLumaScale = kLuma / 8, kLumaOffset = kLumaScale * (128 - 16) - 16384;
static_assert(kLuma % 8 == 0 && kLumaOffset == 304);

// What chroma adds, for as many pairs of pixels as D16 has lanes. Blue's reach passes 16 bits: 2 u is added after the
// shift.
template <class D16>
struct ChromaParts {
    hn::Vec<D16> red, green, blue, blue_after;
};
template <class D16>
inline ChromaParts<D16> chroma_parts(D16 d, hn::Vec<D16> u_sample, hn::Vec<D16> v_sample) {
    const auto centre = hn::Set(d, 128);
    const auto u = hn::Sub(u_sample, centre), v = hn::Sub(v_sample, centre);
    // 1634 / 8 = 204 + 1 / 4,  833 / 8 = 104 + 1 / 8,  400 / 8 = 50,  2066 / 8 = 256 + 2 + 1 / 4
    static_assert(kRedV == 8 * 204 + 2 && kGreenV == -8 * 104 - 1 && kGreenU == -8 * 50 && kBlueU == 8 * 258 + 2);
    const auto red = hn::Add(hn::Mul(v, hn::Set(d, 204)), hn::ShiftRight<2>(v));
    const auto green =
        hn::Sub(hn::ShiftRight<3>(hn::Neg(v)), hn::Add(hn::Mul(v, hn::Set(d, 104)), hn::Mul(u, hn::Set(d, 50))));
    const auto u2 = hn::Add(u, u);
    return {red, green, hn::Add(u2, hn::ShiftRight<2>(u)), u2};
}

// Pixels of one row: as many as D8 has lanes.
template <RgbFormat kFormat, class D8, class D16>
inline void convert_row(D8 d, D16 d16, const ChromaParts<D16> &chroma, const uint8_t *y, uint8_t *out) {
    const auto samples = hn::Xor(hn::LoadU(d, y), hn::Set(d, 0x80));  // y - 128, signed
    const hn::Repartition<int8_t, D8> d_signed;
    // The sample in the upper byte, times 149, and shifted down again would lose bits: widen with the sign.
    const auto spread = hn::BitCast(d_signed, samples);
    const auto low8 = hn::BitCast(d16, hn::InterleaveLower(d_signed, hn::Zero(d_signed), spread));
    const auto high8 = hn::BitCast(d16, hn::InterleaveUpper(d_signed, hn::Zero(d_signed), spread));
    const auto scale = hn::Set(d16, kLumaScale), offset = hn::Set(d16, kLumaOffset);
    const auto low = hn::Add(hn::Mul(hn::ShiftRight<8>(low8), scale), offset);
    const auto high = hn::Add(hn::Mul(hn::ShiftRight<8>(high8), scale), offset);
    const auto doubled = [&](hn::Vec<D16> v) { return hn::InterleaveLower(d16, v, v); };
    const auto doubled_upper = [&](hn::Vec<D16> v) { return hn::InterleaveUpper(d16, v, v); };
    const auto bias = hn::Set(d, 0x80);
    const auto pack = [&](hn::Vec<D16> a, hn::Vec<D16> b) {
        return hn::Xor(hn::BitCast(d, pack_signed_bytes(a, b)), bias);
    };
    const auto r = pack(hn::ShiftRight<7>(hn::SaturatedAdd(low, doubled(chroma.red))),
                        hn::ShiftRight<7>(hn::SaturatedAdd(high, doubled_upper(chroma.red))));
    const auto g = pack(hn::ShiftRight<7>(hn::SaturatedAdd(low, doubled(chroma.green))),
                        hn::ShiftRight<7>(hn::SaturatedAdd(high, doubled_upper(chroma.green))));
    const auto b =
        pack(hn::Add(hn::ShiftRight<7>(hn::Add(low, doubled(chroma.blue))), doubled(chroma.blue_after)),
             hn::Add(hn::ShiftRight<7>(hn::Add(high, doubled_upper(chroma.blue))), doubled_upper(chroma.blue_after)));
    if constexpr (kFormat == RgbFormat::kRgb) {
        hn::StoreInterleaved3(r, g, b, d, out);
    } else if constexpr (kFormat == RgbFormat::kBgra) {
        hn::StoreInterleaved4(b, g, r, hn::Set(d, 255), d, out);
    } else {
        hn::StoreInterleaved4(r, g, b, hn::Set(d, 255), d, out);
    }
}

template <Chroma kLayout, RgbFormat kFormat>
struct FromYuv {
    static constexpr int32_t kUnit = 2;
    const YuvRows &rows;

    template <class D8>
    void vector(D8 d, int32_t x) const {
        const hn::Repartition<int16_t, D8> d16;
        const auto chroma = [&] {
            if constexpr (kLayout == Chroma::kPlanar) {
                const hn::Half<D8> half;
                return chroma_parts(d16, hn::PromoteTo(d16, hn::LoadU(half, rows.first + x / 2)),
                                    hn::PromoteTo(d16, hn::LoadU(half, rows.second + x / 2)));
            } else {
                const auto pairs = hn::BitCast(hn::Repartition<uint16_t, D8>(), hn::LoadU(d, rows.first + x));
                const auto one = hn::BitCast(
                    d16, hn::And(pairs, hn::Set(hn::Repartition<uint16_t, D8>(), static_cast<uint16_t>(0xFF))));
                const auto two = hn::BitCast(d16, hn::ShiftRight<8>(pairs));
                return kLayout == Chroma::kUv ? chroma_parts(d16, one, two) : chroma_parts(d16, two, one);
            }
        }();
        for (int row = 0; row < 2 && rows.y[row]; ++row) {
            convert_row<kFormat>(d, d16, chroma, rows.y[row] + x, rows.rgb[row] + ptrdiff_t{x} * rgb_bytes(kFormat));
        }
    }
    void scalar(int32_t x, int32_t count) const {
        YuvRows part = rows_from<kLayout, kFormat>(rows, x);
        part.width = count;
        scalar_from_yuv<kLayout, kFormat>(part);
    }
};

template <Chroma kLayout, RgbFormat kFormat>
struct Vector {
    static void run(const YuvRows &rows) { sweep(FromYuv<kLayout, kFormat>{rows}, rows.width); }
};

void add_from_yuv(UtilKernels *table) { add_layouts<Vector>(table); }

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_from_yuv(SimdTarget target, UtilKernels *table) { VOREL_SIMD_CALL(target, add_from_yuv(table)); }

}  // namespace vorel
#endif
