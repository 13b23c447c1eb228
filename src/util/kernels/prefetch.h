// Memory asked for before its use. The processor's own prefetchers begin anew with every row where rows are left out,
// or where two are read at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// Asks for the cache lines of the `bytes` bytes that begin `ahead` bytes behind `at`; in vain where there is no such
// memory. Computed as integers: no such element need exist. kCache: 3 the first-level cache, 2 the second.
template <int kCache>
inline void prefetch_ahead(const uint8_t *at, ptrdiff_t ahead, size_t bytes) {
    constexpr size_t kCacheLine = 64;
    const uintptr_t from = reinterpret_cast<uintptr_t>(at) + static_cast<uintptr_t>(ahead);
    for (size_t line = 0; line < bytes; line += kCacheLine)
        __builtin_prefetch(reinterpret_cast<const void *>(from + line), 0, kCache);
}

// Asks for the beginning of a row and of the pages that it goes on to: the processor's prefetchers follow a row after
// some cache lines, and up to the end of a page.
inline void prefetch_starts(const uint8_t *row, ptrdiff_t bytes) {
    constexpr ptrdiff_t kPage = 4096;
    constexpr size_t kRowStart = 512, kPageStart = 256;
    prefetch_ahead<3>(row, 0, kRowStart);
    const ptrdiff_t to_page = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(row) % kPage);
    for (ptrdiff_t at = to_page; at < bytes; at += kPage) prefetch_ahead<3>(row, at, kPageStart);
}

}  // namespace vorel
