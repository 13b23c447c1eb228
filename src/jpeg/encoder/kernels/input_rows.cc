// Rows of packed pixels to samples: RGB565 and RGB888 by 12-bit fixed point, pairs and packed 4:2:2 taken apart.
#ifndef VOREL_INPUT_ROWS_SCALAR
#define VOREL_INPUT_ROWS_SCALAR

#include "jpeg/encoder/kernels/internal.h"

namespace vorel {
namespace {

// Weights times 4096. Those of RGB565's luma add up to more than that; its samples reach 254 all the same, since its
// fields are taken at the middle of what they stand for.
struct LumaWeights {
    int32_t r, g, b;
};
constexpr LumaWeights k565Luma = {1245, 2404, 467}, k888Luma = {1225, 2404, 467};
constexpr int32_t kHalf = 2048, kCbR = -691, kCbG = -1357, kCrG = -1715, kCrB = -333;
constexpr int kBits = 12;

struct Rgb {
    int32_t r, g, b;
};
uint8_t luma(const LumaWeights &weights, Rgb c) {
    return static_cast<uint8_t>((weights.r * c.r + weights.g * c.g + weights.b * c.b) >> kBits);
}
uint8_t blue_difference(Rgb c) {
    return static_cast<uint8_t>(((kCbR * c.r + kHalf * c.b + kCbG * c.g) >> kBits) + 128);
}
uint8_t red_difference(Rgb c) { return static_cast<uint8_t>(((kHalf * c.r + kCrG * c.g + kCrB * c.b) >> kBits) + 128); }

Rgb expand(const uint8_t *pixel) {
    const int32_t word = pixel[0] | pixel[1] << 8;
    return {((word & 0xF800) >> 8) + 4, ((word & 0x7E0) >> 3) + 2, ((word << 3) & 255) + 4};
}

void scalar_rgb565_rows(const PixelRowPair &rows) {
    for (ptrdiff_t x = 0; x < rows.width; x += 2) {
        Rgb sum = {0, 2, 0};
        for (int i = 0; i < 4; ++i) {
            const ptrdiff_t at = x + (i & 1);
            const Rgb c = expand(rows.pixels[i >> 1] + 2 * at);
            rows.y[i >> 1][at] = luma(k565Luma, c);
            sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        }
        const Rgb mean = {sum.r >> 2, sum.g >> 2, sum.b >> 2};
        rows.u[x / 2] = blue_difference(mean);
        rows.v[x / 2] = red_difference(mean);
    }
}

void scalar_rgb888_row(const uint8_t *rgb, int32_t width, uint8_t *y, uint8_t *u, uint8_t *v) {
    for (ptrdiff_t x = 0; x < width; ++x) {
        const Rgb c = {rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]};
        y[x] = luma(k888Luma, c);
        if (!u || x & 1) continue;
        u[x / 2] = blue_difference(c);
        v[x / 2] = red_difference(c);
    }
}

void scalar_split_pairs(const uint8_t *src, int32_t count, uint8_t *first, uint8_t *second) {
    for (ptrdiff_t i = 0; i < count; ++i) first[i] = src[2 * i], second[i] = src[2 * i + 1];
}

void scalar_split_yuyv(const uint8_t *src, int32_t count, uint8_t *y, uint8_t *u, uint8_t *v) {
    for (ptrdiff_t i = 0; i < count; ++i, src += 4) {
        y[2 * i] = src[0];
        u[i] = src[1];
        y[2 * i + 1] = src[2];
        v[i] = src[3];
    }
}

}  // namespace

void add_scalar_input(EncoderKernels *table) {
    table->rgb565_rows = scalar_rgb565_rows;
    table->rgb888_row = scalar_rgb888_row;
    table->split_pairs = scalar_split_pairs;
    table->split_yuyv = scalar_split_yuyv;
}

}  // namespace vorel

#endif  // VOREL_INPUT_ROWS_SCALAR

#define VOREL_SIMD_FILE "jpeg/encoder/kernels/input_rows.cc"
#include "util/simd_targets.h"

//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

constexpr ptrdiff_t wide(int32_t x, int factor) { return static_cast<ptrdiff_t>(x) * factor; }

