// All steps of a render, from camera colours to bytes, a vector of pixels at a time.
#ifndef VOREL_RENDER_ROWS_SCALAR
#define VOREL_RENDER_ROWS_SCALAR

#include <cstddef>

#include "dng/render/kernels/internal.h"
#include "dng/render/kernels/pixel_steps.h"

namespace vorel {
namespace {

// v / 65535, rounded as that division is, for every v of 16 bits.
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

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

using DF = hn::ScalableTag<float>;
using DI = hn::ScalableTag<int32_t>;
using VF = hn::Vec<DF>;
using VI = hn::Vec<DI>;
constexpr size_t kLanes = hn::MaxLanes(DF());

// a < b ? a : b and a > b ? a : b, for all values.
inline VF lesser(VF a, VF b) {
#if HWY_ARCH_X86
    return hn::Min(a, b);  // the instruction does just that
#else
    return hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}
inline VF greater(VF a, VF b) {
#if HWY_ARCH_X86
    return hn::Max(a, b);
#else
    return hn::IfThenElse(hn::Gt(a, b), a, b);
#endif
}

struct Pixels {
    VF c[3];
};

// Entries index and index + 1 of a curve.
struct Entries {
    VF first, second;
};
#if HWY_ARCH_X86
// Gathers are slower than loads one by one where they exist. Two indices of a block come by a move of 64 bits, and both
// entries of an index by a load of 64: of four indices those of the first two, and those of the last two.
template <class V>
struct TwoPairs {
    V early, late;
};
inline hn::Vec128<float> two_pairs(const float *table, uint64_t indices) {
    const auto at = [&](uint64_t index) { return reinterpret_cast<const double *>(table + index); };
    const __m128d first = _mm_load_sd(at(indices & 0xFFFFFFFF));
    return hn::Vec128<float>{_mm_castpd_ps(_mm_loadh_pd(first, at(indices >> 32)))};
}
template <class D32>
inline TwoPairs<hn::Vec<hn::RebindToFloat<D32>>> pairs_at(D32, const float *table, hn::Vec<D32> index) {
    if constexpr (hn::MaxLanes(D32()) == 4) {
        const auto wide = hn::BitCast(hn::Repartition<uint64_t, D32>(), index);
        return {two_pairs(table, hn::GetLane(wide)), two_pairs(table, hn::ExtractLane(wide, 1))};
    } else {
        const hn::Half<D32> half;
        const hn::RebindToFloat<D32> d;
        const auto low = pairs_at(half, table, hn::LowerHalf(half, index));
        const auto high = pairs_at(half, table, hn::UpperHalf(half, index));
        return {hn::Combine(d, high.early, low.early), hn::Combine(d, high.late, low.late)};
    }
}
inline Entries entries_at(const float *table, VI index) {
    const DF d;
    const DI di;
    const auto pairs = pairs_at(di, table, index);
    const VI early = hn::BitCast(di, pairs.early), late = hn::BitCast(di, pairs.late);
    return {hn::BitCast(d, every_other<0>(early, late)), hn::BitCast(d, every_other<1>(early, late))};
}

template <class D32>
inline hn::Vec<D32> int_entries_at(D32, const uint32_t *table, hn::Vec<D32> index) {
    if constexpr (hn::MaxLanes(D32()) == 4) {
        const auto wide = hn::BitCast(hn::Repartition<uint64_t, D32>(), index);
        const uint64_t early = hn::GetLane(wide), late = hn::ExtractLane(wide, 1);
        const auto at = [&](uint64_t i) { return static_cast<int>(table[i]); };
        __m128i v = _mm_cvtsi32_si128(at(early & 0xFFFFFFFF));
        v = _mm_insert_epi32(v, at(early >> 32), 1);
        v = _mm_insert_epi32(v, at(late & 0xFFFFFFFF), 2);
        return hn::Vec<D32>{_mm_insert_epi32(v, at(late >> 32), 3)};
    } else {
        const hn::Half<D32> half;
        return hn::Combine(D32(), int_entries_at(half, table, hn::UpperHalf(half, index)),
                           int_entries_at(half, table, hn::LowerHalf(half, index)));
    }
}
#else
inline Entries entries_at(const float *table, VI index) {
    const DF d;
    alignas(64) int32_t at[kLanes];
    alignas(64) float first[kLanes], second[kLanes];
    hn::Store(index, DI(), at);
    for (size_t i = 0; i < kLanes; ++i) {
        first[i] = table[at[i]];
        second[i] = table[at[i] + 1];
    }
    return {hn::Load(d, first), hn::Load(d, second)};
}

inline VI int_entries_at(DI di, const uint32_t *table, VI index) {
    alignas(64) int32_t at[kLanes];
    hn::Store(index, di, at);
    for (int32_t &v : at) v = static_cast<int32_t>(table[v]);
    return hn::Load(di, at);
}
#endif

inline VF curve(const float *table, VF x) {
    const DF d;
    const DI di;
    const VF position = hn::Mul(x, hn::Set(d, static_cast<float>(kRenderSteps)));
    const VI index = hn::ConvertTo(di, position);
    const VF fraction = hn::Sub(position, hn::ConvertTo(d, index));
    const Entries entries = entries_at(table, index);
    return hn::Add(hn::Mul(entries.first, hn::Sub(hn::Set(d, 1.0f), fraction)), hn::Mul(entries.second, fraction));
}

inline void matrix(const float *m, Pixels &p) {
    const DF d;
    const VF one = hn::Set(d, 1.0f), zero = hn::Zero(d);
    const Pixels in = p;
    for (int i = 0; i < 3; ++i) {
        const VF sum =
            hn::Add(hn::Add(hn::Mul(hn::Set(d, m[3 * i]), in.c[0]), hn::Mul(hn::Set(d, m[3 * i + 1]), in.c[1])),
                    hn::Mul(hn::Set(d, m[3 * i + 2]), in.c[2]));
        p.c[i] = lesser(greater(sum, zero), one);
    }
}

inline void tone(const float *table, Pixels &p) {
    const VF r = p.c[0], g = p.c[1], b = p.c[2];
    const VF most = greater(greater(r, g), b), least = lesser(lesser(r, g), b);
    const VF tone_most = curve(table, most), tone_least = curve(table, least);
    const VF rise = hn::Sub(tone_most, tone_least), range = hn::Sub(most, least);
    // Of the sample that is neither the largest nor the smallest, of which there is one at most.
    const VF middle = greater(lesser(r, g), lesser(greater(r, g), b));
    const VF tone_middle = hn::Add(tone_least, hn::Div(hn::Mul(rise, hn::Sub(middle, least)), range));
    for (VF &v : p.c) {
        v = hn::IfThenElse(hn::Eq(v, most), tone_most, hn::IfThenElse(hn::Eq(v, least), tone_least, tone_middle));
    }
}

inline void hue_sat(const HueSatTable &table, Pixels &p) {
    const DF d;
    alignas(64) float planes[3][kLanes];
    for (int i = 0; i < 3; ++i) hn::Store(p.c[i], d, planes[i]);
    for (size_t x = 0; x < kLanes; ++x) {
        float rgb[3] = {planes[0][x], planes[1][x], planes[2][x]};
        hue_sat_pixel(table, rgb);
        for (int i = 0; i < 3; ++i) planes[i][x] = rgb[i];
    }
    for (int i = 0; i < 3; ++i) p.c[i] = hn::Load(d, planes[i]);
}

// The bytes of samples, in the lower eight bits of their lanes; distance becomes the least distance from a threshold.
inline VI encoded(const RenderSetup &setup, VF x, VI &distance) {
    const DF d;
    const DI di;
    const VF position = hn::Mul(x, hn::Set(d, static_cast<float>(kRenderSteps)));
    const VI index = hn::ConvertTo(di, position);
    const VF fraction = hn::Sub(position, hn::ConvertTo(d, index));
    const VI part = hn::ConvertTo(di, hn::Mul(fraction, hn::Set(d, 8388608.0f)));
    const VI entry = int_entries_at(di, setup.encode, index);
    const auto threshold = hn::BitCast(di, hn::ShiftRight<8>(hn::BitCast(hn::RebindToUnsigned<DI>(), entry)));
    const VI beyond = hn::Sub(part, threshold);
    distance = hn::Min(distance, hn::Abs(beyond));
    // A lane is -1 where it is beyond.
    return hn::Sub(entry, hn::VecFromMask(di, hn::Gt(beyond, hn::Zero(di))));
}

inline void load_pixels(const uint16_t *src, Pixels &p) {
    const hn::Rebind<uint16_t, DF> d16;
    const DF d;
    const DI di;
    hn::Vec<decltype(d16)> s[3];
    hn::LoadInterleaved3(d16, src, s[0], s[1], s[2]);
    const VF scale = hn::Set(d, kShortScale);
    for (int i = 0; i < 3; ++i) {
        const VF f = hn::ConvertTo(d, hn::PromoteTo(di, s[i]));
        p.c[i] = hn::Mul(hn::Add(f, hn::Mul(f, scale)), scale);
    }
}
inline void load_pixels(const float *src, Pixels &p) { hn::LoadInterleaved3(DF(), src, p.c[0], p.c[1], p.c[2]); }

template <bool kMaps, typename Sample>
inline void vector_of_pixels(const RenderSetup &setup, const Sample *src, uint8_t *dst) {
    const DF d;
    const DI di;
    Pixels p;
    load_pixels(src, p);
    for (int i = 0; i < 3; ++i) p.c[i] = lesser(p.c[i], hn::Set(d, setup.white[i]));
    matrix(setup.camera, p);
    if (kMaps && setup.hue_sat) hue_sat(*setup.hue_sat, p);
    for (VF &v : p.c) v = curve(setup.ramp, v);
    if (kMaps && setup.look) {
        for (VF &v : p.c) v = lesser(greater(v, hn::Zero(d)), hn::Set(d, 1.0f));
        hue_sat(*setup.look, p);
    }
    tone(setup.tone, p);
    matrix(setup.output, p);

    VI distance = hn::Set(di, 0x7FFFFFFF), bytes[3];
    for (int i = 0; i < 3; ++i) bytes[i] = encoded(setup, p.c[i], distance);
    if (HWY_UNLIKELY(!hn::AllFalse(di, hn::Lt(distance, hn::Set(di, setup.encode_doubt + 1))))) {
        // Next to a threshold, where the rounding of the two steps decides.
        alignas(64) float planes[3][kLanes];
        for (int i = 0; i < 3; ++i) hn::Store(p.c[i], d, planes[i]);
        for (size_t x = 0; x < kLanes; ++x) {
            for (int i = 0; i < 3; ++i)
                dst[3 * x + static_cast<size_t>(i)] = byte_of(curve_value(setup.gamma, planes[i][x]));
        }
        return;
    }
    const hn::Rebind<uint8_t, DI> d8;
    const hn::RebindToUnsigned<DI> du;
    const auto byte = [&](VI v) { return hn::TruncateTo(d8, hn::BitCast(du, v)); };
    hn::StoreInterleaved3(byte(bytes[0]), byte(bytes[1]), byte(bytes[2]), d8, dst);
}

template <bool kMaps, typename Sample>
void render_row(const RenderSetup &setup, const Sample *src, uint32_t count, uint8_t *dst) {
    if (count < kLanes) return scalar_render(setup, src, count, dst);
    size_t x = 0;
    for (; count - x >= kLanes; x += kLanes) vector_of_pixels<kMaps>(setup, src + 3 * x, dst + 3 * x);
    // The last vector overlaps the one before it.
    if (x < count) vector_of_pixels<kMaps>(setup, src + 3 * (count - kLanes), dst + 3 * (count - kLanes));
}

template <typename Sample>
void render(const RenderSetup &setup, const Sample *src, uint32_t count, uint8_t *dst) {
    setup.hue_sat || setup.look ? render_row<true>(setup, src, count, dst) : render_row<false>(setup, src, count, dst);
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
