// Pictures turned and mirrored as the camera was held (Exif 2.3, tag 274). Orientations beyond 1 to 8 count as 1.
#pragma once

#include <cstdint>

#include "pixels.h"

namespace vorel_tool {

// Rows of the stored picture are columns of the upright one.
bool is_sideways(int32_t orientation);
// The upright picture begins at the right or the bottom of the stored one.
bool is_from_right(int32_t orientation);
bool is_from_below(int32_t orientation);

// R, G, B, A.
Picture upright(Picture picture, int32_t orientation);

}  // namespace vorel_tool