struct SplitPairs {
    static constexpr int32_t kUnit = 1;
    const uint8_t *src;
    uint8_t *first, *second;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        hn::Vec<D8> a, b;
        hn::LoadInterleaved2(d, src + wide(x, 2), a, b);
        hn::StoreU(a, d, first + x);
        hn::StoreU(b, d, second + x);
    }
    void scalar(int32_t x, int32_t count) const { scalar_split_pairs(src + wide(x, 2), count, first + x, second + x); }
};
void split_pairs(const uint8_t *src, int32_t count, uint8_t *first, uint8_t *second) {
    sweep(SplitPairs{src, first, second}, count);
}

struct SplitYuyv {
    static constexpr int32_t kUnit = 1;
    const uint8_t *src;
    uint8_t *y, *u, *v;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const uint8_t *from = src + wide(x, 4);
        constexpr size_t kBytes = hn::MaxLanes(D8());
        hn::Vec<D8> left, left_chroma, right, right_chroma;
        hn::LoadInterleaved2(d, from, left, left_chroma);
        hn::LoadInterleaved2(d, from + 2 * kBytes, right, right_chroma);
        hn::StoreU(left, d, y + wide(x, 2));
        hn::StoreU(right, d, y + wide(x, 2) + kBytes);
        hn::StoreU(hn::ConcatEven(d, right_chroma, left_chroma), d, u + x);
        hn::StoreU(hn::ConcatOdd(d, right_chroma, left_chroma), d, v + x);
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_split_yuyv(src + wide(x, 4), count, y + wide(x, 2), u + x, v + x);
    }
};
void split_yuyv(const uint8_t *src, int32_t count, uint8_t *y, uint8_t *u, uint8_t *v) {
    sweep(SplitYuyv{src, y, u, v}, count);
}

// Pixels as 16-bit lanes, and sums of weighed ones in 12-bit fixed point.
template <class D16>
struct Pixels {
    hn::Vec<D16> r, g, b;
};
template <int kR, int kG, int kB, class D16>
inline hn::Vec<D16> weigh(D16 d, const Pixels<D16> &c) {
    const auto rg = operands(d, c.r, c.g), b = operands(d, c.b, hn::Zero(d));
    return shift_and_hold<kBits>(d, multiply_add<kB, 0>(d, b, multiply_add<kR, kG>(d, rg, set_wide(d, 0))));
}
template <class D16>
inline hn::Vec<D16> blue_differences(D16 d, const Pixels<D16> &c) {
    return hn::Add(weigh<kCbR, kCbG, kHalf>(d, c), hn::Set(d, 128));
}
template <class D16>
inline hn::Vec<D16> red_differences(D16 d, const Pixels<D16> &c) {
    return hn::Add(weigh<kHalf, kCrG, kCrB>(d, c), hn::Set(d, 128));
}
// As many bytes as 16-bit lanes: their lower bytes.
template <class D16>
inline void store_lower_bytes(D16 d, hn::Vec<D16> v, uint8_t *to) {
    const hn::Rebind<uint8_t, D16> bytes;
    hn::StoreU(hn::TruncateTo(bytes, hn::BitCast(hn::RebindToUnsigned<D16>(), v)), bytes, to);
}

// Two neighbours' fields to one lane each, their sum.
template <class D16>
inline Pixels<D16> sum_neighbours(D16 d, const Pixels<D16> &low, const Pixels<D16> &high) {
    const auto sum = [&](hn::Vec<D16> a, hn::Vec<D16> b) {
        return hn::Add(hn::ConcatEven(d, b, a), hn::ConcatOdd(d, b, a));
    };
    return {sum(low.r, high.r), sum(low.g, high.g), sum(low.b, high.b)};
}

struct Rgb565 {
    static constexpr int32_t kUnit = 2;
    const PixelRowPair rows;  // not a reference: bytes are stored, and those could be its own

