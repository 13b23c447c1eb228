// The rule of transparency over pixels of 4 bytes. What it does depends on the header alone.
#pragma once

#include <cstdint>

#include "png/png.h"

namespace vorel {

struct TransparencyRule {
    enum Kind : uint8_t {
        kNothing,
        kPremultiply,  // colours times alpha
        kClear,        // to zero where alpha is 0, or where the bytes under the mask are the key
    };
    Kind kind;
    uint32_t key, mask;  // over a pixel as a little-endian word
};

// Required: the members of the family differ. Over a whole row in place, palette pictures are left alone and gray keys
// are compared with the first byte; the others clear the transparent pixels of palette pictures, and compare all three
// bytes unless samples have 8 bits.
enum class RowUse { kWholeInPlace, kPicked };

TransparencyRule transparency_rule(png_structp png, png_infop info, RowUse use);
void apply_rule(const TransparencyRule &rule, uint8_t *pixels, int64_t count);

}  // namespace vorel
