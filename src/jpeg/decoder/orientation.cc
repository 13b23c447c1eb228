// The orientation of a picture.
#include "jpeg/decoder/orientation.h"

namespace vorel {

// Exif is not read yet: every picture counts as upright.
int32_t exif_orientation(DecInfo *) { return 1; }

}  // namespace vorel