    template <class D16>
    static Pixels<D16> expanded(D16 d, const uint8_t *from) {
        const hn::RebindToUnsigned<D16> u16;
        const hn::Repartition<uint8_t, D16> d8;
        const auto words = hn::BitCast(u16, hn::LoadU(d8, from));
        const auto field = [&](auto v, uint16_t mask, uint16_t more) {
            return hn::BitCast(d, hn::Add(hn::And(v, hn::Set(u16, mask)), hn::Set(u16, more)));
        };
        return {field(hn::ShiftRight<8>(words), 0xF8, 4), field(hn::ShiftRight<3>(words), 0xFC, 2),
                field(hn::ShiftLeft<3>(words), 0xF8, 4)};
    }
    // One row's luma; the sums of its neighbours.
    template <class D16>
    static Pixels<D16> row(D16 d, const uint8_t *from, uint8_t *y) {
        constexpr size_t kLanes = hn::MaxLanes(D16());
        const Pixels<D16> low = expanded(d, from), high = expanded(d, from + 2 * kLanes);
        store_lower_bytes(d, weigh<k565Luma.r, k565Luma.g, k565Luma.b>(d, low), y);
        store_lower_bytes(d, weigh<k565Luma.r, k565Luma.g, k565Luma.b>(d, high), y + kLanes);
        return sum_neighbours(d, low, high);
    }
    template <class D8>
    void vector(D8, int32_t x) const {
        using D16 = hn::Repartition<int16_t, D8>;
        const D16 d;
        const Pixels<D16> top = row(d, rows.pixels[0] + wide(x, 2), rows.y[0] + x);
        const Pixels<D16> bottom = row(d, rows.pixels[1] + wide(x, 2), rows.y[1] + x);
        const Pixels<D16> mean = {hn::ShiftRight<2>(hn::Add(top.r, bottom.r)),
                                  hn::ShiftRight<2>(hn::Add(hn::Add(top.g, bottom.g), hn::Set(d, 2))),
                                  hn::ShiftRight<2>(hn::Add(top.b, bottom.b))};
        store_lower_bytes(d, blue_differences(d, mean), rows.u + x / 2);
        store_lower_bytes(d, red_differences(d, mean), rows.v + x / 2);
    }
    void scalar(int32_t x, int32_t count) const {
        const ptrdiff_t pixels = wide(x, 2);
        scalar_rgb565_rows({{rows.pixels[0] + pixels, rows.pixels[1] + pixels},
                            count,
                            {rows.y[0] + x, rows.y[1] + x},
                            rows.u + x / 2,
                            rows.v + x / 2});
    }
};
void rgb565_rows(const PixelRowPair &rows) { sweep(Rgb565{rows}, rows.width); }

template <bool kChroma>
struct Rgb888 {
    static constexpr int32_t kUnit = 2;
    const uint8_t *rgb;
    uint8_t *y, *u, *v;

    template <class D8>
    void vector(D8 d, int32_t x) const {
        using D16 = hn::Repartition<int16_t, D8>;
        const D16 d16;
        hn::Vec<D8> r, g, b;
        hn::LoadInterleaved3(d, rgb + wide(x, 3), r, g, b);
        const Pixels<D16> even = {evens(d, r), evens(d, g), evens(d, b)}, odd = {odds(d, r), odds(d, g), odds(d, b)};
        const auto even_luma = weigh<k888Luma.r, k888Luma.g, k888Luma.b>(d16, even);
        const auto odd_luma = weigh<k888Luma.r, k888Luma.g, k888Luma.b>(d16, odd);
        hn::StoreU(hn::BitCast(d, hn::Or(even_luma, hn::ShiftLeft<8>(odd_luma))), d, y + x);
        if constexpr (kChroma) {
            store_lower_bytes(d16, blue_differences(d16, even), u + x / 2);
            store_lower_bytes(d16, red_differences(d16, even), v + x / 2);
        }
    }
    template <class D8>
    static hn::Vec<hn::Repartition<int16_t, D8>> evens(D8, hn::Vec<D8> v) {
        const hn::Repartition<int16_t, D8> d16;
        return hn::And(hn::BitCast(d16, v), hn::Set(d16, 255));
    }
    template <class D8>
    static hn::Vec<hn::Repartition<int16_t, D8>> odds(D8, hn::Vec<D8> v) {
        const hn::Repartition<uint16_t, D8> d16;
        return hn::BitCast(hn::Repartition<int16_t, D8>(), hn::ShiftRight<8>(hn::BitCast(d16, v)));
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_rgb888_row(rgb + wide(x, 3), count, y + x, kChroma ? u + x / 2 : nullptr, kChroma ? v + x / 2 : nullptr);
    }
};
void rgb888_row(const uint8_t *rgb, int32_t width, uint8_t *y, uint8_t *u, uint8_t *v) {
    u ? sweep(Rgb888<true>{rgb, y, u, v}, width) : sweep(Rgb888<false>{rgb, y, nullptr, nullptr}, width);
}

void add_input(EncoderKernels *table) {
    table->rgb565_rows = rgb565_rows;
    table->rgb888_row = rgb888_row;
    table->split_pairs = split_pairs;
    table->split_yuyv = split_yuyv;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_input(SimdTarget target, [[maybe_unused]] EncoderKernels *table) {
    VOREL_SIMD_CALL(target, add_input(table));
}

}  // namespace vorel
#endif
