// The tables of kernels, one per target that this CPU runs.
#include "dng/render/kernels/kernels.h"

#include "dng/render/kernels/internal.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, RenderKernels *table) {
    add_scalar_render(table);
    add_vector_render(target, table);
}
using Registry = KernelRegistry<RenderKernels, fill>;

}  // namespace

const RenderKernels &scalar_render_kernels() { return Registry::scalar(); }
const RenderKernels &render_kernels() { return Registry::best(); }
int runnable_render_kernels(const RenderKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
