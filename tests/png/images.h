// PNG files by libpng: every colour type and depth, interlaced or not, with transparency chunks, all filters, IDAT
// chunks of any size.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/inputs.h"

namespace vorel::test {

struct PngSpec {
    int width = 37, height = 29;
    int colour_type = 2, depth = 8;
    bool interlaced = false;
    bool transparency = false;  // a tRNS chunk; of pictures with alpha it would be ignored
    int idat_bytes = 1000;
    unsigned seed = 1;
    bool smooth = false;  // compresses well
    Bytes extra = {};     // chunks in front of the first IDAT
    uint32_t noise = 0;   // bits of it upon what is smooth
    // As zlib takes them; 0 for the strategy and -1 for the level are its defaults.
    int level = -1, strategy = 0, memory_level = 8, window_bits = 15;

    std::string name() const;
};

Bytes make_png(const PngSpec &spec);
// A chunk with its length and check value.
Bytes png_chunk(const char *name, const Bytes &data);
// Where the chunks of a file start, with their names.
struct ChunkAt {
    size_t offset;
    std::string name;
    size_t length;
};
std::vector<ChunkAt> chunks_of(const Bytes &png);

// All 15 forms with and without transparency, both ways of interlacing.
std::vector<PngSpec> all_forms(int width, int height);

}  // namespace vorel::test
