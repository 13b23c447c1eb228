// Sizes of sample buffers, every product checked.
#pragma once

#include <cstdint>

#include "dng/base/geometry.h"
#include "dng/image/pixel_buffer.h"

#include <vorel/dng_samples.h>

// Bytes of size rows and columns of pixels with so many planes; 0 when they do not fit in 32 bits, for an unknown type
// or an empty size. padding: a PaddingType.
uint32_t ComputeBufferSize(uint32_t pixelType, const vorel::DngPoint &size, uint32_t planes, uint32_t padding);
