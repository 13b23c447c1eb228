// What the GIF tests share: decodes into guarded buffers, and files of all kinds.
#pragma once

#include <vorel/raster.h>

#include "raster/gif_model.h"

namespace vorel::test {

struct GifPicture {
    int32_t result = -1;
    uint32_t width = 0, height = 0, delay = 0;
    Bytes pixels;
};

// fill is what the buffer holds before.
GifPicture decode_gif(Kind kind, const Bytes &file, GifSize screen, const GifTarget &target, uint8_t fill = 0x5B);

// All pictures until a call does not give 1, at most `most`. The buffer is filled anew before each.
std::vector<GifPicture> decode_animation(DecInfo *session, GifSize screen, const GifTarget &target, size_t most = 1000,
                                         uint8_t fill = 0x5B);
std::vector<GifPicture> decode_animation(Kind kind, const Bytes &file, GifSize screen, const GifTarget &target);

// One to five frames, some of them beyond the screen, interlaced, transparent, with local tables.
GifFile random_gif(std::mt19937 &random, int most_side, int colours, int frames);

}  // namespace vorel::test
