#include "jpeg/decoder/colour_model.h"

#include <algorithm>
#include <cstring>

#include "jpeg/decoder/kernels/block_samples.h"
#include "jpeg/decoder/surgery.h"

namespace vorel::test {
namespace {

struct Rgb {
    int r, g, b;
};

int clamp(int value) { return std::clamp(value, 0, 255); }

Rgb ycc_to_rgb(int y, int cb, int cr) {
    cb -= 128;
    cr -= 128;
    return {clamp(y + ((22971 * cr + 8192) >> 14)), clamp(y + ((-11277 * cb - 23401 * cr + 16384) >> 15)),
            clamp(y + ((29033 * cb + 8192) >> 14))};
}

Rgb rgb_at(const Samples &p, int x, int y) {
    const int a = p.at(0, x, y);
    switch (p.colour) {
        case Colour::kGray:
            return {a, a, a};
        case Colour::kRgb:
            return {a, p.at(1, x, y), p.at(2, x, y)};
        case Colour::kYcc:
            return ycc_to_rgb(a, p.at(1, x, y), p.at(2, x, y));
        case Colour::kCmyk: {
            const int k = p.at(3, x, y);
            return {a * k / 255, p.at(1, x, y) * k / 255, p.at(2, x, y) * k / 255};
        }
        default: {
            const int k = p.at(3, x, y);
            const Rgb c = ycc_to_rgb(a, p.at(1, x, y), p.at(2, x, y));
            return {(255 - c.r) * k / 255, (255 - c.g) * k / 255, (255 - c.b) * k / 255};
        }
    }
}

// Puts pixel (x, y) of a picture into a buffer of the format, stored as the layout says.
void store_pixel(const Samples &p, int32_t format, const Layout &layout, const Place &to, int x, int y, uint8_t *out) {
    const auto put = [out](int at, std::initializer_list<int> bytes) {
        for (const int byte : bytes) out[at++] = static_cast<uint8_t>(byte);
    };
    const bool gray = p.colour == Colour::kGray;
    const int row = to.top + y, column = to.left + x, index = row * to.width + column;
    const Rgb c = rgb_at(p, x, y);
    const int word = c.b >> 3 | (c.g & 252) << 3 | (c.r & 248) << 8;
    switch (format) {
        case COLOR_RGB565_ALT:
        case COLOR_RGB565:
            if (gray || format == COLOR_RGB565) put(2 * index, {word & 255, word >> 8});
            return;
        case COLOR_RGBA8888:
            return put(4 * index, {c.r, c.g, c.b, 255});
        case COLOR_BGRA8888:
            return put(4 * index, {c.b, c.g, c.r, 255});
        case COLOR_GRAY:
            if (gray) put(index, {p.at(0, x, y)});
            return;
        default:
            break;
    }
    if (!gray && p.colour != Colour::kYcc) return;
    const auto chroma = [&](int at_cb, int at_cr) {
        if (gray) return;
        put(at_cb, {p.at(1, x, y)});
        put(at_cr, {p.at(2, x, y)});
    };
    if (format == COLOR_YUYV) {
        const int words = row * (2 * to.width + (2 * to.width & 3)) + 2 * to.pair_left + (2 * to.pair_left & 3) + 2 * x;
        put(words, {p.at(0, x, y)});
        if (x % 2 == 0) chroma(words + 1, words + 3);
    }
    const int across = layout.across, down = layout.down;
    if (!across) return;
    put(index, {p.at(0, x, y)});
    if (x % across || y % down) return;
    const int width = (to.width + across - 1) / across, height = (to.height + down - 1) / down;
    const int chroma_row = to.width * to.height + (to.top / down + y / down) * width * (layout.pairs ? 2 : 1);
    if (layout.pairs) {
        const int pair = chroma_row + to.pair_left + x, cb_first = format == COLOR_NV12;
        return chroma(pair + 1 - cb_first, pair + cb_first);
    }
    const int planar = chroma_row + to.left / across + x / across;
    chroma(planar, planar + width * height);
}

// Planes of sample(component, x, y).
template <typename Sample>
Samples made_of(int width, int height, Colour colour, size_t components, const Sample &sample) {
    Samples out = {width, height, colour, std::vector<Bytes>(components, Bytes(area(width, height)))};
    for (size_t c = 0; c < components; ++c) {
        uint8_t *to = out.planes[c].data();
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) *to++ = static_cast<uint8_t>(sample(c, x, y));
        }
    }
    return out;
}

template <typename Sample>
Samples resized(const Samples &source, int width, int height, const Sample &sample) {
    return made_of(width, height, source.colour, source.planes.size(), sample);
}

Samples mean_of_four(const Samples &s, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) {
        const auto [xa, xb] = quarter_taps(x, s.width, width);
        const auto [ya, yb] = quarter_taps(y, s.height, height);
        return (s.at(c, xa, ya) + s.at(c, xb, ya) + s.at(c, xa, yb) + s.at(c, xb, yb)) / 4;
    });
}

