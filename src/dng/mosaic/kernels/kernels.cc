// The tables of kernels, one per target that this CPU runs.
#include "dng/mosaic/kernels/kernels.h"

#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, MosaicKernels *table) {
    add_scalar_bayer_row(table);
    add_scalar_block_sums(table);
    add_vector_bayer_row(target, table);
    add_vector_block_sums(target, table);
}
using Registry = KernelRegistry<MosaicKernels, fill>;

}  // namespace

const MosaicKernels &mosaic_kernels() { return Registry::best(); }
int runnable_mosaic_kernels(const MosaicKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
