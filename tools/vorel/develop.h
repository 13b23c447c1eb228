// Raw files as pictures, for the subcommands that take any picture.
#pragma once

#include "pixels.h"
#include "raw_file.h"

namespace vorel_tool {

// R, G, B, A, at full size; as stored, or as the camera was held. A bar shows how far it is. Throws Failure.
Picture develop_whole(const RawFile &raw, bool oriented);

}  // namespace vorel_tool
