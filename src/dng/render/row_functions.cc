#include "dng/render/row_functions.h"

#include <algorithm>

#include "dng/render/kernels/kernels.h"

namespace {

float limited(float v) { return v > 0 ? v < 1 ? v : 1 : 0; }

// Rows of the matrix in single precision.
struct Rows {
    Rows(const VorelDngMatrix &matrix, uint32_t inputs) {
        for (uint32_t row = 0; row < std::min(3u, matrix.rows()); ++row) {
            for (uint32_t column = 0; column < std::min(inputs, matrix.columns()); ++column) {
                m[row][column] = static_cast<float>(matrix[row][column]);
            }
        }
    }
    float m[3][4] = {};
};

template <uint32_t kInputs>
void camera_to_rgb(const float *src, float *dst, uint32_t count, const VorelDngVector &white,
                   const VorelDngMatrix &matrix) {
    const Rows rows(matrix, kInputs);
    float most[kInputs];
    for (uint32_t i = 0; i < kInputs; ++i) most[i] = i < white.count() ? static_cast<float>(white[i]) : 1;
    for (; count > 0; --count, src += kInputs, dst += 3) {
        float clipped[kInputs];
        for (uint32_t i = 0; i < kInputs; ++i) clipped[i] = src[i] < most[i] ? src[i] : most[i];
        for (int row = 0; row < 3; ++row) {
            float sum = rows.m[row][0] * clipped[0];
            for (uint32_t i = 1; i < kInputs; ++i) sum += rows.m[row][i] * clipped[i];
            dst[row] = limited(sum);
        }
    }
}

}  // namespace

void DoBaselineABCtoRGB(const float *src, float *dst, uint32_t count, const VorelDngVector &white,
                        const VorelDngMatrix &matrix) {
    camera_to_rgb<3>(src, dst, count, white, matrix);
}

void DoBaselineABCDtoRGB(const float *src, float *dst, uint32_t count, const VorelDngVector &white,
                         const VorelDngMatrix &matrix) {
    camera_to_rgb<4>(src, dst, count, white, matrix);
}

void DoBaselineRGBtoRGB(const float *src, float *dst, uint32_t count, const VorelDngMatrix &matrix) {
    const Rows rows(matrix, 3);
    for (; count > 0; --count, src += 3, dst += 3) {
        const float r = src[0], g = src[1], b = src[2];
        for (int row = 0; row < 3; ++row) {
            dst[row] = limited(rows.m[row][0] * r + rows.m[row][1] * g + rows.m[row][2] * b);
        }
    }
}

void DoBaselineRGBtoGray(const float *src, float *dst, uint32_t count, const VorelDngMatrix &matrix) {
    const Rows rows(matrix, 3);
    for (; count > 0; --count, src += 3) {
        *dst++ = limited(rows.m[0][0] * src[0] + rows.m[0][1] * src[1] + rows.m[0][2] * src[2]);
    }
}

void DoBaseline1DTable(const float *src, float *dst, uint32_t count, const VorelDng1dTable &table) {
    for (uint32_t i = 0; i < count; ++i) dst[i] = table.interpolate(src[i]);
}

void DoBaselineRGBTone(const float *src, float *dst, uint32_t count, const VorelDng1dTable &table) {
    for (; count > 0; --count, src += 3, dst += 3) {
        const float rgb[3] = {limited(src[0]), limited(src[1]), limited(src[2])};
        const float most = *std::max_element(rgb, rgb + 3), least = *std::min_element(rgb, rgb + 3);
        const float tone_most = table.interpolate(most), tone_least = table.interpolate(least);
        for (int i = 0; i < 3; ++i) {
            if (rgb[i] == most) {
                dst[i] = tone_most;
            } else if (rgb[i] == least) {
                dst[i] = tone_least;
            } else {
                dst[i] = tone_least + (tone_most - tone_least) * (rgb[i] - least) / (most - least);
            }
        }
    }
}

vorel::HueSatTable vorel::hue_sat_table(const VorelDngHueSatMap &map, const VorelDng1dTable *encode,
                                        const VorelDng1dTable *decode) {
    const bool encoded = encode && decode;
    return {map.data(),
            map.hueDivisions(),
            map.satDivisions(),
            map.valDivisions(),
            map.hueStep(),
            map.valStep(),
            encoded ? encode->data() : nullptr,
            encoded ? decode->data() : nullptr};
}

void doBaselineHueSatMap(const float *src, float *dst, uint32_t count, const VorelDngHueSatMap &map,
                         const VorelDng1dTable *encodeTable, const VorelDng1dTable *decodeTable, int32_t planeStep) {
    const ptrdiff_t plane = planeStep, pixel = planeStep == 1 ? 3 : 1;
    const vorel::HueSatTable table = vorel::hue_sat_table(map, encodeTable, decodeTable);
    for (ptrdiff_t i = 0; i < ptrdiff_t{count} * pixel; i += pixel) {
        float rgb[3] = {src[i], src[i + plane], src[i + 2 * plane]};
        if (!map.empty()) {
            for (float &v : rgb) v = limited(v);
            vorel::hue_sat_pixel(table, rgb);
        }
        dst[i] = rgb[0];
        dst[i + plane] = rgb[1];
        dst[i + 2 * plane] = rgb[2];
    }
}
