// Loops over pixels of 4 bytes: from R, G, B, to B, G, R, and the two forms of the rule of transparency.
#ifndef VOREL_PIXELS_SCALAR
#define VOREL_PIXELS_SCALAR

#include <cstring>

#include "png/kernels/internal.h"

namespace vorel {
namespace {

constexpr uint8_t kOpaque = 255;

void scalar_rgb_to_rgba(const uint8_t *in, int64_t count, bool swapped, uint8_t *out) {
    const int red = swapped ? 2 : 0;
    for (int64_t i = 0; i < count; ++i, in += 3, out += 4) {
        out[red] = in[0];
        out[1] = in[1];
        out[2 - red] = in[2];
        out[3] = kOpaque;
    }
}

void scalar_swap_red_blue(const uint8_t *in, int64_t count, uint8_t *out) {
    for (int64_t i = 0; i < count; ++i, in += 4, out += 4) {
        const uint8_t red = in[0];
        out[0] = in[2];
        out[1] = in[1];
        out[2] = red;
        out[3] = in[3];
    }
}

void scalar_premultiply(uint8_t *pixels, int64_t count) {
    for (int64_t i = 0; i < count; ++i, pixels += 4) {
        for (int c = 0; c < 3; ++c) {
            const uint32_t t = uint32_t{pixels[c]} * pixels[3] + 128;
            pixels[c] = static_cast<uint8_t>((t + (t >> 8)) >> 8);
        }
    }
}

void scalar_clear(uint8_t *pixels, int64_t count, uint32_t key, uint32_t mask) {
    for (int64_t i = 0; i < count; ++i, pixels += 4) {
        const uint32_t word =
            pixels[0] | uint32_t{pixels[1]} << 8 | uint32_t{pixels[2]} << 16 | uint32_t{pixels[3]} << 24;
        if ((word & mask) == key || pixels[3] == 0) std::memset(pixels, 0, 4);
    }
}

}  // namespace

void add_scalar_pixels(PngKernels *table) {
    table->rgb_to_rgba = scalar_rgb_to_rgba;
    table->swap_red_blue = scalar_swap_red_blue;
    table->premultiply = scalar_premultiply;
    table->clear = scalar_clear;
}

}  // namespace vorel

#endif  // VOREL_PIXELS_SCALAR

#define VOREL_SIMD_FILE "png/kernels/pixels.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// 12 bytes become 16; each load takes the next 4 too.
void rgb_to_rgba(const uint8_t *in, int64_t count, bool swapped, uint8_t *out) {
    const hn::FixedTag<uint8_t, 16> d;
    alignas(16) static constexpr uint8_t kSpread[2][16] = {{0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0},
                                                           {2, 1, 0, 0, 5, 4, 3, 0, 8, 7, 6, 0, 11, 10, 9, 0}};
    const auto spread = hn::Load(d, kSpread[swapped]);
    const auto opaque = hn::BitCast(d, hn::Set(hn::FixedTag<uint32_t, 4>(), 0xFF000000u));
    int64_t i = 0;
    for (; count - i >= 6; i += 4) {
        hn::StoreU(hn::Or(hn::TableLookupBytes(hn::LoadU(d, in + 3 * i), spread), opaque), d, out + 4 * i);
    }
    scalar_rgb_to_rgba(in + 3 * i, count - i, swapped, out + 4 * i);
}

using Pixels = hn::ScalableTag<uint32_t>;
constexpr int64_t kPixels = static_cast<int64_t>(hn::MaxLanes(Pixels()));
inline hn::Vec<Pixels> load_pixels(const uint8_t *from) {
    return hn::BitCast(Pixels(), hn::LoadU(hn::ScalableTag<uint8_t>(), from));
}
inline void store_pixels(hn::Vec<Pixels> pixels, uint8_t *to) {
    const hn::ScalableTag<uint8_t> d8;
    hn::StoreU(hn::BitCast(d8, pixels), d8, to);
}

void swap_red_blue(const uint8_t *in, int64_t count, uint8_t *out) {
    const Pixels d;
    const auto low = hn::Set(d, 0xFF), kept = hn::Set(d, 0xFF00FF00u);
    int64_t i = 0;
    for (; count - i >= kPixels; i += kPixels) {
        const auto pixels = load_pixels(in + 4 * i);
        const auto blue = hn::And(hn::ShiftRight<16>(pixels), low), red = hn::ShiftLeft<16>(hn::And(pixels, low));
        store_pixels(hn::Or(hn::And(pixels, kept), hn::Or(blue, red)), out + 4 * i);
    }
    scalar_swap_red_blue(in + 4 * i, count - i, out + 4 * i);
}

// Two colours of a pixel in the 16-bit halves of its lane: c * alpha + 128 is at most 65153, and with its own high byte
// added 65407.
inline hn::Vec<Pixels> times_alpha(hn::Vec<Pixels> colours, hn::Vec<Pixels> alphas) {
    const hn::Repartition<uint16_t, Pixels> d16;
    const auto t = hn::Add(hn::Mul(hn::BitCast(d16, colours), hn::BitCast(d16, alphas)), hn::Set(d16, 128));
    return hn::BitCast(Pixels(), hn::ShiftRight<8>(hn::Add(t, hn::ShiftRight<8>(t))));
}

// Opaque pixels come out as they are: t = 255 * c + 128.
void premultiply(uint8_t *pixels, int64_t count) {
    const Pixels d;
    const auto opaque = hn::Set(d, 0xFF000000u), odd = hn::Set(d, 0x00FF00FFu), green = hn::Set(d, 0xFF00u);
    int64_t i = 0;
    for (; count - i >= kPixels; i += kPixels) {
        const auto in = load_pixels(pixels + 4 * i);
        if (hn::AllTrue(d, hn::Eq(hn::And(in, opaque), opaque))) continue;
        const auto alpha = hn::ShiftRight<24>(in);
        const auto alphas = hn::Or(alpha, hn::ShiftLeft<16>(alpha));
        const auto red_blue = times_alpha(hn::And(in, odd), alphas);
        const auto with_green = times_alpha(hn::And(hn::ShiftRight<8>(in), odd), alphas);
        const auto colours = hn::Or(red_blue, hn::And(hn::ShiftLeft<8>(with_green), green));
        store_pixels(hn::Or(colours, hn::And(in, opaque)), pixels + 4 * i);
    }
    scalar_premultiply(pixels + 4 * i, count - i);
}

void clear(uint8_t *pixels, int64_t count, uint32_t key, uint32_t mask) {
    const Pixels d;
    const auto keys = hn::Set(d, key), masks = hn::Set(d, mask), zero = hn::Zero(d);
    int64_t i = 0;
    for (; count - i >= kPixels; i += kPixels) {
        const auto in = load_pixels(pixels + 4 * i);
        const auto gone = hn::Or(hn::Eq(hn::And(in, masks), keys), hn::Eq(hn::ShiftRight<24>(in), zero));
        store_pixels(hn::IfThenElse(gone, zero, in), pixels + 4 * i);
    }
    scalar_clear(pixels + 4 * i, count - i, key, mask);
}

void add_pixels(PngKernels *table) {
    table->rgb_to_rgba = rgb_to_rgba;
    table->swap_red_blue = swap_red_blue;
    table->premultiply = premultiply;
    table->clear = clear;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_pixels(SimdTarget target, [[maybe_unused]] PngKernels *table) {
    VOREL_SIMD_CALL(target, add_pixels(table));
}

}  // namespace vorel
#endif
