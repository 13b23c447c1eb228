// A decode of a BMP into a buffer whose end cannot be overrun.
#pragma once

#include "raster/bmp_model.h"
#include "support/inputs.h"

namespace vorel::test {

constexpr uint8_t kBmpFill = 0x5B;

struct BmpDecoded {
    int32_t result = -1;
    uint32_t width = 0, height = 0;
    Bytes pixels;
};
BmpDecoded decode_bmp(Kind kind, const Bytes &file, const BmpTarget &target);
Bytes bmp_target_bytes(const BmpTarget &target);  // filled

// Decodes from every kind of input and compares with the model.
void expect_bmp_as_model(const BmpPicture &picture, const BmpShape &shape, const BmpTarget &target);

}  // namespace vorel::test
