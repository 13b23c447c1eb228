// The pixel layouts of the library: their names, the bytes of a picture, and the way from any of them to RGB.
#include "pixels.h"

#include <vorel/frame.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vorel_tool {
namespace {

constexpr uint8_t kEveryKind = kColorJpeg | kGrayJpeg | kWbmp | kGif | kBmp | kPngFile;

constexpr PixelFormat kFormats[] = {
    // name, code, layout, bytes, order, chroma h v, rotates, written for
    {"rgb565", COLOR_RGB565, Layout::kWord565, 2, {}, 0, 0, true, kColorJpeg | kGrayJpeg | kWbmp | kBmp},
    {"rgb888", COLOR_RGB888, Layout::kRgb, 3, {0, 1, 2}, 0, 0, true, kWbmp | kBmp},
    {"yuv420", COLOR_YUV420, Layout::kPlanar, 0, {}, 2, 2, false, kColorJpeg | kGrayJpeg},
    {"yuv422", COLOR_YUV422, Layout::kPlanar, 0, {}, 2, 1, false, kColorJpeg | kGrayJpeg},
    {"gray", COLOR_GRAY, Layout::kGray, 0, {}, 0, 0, false, kGrayJpeg},
    {"argb8888", COLOR_ARGB8888, Layout::kRgb, 4, {1, 2, 3}, 0, 0, true, kBmp},
    {"bgr565a", COLOR_BGR565A, Layout::kBgr565a, 3, {}, 0, 0, true, kBmp},
    {"rgba8888", COLOR_RGBA8888, Layout::kRgb, 4, {0, 1, 2}, 0, 0, true, kEveryKind},
    {"bgra8888", COLOR_BGRA8888, Layout::kRgb, 4, {2, 1, 0}, 0, 0, true, kEveryKind},
    {"rgb565alt", COLOR_RGB565_ALT, Layout::kWord565, 2, {}, 0, 0, true, kGrayJpeg},
    {"yuv440", COLOR_YUV440, Layout::kPlanar, 0, {}, 1, 2, false, kColorJpeg | kGrayJpeg},
    {"yuv444", COLOR_YUV444, Layout::kPlanar, 0, {}, 1, 1, false, kColorJpeg | kGrayJpeg},
    {"yuyv", COLOR_YUYV, Layout::kYuyv, 0, {}, 0, 0, false, kColorJpeg},
    {"nv21", COLOR_NV21, Layout::kSemiPlanar, 0, {1, 0}, 0, 0, false, kColorJpeg | kGrayJpeg},
    {"nv12", COLOR_NV12, Layout::kSemiPlanar, 0, {0, 1}, 0, 0, false, kColorJpeg | kGrayJpeg},
};

constexpr uint8_t kMiddleChroma = 128;

// Bytes of the luma plane and of one row of the layouts that have rows, in 64 bits throughout.
uint64_t luma_bytes(uint64_t width, uint64_t height) { return width * height; }
uint64_t chroma_width(const PixelFormat &format, uint64_t width) {
    return (width + format.chroma_h - 1) / format.chroma_h;
}
uint64_t chroma_height(const PixelFormat &format, uint64_t height) {
    return (height + format.chroma_v - 1) / format.chroma_v;
}
uint64_t yuyv_row_bytes(uint64_t width) { return 2 * width + (2 * width & 3); }
uint64_t pair_row_bytes(uint64_t width) { return (width + 1) & ~uint64_t{1}; }

uint8_t clamp_byte(int32_t value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

// ITU-R BT.601 as JFIF uses it: 1.402, 1.772, 0.34414 and 0.71414 in fixed point.
void store_ycc(int32_t y, int32_t cb, int32_t cr, uint8_t *out) {
    cb -= kMiddleChroma;
    cr -= kMiddleChroma;
    out[0] = clamp_byte(y + ((22971 * cr + 8192) >> 14));
    out[1] = clamp_byte(y + ((-11277 * cb - 23401 * cr + 16384) >> 15));
    out[2] = clamp_byte(y + ((29033 * cb + 8192) >> 14));
}

// 5 or 6 bits spread over 8, so that the largest value is 255.
uint8_t widen5(uint32_t value) { return static_cast<uint8_t>(value << 3 | value >> 2); }
uint8_t widen6(uint32_t value) { return static_cast<uint8_t>(value << 2 | value >> 4); }

void words_to_rgb(const uint8_t *row, int32_t width, int32_t pixel_bytes, bool blue_on_top, uint8_t *out) {
    for (int32_t x = 0; x < width; ++x, row += pixel_bytes, out += 3) {
        const uint32_t word = row[0] | static_cast<uint32_t>(row[1]) << 8;
        out[blue_on_top ? 2 : 0] = widen5(word >> 11 & 31);
        out[1] = widen6(word >> 5 & 63);
        out[blue_on_top ? 0 : 2] = widen5(word & 31);
    }
}

void planar_to_rgb(const Picture &picture, int32_t y, uint8_t *out) {
    const PixelFormat &format = *picture.format;
    const size_t width = static_cast<size_t>(picture.width), row = static_cast<size_t>(y);
    const size_t chroma_stride = chroma_width(format, width);
    const size_t plane = chroma_stride * chroma_height(format, static_cast<size_t>(picture.height));
    const uint8_t *luma = &picture.bytes[row * width];
    const uint8_t *cb =
        &picture.bytes[luma_bytes(width, static_cast<size_t>(picture.height))] + row / format.chroma_v * chroma_stride;
    const uint8_t *cr = cb + plane;
    for (size_t x = 0; x < width; ++x, out += 3)
        store_ycc(luma[x], cb[x / format.chroma_h], cr[x / format.chroma_h], out);
}

void semi_planar_to_rgb(const Picture &picture, int32_t y, uint8_t *out) {
    const PixelFormat &format = *picture.format;
    const size_t width = static_cast<size_t>(picture.width), row = static_cast<size_t>(y);
    const uint8_t *luma = &picture.bytes[row * width];
    const uint8_t *pairs =
        &picture.bytes[luma_bytes(width, static_cast<size_t>(picture.height))] + row / 2 * pair_row_bytes(width);
    for (size_t x = 0; x < width; ++x, out += 3) {
        const uint8_t *pair = pairs + (x & ~size_t{1});
        store_ycc(luma[x], pair[format.order[0]], pair[format.order[1]], out);
    }
}

void yuyv_to_rgb(const uint8_t *row, int32_t width, uint8_t *out) {
    for (int32_t x = 0; x < width; ++x, out += 3) {
        const uint8_t *quad = row + x / 2 * 4;
        store_ycc(quad[x % 2 * 2], quad[1], quad[3], out);
    }
}

}  // namespace

const PixelFormat *find_format(std::string_view name) {
    for (const PixelFormat &format : kFormats)
        if (name == format.name) return &format;
    return nullptr;
}

std::vector<std::string> format_names() {
    std::vector<std::string> names;
    for (const PixelFormat &format : kFormats) names.emplace_back(format.name);
    return names;
}

uint64_t picture_bytes(const PixelFormat &format, int32_t width, int32_t height) {
    const uint64_t w = static_cast<uint64_t>(width), h = static_cast<uint64_t>(height);
    switch (format.layout) {
        case Layout::kGray:
            return luma_bytes(w, h);
        case Layout::kPlanar:
            return luma_bytes(w, h) + 2 * chroma_width(format, w) * chroma_height(format, h);
        case Layout::kSemiPlanar:
            return luma_bytes(w, h) + pair_row_bytes(w) * ((h + 1) / 2);
        case Layout::kYuyv:
            return yuyv_row_bytes(w) * h;
        default:
            return w * h * format.pixel_bytes;
    }
}

Picture make_picture(const PixelFormat &format, int32_t width, int32_t height) {
    Picture picture{&format, width, height, std::vector<uint8_t>(picture_bytes(format, width, height))};
    if (format.layout == Layout::kPlanar || format.layout == Layout::kSemiPlanar) {
        const auto chroma =
            static_cast<ptrdiff_t>(luma_bytes(static_cast<uint64_t>(width), static_cast<uint64_t>(height)));
        std::fill(picture.bytes.begin() + chroma, picture.bytes.end(), kMiddleChroma);
    } else if (format.layout == Layout::kYuyv) {
        for (size_t at = 1; at < picture.bytes.size(); at += 2) picture.bytes[at] = kMiddleChroma;
    }
    return picture;
}

Picture make_unsized_picture(const PixelFormat &format, int32_t width, int32_t height) {
    const uint8_t fill = format.layout == Layout::kPlanar || format.layout == Layout::kSemiPlanar ? kMiddleChroma : 0;
    return {&format, width, height, std::vector<uint8_t>(picture_bytes(format, width, height), fill)};
}

void set_size(Picture *picture, int32_t width, int32_t height) {
    picture->width = width;
    picture->height = height;
    picture->bytes.resize(picture_bytes(*picture->format, width, height));
}

bool is_gray(const Picture &picture) { return picture.format->layout == Layout::kGray; }

void gray_row(const Picture &picture, int32_t y, uint8_t *out) {
    const size_t width = static_cast<size_t>(picture.width);
    std::memcpy(out, &picture.bytes[static_cast<size_t>(y) * width], width);
}

void rgb_row(const Picture &picture, int32_t y, uint8_t *out) {
    const PixelFormat &format = *picture.format;
    const size_t width = static_cast<size_t>(picture.width), index = static_cast<size_t>(y);
    switch (format.layout) {
        case Layout::kWord565:
        case Layout::kBgr565a:
            words_to_rgb(&picture.bytes[index * width * format.pixel_bytes], picture.width, format.pixel_bytes,
                         format.layout == Layout::kBgr565a, out);
            break;
        case Layout::kRgb: {
            const uint8_t *pixel = &picture.bytes[index * width * format.pixel_bytes];
            for (size_t x = 0; x < width; ++x, pixel += format.pixel_bytes)
                for (int channel = 0; channel < 3; ++channel) *out++ = pixel[format.order[channel]];
            break;
        }
        case Layout::kGray:
            for (size_t x = 0; x < width; ++x, out += 3) std::memset(out, picture.bytes[index * width + x], 3);
            break;
        case Layout::kPlanar:
            planar_to_rgb(picture, y, out);
            break;
        case Layout::kYuyv:
            yuyv_to_rgb(&picture.bytes[index * yuyv_row_bytes(width)], picture.width, out);
            break;
        case Layout::kSemiPlanar:
            semi_planar_to_rgb(picture, y, out);
            break;
    }
}

Picture to_rgb888(const Picture &picture) {
    Picture out = make_picture(*find_format("rgb888"), picture.width, picture.height);
    const size_t row_bytes = static_cast<size_t>(picture.width) * 3;
    for (int32_t y = 0; y < picture.height; ++y) rgb_row(picture, y, &out.bytes[static_cast<size_t>(y) * row_bytes]);
    return out;
}

Picture to_gray(const Picture &picture) {
    Picture out = to_rgb888(picture);
    for (size_t i = 0; 3 * i < out.bytes.size(); ++i) out.bytes[i] = out.bytes[3 * i];
    out.format = find_format("gray");
    set_size(&out, picture.width, picture.height);
    return out;
}

}  // namespace vorel_tool
