// Hue and saturation maps.
#ifndef VOREL_HUE_SAT_SCALAR
#define VOREL_HUE_SAT_SCALAR

#include <cmath>

#include "dng/render/kernels/pixel_steps.h"

namespace vorel {
namespace {

struct Hsv {
    float h, s, v;  // hue of 0 to 6
};

Hsv to_hsv(const float *rgb) {
    const float r = rgb[0], g = rgb[1], b = rgb[2];
    const float v = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const float least = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const float delta = v - least;
    if (!(delta > 0)) return {0, 0, v};
    float h;
    if (v == r) {
        h = (g - b) / delta;
        if (h < 0) h += 6;
    } else if (v == g) {
        h = (b - r) / delta + 2;
    } else {
        h = (r - g) / delta + 4;
    }
    return {h, delta / v, v};
}

void to_rgb(const Hsv &hsv, float *rgb) {
    const float v = hsv.v;
    float r = v, g = v, b = v;
    if (hsv.s != 0) {
        const int sector = static_cast<int>(hsv.h);
        const float fraction = hsv.h - static_cast<float>(sector);
        const float low = v * (1 - hsv.s), falling = v * (1 - hsv.s * fraction);
        const float rising = v * (1 - hsv.s * (1 - fraction));
        switch (sector) {
            case 0:
                r = v, g = rising, b = low;
                break;
            case 1:
                r = falling, g = v, b = low;
                break;
            case 2:
                r = low, g = v, b = rising;
                break;
            case 3:
                r = low, g = falling, b = v;
                break;
            case 4:
                r = rising, g = low, b = v;
                break;
            default:
                r = v, g = low, b = falling;
                break;
        }
    }
    rgb[0] = pinned(r);
    rgb[1] = pinned(g);
    rgb[2] = pinned(b);
}

// Where a coordinate lies between two entries of a table.
struct Place {
    uint32_t lower;
    float before, after;  // their weights
};
Place place(float position, uint32_t last_lower) {
    uint32_t lower = static_cast<uint32_t>(position);
    if (lower > last_lower) lower = last_lower;
    const float after = position - static_cast<float>(lower);
    return {lower, 1 - after, after};
}

}  // namespace

void hue_sat_pixel(const HueSatTable &table, float *rgb) {
    Hsv hsv = to_hsv(rgb);
    const bool by_value = table.values > 1, encoded = by_value && table.encode;
    if (encoded) hsv.v = curve_value(table.encode, hsv.v);

    // Hues go around; a hue that rounding has brought to 6 is 0.
    float hue_position = hsv.h * (static_cast<float>(table.hues) / 6.0f);
    if (hue_position >= static_cast<float>(table.hues)) hue_position = 0;
    const Place hue = place(hue_position, table.hues - 1);
    const uint32_t next_hue = hue.lower + 1 < table.hues ? hue.lower + 1 : 0;
    const Place saturation = place(hsv.s * static_cast<float>(table.saturations - 1), table.saturations - 2);
    const Place value = by_value ? place(hsv.v * static_cast<float>(table.values - 1), table.values - 2) : Place{};

    float blended[3];
    const float *at[2];
    at[0] =
        table.entries + size_t{3} * (value.lower * table.value_step + hue.lower * table.hue_step + saturation.lower);
    at[1] = table.entries + size_t{3} * (value.lower * table.value_step + next_hue * table.hue_step + saturation.lower);
    for (int i = 0; i < 3; ++i) {
        const auto plane = [&](size_t offset) {
            const float low = at[0][offset] * hue.before + at[1][offset] * hue.after;
            const float high = at[0][offset + 3] * hue.before + at[1][offset + 3] * hue.after;
            return low * saturation.before + high * saturation.after;
        };
        const size_t offset = static_cast<size_t>(i);
        blended[i] = plane(offset);
        if (by_value) {
            blended[i] = blended[i] * value.before + plane(offset + size_t{3} * table.value_step) * value.after;
        }
    }

    hsv.h += blended[0] * 0.016666668f;
    hsv.h -= 6 * std::floor(hsv.h / 6);
    if (!(hsv.h >= 0 && hsv.h < 6)) hsv.h = 0;
    hsv.s *= blended[1];
    if (!(hsv.s < 1)) hsv.s = 1;
    hsv.v = pinned(hsv.v * blended[2]);
    if (encoded) hsv.v = curve_value(table.decode, hsv.v);
    to_rgb(hsv, rgb);
}

}  // namespace vorel

