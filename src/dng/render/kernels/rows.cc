// All steps of a render, from camera colours to bytes, a vector of pixels at a time.
#ifndef VOREL_RENDER_ROWS_SCALAR
#define VOREL_RENDER_ROWS_SCALAR

#include <algorithm>
#include <cstddef>

#include "dng/render/kernels/internal.h"
#include "dng/render/kernels/pixel_steps.h"

namespace vorel {
namespace {

// v times the float next to 1 / 65535, which is 65537 / 2^32: one rounding, as DoCopyArea16_R32() has it.
constexpr float kShortScale = 1.0f / 65536;
inline float short_value(uint16_t v) {
    const float f = static_cast<float>(v);
    return (f + f * kShortScale) * kShortScale;
}
inline float short_value(float v) { return v; }

template <typename Sample>
void scalar_render(const RenderSetup &setup, const Sample *src, uint32_t count, uint8_t *dst) {
    for (; count > 0; --count, src += 3, dst += 3) {
        float rgb[3];
        for (int i = 0; i < 3; ++i) {
            const float v = short_value(src[i]);
            rgb[i] = v < setup.white[i] ? v : setup.white[i];
        }
        through_matrix(setup.camera, rgb);
        if (setup.hue_sat) hue_sat_pixel(*setup.hue_sat, rgb);
        for (float &v : rgb) v = curve_value(setup.ramp, v);
        if (setup.look) {
            for (float &v : rgb) v = pinned(v);
            hue_sat_pixel(*setup.look, rgb);
        }
        through_tone(setup.tone, rgb);
        through_matrix(setup.output, rgb);
        for (int i = 0; i < 3; ++i) dst[i] = byte_of(curve_value(setup.gamma, rgb[i]));
    }
}

}  // namespace

void add_scalar_render(RenderKernels *table) {
    table->from_short = scalar_render<uint16_t>;
    table->from_float = scalar_render<float>;
}

}  // namespace vorel

#endif  // VOREL_RENDER_ROWS_SCALAR

#define VOREL_SIMD_FILE "dng/render/kernels/rows.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"
//
#include "dng/render/kernels/vector_steps.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// Results limited to 0 to most.
HWY_INLINE void matrix(const float *m, float most, VF (&c)[3]) {
    const DF d;
    const VF r = c[0], g = c[1], b = c[2];
    for (int i = 0; i < 3; ++i) {
        const VF two = hn::Add(hn::Mul(hn::Set(d, m[3 * i]), r), hn::Mul(hn::Set(d, m[3 * i + 1]), g));
        const VF sum = hn::Add(two, hn::Mul(hn::Set(d, m[3 * i + 2]), b));
        c[i] = lesser(greater(sum, hn::Zero(d)), hn::Set(d, most));
    }
}

// Samples in fixed point, 2^30 being 1: 12 bits are the step of the curve and 18 the part of it.
constexpr float kEncodeScale = 1 << 30;
constexpr int kPartBits = 18, kCoarser = 23 - kPartBits;

// The bytes of such samples, in the lower eight bits of their lanes; distance becomes the least from a threshold.
HWY_INLINE VI encoded(const RenderSetup &setup, VF x, VI &distance) {
    const DI di;
    const VI fixed = hn::ConvertTo(di, x);
    const VI part = hn::And(fixed, hn::Set(di, (1 << kPartBits) - 1));
    const VI entry = int_entries_at(di, setup.encode, hn::ShiftRight<kPartBits>(fixed));
    const VI threshold = hn::BitCast(di, hn::ShiftRight<8 + kCoarser>(hn::BitCast(hn::RebindToUnsigned<DI>(), entry)));
    const VI before = hn::Sub(threshold, part);
    distance = hn::Min(distance, hn::Abs(before));
    // A lane is -1 where it is beyond.
    return hn::Sub(entry, hn::ShiftRight<31>(before));
}

// Sixteen bits come as 65536 times their value, which the matrix behind them takes back: that is exact.
HWY_INLINE void load_pixels(const uint16_t *src, VF (&c)[3]) {
    const hn::Rebind<uint16_t, DF> d16;
    const DF d;
    hn::Vec<decltype(d16)> s[3];
    hn::LoadInterleaved3(d16, src, s[0], s[1], s[2]);
    for (int i = 0; i < 3; ++i) {
        const VF f = hn::ConvertTo(d, hn::PromoteTo(DI(), s[i]));
        c[i] = hn::Add(f, hn::Mul(f, hn::Set(d, kShortScale)));
    }
}
HWY_INLINE void load_pixels(const float *src, VF (&c)[3]) { hn::LoadInterleaved3(DF(), src, c[0], c[1], c[2]); }
constexpr float loaded_scale(uint16_t) { return 1 / kShortScale; }
constexpr float loaded_scale(float) { return 1; }

// So many pixels go through one step before they go through the next: each step alone has little that waits for what
// it has just made, so that the processor works on several vectors at a time.
constexpr size_t kTile = 256;
using Plane = float[kTile];

// What a row needs of its setup, with the scales of the samples.
struct RowSetup {
    template <typename Sample>
    RowSetup(const RenderSetup &of, Sample sample) : setup(of) {
        const float scale = loaded_scale(sample);
        for (int i = 0; i < 3; ++i) white[i] = of.white[i] * scale;
        for (int i = 0; i < 9; ++i) {
            camera[i] = of.camera[i] / scale;
            output[i] = of.output[i] * kEncodeScale;
        }
    }
    const RenderSetup &setup;
    float white[3], camera[9], output[9];
};

