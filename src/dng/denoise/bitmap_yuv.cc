// RGB of three bytes to planes and back, by formulas of its own: Cr comes before Cb.
#include <vorel/dng_samples.h>

#include <algorithm>
#include <cstddef>

namespace {

uint8_t byte_of(double v) { return static_cast<uint8_t>(std::clamp(v + 0.5, 0.0, 255.0)); }

struct PixelYuv {
    explicit PixelYuv(const uint8_t *rgb) {
        y = byte_of(0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2]);
        chroma[0] = byte_of(128 + (rgb[0] - y) * 0.713);
        chroma[1] = byte_of(128 + (rgb[2] - y) * 0.564);
    }
    uint8_t y, chroma[2];
};

// Truncated toward 0 first, so that adding a half decides nothing.
uint8_t truncated(double v) { return byte_of(static_cast<double>(static_cast<int32_t>(v))); }

}  // namespace

extern "C" void Bitmap2Yuv420p(uint8_t *yuv, const uint8_t *rgb, int32_t width, int32_t height) {
    if (width < 1 || height < 1) return;
    const ptrdiff_t columns = width, half_width = width / 2, half_height = height / 2;
    for (ptrdiff_t i = 0; i < columns * height; ++i) yuv[i] = PixelYuv(rgb + 3 * i).y;
    uint8_t *chroma = yuv + columns * height;
    for (ptrdiff_t y = 0; y < half_height; ++y) {
        for (ptrdiff_t x = 0; x < half_width; ++x) {
            const uint8_t *at = rgb + 3 * (2 * y * columns + 2 * x);
            const PixelYuv block[4] = {PixelYuv(at), PixelYuv(at + 3), PixelYuv(at + 3 * columns),
                                       PixelYuv(at + 3 * columns + 3)};
            for (ptrdiff_t i = 0; i < 2; ++i) {
                const int sum = block[0].chroma[i] + block[1].chroma[i] + block[2].chroma[i] + block[3].chroma[i];
                chroma[(i * half_height + y) * half_width + x] = static_cast<uint8_t>((sum + 2) >> 2);
            }
        }
    }
}

extern "C" void Yuv420p2Bitmap(uint8_t *rgb, const uint8_t *yuv, int32_t width, int32_t height) {
    if (width < 1 || height < 1) return;
    const ptrdiff_t columns = width, half_width = width / 2, half_height = height / 2;
    const uint8_t *chroma = yuv + columns * height;
    for (ptrdiff_t y = 0; y < height; ++y) {
        for (ptrdiff_t x = 0; x < columns; ++x, rgb += 3) {
            const ptrdiff_t at = std::min(y / 2, half_height - 1) * half_width + std::min(x / 2, half_width - 1);
            const bool there = half_width > 0 && half_height > 0;
            const int cr = there ? chroma[at] - 128 : 0;
            const int cb = there ? chroma[half_width * half_height + at] - 128 : 0;
            const int luma = yuv[y * columns + x];
            rgb[0] = truncated(luma + 1.403 * cr);
            rgb[1] = truncated(luma - 0.714 * cr - 0.344 * cb);
            rgb[2] = truncated(luma + 1.773 * cb);
        }
    }
}
