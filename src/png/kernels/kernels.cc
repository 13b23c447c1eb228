// The tables of kernels, one per target that this CPU runs.
#include "png/kernels/kernels.h"

#include "png/kernels/room.h"

namespace vorel {
namespace {

PngKernels make_table(SimdTarget target) {
    PngKernels table = {};
    table.name = simd_target_name(target);
    add_scalar_filters(&table);
    add_scalar_pixels(&table);
    add_vector_filters(target, &table);
    add_vector_pixels(target, &table);
    return table;
}

struct Tables {
    PngKernels rows[kSimdTargets];
    const PngKernels *best;
    Tables() {
        for (int i = 0; i < kSimdTargets; ++i) {
            rows[i] = make_table(static_cast<SimdTarget>(i));
            if (simd_target_runs(static_cast<SimdTarget>(i))) best = &rows[i];
        }
    }
};

const Tables &tables() {
    static const Tables kept;
    return kept;
}

}  // namespace

const PngKernels &scalar_png_kernels() { return tables().rows[static_cast<int>(SimdTarget::kScalar)]; }

const PngKernels &png_kernels() { return *tables().best; }

int runnable_png_kernels(const PngKernels **out) {
    static_assert(kSimdTargets <= kMaxPngKernels);
    int count = 0;
    for (int i = 0; i < kSimdTargets; ++i) {
        if (simd_target_runs(static_cast<SimdTarget>(i))) out[count++] = &tables().rows[i];
    }
    return count;
}

}  // namespace vorel
