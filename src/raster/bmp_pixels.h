// Colours of a BMP on their way to an output format: how wide a pixel is and how it is stored, what a stored sample is.
#pragma once

#include <vorel/raster.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorel {

constexpr int kPaletteEntries = 256;
constexpr int kMostPixelBytes = 4;

// 0 for formats that no BMP is decoded to.
constexpr int32_t bmp_pixel_bytes(int32_t format) {
    switch (format) {
        case COLOR_RGB565:
            return 2;
        case COLOR_RGB888:
        case COLOR_BGR565A:
            return 3;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        default:
            return 0;
    }
}

struct Colour {
    uint32_t red, green, blue, alpha;  // 0 to 255
};

// The bytes of a pixel from the lowest address on, in a little-endian word.
template <int32_t kFormat>
constexpr uint32_t pixel_word(Colour c) {
    const auto pack = [](uint32_t a, uint32_t b, uint32_t c2, uint32_t d) { return a | b << 8 | c2 << 16 | d << 24; };
    const auto words565 = [](uint32_t top, uint32_t green, uint32_t low) {
        return (top & 248) << 8 | (green & 252) << 3 | low >> 3;
    };
    if constexpr (kFormat == COLOR_RGB565) return words565(c.red, c.green, c.blue);
    if constexpr (kFormat == COLOR_RGB888) return pack(c.red, c.green, c.blue, 0);
    if constexpr (kFormat == COLOR_BGR565A) return words565(c.blue, c.green, c.red) | c.alpha << 16;
    if constexpr (kFormat == COLOR_ARGB8888) return pack(c.alpha, c.red, c.green, c.blue);
    if constexpr (kFormat == COLOR_RGBA8888) return pack(c.red, c.green, c.blue, c.alpha);
    if constexpr (kFormat == COLOR_BGRA8888) return pack(c.blue, c.green, c.red, c.alpha);
    return 0;
}

template <int kBytes>
inline void store_pixel(uint8_t *out, uint32_t word) {
    const uint8_t bytes[kMostPixelBytes] = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8),
                                            static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 24)};
    std::memcpy(out, bytes, kBytes);
}

// Calls work.operator()<format>() for a format that has pixels.
template <typename Work>
inline void with_format(int32_t format, const Work &work) {
    switch (format) {
        case COLOR_RGB565:
            return work.template operator()<COLOR_RGB565>();
        case COLOR_RGB888:
            return work.template operator()<COLOR_RGB888>();
        case COLOR_ARGB8888:
            return work.template operator()<COLOR_ARGB8888>();
        case COLOR_BGR565A:
            return work.template operator()<COLOR_BGR565A>();
        case COLOR_RGBA8888:
            return work.template operator()<COLOR_RGBA8888>();
        case COLOR_BGRA8888:
            return work.template operator()<COLOR_BGRA8888>();
        default:
            return;
    }
}

// ---- stored samples -------------------------------------------------------------------------------------------------

inline uint32_t packed_lanes(uint32_t red, uint32_t green, uint32_t blue) { return red << 20 | green << 10 | blue; }

// B, G, R, and a byte that is not a colour.
inline Colour colour_of_bgr(const uint8_t *bytes) { return {bytes[2], bytes[1], bytes[0], 255}; }

// Required: fields of 16 bits are moved up to a byte's top, nothing fills the bits below: white of 555 is 248.
inline Colour colour_of_16(const BmpInfo *info, const uint8_t *bytes) {
    const uint32_t pixel = static_cast<uint32_t>(bytes[0] | bytes[1] << 8);
    return {((pixel & info->redMask) << info->redShift) >> 8 & 255,
            ((pixel & info->greenMask) << info->greenShift) >> 3 & 255,
            ((pixel & info->blueMask) << info->blueShift) << 3 & 255, 255};
}

// Index of a pixel in a row of 1, 4 or 8 bits, the first one in the top bits.
template <int kBits>
inline uint32_t index_at(const uint8_t *row, int64_t x) {
    if constexpr (kBits == 8) return row[x];
    constexpr int kPerByte = 8 / kBits, kMask = (1 << kBits) - 1;
    return static_cast<uint32_t>(row[x / kPerByte] >> (8 - kBits - x % kPerByte * kBits) & kMask);
}

// Fills info->colours from its palette.
void make_bmp_colours(const BmpInfo *info);

}  // namespace vorel
