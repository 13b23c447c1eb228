// What fits the processor's caches.
#pragma once

#include <cstddef>

namespace vorel {

// Bytes of the last-level cache that a core uses, as far as the processor tells; else 32 MiB.
size_t last_level_cache_bytes();
// For tests: takes it to be so large. 0: as it is.
void assume_last_level_cache(size_t bytes);

}  // namespace vorel
