// Between the files of this module: who fills which members of a table.
#pragma once

#include "png/kernels/kernels.h"

namespace vorel {

// Fill their members with the plainest code.
void add_scalar_adler(PngKernels *table);
void add_scalar_filters(PngKernels *table);
void add_scalar_pixels(PngKernels *table);
// Replace the members that have a vector twin for the target.
void add_vector_adler(SimdTarget target, PngKernels *table);
void add_vector_filters(SimdTarget target, PngKernels *table);
void add_vector_pixels(SimdTarget target, PngKernels *table);

}  // namespace vorel
