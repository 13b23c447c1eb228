#include "jpeg/encoder/encode_support.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace vorel::test {
namespace {

struct Colour3 {
    int y, u, v, r, g, b;
};

Colour3 colour_at(int x, int y, int noise, unsigned seed) {
    const uint32_t hash =
        (static_cast<uint32_t>(x) * 2654435761u ^ static_cast<uint32_t>(y) * 40503u ^ seed * 97u) * 2246822519u;
    const int jitter = noise ? static_cast<int>(hash >> 16) % (2 * noise + 1) - noise : 0;
    const bool edge = (x / 23 + y / 17) % 5 == 0;
    const auto clamp = [](int value) { return std::clamp(value, 0, 255); };
    const int r = clamp((x * 3 + y) % 256 + jitter), g = clamp((edge ? 220 : 60 + y % 128) + jitter),
              b = clamp((x + 2 * y) % 200 + 20 - jitter);
    const auto mix = [&](double kr, double kg, double kb, int offset) {
        return clamp(static_cast<int>(kr * r + kg * g + kb * b + 0.5) + offset);
    };
    return {mix(.299, .587, .114, 0), mix(-.1687, -.3313, .5, 128), mix(.5, -.4187, -.0813, 128), r, g, b};
}

int32_t half(int32_t side) { return (side + 1) / 2; }

size_t bytes_of(int32_t format, int32_t width, int32_t height) {
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    const size_t cw = static_cast<size_t>(half(width)), ch = static_cast<size_t>(half(height));
    switch (format) {
        case COLOR_RGB565:
            return 2 * w * h;
        case COLOR_RGB888:
            return 3 * w * h;
        case COLOR_GRAY:
            return w * h;
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4 * w * h;
        case COLOR_YUV422:
            return w * h + 2 * cw * h;
        case COLOR_YUV440:
            return w * h + 2 * w * ch;
        case COLOR_YUV444:
            return 3 * w * h;
        case COLOR_YUYV:
            return h * (2 * w + (2 * w & 3));
        default:
            return w * h + 2 * cw * ch;
    }
}

}  // namespace

RawInfo RawPicture::record() const {
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(width);
    raw.height = height;
    raw.pixels = const_cast<uint8_t *>(pixels.data());
    raw.format = raw.formatTag = static_cast<uint32_t>(format);
    return raw;
}

RawPicture raw_noise(int32_t format, int32_t width, int32_t height, unsigned seed) {
    RawPicture picture{format, width, height, Bytes(bytes_of(format, width, height))};
    std::minstd_rand random(seed);
    for (auto &byte : picture.pixels) byte = static_cast<uint8_t>(random() >> 8);
    return picture;
}

RawPicture raw_picture(int32_t format, int32_t width, int32_t height, int noise, unsigned seed) {
    RawPicture picture{format, width, height, Bytes(bytes_of(format, width, height))};
    uint8_t *at = picture.pixels.data();
    const auto plane = [&](int step_x, int step_y, auto &&pick) {
        for (int y = 0; y < height; y += step_y)
            for (int x = 0; x < width; x += step_x) pick(colour_at(x, y, noise, seed));
    };
    const auto put = [&](int value) { *at++ = static_cast<uint8_t>(value); };
    switch (format) {
        case COLOR_RGB565:
            plane(1, 1, [&](Colour3 c) {
                const int word = (c.r >> 3) << 11 | (c.g >> 2) << 5 | c.b >> 3;
                put(word & 255), put(word >> 8);
            });
            break;
        case COLOR_RGB888:
            plane(1, 1, [&](Colour3 c) { put(c.r), put(c.g), put(c.b); });
            break;
        case COLOR_RGBA8888:
            plane(1, 1, [&](Colour3 c) { put(c.r), put(c.g), put(c.b), put(255); });
            break;
        case COLOR_BGRA8888:
            plane(1, 1, [&](Colour3 c) { put(c.b), put(c.g), put(c.r), put(255); });
            break;
        case COLOR_YUYV:
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; x += 2) {
                    const Colour3 a = colour_at(x, y, noise, seed), b = colour_at(x + 1, y, noise, seed);
                    put(a.y), put(a.u), put(b.y), put(a.v);
                }
            }
            break;
        default: {
            plane(1, 1, [&](Colour3 c) { put(c.y); });
            if (format == COLOR_GRAY) break;
            if (format == COLOR_NV21) {
                plane(2, 2, [&](Colour3 c) { put(c.v), put(c.u); });
            } else if (format == COLOR_NV12) {
                plane(2, 2, [&](Colour3 c) { put(c.u), put(c.v); });
            } else {
                const int step_x = format == COLOR_YUV420 || format == COLOR_YUV422 ? 2 : 1;
                const int step_y = format == COLOR_YUV420 || format == COLOR_YUV440 ? 2 : 1;
                plane(step_x, step_y, [&](Colour3 c) { put(c.u); });
                plane(step_x, step_y, [&](Colour3 c) { put(c.v); });
            }
        }
    }
    return picture;
}

Bytes encode(const RawPicture &picture, const EncodeSpec &spec) {
    RawInfo raw = picture.record();
    raw.progressive = spec.progressive;
    raw.optimizeHuffman = spec.optimize;
    raw.exif = spec.exif;
    HuffmanSpec huffman = {};
    huffman.quality = static_cast<uint32_t>(spec.quality);
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(spec.capacity));
    uint32_t size = static_cast<uint32_t>(spec.capacity);
    Bytes stream;
    if (rim_enc_jpeg_to_buffer_ex(&raw, &buffer, &size, &huffman) == 1) stream.assign(buffer, buffer + size);
    VORELBRIM_OsFree(buffer);
    return stream;
}

}  // namespace vorel::test
