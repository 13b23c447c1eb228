// What PNG decodes must give: straight R, G, B, A from libpng alone, and upon it the rule of transparency and the
// choice of rows and columns, written down as slow loops over single pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "support/inputs.h"

namespace vorel::test {

struct StraightPng {
    bool good = false;  // libpng reads it to its last row
    int width = 0, height = 0, colour_type = 0, depth = 0;
    bool interlaced = false;
    int transparent_entries = 0;  // of a tRNS chunk
    int key[3] = {};              // as 8 bits; gray in the first
    Bytes rgba;

    const uint8_t *pixel(int x, int y) const {
        return &rgba[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 4];
    }
};
StraightPng straight_png(const Bytes &png);

// decodeVPNG into a buffer of out_width x out_height pixels filled with `fill`, beginning with good data: its result
// and the buffer after it.
struct Decoded {
    int result = 0;
    Bytes pixels;
    bool operator==(const Decoded &other) const = default;
};
struct WholeRequest {
    int out_width, out_height, sample_size, format;
};
Decoded model_whole(const StraightPng &image, const WholeRequest &request, uint8_t fill);

struct RegionRequest {
    int x, y, w, h, sample_size;
};
Decoded model_region(const StraightPng &image, const RegionRequest &request, int format);

// The rule of transparency upon a pixel of a row that is whole or picked from one; rows need not be gray, so the ways
// of comparing show.
void model_pixel(const StraightPng &image, bool whole_row, uint8_t *pixel);

// The row stepper as it is documented: round by round, the kept difference one round behind. Gives the rows to skip.
struct RowStep {
    int difference, y, o;
    bool operator==(const RowStep &) const = default;
};
int model_step(RowStep *at, int src_height, int out_height);

// The rows of the picture that an output of out_height rows keeps, for a picture that is not interlaced; fewer where it
// runs out of rows.
std::vector<int> model_rows(int height, int out_height, int sample_size);
std::vector<int> model_fitted_columns(int width, int out_width);

}  // namespace vorel::test
