// The tables of kernels, one per target that this CPU runs.
#include "jpeg/decoder/kernels/kernels.h"

#include "jpeg/decoder/kernels/internal.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

void fill(SimdTarget target, KernelTable *table) {
    add_scalar_islow(table);
    add_scalar_scaled(table);
    add_scalar_colour(table);
    add_scalar_samples(table);
    add_vector_islow(target, table);
    add_vector_scaled(target, table);
    add_vector_colour(target, table);
    add_vector_samples(target, table);
}
using Registry = KernelRegistry<KernelTable, fill>;

}  // namespace

const KernelTable &scalar_kernels() { return Registry::scalar(); }
const KernelTable &kernels() { return Registry::best(); }
int runnable_kernels(const KernelTable **out) { return Registry::runnable(out); }

}  // namespace vorel
