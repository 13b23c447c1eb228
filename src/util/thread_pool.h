// The threads of a pool, for those who start them later than vorel_threadpool_init does.
#pragma once

#include <vorel/util.h>

namespace vorel {

// Starts up to `count` threads on a pool that has none; returns how many there are.
int32_t start_pool_threads(vorel_threadpool *pool, int32_t count);

}  // namespace vorel