template <typename Sample>
void tile_in(const RowSetup &row, const Sample *src, size_t count, Plane *planes) {
    const DF d;
    for (size_t x = 0; x < count; x += kLanes) {
        VF c[3];
        load_pixels(src + 3 * x, c);
        for (int i = 0; i < 3; ++i) c[i] = lesser(c[i], hn::Set(d, row.white[i]));
        matrix(row.camera, 1, c);
        for (int i = 0; i < 3; ++i) hn::Store(c[i], d, planes[i] + x);
    }
}

void tile_ramp(const float *table, size_t count, Plane *planes) {
    const DF d;
    for (size_t x = 0; x < count; x += kLanes) {
        for (int i = 0; i < 3; ++i) hn::Store(curve(table, hn::Load(d, planes[i] + x)), d, planes[i] + x);
    }
}

void tile_tone(const float *table, size_t count, Plane *planes) {
    const DF d;
    for (size_t x = 0; x < count; x += kLanes) {
        const VF r = hn::Load(d, planes[0] + x), g = hn::Load(d, planes[1] + x), b = hn::Load(d, planes[2] + x);
        const VF upper = greater(r, g), lower = lesser(r, g);
        const VF most = greater(upper, b), least = lesser(lower, b);
        const VF tone_most = curve(table, most), tone_least = curve(table, least);
        // Of the sample that is neither the largest nor the smallest, of which there is one at most.
        const VF middle = greater(lower, lesser(upper, b));
        const VF tone_middle = hn::Add(
            tone_least,
            exact_divide(d, hn::Mul(hn::Sub(tone_most, tone_least), hn::Sub(middle, least)), hn::Sub(most, least)));
        const VF c[3] = {r, g, b};
        for (int i = 0; i < 3; ++i) {
            const VF lower_two = hn::IfThenElse(hn::Eq(c[i], least), tone_least, tone_middle);
            hn::Store(hn::IfThenElse(hn::Eq(c[i], most), tone_most, lower_two), d, planes[i] + x);
        }
    }
}

void tile_out(const RowSetup &row, size_t count, const Plane *planes, uint8_t *dst) {
    const DF d;
    const DI di;
    const hn::Rebind<uint8_t, DI> d8;
    const hn::RebindToUnsigned<DI> du;
    const VI doubt = hn::Set(di, (row.setup.encode_doubt >> kCoarser) + 2);
    for (size_t x = 0; x < count; x += kLanes) {
        VF c[3] = {hn::Load(d, planes[0] + x), hn::Load(d, planes[1] + x), hn::Load(d, planes[2] + x)};
        matrix(row.output, kEncodeScale, c);
        VI distance = hn::Set(di, 0x7FFFFFFF), bytes[3];
        for (int i = 0; i < 3; ++i) bytes[i] = encoded(row.setup, c[i], distance);
        uint8_t *to = dst + 3 * x;
        if (HWY_LIKELY(hn::AllFalse(di, hn::Lt(distance, doubt)))) {
            const auto byte = [&](VI v) { return hn::TruncateTo(d8, hn::BitCast(du, v)); };
            hn::StoreInterleaved3(byte(bytes[0]), byte(bytes[1]), byte(bytes[2]), d8, to);
            continue;
        }
        // Next to a threshold, where the rounding of curve and byte decides.
        alignas(64) float values[3][kLanes];
        for (int i = 0; i < 3; ++i) hn::Store(hn::Mul(c[i], hn::Set(d, 1 / kEncodeScale)), d, values[i]);
        for (size_t lane = 0; lane < 3 * kLanes; ++lane) {
            to[lane] = byte_of(curve_value(row.setup.gamma, values[lane % 3][lane / 3]));
        }
    }
}

template <typename Sample>
void render(const RenderSetup &setup, const Sample *src, uint32_t count, uint8_t *dst) {
    if (count < kLanes) return scalar_render(setup, src, count, dst);
    const RowSetup row(setup, Sample());
    alignas(64) Plane planes[3];
    float *const all[3] = {planes[0], planes[1], planes[2]};
    for (size_t x = 0; x < count;) {
        // Whole vectors; what is left behind them is done with pixels before it.
        const size_t left = count - x;
        const size_t tile = std::min(std::max(left / kLanes, size_t{1}) * kLanes, kTile);
        const size_t start = std::min(x, count - tile);
        tile_in(row, src + 3 * start, tile, planes);
        if (setup.hue_sat) hue_sat_planes(*setup.hue_sat, tile, all);
        tile_ramp(setup.ramp, tile, planes);
        if (setup.look) hue_sat_planes(*setup.look, tile, all);
        tile_tone(setup.tone, tile, planes);
        tile_out(row, tile, planes, dst + 3 * start);
        x = start + tile;
    }
}

void add_render(RenderKernels *table) {
    table->from_short = render<uint16_t>;
    table->from_float = render<float>;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_render(SimdTarget target, [[maybe_unused]] RenderKernels *table) {
    VOREL_SIMD_CALL(target, add_render(table));
}

}  // namespace vorel
#endif
