// The tables of kernels, one per target that this CPU runs.
#include "jpeg/encoder/kernels/kernels.h"

#include "jpeg/encoder/kernels/internal.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, EncoderKernels *table) {
    add_scalar_forward(table);
    add_scalar_input(table);
    add_vector_forward(target, table);
    add_vector_input(target, table);
}
using Registry = KernelRegistry<EncoderKernels, fill>;

}  // namespace

const EncoderKernels &scalar_encoder_kernels() { return Registry::scalar(); }
const EncoderKernels &encoder_kernels() { return Registry::best(); }
int runnable_encoder_kernels(const EncoderKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
