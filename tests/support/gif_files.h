// GIF files made by code, and what stands in one: the form that models and oracles work on.
#pragma once

#include <random>

#include "support/samples.h"

namespace vorel::test {

struct GifFrame {
    int left = 0, top = 0, width = 0, height = 0;
    bool interlaced = false;
    Bytes palette = {};  // local; R, G, B
    Bytes indices = {};  // width * height, in the order of rows
    int disposal = 0;
    int transparent = -1;
    int delay = 0;        // hundredths of a second
    bool control = true;  // whether there is a graphic control before it
};

struct GifFile {
    int width = 0, height = 0, background = 0;
    Bytes palette;  // global; R, G, B
    std::vector<GifFrame> frames;

    const Bytes &palette_of(const GifFrame &frame) const { return frame.palette.empty() ? palette : frame.palette; }
};

struct GifEncoding {
    int min_code_size = 8;
    bool late_clear = false;  // goes on with a full table instead of clearing it
    size_t sub_block = 255;
    bool terminated = true;
};

// The codes of the indices, most of them, in sub-blocks.
Bytes gif_codes(const Bytes &indices, const GifEncoding &encoding);
// Puts code bytes into sub-blocks.
Bytes gif_sub_blocks(const Bytes &data, size_t most = 255);
Bytes gif_palette(std::mt19937 &random, int colours);
// A frame's descriptor, table and minimum code size; the sub-blocks follow.
Bytes gif_frame_head(const GifFrame &frame, int min_code_size);
Bytes gif_file(const GifFile &file, const GifEncoding &encoding = {});

// Patches of few and of many colours, so that codes of all lengths come up.
Bytes gif_picture(std::mt19937 &random, int width, int height, int colours);

}  // namespace vorel::test