Samples centre_sample(const Samples &s, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) {
        return s.at(c, (s.width / 2 + x * s.width) / width, (s.height / 2 + y * s.height) / height);
    });
}

Samples turned(const Samples &s, uint32_t quarters) {
    const int width = quarters % 2 ? s.height : s.width, height = quarters % 2 ? s.width : s.height;
    return resized(s, width, height, [&](size_t c, int x, int y) {
        const auto [from_x, from_y] = turned_place(x, y, width, height, (4 - quarters) % 4);
        return s.at(c, from_x, from_y);
    });
}

Samples cut(const Samples &s, int left, int top, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) { return s.at(c, left + x, top + y); });
}

// ---- The scales

// A component at a scale: every block through the scalar kernel of its shape. Only baseline scans leave coefficients
// out.
Plane scaled_plane(const CodedBlocks &blocks, int width, int height, bool baseline) {
    const auto *shape = std::find_if(std::begin(kShapeSizes), std::end(kShapeSizes),
                                     [=](const ShapeSize &s) { return s.width == width && s.height == height; });
    const int side = std::max(width, height);
    const int keep = side == 8 || !baseline ? 64 : side == 4 ? 19 : side == 2 ? 5 : 1;
    int32_t multipliers[64];
    make_multipliers(shape->shape, blocks.quant, multipliers);
    Plane out = {blocks.across * width, blocks.down * height, {}};
    out.samples.resize(static_cast<size_t>(out.width) * static_cast<size_t>(out.height));
    for (int b = 0; b < blocks.across * blocks.down; ++b) {
        alignas(64) int16_t block[64];
        std::memcpy(block, &blocks.coefficients[static_cast<size_t>(b) * 64], sizeof block);
        drop_coefficients(block, keep);
        const int16_t *pointer = block;
        const uint8_t last = 63;
        uint8_t *to =
            &out.samples[static_cast<size_t>(b / blocks.across * height * out.width + b % blocks.across * width)];
        scalar_kernels().idct[static_cast<int>(shape->shape)](
            {&pointer, &last, 1, multipliers, kRangeLimit + kRangeCentre, true, to, out.width});
    }
    return out;
}

// ---- Sizes

struct Size {
    int64_t width, height;
    bool operator==(const Size &) const = default;
    bool inside(const Size &other) const { return width <= other.width && height <= other.height; }
    Size turned(bool quarter) const { return quarter ? Size{height, width} : *this; }
};

int64_t share(int64_t a, int64_t b, int64_t c) { return (a * b + c - 1) / c; }

Size output_size(Size image, Size target, uint32_t fit) {
    if (fit == VOREL_OPTION_FIT_STRETCH) return target;
    if (image.inside(target)) return image;
    if (target.width * image.height / image.width == target.height ||
        image.width * target.height / image.height == target.width) {
        return target;
    }
    const Size by_width = {target.width, share(target.width, image.height, image.width)};
    const Size by_height = {share(target.height, image.width, image.height), target.height};
    if (fit == VOREL_OPTION_FIT_COVER) {
        const Size out = by_width.height < target.height ? by_height : by_width;
        return out.inside(image) ? out : image;
    }
    const Size out = image.width > target.width ? by_width : image;
    return out.height > target.height ? by_height : out;
}

int dct_scale(Size image, Size out) {
    const bool by_height = image.width * out.height > image.height * out.width;
    const int64_t from = by_height ? image.height : image.width, to = by_height ? out.height : out.width;
    if (out == image) return 1;
    return 8 * to <= from + 4 ? 8 : 4 * to <= from + 2 ? 4 : 2 * to <= from + 1 ? 2 : 1;
}

}  // namespace

void drop_coefficients(int16_t *block, int keep) {
    int begin = 1;
    for (int k = 1; k < 64; ++k) {
        int16_t &value = block[BRIMJ_NATURAL_ORDER[k]];
        if (value == 0) continue;
        while (k - begin > 15) begin += 16;
        const bool kept = begin < keep;
        begin = k + 1;
        if (!kept) value = 0;
    }
}

Samples upsampled(const CodedPicture &coded, Colour colour) {
    return made_of(coded.width, coded.height, colour, coded.components.size(),
                   [&](size_t c, int x, int y) { return coded.box(c, x, y); });
}

Bytes stored(const Samples &picture, int32_t format, uint8_t fill, const Place &place) {
    Bytes out(format_bytes(format, place.width, place.height), fill);
    const Layout layout = layout_of(format);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) store_pixel(picture, format, layout, place, x, y, out.data());
    }
    return out;
}

Bytes stored(const Samples &picture, int32_t format, uint8_t fill) {
    return stored(picture, format, fill, {picture.width, picture.height});
}

