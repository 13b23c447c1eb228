#include "bindings/pictures.h"

#include <vorel/jpeg_encoder.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include "dng/support/dng_builder.h"
#include "support/layouts.h"

namespace vorel::test {

Bytes picture_rgba(int width, int height) {
    std::mt19937 random(7);
    Bytes pixels;
    pixels.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int noise = static_cast<int>(random() % 9);
            const int patch = (x / 24 + y / 20) % 3 * 60;
            pixels.push_back(static_cast<uint8_t>((x * 2 + noise) & 255));
            pixels.push_back(static_cast<uint8_t>((y + patch) & 255));
            pixels.push_back(static_cast<uint8_t>((patch + x + y) & 255));
            pixels.push_back(255);
        }
    }
    return pixels;
}

Bytes jpeg_of(int width, int height) {
    Bytes pixels = picture_rgba(width, height);
    int32_t size = 0;
    uint8_t *stream = static_cast<uint8_t *>(VORELBRIM_OsMalloc(2048));
    if (compressToByte(pixels.data(), width, height, COLOR_RGBA8888, &stream, &size, 90) != 1) size = 0;
    return taken(stream, static_cast<size_t>(size));
}

Bytes dng_of(uint32_t width, uint32_t height) {
    DngBuilder builder;
    builder.first = dng_mosaic(width, height, 12);
    std::mt19937 random(3);
    for (uint32_t i = 0; i < width * height; ++i) {
        builder.first.samples.push_back((i % width * 31 + i / width * 17 + random() % 64) % 4096);
    }
    builder.tags = dng_color_tags();
    builder.tags.push_back(dng_text(271, "Maker"));
    return builder.build();
}

VrOptions options_for(int32_t sample, int32_t format) {
    VrOptions options = {};
    options.sampleSize = sample;
    options.colorFormat = format;
    return options;
}

Bytes taken(void *pixels, size_t bytes) {
    if (!pixels) return {};
    const uint8_t *first = static_cast<const uint8_t *>(pixels);
    Bytes copy(first, first + bytes);
    VORELBRIM_OsFree(pixels);
    return copy;
}

Bytes cut_of(const Bytes &pixels, int stride_pixels, int x, int y, int width, int height) {
    Bytes cut;
    for (int row = 0; row < height; ++row) {
        const auto from = pixels.begin() + ((y + row) * stride_pixels + x) * 4;
        cut.insert(cut.end(), from, from + width * 4);
    }
    return cut;
}

Size rounded(int width, int height, int sample) {
    const auto side = [&](int value) { return static_cast<int>(std::lround(static_cast<double>(value) / sample)); };
    return {side(width), side(height)};
}

}  // namespace vorel::test
