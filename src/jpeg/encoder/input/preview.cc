// Camera previews: 4:2:0 to RGB565 by tables.
#include <vorel/jpeg_encoder_input.h>

#include <cstddef>

namespace vorel {
namespace {

constexpr int kEntries = 256, kZero = 512;  // of the clamp, where a value of 0 stands
struct Terms {
    int32_t of[kEntries];
};

// factor / 1000 times the distance from the centre, which these tables have at 127, rounded away from zero.
constexpr Terms rounded_terms(int32_t factor) {
    Terms terms = {};
    for (int32_t i = 0; i < kEntries; ++i) {
        const int32_t product = factor * (i - 127), half = product < 0 ? -500 : 500;
        terms.of[i] = (product + half) / 1000;
    }
    return terms;
}
constexpr Terms scaled_terms(int32_t factor, int32_t more) {
    Terms terms = {};
    for (int32_t i = 0; i < kEntries; ++i) terms.of[i] = factor * (i - 127) + more;
    return terms;
}
struct Clamp {
    uint8_t of[1024];
};
constexpr Clamp clamp_table() {
    Clamp clamp = {};
    for (int i = kZero; i < 1024; ++i) clamp.of[i] = static_cast<uint8_t>(i - kZero < 255 ? i - kZero : 255);
    return clamp;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

// Under names that the library keeps to itself, so that loops reach them without the table of exported symbols.
#define VOREL_HIDDEN extern const __attribute__((visibility("hidden")))
VOREL_HIDDEN constinit Terms vorel_red_of_cr = rounded_terms(1402);
VOREL_HIDDEN constinit Terms vorel_blue_of_cb = rounded_terms(1772);
VOREL_HIDDEN constinit Terms vorel_green_of_cr = scaled_terms(-46802, 0);
VOREL_HIDDEN constinit Terms vorel_green_of_cb = scaled_terms(-22554, 32768);
VOREL_HIDDEN constinit Clamp vorel_clamp = clamp_table();
#undef VOREL_HIDDEN

extern const int32_t rim_EnCrrTab[256] __attribute__((alias("vorel_red_of_cr")));
extern const int32_t rim_EnCbbTab[256] __attribute__((alias("vorel_blue_of_cb")));
extern const int32_t rim_EnCrgTab[256] __attribute__((alias("vorel_green_of_cr")));
extern const int32_t rim_EnCbgTab[256] __attribute__((alias("vorel_green_of_cb")));
extern const uint8_t rim_EnRangeTalbe[1024] __attribute__((alias("vorel_clamp")));

}  // extern "C"

namespace {

// Chroma samples of a row stand `step` bytes apart.
struct Chroma565 {
    const uint8_t *u, *v;
    ptrdiff_t step;
};

void convert_row(const uint8_t *y, const Chroma565 &chroma, int32_t width, uint16_t *out) {
    const uint8_t *clamp = vorel_clamp.of + kZero;
    for (int32_t x = 0; x < width; ++x) {
        const uint8_t u = chroma.u[x / 2 * chroma.step], v = chroma.v[x / 2 * chroma.step];
        const int32_t r = clamp[y[x] + vorel_red_of_cr.of[v]], b = clamp[y[x] + vorel_blue_of_cb.of[u]];
        const int32_t g = clamp[y[x] + ((vorel_green_of_cb.of[u] + vorel_green_of_cr.of[v]) >> 16)];
        out[x] = static_cast<uint16_t>((r >> 3) << 11 | (g >> 2) << 5 | b >> 3);
    }
}

void convert(const uint8_t *y, const Chroma565 &chroma, int32_t width, int32_t height, uint16_t *out) {
    const ptrdiff_t chroma_row = (ptrdiff_t{width} + 1) / 2 * chroma.step;
    for (int32_t row = 0; row < height; ++row) {
        const ptrdiff_t skipped = row / 2 * chroma_row, at = ptrdiff_t{row} * width;
        convert_row(y + at, {chroma.u + skipped, chroma.v + skipped, chroma.step}, width, out + at);
    }
}

ptrdiff_t plane_bytes(int32_t width, int32_t height) { return ptrdiff_t{width} * height; }

}  // namespace

extern "C" {

void rim_EyeYUV420toRGB565(const uint8_t *src, int32_t width, int32_t height, uint16_t *dst) {
    if (width < 1 || height < 1) return;
    const uint8_t *u = src + plane_bytes(width, height);
    const ptrdiff_t chroma = plane_bytes((width + 1) / 2, (height + 1) / 2);
    convert(src, {u, u + chroma, 1}, width, height, dst);
}

void rim_EyePYV0420toRGB565(const uint8_t *src, int32_t width, int32_t height, uint16_t *dst) {
    if (width < 1 || height < 1) return;
    const uint8_t *pairs = src + plane_bytes(width, height);
    convert(src, {pairs, pairs + 1, 2}, width, height, dst);
}

}  // extern "C"
