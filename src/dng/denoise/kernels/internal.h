// Between the files of these kernels: who fills which members of a table.
#pragma once

#include "dng/denoise/kernels/kernels.h"

namespace vorel {

void add_scalar_median(DenoiseKernels *table);
void add_vector_median(SimdTarget target, DenoiseKernels *table);

}  // namespace vorel
