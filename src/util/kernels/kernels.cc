// The tables of kernels, one per target that this CPU runs.
#include "util/kernels/kernels.h"

#include "util/kernel_registry.h"
#include "util/kernels/internal.h"

namespace vorel {
namespace {

void fill(SimdTarget target, UtilKernels *table) {
    add_scalar_from_yuv(table);
    add_scalar_to_pairs(table);
    add_scalar_to_planes(table);
    add_scalar_pairs(table);
    add_scalar_resize(table);
    add_scalar_turns(table);
    add_vector_from_yuv(target, table);
    add_vector_to_pairs(target, table);
    add_vector_to_planes(target, table);
    add_vector_pairs(target, table);
    add_vector_resize(target, table);
    add_vector_turns(target, table);
}
using Registry = KernelRegistry<UtilKernels, fill>;

}  // namespace

const UtilKernels &scalar_util_kernels() { return Registry::scalar(); }
const UtilKernels &util_kernels() { return Registry::best(); }
int runnable_util_kernels(const UtilKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
