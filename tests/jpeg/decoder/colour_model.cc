#include "jpeg/decoder/colour_model.h"

#include <algorithm>

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

// Puts one pixel into the buffer's bytes.
class Store {
  public:
    Store(const Samples &p, int32_t format, Bytes *out)
        : p_(p), format_(format), out_(*out), w_(static_cast<size_t>(p.width)), h_(static_cast<size_t>(p.height)) {}

    void pixel(int x, int y) {
        const size_t index = static_cast<size_t>(y) * w_ + static_cast<size_t>(x);
        const bool gray = p_.colour == Colour::kGray;
        const bool yuv_source = gray || p_.colour == Colour::kYcc;
        switch (format_) {
            case COLOR_RGB565_ALT:
                if (!gray) return;
                [[fallthrough]];
            case COLOR_RGB565: {
                const Rgb c = rgb_at(p_, x, y);
                const int word = c.b >> 3 | (c.g & 252) << 3 | (c.r & 248) << 8;
                put(2 * index, word & 255);
                put(2 * index + 1, word >> 8);
                return;
            }
            case COLOR_RGBA8888:
            case COLOR_BGRA8888: {
                const Rgb c = rgb_at(p_, x, y);
                const bool rgba = format_ == COLOR_RGBA8888;
                put(4 * index, rgba ? c.r : c.b);
                put(4 * index + 1, c.g);
                put(4 * index + 2, rgba ? c.b : c.r);
                put(4 * index + 3, 255);
                return;
            }
            case COLOR_GRAY:
                if (gray) put(index, p_.at(0, x, y));
                return;
            default:
                if (yuv_source) yuv(x, y, index, gray);
        }
    }

  private:
    void put(size_t at, int value) { out_[at] = static_cast<uint8_t>(value); }

    void yuv(int x, int y, size_t index, bool gray) {
        const size_t half_w = (w_ + 1) / 2, half_h = (h_ + 1) / 2, base = w_ * h_;
        const size_t sx = static_cast<size_t>(x), sy = static_cast<size_t>(y);
        const bool even_x = x % 2 == 0, even_y = y % 2 == 0;
        const int luma = p_.at(0, x, y);
        const auto chroma = [&](size_t at_cb, size_t at_cr) {
            if (gray) return;
            put(at_cb, p_.at(1, x, y));
            put(at_cr, p_.at(2, x, y));
        };
        switch (format_) {
            case COLOR_YUV420:
                put(index, luma);
                if (even_x && even_y) {
                    const size_t at = base + sy / 2 * half_w + sx / 2;
                    chroma(at, at + half_w * half_h);
                }
                return;
            case COLOR_YUV422:
                put(index, luma);
                if (even_x) chroma(base + sy * half_w + sx / 2, base + half_w * h_ + sy * half_w + sx / 2);
                return;
            case COLOR_YUV440:
                put(index, luma);
                if (even_y) chroma(base + sy / 2 * w_ + sx, base + w_ * half_h + sy / 2 * w_ + sx);
                return;
            case COLOR_YUV444:
                put(index, luma);
                chroma(base + index, 2 * base + index);
                return;
            case COLOR_NV21:
            case COLOR_NV12: {
                put(index, luma);
                const size_t pair = base + sy / 2 * 2 * half_w + sx / 2 * 2;
                const size_t first = format_ == COLOR_NV12 ? 0 : 1;
                if (even_x && even_y) chroma(pair + first, pair + 1 - first);
                return;
            }
            case COLOR_YUYV: {
                const size_t row = sy * (2 * w_ + (2 * w_ & 3));
                put(row + 2 * sx, luma);
                if (even_x) chroma(row + 2 * sx + 1, row + 2 * sx + 3);
                return;
            }
            default:
                return;
        }
    }

    const Samples &p_;
    int32_t format_;
    Bytes &out_;
    size_t w_, h_;
};

Samples resized(const Samples &source, int width, int height,
                const std::function<int(size_t c, int x, int y)> &sample) {
    Samples out = {width, height, source.colour, {}};
    for (size_t c = 0; c < source.planes.size(); ++c) {
        Bytes plane;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) plane.push_back(static_cast<uint8_t>(sample(c, x, y)));
        }
        out.planes.push_back(std::move(plane));
    }
    return out;
}

}  // namespace

Samples upsampled(const CodedPicture &coded, Colour colour) {
    Samples out = {coded.width, coded.height, colour, {}};
    for (size_t c = 0; c < coded.components.size(); ++c) {
        Bytes plane;
        for (int y = 0; y < coded.height; ++y) {
            for (int x = 0; x < coded.width; ++x) plane.push_back(coded.box(c, x, y));
        }
        out.planes.push_back(std::move(plane));
    }
    return out;
}

Bytes stored(const Samples &picture, int32_t format, uint8_t fill) {
    Bytes out(format_bytes(format, picture.width, picture.height), fill);
    Store store(picture, format, &out);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) store.pixel(x, y);
    }
    return out;
}

Samples mean_of_four(const Samples &s, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) {
        const int xa = (s.width / 4 + x * s.width) / width, xb = (s.width * 3 / 4 + x * s.width) / width;
        const int ya = (s.height / 4 + y * s.height) / height, yb = (s.height * 3 / 4 + y * s.height) / height;
        return (s.at(c, xa, ya) + s.at(c, xb, ya) + s.at(c, xa, yb) + s.at(c, xb, yb)) / 4;
    });
}

Samples centre_sample(const Samples &s, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) {
        return s.at(c, (s.width / 2 + x * s.width) / width, (s.height / 2 + y * s.height) / height);
    });
}

Samples turned(const Samples &s, int degrees) {
    const bool quarter = degrees == 90 || degrees == 270;
    return resized(s, quarter ? s.height : s.width, quarter ? s.width : s.height, [&](size_t c, int x, int y) {
        switch (degrees) {
            case 90:
                return s.at(c, y, s.height - 1 - x);
            case 180:
                return s.at(c, s.width - 1 - x, s.height - 1 - y);
            case 270:
                return s.at(c, s.width - 1 - y, x);
            default:
                return s.at(c, x, y);
        }
    });
}

Samples cut(const Samples &s, int left, int top, int width, int height) {
    return resized(s, width, height, [&](size_t c, int x, int y) { return s.at(c, left + x, top + y); });
}

}  // namespace vorel::test
