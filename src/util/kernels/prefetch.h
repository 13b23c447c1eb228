// Memory asked for before its use. The processor's own prefetchers begin anew at every page and for every row, and rows
// of raw frames are few pages long.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

constexpr size_t kPrefetchAhead = 1024, kCacheLine = 64;  // bytes

// The cache lines that a sweep which now reads the `bytes` bytes from `at` on will read soon; what lies behind the
// buffer's end is asked for in vain. As bytes of pointers: no such element need exist.
inline void prefetch_ahead(const uint8_t *at, size_t bytes) {
    for (size_t line = 0; line < bytes; line += kCacheLine)
        __builtin_prefetch(reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(at) + kPrefetchAhead + line));
}

}  // namespace vorel
