// Heap use: stands in for the allocation functions of the C library, which keeps its own under other names. Both
// decoders are shared libraries, so their calls land here too.
#include "heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);
void __libc_free(void *);
}

namespace {

std::atomic<bool> g_counting{false};
std::atomic<int64_t> g_held{0}, g_peak{0};

void *count_in(void *block) {
    if (block && g_counting.load(std::memory_order_relaxed)) {
        const int64_t held = g_held += static_cast<int64_t>(malloc_usable_size(block));
        int64_t peak = g_peak.load();
        while (held > peak && !g_peak.compare_exchange_weak(peak, held)) {
        }
    }
    return block;
}

void count_out(void *block) {
    if (block && g_counting.load(std::memory_order_relaxed)) g_held -= static_cast<int64_t>(malloc_usable_size(block));
}

}  // namespace

extern "C" {

void *malloc(size_t bytes) { return count_in(__libc_malloc(bytes)); }
void *calloc(size_t count, size_t bytes) { return count_in(__libc_calloc(count, bytes)); }
void free(void *block) {
    count_out(block);
    __libc_free(block);
}
void *realloc(void *block, size_t bytes) {
    const size_t before = block ? malloc_usable_size(block) : 0;
    void *out = __libc_realloc(block, bytes);
    if (g_counting.load(std::memory_order_relaxed) && (out || bytes == 0)) g_held -= static_cast<int64_t>(before);
    return count_in(out);
}
void *memalign(size_t alignment, size_t bytes) { return count_in(__libc_memalign(alignment, bytes)); }
void *aligned_alloc(size_t alignment, size_t bytes) { return count_in(__libc_memalign(alignment, bytes)); }
int posix_memalign(void **out, size_t alignment, size_t bytes) {
    *out = count_in(__libc_memalign(alignment, bytes));
    return *out ? 0 : ENOMEM;
}

}  // extern "C"

namespace vorel_bench {

void start_heap_count() {
    g_held = 0;
    g_peak = 0;
    g_counting = true;
}

int64_t stop_heap_count() {
    g_counting = false;
    return g_peak;
}

}  // namespace vorel_bench
