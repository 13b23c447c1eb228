// libjpeg-turbo as an oracle: pictures to decode, and what an independent decoder makes of them.
#pragma once

#include <optional>
#include <vector>

#include "support/inputs.h"

namespace vorel::test {

enum class Scans { kInterleaved, kOnePerComponent, kLumaThenChroma };
enum class Colour { kGray, kYcc, kRgb, kCmyk, kYcck };

struct Plane {
    int width = 0, height = 0;
    Bytes samples;
    uint8_t at(int x, int y) const {
        return samples[static_cast<size_t>(y < height ? y : height - 1) * static_cast<size_t>(width) +
                       static_cast<size_t>(x < width ? x : width - 1)];
    }
};

// The components as they are coded, before upsampling and colour conversion.
struct CodedPicture {
    int width = 0, height = 0, max_h = 1, max_v = 1;
    struct Component {
        int h = 1, v = 1;
        Plane plane;
    };
    std::vector<Component> components;
    bool baseline = false, arithmetic = false;
    Colour colour = Colour::kYcc;
    bool rgb() const { return colour == Colour::kRgb || colour == Colour::kCmyk; }
    int warnings = 0;
    // Component c at picture position (x, y), each sample repeated over the pixels that it stands for.
    uint8_t box(size_t c, int x, int y) const {
        const Component &k = components[c];
        return k.plane.at(x * k.h / max_h, y * k.v / max_v);
    }
};

// Raw data by the accurate transform; nothing when the oracle refuses the stream.
std::optional<CodedPicture> turbo_planes(const Bytes &jpeg);

// Quantised coefficients of each component in natural order, block after block in rows of `across` blocks.
struct CodedBlocks {
    int across = 0, down = 0;
    std::vector<int16_t> coefficients;
    uint16_t quant[64] = {};
};
std::vector<CodedBlocks> turbo_coefficients(const Bytes &jpeg);
// The other way: planes as they are coded, their last samples repeated, by the accurate transform.
Bytes turbo_encode(const CodedPicture &picture, int quality);

struct PictureSpec {
    int width = 64, height = 48;
    Colour colour = Colour::kYcc;
    int h = 2, v = 2;  // of the first component; the others have 1 x 1
    int quality = 85;
    unsigned restart_interval = 0;
    Scans scans = Scans::kInterleaved;
    bool progressive = false, optimize = false;
    unsigned seed = 1;
    int noise = 24;
    bool smooth = false;  // gradients alone, another one in each channel
};
inline PictureSpec sized(int width, int height, int h, int v) {
    return {.width = width, .height = height, .h = h, .v = v};
}
// A synthetic picture: gradients, an edge and noise.
Bytes turbo_picture(const PictureSpec &spec);

}  // namespace vorel::test
