// Memory asked for before its use. The processor's own prefetchers begin anew with every row where rows are left out,
// or where two are read at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// Frames up to this size mostly stay in the last-level cache, where asking ahead costs more than it saves.
constexpr size_t kPrefetchedBytes = size_t{12} << 20;

// Asks for the cache lines of the `bytes` bytes that begin `ahead` bytes behind `at`; in vain where there is no such
// memory. Computed as integers: no such element need exist. kCache: 3 the first-level cache, 2 the second.
template <int kCache>
inline void prefetch_ahead(const uint8_t *at, ptrdiff_t ahead, size_t bytes) {
    constexpr size_t kCacheLine = 64;
    const uintptr_t from = reinterpret_cast<uintptr_t>(at) + static_cast<uintptr_t>(ahead);
    for (size_t line = 0; line < bytes; line += kCacheLine)
        __builtin_prefetch(reinterpret_cast<const void *>(from + line), 0, kCache);
}

}  // namespace vorel
