// What the GIF tests share: animations into guarded buffers, and files of all kinds.
#pragma once

#include "raster/gif_model.h"

namespace vorel::test {

// All pictures until a call does not give 1. The buffer is another one for each.
std::vector<RasterPicture> decode_animation(DecInfo *session, const RasterTarget &target);
std::vector<RasterPicture> decode_animation(Kind kind, const Bytes &file, const RasterTarget &target);

// One to five frames, some of them beyond the screen, interlaced, transparent, with local tables.
GifFile random_gif(std::mt19937 &random, int most_side, int colours, int frames);

}  // namespace vorel::test
