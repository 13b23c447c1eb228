#include "resources.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>
#include <vorel/frame.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "core/os.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED_ALLOCATOR 1
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif
#endif

namespace {

std::atomic<int64_t> g_blocks, g_bytes, g_news;

void count(void *block, int sign) {
    if (!block) return;
    g_blocks.fetch_add(sign, std::memory_order_relaxed);
    g_bytes.fetch_add(sign * static_cast<int64_t>(malloc_usable_size(block)), std::memory_order_relaxed);
}

void *allocate(size_t bytes) {
    void *const block = std::malloc(bytes);
    count(block, 1);
    return block;
}
void *reallocate(void *block, size_t bytes) {
    count(block, -1);
    void *const moved = std::realloc(block, bytes);
    count(moved ? moved : block, 1);
    return moved;
}
void release(void *block) {
    count(block, -1);
    std::free(block);
}

int64_t entries(const char *folder) {
    int64_t number = -3;  // ., .. and the descriptor of the folder itself
    DIR *const stream = opendir(folder);
    while (stream && readdir(stream)) ++number;
    if (stream) closedir(stream);
    return number;
}

}  // namespace

#ifndef SANITIZED_ALLOCATOR
void *operator new(size_t bytes) {
    void *const block = std::malloc(bytes ? bytes : 1);
    if (!block) std::abort();
    g_news.fetch_add(1, std::memory_order_relaxed);
    return block;
}
void *operator new(size_t bytes, const std::nothrow_t &) noexcept { return operator new(bytes); }
void operator delete(void *block) noexcept {
    if (block) g_news.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}
void operator delete(void *block, size_t) noexcept { operator delete(block); }
#endif

namespace vorel::soak {

void count_allocations() {
    constexpr AllocHooks hooks = {allocate, reallocate, release};
    set_alloc_hooks(&hooks);
    // Blocks of pictures go back to the system with each free, and arenas keep no more than this at their ends: else up
    // to 64 MB an arena stay resident.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 20);
}

Resources resources_now() {
    Resources now = {};
    now.library_blocks = g_blocks, now.library_bytes = g_bytes, now.news = g_news;
#ifdef SANITIZED_ALLOCATOR
    now.heap_bytes = static_cast<int64_t>(__sanitizer_get_current_allocated_bytes());
#else
    malloc_trim(0);
    const struct mallinfo2 heap = mallinfo2();
    now.heap_bytes = static_cast<int64_t>(heap.uordblks + heap.hblkhd);
    if (FILE *const statm = std::fopen("/proc/self/statm", "r")) {
        long size, pages = 0;
        if (std::fscanf(statm, "%ld %ld", &size, &pages) == 2) now.resident_bytes = pages * sysconf(_SC_PAGESIZE);
        std::fclose(statm);
    }
#endif
    now.descriptors = entries("/proc/self/fd");
    now.threads = entries("/proc/self/task") + 1;
    const uint8_t byte = 0;
    std::vector<int32_t> opened;
    opened.reserve(256);
    while (const int32_t handle = VORELBRIM_OpenDecHandle(&byte, 1, 1)) opened.push_back(handle);
    for (const int32_t handle : opened) VORELBRIM_CloseDecHandle(handle);
    now.free_handles = static_cast<int64_t>(opened.size());
    return now;
}

std::string what_is_left(const Resources &before, const Resources &after) {
    constexpr int64_t kStacks = 24 << 10, kArenas = 16 << 20;
    struct Row {
        const char *name;
        int64_t before, after, most;
    };
    std::string text = after.library_blocks ? "blocks that no job has " : "";
    for (const Row &row : {Row{"blocks of the library", before.library_blocks, after.library_blocks, 0},
                           Row{"bytes of the library", before.library_bytes, after.library_bytes, 0},
                           Row{"blocks of operator new", before.news, after.news, 0},
                           Row{"bytes in use", before.heap_bytes, after.heap_bytes, kStacks},
                           Row{"resident bytes", before.resident_bytes, after.resident_bytes, kArenas},
                           Row{"descriptors", before.descriptors, after.descriptors, 0},
                           Row{"threads", before.threads, after.threads, 0},
                           Row{"handles taken", -before.free_handles, -after.free_handles, 0}}) {
        const int64_t more = row.after - row.before;
        std::printf("%-22s %12lld %12lld\n", row.name, static_cast<long long>(row.before),
                    static_cast<long long>(row.after));
        if (more > row.most || (row.most == 0 && more != 0)) text += std::string(row.name) + " ";
    }
    return text;
}

}  // namespace vorel::soak