DecodeModel::DecodeModel(const Bytes &jpeg) : coded_(turbo_planes(jpeg)), blocks_(turbo_coefficients(jpeg)) {
    interleaved_ = find_marker(jpeg, 0xDA, scan_data(jpeg)) == jpeg.size();
}

const Samples &DecodeModel::scaled(int scale) {
    const auto [found, is_new] = scaled_.try_emplace(scale);
    Samples &out = found->second;
    if (!is_new) return out;
    if (scale == 1) return out = upsampled(*coded_, coded_->colour);
    // At 1/2 and 1/4, with four components at 1/8 too, chroma has transforms of the output's resolution; else it is
    // repeated.
    const bool joint = blocks_.size() > 1 && (scale < 8 || blocks_.size() > 3) && coded_->max_h <= 2 &&
                       coded_->max_v <= 2 && interleaved_;
    const auto repeats = [&](size_t c) {
        const CodedPicture::Component &k = coded_->components[c];
        return std::pair(coded_->max_h / k.h, coded_->max_v / k.v);
    };
    std::vector<Plane> planes;
    for (size_t c = 0; c < blocks_.size(); ++c) {
        const auto [across, down] = joint ? repeats(c) : std::pair(1, 1);
        planes.push_back(scaled_plane(blocks_[c], 8 / scale * across, 8 / scale * down, coded_->baseline));
    }
    return out = made_of(std::max(1, (coded_->width + scale / 2) / scale),
                         std::max(1, (coded_->height + scale / 2) / scale), coded_->colour, blocks_.size(),
                         [&](size_t c, int x, int y) {
                             const auto [across, down] = joint ? std::pair(1, 1) : repeats(c);
                             return planes[c].at(x / across, y / down);
                         });
}

Decoded DecodeModel::operator()(const DecodeSpec &wanted) {
    const Size image = {coded_->width, coded_->height};
    const Size target = {wanted.width ? wanted.width : image.width, wanted.height ? wanted.height : image.height};
    const uint32_t fit = wanted.options & 0x700;
    const bool pixels = pixel_bytes(wanted.format) == 4 || wanted.format == COLOR_RGB565;
    const uint32_t quarters = pixels ? wanted.options >> 2 & 3 : 0;
    const bool quarter = quarters % 2 != 0;
    const Size upright = target.turned(quarter), out = output_size(image, upright, fit);
    const int width = static_cast<int>(out.width), height = static_cast<int>(out.height);

    // The picture at its scale; a side that is one short of the scaled one leaves the last sample off.
    const Samples &whole = scaled(dct_scale(image, out));
    const int from_width = whole.width - (width == whole.width - 1);
    const int from_height = whole.height - (height == whole.height - 1);
    Samples picture = cut(whole, 0, 0, from_width, from_height);
    const bool enlarged = width > from_width || height > from_height;
    if (width != from_width || height != from_height) {
        const bool small = whole.colour == Colour::kYcc && width <= 99 && height <= 99;
        picture = (enlarged || small ? centre_sample : mean_of_four)(picture, width, height);
    }

    // What of it is kept, and where that goes.
    const int kept_w = static_cast<int>(std::min(out.width, upright.width));
    const int kept_h = static_cast<int>(std::min(out.height, upright.height));
    const int left = (width - kept_w) / 2, top = (height - kept_h) / 2;
    const Size shown = Size{kept_w, kept_h}.turned(quarter);
    Place place = {static_cast<int>(target.width), static_cast<int>(target.height)};
    if (fit != VOREL_OPTION_FIT_PACKED && fit != VOREL_OPTION_FIT_TOP_LEFT) {
        place.left = place.pair_left = static_cast<int>(target.width - shown.width) / 2;
        place.top = static_cast<int>(target.height - shown.height) / 2;
    }
    Decoded result = {1, {}, static_cast<uint32_t>(shown.width), static_cast<uint32_t>(shown.height), 0};
    const size_t bytes = format_bytes(wanted.format, place.width, place.height);
    if (fit == VOREL_OPTION_FIT_PACKED) place = {static_cast<int>(shown.width), static_cast<int>(shown.height)};
    if (wanted.window_width == 0) {
        picture = cut(picture, left, top, kept_w, kept_h);
    } else {
        const int x = static_cast<int>(wanted.window_x), y = static_cast<int>(wanted.window_y);
        const int w = static_cast<int>(wanted.window_width), h = static_cast<int>(wanted.window_height);
        picture = cut(picture, x, y, w, h);
        place.left += x - left;
        place.top += y - top;
        place.pair_left += (x - left) & ~1;
        if (!wanted.window_in_place) place = quarter ? Place{h, w} : Place{w, h};
    }
    result.pixels = stored(turned(picture, quarters), wanted.format, wanted.fill, place);
    if (wanted.window_width == 0 || wanted.window_in_place) result.pixels.resize(bytes, wanted.fill);
    return result;
}

}  // namespace vorel::test
