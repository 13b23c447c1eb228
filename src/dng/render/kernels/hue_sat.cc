// Hue and saturation maps, one pixel at a time: the entries of a pixel lie all over the table.
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
