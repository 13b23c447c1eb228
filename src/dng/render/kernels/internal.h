// Between the files of these kernels: who fills which members of a table.
#pragma once

#include "dng/render/kernels/kernels.h"

namespace vorel {

void add_scalar_render(RenderKernels *table);
void add_vector_render(SimdTarget target, RenderKernels *table);

}  // namespace vorel
