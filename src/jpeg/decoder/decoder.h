// Front of the JPEG decoder for the other modules.
#pragma once

#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/orientation.h"

namespace vorel {

// VORELBRIM_DecodeRegion in a COLOR_ format of its own: the open session's stays, as other threads ask for another one.
int32_t decode_region_as(DecInfo *base, int32_t format, void *output, int32_t width, int32_t height, int32_t x,
                         int32_t y, int32_t part_width, int32_t part_height, int32_t sample);

}  // namespace vorel
