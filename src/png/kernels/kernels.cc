// The tables of kernels, one per target that this CPU runs.
#include "png/kernels/kernels.h"

#include "png/kernels/internal.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, PngKernels *table) {
    add_scalar_adler(table);
    add_scalar_filters(table);
    add_scalar_pixels(table);
    add_vector_adler(target, table);
    add_vector_filters(target, table);
    add_vector_pixels(target, table);
}
using Registry = KernelRegistry<PngKernels, fill>;

}  // namespace

const PngKernels &scalar_png_kernels() { return Registry::scalar(); }
const PngKernels &png_kernels() { return Registry::best(); }
int runnable_png_kernels(const PngKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
