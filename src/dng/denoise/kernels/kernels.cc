// The tables of kernels, one per target that this CPU runs.
#include "dng/denoise/kernels/kernels.h"

#include "dng/denoise/kernels/internal.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, DenoiseKernels *table) {
    add_scalar_median(table);
    add_vector_median(target, table);
}
using Registry = KernelRegistry<DenoiseKernels, fill>;

}  // namespace

const DenoiseKernels &scalar_denoise_kernels() { return Registry::scalar(); }
const DenoiseKernels &denoise_kernels() { return Registry::best(); }
int runnable_denoise_kernels(const DenoiseKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
