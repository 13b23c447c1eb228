// Between the files of this module: who fills which members of a table.
#pragma once

#include "util/kernels/kernels.h"

namespace vorel {

// Fill their members with the plainest code.
void add_scalar_from_yuv(UtilKernels *table);
void add_scalar_to_pairs(UtilKernels *table);
void add_scalar_to_planes(UtilKernels *table);
void add_scalar_pairs(UtilKernels *table);
void add_scalar_resize(UtilKernels *table);
void add_scalar_turns(UtilKernels *table);
// Replace the members that have a vector twin for the target.
void add_vector_from_yuv(SimdTarget target, UtilKernels *table);
void add_vector_to_pairs(SimdTarget target, UtilKernels *table);
void add_vector_to_planes(SimdTarget target, UtilKernels *table);
void add_vector_pairs(SimdTarget target, UtilKernels *table);
void add_vector_resize(SimdTarget target, UtilKernels *table);
void add_vector_turns(SimdTarget target, UtilKernels *table);

}  // namespace vorel
