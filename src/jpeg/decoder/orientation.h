// The orientation of a picture, as its Exif record tells it (Exif 2.3, tag 274).
#pragma once

#include <vorel/frame.h>

namespace vorel {

// 1 to 8; 1 where there is none. The input's position is not kept.
int32_t exif_orientation(DecInfo *session);

}  // namespace vorel
