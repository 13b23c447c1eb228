// The tables of kernels, one per target that this CPU runs.
#include "jpeg/decoder/kernels/kernels.h"

#include <cstring>

#include "jpeg/decoder/kernels/room.h"

namespace vorel {
namespace {

KernelTable make_table(SimdTarget target) {
    KernelTable table = {};
    table.name = simd_target_name(target);
    add_scalar_islow(&table);
    add_scalar_scaled(&table);
    add_scalar_colour(&table);
    add_scalar_samples(&table);
    add_vector_islow(target, &table);
    add_vector_scaled(target, &table);
    add_vector_colour(target, &table);
    add_vector_samples(target, &table);
    return table;
}

struct Tables {
    KernelTable rows[kSimdTargets];
    Tables() {
        for (int i = 0; i < kSimdTargets; ++i) rows[i] = make_table(static_cast<SimdTarget>(i));
    }
};

const KernelTable &table_of(SimdTarget target) {
    static const Tables tables;
    return tables.rows[static_cast<int>(target)];
}

const KernelTable *forced;  // by tests only

}  // namespace

const KernelTable &scalar_kernels() { return table_of(SimdTarget::kScalar); }

const KernelTable &kernels() {
    if (const KernelTable *table = __atomic_load_n(&forced, __ATOMIC_RELAXED)) return *table;
    int best = kSimdTargets - 1;
    while (!simd_target_runs(static_cast<SimdTarget>(best))) --best;
    return table_of(static_cast<SimdTarget>(best));
}

int runnable_kernels(const KernelTable **out) {
    static_assert(kSimdTargets <= kMaxKernelTables);
    int count = 0;
    for (int i = 0; i < kSimdTargets; ++i) {
        const SimdTarget target = static_cast<SimdTarget>(i);
        if (simd_target_runs(target)) out[count++] = &table_of(target);
    }
    return count;
}

bool force_kernels(const char *name) {
    const KernelTable *found = nullptr;
    const KernelTable *tables[kMaxKernelTables];
    const int count = runnable_kernels(tables);
    for (int i = 0; name && i < count; ++i) {
        if (std::strcmp(tables[i]->name, name) == 0) found = tables[i];
    }
    __atomic_store_n(&forced, found, __ATOMIC_RELAXED);
    return !name || found;
}

}  // namespace vorel
