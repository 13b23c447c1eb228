// What the threaded methods have in common.
#pragma once

#include "core/core.h"
#include "util/util.h"

namespace vorel {

// True where several threads can read an input at once, each by a reader of its own.
inline bool can_share(const IoInfo *io) { return io->kind == kIoFile || is_memory(io); }

// How many threads of `wanted` are worth starting besides the caller's. Tests that run the pools themselves get all.
inline int32_t threads_to_start(int32_t wanted) {
    const int32_t spare = tests_run_pools() ? wanted : usable_processors() - 1;
    return spare < wanted ? spare : wanted;
}

}  // namespace vorel
