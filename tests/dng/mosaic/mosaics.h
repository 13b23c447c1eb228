// Mosaics for the tests of this folder.
#pragma once

#include <random>
#include <string>

#include "dng/mosaic/mosaic_info.h"
#include "dng/support/plain_context.h"

namespace vorel::test {

// Rows of a pattern of digits, which are planes: "01/12".
inline VorelDngMosaicInfo mosaic_of(const std::string &rows, uint32_t layout = 1) {
    VorelDngMosaicInfo mosaic;
    mosaic.layout = layout;
    mosaic.cfaRows = 1;
    int32_t column = 0;
    for (const char cell : rows) {
        if (cell == '/') {
            ++mosaic.cfaRows;
            column = 0;
            continue;
        }
        // Colours that are not their planes' numbers.
        mosaic.cfaPattern[mosaic.cfaRows - 1][column++] = static_cast<uint8_t>(cell - '0' + 3);
        mosaic.colorPlanes = std::max(mosaic.colorPlanes, static_cast<uint32_t>(cell - '0' + 1));
    }
    mosaic.cfaColumns = column;
    for (uint8_t plane = 0; plane < kMaxDngPlanes; ++plane) mosaic.planeColor[plane] = static_cast<uint8_t>(plane + 3);
    return mosaic;
}

inline uint32_t plane_at(const VorelDngMosaicInfo &mosaic, int32_t row, int32_t column) {
    return mosaic.cfaPattern[row % mosaic.cfaRows][column % mosaic.cfaColumns] - 3U;
}

template <typename Sample, typename Value>
void fill(VorelDngImage &image, const Value &value) {
    const DngRect &bounds = image.getBounds();
    for (int32_t row = bounds.top; row < bounds.bottom; ++row)
        for (int32_t column = bounds.left; column < bounds.right; ++column)
            for (uint32_t plane = 0; plane < image.planes(); ++plane)
                *image.at<Sample>(row, column, plane) = static_cast<Sample>(value(row, column));
}

// 16-bit samples, a third of them at the ends of the range.
inline void fill_noise(VorelDngImage &image, unsigned seed) {
    std::mt19937 random(seed);
    fill<uint16_t>(image, [&](int32_t, int32_t) {
        const unsigned value = random();
        return value >> 16 & 1 && value >> 17 & 1 ? (value & 1) * 0xFFFF : value & 0xFFFF;
    });
}

constexpr const char *kPhases[] = {"01/12", "10/21", "12/01", "21/10"};
constexpr const char *kQuad = "0011/0011/1122/1122";
constexpr const char *kSix = "121010/102112/010121/121010/102112/010121";

}  // namespace vorel::test
