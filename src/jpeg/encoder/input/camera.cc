// Packed 4:2:2 of a camera, made smaller: four samples to one, packed three to a word on the way.
#include <vorel/jpeg_encoder_input.h>

#include "core/core.h"
#include "jpeg/encoder/input/sample_rows.h"

namespace vorel {
namespace {

// Y, U and V from their bits on; sums of four need two bits more than a sample.
constexpr int kLumaBit = 20, kCbBit = 10;

uint32_t packed_sample(const uint8_t *row, int32_t column) {
    const uint8_t *pair = row + 4 * static_cast<size_t>(column / 2);
    return static_cast<uint32_t>(pair[column % 2 * 2]) << kLumaBit | static_cast<uint32_t>(pair[1]) << kCbBit | pair[3];
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void __rim_jpeg_enc_write_yuv_to_yuv420(const uint32_t *accumulator, uint8_t **dstPlanes, int32_t dstWidth,
                                        int32_t row) {
    uint8_t *y = dstPlanes[0] + static_cast<size_t>(row) * static_cast<size_t>(dstWidth);
    for (int32_t x = 0; x < dstWidth; ++x) y[x] = static_cast<uint8_t>(accumulator[x] >> (kLumaBit + 2));
    if (row % 2) return;
    const size_t chroma_row = static_cast<size_t>(row / 2) * static_cast<size_t>((dstWidth + 1) / 2);
    uint8_t *u = dstPlanes[1] + chroma_row, *v = dstPlanes[2] + chroma_row;
    for (int32_t x = 0; x < dstWidth; x += 2) {
        *u++ = static_cast<uint8_t>(accumulator[x] >> (kCbBit + 2));
        *v++ = static_cast<uint8_t>(accumulator[x] >> 2);
    }
}

// The four samples of each output pixel stand at a quarter and at three quarters of its share of the source, both ways.
void __rim_jpeg_enc_down_scale_yuv422(const uint8_t *src, int32_t srcWidth, int32_t srcHeight, int32_t,
                                      uint8_t **dstPlanes, int32_t dstWidth, int32_t dstHeight) {
    if (srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1) return;
    const OsBlock block(os_allocate_array<uint32_t>(static_cast<uint64_t>(dstWidth)));
    auto *accumulator = block.as<uint32_t>();
    if (!accumulator) {
        rim_SetError(kEncoderNoMemory);
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return;
    }
    const size_t row_bytes = yuyv_row_bytes(static_cast<uint32_t>(srcWidth));
    for (int32_t y = 0; y < dstHeight; ++y) {
        const uint8_t *rows[2] = {
            src + row_bytes * static_cast<size_t>(tap(first_quarter(srcHeight), srcHeight, dstHeight, y)),
            src + row_bytes * static_cast<size_t>(tap(third_quarter(srcHeight), srcHeight, dstHeight, y))};
        for (int32_t x = 0; x < dstWidth; ++x) {
            const int32_t left = tap(first_quarter(srcWidth), srcWidth, dstWidth, x);
            const int32_t right = tap(third_quarter(srcWidth), srcWidth, dstWidth, x);
            accumulator[x] = 0;
            for (const uint8_t *row : rows) accumulator[x] += packed_sample(row, left) + packed_sample(row, right);
        }
        __rim_jpeg_enc_write_yuv_to_yuv420(accumulator, dstPlanes, dstWidth, y);
    }
}

}  // extern "C"
