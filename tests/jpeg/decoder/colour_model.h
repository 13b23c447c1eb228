// What a picture must look like in each colour format: the rules, pixel by pixel.
#pragma once

#include <functional>

#include "jpeg/decoder/decode_support.h"
#include "oracle/turbo.h"

namespace vorel::test {

// A picture at full resolution in every component, in the colour space of its source.
struct Samples {
    int width = 0, height = 0;
    Colour colour = Colour::kYcc;
    std::vector<Bytes> planes;
    uint8_t at(size_t c, int x, int y) const {
        return planes[c][static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
};

// The box-upsampled picture of an oracle's planes.
Samples upsampled(const CodedPicture &coded, Colour colour);

// The picture as a width x height buffer of the format whose untouched bytes are `fill`.
Bytes stored(const Samples &picture, int32_t format, uint8_t fill);

// Output of other sizes, by the rules of the mean of four samples and of the centre sample.
Samples mean_of_four(const Samples &source, int width, int height);
Samples centre_sample(const Samples &source, int width, int height);

// The picture turned clockwise by 0, 90, 180 or 270 degrees.
Samples turned(const Samples &source, int degrees);
Samples cut(const Samples &source, int x, int y, int width, int height);

}  // namespace vorel::test
