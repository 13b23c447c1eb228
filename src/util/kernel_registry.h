// The tables of a module's kernels, one per vector target.
#pragma once

#include <pthread.h>

#include "util/simd_targets.h"

namespace vorel {

// Table is a record of function pointers with a member `name`; kFill puts in what the target has. It may be compiled
// for the target's instructions, so it is called only for targets that the CPU runs, whatever tests have switched off:
// a table that was left empty could not be filled later.
template <class Table, void (*kFill)(SimdTarget target, Table *table)>
class KernelRegistry {
  public:
    static const Table &scalar() { return of(SimdTarget::kScalar); }

    // Asked anew each time, since tests and benchmarks switch targets off.
    static const Table &best() {
        int target = kSimdTargets - 1;
        while (!simd_target_runs(static_cast<SimdTarget>(target))) --target;
        return of(static_cast<SimdTarget>(target));
    }

    // The tables that run, scalar first and the best last; returns how many, at most kMaxKernelTables.
    static int runnable(const Table **out) {
        int count = 0;
        for (int i = 0; i < kSimdTargets; ++i) {
            const SimdTarget target = static_cast<SimdTarget>(i);
            if (simd_target_runs(target)) out[count++] = &of(target);
        }
        return count;
    }

  private:
    static const Table &of(SimdTarget target) {
        pthread_once(&once_, fill_all);
        return tables_[static_cast<int>(target)];
    }

    static void fill_all() {
        for (int i = 0; i < kSimdTargets; ++i) {
            const SimdTarget target = static_cast<SimdTarget>(i);
            if (!cpu_runs_target(target)) continue;
            tables_[i].name = simd_target_name(target);
            kFill(target, &tables_[i]);
        }
    }

    static inline pthread_once_t once_ = PTHREAD_ONCE_INIT;
    static inline Table tables_[kSimdTargets] = {};
};

}  // namespace vorel