#endif  // VOREL_HUE_SAT_SCALAR

#define VOREL_SIMD_FILE "dng/render/kernels/hue_sat.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"
//
#include "dng/render/kernels/vector_steps.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// Where positions lie between entries of a table, and the weights of these.
struct Places {
    VI lower;
    VF before, after;
};
HWY_INLINE Places places(VF position, uint32_t last_lower) {
    const DF d;
    const DI di;
    const VI lower = hn::Min(hn::ConvertTo(di, position), hn::Set(di, static_cast<int32_t>(last_lower)));
    const VF after = hn::Sub(position, hn::ConvertTo(d, lower));
    return {lower, hn::Sub(hn::Set(d, 1.0f), after), after};
}

// Hues of 0 to 6, saturations and values of R, G, B of 0 to 1.
HWY_INLINE void to_hsv(VF r, VF g, VF b, VF &h, VF &s, VF &v) {
    const DF d;
    const VF zero = hn::Zero(d);
    v = greater(greater(r, g), b);
    const VF delta = hn::Sub(v, lesser(lesser(r, g), b));
    const auto coloured = hn::Gt(delta, zero), red = hn::Eq(v, r), green = hn::Eq(v, g);
    const VF difference = hn::IfThenElse(red, hn::Sub(g, b), hn::IfThenElse(green, hn::Sub(b, r), hn::Sub(r, g)));
    const VF first = hn::IfThenElse(red, zero, hn::IfThenElse(green, hn::Set(d, 2.0f), hn::Set(d, 4.0f)));
    const VF hue = hn::Add(exact_divide(d, difference, delta), first);
    h = hn::IfThenElseZero(coloured, hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, hn::Set(d, 6.0f)), hue));
    s = hn::IfThenElseZero(coloured, exact_divide(d, delta, v));
}

// The three planes of pixels whose hue, saturation and value are given, by the sector of the hue.
HWY_INLINE void to_rgb(VF h, VF s, VF v, VF *rgb) {
    const DF d;
    const VF one = hn::Set(d, 1.0f);
    const VF fraction = hn::Sub(h, hn::ConvertTo(d, hn::ConvertTo(DI(), h)));
    const VF low = hn::Mul(v, hn::Sub(one, s)), falling = hn::Mul(v, hn::Sub(one, hn::Mul(s, fraction)));
    const VF rising = hn::Mul(v, hn::Sub(one, hn::Mul(s, hn::Sub(one, fraction))));
    const auto below = [&](float sector) { return hn::Lt(h, hn::Set(d, sector)); };
    const auto in_0 = below(1), in_1 = below(2), in_2 = below(3), in_3 = below(4), in_4 = below(5);
    const auto pick = [&](VF s0, VF s1, VF s2, VF s3, VF s4, VF s5) {
        const VF late = hn::IfThenElse(in_3, s3, hn::IfThenElse(in_4, s4, s5));
        return pinned(hn::IfThenElse(in_0, s0, hn::IfThenElse(in_1, s1, hn::IfThenElse(in_2, s2, late))));
    };
    rgb[0] = pick(v, falling, low, low, rising, v);
    rgb[1] = pick(rising, v, v, falling, low, low);
    rgb[2] = pick(low, low, rising, v, v, falling);
}

// Weights of the pixels of a vector, and the first floats of their entries: for the lower and the next hue, at the
// lower saturation and value.
struct Corners {
    alignas(64) float hue[2][kLanes], saturation[2][kLanes], value[2][kLanes];
    alignas(64) int32_t entry[2][kLanes];
};

