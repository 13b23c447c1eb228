// Readers of pixels: RGB to YCbCr with chroma of 2 x 2 pixels, by arithmetic of each format's own.
#include <vorel/jpeg_encoder_input.h>

#include "jpeg/encoder/input/sample_rows.h"
#include "util/kernels/kernels.h"

namespace vorel {
namespace {

// What an MCU row's pixels become.
struct PixelRowsOut {
    uint8_t **y, **u, **v;
    uint32_t width, rows;

    explicit PixelRowsOut(const JEInfo *session)
        : y(session->sampling->rows[0]),
          u(session->sampling->rows[1]),
          v(session->sampling->rows[2]),
          width(session->width),
          rows(session->components[0].rowsThisMcu) {}
    uint32_t chroma_rows() const { return (rows + 1) / 2; }
    void repeat(const JEInfo *session) const {
        repeat_rows(y, rows, session->components[0]);
        repeat_rows(u, chroma_rows(), session->components[1]);
        repeat_rows(v, chroma_rows(), session->components[2]);
    }
};

// Chroma behind the picture's last pixels, which are repeated before four become one: two values in turn.
struct ChromaPadding {
    uint8_t u[2], v[2];

    ChromaPadding(void (*convert)(const RgbaRows &rows), const uint8_t *top, const uint8_t *bottom) {
        constexpr int kPixels = 4;
        uint8_t pixels[2][4 * kPixels], luma[kPixels];
        for (int i = 0; i < kPixels; ++i) {
            std::memcpy(pixels[0] + 4 * i, top, 4);
            std::memcpy(pixels[1] + 4 * i, bottom, 4);
        }
        convert({{pixels[0], pixels[1]}, kPixels, {luma, luma}, u, v});
    }
};

int32_t read_four_byte_pixels(JEInfo *session, void (*convert)(const RgbaRows &rows)) {
    if (!takes_samples(session, session->inputBase)) return 1;
    const PixelRowsOut out(session);
    const uint32_t padded = session->components[0].paddedWidth, chroma_padded = session->components[1].paddedWidth;
    const size_t row_bytes = size_t{4} * out.width;
    for (uint32_t y = 0; y < out.rows; y += 2) {
        const bool both = y + 1 < out.rows;
        const uint8_t *top = session->inputBase, *bottom = both ? top + row_bytes : top;
        uint8_t *u = out.u[y / 2], *v = out.v[y / 2];
        convert({{top, both ? bottom : nullptr}, static_cast<int32_t>(out.width), {out.y[y], out.y[y + both]}, u, v});
        for (uint32_t row = y; row <= y + both; ++row) pad_row(out.y[row], out.width, padded);
        if (uint32_t x = (out.width + 1) / 2; x < chroma_padded) {
            const ChromaPadding padding(convert, top + row_bytes - 4, bottom + row_bytes - 4);
            for (; x < chroma_padded; ++x) u[x] = padding.u[x % 2], v[x] = padding.v[x % 2];
        }
        session->inputBase += row_bytes * (1 + both);
    }
    out.repeat(session);
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_get_raw_rgb565_data(JEInfo *session) {
    if (!takes_samples(session, session->inputBase)) return 1;
    const PixelRowsOut out(session);
    const uint32_t even = out.width & ~1u;
    const size_t row_bytes = size_t{2} * out.width;
    for (uint32_t y = 0; y < out.rows; y += 2) {
        const uint32_t second = y + (y + 1 < out.rows);
        const uint8_t *top = session->inputBase, *bottom = top + row_bytes * (second - y);
        uint8_t *u = out.u[y / 2], *v = out.v[y / 2];
        session->work->kernels->rgb565_rows(
            {{top, bottom}, static_cast<int32_t>(even), {out.y[y], out.y[second]}, u, v});
        for (uint32_t row = y; row <= second; ++row) pad_row(out.y[row], even, session->components[0].paddedWidth);
        pad_row(u, even / 2, session->components[1].paddedWidth);
        pad_row(v, even / 2, session->components[2].paddedWidth);
        session->inputBase = const_cast<uint8_t *>(bottom + (second > y ? row_bytes : 0));
    }
    out.repeat(session);
    return 1;
}

// Nothing is padded: beyond the picture stands what the rows were filled with or, below it, the MCU row before.
int32_t __rim_jpeg_enc_get_raw_rgb888_data(JEInfo *session) {
    if (!takes_samples(session, session->inputBase)) return 1;
    const PixelRowsOut out(session);
    for (uint32_t y = 0; y < out.rows; ++y) {
        const bool first = y % 2 == 0;
        session->work->kernels->rgb888_row(session->inputBase, static_cast<int32_t>(out.width), out.y[y],
                                           first ? out.u[y / 2] : nullptr, first ? out.v[y / 2] : nullptr);
        session->inputBase += size_t{3} * out.width;
    }
    return 1;
}

int32_t __rim_jpeg_enc_get_raw_rgba8888_data(JEInfo *session) {
    return read_four_byte_pixels(session, util_kernels().rgba_to_sampled);
}

int32_t __rim_jpeg_enc_get_raw_bgra8888_data(JEInfo *session) {
    return read_four_byte_pixels(session, util_kernels().bgra_to_sampled);
}

void h2v2_downsample(JEInfo *, JEComponent *component, uint8_t **inputRows, uint8_t **outputRows) {
    const uint8_t *top = inputRows[0], *bottom = inputRows[1];
    for (uint32_t x = 0; x < 8 * component->widthInBlocks; ++x, top += 2, bottom += 2) {
        outputRows[0][x] = static_cast<uint8_t>((top[0] + top[1] + bottom[0] + bottom[1] + 1 + x % 2) >> 2);
    }
}

}  // extern "C"
