// A WBMP decoder that walks the picture step by step, for comparison: no tables, no closed forms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorel::test {

struct WbmpPicture {
    int32_t width, height;
    std::vector<uint8_t> rows;  // packed bits, (width + 7) / 8 bytes a row

    bool white(int32_t x, int32_t y) const {
        return rows[static_cast<std::size_t>(y * ((width + 7) / 8) + x / 8)] >> (7 - x % 8) & 1;
    }
};

struct WbmpTarget {
    int32_t width, height, format;
    bool stretch;
};

// The target after decoding, from the target before; the size written goes to out_width and out_height.
std::vector<uint8_t> model_wbmp(const WbmpPicture &picture, const WbmpTarget &target, std::vector<uint8_t> before,
                                int32_t *out_width, int32_t *out_height);

// Bytes of a pixel.
int32_t wbmp_pixel_bytes(int32_t format);

}  // namespace vorel::test
