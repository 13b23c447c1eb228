// The tables of kernels, one per target that this CPU runs.
#include "util/kernels/kernels.h"

#include "util/kernels/room.h"

namespace vorel {
namespace {

UtilKernels make_table(SimdTarget target) {
    UtilKernels table = {};
    table.name = simd_target_name(target);
    add_scalar_from_yuv(&table);
    add_scalar_to_yuv(&table);
    add_scalar_pairs(&table);
    add_scalar_resize(&table);
    add_scalar_turns(&table);
    add_vector_from_yuv(target, &table);
    add_vector_to_yuv(target, &table);
    add_vector_pairs(target, &table);
    add_vector_resize(target, &table);
    add_vector_turns(target, &table);
    return table;
}

struct Tables {
    UtilKernels rows[kSimdTargets];
    Tables() {
        for (int i = 0; i < kSimdTargets; ++i) rows[i] = make_table(static_cast<SimdTarget>(i));
    }
};

const UtilKernels &table_of(SimdTarget target) {
    static const Tables tables;
    return tables.rows[static_cast<int>(target)];
}

const UtilKernels *forced;  // by tests only

}  // namespace

const UtilKernels &scalar_util_kernels() { return table_of(SimdTarget::kScalar); }

const UtilKernels &util_kernels() {
    if (const UtilKernels *table = __atomic_load_n(&forced, __ATOMIC_RELAXED)) return *table;
    int best = kSimdTargets - 1;
    while (!simd_target_runs(static_cast<SimdTarget>(best))) --best;
    return table_of(static_cast<SimdTarget>(best));
}

int runnable_util_kernels(const UtilKernels **out) {
    static_assert(kSimdTargets <= kMaxUtilKernels);
    int count = 0;
    for (int i = 0; i < kSimdTargets; ++i) {
        const SimdTarget target = static_cast<SimdTarget>(i);
        if (simd_target_runs(target)) out[count++] = &table_of(target);
    }
    return count;
}

void force_util_kernels(const UtilKernels *table) { __atomic_store_n(&forced, table, __ATOMIC_RELAXED); }

}  // namespace vorel
