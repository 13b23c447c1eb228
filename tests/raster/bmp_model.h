// BMP files made by code, and what decoding them has to give, worked out pixel by pixel.
#pragma once

#include "raster/raster_model.h"

namespace vorel::test {

// Samples from the top row down: palette indices, 16-bit words, or 0xXXRRGGBB.
struct BmpPicture {
    int bits;
    int32_t width, height;
    std::vector<uint32_t> samples;
    std::vector<uint32_t> palette;  // 0xRRGGBB

    uint32_t at(int32_t x, int32_t y) const {
        return samples[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
};
BmpPicture random_bmp(uint32_t seed, int bits, int32_t width, int32_t height);

enum class Fields16 { k555, k565, k444 };

struct BmpShape {
    uint32_t header = 40;  // 12, 40, 52, 56, 108, 124
    bool top_down = false;
    Fields16 fields = Fields16::k555;
    bool named_fields = false;  // masks in the file also for 555
};
Bytes bmp_file(const BmpPicture &picture, const BmpShape &shape = {});
// Where the pixels of such a file begin.
size_t bmp_data_offset(const BmpPicture &picture, const BmpShape &shape);
// The same picture in RLE8, in encoded and absolute runs, row by row; deltas pass over runs of index `left_out`.
Bytes rle8_file(const BmpPicture &picture, int left_out = -1);
// A header of 40 bytes, 256 gray colours, compression 1, and these codes.
Bytes rle8_of_codes(int32_t width, int32_t height, const Bytes &codes);

// Over an untouched target. Samples of left_out count as black where the picture is scaled, and are not written
// where it is not.
RasterPicture model_bmp(const BmpPicture &picture, const BmpShape &shape, const RasterTarget &target,
                        int left_out = -1);
// Decodes from every kind of input and compares with the model.
void expect_bmp_as_model(const BmpPicture &picture, const BmpShape &shape, const RasterTarget &target);

}  // namespace vorel::test