// Blends the entries around each pixel, all three quantities of an entry at a time.
template <bool kByValue>
HWY_INLINE void blend(const HueSatTable &table, const Corners &at, float *blended) {
    const hn::Full128<float> d;
    const size_t value_step = size_t{3} * table.value_step;
    for (size_t x = 0; x < kLanes; ++x) {
        const float *const lower = table.entries + at.entry[0][x], *const next = table.entries + at.entry[1][x];
        const auto mix = [&](auto a, auto b, const float(&weights)[2][kLanes]) {
            return hn::Add(hn::Mul(a, hn::Set(d, weights[0][x])), hn::Mul(b, hn::Set(d, weights[1][x])));
        };
        const auto plane = [&](size_t offset) {
            const auto low = mix(hn::LoadU(d, lower + offset), hn::LoadU(d, next + offset), at.hue);
            const auto high = mix(hn::LoadU(d, lower + offset + 3), hn::LoadU(d, next + offset + 3), at.hue);
            return mix(low, high, at.saturation);
        };
        auto entry = plane(0);
        if constexpr (kByValue) entry = mix(entry, plane(value_step), at.value);
        hn::Store(entry, d, blended + 4 * x);
    }
}

}  // namespace

void hue_sat_planes(const HueSatTable &table, size_t count, float *const *planes) {
    const DF d;
    const DI di;
    const bool by_value = table.values > 1, encoded = by_value && table.encode;
    const float hues = static_cast<float>(table.hues);
    const VF six = hn::Set(d, 6.0f);
    Corners corners;
    alignas(64) float blended[4 * kLanes];
    for (size_t x = 0; x < count; x += kLanes) {
        VF h, s, v;
        to_hsv(pinned(hn::Load(d, planes[0] + x)), pinned(hn::Load(d, planes[1] + x)),
               pinned(hn::Load(d, planes[2] + x)), h, s, v);
        if (encoded) v = curve(table.encode, v);

        const VF around = hn::Mul(h, hn::Set(d, hues / 6.0f));
        const Places hue = places(hn::IfThenElseZero(hn::Lt(around, hn::Set(d, hues)), around), table.hues - 1);
        const Places saturation =
            places(hn::Mul(s, hn::Set(d, static_cast<float>(table.saturations - 1))), table.saturations - 2);
        VI start = saturation.lower;
        if (by_value) {
            const Places value = places(hn::Mul(v, hn::Set(d, static_cast<float>(table.values - 1))), table.values - 2);
            start = hn::Add(start, hn::Mul(value.lower, hn::Set(di, static_cast<int32_t>(table.value_step))));
            hn::Store(value.before, d, corners.value[0]);
            hn::Store(value.after, d, corners.value[1]);
        }
        const VI behind = hn::Add(hue.lower, hn::Set(di, 1));
        const VI next = hn::IfThenElseZero(hn::Lt(behind, hn::Set(di, static_cast<int32_t>(table.hues))), behind);
        const auto first_float = [&](VI of_hue) {
            const VI entry = hn::Add(start, hn::Mul(of_hue, hn::Set(di, static_cast<int32_t>(table.hue_step))));
            return hn::Mul(entry, hn::Set(di, 3));
        };
        hn::Store(first_float(hue.lower), di, corners.entry[0]);
        hn::Store(first_float(next), di, corners.entry[1]);
        hn::Store(hue.before, d, corners.hue[0]);
        hn::Store(hue.after, d, corners.hue[1]);
        hn::Store(saturation.before, d, corners.saturation[0]);
        hn::Store(saturation.after, d, corners.saturation[1]);
        by_value ? blend<true>(table, corners, blended) : blend<false>(table, corners, blended);

        VF shift, saturation_scale, value_scale, unused;
        hn::LoadInterleaved4(d, blended, shift, saturation_scale, value_scale, unused);
        h = hn::Add(h, hn::Mul(shift, hn::Set(d, 0.016666668f)));
        h = hn::Sub(h, hn::Mul(six, hn::Floor(exact_divide(d, h, six))));
        h = hn::IfThenElseZero(hn::And(hn::Ge(h, hn::Zero(d)), hn::Lt(h, six)), h);
        s = lesser(hn::Mul(s, saturation_scale), hn::Set(d, 1.0f));
        v = pinned(hn::Mul(v, value_scale));
        if (encoded) v = curve(table.decode, v);
        VF rgb[3];
        to_rgb(h, s, v, rgb);
        for (int i = 0; i < 3; ++i) hn::Store(rgb[i], d, planes[i] + x);
    }
}
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END
