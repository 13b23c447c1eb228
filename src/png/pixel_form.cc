// Samples to pixels, by colour type and depth (PNG clause 6.1 and 13.12).
#include "png/pixel_form.h"

#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "png/kernels/kernels.h"

namespace vorel {
namespace {

constexpr uint8_t kOpaque = 255;

int channels_of(uint8_t colour_type) {
    switch (colour_type) {
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return 2;
        case PNG_COLOR_TYPE_RGB:
            return 3;
        case PNG_COLOR_TYPE_RGB_ALPHA:
            return 4;
        default:
            return 1;
    }
}

void set_pixel(uint8_t *out, bool swapped, uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha) {
    out[0] = swapped ? blue : red;
    out[1] = green;
    out[2] = swapped ? red : blue;
    out[3] = alpha;
}

// Samples below 8 bits are scaled to the whole range; 255 is divisible by 1, 3 and 15.
void fill_gray_table(PixelForm *form) {
    const int most = (1 << form->bit_depth) - 1;
    for (int sample = 0; sample <= most; ++sample) {
        const uint8_t gray = static_cast<uint8_t>(sample * 255 / most);
        const bool clear = form->keyed && sample == form->key[0];
        set_pixel(form->table[sample], false, gray, gray, gray, clear ? 0 : kOpaque);
    }
}

// Indices beyond the palette are black, those beyond tRNS opaque.
void fill_palette_table(png_structp png, png_infop info, PixelForm *form) {
    png_colorp palette = nullptr;
    int colours = 0, entries = 0;
    png_bytep alphas = nullptr;
    png_get_PLTE(png, info, &palette, &colours);
    png_get_tRNS(png, info, &alphas, &entries, nullptr);
    for (int i = 0; i < 256; ++i) {
        const png_color colour = palette && i < colours ? palette[i] : png_color{0, 0, 0};
        set_pixel(form->table[i], form->swapped, colour.red, colour.green, colour.blue,
                  alphas && i < entries ? alphas[i] : kOpaque);
    }
}

template <int kBits>
void expand_packed(const PixelForm &form, const uint8_t *row, int64_t first, int64_t count, uint8_t *out) {
    constexpr int kPerByte = 8 / kBits, kMask = (1 << kBits) - 1;
    for (int64_t i = first; i < first + count; ++i, out += 4) {
        const int shift = 8 - kBits - static_cast<int>(i % kPerByte) * kBits;
        std::memcpy(out, form.table[row[i / kPerByte] >> shift & kMask], 4);
    }
}

void expand_table(const PixelForm &form, const uint8_t *samples, int64_t count, uint8_t *out) {
    for (int64_t i = 0; i < count; ++i) std::memcpy(out + 4 * i, form.table[samples[i]], 4);
}

uint16_t word(const uint8_t *sample) { return static_cast<uint16_t>(big_endian_16(sample)); }

// Samples of kBytes each; of two bytes the first is shown and both are compared with the key.
template <int kBytes>
void expand_gray(const PixelForm &form, bool with_alpha, const uint8_t *in, int64_t count, uint8_t *out) {
    const int step = kBytes * (with_alpha ? 2 : 1);
    for (int64_t i = 0; i < count; ++i, in += step, out += 4) {
        const bool clear = !with_alpha && form.keyed && kBytes == 2 && word(in) == form.key[0];
        set_pixel(out, false, in[0], in[0], in[0], with_alpha ? in[kBytes] : clear ? 0 : kOpaque);
    }
}

void clear_keyed_rgb(const PixelForm &form, const uint8_t *in, int64_t count, uint8_t *out) {
    for (int64_t i = 0; i < count; ++i, in += 3) {
        if (in[0] == form.key[0] && in[1] == form.key[1] && in[2] == form.key[2]) out[4 * i + 3] = 0;
    }
}

void expand_deep_rgb(const PixelForm &form, bool with_alpha, const uint8_t *in, int64_t count, uint8_t *out) {
    const int step = with_alpha ? 8 : 6;
    for (int64_t i = 0; i < count; ++i, in += step, out += 4) {
        const bool clear = !with_alpha && form.keyed && word(in) == form.key[0] && word(in + 2) == form.key[1] &&
                           word(in + 4) == form.key[2];
        set_pixel(out, form.swapped, in[0], in[2], in[4], with_alpha ? in[6] : clear ? 0 : kOpaque);
    }
}

}  // namespace

int bits_per_pixel(const PngHeader &header) { return channels_of(header.colour_type) * header.bit_depth; }

size_t bytes_of_pixels(const PngHeader &header, uint64_t pixels) {
    return static_cast<size_t>((pixels * static_cast<uint64_t>(bits_per_pixel(header)) + 7) / 8);
}

int filter_pixel_bytes(const PngHeader &header) { return std::max(1, bits_per_pixel(header) / 8); }

PixelForm pixel_form(png_structp png, png_infop info, const PngHeader &header, bool swapped) {
    PixelForm form = {};
    form.colour_type = header.colour_type;
    form.bit_depth = header.bit_depth;
    form.swapped = swapped;
    png_color_16p colour = nullptr;
    // A chunk that libpng has taken back, as it does where a palette follows it, has no entries.
    int entries = 0;
    const bool transparent = png_get_tRNS(png, info, nullptr, &entries, &colour) != 0 && entries != 0;
    const int mask = (1 << header.bit_depth) - 1;
    if (transparent && colour && header.colour_type == PNG_COLOR_TYPE_GRAY) {
        form.keyed = true;
        form.key[0] = static_cast<uint16_t>(colour->gray & mask);
    } else if (transparent && colour && header.colour_type == PNG_COLOR_TYPE_RGB) {
        form.keyed = true;
        form.key[0] = static_cast<uint16_t>(colour->red & mask);
        form.key[1] = static_cast<uint16_t>(colour->green & mask);
        form.key[2] = static_cast<uint16_t>(colour->blue & mask);
    }
    if (header.colour_type == PNG_COLOR_TYPE_PALETTE) {
        fill_palette_table(png, info, &form);
    } else if (header.colour_type == PNG_COLOR_TYPE_GRAY && header.bit_depth <= 8) {
        fill_gray_table(&form);
    }
    return form;
}

bool is_identity(const PixelForm &form) {
    return form.colour_type == PNG_COLOR_TYPE_RGB_ALPHA && form.bit_depth == 8 && !form.swapped;
}

void expand_pixels(const PixelForm &form, const uint8_t *row, int64_t first, int64_t count, uint8_t *out) {
    const bool deep = form.bit_depth == 16;
    const uint8_t *in = row + first * channels_of(form.colour_type) * (deep ? 2 : 1);
    switch (form.bit_depth) {
        case 1:
            return expand_packed<1>(form, row, first, count, out);
        case 2:
            return expand_packed<2>(form, row, first, count, out);
        case 4:
            return expand_packed<4>(form, row, first, count, out);
        default:
            break;
    }
    switch (form.colour_type) {
        case PNG_COLOR_TYPE_GRAY:
            return deep ? expand_gray<2>(form, false, in, count, out) : expand_table(form, in, count, out);
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return deep ? expand_gray<2>(form, true, in, count, out) : expand_gray<1>(form, true, in, count, out);
        case PNG_COLOR_TYPE_PALETTE:
            return expand_table(form, in, count, out);
        case PNG_COLOR_TYPE_RGB:
            if (deep) return expand_deep_rgb(form, false, in, count, out);
            png_kernels().rgb_to_rgba(in, count, form.swapped, out);
            if (form.keyed) clear_keyed_rgb(form, in, count, out);
            return;
        default:
            if (deep) return expand_deep_rgb(form, true, in, count, out);
            if (form.swapped) return png_kernels().swap_red_blue(in, count, out);
            std::memcpy(out, in, static_cast<size_t>(count) * 4);
    }
}

}  // namespace vorel
