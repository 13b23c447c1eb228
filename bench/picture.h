// Synthetic pictures that a JPEG coder takes for photographs: as many bits a pixel, spread as in a photograph.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "rows.h"

namespace vorel_bench {

using Bytes = std::vector<uint8_t>;

struct Jpeg {
    int width, height;
    Bytes bytes;
    std::string path;  // the same bytes in a file
};

// The picture before it is compressed: Y, Cb, Cr interleaved. Only the last one is kept.
struct Samples {
    int width, height;
    const Bytes &bytes;
};
Samples samples_for(int megapixels);

// A JPEG of samples that come a row at a time, Y, Cb, Cr interleaved or Y alone, coded as a row of the table says.
Bytes compressed(const Row &row, int width, int height, const std::function<const uint8_t *(int y)> &samples);

// The compressed picture of a row, made on first use and kept. The files stand in a folder that goes with the process.
const Jpeg &jpeg_for(const Row &row);

}  // namespace vorel_bench
