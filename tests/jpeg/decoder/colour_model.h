// What a decode has to give, by the rules, pixel by pixel: the scale, the taps, the crop, the turn, the store.
#pragma once

#include <map>

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

// What the MCU decoder of a scale leaves of a block: a symbol is kept when it begins below `keep`.
void drop_coefficients(int16_t *block, int keep);

// A width x height buffer, and where in it the picture begins. Pairs of pixels may begin elsewhere than planes.
struct Place {
    int width, height, left = 0, top = 0, pair_left = 0;
};
// The picture in a buffer of the format whose untouched bytes are `fill`.
Bytes stored(const Samples &picture, int32_t format, uint8_t fill, const Place &place);
Bytes stored(const Samples &picture, int32_t format, uint8_t fill);

// Decodes of one file, from an independent decoder's samples and coefficients.
class DecodeModel {
  public:
    explicit DecodeModel(const Bytes &jpeg);
    explicit operator bool() const { return coded_.has_value(); }
    const CodedPicture &coded() const { return *coded_; }
    Decoded operator()(const DecodeSpec &wanted);

  private:
    // The picture at 1, 1/2, 1/4 or 1/8 by the scale's transforms.
    const Samples &scaled(int scale);

    std::optional<CodedPicture> coded_;
    std::vector<CodedBlocks> blocks_;
    bool interleaved_;
    std::map<int, Samples> scaled_;
};

}  // namespace vorel::test
